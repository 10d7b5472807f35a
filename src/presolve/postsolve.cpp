// Replay of the reduction log: a solution and basis of the reduced problem
// become a solution and basis of the original one.
//
// The replay keeps, for every row and column alive at the time a record was
// made, the values that problem had: x, the row duals pi and the reduced
// costs d, all in minimization sense. Undoing a record restores what it
// removed and chooses the restored duals so that d stays consistent; its
// basis part adds exactly one basic variable per restored row, so the count
// of basics stays equal to the count of rows.
#include <algorithm>
#include <cmath>

#include "presolve/presolve_state.h"
#include "runtime/environment.h"

namespace qvn {

namespace {

enum { kStLower = 0, kStBasic = 1, kStUpper = 2, kStFree = 3 };

bool nearValue(double x, double bound) {
  return bound > -kPreInf && bound < kPreInf && std::fabs(x - bound) <= 1e-9 * std::max(1.0, std::fabs(bound));
}

// Nonbasic status from where the value sits.
int sideOf(double v, double lo, double up) {
  const bool hasLo = lo > -kPreInf, hasUp = up < kPreInf;
  if (!hasLo && !hasUp) return kStFree;
  if (!hasUp) return kStLower;
  if (!hasLo) return kStUpper;
  return std::fabs(v - lo) <= std::fabs(v - up) ? kStLower : kStUpper;
}

// A nonbasic column whose value and reduced cost its own bounds (those it
// had before a record tightened them) do not explain: the record's row
// holds it there.
bool heldByRow(double x, double d, double lower, double upper) {
  if (d > 0) return !nearValue(x, lower);
  if (d < 0) return !nearValue(x, upper);
  return !nearValue(x, lower) && !nearValue(x, upper);
}

struct Replay {
  const PresolveState &s;
  EnvVector<double> x, pi, d;
  EnvVector<int> colStat, rowStat;
  const int *idx(const ReductionRecord &r) const { return s.recIndex.data() + r.first; }
  const double *val(const ReductionRecord &r) const { return s.recValue.data() + r.first; }

  void fixedColumn(const ReductionRecord &r) {
    const int j = r.index;
    x[j] = r.value;
    double dj = r.cost;
    for (int k = 0; k < r.count; ++k) dj -= pi[idx(r)[k]] * val(r)[k];
    d[j] = dj;
    colStat[j] = r.kind == kRecAtUpper ? kStUpper : r.kind == kRecFreeEmpty ? kStFree : kStLower;
  }

  // The row gave the column a bound; when the column rests on that bound
  // rather than one of its own, the row binds and takes the dual.
  void singletonRow(const ReductionRecord &r) {
    const int i = r.index, j = idx(r)[0];
    const double a = val(r)[0];
    if (colStat[j] == kStBasic || !heldByRow(x[j], d[j], r.lower, r.upper)) return;
    pi[i] = d[j] / a;
    d[j] = 0.0;
    colStat[j] = kStBasic;
    rowStat[i] = kStLower;
  }

  // Kind 9: the row sits at its upper limit, its dual is <= 0; kind 10 mirrors.
  void forcingRow(const ReductionRecord &r) {
    const int i = r.index;
    const bool upper = r.kind == kRecForceUpper;
    double best = 0.0;
    int bestCol = -1;
    for (int k = 0; k < r.count; ++k) {
      const int j = idx(r)[k];
      const double a = val(r)[k];
      if (s.origLower[j] == s.origUpper[j]) continue;
      const double ratio = d[j] / a;
      const bool wrong = (a > 0) == upper ? d[j] < 0 : d[j] > 0;
      if (!wrong) continue;
      if (upper ? ratio < best : ratio > best) best = ratio, bestCol = j;
    }
    pi[i] = best;
    if (best != 0.0)
      for (int k = 0; k < r.count; ++k) d[idx(r)[k]] -= val(r)[k] * best;
    if (bestCol >= 0) {
      colStat[bestCol] = kStBasic;
      d[bestCol] = 0.0;
      rowStat[i] = upper ? kStUpper : kStLower;
    }
  }

