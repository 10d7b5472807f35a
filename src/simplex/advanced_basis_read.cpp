// Reading the held basis: its header, rows and columns of its inverse, solves
// with it, and its feasibility.
#include <cmath>

#include "simplex/advanced_basis.h"

using namespace qvn;

namespace {

// Frame of a function that reads the factored basis of a continuous problem.
template <class Body> int withView(QVNCENVptr cenv, QVNCLPptr clp, Body &&body) {
  auto *env = const_cast<Environment *>(cenv);
  return guardedProblem(env, clp, [&](Problem *p) -> int {
    if (isMipType(p->probType)) return QVNERR_NOT_FOR_MIP;
    BasisView v;
    QVN_TRY(openBasisView(env, p, v));
    return body(v);
  });
}

// x := D B_engine^-1 x for a dense x of length m.
void userFtran(BasisView &v, double *x) {
  HVector &col = v.e.column;
  hvClear(col);
  for (int i = 0; i < v.e.m; ++i) col.array[i] = x[i];
  col.count = -1;
  ftran(v.e.factor, col);
  for (int k = 0; k < v.e.m; ++k) x[k] = positionSign(v, k) * col.array[k];
  hvClear(col);
}

// y := B_engine^-T D y for a dense y of length m.
void userBtran(BasisView &v, double *y) {
  HVector &row = v.e.rowRho;
  hvClear(row);
  for (int k = 0; k < v.e.m; ++k) row.array[k] = positionSign(v, k) * y[k];
  row.count = -1;
  btran(v.e.factor, row);
  for (int i = 0; i < v.e.m; ++i) y[i] = row.array[i];
  hvClear(row);
}

// Row i of B_user^-1 into y (length m).
void inverseRow(BasisView &v, int i, double *y) {
  for (int k = 0; k < v.e.m; ++k) y[k] = k == i ? 1.0 : 0.0;
  userBtran(v, y);
}

} // namespace

extern "C" {

QVN_API int QVNgetbhead(QVNCENVptr env, QVNCLPptr lp, int *head, double *x) {
  return withView(env, lp, [&](BasisView &v) -> int {
    const LpData &d = *v.lp->lpData;
    for (int k = 0; k < v.e.m; ++k) {
      const int var = v.e.head[k];
      if (head) head[k] = userIndex(v, var);
      if (x) x[k] = var < v.e.n ? v.e.x[var] : d.rhs[var - v.e.n] - v.e.x[var];
    }
    return 0;
  });
}

QVN_API int QVNbinvcol(QVNCENVptr env, QVNCLPptr lp, int j, double *x) {
  return withView(env, lp, [&](BasisView &v) -> int {
    if (!x) return QVNERR_NULL_POINTER;
    if (j < 0 || j >= v.e.m) return QVNERR_ROW_INDEX_RANGE;
    for (int i = 0; i < v.e.m; ++i) x[i] = i == j ? 1.0 : 0.0;
    userFtran(v, x);
    return 0;
  });
}

QVN_API int QVNbinvrow(QVNCENVptr env, QVNCLPptr lp, int i, double *y) {
  return withView(env, lp, [&](BasisView &v) -> int {
    if (!y) return QVNERR_NULL_POINTER;
    if (i < 0 || i >= v.e.m) return QVNERR_ROW_INDEX_RANGE;
    inverseRow(v, i, y);
    return 0;
  });
}

QVN_API int QVNbinvacol(QVNCENVptr env, QVNCLPptr lp, int j, double *x) {
  return withView(env, lp, [&](BasisView &v) -> int {
    if (!x) return QVNERR_NULL_POINTER;
    if (j < 0 || j >= v.e.n) return QVNERR_COL_INDEX_RANGE;
    for (int i = 0; i < v.e.m; ++i) x[i] = 0.0;
    addColumn(v.w, j, 1.0, x);
    userFtran(v, x);
    return 0;
  });
}

QVN_API int QVNbinvarow(QVNCENVptr env, QVNCLPptr lp, int i, double *z) {
  return withView(env, lp, [&](BasisView &v) -> int {
    if (!z) return QVNERR_NULL_POINTER;
    if (i < 0 || i >= v.e.m) return QVNERR_ROW_INDEX_RANGE;
    EnvVector<double> y(static_cast<size_t>(v.e.m > 0 ? v.e.m : 1), 0.0);
    inverseRow(v, i, y.data());
    for (int j = 0; j < v.e.n; ++j) z[j] = columnDot(v.w, j, y.data());
    return 0;
  });
}

QVN_API int QVNftran(QVNCENVptr env, QVNCLPptr lp, double *x) {
  return withView(env, lp, [&](BasisView &v) -> int {
    if (!x) return QVNERR_NULL_POINTER;
    userFtran(v, x);
    return 0;
  });
}

QVN_API int QVNbtran(QVNCENVptr env, QVNCLPptr lp, double *y) {
  return withView(env, lp, [&](BasisView &v) -> int {
    if (!y) return QVNERR_NULL_POINTER;
    userBtran(v, y);
    return 0;
  });
}

QVN_API int QVNgetijrow(QVNCENVptr env, QVNCLPptr lp, int i, int j, int *row) {
  return withView(env, lp, [&](BasisView &v) -> int {
    if (!row) return QVNERR_NULL_POINTER;
    int var = -1;
    if (i >= 0) {
      if (i >= v.e.m) return QVNERR_ROW_INDEX_RANGE;
      var = v.e.n + i;
    } else {
      if (j < 0 || j >= v.e.n) return QVNERR_COL_INDEX_RANGE;
      var = j;
    }
    if (v.e.basicPos[var] < 0) return QVNERR_NOT_BASIC;
    *row = v.e.basicPos[var];
    return 0;
  });
}

QVN_API int QVNgetbase(QVNCENVptr cenv, QVNCLPptr clp, int *cstat, int *rstat) {
  return guardedProblem(cenv, clp, [&](Problem *p) -> int {
    QVN_TRY(flushCache(const_cast<Environment *>(cenv), p));
    const BasisData *b = p->basisData;
    const LpData &d = *p->lpData;
    if (!b || b->colStatus.empty() || static_cast<int>(b->colStatus.size()) < d.numCols ||
        static_cast<int>(b->rowStatus.size()) < d.numRows)
      return QVNERR_NO_BASIS;
    for (int j = 0; cstat && j < d.numCols; ++j) cstat[j] = b->colStatus[j];
    for (int i = 0; rstat && i < d.numRows; ++i) rstat[i] = rowStatusToUser(d, i, b->rowStatus[i]);
    return 0;
  });
}

QVN_API int QVNcheckpfeas(QVNCENVptr env, QVNCLPptr lp, int *infeasout) {
  return withView(env, lp, [&](BasisView &v) -> int {
    if (!infeasout) return QVNERR_NULL_POINTER;
    int at = -1;
    const double worst = maxPrimalInfeasibility(v.e, &at);
    *infeasout = worst > v.e.primalTol && at >= 0 ? userIndex(v, v.e.head[at]) : 2100000000;
    return 0;
  });
}

QVN_API int QVNcheckdfeas(QVNCENVptr env, QVNCLPptr lp, int *infeasout) {
  return withView(env, lp, [&](BasisView &v) -> int {
    if (!infeasout) return QVNERR_NULL_POINTER;
    int at = -1;
    const double worst = maxDualInfeasibility(v, &at);
    *infeasout = worst > v.e.dualTol && at >= 0 ? userIndex(v, at) : 2100000000;
    return 0;
  });
}

} // extern "C"
