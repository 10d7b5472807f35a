// Maps between the original and the reduced problem: vectors, duals and
// linear forms. The reduced problem's columns are original columns, except
// that a merged pair of parallel columns lives on as x_j + r x_k in j's
// place; crushing a point is a map with those sums, uncrushing the replay.
#include <algorithm>
#include <cmath>

#include "presolve/presolve_state.h"
#include "quadratic/qp_data.h"
#include "runtime/environment.h"

using namespace qvn;

namespace {

// The state, or 1103 when no presolve has run; a dualized reduced problem
// has rows for columns, which these maps cannot express (1119).
int presolvedState(const Problem *lp, PresolveState *&s) {
  s = lp->presolved;
  if (!s || !s->ran || s->nothingDone) return QVNERR_PRESLV_NO_PROB;
  if (s->dualized) return QVNERR_PRESLV_DUAL;
  return 0;
}

int reducedCols(const PresolveState &s) { return static_cast<int>(s.redColOrig.size()); }
int reducedRows(const PresolveState &s) { return static_cast<int>(s.redRowOrig.size()); }

// Statuses of a reduced point read from where the values sit, for the
// replay's decisions when no basis is given.
void statusesFromPoint(const PresolveState &s, const double *x, EnvVector<int> &colStatus, EnvVector<int> &rowStatus) {
  const int n = reducedCols(s), m = reducedRows(s);
  colStatus.assign(static_cast<size_t>(n), 1);
  rowStatus.assign(static_cast<size_t>(m), 1);
  if (!s.reduced) return;
  const LpData &d = *s.reduced->lpData;
  EnvVector<double> act(static_cast<size_t>(m), 0.0);
  for (int k = 0; k < n; ++k) {
    const double v = x[k], l = d.lowerBound[k], u = d.upperBound[k];
    for (int64_t p = d.colStart[k]; p < d.colStart[k] + d.colCount[k]; ++p) act[d.rowIndex[p]] += d.coefValue[p] * v;
    if (l > -kPreInf && std::fabs(v - l) <= 1e-9 * std::max(1.0, std::fabs(l))) colStatus[k] = 0;
    else if (u < kPreInf && std::fabs(v - u) <= 1e-9 * std::max(1.0, std::fabs(u))) colStatus[k] = 2;
  }
  for (int i = 0; i < m; ++i) {
    const double b = d.rhs[i];
    if (std::fabs(act[i] - b) <= 1e-9 * std::max(1.0, std::fabs(b))) rowStatus[i] = 0;
    else if (d.sense[i] == 'R' && !d.rangeValue.empty() &&
             std::fabs(act[i] - b - d.rangeValue[i]) <= 1e-9 * std::max(1.0, std::fabs(b + d.rangeValue[i])))
      rowStatus[i] = 2;
  }
}

} // namespace

namespace qvn {

// Coefficients of original columns, with each removed column replaced by what
// its record says, oldest removal first so that a replacement may use columns
// that a later record removes. A merged column k can only go with its partner
// j in the proportion of the merge (x_j + r x_k), and a column sent to an
// infinite bound not at all; else 1003.
int foldForm(const PresolveState &s, EnvVector<double> &acc, double &offset) {
  EnvVector<int> order;
  for (int r = s.head; r >= 0; r = s.records[r].next) order.push_back(r);
  for (auto it = order.rbegin(); it != order.rend(); ++it) {
    const ReductionRecord &rec = s.records[*it];
    const int *idx = s.recIndex.data() + rec.first;
    const double *val = s.recValue.data() + rec.first;
    switch (rec.kind) {
    case kRecFixed: case kRecAtLower: case kRecAtUpper: case kRecFreeEmpty: {
      const int j = rec.index;
      offset += acc[j] * rec.value;
      acc[j] = 0.0;
      break;
    }
    case kRecAggregate: case kRecDoubleton: {
      const int y = idx[0];
      const double f = acc[y] / val[0];
      if (f == 0.0) break;
      offset += f * rec.value;
      for (int k = 1; k < rec.count; ++k) acc[idx[k]] -= f * val[k];
      acc[y] = 0.0;
      break;
    }
    case kRecMergedColumns: {
      const int j = rec.index, k = rec.other;
      if (std::fabs(acc[k] - rec.value * acc[j]) > 1e-13 * std::max(1.0, std::fabs(acc[k]))) return QVNERR_BAD_ARGUMENT;
      acc[k] = 0.0;
      break;
    }
    // A column sent to an infinite bound takes a value that no linear form
    // of the remaining columns gives.
    case kRecInfiniteUpper: case kRecInfiniteLower:
      if (acc[rec.index] != 0.0) return QVNERR_BAD_ARGUMENT;
      break;
    default: break;
    }
  }
  return 0;
}

} // namespace qvn

