// The cut pool's rules: the duplicate test, the row limit from CUTSFACTOR,
// CUTPASS -1, and the per-family summary lines.
#include <gtest/gtest.h>

#include <cmath>

#include "mip/cuts/cut_pool.h"
#include "mip/mip_check.h"
#include "mip/mip_models.h"
#include "mip/plugins.h"
#include "support/test_support.h"

namespace qvntest {
namespace {

TEST(CutPoolTest, DuplicatesAreSameRowsInOnePositiveRatio) {
  qvn::CutBlock pool, fresh;
  const int idx[] = {1, 4, 7};
  const double val[] = {1.0, 2.0, -1.0}, twice[] = {2.0, 4.0, -2.0}, other[] = {1.0, 2.0, -1.5};
  qvn::blockAppend(pool, 'L', qvn::kCutCover, 3.0, 3, idx, val, 0);
  qvn::blockAppend(fresh, 'L', qvn::kCutMir, 3.0, 3, idx, val, 1);    // the same cut
  qvn::blockAppend(fresh, 'L', qvn::kCutMir, 6.0, 3, idx, twice, 2);  // scaled by 2
  qvn::blockAppend(fresh, 'L', qvn::kCutMir, 4.0, 3, idx, val, 3);    // other rhs
  qvn::blockAppend(fresh, 'G', qvn::kCutMir, 3.0, 3, idx, val, 4);    // other sense
  qvn::blockAppend(fresh, 'L', qvn::kCutMir, 3.0, 3, idx, other, 5);  // other values
  qvn::blockAppend(fresh, 'L', qvn::kCutMir, -3.0, 3, idx, twice, 6);  // negative ratio on rhs
  EXPECT_TRUE(qvn::isDuplicateCut(fresh, 0, pool));
  EXPECT_TRUE(qvn::isDuplicateCut(fresh, 1, pool));
  EXPECT_FALSE(qvn::isDuplicateCut(fresh, 2, pool));
  EXPECT_FALSE(qvn::isDuplicateCut(fresh, 3, pool));
  EXPECT_FALSE(qvn::isDuplicateCut(fresh, 4, pool));
  EXPECT_FALSE(qvn::isDuplicateCut(fresh, 5, pool));
  const double x[8] = {0, 1, 0, 0, 1, 0, 0, 0};  // 1 + 2 - 0 = 3: on the cut
  EXPECT_DOUBLE_EQ(qvn::cutViolation(pool, 0, x), 0.0);
}

// A node's stored basis after cut rows came and went: rows purged since are
// dropped, rows added since enter basic, and a basis older than the purge
// log is refused.
TEST(CutPoolTest, StoredBasisCarriedOverPurgesAndNewRows) {
  qvn::CutPool *pool = qvn::newCutPool();
  // Two columns, four rows when stored; then two rows came (4, 5) and a
  // purge took rows 1, 3 and 5, then two more rows came: five rows now.
  const unsigned char stored[] = {1, 2, 0, 1, 2, 1};
  qvn::EnvVector<int> deleted;
  deleted.push_back(1);
  deleted.push_back(3);
  deleted.push_back(5);
  pool->purgeLog.push_back(deleted);
  pool->rowEpoch = 1;
  int col[2] = {}, row[6] = {};  // room for the six rows of the last case
  ASSERT_TRUE(qvn::carryBasis(pool, 0, 2, stored, 6, 5, col, row));
  EXPECT_EQ(col[0], 1);
  EXPECT_EQ(col[1], 2);
  const int expected[5] = {0, 2, 1, 1, 1};  // stored rows 0 and 2, then three basic logicals
  for (int i = 0; i < 5; ++i) EXPECT_EQ(row[i], expected[i]) << i;
  // Stored in this epoch with fewer rows: the new ones are basic.
  ASSERT_TRUE(qvn::carryBasis(pool, 1, 2, stored, 5, 5, col, row));
  const int same[5] = {0, 1, 2, 1, 1};
  for (int i = 0; i < 5; ++i) EXPECT_EQ(row[i], same[i]) << i;
  // More rows than the LP has, an epoch to come, or one the log forgot.
  EXPECT_FALSE(qvn::carryBasis(pool, 1, 2, stored, 6, 3, col, row));
  EXPECT_FALSE(qvn::carryBasis(pool, 2, 2, stored, 6, 5, col, row));
  pool->logBase = 1;
  pool->purgeLog.clear();
  EXPECT_FALSE(qvn::carryBasis(pool, 0, 2, stored, 6, 5, col, row));
  // Without a pool the rows never changed but may have been appended.
  ASSERT_TRUE(qvn::carryBasis(nullptr, 0, 2, stored, 6, 6, col, row));
  EXPECT_EQ(row[3], 1);
  EXPECT_FALSE(qvn::carryBasis(nullptr, 0, 2, stored, 6, 3, col, row));
  qvn::freeCutPool(pool);
}

class CutRunTest : public ExactMipFixture {
protected:
  void SetUp() override {
    ExactMipFixture::SetUp();
    // The pool is read on the columns of the model the cuts were made on.
    QVNsetintparam(env, QVN_PARAM_PREIND, 0);
  }
  int applied() {
    const qvn::CutPool *pool = qvn::mipCutPool(lp);
    int total = 0;
    for (int k = 0; pool && k < qvn::kCutFamilyCount; ++k) total += pool->applied[k];
    return total;
  }
};

TEST_F(CutRunTest, CutLimitAndPassesAndSummary) {
  const MipModel m = knapsack(3, 12);
  double optimum = 0.0;
  ASSERT_TRUE(enumerateOptimum(m, &optimum));
  struct Case {
    int cutpass;
    double factor;
    bool cuts;
  } cases[] = {{0, 4.0, true}, {-1, 4.0, false}, {0, 1.0, false}};
  for (const Case &c : cases) {
    QVNsetintparam(env, QVN_PARAM_CUTPASS, c.cutpass);
    QVNsetdblparam(env, QVN_PARAM_CUTSFACTOR, c.factor);
    ASSERT_EQ(loadMipModel(env, lp, m), 0);
    ASSERT_EQ(QVNmipopt(env, lp), 0);
    EXPECT_EQ(applied() > 0, c.cuts) << c.cutpass << " " << c.factor;
    double objective = 0.0;
    ASSERT_EQ(QVNgetobjval(env, lp, &objective), 0);
    EXPECT_NEAR(objective, optimum, 1e-6 * (1.0 + std::fabs(optimum)));
  }
  // A family switched on prints its line even with nothing found: set
  // covers have no knapsack row to cover.
  QVNsetintparam(env, QVN_PARAM_CUTPASS, 0);
  QVNsetdblparam(env, QVN_PARAM_CUTSFACTOR, 4.0);
  QVNsetintparam(env, QVN_PARAM_COVERS, 1);
  QVNsetintparam(env, QVN_PARAM_MIPDISPLAY, 1);
  log.clear();
  ASSERT_EQ(loadMipModel(env, lp, setCover(2, 8, 6)), 0);
  ASSERT_EQ(QVNmipopt(env, lp), 0);
  EXPECT_NE(log.find("Cover cuts applied:  0\n"), std::string::npos) << log;
}

} // namespace
} // namespace qvntest
