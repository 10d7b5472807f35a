// The crossover step of a barrier solve: crash, the two push phases in the
// order the kind asks for, the basis handed to the simplex that finishes, and
// the counters with their getters.
#include <algorithm>
#include <cmath>

#include "barrier/crossover.h"
#include "model/attachments.h"
#include "runtime/environment.h"
#include "runtime/params.h"

namespace qvn {

namespace {

constexpr double kElapsedLineSeconds = 10.0;

double secondsSince(std::chrono::steady_clock::time_point t) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - t).count();
}

// The crossed basis as status codes into lp's basis block. A superbasic that
// could not be pushed is given its nearer bound, where the simplex puts it.
void storeCrossedBasis(const CrossoverWork &cw, Problem *lp) {
  const SimplexEngine &e = cw.e;
  if (!lp->basisData) lp->basisData = envNew<BasisData>();
  BasisData &b = *lp->basisData;
  b.colStatus.assign(static_cast<size_t>(std::max(e.n, 1)), 0);
  b.rowStatus.assign(static_cast<size_t>(std::max(e.m, 1)), 1);
  b.norms.clear();
  b.normHead.clear();
  b.primalNorms.clear();
  extractStatuses(e, b.colStatus.data(), b.rowStatus.data());
  for (int j = 0; j < e.nt; ++j) {
    if (e.basicPos[j] >= 0 || e.move[j] != kAtZero) continue;
    const double l = e.lower[j], u = e.upper[j], x = e.x[j];
    if (l <= -kInfinity && u >= kInfinity) continue;
    const int s = (l > -kInfinity && (u >= kInfinity || x - l <= u - x)) ? 0 : 2;
    if (j < e.n)
      b.colStatus[j] = s;
    else
      b.rowStatus[j - e.n] = s;
  }
}

// Crash and both phases; the basis goes to lp. A failure of memory leaves lp's
// basis as it was and is no error: the simplex starts from that basis.
int crossBasis(Environment *env, Problem *lp, const WorkLp &w, const BarrierResult &r, bool dualFirst,
               CrossoverCounts &counts, int &stopStatus) {
  // A point the interior iteration lost to overflow gives no basis to cross
  // to: the simplex starts from the basis lp holds.
  auto finite = [](const EnvVector<double> &v) {
    return std::all_of(v.begin(), v.end(), [](double a) { return std::isfinite(a); });
  };
  if (!finite(r.x) || !finite(r.y) || !finite(r.z)) return 0;
  try {
    CrossoverWork cw;
    cw.began = cw.lastElapsedLine = std::chrono::steady_clock::now();
    cw.log = env->generalParams->simdisplay > 0;
    cw.primalFirst = !dualFirst;
    QVN_TRY(crossoverCrash(cw, env, w, r));
    if (cw.log) QVNmsg(env->resultsChannel, dualFirst ? "\nDual crossover.\n" : "\nPrimal crossover.\n");
    if (dualFirst) {
      QVN_TRY(dualPushes(cw));
      if (!cw.stopStatus) QVN_TRY(crossoverRefactor(cw));
      if (!cw.stopStatus) QVN_TRY(primalPushes(cw));
    } else {
      QVN_TRY(primalPushes(cw));
      if (!cw.stopStatus) QVN_TRY(crossoverRefactor(cw));
      if (!cw.stopStatus) QVN_TRY(dualPushes(cw));
    }
    counts = cw.counts;
    stopStatus = cw.stopStatus;
    if (!stopStatus) storeCrossedBasis(cw, lp);
  } catch (const std::bad_alloc &) {
    QVNmsg(env->resultsChannel, "Not enough memory for standard crossover.\n");
  }
  return 0;
}

} // namespace

int crossoverRefactor(CrossoverWork &cw) {
  SimplexEngine &e = cw.e;
  QVN_TRY(refactor(e));
  computePrimal(e);
  // The reduced costs afresh from y: the pushes update them by rows and let
  // rounding gather.
  for (int j = 0; j < e.nt; ++j) cw.z[j] = e.lp->cost[j] - columnDot(*e.lp, j, cw.y.data());
  return 0;
}

