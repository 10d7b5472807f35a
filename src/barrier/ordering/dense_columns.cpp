// Dense columns of A: which ones are kept out of the normal matrix, and the
// correction that brings them back in each solve.
//
// With Ms' = P Ms P^T + diag(shift) = L L^T, the full matrix is
//   P M P^T = Ms' + V Sigma V^T,
// V holding sqrt(d_j) P a_j for each dense column (Sigma = +1) and
// sqrt(shift_c) e_c for each shifted pivot (Sigma = -1). By the
// Sherman-Morrison-Woodbury identity, with W = L^-1 V and S = Sigma + W^T W,
//   (P M P^T)^-1 b = L^-T (y - W S^-1 W^T y),  y = L^-1 b,
// so a solve costs the two triangular sweeps plus 2 k rows of work and one
// k x k dense solve. S is solved by LU with row pivots; a pivot too small for
// the rounding of S means M itself is singular in that direction, and the
// component is dropped, as a dependent row of M is.
#include <algorithm>
#include <cmath>

#include "barrier/ordering/cholesky.h"

namespace qvn {

namespace {

// Relative pivot size below which S is taken as singular in that direction.
constexpr double kSingularPivot = 1e-13;
// The cost of a dense column in the correction, per row, against the entries
// of the normal matrix it would add.
constexpr double kRowCostPerColumn = 2.0;
// A candidate limit must promise this share of the best cost to be taken.
constexpr double kImproveShare = 0.8;
constexpr double kCostConstant = 1000.0;
// Below this many rows the normal matrix is small enough to keep every column.
constexpr int kSmallRows = 100;

} // namespace

void findDenseColumns(const NormalPattern &p, int fixedLimit, DenseColumnSet &dense) {
  const int m = p.rows, n = p.cols;
  dense.columns.clear();
  dense.isDense.assign(static_cast<size_t>(n), 0);
  dense.k = 0;
  EnvVector<int> length(static_cast<size_t>(n), 0);
  int longest = 0;
  double total = 0.0;
  for (int j = 0; j < n; ++j) {
    length[j] = p.skip && p.skip[j] ? 0 : p.start[j + 1] - p.start[j];
    longest = std::max(longest, length[j]);
    total += length[j];
  }
  dense.limit = longest + 1;
  // At most 1% of the rows, within [10, 500], never more than half the rows.
  int cap = std::min(500, std::max(10, static_cast<int>(0.01 * m)));
  cap = std::max(1, std::min(cap, m / 2));
  if (fixedLimit <= 0 && m < kSmallRows) return;
  if (fixedLimit > 0) {
    dense.limit = fixedLimit;
  } else {
    const double c = m > 0 ? 5.0 * total / m : 0.0;
    dense.limit = c > longest ? longest + 1 : std::max(1, static_cast<int>(std::ceil(c)));
  }
  EnvVector<int> candidates;
  for (int j = 0; j < n; ++j)
    if (length[j] > 0 && length[j] >= dense.limit) candidates.push_back(j);
  std::sort(candidates.begin(), candidates.end(),
            [&](int a, int b) { return length[a] > length[b] || (length[a] == length[b] && a < b); });
  int chosen = 0;
  if (fixedLimit > 0) {
    chosen = std::min(cap, static_cast<int>(candidates.size()));
  } else if (dense.limit < m) {
    // Cost of taking the k longest columns out: the k x k system, the
    // correction's work per row, and the entries the rest puts in M.
    double fill = 0.0;
    for (int j = 0; j < n; ++j) fill += 0.5 * length[j] * (length[j] - 1.0);
    double best = fill + kCostConstant;
    const int most = std::min(cap, static_cast<int>(candidates.size()));
    for (int k = 1; k <= most; ++k) {
      const double len = length[candidates[k - 1]];
      fill -= 0.5 * len * (len - 1.0);
      // Columns of one length go together: the limit is a length.
      if (k < static_cast<int>(candidates.size()) && length[candidates[k]] == length[candidates[k - 1]]) continue;
      const double cost = k * (k - 1.0) + kRowCostPerColumn * m * k + fill + kCostConstant;
      if (cost < kImproveShare * best) {
        best = cost;
        chosen = k;
      }
    }
    dense.limit = chosen > 0 ? length[candidates[chosen - 1]] : longest + 1;
  }
  for (int i = 0; i < chosen; ++i) {
    dense.isDense[candidates[i]] = 1;
    dense.columns.push_back(candidates[i]);
  }
  std::sort(dense.columns.begin(), dense.columns.end());
}

void denseCorrectionBuild(const NormalPattern &p, const double *d, CholeskyFactor &f) {
  DenseColumnSet &dense = f.dense;
  const int m = f.n;
  const int columns = static_cast<int>(dense.columns.size());
  int shifts = 0;
  for (int c = 0; c < m; ++c) shifts += f.shift[c] != 0.0 ? 1 : 0;
  const int k = columns + shifts;
  dense.k = k;
  if (k == 0) return;
  const size_t mm = static_cast<size_t>(m);
  dense.w.assign(mm * k, 0.0);
  EnvVector<double> sign(static_cast<size_t>(k), 1.0);
  for (int a = 0; a < columns; ++a) {
    const int j = dense.columns[a];
    const double root = std::sqrt(std::max(d[j], 0.0));
    for (int t = p.start[j]; t < p.start[j + 1]; ++t) dense.w[a * mm + f.iperm[p.index[t]]] += root * p.value[t];
  }
  for (int c = 0, a = columns; c < m; ++c)
    if (f.shift[c] != 0.0) {
      dense.w[a * mm + c] = std::sqrt(f.shift[c]);
      sign[a++] = -1.0;
    }
  for (int a = 0; a < k; ++a) factorForward(f, dense.w.data() + a * mm);
  // S = Sigma + W^T W, column-major, sums in extended precision.
  const size_t kk = static_cast<size_t>(k);
  dense.s.assign(kk * kk, 0.0);
  double largest = 0.0;
  for (int a = 0; a < k; ++a)
    for (int b = a; b < k; ++b) {
      const double *wa = dense.w.data() + a * mm, *wb = dense.w.data() + b * mm;
      long double sum = a == b ? sign[a] : 0.0L;
      for (int i = 0; i < m; ++i) sum += static_cast<long double>(wa[i]) * wb[i];
      dense.s[a * kk + b] = dense.s[b * kk + a] = static_cast<double>(sum);
      largest = std::max(largest, std::fabs(static_cast<double>(sum)));
    }
  // LU with row pivots: pivot[c] is the row swapped with row c at step c.
  dense.pivot.assign(kk, 0);
  dense.singular.assign(kk, 0);
  double *s = dense.s.data();
  for (int c = 0; c < k; ++c) {
    int row = c;
    for (int r = c + 1; r < k; ++r)
      if (std::fabs(s[c * kk + r]) > std::fabs(s[c * kk + row])) row = r;
    dense.pivot[c] = row;
    if (row != c)
      for (int col = 0; col < k; ++col) std::swap(s[col * kk + c], s[col * kk + row]);
    const double pivot = s[c * kk + c];
    if (!(std::fabs(pivot) > kSingularPivot * largest)) {
      dense.singular[c] = 1;
      s[c * kk + c] = 1.0;
      for (int r = c + 1; r < k; ++r) s[c * kk + r] = 0.0;
      continue;
    }
    for (int r = c + 1; r < k; ++r) s[c * kk + r] /= pivot;
    for (int col = c + 1; col < k; ++col) {
      const double u = s[col * kk + c];
      if (u == 0.0) continue;
      for (int r = c + 1; r < k; ++r) s[col * kk + r] -= s[c * kk + r] * u;
    }
  }
  dense.work.assign(kk, 0.0);
}

void denseCorrectionApply(const CholeskyFactor &f, double *y) {
  const DenseColumnSet &dense = f.dense;
  const int k = dense.k, m = f.n;
  if (k == 0) return;
  const size_t mm = static_cast<size_t>(m), kk = static_cast<size_t>(k);
  double *z = dense.work.data();
  for (int a = 0; a < k; ++a) {
    const double *wa = dense.w.data() + a * mm;
    long double sum = 0.0L;
    for (int i = 0; i < m; ++i) sum += static_cast<long double>(wa[i]) * y[i];
    z[a] = static_cast<double>(sum);
  }
  const double *s = dense.s.data();
  // The row swaps were made on whole rows of S: all of them come first.
  for (int c = 0; c < k; ++c) std::swap(z[c], z[dense.pivot[c]]);
  for (int c = 0; c < k; ++c)
    for (int r = c + 1; r < k; ++r) z[r] -= s[c * kk + r] * z[c];
  for (int c = k - 1; c >= 0; --c) {
    if (dense.singular[c]) {
      z[c] = 0.0;
      continue;
    }
    z[c] /= s[c * kk + c];
    for (int r = 0; r < c; ++r) z[r] -= s[c * kk + r] * z[c];
  }
  for (int a = 0; a < k; ++a) {
    const double *wa = dense.w.data() + a * mm;
    const double za = z[a];
    if (za == 0.0) continue;
    for (int i = 0; i < m; ++i) y[i] -= wa[i] * za;
  }
}

} // namespace qvn
