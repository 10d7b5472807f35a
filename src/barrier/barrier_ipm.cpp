// The interior point run: the standard form, the symbolic factor, the start
// point, then iterations of predictor, Mehrotra corrector and central
// corrections until the stop test speaks; the log table on the way. A plain
// run that ends without a verdict is repeated in the infeasibility-ratio
// (self-dual) form, whose tau / kappa tells an infeasible or unbounded LP.
#include <algorithm>
#include <chrono>
#include <cmath>

#include "barrier/ipm.h"
#include "runtime/environment.h"
#include "runtime/limit_clock.h"
#include "runtime/params.h"

namespace qvn {

namespace {

constexpr double kLpStepFactor = 0.99995, kQpStepFactor = 0.995, kCarefulStepFactor = 0.99;
constexpr double kLpCap = 1.000050003, kQpCap = 1.005025126;
// An objective constant is large when the objective without it is below this
// share of the objective with it (plus the floor).
constexpr double kShiftShare = 1e-4, kShiftFloor = 1e-4;

struct Run {
  Environment *env;
  const WorkLp &w;
  const BarrierControl &ctl;
  BarrierProblem &p;
  NormalSystem &s;
  LimitClock clock;
  int maxCount = 1;
  int iteration = 0;
};

void printHeading(const Run &run, bool ratio) {
  if (run.ctl.display > 0)
    QVNmsg(run.env->resultsChannel, "\n %3s %15s %15s %9s %9s %9s %9s\n", "Itn", "Primal Obj", "Dual Obj", "Prim Inf",
           "Upper Inf", "Dual Inf", ratio ? "Inf Ratio" : "");
}

void printLine(const Run &run, int k, const BarrierIterate &it) {
  if (run.ctl.display <= 0) return;
  const double sense = run.w.sense, offset = run.w.offset;
  QVNmsg(run.env->resultsChannel, " %3d %15.7e %15.7e %9.2e %9.2e %9.2e", k, sense * it.primalObjective + offset,
         sense * it.dualObjective + offset, it.primalInfeasibility, it.upperInfeasibility, it.dualInfeasibility);
  if (it.useInfRatio)
    QVNmsg(run.env->resultsChannel, " %9.2e\n", it.kappa > 0.0 ? it.tau / it.kappa : 0.0);
  else
    QVNmsg(run.env->resultsChannel, "\n");
}

// Iterates from a fresh start in the chosen form until the stop test speaks.
int iterate(Run &run, BarrierIterate &it, bool useInfRatio) {
  const BarrierProblem &p = run.p;
  const BarrierControl &ctl = run.ctl;
  barrierStartPoint(p, ctl.startRule, run.s, it);
  it.useInfRatio = useInfRatio;
  printHeading(run, useInfRatio);
  StopSettings st;
  st.iterationLimit = ctl.iterationLimit;
  st.timeLimit = ctl.timeLimit;
  st.complementarityTol = ctl.complementarityTol;
  st.objectiveRange = ctl.objectiveRange;
  st.growthLimit = ctl.growthLimit;
  st.noProgressIterations = ctl.noProgressIterations;
  st.display = ctl.display;
  st.sense = run.w.sense;
  st.offset = run.w.offset;
  BarrierHistory history;
  Residuals r;
  Direction step;
  step.size(p.n(), p.m());
  CorrectionControl cc;
  cc.maxCount = run.maxCount;
  cc.cap = p.qpFlag ? kQpCap : kLpCap;
  cc.commonStep = p.qpFlag || useInfRatio;
  double factor = p.qpFlag ? kQpStepFactor : kLpStepFactor;
  if (ctl.numericalEmphasis) factor = kCarefulStepFactor;
  if (ctl.stepFactor > 0.0) factor = ctl.stepFactor;
  const int firstIteration = run.iteration;
  for (;;) {
    computeResiduals(p, it, r);
    printLine(run, run.iteration, it);
    const int status = barrierStopTest(p, it, r, history, st, run.iteration, limitSeconds(run.clock), run.env);
    if (status != 0) return status;
    const auto begin = std::chrono::steady_clock::now();
    run.s.solveSeconds = 0.0;
    run.s.solveFlops = 0.0;
    factorNormal(p, it, run.s);
    cc.iteration = run.iteration - firstIteration;
    predictorCorrector(p, it, r, run.s, cc, step);
    if (ctl.display > 1)
      QVNmsg(run.env->resultsChannel, "Iteration %d did %d central corrections %d vars\n", run.iteration,
             cc.corrections, cc.correctedVars);
    double ap = std::min(1.0, factor * step.ap), ad = std::min(1.0, factor * step.ad);
    if (cc.commonStep) ap = ad = std::min(ap, ad);
    for (int j = 0; j < p.n(); ++j) {
      it.x[j] += ap * step.dx[j];
      if (p.hasL[j]) it.xl[j] += ap * step.dxl[j], it.zl[j] += ad * step.dzl[j];
      if (p.hasU[j]) it.xu[j] += ap * step.dxu[j], it.zu[j] += ad * step.dzu[j];
    }
    for (int i = 0; i < p.m(); ++i) it.y[i] += ad * step.dy[i];
    if (useInfRatio) {
      it.tau += ap * step.dtau;
      it.kappa += ad * step.dkappa;
    }
    ++run.iteration;
    if (ctl.display > 1) {
      const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
      QVNmsg(run.env->resultsChannel, "       %.2fs for iteration (%.2fs, %.0f Mflops for lin. solve)\n", seconds,
             run.s.solveSeconds, run.s.solveFlops / 1e6);
    }
  }
}

// The point of the run in the WorkLp's variables, unscaled, over tau.
void storePoint(const WorkLp &w, const BarrierProblem &p, const BarrierIterate &it, const double *qdiag,
                BarrierResult &out) {
  const double tau = it.tau > 0.0 ? it.tau : 1.0;
  out.x.assign(static_cast<size_t>(w.numTot), 0.0);
  out.z.assign(static_cast<size_t>(w.numTot), 0.0);
  out.y.assign(static_cast<size_t>(p.m()), 0.0);
  for (int j = 0; j < w.numTot; ++j)
    if (w.lower[j] == w.upper[j]) out.x[j] = w.lower[j];
  // x meets its bounds only up to the residual of x - xl = l and x + xu = u:
  // the bounds themselves are exact, so the point is put inside them.
  if (!it.x.empty())
    for (int k = 0; k < p.n(); ++k) {
      const int j = p.var[k];
      out.x[j] = std::min(std::max(it.x[k] * p.colScale[k] / tau, w.lower[j]), w.upper[j]);
    }
  if (!it.y.empty())
    for (int i = 0; i < p.m(); ++i) out.y[i] = it.y[i] * p.rowScale[i] / tau;
  double pobj = 0.0, quad = 0.0;
  for (int j = 0; j < w.numTot; ++j) {
    const double q = qdiag ? qdiag[j] : 0.0;
    out.z[j] = w.cost[j] + q * out.x[j] - columnDot(w, j, out.y.data());
    pobj += w.cost[j] * out.x[j];
    quad += q * out.x[j] * out.x[j];
  }
  out.primalObjective = pobj + 0.5 * quad;
  out.dualObjective = it.dualObjective;
}

} // namespace

void barrierControlFromParams(const Environment *env, BarrierControl &ctl) {
  const BarrierParams &bp = *env->barrierParams;
  ctl.iterationLimit = bp.baritlim;
  ctl.complementarityTol = bp.barepcomp;
  ctl.display = bp.bardisplay;
  ctl.maxCorrections = bp.barmaxcor;
  ctl.startRule = bp.barstartalg;
  ctl.objectiveRange = bp.barobjrng;
  ctl.growthLimit = bp.bargrowth;
  ctl.noProgressIterations = bp.p3023;
  ctl.stepFactor = bp.p3025;
  ctl.numericalEmphasis = env->generalParams->numericalemphasis != 0;
  ctl.timeLimit = env->generalParams->tilim;
}

int barrierRun(Environment *env, const WorkLp &w, const BarrierControl &ctl, BarrierResult &out) {
  const LimitClock clock = startLimitClock(env);
  const auto wallStart = std::chrono::steady_clock::now();
  BarrierProblem p;
  buildBarrierProblem(w, ctl.qdiag, p);
  NormalSystem s;
  // The analysis prints the ordering's lines and the factor's summary itself.
  QVN_TRY(analyseNormal(env, p, s));
  out.factorNonzeros = s.factor.nonzeros;
  out.factorFlops = s.factor.flops;
  out.denseColumns = static_cast<int>(s.factor.dense.columns.size());
  Run run{env, w, ctl, p, s, clock};
  run.maxCount = correctionCount(ctl.maxCorrections, p, s.factor);
  if (ctl.display > 1) QVNmsg(env->resultsChannel, "Max number of central corrections is %d\n", run.maxCount - 1);
  BarrierIterate it;
  int status = 0;
  if (ctl.iterationLimit <= 0) {
    // Stopped before the first factorization: the point is the origin
    // moved onto the nearer bounds.
    status = kBarIterLimit;
  } else {
    const bool selfDualAllowed = !p.qpFlag;
    status = iterate(run, it, selfDualAllowed && ctl.useInfRatio == 1);
    const bool noVerdict = status == kBarNumerical || status == kBarOverflow;
    if (noVerdict && selfDualAllowed && ctl.useInfRatio == -1) status = iterate(run, it, true);
  }
  if (status == kBarOverflow) status = kBarNumerical;
  out.status = status;
  out.iterations = run.iteration;
  out.selfDual = it.useInfRatio;
  storePoint(w, p, it, ctl.qdiag, out);
  if (status == kBarIterLimit && it.x.empty()) {
    for (int j = 0; j < w.numTot; ++j) {
      const double lo = w.lower[j], up = w.upper[j];
      out.x[j] = lo > 0.0 ? lo : (up < 0.0 ? up : 0.0);
      out.z[j] = w.cost[j];
    }
  }
  if (ctl.display > 0) {
    const char *text = nullptr;
    switch (status) {
    case kBarNumerical: text = "Numerical difficulties in barrier algorithm.\n"; break;
    case kBarIterLimit: text = " Barrier iteration limit exceeded.\n"; break;
    case kBarTimeLimit: text = " Barrier time limit exceeded.\n"; break;
    case kBarFaceUnbounded: text = " Barrier detects unbounded optimal face.\n"; break;
    case kBarPrimalObjLimit: text = " Barrier limit on primal objective exceeded.\n"; break;
    case kBarDualObjLimit: text = " Barrier limit on dual objective exceeded.\n"; break;
    default: break;
    }
    if (text) QVNmsg(env->resultsChannel, "%s", text);
    // The stop test measures the gap relative to the objective without its
    // constant: when the constant dwarfs the rest, the same relative gap is
    // a far smaller share of the objective the caller sees, and an optimum
    // by the test may still be loose in the digits the caller reads.
    const double own = std::fabs(out.primalObjective), shown = std::fabs(w.sense * out.primalObjective + w.offset);
    if (status == kBarOptimal && own + kShiftFloor < kShiftShare * shown)
      QVNmsg(env->warningChannel, "\nWarning:  Barrier optimality criterion affected by large objective shift.\n");
    QVNmsg(env->resultsChannel, "Barrier time = %7.2f sec.\n",
           std::chrono::duration<double>(std::chrono::steady_clock::now() - wallStart).count());
  }
  return 0;
}

} // namespace qvn
