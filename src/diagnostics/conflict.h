// The conflict refiner: which rows and bounds of an infeasible problem are
// enough, by themselves, to make it infeasible.
//
// Every member of the search is a group of rows and column bounds. A test
// switches groups on or off and asks whether the problem restricted to the
// groups that are on (and to what no group holds: the background) has a
// point. The caller's Problem is never solved: tests run on copies.
#pragma once
#include "model/attachments.h"
#include "runtime/alloc.h"

namespace qvn {

// What a group can hold; the numbers are the header's QVN_CON_ kinds.
enum class MemberKind : int { kLowerBound = 1, kUpperBound = 2, kRow = 3 };

// Where a group stands after a refinement: QVN_CONFLICT_EXCLUDED, or in the
// conflict as proven needed or as possibly needed.
enum class GroupState : int8_t { kExcluded = -1, kPossible = 0, kProven = 1 };

} // namespace qvn

// The groups of one refinement and its result, kept on the Problem.
struct ConflictResult {
  int status = 0;  // 30..38
  int numRows = 0, numCols = 0;
  qvn::EnvVector<int> groupStart;  // numGroups + 1
  qvn::EnvVector<int> memberIndex;
  qvn::EnvVector<qvn::MemberKind> memberKind;
  qvn::EnvVector<qvn::GroupState> state;  // per group
  int numGroups() const { return static_cast<int>(state.size()); }
};

namespace qvn {

extern const AttachmentOps kConflictAttachment;

// The bounds of a binary column belong to its type: they stay in every test
// and in the written conflict, and are never members. Without them a test
// would search an unbounded integer range.
inline bool boundsAreIntrinsic(const EnvVector<char> &ctype, int j) { return !ctype.empty() && ctype[j] == 'B'; }

// The groups of QVNrefineconflict: rows, then lower bounds, then upper bounds.
void allMemberGroups(int numRows, int numCols, ConflictResult &groups);

// Runs the search over the groups (candidates in the order given by `order`,
// a permutation of the groups) and leaves the result in `groups`. The
// problem keeps its model, solution and parameters. 0, 1720 (with the
// result kept, status 32), or an error.
int refineConflict(Environment *env, Problem *lp, ConflictResult &groups, const EnvVector<int> &order);

// Per row and per column, the statuses QVNgetconflict reports (-1 when not in
// the conflict).
void conflictRowStatus(const ConflictResult &c, EnvVector<int> &rowStatus);
void conflictColStatus(const ConflictResult &c, EnvVector<int> &colStatus);

} // namespace qvn
