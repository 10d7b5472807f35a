// Exported functions of the quadratic objective.
#include <algorithm>

#include "model/datacheck.h"
#include "model/edit.h"
#include "quadratic/qp_data.h"
#include "runtime/environment.h"

using namespace qvn;

namespace {

// Working copy of a caller's Q: zeros dropped (entries move left within their
// column), gaps cleared, room as the read limit says.
QpData *buildQ(const Environment *env, int n, const int *start, const int *count, const int *index,
               const double *value) {
  int64_t end = 0;
  for (int j = 0; j < n; ++j) end = std::max<int64_t>(end, static_cast<int64_t>(start[j]) + count[j]);
  const int64_t space = std::max<int64_t>({end, env->qpParams->qpnzreadlim, 1});
  QpData *q = createQpData(n);
  try {
    q->qRowIndex.assign(static_cast<size_t>(space), 0);
    q->qValue.assign(static_cast<size_t>(space), 0.0);
    q->nzSpace = static_cast<int>(space);
    for (int j = 0; j < n; ++j) {
      int out = start[j];
      for (int k = start[j]; k < start[j] + count[j]; ++k) {
        if (value[k] == 0.0) continue;
        q->qRowIndex[out] = index[k];
        q->qValue[out] = value[k];
        ++out;
      }
      q->qColStart[j] = start[j];
      q->qColCount[j] = out - start[j];
    }
  } catch (...) {
    destroyQpData(q);
    throw;
  }
  return q;
}

// Symmetry: column j scattered densely, compared with the entries of row j
// found through per-row lists of the other columns.
bool symmetric(const QpData &q, int n) {
  EnvVector<int> rowHead(static_cast<size_t>(n) + 1, 0);
  for (int j = 0; j < n; ++j)
    for (int k = q.qColStart[j]; k < q.qColStart[j] + q.qColCount[j]; ++k) ++rowHead[q.qRowIndex[k] + 1];
  for (int i = 0; i < n; ++i) rowHead[i + 1] += rowHead[i];
  EnvVector<int> rowCol(static_cast<size_t>(std::max(rowHead[n], 1)));
  EnvVector<double> rowValue(static_cast<size_t>(std::max(rowHead[n], 1)));
  {
    EnvVector<int> fill(rowHead.begin(), rowHead.end() - 1);
    for (int j = 0; j < n; ++j)
      for (int k = q.qColStart[j]; k < q.qColStart[j] + q.qColCount[j]; ++k) {
        const int at = fill[q.qRowIndex[k]]++;
        rowCol[at] = j;
        rowValue[at] = q.qValue[k];
      }
  }
  EnvVector<double> dense(static_cast<size_t>(std::max(n, 1)), 0.0);
  for (int j = 0; j < n; ++j) {
    if (q.qColCount[j] != rowHead[j + 1] - rowHead[j]) return false;
    for (int k = q.qColStart[j]; k < q.qColStart[j] + q.qColCount[j]; ++k) dense[q.qRowIndex[k]] = q.qValue[k];
    bool same = true;
    for (int p = rowHead[j]; p < rowHead[j + 1]; ++p) same = same && dense[rowCol[p]] == rowValue[p];
    for (int k = q.qColStart[j]; k < q.qColStart[j] + q.qColCount[j]; ++k) dense[q.qRowIndex[k]] = 0.0;
    if (!same) return false;
  }
  return true;
}

// Steps shared by both copy functions: the old Q goes first, whatever follows.
int replaceQ(Environment *env, Problem *lp) {
  destroyQpData(lp->qpData);
  modelChanged(env, lp, ModelEvent::kQuadCopied);
  const int status = flushCache(env, lp);
  recomputeType(lp);
  return status;
}

int install(Environment *env, Problem *lp, QpData *q) {
  countQuadColumns(*q);
  lp->qpData = q;
  modelChanged(env, lp, ModelEvent::kQuadCopied);
  recomputeType(lp);
  return 0;
}

template <class Body> int withQ(QVNCENVptr env, QVNCLPptr lp, Body &&body) {
  return guardedProblem(env, lp, [&](Problem *p) -> int {
    QVN_TRY(flushCache(const_cast<Environment *>(env), p));
    if (!p->qpData) return QVNERR_NOT_QP;
    return body(p, *p->qpData);
  });
}

} // namespace

