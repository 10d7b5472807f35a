// Name stores of LpData: building, appending, renaming, compaction and the
// generated names ("x7", "c12") that stand in for missing ones.
//
// Every function that can fail for lack of memory does all its allocation
// before it writes, so that a failure leaves the store as it was.
#pragma once
#include "model/problem.h"

namespace qvn {

// Fills `store` with `count` names and room for `capacity` entries.
void buildNameStore(NameStore &store, char *const *names, int count, size_t capacity,
                    int extraParam);
// As buildNameStore, for a caller's array in which entries may be null: those
// get generated names that continue after the largest "<prefix><digits>"
// among the given ones, and `counter` receives the last number used (it stays
// as it is when no entry is null). 1209 as for defaultNameCounter.
int buildNameStoreFilled(NameStore &store, char *const *names, int count, size_t capacity,
                         int extraParam, char prefix, int &counter);
// The number after which `count` generated names continue. `counter` is used as
// it is while it is set and small enough; otherwise it becomes the largest
// "<prefix><digits>" among the `have` existing names (0 without any).
// 1209 when such a name has more than 9 digits.
int defaultNameCounter(const NameStore &store, int have, char prefix, int count, int &counter);

// The largest number among names of the generated form "<prefix><digits>",
// compared on the digit strings so that no conversion can overflow.
struct LargestGeneratedNumber {
  const char *best = nullptr;
  size_t length = 0;
  // 1209 for a generated-form name with more than 9 significant digits.
  int consider(const char *name, char prefix);
  int value() const;
};
// True when `counter` can go on as it is for `count` more names.
inline bool counterUsable(int counter, int count) {
  return counter >= 0 && static_cast<long>(counter) + count < 2100000000L && counter <= 999999999;
}
// Replaces `store` by generated names for entries 0..count-1, with pointer room
// for `capacity` entries.
int makeDefaultNames(NameStore &store, int count, size_t capacity, char prefix, int &counter);
// Names for `count` new entries behind the `have` existing ones. A null `names`
// adds nothing when the kind has no names; otherwise null or empty entries get
// generated names. When the kind had no names and some arrive, the old entries
// get generated names first, so that the kind stays complete.
int addNames(NameStore &store, int have, char *const *names, int count, char prefix, int &counter,
             size_t capacity);
// Keeps entry i as entry newIndex[i] when that is >= 0, in one pass over the text.
void compactNames(NameStore &store, int count, const int *newIndex);
// Replaces the texts of the listed entries (all indices valid).
void renameEntries(NameStore &store, int have, int count, const int *indices, char *const *names);
// Display name without allocation: the stored name, the name hook's, or a
// generated "x%d"/"c%d" in the Environment's scratch buffer of that kind.
const char *displayName(const Environment *env, const NameStore *names, int total, int index,
                        bool column);
// For a reader that got no names of a kind: when `count` is non-zero, prints
// "Default <kind> names x1, x2 ... being created." on the warning channel and
// fills `names` (pointers into `store`) with generated names; `nameLength`
// receives the digits of the count.
int makeNamesIfMissing(const Environment *env, const char *kindWord, char prefix, int count,
                       EnvVector<char> &store, EnvVector<char *> &names, int *nameLength);
// Matches the names of one kind of entity against a pattern ('*' any run,
// '?' any one character; a line end ends the pattern). Entities: 'c'
// columns, 'r' rows, 's' SOS. `flags` gets one 0/1 per entity; `first` and
// `last` the first and last match, or -1. Names come through displayName,
// so generated names match too.
int selectByName(const Environment *env, const Problem *lp, char entityLetter, const char *pattern,
                 int *first, int *last, EnvVector<char> &flags);
bool wildcardMatch(const char *pattern, const char *text);
// Index of the first entry named `text`, or -1.
int findName(const NameStore &store, int count, const char *text);

} // namespace qvn
