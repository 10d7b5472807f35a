// The aggregator: equality rows solved for one column, which is then replaced
// everywhere by the row's expression.
//
// For an equality row r: a_ry y + sum_k a_rk x_k = b, substituting
// y = (b - sum_k a_rk x_k) / a_ry moves f * row r out of every other row i
// with f = a_iy / a_ry (their limits shift by f * b) and changes the costs by
// c_k -= c_y a_rk / a_ry with the constant c_y b / a_ry. The reduced costs
// of the remaining columns are unchanged when the row's dual is chosen to
// make y's reduced cost zero, which is what the replay does.
#include <algorithm>
#include <cmath>

#include "presolve/presolve_state.h"
#include "runtime/environment.h"

namespace qvn {

namespace {

bool isFinite(double v) { return v > -kPreInf && v < kPreInf; }

// Bounds on column j that row r implies from the other columns' bounds.
void impliedByRow(const PresolveState &s, int r, int j, double &lo, double &up) {
  double minRest = 0.0, maxRest = 0.0, a = 0.0;
  int minInf = 0, maxInf = 0;
  for (int e : s.rowEntries[r]) {
    const PresolveEntry &en = s.entries[e];
    if (!en.alive) continue;
    if (en.col == j) {
      a = en.value;
      continue;
    }
    const double l = s.colLower[en.col], u = s.colUpper[en.col], v = en.value;
    const double lo1 = v > 0 ? l : u, hi1 = v > 0 ? u : l;
    if (!isFinite(lo1)) ++minInf; else minRest += v * lo1;
    if (!isFinite(hi1)) ++maxInf; else maxRest += v * hi1;
  }
  const double rl = s.rowLower[r], ru = s.rowUpper[r];
  // a x in [rl - maxRest, ru - minRest]
  const double axLo = (rl > -kPreInf && maxInf == 0) ? rl - maxRest : -kPreInf;
  const double axUp = (ru < kPreInf && minInf == 0) ? ru - minRest : kPreInf;
  if (a > 0) {
    lo = axLo > -kPreInf ? axLo / a : -kPreInf;
    up = axUp < kPreInf ? axUp / a : kPreInf;
  } else {
    lo = axUp < kPreInf ? axUp / a : -kPreInf;
    up = axLo > -kPreInf ? axLo / a : kPreInf;
  }
}

double entryValue(const PresolveState &s, int r, int j) {
  for (int e : s.rowEntries[r])
    if (s.entries[e].alive && s.entries[e].col == j) return s.entries[e].value;
  return 0.0;
}

bool nearInteger(double v) { return std::fabs(v - std::round(v)) <= 1e-9 * std::max(1.0, std::fabs(v)); }

// An integer column may leave through its row only when the row gives it an
// integer value at every integer point of the others: they are all integer
// and the row divided by the pivot has integer coefficients and rhs. Only a
// pivot of the row's smallest magnitude can divide the others, so the test
// is made once per row, for that magnitude.
bool integralRow(const PresolveState &s, int r, double smallest) {
  if (!nearInteger(s.rowLower[r] / smallest)) return false;
  for (int e : s.rowEntries[r]) {
    const PresolveEntry &en = s.entries[e];
    if (!en.alive) continue;
    if (!isIntegerCol(s, en.col) || !nearInteger(en.value / smallest)) return false;
  }
  return true;
}

} // namespace

bool impliedFree(const PresolveState &s, int r, int j) {
  double lo = 0, up = 0;
  impliedByRow(s, r, j, lo, up);
  storedImplied(s, j, lo, up);
  const double l = s.colLower[j], u = s.colUpper[j];
  const bool lowOk = l <= -kPreInf || (lo > -kPreInf && lo >= l - 1e-9 * std::max(1.0, std::fabs(l)));
  const bool upOk = u >= kPreInf || (up < kPreInf && up <= u + 1e-9 * std::max(1.0, std::fabs(u)));
  return lowOk && upOk;
}

int substituteColumn(PresolveState &s, int r, int y, int keep) {
  ++s.impliedEpoch;  // y's own bounds leave with it
  const double b = s.rowLower[r];
  const double a = entryValue(s, r, y);
  const double cy = s.cost[y];
  const int rec = pushRecord(s, keep >= 0 ? kRecDoubleton : kRecAggregate, r);
  {
    ReductionRecord &h = record(s, rec);
    h.value = b;
    h.cost = cy;
    h.other = keep;
  }
  // The row without its pivot, kept aside: the entries' pool grows below.
  EnvVector<std::pair<int, double>> row;
  recordPair(s, rec, y, a);
  for (int e : s.rowEntries[r]) {
    const PresolveEntry &en = s.entries[e];
    if (!en.alive || en.col == y) continue;
    row.push_back({en.col, en.value});
    recordPair(s, rec, en.col, en.value);
  }
  EnvVector<std::pair<int, double>> col;
  for (int e : s.colEntries[y]) {
    const PresolveEntry &en = s.entries[e];
    if (!en.alive || en.row == r) continue;
    col.push_back({en.row, en.value});
    recordPair(s, rec, en.row, en.value, true);
  }
  if (keep >= 0) {
    // Doubleton: y = (b - a_k x) / a, so y's bounds become bounds on x.
    ReductionRecord &h = record(s, rec);
    h.lower = s.colLower[keep];
    h.upper = s.colUpper[keep];
    const double ak = row[0].second, ly = s.colLower[y], uy = s.colUpper[y];
    // x = (b - a y) / ak: decreasing in y when a / ak > 0.
    const double g = a / ak;
    const double xAtLy = isFinite(ly) ? (b - a * ly) / ak : (g > 0 ? kPreInf : -kPreInf);
    const double xAtUy = isFinite(uy) ? (b - a * uy) / ak : (g > 0 ? -kPreInf : kPreInf);
    const double lo = std::min(xAtLy, xAtUy), up = std::max(xAtLy, xAtUy);
    const bool integer = isIntegerCol(s, keep);
    if (lo > s.colLower[keep]) s.colLower[keep] = integer ? roundUpBound(lo, std::fabs(ak / a)) : lo;
    if (up < s.colUpper[keep]) s.colUpper[keep] = integer ? roundDownBound(up, std::fabs(ak / a)) : up;
    if (s.colLower[keep] > s.colUpper[keep]) {
      if (s.colLower[keep] - s.colUpper[keep] > s.feasTol * std::max(1.0, std::fabs(s.colLower[keep])))
        return QVNERR_PRESLV_INForUNBD;
      s.colUpper[keep] = s.colLower[keep];
    }
  }
  EnvVector<int> &pos = s.scratchPos;
  pos.resize(static_cast<size_t>(s.numCols), -1);
  for (auto [i, aiy] : col) {
    const double f = aiy / a;
    for (int e : s.rowEntries[i])
      if (s.entries[e].alive) pos[s.entries[e].col] = e;
    for (auto [k, ark] : row) addToEntry(s, i, k, -f * ark, pos);
    for (int e : s.rowEntries[i]) pos[s.entries[e].col] = -1;
    if (s.rowLower[i] > -kPreInf) s.rowLower[i] -= f * b;
    if (s.rowUpper[i] < kPreInf) s.rowUpper[i] -= f * b;
    markRow(s, i);
  }
  for (auto [k, ark] : row) {
    s.cost[k] -= cy * ark / a;
    markCol(s, k);
  }
  s.offset += cy * b / a;
  removeCol(s, y);
  removeRow(s, r);
  ++s.substitutions;
  return 0;
}

int aggregate(Environment *env, const Problem *, PresolveState &s) {
  (void)env;
  for (int r = 0; r < s.numRows; ++r) {
    if (s.rowLive[r] < 2 || s.rowLower[r] != s.rowUpper[r]) continue;
    const int len = s.rowLive[r];
    double rowMax = 0.0, rowMin = kPreInf;
    for (int e : s.rowEntries[r])
      if (s.entries[e].alive) {
        rowMax = std::max(rowMax, std::fabs(s.entries[e].value));
        rowMin = std::min(rowMin, std::fabs(s.entries[e].value));
      }
    int integerPivots = -1;  // unknown until an integer candidate asks
    int best = -1;
    long bestFill = 0;
    double bestPivot = 0.0;
    bool bestFree = false;
    for (int e : s.rowEntries[r]) {
      const PresolveEntry &en = s.entries[e];
      if (!en.alive) continue;
      const int k = en.col;
      if (s.protectedCol[k] || s.colLower[k] == s.colUpper[k]) continue;
      if (isIntegerCol(s, k)) {
        if (std::fabs(en.value) != rowMin) continue;
        if (integerPivots < 0) integerPivots = integralRow(s, r, rowMin) ? 1 : 0;
        if (integerPivots == 0) continue;
      }
      const double piv = std::fabs(en.value);
      if (piv < 0.01 * rowMax) continue;
      // Stability against the pivot column: the multipliers a_ik / a_rk stay moderate.
      bool stable = true;
      for (int f : s.colEntries[k])
        if (s.entries[f].alive && std::fabs(s.entries[f].value) > 100.0 * (piv + 1e-10)) stable = false;
      if (!stable) continue;
      const long c = s.colLive[k];
      const long fill = (len - 1L) * (c - 1L) - (len + c - 1L);
      const bool doubleton = len == 2;
      if (doubleton ? !((len - 2L) * (c - 2L) - 2 < s.aggfill) : fill > s.aggfill) continue;
      const bool isFree = impliedFree(s, r, k);
      if (!isFree && !doubleton) continue;
      const bool better = best < 0 || (isFree && !bestFree) ||
                          (isFree == bestFree && (fill < bestFill || (fill == bestFill && piv > bestPivot)));
      if (better) best = k, bestFill = fill, bestPivot = piv, bestFree = isFree;
    }
    if (best < 0) continue;
    int keep = -1;
    if (!bestFree) {
      for (int e : s.rowEntries[r])
        if (s.entries[e].alive && s.entries[e].col != best) keep = s.entries[e].col;
    }
    QVN_TRY(substituteColumn(s, r, best, keep));
  }
  return 0;
}

} // namespace qvn
