// The node heuristic: rounding of the node LP point, a fractional dive and a
// pseudo-cost dive under their effort budgets, the feasibility pump at the
// root, then the dive modes 1..4 drawn with odds that follow their past
// successes, all held back when the heuristic keeps failing.
#include <algorithm>
#include <chrono>
#include <cmath>

#include "mip/heuristics/heuristics.h"
#include "mip/plugins.h"
#include "simplex/engine.h"

namespace qvn {

namespace {

// Node interval at HEURFREQ 0.
constexpr int kDefaultInterval = 10;
// Shares of the root's iterations for the first and the second dive budgets.
constexpr double kFirstDiveShare = 0.1, kSecondDiveShare = 0.5;
// Iterations a call adds to the call-weighted counter.
constexpr double kCallWeight = 20.0;
// Weight of the iterations in that counter once an incumbent exists: the
// dives then get a quarter of what they may spend while none is known.
constexpr double kWeightWithIncumbent = 4.0;
// Seconds between "Heuristic still looking." lines.
constexpr double kLookingInterval = 10.0;

bool budgetAllows(const MipRun &run, const HeuristicState &h, int counter) {
  if (run.env->mipParams->heurfreq != 0) return true;
  const MipSearch &s = *run.search;
  // Trials of branching are paid for by smaller trees, not by the dives' share.
  const double I = s.iterationTotal - s.trialIterations, R = s.rootIterations;
  const double f = counter == 0 ? kFirstDiveShare : kSecondDiveShare;
  const double weight = s.incumbent.exists ? kWeightWithIncumbent : 1.0;
  return h.effortIterations[counter] < 2 * I + 2 * R + 200 &&
         weight * h.effortIterations[counter] + kCallWeight * h.effortCalls[counter] < f * R + 100 + I;
}

// The back-off of the last stage: the longer the streak of failures, the
// rarer the nodes at which the dives still run.
bool backOffAllows(const MipRun &run, const HeuristicState &h) {
  if (run.env->mipParams->heurfreq != 0) return true;
  const long nodes = static_cast<long>(run.search->nodeCount);
  const int streak = h.heurFailStreak;
  if (streak > 40) return nodes % 100 == 0;
  if (streak > 30) return nodes % 80 == 0;
  if (streak > 20) return nodes % 40 == 0;
  if (streak > 10) return nodes % 20 == 0;
  return true;
}

int runDive(MipRun &run, HeuristicState &h, int mode, int counter, bool *found) {
  double iterations = 0.0;
  QVN_TRY(diveHeuristic(run, mode, found, &iterations));
  h.effortIterations[counter] += iterations;
  h.effortCalls[counter] += 1.0;
  return 0;
}

void noteResult(bool found, bool *any) {
  if (found) *any = true;
}

} // namespace

int runNodeHeuristic(MipRun &run, bool atRoot, bool *found) {
  *found = false;
  MipSearch &s = *run.search;
  HeuristicState &h = heuristicState(run);
  LpRelaxation &r = *s.nodeLp;
  if (heuristicMustStop(run)) return 0;
  if (atRoot) {
    // The root's cut rounds may have left rows out since its last solve.
    RelaxSolveLimits limits;
    limits.objectiveLimit = s.cutoff;
    limits.timeLimit = std::max(0.0, run.control.timeLimit - elapsedSeconds(run));
    int status = 0;
    QVN_TRY(relaxSolve(r, limits, &status));
    s.iterationTotal += relaxIterations(r);
    if (status != kRunOptimal) return 0;
  }
  bool stepFound = false;
  // 1. Rounding.
  QVN_TRY(roundingHeuristic(run, relaxPrimal(r), &stepFound));
  noteResult(stepFound, found);
  // 2. The fractional dive.
  if (budgetAllows(run, h, 0)) {
    QVN_TRY(runDive(run, h, kDiveFractional, 0, &stepFound));
    noteResult(stepFound, found);
  }
  // 3. The second dive, led by the pseudo costs.
  bool secondRan = false;
  if (budgetAllows(run, h, 1) && backOffAllows(run, h)) {
    secondRan = true;
    QVN_TRY(runDive(run, h, kDivePseudoCost, 1, &stepFound));
    noteResult(stepFound, found);
  }
  // 5. The feasibility pump, once, at the root without a cutoff.
  if (atRoot && s.cutoff >= 1e75 && run.env->mipParams->p2098 > 0 && !h.pumpDone) {
    h.pumpDone = true;
    QVN_TRY(feasibilityPump(run, &stepFound));
    noteResult(stepFound, found);
  }
  bool coefficientRan = false;
  // 6. Dive modes 1..4, each drawn with odds that follow its successes.
  if (backOffAllows(run, h)) {
    const bool talk = atRoot && run.control.display > 0;
    bool spoke = false;
    auto lastPrint = std::chrono::steady_clock::now();
    int total = 0;
    for (int m = 1; m < kDiveModeCount; ++m) total += h.successes[m];
    for (int m = 1; m < kDiveModeCount; ++m) {
      if (heuristicMustStop(run) || !budgetAllows(run, h, 1)) break;
      const double share = (h.successes[m] + 3.0) / (total + 12.0);
      if (!(heuristicRandom(h) < share || atRoot)) continue;
      // Without an incumbent the guided dive is the fractional one, and the
      // pseudo-cost dive has just run from this very point.
      if ((m == kDiveGuided && !s.incumbent.exists) || (m == kDivePseudoCost && secondRan)) continue;
      QVN_TRY(runDive(run, h, m, 1, &stepFound));
      if (m == kDiveCoefficient) coefficientRan = true;
      if (stepFound) ++h.successes[m];
      noteResult(stepFound, found);
      if (talk && std::chrono::duration<double>(std::chrono::steady_clock::now() - lastPrint).count() >=
                      kLookingInterval) {
        QVNmsg(run.env->resultsChannel, "Heuristic still looking.\n");
        spoke = true;
        lastPrint = std::chrono::steady_clock::now();
      }
    }
    if (spoke) QVNmsg(run.env->resultsChannel, "Heuristic complete.\n");
  }
  // 7. Without any cutoff at the root, one more dive led by the locks
  // (unless the last stage has just run it from this same point).
  if (atRoot && s.cutoff >= 1e75 && !coefficientRan && budgetAllows(run, h, 0)) {
    QVN_TRY(runDive(run, h, kDiveCoefficient, 0, &stepFound));
    noteResult(stepFound, found);
  }
  // The streak counts the calls since the last success.
  h.heurFailStreak = *found ? 0 : h.heurFailStreak + 1;
  return 0;
}

int nodeHeuristicRow(MipRun &run, void *data, int *found) {
  *found = 0;
  const unsigned when = data ? *static_cast<const unsigned *>(data) : kAtNode;
  const int freq = run.env->mipParams->heurfreq;
  if (freq < 0) return 0;
  const bool atRoot = (when & kAtRoot) != 0;
  if (!atRoot) {
    const long nodes = static_cast<long>(run.search->nodeCount);
    const int every = freq == 0 ? kDefaultInterval : freq;
    if (nodes <= 0 || nodes % every != 0) return 0;
  }
  bool any = false;
  QVN_TRY(runNodeHeuristic(run, atRoot, &any));
  *found = any ? 1 : 0;
  return 0;
}

} // namespace qvn
