// Pricing weights of rows not yet in the problem: what the dual simplex would
// give a row's slack if the row were added to the held basis. A caller that
// chooses among candidate cuts or rows can so rank them as the dual would.
#include <cmath>

#include "model/datacheck.h"
#include "model/problem.h"
#include "runtime/channels.h"
#include "runtime/environment.h"
#include "simplex/engine.h"

using namespace qvn;

namespace {

// The slack of a new row a^T x is basic in the extended basis [B 0; a_B^T -1];
// its row of the inverse is (a_B^T B^-1, -1), so the steepest-edge weight is
// ||B^-T a_B||^2 + 1. With full norms the row's entries over the nonbasic
// variables count too.
int rowWeights(Environment *env, Problem *p, int rowCount, const int *rowStart, const int *colIndex,
               const double *coefValue, double *weight, bool full) {
  WorkLp w;
  buildWorkLp(*p->lpData, w);
  SimplexEngine e;
  QVN_TRY(engineOnBasis(e, env, w, *p->basisData));
  EnvVector<double> dense(static_cast<size_t>(e.n > 0 ? e.n : 1), 0.0);
  HVector &rho = e.rowRho;
  for (int r = 0; r < rowCount; ++r) {
    hvClear(rho);
    for (int k = rowStart[r]; k < rowStart[r + 1]; ++k) {
      const int j = colIndex[k];
      dense[j] = coefValue[k];
      const int pos = e.basicPos[j];
      if (pos >= 0 && coefValue[k] != 0.0) {
        rho.array[pos] = coefValue[k];
        rho.index[rho.count++] = pos;
      }
    }
    btran(e.factor, rho);
    double g = 1.0 + hvSquaredNorm(rho);
    if (full) {
      // Entries of the new row of B'^-1 [A, -I] over the nonbasic variables:
      // a_j - rho^T A_j for columns, rho_i for logicals.
      for (int j = 0; j < e.nt; ++j) {
        if (e.basicPos[j] >= 0) continue;
        const double own = j < e.n ? dense[j] : 0.0;
        const double v = own - columnDot(w, j, rho.array.data());
        g += v * v;
      }
    }
    for (int k = rowStart[r]; k < rowStart[r + 1]; ++k) dense[colIndex[k]] = 0.0;
    weight[r] = g;
  }
  hvClear(rho);
  return 0;
}

} // namespace

extern "C" {

QVN_API int QVNgetweight(QVNCENVptr cenv, QVNCLPptr clp, int rowCount, const int *rowStart, const int *colIndex,
                         const double *coefValue, double *weight, int dpriind) {
  auto *env = const_cast<Environment *>(cenv);
  auto *lp = const_cast<QVNLPptr>(clp);
  return guardedProblem(env, lp, [&](Problem *p) -> int {
    if (rowCount < 0) return QVNERR_BAD_ARGUMENT;
    if (rowCount == 0) return 0;
    if (!rowStart || !weight) return QVNERR_NULL_POINTER;
    if (dpriind < 0 || dpriind > 5) return QVNERR_PRIIND;
    const int64_t nonzeros = rowStart[rowCount];
    if (nonzeros > 0 && (!colIndex || !coefValue)) return QVNERR_NULL_POINTER;
    QVN_TRY(flushCache(env, p));
    const int n = p->lpData->numCols;
    QVN_TRY(checkStartMatrix(env, rowCount, rowStart, nonzeros, colIndex, n, QVNERR_COL_INDEX_RANGE, coefValue,
                             true));
    const BasisData *b = p->basisData;
    const bool haveBasis = b && static_cast<int>(b->colStatus.size()) >= n &&
                           static_cast<int>(b->rowStatus.size()) >= p->lpData->numRows;
    // Plain pricing has no weights, and the unit start gives new rows 1.0.
    const bool computed = dpriind == 0 || dpriind == 2 || dpriind == 3 || dpriind == 5;
    if (!computed || !haveBasis) {
      if (computed) QVNmsg(env->warningChannel, "Warning:  No weights computed.\n");
      for (int r = 0; r < rowCount; ++r) weight[r] = 1.0;
      return 0;
    }
    return rowWeights(env, p, rowCount, rowStart, colIndex, coefValue, weight, dpriind == 3);
  });
}

} // extern "C"
