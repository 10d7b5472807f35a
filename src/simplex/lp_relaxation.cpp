// The persistent LP relaxation: creation, bound and cost changes, re-solves
// from the held basis, results, basis access and tableau rows and columns.
// Row changes are in lp_relaxation_rows.cpp, saved states and strong
// branching in strong_branch.cpp.
#include <algorithm>
#include <cmath>

#include "runtime/frame.h"
#include "simplex/claim_check.h"
#include "simplex/dual_pricing.h"
#include "simplex/loops.h"
#include "simplex/lp_relaxation_internal.h"

namespace qvn {

namespace {

// Reduced cost violation below which a solution counts as exact after cost shifts.
constexpr double kCleanDualTol = 1e-9;

// True when the reduced costs of the real costs are dual feasible to within
// the clean-up tolerance.
bool dualFeasibleForRealCosts(SimplexEngine &e) {
  for (int j = 0; j < e.nt; ++j) e.cost[j] = e.lp->cost[j];
  e.costsShifted = false;
  computeDual(e);
  const double saved = e.dualTol;
  e.dualTol = kCleanDualTol;
  const bool feasible = dualInfeasibility(e, false) == 0.0;
  e.dualTol = saved;
  return feasible;
}

// On a basis whose unscaled form is badly conditioned the unscaled finish
// can wander for long on rounding alone: it then gets a few more iterations
// than the scaled run took, and what it cannot settle in them stays with the
// scaled answer. The limit is e's iteration limit; true when it was cut.
constexpr double kReentryGrowth = 1.025;
constexpr int kReentryExtra = 20;
constexpr double kReentryCondition = 1e11;

bool capReentryIterations(SimplexEngine &e) {
  const long long cap = std::llround(e.iterations * kReentryGrowth) + kReentryExtra;
  if (cap >= e.iterationLimit) return false;
  double kappa = 0.0;
  if (e.factor.lu->ops->estimateCondition(*e.factor.lu, e.factor.basis, &kappa) != 0) return false;
  if (kappa * (std::fabs(objectiveValue(e)) + 1.0) < kReentryCondition) return false;
  e.iterationLimit = static_cast<int>(cap);
  return true;
}

// The basis of the scaled run on the unscaled LP: an optimum must meet the
// tolerances here too; otherwise the loop that suits the basis finishes,
// within the cap above when `cap` asks for it (*capped tells).
int finishUnscaled(SimplexEngine &e, int run, RelaxMethod method, bool cap = false, bool *capped = nullptr) {
  QVN_TRY(refactor(e));
  computePrimal(e);
  computeDual(e);
  if (run != kRunOptimal) return run;
  const bool primalOk = maxPrimalInfeasibility(e) <= e.primalTol;
  const bool dualOk = dualInfeasibility(e, false) == 0.0;
  if (primalOk && dualOk) return run;
  if (cap && capped) *capped = capReentryIterations(e);
  if (primalOk) return runPrimalSimplex(e);
  if (dualOk) return runDualSimplex(e);
  return runMethod(e, method);
}

// Sets `finish` up on the unscaled LP with the limits and counters of `from`,
// on the basis of `from` (`keepBasis`) or on all logicals.
int seatFinish(LpRelaxation &r, SimplexEngine &from, bool keepBasis) {
  SimplexEngine &e = r.finish;
  EnvVector<int> colStatus(static_cast<size_t>(from.n + 1)), rowStatus(static_cast<size_t>(from.m + 1));
  if (keepBasis) extractStatuses(from, colStatus.data(), rowStatus.data());
  const auto start = from.start;
  const LimitClock limitClock = from.limitClock;
  const int iterations = from.iterations, phase1 = from.phase1Iterations, limit = from.iterationLimit;
  const bool logStarted = from.logStarted, cutoffGiven = from.cutoffGiven;
  const double timeLimit = from.timeLimit, cutoff = from.cutoff;
  const int display = from.display;
  QVN_TRY(engineSetup(e, r.env, r.lp));
  e.start = start;
  e.limitClock = limitClock;
  e.iterations = iterations;
  e.phase1Iterations = phase1;
  e.logStarted = logStarted;
  e.iterationLimit = limit;
  e.timeLimit = timeLimit;
  e.display = display;
  e.cutoffGiven = cutoffGiven;
  e.cutoff = cutoff;
  if (keepBasis)
    installBasis(e, colStatus.data(), rowStatus.data());
  else
    setSlackBasis(e);
  return 0;
}

// Row multipliers of engine f mapped to the unscaled LP's, or null when f
// works on the unscaled LP.
const double *rowFactors(const LpRelaxation &r, const SimplexEngine &f, EnvVector<double> &factor) {
  if (&f != &r.work || !r.useScaled) return nullptr;
  factor.assign(static_cast<size_t>(r.lp.numRow > 0 ? r.lp.numRow : 1), 1.0);
  for (int i = 0; i < r.lp.numRow; ++i) factor[i] = variableScale(r, r.lp.numCol + i);
  return factor.data();
}

// Variable moves of engine f mapped to the unscaled LP's, or null when f
// works on the unscaled LP.
const double *varFactors(const LpRelaxation &r, const SimplexEngine &f, EnvVector<double> &factor) {
  if (&f != &r.work || !r.useScaled) return nullptr;
  factor.assign(static_cast<size_t>(r.lp.numTot > 0 ? r.lp.numTot : 1), 1.0);
  for (int j = 0; j < r.lp.numTot; ++j) factor[j] = 1.0 / variableScale(r, j);
  return factor.data();
}

// The proof of engine f's claim (status run) on the unscaled LP.
int claimProved(LpRelaxation &r, SimplexEngine &f, int run, bool &proved) {
  EnvVector<double> factor;
  QVN_TRY(ensureFactor(f));
  proved = run == kRunInfeasible
               ? infeasibilityProved(f, r.lp, rowFactors(r, f, factor))
               : rayProved(f, r.lp, varFactors(r, f, factor));
  return 0;
}

// An infeasible or unbounded claim of engine f stands only when its proof
// (a row combination, a ray) holds on the unscaled LP. Otherwise the run
// goes on in `finish` on the unscaled LP: the primal loop from the claim's
// basis, the dual loop from it, then the dual loop from all logicals; the
// first answer that holds (an optimum, a limit, or a proved claim) is the
// run's, and when none does the run ends "not proved optimal". *run is
// updated; r.finishUsed tells which engine ended.
int confirmClaim(LpRelaxation &r, SimplexEngine &f, int &run) {
  bool proved = false;
  QVN_TRY(claimProved(r, f, run, proved));
  if (proved) return 0;
  if (f.display > 0)
    QVNmsg(r.env->resultsChannel, run == kRunInfeasible ? "Infeasibility not confirmed on the unscaled model.\n"
                                                        : "Unboundedness not confirmed on the unscaled model.\n");
  constexpr int kAttempts = 3;
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    SimplexEngine &from = r.finishUsed ? r.finish : r.work;
    if (&from == &r.finish) {
      // seatFinish rebuilds `finish` in place: take its basis through `work`.
      EnvVector<int> c(static_cast<size_t>(from.n + 1)), s(static_cast<size_t>(from.m + 1));
      extractStatuses(from, c.data(), s.data());
      installBasis(r.work, c.data(), s.data());
      r.work.factorCurrent = false;
    }
    QVN_TRY(seatFinish(r, r.work, attempt < 2));
    r.finishUsed = true;
    SimplexEngine &e = r.finish;
    run = attempt == 0 ? runPrimalSimplex(e) : runMethod(e, RelaxMethod::kDual);
    if (run >= 1000) return run;
    if (run == kRunInfeasible || run == kRunUnbounded) {
      QVN_TRY(claimProved(r, e, run, proved));
      if (proved) return 0;
      continue;
    }
    if (run == kRunInfOrUnbd || run == kRunNonOptimal) continue;
    ++claimCounters().recovered;
    return 0;
  }
  ++claimCounters().unresolved;
  run = kRunNonOptimal;
  return 0;
}

signed char defaultMove(double lower, double upper) {
  if (lower > -kInfinity) return kAtLower;
  if (upper < kInfinity) return kAtUpper;
  return kAtZero;
}

} // namespace

