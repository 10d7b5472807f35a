// The crossover's start: a basis among the variables that the interior point
// holds strictly inside their bounds, and the nonbasic variables placed.
#include <algorithm>
#include <cmath>

#include "barrier/crossover.h"
#include "runtime/params.h"

namespace qvn {

namespace {

// A structural column takes a row for the basis only through an entry of at
// least this share of its largest: a smaller one would be a poor pivot.
constexpr double kMatchShare = 0.01;

double distanceInside(const WorkLp &w, int j, double x) {
  const double below = w.lower[j] > -kInfinity ? x - w.lower[j] : kInfinity;
  const double above = w.upper[j] < kInfinity ? w.upper[j] - x : kInfinity;
  return std::min(below, above);
}

// Within this of a bound a nonbasic variable is put at it: the interior point
// approaches its bounds only in the limit, and pushing each such variable
// would cost a solve for a move the basic values hardly see. The primal
// crossover keeps the point feasible for the primal simplex and pushes all
// but the nearest; the dual one leaves primal infeasibility to the dual
// simplex and puts more at their bounds, as each superbasic left would stop
// a dual push at once.
double snapTolerance(const CrossoverWork &cw, double bound) {
  return (cw.primalFirst ? 0.001 : 0.1) * cw.e.primalTol * std::max(1.0, std::fabs(bound));
}

} // namespace

int crossoverCrash(CrossoverWork &cw, Environment *env, const WorkLp &w, const BarrierResult &r) {
  SimplexEngine &e = cw.e;
  QVN_TRY(engineSetup(e, env, w));
  const GeneralParams &gp = *env->generalParams;
  // Crossover pivots are chosen for their place, not their size: a firmer
  // threshold keeps the factors of the bases it passes through stable.
  e.factor.markowitz = std::max(e.factor.markowitz, gp.numericalemphasis ? 0.9 : 0.1);
  const int n = w.numCol, m = w.numRow, nt = w.numTot;
  cw.start.assign(r.x.begin(), r.x.end());
  cw.y.assign(r.y.begin(), r.y.end());
  cw.z.assign(r.z.begin(), r.z.end());
  if (cw.y.empty()) cw.y.assign(1, 0.0);

  // Candidates for the basis: strictly inside, farther from a bound than the
  // reduced cost is from zero (at an optimum exactly one of the two is 0).
  // Free columns first, then by the distance relative to the reduced cost.
  EnvVector<int> order;
  EnvVector<double> score(static_cast<size_t>(nt > 0 ? nt : 1), 0.0);
  for (int j = 0; j < n; ++j) {
    if (w.lower[j] == w.upper[j]) continue;
    const double dist = distanceInside(w, j, r.x[j]);
    if (dist <= snapTolerance(cw, r.x[j]) || dist <= std::fabs(r.z[j])) continue;
    score[j] = dist >= kInfinity ? 1e300 : dist / (std::max(1.0, std::fabs(r.x[j])) * (std::fabs(r.z[j]) + 1e-12));
    order.push_back(j);
  }
  std::stable_sort(order.begin(), order.end(), [&](int a, int b) { return score[a] > score[b]; });

  // A greedy matching of candidates to rows: an inactive row keeps its
  // logical, a structural takes its largest free entry. Rows left over get
  // their logicals; the factor replaces what is still dependent.
  EnvVector<char> rowTaken(static_cast<size_t>(m > 0 ? m : 1), 0);
  EnvVector<char> basic(static_cast<size_t>(nt > 0 ? nt : 1), 0);
  for (int i = 0; i < m; ++i) {
    const int j = n + i;
    if (w.lower[j] == w.upper[j]) continue;
    const double dist = distanceInside(w, j, r.x[j]);
    if (dist > snapTolerance(cw, r.x[j]) && dist > std::fabs(r.z[j])) rowTaken[i] = 1, basic[j] = 1;
  }
  int taken = 0;
  for (int i = 0; i < m; ++i) taken += rowTaken[i];
  for (size_t k = 0; k < order.size() && taken < m; ++k) {
    const int j = order[k];
    double largest = 0.0;
    for (int p = w.aStart[j]; p < w.aStart[j + 1]; ++p) largest = std::max(largest, std::fabs(w.aValue[p]));
    int best = -1;
    double bestValue = kMatchShare * largest;
    for (int p = w.aStart[j]; p < w.aStart[j + 1]; ++p) {
      const int i = w.aIndex[p];
      if (!rowTaken[i] && std::fabs(w.aValue[p]) >= bestValue && largest > 0.0) best = i, bestValue = std::fabs(w.aValue[p]);
    }
    if (best < 0) continue;
    rowTaken[best] = 1;
    basic[j] = 1;
    ++taken;
  }
  for (int i = 0; i < m; ++i)
    if (!rowTaken[i]) basic[n + i] = 1;
  int pos = 0;
  for (int j = 0; j < nt; ++j) {
    e.basicPos[j] = -1;
    if (basic[j] && pos < m) {
      e.head[pos] = j;
      e.basicPos[j] = pos++;
    }
  }
  e.factorCurrent = false;
  e.packed.valid = false;
  QVN_TRY(refactor(e));

  // Nonbasic variables: at a bound when within the snap tolerance of it, at 0
  // when free and there, otherwise kept at the point as superbasics to push.
  cw.list.clear();
  for (int j = 0; j < nt; ++j) {
    if (e.basicPos[j] >= 0) continue;
    const double x = r.x[j], l = w.lower[j], u = w.upper[j];
    if (l == u || (l > -kInfinity && x - l <= snapTolerance(cw, l))) {
      e.move[j] = kAtLower;
    } else if (u < kInfinity && u - x <= snapTolerance(cw, u)) {
      e.move[j] = kAtUpper;
    } else {
      e.move[j] = kAtZero;
      e.x[j] = x;
      if (x != 0.0 || l > -kInfinity || u < kInfinity) cw.list.push_back(j);
      continue;
    }
    placeNonbasic(e, j);
  }
  computePrimal(e);
  return 0;
}

} // namespace qvn
