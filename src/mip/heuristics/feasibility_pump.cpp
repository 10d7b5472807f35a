// The feasibility pump at the root: the LP is re-solved with the objective
// replaced by the L1 distance to the rounding of its last point (on the
// binaries), blended with a fading share of the true objective, until a
// rounding repeats itself in the LP (a feasible point) or the effort runs
// out. A rounding seen before is perturbed by flipping the columns the LP
// most wants to move; twenty such steps in a row make a random restart.
#include <algorithm>
#include <cmath>

#include "mip/heuristics/heuristics.h"
#include "simplex/engine.h"

namespace qvn {

namespace {

constexpr int kPumpIterations = 200;
constexpr int kFlipsBeforeRestart = 20;
constexpr double kAlphaDecay = 0.9;
// Hashes of past roundings kept (two buffers of 80000 bytes).
constexpr size_t kHashSlots = 2 * 80000 / sizeof(uint64_t);
constexpr double kDistanceDone = 1e-10;
// Iterations of one pump LP, and of the whole pump, with floors for tiny roots.
constexpr double kLpIterationFloor = 5000.0;
constexpr double kPumpIterationFloor = 20000.0, kPumpRootShare = 5.0;

uint64_t hashRounding(const EnvVector<double> &rounded, const EnvVector<int> &cols) {
  uint64_t hash = 1469598103934665603ull;
  for (int j : cols) {
    hash ^= static_cast<uint64_t>(static_cast<int64_t>(rounded[j]));
    hash *= 1099511628211ull;
  }
  return hash;
}

int pump(MipRun &run, HeuristicState &h, bool *found) {
  MipSearch &s = *run.search;
  const LpData &d = *run.model;
  LpRelaxation &r = *s.nodeLp;
  const int n = d.numCols;
  EnvVector<int> binaries;
  for (int j = 0; j < n; ++j)
    if (isIntegerColumn(run, j) && s.rootUpper[j] - s.rootLower[j] <= 1.0) binaries.push_back(j);
  if (binaries.empty()) return 0;
  // The objective scaled to the size of the distance function.
  double norm = 0.0;
  for (int j = 0; j < n; ++j) norm += d.objCoef[j] * d.objCoef[j];
  norm = std::sqrt(norm);
  const double scale = norm > 0 ? std::sqrt(static_cast<double>(binaries.size())) / norm : 0.0;
  EnvVector<int> all(static_cast<size_t>(n));
  for (int j = 0; j < n; ++j) all[j] = j;
  EnvVector<double> cost(static_cast<size_t>(n)), rounded(static_cast<size_t>(n), 0.0);
  EnvVector<uint64_t> seen(kHashSlots, 0);
  EnvVector<std::pair<double, int>> order;
  double alpha = 1.0, bestInfeasibility = kInfinity;
  int flipsInRow = 0, iteration = 0;
  const double start = elapsedSeconds(run);
  const double budget = std::max(kPumpIterationFloor, kPumpRootShare * s.rootIterations);
  double spent = 0.0;
  for (iteration = 1; iteration <= kPumpIterations; ++iteration) {
    if (heuristicMustStop(run)) break;
    const double *x = relaxPrimal(r);
    bool rounding = false;
    QVN_TRY(roundingHeuristic(run, x, &rounding));
    if (rounding) {
      *found = true;
      break;
    }
    double distance = 0.0;
    for (int j : binaries) {
      rounded[j] = std::clamp(std::round(x[j]), s.rootLower[j], s.rootUpper[j]);
      distance += std::fabs(x[j] - rounded[j]);
    }
    bestInfeasibility = std::min(bestInfeasibility, distance);
    if (distance < kDistanceDone) {
      // The LP point is integral on the binaries: other integers may still be fractional.
      *found = offerIncumbent(run, x, 0, true);
      if (*found) break;
    }
    uint64_t hash = hashRounding(rounded, binaries);
    size_t slot = hash % kHashSlots;
    if (seen[slot] == hash) {
      // Cycling: flip the columns farthest from their rounding.
      if (++flipsInRow > kFlipsBeforeRestart) {
        for (int j : binaries)
          if (heuristicRandom(h) < 0.3) rounded[j] = s.rootLower[j] + s.rootUpper[j] - rounded[j];
        flipsInRow = 0;
      } else {
        order.clear();
        for (int j : binaries) order.push_back({-std::fabs(x[j] - rounded[j]), j});
        std::sort(order.begin(), order.end());
        const int flips = 10 + static_cast<int>(heuristicRandom(h) * 20);
        for (int k = 0; k < flips && k < static_cast<int>(order.size()); ++k) {
          const int j = order[k].second;
          rounded[j] = s.rootLower[j] + s.rootUpper[j] - rounded[j];
        }
      }
      hash = hashRounding(rounded, binaries);
      slot = hash % kHashSlots;
    } else {
      flipsInRow = 0;
    }
    seen[slot] = hash;
    // Distance to the rounding, blended with the objective.
    for (int j = 0; j < n; ++j) cost[j] = alpha * scale * d.objCoef[j] * run.sense;
    for (int j : binaries) {
      const double toward = rounded[j] <= s.rootLower[j] ? 1.0 : -1.0;
      cost[j] += (1.0 - alpha) * toward;
    }
    alpha *= kAlphaDecay;
    QVN_TRY(relaxChangeCosts(r, n, all.data(), cost.data()));
    RelaxSolveLimits limits;
    limits.method = RelaxMethod::kPrimal;
    limits.timeLimit = std::max(0.0, run.control.timeLimit - elapsedSeconds(run));
    limits.iterationLimit = static_cast<int>(std::max(kLpIterationFloor, 2.0 * s.rootIterations));
    int status = 0;
    QVN_TRY(relaxSolve(r, limits, &status));
    s.iterationTotal += relaxIterations(r);
    spent += relaxIterations(r);
    if (status != kRunOptimal || spent >= budget) break;
  }
  if (run.control.display > 0)
    QVNmsg(run.env->resultsChannel, "Feasibility pump: elapsed %.2f sec., phase %d, iter %d, best infeas %.2f\n",
           elapsedSeconds(run) - start, 1, std::min(iteration, kPumpIterations),
           bestInfeasibility < kInfinity ? bestInfeasibility : 0.0);
  return 0;
}

} // namespace

int feasibilityPump(MipRun &run, bool *found) {
  *found = false;
  HeuristicState &h = heuristicState(run);
  LpRelaxation &r = *run.search->nodeLp;
  SavedRelaxState saved;
  QVN_TRY(relaxSaveState(r, &saved.state));
  const int failure = pump(run, h, found);
  const int restored = relaxRestoreState(r, *saved.state);
  if (restored != 0) return restored;
  return failure == QVNERR_NO_MEMORY || failure < 0 ? failure : 0;
}

} // namespace qvn