// The working costs and bounds of the LP as it now stands, with every
// nonbasic variable at a bound it still has.
void resetWorkingData(SimplexEngine &e) {
  const WorkLp &lp = *e.lp;
  for (int j = 0; j < e.nt; ++j) {
    e.cost[j] = lp.cost[j];
    e.lower[j] = lp.lower[j];
    e.upper[j] = lp.upper[j];
  }
  e.costsShifted = false;
  for (int j = 0; j < e.nt; ++j) {
    if (e.basicPos[j] >= 0) continue;
    const bool lo = e.lower[j] > -kInfinity, up = e.upper[j] < kInfinity;
    signed char &mv = e.move[j];
    if ((mv == kAtLower && !lo) || (mv == kAtUpper && !up) || (mv == kAtZero && (lo || up)))
      mv = defaultMove(e.lower[j], e.upper[j]);
    if (mv == kAtZero) e.x[j] = 0.0;
    placeNonbasic(e, j);
  }
}

void applyLimits(SimplexEngine &e, const RelaxSolveLimits &limits) {
  e.iterations = 0;
  e.phase1Iterations = 0;
  e.iterationLimit = limits.iterationLimit;
  e.timeLimit = limits.timeLimit;
  e.display = limits.display;
  e.logStarted = false;
  e.start = std::chrono::steady_clock::now();
  // Each solve's time limit is what is left of its caller's: its clock starts here.
  e.limitClock = startLimitClock(e.env);
  e.cutoffGiven = true;
  e.cutoff = limits.objectiveLimit;
  e.startGiven = true;
  e.reuseFactor = true;
  e.checkWithHeldFactor = true;
}

