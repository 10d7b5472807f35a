// The quality measures of a solution, the condition estimate of its basis,
// the row scale factors a solve applies and QVNunscaleprob, each checked
// against a value worked out here by hand or recomputed from the getters.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "support/lp_model.h"
#include "support/test_support.h"

namespace {

using qvntest::LpModel;
using qvntest::LpSolution;

using Quality = qvntest::ProblemFixture;

// min -x0 - x1, r0: x0 <= 1, r1: 1e-3 x1 <= 1, x >= 0 without upper bounds.
// Both columns must be basic at the optimum (x = (1, 1000)), so the basis is
// diag(1, 1e-3): 1-norm condition number 1 x 1000.
LpModel diagonal() {
  LpModel m;
  m.addRow('L', 1), m.addRow('L', 1);
  m.addCol(-1, 0, 1e20, {{0, 1}});
  m.addCol(-1, 0, 1e20, {{1, 1e-3}});
  return m;
}

TEST_F(Quality, MeasuresOfAnOptimalBasis) {
  const LpModel m = diagonal();
  ASSERT_EQ(m.load(env, lp), 0);
  double v = 0;
  int k = 0;
  EXPECT_EQ(QVNgetdblquality(env, lp, &v, QVN_QUAL_KAPPA), QVNERR_NO_SOLN);
  ASSERT_EQ(QVNlpopt(env, lp), 0);
  LpSolution s;
  ASSERT_EQ(qvntest::readSolution(env, lp, m, s), 0);
  ASSERT_EQ(qvntest::checkOptimal(m, s, 1e-9), "");
  ASSERT_NEAR(s.objective, -1001.0, 1e-9);

  ASSERT_EQ(QVNgetdblquality(env, lp, &v, QVN_QUAL_KAPPA), 0);
  EXPECT_NEAR(v, 1000.0, 1e-6);
  ASSERT_EQ(QVNgetintquality(env, lp, &k, QVN_QUAL_KAPPA), 0);
  EXPECT_EQ(k, 2);
  // Objectives: the primal one is the solution's, the dual one b'pi equals it.
  ASSERT_EQ(QVNgetdblquality(env, lp, &v, QVN_QUAL_PRIMAL_OBJ), 0);
  EXPECT_NEAR(v, s.objective, 1e-9);
  ASSERT_EQ(QVNgetdblquality(env, lp, &v, QVN_QUAL_DUAL_OBJ), 0);
  EXPECT_NEAR(v, s.pi[0] * 1 + s.pi[1] * 1, 1e-9);
  ASSERT_EQ(QVNgetdblquality(env, lp, &v, QVN_QUAL_OBJ_GAP), 0);
  EXPECT_LT(v, 1e-9);
  // Counts: both columns basic, no row basic, nothing infeasible.
  const int counts[][2] = {{QVN_QUAL_COUNT_BASIC_COLS, 2},   {QVN_QUAL_COUNT_BASIC_ROWS, 0},
                           {QVN_QUAL_COUNT_PRIMAL_INFEAS, 0}, {QVN_QUAL_COUNT_DUAL_INFEAS, 0},
                           {QVN_QUAL_COUNT_PRIMAL_DEGENERATE, 0}, {QVN_QUAL_COUNT_OFF_BOUND_NONBASIC, 0}};
  for (const auto &c : counts) {
    ASSERT_EQ(QVNgetintquality(env, lp, &k, c[0]), 0);
    EXPECT_EQ(k, c[1]) << c[0];
    ASSERT_EQ(QVNgetdblquality(env, lp, &v, c[0]), 0);
    EXPECT_EQ(v, c[1]) << c[0];
  }
  // Coefficients: 1 in column 0, 1e-3 in column 1.
  ASSERT_EQ(QVNgetdblquality(env, lp, &v, QVN_QUAL_MAX_COEF), 0);
  EXPECT_EQ(v, 1.0);
  ASSERT_EQ(QVNgetdblquality(env, lp, &v, QVN_QUAL_MIN_COEF), 0);
  EXPECT_EQ(v, 1e-3);
  ASSERT_EQ(QVNgetintquality(env, lp, &k, QVN_QUAL_MIN_COEF), 0);
  EXPECT_EQ(k, 1);
  // Norms and their places: |x| largest at column 1, sum |x| = 1001.
  ASSERT_EQ(QVNgetintquality(env, lp, &k, QVN_QUAL_MAX_X), 0);
  EXPECT_EQ(k, 1);
  ASSERT_EQ(QVNgetdblquality(env, lp, &v, QVN_QUAL_SUM_X), 0);
  EXPECT_NEAR(v, 1001.0, 1e-9);
  ASSERT_EQ(QVNgetdblquality(env, lp, &v, QVN_QUAL_SUM_PI), 0);
  EXPECT_NEAR(v, std::fabs(s.pi[0]) + std::fabs(s.pi[1]), 1e-12);
  ASSERT_EQ(QVNgetdblquality(env, lp, &v, QVN_QUAL_MAX_ROW_ACTIVITY), 0);
  EXPECT_NEAR(v, 1.0, 1e-12);
  // Every key answers; keys outside 1..49 are refused.
  for (int key = 1; key <= 49; ++key) {
    EXPECT_EQ(QVNgetdblquality(env, lp, &v, key), 0) << key;
    EXPECT_EQ(QVNgetintquality(env, lp, &k, key), 0) << key;
  }
  EXPECT_EQ(QVNgetdblquality(env, lp, &v, 50), QVNERR_BAD_ARGUMENT);
  EXPECT_EQ(QVNgetintquality(env, lp, &k, 0), QVNERR_BAD_ARGUMENT);
  takeErrors();
}

// The row factors of equilibration: the power of two nearest each row's
// largest entry (1 and 1e-3 -> 1/1024); the scaled measures use them, and
// with scaling off every factor is 1 and scaled equals unscaled.
TEST_F(Quality, ScaledMeasuresFollowTheRowFactors) {
  const LpModel m = diagonal();
  ASSERT_EQ(m.load(env, lp), 0);
  ASSERT_EQ(QVNlpopt(env, lp), 0);
  LpSolution s;
  ASSERT_EQ(qvntest::readSolution(env, lp, m, s), 0);
  ASSERT_EQ(qvntest::checkOptimal(m, s, 1e-9), "");
  ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_SCAIND, 0), 0);
  double scale[2] = {}, plain = 0, scaled = 0;
  ASSERT_EQ(QVNgetrowscale(env, lp, scale, 0, 1), 0);
  EXPECT_EQ(scale[0], 1.0);
  EXPECT_EQ(scale[1], 1.0 / 1024);
  ASSERT_EQ(QVNgetdblquality(env, lp, &plain, QVN_QUAL_MAX_PI), 0);
  ASSERT_EQ(QVNgetdblquality(env, lp, &scaled, QVN_QUAL_MAX_SCALED_PI), 0);
  EXPECT_NEAR(plain, std::max(std::fabs(s.pi[0]), std::fabs(s.pi[1])), 1e-12);
  EXPECT_NEAR(scaled, std::max(std::fabs(s.pi[0]) * scale[0], std::fabs(s.pi[1]) * scale[1]), 1e-12);
  ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_SCAIND, -1), 0);
  ASSERT_EQ(QVNgetrowscale(env, lp, scale, 0, 1), 0);
  EXPECT_EQ(scale[1], 1.0);
  ASSERT_EQ(QVNgetdblquality(env, lp, &scaled, QVN_QUAL_MAX_SCALED_PI), 0);
  EXPECT_EQ(scaled, plain);
  takeErrors();
  EXPECT_EQ(QVNgetrowscale(env, lp, scale, 0, 2), QVNERR_INDEX_RANGE);
  EXPECT_EQ(QVNgetrowscale(env, lp, nullptr, 0, 1), QVNERR_NULL_POINTER);
  EXPECT_NE(takeErrors(), "");
}

TEST_F(Quality, UnscaleKeepsTheModel) {
  const LpModel m = diagonal();
  ASSERT_EQ(m.load(env, lp), 0);
  ASSERT_EQ(QVNunscaleprob(env, lp), 0);
  const LpModel back = qvntest::readModel(env, lp);
  EXPECT_EQ(back.cols[1][0].second, 1e-3);
  EXPECT_EQ(back.rhs, m.rhs);
  EXPECT_EQ(QVNunscaleprob(env, nullptr), QVNERR_NO_PROBLEM);
  takeErrors();
}

} // namespace
