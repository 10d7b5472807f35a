// Capacities of LpData and the logical columns derived from the row senses.
#include <algorithm>

#include "model/problem.h"
#include "runtime/environment.h"

namespace qvn {

namespace {

int64_t grownCount(int64_t need, int extraParam, int64_t step, bool growing) {
  if (extraParam >= 0) return need + extraParam;
  int64_t n = need + step;
  if (growing) n = std::max<int64_t>(n, static_cast<int64_t>(need * 1.2));
  return n;
}

int64_t grownBytes(int64_t need, int extraParam, bool growing) {
  int64_t n;
  if (extraParam >= 0)
    n = need + 17LL * extraParam;
  else {
    n = need + 1700;
    if (growing) n = std::max<int64_t>(n, static_cast<int64_t>(need * 1.2));
  }
  return (n + 3) / 4 * 4;
}

template <class V> void growIfPresent(V &v, size_t n) {
  if (!v.empty() && v.size() < n) v.resize(n);
}

} // namespace

int ensureSpace(Environment *env, Problem *lp, int cols, int rows, int64_t nzs, int64_t colNameBytes,
                int64_t rowNameBytes, bool growing) {
  LpData &d = *lp->lpData;
  const GeneralParams &gp = *env->generalParams;
  const bool colsFit = cols <= d.colSpace, rowsFit = rows <= d.rowSpace, nzFit = nzs <= d.nzSpace;
  const bool colNamesFit = colNameBytes <= static_cast<int64_t>(d.colNames.text.size());
  const bool rowNamesFit = rowNameBytes <= static_cast<int64_t>(d.rowNames.text.size());
  if (colsFit && rowsFit && nzFit && colNamesFit && rowNamesFit) return 0;

  const int64_t newCols = colsFit ? d.colSpace : grownCount(cols, gp.extraColSpace, 100, growing);
  const int64_t newRows = rowsFit ? d.rowSpace : grownCount(rows, gp.extraRowSpace, 100, growing);
  const int64_t newNz = nzFit ? d.nzSpace : grownCount(nzs, gp.extraNzSpace, 500, growing);
  if (newCols > 2100000000 || newRows > 2100000000 || newNz > 262499999LL * 8)
    return QVNERR_NO_MEMORY;
  if (!colsFit)
    modelChanged(env, lp, ModelEvent::kColumnSpaceGrown);
  else if (!nzFit)
    modelChanged(env, lp, ModelEvent::kNonzeroSpaceGrown);

  // Each array grows on its own; a failure leaves the ones done valid and larger.
  const size_t c = static_cast<size_t>(newCols), r = static_cast<size_t>(newRows);
  d.objCoef.resize(c);
  d.colStart.resize(c);
  d.colCount.resize(c);
  d.colEnd.resize(c);
  d.lowerBound.resize(c);
  d.upperBound.resize(c);
  if (d.colNames.exists) d.colNames.offset.resize(c);
  growIfPresent(d.ctype, c);
  growIfPresent(d.colScaleSpace, c);
  d.rhs.resize(r);
  d.sense.resize(r);
  d.slackRow.resize(r);
  d.slackCoef.resize(r);
  growIfPresent(d.rangeValue, r);
  if (d.rowNames.exists) d.rowNames.offset.resize(r);
  growIfPresent(d.rowScaleSpace, r);
  d.rowIndex.resize(static_cast<size_t>(newNz));
  d.coefValue.resize(static_cast<size_t>(newNz));
  if (!colNamesFit) d.colNames.text.resize(static_cast<size_t>(grownBytes(colNameBytes, gp.extraColSpace, growing)));
  if (!rowNamesFit) d.rowNames.text.resize(static_cast<size_t>(grownBytes(rowNameBytes, gp.extraRowSpace, growing)));
  if (lp->basisData) {
    BasisData &b = *lp->basisData;
    growIfPresent(b.colStatus, c);
    growIfPresent(b.rowStatus, r);
  }
  d.colSpace = static_cast<int>(newCols);
  d.rowSpace = static_cast<int>(newRows);
  d.nzSpace = newNz;
  return 0;
}

int rebuildLogicals(Problem *lp) {
  LpData &d = *lp->lpData;
  // Range columns sit right behind the structural columns and take their
  // nonzeros behind the last structural column's entries.
  int ranges = 0;
  for (int i = 0; i < d.numRows; ++i) ranges += d.sense[i] == 'R';
  int64_t nzEnd = 0;
  for (int j = 0; j < d.numCols; ++j) nzEnd = std::max(nzEnd, d.colStart[j] + d.colCount[j]);
  if (d.numCols + ranges > d.colSpace || nzEnd + ranges > d.nzSpace) return 1401;
  int k = d.numCols;
  int slacks = 0;
  const double *rowScale = d.rowScale;
  for (int i = 0; i < d.numRows; ++i) {
    const char s = d.sense[i];
    if (s == 'R') {
      const double range = d.rangeValue.empty() ? 0.0 : d.rangeValue[i];
      const double scale = rowScale ? rowScale[i] : 1.0;
      d.colStart[k] = nzEnd;
      d.colCount[k] = 1;
      d.rowIndex[nzEnd] = i;
      d.coefValue[nzEnd] = -1.0;
      ++nzEnd;
      d.objCoef[k] = 0.0;
      if (!d.ctype.empty()) d.ctype[k] = 'C';
      d.lowerBound[k] = (range > 0 ? 0.0 : range) * scale;
      d.upperBound[k] = (range > 0 ? range : 0.0) * scale;
      ++k;
    } else if (s == 'L' || s == 'G') {
      d.slackRow[slacks] = i;
      d.slackCoef[slacks] = s == 'L' ? 1.0 : -1.0;
      ++slacks;
    }
  }
  d.numColsWithRanges = k;
  d.numColsWithSlacks = k + slacks;
  for (int j = 0; j < k; ++j) {
    if (d.lowerBound[j] <= -kInfinity) d.lowerBound[j] = -kInfinity;
    if (d.upperBound[j] >= kInfinity) d.upperBound[j] = kInfinity;
    d.colEnd[j] = d.colStart[j] + d.colCount[j];
  }
  return 0;
}

} // namespace qvn
