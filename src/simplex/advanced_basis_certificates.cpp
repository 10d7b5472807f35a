// Certificates from the final basis: an unbounded ray after status 2 and a
// Farkas proof after status 3. Both are searched in the stored basis rather
// than remembered from the loop, so that they hold for the basis the caller
// can read back: the loop's last entering column (or leaving row) is among
// the candidates tried.
#include <cmath>

#include "simplex/advanced_basis.h"
#include "simplex/loops.h"

using namespace qvn;

namespace {

constexpr double kEntryTiny = 1e-13;  // entries below this count as zero in a proof

// Sum over variables of the largest value of g_j z_j on the box of z_j;
// +infinity when an infinite bound is needed.
double boxMaximum(const BasisView &v, const double *g) {
  double s = 0.0;
  for (int j = 0; j < v.e.nt; ++j) {
    const double gj = g[j];
    if (std::fabs(gj) <= kEntryTiny) continue;
    const double bound = gj > 0 ? v.w.upper[j] : v.w.lower[j];
    if (std::fabs(bound) >= kInfinity) return kInfinity;
    s += gj * bound;
  }
  return s;
}

// g = [A, -I]^T y for the engine's rows y.
void rowCombination(const BasisView &v, const double *y, double *g) {
  for (int j = 0; j < v.e.nt; ++j) g[j] = columnDot(v.w, j, y);
}

// Caller's form of a proof from engine rows y: the sum over [A,-I] is zero
// on every point, so a negative box maximum proves infeasibility. In the
// caller's terms, proof = y'b - best sum of (y'A)_j x_j > 0 with y <= 0 on
// 'L' rows and y >= 0 on 'G' rows: y as it stands.
double farkasValue(const BasisView &v, EnvVector<double> &y, EnvVector<double> &g) {
  const LpData &d = *v.lp->lpData;
  for (int i = 0; i < v.e.m; ++i) {
    if ((d.sense[i] == 'L' && y[i] > 0) || (d.sense[i] == 'G' && y[i] < 0)) y[i] = 0.0;
    if (std::fabs(y[i]) <= kEntryTiny) y[i] = 0.0;
  }
  rowCombination(v, y.data(), g.data());
  const double maximum = boxMaximum(v, g.data());
  return maximum >= kInfinity ? 0.0 : -maximum;
}

// The best proof over the candidates of the view's basis: the duals of the
// phase 1 costs, then single rows of B^-1 at infeasible basic variables (the
// dual loop stops on one of them), then the other rows. 0 when none proves.
double searchProof(BasisView &v, EnvVector<double> &best) {
  SimplexEngine &e = v.e;
  const size_t m = static_cast<size_t>(e.m > 0 ? e.m : 1);
  EnvVector<double> y(m, 0.0), g(static_cast<size_t>(e.nt > 0 ? e.nt : 1), 0.0);
  double bestProof = 0.0;
  auto tryBothSigns = [&](const double *rho) {
    for (int sign = -1; sign <= 1; sign += 2) {
      for (int i = 0; i < e.m; ++i) y[i] = sign * rho[i];
      const double proof = farkasValue(v, y, g);
      if (proof > bestProof) bestProof = proof, best = y;
    }
  };
  // Phase 1 costs: +1 above a bound, -1 below; at a phase 1 optimum their
  // duals combine every row that cannot be met.
  HVector &rho = e.rowRho;
  hvClear(rho);
  for (int k = 0; k < e.m; ++k) {
    const int var = e.head[k];
    rho.array[k] = e.x[var] > e.upper[var] + e.primalTol ? 1.0 : e.x[var] < e.lower[var] - e.primalTol ? -1.0 : 0.0;
  }
  rho.count = -1;
  btran(e.factor, rho);
  tryBothSigns(rho.array.data());
  hvClear(rho);
  for (int pass = 0; pass < 2 && bestProof <= 0.0; ++pass) {
    for (int k = 0; k < e.m && bestProof <= 0.0; ++k) {
      const int var = e.head[k];
      const double viol = std::max(e.lower[var] - e.x[var], e.x[var] - e.upper[var]);
      if ((pass == 0) != (viol > e.primalTol)) continue;
      btranUnitRow(e, k);
      tryBothSigns(e.rowRho.array.data());
      hvClear(e.rowRho);
    }
  }
  return bestProof;
}

int dualFarkas(Environment *env, Problem *p, double *yOut, double *proofOut) {
  if (isMipType(p->probType)) return QVNERR_NOT_FOR_MIP;
  if (hasQuadConstrType(p->probType)) return QVNERR_NOT_FOR_QCP;
  if (hasQuadObjType(p->probType)) return QVNERR_NOT_FOR_QP;
  if (p->status != 3) return QVNERR_NOT_DUAL_UNBOUNDED;
  BasisView v;
  QVN_TRY(openBasisView(env, p, v));
  SimplexEngine &e = v.e;
  EnvVector<double> best(static_cast<size_t>(e.m > 0 ? e.m : 1), 0.0);
  double proof = searchProof(v, best);
  if (proof <= 0.0) {
    // The stored basis may come from a loop that judged on boxes of its
    // own: the primal loop from it ends at a phase 1 optimum, which proves.
    e.display = 0;
    e.iterationLimit = 2100000000;
    const int run = runPrimalSimplex(e);
    if (run >= 1000) return run;
    refactor(e);
    computePrimal(e);
    proof = searchProof(v, best);
  }
  if (proof <= 0.0) return QVNERR_NOT_DUAL_UNBOUNDED;
  if (yOut)
    for (int i = 0; i < e.m; ++i) yOut[i] = best[i];
  if (proofOut) *proofOut = proof;
  return 0;
}

// A ray from nonbasic q moving in direction dir (+1 or -1): x_q by dir t, x_B
// by -dir t B^-1 a_q. True when no bound stops it and the objective falls.
bool rayFrom(BasisView &v, int q, int dir, double *z) {
  SimplexEngine &e = v.e;
  if (dir > 0 ? e.upper[q] < kInfinity : e.lower[q] > -kInfinity) return false;
  HVector &col = e.column;
  hvClear(col);
  addColumn(v.w, q, 1.0, col.array.data());
  col.count = -1;
  ftran(e.factor, col);
  bool ray = true;
  for (int k = 0; k < e.m && ray; ++k) {
    const double change = -dir * col.array[k];
    if (std::fabs(change) < 1e-9) continue;
    const int p = e.head[k];
    if (change > 0 ? e.upper[p] < kInfinity : e.lower[p] > -kInfinity) ray = false;
  }
  if (ray) {
    for (int j = 0; j < e.n; ++j) z[j] = 0.0;
    if (q < e.n) z[q] = dir;
    for (int k = 0; k < e.m; ++k)
      if (e.head[k] < e.n && std::fabs(col.array[k]) >= 1e-9) z[e.head[k]] = -dir * col.array[k];
  }
  hvClear(col);
  return ray;
}

int getRay(Environment *env, Problem *p, double *z) {
  if (isMipType(p->probType)) return QVNERR_NOT_FOR_MIP;
  if (!z) return QVNERR_NULL_POINTER;
  if (p->status != 2) return QVNERR_NOT_UNBOUNDED;
  BasisView v;
  QVN_TRY(openBasisView(env, p, v));
  SimplexEngine &e = v.e;
  // Candidates: reduced costs that pay to move, the loop's entering column among them.
  for (int attempt = 0; attempt < 2; ++attempt) {
    for (int q = 0; q < e.nt; ++q) {
      if (e.basicPos[q] >= 0) continue;
      const double dj = e.dj[q];
      if (dj < -e.dualTol && rayFrom(v, q, 1, z)) return 0;
      if (dj > e.dualTol && rayFrom(v, q, -1, z)) return 0;
    }
    if (attempt == 1) break;
    // As for the Farkas proof: the primal loop from the stored basis ends
    // with its entering column on a ray.
    e.display = 0;
    e.iterationLimit = 2100000000;
    const int run = runPrimalSimplex(e);
    if (run >= 1000) return run;
    refactor(e);
    for (int j = 0; j < e.nt; ++j) e.cost[j] = v.w.cost[j];
    computePrimal(e);
    computeDual(e);
  }
  return QVNERR_NOT_UNBOUNDED;
}

} // namespace

extern "C" {

QVN_API int QVNdualfarkas(QVNCENVptr cenv, QVNCLPptr lp, double *y, double *proof) {
  auto *env = const_cast<Environment *>(cenv);
  return guardedProblem(env, lp, [&](Problem *p) { return dualFarkas(env, p, y, proof); });
}

QVN_API int QVNgetray(QVNCENVptr cenv, QVNCLPptr lp, double *z) {
  auto *env = const_cast<Environment *>(cenv);
  return guardedProblem(env, lp, [&](Problem *p) { return getRay(env, p, z); });
}

} // extern "C"
