// Mixed integer rounding cuts on single rows and on short aggregations.
//
// A row side a x <= b (or a sum of row sides that cancels a continuous column
// strictly inside its bounds) is moved onto nonnegative variables y by bound
// substitution: x = l + y or x = u - y, at the bound nearer the LP point.
// Continuous terms with a positive coefficient are dropped (a relaxation) and
// the negative ones form s >= 0. Dividing by delta, with f = frac(beta/delta):
//   sum_I (floor(g/delta) + max(0, frac(g/delta) - f) / (1 - f)) y
//     - s / (delta (1 - f)) <= floor(beta/delta)
// holds for every integer y >= 0 and s >= 0. The divisors tried are the
// coefficients of integer columns strictly inside their bounds, then halves
// of the best.
//
// With variable bounds (the flow cut family) a continuous column x nearer a
// variable upper bound x <= d + e z on a binary z (from the implied-bound
// table) than to its own bounds is written x = d + e z - t: e a joins z's
// coefficient and t >= 0 is a continuous term like any other (in s for a > 0,
// dropped for a < 0). At a fixed charge row this yields the flow cover
// inequalities in their rounding form.
#include <algorithm>
#include <cmath>

#include "mip/cuts/cut_pool.h"

namespace qvn {

namespace {

constexpr double kInfiniteBound = 1e20;
// Coefficients outside this range make the substitution numerically unsafe.
constexpr double kUsableCoefficient = 1e7;
constexpr double kMinFraction = 0.01;
// Efficacy (violation over norm, in y-space) a cut must reach.
constexpr double kMinEfficacy = 1e-4;
// Integer columns tried for complementing per candidate row.
constexpr int kMaxFlips = 30;

struct Term {
  int col;
  double coef;    // in the row, x-space
  bool integer;
  bool fromUpper;  // y = u - x, else y = x - l
  double bound;
  double y;        // LP value of y
  // For y = d + e z - x through a variable upper bound: z (else -1) and e; d is `bound`.
  int vubBinary = -1;
  double vubCoef = 0.0;
};

// x <= d + e z for a binary z.
struct VariableBound {
  int binary;
  double d, e;
};

// Variable upper bounds by continuous column, and scratch arrays by column.
struct MirWork {
  bool useVariableBounds = false;
  EnvVector<int> vubStart;
  EnvVector<VariableBound> vub;
  EnvVector<double> extra;  // coefficient added to a binary by substitutions
  EnvVector<int> extraCols;
  EnvVector<double> cut;    // the cut on x, by column
  EnvVector<int> cutCols;
};

// Variable upper bounds of continuous columns from the implied-bound table:
// z = 0 forcing x <= b gives x <= b + (u - b) z; z = 1 forcing x <= b gives
// x <= u + (b - u) z, with u the column's upper bound.
void collectVariableBounds(const CutContext &c, MirWork &w) {
  const int n = c.model->numCols;
  w.vubStart.assign(static_cast<size_t>(n) + 1, 0);
  w.vub.clear();
  const ImpliedBoundTable &t = c.pool->implied;
  auto usable = [&](const ImpliedBound &e) {
    return e.type == 'U' && c.kind[e.col] == ColKind::kContinuous && c.upper[e.col] < kInfiniteBound &&
           e.bound < c.upper[e.col] && c.lower[e.binary] == 0.0 && c.upper[e.binary] == 1.0;
  };
  for (const ImpliedBound &e : t.entries)
    if (usable(e)) ++w.vubStart[e.col + 1];
  for (int j = 0; j < n; ++j) w.vubStart[j + 1] += w.vubStart[j];
  w.vub.resize(static_cast<size_t>(w.vubStart[n]));
  EnvVector<int> fill(w.vubStart.begin(), w.vubStart.end() - 1);
  for (const ImpliedBound &e : t.entries) {
    if (!usable(e)) continue;
    const double u = c.upper[e.col];
    w.vub[fill[e.col]++] = e.value == 0 ? VariableBound{e.binary, e.bound, u - e.bound}
                                        : VariableBound{e.binary, u, e.bound - u};
  }
}

struct Aggregate {
  EnvVector<double> dense;  // by column
  EnvVector<int> cols;      // nonzero pattern (may hold zeros)
  double rhs = 0.0;
};

void addRowSide(const RowModel &r, int i, double mult, Aggregate &agg) {
  for (int p = r.start[i]; p < r.start[i + 1]; ++p) {
    const int j = r.column[p];
    if (agg.dense[j] == 0.0) agg.cols.push_back(j);
    agg.dense[j] += mult * r.value[p];
    if (agg.dense[j] == 0.0) agg.dense[j] = 1e-300;  // keep it in the pattern, as a zero
  }
  agg.rhs += mult * (mult > 0 ? r.up[i] : r.lo[i]);
}

// Bound substitution; false when some term has no usable bound.
bool substitute(const CutContext &c, const Aggregate &agg, const double *x, MirWork &w, EnvVector<Term> &terms,
                double *beta) {
  terms.clear();
  double b = agg.rhs;
  // Continuous columns nearer a variable upper bound than to their own
  // bounds go through it first; their binaries gain coefficient.
  auto addExtra = [&](int z, double v) {
    if (w.extra[z] == 0.0) w.extraCols.push_back(z);
    w.extra[z] += v;
    if (w.extra[z] == 0.0) w.extra[z] = 1e-300;
  };
  if (w.useVariableBounds)
    for (int j : agg.cols) {
      const double a = agg.dense[j];
      if (c.kind[j] != ColKind::kContinuous || std::fabs(a) <= 1e-12 || std::fabs(a) > kUsableCoefficient) continue;
      int best = -1;
      double slack = std::min(x[j] - c.lower[j], c.upper[j] - x[j]);
      for (int q = w.vubStart[j]; q < w.vubStart[j + 1]; ++q) {
        const VariableBound &v = w.vub[q];
        const double t = v.d + v.e * x[v.binary] - x[j];
        if (t < slack - 1e-9) {
          slack = t;
          best = q;
        }
      }
      if (best < 0) continue;
      const VariableBound &v = w.vub[best];
      if (std::fabs(a * v.e) > kUsableCoefficient) continue;
      Term t{j, a, false, true, v.d, std::max(0.0, v.d + v.e * x[v.binary] - x[j]), v.binary, v.e};
      b -= a * v.d;
      addExtra(v.binary, a * v.e);
      terms.push_back(t);
    }
  const size_t virtualTerms = terms.size();
  auto substituted = [&](int j) {
    for (size_t k = 0; k < virtualTerms; ++k)
      if (terms[k].col == j) return true;
    return false;
  };
  bool ok = true;
  auto addColumn = [&](int j) {
    if (!ok || (virtualTerms > 0 && substituted(j))) return;
    const double a = agg.dense[j] + w.extra[j];
    if (std::fabs(a) < 1e-12) return;
    const double l = c.lower[j], u = c.upper[j];
    const bool lowOk = l > -kInfiniteBound, upOk = u < kInfiniteBound;
    if (std::fabs(a) > kUsableCoefficient || (!lowOk && !upOk)) {
      ok = false;
      return;
    }
    const bool useUpper = upOk && (!lowOk || u - x[j] < x[j] - l);
    Term t{j, a, c.kind[j] == ColKind::kInteger, useUpper, useUpper ? u : l, useUpper ? u - x[j] : x[j] - l};
    b -= a * t.bound;
    terms.push_back(t);
  };
  for (int j : agg.cols) addColumn(j);
  // Binaries that only a substitution brought in.
  for (int z : w.extraCols)
    if (agg.dense[z] == 0.0) addColumn(z);
  for (int z : w.extraCols) w.extra[z] = 0.0;
  w.extraCols.clear();
  *beta = b;
  return ok && !terms.empty() && std::fabs(b) < kInfiniteBound;
}

// The MIR cut for divisor delta in y-space: coefficients g per term (0 for
// dropped ones), rhs; returns its efficacy at the LP point (-1 if none).
double mirInYSpace(const EnvVector<Term> &terms, double beta, double delta, EnvVector<double> &g, double *rhs) {
  const double bd = beta / delta;
  const double f = bd - std::floor(bd);
  if (f < kMinFraction || f > 1.0 - kMinFraction || std::fabs(bd) > 1e9) return -1.0;
  g.assign(terms.size(), 0.0);
  double activity = 0.0, norm = 0.0;
  for (size_t k = 0; k < terms.size(); ++k) {
    const Term &t = terms[k];
    const double a = t.fromUpper ? -t.coef : t.coef;  // coefficient of y
    if (t.integer) {
      const double q = a / delta, fq = q - std::floor(q);
      g[k] = std::floor(q) + std::max(0.0, fq - f) / (1.0 - f);
    } else if (a < 0) {
      g[k] = a / (delta * (1.0 - f));
    }
    activity += g[k] * t.y;
    norm += g[k] * g[k];
  }
  *rhs = std::floor(bd);
  if (norm <= 0.0) return -1.0;
  return (activity - *rhs) / std::sqrt(norm);
}

bool bestMir(CutContext &c, const Aggregate &agg, const double *x, MirWork &w, EnvVector<Term> &terms,
             EnvVector<int> &index, EnvVector<double> &value, int family) {
  double beta = 0.0;
  if (!substitute(c, agg, x, w, terms, &beta)) return false;
  EnvVector<double> deltas, g;
  for (const Term &t : terms) {
    if (!t.integer || t.y <= 1e-6 || t.y >= c.upper[t.col] - c.lower[t.col] - 1e-6) continue;
    const double d = std::fabs(t.coef);
    if (d > 1e-6 && std::find(deltas.begin(), deltas.end(), d) == deltas.end()) deltas.push_back(d);
    if (deltas.size() >= 8) break;
  }
  if (deltas.empty()) return false;
  double best = -HUGE_VAL, bestDelta = 0.0;
  auto tryDelta = [&](double d) {
    double rhs = 0.0;
    const double e = mirInYSpace(terms, beta, d, g, &rhs);
    if (e > best) {
      best = e;
      bestDelta = d;
    }
  };
  for (double d : deltas) tryDelta(d);
  if (bestDelta == 0.0) return false;
  const double base = bestDelta;
  for (double s : {2.0, 4.0, 8.0}) tryDelta(base / s);
  // Complementing an integer column (substituting its other bound) changes
  // which fractions the rounding sees; each flip stays when it makes the cut
  // more efficacious, the others go back.
  int flips = 0;
  for (Term &t : terms) {
    if (!t.integer || t.vubBinary >= 0 || t.y <= 1e-6 || ++flips > kMaxFlips) continue;
    const double l = c.lower[t.col], u = c.upper[t.col];
    if (l <= -kInfiniteBound || u >= kInfiniteBound) continue;
    const Term old = t;
    t.fromUpper = !old.fromUpper;
    t.bound = t.fromUpper ? u : l;
    t.y = t.fromUpper ? u - x[t.col] : x[t.col] - l;
    const double flipped = beta - t.coef * (t.bound - old.bound);
    double rhs = 0.0;
    const double e = mirInYSpace(terms, flipped, bestDelta, g, &rhs);
    if (e > best + 1e-9) {
      best = e;
      beta = flipped;
    } else {
      t = old;
    }
  }
  if (best <= kMinEfficacy) return false;
  double rhs = 0.0;
  mirInYSpace(terms, beta, bestDelta, g, &rhs);
  // Back to x: g y with y = x - l gives g x - g l; with y = u - x, -g x + g u;
  // with y = d + e z - x, -g x + g e z + g d. A binary may get two terms.
  auto put = [&](int j, double v) {
    if (w.cut[j] == 0.0) w.cutCols.push_back(j);
    w.cut[j] += v;
    if (w.cut[j] == 0.0) w.cut[j] = 1e-300;
  };
  for (size_t k = 0; k < terms.size(); ++k) {
    if (g[k] == 0.0) continue;
    const Term &t = terms[k];
    put(t.col, t.fromUpper ? -g[k] : g[k]);
    rhs += t.fromUpper ? -g[k] * t.bound : g[k] * t.bound;
    if (t.vubBinary >= 0) put(t.vubBinary, g[k] * t.vubCoef);
  }
  index.clear();
  value.clear();
  for (int j : w.cutCols) {
    if (std::fabs(w.cut[j]) > 1e-200) {
      index.push_back(j);
      value.push_back(w.cut[j]);
    }
    w.cut[j] = 0.0;
  }
  w.cutCols.clear();
  return offerCut(c, family, index, value, rhs, x);
}

// A continuous column strictly inside its bounds with the largest distance
// to them, to be eliminated by the next row; -1 for none.
int pickContinuous(const CutContext &c, const Aggregate &agg, const double *x, const EnvVector<char> &used) {
  int best = -1;
  double dist = 1e-6;
  for (int j : agg.cols) {
    if (c.kind[j] != ColKind::kContinuous || std::fabs(agg.dense[j]) < 1e-9 || used[j]) continue;
    const double d = std::min(x[j] - c.lower[j], c.upper[j] - x[j]);
    if (d > dist) {
      dist = d;
      best = j;
    }
  }
  return best;
}

// A row other than those in `rows` that holds j and is tight at x, with the
// multiplier sign that cancels j; false when none.
bool rowToCancel(const CutContext &c, const EnvVector<EnvVector<int>> &colRows, int j, double coef,
                 const double *activity, const EnvVector<int> &rows, int *row, double *mult) {
  const RowModel &r = *c.rows;
  for (int i : colRows[j]) {
    if (std::find(rows.begin(), rows.end(), i) != rows.end()) continue;
    double aij = 0.0;
    for (int p = r.start[i]; p < r.start[i + 1]; ++p)
      if (r.column[p] == j) aij = r.value[p];
    if (std::fabs(aij) < 1e-9) continue;
    // mult * aij = -coef; mult > 0 uses the upper side, mult < 0 the lower one.
    const double m = -coef / aij;
    const double limit = m > 0 ? r.up[i] : r.lo[i];
    if (!std::isfinite(limit) || std::fabs(activity[i] - limit) > 1e-6 * (1.0 + std::fabs(limit))) continue;
    *row = i;
    *mult = m;
    return true;
  }
  return false;
}

} // namespace

int separateRounding(MipRun &run, CutContext &c, const double *x, bool variableBounds, int family, int *added) {
  *added = 0;
  const RowModel &r = *c.rows;
  const int n = c.model->numCols;
  EnvVector<double> activity(static_cast<size_t>(r.numRows), 0.0);
  EnvVector<EnvVector<int>> colRows(static_cast<size_t>(n));
  for (int i = 0; i < r.numRows; ++i)
    for (int p = r.start[i]; p < r.start[i + 1]; ++p) {
      activity[i] += r.value[p] * x[r.column[p]];
      if (c.kind[r.column[p]] == ColKind::kContinuous) colRows[r.column[p]].push_back(i);
    }
  Aggregate agg;
  agg.dense.assign(static_cast<size_t>(n), 0.0);
  EnvVector<Term> terms;
  EnvVector<int> index, rows;
  EnvVector<double> value;
  EnvVector<char> used(static_cast<size_t>(n), 0);
  MirWork w;
  w.useVariableBounds = variableBounds;
  w.extra.assign(static_cast<size_t>(n), 0.0);
  w.cut.assign(static_cast<size_t>(n), 0.0);
  if (variableBounds) {
    collectVariableBounds(c, w);
    if (w.vub.empty()) return 0;  // nothing beyond what MIR finds
  }
  for (int i = 0; i < r.numRows && c.room > 0; ++i) {
    if ((i & 63) == 63 && cutTimeUp(run, c)) break;
    bool hasInteger = false;
    for (int p = r.start[i]; p < r.start[i + 1] && !hasInteger; ++p)
      hasInteger = c.kind[r.column[p]] == ColKind::kInteger;
    if (!hasInteger) continue;
    for (double side : {1.0, -1.0}) {
      if (!std::isfinite(side > 0 ? r.up[i] : r.lo[i])) continue;
      for (int j : agg.cols) agg.dense[j] = 0.0, used[j] = 0;
      agg.cols.clear();
      agg.rhs = 0.0;
      rows.assign(1, i);
      addRowSide(r, i, side, agg);
      for (int step = 0; step <= c.aggregateLimit && c.room > 0; ++step) {
        if (bestMir(c, agg, x, w, terms, index, value, family)) {
          ++*added;
          break;
        }
        if (step == c.aggregateLimit) break;
        const int j = pickContinuous(c, agg, x, used);
        if (j < 0) break;
        used[j] = 1;
        int next = -1;
        double mult = 0.0;
        if (!rowToCancel(c, colRows, j, agg.dense[j], activity.data(), rows, &next, &mult)) break;
        rows.push_back(next);
        addRowSide(r, next, mult, agg);
        agg.dense[j] = 1e-300;
      }
    }
  }
  for (int j : agg.cols) agg.dense[j] = 0.0;
  return 0;
}

int separateMir(MipRun &run, void *data, const double *x, int *added) {
  return separateRounding(run, *static_cast<CutContext *>(data), x, false, kCutMir, added);
}

} // namespace qvn
