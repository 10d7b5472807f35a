// Trial ratio tests on the held basis: what it would cost to force a basic
// variable out. Nothing of the basis changes.
#include <cmath>

#include "simplex/advanced_basis.h"

using namespace qvn;

namespace {

constexpr double kRowTiny = 1e-9;  // tableau entries below this cannot pivot

// The cheapest objective rise, per unit of the move of the basic variable at
// position r, for a move down (down = true) or up, by a dual ratio test on its
// row: with x_r = const - sum alpha_k x_k, a nonbasic k pays |dj_k / alpha_k|.
// kInfinity when no nonbasic variable can take the move.
double cheapestRate(BasisView &v, int r, bool down) {
  SimplexEngine &e = v.e;
  btranUnitRow(e, r);
  double best = kInfinity;
  for (int k = 0; k < e.nt; ++k) {
    if (e.basicPos[k] >= 0 || e.lower[k] == e.upper[k]) continue;
    // alpha_k of the engine's row: rho'(column k of [A, -I]).
    const double a = columnDot(v.w, k, e.rowRho.array.data());
    if (std::fabs(a) < kRowTiny) continue;
    // Moving x_r down needs x_k up where alpha_k > 0, down where alpha_k < 0.
    const bool kUp = down == (a > 0);
    const bool can = e.move[k] == kAtZero || (kUp ? e.move[k] == kAtLower : e.move[k] == kAtUpper);
    if (!can) continue;
    best = std::min(best, std::max(0.0, e.dj[k] / a * (down ? 1.0 : -1.0)));
  }
  hvClear(e.rowRho);
  return best;
}

} // namespace

extern "C" {

QVN_API int QVNmdleave(QVNCENVptr cenv, QVNLPptr lp, const int *indices, int cnt, double *downratio,
                       double *upratio) {
  auto *env = const_cast<Environment *>(cenv);
  return guardedProblem(env, lp, [&](Problem *p) -> int {
    if (isMipType(p->probType)) return QVNERR_NOT_FOR_MIP;
    if (cnt < 0) return QVNERR_BAD_ARGUMENT;
    if (cnt > 0 && (!indices || !downratio || !upratio)) return QVNERR_NULL_POINTER;
    BasisView v;
    QVN_TRY(openBasisView(env, p, v));
    SimplexEngine &e = v.e;
    for (int k = 0; k < cnt; ++k) {
      if (indices[k] < 0 || indices[k] >= e.n) return QVNERR_COL_INDEX_RANGE;
      if (e.basicPos[indices[k]] < 0) return QVNERR_NOT_BASIC;
    }
    for (int k = 0; k < cnt; ++k) {
      const int j = indices[k], r = e.basicPos[j];
      const double down = e.lower[j] > -kInfinity ? std::max(0.0, e.x[j] - e.lower[j]) : kInfinity;
      const double up = e.upper[j] < kInfinity ? std::max(0.0, e.upper[j] - e.x[j]) : kInfinity;
      const double rateDown = cheapestRate(v, r, true), rateUp = cheapestRate(v, r, false);
      downratio[k] = down >= kInfinity || rateDown >= kInfinity ? kInfinity : std::min(kInfinity, down * rateDown);
      upratio[k] = up >= kInfinity || rateUp >= kInfinity ? kInfinity : std::min(kInfinity, up * rateUp);
    }
    return 0;
  });
}

} // extern "C"
