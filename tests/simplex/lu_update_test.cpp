// Column replacements: after every update FTRAN and BTRAN must still solve the
// changed basis, and the refactorization rule and limits must fire.
#include <string>

#include "simplex/basis_factor.h"
#include "simplex/lu/lu_factor.h"
#include "support/test_support.h"
#include "simplex/lu_test_support.h"

namespace qvntest {
namespace {

using qvn::LuBasis;
using qvn::LuFactor;

// A random sparse basis of m columns and `extra` candidate columns to enter.
ColumnPool makePool(int m, int extra, std::mt19937 &rng) {
  ColumnPool pool(m);
  std::uniform_real_distribution<double> u(-1.0, 1.0);
  std::uniform_int_distribution<int> row(0, m - 1);
  std::vector<int> perm(m);
  for (int i = 0; i < m; ++i) perm[i] = i;
  std::shuffle(perm.begin(), perm.end(), rng);
  for (int k = 0; k < m + extra; ++k) {
    std::vector<int> idx{k < m ? perm[k] : row(rng)};
    std::vector<double> val{2.0 + u(rng)};
    for (int e = 0; e < 3; ++e) {
      const int i = row(rng);
      if (std::find(idx.begin(), idx.end(), i) != idx.end()) continue;
      idx.push_back(i);
      val.push_back(u(rng));
    }
    const int id = pool.add(idx, val);
    if (k < m) pool.head[k] = id;
  }
  return pool;
}

struct Outcome {
  int refactors = 0;
  int byRule = 0;       // requested by the cost rule or the limit after a good update
  int firstRuleAt = -1; // updates done when that first happened
  int byGrowth = 0;
  int longestCycle = 0;
  double worst = 0.0;
};

// Random replacements, refactoring whenever the factor asks; with slackStart the
// cycle begins from the unit basis and only structural columns enter.
Outcome replaceColumns(QVNENVptr env, int kind, int steps, unsigned seed, bool slackStart = false) {
  std::mt19937 rng(seed);
  const int m = 120;
  ColumnPool pool = makePool(m, 400, rng);
  if (slackStart)
    for (int i = 0; i < m; ++i) pool.head[i] = pool.columns() + i;
  int status = -1;
  LuFactor *f = qvn::luCreate(qvn::factorOptions(env), m, &status);
  EXPECT_EQ(status, 0);
  if (!f) return {};
  if (f->kind != kind) {
    EXPECT_EQ(qvn::luSetKind(*f, kind), 0);
  }
  LuBasis basis = pool.basis();
  double u = 0.01;
  EXPECT_EQ(qvn::factorBasis(*f, basis, &u, 1e-13, true, 0), 0);
  Outcome out;
  qvn::LuVector v;
  qvn::luVectorInit(v, m);
  std::uniform_int_distribution<int> candidate(0, pool.columns() + (slackStart ? -1 : m - 1));
  std::uniform_real_distribution<double> pick(0.0, 1.0);
  for (int step = 0; step < steps; ++step) {
    int q = -1;
    for (int tries = 0; tries < 100 && q < 0; ++tries) {
      const int c = candidate(rng);
      if (std::find(pool.head.begin(), pool.head.end(), c) == pool.head.end()) q = c;
    }
    if (q < 0) break;
    qvn::luVectorClear(v);
    const qvn::LuColumn col = pool.column(q);
    for (int e = 0; e < col.count; ++e) v.array[col.index[e]] = col.value[e], v.index[v.count++] = col.index[e];
    EXPECT_EQ(f->ops->ftranForUpdate(*f, v), 0);
    // A leaving position with a sound pivot, picked at random among those.
    double largest = 0.0;
    for (int e = 0; e < v.count; ++e) largest = std::max(largest, std::fabs(v.array[v.index[e]]));
    if (largest < 1e-9) continue;
    int p = -1;
    for (int tries = 0; tries < 100 && p < 0; ++tries) {
      const int e = v.index[std::uniform_int_distribution<int>(0, v.count - 1)(rng)];
      if (std::fabs(v.array[e]) >= 0.1 * largest) p = e;
    }
    if (p < 0) continue;
    const int updatesBefore = f->updateCount;
    const int result = f->ops->update(*f, p, v.array[p]);
    pool.head[p] = q;
    if (result != 0) {
      EXPECT_TRUE(qvn::needFactor(*f));
      if (f->factorReason == qvn::kLuReasonGrowth) ++out.byGrowth;
      if (f->factorReason == qvn::kLuReasonLimit || f->factorReason == qvn::kLuReasonCost) {
        EXPECT_TRUE(f->valid);
        ++out.byRule;
        if (out.firstRuleAt < 0) out.firstRuleAt = updatesBefore + 1;
      }
      double threshold = 0.01;
      EXPECT_EQ(qvn::factorBasis(*f, basis, &threshold, 1e-13, true, 0), 0);
      ++out.refactors;
      EXPECT_FALSE(qvn::needFactor(*f));
    } else {
      EXPECT_EQ(f->updateCount, updatesBefore + 1);
      out.longestCycle = std::max(out.longestCycle, f->updateCount);
    }
    out.worst = std::max(out.worst, worstResidual(*f, pool, rng, 1));
  }
  qvn::luFree(f);
  return out;
}

class LuUpdateTest : public EnvFixture {};

TEST_F(LuUpdateTest, TwoHundredReplacementsKeepSolvesAccurate) {
  for (int kind = 0; kind < 2; ++kind) {
    SCOPED_TRACE(kind);
    const Outcome out = replaceColumns(env, kind, 200, 31 + kind);
    EXPECT_LT(out.worst, kind == 0 ? 1e-12 : 1e-15);
    // The cost rule may only end a cycle after more than 60 updates.
    if (out.firstRuleAt >= 0) {
      EXPECT_GT(out.firstRuleAt, 60);
    }
  }
}

TEST_F(LuUpdateTest, RefactorizationLimitFromReinv) {
  ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_REINV, 25), 0);
  const Outcome out = replaceColumns(env, 0, 200, 77);
  EXPECT_LT(out.worst, 1e-12);
  // Limit 24 updates per factor.
  EXPECT_GE(out.byRule, 1);
  EXPECT_EQ(out.firstRuleAt, 24);
  EXPECT_LE(out.longestCycle, 24);

  ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_REINV, 1), 0);
  const Outcome every = replaceColumns(env, 0, 30, 78);
  EXPECT_LT(every.worst, 1e-12);
  EXPECT_GE(every.refactors, 25);
}

// Structural columns replacing slacks make the factors fill: the cost rule ends
// the cycle, never before 61 updates.
TEST_F(LuUpdateTest, CostRuleEndsLongCycles) {
  const Outcome out = replaceColumns(env, 0, 300, 5, true);
  EXPECT_LT(out.worst, 1e-11);
  EXPECT_GE(out.byRule, 1);
  EXPECT_GT(out.firstRuleAt, 60);
}

} // namespace
} // namespace qvntest
