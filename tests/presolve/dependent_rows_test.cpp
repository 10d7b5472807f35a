// The dependency checker: equality rows that repeat what other equality rows
// say must go (with a replay that still passes the optimality check and a
// basis that needs no clean-up), rows that contradict them must end the
// presolve, and the netlib models with rank-deficient equality rows must
// keep their reference objectives.
#include <gtest/gtest.h>

#include <cmath>

#include "presolve/presolve_test_support.h"

namespace {

using qvntest::checkOptimal;
using qvntest::EnvFixture;
using qvntest::LpModel;

class DependentRows : public EnvFixture {
protected:
  void SetUp() override {
    EnvFixture::SetUp();
    ASSERT_EQ(qvntest::captureMessages(env, &log, true, false), 0);
  }
  // min x0 + 3 x1 + 3 x2 + 2 x3, x in [0, 10]
  //  r0: x0 + x1 + x2 = 4
  //  r1: x1 + 2 x2 + x3 = 3
  //  r2: x0 + 2 x1 + 3 x2 + x3 = rhs2   (r0 + r1 when rhs2 = 7)
  // x0 = 4 - x1 - x2 and x3 = 3 - x1 - 2 x2 give the cost 10 - 2 x2 with
  // x1 + 2 x2 <= 3: the optimum is x = (2.5, 0, 1.5, 0), objective 7.
  static LpModel model(double rhs2) {
    LpModel m;
    m.addRow('E', 4), m.addRow('E', 3), m.addRow('E', rhs2);
    m.addCol(1, 0, 10, {{0, 1}, {2, 1}});
    m.addCol(3, 0, 10, {{0, 1}, {1, 1}, {2, 2}});
    m.addCol(3, 0, 10, {{0, 1}, {1, 2}, {2, 3}});
    m.addCol(2, 0, 10, {{1, 1}, {2, 1}});
    return m;
  }
  std::string log;
};

TEST_F(DependentRows, CombinationsOfEqualityRowsGoAndTheirDualIsRebuilt) {
  // Only the checker can reduce this model: no dual reductions, no aggregator.
  QVNsetintparam(env, QVN_PARAM_REDUCE, 1);
  QVNsetintparam(env, QVN_PARAM_AGGIND, 0);
  const LpModel m = model(7);
  for (int depind : {1, 2, 3, -1}) {
    SCOPED_TRACE("depind " + std::to_string(depind));
    QVNsetintparam(env, QVN_PARAM_DEPIND, depind);
    const qvntest::ReplayCheck c = qvntest::checkReplay(env, m);
    ASSERT_EQ(c.presolveStatus, 0);
    EXPECT_EQ(c.dependentRows, 1);
    EXPECT_EQ(c.reducedRows, 2);
    EXPECT_EQ(c.reducedCols, 4);
    ASSERT_EQ(c.reducedStatus, QVN_STAT_OPTIMAL);
    EXPECT_EQ(c.uncrushFault, "");
    EXPECT_EQ(c.basisFault, "");
    EXPECT_EQ(c.cleanupIterations, 0);
    for (auto optimizer : {QVNdualopt, QVNprimopt}) {
      const qvntest::PresolveRun r = qvntest::solveModel(env, m, 1, optimizer);
      ASSERT_EQ(r.status, QVN_STAT_OPTIMAL);
      EXPECT_EQ(checkOptimal(m, r.solution), "");
      EXPECT_NEAR(r.solution.objective, 7.0, 1e-9);
      EXPECT_NEAR(r.solution.x[0], 2.5, 1e-9);
      EXPECT_NEAR(r.solution.x[2], 1.5, 1e-9);
    }
  }
  // Switched off: nothing else can reduce the model.
  QVNsetintparam(env, QVN_PARAM_DEPIND, 0);
  EXPECT_EQ(qvntest::checkReplay(env, m).prestat, 0);
  // The automatic setting runs it for the barrier (method 4) as well.
  QVNsetintparam(env, QVN_PARAM_DEPIND, -1);
  int status = 0;
  QVNLPptr lp = QVNcreateprob(env, &status, "barrier");
  ASSERT_EQ(m.load(env, lp), 0);
  ASSERT_EQ(QVNpresolve(env, lp, 4), 0);
  int prestat = -1;
  ASSERT_EQ(QVNgetprestat(env, lp, &prestat, nullptr, nullptr, nullptr, nullptr), 0);
  EXPECT_EQ(prestat, 1);
  EXPECT_EQ(QVNgetnumrows(env, lp), 3);  // the original keeps its rows
  QVNfreeprob(env, &lp);
  // Primal reductions off: the checker does not run.
  QVNsetintparam(env, QVN_PARAM_REDUCE, 2);
  QVNsetintparam(env, QVN_PARAM_DEPIND, 3);
  const qvntest::ReplayCheck dualOnly = qvntest::checkReplay(env, m);
  EXPECT_LE(dualOnly.dependentRows, 0);
  QVNsetintparam(env, QVN_PARAM_REDUCE, 3);
  QVNsetintparam(env, QVN_PARAM_AGGIND, -1);
}

TEST_F(DependentRows, ContradictingRowEndsThePresolve) {
  QVNsetintparam(env, QVN_PARAM_AGGIND, 0);
  QVNsetintparam(env, QVN_PARAM_DEPIND, 1);
  const LpModel m = model(7.5);
  int status = 0;
  QVNLPptr lp = QVNcreateprob(env, &status, "inconsistent");
  ASSERT_EQ(m.load(env, lp), 0);
  // Primal reductions only prove infeasibility.
  QVNsetintparam(env, QVN_PARAM_REDUCE, 1);
  takeErrors();
  log.clear();
  EXPECT_EQ(QVNpresolve(env, lp, 2), QVNERR_PRESLV_INF);
  EXPECT_NE(log.find("Row 'R3' is dependent and infeasible.\n"), std::string::npos) << log;
  EXPECT_EQ(takeErrors(), "QUORVAN Error  1117: Presolve determines problem is infeasible.\n");
  EXPECT_EQ(QVNdualopt(env, lp), 0);
  EXPECT_EQ(QVNgetstat(env, lp), QVN_STAT_INFEASIBLE);
  // With dual reductions too the verdict is the weaker one.
  QVNsetintparam(env, QVN_PARAM_REDUCE, 3);
  takeErrors();
  EXPECT_EQ(QVNpresolve(env, lp, 2), QVNERR_PRESLV_INForUNBD);
  takeErrors();
  // A gap inside the rounding of the data is no contradiction: the row stays
  // or goes, and the answer is the one of the consistent model.
  QVNsetintparam(env, QVN_PARAM_REDUCE, 1);
  const LpModel near = model(7 + 1e-12);
  const qvntest::PresolveRun r = qvntest::solveModel(env, near, 1, QVNdualopt);
  ASSERT_EQ(r.status, QVN_STAT_OPTIMAL);
  EXPECT_NEAR(r.solution.objective, 7.0, 1e-9);
  QVNsetintparam(env, QVN_PARAM_REDUCE, 3);
  QVNsetintparam(env, QVN_PARAM_DEPIND, -1);
  QVNsetintparam(env, QVN_PARAM_AGGIND, -1);
  QVNfreeprob(env, &lp);
}

// Models whose equality rows are rank deficient, before the passes (depind 1)
// or after them (the default for the simplex).
TEST_F(DependentRows, NetlibModelsWithDependentRows) {
  const std::string dir = qvntest::sharedDataDir();
  if (dir.empty()) GTEST_SKIP() << "shared data absent";
  QVNsetintparam(env, QVN_PARAM_SIMDISPLAY, 0);
  const struct {
    const char *name;
    int depind;
  } cases[] = {{"degen2", -1}, {"sierra", -1}, {"shell", -1}, {"scorpion", 1}, {"bore3d", 1}};
  for (const auto &[name, depind] : cases) {
    SCOPED_TRACE(name);
    const LpModel m = qvntest::readNetlibModel(env, dir, name);
    ASSERT_GT(m.numRows(), 0);
    QVNsetintparam(env, QVN_PARAM_DEPIND, depind);
    const qvntest::ReplayCheck c = qvntest::checkReplay(env, m, 1e-6);
    ASSERT_EQ(c.presolveStatus, 0);
    EXPECT_GT(c.dependentRows, 0);
    ASSERT_EQ(c.reducedStatus, QVN_STAT_OPTIMAL);
    EXPECT_EQ(c.uncrushFault, "");
    EXPECT_EQ(c.basisFault, "");
    EXPECT_LE(c.cleanupIterations, 5);
    const qvntest::PresolveRun r = qvntest::solveModel(env, m, 1, QVNdualopt);
    ASSERT_EQ(r.status, QVN_STAT_OPTIMAL);
    EXPECT_EQ(checkOptimal(m, r.solution, 1e-6), "");
    const double ref = qvntest::referenceObjective(dir, name);
    EXPECT_NEAR(r.solution.objective, ref, 1e-6 * std::max(1.0, std::fabs(ref)));
  }
  QVNsetintparam(env, QVN_PARAM_DEPIND, -1);
}

} // namespace