// A factor that represents the basis, for the tableau and the row repairs.
int ensureFactor(SimplexEngine &e) {
  if (e.factorCurrent && !e.factor.mustRefactor) return 0;
  QVN_TRY(refactor(e));
  computePrimal(e);
  return 0;
}

namespace {

// Largest violation of the bounds and of the reduced cost signs by the
// scaled answer held in `work`, with the real costs, on the unscaled LP, each
// over its tolerance; the scan stops once one passes `enough`.
double unscaledViolation(const LpRelaxation &r, double enough) {
  const SimplexEngine &w = r.work;
  const WorkLp &lp = r.lp;
  double worst = 0.0;
  for (int j = 0; j < w.nt && worst <= enough; ++j) {
    const double s = variableScale(r, j);
    const double v = w.x[j] / s;
    worst = std::max(worst, std::max(lp.lower[j] - v, v - lp.upper[j]) / w.primalTol);
    if (w.basicPos[j] >= 0 || lp.lower[j] == lp.upper[j]) continue;
    const double d = w.dj[j] * s;
    const double violation = w.move[j] == kAtZero ? std::fabs(d) : w.move[j] == kAtLower ? -d : d;
    worst = std::max(worst, violation / w.dualTol);
  }
  return worst;
}

// True when the scaled answer held in `work`, with the real costs, meets the
// tolerances on the unscaled LP.
bool meetsUnscaled(const LpRelaxation &r) { return unscaledViolation(r, 1.0) <= 1.0; }

// A scaled answer whose unscaled violations exceed this many tolerances is
// no answer to stand on as status 5.
constexpr double kStandingViolation = 1000.0;

} // namespace

int runMethod(SimplexEngine &e, RelaxMethod method, bool exact, bool *unfinished) {
  if (unfinished) *unfinished = false;
  int status = method == RelaxMethod::kPrimal ? runPrimalSimplex(e) : runDualSimplex(e);
  if (status == kRunUnbounded && method == RelaxMethod::kDual) {
    // The dual is infeasible, so the primal is unbounded or infeasible; the
    // primal loop tells which, from the dual loop's factor when its owner
    // lets loops start from a held one.
    e.reuseFactor = e.checkWithHeldFactor;
    status = runPrimalSimplex(e);
  }
  if (status == kRunOptimal && e.costsShifted && !dualFeasibleForRealCosts(e)) {
    if (!exact) {
      if (unfinished) *unfinished = true;
      return status;
    }
    // Shifted costs leave reduced costs that are wrong by up to the shifts;
    // the primal loop finishes from the primal feasible basis, and its own
    // short tight finish removes what is left inside the tolerance, which
    // can cost objective accuracy where values are large.
    e.reuseFactor = e.checkWithHeldFactor;
    status = runPrimalSimplex(e);
  }
  return status;
}

