// Branch and bound against enumeration: small knapsacks, set covers and
// random integer programs, under every variable and node selection rule.
#include <gtest/gtest.h>

#include <cmath>

#include "mip/mip_check.h"
#include "mip/mip_models.h"
#include "runtime/debug_checks.h"
#include "support/test_support.h"

namespace qvntest {
namespace {

class MipSolveTest : public ExactMipFixture {
protected:
  // Solves m and compares with enumeration; returns the status.
  int solveAndCompare(const MipModel &m, const std::string &what) {
    EXPECT_EQ(loadMipModel(env, lp, m), 0) << what;
    EXPECT_EQ(QVNmipopt(env, lp), 0) << what;
    const int status = QVNgetstat(env, lp);
    double optimum = 0.0;
    const bool feasible = enumerateOptimum(m, &optimum);
    if (!feasible) {
      EXPECT_EQ(status, QVN_STAT_MIP_INFEASIBLE) << what;
      return status;
    }
    EXPECT_EQ(status, QVN_STAT_MIP_OPTIMAL) << what;
    double objective = 0.0;
    EXPECT_EQ(QVNgetobjval(env, lp, &objective), 0) << what;
    EXPECT_TRUE(sameObjective(objective, optimum)) << what << ": " << objective << " vs " << optimum;
    EXPECT_EQ(checkIncumbentOf(env, lp, m), "") << what;
    double bound = 0.0;
    EXPECT_EQ(QVNgetbestobjval(env, lp, &bound), 0);
    EXPECT_TRUE(sameObjective(bound, optimum)) << what << ": bound " << bound;
    return status;
  }
};

TEST_F(MipSolveTest, EveryRuleFindsTheEnumeratedOptimum) {
  // Node LPs and trials start from the duals their last solve left: the
  // checks at each loop's start recompute them from the basis and costs.
  qvn::setDebugLevel(env, 1);
  const int varsels[] = {-1, 0, 1, 2, 3, 4};
  for (int seed = 1; seed <= 2; ++seed) {
    const MipModel models[] = {knapsack(seed, 12), setCover(seed, 10, 8), randomIntegerModel(seed, 6, 4)};
    for (int k = 0; k < 3; ++k)
      for (int varsel : varsels)
        for (int nodesel = 0; nodesel <= 3; ++nodesel) {
          QVNsetintparam(env, QVN_PARAM_VARSEL, varsel);
          QVNsetintparam(env, QVN_PARAM_NODESEL, nodesel);
          solveAndCompare(models[k], "seed " + std::to_string(seed) + " model " + std::to_string(k) + " varsel " +
                                         std::to_string(varsel) + " nodesel " + std::to_string(nodesel));
        }
  }
}

TEST_F(MipSolveTest, StrongBranchingTrialsCountInTheIterationTotal) {
  // One node: the root LP, its cut rounds and heuristics are those of any
  // rule; only strong branching adds trial solves, whose iterations count.
  // No cuts, no heuristics: the root stays fractional and branches.
  QVNsetintparam(env, QVN_PARAM_NODELIM, 1);
  QVNsetintparam(env, QVN_PARAM_CUTPASS, -1);
  QVNsetintparam(env, QVN_PARAM_HEURFREQ, -1);
  int total[2] = {0, 0};
  for (int k = 0; k < 2; ++k) {
    QVNsetintparam(env, QVN_PARAM_VARSEL, k == 0 ? 1 : 3);
    const MipModel m = setCover(3, 30, 20);
    ASSERT_EQ(loadMipModel(env, lp, m), 0);
    ASSERT_EQ(QVNmipopt(env, lp), 0);
    ASSERT_EQ(QVNgetnodecnt(env, lp), 1);
    total[k] = QVNgetmipitcnt(env, lp);
  }
  EXPECT_GT(total[1], total[0]);
}

TEST_F(MipSolveTest, RandomIntegerProgramsMatchEnumeration) {
  int infeasible = 0, optimal = 0;
  for (int seed = 10; seed < 70; ++seed) {
    const int status = solveAndCompare(randomIntegerModel(seed, 6, 3 + seed % 4), "seed " + std::to_string(seed));
    (status == QVN_STAT_MIP_INFEASIBLE ? infeasible : optimal) += 1;
  }
  // The generator must exercise both outcomes.
  EXPECT_GT(optimal, 10);
  EXPECT_GT(infeasible, 0);
}

TEST_F(MipSolveTest, BacktrackToleranceAndBranchDirection) {
  const MipModel m = knapsack(7, 14);
  for (double bttol : {0.0, 0.5, 1.0})
    for (int brdir : {-1, 0, 1}) {
      QVNsetdblparam(env, QVN_PARAM_BTTOL, bttol);
      QVNsetintparam(env, QVN_PARAM_BRDIR, brdir);
      solveAndCompare(m, "bttol " + std::to_string(bttol) + " brdir " + std::to_string(brdir));
    }
}

TEST_F(MipSolveTest, SemiContinuousColumns) {
  // min 3x + 2y + z  s.t.  x + y + z >= 2.5,  y <= 1, z <= 0.5,
  // x semi-continuous in {0} u [2, 10]: x must be on, so x = 2 (at least 1 is
  // missing), y = 0.5 costs less than more x: optimum x = 2, y = 0, z = 0.5
  // gives 6.5; x = 2, y = 0.5 gives 7; so 6.5.
  MipModel m;
  const int r = m.lp.addRow('G', 2.5);
  m.lp.addCol(3, 2, 10, {{r, 1}});
  m.lp.addCol(2, 0, 1, {{r, 1}});
  m.lp.addCol(1, 0, 0.5, {{r, 1}});
  m.ctype = "SCC";
  ASSERT_EQ(loadMipModel(env, lp, m), 0);
  ASSERT_EQ(QVNmipopt(env, lp), 0);
  EXPECT_EQ(QVNgetstat(env, lp), QVN_STAT_MIP_OPTIMAL);
  double objective = 0;
  ASSERT_EQ(QVNgetobjval(env, lp, &objective), 0);
  EXPECT_NEAR(objective, 6.5, 1e-9);
  EXPECT_EQ(checkIncumbentOf(env, lp, m), "");
  // With x's range cheap the column may also stay off:
  // min -x + 3y s.t. x - 4y <= 0, y <= 1 binary... x semi in {0} u [3, 4]:
  // y = 1 allows x = 4: -4 + 3 = -1 beats 0.
  MipModel s;
  const int row = s.lp.addRow('L', 0);
  s.lp.addCol(-1, 3, 4, {{row, 1}});
  s.lp.addCol(3, 0, 1, {{row, -4}});
  s.ctype = "SB";
  ASSERT_EQ(loadMipModel(env, lp, s), 0);
  ASSERT_EQ(QVNmipopt(env, lp), 0);
  EXPECT_EQ(QVNgetstat(env, lp), QVN_STAT_MIP_OPTIMAL);
  ASSERT_EQ(QVNgetobjval(env, lp, &objective), 0);
  EXPECT_NEAR(objective, -1.0, 1e-9);
  EXPECT_EQ(checkIncumbentOf(env, lp, s), "");
}

void appendText(void *handle, const char *text) { static_cast<std::string *>(handle)->append(text); }

TEST_F(MipSolveTest, PriorityOrderPicksTheRootBranch) {
  const MipModel m = knapsack(9, 12);
  // The relaxation's point, by the LP optimizer on a continuous copy.
  ASSERT_EQ(loadMipModel(env, lp, m), 0);
  int status = 0;
  QVNLPptr relaxed = QVNcloneprob(env, lp, &status);
  ASSERT_NE(relaxed, nullptr);
  ASSERT_EQ(QVNchgprobtype(env, relaxed, 0), 0);
  ASSERT_EQ(QVNlpopt(env, relaxed), 0);
  std::vector<double> x(12);
  ASSERT_EQ(QVNgetx(env, relaxed, x.data(), 0, 11), 0);
  QVNfreeprob(env, &relaxed);
  int last = -1;
  for (int j = 0; j < 12; ++j)
    if (std::fabs(x[j] - std::round(x[j])) > 1e-6) last = j;
  ASSERT_GE(last, 0) << "the relaxation is integral";
  // Priorities rise with the index and every branch goes down first: the
  // root branches on the fractional column of the largest index.
  std::vector<int> index(12), priority(12), direction(12, -1);
  for (int j = 0; j < 12; ++j) index[j] = j, priority[j] = j;
  ASSERT_EQ(QVNcopyorder(env, lp, 12, index.data(), priority.data(), direction.data()), 0);
  std::string branches;
  QVNCHANNELptr logChannel = nullptr;
  ASSERT_EQ(QVNgetchannels(env, nullptr, nullptr, nullptr, &logChannel), 0);
  ASSERT_EQ(QVNaddfuncdest(env, logChannel, &branches, appendText), 0);
  QVNsetintparam(env, QVN_PARAM_MIPDISPLAY, 5);
  QVNsetintparam(env, QVN_PARAM_VARSEL, 1);
  QVNsetintparam(env, QVN_PARAM_CUTPASS, -1);  // the root point is the plain relaxation's
  ASSERT_EQ(QVNmipopt(env, lp), 0);
  QVNdelfuncdest(env, logChannel, &branches, appendText);
  const std::string first = "C" + std::to_string(last + 1) + " ";
  const size_t at = branches.find("         Variable B Parent  Depth");
  ASSERT_NE(at, std::string::npos) << branches;
  // The first node after the root is the down child of the root's branch.
  const std::string expected = first + std::string(16 - first.size(), ' ') + " D      0      1";
  EXPECT_NE(branches.find(expected), std::string::npos) << branches;
  double optimum = 0, objective = 0;
  ASSERT_TRUE(enumerateOptimum(m, &optimum));
  ASSERT_EQ(QVNgetobjval(env, lp, &objective), 0);
  EXPECT_TRUE(sameObjective(objective, optimum));
  EXPECT_EQ(checkIncumbentOf(env, lp, m), "");
}

} // namespace
} // namespace qvntest
