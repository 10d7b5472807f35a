// Presolve around a continuous optimizer: decide, presolve, solve the reduced
// problem with the same method, carry solution and basis back, and finish
// with the primal loop on the original problem from that basis.
#include <chrono>

#include "model/attachments.h"
#include "presolve/presolve_state.h"
#include "runtime/environment.h"

namespace qvn {

namespace {

bool isFinal(int status) { return status == 1 || status == 2 || status == 3 || status == 5; }

// A basis, or a primal or dual start vector: a start that presolve would lose.
bool holdsStart(const Problem *lp) {
  const BasisData *b = lp->basisData;
  return b && (!b->colStatus.empty() || !b->primalStart.empty() || !b->dualStart.empty());
}

// A proof of infeasibility by primal reductions alone leaves a status and no
// solution. An argument by dual reductions shows only that no optimum exists,
// not whether a feasible point does, so those verdicts go to the loops.
void storeInfeasible(Environment *env, Problem *lp) {
  modelChanged(env, lp, ModelEvent::kReducedProblemAbandoned);
  lp->status = 3;
}

// The solution and basis that a solve left on the reduced problem.
ReducedSolution solutionOf(const Problem *red) {
  ReducedSolution in;
  if (red && red->solution) {
    in.x = red->solution->x.data();
    in.pi = red->solution->pi.data();
    in.dj = red->solution->dj.data();
  }
  if (red && red->basisData) {
    in.colStatus = red->basisData->colStatus.data();
    in.rowStatus = red->basisData->rowStatus.data();
  }
  return in;
}

// Puts the uncrushed solution and basis on the original problem.
void installUncrushed(Problem *lp, const PresolveState &s, const ReducedSolution &in, int status) {
  const int n = s.numCols, m = s.numRows;
  if (!lp->basisData) lp->basisData = envNew<BasisData>();
  if (!lp->solution) lp->solution = envNew<SolutionBlock>();
  BasisData &b = *lp->basisData;
  SolutionBlock &sol = *lp->solution;
  b.colStatus.assign(static_cast<size_t>(n), 0);
  b.rowStatus.assign(static_cast<size_t>(m), 1);
  sol.x.assign(static_cast<size_t>(n), 0.0);
  sol.dj.assign(static_cast<size_t>(n), 0.0);
  sol.pi.assign(static_cast<size_t>(m), 0.0);
  sol.slack.assign(static_cast<size_t>(m), 0.0);
  OriginalSolution out{sol.x.data(), sol.slack.data(), sol.pi.data(), sol.dj.data(), b.colStatus.data(),
                       b.rowStatus.data()};
  uncrush(lp, s, in, out);
  const LpData &d = *lp->lpData;
  double obj = d.objOffset;
  for (int j = 0; j < n; ++j) obj += d.objCoef[j] * sol.x[j];
  for (int i = 0; i < m; ++i) sol.slack[i] = d.rhs[i] - sol.slack[i];
  sol.objValue = obj;
  sol.primalComputed = sol.dualComputed = true;
  lp->status = status;
}

} // namespace

int optimizeWithPresolve(Environment *env, Problem *lp, int method, SolveProblemFn solve) {
  GeneralParams &gp = *env->generalParams;
  if (lp->presolved && (gp.preind == 0 || !presolveParamsMatch(env, *lp->presolved))) dropPresolveResult(lp);
  const bool skip = gp.preind == 0 || (gp.advind == 2 && gp.predual == 1) || (gp.advind == 1 && holdsStart(lp));
  if (skip) {
    dropPresolveResult(lp);
    return solve(env, lp, method);
  }
  const auto start = std::chrono::steady_clock::now();
  if (!lp->presolved || !lp->presolved->ran) {
    const int savedPredual = gp.predual;
    if (gp.advind == 2 && holdsStart(lp)) gp.predual = -1;
    const int status = runPresolve(env, lp, true, method);
    gp.predual = savedPredual;
    if (status == QVNERR_NO_MEMORY) {
      QVNmsg(env->resultsChannel, "Insufficient memory for presolve.\n");
      dropPresolveResult(lp);
      return solve(env, lp, method);
    }
    if (status == QVNERR_PRESLV_INF) {
      dropPresolveResult(lp);
      storeInfeasible(env, lp);
      return 0;
    }
    if (status == QVNERR_PRESLV_INForUNBD || status == QVNERR_PRESLV_UNBD) {
      // Presolve cannot tell which; the loops on the whole problem can.
      dropPresolveResult(lp);
      return solve(env, lp, method);
    }
    if (status != 0) {
      dropPresolveResult(lp);
      return status;
    }
  }
  if (gp.simdisplay != 0)
    QVNmsg(env->resultsChannel, "Presolve time = %7.2f sec.\n",
           std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
  PresolveState &s = *lp->presolved;
  if (s.nothingDone) return solve(env, lp, method);

  int iterations = 0, phase1 = 0, siftRounds = 0, siftPhase1 = 0, barrierIterations = 0;
  CrossoverCounts crossover;
  Problem *red = s.reduced;
  int status = 1;
  ReducedSolution in;
  PrimalOfDual fromDual;
  bool solved = false;
  if (s.dualized) {
    // The primal loop on the dual is the dual loop on the primal, and back.
    Problem *dual = s.dualProblem;
    const int onDual = method == methodNumber(LpMethod::kPrimal) ? methodNumber(LpMethod::kDual)
                       : method == methodNumber(LpMethod::kDual) ? methodNumber(LpMethod::kPrimal)
                                                                 : method;
    QVN_TRY(solve(env, dual, onDual));
    if (dual->solution) {
      iterations = dual->solution->iterationCount, phase1 = dual->solution->phase1Count;
      barrierIterations = dual->solution->barrierIterations;
      crossover = dual->solution->crossover;
    }
    if (dual->status == 1 && dual->solution && dual->basisData) {
      primalFromDual(s, dual, fromDual);
      in.x = fromDual.x.data();
      in.pi = fromDual.pi.data();
      in.dj = fromDual.dj.data();
      in.colStatus = fromDual.colStatus.data();
      in.rowStatus = fromDual.rowStatus.data();
      solved = true;
    } else if (dual->status == 10 || dual->status == 11 || dual->status == 13) {
      status = dual->status;  // a limit or the user stopped the run: no point to carry back
      solved = true;
    }
    // Otherwise the reduced problem itself tells infeasible from unbounded.
  }
  if (red && !solved) {
    QVN_TRY(solve(env, red, method));
    status = red->status;
    if (red->solution) {
      iterations += red->solution->iterationCount, phase1 += red->solution->phase1Count;
      siftRounds = red->solution->siftIterations, siftPhase1 = red->solution->siftPhase1;
      barrierIterations += red->solution->barrierIterations;
      crossover = red->solution->crossover;
    }
    in = solutionOf(red);
  }
  modelChanged(env, lp, method == methodNumber(LpMethod::kPrimal) ? ModelEvent::kPrimalDriverBegins : ModelEvent::kDualDriverBegins);
  installUncrushed(lp, s, in, status);
  // A barrier point without crossover is the answer as it stands: no basis
  // exists for a clean-up to start from.
  const bool interiorAnswer = method == methodNumber(LpMethod::kBarrier) && env->barrierParams->barcrossalg == -1;
  if (!isFinal(status) || interiorAnswer) {
    lp->solution->iterationCount = iterations;
    lp->solution->phase1Count = phase1;
    lp->solution->barrierIterations = barrierIterations;
    lp->solution->crossover = crossover;
    lp->solution->method = method;
    return 0;
  }
  // Clean-up on the original problem from the carried basis.
  const int savedAdvind = gp.advind, savedPerind = gp.perind;
  gp.advind = 1;
  gp.perind = 0;
  const int cleanup = solve(env, lp, methodNumber(LpMethod::kPrimal));
  gp.advind = savedAdvind;
  gp.perind = savedPerind;
  QVN_TRY(cleanup);
  if (lp->solution) {
    lp->solution->iterationCount += iterations;
    lp->solution->phase1Count += phase1;
    lp->solution->siftIterations = siftRounds;
    lp->solution->siftPhase1 = siftPhase1;
    lp->solution->barrierIterations = barrierIterations;
    lp->solution->crossover = crossover;
    lp->solution->method = method;
  }
  return 0;
}

} // namespace qvn
