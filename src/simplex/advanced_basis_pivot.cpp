// Moving the held basis by hand: one pivot, forced exits of slacks or columns,
// and the switch to phase 2 after such a sequence.
#include <cmath>

#include "simplex/advanced_basis.h"

using namespace qvn;

namespace {

constexpr double kPivotTolerance = 1e-9;  // smaller pivots would leave B near singular

// Column q of [A, -I] through the factor, by basis position, into e.column.
void ftranVariable(BasisView &v, int q) {
  HVector &col = v.e.column;
  hvClear(col);
  addColumn(v.w, q, 1.0, col.array.data());
  col.count = -1;
  ftran(v.e.factor, col);
}

// The engine's nonbasic move for a caller's leaving status of variable var
// (rows in slack form), or -1 when the bound it names is infinite.
int leavingMove(const BasisView &v, int var, int leavestat) {
  const LpData &d = *v.lp->lpData;
  int s = leavestat;
  if (var >= v.e.n) s = rowStatusFromUser(d, var - v.e.n, leavestat);
  if (s == 0) return v.e.lower[var] > -kInfinity ? kAtLower : -1;
  if (s == 2) return v.e.upper[var] < kInfinity ? kAtUpper : -1;
  return -1;
}

// Makes q basic in place of the basic variable at position r, which leaves
// at `move`; refactors so that the view stays usable.
int exchange(BasisView &v, int q, int r, signed char move) {
  const int leaving = v.e.head[r];
  changeBasis(v.e, q, r, move);
  placeNonbasic(v.e, leaving);
  const int status = refactor(v.e);
  if (status == QVNERR_NO_MEMORY) return status;
  if (status != 0 || v.e.repairs > 0) return QVNERR_SINGULAR;
  computePrimal(v.e);
  computeDual(v.e);
  return 0;
}

int pivot(Environment *env, Problem *p, int jenter, int jleave, int leavestat) {
  if (isMipType(p->probType)) return QVNERR_NOT_FOR_MIP;
  BasisView v;
  QVN_TRY(openBasisView(env, p, v));
  const int q = engineVariable(v, jenter), l = engineVariable(v, jleave);
  if (q < 0) return jenter >= 0 ? QVNERR_COL_INDEX_RANGE : QVNERR_ROW_INDEX_RANGE;
  if (l < 0) return jleave >= 0 ? QVNERR_COL_INDEX_RANGE : QVNERR_ROW_INDEX_RANGE;
  if (v.e.basicPos[q] >= 0) return QVNERR_BAD_PIVOT;
  const int move = leavingMove(v, l, leavestat);
  if (move < 0) return QVNERR_BAD_PIVOT;
  if (q == l) {
    // A flip: the entering variable stays nonbasic, at its other bound.
    v.e.move[q] = static_cast<signed char>(move);
    placeNonbasic(v.e, q);
    storeViewBasis(env, v);
    return 0;
  }
  const int r = v.e.basicPos[l];
  if (r < 0) return QVNERR_BAD_PIVOT;
  ftranVariable(v, q);
  const double alpha = v.e.column.array[r];
  hvClear(v.e.column);
  if (std::fabs(alpha) < kPivotTolerance) return QVNERR_BAD_PIVOT;
  const int status = exchange(v, q, r, static_cast<signed char>(move));
  if (status == QVNERR_SINGULAR) return QVNERR_BAD_PIVOT;
  QVN_TRY(status);
  storeViewBasis(env, v);
  return 0;
}

// Forces basic variable var out by a dual ratio test on its row: the entering
// variable keeps the reduced costs of the others feasible where it can. The
// leaving variable goes to the bound nearer its value. False when no entry
// of the row can pivot.
bool forceOut(BasisView &v, int var) {
  SimplexEngine &e = v.e;
  const int r = e.basicPos[var];
  if (r < 0) return true;
  btranUnitRow(e, r);
  int best = -1;
  double bestRatio = kInfinity, bestPivot = 0.0;
  for (int j = 0; j < e.nt; ++j) {
    if (e.basicPos[j] >= 0) continue;
    const double a = columnDot(v.w, j, e.rowRho.array.data());
    if (std::fabs(a) < 1e-7) continue;
    const double ratio = std::fabs(e.dj[j]) / std::fabs(a);
    // Prefer the smallest ratio; among ties the largest pivot.
    if (ratio < bestRatio - 1e-12 || (ratio <= bestRatio + 1e-12 && std::fabs(a) > bestPivot))
      best = j, bestRatio = ratio, bestPivot = std::fabs(a);
  }
  hvClear(e.rowRho);
  if (best < 0) return false;
  const double x = e.x[var];
  signed char move = kAtLower;
  if (e.lower[var] <= -kInfinity && e.upper[var] >= kInfinity)
    move = kAtZero;
  else if (e.lower[var] <= -kInfinity || (e.upper[var] < kInfinity && e.upper[var] - x < x - e.lower[var]))
    move = kAtUpper;
  return exchange(v, best, r, move) == 0;
}

int forceOutAll(Environment *env, QVNLPptr lp, const int *indices, int count, bool rows) {
  return guardedProblem(env, lp, [&](Problem *p) -> int {
    if (isMipType(p->probType)) return QVNERR_NOT_FOR_MIP;
    if (count < 0) return QVNERR_BAD_ARGUMENT;
    if (count > 0 && !indices) return QVNERR_NULL_POINTER;
    BasisView v;
    QVN_TRY(openBasisView(env, p, v));
    const int limit = rows ? v.e.m : v.e.n;
    for (int k = 0; k < count; ++k)
      if (indices[k] < 0 || indices[k] >= limit) return rows ? QVNERR_ROW_INDEX_RANGE : QVNERR_COL_INDEX_RANGE;
    const double savedMarkowitz = v.e.factor.markowitz;
    if (v.e.factor.markowitz < 0.1) v.e.factor.markowitz = 0.1;
    int moved = 0;
    for (int k = 0; k < count; ++k) {
      const int var = rows ? v.e.n + indices[k] : indices[k];
      if (v.e.basicPos[var] < 0) continue;
      if (forceOut(v, var)) ++moved;
    }
    v.e.factor.markowitz = savedMarkowitz;
    if (moved > 0) storeViewBasis(env, v);
    if (v.e.display > 0 && moved > 0) {
      const char *what = rows ? "row" : "column";
      if (moved == 1)
        QVNmsg(env->resultsChannel, "1 %s pivoted %s.\n", what, rows ? "in" : "out");
      else
        QVNmsg(env->resultsChannel, "%d %ss pivoted %s.\n", moved, what, rows ? "in" : "out");
    }
    return 0;
  });
}

} // namespace

