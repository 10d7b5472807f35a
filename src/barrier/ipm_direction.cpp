// Residuals, the Newton direction through the normal equations, and the
// predictor-corrector with central corrections judged by a merit of their
// step lengths.
#include <algorithm>
#include <chrono>
#include <cmath>

#include "barrier/ipm.h"

namespace qvn {

namespace {

// Free columns without a quadratic term have no barrier term; this floor on
// Theta^-1 keeps their columns from swamping the normal matrix.
constexpr double kFreeRegularization = 1e-8;
// Central corrections aim the products x z into [kLowCenter, kHighCenter]
// times the target, at steps this much longer than the best so far.
constexpr double kLowCenter = 0.1, kHighCenter = 10.0, kStepReach = 0.1;
constexpr double kPredictorCap = 1.05;  // trial cap of the predictor's ratio test

double infNorm(const EnvVector<double> &v) {
  double s = 0.0;
  for (double a : v) s = std::max(s, std::fabs(a));
  return s;
}

// The direction for right-hand sides rp (rows), ql, qu (bounds), rd (dual),
// rl, ru (complementarity of the lower and upper pairs), Theta in place.
void solveCore(const BarrierProblem &p, const BarrierIterate &it, const double *rp, const double *ql,
               const double *qu, const double *rd, const double *rl, const double *ru, NormalSystem &s, Direction &d) {
  const int n = p.n(), m = p.m();
  for (int j = 0; j < n; ++j) {
    double h = rd[j];
    if (p.hasL[j]) h -= (rl[j] + it.zl[j] * ql[j]) / it.xl[j];
    if (p.hasU[j]) h += (ru[j] - it.zu[j] * qu[j]) / it.xu[j];
    s.rhat[j] = h;
    s.t[j] = s.theta[j] * h;
  }
  p.times(s.t.data(), d.dy.data());
  for (int i = 0; i < m; ++i) d.dy[i] += rp[i];
  solveNormal(p, s, d.dy.data());
  for (int j = 0; j < n; ++j) {
    const double dx = s.theta[j] * (p.columnDot(j, d.dy.data()) - s.rhat[j]);
    d.dx[j] = dx;
    if (p.hasL[j]) {
      d.dxl[j] = dx - ql[j];
      d.dzl[j] = (rl[j] - it.zl[j] * d.dxl[j]) / it.xl[j];
    }
    if (p.hasU[j]) {
      d.dxu[j] = qu[j] - dx;
      d.dzu[j] = (ru[j] - it.zu[j] * d.dxu[j]) / it.xu[j];
    }
  }
  d.dtau = d.dkappa = 0.0;
}

// b'dy + l'dzl - u'dzu - c'dx: the change of the gap row of the self-dual form.
double gapRowChange(const BarrierProblem &p, const Direction &d) {
  double g = 0.0;
  for (int i = 0; i < p.m(); ++i) g += p.b[i] * d.dy[i];
  for (int j = 0; j < p.n(); ++j) {
    g -= p.c[j] * d.dx[j];
    if (p.hasL[j]) g += p.lo[j] * d.dzl[j];
    if (p.hasU[j]) g -= p.up[j] * d.dzu[j];
  }
  return g;
}

void stepLengths(const BarrierProblem &p, const BarrierIterate &it, Direction &d) {
  double ap = 1e300, ad = 1e300;
  for (int j = 0; j < p.n(); ++j) {
    if (p.hasL[j]) {
      if (d.dxl[j] < 0) ap = std::min(ap, -it.xl[j] / d.dxl[j]);
      if (d.dzl[j] < 0) ad = std::min(ad, -it.zl[j] / d.dzl[j]);
    }
    if (p.hasU[j]) {
      if (d.dxu[j] < 0) ap = std::min(ap, -it.xu[j] / d.dxu[j]);
      if (d.dzu[j] < 0) ad = std::min(ad, -it.zu[j] / d.dzu[j]);
    }
  }
  if (it.useInfRatio) {
    if (d.dtau < 0) ap = std::min(ap, -it.tau / d.dtau);
    if (d.dkappa < 0) ad = std::min(ad, -it.kappa / d.dkappa);
  }
  d.ap = ap;
  d.ad = ad;
}

struct Newton {
  const BarrierProblem &p;
  const BarrierIterate &it;
  const Residuals &r;
  NormalSystem &s;
  const Direction *d2 = nullptr;  // answer to (b, l, u, c) in the self-dual form
  double g2 = 0.0;

