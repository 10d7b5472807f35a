// The barrier's stop test, in a fixed order: limits, optimality in the plain
// and in the general form, the infeasibility-ratio form, objective limits,
// overflow and the termination flag; and the ray test that turns a stalled
// or diverging point into a proof of infeasibility or unboundedness.
#include <algorithm>
#include <cmath>

#include "barrier/ipm.h"
#include "runtime/progress_callback.h"
#include "runtime/environment.h"

namespace qvn {

namespace {

constexpr double kFeasTol = 1e-8;       // relative residuals of an optimal point
constexpr double kLooseFeasTol = 1e-6;  // the same, scaled, when the gap is closed
constexpr double kOverflowObjective = 1e76, kOverflowNorm = 1e75;
constexpr double kRatioOverflow = 1e150;
// Below this tau / kappa the point is offered to the ray test each
// iteration; only a proof on the data ends the run.
constexpr double kRatioProofStart = 1e-4;
// A Farkas vector or a ray is taken only when what it gains beats, by this
// factor, what it loses to entries of the wrong sign (each one would have
// to be offset by a value this far beyond the data), and beats rounding.
constexpr double kRayFactor = 1e10;
constexpr double kRoundingMargin = 1e-12;

double ratioOf(double now, double before) { return before > 0.0 ? now / before : 0.0; }

double maxAbs(const EnvVector<double> &v) {
  double s = 0.0;
  for (double a : v) s = std::max(s, std::fabs(a));
  return s;
}

// y (with the bound duals implied by it) proves that no x in the bounds
// meets A x = b: b'y exceeds the largest y'A x over the box.
bool farkasCertificate(const BarrierProblem &p, const EnvVector<double> &y) {
  const double ny = maxAbs(y);
  if (!(ny > 0.0) || !std::isfinite(ny)) return false;
  double by = 0.0, most = 0.0, size = 0.0, leak = 0.0;
  for (int i = 0; i < p.m(); ++i) by += p.b[i] * y[i] / ny, size += std::fabs(p.b[i] * y[i] / ny);
  for (int j = 0; j < p.n(); ++j) {
    const double s = p.columnDot(j, y.data()) / ny;
    if (s > 0) {
      if (!p.hasU[j]) {
        leak += s;
        continue;
      }
      most += s * p.up[j], size += std::fabs(s * p.up[j]);
    } else if (s < 0) {
      if (!p.hasL[j]) {
        leak -= s;
        continue;
      }
      most += s * p.lo[j], size += std::fabs(s * p.lo[j]);
    }
  }
  const double margin = by - most;
  return margin > kRayFactor * leak && margin > kRoundingMargin * (1.0 + size);
}

// x / |x| is a direction of the bounds' recession cone with A d = 0, Q d = 0
// and c'd < 0.
bool primalRay(const BarrierProblem &p, const EnvVector<double> &x) {
  const double nx = maxAbs(x);
  if (!(nx > 0.0) || !std::isfinite(nx)) return false;
  double cd = 0.0, size = 0.0, leak = 0.0;
  for (int j = 0; j < p.n(); ++j) {
    const double d = x[j] / nx;
    if ((d > 0 && p.hasU[j]) || (d < 0 && p.hasL[j])) leak += std::fabs(d);
    if (p.qdiag[j] != 0.0) leak += std::fabs(p.qdiag[j] * d);
    cd += p.c[j] * d, size += std::fabs(p.c[j] * d);
  }
  EnvVector<double> ad(static_cast<size_t>(p.m()), 0.0);
  EnvVector<double> dir(x);
  for (double &v : dir) v /= nx;
  p.times(dir.data(), ad.data());
  leak += maxAbs(ad);
  return -cd > kRayFactor * leak && -cd > kRoundingMargin * (1.0 + size);
}

} // namespace

void BarrierHistory::push(double c, double g, double p, double d, double r) {
  const int at = count % kRing;
  comp[at] = c, gap[at] = g, pinf[at] = p, dinf[at] = d;
  ratio[count % kRatioRing] = r;
  ++count;
}

int barrierRayTest(const BarrierProblem &p, const BarrierIterate &it) {
  if (farkasCertificate(p, it.y)) return kBarInfeasible;
  if (primalRay(p, it.x)) return kBarUnbounded;
  const double size = std::max(maxAbs(it.x), maxAbs(it.y));
  if (size > 1e30 || !std::isfinite(size)) return kBarNumerical;
  return 0;
}

int barrierStopTest(const BarrierProblem &p, BarrierIterate &it, const Residuals &r, BarrierHistory &h,
                    const StopSettings &st, int k, double seconds, Environment *env) {
  (void)r;
  const double e = st.complementarityTol;
  const double tau = it.tau;
  const double comp = (it.complementarity - (it.useInfRatio ? it.tau * it.kappa : 0.0)) / (tau * tau);
  const double pobj = it.primalObjective, dobj = it.dualObjective;
  const double gap = pobj - dobj;
  // Relative to the objective both as the run sees it and as the caller
  // does, whichever is smaller: a constant that presolve or the caller moved
  // out of the objective must not loosen the test in either direction.
  const double pScale = 1.0 + std::min(std::fabs(pobj), std::fabs(st.sense * pobj + st.offset));
  const double dScale = 1.0 + std::min(std::fabs(dobj), std::fabs(st.sense * dobj + st.offset));
  auto rel = [&](double a) { return std::fabs(a) / pScale; };
  const double relGapDual = std::fabs(gap) / dScale;
  const double ratio = it.useInfRatio && it.kappa > 0.0 ? it.tau / it.kappa : 0.0;
  // Values of 20 (10) iterations ago, before this one enters the rings.
  const bool full = h.count >= BarrierHistory::kRing;
  const int old = h.count % BarrierHistory::kRing;
  const double compRatio = full ? ratioOf(comp, h.comp[old]) : 0.0;
  const double gapRatio = full ? ratioOf(std::fabs(gap), h.gap[old]) : 0.0;
  const double pinfRatio = full ? ratioOf(it.relPrimal, h.pinf[old]) : 0.0;
  const double dinfRatio = full ? ratioOf(it.relDual, h.dinf[old]) : 0.0;
  const bool ratioFull = h.count >= BarrierHistory::kRatioRing;
  const double ratioAgo = ratioFull ? h.ratio[h.count % BarrierHistory::kRatioRing] : -1.0;
  h.push(comp, std::fabs(gap), it.relPrimal, it.relDual, ratio);
  const bool feasible = it.relPrimalUnscaled < kFeasTol && it.relDualUnscaled < kFeasTol;

  // 1. Limits.
  if (k >= st.iterationLimit) return kBarIterLimit;
  if (seconds > st.timeLimit) return kBarTimeLimit;
  const bool stalled = k >= st.noProgressIterations && full;
  if (!it.useInfRatio) {
    if ((p.kind & 1u) == 0) {
      // 2. The plain form: no upper bounds.
      if (rel(comp) < e && it.relPrimal < e && it.relDual < e && feasible) return kBarOptimal;
      if (it.relPrimal < kFeasTol && it.relDual < kFeasTol && relGapDual < e && feasible) return kBarOptimal;
      if (stalled && std::max(pinfRatio, dinfRatio) > 0.99 && gapRatio > 0.99) return kBarNumerical;
    } else {
      // 3. The general form: the no-progress test on what is in use.
      const bool primalOpen = it.relPrimal > kFeasTol, dualOpen = it.relDual > kFeasTol;
      if (stalled) {
        bool noProgress = compRatio > 0.99 && gapRatio > 0.99;
        if (primalOpen) noProgress = noProgress && pinfRatio > 0.9;
        if (dualOpen) noProgress = noProgress && dinfRatio > 0.9;
        if (noProgress) return kBarNumerical;
      }
      // A quadratic objective's gap is its complementarity once the
      // residuals are closed; a small pobj - dobj with the complementarity
      // still open means the residual terms cancel it, and the point is
      // not yet that close to the optimum.
      if (rel(comp) >= e && !(p.qpFlag && rel(comp) >= 50 * e)) {
        if (rel(gap) < 50 * e && feasible) return kBarOptimal;
        if (rel(gap) < 50 * e && it.relPrimal < kLooseFeasTol && it.relDual < kLooseFeasTol && feasible)
          return kBarOptimal;
      } else {
        if ((rel(gap) < e || relGapDual < e) && feasible) return kBarOptimal;
        double normX = 0.0;
        for (double v : it.x) normX = std::max(normX, std::fabs(v));
        double scale = 1.0;
        for (double v : p.b) scale = std::max(scale, std::fabs(v));
        if (comp < 1.0 && std::fabs(gap) < 1.0 && (1.0 + normX) / scale >= st.growthLimit)
          return kBarFaceUnbounded;
      }
    }
    // A gap that stays open past the first iterations: the point may be
    // running along a ray. The gap is measured on the dual objective too,
    // since a primal objective that runs off makes any gap small beside it.
    // A point feasible on both sides has no ray to offer: the test runs only
    // while one of the residuals stays open.
    const bool open = it.relPrimal > kLooseFeasTol || it.relDual > kLooseFeasTol;
    if (k > 4 && open && rel(gap) >= 50 * e && relGapDual >= 50 * e) {
      const int verdict = barrierRayTest(p, it);
      if (verdict == kBarNumerical && st.display > 0)
        QVNmsg(env->resultsChannel, " Barrier cannot determine infeasibility.\n");
      if (verdict != 0) return verdict;
    }
  } else {
    // 4. The infeasibility-ratio form.
    if (((rel(comp) < 10 * e && rel(gap) < 3 * e) || (rel(comp) < e && rel(gap) < 50 * e)) && feasible)
      return kBarOptimal;
    if (ratio < kRatioProofStart) {
      // tau / kappa near 0: the homogeneous point is a ray of the primal, of
      // the dual, or of both. Its objectives tell which, and the ray test
      // must confirm it on the data.
      double cx = 0.0, by = 0.0;
      for (int j = 0; j < p.n(); ++j) {
        cx += p.c[j] * it.x[j];
        if (p.hasL[j]) by += p.lo[j] * it.zl[j];
        if (p.hasU[j]) by -= p.up[j] * it.zu[j];
      }
      for (int i = 0; i < p.m(); ++i) by += p.b[i] * it.y[i];
      int verdict = kBarInfeasible;
      if (std::fabs(cx) < 1e-10 && std::fabs(by) < 1e-10)
        verdict = kBarInfeasible;
      else if (cx < 0 && by <= 0)
        verdict = kBarUnbounded;
      else if (cx < 0 && by > 0)
        verdict = -cx > 1e4 * by ? kBarUnbounded : kBarInfeasible;
      const int proved = barrierRayTest(p, it);
      if (proved == verdict) return verdict;
      if (proved == kBarInfeasible || proved == kBarUnbounded) return proved;
    }
    if (ratioFull && ratio == ratioAgo) {
      if (st.display > 0) QVNmsg(env->resultsChannel, " Barrier - no progress.\n");
      return kBarOverflow;
    }
    if (it.kappa > 0.0 && ratio > kRatioOverflow) return kBarOverflow;
  }
  // 5. Objective limits, in the minimizing sense of the form; a
  // maximization's mirror is the same test there.
  if (pobj < -st.objectiveRange) return kBarPrimalObjLimit;
  if (dobj > st.objectiveRange) return kBarDualObjLimit;
  // 6. Overflow.
  if (!std::isfinite(pobj) || !std::isfinite(dobj) || std::fabs(pobj) > kOverflowObjective ||
      std::fabs(dobj) > kOverflowObjective || !(it.primalInfeasibility <= kOverflowNorm) ||
      !(it.dualInfeasibility <= kOverflowNorm) || !(it.complementarity <= kOverflowNorm))
    return kBarOverflow;
  // 7. The caller's progress callback, then the termination flag.
  if (progressCallbackSet(env)) {
    LpProgress report;
    report.wherefrom = p.qpFlag ? QVN_CALLBACK_QPBARRIER : QVN_CALLBACK_BARRIER;
    report.iterations = k;
    report.primalObjective = st.sense * pobj + st.offset;
    report.dualObjective = st.sense * dobj + st.offset;
    report.primalInfeasibility = it.primalInfeasibility;
    report.dualInfeasibility = it.dualInfeasibility;
    report.primalFeasible = it.relPrimal <= kLooseFeasTol;
    report.dualFeasible = it.relDual <= kLooseFeasTol;
    if (reportProgress(env, report) != 0) return kBarAborted;
  }
  if (terminateRequested(env)) return kBarAborted;
  return 0;
}

} // namespace qvn