extern "C" {

QVN_API int QVNcrushx(QVNCENVptr env, QVNCLPptr lp, const double *x, double *reducedX) {
  return guardedProblem(env, lp, [&](Problem *p) -> int {
    if (!x || !reducedX) return QVNERR_NULL_POINTER;
    PresolveState *s;
    QVN_TRY(presolvedState(p, s));
    // Merged columns live on as x_j + r x_k, oldest merge first.
    EnvVector<double> merged(x, x + s->numCols);
    EnvVector<int> order;
    for (int r = s->head; r >= 0; r = s->records[r].next) order.push_back(r);
    for (auto it = order.rbegin(); it != order.rend(); ++it) {
      const ReductionRecord &rec = s->records[*it];
      if (rec.kind == kRecMergedColumns) merged[rec.index] += rec.value * merged[rec.other];
    }
    for (int k = 0; k < reducedCols(*s); ++k) reducedX[k] = merged[s->redColOrig[k]];
    return 0;
  });
}

QVN_API int QVNuncrushx(QVNCENVptr env, QVNCLPptr lp, double *x, const double *reducedX) {
  return guardedProblem(env, lp, [&](Problem *p) -> int {
    if (!x) return QVNERR_NULL_POINTER;
    PresolveState *s;
    QVN_TRY(presolvedState(p, s));
    if (!reducedX && reducedCols(*s) > 0) return QVNERR_NULL_POINTER;
    // Where the reduced point sits decides how merged columns split.
    EnvVector<int> colStatus, rowStatus;
    statusesFromPoint(*s, reducedX, colStatus, rowStatus);
    ReducedSolution in;
    in.x = reducedX;
    in.colStatus = colStatus.data();
    in.rowStatus = rowStatus.data();
    OriginalSolution out;
    out.x = x;
    uncrush(p, *s, in, out);
    return 0;
  });
}

QVN_API int QVNcrushpi(QVNCENVptr env, QVNCLPptr lp, const double *pi, double *reducedPi) {
  return guardedProblem(env, lp, [&](Problem *p) -> int {
    if (!pi || !reducedPi) return QVNERR_NULL_POINTER;
    PresolveState *s;
    QVN_TRY(presolvedState(p, s));
    for (int k = 0; k < reducedRows(*s); ++k) reducedPi[k] = pi[s->redRowOrig[k]];
    return 0;
  });
}

} // extern "C"

namespace {

// out += Q x over the first n columns of the symmetric Q.
void addQx(const QpData &q, const double *x, int n, double *out) {
  const int cols = std::min(n, qpNumColumns(q));
  if (q.separable) {
    for (int k = 0; k < cols && k < static_cast<int>(q.diagonal.size()); ++k) out[k] += q.diagonal[k] * x[k];
    return;
  }
  for (int k = 0; k < cols; ++k)
    for (int p = q.qColStart[k]; p < q.qColStart[k] + q.qColCount[k]; ++p) out[k] += q.qValue[p] * x[q.qRowIndex[p]];
}

// x, when given, is the reduced problem's primal point; it tells which
// bounds are active for the replay of the duals. `needX`: the caller must give it.
int uncrushDuals(QVNCENVptr env, QVNCLPptr lp, double *pi, const double *reducedPi, const double *x, bool needX) {
  return guardedProblem(env, lp, [&](Problem *p) -> int {
    if (isMipType(p->probType)) return QVNERR_NOT_FOR_MIP;
    if (!pi) return QVNERR_NULL_POINTER;
    if ((needX || hasQuadObjType(p->probType)) && !x) return QVNERR_NULL_POINTER;
    PresolveState *s;
    QVN_TRY(presolvedState(p, s));
    const int n = reducedCols(*s), m = reducedRows(*s);
    if (!reducedPi && m > 0) return QVNERR_NULL_POINTER;
    EnvVector<double> dj(static_cast<size_t>(n) + 1, 0.0), xr(static_cast<size_t>(n) + 1, 0.0);
    if (x) std::copy(x, x + n, xr.begin());
    if (s->reduced) {
      const LpData &d = *s->reduced->lpData;
      for (int k = 0; k < n; ++k) {
        double v = d.objCoef[k];
        for (int64_t q = d.colStart[k]; q < d.colStart[k] + d.colCount[k]; ++q) v -= d.coefValue[q] * reducedPi[d.rowIndex[q]];
        dj[k] = v;
      }
      // A quadratic objective prices each column at its gradient c + Qx.
      if (const QpData *q = s->reduced->qpData) addQx(*q, xr.data(), n, dj.data());
    }
    EnvVector<int> colStatus, rowStatus;
    statusesFromPoint(*s, xr.data(), colStatus, rowStatus);
    ReducedSolution in;
    in.x = xr.data();
    in.pi = reducedPi;
    in.dj = dj.data();
    in.colStatus = colStatus.data();
    in.rowStatus = rowStatus.data();
    OriginalSolution out;
    out.pi = pi;
    uncrush(p, *s, in, out);
    return 0;
  });
}

} // namespace

