// Small LPs with known outcomes, solved by both simplex loops; every optimal
// answer passes the independent optimality check of the test support.
#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "model/problem.h"
#include "runtime/debug_checks.h"
#include "support/lp_model.h"
#include "support/test_support.h"

namespace {

using qvntest::checkOptimal;
using qvntest::EnvFixture;
using qvntest::LpModel;
using qvntest::LpSolution;

constexpr double kInf = 1e20;

class LpSolve : public EnvFixture {
protected:
  // Every run here has the debug layer on; the fixture fails on its reports.
  void SetUp() override {
    EnvFixture::SetUp();
    qvn::setDebugLevel(env, 1);
  }
  // Solves with the given entry point and returns the solution read back.
  LpSolution solve(const LpModel &m, int (*optimizer)(QVNCENVptr, QVNLPptr), int expectStatus) {
    int status = 0;
    QVNLPptr lp = QVNcreateprob(env, &status, "test");
    EXPECT_EQ(m.load(env, lp), 0);
    EXPECT_EQ(optimizer(env, lp), 0);
    LpSolution s;
    s.status = QVNgetstat(env, lp);
    EXPECT_EQ(s.status, expectStatus);
    if (expectStatus == QVN_STAT_OPTIMAL) {
      EXPECT_EQ(qvntest::readSolution(env, lp, m, s), 0);
      EXPECT_EQ(checkOptimal(m, s), "");
    }
    QVNfreeprob(env, &lp);
    return s;
  }
  // Both loops must agree with each other and, when given, with the known optimum.
  void solveBoth(const LpModel &m, int expectStatus, double expectObj = NAN) {
    const LpSolution p = solve(m, QVNprimopt, expectStatus);
    const LpSolution d = solve(m, QVNdualopt, expectStatus);
    const LpSolution a = solve(m, QVNlpopt, expectStatus);
    if (expectStatus != QVN_STAT_OPTIMAL) return;
    EXPECT_NEAR(p.objective, d.objective, 1e-9 * std::max(1.0, std::fabs(d.objective)));
    EXPECT_NEAR(a.objective, d.objective, 1e-9 * std::max(1.0, std::fabs(d.objective)));
    if (!std::isnan(expectObj)) {
      EXPECT_NEAR(d.objective, expectObj, 1e-9 * std::max(1.0, std::fabs(expectObj)));
    }
  }
};

// max 3x1 + 2x2 + 4x3, x1+x2+2x3 <= 4, 2x1+3x3 <= 5, 2x1+x2+3x3 >= 2, 0 <= x <= 10.
// Optimum 10.5 at x = (2.5, 1.5, 0), activities (4, 5, 6.5).
LpModel productionPlan() {
  LpModel m;
  m.objSense = QVN_MAX;
  m.addRow('L', 4), m.addRow('L', 5), m.addRow('G', 2);
  m.addCol(3, 0, 10, {{0, 1}, {1, 2}, {2, 2}});
  m.addCol(2, 0, 10, {{0, 1}, {2, 1}});
  m.addCol(4, 0, 10, {{0, 2}, {1, 3}, {2, 3}});
  return m;
}

TEST_F(LpSolve, ProductionPlanMaximization) { solveBoth(productionPlan(), QVN_STAT_OPTIMAL, 10.5); }

TEST_F(LpSolve, InfeasibleAndUnbounded) {
  // The loops' own proofs: presolve would settle some of these as status 4.
  ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_PREIND, 0), 0);
  LpModel inf;  // x + y <= 1 and x + y >= 2
  inf.addRow('L', 1), inf.addRow('G', 2);
  inf.addCol(1, 0, kInf, {{0, 1}, {1, 1}});
  inf.addCol(1, 0, kInf, {{0, 1}, {1, 1}});
  solveBoth(inf, QVN_STAT_INFEASIBLE);

  LpModel unb;  // max x, x - y <= 1, x, y >= 0
  unb.objSense = QVN_MAX;
  unb.addRow('L', 1);
  unb.addCol(1, 0, kInf, {{0, 1}});
  unb.addCol(0, 0, kInf, {{0, -1}});
  solveBoth(unb, QVN_STAT_UNBOUNDED);

  LpModel freeUnb;  // min x with x free and no rows
  freeUnb.addCol(1, -kInf, kInf);
  solveBoth(freeUnb, QVN_STAT_UNBOUNDED);

  LpModel badBounds;  // a row that its bounded columns cannot reach
  badBounds.addRow('G', 5);
  badBounds.addCol(1, 0, 2, {{0, 1}});
  badBounds.addCol(1, 0, 2, {{0, 1}});
  solveBoth(badBounds, QVN_STAT_INFEASIBLE);
}

