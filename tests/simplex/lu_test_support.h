// Test bases for the factor: a pool of sparse columns plus the unit column of
// every row (variable ncols + i), and residuals computed in long double.
#pragma once
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

#include "simplex/lu/lu_factor.h"

namespace qvntest {

struct ColumnPool {
  int m = 0;
  std::vector<std::vector<int>> index;
  std::vector<std::vector<double>> value;
  std::vector<int> rows;
  std::vector<double> ones;
  std::vector<int> head;

  explicit ColumnPool(int rowCount) : m(rowCount), rows(rowCount), ones(rowCount, 1.0), head(rowCount) {
    for (int i = 0; i < m; ++i) rows[i] = i;
  }
  int columns() const { return static_cast<int>(index.size()); }
  int add(std::vector<int> idx, std::vector<double> val) {
    index.push_back(std::move(idx));
    value.push_back(std::move(val));
    return columns() - 1;
  }
  qvn::LuColumn column(int variable) const {
    if (variable >= columns()) return qvn::LuColumn{1, &rows[variable - columns()], &ones[variable - columns()]};
    return qvn::LuColumn{static_cast<int>(index[variable].size()), index[variable].data(), value[variable].data()};
  }
  static qvn::LuColumn columnOf(const void *context, int variable) {
    return static_cast<const ColumnPool *>(context)->column(variable);
  }
  static int logicalOf(const void *context, int row) { return static_cast<const ColumnPool *>(context)->columns() + row; }
  qvn::LuBasis basis() {
    qvn::LuBasis b;
    b.m = m;
    b.head = head.data();
    b.context = this;
    b.column = columnOf;
    b.logicalOf = logicalOf;
    return b;
  }
};

// |Bx - b| / (|B||x| + |b|) in the max norm, x by basis position, b by rows.
inline double ftranResidual(const ColumnPool &pool, const std::vector<double> &x, const std::vector<double> &b) {
  const int m = pool.m;
  std::vector<long double> r(m, 0.0L), scale(m, 0.0L);
  for (int k = 0; k < m; ++k) {
    const qvn::LuColumn c = pool.column(pool.head[k]);
    for (int q = 0; q < c.count; ++q) {
      r[c.index[q]] += (long double)c.value[q] * x[k];
      scale[c.index[q]] += std::fabs((long double)c.value[q] * x[k]);
    }
  }
  long double num = 0, den = 0;
  for (int i = 0; i < m; ++i) {
    num = std::max(num, std::fabs(r[i] - b[i]));
    den = std::max(den, scale[i] + std::fabs((long double)b[i]));
  }
  return den > 0 ? double(num / den) : double(num);
}

// |B'y - c| / (|B'||y| + |c|), y by rows, c by basis position.
inline double btranResidual(const ColumnPool &pool, const std::vector<double> &y, const std::vector<double> &c) {
  long double num = 0, den = 0;
  for (int k = 0; k < pool.m; ++k) {
    const qvn::LuColumn col = pool.column(pool.head[k]);
    long double s = 0, a = 0;
    for (int q = 0; q < col.count; ++q) {
      s += (long double)col.value[q] * y[col.index[q]];
      a += std::fabs((long double)col.value[q] * y[col.index[q]]);
    }
    num = std::max(num, std::fabs(s - c[k]));
    den = std::max(den, a + std::fabs((long double)c[k]));
  }
  return den > 0 ? double(num / den) : double(num);
}

// A random right-hand side with about `density` of its entries nonzero (at least one).
inline std::vector<double> randomVector(int m, double density, std::mt19937 &rng) {
  std::uniform_real_distribution<double> u(-1.0, 1.0), pick(0.0, 1.0);
  std::vector<double> b(m, 0.0);
  for (int i = 0; i < m; ++i)
    if (pick(rng) < density) b[i] = u(rng);
  b[std::uniform_int_distribution<int>(0, m - 1)(rng)] = 1.0 + pick(rng);
  return b;
}

// FTRAN and BTRAN, dense and sparse forms, with random right-hand sides: the
// worst relative residual seen, and the pattern lists of the sparse forms checked.
inline double worstResidual(qvn::LuFactor &f, const ColumnPool &pool, std::mt19937 &rng, int trials) {
  const int m = pool.m;
  double worst = 0.0;
  qvn::LuVector v;
  qvn::luVectorInit(v, m);
  for (int t = 0; t < trials; ++t) {
    const double density = t % 3 == 0 ? 1.0 : t % 3 == 1 ? 0.05 : 0.0;
    std::vector<double> b = randomVector(m, density, rng);
    std::vector<double> x = b;
    EXPECT_EQ(f.ops->ftran(f, x.data()), 0);
    worst = std::max(worst, ftranResidual(pool, x, b));
    // Sparse form from a listed right-hand side.
    qvn::luVectorClear(v);
    for (int i = 0; i < m; ++i)
      if (b[i] != 0.0) v.array[i] = b[i], v.index[v.count++] = i;
    EXPECT_EQ(f.ops->ftranSparse(f, v), 0);
    std::vector<double> xs(v.array.begin(), v.array.end());
    worst = std::max(worst, ftranResidual(pool, xs, b));
    std::vector<char> listed(m, 0);
    for (int q = 0; q < v.count; ++q) listed[v.index[q]] = 1;
    for (int i = 0; i < m; ++i)
      if (v.array[i] != 0.0) {
        EXPECT_TRUE(listed[i]) << "unlisted nonzero at " << i;
      }
    EXPECT_EQ(std::count(listed.begin(), listed.end(), 1), v.count) << "a position listed twice";

    std::vector<double> c = randomVector(m, density, rng);
    std::vector<double> y = c;
    EXPECT_EQ(f.ops->btran(f, y.data()), 0);
    worst = std::max(worst, btranResidual(pool, y, c));
    qvn::luVectorClear(v);
    for (int i = 0; i < m; ++i)
      if (c[i] != 0.0) v.array[i] = c[i], v.index[v.count++] = i;
    EXPECT_EQ(f.ops->btranSparse(f, v), 0);
    std::vector<double> ys(v.array.begin(), v.array.end());
    worst = std::max(worst, btranResidual(pool, ys, c));
    std::fill(listed.begin(), listed.end(), 0);
    for (int q = 0; q < v.count; ++q) listed[v.index[q]] = 1;
    for (int i = 0; i < m; ++i)
      if (v.array[i] != 0.0) {
        EXPECT_TRUE(listed[i]) << "unlisted nonzero at " << i;
      }
  }
  return worst;
}

} // namespace qvntest
