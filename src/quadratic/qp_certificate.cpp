// QVNqpindefcertificate: a vector x with x'Qx < 0 when Q is not positive
// semi-definite.
//
// Symmetric elimination Q = L [D 0; 0 S] L' (L unit lower triangular) runs
// until the trailing block S shows a negative pivot, or a zero pivot with a
// nonzero below it. A vector y with y'Sy < 0 then gives x = L^-T [0; y], for
// which x'Qx = y'Sy. The work is dense, so it is offered up to a size.
#include <algorithm>
#include <cmath>

#include "model/edit.h"
#include "quadratic/qp_data.h"
#include "runtime/environment.h"

using namespace qvn;

namespace {

constexpr int kDenseLimit = 2000;

// Returns true and fills x when a certificate exists. `s` holds Q, n x n,
// row-major; only its lower triangle is used and it is overwritten.
bool findCertificate(EnvVector<double> &s, int n, double *x) {
  double scale = 0.0;
  for (double v : s) scale = std::max(scale, std::fabs(v));
  const double tol = 1e-12 * std::max(scale, 1.0);
  auto at = [&](int i, int j) -> double & { return s[static_cast<size_t>(i) * n + j]; };
  EnvVector<double> z(static_cast<size_t>(n), 0.0);
  int found = -1;
  for (int k = 0; k < n && found < 0; ++k) {
    const double d = at(k, k);
    if (d < -tol) {
      z[k] = 1.0;
      found = k;
    } else if (d <= tol) {
      // A zero pivot: a nonzero below it makes an indefinite 2 x 2 block, for
      // which y = a e_k + e_i gives y'Sy = a^2 d + 2 a s_ik + s_ii < 0.
      for (int i = k + 1; i < n && found < 0; ++i) {
        if (std::fabs(at(i, k)) <= tol) continue;
        z[k] = -(std::fabs(at(i, i)) + 1.0) / at(i, k);
        z[i] = 1.0;
        found = k;
      }
      if (found < 0)
        for (int i = k + 1; i < n; ++i) at(i, k) = 0.0;  // nothing eliminated: multipliers 0
    } else {
      for (int i = k + 1; i < n; ++i) at(i, k) /= d;  // multipliers replace the column
      for (int i = k + 1; i < n; ++i) {
        const double li = at(i, k);
        if (li == 0.0) continue;
        for (int j = k + 1; j <= i; ++j) at(i, j) -= li * at(j, k) * d;
      }
    }
  }
  if (found < 0) return false;
  // x = L^-T z: columns from `found` on were not eliminated.
  for (int i = n - 1; i >= 0; --i) {
    double v = z[i];
    if (i < found)
      for (int j = i + 1; j < n; ++j) v -= at(j, i) * x[j];
    x[i] = v;
  }
  return true;
}

} // namespace

extern "C" {

QVN_API int QVNqpindefcertificate(QVNCENVptr cenv, QVNCLPptr lp, double *x) {
  auto *env = const_cast<Environment *>(cenv);
  return guardedProblem(env, lp, [&](Problem *p) -> int {
    QVN_TRY(flushCache(env, p));
    if (!p->qpData) return QVNERR_NOT_QP;
    if (!x) return QVNERR_NULL_POINTER;
    const QpData &q = *p->qpData;
    const int n = p->lpData->numCols;
    if (n > kDenseLimit) return QVNERR_LIMITS_TOO_BIG;
    EnvVector<double> s(static_cast<size_t>(n) * n, 0.0);
    for (int j = 0; j < n; ++j) {
      if (q.separable) {
        s[static_cast<size_t>(j) * n + j] = q.diagonal[j];
        continue;
      }
      for (int k = q.qColStart[j]; k < q.qColStart[j] + q.qColCount[j]; ++k)
        s[static_cast<size_t>(q.qRowIndex[k]) * n + j] = q.qValue[k];
    }
    return findCertificate(s, n, x) ? 0 : QVNERR_Q_NOT_INDEF;
  });
}

} // extern "C"