extern "C" {

QVN_API int QVNcopyquad(QVNCENVptr cenv, QVNLPptr lp, const int *qColStart, const int *qColCount,
                        const int *qRowIndex, const double *qValue) {
  auto *env = const_cast<Environment *>(cenv);
  return guardedEdit(env, lp, [&](Problem *p) -> int {
    if (!qColStart || !qColCount || !qRowIndex || !qValue) return QVNERR_NULL_POINTER;
    QVN_TRY(replaceQ(env, p));
    const int n = p->lpData->numCols;
    int status = checkColumnMatrix(env, n, n, qColStart, qColCount, qRowIndex, qValue,
                                   env->generalParams->datacheck == 1);
    if (status != 0) return status;
    QpData *q = buildQ(env, n, qColStart, qColCount, qRowIndex, qValue);
    bool isSymmetric = false;
    status = runCaught([&]() { return isSymmetric = symmetric(*q, n), 0; });
    if (status != 0 || !isSymmetric) {
      destroyQpData(q);
      return status != 0 ? status : reportError(env, QVNERR_Q_NOT_SYMMETRIC, "objective");
    }
    return install(env, p, q);
  });
}

QVN_API int QVNcopyqpsep(QVNCENVptr cenv, QVNLPptr lp, const double *diagonal) {
  auto *env = const_cast<Environment *>(cenv);
  return guardedEdit(env, lp, [&](Problem *p) -> int {
    if (!diagonal) return QVNERR_NULL_POINTER;
    QVN_TRY(replaceQ(env, p));
    const int n = p->lpData->numCols;
    if (env->generalParams->datacheck == 1) QVN_TRY(checkNumbers(env, diagonal, n));
    QpData *q = createQpData(n);
    std::copy_n(diagonal, n, q->diagonal.begin());
    q->separable = 1;
    return install(env, p, q);
  });
}

QVN_API int QVNgetnumqpnz(QVNCENVptr env, QVNCLPptr lp) {
  return problemValue(env, lp, 0, [](Problem *p) {
    return p->qpData ? static_cast<int>(qpNumNonzeros(*p->qpData)) : 0;
  });
}

QVN_API int QVNgetnumquad(QVNCENVptr env, QVNCLPptr lp) {
  return problemValue(env, lp, 0, [](Problem *p) { return p->qpData ? p->qpData->quadColumnCount : 0; });
}

QVN_API int QVNgetqpcoef(QVNCENVptr env, QVNCLPptr lp, int row, int col, double *valuePointer) {
  return withQ(env, lp, [&](Problem *p, const QpData &q) -> int {
    if (!valuePointer) return QVNERR_NULL_POINTER;
    const int n = p->lpData->numCols;
    if (row < 0 || row >= n || col < 0 || col >= n) return QVNERR_INDEX_RANGE;
    *valuePointer = qpCoef(q, row, col);
    return 0;
  });
}

QVN_API int QVNchgqpcoef(QVNCENVptr cenv, QVNLPptr lp, int row, int col, double value) {
  auto *env = const_cast<Environment *>(cenv);
  return guardedEdit(env, lp, [&](Problem *p) -> int {
    QVN_TRY(flushCache(env, p));
    if (!p->qpData) return QVNERR_NOT_QP;
    const int n = p->lpData->numCols;
    if (row < 0 || row >= n || col < 0 || col >= n) return QVNERR_INDEX_RANGE;
    if (env->generalParams->datacheck == 1) QVN_TRY(checkNumbers(env, &value, 1));
    // qpSetCoef changes nothing when it fails; the event only discards results.
    modelChanged(env, p, ModelEvent::kQuadCoefChanged);
    qpSetCoef(*p->qpData, row, col, value);
    return 0;
  });
}

QVN_API int QVNgetquad(QVNCENVptr env, QVNCLPptr lp, int *nzCount, int *qColStartOut, int *qRowIndexOut,
                       double *qValueOut, int space, int *surplus, int begin, int end) {
  return surplusFrame(env, lp, nzCount, surplus, [&](Environment *, Problem *p) -> int {
    if (!p->qpData) return QVNERR_NOT_QP;
    const QpData &q = *p->qpData;
    QVN_TRY(rangeStatus(env, "QVNgetquad", begin, end, p->lpData->numCols));
    auto columnCount = [&](int j) { return q.separable ? (q.diagonal[j] != 0.0 ? 1 : 0) : q.qColCount[j]; };
    int64_t needed = 0;
    for (int j = begin; j <= end; ++j) needed += columnCount(j);
    if (space == 0) return surplusCountOnly(needed, surplus);
    if (!qRowIndexOut || !qValueOut) return QVNERR_NULL_POINTER;
    int64_t out = 0;
    for (int j = begin; j <= end; ++j) {
      if (qColStartOut) qColStartOut[j - begin] = static_cast<int>(out);
      if (q.separable) {
        if (q.diagonal[j] != 0.0 && out < space) qRowIndexOut[out] = j, qValueOut[out] = q.diagonal[j];
        out += columnCount(j);
        continue;
      }
      for (int k = q.qColStart[j]; k < q.qColStart[j] + q.qColCount[j]; ++k, ++out)
        if (out < space) qRowIndexOut[out] = q.qRowIndex[k], qValueOut[out] = q.qValue[k];
    }
    return finishSurplus(needed, space, nzCount, surplus);
  });
}

} // extern "C"
