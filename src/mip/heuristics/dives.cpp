// The dives of the node heuristic: from the node LP's optimum, bound one
// fractional integer column at a time to one side and re-solve, until the LP
// point is integral (offered as a solution), infeasible after one flip of the
// last choice, or past the cutoff. The modes differ only in the column and
// side they choose. The node LP is saved before and restored after, so the
// tree never sees a dive.
#include <algorithm>
#include <cmath>

#include "mip/heuristics/heuristics.h"
#include "simplex/engine.h"

namespace qvn {

namespace {

// Steps of one dive, whatever the budget says.
constexpr int kMaxDiveSteps = 2000;
// Iterations of one dive: the root's at the root, half of them in the tree,
// with floors for tiny roots.
constexpr double kRootDiveFloor = 2000.0, kNodeDiveFloor = 300.0;
constexpr double kNodeDiveShare = 0.5;
// Fractional columns above which the fix-and-dive mode does not start.
constexpr int kFixAndDiveMaxFractional = 200;
// Reduced cost magnitude that fixes an integral column in fix-and-dive.
constexpr double kReducedCostFix = 1e-7;
// Try the rounding step every this many dive steps.
constexpr int kRoundEvery = 5;
// While n columns are fractional, 1 + n / kBatchDivisor are bounded before one LP.
constexpr int kBatchDivisor = 8;

struct DiveChoice {
  int col = -1;
  int dir = 0;  // -1 down, +1 up
  double score = 0.0;
};

// The fractional columns of x, each with the side `mode` would take and its
// score (smaller goes first), in `out`.
void scoreColumns(const MipRun &run, const HeuristicState &h, int mode, const double *x, EnvVector<DiveChoice> &out) {
  const MipSearch &s = *run.search;
  const int n = run.model->numCols;
  const double epint = run.control.epint;
  const bool guided = mode == kDiveGuided && s.incumbent.exists;
  out.clear();
  for (int j = 0; j < n; ++j) {
    if (!isIntegerColumn(run, j)) continue;
    const double v = x[j], f = v - std::floor(v);
    if (f <= epint || f >= 1.0 - epint) continue;
    int dir = f < 0.5 ? -1 : 1;
    double score = std::min(f, 1.0 - f);
    switch (mode) {
    case kDiveCoefficient: {
      const int down = h.downLocks[j], up = h.upLocks[j];
      if (down != up) dir = down < up ? -1 : 1;
      // Fewest locks first, then the smaller move.
      score = std::min(down, up) + (dir < 0 ? f : 1.0 - f) * 0.999;
      break;
    }
    case kDiveGuided:
      if (guided) {
        const double target = s.incumbent.x[j];
        dir = target <= std::floor(v) ? -1 : 1;
        score = std::fabs(v - target);
      }
      break;
    case kDivePseudoCost: {
      const double down = s.pseudo.downCost[j] * f, up = s.pseudo.upCost[j] * (1.0 - f);
      if (f < 0.3)
        dir = -1;
      else if (f > 0.7)
        dir = 1;
      else
        dir = down < up ? -1 : 1;
      // The side taken should be cheap compared with the other one.
      const double taken = dir < 0 ? down : up, other = dir < 0 ? up : down;
      score = (taken + 1e-6) / (other + 1e-6);
      break;
    }
    default: break;
    }
    // Binaries first: bounding one settles it.
    if (s.rootUpper[j] - s.rootLower[j] > 1.5) score += 1e6;
    out.push_back(DiveChoice{j, dir, score});
  }
}

int solveDiveLp(MipRun &run, LpRelaxation &r, double iterationsLeft, int *status, double *iterations) {
  RelaxSolveLimits limits;
  limits.objectiveLimit = run.search->cutoff;
  limits.iterationLimit = static_cast<int>(std::clamp(iterationsLeft, 1.0, 2.0e9));
  limits.timeLimit = std::max(0.0, run.control.timeLimit - elapsedSeconds(run));
  QVN_TRY(relaxSolve(r, limits, status));
  const int it = relaxIterations(r);
  *iterations += it;
  run.search->iterationTotal += it;
  return 0;
}

// Fix-and-dive: integral integer columns with a clear reduced cost stay where
// the LP has them, which shrinks the dive to the rest.
int fixByReducedCosts(MipRun &run, LpRelaxation &r) {
  const int n = run.model->numCols;
  const double *x = relaxPrimal(r);
  const double *rc = relaxReducedCosts(r);
  EnvVector<int> cols;
  EnvVector<double> vals;
  for (int j = 0; j < n; ++j) {
    if (!isIntegerColumn(run, j) || std::fabs(rc[j]) <= kReducedCostFix) continue;
    const double v = std::round(x[j]);
    if (std::fabs(x[j] - v) > run.control.epint) continue;
    cols.push_back(j);
    vals.push_back(v);
  }
  if (cols.empty()) return 0;
  return relaxChangeBounds(r, static_cast<int>(cols.size()), cols.data(), vals.data(), vals.data());
}

int dive(MipRun &run, HeuristicState &h, int mode, bool *found, double *iterations) {
  MipSearch &s = *run.search;
  LpRelaxation &r = *s.nodeLp;
  const double budget = s.nodeCount == 0 ? std::max(kRootDiveFloor, s.rootIterations)
                                         : std::max(kNodeDiveFloor, kNodeDiveShare * s.rootIterations);
  EnvVector<DiveChoice> choices;
  scoreColumns(run, h, mode, relaxPrimal(r), choices);
  if (choices.empty()) {
    // Integral already (the loop would offer it too; a repeat offer is refused).
    *found = offerIncumbent(run, relaxPrimal(r), static_cast<int>(s.nodeCount), true);
    return 0;
  }
  if (mode == kDiveFixAndDive) {
    if (static_cast<int>(choices.size()) > kFixAndDiveMaxFractional) return 0;
    QVN_TRY(fixByReducedCosts(run, r));
  }
  EnvVector<int> cols;
  EnvVector<double> oldLo, oldUp, newLo, newUp, floorValue;
  for (int step = 0; step < kMaxDiveSteps; ++step) {
    if (heuristicMustStop(run) || *iterations >= budget) return 0;
    const double *x = relaxPrimal(r);
    scoreColumns(run, h, mode, x, choices);
    if (choices.empty()) {
      *found = offerIncumbent(run, x, static_cast<int>(s.nodeCount), true) || *found;
      return 0;
    }
    if (step % kRoundEvery == kRoundEvery - 1) {
      bool rounded = false;
      QVN_TRY(roundingHeuristic(run, x, &rounded));
      *found = *found || rounded;
    }
    // Several columns per LP while many are fractional: the best share of them.
    const size_t batch = std::min(choices.size(), 1 + choices.size() / kBatchDivisor);
    std::partial_sort(choices.begin(), choices.begin() + batch, choices.end(),
                      [](const DiveChoice &a, const DiveChoice &b) {
                        return a.score < b.score || (a.score == b.score && a.col < b.col);
                      });
    // The LP's arrays change with the first solve below: what the later
    // attempts need of x is kept here.
    cols.clear(), oldLo.clear(), oldUp.clear(), floorValue.clear();
    for (size_t k = 0; k < batch; ++k) {
      double lo = 0.0, up = 0.0;
      relaxGetBounds(r, choices[k].col, &lo, &up);
      cols.push_back(choices[k].col), oldLo.push_back(lo), oldUp.push_back(up);
      floorValue.push_back(std::floor(x[choices[k].col]));
    }
    // Attempts: the batch, then its first column alone, then that column flipped.
    bool solved = false;
    for (int attempt = batch > 1 ? 0 : 1; attempt < 3 && !solved; ++attempt) {
      const size_t used = attempt == 0 ? batch : 1;
      newLo.assign(oldLo.begin(), oldLo.end());
      newUp.assign(oldUp.begin(), oldUp.end());
      for (size_t k = 0; k < used; ++k) {
        const int dir = attempt == 2 ? -choices[k].dir : choices[k].dir;
        const double down = floorValue[k];
        if (dir > 0)
          newLo[k] = down + 1.0;
        else
          newUp[k] = down;
      }
      bool possible = true;
      for (size_t k = 0; k < used; ++k) possible = possible && newLo[k] <= newUp[k];
      if (!possible) continue;
      QVN_TRY(relaxChangeBounds(r, static_cast<int>(cols.size()), cols.data(), newLo.data(), newUp.data()));
      int status = 0;
      QVN_TRY(solveDiveLp(run, r, budget - *iterations, &status, iterations));
      if (status == kRunOptimal) {
        solved = true;
      } else if (status != kRunInfeasible && status != kRunObjLimit) {
        return 0;  // iteration or time limit, or trouble: the dive ends
      }
    }
    if (!solved) return 0;
  }
  return 0;
}

} // namespace

int diveHeuristic(MipRun &run, int mode, bool *found, double *iterations) {
  *found = false;
  HeuristicState &h = heuristicState(run);
  LpRelaxation &r = *run.search->nodeLp;
  SavedRelaxState saved;
  QVN_TRY(relaxSaveState(r, &saved.state));
  const int failure = dive(run, h, mode, found, iterations);
  const int restored = relaxRestoreState(r, *saved.state);
  if (restored != 0) return restored;
  // A dive that ran out of memory stops the run; any other LP failure only
  // ends the dive.
  return failure == QVNERR_NO_MEMORY || failure < 0 ? failure : 0;
}

} // namespace qvn
