#include "simplex/dual_pricing.h"

#include <algorithm>
#include <cmath>

#include "runtime/channels.h"

namespace qvn {

namespace {

constexpr double kMinWeight = 1e-4;

// Equality rows with right-hand sides 0 and +-1 (both kinds present) and a
// matrix of +-1 entries: a network or assignment shape, where the simple
// recursion does as well as the exact one for less work.
bool hasNetworkShape(const SimplexEngine &e) {
  const WorkLp &lp = *e.lp;
  bool zero = false, nonzero = false;
  for (int i = 0; i < e.m; ++i) {
    const double l = lp.lower[e.n + i], u = lp.upper[e.n + i];
    if (l != u || (l != 0.0 && std::fabs(l) != 1.0)) return false;
    (l == 0.0 ? zero : nonzero) = true;
  }
  if (!zero || !nonzero) return false;
  for (double a : lp.aValue)
    if (std::fabs(a) != 1.0) return false;
  return true;
}

// ||row k of B^-1||^2 for every position with a structural; with `full`
// also the squares of the row over the nonbasic columns and 1 for its own
// logical part, so that a slack basis gives 2 + the row's squares.
void computeWeights(SimplexEngine &e, bool full) {
  const WorkLp &lp = *e.lp;
  HVector &rho = e.rowRho;
  for (int k = 0; k < e.m; ++k) {
    const int j = e.head[k];
    if (j >= e.n && !full) continue;
    hvClear(rho);
    rho.array[k] = 1.0;
    rho.index[0] = k;
    rho.count = 1;
    btran(e.factor, rho);
    double g = hvSquaredNorm(rho);
    if (full) {
      g += 1.0;
      for (int c = 0; c < e.n; ++c) {
        if (e.basicPos[c] >= 0) continue;
        const double a = columnDot(lp, c, rho.array.data());
        g += a * a;
      }
    }
    e.dualWeights[k] = std::max(g, kMinWeight);
  }
  hvClear(rho);
}

void sample(SimplexEngine &e, int tauWork) {
  DualSteepState &s = e.dualSteep;
  s.timeRow += e.rowRho.count + e.rowAlpha.count;
  s.timeTau += tauWork;
  s.timeColumn += e.column.count;
  s.timeUpdate += e.column.count;
  s.timeOther += 0.01 * e.m;
  ++s.countRow;
  ++s.countColumn;
  ++s.countUpdate;
}

} // namespace

void initDualPricing(SimplexEngine &e) {
  using Kind = DualPricingKind;
  const Kind kind = e.dualPricing;
  DualSteepState &s = e.dualSteep;
  s = DualSteepState{};
  s.isDevex = kind == Kind::kDevex;
  if (kind == Kind::kAutomatic) {
    if (hasNetworkShape(e))
      s.isDevex = true;
    else
      s.fixedMode = !(e.m >= 5000 && e.n <= 10 * e.m);
  }
  if (kind == Kind::kPlainThenSteepest) s.plainUntil = e.iterations + 100;
  if (e.dualWeightsValid) return;
  e.dualWeights.assign(static_cast<size_t>(e.m > 0 ? e.m : 1), 1.0);
  e.dualWeightsValid = true;
  const bool computed = ((kind == Kind::kAutomatic || kind == Kind::kDevex) && !e.startGiven) ||
                        kind == Kind::kSteepest || kind == Kind::kSteepestFull;
  if (!computed) return;
  bool allLogical = true;
  for (int k = 0; k < e.m && allLogical; ++k) allLogical = e.head[k] >= e.n;
  if (kind == Kind::kSteepestFull) {
    if (!allLogical && e.display > 0) QVNmsg(e.env->resultsChannel, "Initializing dual full norms . . .\n");
    computeWeights(e, true);
    return;
  }
  if (allLogical) return;  // a slack basis has unit norms exactly
  if (e.display > 0) QVNmsg(e.env->resultsChannel, "Initializing dual steep norms . . .\n");
  computeWeights(e, false);
}

void updateDualWeights(SimplexEngine &e, int r, double alphaR) {
  DualSteepState &s = e.dualSteep;
  if (e.dualPricing == DualPricingKind::kPlain) return;
  if (e.dualPricing == DualPricingKind::kPlainThenSteepest) {
    if (e.iterations < s.plainUntil) return;
    // Plain pricing has served its first iterations; steepest edge from unit weights.
    e.dualPricing = DualPricingKind::kSteepestUnitStart;
    std::fill(e.dualWeights.begin(), e.dualWeights.end(), 1.0);
    ++e.dualWeightResets;
    if (e.display > 0) QVNmsg(e.env->resultsChannel, "Switched to steepest-edge.\n");
  }
  double *weight = e.dualWeights.data();
  const HVector &rho = e.rowRho, &col = e.column;
  const double g = hvSquaredNorm(rho);  // ||rho_r||^2, the exact weight of the leaving row
  const bool devex = s.isDevex;
  const bool sampled = !s.fixedMode && e.iterations % (devex ? 101 : 23) == 0;
  if (weight[r] > (devex ? 10.0 : 1000.0) * g) {
    // The stored weight is far off: start the weights afresh.
    std::fill(e.dualWeights.begin(), e.dualWeights.end(), 1.0);
    ++e.dualWeightResets;
    weight[r] = std::max(g / (alphaR * alphaR), kMinWeight);
    return;
  }
  if (devex) {
    for (int k = 0; k < col.count; ++k) {
      const int pos = col.index[k];
      if (pos == r) continue;
      const double f = col.array[pos] / alphaR;
      weight[pos] = std::max(weight[pos], f * f * g);
    }
    // What tau would have cost: an FTRAN about as dense as rho.
    if (sampled) sample(e, rho.count);
  } else {
    HVector &tau = e.tau;
    hvClear(tau);
    for (int k = 0; k < rho.count; ++k) {
      tau.array[rho.index[k]] = rho.array[rho.index[k]];
      tau.index[k] = rho.index[k];
    }
    tau.count = rho.count;
    ftran(e.factor, tau);
    for (int k = 0; k < col.count; ++k) {
      const int pos = col.index[k];
      if (pos == r) continue;
      const double f = col.array[pos] / alphaR;
      weight[pos] = std::max(weight[pos] + f * f * g - 2.0 * f * tau.array[pos], kMinWeight);
    }
    if (sampled) sample(e, tau.count >= 0 ? tau.count : e.m);
    hvClear(tau);
  }
  weight[r] = std::max(g / (alphaR * alphaR), kMinWeight);
}

void dualPricingAtFactor(SimplexEngine &e) {
  DualSteepState &s = e.dualSteep;
  if (s.fixedMode) return;
  const int need = s.isDevex ? 15 : 50;
  if (s.countRow < need || s.countColumn < need || s.countUpdate < need) return;
  const double r = ((0.2 * s.timeRow + s.timeTau) / s.countRow) /
                   (s.timeUpdate / s.countUpdate + s.timeOther / s.countUpdate + s.timeRow / s.countRow + 1e-10 +
                    s.timeColumn / s.countColumn);
  s.ratios[s.ratioCount % 3] = r;
  ++s.ratioCount;
  s.timeRow = s.timeTau = s.timeColumn = s.timeUpdate = s.timeOther = 0;
  s.countRow = s.countColumn = s.countUpdate = 0;
  if (s.ratioCount < 3) return;
  const double *q = s.ratios;
  if (!s.isDevex && q[0] > 1.35 && q[1] > 1.35 && q[2] > 1.35) {
    s.isDevex = true;
    s.ratioCount = 0;
  } else if (s.isDevex && q[0] < 0.5 && q[1] < 0.5 && q[2] < 0.5) {
    s.isDevex = false;
    s.ratioCount = 0;
    hvClear(e.tau);
  }
}

} // namespace qvn
