// Column reductions: empty and fixed columns, columns fixed by the sign of
// their cost (dominated columns), and implied free column singletons.
#include <cmath>

#include "presolve/presolve_state.h"
#include "runtime/environment.h"

namespace qvn {

namespace {

bool logOn(const Environment *env) { return env->generalParams->simdisplay != 0; }

int dualInfeasible(Environment *env, const Problem *lp, const char *format, int j) {
  char buf[32];
  if (logOn(env)) QVNmsg(env->resultsChannel, format, colNameOf(lp, j, buf));
  return QVNERR_PRESLV_INForUNBD;
}

int emptyColumn(Environment *env, const Problem *lp, PresolveState &s, int j) {
  const double l = s.colLower[j], u = s.colUpper[j], c = s.cost[j];
  if (s.dualLevel == 0 || s.protectedCol[j]) return 0;
  if (c > 0) {
    if (l <= -kPreInf) return dualInfeasible(env, lp, "Dual infeasible due to empty column '%.255s'.\n", j);
    fixColumn(s, j, l, kRecAtLower);
  } else if (c < 0) {
    if (u >= kPreInf) return dualInfeasible(env, lp, "Dual infeasible due to empty column '%.255s'.\n", j);
    fixColumn(s, j, u, kRecAtUpper);
  } else if (l > -kPreInf) {
    fixColumn(s, j, l, kRecAtLower);
  } else if (u < kPreInf) {
    fixColumn(s, j, u, kRecAtUpper);
  } else {
    fixColumn(s, j, 0.0, kRecFreeEmpty);
  }
  return 0;
}

// A column whose rows never stop it from moving in the direction its cost
// favours goes to that bound.
int dominatedColumn(Environment *env, const Problem *lp, PresolveState &s, int j) {
  bool canDecrease = true, canIncrease = true;
  for (int e : s.colEntries[j]) {
    const PresolveEntry &en = s.entries[e];
    if (!en.alive) continue;
    const bool hasLower = s.rowLower[en.row] > -kPreInf, hasUpper = s.rowUpper[en.row] < kPreInf;
    if (en.value > 0) {
      if (hasLower) canDecrease = false;
      if (hasUpper) canIncrease = false;
    } else {
      if (hasUpper) canDecrease = false;
      if (hasLower) canIncrease = false;
    }
    if (!canDecrease && !canIncrease) return 0;
  }
  const double c = s.cost[j], l = s.colLower[j], u = s.colUpper[j];
  if (canDecrease && c >= 0) {
    if (l > -kPreInf) {
      fixColumn(s, j, l, kRecAtLower);
    } else if (c > 0) {
      return dualInfeasible(env, lp, "Primal unbounded due to dual bounds, variable '%.255s'.\n", j);
    }
  } else if (canIncrease && c <= 0) {
    if (u < kPreInf) {
      fixColumn(s, j, u, kRecAtUpper);
    } else if (c < 0) {
      return dualInfeasible(env, lp, "Primal unbounded due to dual bounds, variable '%.255s'.\n", j);
    }
  }
  return 0;
}

// A column singleton that its row keeps within bounds acts as the row's free
// variable: its dual makes the row's dual c_j / a_rj, whose sign tells
// which side of an inequality row binds. The row becomes that equality and
// the column is substituted out.
int impliedFreeSingleton(Environment *env, const Problem *lp, PresolveState &s, int j) {
  int r = -1;
  double a = 0.0;
  for (int e : s.colEntries[j])
    if (s.entries[e].alive) r = s.entries[e].row, a = s.entries[e].value;
  if (s.rowLive[r] < 1 || !impliedFree(s, r, j)) return 0;
  if (std::fabs(a) < 1e-7) return 0;
  if (s.rowLower[r] != s.rowUpper[r]) {
    const double pi = s.cost[j] / a;
    int side = pi > 0 ? 0 : pi < 0 ? 2 : (s.rowLower[r] > -kPreInf ? 0 : 2);
    const double target = side == 0 ? s.rowLower[r] : s.rowUpper[r];
    if (target <= -kPreInf || target >= kPreInf) {
      if (pi == 0.0) return 0;  // a free row: the activity pass drops it
      char buf[32];
      if (logOn(env)) QVNmsg(env->resultsChannel, "Dual infeasible due to dual bounds, row '%.255s'.\n", rowNameOf(lp, r, buf));
      return QVNERR_PRESLV_INForUNBD;
    }
    const int rec = pushRecord(s, kRecSideChosen, r);
    record(s, rec).value = side;
    s.rowLower[r] = s.rowUpper[r] = target;
  }
  return substituteColumn(s, r, j, -1);
}

} // namespace

int columnPass(Environment *env, const Problem *lp, PresolveState &s, const EnvVector<int> &cols) {
  for (int j : cols) {
    if (s.colLive[j] < 0) continue;
    const double l = s.colLower[j], u = s.colUpper[j];
    if (l - u > s.feasTol * std::max(1.0, std::fabs(l))) {
      char buf[32];
      if (logOn(env)) QVNmsg(env->resultsChannel, "Bound infeasibility column '%.255s'.\n", colNameOf(lp, j, buf));
      return QVNERR_PRESLV_INForUNBD;
    }
    if (u - l <= 1e-10 * std::max(1.0, std::fabs(l)) && l > -kPreInf && u < kPreInf) {
      fixColumn(s, j, l, kRecFixed);
      continue;
    }
    if (s.colLive[j] == 0) {
      QVN_TRY(emptyColumn(env, lp, s, j));
      continue;
    }
    if (s.dualLevel > 0 && !s.protectedCol[j]) {
      QVN_TRY(dominatedColumn(env, lp, s, j));
      if (s.colLive[j] < 0) continue;
    }
    if (s.colLive[j] == 1 && s.primalFlag && s.dualLevel > 0 && !s.protectedCol[j])
      QVN_TRY(impliedFreeSingleton(env, lp, s, j));
  }
  return 0;
}

} // namespace qvn