void carryNorms(const SimplexEngine &from, SimplexEngine &to) {
  if (from.dualWeightsValid) {
    EnvVector<double> byVariable(static_cast<size_t>(from.nt > 0 ? from.nt : 1), 1.0);
    for (int k = 0; k < from.m; ++k) byVariable[from.head[k]] = from.dualWeights[k];
    to.dualWeights.assign(static_cast<size_t>(to.m > 0 ? to.m : 1), 1.0);
    for (int k = 0; k < to.m; ++k) to.dualWeights[k] = byVariable[to.head[k]];
    to.dualWeightsValid = true;
  }
  if (from.primalWeightsValid) {
    to.primalWeights = from.primalWeights;
    to.primalWeightsValid = true;
  }
}

void rescaleCopy(LpRelaxation &r) {
  if (!r.useScaled) return;
  r.scaled = r.lp;
  applyScaling(r.scaled, r.scale);
}

void sizeResults(LpRelaxation &r) {
  const size_t n = static_cast<size_t>(r.lp.numCol > 0 ? r.lp.numCol : 1);
  const size_t m = static_cast<size_t>(r.lp.numRow > 0 ? r.lp.numRow : 1);
  r.x.assign(n, 0.0);
  r.reducedCosts.assign(n, 0.0);
  r.rowActivity.assign(m, 0.0);
  r.duals.assign(m, 0.0);
  r.objective = 0.0;
  r.iterations = 0;
  r.lastStatus = 0;
}

int reseatEngine(LpRelaxation &r, const EnvVector<int> &headVars, const EnvVector<signed char> &moves,
                 const EnvVector<double> &xs, const EnvVector<double> &weightsByVar, bool weightsValid) {
  SimplexEngine &e = r.work;
  const bool primalValid = false;  // primal weights are by variable and the variables changed
  r.dualsHeld = false;
  QVN_TRY(engineSetup(e, r.env, workingLp(r)));
  for (int j = 0; j < e.nt; ++j) e.basicPos[j] = -1;
  int pos = 0;
  for (const int j : headVars)
    if (pos < e.m && j >= 0 && j < e.nt && e.basicPos[j] < 0) e.head[pos] = j, e.basicPos[j] = pos++;
  for (int i = 0; i < e.m && pos < e.m; ++i)
    if (e.basicPos[e.n + i] < 0) e.head[pos] = e.n + i, e.basicPos[e.n + i] = pos++;
  for (int j = 0; j < e.nt; ++j) {
    e.x[j] = xs[j];
    if (e.basicPos[j] >= 0) continue;
    e.move[j] = moves[j];
  }
  resetWorkingData(e);
  e.dualWeightsValid = weightsValid;
  if (weightsValid) {
    e.dualWeights.assign(static_cast<size_t>(e.m > 0 ? e.m : 1), 1.0);
    for (int k = 0; k < e.m; ++k) {
      const double v = weightsByVar[e.head[k]];
      e.dualWeights[k] = v > 0.0 ? v : 1.0;
    }
  }
  e.primalWeightsValid = primalValid;
  e.startGiven = true;
  e.factorCurrent = false;
  sizeResults(r);
  return 0;
}

// The results of the engine that ended the solve, unscaled, with the real costs.
void collectResults(LpRelaxation &r, SimplexEngine &f, int run, bool dualsReady) {
  const bool scaled = &f == &r.work && r.useScaled;
  if (!dualsReady) {
    for (int j = 0; j < f.nt; ++j) f.cost[j] = f.lp->cost[j];
    f.costsShifted = false;
    computeDual(f);
  }
  const int n = r.lp.numCol, m = r.lp.numRow;
  double obj = 0.0;
  for (int j = 0; j < n; ++j) {
    const double s = scaled ? variableScale(r, j) : 1.0;
    r.x[j] = f.x[j] / s;
    r.reducedCosts[j] = f.dj[j] * s;
    obj += r.lp.cost[j] * r.x[j];
  }
  for (int i = 0; i < m; ++i) {
    const double s = scaled ? variableScale(r, n + i) : 1.0;
    r.rowActivity[i] = f.x[n + i] / s;
    r.duals[i] = f.dual[i] * s;
  }
  r.objective = obj + r.lp.sense * r.lp.offset;
  r.iterations = f.iterations;
  r.lastStatus = run;
}

