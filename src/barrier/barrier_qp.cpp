// Convex quadratic objectives in the barrier.
//
// The iteration knows a diagonal Q only (it adds Q_jj to Theta^-1). A Q with
// entries off the diagonal is factored first, Q = R'R by a Cholesky factor
// with diagonal pivoting over the columns that Q touches; its rows become
// new free columns t = R x with the objective 1/2 t't and the rows
// R x - t = 0. The same factor is the test of semi-definiteness: a pivot
// that stays negative, or a remainder that is not zero when the pivots run
// out, shows that Q is not positive semi-definite.
#include <algorithm>
#include <cmath>

#include "barrier/barrier.h"
#include "quadratic/qp_data.h"
#include "runtime/environment.h"
#include "runtime/errors.h"
#include "runtime/params.h"

namespace qvn {

namespace {

// The dense factor is offered up to this many touched columns.
constexpr int kDenseQLimit = 2000;
// Pivots and remainders below this fraction of Q's largest entry are zero.
constexpr double kPivotTol = 1e-10;

struct QpFactor {
  bool diagonalOnly = true;
  EnvVector<double> diag;   // per WorkLp variable, minimization sense, when diagonalOnly
  EnvVector<int> cols;      // touched columns
  int rank = 0;
  EnvVector<double> r;      // rank rows of cols.size() entries each
  double perturbation = 0.0;
};

// Q of the minimization form (the caller's Q times the sense), tested and
// factored. Returns 0, 5002 or an error of the frame.
int factorQ(Environment *env, const QpData &q, const WorkLp &w, QpFactor &f) {
  const int n = w.numCol;
  f.diag.assign(static_cast<size_t>(w.numTot), 0.0);
  double scale = 0.0;
  forEachQEntry(q, n, [&](int i, int j, double v) {
    scale = std::max(scale, std::fabs(v));
    if (i != j) f.diagonalOnly = false;
  });
  const double tol = kPivotTol * std::max(scale, 1e-300);
  const bool repair = env->qpParams->qpmakepsdind == 1;
  if (f.diagonalOnly) {
    double worst = 0.0;
    forEachQEntry(q, n, [&](int, int j, double v) {
      f.diag[j] = w.sense * v;
      worst = std::min(worst, f.diag[j]);
    });
    if (worst < -tol || (worst < 0.0 && !repair)) return reportError(env, QVNERR_Q_NOT_POS_DEF, "objective");
    if (worst < 0.0) {
      f.perturbation = -worst;
      for (int j = 0; j < n; ++j) f.diag[j] = std::max(f.diag[j], 0.0);
    }
    return 0;
  }
  EnvVector<int> position(static_cast<size_t>(n), -1);
  forEachQEntry(q, n, [&](int i, int j, double) {
    for (int c : {i, j})
      if (position[c] < 0) position[c] = 0, f.cols.push_back(c);
  });
  std::sort(f.cols.begin(), f.cols.end());
  const int k = static_cast<int>(f.cols.size());
  if (k > kDenseQLimit) return QVNERR_LIMITS_TOO_BIG;
  for (int c = 0; c < k; ++c) position[f.cols[c]] = c;
  EnvVector<double> s(static_cast<size_t>(k) * k, 0.0);
  auto at = [&](int i, int j) -> double & { return s[static_cast<size_t>(i) * k + j]; };
  forEachQEntry(q, n, [&](int i, int j, double v) { at(position[i], position[j]) = w.sense * v; });
  EnvVector<char> done(static_cast<size_t>(k), 0);
  f.r.clear();
  for (int step = 0; step < k; ++step) {
    int p = -1;
    for (int i = 0; i < k; ++i)
      if (!done[i] && (p < 0 || at(i, i) > at(p, p))) p = i;
    if (at(p, p) <= tol) break;
    const double root = std::sqrt(at(p, p));
    const size_t row = f.r.size();
    f.r.resize(row + k, 0.0);
    for (int j = 0; j < k; ++j)
      if (!done[j]) f.r[row + j] = at(p, j) / root;
    done[p] = 1;
    // Schur complement of the pivot on what remains.
    for (int i = 0; i < k; ++i) {
      if (done[i] || f.r[row + i] == 0.0) continue;
      for (int j = 0; j < k; ++j)
        if (!done[j]) at(i, j) -= f.r[row + i] * f.r[row + j];
    }
    ++f.rank;
  }
  // What remains must be zero for Q = R'R: a negative diagonal, or an entry
  // off the diagonal between two zero pivots, makes Q indefinite.
  double worst = 0.0;
  for (int i = 0; i < k; ++i) {
    if (done[i]) continue;
    worst = std::min(worst, at(i, i));
    for (int j = 0; j < k; ++j)
      if (!done[j] && j != i && std::fabs(at(i, j)) > tol) return reportError(env, QVNERR_Q_NOT_POS_DEF, "objective");
  }
  if (worst < -tol || (worst < -1e-14 * scale && !repair)) return reportError(env, QVNERR_Q_NOT_POS_DEF, "objective");
  if (worst < 0.0) f.perturbation = -worst;
  return 0;
}

// w with the rows R x - t = 0 and the free columns t, whose diagonal in Q is 1.
void extendByFactor(const WorkLp &w, const QpFactor &f, WorkLp &e, EnvVector<double> &qdiag) {
  const int n = w.numCol, m = w.numRow, r = f.rank, k = static_cast<int>(f.cols.size());
  e.numCol = n + r;
  e.numRow = m + r;
  e.numTot = e.numCol + e.numRow;
  e.sense = w.sense;
  e.offset = w.offset;
  EnvVector<int> compact(static_cast<size_t>(n), -1);
  for (int c = 0; c < k; ++c) compact[f.cols[c]] = c;
  e.aStart.assign(1, 0);
  e.aIndex.clear();
  e.aValue.clear();
  for (int j = 0; j < n; ++j) {
    for (int p = w.aStart[j]; p < w.aStart[j + 1]; ++p) {
      e.aIndex.push_back(w.aIndex[p]);
      e.aValue.push_back(w.aValue[p]);
    }
    if (compact[j] >= 0)
      for (int t = 0; t < r; ++t) {
        const double v = f.r[static_cast<size_t>(t) * k + compact[j]];
        if (v != 0.0) e.aIndex.push_back(m + t), e.aValue.push_back(v);
      }
    e.aStart.push_back(static_cast<int>(e.aIndex.size()));
  }
  for (int t = 0; t < r; ++t) {
    e.aIndex.push_back(m + t);
    e.aValue.push_back(-1.0);
    e.aStart.push_back(static_cast<int>(e.aIndex.size()));
  }
  e.cost.assign(static_cast<size_t>(e.numTot), 0.0);
  e.lower.assign(static_cast<size_t>(e.numTot), 0.0);
  e.upper.assign(static_cast<size_t>(e.numTot), 0.0);
  qdiag.assign(static_cast<size_t>(e.numTot), 0.0);
  for (int j = 0; j < n; ++j) e.cost[j] = w.cost[j], e.lower[j] = w.lower[j], e.upper[j] = w.upper[j];
  for (int t = 0; t < r; ++t) e.lower[n + t] = -kInfinity, e.upper[n + t] = kInfinity, qdiag[n + t] = 1.0;
  for (int i = 0; i < m; ++i) {
    e.cost[e.numCol + i] = w.cost[n + i];
    e.lower[e.numCol + i] = w.lower[n + i];
    e.upper[e.numCol + i] = w.upper[n + i];
  }
}

// x, slacks, duals and reduced costs of the caller's model from the point of
// the run; the reduced costs c + Qx - A'pi and the objective come from the
// caller's own data.
void storeQpPoint(Problem *lp, const WorkLp &w, int extraColumns, const BarrierResult &r) {
  const LpData &d = *lp->lpData;
  const QpData &q = *lp->qpData;
  if (!lp->solution) lp->solution = envNew<SolutionBlock>();
  SolutionBlock &s = *lp->solution;
  const int n = w.numCol, m = w.numRow;
  s.x.assign(r.x.begin(), r.x.begin() + n);
  EnvVector<double> qx(static_cast<size_t>(n), 0.0);
  forEachQEntry(q, n, [&](int i, int j, double v) { qx[i] += v * s.x[j]; });
  s.pi.resize(static_cast<size_t>(m));
  s.slack.resize(static_cast<size_t>(m));
  for (int i = 0; i < m; ++i) {
    s.pi[i] = w.sense * r.y[i];
    s.slack[i] = d.rhs[i] - r.x[n + extraColumns + i];
  }
  s.dj.resize(static_cast<size_t>(n));
  s.objValue = quadraticReducedCosts(d, n, qx.data(), s.x.data(), s.pi.data(), s.dj.data());
  s.iterationCount = 0;
  s.phase1Count = 0;
  s.primalComputed = s.dualComputed = true;
  s.primalFeasible = s.dualFeasible = r.status == kBarOptimal;
  s.method = methodNumber(LpMethod::kBarrier);
  s.barrierIterations = r.iterations;
  lp->status = r.status;
}

} // namespace

int quadraticConvexityTest(Environment *env, const Problem *lp) {
  WorkLp w;
  buildWorkLp(*lp->lpData, w);
  QpFactor f;
  return factorQ(env, *lp->qpData, w, f);
}

int barrierSolveQuadratic(Environment *env, Problem *lp) {
  WorkLp w;
  buildWorkLp(*lp->lpData, w);
  QpFactor f;
  QVN_TRY(factorQ(env, *lp->qpData, w, f));
  BarrierControl ctl;
  barrierControlFromParams(env, ctl);
  if (f.perturbation > 0.0 && ctl.display > 0) {
    QVNmsg(env->warningChannel, "\nWarning:  diagonal perturbation of %.1e ", f.perturbation);
    QVNmsg(env->warningChannel, "required to create PSD Q.\n\n");
  }
  BarrierResult r;
  if (f.diagonalOnly) {
    ctl.qdiag = f.diag.data();
    QVN_TRY(barrierRun(env, w, ctl, r));
    storeQpPoint(lp, w, 0, r);
    return 0;
  }
  WorkLp e;
  EnvVector<double> qdiag;
  extendByFactor(w, f, e, qdiag);
  ctl.qdiag = qdiag.data();
  QVN_TRY(barrierRun(env, e, ctl, r));
  storeQpPoint(lp, w, f.rank, r);
  return 0;
}

} // namespace qvn