  // Direction for the complementarity targets rl, ru and rk (of tau kappa).
  void solve(const EnvVector<double> &rl, const EnvVector<double> &ru, double rk, Direction &d) const {
    solveCore(p, it, r.rp.data(), r.ql.data(), r.qu.data(), r.rd.data(), rl.data(), ru.data(), s, d);
    if (it.useInfRatio && d2) {
      const double g1 = gapRowChange(p, d);
      const double dtau = (r.rg - g1 + rk / it.tau) / (g2 + it.kappa / it.tau);
      const int n = p.n();
      for (int j = 0; j < n; ++j) {
        d.dx[j] += dtau * d2->dx[j];
        d.dxl[j] += dtau * d2->dxl[j];
        d.dxu[j] += dtau * d2->dxu[j];
        d.dzl[j] += dtau * d2->dzl[j];
        d.dzu[j] += dtau * d2->dzu[j];
      }
      for (int i = 0; i < p.m(); ++i) d.dy[i] += dtau * d2->dy[i];
      d.dtau = dtau;
      d.dkappa = (rk - it.kappa * dtau) / it.tau;
    }
    stepLengths(p, it, d);
  }
};

double merit(const Direction &d, const CorrectionControl &cc) {
  double ap = std::min(d.ap, cc.cap), ad = std::min(d.ad, cc.cap);
  if (cc.commonStep) ap = ad = std::min(ap, ad);
  // The weaker side counted once more: a step is only as good as its
  // shorter half.
  return ap + ad + std::min(ap, ad);
}

} // namespace

void computeResiduals(const BarrierProblem &p, BarrierIterate &it, Residuals &r) {
  const int n = p.n(), m = p.m();
  const double tau = it.tau;
  r.rp.assign(static_cast<size_t>(m), 0.0);
  p.times(it.x.data(), r.rp.data());
  for (int i = 0; i < m; ++i) r.rp[i] = p.b[i] * tau - r.rp[i];
  r.rd.resize(static_cast<size_t>(n));
  r.ql.assign(static_cast<size_t>(n), 0.0);
  r.qu.assign(static_cast<size_t>(n), 0.0);
  double cx = 0.0, xqx = 0.0, dual = 0.0, comp = 0.0;
  for (int j = 0; j < n; ++j) {
    r.rd[j] = p.c[j] * tau + p.qdiag[j] * it.x[j] - p.columnDot(j, it.y.data()) - it.zl[j] + it.zu[j];
    cx += p.c[j] * it.x[j];
    xqx += p.qdiag[j] * it.x[j] * it.x[j];
    if (p.hasL[j]) {
      r.ql[j] = p.lo[j] * tau - it.x[j] + it.xl[j];
      dual += p.lo[j] * it.zl[j];
      comp += it.xl[j] * it.zl[j];
    }
    if (p.hasU[j]) {
      r.qu[j] = p.up[j] * tau - it.x[j] - it.xu[j];
      dual -= p.up[j] * it.zu[j];
      comp += it.xu[j] * it.zu[j];
    }
  }
  for (int i = 0; i < m; ++i) dual += p.b[i] * it.y[i];
  r.rg = it.useInfRatio ? cx - dual + it.kappa : 0.0;
  const int pairs = p.pairs + (it.useInfRatio ? 1 : 0);
  if (it.useInfRatio) comp += it.tau * it.kappa;
  it.complementarity = comp;
  it.mu = pairs > 0 ? comp / pairs : 0.0;
  it.primalObjective = cx / tau + 0.5 * xqx / (tau * tau) + p.objectiveOffset;
  it.dualObjective = dual / tau - 0.5 * xqx / (tau * tau) + p.objectiveOffset;
  it.primalInfeasibility = infNorm(r.rp) / tau;
  it.upperInfeasibility = std::max(infNorm(r.ql), infNorm(r.qu)) / tau;
  it.dualInfeasibility = infNorm(r.rd) / tau;
  double normB = infNorm(p.b), normC = infNorm(p.c);
  for (int j = 0; j < n; ++j) {
    if (p.hasL[j]) normB = std::max(normB, std::fabs(p.lo[j]));
    if (p.hasU[j]) normB = std::max(normB, std::fabs(p.up[j]));
  }
  it.relPrimal = std::max(it.primalInfeasibility, it.upperInfeasibility) / (1.0 + normB);
  it.relDual = it.dualInfeasibility / (1.0 + normC);
  // The same in the units of the model: a row residual over its row factor,
  // a dual one over its column factor.
  double up = 0.0, ud = 0.0;
  for (int i = 0; i < m; ++i) up = std::max(up, std::fabs(r.rp[i]) / p.rowScale[i]);
  for (int j = 0; j < n; ++j) {
    up = std::max({up, std::fabs(r.ql[j]) * p.colScale[j], std::fabs(r.qu[j]) * p.colScale[j]});
    ud = std::max(ud, std::fabs(r.rd[j]) / p.colScale[j]);
  }
  double ub = 0.0, uc = 0.0;
  for (int i = 0; i < m; ++i) ub = std::max(ub, std::fabs(p.b[i]) / p.rowScale[i]);
  for (int j = 0; j < n; ++j) {
    uc = std::max(uc, std::fabs(p.c[j]) / p.colScale[j]);
    if (p.hasL[j]) ub = std::max(ub, std::fabs(p.lo[j]) * p.colScale[j]);
    if (p.hasU[j]) ub = std::max(ub, std::fabs(p.up[j]) * p.colScale[j]);
  }
  it.relPrimalUnscaled = up / tau / (1.0 + ub);
  it.relDualUnscaled = ud / tau / (1.0 + uc);
}

void factorNormal(const BarrierProblem &p, const BarrierIterate &it, NormalSystem &s) {
  for (int j = 0; j < p.n(); ++j) {
    double t = p.qdiag[j];
    if (p.hasL[j]) t += it.zl[j] / it.xl[j];
    if (p.hasU[j]) t += it.zu[j] / it.xu[j];
    if (t == 0.0) t = kFreeRegularization;
    s.theta[j] = 1.0 / std::max(t, 1e-300);
  }
  choleskyFactor(s.pattern, s.theta.data(), s.zeroRow.data(), s.factor);
}

// One step of refinement against the product with A Theta A'.
void solveNormal(const BarrierProblem &p, NormalSystem &s, double *r) {
  const auto begin = std::chrono::steady_clock::now();
  const int m = p.m(), n = p.n();
  std::copy(r, r + m, s.rhs.begin());
  choleskySolve(s.factor, r, s.work.data());
  // t is free here: the callers are done with it before they solve.
  EnvVector<double> &t = s.t;
  for (int j = 0; j < n; ++j) t[j] = s.theta[j] * p.columnDot(j, r);
  p.times(t.data(), s.res.data());
  for (int i = 0; i < m; ++i) s.res[i] = s.rhs[i] - s.res[i] - s.zeroRow[i] * r[i];
  choleskySolve(s.factor, s.res.data(), s.work.data());
  for (int i = 0; i < m; ++i) r[i] += s.res[i];
  s.solveSeconds += std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
  s.solveFlops += 4.0 * (s.factor.nonzeros + p.nonzeros);
}

int correctionCount(int barmaxcor, const BarrierProblem &p, const CholeskyFactor &f) {
  if (barmaxcor >= 0) return std::min(barmaxcor, 1000) + 1;
  const double r = f.flops / (2.0 * p.nonzeros + 2.0 * f.nonzeros + 30.0 * (p.rows + p.columnsTotal));
  if (r < 50.0) return 1;
  return std::min(static_cast<int>(std::lround(0.02 * r)) + 3, 21);
}

void predictorCorrector(const BarrierProblem &p, const BarrierIterate &it, const Residuals &r, NormalSystem &s,
                        CorrectionControl &cc, Direction &best) {
  const int n = p.n(), m = p.m();
  Newton newton{p, it, r, s};
  CorrectionWork &cw = s.corrections;
  if (cw.aff.dx.size() != static_cast<size_t>(n) || cw.aff.dy.size() != static_cast<size_t>(m)) {
    cw.d2.size(n, m), cw.aff.size(n, m), cw.cand.size(n, m);
    cw.rl.assign(static_cast<size_t>(n), 0.0);
    cw.ru = cw.bestRl = cw.bestRu = cw.zero = cw.rl;
  }
  Direction &d2 = cw.d2, &aff = cw.aff, &cand = cw.cand;
  EnvVector<double> &rl = cw.rl, &ru = cw.ru, &bestRl = cw.bestRl, &bestRu = cw.bestRu;
  if (it.useInfRatio) {
    solveCore(p, it, p.b.data(), p.lo.data(), p.up.data(), p.c.data(), cw.zero.data(), cw.zero.data(), s, d2);
    newton.d2 = &d2;
    newton.g2 = gapRowChange(p, d2);
  }
  // Predictor: the affine direction.
  for (int j = 0; j < n; ++j) {
    if (p.hasL[j]) rl[j] = -it.xl[j] * it.zl[j];
    if (p.hasU[j]) ru[j] = -it.xu[j] * it.zu[j];
  }
  newton.solve(rl, ru, -it.tau * it.kappa, aff);
  double ap = std::min(aff.ap, kPredictorCap), ad = std::min(aff.ad, kPredictorCap);
  ap = std::min(ap, 1.0), ad = std::min(ad, 1.0);
  if (cc.commonStep) ap = ad = std::min(ap, ad);
  double compAff = 0.0;
  for (int j = 0; j < n; ++j) {
    if (p.hasL[j]) compAff += (it.xl[j] + ap * aff.dxl[j]) * (it.zl[j] + ad * aff.dzl[j]);
    if (p.hasU[j]) compAff += (it.xu[j] + ap * aff.dxu[j]) * (it.zu[j] + ad * aff.dzu[j]);
  }
  if (it.useInfRatio) compAff += (it.tau + ap * aff.dtau) * (it.kappa + ad * aff.dkappa);
  const int pairs = p.pairs + (it.useInfRatio ? 1 : 0);
  const double mu = it.mu;
  const double muAff = pairs > 0 ? compAff / pairs : 0.0;
  const double ratio = mu > 0 ? std::max(muAff, 0.0) / mu : 0.0;
  const double sigma = std::min(1.0, ratio * ratio * ratio);
  const double target = sigma * mu;
  // Round 1: Mehrotra's corrector, its second-order term scaled by `weight`.
  auto mehrotra = [&](double weight, Direction &d) {
    for (int j = 0; j < n; ++j) {
      rl[j] = p.hasL[j] ? target - it.xl[j] * it.zl[j] - weight * aff.dxl[j] * aff.dzl[j] : 0.0;
      ru[j] = p.hasU[j] ? target - it.xu[j] * it.zu[j] - weight * aff.dxu[j] * aff.dzu[j] : 0.0;
    }
    const double rk = target - it.tau * it.kappa - weight * aff.dtau * aff.dkappa;
    newton.solve(rl, ru, rk, d);
    return rk;
  };
  double bestRk = mehrotra(1.0, best);
  double bestMerit = merit(best, cc);
  std::copy(rl.begin(), rl.end(), bestRl.begin());
  std::copy(ru.begin(), ru.end(), bestRu.begin());
  const double affMerit = merit(aff, cc);
  if (cc.iteration < 10 && bestMerit < 0.5 * affMerit && affMerit > 0.01) {
    // Early on the second-order term can overshoot: shrink it by the
    // predictor's own steps and keep what steps further.
    const double rk = mehrotra(ap * ad, cand);
    const double mCand = merit(cand, cc);
    if (mCand > bestMerit) {
      std::swap(best, cand);
      bestMerit = mCand, bestRk = rk;
      std::copy(rl.begin(), rl.end(), bestRl.begin());
      std::copy(ru.begin(), ru.end(), bestRu.begin());
    }
  }
  cc.corrections = 0;
  cc.correctedVars = 0;
  int good = 0;
  for (int k = 2; k <= cc.maxCount; ++k) {
    if (best.ap >= 1.0 && best.ad >= 1.0 && target == 0.0) break;
    double tp = std::min(1.0, best.ap * (1.0 + kStepReach) + kStepReach);
    double td = std::min(1.0, best.ad * (1.0 + kStepReach) + kStepReach);
    if (cc.commonStep) tp = td = std::min(tp, td);
    int touched = 0;
    auto center = [&](double v) {
      if (v < kLowCenter * target) return ++touched, kLowCenter * target - v;
      if (v > kHighCenter * target) return ++touched, std::max(kHighCenter * target - v, -kHighCenter * target);
      return 0.0;
    };
    for (int j = 0; j < n; ++j) {
      rl[j] = bestRl[j], ru[j] = bestRu[j];
      if (p.hasL[j]) rl[j] += center((it.xl[j] + tp * best.dxl[j]) * (it.zl[j] + td * best.dzl[j]));
      if (p.hasU[j]) ru[j] += center((it.xu[j] + tp * best.dxu[j]) * (it.zu[j] + td * best.dzu[j]));
    }
    double rk = bestRk;
    if (it.useInfRatio) rk += center((it.tau + tp * best.dtau) * (it.kappa + td * best.dkappa));
    if (touched == 0) break;
    newton.solve(rl, ru, rk, cand);
    const double mCand = merit(cand, cc);
    if (mCand < bestMerit) break;
    const bool gained = mCand >= 1.02 * bestMerit;
    std::swap(best, cand);
    bestMerit = mCand, bestRk = rk;
    std::copy(rl.begin(), rl.end(), bestRl.begin());
    std::copy(ru.begin(), ru.end(), bestRu.begin());
    ++cc.corrections;
    cc.correctedVars = touched;
    if (gained)
      ++good;
    else if (good > cc.maxCount / 5)
      break;
  }
}

} // namespace qvn
