// The statuses a MIP run ends with when something fails inside the tree: an
// error (109/110) and a tree lost to memory (116/117).
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "mip/mip_check.h"
#include "mip/mip_models.h"
#include "runtime/alloc.h"
#include "runtime/debug_checks.h"
#include "support/test_support.h"

namespace qvntest {
namespace {

// Error termination with the tree gone, with and without an incumbent.
constexpr int kFailFeasNoTree = 116, kFailInfeasNoTree = 117;

class MipFailureTest : public ProblemFixture {
protected:
  void SetUp() override {
    ProblemFixture::SetUp();
    QVNsetintparam(env, QVN_PARAM_MIPDISPLAY, 0);
  }
  bool hasIncumbent() {
    double z = 0.0;
    return QVNgetobjval(env, lp, &z) == 0;
  }
};

// max x + y, 3x + 2y <= 9e9 + 1, x integer up to 1e10, y binary. The LP puts
// x near 3e9, beyond the integer limit of a branch: the run ends in an error.
MipModel beyondIntegerLimit() {
  MipModel m;
  m.lp.objSense = QVN_MAX;
  const int r = m.lp.addRow('L', 9e9 + 1);
  m.lp.addCol(1, 0, 1e10, {{r, 3}});
  m.lp.addCol(1, 0, 1, {{r, 2}});
  m.ctype = "IB";
  return m;
}

TEST_F(MipFailureTest, AnErrorInTheTreeEndsWithOrWithoutIncumbent) {
  const MipModel m = beyondIntegerLimit();
  QVNsetintparam(env, QVN_PARAM_HEURFREQ, -1);
  QVNsetintparam(env, QVN_PARAM_CUTPASS, -1);
  QVNsetintparam(env, QVN_PARAM_PREIND, 0);
  ASSERT_EQ(loadMipModel(env, lp, m), 0);
  // The call itself succeeds; the error is the run's outcome.
  EXPECT_EQ(QVNmipopt(env, lp), 0);
  EXPECT_EQ(QVNgetstat(env, lp), QVN_STAT_MIP_FAIL_INFEAS);
  EXPECT_FALSE(hasIncumbent());
  EXPECT_NE(takeErrors().find("3018"), std::string::npos);
  char text[512];
  ASSERT_NE(QVNgetstatstring(env, QVN_STAT_MIP_FAIL_INFEAS, text), nullptr);
  EXPECT_STREQ(text, "error termination, no integer solution");
  // With a start at the origin (objective 0) an incumbent exists first.
  ASSERT_EQ(loadMipModel(env, lp, m), 0);
  const int cols[2] = {0, 1};
  const double zeros[2] = {0.0, 0.0};
  ASSERT_EQ(QVNcopymipstart(env, lp, 2, cols, zeros), 0);
  EXPECT_EQ(QVNmipopt(env, lp), 0);
  EXPECT_EQ(QVNgetstat(env, lp), QVN_STAT_MIP_FAIL_FEAS);
  EXPECT_TRUE(hasIncumbent());
  EXPECT_EQ(checkIncumbentOf(env, lp, m), "");
  takeErrors();
}

TEST_F(MipFailureTest, UnsolvedNodeLpsNeverProveAnything) {
  // The knapsack's root is fractional without cuts; heuristics and presolve
  // stay out so that only the tree finds integer points.
  const MipModel m = knapsack(4, 7);
  double optimum = 0.0;
  ASSERT_TRUE(enumerateOptimum(m, &optimum));
  QVNsetintparam(env, QVN_PARAM_CUTPASS, -1);
  QVNsetintparam(env, QVN_PARAM_HEURFREQ, -1);
  QVNsetintparam(env, QVN_PARAM_PREIND, 0);
  QVNsetdblparam(env, QVN_PARAM_EPGAP, 0.0);
  QVNsetdblparam(env, QVN_PARAM_EPAGAP, 0.0);
  // A few failed node LPs: their subtrees are split further and solved
  // below them, so the optimum is still found and proved.
  ASSERT_EQ(loadMipModel(env, lp, m), 0);
  env->debug.failNodeLps = 3;
  ASSERT_EQ(QVNmipopt(env, lp), 0);
  EXPECT_EQ(env->debug.failNodeLps, 0);
  EXPECT_EQ(QVNgetstat(env, lp), QVN_STAT_MIP_OPTIMAL);
  double z = 0.0, bound = 0.0;
  ASSERT_EQ(QVNgetobjval(env, lp, &z), 0);
  EXPECT_TRUE(sameObjective(z, optimum)) << z << " vs " << optimum;
  EXPECT_EQ(checkIncumbentOf(env, lp, m), "");
  // Every node LP below the root fails: nothing is solved, nothing proved.
  // Without an incumbent the run must not call the model infeasible.
  ASSERT_EQ(loadMipModel(env, lp, m), 0);
  env->debug.failNodeLps = 1000000;
  ASSERT_EQ(QVNmipopt(env, lp), 0);
  EXPECT_EQ(QVNgetstat(env, lp), QVN_STAT_MIP_FAIL_INFEAS);
  EXPECT_FALSE(hasIncumbent());
  // With an empty knapsack as the start the run has an incumbent, but its
  // bound (a maximization: from above) stays where the root left it.
  ASSERT_EQ(loadMipModel(env, lp, m), 0);
  std::vector<int> index(7);
  std::vector<double> zero(7, 0.0);
  for (int j = 0; j < 7; ++j) index[j] = j;
  ASSERT_EQ(QVNcopymipstart(env, lp, 7, index.data(), zero.data()), 0);
  env->debug.failNodeLps = 1000000;
  ASSERT_EQ(QVNmipopt(env, lp), 0);
  env->debug.failNodeLps = 0;
  EXPECT_EQ(QVNgetstat(env, lp), QVN_STAT_MIP_FAIL_FEAS);
  EXPECT_EQ(checkIncumbentOf(env, lp, m), "");
  ASSERT_EQ(QVNgetbestobjval(env, lp, &bound), 0);
  EXPECT_GE(bound, optimum - 1e-6);
  double gap = 0.0;
  ASSERT_EQ(QVNgetmiprelgap(env, lp, &gap), 0);
  EXPECT_GT(gap, 1e-4);
  takeErrors();
}

TEST_F(MipFailureTest, AllocationFailureInTheTreeLeavesNoTree) {
  const qvntest::LeakCheckPause pause;
  const MipModel m = knapsack(7, 18);
  double optimum = 0.0;
  ASSERT_TRUE(enumerateOptimum(m, &optimum));
  QVNsetintparam(env, QVN_PARAM_CUTPASS, -1);
  QVNsetdblparam(env, QVN_PARAM_EPGAP, 0.0);
  QVNsetdblparam(env, QVN_PARAM_EPAGAP, 0.0);
  int noTree = 0, finished = 0;
  // A failure at the n-th allocation of a resumed run, for growing n: early
  // ones hit the call's own set-up (error 1001, the tree unchanged), later
  // ones the tree (116 or 117), the last ones nothing.
  for (long n = 1; n <= 4000 && finished < 2; n += 1 + n / 8) {
    const std::string what = "failure at allocation " + std::to_string(n);
    ASSERT_EQ(loadMipModel(env, lp, m), 0);
    QVNsetintparam(env, QVN_PARAM_NODELIM, 4);
    ASSERT_EQ(QVNmipopt(env, lp), 0);
    const int before = QVNgetstat(env, lp);
    ASSERT_TRUE(before == QVN_STAT_MIP_NODE_LIM_FEAS || before == QVN_STAT_MIP_NODE_LIM_INFEAS) << before;
    QVNsetintparam(env, QVN_PARAM_NODELIM, 2100000000);
    qvn::allocFailAfter(n);
    const int rc = QVNmipopt(env, lp);
    qvn::allocFailAfter(0);
    const int status = QVNgetstat(env, lp);
    if (rc == 0) {
      ASSERT_EQ(status, QVN_STAT_MIP_OPTIMAL) << what;
      double z = 0.0;
      ASSERT_EQ(QVNgetobjval(env, lp, &z), 0);
      EXPECT_TRUE(sameObjective(z, optimum)) << what << ": " << z << " vs " << optimum;
      ++finished;
    } else {
      ASSERT_EQ(rc, QVNERR_NO_MEMORY) << what;
      if (status == kFailFeasNoTree || status == kFailInfeasNoTree) {
        ++noTree;
        EXPECT_EQ(hasIncumbent(), status == kFailFeasNoTree) << what;
        EXPECT_EQ(checkIncumbentOf(env, lp, m), "") << what;
        // The tree is gone: a further call refuses to go on.
        EXPECT_EQ(QVNmipopt(env, lp), QVNERR_NO_MEMORY) << what;
      } else {
        EXPECT_EQ(status, before) << what;
      }
    }
    takeErrors();
  }
  EXPECT_GT(noTree, 0);
  EXPECT_GT(finished, 0);
}

} // namespace
} // namespace qvntest
