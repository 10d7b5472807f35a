// The integer passes of presolve: bounds that rows imply on integer columns,
// rounded to integers, and coefficient tightening on columns with two
// integer values. Both keep every integer point of the model: a rounded
// bound drops only fractional values, and a tightened row agrees with the
// old one at both values of its column.
#include <algorithm>
#include <cmath>

#include "presolve/presolve_state.h"
#include "runtime/environment.h"

namespace qvn {

namespace {

// Implied bounds beyond this size say nothing an integer column can use.
constexpr double kHugeBound = 1e15;
// Smallest coefficient change worth a modified row.
constexpr double kMinChange = 1e-5;

bool logOn(const Environment *env) { return env->generalParams->simdisplay != 0; }

int rowInfeasible(Environment *env, const Problem *lp, int i) {
  char buf[32];
  if (logOn(env)) QVNmsg(env->resultsChannel, "Implied bounds make row '%.255s' infeasible.\n", rowNameOf(lp, i, buf));
  return QVNERR_PRESLV_INForUNBD;
}

// Sets the bounds of integer column j to [lo, up] where they are tighter.
// True when something changed.
bool tightenInteger(PresolveState &s, int j, double lo, double up) {
  bool changed = false;
  if (lo > -kHugeBound && lo < kHugeBound) {
    lo = roundUpBound(lo);
    if (lo > s.colLower[j] + 0.5) s.colLower[j] = lo, changed = true;
  }
  if (up > -kHugeBound && up < kHugeBound) {
    up = roundDownBound(up);
    if (up < s.colUpper[j] - 0.5) s.colUpper[j] = up, changed = true;
  }
  if (!changed) return false;
  ++s.boundsImproved;
  markCol(s, j);
  for (int e : s.colEntries[j])
    if (s.entries[e].alive) markRow(s, s.entries[e].row);
  return true;
}

// Row i: each integer column gets the bounds the row allows it when the
// others are at their most favourable bounds.
int boundsFromRow(Environment *env, const Problem *lp, PresolveState &s, int i) {
  const double rl = s.rowLower[i], ru = s.rowUpper[i];
  Activity a = rowActivity(s, i);
  if (!((ru < kPreInf && a.minInf <= 1) || (rl > -kPreInf && a.maxInf <= 1))) return 0;
  for (int e : s.rowEntries[i]) {
    const PresolveEntry &en = s.entries[e];
    if (!en.alive || !isIntegerCol(s, en.col)) continue;
    const int j = en.col;
    const double v = en.value, l = s.colLower[j], u = s.colUpper[j];
    const double lowEnd = v > 0 ? l : u, highEnd = v > 0 ? u : l;  // of v * x_j at min / max activity
    const bool lowInf = std::fabs(lowEnd) >= kPreInf, highInf = std::fabs(highEnd) >= kPreInf;
    double lo = -kPreInf, up = kPreInf;
    // v x_j <= ru - (min activity of the others).
    if (ru < kPreInf && (a.minInf == 0 || (a.minInf == 1 && lowInf))) {
      const double rest = lowInf ? a.min : a.min - v * lowEnd;
      const double lim = (ru - rest) / v;
      if (v > 0) up = lim; else lo = lim;
    }
    // v x_j >= rl - (max activity of the others).
    if (rl > -kPreInf && (a.maxInf == 0 || (a.maxInf == 1 && highInf))) {
      const double rest = highInf ? a.max : a.max - v * highEnd;
      const double lim = (rl - rest) / v;
      if (v > 0) lo = std::max(lo, lim); else up = std::min(up, lim);
    }
    if (s.integerCol[j] == 2 && (roundDownBound(up) < 0.0 || roundUpBound(lo) > 1.0)) {
      char rowName[32], colName[32];
      if (logOn(env)) {
        QVNmsg(env->resultsChannel, "Row '%.255s' implies binary variable ", rowNameOf(lp, i, rowName));
        QVNmsg(env->resultsChannel, roundDownBound(up) < 0.0 ? "'%.255s' is negative.\n" : "'%.255s' is greater than 1.\n",
               colNameOf(lp, j, colName));
      }
      return QVNERR_PRESLV_INForUNBD;
    }
    if (!tightenInteger(s, j, lo, up)) continue;
    if (s.colLower[j] > s.colUpper[j]) return rowInfeasible(env, lp, i);
    a = rowActivity(s, i);
  }
  return 0;
}

// Row i with one finite side b (sense sigma: +1 for <=, -1 for >=, the row
// read as sigma * row <= sigma * b) and a finite largest activity M above b:
// a column with two integer values l, u = l + 1 whose one value makes the
// row redundant gets the coefficient that makes the row tight there, which
// changes nothing at the other value.
void tightenCoefficients(PresolveState &s, int i) {
  const double rl = s.rowLower[i], ru = s.rowUpper[i];
  const bool upperSide = ru < kPreInf && rl <= -kPreInf, lowerSide = rl > -kPreInf && ru >= kPreInf;
  if (!upperSide && !lowerSide) return;
  const double sigma = upperSide ? 1.0 : -1.0;
  const Activity a = rowActivity(s, i);
  if ((upperSide ? a.maxInf : a.minInf) != 0) return;
  double M = upperSide ? a.max : -a.min;
  double b = sigma * (upperSide ? ru : rl);
  if (M - b <= 1e-6 * std::max(1.0, std::fabs(b))) return;  // redundant or nearly: the activity pass decides
  bool changed = false;
  for (int e : s.rowEntries[i]) {
    PresolveEntry &en = s.entries[e];
    if (!en.alive || !isIntegerCol(s, en.col)) continue;
    const int j = en.col;
    const double l = s.colLower[j], u = s.colUpper[j];
    if (l <= -kPreInf || u >= kPreInf || u - l != 1.0) continue;
    const double coef = sigma * en.value;
    // Slack that the redundant value leaves; a little of it is kept back
    // against rounding in M.
    double d = coef > 0 ? b - M + coef : b - M - coef;
    if (d <= kMinChange * std::max(1.0, std::fabs(coef))) continue;
    d -= 1e-9 * (1.0 + std::fabs(b) + std::fabs(M));
    if (coef > 0) {
      en.value = sigma * (coef - d);
      b -= d * u;
      M -= d * u;
    } else {
      en.value = sigma * (coef + d);
      b += d * l;
      M += d * l;
    }
    ++s.coefsModified;
    changed = true;
    markCol(s, j);
  }
  if (!changed) return;
  if (upperSide) s.rowUpper[i] = b; else s.rowLower[i] = -b;
  markRow(s, i);
}

} // namespace

int integerPasses(Environment *env, const Problem *lp, PresolveState &s, const EnvVector<int> &rows) {
  if (!s.mip || s.integerCol.empty() || !s.primalFlag) return 0;
  const MipParams &p = *env->mipParams;
  // Coefficient changes are not linear reductions: user cuts on the original
  // rows would no longer be expressible.
  const bool coefficients = p.coeredind > 0 && s.prelinear == 1;
  for (int i : rows) {
    if (s.rowLive[i] <= 0) continue;
    QVN_TRY(boundsFromRow(env, lp, s, i));
    if (coefficients && s.rowLive[i] > 1) tightenCoefficients(s, i);
  }
  return 0;
}

} // namespace qvn
