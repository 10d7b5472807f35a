// Rows added to a presolved problem: the presolved copy takes them on its
// own columns when it can, and is dropped with a warning when a row touches
// a column that presolve removed by an argument about the objective. Either
// way the next solve gives the optimum of the larger model. Bad arguments
// change nothing.
#include <gtest/gtest.h>

#include <cmath>

#include "model/problem.h"
#include "presolve/presolve_test_support.h"

namespace {

using qvntest::checkOptimal;
using qvntest::EnvFixture;
using qvntest::LpModel;

constexpr double kInf = 1e20;

class PresolvedRows : public EnvFixture {
protected:
  void SetUp() override {
    EnvFixture::SetUp();
    QVNsetintparam(env, QVN_PARAM_SIMDISPLAY, 0);
    ASSERT_EQ(qvntest::captureMessages(env, &log, false, true), 0);
    int status = 0;
    lp = QVNcreateprob(env, &status, "rows");
    ASSERT_NE(lp, nullptr);
  }
  void TearDown() override {
    QVNfreeprob(env, &lp);
    EnvFixture::TearDown();
  }
  // The small model of the presolve tests (see its comment).
  static LpModel model() { return qvntest::smallPresolveModel(); }
  int reducedRows() {
    QVNCLPptr red = nullptr;
    EXPECT_EQ(QVNgetredlp(env, lp, &red), 0);
    return red ? QVNgetnumrows(env, red) : -1;
  }
  // Solves lp and checks the answer against the model m that it now holds;
  // a presolved copy that served the solve must have had that optimum itself.
  void expectOptimum(const LpModel &m, double objective) {
    ASSERT_EQ(QVNdualopt(env, lp), 0);
    ASSERT_EQ(QVNgetstat(env, lp), QVN_STAT_OPTIMAL);
    QVNCLPptr red = nullptr;
    ASSERT_EQ(QVNgetredlp(env, lp, &red), 0);
    if (red) {
      double reduced = 0;
      ASSERT_EQ(QVNgetobjval(env, red, &reduced), 0);
      EXPECT_NEAR(reduced, objective, 1e-9);
    }
    qvntest::LpSolution s;
    ASSERT_EQ(qvntest::readSolution(env, lp, m, s), 0);
    EXPECT_EQ(checkOptimal(m, s), "");
    EXPECT_NEAR(s.objective, objective, 1e-9);
  }
  QVNLPptr lp = nullptr;
  std::string log;
};

TEST_F(PresolvedRows, RowsOnKeptOrRowDerivedColumnsReachTheCopy) {
  LpModel m = model();
  ASSERT_EQ(m.load(env, lp), 0);
  ASSERT_EQ(QVNpresolve(env, lp, 2), 0);
  const int before = reducedRows();
  ASSERT_GT(before, 0);
  // x0 + x3 >= 2.5: with x3 = 1 it is x0 >= 1.5 on the reduced columns.
  // Then x2 = 1 covers r1 and r0, objective 1.5 + 1 + 1 - 2 = 1.5.
  const int start[1] = {0}, cols[2] = {0, 3};
  const double vals[2] = {1, 1}, rhs[1] = {2.5};
  const char sense[1] = {'G'};
  log.clear();
  ASSERT_EQ(QVNpreaddrows(env, lp, 1, 2, rhs, sense, start, cols, vals, nullptr), 0);
  EXPECT_EQ(log, "");
  EXPECT_EQ(QVNgetnumrows(env, lp), 5);
  EXPECT_EQ(reducedRows(), before + 1);
  int pre = 0, rowMap[5], origRow[5];
  ASSERT_EQ(QVNgetprestat(env, lp, &pre, nullptr, rowMap, nullptr, origRow), 0);
  EXPECT_EQ(rowMap[4], before);
  EXPECT_EQ(origRow[before], 4);
  m.addRow('G', 2.5);
  m.set(4, 0, 1), m.set(4, 3, 1);
  expectOptimum(m, 1.5);
  // The copy served the solve and is still held.
  EXPECT_EQ(reducedRows(), before + 1);

  // Two rows at once, one of them empty: 0 <= 4 and x2 <= 0.75. Then r1
  // needs x1 + 2 x2 >= 2: x2 = 0.75, x1 = 0.5, and x0 = 1.5 still; objective
  // 1.5 + 0.5 + 0.75 + 1 - 2 = 1.75.
  const int start2[2] = {0, 0}, cols2[1] = {2};
  const double vals2[1] = {1}, rhs2[2] = {4, 0.75};
  const char sense2[2] = {'L', 'L'};
  ASSERT_EQ(QVNpreaddrows(env, lp, 2, 1, rhs2, sense2, start2, cols2, vals2, nullptr), 0);
  EXPECT_EQ(log, "");
  EXPECT_EQ(reducedRows(), before + 3);
  m.addRow('L', 4), m.addRow('L', 0.75);
  m.set(6, 2, 1);
  expectOptimum(m, 1.75);
}

TEST_F(PresolvedRows, RowOnAColumnFixedByItsCostDropsTheCopy) {
  LpModel m = model();
  ASSERT_EQ(m.load(env, lp), 0);
  ASSERT_EQ(QVNpresolve(env, lp, 2), 0);
  // x4 <= 1 contradicts the fixing of x4 at 2: the copy cannot take it.
  const int start[1] = {0}, cols[1] = {4};
  const double vals[1] = {1}, rhs[1] = {1};
  const char sense[1] = {'L'};
  log.clear();
  ASSERT_EQ(QVNpreaddrows(env, lp, 1, 1, rhs, sense, start, cols, vals, nullptr), 0);
  EXPECT_EQ(log, "Warning: Adding rows to the presolved model fails.\n");
  EXPECT_EQ(reducedRows(), -1);
  EXPECT_EQ(QVNgetnumrows(env, lp), 5);
  m.addRow('L', 1);
  m.set(4, 4, 1);
  expectOptimum(m, 2);

  // Without a presolved copy the rows just join the problem, quietly.
  ASSERT_EQ(QVNfreepresolve(env, lp), 0);
  log.clear();
  ASSERT_EQ(QVNpreaddrows(env, lp, 1, 1, rhs, sense, start, cols, vals, nullptr), 0);
  EXPECT_EQ(log, "");
  EXPECT_EQ(QVNgetnumrows(env, lp), 6);
  EXPECT_EQ(reducedRows(), -1);
}

// A basis held from a solve grows with the rows: the new rows are basic,
// and the next solve starts from it.
TEST_F(PresolvedRows, HeldBasisTakesTheNewRows) {
  LpModel m = model();
  ASSERT_EQ(m.load(env, lp), 0);
  QVNsetintparam(env, QVN_PARAM_PREIND, 0);
  ASSERT_EQ(QVNdualopt(env, lp), 0);
  const int start[1] = {0}, cols[2] = {0, 3};
  const double vals[2] = {1, 1}, rhs[1] = {2.5};
  const char sense[1] = {'G'};
  for (int round = 0; round < 3; ++round) {
    ASSERT_EQ(QVNpreaddrows(env, lp, 1, 2, rhs, sense, start, cols, vals, nullptr), 0);
    m.addRow('G', 2.5);
    m.set(m.numRows() - 1, 0, 1), m.set(m.numRows() - 1, 3, 1);
  }
  ASSERT_NE(lp->basisData, nullptr);
  ASSERT_GE(lp->basisData->rowStatus.size(), 7u);
  for (int i = 4; i < 7; ++i) EXPECT_EQ(lp->basisData->rowStatus[i], 1) << i;
  QVNsetintparam(env, QVN_PARAM_ADVIND, 1);
  expectOptimum(m, 1.5);
  QVNsetintparam(env, QVN_PARAM_PREIND, 1);
}

TEST_F(PresolvedRows, BadArgumentsChangeNothing) {
  ASSERT_EQ(model().load(env, lp), 0);
  ASSERT_EQ(QVNpresolve(env, lp, 2), 0);
  const int before = reducedRows();
  const int start[1] = {0}, cols[1] = {0}, badCols[1] = {5}, badStart[1] = {2};
  const double vals[1] = {1}, rhs[1] = {1};
  const char sense[1] = {'L'}, badSense[1] = {'X'};
  takeErrors();
  EXPECT_EQ(QVNpreaddrows(nullptr, lp, 1, 1, rhs, sense, start, cols, vals, nullptr), QVNERR_NO_ENVIRONMENT);
  EXPECT_EQ(QVNpreaddrows(env, nullptr, 1, 1, rhs, sense, start, cols, vals, nullptr), QVNERR_NO_PROBLEM);
  EXPECT_EQ(QVNpreaddrows(env, lp, -1, 1, rhs, sense, start, cols, vals, nullptr), QVNERR_BAD_ARGUMENT);
  EXPECT_EQ(QVNpreaddrows(env, lp, 1, -1, rhs, sense, start, cols, vals, nullptr), QVNERR_BAD_ARGUMENT);
  EXPECT_EQ(QVNpreaddrows(env, lp, 1, 1, rhs, sense, nullptr, cols, vals, nullptr), QVNERR_NULL_POINTER);
  EXPECT_EQ(QVNpreaddrows(env, lp, 1, 1, rhs, sense, start, nullptr, vals, nullptr), QVNERR_NULL_POINTER);
  EXPECT_EQ(QVNpreaddrows(env, lp, 1, 1, rhs, sense, start, cols, nullptr, nullptr), QVNERR_NULL_POINTER);
  EXPECT_EQ(QVNpreaddrows(env, lp, 1, 1, rhs, sense, start, badCols, vals, nullptr), QVNERR_COL_INDEX_RANGE);
  EXPECT_NE(QVNpreaddrows(env, lp, 1, 1, rhs, badSense, start, cols, vals, nullptr), 0);
  EXPECT_NE(QVNpreaddrows(env, lp, 1, 1, rhs, sense, badStart, cols, vals, nullptr), 0);
  const std::string errors = takeErrors();
  EXPECT_NE(errors.find("QUORVAN Error  1003: Bad argument to Callable Library function.\n"), std::string::npos)
      << errors;
  EXPECT_NE(errors.find("QUORVAN Error  1004: Null pointer for required data.\n"), std::string::npos) << errors;
  EXPECT_EQ(QVNgetnumrows(env, lp), 4);
  EXPECT_EQ(reducedRows(), before);
  // A count of 0 is no change.
  EXPECT_EQ(QVNpreaddrows(env, lp, 0, 0, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr), 0);
  EXPECT_EQ(reducedRows(), before);
}

} // namespace
