// The interior point iteration.
//
// Form: min c^T x  s.t.  A x = b,  x - xl = l (where l is finite),
// x + xu = u (where u is finite), xl, xu, zl, zu >= 0, with duals y, zl, zu:
// A^T y + zl - zu = c. Fixed variables are moved into b. The Newton system
// reduces to the normal equations A Theta A^T dy = rp + A Theta rhat with
// Theta^-1 = zl/xl + zu/xu, solved by the supernodal Cholesky factor.
#include <algorithm>
#include <chrono>
#include <cmath>

#include "barrier/barrier.h"
#include "runtime/environment.h"

namespace qvn {

namespace {

// Free variables have no barrier term; this floor on Theta^-1 keeps their
// columns from swamping the normal matrix.
constexpr double kFreeRegularization = 1e-8;
constexpr double kStepFraction = 0.99995;
constexpr double kResidualTol = 1e-8;
constexpr int kScalePasses = 6;

struct Ipm {
  int m = 0, n = 0;
  EnvVector<int> var;  // WorkLp variable of each kept column
  EnvVector<int> start, index;
  EnvVector<double> value;
  EnvVector<double> b, c, lo, up, colScale, rowScale;
  EnvVector<char> hasL, hasU;
  EnvVector<double> x, xl, xu, y, zl, zu;
  CholeskyFactor factor;
  NormalPattern pattern;
  EnvVector<double> theta, zeroRow, work;

