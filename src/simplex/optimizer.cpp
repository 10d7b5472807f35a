// The entry points of the continuous optimizers: frame, method choice, the
// steps around a main loop, and the storing of the result.
#include <cmath>

#include "model/problem.h"
#include "presolve/presolve_state.h"
#include "simplex/loops.h"

namespace qvn {

namespace {

enum Method { kPrimal = 1, kDual = 2 };

int checkContinuous(const Problem *lp) {
  const int t = lp->probType;
  if (isMipType(t)) return QVNERR_NOT_FOR_MIP;
  if (hasQuadConstrType(t)) return QVNERR_NOT_FOR_QCP;
  if (hasQuadObjType(t)) return QVNERR_NOT_FOR_QP;
  return 0;
}

// Start basis: the held one when advanced starts are on, else all logicals.
void startBasis(SimplexEngine &e, const Problem *lp) {
  const BasisData *b = lp->basisData;
  if (e.env->generalParams->advind != 0 && b && static_cast<int>(b->colStatus.size()) >= e.n &&
      static_cast<int>(b->rowStatus.size()) >= e.m)
    installBasis(e, b->colStatus.data(), b->rowStatus.data());
  else
    setSlackBasis(e);
}

// True when the reduced costs of the real costs are dual feasible.
bool dualFeasibleForRealCosts(SimplexEngine &e) {
  for (int j = 0; j < e.nt; ++j) e.cost[j] = e.lp->cost[j];
  e.costsShifted = false;
  computeDual(e);
  return dualInfeasibility(e, false) == 0.0;
}

int runMethod(SimplexEngine &e, int method) {
  if (method == kPrimal) return runPrimalSimplex(e);
  int status = runDualSimplex(e);
  if (status == kRunOptimal && e.costsShifted && !dualFeasibleForRealCosts(e)) {
    // Shifted costs hid a dual infeasibility: the primal loop finishes from
    // the primal feasible basis.
    status = runPrimalSimplex(e);
  } else if (status == kRunUnbounded) {
    // The dual is infeasible, so the primal is unbounded or infeasible; the
    // primal loop tells which.
    status = runPrimalSimplex(e);
  }
  return status;
}

void storeResult(Environment *env, Problem *lp, SimplexEngine &e, int runStatus, int method) {
  const WorkLp &w = *e.lp;
  const LpData &d = *lp->lpData;
  if (!lp->basisData) lp->basisData = envNew<BasisData>();
  BasisData &b = *lp->basisData;
  b.colStatus.assign(static_cast<size_t>(e.n), 0);
  b.rowStatus.assign(static_cast<size_t>(e.m), 0);
  for (int j = 0; j < e.nt; ++j) {
    const int s = e.basicPos[j] >= 0 ? 1 : e.move[j] == kAtUpper ? 2 : e.move[j] == kAtZero ? 3 : 0;
    if (j < e.n)
      b.colStatus[j] = s;
    else
      b.rowStatus[j - e.n] = s;
  }
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
int solveProblem(Environment *env, Problem *lp, int method) {
  QVN_TRY(flushCache(env, lp));
  modelChanged(env, lp, method == kPrimal ? 46 : 47);
  WorkLp w;
  buildWorkLp(*lp->lpData, w);
  SimplexEngine e;
  QVN_TRY(engineSetup(e, env, w));
  startBasis(e, lp);
  int run = runMethod(e, method);
  if (run >= 1000) return run;
  if (run == kRunNonOptimal && e.display > 0)
    QVNmsg(env->resultsChannel, "Numerical difficulties; solution is not proved optimal.\n");
  storeResult(env, lp, e, run, method);
  return 0;
}

int optimize(Environment *env, Problem *lp, int method) {
  QVN_TRY(checkContinuous(lp));
  GeneralParams &gp = *env->generalParams;
  const int savedAdvind = gp.advind, savedPerind = gp.perind;
  int status = runCaught([&]() -> int {
    QVN_TRY(flushCache(env, lp));
    return optimizeWithPresolve(env, lp, method, solveProblem);
  });
  gp.advind = savedAdvind;
  gp.perind = savedPerind;
  if (status != 0) modelChanged(env, lp, 56);
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
  if (engineSetup(e, env, w) != 0) return kDual;
  installBasis(e, b->colStatus.data(), b->rowStatus.data());
  if (refactor(e) != 0) return kDual;
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