// One solve from the held basis of `work` with the limits already set. With
// `finishAlways` (or a scaled optimum that misses the unscaled tolerances)
// the answer is checked and finished on the unscaled LP in `finish`, whose
// basis then becomes the held one.
int solveHeld(LpRelaxation &r, RelaxMethod method, bool finishAlways, bool verify, int *status) {
  SimplexEngine &w = r.work;
  r.finishUsed = false;
  w.heldDualFeasible = r.dualFeasible && !r.checkByFactor && method == RelaxMethod::kDual;
  w.dualsGiven = r.dualsHeld;
  r.dualFeasible = false;
  r.dualsHeld = false;
  int run = runMethod(w, method, !r.boundOnly, &r.unfinished);
  w.heldDualFeasible = false;
  w.dualsGiven = false;
  if (run >= 1000) return run;
  bool needFinish = r.useScaled && finishAlways;
  bool dualsReady = false;
  if (r.useScaled && !needFinish && verify && run == kRunOptimal) {
    // A dual loop that ends optimal with its costs unshifted has just
    // computed its duals afresh from the held factor, with no pivot since.
    const bool fresh = w.loopKind == QVN_CALLBACK_DUAL && !w.costsShifted && w.factorCurrent &&
                       !w.factor.mustRefactor;
    QVN_TRY(ensureFactor(w));
    for (int j = 0; j < w.nt; ++j) w.cost[j] = w.lp->cost[j];
    w.costsShifted = false;
    if (!fresh) computeDual(w);
    needFinish = !meetsUnscaled(r);
    dualsReady = !needFinish;
  }
  if (needFinish) {
    SimplexEngine &e = r.finish;
    QVN_TRY(seatFinish(r, w, true));
    e.claimVar = w.claimVar;
    e.claimDir = w.claimDir;
    carryNorms(w, e);
    const int scaledRun = run, userLimit = e.iterationLimit;
    bool capped = false;
    run = finishUnscaled(e, run, method, r.capReentry, &capped);
    if (run >= 1000) return run;
    r.finishUsed = true;
    if (capped) {
      ++claimCounters().cappedReentries;
      e.iterationLimit = userLimit;
      // The unscaled finish did not settle within its cap (a limit of the
      // caller's own still ends the run as such).
      if (scaledRun == kRunOptimal && run != kRunOptimal && run != kRunTimeLimit && run != kRunAborted &&
          !(run == kRunIterLimit && e.iterations >= userLimit)) {
        // Near the tolerances the scaled answer stands as status 5; far from
        // them (or on a basis that no longer factors) it is no optimum, and
        // the run ends not proved optimal rather than wander on.
        const int factored = ensureFactor(w);
        if (factored >= 1000 && factored != QVNERR_SINGULAR) return factored;
        if (factored == 0) {
          for (int j = 0; j < w.nt; ++j) w.cost[j] = w.lp->cost[j];
          w.costsShifted = false;
          computeDual(w);
          r.finishUsed = false;
        }
        if (factored == 0 && unscaledViolation(r, kStandingViolation) <= kStandingViolation) {
          run = kRunOptimalUnscaledInfeas;
          ++claimCounters().unscaledOptimal;
        } else {
          run = kRunNonOptimal;
        }
      }
    }
  }
  if (run == kRunInfeasible || run == kRunUnbounded) {
    QVN_TRY(confirmClaim(r, r.finishUsed ? r.finish : w, run));
    if (run >= 1000) return run;
  }
  SimplexEngine &f = r.finishUsed ? r.finish : w;
  if (!refactorDue(f.factor)) refinePrimal(f);
  collectResults(r, f, run, dualsReady);
  r.dualsHeld = !r.finishUsed;
  // A dual run that stopped at infeasibility, the cutoff or a limit usually
  // leaves a basis that is still dual feasible for the real costs: the next
  // solve after bound changes then needs no implied boxes either.
  r.dualFeasible = (run == kRunOptimal && !r.unfinished) ||
                   ((run == kRunInfeasible || run == kRunObjLimit || run == kRunIterLimit) &&
                    dualInfeasibility(f, true) == 0.0);
  if (r.finishUsed) {
    // The held basis follows the finish when the finish moved it.
    EnvVector<int> c1(static_cast<size_t>(w.n + 1)), r1(static_cast<size_t>(w.m + 1));
    EnvVector<int> c2(static_cast<size_t>(w.n + 1)), r2(static_cast<size_t>(w.m + 1));
    extractStatuses(w, c1.data(), r1.data());
    extractStatuses(f, c2.data(), r2.data());
    if (c1 != c2 || r1 != r2) {
      installBasis(w, c2.data(), r2.data());
      carryNorms(f, w);
    }
  }
  *status = run;
  return 0;
}

