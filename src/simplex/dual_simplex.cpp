// The bounded dual simplex: dual steepest-edge choice of the leaving row, a
// bound-flipping ratio test with Harris tolerances, and cost shifting instead
// of backward steps. Dual phase 1 solves the same matrix over artificial
// boxes, which makes every variable boxed and so dual feasible by flips; its
// optimal basis is dual feasible for the real bounds when the problem's dual is.
//
// An iteration runs as named steps: rebuild (when due, with its reason),
// chooseRow, then in iterate: chooseColumn, verifyPivot, updateIteration.
// The ends of a run are decided where a step finds nothing: noRowLeft, or
// no entering column in iterate. Every rebuild is where the debug layer
// (simplex_debug.h) looks.
#include <algorithm>
#include <cmath>
#include <utility>

#include "formats/restart_file.h"
#include "simplex/dual_pricing.h"
#include "simplex/implied_boxes.h"
#include "simplex/loops.h"
#include "runtime/debug_checks.h"
#include "simplex/progress.h"
#include "simplex/simplex_debug.h"

namespace qvn {

namespace {

struct Candidate {
  int j;
  double alpha;  // sign-adjusted pivot row entry: positive moves dj towards zero
  double ratio;  // dj / alpha, the dual step at which dj reaches zero
  double bound;  // the same step with the Harris relaxation of the ratio test
};

// Primal infeasibility the last steps of a run remove.
constexpr double kTightPrimalTol = 1e-9;
// The tight finish lasts at most this many iterations, or a share of the rows.
constexpr int kTightFinishIterations = 100;
constexpr int kTightFinishRowShare = 20;
// Pivot row entries this small are rounding noise of the BTRAN and the row
// product: no breakpoint is taken on them.
constexpr double kPivotRowZero = 1e-9;
// Relative disagreement of the pivot from the row and from the column above
// which an updated factor is taken as drifted and refactored...
constexpr double kPivotDriftRefactor = 1e-7;
// ...and above which, on a fresh factor, the row is refused for this round.
constexpr double kPivotDriftRefuse = 1e-5;
// Denominator floor of that relative measure, so a tiny pivot cannot hide a gap.
constexpr double kMismatchFloor = 1e-9;
// A column pivot this small is refused whatever the row says.
constexpr double kTinyPivot = 1e-11;
// Rounds of forgiving refused rows with a raised threshold before the run
// gives up as not proved optimal.
constexpr int kUnbanRounds = 5;
// The threshold those rounds factor with: at least kRaisedThreshold, one
// kThresholdStep higher each round, never above kThresholdCap.
constexpr double kRaisedThreshold = 0.1;
constexpr double kThresholdStep = 0.1;
constexpr double kThresholdCap = 0.99999;
// A cost perturbation under kPerturbationOverTol dual tolerances shrinks the
// ratio test's relaxation to kRatioTolShare of it, or the relaxation would
// take back the ties that the perturbation breaks.
constexpr double kPerturbationOverTol = 1000.0;
constexpr double kRatioTolShare = 0.001;
// Relative drift of the kept objective that the debug layer tolerates: the
// updates round once per changed value.
constexpr double kKeptObjectiveTol = 1e-9;
// Candidates above which the long step orders the breakpoints by heaps.
constexpr size_t kHeapFrom = 64;

// How a variable may enter, by the side its reduced cost can move from.
enum EnterState : signed char { kNever = 0, kFromLower = 1, kFromUpper = 2, kEitherWay = 3 };

struct DualWork {
  EnvVector<Candidate> candidates;
  // By variable: how it may enter (basic and fixed ones never), so that the
  // ratio test reads one byte per pivot row entry before it looks further.
  // Set from the basis at each rebuild and kept by the iterations.
  EnvVector<signed char> enter;
  bool enterKept = false;  // inside dualIterate, where the iterations keep `enter`
  // objectiveValue(e), set with `enter` and kept by the iterations, so that
  // the objective limit is watched without a pass over all columns.
  double objective = 0.0;
  // Heaps of candidates by ratio and by Harris bound, the group being
  // collected, and the candidates passed, for the long step over many groups.
  EnvVector<int> byRatio, byBound, group;
  EnvVector<char> passed;
  EnvVector<int> flipped;
  EnvVector<double> savedLower, savedUpper;
  EnvVector<char> banned;  // rows refused as leaving rows until the next factorization
  bool tightened = false;  // the primal tolerance was cut for the last steps
  int tightenedAt = -1;  // iteration the tight finish began; -1 once it is over
  double savedPrimalTol = 0.0;
  bool perturbed = false;
  int perturbations = 0;
  int shiftCount = 0;  // costs shifted by the ratio test
  double magnitude = 0.0;  // of the last cost perturbation
  ProgressState progress;
  double ratioTol = 0.0;  // Harris relaxation of the ratio test
  bool anyBanned = false;
  // Basis positions whose variable is outside its bounds by more than
  // listTol, kept up to date by the iterations so that the choice of the
  // leaving row looks at the infeasible rows only.
  EnvVector<int> infeasible, listAt;
  bool listValid = false;
  double listTol = 0.0;
  // The shortlist of the leaving-row choice: after a scan of all the
  // infeasible rows, the best kShortlist of them, and every position whose
  // value or weight has changed since. A row outside it has the merit it had
  // at the scan, at most `cutoff`, so a best shortlisted merit of at least
  // `cutoff` is the best of all and no scan is needed.
  EnvVector<int> shortlist;
  EnvVector<char> listed;  // by position: in the shortlist
  EnvVector<std::pair<double, int>> scanned;  // (merit, position) of a scan
  double cutoff = 0.0;
  bool shortValid = false;
  int shortResets = 0;  // e.dualWeightResets at the scan
  int unbanRounds = 0;
};

// Puts every boxed nonbasic at the bound that its reduced cost asks for.
// Returns true when a variable moved, so that x_B must be recomputed.
bool flipBoxedToDualFeasible(SimplexEngine &e) {
  bool moved = false;
  for (int j = 0; j < e.nt; ++j) {
    if (e.basicPos[j] >= 0 || !isBoxed(e, j)) continue;
    // A reduced cost of zero leaves the variable where it is: flipping it
    // would disturb the primal values for nothing.
    signed char want = e.move[j];
    if (e.dj[j] < -e.dualTol)
      want = kAtUpper;
    else if (e.dj[j] > e.dualTol || e.move[j] == kAtZero)
      want = kAtLower;
    if (e.move[j] != want) {
      e.move[j] = want;
      placeNonbasic(e, j);
      moved = true;
    }
  }
  return moved;
}

// The cost objectiveValue weighs x_j with.
inline double objectiveCost(const SimplexEngine &e, int j) { return j < e.n ? e.lp->cost[j] : 0.0; }

EnterState enterState(const SimplexEngine &e, int j) {
  if (e.basicPos[j] >= 0 || e.lower[j] == e.upper[j]) return kNever;
  switch (e.move[j]) {
  case kAtLower: return kFromLower;
  case kAtUpper: return kFromUpper;
  default: return kEitherWay;
  }
}

void setEnterStates(const SimplexEngine &e, DualWork &w) {
  w.enter.resize(static_cast<size_t>(e.nt > 0 ? e.nt : 1));
  for (int j = 0; j < e.nt; ++j) w.enter[j] = enterState(e, j);
  w.enterKept = true;
  w.objective = objectiveValue(e);
}

// Debug layer: the states the iterations kept must be those of the basis,
// moves and bounds they left, and the kept objective the sum afresh up to
// the rounding of its updates.
void checkEnterStates(const SimplexEngine &e, const DualWork &w) {
  if (debugLevel(e.env) <= 0 || !w.enterKept) return;
  const double fresh = objectiveValue(e);
  if (std::fabs(w.objective - fresh) > kKeptObjectiveTol * (1.0 + std::fabs(fresh)))
    reportDebugFailure(e.env, "simplex debug, dual loop at iteration %d: kept objective %.17g, afresh %.17g",
                       e.iterations, w.objective, fresh);
  for (int j = 0; j < e.nt; ++j) {
    if (w.enter[j] == enterState(e, j)) continue;
    reportDebugFailure(e.env, "simplex debug, dual loop at iteration %d: entering state of variable %d is %d, not %d",
                       e.iterations, j, w.enter[j], enterState(e, j));
    return;
  }
}

// Groups looked at by full scans before the remaining breakpoints are sorted.
constexpr int kScannedGroups = 4;

double harrisBound(const SimplexEngine &e, const DualWork &w, int j, double alpha) {
  return (e.dj[j] + (alpha > 0 ? w.ratioTol : -w.ratioTol)) / alpha;
}

// A group of breakpoints is passed only when all its variables are boxed (so
// they flip) and the slope stays clearly positive beyond it: if passing would
// leave the row within the primal tolerance, this group holds the pivot
// (passing everything would claim infeasibility on a tie).
bool groupPasses(const SimplexEngine &e, double slope, double passSlope, bool allBoxed) {
  return allBoxed && slope - passSlope > e.primalTol && passSlope < kInfinity;
}

// The long step over many groups: heaps of the first `live` candidates by
// ratio and by Harris bound, so that each group is popped in ratio order up
// to the smallest bound not yet passed. Building the heaps costs a pass over
// the candidates; only the passed groups and the last one pay a logarithm
// each, where a sort would have paid it for every candidate.
int chooseEnteringByHeaps(SimplexEngine &e, DualWork &w, size_t live, double slope) {
  const Candidate *cand = w.candidates.data();
  EnvVector<int> &byRatio = w.byRatio, &byBound = w.byBound, &group = w.group;
  EnvVector<char> &passed = w.passed;
  byRatio.resize(live);
  byBound.resize(live);
  passed.assign(live, 0);
  for (size_t k = 0; k < live; ++k) byRatio[k] = byBound[k] = static_cast<int>(k);
  // std heaps keep the largest on top: "later" orders put the smallest there.
  const auto laterRatio = [cand](int a, int b) { return cand[a].ratio > cand[b].ratio; };
  const auto laterBound = [cand](int a, int b) { return cand[a].bound > cand[b].bound; };
  std::make_heap(byRatio.begin(), byRatio.end(), laterRatio);
  std::make_heap(byBound.begin(), byBound.end(), laterBound);
  size_t ratioLeft = live, boundLeft = live;
  while (ratioLeft > 0) {
    // The smallest bound of a candidate not passed yet.
    while (passed[byBound[0]]) std::pop_heap(byBound.begin(), byBound.begin() + boundLeft--, laterBound);
    const double thetaMax = cand[byBound[0]].bound;
    int best = -1;
    double bestAbs = 0.0, passSlope = 0.0;
    bool allBoxed = true;
    group.clear();
    while (ratioLeft > 0 && cand[byRatio[0]].ratio <= thetaMax) {
      const int k = byRatio[0];
      std::pop_heap(byRatio.begin(), byRatio.begin() + ratioLeft--, laterRatio);
      group.push_back(k);
      const Candidate &c = cand[k];
      if (std::fabs(c.alpha) > bestAbs) bestAbs = std::fabs(c.alpha), best = k;
      if (isBoxed(e, c.j))
        passSlope += std::fabs(c.alpha) * (e.upper[c.j] - e.lower[c.j]);
      else
        allBoxed = false;
    }
    if (best < 0) return -1;
    if (!groupPasses(e, slope, passSlope, allBoxed)) return cand[best].j;
    slope -= passSlope;
    for (const int k : group) passed[k] = 1, w.flipped.push_back(cand[k].j);
  }
  return -1;
}

// Choose column: the dual ratio test with bound flipping. Returns the entering variable or -1 when
// no breakpoint limits the dual step (the primal is infeasible); the boxed
// variables passed on the way are left in w.flipped.
int chooseColumn(SimplexEngine &e, DualWork &w, double delta) {
  const double sign = delta > 0 ? 1.0 : -1.0;
  const double *alphaRow = e.rowAlpha.array.data();
  w.candidates.clear();
  w.flipped.clear();
  const HVector &row = e.rowAlpha;
  const signed char *enter = w.enter.data();
  for (int k = 0; k < row.count; ++k) {
    const int j = row.index[k];
    const signed char how = enter[j];
    if (how == kNever) continue;
    const double a = sign * alphaRow[j];
    if (std::fabs(a) < kPivotRowZero) continue;
    if ((how == kFromLower && a > 0) || (how == kFromUpper && a < 0) || how == kEitherWay)
      w.candidates.push_back(Candidate{j, a, e.dj[j] / a, harrisBound(e, w, j, a)});
  }
  double slope = std::fabs(delta);
  size_t live = w.candidates.size();
  for (int groups = 0; live > 0; ++groups) {
    if (groups == kScannedGroups && live > kHeapFrom) return chooseEnteringByHeaps(e, w, live, slope);
    double thetaMax = kInfinity;
    for (size_t k = 0; k < live; ++k) thetaMax = std::min(thetaMax, w.candidates[k].bound);
    // The group of breakpoints within the relaxed step; its largest pivot wins.
    int best = -1;
    double bestAbs = 0.0, passSlope = 0.0;
    bool allBoxed = true;
    for (size_t k = 0; k < live; ++k) {
      const Candidate &c = w.candidates[k];
      if (c.ratio > thetaMax) continue;
      if (std::fabs(c.alpha) > bestAbs) bestAbs = std::fabs(c.alpha), best = static_cast<int>(k);
      if (isBoxed(e, c.j))
        passSlope += std::fabs(c.alpha) * (e.upper[c.j] - e.lower[c.j]);
      else
        allBoxed = false;
    }
    if (best < 0) return -1;
    if (groupPasses(e, slope, passSlope, allBoxed)) {
      // The whole group can be passed: its variables flip to their other bound.
      slope -= passSlope;
      size_t keep = 0;
      for (size_t k = 0; k < live; ++k) {
        if (w.candidates[k].ratio <= thetaMax)
          w.flipped.push_back(w.candidates[k].j);
        else
          w.candidates[keep++] = w.candidates[k];
      }
      live = keep;
      continue;
    }
    return w.candidates[best].j;
  }
  return -1;
}

// The dual objective of the working costs: what both phases raise.
double dualMerit(const SimplexEngine &e) {
  double s = 0.0;
  for (int j = 0; j < e.nt; ++j)
    if (e.x[j] != 0.0) s += e.cost[j] * e.x[j];
  return s;
}

void logDual(SimplexEngine &e, int phase) {
  if (!logLineDue(e)) return;
  if (phase == 1)
    // Over the artificial boxes the dual objective is minus the sum of the
    // reduced cost violations.
    QVNmsg(e.env->resultsChannel, "Iteration: %5d   Dual infeasibility = %20.6f\n", e.iterations, -dualMerit(e));
  else
    QVNmsg(e.env->resultsChannel, "Iteration: %5d   Dual objective     = %20.6f\n", e.iterations,
           e.lp->sense * objectiveValue(e) + e.lp->offset);
}

bool outside(const SimplexEngine &e, int j, double tol) {
  return e.x[j] < e.lower[j] - tol || e.x[j] > e.upper[j] + tol;
}

void dropShortlist(DualWork &w) {
  for (const int k : w.shortlist) w.listed[k] = 0;
  w.shortlist.clear();
  w.shortValid = false;
}

void rebuildInfeasibleList(const SimplexEngine &e, DualWork &w) {
  dropShortlist(w);
  w.infeasible.clear();
  for (int k = 0; k < e.m; ++k) {
    w.listAt[k] = -1;
    if (outside(e, e.head[k], e.primalTol)) {
      w.listAt[k] = static_cast<int>(w.infeasible.size());
      w.infeasible.push_back(k);
    }
  }
  w.listValid = true;
  w.listTol = e.primalTol;
}

// Position k's variable moved: its place in the list follows, and its
// merit must be looked at again by the row choice.
void noteMoved(const SimplexEngine &e, DualWork &w, int k) {
  if (w.shortValid && !w.listed[k]) w.listed[k] = 1, w.shortlist.push_back(k);
  const bool out = outside(e, e.head[k], w.listTol);
  const int at = w.listAt[k];
  if (out && at < 0) {
    w.listAt[k] = static_cast<int>(w.infeasible.size());
    w.infeasible.push_back(k);
  } else if (!out && at >= 0) {
    const int last = w.infeasible.back();
    w.infeasible[at] = last;
    w.listAt[last] = at;
    w.infeasible.pop_back();
    w.listAt[k] = -1;
  }
}

// Whether a rebuild puts boxed nonbasics at the bound their reduced cost asks for.
enum class Flip { kNo, kBoxed };

// Rebuild: a fresh factorization, basic values and duals recomputed, refused
// rows forgiven; with Flip::kBoxed also the boxed nonbasics made dual feasible.
int rebuild(SimplexEngine &e, DualWork &w, RebuildReason reason, Flip flip) {
  ++e.rebuilds[static_cast<int>(reason)];
  checkEnterStates(e, w);
  w.listValid = false;
  if (w.anyBanned) std::fill(w.banned.begin(), w.banned.end(), 0), w.anyBanned = false;
  QVN_TRY(refactor(e));
  computePrimal(e);
  computeDual(e);
  if (flip == Flip::kBoxed && flipBoxedToDualFeasible(e)) computePrimal(e);
  setEnterStates(e, w);
  if (debugLevel(e.env) > 0) debugAfterRebuild(e, reason, DebugScope::kPrimalAndDual);
  return 0;
}

// Fresh values before optimality is claimed: from the held factor while it
// is current and not due, when the owner allows (checkWithHeldFactor), else
// from a new one.
int confirmRebuild(SimplexEngine &e, DualWork &w, Flip flip) {
  if (!e.checkWithHeldFactor || !e.factorCurrent || refactorDue(e.factor))
    return rebuild(e, w, RebuildReason::kConfirmEnd, flip);
  checkEnterStates(e, w);
  w.listValid = false;
  if (w.anyBanned) std::fill(w.banned.begin(), w.banned.end(), 0), w.anyBanned = false;
  computePrimal(e);
  computeDual(e);
  if (flip == Flip::kBoxed && flipBoxedToDualFeasible(e)) computePrimal(e);
  setEnterStates(e, w);
  if (debugLevel(e.env) > 0) debugAfterRebuild(e, RebuildReason::kConfirmEnd, DebugScope::kPrimalAndDual);
  return 0;
}

// Moves the costs of nonbasic variables away from zero reduced cost by small
// random amounts in the direction that keeps them dual feasible, so that ties
// in the ratio test, the cause of stalling, go away. The caller's clean-up
// restores the real costs (costsShifted). A repeated perturbation is smaller.
void perturbCosts(SimplexEngine &e, DualWork &w) {
  if (w.perturbations == 0) w.magnitude = e.env->generalParams->epper;
  const double size = perturbationSize(w.magnitude, ++w.perturbations);
  for (int j = 0; j < e.nt; ++j) {
    if (e.basicPos[j] >= 0 || e.lower[j] == e.upper[j] || e.move[j] == kAtZero) continue;
    const double p = nextRandom(e.env) * size;
    const double signedP = e.move[j] == kAtUpper ? -p : p;
    e.cost[j] += signedP;
    e.dj[j] += signedP;
  }
  e.costsShifted = true;
  w.perturbed = true;
  if (size < kPerturbationOverTol * e.dualTol) w.ratioTol = std::min(w.ratioTol, kRatioTolShare * size);
  if (e.display > 0)
    QVNmsg(e.env->resultsChannel, w.perturbations == 1 ? "Perturbation started.\n" : "Reperturbation started.\n");
}

// The tight finish must stay short; degenerate models can circle in it. Back
// at the working tolerance the run goes on as before.
void endLongTightFinish(SimplexEngine &e, DualWork &w) {
  const int limit = std::max(kTightFinishIterations, e.m / kTightFinishRowShare);
  if (w.tightenedAt >= 0 && e.iterations - w.tightenedAt > limit) {
    e.primalTol = w.savedPrimalTol;
    w.tightenedAt = -1;
  }
}

// Merit of position k as a leaving row (0 when it is inside its bounds or
// refused), with its infeasibility in delta.
double rowMerit(const SimplexEngine &e, const DualWork &w, int k, double &delta) {
  const int j = e.head[k];
  if (!outside(e, j, e.primalTol) || (w.anyBanned && w.banned[k])) return 0.0;
  delta = e.x[j] < e.lower[j] ? e.x[j] - e.lower[j] : e.x[j] - e.upper[j];
  return delta * delta / e.dualWeights[k];
}

// Rows kept by a scan; beyond them only the cutoff is remembered.
constexpr size_t kShortlist = 64;
// A shortlist grown past this many times its kept size is renewed by a scan.
constexpr size_t kShortlistGrowth = 8;

// Scan of all infeasible rows: the best kShortlist form the new shortlist.
void scanRows(const SimplexEngine &e, DualWork &w) {
  dropShortlist(w);
  EnvVector<std::pair<double, int>> &found = w.scanned;
  found.clear();
  double delta = 0.0;
  for (const int k : w.infeasible) {
    const double merit = rowMerit(e, w, k, delta);
    if (merit > 0.0) found.push_back({merit, k});
  }
  w.cutoff = 0.0;
  if (found.size() > kShortlist) {
    const auto greater = [](const std::pair<double, int> &a, const std::pair<double, int> &b) {
      return a.first > b.first;
    };
    std::nth_element(found.begin(), found.begin() + (kShortlist - 1), found.end(), greater);
    for (size_t q = kShortlist; q < found.size(); ++q) w.cutoff = std::max(w.cutoff, found[q].first);
    found.resize(kShortlist);
  }
  for (const auto &f : found) w.shortlist.push_back(f.second), w.listed[f.second] = 1;
  w.shortValid = true;
  w.shortResets = e.dualWeightResets;
}

// Best merit over the shortlist; -1 when none is positive.
int bestListed(const SimplexEngine &e, const DualWork &w, double &best, double &delta) {
  int r = -1;
  best = 0.0;
  double d = 0.0;
  for (const int k : w.shortlist) {
    const double merit = rowMerit(e, w, k, d);
    if (merit > best) best = merit, r = k, delta = d;
  }
  return r;
}

// Choose row: the leaving row is the largest infeasibility relative to its
// weight, among the rows not refused; -1 when none is outside the tolerance.
// delta is the row's infeasibility, negative below the lower bound. The
// choice looks at the shortlist and scans all infeasible rows only when the
// shortlist cannot vouch for its best.
int chooseRow(SimplexEngine &e, DualWork &w, double &delta) {
  if (!w.listValid || w.listTol != e.primalTol) rebuildInfeasibleList(e, w);
  if (w.shortValid && (w.shortResets != e.dualWeightResets || w.shortlist.size() > kShortlistGrowth * kShortlist))
    dropShortlist(w);
  double best = 0.0;
  if (w.shortValid) {
    const int r = bestListed(e, w, best, delta);
    if (r >= 0 && best >= w.cutoff) return r;
  }
  scanRows(e, w);
  return bestListed(e, w, best, delta);
}

// No leaving row. Rows refused earlier get another chance from a tighter
// factorization; values of an updated factor are confirmed fresh; a phase 2
// with infeasibilities inside the tolerance gets a short tight finish.
// Otherwise the run is optimal. kRunGoing to iterate on.
int noRowLeft(SimplexEngine &e, DualWork &w, int phase, bool &fresh) {
  if (w.anyBanned) {
    // Only refused rows are left: a tighter factorization may accept them.
    if (++w.unbanRounds > kUnbanRounds) return kRunNonOptimal;
    e.factor.markowitz = std::min(kThresholdCap, std::max(kRaisedThreshold, e.factor.markowitz + kThresholdStep));
    if (e.display > 0) QVNmsg(e.env->resultsChannel, "Markowitz threshold set to %g\n", e.factor.markowitz);
    QVN_TRY(rebuild(e, w, RebuildReason::kRowsRefused, Flip::kNo));
    fresh = true;
    return kRunGoing;
  }
  if (!fresh) {
    QVN_TRY(confirmRebuild(e, w, Flip::kBoxed));
    fresh = true;
    return kRunGoing;
  }
  if (phase == 2 && !w.tightened && maxPrimalInfeasibility(e) > kTightPrimalTol) {
    // Infeasibilities inside the tolerance can still cost objective where
    // duals are large: remove them with a tight tolerance.
    w.tightened = true;
    w.tightenedAt = e.iterations;
    w.savedPrimalTol = e.primalTol;
    e.primalTol = kTightPrimalTol;
    return kRunGoing;
  }
  if (w.tightened) e.primalTol = w.savedPrimalTol, w.tightened = false;
  return kRunOptimal;
}

// What the verification of a pivot decided.
enum class PivotCheck { kAccept, kRefactor, kRefuseRow };

// Verify: the pivot seen from the row and from the column must agree; when
// they do not, the factors have drifted (refactor) or this pivot is unsafe
// (refuse the row until the next factorization).
PivotCheck verifyPivot(double alphaCol, double alphaRow, bool fresh) {
  const double mismatch = std::fabs(alphaCol - alphaRow) / std::max(kMismatchFloor, std::fabs(alphaCol));
  if (!(mismatch > kPivotDriftRefactor || std::fabs(alphaCol) < kTinyPivot)) return PivotCheck::kAccept;
  if (!fresh) return PivotCheck::kRefactor;
  if (mismatch > kPivotDriftRefuse || std::fabs(alphaCol) < kTinyPivot) return PivotCheck::kRefuseRow;
  return PivotCheck::kAccept;
}

// Update: the dual step on the reduced costs and duals (a reduced cost on the
// wrong side of zero is shifted to zero rather than stepping backwards), the
// bound flips of the passed breakpoints, the primal step that takes the
// leaving variable to the bound it violated, the weights, the factor and the
// basis. The pivot row is in e.rowAlpha, rho_r in e.rowRho, the FTRAN'd
// entering column in e.column.
void updateIteration(SimplexEngine &e, DualWork &w, int r, int q, double delta, double alphaCol, double alphaRow) {
  HVector &rho = e.rowRho;
  HVector &col = e.column;
  double thetaD = e.dj[q] / alphaRow;
  if ((delta > 0 && thetaD < 0) || (delta < 0 && thetaD > 0)) {
    e.cost[q] -= e.dj[q];
    e.dj[q] = 0.0;
    e.costsShifted = true;
    ++w.shiftCount;
    thetaD = 0.0;
  }
  const int leaving = e.head[r];
  if (thetaD != 0.0) {
    const HVector &row = e.rowAlpha;
    for (int k = 0; k < row.count; ++k) {
      const int j = row.index[k];
      e.dj[j] -= thetaD * row.array[j];
    }
    for (int k = 0; k < rho.count; ++k) e.dual[rho.index[k]] += thetaD * rho.array[rho.index[k]];
  }

  // Bound flips of the passed breakpoints move x_B through one FTRAN.
  if (!w.flipped.empty()) {
    HVector &f = e.flips;
    hvClear(f);
    for (int j : w.flipped) {
      const double from = e.x[j];
      e.move[j] = e.move[j] == kAtLower ? kAtUpper : kAtLower;
      w.enter[j] = enterState(e, j);
      placeNonbasic(e, j);
      hvAddColumn(f, *e.lp, j, -(e.x[j] - from));
      w.objective += objectiveCost(e, j) * (e.x[j] - from);
    }
    ftran(e.factor, f);
    for (int k = 0; k < f.count; ++k) {
      const int pos = f.index[k];
      e.x[e.head[pos]] += f.array[pos];
      w.objective += objectiveCost(e, e.head[pos]) * f.array[pos];
      if (w.listValid) noteMoved(e, w, pos);
    }
    hvClear(f);
  }

  // Primal step: the leaving variable reaches the bound it violated.
  const double xr = e.x[leaving];
  const bool toLower = xr < e.lower[leaving];
  const double bound = toLower ? e.lower[leaving] : e.upper[leaving];
  const double thetaP = (xr - bound) / alphaCol;
  for (int k = 0; k < col.count; ++k) {
    const int pos = col.index[k];
    e.x[e.head[pos]] -= thetaP * col.array[pos];
    w.objective -= objectiveCost(e, e.head[pos]) * thetaP * col.array[pos];
    if (w.listValid) noteMoved(e, w, pos);
  }
  e.x[q] += thetaP;
  w.objective += objectiveCost(e, q) * thetaP;

  updateDualWeights(e, r, alphaCol);

  updateFactor(e.factor, r, alphaCol);
  changeBasis(e, q, r, toLower ? kAtLower : kAtUpper);
  w.enter[q] = kNever;
  w.enter[leaving] = enterState(e, leaving);
  w.objective += objectiveCost(e, leaving) * (bound - e.x[leaving]);
  e.x[leaving] = bound;
  if (w.listValid) noteMoved(e, w, r);
  e.dj[leaving] = -thetaD;
  hvClear(rho);
  hvClear(e.rowAlpha);
  hvClear(col);
}

// One iteration on the leaving row r: choose column by the ratio test,
// verify the pivot, update. kRunGoing to go on, else the run's end.
int iterate(SimplexEngine &e, DualWork &w, int r, double delta, int phase, bool &fresh) {
  btranUnitRow(e, r);
  computePivotRow(e);
  const int q = chooseColumn(e, w, delta);
  if (q < 0) {
    if (!fresh) {
      QVN_TRY(rebuild(e, w, RebuildReason::kConfirmRay, Flip::kNo));
      fresh = true;
      return kRunGoing;
    }
    if (w.tightenedAt >= 0 && std::fabs(delta) <= w.savedPrimalTol) {
      // The ray proves only that this row stays outside the tight tolerance
      // of the last steps; within the caller's tolerance it is met. The
      // finish ends and the run goes on at the caller's tolerance.
      e.primalTol = w.savedPrimalTol;
      w.tightenedAt = -1;
      return kRunGoing;
    }
    e.claimVar = e.head[r];
    return kRunInfeasible;
  }

  HVector &col = e.column;
  hvClear(col);
  hvAddColumn(col, *e.lp, q, 1.0);
  ftranForUpdate(e.factor, col);
  const double alphaCol = col.array[r];
  const double alphaRow = e.rowAlpha.array[q];
  switch (verifyPivot(alphaCol, alphaRow, fresh)) {
  case PivotCheck::kAccept: break;
  case PivotCheck::kRefactor:
    QVN_TRY(rebuild(e, w, RebuildReason::kPivotMismatch, Flip::kNo));
    fresh = true;
    return kRunGoing;
  case PivotCheck::kRefuseRow:
    w.banned[r] = 1;
    w.anyBanned = true;
    hvClear(col);
    return kRunGoing;
  }

  updateIteration(e, w, r, q, delta, alphaCol, alphaRow);
  ++e.iterations;
  if (phase == 1) ++e.phase1Iterations;
  fresh = false;
  const ProgressAction action =
      progressCheck(w.progress, e.iterations, phase, w.perturbed, [&] { return dualMerit(e); });
  if (action == ProgressAction::kPerturb) {
    perturbCosts(e, w);
    progressPerturbed(w.progress, w.perturbations, w.magnitude, e.iterations, phase, dualMerit(e));
  } else if (action == ProgressAction::kStall) {
    // Still no progress under perturbation: start again from fresh values
    // with new perturbed costs.
    QVN_TRY(rebuild(e, w, RebuildReason::kStall, Flip::kBoxed));
    fresh = true;
    perturbCosts(e, w);
    progressPerturbed(w.progress, w.perturbations, w.magnitude, e.iterations, phase, dualMerit(e));
  }
  return kRunGoing;
}

// Iterates until no primal infeasibility is left or a limit is hit.
int dualIterations(SimplexEngine &e, DualWork &w, int phase) {
  w.listValid = false;  // the caller may have moved any value, bound or basis
  setEnterStates(e, w);
  progressStart(w.progress, e.env->generalParams->perlim, e.m, e.n, true, e.iterations, phase, dualMerit(e));
  bool fresh = true;
  const bool limitSet = objectiveLimitSet(e, true);
  for (;;) {
    if (int s = checkLimits(e)) return s;
    recoveryPoint(e);
    endLongTightFinish(e, w);
    // The dual objective of an unshifted phase 2 only rises: past the limit,
    // no better point exists.
    // The kept objective says when; the sum afresh confirms, so that its
    // rounding cannot end a run.
    if (limitSet && phase == 2 && !e.costsShifted && objectiveLimitPassedAt(e, true, w.objective) &&
        objectiveLimitPassed(e, true))
      return kRunObjLimit;
    if (refactorDue(e.factor)) {
      dualPricingAtFactor(e);
      QVN_TRY(rebuild(e, w, RebuildReason::kFactorDue, Flip::kBoxed));
      fresh = true;
      logDual(e, phase);
    }
    double delta = 0.0;
    const int r = chooseRow(e, w, delta);
    const int status = r < 0 ? noRowLeft(e, w, phase, fresh) : iterate(e, w, r, delta, phase, fresh);
    if (status != kRunGoing) return status;
  }
}

// The iterations; outside them the bounds and moves change without `enter`.
int dualIterate(SimplexEngine &e, DualWork &w, int phase) {
  const int status = dualIterations(e, w, phase);
  w.enterKept = false;
  return status;
}

// Reduced costs on the wrong side by at most kPhase1ShiftTols dual
// tolerances are shifted to zero; false (and nothing changed) when a larger
// violation exists.
constexpr double kPhase1ShiftTols = 1000.0;

bool shiftSmallDualInfeasibilities(SimplexEngine &e, DualWork &w) {
  const double limit = kPhase1ShiftTols * e.dualTol;
  for (int pass = 0; pass < 2; ++pass) {
    for (int j = 0; j < e.nt; ++j) {
      if (e.basicPos[j] >= 0 || e.lower[j] == e.upper[j] || isBoxed(e, j)) continue;
      const double d = e.dj[j];
      const double v = e.move[j] == kAtZero ? std::fabs(d) : e.move[j] == kAtLower ? -d : d;
      if (v <= e.dualTol) continue;
      if (pass == 0) {
        if (v > limit) return false;
        continue;
      }
      e.cost[j] -= d;
      e.dj[j] = 0.0;
      ++w.shiftCount;
    }
  }
  e.costsShifted = true;
  return true;
}

// Dual phase 1 over artificial boxes. Returns 0 when the basis found is dual
// feasible for the real bounds, kRunUnbounded when the dual is infeasible, or
// a limit status or an error.
int dualPhase1(SimplexEngine &e, DualWork &w) {
  w.savedLower.assign(e.lower.begin(), e.lower.end());
  w.savedUpper.assign(e.upper.begin(), e.upper.end());
  for (int j = 0; j < e.nt; ++j) {
    const bool lo = e.lower[j] > -kInfinity, up = e.upper[j] < kInfinity;
    e.lower[j] = lo ? 0.0 : -1.0;
    e.upper[j] = up ? 0.0 : 1.0;
    if (lo && up) e.lower[j] = e.upper[j] = 0.0;
    if (e.basicPos[j] < 0) {
      e.move[j] = e.dj[j] >= 0 ? kAtLower : kAtUpper;
      placeNonbasic(e, j);
    }
  }
  computePrimal(e);
  logDual(e, 1);
  int status = dualIterate(e, w, 1);
  e.lower.swap(w.savedLower);
  e.upper.swap(w.savedUpper);
  for (int j = 0; j < e.nt; ++j) {
    if (e.basicPos[j] >= 0) continue;
    const bool lo = e.lower[j] > -kInfinity, up = e.upper[j] < kInfinity;
    if (lo && up)
      e.move[j] = e.dj[j] >= 0 ? kAtLower : kAtUpper;
    else if (lo)
      e.move[j] = kAtLower;
    else if (up)
      e.move[j] = kAtUpper;
    else {
      e.move[j] = kAtZero;
      e.x[j] = 0.0;
    }
    placeNonbasic(e, j);
  }
  if (status != kRunOptimal && status != kRunInfeasible) return status;
  QVN_TRY(rebuild(e, w, RebuildReason::kBoundsRestored, Flip::kNo));
  if (dualInfeasibility(e, true) == 0) return 0;
  // Phase 1 ended on its optimum but a few reduced costs stay a little on
  // the wrong side (rounding of the boxes' values on badly scaled data):
  // their costs are shifted to make them zero, and the caller's clean-up
  // with the real costs finishes. Large ones mean an infeasible dual.
  if (status == kRunOptimal && shiftSmallDualInfeasibilities(e, w)) return 0;
  return kRunUnbounded;
}

int dualLoop(SimplexEngine &e) {
  e.loopKind = QVN_CALLBACK_DUAL;
  DualWork w;
  w.ratioTol = e.dualTol;
  w.banned.assign(static_cast<size_t>(e.m > 0 ? e.m : 1), 0);
  w.listAt.assign(static_cast<size_t>(e.m > 0 ? e.m : 1), -1);
  w.listed.assign(static_cast<size_t>(e.m > 0 ? e.m : 1), 0);
  const bool dualsGiven = e.dualsGiven;
  e.dualsGiven = false;
  if (!validDualPricing(e.dualPricing)) return QVNERR_PRIIND;
  if (takeHeldFactor(e)) {
    computePrimal(e);
    if (!dualsGiven) computeDual(e);
    if (debugLevel(e.env) > 0) debugAfterRebuild(e, RebuildReason::kStart, DebugScope::kPrimalAndDual);
  } else {
    QVN_TRY(rebuild(e, w, RebuildReason::kStart, Flip::kNo));
  }
  initDualPricing(e);
  // The basic values are those of the nonbasic ones as they stand unless a
  // flip or the phase 1 moved them.
  bool moved = flipBoxedToDualFeasible(e);
  if (dualInfeasibility(e, true) > 0) {
    const int s = dualPhase1(e, w);
    if (s != 0) return s;
    moved = true;
  }
  if (moved) computePrimal(e);
  logDual(e, 2);
  if (e.env->generalParams->perind == 1) perturbCosts(e, w);
  const double primalTol = e.primalTol;  // the last steps may tighten it
  const int status = dualIterate(e, w, 2);
  e.primalTol = primalTol;
  logDual(e, 2);
  // The caller puts the real costs back and finishes from this basis.
  if (status == kRunOptimal && e.display > 0) {
    if (w.perturbed)
      QVNmsg(e.env->resultsChannel, "Removing perturbation.\n");
    else if (w.shiftCount > 0)
      QVNmsg(e.env->resultsChannel, "Removing shift (%d).\n", w.shiftCount);
  }
  return status;
}

} // namespace

int runDualSimplex(SimplexEngine &e) {
  ImpliedBoxes boxes;
  if (!e.heldDualFeasible) boxByImpliedBounds(e, boxes);
  e.heldDualFeasible = false;
  e.claimVar = -1;
  int status = dualLoop(e);
  if (restoreImpliedBoxes(e, boxes) && status == kRunOptimal) {
    // A nonbasic variable rested on an implied bound after all: from its
    // real bound the loop finishes with the real bounds.
    computePrimal(e);
    e.reuseFactor = e.checkWithHeldFactor;
    status = dualLoop(e);
  }
  return status;
}

} // namespace qvn