  void times(const double *v, double *out) const {  // out = A v
    std::fill(out, out + m, 0.0);
    for (int j = 0; j < n; ++j)
      if (v[j] != 0.0)
        for (int k = start[j]; k < start[j + 1]; ++k) out[index[k]] += value[k] * v[j];
  }
  double columnDot(int j, const double *v) const {
    double s = 0.0;
    for (int k = start[j]; k < start[j + 1]; ++k) s += value[k] * v[index[k]];
    return s;
  }
};

void buildForm(const WorkLp &w, Ipm &p) {
  p.m = w.numRow;
  p.var.clear();
  p.start.assign(1, 0);
  p.index.clear();
  p.value.clear();
  p.b.assign(static_cast<size_t>(p.m), 0.0);
  for (int j = 0; j < w.numTot; ++j) {
    const bool fixed = w.lower[j] == w.upper[j];
    if (fixed) {
      if (w.lower[j] != 0.0) addColumn(w, j, -w.lower[j], p.b.data());
      continue;
    }
    p.var.push_back(j);
    if (j < w.numCol) {
      for (int k = w.aStart[j]; k < w.aStart[j + 1]; ++k) {
        p.index.push_back(w.aIndex[k]);
        p.value.push_back(w.aValue[k]);
      }
    } else {
      p.index.push_back(j - w.numCol);
      p.value.push_back(-1.0);
    }
    p.start.push_back(static_cast<int>(p.index.size()));
  }
  p.n = static_cast<int>(p.var.size());
  // Geometric scaling over the structural entries; a logical's column then
  // gets the inverse of its row's factor, which keeps it at -1.
  p.rowScale.assign(static_cast<size_t>(p.m), 1.0);
  p.colScale.assign(static_cast<size_t>(p.n), 1.0);
  EnvVector<double> rmin(static_cast<size_t>(p.m)), rmax(static_cast<size_t>(p.m));
  for (int pass = 0; pass < kScalePasses; ++pass) {
    for (int j = 0; j < p.n; ++j) {
      if (p.var[j] >= w.numCol) continue;
      double lo = 1e300, hi = 0.0;
      for (int k = p.start[j]; k < p.start[j + 1]; ++k) {
        const double a = std::fabs(p.value[k]) * p.rowScale[p.index[k]];
        if (a == 0.0) continue;
        lo = std::min(lo, a);
        hi = std::max(hi, a);
      }
      if (hi > 0.0) p.colScale[j] = 1.0 / std::sqrt(lo * hi);
    }
    std::fill(rmin.begin(), rmin.end(), 1e300);
    std::fill(rmax.begin(), rmax.end(), 0.0);
    for (int j = 0; j < p.n; ++j) {
      if (p.var[j] >= w.numCol) continue;
      for (int k = p.start[j]; k < p.start[j + 1]; ++k) {
        const double a = std::fabs(p.value[k]) * p.colScale[j];
        if (a == 0.0) continue;
        rmin[p.index[k]] = std::min(rmin[p.index[k]], a);
        rmax[p.index[k]] = std::max(rmax[p.index[k]], a);
      }
    }
    for (int i = 0; i < p.m; ++i)
      if (rmax[i] > 0.0) p.rowScale[i] = 1.0 / std::sqrt(rmin[i] * rmax[i]);
  }
  for (int j = 0; j < p.n; ++j)
    if (p.var[j] >= w.numCol) p.colScale[j] = 1.0 / p.rowScale[p.var[j] - w.numCol];
  for (int j = 0; j < p.n; ++j)
    for (int k = p.start[j]; k < p.start[j + 1]; ++k) p.value[k] *= p.rowScale[p.index[k]] * p.colScale[j];
  for (int i = 0; i < p.m; ++i) p.b[i] *= p.rowScale[i];
  p.c.resize(static_cast<size_t>(p.n));
  p.lo.resize(static_cast<size_t>(p.n));
  p.up.resize(static_cast<size_t>(p.n));
  p.hasL.resize(static_cast<size_t>(p.n));
  p.hasU.resize(static_cast<size_t>(p.n));
  for (int j = 0; j < p.n; ++j) {
    const int v = p.var[j];
    const double s = p.colScale[j];
    p.c[j] = w.cost[v] * s;
    p.hasL[j] = w.lower[v] > -kInfinity;
    p.hasU[j] = w.upper[v] < kInfinity;
    p.lo[j] = p.hasL[j] ? w.lower[v] / s : 0.0;
    p.up[j] = p.hasU[j] ? w.upper[v] / s : 0.0;
  }
}

void factorNormal(Ipm &p) {
  choleskyFactor(p.pattern, p.theta.data(), p.zeroRow.data(), p.factor);
}

// Solves A Theta A^T v = r in place, with one step of refinement.
void solveNormal(Ipm &p, double *r) {
  EnvVector<double> rhs(r, r + p.m), t(static_cast<size_t>(p.n)), res(static_cast<size_t>(p.m));
  choleskySolve(p.factor, r, p.work.data());
  for (int j = 0; j < p.n; ++j) t[j] = p.theta[j] * p.columnDot(j, r);
  p.times(t.data(), res.data());
  for (int i = 0; i < p.m; ++i) res[i] = rhs[i] - res[i] - p.zeroRow[i] * r[i];
  choleskySolve(p.factor, res.data(), p.work.data());
  for (int i = 0; i < p.m; ++i) r[i] += res[i];
}

struct Direction {
  EnvVector<double> dx, dy, dxl, dxu, dzl, dzu;
  void size(int n, int m) {
    dx.assign(static_cast<size_t>(n), 0.0);
    dxl = dxu = dzl = dzu = dx;
    dy.assign(static_cast<size_t>(m), 0.0);
  }
};

struct Residuals {
  EnvVector<double> rp, rd, ql, qu;
};

// Newton direction for complementarity targets rl (of xl zl) and ru (of xu zu).
void direction(Ipm &p, const Residuals &r, const EnvVector<double> &rl, const EnvVector<double> &ru, Direction &d) {
  EnvVector<double> rhat(static_cast<size_t>(p.n)), t(static_cast<size_t>(p.n));
  for (int j = 0; j < p.n; ++j) {
    double h = r.rd[j];
    if (p.hasL[j]) h -= (rl[j] + p.zl[j] * r.ql[j]) / p.xl[j];
    if (p.hasU[j]) h += (ru[j] - p.zu[j] * r.qu[j]) / p.xu[j];
    rhat[j] = h;
    t[j] = p.theta[j] * h;
  }
  p.times(t.data(), d.dy.data());
  for (int i = 0; i < p.m; ++i) d.dy[i] += r.rp[i];
  solveNormal(p, d.dy.data());
  for (int j = 0; j < p.n; ++j) {
    const double dx = p.theta[j] * (p.columnDot(j, d.dy.data()) - rhat[j]);
    d.dx[j] = dx;
    if (p.hasL[j]) {
      d.dxl[j] = dx - r.ql[j];
      d.dzl[j] = (rl[j] - p.zl[j] * d.dxl[j]) / p.xl[j];
    }
    if (p.hasU[j]) {
      d.dxu[j] = r.qu[j] - dx;
      d.dzu[j] = (ru[j] - p.zu[j] * d.dxu[j]) / p.xu[j];
    }
  }
}

void stepLengths(const Ipm &p, const Direction &d, double &ap, double &ad) {
  ap = ad = 1e300;
  for (int j = 0; j < p.n; ++j) {
    if (p.hasL[j]) {
      if (d.dxl[j] < 0) ap = std::min(ap, -p.xl[j] / d.dxl[j]);
      if (d.dzl[j] < 0) ad = std::min(ad, -p.zl[j] / d.dzl[j]);
    }
    if (p.hasU[j]) {
      if (d.dxu[j] < 0) ap = std::min(ap, -p.xu[j] / d.dxu[j]);
      if (d.dzu[j] < 0) ad = std::min(ad, -p.zu[j] / d.dzu[j]);
    }
  }
}

double infNorm(const EnvVector<double> &v) {
  double s = 0.0;
  for (double a : v) s = std::max(s, std::fabs(a));
  return s;
}

void computeResiduals(const Ipm &p, Residuals &r) {
  r.rp.assign(static_cast<size_t>(p.m), 0.0);
  p.times(p.x.data(), r.rp.data());
  for (int i = 0; i < p.m; ++i) r.rp[i] = p.b[i] - r.rp[i];
  r.rd.resize(static_cast<size_t>(p.n));
  r.ql.assign(static_cast<size_t>(p.n), 0.0);
  r.qu.assign(static_cast<size_t>(p.n), 0.0);
  for (int j = 0; j < p.n; ++j) {
    r.rd[j] = p.c[j] - p.columnDot(j, p.y.data()) - p.zl[j] + p.zu[j];
    if (p.hasL[j]) r.ql[j] = p.lo[j] - p.x[j] + p.xl[j];
    if (p.hasU[j]) r.qu[j] = p.up[j] - p.x[j] - p.xu[j];
  }
}

// Start point: x of least norm for A x = b, y of least squares for A^T y = c,
// then both pushed into the interior by Mehrotra's shifts.
void startPoint(Ipm &p) {
  p.theta.assign(static_cast<size_t>(p.n), 1.0);
  factorNormal(p);
  EnvVector<double> v(p.b);
  solveNormal(p, v.data());
  p.x.assign(static_cast<size_t>(p.n), 0.0);
  for (int j = 0; j < p.n; ++j) p.x[j] = p.columnDot(j, v.data());
  p.y.assign(static_cast<size_t>(p.m), 0.0);
  p.times(p.c.data(), p.y.data());
  solveNormal(p, p.y.data());
  p.xl.assign(static_cast<size_t>(p.n), 0.0);
  p.xu = p.zl = p.zu = p.xl;
  double minX = 0.0, minZ = 0.0;
  for (int j = 0; j < p.n; ++j) {
    const double z = p.c[j] - p.columnDot(j, p.y.data());
    if (p.hasL[j] && p.hasU[j] && p.x[j] < p.lo[j]) p.x[j] = p.lo[j];
    if (p.hasL[j] && p.hasU[j] && p.x[j] > p.up[j]) p.x[j] = p.up[j];
    if (p.hasL[j]) p.xl[j] = p.x[j] - p.lo[j], minX = std::min(minX, p.xl[j]);
    if (p.hasU[j]) p.xu[j] = p.up[j] - p.x[j], minX = std::min(minX, p.xu[j]);
    if (p.hasL[j] && p.hasU[j]) {
      p.zl[j] = z > 0 ? z : 0.0;
      p.zu[j] = z < 0 ? -z : 0.0;
    } else if (p.hasL[j]) {
      p.zl[j] = z;
    } else if (p.hasU[j]) {
      p.zu[j] = -z;
    }
    minZ = std::min({minZ, p.zl[j], p.zu[j]});
  }
  const double dp = std::max(-1.5 * minX, 0.0) + 0.1, dd = std::max(-1.5 * minZ, 0.0) + 0.1;
  double xz = 0.0, sx = 0.0, sz = 0.0;
  for (int j = 0; j < p.n; ++j) {
    if (p.hasL[j]) {
      p.xl[j] += dp, p.zl[j] += dd;
      xz += p.xl[j] * p.zl[j], sx += p.xl[j], sz += p.zl[j];
    }
    if (p.hasU[j]) {
      p.xu[j] += dp, p.zu[j] += dd;
      xz += p.xu[j] * p.zu[j], sx += p.xu[j], sz += p.zu[j];
    }
  }
  const double dp2 = sz > 0 ? 0.5 * xz / sz : 0.0, dd2 = sx > 0 ? 0.5 * xz / sx : 0.0;
  for (int j = 0; j < p.n; ++j) {
    if (p.hasL[j]) p.xl[j] += dp2, p.zl[j] += dd2;
    if (p.hasU[j]) p.xu[j] += dp2, p.zu[j] += dd2;
  }
}

} // namespace

int barrierRun(Environment *env, const WorkLp &w, const BarrierControl &ctl, BarrierResult &out) {
  const auto clockStart = std::chrono::steady_clock::now();
  Ipm p;
  buildForm(w, p);
  p.pattern.rows = p.m;
  p.pattern.cols = p.n;
  p.pattern.start = p.start.data();
  p.pattern.index = p.index.data();
  p.pattern.value = p.value.data();
  p.zeroRow.assign(static_cast<size_t>(p.m), 0.0);
  p.work.assign(static_cast<size_t>(p.m) + 1, 0.0);
  QVN_TRY(choleskyAnalyse(env, p.pattern, p.factor));
  out.factorNonzeros = p.factor.nonzeros;
  out.factorFlops = p.factor.flops;
  out.denseColumns = static_cast<int>(p.factor.dense.columns.size());
  double normB = infNorm(p.b), normC = infNorm(p.c);
  for (int j = 0; j < p.n; ++j) {
    if (p.hasL[j]) normB = std::max(normB, std::fabs(p.lo[j]));
    if (p.hasU[j]) normB = std::max(normB, std::fabs(p.up[j]));
  }
  int status = 0, iter = 0;
  if (ctl.iterationLimit <= 0) {
    status = kBarIterLimit;
    p.x.assign(static_cast<size_t>(p.n), 0.0);
    p.y.assign(static_cast<size_t>(p.m), 0.0);
    p.zl = p.zu = p.xl = p.xu = p.x;
  } else {
    startPoint(p);
  }
  Residuals r;
  Direction aff, cor;
  aff.size(p.n, p.m);
  cor.size(p.n, p.m);
  EnvVector<double> rl(static_cast<size_t>(p.n)), ru(static_cast<size_t>(p.n));
  int pairs = 0;
  for (int j = 0; j < p.n; ++j) pairs += (p.hasL[j] ? 1 : 0) + (p.hasU[j] ? 1 : 0);
  double bestMerit = 1e300;
  int sinceBest = 0;
  if (ctl.display > 0 && status == 0)
    QVNmsg(env->resultsChannel, "\n %3s %15s %15s %9s %9s %9s %9s\n", "Itn", "Primal Obj", "Dual Obj", "Prim Inf",
           "Upper Inf", "Dual Inf", "Inf Ratio");
  while (status == 0) {
    computeResiduals(p, r);
    double comp = 0.0, pobj = 0.0, dobj = 0.0;
    for (int j = 0; j < p.n; ++j) {
      pobj += p.c[j] * p.x[j];
      if (p.hasL[j]) comp += p.xl[j] * p.zl[j], dobj += p.lo[j] * p.zl[j];
      if (p.hasU[j]) comp += p.xu[j] * p.zu[j], dobj -= p.up[j] * p.zu[j];
    }
    for (int i = 0; i < p.m; ++i) dobj += p.b[i] * p.y[i];
    const double mu = pairs > 0 ? comp / pairs : 0.0;
    const double pinf = infNorm(r.rp), uinf = std::max(infNorm(r.ql), infNorm(r.qu)), dinf = infNorm(r.rd);
    const double relP = std::max(pinf, uinf) / (1.0 + normB), relD = dinf / (1.0 + normC);
    const double relGap = std::fabs(pobj - dobj) / (1.0 + std::fabs(pobj));
    if (ctl.display > 0)
      QVNmsg(env->resultsChannel, " %3d %15.7e %15.7e %9.2e %9.2e %9.2e\n", iter, pobj + w.offset * w.sense,
             dobj + w.offset * w.sense, pinf, uinf, dinf);
    if (!std::isfinite(pobj) || !std::isfinite(dobj) || std::fabs(pobj) > 1e76 || std::fabs(dobj) > 1e76) {
      status = kBarNumerical;
      break;
    }
    if (relP < kResidualTol && relD < kResidualTol &&
        (relGap < ctl.complementarityTol || comp / (1.0 + std::fabs(pobj)) < ctl.complementarityTol)) {
      status = kBarOptimal;
      break;
    }
    // Divergence of the dual objective with the primal stuck infeasible tells
    // an infeasible model; the primal objective running off, an unbounded one.
    if (iter > 20 && relP > 1e-6 && dobj > 1e10 * (1.0 + std::fabs(pobj)) && relD < 1e-6) {
      status = kBarInfeasible;
      break;
    }
    if (iter > 20 && relD > 1e-6 && pobj < -1e10 * (1.0 + std::fabs(dobj)) && relP < 1e-6) {
      status = kBarUnbounded;
      break;
    }
    const double merit = relP + relD + relGap;
    if (merit < 0.5 * bestMerit) {
      bestMerit = merit;
      sinceBest = 0;
    } else if (++sinceBest > 30) {
      status = kBarNumerical;
      break;
    }
    if (iter >= ctl.iterationLimit) {
      status = kBarIterLimit;
      break;
    }
    if (std::chrono::duration<double>(std::chrono::steady_clock::now() - clockStart).count() > ctl.timeLimit) {
      status = kBarTimeLimit;
      break;
    }
    if (terminateRequested(env)) {
      status = kBarAborted;
      break;
    }
    ++iter;
    for (int j = 0; j < p.n; ++j) {
      double t = 0.0;
      if (p.hasL[j]) t += p.zl[j] / p.xl[j];
      if (p.hasU[j]) t += p.zu[j] / p.xu[j];
      if (!p.hasL[j] && !p.hasU[j]) t = kFreeRegularization;
      p.theta[j] = 1.0 / std::max(t, 1e-300);
    }
    factorNormal(p);
    // Predictor.
    for (int j = 0; j < p.n; ++j) {
      rl[j] = -p.xl[j] * p.zl[j];
      ru[j] = -p.xu[j] * p.zu[j];
    }
    direction(p, r, rl, ru, aff);
    double ap, ad;
    stepLengths(p, aff, ap, ad);
    ap = std::min(ap, 1.0);
    ad = std::min(ad, 1.0);
    double compAff = 0.0;
    for (int j = 0; j < p.n; ++j) {
      if (p.hasL[j]) compAff += (p.xl[j] + ap * aff.dxl[j]) * (p.zl[j] + ad * aff.dzl[j]);
      if (p.hasU[j]) compAff += (p.xu[j] + ap * aff.dxu[j]) * (p.zu[j] + ad * aff.dzu[j]);
    }
    const double muAff = pairs > 0 ? compAff / pairs : 0.0;
    const double ratio = mu > 0 ? muAff / mu : 0.0;
    const double sigma = std::min(1.0, ratio * ratio * ratio);
    // Corrector with Mehrotra's second-order term.
    for (int j = 0; j < p.n; ++j) {
      rl[j] = p.hasL[j] ? sigma * mu - p.xl[j] * p.zl[j] - aff.dxl[j] * aff.dzl[j] : 0.0;
      ru[j] = p.hasU[j] ? sigma * mu - p.xu[j] * p.zu[j] - aff.dxu[j] * aff.dzu[j] : 0.0;
    }
    direction(p, r, rl, ru, cor);
    stepLengths(p, cor, ap, ad);
    ap = std::min(1.0, kStepFraction * ap);
    ad = std::min(1.0, kStepFraction * ad);
    for (int j = 0; j < p.n; ++j) {
      p.x[j] += ap * cor.dx[j];
      if (p.hasL[j]) p.xl[j] += ap * cor.dxl[j], p.zl[j] += ad * cor.dzl[j];
      if (p.hasU[j]) p.xu[j] += ap * cor.dxu[j], p.zu[j] += ad * cor.dzu[j];
    }
    for (int i = 0; i < p.m; ++i) p.y[i] += ad * cor.dy[i];
  }
  // Back to the WorkLp's variables, unscaled.
  out.status = status;
  out.iterations = iter;
  out.x.assign(static_cast<size_t>(w.numTot), 0.0);
  out.z.assign(static_cast<size_t>(w.numTot), 0.0);
  out.y.assign(static_cast<size_t>(p.m), 0.0);
  for (int j = 0; j < w.numTot; ++j)
    if (w.lower[j] == w.upper[j]) out.x[j] = w.lower[j];
  for (int k = 0; k < p.n; ++k) out.x[p.var[k]] = p.x[k] * p.colScale[k];
  for (int i = 0; i < p.m; ++i) out.y[i] = p.y[i] * p.rowScale[i];
  double pobj = 0.0;
  for (int j = 0; j < w.numTot; ++j) {
    out.z[j] = w.cost[j] - columnDot(w, j, out.y.data());
    pobj += w.cost[j] * out.x[j];
  }
  out.primalObjective = pobj;
  out.dualObjective = pobj;
  if (ctl.display > 0 && status == kBarNumerical) QVNmsg(env->resultsChannel, "Numerical difficulties in barrier algorithm.\n");
  if (ctl.display > 0 && status == kBarIterLimit) QVNmsg(env->resultsChannel, " Barrier iteration limit exceeded.\n");
  if (ctl.display > 0 && status == kBarTimeLimit) QVNmsg(env->resultsChannel, " Barrier time limit exceeded.\n");
  return 0;
}

} // namespace qvn