int relaxCreate(Environment *env, const LpData &data, LpRelaxation **out) {
  if (!out) return QVNERR_NULL_POINTER;
  *out = nullptr;
  LpRelaxation *r = nullptr;
  const int status = runCaught([&]() -> int {
    r = envNew<LpRelaxation>();
    r->env = env;
    buildWorkLp(data, r->lp);
    computeScaling(r->lp, env->generalParams->scaind, r->scale);
    r->useScaled = r->scale.kind >= 0;
    rescaleCopy(*r);
    QVN_TRY(engineSetup(r->work, env, workingLp(*r)));
    setSlackBasis(r->work);
    sizeResults(*r);
    return 0;
  });
  if (status != 0) {
    envDelete(r);
    return status;
  }
  *out = r;
  return 0;
}

void relaxFree(LpRelaxation *&r) { envDelete(r); }

int relaxNumCols(const LpRelaxation &r) { return r.lp.numCol; }
int relaxNumRows(const LpRelaxation &r) { return r.lp.numRow; }

int relaxChangeBounds(LpRelaxation &r, int count, const int *cols, const double *lower, const double *upper) {
  if (count < 0) return QVNERR_COUNT_RANGE;
  if (count > 0 && (!cols || !lower || !upper)) return QVNERR_NULL_POINTER;
  for (int k = 0; k < count; ++k) {
    if (cols[k] < 0 || cols[k] >= r.lp.numCol) return QVNERR_COL_INDEX_RANGE;
    if (std::isnan(lower[k]) || std::isnan(upper[k])) return QVNERR_NAN;
  }
  for (int k = 0; k < count; ++k) {
    const int j = cols[k];
    const double lo = lower[k] <= -kInfinity ? -kInfinity : lower[k];
    const double up = upper[k] >= kInfinity ? kInfinity : upper[k];
    r.lp.lower[j] = lo;
    r.lp.upper[j] = up;
    if (r.useScaled) {
      const double s = r.scale.colScale[j];
      r.scaled.lower[j] = lo <= -kInfinity ? lo : lo * s;
      r.scaled.upper[j] = up >= kInfinity ? up : up * s;
    }
  }
  return 0;
}

void relaxGetBounds(const LpRelaxation &r, int col, double *lower, double *upper) {
  if (col < 0 || col >= r.lp.numCol) return;
  if (lower) *lower = r.lp.lower[col];
  if (upper) *upper = r.lp.upper[col];
}

void relaxGetRowBounds(const LpRelaxation &r, int row, double *lower, double *upper) {
  if (row < 0 || row >= r.lp.numRow) return;
  if (lower) *lower = r.lp.lower[r.lp.numCol + row];
  if (upper) *upper = r.lp.upper[r.lp.numCol + row];
}

int relaxChangeCosts(LpRelaxation &r, int count, const int *cols, const double *costs) {
  if (count < 0) return QVNERR_COUNT_RANGE;
  if (count > 0 && (!cols || !costs)) return QVNERR_NULL_POINTER;
  for (int k = 0; k < count; ++k) {
    if (cols[k] < 0 || cols[k] >= r.lp.numCol) return QVNERR_COL_INDEX_RANGE;
    if (!std::isfinite(costs[k])) return QVNERR_NAN;
  }
  for (int k = 0; k < count; ++k) {
    const int j = cols[k];
    r.lp.cost[j] = costs[k];
    if (r.useScaled) r.scaled.cost[j] = costs[k] / r.scale.colScale[j];
  }
  if (count > 0) r.dualFeasible = r.dualsHeld = false;
  // Weights of the primal pricing depend on the basis only; nothing else to do.
  return 0;
}

int relaxSolve(LpRelaxation &r, const RelaxSolveLimits &limits, int *status) {
  if (!status) return QVNERR_NULL_POINTER;
  if (std::isnan(limits.objectiveLimit) || std::isnan(limits.timeLimit)) return QVNERR_NAN;
  return runCaught([&]() -> int {
    // Crossed bounds would go unseen on a nonbasic variable: the loops only
    // look at the basic ones.
    for (int j = 0; j < r.lp.numTot; ++j) {
      if (r.lp.lower[j] > r.lp.upper[j]) {
        r.lastStatus = *status = kRunInfeasible;
        r.iterations = 0;
        r.objective = 1e75;
        r.dualFeasible = false;
        return 0;
      }
    }
    resetWorkingData(r.work);
    applyLimits(r.work, limits);
    return solveHeld(r, limits.method, r.checkByFactor, true, status);
  });
}