// A model missed by less than the feasibility tolerance is feasible for
// every method, with or without presolve (the dual once called it infeasible
// after cutting its tolerance for the last steps); missed by ten times the
// tolerance it is infeasible for every one.
TEST_F(LpSolve, ViolationInsideTheToleranceIsFeasibleForEveryMethod) {
  const double tol = 1e-6;
  for (double miss : {0.4 * tol, 10 * tol}) {
    LpModel m;  // min x + y, x >= 1, x + y <= 1 - miss
    m.addRow('L', 1.0 - miss);
    m.addCol(1, 1.0, kInf, {{0, 1}});
    m.addCol(1, 0.0, kInf, {{0, 1}});
    for (int preind : {0, 1}) {
      for (auto *optimizer : {QVNprimopt, QVNdualopt, QVNlpopt}) {
        SCOPED_TRACE(testing::Message() << "miss " << miss << " preind " << preind);
        ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_PREIND, preind), 0);
        int status = 0;
        QVNLPptr lp = QVNcreateprob(env, &status, "test");
        ASSERT_EQ(m.load(env, lp), 0);
        ASSERT_EQ(optimizer(env, lp), 0);
        if (miss > tol) {
          EXPECT_EQ(QVNgetstat(env, lp), QVN_STAT_INFEASIBLE);
        } else {
          EXPECT_EQ(QVNgetstat(env, lp), QVN_STAT_OPTIMAL);
          double x[2] = {0, 0};
          ASSERT_EQ(QVNgetx(env, lp, x, 0, 1), 0);
          EXPECT_GE(x[0], 1.0 - tol);
          EXPECT_GE(x[1], -tol);
          EXPECT_LE(x[0] + x[1], 1.0 - miss + tol);
        }
        QVNfreeprob(env, &lp);
      }
    }
  }
}

TEST_F(LpSolve, FreeFixedRangedEmptyAndEqualityRows) {
  // min  x0 - x1 + 2 x2 + 0 x3 + x4
  //  r0:  x0 + x1           = 4      (equality)
  //  r1:  x1 - x2  in [-1, 2]        (range, negative range value given as rhs 2, range -3)
  //  r2:  empty row, L 5
  //  r3:  x2 + x4 >= 1
  //  x0 in [0, 10], x1 free, x2 fixed at 1.5, x3 empty column in [-1, 1], x4 >= 0
  // x2 = 1.5 forces x1 <= 3.5 via r1; x1 = 3.5, x0 = 0.5, x4 = 0: objective 0.5 - 3.5 + 3 = 0.
  LpModel m;
  m.addRow('E', 4), m.addRow('R', 2, -3), m.addRow('L', 5), m.addRow('G', 1);
  m.addCol(1, 0, 10, {{0, 1}});
  m.addCol(-1, -kInf, kInf, {{0, 1}, {1, 1}});
  m.addCol(2, 1.5, 1.5, {{1, -1}, {3, 1}});
  m.addCol(0, -1, 1);
  m.addCol(1, 0, kInf, {{3, 1}});
  solveBoth(m, QVN_STAT_OPTIMAL, 0.0);
}

TEST_F(LpSolve, DegenerateVertexWithManyTightRows) {
  // Twenty rows through the same vertex (1, 1): sum a_i x <= a_i.1 for varied a.
  LpModel m;
  m.objSense = QVN_MAX;
  const int x = m.addCol(1, 0, kInf), y = m.addCol(1, 0, kInf);
  for (int k = 0; k < 20; ++k) {
    const double a = 1.0 + k * 0.1, b = 2.0 - k * 0.05;
    const int r = m.addRow('L', a + b);
    m.set(r, x, a), m.set(r, y, b);
  }
  solveBoth(m, QVN_STAT_OPTIMAL, 2.0);
}

