// Trial ratio tests on the held basis: what it would cost to force a basic
// variable out. Nothing of the basis changes.
#include <cmath>

#include "simplex/advanced_basis.h"

using namespace qvn;

namespace {

constexpr double kRowTiny = 1e-9;  // tableau entries below this cannot pivot

// The cheapest objective rise, per unit of the move of the basic variable at
// position r, for a move down (down = true) or up, by a dual ratio test on its
// row: with x_r = const - sum alpha_k x_k, a nonbasic k pays |dj_k / alpha_k|.
// kInfinity when no nonbasic variable can take the move.
double cheapestRate(BasisView &v, int r, bool down) {
  SimplexEngine &e = v.e;
  btranUnitRow(e, r);
  double best = kInfinity;
  for (int k = 0; k < e.nt; ++k) {
    if (e.basicPos[k] >= 0 || e.lower[k] == e.upper[k]) continue;
    // alpha_k of the engine's row: rho'(column k of [A, -I]).
    const double a = columnDot(v.w, k, e.rowRho.array.data());
    if (std::fabs(a) < kRowTiny) continue;
    // Moving x_r down needs x_k up where alpha_k > 0, down where alpha_k < 0.
    const bool kUp = down == (a > 0);
    const bool can = e.move[k] == kAtZero || (kUp ? e.move[k] == kAtLower : e.move[k] == kAtUpper);
    if (!can) continue;
    best = std::min(best, std::max(0.0, e.dj[k] / a * (down ? 1.0 : -1.0)));
  }
  hvClear(e.rowRho);
  return best;
}

// The dual simplex's ratio test on the row of the basic variable at
// position r when it leaves to its lower (toLower) or upper bound. With the
// row x_b + sum alpha_k x_k = beta, the entering k makes d_b = -d_k/alpha_k,
// which must be >= 0 at a lower bound and <= 0 at an upper one; the least
// |d_k / alpha_k| keeps every other reduced cost on its side.
double dualRatio(BasisView &v, int r, bool toLower, int *enter) {
  SimplexEngine &e = v.e;
  btranUnitRow(e, r);
  double best = kInfinity, bestPivot = 0.0;
  int chosen = -1;
  for (int k = 0; k < e.nt; ++k) {
    if (e.basicPos[k] >= 0 || e.lower[k] == e.upper[k]) continue;
    const double a = columnDot(v.w, k, e.rowRho.array.data());
    if (std::fabs(a) < kRowTiny) continue;
    // Which way k would move as it enters: up keeps d_b's sign right when
    // alpha_k < 0 for a lower exit, alpha_k > 0 for an upper one.
    const bool kUp = toLower == (a < 0);
    const bool can = e.move[k] == kAtZero || (kUp ? e.move[k] == kAtLower : e.move[k] == kAtUpper);
    if (!can) continue;
    const double rate = std::fabs(e.dj[k] / a);
    if (rate < best - 1e-12 || (rate <= best + 1e-12 && std::fabs(a) > bestPivot))
      best = rate, bestPivot = std::fabs(a), chosen = k;
  }
  hvClear(e.rowRho);
  *enter = chosen;
  return best;
}

// The caller's status of variable var at its lower (engine move kAtLower)
// or upper bound: a row's in the slack form.
int userBoundStatus(const BasisView &v, int var, bool upper) {
  const int s = upper ? 2 : 0;
  return var < v.e.n ? s : rowStatusToUser(*v.lp->lpData, var - v.e.n, s);
}

struct PrimalStep {
  double ratio = 0.0;
  int leave = -1, leaveStatus = 0, status = 2;
};

// Nonbasic variable q of the engine moves by t >= 0 in direction dir (+1 up,
// -1 down): x_B(t) = x_B - t dir B^-1 a_q. The first basic variable to reach
// a bound, or q at its own other bound, ends the step. e.column holds
// B^-1 a_q by position.
PrimalStep primalStep(BasisView &v, int q, int dir) {
  SimplexEngine &e = v.e;
  PrimalStep step;
  const bool free = e.lower[q] <= -kInfinity && e.upper[q] >= kInfinity;
  const bool allowed = e.lower[q] < e.upper[q] &&
                       (free || e.move[q] == kAtZero || (dir > 0 ? e.move[q] == kAtLower : e.move[q] == kAtUpper));
  if (!allowed) return step;
  step.status = 1;
  step.ratio = kInfinity;
  const double own = e.upper[q] - e.lower[q];
  if (own < kInfinity) {
    step.ratio = own;
    step.leave = q;
    step.leaveStatus = dir > 0 ? 2 : 0;
    step.status = 0;
  }
  for (int r = 0; r < e.m; ++r) {
    const double alpha = e.column.array[r];
    if (std::fabs(alpha) < kRowTiny) continue;
    const int b = e.head[r];
    const double change = -dir * alpha;  // of x_b per unit of t
    const double room = change < 0 ? e.x[b] - e.lower[b] : e.upper[b] - e.x[b];
    if (room >= kInfinity) continue;
    const double t = std::max(0.0, room) / std::fabs(change);
    if (t < step.ratio) {
      step.ratio = t;
      step.leave = b;
      step.leaveStatus = change < 0 ? 0 : 2;
      step.status = 0;
    }
  }
  return step;
}


} // namespace

