#include "simplex/claim_check.h"

#include <cmath>

namespace qvn {

namespace {

// A combination entry no larger than this share of the sum of its terms'
// magnitudes is cancellation noise: it proves nothing and needs no bound.
constexpr double kCancellation = 1e-11;
// Share of the largest move of a ray below which a move is rounding.
constexpr double kRayRounding = 1e-14;
// Rounding of one entry of g against the sum of its terms' magnitudes.
constexpr double kRounding = 1e-14;
// Single rows of B^-1 tried beyond the claimed one: the dual loop's ray is
// among the first, and each costs a BTRAN and a pass over the matrix.
constexpr int kRowCandidates = 10;

// True when y (multipliers of the real LP's rows) proves that the LP has no
// point: for every point of [A, -I] z = 0 the sum g^T z, g = [A, -I]^T y,
// is zero, so a largest value of g^T z over the box below zero leaves none.
// The margin asked for covers the rounding of the sums. A false claim of
// the loops fails by structure (a needed bound is infinite, a sign is
// wrong), not by a margin, so none is added for the tolerances.
bool proves(const WorkLp &lp, const double *y) {
  double maximum = 0.0, rounding = 0.0, magnitude = 0.0;
  for (int j = 0; j < lp.numTot; ++j) {
    double g = 0.0, size = 0.0;
    if (j < lp.numCol) {
      for (int k = lp.aStart[j]; k < lp.aStart[j + 1]; ++k) {
        const double t = lp.aValue[k] * y[lp.aIndex[k]];
        g += t;
        size += std::fabs(t);
      }
    } else {
      g = -y[j - lp.numCol];
      size = std::fabs(g);
    }
    if (g == 0.0 || std::fabs(g) <= kCancellation * size) continue;
    const double bound = g > 0 ? lp.upper[j] : lp.lower[j];
    if (std::fabs(bound) >= kInfinity) return false;
    maximum += g * bound;
    rounding += kRounding * size * std::fabs(bound);
    magnitude += std::fabs(g * bound);
  }
  return maximum < -(rounding + kCancellation * magnitude);
}

bool provesEitherSign(const SimplexEngine &e, const WorkLp &real, const double *rowFactor, const double *rho,
                      EnvVector<double> &y) {
  for (int sign = -1; sign <= 1; sign += 2) {
    for (int i = 0; i < e.m; ++i) y[i] = sign * rho[i] * (rowFactor ? rowFactor[i] : 1.0);
    if (proves(real, y.data())) return true;
  }
  return false;
}

double violation(const SimplexEngine &e, int j) {
  return std::max(e.lp->lower[j] - e.x[j], e.x[j] - e.lp->upper[j]);
}

} // namespace

ClaimCounters &claimCounters() {
  static ClaimCounters counters;
  return counters;
}

bool infeasibilityProved(SimplexEngine &e, const WorkLp &real, const double *rowFactor) {
  ++claimCounters().checked;
  if (e.m == 0) return false;
  computePrimal(e);
  EnvVector<double> y(static_cast<size_t>(e.m), 0.0);
  HVector &rho = e.rowRho;
  hvClear(rho);
  // The phase 1 costs of the real bounds: at a phase 1 optimum their duals
  // combine every row that cannot be met.
  for (int k = 0; k < e.m; ++k) {
    const int j = e.head[k];
    rho.array[k] = e.x[j] > e.lp->upper[j] + e.primalTol ? 1.0 : e.x[j] < e.lp->lower[j] - e.primalTol ? -1.0 : 0.0;
  }
  rho.count = -1;
  btran(e.factor, rho);
  bool proved = provesEitherSign(e, real, rowFactor, rho.array.data(), y);
  hvClear(rho);
  const int claimPos = e.claimVar >= 0 && e.claimVar < e.nt ? e.basicPos[e.claimVar] : -1;
  int tried = 0;
  for (int k = claimPos >= 0 ? -1 : 0; k < e.m && !proved && tried <= kRowCandidates; ++k) {
    const int pos = k < 0 ? claimPos : k;
    if (k >= 0 && (pos == claimPos || violation(e, e.head[pos]) <= e.primalTol)) continue;
    ++tried;
    btranUnitRow(e, pos);
    proved = provesEitherSign(e, real, rowFactor, e.rowRho.array.data(), y);
    hvClear(e.rowRho);
  }
  if (!proved) ++claimCounters().refused;
  return proved;
}

bool rayProved(SimplexEngine &e, const WorkLp &real, const double *varFactor) {
  ++claimCounters().checked;
  const int q = e.claimVar;
  bool proved = q >= 0 && q < e.nt && e.basicPos[q] < 0 && e.claimDir != 0.0;
  if (proved) {
    EnvVector<double> z(static_cast<size_t>(e.nt), 0.0);
    HVector &col = e.column;
    hvClear(col);
    addColumn(*e.lp, q, 1.0, col.array.data());
    col.count = -1;
    ftran(e.factor, col);
    z[q] = e.claimDir;
    for (int k = 0; k < e.m; ++k) z[e.head[k]] = -e.claimDir * col.array[k];
    hvClear(col);
    double largest = 0.0;
    for (int j = 0; j < e.nt; ++j) {
      if (varFactor) z[j] *= varFactor[j];
      largest = std::max(largest, std::fabs(z[j]));
    }
    // Moves this small against the largest are rounding and bind nothing;
    // anything above it is taken as real, for on a badly scaled model a
    // tiny move can be the one that meets a bound.
    const double noise = kRayRounding * largest;
    double slope = 0.0, slopeSize = 0.0;
    for (int j = 0; j < e.nt && proved; ++j) {
      if (z[j] > noise && real.upper[j] < kInfinity) proved = false;
      if (z[j] < -noise && real.lower[j] > -kInfinity) proved = false;
      slope += real.cost[j] * z[j];
      slopeSize += std::fabs(real.cost[j] * z[j]);
    }
    proved = proved && slope < -kCancellation * 100.0 * slopeSize;
    // Every row of [A, -I] z = 0 must hold along the move.
    EnvVector<double> activity(static_cast<size_t>(real.numRow > 0 ? real.numRow : 1), 0.0);
    EnvVector<double> size(static_cast<size_t>(real.numRow > 0 ? real.numRow : 1), 0.0);
    for (int j = 0; j < real.numCol && proved; ++j)
      for (int k = real.aStart[j]; k < real.aStart[j + 1]; ++k) {
        activity[real.aIndex[k]] += real.aValue[k] * z[j];
        size[real.aIndex[k]] += std::fabs(real.aValue[k] * z[j]);
      }
    for (int i = 0; i < real.numRow && proved; ++i) {
      const double zi = z[real.numCol + i];
      if (std::fabs(activity[i] - zi) > 1e-9 * (size[i] + std::fabs(zi)) + noise) proved = false;
    }
  }
  if (!proved) ++claimCounters().refused;
  return proved;
}

} // namespace qvn