double relaxObjective(const LpRelaxation &r) { return r.objective; }
const double *relaxPrimal(const LpRelaxation &r) { return r.x.data(); }
const double *relaxRowActivity(const LpRelaxation &r) { return r.rowActivity.data(); }
const double *relaxDuals(const LpRelaxation &r) { return r.duals.data(); }
const double *relaxReducedCosts(const LpRelaxation &r) { return r.reducedCosts.data(); }
int relaxIterations(const LpRelaxation &r) { return r.iterations; }
double relaxTrialIterations(const LpRelaxation &r) { return r.trialIterations; }

void relaxGetBasis(const LpRelaxation &r, int *colStatus, int *rowStatus) {
  const SimplexEngine &e = r.work;
  for (int j = 0; j < e.nt; ++j) {
    const int s = e.basicPos[j] >= 0 ? 1 : e.move[j] == kAtUpper ? 2 : e.move[j] == kAtZero ? 3 : 0;
    if (j < e.n) {
      if (colStatus) colStatus[j] = s;
    } else if (rowStatus) {
      rowStatus[j - e.n] = s;
    }
  }
}

namespace {

// Basis changes that a new basis may differ by and still be reached by
// factor updates: beyond them one factorization is cheaper than the updates
// and the longer update file they leave.
constexpr int kMinBasisPivots = 8;
constexpr int kBasisPivotShare = 20;  // or one in this many rows
// A pivot of the change below this, absolute or relative to the column's
// largest entry, is not taken: the factor would lose accuracy.
constexpr double kBasisPivotTol = 1e-7, kBasisPivotRelTol = 1e-3;

// Nonbasic variable j at the bound its status names, as installBasis does.
void placeByStatus(SimplexEngine &e, int j, int status) {
  const bool lo = e.lower[j] > -kInfinity, up = e.upper[j] < kInfinity;
  if (status == 2 && up)
    e.move[j] = kAtUpper;
  else if (status == 3 && !lo && !up)
    e.move[j] = kAtZero;
  else
    e.move[j] = lo ? kAtLower : up ? kAtUpper : kAtZero;
  if (e.move[j] == kAtZero) e.x[j] = 0.0;
  placeNonbasic(e, j);
}

// Reaches the basis given by status codes from the held one by replacing
// columns of the current factor, one update each, when few differ. The dual
// weights follow each replacement. False when the factor is not current, too
// many columns differ or a replacement has no safe pivot; the engine then
// holds a valid basis and factor part way, and the caller installs the basis
// in full.
bool pivotToBasis(SimplexEngine &e, const int *colStatus, const int *rowStatus, EnvVector<int> &entering,
                  EnvVector<int> &leaving) {
  if (!e.factorCurrent || refactorDue(e.factor)) return false;
  auto statusOf = [&](int j) { return j < e.n ? colStatus[j] : rowStatus[j - e.n]; };
  entering.clear();
  leaving.clear();
  const int limit = std::max(kMinBasisPivots, e.m / kBasisPivotShare);
  for (int j = 0; j < e.nt; ++j) {
    const bool wanted = statusOf(j) == 1, basic = e.basicPos[j] >= 0;
    if (wanted && !basic) entering.push_back(j);
    if (basic && !wanted) leaving.push_back(e.basicPos[j]);
    if (static_cast<int>(entering.size()) > limit || static_cast<int>(leaving.size()) > limit) return false;
  }
  if (entering.size() != leaving.size()) return false;
  HVector &col = e.column;
  for (const int q : entering) {
    hvClear(col);
    addColumn(*e.lp, q, 1.0, col.array.data());
    col.count = -1;
    ftranForUpdate(e.factor, col);
    double largest = 0.0, best = 0.0;
    size_t at = leaving.size();
    if (col.count >= 0)
      for (int k = 0; k < col.count; ++k) largest = std::max(largest, std::fabs(col.array[col.index[k]]));
    else
      for (int k = 0; k < e.m; ++k) largest = std::max(largest, std::fabs(col.array[k]));
    for (size_t k = 0; k < leaving.size(); ++k) {
      const double a = std::fabs(col.array[leaving[k]]);
      if (a > best) best = a, at = k;
    }
    if (at == leaving.size() || best < kBasisPivotTol || best < kBasisPivotRelTol * largest) {
      hvClear(col);
      return false;
    }
    const int r = leaving[at];
    leaving[at] = leaving.back();
    leaving.pop_back();
    const double alpha = col.array[r];
    if (e.dualWeightsValid) {
      btranUnitRow(e, r);
      updateDualWeights(e, r, alpha);
      hvClear(e.rowRho);
    }
    updateFactor(e.factor, r, alpha);
    const int out = e.head[r];
    changeBasis(e, q, r, kAtLower);
    placeByStatus(e, out, statusOf(out));
    hvClear(col);
    if (refactorDue(e.factor)) return false;
  }
  for (int j = 0; j < e.nt; ++j)
    if (e.basicPos[j] < 0) placeByStatus(e, j, statusOf(j));
  return true;
}

} // namespace

