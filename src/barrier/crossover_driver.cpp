// The crossover step of a barrier solve: crash, the two push phases in the
// order the kind asks for, the basis handed to the simplex that finishes, and
// the counters with their getters.
#include <algorithm>
#include <cmath>

#include "barrier/crossover.h"
#include "model/attachments.h"
#include "runtime/environment.h"
#include "runtime/params.h"
#include "simplex/scaling.h"

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

// The computational form scaled as the simplex scales it, and the interior
// point in those units: x' = x c, z' = z / c for a structural of column
// factor c (a logical of row factor r: x' = x / r, z' = z r), y' = y r.
void scaleCrossoverPoint(const Environment *env, const WorkLp &w, const BarrierResult &r, WorkLp &scaled,
                         BarrierResult &point) {
  point.x.assign(r.x.begin(), r.x.end());
  point.y.assign(r.y.begin(), r.y.end());
  point.z.assign(r.z.begin(), r.z.end());
  ScaleFactors sf;
  computeScaling(w, env->generalParams->scaind, sf);
  if (sf.kind < 0) return;
  applyScaling(scaled, sf);
  const int n = w.numCol;
  for (int j = 0; j < w.numTot; ++j) {
    const double s = j < n ? sf.colScale[j] : 1.0 / sf.rowScale[j - n];
    point.x[j] *= s;
    point.z[j] /= s;
  }
  for (int i = 0; i < w.numRow && i < static_cast<int>(point.y.size()); ++i) point.y[i] *= sf.rowScale[i];
}

// Crash and both phases in the order asked for, on the scaled copy.
int crossPhases(CrossoverWork &cw, Environment *env, const WorkLp &scaled, const BarrierResult &point, bool dualFirst) {
  cw.began = cw.lastElapsedLine = std::chrono::steady_clock::now();
  cw.log = env->generalParams->simdisplay > 0;
  cw.primalFirst = !dualFirst;
  QVN_TRY(crossoverCrash(cw, env, scaled, point));
  if (cw.log) QVNmsg(env->resultsChannel, dualFirst ? "\nDual crossover.\n" : "\nPrimal crossover.\n");
  if (dualFirst) {
    QVN_TRY(dualPushes(cw));
    if (!cw.stopStatus) QVN_TRY(crossoverRefactor(cw));
    if (!cw.stopStatus && !cw.dualOnly) QVN_TRY(primalPushes(cw));
  } else {
    QVN_TRY(primalPushes(cw));
    if (cw.breakdown) return 0;
    if (!cw.stopStatus) QVN_TRY(crossoverRefactor(cw));
    if (!cw.stopStatus) QVN_TRY(dualPushes(cw));
  }
  return 0;
}

// Crash and both phases; the basis goes to lp, and `dualFirst` tells on
// return which crossover gave it (and so which simplex finishes). A primal
// crossover whose pushes break the basis down starts again as a dual one:
// its dual pushes keep the basis near the point's optimal face and the dual
// simplex that finishes is not hurt by the primal infeasibility left. A
// failure of memory, or a basis that the factor cannot repair, leaves lp's
// basis as it was and is no error: the simplex starts from that basis.
int crossBasis(Environment *env, Problem *lp, const WorkLp &w, const BarrierResult &r, bool &dualFirst,
               CrossoverCounts &counts, int &stopStatus) {
  // A point the interior iteration lost to overflow gives no basis to cross
  // to: the simplex starts from the basis lp holds.
  auto finite = [](const EnvVector<double> &v) {
    return std::all_of(v.begin(), v.end(), [](double a) { return std::isfinite(a); });
  };
  if (!finite(r.x) || !finite(r.y) || !finite(r.z)) return 0;
  try {
    // The primal moves run on the copy the simplex would scale to: their
    // pivot and bound tolerances mean the same there as in the simplex that
    // finishes, and on a badly scaled model (pilot87) exchanges judged on
    // the raw numbers take pivots that leave the basis ill-conditioned; the
    // dual crossover that follows a breakdown stays there too (pilot4 needs
    // one pivot after it, against hundreds on the raw numbers). A dual
    // crossover asked for by name runs on the model's own units, to which
    // its snap to the bounds is tuned (boeing2 leaves a third of the pivots
    // there). The basis statuses carry over unchanged.
    WorkLp scaled;
    BarrierResult point;
    if (!dualFirst) {
      scaled = w;
      scaleCrossoverPoint(env, w, r, scaled, point);
    }
    // At most three tries: as asked; after a primal breakdown the dual
    // crossover on the scaled copy; after a breakdown of the primal pushes
    // that follow dual ones, the same dual crossover without them: the dual
    // simplex takes the superbasics at their nearer bounds from a basis that
    // is still sound.
    CrossoverWork tries[3];
    const bool scaledRun = !dualFirst;
    int status = 0, at = 0;
    for (;; ++at) {
      CrossoverWork &t = tries[at];
      if (at > 0) {
        const CrossoverWork &before = tries[at - 1];
        t.counts = before.counts;
        t.dualOnly = dualFirst;
        if (before.log)
          QVNmsg(env->resultsChannel, dualFirst ? "  Primal:  Basis ill-conditioned; crossing over by the dual side alone.\n"
                                                : "  Primal:  Basis ill-conditioned; crossing over from the dual side.\n");
        dualFirst = true;
      }
      status = crossPhases(t, env, scaledRun ? scaled : w, scaledRun ? point : r, dualFirst);
      if (status != 0 || !t.breakdown || t.dualOnly || at == 2) break;
    }
    CrossoverWork *cw = &tries[at];
    counts = cw->counts;
    if (status != 0) return status == QVNERR_NO_MEMORY ? status : 0;
    stopStatus = cw->stopStatus;
    if (!stopStatus) storeCrossedBasis(*cw, lp);
  } catch (const std::bad_alloc &) {
    QVNmsg(env->resultsChannel, "Not enough memory for standard crossover.\n");
  }
  return 0;
}

} // namespace

int crossoverRefactor(CrossoverWork &cw) {
  SimplexEngine &e = cw.e;
  // The values the moves kept up to date, set against those of the fresh
  // factor: a wide disagreement shows a basis too ill-conditioned to go on.
  cw.kept.assign(e.x.begin(), e.x.end());
  QVN_TRY(refactor(e));
  computePrimal(e);
  cw.drift = 0.0;
  for (int k = 0; k < e.m; ++k) {
    const int j = e.head[k];
    cw.drift = std::max(cw.drift, std::fabs(e.x[j] - cw.kept[j]) / (1.0 + std::fabs(e.x[j])));
  }
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
  else if (e.timeLimit < 1e74 && moves % 10 == 0 && limitSeconds(e.limitClock) > e.timeLimit)
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
  bool dualFirst = kind == static_cast<int>(CrossoverKind::kDual);
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
