// The entry points of the continuous optimizers: frame, method choice, the
// steps around a main loop, and the storing of the result.
#include <cmath>

#include "barrier/barrier.h"
#include "formats/restart_file.h"
#include "model/problem.h"
#include "presolve/presolve_state.h"
#include "quadratic/qp_presolve.h"
#include "simplex/advanced_basis.h"
#include "simplex/fpu_precision.h"
#include "simplex/lp_relaxation_internal.h"
#include "simplex/loops.h"
#include "simplex/result_guard.h"
#include "simplex/scaling.h"
#include "simplex/sifting.h"

namespace qvn {

namespace {

constexpr int kPrimal = methodNumber(LpMethod::kPrimal), kDual = methodNumber(LpMethod::kDual);
constexpr int kNetworkMethod = methodNumber(LpMethod::kNetwork);

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
  } else if (e.env->generalParams->advind != 0 && buildStartFromVectors(e, lp)) {
    e.startGiven = true;
  } else {
    setSlackBasis(e);
  }
}

// The answer of an engine on the scaled LP, as the relaxation unscaled it.
void storeUnscaledPoint(const LpRelaxation &r, const LpData &d, SolutionBlock &s) {
  const int n = r.lp.numCol, m = r.lp.numRow;
  const double sense = r.lp.sense;
  s.x.assign(r.x.begin(), r.x.begin() + n);
  s.slack.resize(static_cast<size_t>(m));
  s.pi.resize(static_cast<size_t>(m));
  s.dj.resize(static_cast<size_t>(n));
  for (int i = 0; i < m; ++i) {
    s.slack[i] = d.rhs[i] - r.rowActivity[i];
    s.pi[i] = sense * r.duals[i];
  }
  for (int j = 0; j < n; ++j) s.dj[j] = sense * r.reducedCosts[j];
  s.objValue = sense * r.objective;
  s.primalComputed = s.dualComputed = true;
}

void storeResult(Environment *env, Problem *lp, const LpRelaxation &r, SimplexEngine &e, int runStatus,
                 int method) {
  const WorkLp &w = *e.lp;
  const LpData &d = *lp->lpData;
  const bool scaledAnswer = &e == &r.work && r.useScaled;
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
  s.method = method;
  s.iterationCount = e.iterations;
  s.phase1Count = e.phase1Iterations;
  if (scaledAnswer) {
    // Optimal on the scaled LP only: its values, unscaled, are the answer.
    storeUnscaledPoint(r, d, s);
    s.primalFeasible = worstViolationRatio(d, s.x.data(), env->generalParams->eprhs, nullptr) <= 1.0;
    s.dualFeasible = false;
  } else {
    // Values with the real costs and bounds of the model.
    for (int j = 0; j < e.nt; ++j) e.cost[j] = w.cost[j];
    computeDual(e);
    storeBasicPoint(e, d, s);
    s.primalFeasible = maxPrimalInfeasibility(e) <= e.primalTol;
    s.dualFeasible = runStatus == kRunOptimal;
  }
  lp->status = runStatus;
}

// One solve of a problem as it stands, through a relaxation of its own: the
// scaled copy first when scaling is due, then the unscaled check and finish.
int solveProblem(Environment *env, Problem *lp, int method) {
  if (method == methodNumber(LpMethod::kSifting)) return siftSolve(env, lp);
  QVN_TRY(flushCache(env, lp));
  modelChanged(env, lp, method == kPrimal ? ModelEvent::kPrimalDriverBegins : ModelEvent::kDualDriverBegins);
  LpRelaxation *r = nullptr;
  QVN_TRY(relaxCreate(env, *lp->lpData, &r));
  struct Release {
    LpRelaxation *&r;
    ~Release() { relaxFree(r); }
  } release{r};
  r->checkByFactor = true;
  r->capReentry = true;
  r->work.reportProgress = r->finish.reportProgress = true;
  startBasis(r->work, lp);
  int run = 0;
  QVN_TRY(solveHeld(*r, method == kPrimal ? RelaxMethod::kPrimal : RelaxMethod::kDual, true, false, &run));
  SimplexEngine &e = finalEngine(*r);
  if (run == kRunNonOptimal && e.display > 0)
    QVNmsg(env->resultsChannel, "Numerical difficulties; solution is not proved optimal.\n");
  storeResult(env, lp, *r, e, run, method);
  return 0;
}

// The barrier finishes through the simplex above; every other method is one.
int solveByMethod(Environment *env, Problem *lp, int method) {
  if (method == methodNumber(LpMethod::kBarrier))
    return barrierSolveProblem(env, lp, env->barrierParams->barcrossalg, solveProblem);
  return solveProblem(env, lp, method);
}

