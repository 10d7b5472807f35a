// Dual pushes: the reduced cost of every basic variable goes to 0 by a move
// of y along a row of the basis inverse, or a nonbasic variable whose reduced
// cost reaches 0 first enters the basis in its place.
//
// For the basic variable j at position r and rho = row r of B^-1, the move
// y(t) = y + t s rho (s the sign of z_j) changes each reduced cost by
// z_k(t) = z_k - t s alpha_rk with alpha_rk = rho^T a_k: z_j falls to 0 at
// t = |z_j|, the other basic ones stay, and the ratio test keeps every
// nonbasic reduced cost on the side its bound allows.
#include <algorithm>
#include <cmath>

#include "barrier/crossover.h"

namespace qvn {

namespace {

constexpr double kRowZero = 1e-11;     // entries of a pivot row below this are rounding
constexpr double kPivotTol = 1e-7;     // smallest pivot an exchange accepts
constexpr double kHarrisTol = 1e-9;    // overstep of a reduced cost past 0 the ratio test allows
constexpr double kPivotDrift = 1e-6;   // row and column pivots further apart ask for a new factor
constexpr double kBoundGap = 1e-9;     // a leaving variable this near its bound is at it

// The reduced cost below which a basic variable needs no push.
double dualZero(const SimplexEngine &e, int j) { return 1e-9 * std::max(1.0, std::fabs(e.lp->cost[j])); }

// Change of z_k per unit step that would break its sign condition, as the
// step at which it does; kInfinity when none. Reduced costs already on the
// wrong side are left to the simplex rather than allowed to stop every move.
double blockingStep(const SimplexEngine &e, int k, double zk, double g, bool exact) {
  const double tol = exact ? 0.0 : kHarrisTol;
  const bool lowerSide = e.move[k] == kAtLower && e.lower[k] > -kInfinity;
  const bool upperSide = e.move[k] == kAtUpper && e.upper[k] < kInfinity;
  const bool zeroSide = !lowerSide && !upperSide;
  if (g < 0 && (lowerSide || zeroSide)) {
    if (zk < -kHarrisTol) return kInfinity;
    return std::max((zk + tol) / -g, 0.0);
  }
  if (g > 0 && (upperSide || zeroSide)) {
    if (zk > kHarrisTol) return kInfinity;
    return std::max((tol - zk) / g, 0.0);
  }
  return kInfinity;
}

double dualInfeasibilitySum(const CrossoverWork &cw) {
  const SimplexEngine &e = cw.e;
  double sum = 0.0;
  for (int k = 0; k < e.nt; ++k) {
    if (e.lower[k] == e.upper[k]) continue;
    const double zk = cw.z[k];
    if (e.basicPos[k] >= 0)
      sum += std::fabs(zk);
    else if (e.move[k] == kAtLower && e.lower[k] > -kInfinity)
      sum += std::max(-zk, 0.0);
    else if (e.move[k] == kAtUpper && e.upper[k] < kInfinity)
      sum += std::max(zk, 0.0);
    else
      sum += std::fabs(zk);
  }
  return sum;
}

void logDualMoves(const CrossoverWork &cw) {
  const SimplexEngine &e = cw.e;
  // With [A, -I] x = 0, c^T x = z^T x: the dual objective of the point.
  double obj = 0.0;
  for (int k = 0; k < e.nt; ++k) obj += cw.z[k] * e.x[k];
  QVNmsg(e.env->resultsChannel, "   %6d DMoves:  Infeasibility %15.8e  Objective %15.8e\n", cw.moves,
         dualInfeasibilitySum(cw), e.lp->sense * obj + e.lp->offset);
}

// y moves by step rho. In the row, the basic variable j of the row has the
// entry 1 and the other basic ones 0: those are set, not summed.
void moveDuals(CrossoverWork &cw, int j, double step) {
  SimplexEngine &e = cw.e;
  const HVector &rho = e.rowRho, &alpha = e.rowAlpha;
  for (int q = 0; q < rho.count; ++q) cw.y[rho.index[q]] += step * rho.array[rho.index[q]];
  for (int q = 0; q < alpha.count; ++q) {
    const int k = alpha.index[q];
    if (e.basicPos[k] < 0) cw.z[k] -= step * alpha.array[k];
  }
  cw.z[j] -= step;
}

// True when moving nonbasic `enter` by theta along the solved column in
// e.column keeps it and every basic variable within bounds.
bool primalMoveFeasible(const SimplexEngine &e, int enter, double theta) {
  auto inside = [&](int k, double v) {
    const double tol = kBoundGap * std::max(1.0, std::fabs(v));
    return v >= e.lower[k] - tol && v <= e.upper[k] + tol;
  };
  if (!inside(enter, e.x[enter] + theta)) return false;
  const HVector &col = e.column;
  for (int q = 0; q < col.count; ++q) {
    const int pos = col.index[q], k = e.head[pos];
    const double before = e.x[k], after = before - theta * col.array[pos];
    // A variable already outside may not go further out.
    if (!inside(k, after) && std::fabs(after - std::clamp(after, e.lower[k], e.upper[k])) >
                                 std::fabs(before - std::clamp(before, e.lower[k], e.upper[k])))
      return false;
  }
  return true;
}

enum class DualOutcome { kPushed, kExchanged, kRefused, kRefactor };

DualOutcome pushOne(CrossoverWork &cw, int j) {
  SimplexEngine &e = cw.e;
  const int r = e.basicPos[j];
  const double s = cw.z[j] > 0 ? 1.0 : -1.0, target = std::fabs(cw.z[j]);
  btranUnitRow(e, r);
  computePivotRow(e);
  const HVector &row = e.rowAlpha;
  double thetaMax = target;
  for (int q = 0; q < row.count; ++q) {
    const int k = row.index[q];
    const double a = row.array[k];
    if (e.basicPos[k] >= 0 || std::fabs(a) < kRowZero || e.lower[k] == e.upper[k]) continue;
    thetaMax = std::min(thetaMax, blockingStep(e, k, cw.z[k], -s * a, false));
  }
  if (thetaMax >= target) {
    moveDuals(cw, j, s * target);
    cw.z[j] = 0.0;
    ++cw.counts.dualPushes;
    return DualOutcome::kPushed;
  }
  int enter = -1;
  double bestAbs = 0.0, enterStep = 0.0;
  for (int q = 0; q < row.count; ++q) {
    const int k = row.index[q];
    const double a = row.array[k];
    if (e.basicPos[k] >= 0 || std::fabs(a) < kRowZero || e.lower[k] == e.upper[k]) continue;
    const double t = blockingStep(e, k, cw.z[k], -s * a, true);
    if (t <= thetaMax && std::fabs(a) > bestAbs) bestAbs = std::fabs(a), enter = k, enterStep = t;
  }
  // j leaves at the bound its reduced cost asks for; without that bound, or
  // with only a tiny pivot, it cannot leave and keeps its dual.
  // A fixed variable leaves at its value, whatever the sign.
  const bool toLower = s > 0 || e.lower[j] == e.upper[j];
  const double bound = toLower ? e.lower[j] : e.upper[j];
  if (enter < 0 || bestAbs < kPivotTol || std::fabs(bound) >= kInfinity) {
    if (cw.log) QVNmsg(e.env->resultsChannel, "Dual singularity.\n");
    return DualOutcome::kRefused;
  }
  const double alphaRow = row.array[enter];
  // The entering column, solved for the update and for the primal values.
  HVector &col = e.column;
  hvClear(col);
  addColumn(*e.lp, enter, 1.0, col.array.data());
  if (enter < e.n) {
    col.count = 0;
    for (int p = e.lp->aStart[enter]; p < e.lp->aStart[enter + 1]; ++p) col.index[col.count++] = e.lp->aIndex[p];
  } else {
    col.index[0] = enter - e.n;
    col.count = 1;
  }
  ftranForUpdate(e.factor, col);
  const double alpha = col.array[r];
  if (std::fabs(alpha - alphaRow) > kPivotDrift * std::max(1.0, std::fabs(alpha))) {
    hvClear(col);
    return DualOutcome::kRefactor;
  }
  // Primal: the entering variable moves so that j reaches its bound exactly.
  // At a complementary point j is there already and the move is nil.
  const double theta = (e.x[j] - bound) / alpha;
  // After the primal pushes the point is primal feasible and the simplex to
  // come is the primal: a move that breaks a bound would cost it that, so
  // then j stays.
  if (cw.primalFirst && std::fabs(e.x[j] - bound) > kBoundGap * std::max(1.0, std::fabs(bound)) &&
      !primalMoveFeasible(e, enter, theta)) {
    hvClear(col);
    return DualOutcome::kRefused;
  }
  moveDuals(cw, j, s * enterStep);
  cw.z[enter] = 0.0;
  for (int q = 0; q < col.count; ++q) {
    const int pos = col.index[q];
    e.x[e.head[pos]] -= theta * col.array[pos];
  }
  const double value = e.x[enter] + theta;
  updateFactor(e.factor, r, alpha);
  changeBasis(e, enter, r, toLower ? kAtLower : kAtUpper);
  e.x[enter] = value;
  e.x[j] = bound;
  hvClear(col);
  ++cw.counts.dualExchanges;
  return DualOutcome::kExchanged;
}

} // namespace

int dualPushes(CrossoverWork &cw) {
  SimplexEngine &e = cw.e;
  Environment *env = e.env;
  cw.dualList.clear();
  for (int k = 0; k < e.m; ++k) {
    const int j = e.head[k];
    if (std::fabs(cw.z[j]) > dualZero(e, j)) cw.dualList.push_back(j);
  }
  const int count = static_cast<int>(cw.dualList.size());
  if (cw.log) {
    if (count == 0)
      QVNmsg(env->resultsChannel, "  Dual:  Fixed no variables.\n");
    else if (count == 1)
      QVNmsg(env->resultsChannel, "  Dual:  Fixing 1 variable.\n");
    else
      QVNmsg(env->resultsChannel, "  Dual:  Fixing %d variables.\n", count);
  }
  const int pushesBefore = cw.counts.dualPushes, exchangesBefore = cw.counts.dualExchanges;
  cw.moves = 0;
  bool logged = false;
  int retries = 0;
  for (size_t k = 0; k < cw.dualList.size(); ++k) {
    const int j = cw.dualList[k];
    // One that left the basis meanwhile keeps its reduced cost.
    if (e.basicPos[j] < 0 || std::fabs(cw.z[j]) <= dualZero(e, j)) continue;
    if (crossoverLimitHit(cw)) break;
    if (cw.log && !logged) logDualMoves(cw), logged = true;
    const DualOutcome out = pushOne(cw, j);
    hvClear(e.rowRho);
    hvClear(e.rowAlpha);
    if (out == DualOutcome::kPushed || out == DualOutcome::kExchanged) ++cw.moves;
    if (out == DualOutcome::kRefactor || refactorDue(e.factor)) {
      QVN_TRY(crossoverRefactor(cw));
      if (cw.log) logDualMoves(cw);
      // A drifted factor: the same variable once more on the fresh one.
      if (out == DualOutcome::kRefactor && retries++ < e.m) --k;
    }
    crossoverElapsedLine(cw, "DMoves");
  }
  if (cw.log && cw.moves > 0) logDualMoves(cw);
  if (cw.log && count > 0)
    QVNmsg(env->resultsChannel, "  Dual:  Pushed %d, exchanged %d.\n", cw.counts.dualPushes - pushesBefore,
           cw.counts.dualExchanges - exchangesBefore);
  return 0;
}

} // namespace qvn