int relaxSetBasis(LpRelaxation &r, const int *colStatus, const int *rowStatus, bool dualFeasible) {
  if (!colStatus || !rowStatus) return QVNERR_NULL_POINTER;
  SimplexEngine &e = r.work;
  for (int j = 0; j < e.n; ++j)
    if (colStatus[j] < 0 || colStatus[j] > 3) return QVNERR_BAD_ARGUMENT;
  for (int i = 0; i < e.m; ++i)
    if (rowStatus[i] < 0 || rowStatus[i] > 3) return QVNERR_BAD_ARGUMENT;
  r.dualsHeld = false;
  return runCaught([&]() -> int {
    resetWorkingData(e);
    EnvVector<int> entering, leaving;
    if (!pivotToBasis(e, colStatus, rowStatus, entering, leaving)) {
      installBasis(e, colStatus, rowStatus);
      e.dualWeightsValid = false;
    }
    r.dualFeasible = dualFeasible;
    e.primalWeightsValid = false;
    e.startGiven = true;
    return 0;
  });
}

namespace {

// A new factor may replace dependent columns of the basis by logicals: the
// held duals then no longer belong to it.
void keepDualsThroughFactor(LpRelaxation &r) {
  if (!r.work.factorCurrent || r.work.factor.mustRefactor) r.dualsHeld = false;
}

} // namespace

int relaxBasicVariable(const LpRelaxation &r, int pos) {
  if (pos < 0 || pos >= r.work.m) return -1;
  return r.work.head[pos];
}

int relaxTableauRow(LpRelaxation &r, int pos, double *row) {
  SimplexEngine &e = r.work;
  if (!row) return QVNERR_NULL_POINTER;
  if (pos < 0 || pos >= e.m) return QVNERR_ROW_INDEX_RANGE;
  return runCaught([&]() -> int {
    keepDualsThroughFactor(r);
    QVN_TRY(ensureFactor(e));
    btranUnitRow(e, pos);
    const double *rho = e.rowRho.array.data();
    const WorkLp &lp = workingLp(r);
    // T = S_B B'^{-1} [A', -I] S^{-1} in the scale of each variable: entry j
    // of the unscaled row is the scaled one times s_j / s_head.
    const double sHead = variableScale(r, e.head[pos]);
    for (int j = 0; j < e.nt; ++j) {
      if (e.basicPos[j] >= 0) {
        row[j] = e.basicPos[j] == pos ? 1.0 : 0.0;
        continue;
      }
      row[j] = columnDot(lp, j, rho) * variableScale(r, j) / sHead;
    }
    hvClear(e.rowRho);
    return 0;
  });
}

int relaxTableauColumn(LpRelaxation &r, int j, double *column) {
  SimplexEngine &e = r.work;
  if (!column) return QVNERR_NULL_POINTER;
  if (j < 0 || j >= e.nt) return QVNERR_COL_INDEX_RANGE;
  return runCaught([&]() -> int {
    keepDualsThroughFactor(r);
    QVN_TRY(ensureFactor(e));
    HVector &col = e.column;
    hvClear(col);
    addColumn(workingLp(r), j, 1.0, col.array.data());
    col.count = -1;
    ftran(e.factor, col);
    const double sj = variableScale(r, j);
    for (int k = 0; k < e.m; ++k) column[k] = col.array[k] * sj / variableScale(r, e.head[k]);
    hvClear(col);
    return 0;
  });
}

} // namespace qvn