  void aggregation(const ReductionRecord &r) {
    const int i = r.index, y = idx(r)[0];
    const double a = val(r)[0];
    double rest = 0.0;
    for (int k = 1; k < r.count; ++k) rest += val(r)[k] * x[idx(r)[k]];
    x[y] = (r.value - rest) / a;
    double cy = r.cost;
    for (int k = r.count; k < r.count + r.count2; ++k) cy -= val(r)[k] * pi[idx(r)[k]];
    pi[i] = cy / a;
    d[y] = 0.0;
    colStat[y] = kStBasic;
    rowStat[i] = kStLower;
    if (r.kind != kRecDoubleton) return;
    // The remaining column carried y's bounds: when it rests on one of them,
    // y is the nonbasic one and the remaining column turns basic.
    const int keep = r.other;
    const double ak = val(r)[1];
    if (colStat[keep] == kStBasic || !heldByRow(x[keep], d[keep], r.lower, r.upper)) return;
    const double delta = d[keep] / ak;
    pi[i] += delta;
    d[keep] = 0.0;
    d[y] = -a * delta;
    colStat[keep] = kStBasic;
    colStat[y] = kStLower;
  }

  // Kinds 1 and 2: each group sums to a bound on x_j that one removed row
  // sets; the tightest of them and the column's own bound gives the value.
  // That row binds (nonbasic) and x_j is basic; when the own bound wins, x_j
  // sits on it and every removed row stays basic.
  void infiniteBound(const ReductionRecord &r) {
    const int j = r.index;
    const bool upward = r.kind == kRecInfiniteUpper;
    double best = r.value, sum = 0.0;
    bool own = r.value > -kPreInf && r.value < kPreInf;
    if (!own) best = upward ? -kPreInf : kPreInf;
    int bindingRow = -1;
    for (int k = 0; k < r.count; ++k) {
      const int i = idx(r)[k];
      if (i >= 0) {
        sum += val(r)[k] * x[i];
        continue;
      }
      const double bound = sum + val(r)[k];
      sum = 0.0;
      if (upward ? bound > best : bound < best) best = bound, bindingRow = -1 - i, own = false;
    }
    if (best <= -kPreInf || best >= kPreInf) best = 0.0;  // no row and no own bound: a free column
    x[j] = best;
    d[j] = 0.0;
    if (bindingRow < 0) {
      colStat[j] = own ? (upward ? kStLower : kStUpper) : kStFree;
      return;
    }
    colStat[j] = kStBasic;
    // The row binds at its lower limit when x_j grows through a positive
    // entry or falls through a negative one, else at its upper limit.
    for (int k = r.count; k < r.count + r.count2; ++k)
      if (idx(r)[k] == bindingRow) rowStat[bindingRow] = (val(r)[k] > 0) == upward ? kStLower : kStUpper;
  }