TEST_F(LpSolve, VariablesBoundedOnlyThroughRows) {
  // The costs push every variable towards a limit that only the rows set,
  // through a chain: x0 <= 3, x1 <= x0 + 1, x2 >= -2, x3 = 5 - x1 - x2 >= ...
  // min -x0 - x1 + x2 - x3 with x0, x1, x2 free, x3 >= 0 and
  //  r0: x0 <= 3, r1: x1 - x0 <= 1, r2: x2 >= -2, r3: x1 + x2 + x3 <= 5.
  // x0 = 3, x1 = 4, x2 = -2, x3 = 3: objective -3 - 4 - 2 - 3 = -12.
  // Presolve would settle this chain before the loops see it.
  ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_PREIND, 0), 0);
  LpModel m;
  m.addRow('L', 3), m.addRow('L', 1), m.addRow('G', -2), m.addRow('L', 5);
  m.addCol(-1, -kInf, kInf, {{0, 1}, {1, -1}});
  m.addCol(-1, -kInf, kInf, {{1, 1}, {3, 1}});
  m.addCol(1, -kInf, kInf, {{2, 1}, {3, 1}});
  m.addCol(-1, 0, kInf, {{3, 1}});
  solveBoth(m, QVN_STAT_OPTIMAL, -12.0);
  // The same rows without the one that bounds x3's row from above: unbounded.
  LpModel open = m;
  open.sense[3] = 'G';
  solveBoth(open, QVN_STAT_UNBOUNDED);
}

TEST_F(LpSolve, NoConstraintsUsesBoundsOnly) {
  LpModel m;
  m.addCol(2, -3, 4);
  m.addCol(-1, -3, 4);
  m.addCol(0, -kInf, kInf);  // free with zero cost stays at 0
  solveBoth(m, QVN_STAT_OPTIMAL, -6 - 4);
}

TEST_F(LpSolve, RandomFeasibleModelsAgreeAcrossMethods) {
  std::mt19937 rng(12345);
  std::uniform_real_distribution<double> u(-1.0, 1.0);
  for (int trial = 0; trial < 40; ++trial) {
    const int n = 3 + trial % 17, rows = 2 + (trial * 7) % 13;
    LpModel m;
    m.objSense = trial % 3 == 0 ? QVN_MAX : QVN_MIN;
    std::vector<double> x0(n);
    for (int j = 0; j < n; ++j) {
      x0[j] = 2 * u(rng);
      // Mixed bound types; every column bounded so that the optimum exists.
      const int kind = (trial + j) % 4;
      const double lo = kind == 3 ? -kInf : x0[j] - 1 - std::fabs(u(rng));
      const double up = kind == 2 ? kInf : x0[j] + 1 + std::fabs(u(rng));
      m.addCol(u(rng), lo, up);
    }
    for (int i = 0; i < rows; ++i) {
      double act = 0;
      std::vector<std::pair<int, double>> entries;
      for (int j = 0; j < n; ++j)
        if (u(rng) > 0.3) {
          const double v = std::round(u(rng) * 8) / 2;
          if (v != 0) act += v * x0[j], m.set(i, j, v);
        }
      const char senses[] = {'L', 'G', 'E', 'R'};
      const char s = senses[(i + trial) % 4];
      const double slackRoom = std::fabs(u(rng));
      m.addRow(s, s == 'L' ? act + slackRoom : s == 'G' ? act - slackRoom : s == 'E' ? act : act - slackRoom,
               s == 'R' ? 2 * slackRoom + 0.5 : 0.0);
    }
    // Each column is bounded in the direction that improves the objective.
    const double improve = m.objSense == QVN_MIN ? 1 : -1;
    for (int j = 0; j < n; ++j) {
      if (m.lower[j] <= -kInf && m.obj[j] * improve > 0) m.obj[j] = -m.obj[j];
      if (m.upper[j] >= kInf && m.obj[j] * improve < 0) m.obj[j] = -m.obj[j];
    }
    SCOPED_TRACE("trial " + std::to_string(trial));
    solveBoth(m, QVN_STAT_OPTIMAL);
  }
}

