// Column reductions: empty and fixed columns, columns fixed by the sign of
// their cost (dominated columns), and implied free column singletons.
#include <algorithm>
#include <cmath>

#include "presolve/parallel_lines.h"
#include "runtime/environment.h"

namespace qvn {

namespace {

bool logOn(const Environment *env) { return env->generalParams->simdisplay != 0; }

int dualInfeasible(Environment *env, const Problem *lp, PresolveState &s, const char *format, int j) {
  char buf[32];
  if (logOn(env)) QVNmsg(env->resultsChannel, format, colNameOf(lp, j, buf));
  s.dualVerdict = true;
  return QVNERR_PRESLV_INForUNBD;
}

int emptyColumn(Environment *env, const Problem *lp, PresolveState &s, int j) {
  const double l = s.colLower[j], u = s.colUpper[j], c = s.cost[j];
  if (s.dualLevel == 0 || s.protectedCol[j]) return 0;
  s.dualRemoved[j] = 1, s.dualUsed = true;  // its value follows from its cost alone
  if (c > 0) {
    if (l <= -kPreInf) return dualInfeasible(env, lp, s, "Dual infeasible due to empty column '%.255s'.\n", j);
    fixColumn(s, j, l, kRecAtLower);
  } else if (c < 0) {
    if (u >= kPreInf) return dualInfeasible(env, lp, s, "Dual infeasible due to empty column '%.255s'.\n", j);
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

// A column of zero cost that no row stops from growing (or falling) without
// limit satisfies every row it touches, whatever the other columns do: it
// goes "to its infinite bound" with those rows, and the replay gives it the
// least finite value that holds them all. Record kind 1 (upward) or 2
// (downward): index the column, value its own finite bound on the far side
// (or the infinity), group 1, per row, the entries (k, -a_ik / a_ij) of the
// other columns closed by (-1 - i, b_i / a_ij), b_i the row's finite limit;
// each group sums to one bound on x_j. The rows' duals are 0 and so is the
// column's reduced cost, so the replayed point stays optimal.
void toInfiniteBound(Environment *env, const Problem *lp, PresolveState &s, int j, bool upward) {
  if (logOn(env)) {
    char buf[32];
    QVNmsg(env->resultsChannel, "Column '%.255s' set to infinite %s bound.\n", colNameOf(lp, j, buf),
           upward ? "upper" : "lower");
  }
  ++s.impliedEpoch;  // its rows leave: what they implied for others no longer holds
  const int rec = pushRecord(s, upward ? kRecInfiniteUpper : kRecInfiniteLower, j);
  record(s, rec).value = upward ? s.colLower[j] : s.colUpper[j];
  record(s, rec).cost = 0.0;
  EnvVector<std::pair<int, double>> rows, bounding;
  for (int e : s.colEntries[j])
    if (s.entries[e].alive) rows.push_back({s.entries[e].row, s.entries[e].value});
  for (const auto &[i, a] : rows) {
    // Growing x_j moves a x_j towards the row's open side; the other side
    // (finite or not) is the only one that can bind.
    const double limit = (a > 0) == upward ? s.rowLower[i] : s.rowUpper[i];
    if (limit > -kPreInf && limit < kPreInf) {
      for (int e : s.rowEntries[i]) {
        const PresolveEntry &en = s.entries[e];
        if (en.alive && en.col != j) recordPair(s, rec, en.col, -en.value / a);
      }
      recordPair(s, rec, -1 - i, limit / a);
      bounding.push_back({i, a});
    }
  }
  // Group 2: (row, a_ij) of the rows with a limit, for the side that binds.
  for (const auto &[i, a] : bounding) recordPair(s, rec, i, a, true);
  for (const auto &[i, a] : rows) removeRow(s, i);
  s.dualRemoved[j] = 1, s.dualUsed = true;
  s.colLower[j] = -kPreInf, s.colUpper[j] = kPreInf;
  removeCol(s, j);
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
  if (canDecrease && c >= 0 && l > -kPreInf) {
    s.dualRemoved[j] = 1, s.dualUsed = true;
    fixColumn(s, j, l, kRecAtLower);
  } else if (canIncrease && c <= 0 && u < kPreInf) {
    s.dualRemoved[j] = 1, s.dualUsed = true;
    fixColumn(s, j, u, kRecAtUpper);
  } else if ((canDecrease && c > 0) || (canIncrease && c < 0)) {
    return dualInfeasible(env, lp, s, "Primal unbounded due to dual bounds, variable '%.255s'.\n", j);
  } else if (c == 0.0 && (canIncrease || canDecrease) && !isIntegerCol(s, j)) {
    toInfiniteBound(env, lp, s, j, canIncrease);
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
  // An integer column rebuilt from its row would take whatever value the row
  // gives it, integer or not.
  if (isIntegerCol(s, j)) return 0;
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
      s.dualVerdict = true;
      return QVNERR_PRESLV_INForUNBD;
    }
    s.dualRemoved[j] = 1, s.dualUsed = true;  // the side holds only while j stays alone in its column
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

namespace {

// Column k = ratio * column j in the matrix and the cost: x_j + ratio x_k
// acts as one column z, kept in j's place with the bounds of the sum.
void mergeColumns(PresolveState &s, int j, int k, double ratio) {
  const int rec = pushRecord(s, kRecMergedColumns, j);
  ReductionRecord &r = record(s, rec);
  r.other = k;
  r.value = ratio;
  r.lower = s.colLower[j];
  r.upper = s.colUpper[j];
  recordPair(s, rec, k, s.colLower[k]);
  recordPair(s, rec, k, s.colUpper[k]);
  // The bounds of k that give the low and the high end of ratio * x_k.
  const double kLow = ratio > 0 ? s.colLower[k] : s.colUpper[k], kHigh = ratio > 0 ? s.colUpper[k] : s.colLower[k];
  const bool lowInf = std::fabs(kLow) >= kPreInf || s.colLower[j] <= -kPreInf;
  const bool highInf = std::fabs(kHigh) >= kPreInf || s.colUpper[j] >= kPreInf;
  s.colLower[j] = lowInf ? -kPreInf : s.colLower[j] + ratio * kLow;
  s.colUpper[j] = highInf ? kPreInf : s.colUpper[j] + ratio * kHigh;
  removeCol(s, k);
  // What the rows implied on x_j alone says nothing of the sum in its place.
  s.impliedStamp[j] = -1;
  markCol(s, j);
  for (int e : s.colEntries[j])
    if (s.entries[e].alive) markRow(s, s.entries[e].row);
}

} // namespace

int duplicateColumns(Environment *, const Problem *, PresolveState &s) {
  auto entries = [&](int j, LineEntries &out) {
    out.clear();
    if (s.colLive[j] < 1 || s.protectedCol[j]) return;
    for (int e : s.colEntries[j])
      if (s.entries[e].alive) out.push_back({s.entries[e].row, s.entries[e].value});
    std::sort(out.begin(), out.end());
  };
  return forParallelPairs(s.numCols, entries, [&](int j, int k, double ratio) -> int {
    // The sum of an integer column with another need not split back into
    // integer parts within their bounds: in a MIP only continuous pairs merge.
    if (isIntegerCol(s, j) || isIntegerCol(s, k)) return 0;
    const double cj = s.cost[j], ck = s.cost[k];
    if (std::fabs(ck - ratio * cj) <= 1e-12 * std::max(1.0, std::fabs(ck))) mergeColumns(s, j, k, ratio);
    return 0;
  });
}

} // namespace qvn