bool crossoverLimitHit(CrossoverWork &cw) {
  const SimplexEngine &e = cw.e;
  const int moves = cw.counts.primalPushes + cw.counts.primalExchanges + cw.counts.dualPushes +
                    cw.counts.dualExchanges;
  if (moves >= e.iterationLimit)
    cw.stopStatus = kRunIterLimit;
  else if (terminateRequested(e.env))
    cw.stopStatus = kRunAborted;
  else if (e.timeLimit < 1e74 && moves % 10 == 0 && secondsSince(cw.began) > e.timeLimit)
    cw.stopStatus = kRunTimeLimit;
  return cw.stopStatus != 0;
}

void crossoverElapsedLine(CrossoverWork &cw, const char *what) {
  if (!cw.log || secondsSince(cw.lastElapsedLine) < kElapsedLineSeconds) return;
  cw.lastElapsedLine = std::chrono::steady_clock::now();
  QVNmsg(cw.e.env->resultsChannel, "   Elapsed crossover time = %7.2f sec. (%d %s)\n", secondsSince(cw.began),
         cw.moves, what);
}

double primalInfeasibilitySum(const SimplexEngine &e) {
  double sum = 0.0;
  for (int k = 0; k < e.m; ++k) {
    const int j = e.head[k];
    sum += std::max(std::max(e.lower[j] - e.x[j], e.x[j] - e.upper[j]), 0.0);
  }
  return sum;
}

int crossoverSolve(Environment *env, Problem *lp, const WorkLp &w, BarrierResult &r, int kind, SimplexSolveFn simplex,
                   bool &crossed) {
  crossed = false;
  const auto began = std::chrono::steady_clock::now();
  // The automatic choice is the primal crossover: it keeps the point's primal
  // feasibility, which the primal simplex then finishes from.
  const bool dualFirst = kind == static_cast<int>(CrossoverKind::kDual);
  CrossoverCounts counts;
  int stopStatus = 0;
  QVN_TRY(crossBasis(env, lp, w, r, dualFirst, counts, stopStatus));
  if (stopStatus) {
    r.status = stopStatus;
    if (!lp->solution) lp->solution = envNew<SolutionBlock>();
    lp->solution->crossover = counts;
    return 0;
  }
  GeneralParams &gp = *env->generalParams;
  const int savedAdvind = gp.advind;
  gp.advind = 1;
  const int status = simplex(env, lp, methodNumber(dualFirst ? LpMethod::kDual : LpMethod::kPrimal));
  gp.advind = savedAdvind;
  QVN_TRY(status);
  if (!lp->solution) return 0;
  lp->solution->crossover = counts;
  if (gp.simdisplay > 0 || env->barrierParams->bardisplay > 0)
    QVNmsg(env->resultsChannel, "Total crossover time = %7.2f sec.\n", secondsSince(began));
  crossed = true;
  return 0;
}

} // namespace qvn

using namespace qvn;

namespace {

template <class Pick> int crossoverCount(QVNCENVptr env, QVNCLPptr lp, Pick pick) {
  return problemValue(env, lp, 0, [&](Problem *p) { return p->solution ? pick(p->solution->crossover) : 0; });
}

} // namespace

extern "C" {

QVN_API int QVNgetcrossppushcnt(QVNCENVptr env, QVNCLPptr lp) {
  return crossoverCount(env, lp, [](const CrossoverCounts &c) { return c.primalPushes; });
}

QVN_API int QVNgetcrosspexchcnt(QVNCENVptr env, QVNCLPptr lp) {
  return crossoverCount(env, lp, [](const CrossoverCounts &c) { return c.primalExchanges; });
}

QVN_API int QVNgetcrossdpushcnt(QVNCENVptr env, QVNCLPptr lp) {
  return crossoverCount(env, lp, [](const CrossoverCounts &c) { return c.dualPushes; });
}

QVN_API int QVNgetcrossdexchcnt(QVNCENVptr env, QVNCLPptr lp) {
  return crossoverCount(env, lp, [](const CrossoverCounts &c) { return c.dualExchanges; });
}

} // extern "C"
