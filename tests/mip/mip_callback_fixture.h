// The fixture of the MIP callback tests: exact runs (no gap tolerance, no
// log), every callback cleared after a test, and the checks a run is held
// to: the enumerated optimum and the independent checker on the incumbent.
#pragma once
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "mip/mip_check.h"
#include "mip/mip_models.h"
#include "support/test_support.h"

namespace qvntest {

class MipCallbackFixture : public ExactMipFixture {
protected:
  void TearDown() override {
    QVNsetmipcallbackfunc(env, nullptr, nullptr);
    QVNsetincumbentcallbackfunc(env, nullptr, nullptr);
    QVNsetcutcallbackfunc(env, nullptr, nullptr);
    QVNsetbranchcallbackfunc(env, nullptr, nullptr);
    QVNsetbranchnosolncallbackfunc(env, nullptr, nullptr);
    QVNsetnodecallbackfunc(env, nullptr, nullptr);
    QVNsetheuristiccallbackfunc(env, nullptr, nullptr);
    QVNsetsolvecallbackfunc(env, nullptr, nullptr);
    QVNsetdeletenodecallbackfunc(env, nullptr, nullptr);
    ExactMipFixture::TearDown();
  }

  // Solves m with no callback and returns its optimal point, checked by the
  // independent checker and against enumeration.
  std::vector<double> knownOptimum(const MipModel &m, double *optimum) {
    std::vector<double> x(m.ctype.size());
    EXPECT_TRUE(enumerateOptimum(m, optimum));
    EXPECT_EQ(loadMipModel(env, lp, m), 0);
    EXPECT_EQ(QVNmipopt(env, lp), 0);
    double z = 0.0;
    EXPECT_EQ(QVNgetobjval(env, lp, &z), 0);
    EXPECT_TRUE(sameObjective(z, *optimum)) << z << " vs " << *optimum;
    EXPECT_EQ(QVNgetx(env, lp, x.data(), 0, static_cast<int>(x.size()) - 1), 0);
    EXPECT_EQ(checkIntegerSolution(m, x, *optimum, 1e-5), "");
    return x;
  }

  // No cut rounds and no heuristics: the tree does the work, so the
  // callbacks of its nodes are called.
  void plainTree() {
    QVNsetintparam(env, QVN_PARAM_CUTPASS, -1);
    QVNsetintparam(env, QVN_PARAM_HEURFREQ, -1);
  }

  // Runs m and expects the enumerated optimum `optimum`, proved, with an
  // incumbent the checker accepts.
  void expectOptimum(const MipModel &m, double optimum, const std::string &what) {
    ASSERT_EQ(loadMipModel(env, lp, m), 0);
    ASSERT_EQ(QVNmipopt(env, lp), 0);
    ASSERT_EQ(QVNgetstat(env, lp), QVN_STAT_MIP_OPTIMAL) << what;
    double z = 0.0;
    ASSERT_EQ(QVNgetobjval(env, lp, &z), 0);
    EXPECT_TRUE(sameObjective(z, optimum)) << what << ": " << z << " vs " << optimum;
    EXPECT_EQ(checkIncumbentOf(env, lp, m), "") << what;
  }

  // Runs m and expects a stop asked for by a callback: aborted, with an
  // objective exactly when an incumbent exists, and that one checked.
  // Returns the status.
  int expectStopped(const MipModel &m, const std::string &what) {
    EXPECT_EQ(loadMipModel(env, lp, m), 0);
    EXPECT_EQ(QVNmipopt(env, lp), 0);
    const int status = QVNgetstat(env, lp);
    EXPECT_TRUE(status == QVN_STAT_MIP_ABORT_FEAS || status == QVN_STAT_MIP_ABORT_INFEAS) << what << ": " << status;
    double z = 0.0;
    EXPECT_EQ(status == QVN_STAT_MIP_ABORT_FEAS, QVNgetobjval(env, lp, &z) == 0) << what;
    EXPECT_EQ(checkIncumbentOf(env, lp, m), "") << what;
    return status;
  }
};

} // namespace qvntest