extern "C" {

QVN_API int QVNpivot(QVNCENVptr cenv, QVNLPptr lp, int jenter, int jleave, int leavestat) {
  auto *env = const_cast<Environment *>(cenv);
  return guardedProblem(env, lp, [&](Problem *p) { return pivot(env, p, jenter, jleave, leavestat); });
}

QVN_API int QVNpivotin(QVNCENVptr cenv, QVNLPptr lp, const int *rows, int count) {
  return forceOutAll(const_cast<Environment *>(cenv), lp, rows, count, true);
}

QVN_API int QVNpivotout(QVNCENVptr cenv, QVNLPptr lp, const int *columns, int count) {
  return forceOutAll(const_cast<Environment *>(cenv), lp, columns, count, false);
}

// The next optimization starts from the held basis as it stands: with a
// primal feasible basis the automatic choice takes the primal, in phase 2.
QVN_API int QVNsetphase2(QVNCENVptr cenv, QVNLPptr lp) {
  auto *env = const_cast<Environment *>(cenv);
  return guardedProblem(env, lp, [&](Problem *p) -> int {
    BasisView v;
    QVN_TRY(openBasisView(env, p, v));
    if (maxPrimalInfeasibility(v.e) > v.e.primalTol) return QVNERR_BAD_PIVOT;
    return 0;
  });
}

} // extern "C"
