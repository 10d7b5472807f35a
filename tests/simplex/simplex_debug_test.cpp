// The debug layer of the simplex loops: it passes on a solved model, catches
// each kind of corruption it is meant to catch, reports through the
// Environment, and leaves a run exactly as it would be without it.
#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "model/problem.h"
#include "runtime/debug_checks.h"
#include "simplex/loops.h"
#include "simplex/simplex_debug.h"
#include "support/lp_model.h"
#include "support/test_support.h"

namespace {

using qvntest::EnvFixture;

class SimplexDebug : public EnvFixture {
protected:
  // min -x - 2y  s.t.  x + y <= 4,  x + 3y <= 6,  x <= 3,  x, y >= 0.
  // Optimum at x = 3, y = 1 with objective -5; duals -0.5, -0.5 on the rows.
  void SetUp() override {
    EnvFixture::SetUp();
    qvntest::LpModel m;
    const int r0 = m.addRow('L', 4.0), r1 = m.addRow('L', 6.0);
    m.addCol(-1.0, 0.0, 3.0, {{r0, 1.0}, {r1, 1.0}});
    m.addCol(-2.0, 0.0, 1e20, {{r0, 1.0}, {r1, 3.0}});
    int status = 0;
    lp = QVNcreateprob(env, &status, "debug");
    ASSERT_EQ(m.load(env, lp), 0);
    qvn::buildWorkLp(*lp->lpData, work);
  }
  void TearDown() override {
    QVNfreeprob(env, &lp);
    EnvFixture::TearDown();
  }
  QVNLPptr lp = nullptr;
  qvn::WorkLp work;
};

TEST_F(SimplexDebug, ChecksPassOnASolvedBasisAndCatchEachCorruption) {
  qvn::setDebugLevel(env, 1);
  qvn::SimplexEngine e;
  ASSERT_EQ(qvn::engineSetup(e, env, work), 0);
  qvn::setSlackBasis(e);
  ASSERT_EQ(qvn::runDualSimplex(e), qvn::kRunOptimal);
  EXPECT_NEAR(qvn::objectiveValue(e), -5.0, 1e-12);
  EXPECT_NEAR(e.x[0], 3.0, 1e-12);
  EXPECT_NEAR(e.x[1], 1.0, 1e-12);
  EXPECT_GT(e.rebuilds[static_cast<int>(qvn::RebuildReason::kStart)], 0);
  ASSERT_EQ(qvn::debugFailureCount(env), 0) << qvn::debugFirstFailure(env);

  ASSERT_EQ(qvn::refactor(e), 0);
  qvn::computePrimal(e);
  qvn::computeDual(e);
  const auto scope = qvn::DebugScope::kPrimalAndDual;
  const auto reason = qvn::RebuildReason::kFactorDue;
  EXPECT_EQ(qvn::debugAfterRebuild(e, reason, scope), 0);

  // A basic value off its row.
  const int basic = e.head[0];
  e.x[basic] += 1e-3;
  EXPECT_GE(qvn::debugAfterRebuild(e, reason, scope), 1);
  EXPECT_NE(std::string(qvn::debugFirstFailure(env)).find("row residual of the values"), std::string::npos);
  EXPECT_NE(std::string(qvn::debugFirstFailure(env)).find("factor due"), std::string::npos);
  e.x[basic] -= 1e-3;
  qvn::setDebugLevel(env, 1);
  // A dual that does not fit the basic columns.
  e.dual[1] += 1e-3;
  EXPECT_GE(qvn::debugAfterRebuild(e, reason, scope), 2);  // a basic column and a reduced cost
  EXPECT_NE(std::string(qvn::debugFirstFailure(env)).find(" of the basic column"), std::string::npos);
  EXPECT_EQ(qvn::debugAfterRebuild(e, reason, qvn::DebugScope::kPrimal), 0);
  e.dual[1] -= 1e-3;
  qvn::setDebugLevel(env, 1);
  // A stale reduced cost of a nonbasic variable.
  int nonbasic = -1;
  for (int j = 0; j < e.nt && nonbasic < 0; ++j)
    if (e.basicPos[j] < 0) nonbasic = j;
  ASSERT_GE(nonbasic, 0);
  e.dj[nonbasic] += 1e-3;
  EXPECT_EQ(qvn::debugAfterRebuild(e, reason, scope), 1);
  EXPECT_NE(std::string(qvn::debugFirstFailure(env)).find("reduced cost error"), std::string::npos);
  // Not looked at when only the values are fresh.
  EXPECT_EQ(qvn::debugAfterRebuild(e, reason, qvn::DebugScope::kPrimal), 0);
  e.dj[nonbasic] -= 1e-3;
  qvn::setDebugLevel(env, 1);
  // A factor that no longer solves with its basis.
  ASSERT_EQ(e.factor.lu->kind, 0);
  e.factor.lu->valuesDouble.uDiagonal[0] *= 1.5;
  EXPECT_GE(qvn::debugAfterRebuild(e, reason, scope), 1);
  EXPECT_NE(std::string(qvn::debugFirstFailure(env)).find("residual of the factor"), std::string::npos);
  e.factor.lu->valuesDouble.uDiagonal[0] /= 1.5;
  qvn::setDebugLevel(env, 1);
  // A header that lists a variable as basic at the wrong position.
  std::swap(e.head[0], e.head[1]);
  EXPECT_EQ(qvn::debugAfterRebuild(e, reason, scope), 1);
  EXPECT_NE(std::string(qvn::debugFirstFailure(env)).find("basis header"), std::string::npos);
  std::swap(e.head[0], e.head[1]);
  // The failures are counted on the Environment until the level is set again.
  EXPECT_EQ(qvn::debugFailureCount(env), 1);
  qvn::setDebugLevel(env, 0);
  EXPECT_EQ(qvn::debugFailureCount(env), 0);
  EXPECT_STREQ(qvn::debugFirstFailure(env), "");
  EXPECT_STREQ(qvn::rebuildReasonName(qvn::RebuildReason::kBoundsRestored), "bounds restored");
}

// The checks read and never write: with them on, netlib runs take the same
// iterations to the same objective, which matches the reference.
TEST_F(SimplexDebug, ChecksLeaveTheRunUnchanged) {
  const std::string data = qvntest::sharedDataDir();
  if (data.empty()) GTEST_SKIP() << "shared test models not present";
  ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_SIMDISPLAY, 0), 0);
  ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_REINV, 7), 0);  // many rebuilds to check
  // Reference objectives of the netlib collection.
  const struct {
    const char *name;
    double objective;
  } models[] = {{"afiro", -4.6475314286e+02}, {"sc50b", -7.0000000000e+01}, {"share2b", -4.1573224074e+02}};
  for (const auto &model : models) {
    for (int method : {1, 2}) {
      SCOPED_TRACE(std::string(model.name) + (method == 1 ? " primal" : " dual"));
      int counts[2] = {0, 0};
      double objectives[2] = {0, 0};
      for (int level : {0, 1}) {
        qvn::setDebugLevel(env, level);
        int status = 0;
        QVNLPptr p = QVNcreateprob(env, &status, model.name);
        ASSERT_EQ(QVNreadcopyprob(env, p, (data + "/netlib/" + model.name + ".mps.gz").c_str(), nullptr), 0);
        ASSERT_EQ(method == 1 ? QVNprimopt(env, p) : QVNdualopt(env, p), 0);
        EXPECT_EQ(QVNgetstat(env, p), QVN_STAT_OPTIMAL);
        counts[level] = QVNgetitcnt(env, p);
        ASSERT_EQ(QVNgetobjval(env, p, &objectives[level]), 0);
        QVNfreeprob(env, &p);
        EXPECT_EQ(qvn::debugFailureCount(env), 0) << qvn::debugFirstFailure(env);
      }
      EXPECT_EQ(counts[0], counts[1]);
      EXPECT_EQ(objectives[0], objectives[1]);
      EXPECT_LE(std::fabs(objectives[1] - model.objective), 1e-8 * std::fabs(model.objective));
    }
  }
}

} // namespace
