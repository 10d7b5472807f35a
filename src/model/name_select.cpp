// Names for readers that got none, and selection of entities by name pattern.
#include <cstdio>
#include <cstring>

#include "model/mip_data.h"
#include "model/names.h"
#include "runtime/environment.h"

namespace qvn {

int makeNamesIfMissing(const Environment *env, const char *kindWord, char prefix, int count,
                       EnvVector<char> &store, EnvVector<char *> &names, int *nameLength) {
  if (count <= 0) return 0;
  QVNmsg(env->warningChannel, "Default %-6s names %c1, %c2 ... being created.\n", kindWord, prefix, prefix);
  NameStore generated;
  int counter = -1;
  QVN_TRY(makeDefaultNames(generated, count, static_cast<size_t>(count), prefix, counter));
  EnvVector<char *> pointers(static_cast<size_t>(count));
  store.swap(generated.text);
  for (int i = 0; i < count; ++i) pointers[i] = store.data() + generated.offset[i];
  names.swap(pointers);
  if (nameLength) *nameLength = static_cast<int>(std::to_string(count).size());
  return 0;
}

bool wildcardMatch(const char *pattern, const char *text) {
  // Greedy with one backtrack point: the last '*' seen and where its run ended.
  const char *star = nullptr, *resume = nullptr;
  auto atEnd = [](const char *p) { return *p == '\0' || *p == '\n' || *p == '\r'; };
  while (*text) {
    if (!atEnd(pattern) && (*pattern == '?' || *pattern == *text) && *pattern != '*') {
      ++pattern, ++text;
    } else if (!atEnd(pattern) && *pattern == '*') {
      star = pattern++;
      resume = text;
    } else if (star) {
      pattern = star + 1;
      text = ++resume;
    } else {
      return false;
    }
  }
  while (!atEnd(pattern) && *pattern == '*') ++pattern;
  return atEnd(pattern);
}

int selectByName(const Environment *env, const Problem *lp, char entityLetter, const char *pattern,
                 int *first, int *last, EnvVector<char> &flags) {
  if (!pattern || !first || !last) return QVNERR_NULL_POINTER;
  const LpData &d = *lp->lpData;
  const NameStore *store = nullptr;
  int count = 0;
  bool column = false;
  switch (entityLetter) {
  case 'c': store = &d.colNames, count = d.numCols, column = true; break;
  case 'r': store = &d.rowNames, count = d.numRows; break;
  case 's':
    if (lp->mipData && lp->mipData->sosData) store = &lp->mipData->sosData->names, count = lp->mipData->sosData->count;
    break;
  default: return QVNERR_BAD_ARGUMENT;
  }
  EnvVector<char> marks(static_cast<size_t>(count), 0);
  *first = *last = -1;
  char scratch[24];
  for (int i = 0; i < count; ++i) {
    const char *name;
    if (entityLetter == 's' && !store->exists) {
      std::snprintf(scratch, sizeof scratch, "s%d", i + 1);
      name = scratch;
    } else {
      name = displayName(env, store, count, i, column);
    }
    if (!wildcardMatch(pattern, name)) continue;
    marks[i] = 1;
    if (*first < 0) *first = i;
    *last = i;
  }
  flags.swap(marks);
  return 0;
}

} // namespace qvn
