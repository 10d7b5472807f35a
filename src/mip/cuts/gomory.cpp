// Gomory mixed integer cuts from rows of the optimal tableau.
//
// Row pos of B^-1 [A, -I] reads x_B + sum_N T_j z_j = 0 over the nonbasic
// columns and logicals (a logical is its row's activity a_i x). With
// z_j = l_j + y_j at a lower bound and z_j = u_j - y_j at an upper one it
// becomes x_B + sum abar_j y_j = beta, y >= 0, with f0 = frac(beta) and
// fj = frac(abar_j):
//   sum_{integer y} min(fj/f0, (1-fj)/(1-f0)) y_j
//     + sum_{continuous, abar>0} abar_j/f0 y_j - sum_{abar<0} abar_j/(1-f0) y_j >= 1.
// A logical counts as integer when its row has integer entries on integer
// columns only and it sits at an integer bound, else as continuous. The cut
// is then written on x alone by substituting y back and each logical by its
// row. The row times a small
// integer k is such a row too, with other fractions: the most efficacious of
// the k's cuts is the one offered. Cuts longer than a share of the columns or
// with a wide spread of entries are left out: they slow every later solve.
#include <algorithm>
#include <cmath>

#include "mip/cuts/cut_pool.h"

namespace qvn {

namespace {

constexpr double kMinFraction = 0.01;
// Tableau entries below this are round-off.
constexpr double kZeroEntry = 1e-11;
constexpr double kInfiniteBound = 1e20;
// Multiples of a tableau row tried for each candidate.
constexpr int kScaleTrials = 4;
// Cut length allowed: kLengthBase plus kLengthShare of the columns.
constexpr double kLengthBase = 500.0;
constexpr double kLengthShare = 0.1;
// Or this many mean row lengths: on models of few long rows (mod010) the
// cuts that close the gap run just past 20 of them.
constexpr double kMeanRowLengths = 25.0;
// Entries below this fraction of the largest do not count for length and
// spread; offerCut folds them into the rhs.
constexpr double kTinyRelative = 1e-9;
// Largest over smallest entry: a wider spread makes the LP solves unstable.
constexpr double kMaxDynamism = 1e6;

struct Candidate {
  int pos;
  double score;
};

// Adds mult times the row of logical i to the dense cut on x.
void addLogicalRow(const CutContext &c, int i, double mult, EnvVector<double> &dense) {
  const RowModel &r = *c.rows;
  if (i < r.numRows) {
    for (int p = r.start[i]; p < r.start[i + 1]; ++p) dense[r.column[p]] += mult * r.value[p];
    return;
  }
  const CutBlock &b = c.pool->installed;
  const Cut &cut = b.cuts[i - c.pool->firstCutRow];
  for (int t = 0; t < cut.count; ++t) dense[b.index[cut.start + t]] += mult * b.value[cut.start + t];
}

bool isIntegral(double v) { return v == std::floor(v) && std::fabs(v) < kInfiniteBound; }

// True when the entries are integers on integer columns only: the row's
// activity is then an integer at every integer point.
bool integerEntries(const ColKind *kind, const int *index, const double *value, int count) {
  for (int t = 0; t < count; ++t)
    if (kind[index[t]] != ColKind::kInteger || !isIntegral(value[t])) return false;
  return true;
}

// Per LP row: whether its logical (the row's activity) takes integer values
// only; a logical at an integer bound then rounds like an integer column.
void markIntegerLogicals(const CutContext &c, int m, EnvVector<char> &integerLogical) {
  const RowModel &r = *c.rows;
  const CutBlock &b = c.pool->installed;
  integerLogical.assign(static_cast<size_t>(m), 0);
  for (int i = 0; i < m; ++i) {
    if (i < r.numRows) {
      integerLogical[i] = integerEntries(c.kind, r.column.data() + r.start[i], r.value.data() + r.start[i],
                                         r.start[i + 1] - r.start[i]);
      continue;
    }
    const Cut &cut = b.cuts[i - c.pool->firstCutRow];
    integerLogical[i] = integerEntries(c.kind, b.index.data() + cut.start, b.value.data() + cut.start, cut.count);
  }
}

// The Gomory mixed integer cut of k times tableau row `row` (basic variable
// `basic` at value beta) as sum dense_j x_j >= *rhs; false when a nonbasic
// variable with an entry sits at no finite bound.
bool roundedRow(const CutContext &c, const EnvVector<double> &row, const EnvVector<int> &colStatus,
                const EnvVector<int> &rowStatus, const EnvVector<double> &lower, const EnvVector<double> &upper,
                const EnvVector<char> &integerLogical, int basic, int k, double beta, EnvVector<double> &dense,
                double *rhsOut) {
  const int n = static_cast<int>(colStatus.size()), m = static_cast<int>(rowStatus.size());
  const double kb = k * beta;
  const double f0 = kb - std::floor(kb);
  std::fill(dense.begin(), dense.end(), 0.0);
  if (f0 < kMinFraction || f0 > 1.0 - kMinFraction) return true;  // no cut, but the next k may give one
  double rhs = 1.0;
  for (int j = 0; j < n + m; ++j) {
    if (j == basic || std::fabs(row[j]) < kZeroEntry) continue;
    const int status = j < n ? colStatus[j] : rowStatus[j - n];
    if (status == 1) continue;
    if (lower[j] == upper[j]) continue;  // y_j is 0 for good
    const bool atUpper = status == 2;
    const double bound = atUpper ? upper[j] : lower[j];
    if (status == 3 || std::fabs(bound) >= kInfiniteBound) return false;
    const double abar = k * (atUpper ? -row[j] : row[j]);
    double g;
    const bool integer = j < n ? c.kind[j] == ColKind::kInteger : integerLogical[j - n] && isIntegral(bound);
    if (integer) {
      const double fj = abar - std::floor(abar);
      g = std::min(fj / f0, (1.0 - fj) / (1.0 - f0));
    } else {
      g = abar >= 0 ? abar / f0 : -abar / (1.0 - f0);
    }
    if (g == 0.0) continue;
    // g y with y = z - l adds g z and moves g l to the rhs; y = u - z the opposite.
    const double zc = atUpper ? -g : g;
    rhs += zc * bound;
    if (j < n)
      dense[j] += zc;
    else
      addLogicalRow(c, j - n, zc, dense);
  }
  *rhsOut = rhs;
  return true;
}

} // namespace

int separateGomory(MipRun &run, void *data, const double *x, int *added) {
  CutContext &c = *static_cast<CutContext *>(data);
  *added = 0;
  LpRelaxation &lp = *c.lp;
  const int n = relaxNumCols(lp), m = relaxNumRows(lp);
  if (m != c.pool->firstCutRow + static_cast<int>(c.pool->installed.cuts.size())) return 0;
  EnvVector<int> colStatus(static_cast<size_t>(n)), rowStatus(static_cast<size_t>(m));
  relaxGetBasis(lp, colStatus.data(), rowStatus.data());
  EnvVector<Candidate> cands;
  for (int pos = 0; pos < m; ++pos) {
    const int j = relaxBasicVariable(lp, pos);
    if (j < 0 || j >= n || c.kind[j] != ColKind::kInteger) continue;
    const double f = x[j] - std::floor(x[j]);
    if (f < kMinFraction || f > 1.0 - kMinFraction) continue;
    cands.push_back(Candidate{pos, std::min(f, 1.0 - f)});
  }
  std::sort(cands.begin(), cands.end(), [](const Candidate &a, const Candidate &b) {
    return a.score != b.score ? a.score > b.score : a.pos < b.pos;
  });
  if (static_cast<int>(cands.size()) > c.fracCandidates) cands.resize(static_cast<size_t>(c.fracCandidates));
  EnvVector<double> row(static_cast<size_t>(n + m)), dense(static_cast<size_t>(n));
  EnvVector<double> lower(static_cast<size_t>(n + m)), upper(static_cast<size_t>(n + m));
  EnvVector<char> integerLogical;
  markIntegerLogicals(c, m, integerLogical);
  for (int j = 0; j < n; ++j) relaxGetBounds(lp, j, &lower[j], &upper[j]);
  for (int i = 0; i < m; ++i) relaxGetRowBounds(lp, i, &lower[n + i], &upper[n + i]);
  EnvVector<int> index;
  EnvVector<double> value;
  EnvVector<double> best(static_cast<size_t>(n));
  // Longer cuts than this make the LP denser than the bound they buy: a cut
  // row may hold a tenth of the columns and some hundreds more, which leaves
  // a small model's cuts alone, or a number of the model's mean row length,
  // since a few long rows cost little in an LP of few rows.
  const RowModel &r = *c.rows;
  const double meanRow = r.numRows > 0 ? static_cast<double>(r.start[r.numRows]) / r.numRows : 0.0;
  const int maxLength = static_cast<int>(std::max(kLengthBase + kLengthShare * n, kMeanRowLengths * meanRow));
  for (const Candidate &cand : cands) {
    if (c.room <= 0 || cutTimeUp(run, c)) break;
    QVN_TRY(relaxTableauRow(lp, cand.pos, row.data()));
    const int basic = relaxBasicVariable(lp, cand.pos);
    // The row times a small integer k is a row with an integer basic
    // variable too; each k gives another rounding, and the most efficacious
    // cut at x is the one offered.
    double bestEfficacy = 0.0, bestRhs = 0.0;
    for (int k = 1; k <= kScaleTrials; ++k) {
      double rhs = 0.0;
      if (!roundedRow(c, row, colStatus, rowStatus, lower, upper, integerLogical, basic, k, x[basic], dense, &rhs))
        break;
      double activity = 0.0, norm = 0.0, largest = 0.0, smallest = HUGE_VAL;
      int length = 0;
      for (int j = 0; j < n; ++j)
        if (dense[j] != 0.0) largest = std::max(largest, std::fabs(dense[j]));
      for (int j = 0; j < n; ++j) {
        const double a = dense[j];
        if (a == 0.0) continue;
        activity += a * x[j];
        norm += a * a;
        if (std::fabs(a) > kTinyRelative * largest) {
          ++length;
          smallest = std::min(smallest, std::fabs(a));
        }
      }
        if (norm <= 0.0 || length > maxLength || largest > kMaxDynamism * smallest) continue;
      const double efficacy = (rhs - activity) / std::sqrt(norm);
      if (efficacy > bestEfficacy) {
        bestEfficacy = efficacy;
        bestRhs = rhs;
        best.swap(dense);
      }
    }
    if (bestEfficacy <= 0.0) continue;
    // As a <= cut: -coef x <= -rhs.
    index.clear();
    value.clear();
    for (int j = 0; j < n; ++j)
      if (best[j] != 0.0) {
        index.push_back(j);
        value.push_back(-best[j]);
      }
    if (offerCut(c, c.tableauFamily, index, value, -bestRhs, x)) ++*added;
  }
  return 0;
}

} // namespace qvn