// The barrier on a quadratic objective (through the presolve that keeps Q's
// columns when that path is enabled); no crossover, which knows no Q: asked
// for by name it cannot be given.
int optimizeQuadratic(Environment *env, Problem *lp, int crossover) {
  const int t = lp->probType;
  if (isMipType(t)) return QVNERR_NOT_FOR_MIP;
  if (hasQuadConstrType(t)) return QVNERR_NOT_FOR_QCP;
  if (crossover == 1 || crossover == 2) return QVNERR_NOT_FOR_QP;
  ExtendedPrecisionScope precision;
  return runCaught([&]() -> int {
    QVN_TRY(flushCache(env, lp));
    QVN_TRY(refuseNonFiniteData(env, *lp->lpData));
    if (settleContradictoryBounds(env, lp)) return 0;
    modelChanged(env, lp, ModelEvent::kDualDriverBegins);
    return quadraticSolveWithPresolve(env, lp);
  });
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
    RestartScope restart(env, lp);
    return optimizeWithPresolve(env, lp, method, solveByMethod);
  });
  gp.advind = savedAdvind;
  gp.perind = savedPerind;
  if (status != 0) modelChanged(env, lp, ModelEvent::kReducedProblemAbandoned);
  if (status == 0) guardOptimalResult(env, lp);
  return status;
}

// The automatic choice: primal only to continue from a primal feasible start.
int chooseMethod(Environment *env, Problem *lp) {
  const int chosen = env->generalParams->lpmethod;
  if (chosen == 1 || chosen == 2 || chosen == kNetworkMethod || chosen == methodNumber(LpMethod::kSifting) ||
      chosen == methodNumber(LpMethod::kBarrier))
    return chosen;
  if (chosen != 0) return kDual;  // the concurrent method, on one thread: the dual alone
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

int solveBySimplex(Environment *env, Problem *lp, int method) { return solveProblem(env, lp, method); }

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

QVN_API int QVNsiftopt(QVNCENVptr cenv, QVNLPptr lp) {
  auto *env = const_cast<Environment *>(cenv);
  return guardedProblem(env, lp, [&](Problem *p) { return optimize(env, p, methodNumber(LpMethod::kSifting)); });
}

QVN_API int QVNgetsiftitcnt(QVNCENVptr env, QVNCLPptr lp) {
  return problemValue(env, lp, 0, [](Problem *p) { return p->solution ? p->solution->siftIterations : 0; });
}

QVN_API int QVNgetsiftphase1cnt(QVNCENVptr env, QVNCLPptr lp) {
  return problemValue(env, lp, 0, [](Problem *p) { return p->solution ? p->solution->siftPhase1 : 0; });
}

QVN_API int QVNlpopt(QVNCENVptr cenv, QVNLPptr lp) {
  auto *env = const_cast<Environment *>(cenv);
  return guardedProblem(env, lp, [&](Problem *p) -> int {
    QVN_TRY(checkContinuous(p));
    QVN_TRY(flushCache(env, p));
    const int method = chooseMethod(env, p);
    // The network method is the network stage and then the dual.
    if (method == kNetworkMethod) {
      const int status = QVNhybnetopt(env, p, 'd');
      return status > 0 ? -status : status;
    }
    return optimize(env, p, method);
  });
}

// method 0: crossover by the default; 1 primal, 2 dual, each finished by the
// simplex of its side.
QVN_API int QVNhybbaropt(QVNCENVptr cenv, QVNLPptr lp, int method) {
  auto *env = const_cast<Environment *>(cenv);
  return guardedProblem(env, lp, [&](Problem *p) -> int {
    if (method < 0 || method > 2) return QVNERR_BAD_ARGUMENT;
    if (hasQuadObjType(p->probType) || hasQuadConstrType(p->probType)) return optimizeQuadratic(env, p, method);
    BarrierParams &bp = *env->barrierParams;
    const int saved = bp.barcrossalg;
    bp.barcrossalg = method;
    const int status = optimize(env, p, methodNumber(LpMethod::kBarrier));
    bp.barcrossalg = saved;
    return status;
  });
}

QVN_API int QVNbaropt(QVNCENVptr cenv, QVNLPptr lp) {
  auto *env = const_cast<Environment *>(cenv);
  return guardedProblem(env, lp, [&](Problem *p) {
    if (hasQuadObjType(p->probType) || hasQuadConstrType(p->probType))
      return optimizeQuadratic(env, p, env->barrierParams->barcrossalg);
    return optimize(env, p, methodNumber(LpMethod::kBarrier));
  });
}

} // extern "C"
