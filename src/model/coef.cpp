// Single coefficient changes, the hot path of modelling layers. A change of a
// stored entry is done in place; a new entry waits as a pending triplet until
// one merge pass places all of them, so no call ever shifts the matrix.
#include <algorithm>

#include "model/attachments.h"
#include "model/datacheck.h"
#include "model/edit.h"
#include "runtime/environment.h"

using namespace qvn;

namespace {

void pendTriplet(LpData &d, int row, int col, double value) {
  PendingData &c = d.cache;
  // Room first (growing geometrically), so that the pushes below cannot fail.
  if (c.nzValue.size() == c.nzValue.capacity()) {
    const size_t room = 2 * c.nzValue.size() + 64;
    c.nzRow.reserve(room);
    c.nzCol.reserve(room);
    c.nzValue.reserve(room);
  }
  openCache(d);
  c.nzMode = 3;
  c.nzRow.push_back(row);
  c.nzCol.push_back(col);
  c.nzValue.push_back(value);
}

// Event of a matrix change: an entry of a column that is nonbasic in a held
// solution with primal values keeps the factorization.
ModelEvent matrixEvent(const Problem *lp, int col) {
  const SolutionBlock *s = lp->solution;
  const BasisData *b = lp->basisData;
  if (s && s->primalComputed && b && col < static_cast<int>(b->colStatus.size()) && b->colStatus[col] != 1) return ModelEvent::kRowCoefChanged;
  return ModelEvent::kMatrixCoefChanged;
}

// The held start vectors after a_(row,col) moves by delta: the row's slack
// rhs - a x falls by delta x_col, the column's reduced cost c - A'pi by
// delta pi_row. Read before the event, which may drop the solution but
// never the held vectors.
void carryMatrixChange(Problem *lp, int row, int col, double delta) {
  const LpData &d = *lp->lpData;
  BasisData *b = lp->basisData;
  if (heldPrimalStart(lp)) b->primalStart[d.numCols + row] -= delta * b->primalStart[col];
  if (heldDualStart(lp)) b->dualStart[d.numRows + col] -= delta * b->dualStart[row];
}

int changeMatrixEntry(Environment *env, Problem *lp, int row, int col, double value) {
  LpData &d = *lp->lpData;
  PendingData &c = d.cache;
  const bool pendingTriplets = !c.nzValue.empty();
  if (row >= d.numRows || col >= d.numCols) {
    pendTriplet(d, row, col, value);
    modelChanged(env, lp, ModelEvent::kMatrixCoefChanged);
  } else {
    const int64_t begin = d.colStart[col], end = begin + d.colCount[col];
    int64_t at = -1;
    for (int64_t k = begin; k < end && at < 0; ++k)
      if (d.rowIndex[k] == row) at = k;
    // The old value is the latest pending triplet of the pair, else the stored one.
    double old = at >= 0 ? d.coefValue[at] * colScaleOf(d, col) * rowScaleOf(d, row) : 0.0;
    for (size_t k = c.nzValue.size(); pendingTriplets && k-- > 0;)
      if (c.nzRow[k] == row && c.nzCol[k] == col) {
        old = c.nzValue[k];
        break;
      }
    if (value != old) carryMatrixChange(lp, row, col, value - old);
    if (at >= 0 || value != 0.0 || pendingTriplets) {
      // A pending triplet for the same pair must not win over this later change.
      if (at < 0 || pendingTriplets) pendTriplet(d, row, col, value);
      modelChanged(env, lp, matrixEvent(lp, col));
      if (at >= 0) {
        if (value != 0.0) {
          d.coefValue[at] = value / (colScaleOf(d, col) * rowScaleOf(d, row));
        } else {
          // The column's last entry fills the hole.
          d.rowIndex[at] = d.rowIndex[end - 1];
          d.coefValue[at] = d.coefValue[end - 1];
          --d.colCount[col];
          d.colEnd[col] = d.colStart[col] + d.colCount[col];
        }
      }
    }
  }
  if (!c.isEmpty && cacheOutgrown(c)) return flushCache(env, lp);
  return 0;
}

int changeObjective(Environment *env, Problem *lp, int col, double value) {
  LpData &d = *lp->lpData;
  modelChanged(env, lp, ModelEvent::kObjEntryChanged);
  if (col >= d.numCols) {
    d.cache.colObj[col - d.numCols] = value;
  } else {
    carryCostChange(lp, col, value - d.objCoef[col] * colScaleOf(d, col));
    d.objCoef[col] = value / colScaleOf(d, col);
  }
  return 0;
}

int changeRhs(Environment *env, Problem *lp, int row, double value) {
  LpData &d = *lp->lpData;
  modelChanged(env, lp, ModelEvent::kRhsEntryChanged);
  if (row >= d.numRows) {
    d.cache.rowRhs[row - d.numRows] = value;
  } else {
    carryRhsChange(lp, row, value - d.rhs[row] * rowScaleOf(d, row));
    d.rhs[row] = value / rowScaleOf(d, row);
  }
  return 0;
}

} // namespace