TEST_F(LpSolve, LimitsAndRejectedProblemTypes) {
  LpModel m;
  m.objSense = QVN_MAX;
  m.addRow('L', 4), m.addRow('L', 5);
  m.addCol(3, 0, 10, {{0, 1}, {1, 2}});
  m.addCol(2, 0, 10, {{0, 1}});
  int status = 0;
  QVNLPptr lp = QVNcreateprob(env, &status, "limits");
  ASSERT_EQ(m.load(env, lp), 0);
  ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_ITLIM, 0), 0);
  ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_ADVIND, 2), 0);
  ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_PERIND, 1), 0);
  EXPECT_EQ(QVNdualopt(env, lp), 0);
  EXPECT_EQ(QVNgetstat(env, lp), QVN_STAT_ABORT_IT_LIM);
  EXPECT_EQ(QVNgetitcnt(env, lp), 0);
  int value = 0;
  QVNgetintparam(env, QVN_PARAM_ADVIND, &value);
  EXPECT_EQ(value, 2);
  QVNgetintparam(env, QVN_PARAM_PERIND, &value);
  EXPECT_EQ(value, 1);
  ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_ITLIM, 2100000000), 0);
  ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_ADVIND, 1), 0);

  // A stopped flag ends the run as user aborted.
  volatile int stop = 1;
  QVNsetterminate(env, &stop);
  EXPECT_EQ(QVNprimopt(env, lp), 0);
  EXPECT_EQ(QVNgetstat(env, lp), QVN_STAT_ABORT_USER);
  QVNsetterminate(env, nullptr);

  // From the optimal basis of one run, the next run takes no iteration.
  EXPECT_EQ(QVNlpopt(env, lp), 0);
  EXPECT_EQ(QVNgetstat(env, lp), QVN_STAT_OPTIMAL);
  EXPECT_EQ(QVNlpopt(env, lp), 0);
  EXPECT_EQ(QVNgetitcnt(env, lp), 0);
  int method = 0;
  EXPECT_EQ(QVNsolninfo(env, lp, &method, nullptr, nullptr, nullptr), 0);
  EXPECT_EQ(method, 1);  // the automatic choice continues a feasible basis with the primal

  double x[2];
  EXPECT_EQ(QVNgetx(env, lp, x, 0, 1), 0);
  takeErrors();
  EXPECT_EQ(QVNgetx(env, lp, x, -1, 2), QVNERR_INDEX_RANGE);
  EXPECT_EQ(takeErrors(),
            "QUORVAN Error  1205: QVNgetx: 'begin' value -1 is less than 0.\n"
            "QUORVAN Error  1206: QVNgetx: 'end' value 2 is greater than 1.\n"
            "QUORVAN Error  1200: Index is outside range of valid values.\n");
  EXPECT_EQ(QVNgetx(env, lp, nullptr, 0, 1), QVNERR_NULL_POINTER);

  // A change that touches the solution makes it unavailable.
  double obj[] = {1, 1};
  ASSERT_EQ(QVNcopylp(env, lp, 0, 0, 1, obj, obj, "", nullptr, nullptr, nullptr, nullptr, obj, obj, nullptr),
            QVNERR_NULL_POINTER);
  lp->probType = 1;  // an integer problem is refused by the continuous optimizers
  EXPECT_EQ(QVNdualopt(env, lp), QVNERR_NOT_FOR_MIP);
  lp->probType = 5;
  EXPECT_EQ(QVNprimopt(env, lp), QVNERR_NOT_FOR_QP);
  lp->probType = 10;
  EXPECT_EQ(QVNlpopt(env, lp), QVNERR_NOT_FOR_QCP);
  lp->probType = 0;
  QVNfreeprob(env, &lp);
}

} // namespace

