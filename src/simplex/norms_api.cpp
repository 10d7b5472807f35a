// Reading and installing the pricing norms that travel with a basis.
#include <algorithm>

#include "model/problem.h"
#include "runtime/environment.h"

using namespace qvn;

namespace {

// Head entries in the caller's form: j for column j, -1-i for the slack of row i.
int toCallerHead(int variable, int numCols) { return variable < numCols ? variable : -1 - (variable - numCols); }
int fromCallerHead(int entry, int numCols) { return entry >= 0 ? entry : numCols + (-1 - entry); }

} // namespace

extern "C" {

QVN_API int QVNgetdnorms(QVNCENVptr env, QVNCLPptr lp, double *norms, int *head, int *len) {
  return guardedProblem(env, lp, [&](Problem *p) -> int {
    if (!norms || !head || !len) return QVNERR_NULL_POINTER;
    const BasisData *b = p->basisData;
    if (!b || b->norms.empty()) return QVNERR_NO_NORMS;
    const int n = p->lpData->numCols;
    *len = static_cast<int>(b->norms.size());
    for (int k = 0; k < *len; ++k) {
      norms[k] = b->norms[k];
      head[k] = toCallerHead(b->normHead[k], n);
    }
    return 0;
  });
}

QVN_API int QVNcopydnorms(QVNCENVptr env, QVNLPptr lp, const double *norms, const int *head, int len) {
  return guardedProblem(env, lp, [&](Problem *p) -> int {
    if (!norms || !head) return QVNERR_NULL_POINTER;
    BasisData *b = p->basisData;
    if (!b || b->colStatus.empty()) return QVNERR_NO_BASIS;
    const int n = p->lpData->numCols, m = p->lpData->numRows;
    if (len != m) return QVNERR_BAD_ARGUMENT;
    for (int k = 0; k < len; ++k) {
      const int j = fromCallerHead(head[k], n);
      if (j < 0 || j >= n + m) return reportError(env, QVNERR_INDEX_RANGE_HIGH, "QVNcopydnorms", head[k], n - 1);
      if (!(norms[k] > 0.0)) return QVNERR_BAD_ARGUMENT;
    }
    EnvVector<double> values(norms, norms + len);
    EnvVector<int> vars(static_cast<size_t>(len));
    for (int k = 0; k < len; ++k) vars[k] = fromCallerHead(head[k], n);
    b->norms.swap(values);
    b->normHead.swap(vars);
    return 0;
  });
}

QVN_API int QVNgetpnorms(QVNCENVptr env, QVNCLPptr lp, double *cnorm, double *rnorm, int *len) {
  return guardedProblem(env, lp, [&](Problem *p) -> int {
    if (!cnorm || !rnorm || !len) return QVNERR_NULL_POINTER;
    const BasisData *b = p->basisData;
    const int n = p->lpData->numCols, m = p->lpData->numRows;
    if (!b || static_cast<int>(b->primalNorms.size()) != n + m) return QVNERR_NO_NORMS;
    std::copy(b->primalNorms.begin(), b->primalNorms.begin() + n, cnorm);
    std::copy(b->primalNorms.begin() + n, b->primalNorms.end(), rnorm);
    *len = n;
    return 0;
  });
}

QVN_API int QVNcopypnorms(QVNCENVptr env, QVNLPptr lp, const double *cnorm, const double *rnorm, int len) {
  return guardedProblem(env, lp, [&](Problem *p) -> int {
    if (!cnorm || !rnorm) return QVNERR_NULL_POINTER;
    BasisData *b = p->basisData;
    if (!b || b->colStatus.empty()) return QVNERR_NO_BASIS;
    const int n = p->lpData->numCols, m = p->lpData->numRows;
    if (len != n) return QVNERR_BAD_ARGUMENT;
    for (int j = 0; j < n; ++j)
      if (!(cnorm[j] > 0.0)) return QVNERR_BAD_ARGUMENT;
    for (int i = 0; i < m; ++i)
      if (!(rnorm[i] > 0.0)) return QVNERR_BAD_ARGUMENT;
    EnvVector<double> values(static_cast<size_t>(n + m));
    std::copy(cnorm, cnorm + n, values.begin());
    std::copy(rnorm, rnorm + m, values.begin() + n);
    b->primalNorms.swap(values);
    return 0;
  });
}

QVN_API void QVNkilldnorms(QVNLPptr lp) {
  if (!checkProblemFast(lp) || !lp->basisData) return;
  lp->basisData->norms = EnvVector<double>();
  lp->basisData->normHead = EnvVector<int>();
}

QVN_API void QVNkillpnorms(QVNLPptr lp) {
  if (!checkProblemFast(lp) || !lp->basisData) return;
  lp->basisData->primalNorms = EnvVector<double>();
}

} // extern "C"