  // z = x_j + r x_k splits back: a nonbasic z puts both at the bounds that
  // made its bound; a basic z keeps k at a bound when j can take the rest,
  // else j at the bound it would cross and k basic. d_k = r d_z.
  void mergedColumns(const ReductionRecord &r) {
    const int j = r.index, k = r.other;
    const double ratio = r.value, v = x[j], lj = r.lower, uj = r.upper;
    const double lk = val(r)[0], uk = val(r)[1];
    d[k] = ratio * d[j];
    auto finiteOr = [](double b, double other) { return std::fabs(b) < kPreInf ? b : std::fabs(other) < kPreInf ? other : 0.0; };
    auto within = [](double a, double lo, double up) {
      return a >= lo - 1e-9 * std::max(1.0, std::fabs(lo)) && a <= up + 1e-9 * std::max(1.0, std::fabs(up));
    };
    if (colStat[j] != kStBasic && colStat[j] != kStFree) {
      const bool low = colStat[j] == kStLower;
      const double xk = (low == (ratio > 0)) ? finiteOr(lk, uk) : finiteOr(uk, lk);
      // A status that did not come from a basis (an interior answer has
      // none) need not match the value: then the split below decides.
      if (within(v - ratio * xk, lj, uj)) {
        x[k] = xk;
        x[j] = v - ratio * xk;
        colStat[k] = sideOf(xk, lk, uk);
        colStat[j] = sideOf(x[j], lj, uj);
        return;
      }
      colStat[j] = kStBasic;
    }
    double xk = finiteOr(lk, uk), xj = v - ratio * xk;
    if (within(xj, lj, uj)) {
      x[k] = xk, x[j] = xj;
      colStat[k] = sideOf(xk, lk, uk);
      return;
    }
    xj = xj < lj ? lj : uj;
    x[j] = xj;
    x[k] = (v - xj) / ratio;
    colStat[j] = sideOf(xj, lj, uj);
    colStat[k] = kStBasic;
  }
};

} // namespace

void uncrush(const Problem *lp, const PresolveState &s, const ReducedSolution &in, OriginalSolution &out) {
  const int n = s.numCols, m = s.numRows;
  const double sense = s.objSense;
  Replay rp{s, {}, {}, {}, {}, {}};
  rp.x.assign(static_cast<size_t>(n), 0.0);
  rp.d.assign(static_cast<size_t>(n), 0.0);
  rp.pi.assign(static_cast<size_t>(m), 0.0);
  rp.colStat.assign(static_cast<size_t>(n), kStLower);
  rp.rowStat.assign(static_cast<size_t>(m), kStBasic);
  for (int j = 0; j < n; ++j) {
    const int k = s.colMap[j];
    if (k < 0) continue;
    if (in.x) rp.x[j] = in.x[k];
    if (in.dj) rp.d[j] = sense * in.dj[k];
    if (in.colStatus) rp.colStat[j] = in.colStatus[k];
  }
  for (int i = 0; i < m; ++i) {
    const int k = s.rowMap[i];
    if (k < 0) continue;
    if (in.pi) rp.pi[i] = sense * in.pi[k];
    if (in.rowStatus) rp.rowStat[i] = in.rowStatus[k];
  }
  for (int r = s.head; r >= 0; r = s.records[r].next) {
    const ReductionRecord &rec = s.records[r];
    switch (rec.kind) {
    case kRecFixed: case kRecAtLower: case kRecAtUpper: case kRecFreeEmpty: rp.fixedColumn(rec); break;
    case kRecRowLower: case kRecRowUpper: case kRecRowEqual: rp.singletonRow(rec); break;
    case kRecForceUpper: case kRecForceLower: rp.forcingRow(rec); break;
    case kRecAggregate: case kRecDoubleton: rp.aggregation(rec); break;
    case kRecMergedColumns: rp.mergedColumns(rec); break;
    case kRecInfiniteUpper: case kRecInfiniteLower: rp.infiniteBound(rec); break;
    default: break;  // side choices need nothing: the statuses are settled below
    }
  }
  // Row activities, duals and reduced costs in the caller's units, from the
  // original data so that they agree with each other exactly.
  const LpData &dt = *lp->lpData;
  EnvVector<double> act(static_cast<size_t>(m), 0.0);
  for (int j = 0; j < n; ++j)
    for (int64_t k = dt.colStart[j]; k < dt.colStart[j] + dt.colCount[j]; ++k)
      act[dt.rowIndex[k]] += dt.coefValue[k] * rp.x[j];
  if (out.x) std::copy(rp.x.begin(), rp.x.end(), out.x);
  if (out.activity) std::copy(act.begin(), act.end(), out.activity);
  if (out.pi)
    for (int i = 0; i < m; ++i) out.pi[i] = sense * rp.pi[i];
  if (out.dj)
    for (int j = 0; j < n; ++j) {
      double v = dt.objCoef[j];
      for (int64_t k = dt.colStart[j]; k < dt.colStart[j] + dt.colCount[j]; ++k)
        v -= dt.coefValue[k] * sense * rp.pi[dt.rowIndex[k]];
      out.dj[j] = v;
    }
  if (out.colStatus)
    for (int j = 0; j < n; ++j) {
      const int st = rp.colStat[j];
      out.colStatus[j] = st == kStBasic ? kStBasic : sideOf(rp.x[j], s.origLower[j], s.origUpper[j]);
    }
  if (out.rowStatus)
    for (int i = 0; i < m; ++i) {
      double lo, up;
      rowActivityLimits(dt, i, lo, up);
      const int st = rp.rowStat[i];
      out.rowStatus[i] = st == kStBasic ? kStBasic : lo == up ? kStLower : sideOf(act[i], lo, up);
    }
}

// The consistency test of a solution of the original model against the log:
// every removed column must hold the value its record fixed, every row that
// substituted a column must still hold, a free empty column sits at 0, and
// the objective must equal the reduced problem's at the crushed point plus
// the constant the reductions collected.
int checkPostsolve(Environment *env, const Problem *lp, const PresolveState &s, const double *x) {
  constexpr double kTol = 1e-6, kZero = 1e-13;
  int faults = 0;
  auto differ = [&](double a, double b) { return std::fabs(a - b) > kTol * std::max(1.0, std::fabs(b)); };
  for (int r = s.head; r >= 0; r = s.records[r].next) {
    const ReductionRecord &rec = s.records[r];
    const int *idx = s.recIndex.data() + rec.first;
    const double *val = s.recValue.data() + rec.first;
    switch (rec.kind) {
    case kRecFixed: case kRecAtLower: case kRecAtUpper:
      if (differ(x[rec.index], rec.value)) {
        QVNmsg(env->resultsChannel, "Fixed value %17.10e != x %17.10e\n", rec.value, x[rec.index]);
        QVNmsg(env->resultsChannel, "diff =%17.10e\n", x[rec.index] - rec.value);
        ++faults;
      }
      break;
    case kRecFreeEmpty:
      if (std::fabs(x[rec.index]) > kZero) {
        QVNmsg(env->resultsChannel, "fval %17.10e != 0\n", x[rec.index]);
        ++faults;
      }
      break;
    case kRecAggregate: case kRecDoubleton: {
      double pval = 0.0;
      for (int k = 0; k < rec.count; ++k) pval += val[k] * x[idx[k]];
      if (differ(pval, rec.value)) {
        QVNmsg(env->resultsChannel, "pval %17.10e != fval %17.10e\n", pval, rec.value);
        ++faults;
      }
      break;
    }
    default: break;
    }
  }
  if (s.reduced) {
    const LpData &d = *lp->lpData, &red = *s.reduced->lpData;
    double c = d.objOffset, pconst = red.objOffset;
    for (int j = 0; j < s.numCols; ++j) c += d.objCoef[j] * x[j];
    // The crushed point: merged columns hold x_j + r x_k, oldest merge first.
    EnvVector<double> merged(x, x + s.numCols);
    EnvVector<int> order;
    for (int r = s.head; r >= 0; r = s.records[r].next) order.push_back(r);
    for (auto it = order.rbegin(); it != order.rend(); ++it)
      if (s.records[*it].kind == kRecMergedColumns) merged[s.records[*it].index] += s.records[*it].value * merged[s.records[*it].other];
    for (size_t k = 0; k < s.redColOrig.size(); ++k) pconst += red.objCoef[k] * merged[s.redColOrig[k]];
    if (differ(c, pconst)) {
      QVNmsg(env->resultsChannel, "c %17.10e != pconst %17.10e\n", c, pconst);
      ++faults;
    }
  }
  return faults;
}

} // namespace qvn