namespace {

TEST_F(LpSolve, ActivitiesInfeasibilitiesAndQuality) {
  const LpModel m = productionPlan();
  int status = 0;
  QVNLPptr lp = QVNcreateprob(env, &status, "quality");
  ASSERT_EQ(m.load(env, lp), 0);
  double value = 0;
  int where = 0;
  EXPECT_EQ(QVNgetdblquality(env, lp, &value, QVN_QUAL_MAX_PRIMAL_INFEAS), QVNERR_NO_SOLN);
  ASSERT_EQ(QVNlpopt(env, lp), 0);
  double ax[3];
  ASSERT_EQ(QVNgetax(env, lp, ax, 0, 2), 0);
  EXPECT_NEAR(ax[0], 4, 1e-12);
  EXPECT_NEAR(ax[1], 5, 1e-12);
  EXPECT_NEAR(ax[2], 6.5, 1e-12);
  for (int key = QVN_QUAL_MAX_PRIMAL_INFEAS; key <= QVN_QUAL_MAX_DUAL_RESIDUAL; ++key) {
    ASSERT_EQ(QVNgetdblquality(env, lp, &value, key), 0);
    EXPECT_LE(value, 1e-9) << key;
  }
  ASSERT_EQ(QVNgetdblquality(env, lp, &value, QVN_QUAL_MAX_X), 0);
  EXPECT_NEAR(value, 2.5, 1e-12);
  ASSERT_EQ(QVNgetintquality(env, lp, &where, QVN_QUAL_MAX_X), 0);
  EXPECT_EQ(where, 0);
  ASSERT_EQ(QVNgetintquality(env, lp, &where, QVN_QUAL_MAX_SLACK), 0);
  EXPECT_EQ(where, 3 + 2);  // the demand row has slack -4.5
  EXPECT_EQ(QVNgetdblquality(env, lp, &value, 0), QVNERR_BAD_ARGUMENT);

  // Objective limits: the dual loop's objective falls from above towards 10.5
  // in this maximization and stops once below OBJLLIM; the primal one rises
  // and stops above OBJULIM. Neither limit in reach: optimal.
  ASSERT_EQ(QVNsetdblparam(env, QVN_PARAM_OBJLLIM, 50), 0);
  ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_ADVIND, 0), 0);
  ASSERT_EQ(QVNdualopt(env, lp), 0);
  EXPECT_EQ(QVNgetstat(env, lp), QVN_STAT_ABORT_OBJ_LIM);
  ASSERT_EQ(QVNgetobjval(env, lp, &value), 0);
  EXPECT_LT(value, 50);
  EXPECT_GE(value, 10.5);
  ASSERT_EQ(QVNsetdblparam(env, QVN_PARAM_OBJLLIM, -1e75), 0);
  ASSERT_EQ(QVNsetdblparam(env, QVN_PARAM_OBJULIM, 5), 0);
  ASSERT_EQ(QVNprimopt(env, lp), 0);
  EXPECT_EQ(QVNgetstat(env, lp), QVN_STAT_ABORT_OBJ_LIM);
  ASSERT_EQ(QVNsetdblparam(env, QVN_PARAM_OBJULIM, 50), 0);
  ASSERT_EQ(QVNprimopt(env, lp), 0);
  EXPECT_EQ(QVNgetstat(env, lp), QVN_STAT_OPTIMAL);
  ASSERT_EQ(QVNsetdefaults(env), 0);
  EXPECT_EQ(QVNgetdblquality(env, lp, &value, 50), QVNERR_BAD_ARGUMENT);

  // A point of our own: x = (4, 1, 0) breaks the labour row by 3 and keeps the others.
  const double point[] = {4, 1, 0};
  double rowInfeas[3], colInfeas[3];
  ASSERT_EQ(QVNgetrowinfeas(env, lp, point, rowInfeas, 0, 2), 0);
  EXPECT_EQ(rowInfeas[0], 1.0);  // 5 against <= 4
  EXPECT_EQ(rowInfeas[1], 3.0);  // 8 against <= 5
  EXPECT_EQ(rowInfeas[2], 0.0);
  const double below[] = {-1, 11, 0};
  ASSERT_EQ(QVNgetcolinfeas(env, lp, below, colInfeas, 0, 2), 0);
  EXPECT_EQ(colInfeas[0], -1.0);
  EXPECT_EQ(colInfeas[1], 1.0);
  EXPECT_EQ(colInfeas[2], 0.0);
  takeErrors();
  EXPECT_EQ(QVNgetrowinfeas(env, lp, point, rowInfeas, 1, 3), QVNERR_INDEX_RANGE);
  QVNfreeprob(env, &lp);
}

} // namespace