namespace qvn {

// Sets the range of an 'R' row and the bounds of its range column.
void setRangeValue(LpData &d, int row, double value) {
  d.rangeValue[row] = value;
  int k = d.numCols;
  for (int i = 0; i < row; ++i) k += d.sense[i] == 'R';
  const double scale = rowScaleOf(d, row);
  d.lowerBound[k] = (value > 0 ? 0.0 : value) * scale;
  d.upperBound[k] = (value > 0 ? value : 0.0) * scale;
  if (d.colScale) d.colScaleSpace[k] = 1.0 / scale;
}

// 1216 unless the row (stored or pending) has sense 'R'; creates the range
// arrays it needs.
int prepareRange(LpData &d, int row) {
  if (row >= d.numRows) {
    PendingData &c = d.cache;
    if (c.rowSense[row - d.numRows] != 'R') return QVNERR_NO_RNGVAL;
    if (c.rowRange.empty()) c.rowRange.assign(static_cast<size_t>(c.numRows), 0.0);
    return 0;
  }
  if (d.sense[row] != 'R') return QVNERR_NO_RNGVAL;
  if (d.rangeValue.empty()) d.rangeValue.assign(static_cast<size_t>(d.rowSpace), 0.0);
  return 0;
}

void storeRange(LpData &d, int row, double value) {
  if (row >= d.numRows)
    d.cache.rowRange[row - d.numRows] = value;
  else
    setRangeValue(d, row, value);
}

bool heldPrimalStart(const Problem *lp) {
  const LpData &d = *lp->lpData;
  return lp->basisData && lp->basisData->primalStart.size() == static_cast<size_t>(d.numCols + d.numRows);
}

bool heldDualStart(const Problem *lp) {
  const LpData &d = *lp->lpData;
  return lp->basisData && lp->basisData->dualStart.size() == static_cast<size_t>(d.numCols + d.numRows);
}

void carryRhsChange(Problem *lp, int row, double delta) {
  if (heldPrimalStart(lp)) lp->basisData->primalStart[lp->lpData->numCols + row] += delta;
}

void carryCostChange(Problem *lp, int col, double delta) {
  if (heldDualStart(lp)) lp->basisData->dualStart[lp->lpData->numRows + col] += delta;
}

void repairRowStatus(Problem *lp, int row) {
  if (!lp->basisData || static_cast<int>(lp->basisData->rowStatus.size()) <= row) return;
  double lo, up;
  rowActivityLimits(*lp->lpData, row, lo, up);
  const bool lowerInf = lo <= -kInfinity, upperInf = up >= kInfinity;
  int &s = lp->basisData->rowStatus[row];
  if (s == 0 && lowerInf) s = upperInf ? 3 : 2;
  else if (s == 2 && upperInf) s = lowerInf ? 3 : 0;
}

void dropPresolvedCopy(Environment *env, Problem *lp, const char *warning) {
  if (!attachmentHoldsResult(lp, AttachmentKind::kPresolve)) return;
  QVNmsg(env->warningChannel, "%s", warning);
  releaseAttachment(lp, AttachmentKind::kPresolve);
}

} // namespace qvn

extern "C" {

QVN_API int QVNchgcoef(QVNCENVptr cenv, QVNLPptr lp, int row, int col, double value) {
  auto *env = const_cast<Environment *>(cenv);
  return guardedEdit(env, lp, [&](Problem *p) -> int {
    const LpData &d = *p->lpData;
    const int rows = d.numRows + d.cache.numRows, cols = d.numCols + d.cache.numCols;
    if (row < -1 || row >= rows || col < -2 || col >= cols) return QVNERR_INDEX_RANGE;
    if (row == -1 && col < 0) return QVNERR_NO_RHS_IN_OBJ;
    if (env->generalParams->datacheck == 1) QVN_TRY(checkNumbers(env, &value, 1));
    if (row == -1) return changeObjective(env, p, col, value);
    if (col == -1) return changeRhs(env, p, row, value);
    if (col == -2) {
      QVN_TRY(prepareRange(*p->lpData, row));
      modelChanged(env, p, ModelEvent::kRowwiseCoefChanged);
      storeRange(*p->lpData, row, value);
      if (row < p->lpData->numRows) repairRowStatus(p, row);
      return 0;
    }
    return changeMatrixEntry(env, p, row, col, value);
  });
}

QVN_API int QVNchgcoeflist(QVNCENVptr cenv, QVNLPptr lp, int count, const int *rowList,
                           const int *colList, const double *valueList) {
  auto *env = const_cast<Environment *>(cenv);
  return guardedEdit(env, lp, [&](Problem *p) -> int {
    if (count < 0) return QVNERR_BAD_ARGUMENT;
    if (count == 0) return 0;
    if (!rowList || !colList || !valueList) return QVNERR_NULL_POINTER;
    const LpData &d = *p->lpData;
    QVN_TRY(checkIndexList(env, count, rowList, d.numRows + d.cache.numRows, QVNERR_ROW_INDEX_RANGE));
    QVN_TRY(checkIndexList(env, count, colList, d.numCols + d.cache.numCols, QVNERR_COL_INDEX_RANGE));
    if (env->generalParams->datacheck == 1) QVN_TRY(checkNumbers(env, valueList, count));
    {
      EnvVector<int64_t> pairs(static_cast<size_t>(count));
      const int64_t rows = d.numRows + d.cache.numRows;
      for (int k = 0; k < count; ++k) pairs[k] = colList[k] * rows + rowList[k];
      std::sort(pairs.begin(), pairs.end());
      if (std::adjacent_find(pairs.begin(), pairs.end()) != pairs.end()) return QVNERR_DUP_ENTRY;
    }
    QVN_TRY(flushCache(env, p));
    return mergeEntries(env, p, count, rowList, colList, valueList, true, ModelEvent::kMatrixCoefChanged);
  });
}

} // extern "C"
