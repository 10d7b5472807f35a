// The bounded primal simplex with a composite phase 1: an infeasible basic
// variable gets cost -1 or +1 and a bound that stops it at the bound it
// violates, so the phase 1 LP is the real one with the infeasibility summed.
//
// An iteration runs as named steps: refresh (rebuild and phase decision, when
// due, with its reason), the pricing's choice of the entering column, then in
// iterate: chooseRow (the ratio test), updateIteration with its pivot check
// (pivotsDisagree). The ends of a run are decided in noColumnLeft and where
// nothing limits the step. Every rebuild is where the debug layer
// (simplex_debug.h) looks.
#include <algorithm>
#include <cmath>

#include "formats/restart_file.h"
#include "simplex/claim_check.h"
#include "simplex/loops.h"
#include "simplex/primal_pricing.h"
#include "runtime/debug_checks.h"
#include "simplex/progress.h"
#include "simplex/simplex_debug.h"
#include "simplex/tolerances.h"

namespace qvn {

namespace {

// Primal infeasibility below which a solution counts as exact after perturbation.
constexpr double kCleanTol = 1e-9;
// The tight finish lasts at most this many iterations, or a share of the rows.
constexpr int kTightFinishIterations = 100;
constexpr int kTightFinishRowShare = 20;
// Column entries this small are rounding noise of the FTRAN: they neither
// limit the step nor become pivots.
constexpr double kColumnZero = 1e-9;
// Disagreement of the pivot from the row and from the column, relative to
// the pivot (at least 1), above which the factor counts as drifted.
constexpr double kPivotDrift = 1e-7;
// A drifted variable is given a bound at its value only this close: a larger
// violation is a real one that the loop must remove.
constexpr double kMaxBoundShift = 1000.0;
// Pivot check of the ratio test. A pivot below kSmallPivot is refused when
// the step is long, the pivot or the largest blocking entry is not sizeable;
// a pivot that is not sizeable is refused below kRelativePivot of the
// column's largest entry (a sizeable one is kept: on badly scaled data the
// column's entries span many decades and that share says nothing).
// A basis grown from such pivots is nearly singular, and the values it
// gives are rounding.
constexpr double kLongStep = 100.0;
constexpr double kSizeablePivot = 0.1;
constexpr double kSmallPivot = 1e-8;
constexpr double kRelativePivot = 1e-8;
// Rounds of forgiving refused candidates with a raised threshold before the
// run gives up as not proved optimal.
constexpr int kUnbanRounds = 5;
constexpr double kRaisedThreshold = 0.1;
// chooseRow's answers besides a basis position.
constexpr int kBoundFlip = -1, kNoLimit = -2, kRefused = -3;

struct PrimalWork {
  // Bounds of the phase 2 problem: the LP's own, or moved out by perturbation.
  EnvVector<double> baseLower, baseUpper;
  bool perturbed = false;  // bounds differ from the LP's: perturbation or shifts
  bool perturbActive = false;  // a perturbation is in force (shifts alone leave it false)
  int perturbations = 0;
  int shiftCount = 0;
  double magnitude = 1e-6;  // of the last perturbation
  ProgressState progress;
  bool tightened = false;  // the optimality tolerance was cut for the last steps
  int tightenedAt = -1;  // iteration the tight finish began; -1 once it is over
  double savedDualTol = 0.0;
  PrimalPricing pricing;
  int infeasibleCount = 0;  // basic variables with a phase 1 cost
  bool phase1TolCut = false;  // the dual tolerance was cut to confirm a phase 1 end
  double phase1SavedDualTol = 0.0;
  // Candidates refused since the last factorization, and the rounds of
  // forgiving them in which none passed.
  EnvVector<int> bannedList;
  int candidateCount = 5;  // refusals in a row after which the basis is refactored
  int refusedInRow = 0;
  int unbanRounds = 0;
  bool takeSmallPivot = false;  // the next ratio test refuses nothing
};

// Candidates per iteration that the ratio test may refuse before the
// basis is refactored, by the row count.
int candidatesFor(int m) {
  if (m < 100) return 5;
  if (m < 500) return 10;
  if (m < 1000) return 15;
  if (m < 5000) return 20;
  if (m < 10000) return 25;
  if (m < 100000) return 30;
  return 35;
}

// Phase 1 cost of basic variable j at its value: -1 below its bound, +1
// above, 0 within.
inline double phase1Cost(const SimplexEngine &e, const PrimalWork &w, int j) {
  if (e.x[j] < w.baseLower[j] - e.primalTol) return -1.0;
  if (e.x[j] > w.baseUpper[j] + e.primalTol) return 1.0;
  return 0.0;
}

// The working bounds that go with a phase 1 cost: an infeasible variable may
// move freely away from the bound it violates and stops at it.
inline void setPhase1Bounds(SimplexEngine &e, const PrimalWork &w, int j, double cost) {
  if (cost < 0) {
    e.lower[j] = -kInfinity, e.upper[j] = w.baseLower[j];
  } else if (cost > 0) {
    e.lower[j] = w.baseUpper[j], e.upper[j] = kInfinity;
  } else {
    e.lower[j] = w.baseLower[j], e.upper[j] = w.baseUpper[j];
  }
}

// Sets phase 1 or phase 2 costs and bounds; returns the phase.
int setPhase(SimplexEngine &e, PrimalWork &w) {
  const WorkLp &lp = *e.lp;
  pricingRestart(w.pricing);
  for (int j = 0; j < e.nt; ++j) {
    e.lower[j] = w.baseLower[j];
    e.upper[j] = w.baseUpper[j];
  }
  w.infeasibleCount = 0;
  for (int k = 0; k < e.m; ++k)
    if (phase1Cost(e, w, e.head[k]) != 0.0) ++w.infeasibleCount;
  if (w.infeasibleCount == 0) {
    for (int j = 0; j < e.nt; ++j) e.cost[j] = lp.cost[j];
    return 2;
  }
  for (int j = 0; j < e.nt; ++j) e.cost[j] = 0.0;
  for (int k = 0; k < e.m; ++k) {
    const int j = e.head[k];
    e.cost[j] = phase1Cost(e, w, j);
    setPhase1Bounds(e, w, j, e.cost[j]);
  }
  return 1;
}

// After a step along e.column in phase 1: the basic variables that moved may
// have reached feasibility, which changes their cost; the variable that left
// the basis (-1: none) now has cost 0. Only the positions of the column are
// looked at, and the duals and reduced costs change by the solve of the cost
// changes alone. Returns the phase.
int updatePhase1(SimplexEngine &e, PrimalWork &w, int r, int leaving) {
  if (leaving >= 0 && e.cost[leaving] != 0.0) {
    pricingNoteChanged(w.pricing, leaving);
    e.dj[leaving] -= e.cost[leaving];
    e.cost[leaving] = 0.0;
    --w.infeasibleCount;
  }
  HVector &change = e.rowRho;  // cost changes by position, then the dual change
  hvClear(change);
  int changed = 0;
  const HVector &col = e.column;
  for (int k = 0; k < col.count; ++k) {
    const int pos = col.index[k];
    if (pos == r) continue;
    const int j = e.head[pos];
    const double c = phase1Cost(e, w, j);
    if (c == e.cost[j]) continue;
    w.infeasibleCount += (c != 0.0) - (e.cost[j] != 0.0);
    change.array[pos] = c - e.cost[j];
    change.index[changed++] = pos;
    e.cost[j] = c;
    setPhase1Bounds(e, w, j, c);
  }
  change.count = changed;
  if (w.infeasibleCount == 0) {
    hvClear(change);
    const int phase = setPhase(e, w);
    computeDual(e);
    return phase;
  }
  if (changed > 0) {
    btran(e.factor, change);
    for (int k = 0; k < change.count; ++k) e.dual[change.index[k]] += change.array[change.index[k]];
    if (pricingKeepsDj(e)) {
      computePivotRow(e);
      const HVector &row = e.rowAlpha;
      for (int k = 0; k < row.count; ++k) {
        const int j = row.index[k];
        e.dj[j] -= row.array[j];
        pricingNoteChanged(w.pricing, j);
      }
      hvClear(e.rowAlpha);
    }
  }
  hvClear(change);
  return 1;
}

// Moves the bounds of the basic variables outwards by small random amounts, so
// that degenerate basics stand strictly inside and steps become positive.
void perturbBounds(SimplexEngine &e, PrimalWork &w) {
  ++w.perturbations;
  const double magnitude = perturbationSize(w.magnitude, w.perturbations);
  for (int k = 0; k < e.m; ++k) {
    const int j = e.head[k];
    if (w.baseLower[j] == w.baseUpper[j]) continue;
    if (w.baseLower[j] > -kInfinity)
      w.baseLower[j] -= (1.0 + nextRandom(e.env)) * magnitude * (1.0 + std::fabs(w.baseLower[j]));
    if (w.baseUpper[j] < kInfinity)
      w.baseUpper[j] += (1.0 + nextRandom(e.env)) * magnitude * (1.0 + std::fabs(w.baseUpper[j]));
  }
  w.perturbed = w.perturbActive = true;
  if (e.display > 0)
    QVNmsg(e.env->resultsChannel, w.perturbations == 1 ? "Perturbation started.\n" : "Reperturbation started.\n");
}

// Basic variables that drifted beyond a bound get the bound moved to them,
// so that a stalled phase 2 goes on from a feasible point.
void shiftViolatedBounds(SimplexEngine &e, PrimalWork &w) {
  for (int k = 0; k < e.m; ++k) {
    const int j = e.head[k];
    const double below = w.baseLower[j] - e.x[j], above = e.x[j] - w.baseUpper[j];
    if (below > e.primalTol && below <= kMaxBoundShift) {
      w.baseLower[j] = e.x[j];
      ++w.shiftCount;
    } else if (above > e.primalTol && above <= kMaxBoundShift) {
      w.baseUpper[j] = e.x[j];
      ++w.shiftCount;
    } else {
      continue;
    }
    w.perturbed = true;
  }
}

double sumInfeasibility(const SimplexEngine &e) {
  double s = 0.0;
  for (int k = 0; k < e.m; ++k) {
    const int j = e.head[k];
    s += std::max(0.0, e.lp->lower[j] - e.x[j]) + std::max(0.0, e.x[j] - e.lp->upper[j]);
  }
  return s;
}

void logPrimal(SimplexEngine &e, int phase) {
  if (!logLineDue(e)) return;
  if (phase == 1)
    QVNmsg(e.env->resultsChannel, "Iteration: %5d    Infeasibility = %20.6f\n", e.iterations, sumInfeasibility(e));
  else
    QVNmsg(e.env->resultsChannel, "Iteration: %5d    Objective     = %20.6f\n", e.iterations,
           e.lp->sense * objectiveValue(e) + e.lp->offset);
}

// Choose row: the Harris ratio test over the FTRAN'd column. Returns the
// leaving position, kBoundFlip for a bound flip of the entering variable,
// kNoLimit when nothing limits the step, kRefused when the only pivots are
// too small to be trusted.
int chooseRow(const SimplexEngine &e, int q, double dir, bool refuse, double &step) {
  const HVector &col = e.column;
  double thetaMax = kInfinity, maxAny = 0.0, maxBlocking = 0.0;
  for (int k = 0; k < col.count; ++k) {
    const int pos = col.index[k];
    const double a = col.array[pos];
    const double size = std::fabs(a);
    maxAny = std::max(maxAny, size);
    if (size < kColumnZero) continue;
    const int j = e.head[pos];
    const double g = -dir * a;  // change of x_j per unit step
    if (g < 0 && e.lower[j] > -kInfinity)
      thetaMax = std::min(thetaMax, (e.x[j] - e.lower[j] + e.primalTol) / -g);
    else if (g > 0 && e.upper[j] < kInfinity)
      thetaMax = std::min(thetaMax, (e.upper[j] - e.x[j] + e.primalTol) / g);
    else
      continue;
    maxBlocking = std::max(maxBlocking, size);
  }
  const double range = e.upper[q] - e.lower[q];
  if (thetaMax >= kInfinity) {
    if (range < kInfinity) {
      step = range;
      return kBoundFlip;
    }
    return kNoLimit;
  }
  double pivot = 0.0, leaveRatio = 0.0;
  const int leave = largestPivotWithin(e, dir, thetaMax, kColumnZero, &pivot, &leaveRatio);
  if (range <= leaveRatio) {
    step = range;
    return kBoundFlip;
  }
  step = std::max(leaveRatio, 0.0);
  if (leave < 0 || !refuse) return leave;
  const bool doubtful = step > kLongStep || pivot < kSizeablePivot || maxBlocking < kSizeablePivot;
  if ((doubtful && pivot < kSmallPivot) || (pivot < kSizeablePivot && pivot < kRelativePivot * maxAny)) return kRefused;
  return leave;
}

// Candidates refused on the old factor get another chance on a new one.
void forgiveRefused(SimplexEngine &e, PrimalWork &w) {
  if (!e.anyBanned) return;
  for (const int j : w.bannedList) {
    e.primalBanned[j] = 0;
    pricingNoteChanged(w.pricing, j);
  }
  w.bannedList.clear();
  e.anyBanned = false;
  pricingRestart(w.pricing);
}

// Rebuild: a fresh factorization and the basic values recomputed.
int rebuild(SimplexEngine &e, PrimalWork &w, RebuildReason reason) {
  ++e.rebuilds[static_cast<int>(reason)];
  forgiveRefused(e, w);
  w.refusedInRow = 0;
  QVN_TRY(refactor(e));
  computePrimal(e);
  return 0;
}

void debugCheck(SimplexEngine &e, RebuildReason reason, DebugScope scope) {
  if (debugLevel(e.env) > 0) debugAfterRebuild(e, reason, scope);
}

// A rebuild followed by the phase decision and the duals of its costs.
int refresh(SimplexEngine &e, PrimalWork &w, RebuildReason reason, int &phase, bool &fresh) {
  QVN_TRY(rebuild(e, w, reason));
  phase = setPhase(e, w);
  computeDual(e);
  fresh = true;
  debugCheck(e, reason, DebugScope::kPrimalAndDual);
  return 0;
}

// The tight finish must stay short; degenerate models can circle in it.
void endLongTightFinish(SimplexEngine &e, PrimalWork &w) {
  const int limit = std::max(kTightFinishIterations, e.m / kTightFinishRowShare);
  if (w.tightenedAt >= 0 && e.iterations - w.tightenedAt > limit) {
    e.dualTol = w.savedDualTol;
    w.tightenedAt = -1;
  }
}

// Perturbation and shifts come off: the LP's own bounds and costs are back,
// and a basis that lost primal feasibility on the way is finished by the dual
// loop. kRunGoing to iterate on, else the run's end.
int removePerturbation(SimplexEngine &e, PrimalWork &w, int &phase, bool &fresh) {
  const WorkLp &lp = *e.lp;
  w.baseLower.assign(lp.lower.begin(), lp.lower.end());
  w.baseUpper.assign(lp.upper.begin(), lp.upper.end());
  if (e.display > 0) {
    if (w.perturbActive)
      QVNmsg(e.env->resultsChannel, "Removing perturbation.\n");
    else
      QVNmsg(e.env->resultsChannel, "Removing shift (%d).\n", w.shiftCount);
  }
  w.perturbed = w.perturbActive = false;
  w.shiftCount = 0;
  for (int j = 0; j < e.nt; ++j) {
    e.lower[j] = lp.lower[j];
    e.upper[j] = lp.upper[j];
    e.cost[j] = lp.cost[j];
    if (e.basicPos[j] < 0) placeNonbasic(e, j);
  }
  QVN_TRY(rebuild(e, w, RebuildReason::kBoundsRestored));
  debugCheck(e, RebuildReason::kBoundsRestored, DebugScope::kPrimal);
  if (phase == 2 && maxPrimalInfeasibility(e) > kCleanTol) {
    // The basis is optimal for the moved bounds and so dual feasible for
    // the real ones: the dual loop removes what the moves left behind,
    // with a tight primal tolerance so that no objective accuracy is lost.
    const double saved = e.primalTol;
    e.primalTol = kCleanTol;
    const int cleaned = runDualSimplex(e);
    e.primalTol = saved;
    if (cleaned == kRunOptimal || (cleaned >= kRunIterLimit && cleaned <= kRunAborted) || cleaned >= 1000)
      return cleaned;
  }
  QVN_TRY(refresh(e, w, RebuildReason::kBoundsRestored, phase, fresh));
  return kRunGoing;
}

// No entering column. Values of an updated factor are confirmed fresh; a
// phase 2 with reduced costs inside the tolerance gets a short tight finish;
// on moved bounds nothing is proved, so they come off. Otherwise phase 1 ends
// infeasible and phase 2 optimal. kRunGoing to iterate on.
int noColumnLeft(SimplexEngine &e, PrimalWork &w, int &phase, bool &fresh) {
  if (!fresh) {
    QVN_TRY(refresh(e, w, RebuildReason::kConfirmEnd, phase, fresh));
    return kRunGoing;
  }
  if (!w.perturbed && phase == 2 && !w.tightened) {
    // Reduced costs inside the tolerance can still leave objective on the
    // table where values are large: finish with a tight one.
    const double saved = e.dualTol;
    e.dualTol = kCleanTol;
    const bool exact = dualInfeasibility(e, false) == 0.0;
    if (exact) {
      e.dualTol = saved;
    } else {
      w.tightened = true;
      w.tightenedAt = e.iterations;
      w.savedDualTol = saved;
      return kRunGoing;
    }
  }
  if (!w.perturbed && phase == 1 && !w.tightened && e.dualTol > kCleanTol) {
    // A phase 1 optimum within the dual tolerance is not yet a proof: on a
    // badly scaled model a short column moves a large infeasibility at a
    // rate below the tolerance. The tolerance is cut step by step and
    // pricing tried again before infeasibility is claimed.
    if (!w.phase1TolCut) w.phase1TolCut = true, w.phase1SavedDualTol = e.dualTol;
    e.dualTol = std::max(reduceTol(e.dualTol), kCleanTol);
    return kRunGoing;
  }
  if (w.tightened) e.dualTol = w.savedDualTol;
  if (!w.perturbed) return phase == 1 ? kRunInfeasible : kRunOptimal;
  // Only an unperturbed phase 1 can prove infeasibility.
  const int status = removePerturbation(e, w, phase, fresh);
  if (status != kRunGoing) return status;
  progressRemoved(w.progress, e.iterations, phase, phase == 1 ? sumInfeasibility(e) : objectiveValue(e));
  return kRunGoing;
}

// Verify: the pivot from the row and from the column must agree; when the
// factors have drifted apart from the basis, the next iteration starts afresh.
bool pivotsDisagree(double alphaQ, double alphaR) {
  return std::fabs(alphaQ - alphaR) > kPivotDrift * std::max(1.0, std::fabs(alphaR));
}

// Update after the ratio test chose position r (or a bound flip, r = -1) for
// the entering q moving in direction dir by step: x along the column, the
// leaving variable at the bound it reached, the duals and, with a kind that
// keeps them, all reduced costs and the weights by the pivot row; the factor,
// the basis and the phase 1 costs. The FTRAN'd column is in e.column.
void updateIteration(SimplexEngine &e, PrimalWork &w, int q, int r, double dir, double step, int &phase) {
  HVector &col = e.column;
  // Move x_B along the column; the entering variable changes by dir * step.
  for (int k = 0; k < col.count; ++k) {
    const int pos = col.index[k];
    e.x[e.head[pos]] -= dir * step * col.array[pos];
  }
  ++e.iterations;
  if (phase == 1) ++e.phase1Iterations;
  if (r == -1) {
    e.move[q] = e.move[q] == kAtUpper ? kAtLower : kAtUpper;
    pricingNoteChanged(w.pricing, q);
    placeNonbasic(e, q);
    if (phase == 1 && (phase = updatePhase1(e, w, -1, -1)) == 2) logPrimal(e, phase);
    hvClear(col);
    return;
  }
  e.x[q] += dir * step;
  const int leaving = e.head[r];
  const double alphaR = col.array[r];
  // The leaving variable sits at the bound it reached; in phase 1 that is
  // also a bound of the phase 2 problem, whose bounds come back.
  const double g = -dir * alphaR;
  const double bound = g < 0 ? e.lower[leaving] : e.upper[leaving];
  e.lower[leaving] = w.baseLower[leaving];
  e.upper[leaving] = w.baseUpper[leaving];
  const signed char leaveMove = (e.lower[leaving] > -kInfinity && bound <= e.lower[leaving]) ? kAtLower
                                : (e.upper[leaving] < kInfinity && bound >= e.upper[leaving]) ? kAtUpper
                                                                                              : kAtLower;
  // The Harris test lets a variable leave a little beyond its bound. Rather
  // than snapping it back, which would silently move every basic variable,
  // the bound is shifted to where the variable stands.
  double leaveValue = bound;
  const double reached = e.x[leaving];
  if (leaveMove == kAtLower && reached < e.lower[leaving]) {
    w.baseLower[leaving] = e.lower[leaving] = leaveValue = reached;
    w.perturbed = true;
    ++w.shiftCount;
  } else if (leaveMove == kAtUpper && reached > e.upper[leaving]) {
    w.baseUpper[leaving] = e.upper[leaving] = leaveValue = reached;
    w.perturbed = true;
    ++w.shiftCount;
  }
  btranUnitRow(e, r);
  HVector &rho = e.rowRho;
  const bool keepDj = pricingKeepsDj(e);
  double alphaQ = alphaR, wq = 1.0;
  if (keepDj) {
    computePivotRow(e);
    alphaQ = e.rowAlpha.array[q];
  }
  const double thetaD = e.dj[q] / alphaQ;
  if (keepDj) {
    const double *alpha = e.rowAlpha.array.data();
    for (int k = 0; k < e.rowAlpha.count; ++k) {
      const int j = e.rowAlpha.index[k];
      e.dj[j] -= thetaD * alpha[j];
      pricingNoteChanged(w.pricing, j);
    }
    if (w.pricing.automatic && e.primalPricing == PrimalPricingKind::kDevex) pricingSample(e, w.pricing);
    updatePrimalWeights(e, q, alphaQ);
    wq = e.primalWeights[q];
  }
  for (int k = 0; k < rho.count; ++k) e.dual[rho.index[k]] += thetaD * rho.array[rho.index[k]];
  updateFactor(e.factor, r, alphaR);
  if (pivotsDisagree(alphaQ, alphaR)) e.factor.mustRefactor = true;
  changeBasis(e, q, r, leaveMove);
  e.x[leaving] = leaveValue;
  e.dj[leaving] = -thetaD;
  pricingNoteChanged(w.pricing, leaving);
  pricingNoteChanged(w.pricing, q);
  if (keepDj) e.primalWeights[leaving] = std::max(wq / (alphaQ * alphaQ), 1.0);
  hvClear(rho);
  hvClear(e.rowAlpha);
  // A variable that became feasible changes the phase 1 objective.
  if (phase == 1 && (phase = updatePhase1(e, w, r, leaving)) == 2) logPrimal(e, phase);
  hvClear(col);
}

// Every candidate pricing offers was refused, or too many in a row: the
// basis may have drifted, so it is factored afresh, with the threshold
// raised to kRaisedThreshold when it is below, and the refused ones are
// forgiven.
// After kUnbanRounds such rounds without a pivot the next pivot is taken
// whatever its size. kRunGoing to iterate on.
int forgiveRound(SimplexEngine &e, PrimalWork &w, int &phase, bool &fresh) {
  // Rounds without a pivot: the small pivots are all there is, and the
  // next one is taken as it comes.
  if (++w.unbanRounds > kUnbanRounds) w.takeSmallPivot = true;
  if (e.factor.markowitz < kRaisedThreshold) {
    e.factor.markowitz = kRaisedThreshold;
    if (e.display > 0) QVNmsg(e.env->resultsChannel, "Markowitz threshold set to %g\n", e.factor.markowitz);
  }
  QVN_TRY(refresh(e, w, RebuildReason::kRowsRefused, phase, fresh));
  return kRunGoing;
}

// The ratio test refused every pivot of q: q is passed over by pricing until
// the next factorization.
int refuseCandidate(SimplexEngine &e, PrimalWork &w, int q, int &phase, bool &fresh) {
  ++claimCounters().primalBans;
  if (e.primalBanned.size() != static_cast<size_t>(e.nt)) e.primalBanned.assign(static_cast<size_t>(e.nt), 0);
  e.primalBanned[q] = 1;
  e.anyBanned = true;
  w.bannedList.push_back(q);
  pricingNoteChanged(w.pricing, q);
  if (++w.refusedInRow >= w.candidateCount) return forgiveRound(e, w, phase, fresh);
  return kRunGoing;
}

// One iteration on the entering q: FTRAN, choose row by the ratio test,
// update, then the progress watch. kRunGoing to go on, else the run's end.
int iterate(SimplexEngine &e, PrimalWork &w, int q, int &phase, bool &fresh) {
  const WorkLp &lp = *e.lp;
  const double dir = e.dj[q] < 0 ? 1.0 : -1.0;
  HVector &col = e.column;
  hvClear(col);
  hvAddColumn(col, lp, q, 1.0);
  ftranForUpdate(e.factor, col);
  double step = 0.0;
  const int r = chooseRow(e, q, dir, !w.takeSmallPivot, step);
  if (r == kRefused) {
    hvClear(col);
    return refuseCandidate(e, w, q, phase, fresh);
  }
  if (r == kNoLimit) {
    hvClear(col);
    if (!fresh) {
      QVN_TRY(refresh(e, w, RebuildReason::kConfirmRay, phase, fresh));
      return kRunGoing;
    }
    if (phase == 2) {
      e.claimVar = q;
      e.claimDir = dir;
      return kRunUnbounded;
    }
    return kRunNonOptimal;
  }
  updateIteration(e, w, q, r, dir, step, phase);
  fresh = false;
  w.refusedInRow = 0;
  w.unbanRounds = 0;
  w.takeSmallPivot = false;
  if (r == kBoundFlip) return kRunGoing;
  if (pricingSwitch(e, w.pricing, phase, w.perturbActive)) computeDual(e);
  auto merit = [&]() { return phase == 1 ? sumInfeasibility(e) : objectiveValue(e); };
  const ProgressAction action = progressCheck(w.progress, e.iterations, phase, w.perturbActive, merit);
  if (action == ProgressAction::kPerturb) {
    perturbBounds(e, w);
    phase = setPhase(e, w);
    computeDual(e);
    progressPerturbed(w.progress, w.perturbations, w.magnitude, e.iterations, phase, merit());
  } else if (action == ProgressAction::kStall) {
    // Perturbed and still not moving: start again from fresh values, with
    // the bounds that drift has crossed moved out of the way in phase 2.
    QVN_TRY(rebuild(e, w, RebuildReason::kStall));
    if (phase == 2) shiftViolatedBounds(e, w);
    phase = setPhase(e, w);
    computeDual(e);
    fresh = true;
    debugCheck(e, RebuildReason::kStall, DebugScope::kPrimalAndDual);
    progressReference(w.progress, e.iterations, phase, merit());
  }
  return kRunGoing;
}

int primalLoop(SimplexEngine &e) {
  e.loopKind = QVN_CALLBACK_PRIMAL;
  const WorkLp &lp = *e.lp;
  PrimalWork w;
  w.candidateCount = candidatesFor(e.m);
  e.anyBanned = false;
  if (e.primalBanned.size() != static_cast<size_t>(e.nt)) e.primalBanned.assign(static_cast<size_t>(e.nt), 0);
  w.baseLower.assign(lp.lower.begin(), lp.lower.end());
  w.baseUpper.assign(lp.upper.begin(), lp.upper.end());
  QVN_TRY(pricingSetup(e, w.pricing));
  const GeneralParams &gp = *e.env->generalParams;
  w.magnitude = gp.epper;
  if (takeHeldFactor(e))
    computePrimal(e);
  else
    QVN_TRY(rebuild(e, w, RebuildReason::kStart));
  if (gp.perind == 1) perturbBounds(e, w);
  int phase = setPhase(e, w);
  computeDual(e);
  debugCheck(e, RebuildReason::kStart, DebugScope::kPrimalAndDual);
  logPrimal(e, phase);
  progressStart(w.progress, gp.perlim, e.m, e.n, false, e.iterations, phase,
                phase == 1 ? sumInfeasibility(e) : objectiveValue(e));
  if (pricingSwitch(e, w.pricing, phase, w.perturbActive)) computeDual(e);
  bool fresh = true;
  const bool limitSet = objectiveLimitSet(e, false);
  for (;;) {
    if (int s = checkLimits(e)) return s;
    recoveryPoint(e);
    endLongTightFinish(e, w);
    if (w.phase1TolCut && phase == 2) e.dualTol = w.phase1SavedDualTol, w.phase1TolCut = false;
    if (limitSet && phase == 2 && !w.perturbed && objectiveLimitPassed(e, false)) return kRunObjLimit;
    if (refactorDue(e.factor)) {
      // The work of the updates is measured before the factorization clears it.
      pricingSwitch(e, w.pricing, phase, w.perturbActive);
      QVN_TRY(refresh(e, w, RebuildReason::kFactorDue, phase, fresh));
      logPrimal(e, phase);
    }
    const int q = chooseEntering(e, w.pricing);
    int status;
    if (q < 0 && e.anyBanned)
      status = forgiveRound(e, w, phase, fresh);  // refused candidates may pass on a new factor
    else
      status = q < 0 ? noColumnLeft(e, w, phase, fresh) : iterate(e, w, q, phase, fresh);
    if (status != kRunGoing) return status;
  }
}

} // namespace

int largestPivotWithin(const SimplexEngine &e, double dir, double thetaMax, double columnZero, double *pivot,
                       double *ratio) {
  const HVector &col = e.column;
  int leave = -1;
  *pivot = 0.0;
  *ratio = 0.0;
  for (int k = 0; k < col.count; ++k) {
    const int pos = col.index[k];
    const double a = col.array[pos];
    if (std::fabs(a) < columnZero) continue;
    const int j = e.head[pos];
    const double g = -dir * a;
    double t;
    if (g < 0 && e.lower[j] > -kInfinity)
      t = (e.x[j] - e.lower[j]) / -g;
    else if (g > 0 && e.upper[j] < kInfinity)
      t = (e.upper[j] - e.x[j]) / g;
    else
      continue;
    if (t <= thetaMax && std::fabs(a) > *pivot) *pivot = std::fabs(a), leave = pos, *ratio = t;
  }
  return leave;
}

int runPrimalSimplex(SimplexEngine &e) {
  e.claimVar = -1;
  const double dualTol = e.dualTol;  // the last steps may tighten it
  const int status = primalLoop(e);
  e.dualTol = dualTol;
  if (e.anyBanned) std::fill(e.primalBanned.begin(), e.primalBanned.end(), 0), e.anyBanned = false;
  return status;
}

} // namespace qvn