extern "C" {

QVN_API int QVNuncrushpi(QVNCENVptr env, QVNCLPptr lp, double *pi, const double *reducedPi, const double *x) {
  return uncrushDuals(env, lp, pi, reducedPi, x, false);
}

// The quadratic form of the duals' replay needs the primal point always.
QVN_API int QVNqpuncrushpi(QVNCENVptr env, QVNCLPptr lp, double *pi, const double *reducedPi, const double *x) {
  return uncrushDuals(env, lp, pi, reducedPi, x, true);
}

QVN_API int QVNcrushform(QVNCENVptr env, QVNCLPptr lp, int len, const int *indices, const double *values,
                         int *plenOut, double *poffsetOut, int *pindices, double *pvalues) {
  return guardedProblem(env, lp, [&](Problem *p) -> int {
    if (!plenOut || !poffsetOut || (len > 0 && (!indices || !values || !pindices || !pvalues)))
      return QVNERR_NULL_POINTER;
    PresolveState *s;
    QVN_TRY(presolvedState(p, s));
    if (len < 0) return QVNERR_BAD_ARGUMENT;
    for (int k = 0; k < len; ++k)
      if (indices[k] < 0 || indices[k] >= s->numCols) return QVNERR_COL_INDEX_RANGE;
    if (len == 0) QVNmsg(env->warningChannel, "Warning: form length is zero.\n");
    EnvVector<double> acc(static_cast<size_t>(s->numCols), 0.0);
    for (int k = 0; k < len; ++k) acc[indices[k]] += values[k];
    double offset = 0.0;
    QVN_TRY(foldForm(*s, acc, offset));
    int out = 0;
    for (int k = 0; k < reducedCols(*s); ++k) {
      const double v = acc[s->redColOrig[k]];
      if (std::fabs(v) < 1e-13) continue;
      pindices[out] = k;
      pvalues[out] = v;
      ++out;
    }
    *plenOut = out;
    *poffsetOut = offset;
    return 0;
  });
}

QVN_API int QVNuncrushform(QVNCENVptr env, QVNCLPptr lp, int plen, const int *pindices, const double *pvalues,
                           int *lenOut, double *offsetOut, int *indices, double *values) {
  return guardedProblem(env, lp, [&](Problem *p) -> int {
    if (!lenOut || !offsetOut || (plen > 0 && (!pindices || !pvalues || !indices || !values)))
      return QVNERR_NULL_POINTER;
    PresolveState *s;
    QVN_TRY(presolvedState(p, s));
    if (plen < 0) return QVNERR_BAD_ARGUMENT;
    for (int k = 0; k < plen; ++k)
      if (pindices[k] < 0 || pindices[k] >= reducedCols(*s)) return QVNERR_COL_INDEX_RANGE;
    if (plen == 0) QVNmsg(env->warningChannel, "Warning: form length is zero.\n");
    // Reduced columns are original columns, except that a merged column
    // stands for x_j + r x_k: newest merge first, its partner takes r times j's term.
    EnvVector<double> acc(static_cast<size_t>(s->numCols), 0.0);
    for (int k = 0; k < plen; ++k) acc[s->redColOrig[pindices[k]]] += pvalues[k];
    for (int r = s->head; r >= 0; r = s->records[r].next) {
      const ReductionRecord &rec = s->records[r];
      if (rec.kind == kRecMergedColumns) acc[rec.other] += rec.value * acc[rec.index];
    }
    int out = 0;
    for (int j = 0; j < s->numCols; ++j) {
      if (std::fabs(acc[j]) < 1e-13) continue;
      indices[out] = j;
      values[out] = acc[j];
      ++out;
    }
    *lenOut = out;
    *offsetOut = 0.0;
    return 0;
  });
}

} // extern "C"
