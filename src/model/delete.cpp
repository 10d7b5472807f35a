// Deleting rows and columns: one pass over the index arrays and, for rows,
// one pass over the matrix.
#include <algorithm>

#include "model/attachments.h"
#include "model/edit.h"
#include "model/mip_data.h"
#include "model/names.h"
#include "runtime/environment.h"

namespace qvn {

namespace {

// Turns delete flags into new indices; returns the number kept.
int mapFromFlags(const int *flags, int count, EnvVector<int> &map) {
  map.resize(static_cast<size_t>(std::max(count, 1)));
  int kept = 0;
  for (int i = 0; i < count; ++i) map[i] = flags[i] == 1 ? -1 : kept++;
  return kept;
}

template <class V> void compact(V &v, int count, const EnvVector<int> &map) {
  if (v.empty()) return;
  for (int i = 0; i < count; ++i)
    if (map[i] >= 0) v[map[i]] = v[i];
}

} // namespace

int deleteRowSet(Environment *env, Problem *lp, int *flags, ModelEvent event) {
  LpData &d = *lp->lpData;
  const int m = d.numRows;
  EnvVector<int> map;
  const int kept = mapFromFlags(flags, m, map);
  if (kept == m) {
    std::copy_n(map.begin(), m, flags);
    return 0;
  }
  compactNames(d.rowNames, m, map.data());  // the only allocation; atomic by itself
  modelChanged(env, lp, event);
  // Entries of deleted rows go, the others are renumbered; columns keep their start.
  for (int j = 0; j < d.numCols; ++j) {
    int64_t out = d.colStart[j];
    const int64_t end = d.colStart[j] + d.colCount[j];
    // Written unconditionally and kept by advancing: no branch to mispredict
    // when deletions are scattered. out <= k, so nothing unread is overwritten.
    for (int64_t k = d.colStart[j]; k < end; ++k) {
      const int to = map[d.rowIndex[k]];
      d.rowIndex[out] = to;
      d.coefValue[out] = d.coefValue[k];
      out += to >= 0;
    }
    d.colCount[j] = static_cast<int>(out - d.colStart[j]);
  }
  compact(d.rhs, m, map);
  compact(d.sense, m, map);
  compact(d.rangeValue, m, map);
  if (d.rowScale) compact(d.rowScaleSpace, m, map);
  if (lp->basisData) compact(lp->basisData->rowStatus, m, map);
  d.numRows = kept;
  std::copy_n(map.begin(), m, flags);
  return rebuildLogicals(lp);
}

int deleteColSet(Environment *env, Problem *lp, int *flags, ModelEvent event) {
  LpData &d = *lp->lpData;
  const int n = d.numCols;
  EnvVector<int> map;
  const int kept = mapFromFlags(flags, n, map);
  if (kept == n) {
    std::copy_n(map.begin(), n, flags);
    return 0;
  }
  compactNames(d.colNames, n, map.data());
  modelChanged(env, lp, event);
  // The entries stay where they are: a deleted column's place becomes room
  // behind the kept column before it.
  compact(d.objCoef, n, map);
  compact(d.colStart, n, map);
  compact(d.colCount, n, map);
  compact(d.lowerBound, n, map);
  compact(d.upperBound, n, map);
  compact(d.ctype, n, map);
  if (d.colScale) compact(d.colScaleSpace, n, map);
  if (lp->basisData) compact(lp->basisData->colStatus, n, map);
  deleteAttachedColumns(lp, n, map.data());
  if (lp->mipData) mipDeleteColumns(env, lp->mipData, map.data());
  d.numCols = kept;
  std::copy_n(map.begin(), n, flags);
  return rebuildLogicals(lp);
}

} // namespace qvn
