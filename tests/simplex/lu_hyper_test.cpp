// The sparse solve paths (symbolic reach through L, the row etas and U) and the
// plain sweeps must give the same results up to rounding, before and across
// column replacements, and the automatic choice must agree with both.
#include "simplex/basis_factor.h"
#include "simplex/lu/lu_factor.h"
#include "support/test_support.h"
#include "simplex/lu_test_support.h"

namespace qvntest {
namespace {

using qvn::LuFactor;
using qvn::LuVector;

// A sparse basis that stays sparse under inversion: most positions hold unit
// columns, the others two or three entries; candidates to enter are alike.
ColumnPool makeSparsePool(int m, int extra, std::mt19937 &rng) {
  ColumnPool pool(m);
  std::uniform_real_distribution<double> u(-1.0, 1.0), pick(0.0, 1.0);
  std::uniform_int_distribution<int> row(0, m - 1);
  std::vector<int> perm(m);
  for (int i = 0; i < m; ++i) perm[i] = i;
  std::shuffle(perm.begin(), perm.end(), rng);
  std::vector<int> unitRow(m, -1);
  for (int k = 0; k < m + extra; ++k) {
    const int diagonal = k < m ? perm[k] : row(rng);
    if (k < m && pick(rng) < 0.6) {
      unitRow[k] = diagonal;
      continue;
    }
    std::vector<int> idx{diagonal};
    std::vector<double> val{2.0 + u(rng)};
    for (int e = 0; e < 2; ++e) {
      const int i = row(rng);
      if (std::find(idx.begin(), idx.end(), i) != idx.end()) continue;
      idx.push_back(i);
      val.push_back(u(rng));
    }
    const int id = pool.add(idx, val);
    if (k < m) pool.head[k] = id;
  }
  // Unit columns are numbered after the pool, so only now is their number known.
  for (int k = 0; k < m; ++k)
    if (unitRow[k] >= 0) pool.head[k] = pool.columns() + unitRow[k];
  return pool;
}

LuFactor *makeFactor(QVNENVptr env, ColumnPool &pool, int mode) {
  int status = -1;
  qvn::LuOptions options = qvn::factorOptions(env);
  options.hyperSparse = mode;
  LuFactor *f = qvn::luCreate(options, pool.m, &status);
  EXPECT_EQ(status, 0);
  if (!f) return nullptr;
  qvn::LuBasis basis = pool.basis();
  double u = 0.01;
  EXPECT_EQ(qvn::factorBasis(*f, basis, &u, 1e-13, false, 0), 0);
  return f;
}

void load(LuVector &v, const std::vector<double> &b) {
  qvn::luVectorClear(v);
  for (int i = 0; i < static_cast<int>(b.size()); ++i)
    if (b[i] != 0.0) v.array[i] = b[i], v.index[v.count++] = i;
}

// Largest difference relative to the largest entry; also checks the pattern list.
double difference(const LuVector &a, const LuVector &b) {
  double scale = 1e-300, diff = 0.0;
  for (int i = 0; i < a.size; ++i) {
    scale = std::max(scale, std::max(std::fabs(a.array[i]), std::fabs(b.array[i])));
    diff = std::max(diff, std::fabs(a.array[i] - b.array[i]));
  }
  for (const LuVector *v : {&a, &b}) {
    std::vector<char> listed(v->size, 0);
    for (int q = 0; q < v->count; ++q) listed[v->index[q]] = 1;
    for (int i = 0; i < v->size; ++i)
      if (v->array[i] != 0.0) { EXPECT_TRUE(listed[i]) << "unlisted nonzero at " << i; }
  }
  return diff / scale;
}

class LuHyperTest : public EnvFixture {};

TEST_F(LuHyperTest, SparseAndPlainPathsAgreeAcrossUpdates) {
  const int m = 500;
  for (unsigned seed = 1; seed <= 3; ++seed) {
    SCOPED_TRACE(seed);
    std::mt19937 rng(seed);
    ColumnPool pool = makeSparsePool(m, 800, rng);
    // Forced sparse, forced plain, and the automatic choice on the same basis.
    LuFactor *f[3] = {makeFactor(env, pool, 1), makeFactor(env, pool, -1), makeFactor(env, pool, 0)};
    ASSERT_TRUE(f[0] && f[1] && f[2]);
    LuVector v[3];
    for (LuVector &x : v) qvn::luVectorInit(x, m);
    double worstDiff = 0.0, worstResidual = 0.0;
    bool autoSparse = false;
    std::uniform_int_distribution<int> candidate(0, pool.columns() - 1);
    int updates = 0;
    for (int step = 0; step < 150; ++step) {
      // Right-hand sides of every density so the automatic choice switches.
      const double density = step % 40 < 8 ? 0.5 : step % 3 == 0 ? 0.01 : 0.0;
      const std::vector<double> b = randomVector(m, density, rng);
      for (int k = 0; k < 3; ++k) {
        load(v[k], b);
        EXPECT_EQ(f[k]->ops->ftranSparse(*f[k], v[k]), 0);
      }
      worstDiff = std::max({worstDiff, difference(v[0], v[1]), difference(v[2], v[1])});
      worstResidual = std::max(worstResidual, ftranResidual(pool, std::vector<double>(v[0].array.begin(), v[0].array.end()), b));
      const std::vector<double> c = randomVector(m, density, rng);
      for (int k = 0; k < 3; ++k) {
        load(v[k], c);
        EXPECT_EQ(f[k]->ops->btranSparse(*f[k], v[k]), 0);
      }
      worstDiff = std::max({worstDiff, difference(v[0], v[1]), difference(v[2], v[1])});
      worstResidual = std::max(worstResidual, btranResidual(pool, std::vector<double>(v[0].array.begin(), v[0].array.end()), c));
      if (f[2]->ftranDensity < 0.10 && f[2]->btranDensity < 0.10) autoSparse = true;

      // A column replacement applied to all three.
      int q = -1;
      for (int tries = 0; tries < 100 && q < 0; ++tries) {
        const int cand = candidate(rng);
        if (std::find(pool.head.begin(), pool.head.end(), cand) == pool.head.end()) q = cand;
      }
      if (q < 0) continue;
      const qvn::LuColumn col = pool.column(q);
      std::vector<double> a(m, 0.0);
      for (int e = 0; e < col.count; ++e) a[col.index[e]] = col.value[e];
      for (int k = 0; k < 3; ++k) {
        load(v[k], a);
        EXPECT_EQ(f[k]->ops->ftranForUpdate(*f[k], v[k]), 0);
      }
      worstDiff = std::max({worstDiff, difference(v[0], v[1]), difference(v[2], v[1])});
      double largest = 0.0;
      for (int e = 0; e < v[0].count; ++e) largest = std::max(largest, std::fabs(v[0].array[v[0].index[e]]));
      // The largest pivot keeps the basis well conditioned, so that rounding
      // alone separates the paths.
      int p = -1;
      for (int e = 0; e < v[0].count && p < 0; ++e)
        if (std::fabs(v[0].array[v[0].index[e]]) == largest) p = v[0].index[e];
      if (p < 0) continue;
      int results[3];
      for (int k = 0; k < 3; ++k) results[k] = f[k]->ops->update(*f[k], p, v[k].array[p]);
      pool.head[p] = q;
      ++updates;
      if (results[0] != 0 || results[1] != 0 || results[2] != 0) {
        for (int k = 0; k < 3; ++k) {
          qvn::LuBasis basis = pool.basis();
          double u = 0.01;
          EXPECT_EQ(qvn::factorBasis(*f[k], basis, &u, 1e-13, false, 0), 0);
        }
      }
    }
    EXPECT_GT(updates, 100);
    EXPECT_GT(f[0]->etaCount + f[1]->etaCount, 0);
    EXPECT_LT(worstDiff, 1e-12);
    EXPECT_LT(worstResidual, 1e-11);
    // Dense inputs take the sweeps by rule; sparse ones must find the sparse paths.
    EXPECT_TRUE(autoSparse);
    for (LuFactor *x : f) qvn::luFree(x);
  }
}

} // namespace
} // namespace qvntest
