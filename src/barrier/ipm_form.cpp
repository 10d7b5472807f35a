// The barrier's standard form of a WorkLp: fixed variables folded into the
// right-hand side, the rest scaled geometrically, and the symbolic factor of
// the normal matrix.
#include <algorithm>
#include <cmath>

#include "barrier/ipm.h"

namespace qvn {

namespace {

constexpr int kScalePasses = 6;

// Geometric scaling over the structural entries; a logical's column then
// gets the inverse of its row's factor, which keeps it at -1.
void scaleForm(const WorkLp &w, BarrierProblem &p) {
  const int m = p.rows, n = p.columnsTotal;
  p.rowScale.assign(static_cast<size_t>(m), 1.0);
  p.colScale.assign(static_cast<size_t>(n), 1.0);
  EnvVector<double> rmin(static_cast<size_t>(m)), rmax(static_cast<size_t>(m));
  for (int pass = 0; pass < kScalePasses; ++pass) {
    for (int j = 0; j < n; ++j) {
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
    for (int j = 0; j < n; ++j) {
      if (p.var[j] >= w.numCol) continue;
      for (int k = p.start[j]; k < p.start[j + 1]; ++k) {
        const double a = std::fabs(p.value[k]) * p.colScale[j];
        if (a == 0.0) continue;
        rmin[p.index[k]] = std::min(rmin[p.index[k]], a);
        rmax[p.index[k]] = std::max(rmax[p.index[k]], a);
      }
    }
    for (int i = 0; i < m; ++i)
      if (rmax[i] > 0.0) p.rowScale[i] = 1.0 / std::sqrt(rmin[i] * rmax[i]);
  }
  for (int j = 0; j < n; ++j)
    if (p.var[j] >= w.numCol) p.colScale[j] = 1.0 / p.rowScale[p.var[j] - w.numCol];
}

} // namespace

void Direction::size(int n, int m) {
  dx.assign(static_cast<size_t>(n), 0.0);
  dxl = dxu = dzl = dzu = dx;
  dy.assign(static_cast<size_t>(m), 0.0);
  dtau = dkappa = 0.0;
}

void buildBarrierProblem(const WorkLp &w, const double *qdiag, BarrierProblem &p) {
  p.rows = w.numRow;
  p.var.clear();
  p.start.assign(1, 0);
  p.index.clear();
  p.value.clear();
  p.b.assign(static_cast<size_t>(p.rows), 0.0);
  p.objectiveOffset = 0.0;
  for (int j = 0; j < w.numTot; ++j) {
    const bool fixed = w.lower[j] == w.upper[j];
    // Q is diagonal here, so a fixed column couples to nothing: its terms
    // are a constant.
    if (fixed) {
      if (w.lower[j] != 0.0) addColumn(w, j, -w.lower[j], p.b.data());
      const double q = qdiag ? qdiag[j] : 0.0;
      p.objectiveOffset += (w.cost[j] + 0.5 * q * w.lower[j]) * w.lower[j];
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
  p.columnsTotal = static_cast<int>(p.var.size());
  p.nonzeros = static_cast<double>(p.index.size());
  scaleForm(w, p);
  const int n = p.columnsTotal;
  for (int j = 0; j < n; ++j)
    for (int k = p.start[j]; k < p.start[j + 1]; ++k) p.value[k] *= p.rowScale[p.index[k]] * p.colScale[j];
  for (int i = 0; i < p.rows; ++i) p.b[i] *= p.rowScale[i];
  p.c.resize(static_cast<size_t>(n));
  p.lo.resize(static_cast<size_t>(n));
  p.up.resize(static_cast<size_t>(n));
  p.qdiag.assign(static_cast<size_t>(n), 0.0);
  p.hasL.resize(static_cast<size_t>(n));
  p.hasU.resize(static_cast<size_t>(n));
  p.kind = 0;
  p.qpFlag = false;
  p.columns = 0;
  p.pairs = 0;
  for (int j = 0; j < n; ++j) {
    const int v = p.var[j];
    const double s = p.colScale[j];
    p.c[j] = w.cost[v] * s;
    // x = s x' turns 1/2 q x^2 into 1/2 (q s^2) x'^2.
    if (qdiag && qdiag[v] != 0.0) p.qdiag[j] = qdiag[v] * s * s, p.qpFlag = true;
    p.hasL[j] = w.lower[v] > -kInfinity;
    p.hasU[j] = w.upper[v] < kInfinity;
    p.lo[j] = p.hasL[j] ? w.lower[v] / s : 0.0;
    p.up[j] = p.hasU[j] ? w.upper[v] / s : 0.0;
    if (p.hasU[j]) p.kind |= 1u, ++p.columns;
    if (!p.hasL[j] && !p.hasU[j]) p.kind |= 2u;
    p.pairs += (p.hasL[j] ? 1 : 0) + (p.hasU[j] ? 1 : 0);
  }
}

int analyseNormal(Environment *env, const BarrierProblem &p, NormalSystem &s) {
  s.pattern.rows = p.rows;
  s.pattern.cols = p.columnsTotal;
  s.pattern.start = p.start.data();
  s.pattern.index = p.index.data();
  s.pattern.value = p.value.data();
  const size_t m = static_cast<size_t>(p.rows), n = static_cast<size_t>(p.columnsTotal);
  s.zeroRow.assign(m, 0.0);
  s.work.assign(m + 1, 0.0);
  s.rhs.assign(m, 0.0);
  s.res.assign(m, 0.0);
  s.t.assign(n, 0.0);
  s.rhat.assign(n, 0.0);
  s.theta.assign(n, 1.0);
  return choleskyAnalyse(env, s.pattern, s.factor);
}

} // namespace qvn
