// Adding columns and rows: the internal routines behind QVNaddcols,
// QVNnewcols, QVNaddrows, QVNnewrows and the flush of pending data.
#include <algorithm>

#include "model/attachments.h"
#include "model/edit.h"
#include "model/names.h"
#include "runtime/environment.h"

namespace qvn {

namespace {

// Makes room for `count` statuses in a held basis; throws std::bad_alloc
// before anything is written.
void growBasisStatus(Problem *lp, int count, bool columns) {
  if (!lp->basisData) return;
  EnvVector<int> &status = columns ? lp->basisData->colStatus : lp->basisData->rowStatus;
  if (!status.empty() && status.size() < static_cast<size_t>(count)) status.resize(static_cast<size_t>(count));
}

} // namespace

int addColumns(Environment *env, Problem *lp, const ColumnBatch &b, ModelEvent event) {
  LpData &d = *lp->lpData;
  const int ranges = d.numColsWithRanges - d.numCols;
  const int newCols = d.numCols + b.count;
  int64_t kept = 0;  // entries that will be stored (explicit zeros are not)
  for (int64_t k = 0; k < b.numNonzeros; ++k) kept += b.coefValue[k] != 0.0;
  const int64_t nzEnd = structuralEnd(d);
  QVN_TRY(ensureSpace(env, lp, newCols + ranges, d.numRows, nzEnd + kept + ranges, 0, 0, true));
  // Allocations of the new parts, before the first write.
  EnvVector<char> ctype;
  if (b.ctype && d.ctype.empty()) ctype.assign(static_cast<size_t>(d.colSpace), 'C');
  reserveAttachedColumns(lp, newCols);
  // A held basis may be sized to the old count (the optimizers store it so).
  growBasisStatus(lp, newCols, true);
  // Last, since it writes: names behind the used entries do no harm if we stop here.
  QVN_TRY(addNames(d.colNames, d.numCols, b.names, b.count, 'x', d.colDefaultNames,
                   static_cast<size_t>(d.colSpace)));

  modelChanged(env, lp, event);
  if (!ctype.empty()) d.ctype.swap(ctype);
  int64_t out = nzEnd;
  for (int k = 0; k < b.count; ++k) {
    const int j = d.numCols + k;
    const double scale = colScaleOf(d, j);
    d.objCoef[j] = b.objCoef ? b.objCoef[k] : 0.0;
    d.lowerBound[j] = b.lowerBound ? b.lowerBound[k] : 0.0;
    d.upperBound[j] = b.upperBound ? b.upperBound[k] : kInfinity;
    if (!d.ctype.empty()) d.ctype[j] = b.ctype ? b.ctype[k] : 'C';
    d.colStart[j] = out;
    if (b.numNonzeros > 0) {
      const int64_t end = k + 1 < b.count ? b.colStart[k + 1] : b.numNonzeros;
      for (int64_t p = b.colStart[k]; p < end; ++p) {
        if (b.coefValue[p] == 0.0) continue;
        d.rowIndex[out] = b.rowIndex[p];
        d.coefValue[out] = b.coefValue[p] / (scale * rowScaleOf(d, b.rowIndex[p]));
        ++out;
      }
    }
    d.colCount[j] = static_cast<int>(out - d.colStart[j]);
  }
  if (d.colScale)
    for (int k = 0; k < b.count; ++k) d.colScaleSpace[d.numCols + k] = 1.0;
  if (lp->basisData && !lp->basisData->colStatus.empty())
    for (int k = 0; k < b.count; ++k) lp->basisData->colStatus[d.numCols + k] = 0;
  d.numCols = newCols;
  addAttachedColumns(lp, newCols);
  return rebuildLogicals(lp);
}

void dropNewColumns(Problem *lp, int oldCount) {
  LpData &d = *lp->lpData;
  d.numCols = oldCount;
  truncateAttachedColumns(lp, oldCount);
  rebuildLogicals(lp);
}

int addRows(Environment *env, Problem *lp, const RowBatch &b, ModelEvent event) {
  LpData &d = *lp->lpData;
  int newRanges = 0;
  for (int k = 0; b.sense && k < b.count; ++k) newRanges += b.sense[k] == 'R';
  const int ranges = d.numColsWithRanges - d.numCols + newRanges;
  const int newRows = d.numRows + b.count;
  QVN_TRY(ensureSpace(env, lp, d.numCols + ranges, newRows, structuralEnd(d) + ranges, 0, 0, true));
  // The entries as triplets; their rows are new, so none can exist yet.
  const int64_t nz = b.numNonzeros;
  EnvVector<int> rows(static_cast<size_t>(std::max<int64_t>(nz, 1)));
  for (int k = 0; k < b.count && nz > 0; ++k) {
    const int64_t end = k + 1 < b.count ? b.rowStart[k + 1] : nz;
    for (int64_t p = b.rowStart[k]; p < end; ++p) rows[p] = d.numRows + k;
  }
  MergePlan plan;
  planMerge(env, lp, nz, rows.data(), b.colIndex, b.coefValue, false, newRanges, plan);
  growBasisStatus(lp, newRows, false);
  EnvVector<double> rangeValue;
  if ((b.rangeValue || newRanges > 0) && d.rangeValue.empty())
    rangeValue.assign(static_cast<size_t>(d.rowSpace), 0.0);
  QVN_TRY(addNames(d.rowNames, d.numRows, b.names, b.count, 'c', d.rowDefaultNames,
                   static_cast<size_t>(d.rowSpace)));

  // The rows first, so that the entries find their row scale factors.
  if (!rangeValue.empty()) d.rangeValue.swap(rangeValue);
  for (int k = 0; k < b.count; ++k) {
    const int i = d.numRows + k;
    d.rhs[i] = b.rhs ? b.rhs[k] : 0.0;
    d.sense[i] = b.sense ? b.sense[k] : 'E';
    if (!d.rangeValue.empty()) d.rangeValue[i] = b.rangeValue ? b.rangeValue[k] : 0.0;
    if (d.rowScale) d.rowScaleSpace[i] = 1.0;
  }
  if (lp->basisData && !lp->basisData->rowStatus.empty())
    for (int k = 0; k < b.count; ++k) lp->basisData->rowStatus[d.numRows + k] = 1;  // basic
  d.numRows = newRows;
  commitMerge(env, lp, plan, rows.data(), b.colIndex, b.coefValue, event);
  return rebuildLogicals(lp);
}

} // namespace qvn
