// A few MIPLIB 3 models that branch and bound alone proves in well under a
// second each, against the published optima.
#include <gtest/gtest.h>

#include <chrono>
#include <cmath>

#include "mip/mip_check.h"
#include "support/test_support.h"

namespace qvntest {
namespace {

class MiplibTest : public ProblemFixture {};

TEST_F(MiplibTest, SmallModelsReachTheirPublishedOptima) {
  const std::string dir = sharedDataDir();
  if (dir.empty()) GTEST_SKIP() << "shared data absent";
  QVNsetintparam(env, QVN_PARAM_MIPDISPLAY, 0);
  QVNsetdblparam(env, QVN_PARAM_EPGAP, 0.0);
  QVNsetdblparam(env, QVN_PARAM_EPAGAP, 0.0);
  QVNsetdblparam(env, QVN_PARAM_TILIM, 60.0);  // a guard: each takes well under a second
  for (const char *model : {"p0033", "stein27", "flugpl", "egout"}) {
    double optimum = 0.0;
    ASSERT_TRUE(referenceOptimum(dir, model, &optimum)) << model;
    ASSERT_EQ(QVNreadcopyprob(env, lp, (dir + "/miplib3/" + model + ".mps.gz").c_str(), nullptr), 0) << model;
    const MipModel m = readMipModel(env, lp);
    ASSERT_EQ(QVNmipopt(env, lp), 0) << model;
    EXPECT_EQ(QVNgetstat(env, lp), QVN_STAT_MIP_OPTIMAL) << model;
    double objective = 0.0, bound = 0.0;
    ASSERT_EQ(QVNgetobjval(env, lp, &objective), 0) << model;
    ASSERT_EQ(QVNgetbestobjval(env, lp, &bound), 0) << model;
    // The published values carry a few significant digits only.
    EXPECT_NEAR(objective, optimum, 1e-6 * std::max(1.0, std::fabs(optimum))) << model;
    EXPECT_NEAR(bound, objective, 1e-6 * std::max(1.0, std::fabs(optimum))) << model;
    EXPECT_EQ(checkIncumbentOf(env, lp, m), "") << model;
    EXPECT_GT(QVNgetnodecnt(env, lp), 0) << model;
  }
}

TEST_F(MiplibTest, TimeLimitHoldsOnAHardModel) {
  const std::string dir = sharedDataDir();
  if (dir.empty()) GTEST_SKIP() << "shared data absent";
  // markshare2 is far beyond branch and bound alone: only the clock ends it
  // in the tree. fast0507's root LP alone takes longer than the limit here.
  for (const char *name : {"markshare2", "fast0507"}) {
    ASSERT_EQ(QVNreadcopyprob(env, lp, (dir + "/miplib3/" + name + ".mps.gz").c_str(), nullptr), 0) << name;
    const MipModel m = readMipModel(env, lp);
    QVNsetintparam(env, QVN_PARAM_MIPDISPLAY, 0);
    QVNsetdblparam(env, QVN_PARAM_TILIM, 5.0);
    // A deadline in wall time, as a caller who must answer by then asks for it.
    QVNsetintparam(env, QVN_PARAM_CLOCKTYPE, 2);
    const auto start = std::chrono::steady_clock::now();
    ASSERT_EQ(QVNmipopt(env, lp), 0) << name;
    const double wall = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    EXPECT_LT(wall, 5.5) << name;
    // ... and the run uses its time: neither model ends sooner.
    EXPECT_GT(wall, 4.5) << name;
    const int status = QVNgetstat(env, lp);
    EXPECT_TRUE(status == QVN_STAT_MIP_TIME_LIM_FEAS || status == QVN_STAT_MIP_TIME_LIM_INFEAS) << name << status;
    EXPECT_EQ(checkIncumbentOf(env, lp, m), "") << name;
  }
}

} // namespace
} // namespace qvntest
