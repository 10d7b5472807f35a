// Netlib models solved with presolve on and off; both must match the
// reference objectives, and presolve must actually shrink the models.
#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <map>
#include <sstream>
#include <vector>

#include "model/problem.h"
#include "presolve/presolve_state.h"
#include "support/test_support.h"

namespace {

using qvntest::EnvFixture;

class NetlibPresolve : public EnvFixture {
protected:
  // Objective without the constant of the objective row, as the reference counts it.
  void solveModel(const std::string &dir, const std::string &name, double expected, int preind,
                  int (*optimizer)(QVNCENVptr, QVNLPptr)) {
    SCOPED_TRACE(name + (preind ? " presolved" : " unpresolved"));
    int status = 0;
    QVNLPptr lp = QVNcreateprob(env, &status, name.c_str());
    ASSERT_EQ(QVNreadcopyprob(env, lp, (dir + "/netlib/" + name + ".mps.gz").c_str(), nullptr), 0);
    ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_PREIND, preind), 0);
    ASSERT_EQ(optimizer(env, lp), 0);
    EXPECT_EQ(QVNgetstat(env, lp), QVN_STAT_OPTIMAL);
    double obj = 0;
    ASSERT_EQ(QVNgetobjval(env, lp, &obj), 0);
    obj -= lp->lpData->objOffset;
    EXPECT_NEAR(obj, expected, 1e-6 * std::max(1.0, std::fabs(expected)));
    // The clean-up from the replayed basis is short.
    const Problem *red = lp->presolved ? lp->presolved->reduced : nullptr;
    if (preind && red && red->solution) {
      const int cleanup = QVNgetitcnt(env, lp) - red->solution->iterationCount;
      EXPECT_LE(cleanup, std::max(5, QVNgetitcnt(env, lp) / 50));
    }
    QVNfreeprob(env, &lp);
  }
  void run(const std::vector<std::string> &names) {
    const std::string dir = qvntest::sharedDataDir();
    if (dir.empty()) GTEST_SKIP() << "shared data absent";
    const auto ref = qvntest::referenceOptima("netlib");
    ASSERT_FALSE(ref.empty());
    QVNsetintparam(env, QVN_PARAM_SIMDISPLAY, 0);
    for (const std::string &name : names) {
      ASSERT_TRUE(ref.count(name)) << name;
      solveModel(dir, name, ref.at(name), 1, QVNdualopt);
      solveModel(dir, name, ref.at(name), 1, QVNprimopt);
      solveModel(dir, name, ref.at(name), 0, QVNdualopt);
    }
  }
};

TEST_F(NetlibPresolve, SmallModelsMatchReferenceWithAndWithoutPresolve) {
  run({"afiro", "sc50b", "sc105", "blend", "share2b", "stocfor1", "scagr7", "kb2",
       "boeing2", "recipe", "israel", "lotfi", "vtpbase", "bore3d", "scorpion"});
}

// Primal reductions keep every feasible point: an optimum found without
// presolve, attached as the test solution, survives every clean-up step of a
// run with primal reductions only, and the log's consistency test passes on
// it. A point moved off a row stops the run.
TEST_F(NetlibPresolve, PrimalReductionsKeepAKnownOptimum) {
  const std::string dir = qvntest::sharedDataDir();
  if (dir.empty()) GTEST_SKIP() << "shared data absent";
  QVNsetintparam(env, QVN_PARAM_SIMDISPLAY, 0);
  for (const char *name : {"afiro", "sc105", "blend", "share2b", "stocfor1", "scagr7", "kb2", "boeing2", "recipe",
                           "lotfi", "vtpbase", "bore3d", "scorpion", "agg", "agg2", "e226", "scsd1",
                           "sctap2", "israel", "ship04l", "gfrd-pnc"}) {
    SCOPED_TRACE(name);
    int status = 0;
    QVNLPptr lp = QVNcreateprob(env, &status, name);
    ASSERT_EQ(QVNreadcopyprob(env, lp, (dir + "/netlib/" + name + ".mps.gz").c_str(), nullptr), 0);
    ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_PREIND, 0), 0);
    ASSERT_EQ(QVNdualopt(env, lp), 0);
    ASSERT_EQ(QVNgetstat(env, lp), QVN_STAT_OPTIMAL);
    const int n = QVNgetnumcols(env, lp);
    std::vector<double> x(n);
    ASSERT_EQ(QVNgetx(env, lp, x.data(), 0, n - 1), 0);
    ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_PREIND, 1), 0);
    ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_REDUCE, 1), 0);
    qvn::setPresolveTestSolution(lp, x.data());
    EXPECT_EQ(QVNpresolve(env, lp, 2), 0);
    // The log agrees with the point: fixed values, substitution rows and
    // the reduced objective with its constant.
    if (lp->presolved && lp->presolved->reduced) {
      EXPECT_EQ(qvn::checkPostsolve(env, lp, *lp->presolved, x.data()), 0);
    }
    // The same point pushed far outside a column's bounds and so off its rows.
    for (int j = 0; j < n; ++j) x[j] += 1e3 * (1.0 + std::fabs(x[j]));
    qvn::setPresolveTestSolution(lp, x.data());
    EXPECT_NE(QVNpresolve(env, lp, 2), 0);
    takeErrors();
    ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_REDUCE, 3), 0);
    QVNfreeprob(env, &lp);
  }
}

} // namespace
