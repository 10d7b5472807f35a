// The barrier's driver on one problem: the interior point run on the
// computational form, then either its point as the answer or a crossover
// basis from it that the primal simplex finishes.
#include <algorithm>
#include <cmath>

#include "barrier/barrier.h"
#include "barrier/crossover.h"
#include "runtime/environment.h"
#include "runtime/params.h"

namespace qvn {

void crossoverBasis(const WorkLp &w, const BarrierResult &r, int *colStatus, int *rowStatus) {
  const int nt = w.numTot;
  EnvVector<double> score(static_cast<size_t>(nt), -1.0);
  EnvVector<int> order(static_cast<size_t>(nt), 0);
  for (int j = 0; j < nt; ++j) {
    order[j] = j;
    if (w.lower[j] == w.upper[j]) continue;
    const double below = w.lower[j] > -kInfinity ? r.x[j] - w.lower[j] : 1e30;
    const double above = w.upper[j] < kInfinity ? w.upper[j] - r.x[j] : 1e30;
    const double dist = std::max(std::min(below, above), 0.0);
    score[j] = dist / (std::fabs(r.z[j]) + 1e-12);
  }
  // Logicals first among equals: a slack basis is the easiest to factor.
  std::stable_sort(order.begin(), order.end(), [&](int a, int b) {
    if (score[a] != score[b]) return score[a] > score[b];
    return a >= w.numCol && b < w.numCol;
  });
  EnvVector<char> basic(static_cast<size_t>(nt), 0);
  // Only variables clearly off their bounds (distance above the reduced cost)
  // are taken; the factor fills the rest with logicals, which keeps the
  // start from depending on degenerate choices that a repair would undo.
  for (int k = 0; k < w.numRow && k < nt; ++k)
    if (score[order[k]] > 1.0) basic[order[k]] = 1;
  for (int j = 0; j < nt; ++j) {
    int s;
    if (basic[j]) {
      s = 1;
    } else {
      const bool hasL = w.lower[j] > -kInfinity, hasU = w.upper[j] < kInfinity;
      if (!hasL && !hasU)
        s = 3;
      else if (hasL && (!hasU || r.x[j] - w.lower[j] <= w.upper[j] - r.x[j]))
        s = 0;
      else
        s = 2;
    }
    if (j < w.numCol)
      colStatus[j] = s;
    else
      rowStatus[j - w.numCol] = s;
  }
}

namespace {

// The interior point itself as the answer, in the caller's units and sense.
void storeBarrierPoint(Problem *lp, const WorkLp &w, const BarrierResult &r) {
  const LpData &d = *lp->lpData;
  if (!lp->solution) lp->solution = envNew<SolutionBlock>();
  SolutionBlock &s = *lp->solution;
  const int n = w.numCol, m = w.numRow;
  s.x.assign(r.x.begin(), r.x.begin() + n);
  s.dj.resize(static_cast<size_t>(n));
  for (int j = 0; j < n; ++j) s.dj[j] = w.sense * r.z[j];
  s.slack.resize(static_cast<size_t>(m));
  s.pi.resize(static_cast<size_t>(m));
  for (int i = 0; i < m; ++i) {
    s.slack[i] = d.rhs[i] - r.x[n + i];
    s.pi[i] = w.sense * r.y[i];
  }
  s.objValue = w.sense * r.primalObjective + w.offset;
  s.iterationCount = 0;
  s.phase1Count = 0;
  s.primalComputed = s.dualComputed = true;
  s.primalFeasible = s.dualFeasible = r.status == kBarOptimal;
  lp->status = r.status;
}

} // namespace

int barrierSolveProblem(Environment *env, Problem *lp, int crossover, SimplexSolveFn simplex) {
  WorkLp w;
  buildWorkLp(*lp->lpData, w);
  BarrierControl ctl;
  barrierControlFromParams(env, ctl);
  BarrierResult r;
  QVN_TRY(barrierRun(env, w, ctl, r));
  // The crossover basis is kept either way: the presolve's clean-up and any
  // later simplex start from it.
  if (!lp->basisData) lp->basisData = envNew<BasisData>();
  BasisData &b = *lp->basisData;
  b.colStatus.assign(static_cast<size_t>(std::max(w.numCol, 1)), 0);
  b.rowStatus.assign(static_cast<size_t>(std::max(w.numRow, 1)), 1);
  b.norms.clear();
  b.normHead.clear();
  b.primalNorms.clear();
  crossoverBasis(w, r, b.colStatus.data(), b.rowStatus.data());
  // A proof of infeasibility or unboundedness, or an objective limit, has no
  // optimal point to cross over from.
  const bool stopped = r.status == kBarIterLimit || r.status == kBarTimeLimit || r.status == kBarAborted ||
                       r.status == kBarInfeasible || r.status == kBarUnbounded || r.status == kBarPrimalObjLimit ||
                       r.status == kBarDualObjLimit;
  bool crossed = false;
  if (crossover != -1 && !stopped) QVN_TRY(crossoverSolve(env, lp, w, r, crossover, simplex, crossed));
  if (!crossed) storeBarrierPoint(lp, w, r);
  if (lp->solution) {
    lp->solution->method = methodNumber(LpMethod::kBarrier);
    lp->solution->barrierIterations = r.iterations;
  }
  return 0;
}

} // namespace qvn
