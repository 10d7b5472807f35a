// Many small random bases of every shape, singular ones included, each followed
// by random replacements: every factorization either holds (small residuals) or
// reports the repair, and nothing is ever left half done.
#include "simplex/basis_factor.h"
#include "simplex/lu/lu_factor.h"
#include "support/test_support.h"
#include "simplex/lu_test_support.h"

namespace qvntest {
namespace {

class LuStressTest : public EnvFixture {};

// Columns with 0..maxCount entries of mixed magnitudes, some repeated or scaled.
void randomColumns(ColumnPool &pool, int count, std::mt19937 &rng) {
  const int m = pool.m;
  std::uniform_int_distribution<int> len(0, std::min(m, 6)), row(0, m - 1);
  std::uniform_real_distribution<double> u(-1.0, 1.0), pick(0.0, 1.0);
  for (int c = 0; c < count; ++c) {
    if (c > 0 && pick(rng) < 0.05) {  // a multiple of an earlier column
      const int other = std::uniform_int_distribution<int>(0, c - 1)(rng);
      std::vector<double> val = pool.value[other];
      for (double &x : val) x *= -2.0;
      pool.add(pool.index[other], val);
      continue;
    }
    std::vector<int> idx;
    std::vector<double> val;
    const int n = len(rng);
    for (int e = 0; e < n; ++e) {
      const int i = row(rng);
      if (std::find(idx.begin(), idx.end(), i) != idx.end()) continue;
      idx.push_back(i);
      const double scale = pick(rng) < 0.1 ? 1e-6 : pick(rng) < 0.1 ? 1e4 : 1.0;
      val.push_back(u(rng) * scale);
    }
    pool.add(idx, val);
  }
}

TEST_F(LuStressTest, RandomBasesAndUpdatesNeverGoWrong) {
  std::mt19937 rng(2024);
  int repaired = 0, refactored = 0;
  for (int round = 0; round < 150; ++round) {
    const int m = 1 + round % 40;
    const int kind = round % 2;
    ColumnPool pool(m);
    randomColumns(pool, 3 * m, rng);
    std::uniform_int_distribution<int> anyVar(0, pool.columns() + m - 1);
    for (int k = 0; k < m; ++k) pool.head[k] = anyVar(rng);
    int status = -1;
    qvn::LuFactor *f = qvn::luCreate(qvn::factorOptions(env), m, &status);
    ASSERT_NE(f, nullptr);
    if (f->kind != kind) {
      ASSERT_EQ(qvn::luSetKind(*f, kind), 0);
    }
    qvn::LuBasis basis = pool.basis();
    double u = 0.01;
    status = qvn::factorBasis(*f, basis, &u, 1e-13, true, 0);
    ASSERT_TRUE(status == 0 || status == qvn::kLuBasisChanged) << "round " << round << " status " << status;
    if (status == qvn::kLuBasisChanged) ++repaired;
    ASSERT_TRUE(f->valid);
    std::vector<int> sorted = pool.head;
    std::sort(sorted.begin(), sorted.end());
    ASSERT_EQ(std::adjacent_find(sorted.begin(), sorted.end()), sorted.end()) << "round " << round;
    double kappa = 0.0;
    ASSERT_EQ(f->ops->estimateCondition(*f, pool.basis(), &kappa), 0);
    // Backward error scaled by the conditioning the repair left behind.
    const double bound = (kind == 0 ? 1e-14 : 1e-17) * std::max(1.0, std::min(kappa, 1e6));
    EXPECT_LT(worstResidual(*f, pool, rng, 3), std::max(bound, kind == 0 ? 1e-12 : 1e-15)) << "round " << round;

    qvn::LuVector v;
    qvn::luVectorInit(v, m);
    for (int step = 0; step < 20; ++step) {
      const int q = anyVar(rng);
      if (std::find(pool.head.begin(), pool.head.end(), q) != pool.head.end()) continue;
      qvn::luVectorClear(v);
      const qvn::LuColumn col = pool.column(q);
      for (int e = 0; e < col.count; ++e) {
        if (col.value[e] == 0.0) continue;
        v.array[col.index[e]] = col.value[e];
        v.index[v.count++] = col.index[e];
      }
      ASSERT_EQ(f->ops->ftranForUpdate(*f, v), 0);
      int p = -1;
      double best = 0.0;
      for (int e = 0; e < v.count; ++e)
        if (std::fabs(v.array[v.index[e]]) > best) best = std::fabs(v.array[v.index[e]]), p = v.index[e];
      if (p < 0 || best < 1e-7) continue;
      const int result = f->ops->update(*f, p, v.array[p]);
      pool.head[p] = q;
      if (result != 0) {
        ++refactored;
        u = 0.01;
        status = qvn::factorBasis(*f, basis, &u, 1e-13, true, 0);
        ASSERT_TRUE(status == 0 || status == qvn::kLuBasisChanged) << status;
      }
      ASSERT_TRUE(f->valid);
      ASSERT_EQ(f->ops->estimateCondition(*f, pool.basis(), &kappa), 0);
      // Updates may grow the factors by the multipliers and spikes they
      // accept (up to 1e4 and 1e7 in extended precision) before a cycle
      // ends, and rounding grows with them; a wrong update still shows as an
      // error of the order of the data.
      const double limit = std::max(100.0 * std::max((kind == 0 ? 1e-14 : 1e-17) * std::min(kappa, 1e6),
                                                     kind == 0 ? 1e-12 : 1e-15),
                                    1e-8);
      EXPECT_LT(worstResidual(*f, pool, rng, 1), limit) << "round " << round << " step " << step;
    }
    qvn::luFree(f);
  }
  EXPECT_GT(repaired, 10);
  EXPECT_GT(refactored, 0);
}

// Solves and updates run on arrays made at creation: no allocation at all.
TEST_F(LuStressTest, SolvesAllocateNothing) {
  std::mt19937 rng(8);
  const int m = 300;
  ColumnPool pool(m);
  randomColumns(pool, m, rng);
  for (int k = 0; k < m; ++k) pool.head[k] = pool.columns() + k;
  for (int k = 0; k < m; k += 3) pool.head[k] = k;  // some structurals among the slacks
  int status = -1;
  qvn::LuFactor *f = qvn::luCreate(qvn::factorOptions(env), m, &status);
  ASSERT_NE(f, nullptr);
  qvn::LuBasis basis = pool.basis();
  double u = 0.01;
  status = qvn::factorBasis(*f, basis, &u, 1e-13, true, 0);
  ASSERT_TRUE(status == 0 || status == qvn::kLuBasisChanged);
  qvn::LuVector v;
  qvn::luVectorInit(v, m);
  std::vector<double> dense(m, 1.0);
  const long before = qvn::allocCount();
  for (int t = 0; t < 50; ++t) {
    f->ops->ftran(*f, dense.data());
    f->ops->btran(*f, dense.data());
    f->ops->btranUnit(*f, t % m, v);
    f->ops->btranSparse(*f, v);
    luVectorClear(v);
    v.array[t % m] = 1.0;
    v.index[v.count++] = t % m;
    f->ops->ftranSparse(*f, v);
  }
  EXPECT_EQ(qvn::allocCount(), before);
  qvn::luFree(f);
}

} // namespace
} // namespace qvntest
