// The four start points of the barrier (QVN_PARAM_BARSTARTALG):
//   1: x of least norm for A x = b, y of least squares for A'y = c, both
//      pushed into the interior by Mehrotra's shifts;
//   2: the same x, y = 0 and reduced costs from c alone;
//   3: x at a distance s_p inside its bounds, y as in 1;
//   4: x as in 3, y = 0 and every reduced cost s_d.
// s_p and s_d come from the norms of the bounds and of c, clamped so that
// badly scaled data neither crowd the bounds nor start far from them.
#include <algorithm>
#include <cmath>

#include "barrier/ipm.h"

namespace qvn {

namespace {

double clampTo(double v, double lo, double hi) { return std::min(std::max(v, lo), hi); }

// x with its bound slacks at distance s from each finite bound, or at the
// middle of a box narrower than 2 s.
void interiorPrimal(const BarrierProblem &p, double s, BarrierIterate &it) {
  for (int j = 0; j < p.n(); ++j) {
    if (p.hasL[j] && p.hasU[j]) {
      const double half = 0.5 * (p.up[j] - p.lo[j]);
      const double d = std::min(s, half);
      it.x[j] = d < half ? p.lo[j] + d : p.lo[j] + half;
      it.xl[j] = it.x[j] - p.lo[j];
      it.xu[j] = p.up[j] - it.x[j];
    } else if (p.hasL[j]) {
      it.x[j] = p.lo[j] + s, it.xl[j] = s;
    } else if (p.hasU[j]) {
      it.x[j] = p.up[j] - s, it.xu[j] = s;
    } else {
      it.x[j] = 0.0;
    }
  }
}

} // namespace

void barrierStartPoint(const BarrierProblem &p, int rule, NormalSystem &s, BarrierIterate &it) {
  const int n = p.n(), m = p.m();
  it.x.assign(static_cast<size_t>(n), 0.0);
  it.xl = it.xu = it.zl = it.zu = it.x;
  it.y.assign(static_cast<size_t>(m), 0.0);
  it.tau = 1.0;
  it.kappa = 0.0;
  double normB = 0.0, normC = 0.0;
  for (int i = 0; i < m; ++i) normB = std::max(normB, std::fabs(p.b[i]));
  for (int j = 0; j < n; ++j) {
    normC = std::max(normC, std::fabs(p.c[j]));
    if (p.hasL[j]) normB = std::max(normB, std::fabs(p.lo[j]));
    if (p.hasU[j]) normB = std::max(normB, std::fabs(p.up[j]));
  }
  const double sp = clampTo(0.1 * normB, 1.0, 100.0), sd = clampTo(0.1 * normC, 0.01, 10.0);
  const bool leastSquaresX = rule == 1 || rule == 2, leastSquaresY = rule == 1 || rule == 3;
  if (leastSquaresX || leastSquaresY) {
    std::fill(s.theta.begin(), s.theta.end(), 1.0);
    choleskyFactor(s.pattern, s.theta.data(), s.zeroRow.data(), s.factor);
  }
  if (leastSquaresX) {
    EnvVector<double> v(p.b);
    solveNormal(p, s, v.data());
    for (int j = 0; j < n; ++j) it.x[j] = p.columnDot(j, v.data());
  }
  if (leastSquaresY) {
    p.times(p.c.data(), it.y.data());
    solveNormal(p, s, it.y.data());
  }
  double minX = 0.0, minZ = 0.0;
  if (leastSquaresX) {
    for (int j = 0; j < n; ++j) {
      if (p.hasL[j] && p.hasU[j]) it.x[j] = std::min(std::max(it.x[j], p.lo[j]), p.up[j]);
      if (p.hasL[j]) it.xl[j] = it.x[j] - p.lo[j], minX = std::min(minX, it.xl[j]);
      if (p.hasU[j]) it.xu[j] = p.up[j] - it.x[j], minX = std::min(minX, it.xu[j]);
    }
  } else {
    interiorPrimal(p, sp, it);
  }
  if (rule == 4) {
    for (int j = 0; j < n; ++j) {
      if (p.hasL[j]) it.zl[j] = sd;
      if (p.hasU[j]) it.zu[j] = sd;
    }
  } else {
    for (int j = 0; j < n; ++j) {
      const double z = p.c[j] - p.columnDot(j, it.y.data());
      if (p.hasL[j] && p.hasU[j]) {
        it.zl[j] = z > 0 ? z : 0.0;
        it.zu[j] = z < 0 ? -z : 0.0;
      } else if (p.hasL[j]) {
        it.zl[j] = z;
      } else if (p.hasU[j]) {
        it.zu[j] = -z;
      }
      minZ = std::min({minZ, it.zl[j], it.zu[j]});
    }
  }
  // Mehrotra's shifts: first past the most negative entry, then by the
  // products so that no pair starts far from the others.
  const bool shiftX = leastSquaresX, shiftZ = rule != 4;
  const double dp = shiftX ? std::max(-1.5 * minX, 0.0) + 0.1 : 0.0;
  const double dd = shiftZ ? std::max(-1.5 * minZ, 0.0) + 0.1 : 0.0;
  double xz = 0.0, sx = 0.0, sz = 0.0;
  for (int j = 0; j < n; ++j) {
    if (p.hasL[j]) {
      it.xl[j] += dp, it.zl[j] += dd;
      xz += it.xl[j] * it.zl[j], sx += it.xl[j], sz += it.zl[j];
    }
    if (p.hasU[j]) {
      it.xu[j] += dp, it.zu[j] += dd;
      xz += it.xu[j] * it.zu[j], sx += it.xu[j], sz += it.zu[j];
    }
  }
  const double dp2 = shiftX && sz > 0 ? 0.5 * xz / sz : 0.0, dd2 = shiftZ && sx > 0 ? 0.5 * xz / sx : 0.0;
  xz = 0.0;
  for (int j = 0; j < n; ++j) {
    if (p.hasL[j]) it.xl[j] += dp2, it.zl[j] += dd2, xz += it.xl[j] * it.zl[j];
    if (p.hasU[j]) it.xu[j] += dp2, it.zu[j] += dd2, xz += it.xu[j] * it.zu[j];
  }
  // The self-dual form starts tau kappa at the mean product.
  it.kappa = p.pairs > 0 ? xz / p.pairs : 1.0;
  if (!(it.kappa > 0.0)) it.kappa = 1.0;
}

} // namespace qvn
