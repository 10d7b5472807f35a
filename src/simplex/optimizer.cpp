// The entry points of the continuous optimizers: frame, method choice, the
// steps around a main loop, and the storing of the result.
#include <cmath>

#include "model/problem.h"
#include "presolve/presolve_state.h"
#include "simplex/fpu_precision.h"
#include "simplex/loops.h"
#include "simplex/result_guard.h"
#include "simplex/scaling.h"

namespace qvn {

namespace {

enum Method { kPrimal = 1, kDual = 2 };

void takeSavedNorms(SimplexEngine &e, const BasisData &b) {
  if (!b.norms.empty() && b.normHead.size() == b.norms.size()) {
    EnvVector<double> byVariable(static_cast<size_t>(e.nt > 0 ? e.nt : 1), 0.0);
    for (size_t k = 0; k < b.normHead.size(); ++k)
      if (b.normHead[k] >= 0 && b.normHead[k] < e.nt) byVariable[b.normHead[k]] = b.norms[k];
    e.dualWeights.assign(static_cast<size_t>(e.m > 0 ? e.m : 1), 1.0);
    int fresh = 0;
    for (int k = 0; k < e.m; ++k) {
      const double v = byVariable[e.head[k]];
      if (v > 0.0)
        e.dualWeights[k] = v;
      else
        ++fresh;
    }
    e.dualWeightsValid = true;
    if (fresh > 0 && e.display > 0) {
      QVNmsg(e.env->resultsChannel, "Reinitializing dual norms . . .\n");
      QVNmsg(e.env->resultsChannel, "Computed %d new norms.\n", fresh);
    }
  }
  if (static_cast<int>(b.primalNorms.size()) == e.nt) {
    e.primalWeights.assign(b.primalNorms.begin(), b.primalNorms.end());
    e.primalWeightsValid = true;
  }
}

// Pricing weights of one run handed to the next over the same basis, which
// may list the basic variables in another order.
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

int checkContinuous(const Problem *lp) {
  const int t = lp->probType;
  if (isMipType(t)) return QVNERR_NOT_FOR_MIP;
  if (hasQuadConstrType(t)) return QVNERR_NOT_FOR_QCP;
  if (hasQuadObjType(t)) return QVNERR_NOT_FOR_QP;
  return 0;
}

// Start basis: the held one when advanced starts are on, else all logicals.
// Norms saved with the held basis come along for the positions they match.
void startBasis(SimplexEngine &e, const Problem *lp) {
  const BasisData *b = lp->basisData;
  if (e.env->generalParams->advind != 0 && b && static_cast<int>(b->colStatus.size()) >= e.n &&
      static_cast<int>(b->rowStatus.size()) >= e.m) {
    installBasis(e, b->colStatus.data(), b->rowStatus.data());
    e.startGiven = true;
    takeSavedNorms(e, *b);
  } else {
    setSlackBasis(e);
  }
}

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

int runMethod(SimplexEngine &e, int method) {
  int status = method == kPrimal ? runPrimalSimplex(e) : runDualSimplex(e);
  if (status == kRunUnbounded && method == kDual) {
    // The dual is infeasible, so the primal is unbounded or infeasible; the
    // primal loop tells which.
    status = runPrimalSimplex(e);
  }
  if (status == kRunOptimal && e.costsShifted && !dualFeasibleForRealCosts(e)) {
    // Shifted costs leave reduced costs that are wrong by up to the shifts;
    // the primal loop finishes from the primal feasible basis, and its own
    // short tight finish removes what is left inside the tolerance, which
    // can cost objective accuracy where values are large.
    status = runPrimalSimplex(e);
  }
  return status;
}

// The basis of the scaled run on the unscaled LP: an optimum must meet the
// tolerances here too; otherwise the loop that suits the basis finishes.
int finishUnscaled(SimplexEngine &e, int run, int method) {
  QVN_TRY(refactor(e));
  computePrimal(e);
  computeDual(e);
  if (run != kRunOptimal) return run;
  const bool primalOk = maxPrimalInfeasibility(e) <= e.primalTol;
  const bool dualOk = dualInfeasibility(e, false) == 0.0;
  if (primalOk && dualOk) return run;
  if (primalOk) return runPrimalSimplex(e);
  if (dualOk) return runDualSimplex(e);
  return runMethod(e, method);
}

void storeResult(Environment *env, Problem *lp, SimplexEngine &e, int runStatus, int method) {
  const WorkLp &w = *e.lp;
  const LpData &d = *lp->lpData;
  if (!lp->basisData) lp->basisData = envNew<BasisData>();
  BasisData &b = *lp->basisData;
  b.colStatus.assign(static_cast<size_t>(e.n > 0 ? e.n : 1), 0);
  b.rowStatus.assign(static_cast<size_t>(e.m > 0 ? e.m : 1), 0);
  extractStatuses(e, b.colStatus.data(), b.rowStatus.data());
  b.norms.clear();
  b.normHead.clear();
  b.primalNorms.clear();
  if (e.dualWeightsValid) {
    b.norms.assign(e.dualWeights.begin(), e.dualWeights.begin() + e.m);
    b.normHead.assign(e.head.begin(), e.head.begin() + e.m);
  }
  if (e.primalWeightsValid) b.primalNorms.assign(e.primalWeights.begin(), e.primalWeights.end());
  if (!lp->solution) lp->solution = envNew<SolutionBlock>();
  SolutionBlock &s = *lp->solution;
  // Values with the real costs and bounds of the model.
  for (int j = 0; j < e.nt; ++j) e.cost[j] = w.cost[j];
  computeDual(e);
  s.x.assign(e.x.begin(), e.x.begin() + e.n);
  s.slack.resize(static_cast<size_t>(e.m));
  s.pi.resize(static_cast<size_t>(e.m));
  s.dj.resize(static_cast<size_t>(e.n));
  for (int i = 0; i < e.m; ++i) {
    s.slack[i] = d.rhs[i] - e.x[e.n + i];
    s.pi[i] = w.sense * e.dual[i];
  }
  for (int j = 0; j < e.n; ++j) s.dj[j] = w.sense * e.dj[j];
  s.objValue = w.sense * objectiveValue(e) + w.offset;
  s.method = method;
  s.iterationCount = e.iterations;
  s.phase1Count = e.phase1Iterations;
  s.primalComputed = s.dualComputed = true;
  s.primalFeasible = maxPrimalInfeasibility(e) <= e.primalTol;
  s.dualFeasible = runStatus == kRunOptimal;
  lp->status = runStatus;
  (void)env;
}

// One main loop on one problem, from its held basis when advanced starts are on.
// One solve of a problem as it stands: the scaled copy first when scaling is
// due, then the unscaled check and finish.
int solveProblem(Environment *env, Problem *lp, int method) {
  GeneralParams &gp = *env->generalParams;
  QVN_TRY(flushCache(env, lp));
  modelChanged(env, lp, method == kPrimal ? 46 : 47);
  WorkLp w;
  buildWorkLp(*lp->lpData, w);
  ScaleFactors scale;
  computeScaling(w, gp.scaind, scale);
  SimplexEngine e;
  int run = 0;
  if (scale.kind >= 0) {
    // Solve the scaled copy, then carry its basis to the unscaled LP, where
    // the answer is checked and, if the tolerances are not met there, finished.
    WorkLp scaled = w;
    applyScaling(scaled, scale);
    SimplexEngine s;
    QVN_TRY(engineSetup(s, env, scaled));
    startBasis(s, lp);
    run = runMethod(s, method);
    if (run >= 1000) return run;
    EnvVector<int> colStatus(static_cast<size_t>(w.numCol + 1)), rowStatus(static_cast<size_t>(w.numRow + 1));
    extractStatuses(s, colStatus.data(), rowStatus.data());
    QVN_TRY(engineSetup(e, env, w));
    e.start = s.start;
    e.iterations = s.iterations;
    e.phase1Iterations = s.phase1Iterations;
    e.logStarted = s.logStarted;
    installBasis(e, colStatus.data(), rowStatus.data());
    carryNorms(s, e);
    run = finishUnscaled(e, run, method);
  } else {
    QVN_TRY(engineSetup(e, env, w));
    startBasis(e, lp);
    run = runMethod(e, method);
  }
  if (run >= 1000) return run;
  if (!refactorDue(e.factor)) refinePrimal(e);
  if (run == kRunNonOptimal && e.display > 0)
    QVNmsg(env->resultsChannel, "Numerical difficulties; solution is not proved optimal.\n");
  storeResult(env, lp, e, run, method);
  return 0;
}

int optimize(Environment *env, Problem *lp, int method) {
  QVN_TRY(checkContinuous(lp));
  ExtendedPrecisionScope precision;
  GeneralParams &gp = *env->generalParams;
  const int savedAdvind = gp.advind, savedPerind = gp.perind;
  int status = runCaught([&]() -> int {
    QVN_TRY(flushCache(env, lp));
    QVN_TRY(refuseNonFiniteData(env, *lp->lpData));
    if (settleContradictoryBounds(env, lp)) return 0;
    return optimizeWithPresolve(env, lp, method, solveProblem);
  });
  gp.advind = savedAdvind;
  gp.perind = savedPerind;
  if (status != 0) modelChanged(env, lp, 56);
  if (status == 0) guardOptimalResult(env, lp);
  return status;
}

// The automatic choice: primal only to continue from a primal feasible start.
int chooseMethod(Environment *env, Problem *lp) {
  const int chosen = env->generalParams->lpmethod;
  if (chosen == 1 || chosen == 2) return chosen;
  if (chosen != 0) return kDual;  // the other methods are not available yet: the dual stands in
  const BasisData *b = lp->basisData;
  if (env->generalParams->advind == 0 || !b || b->colStatus.empty()) return kDual;
  // Primal feasibility of the held basis decides.
  WorkLp w;
  buildWorkLp(*lp->lpData, w);
  if (static_cast<int>(b->colStatus.size()) < w.numCol || static_cast<int>(b->rowStatus.size()) < w.numRow)
    return kDual;
  SimplexEngine e;
  if (engineOnBasis(e, env, w, *b) != 0) return kDual;
  computePrimal(e);
  return maxPrimalInfeasibility(e) <= env->generalParams->eprhs ? kPrimal : kDual;
}

} // namespace

} // namespace qvn

using namespace qvn;

extern "C" {

QVN_API int QVNprimopt(QVNCENVptr cenv, QVNLPptr lp) {
  auto *env = const_cast<Environment *>(cenv);
  return guardedProblem(env, lp, [&](Problem *p) { return optimize(env, p, kPrimal); });
}

QVN_API int QVNdualopt(QVNCENVptr cenv, QVNLPptr lp) {
  auto *env = const_cast<Environment *>(cenv);
  return guardedProblem(env, lp, [&](Problem *p) { return optimize(env, p, kDual); });
}

QVN_API int QVNlpopt(QVNCENVptr cenv, QVNLPptr lp) {
  auto *env = const_cast<Environment *>(cenv);
  return guardedProblem(env, lp, [&](Problem *p) -> int {
    QVN_TRY(checkContinuous(p));
    QVN_TRY(flushCache(env, p));
    return optimize(env, p, chooseMethod(env, p));
  });
}

} // extern "C"