extern "C" {

QVN_API int QVNmdleave(QVNCENVptr cenv, QVNLPptr lp, const int *indices, int cnt, double *downratio,
                       double *upratio) {
  auto *env = const_cast<Environment *>(cenv);
  return guardedProblem(env, lp, [&](Problem *p) -> int {
    if (isMipType(p->probType)) return QVNERR_NOT_FOR_MIP;
    if (cnt < 0) return QVNERR_BAD_ARGUMENT;
    if (cnt > 0 && (!indices || !downratio || !upratio)) return QVNERR_NULL_POINTER;
    BasisView v;
    QVN_TRY(openBasisView(env, p, v));
    SimplexEngine &e = v.e;
    for (int k = 0; k < cnt; ++k) {
      if (indices[k] < 0 || indices[k] >= e.n) return QVNERR_COL_INDEX_RANGE;
      if (e.basicPos[indices[k]] < 0) return QVNERR_NOT_BASIC;
    }
    for (int k = 0; k < cnt; ++k) {
      const int j = indices[k], r = e.basicPos[j];
      const double down = e.lower[j] > -kInfinity ? std::max(0.0, e.x[j] - e.lower[j]) : kInfinity;
      const double up = e.upper[j] < kInfinity ? std::max(0.0, e.upper[j] - e.x[j]) : kInfinity;
      const double rateDown = cheapestRate(v, r, true), rateUp = cheapestRate(v, r, false);
      downratio[k] = down >= kInfinity || rateDown >= kInfinity ? kInfinity : std::min(kInfinity, down * rateDown);
      upratio[k] = up >= kInfinity || rateUp >= kInfinity ? kInfinity : std::min(kInfinity, up * rateUp);
    }
    return 0;
  });
}

QVN_API int QVNpratio(QVNCENVptr cenv, QVNLPptr lp, const int *indices, int cnt, double *downratio,
                      double *upratio, int *downleave, int *upleave, int *downleavestatus, int *upleavestatus,
                      int *downstatus, int *upstatus) {
  auto *env = const_cast<Environment *>(cenv);
  return guardedProblem(env, lp, [&](Problem *p) -> int {
    if (isMipType(p->probType)) return QVNERR_NOT_FOR_MIP;
    if (cnt < 0) return QVNERR_BAD_ARGUMENT;
    if (cnt > 0 && (!indices || !downratio || !upratio || !downleave || !upleave || !downleavestatus ||
                    !upleavestatus || !downstatus || !upstatus))
      return QVNERR_NULL_POINTER;
    BasisView v;
    QVN_TRY(openBasisView(env, p, v));
    SimplexEngine &e = v.e;
    for (int k = 0; k < cnt; ++k) {
      const int q = engineVariable(v, indices[k]);
      if (q < 0) return indices[k] >= 0 ? QVNERR_COL_INDEX_RANGE : QVNERR_ROW_INDEX_RANGE;
      if (e.basicPos[q] >= 0) return QVNERR_BAD_ARGUMENT;  // a basic variable has no primal ratio test
    }
    for (int k = 0; k < cnt; ++k) {
      const int q = engineVariable(v, indices[k]);
      HVector &col = e.column;
      hvClear(col);
      addColumn(v.w, q, 1.0, col.array.data());
      col.count = -1;
      ftran(e.factor, col);
      // A slack moves against its row's activity: the caller's up is the engine's down.
      const int userUp = q < e.n ? 1 : -1;
      const PrimalStep up = primalStep(v, q, userUp), down = primalStep(v, q, -userUp);
      hvClear(col);
      const auto out = [&](const PrimalStep &s, double *ratio, int *leave, int *leaveStatus, int *status) {
        *ratio = s.status == 1 ? kInfinity : s.ratio;
        *leave = s.leave >= 0 ? userIndex(v, s.leave) : -1;
        *leaveStatus = s.leave >= 0 ? userBoundStatus(v, s.leave, s.leaveStatus == 2) : 0;
        *status = s.status;
      };
      out(up, &upratio[k], &upleave[k], &upleavestatus[k], &upstatus[k]);
      out(down, &downratio[k], &downleave[k], &downleavestatus[k], &downstatus[k]);
    }
    return 0;
  });
}

QVN_API int QVNdratio(QVNCENVptr cenv, QVNLPptr lp, const int *indices, int cnt, double *downratio,
                      double *upratio, int *downenter, int *upenter, int *downstatus, int *upstatus) {
  auto *env = const_cast<Environment *>(cenv);
  return guardedProblem(env, lp, [&](Problem *p) -> int {
    if (isMipType(p->probType)) return QVNERR_NOT_FOR_MIP;
    if (cnt < 0) return QVNERR_BAD_ARGUMENT;
    if (cnt > 0 && (!indices || !downratio || !upratio || !downenter || !upenter || !downstatus || !upstatus))
      return QVNERR_NULL_POINTER;
    BasisView v;
    QVN_TRY(openBasisView(env, p, v));
    SimplexEngine &e = v.e;
    for (int k = 0; k < cnt; ++k) {
      const int b = engineVariable(v, indices[k]);
      if (b < 0) return indices[k] >= 0 ? QVNERR_COL_INDEX_RANGE : QVNERR_ROW_INDEX_RANGE;
      if (e.basicPos[b] < 0) return QVNERR_NOT_BASIC;
    }
    for (int k = 0; k < cnt; ++k) {
      const int b = engineVariable(v, indices[k]), r = e.basicPos[b];
      // For a slack the caller's lower bound is the activity's upper one.
      const bool flip = b >= e.n;
      for (int side = 0; side < 2; ++side) {
        const bool userDown = side == 0, down = userDown != flip;
        double *ratio = userDown ? &downratio[k] : &upratio[k];
        int *enter = userDown ? &downenter[k] : &upenter[k], *status = userDown ? &downstatus[k] : &upstatus[k];
        if ((down ? e.lower[b] : e.upper[b]) >= kInfinity || (down ? e.lower[b] : e.upper[b]) <= -kInfinity) {
          *ratio = 0.0, *enter = -1, *status = 2;
          continue;
        }
        int entering = -1;
        const double rate = dualRatio(v, r, down, &entering);
        *ratio = rate;
        *enter = entering >= 0 ? userIndex(v, entering) : -1;
        *status = entering >= 0 ? 0 : 1;
      }
    }
    return 0;
  });
}

// Recomputes the basic solution of the held basis and keeps it as the
// problem's solution, with its feasibility told by the run's tolerances.
QVN_API int QVNchecksoln(QVNCENVptr cenv, QVNLPptr lp, int *lpstatus) {
  auto *env = const_cast<Environment *>(cenv);
  return guardedProblem(env, lp, [&](Problem *p) -> int {
    if (isMipType(p->probType)) return QVNERR_NOT_FOR_MIP;
    if (!lpstatus) return QVNERR_NULL_POINTER;
    BasisView v;
    QVN_TRY(openBasisView(env, p, v));
    SimplexEngine &e = v.e;
    const LpData &d = *p->lpData;
    int worstAt = -1;
    const double dualInfeasibility = maxDualInfeasibility(v, &worstAt);
    if (!p->solution) p->solution = envNew<SolutionBlock>();
    SolutionBlock &s = *p->solution;
    storeBasicPoint(e, d, s);
    s.primalFeasible = maxPrimalInfeasibility(e) <= e.primalTol;
    s.dualFeasible = dualInfeasibility <= e.dualTol;
    *lpstatus = s.primalFeasible && s.dualFeasible ? 1 : 0;
    // A basic solution that is not both ways feasible is readable but not optimal.
    p->status = *lpstatus ? kRunOptimal : kRunNonOptimal;
    return 0;
  });
}

} // extern "C"
