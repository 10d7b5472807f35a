// Presolve that hands the optimizer the dual of the reduced problem: when it
// forms the dual, that the answer carried back is optimal for the original
// model and equals the answer of the primal solved directly, that the basis
// carried back needs no clean-up, and that the maps refuse a dualized model.
#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "model/problem.h"
#include "presolve/presolve_state.h"
#include "presolve/presolve_test_support.h"

namespace {

using qvntest::checkOptimal;
using qvntest::EnvFixture;
using qvntest::LpModel;

constexpr double kInf = 1e20;

class Dualize : public EnvFixture {
protected:
  void SetUp() override {
    EnvFixture::SetUp();
    ASSERT_EQ(qvntest::captureMessages(env, &log, true, false), 0);
  }
  void TearDown() override {
    QVNsetintparam(env, QVN_PARAM_PREDUAL, 0);
    QVNsetintparam(env, QVN_PARAM_REDUCE, 3);
    QVNsetintparam(env, QVN_PARAM_AGGIND, -1);
    EnvFixture::TearDown();
  }
  struct Run {
    int status = 0;
    qvntest::LpSolution solution;
    int iterations = 0, dualIterations = -1;
    bool dualized = false;
  };
  Run solve(const LpModel &m, int predual, int (*optimizer)(QVNCENVptr, QVNLPptr)) {
    Run run;
    int status = 0;
    QVNLPptr lp = QVNcreateprob(env, &status, "dualize");
    EXPECT_EQ(m.load(env, lp), 0);
    QVNsetintparam(env, QVN_PARAM_PREDUAL, predual);
    EXPECT_EQ(optimizer(env, lp), 0);
    run.status = QVNgetstat(env, lp);
    run.iterations = QVNgetitcnt(env, lp);
    const PresolveState *s = lp->presolved;
    run.dualized = s && s->dualized;
    if (run.dualized && s->dualProblem->solution) run.dualIterations = s->dualProblem->solution->iterationCount;
    if (run.status == QVN_STAT_OPTIMAL) {
      EXPECT_EQ(qvntest::readSolution(env, lp, m, run.solution), 0);
    }
    QVNfreeprob(env, &lp);
    return run;
  }
  std::string log;
};

// Every kind of column bound and row sense:
//  min  2 x0 - x1 + x2 + 3 x3 - x4
//  r0:  x0 + x1 + x2          >= 2
//  r1:       x1 - x2 + x3     <= 4
//  r2:  x0      + x2     + x4  = 3
//  r3:  1 <= x0 - x1 + x3 + x4 <= 5
//  x0 >= 0, x1 <= 3, x2 free, 0 <= x3 <= 2, -1 <= x4 <= 2.
// Each column meets at least two rows, so that only the dual changes it.
LpModel allKinds() {
  LpModel m;
  m.addRow('G', 2), m.addRow('L', 4), m.addRow('E', 3), m.addRow('R', 1, 4);
  m.addCol(2, 0, kInf, {{0, 1}, {2, 1}, {3, 1}});
  m.addCol(-1, -kInf, 3, {{0, 1}, {1, 1}, {3, -1}});
  m.addCol(1, -kInf, kInf, {{0, 1}, {1, -1}, {2, 1}});
  m.addCol(3, 0, 2, {{1, 1}, {3, 1}});
  m.addCol(-1, -1, 2, {{2, 1}, {3, 1}});
  return m;
}

TEST_F(Dualize, DualFormedOnRequestGivesThePrimalAnswerBack) {
  QVNsetintparam(env, QVN_PARAM_REDUCE, 1);
  QVNsetintparam(env, QVN_PARAM_AGGIND, 0);
  for (int sense : {QVN_MIN, QVN_MAX}) {
    LpModel m = allKinds();
    m.objSense = sense;
    if (sense == QVN_MAX)
      for (double &c : m.obj) c = -c;  // the same optimum, in the other sense
    SCOPED_TRACE(sense == QVN_MIN ? "min" : "max");
    const Run direct = solve(m, -1, QVNdualopt);
    ASSERT_EQ(direct.status, QVN_STAT_OPTIMAL);
    EXPECT_FALSE(direct.dualized);
    EXPECT_EQ(checkOptimal(m, direct.solution), "");
    for (auto optimizer : {QVNdualopt, QVNprimopt}) {
      log.clear();
      const Run r = solve(m, 1, optimizer);
      EXPECT_NE(log.find("DUAL formed by presolve\n"), std::string::npos) << log;
      ASSERT_TRUE(r.dualized);
      ASSERT_EQ(r.status, QVN_STAT_OPTIMAL);
      EXPECT_EQ(checkOptimal(m, r.solution), "");
      EXPECT_NEAR(r.solution.objective, direct.solution.objective, 1e-9);
      // The basis from the dual is optimal for the original as it stands.
      EXPECT_EQ(r.iterations, r.dualIterations);
    }
  }
  // Never with -1; automatically only for many more rows than columns.
  log.clear();
  EXPECT_FALSE(solve(allKinds(), -1, QVNdualopt).dualized);
  EXPECT_FALSE(solve(allKinds(), 0, QVNdualopt).dualized);
  EXPECT_EQ(log.find("DUAL formed by presolve"), std::string::npos);
}

TEST_F(Dualize, MapsAndReducedProblemOfADualizedModel) {
  QVNsetintparam(env, QVN_PARAM_REDUCE, 1);
  QVNsetintparam(env, QVN_PARAM_AGGIND, 0);
  QVNsetintparam(env, QVN_PARAM_PREDUAL, 1);
  int status = 0;
  QVNLPptr lp = QVNcreateprob(env, &status, "maps");
  ASSERT_EQ(allKinds().load(env, lp), 0);
  ASSERT_EQ(QVNpresolve(env, lp, 2), 0);
  // The reduced problem is the dual: a row per column that is not fixed,
  // a column per row plus one for the range and one per column with two bounds.
  QVNCLPptr red = nullptr;
  ASSERT_EQ(QVNgetredlp(env, lp, &red), 0);
  ASSERT_NE(red, nullptr);
  EXPECT_EQ(QVNgetnumrows(env, red), 5);
  EXPECT_EQ(QVNgetnumcols(env, red), 4 + 1 + 2);
  EXPECT_EQ(QVNgetobjsen(env, red), QVN_MAX);
  double x[5] = {1, 1, 1, 1, 1}, pi[4] = {0, 0, 0, 0}, out[8] = {};
  int len = 0, idx[5] = {0, 1, 2, 3, 4};
  double offset = 0, vals[5] = {1, 1, 1, 1, 1};
  takeErrors();
  EXPECT_EQ(QVNcrushx(env, lp, x, out), QVNERR_PRESLV_DUAL);
  EXPECT_EQ(QVNuncrushx(env, lp, x, out), QVNERR_PRESLV_DUAL);
  EXPECT_EQ(QVNcrushpi(env, lp, pi, out), QVNERR_PRESLV_DUAL);
  EXPECT_EQ(QVNuncrushpi(env, lp, pi, out, x), QVNERR_PRESLV_DUAL);
  EXPECT_EQ(QVNcrushform(env, lp, 5, idx, vals, &len, &offset, idx, out), QVNERR_PRESLV_DUAL);
  EXPECT_EQ(QVNuncrushform(env, lp, 1, idx, vals, &len, &offset, idx, out), QVNERR_PRESLV_DUAL);
  EXPECT_EQ(takeErrors(), "QUORVAN Error  1119: The feature is not available for solving dual formulation.\n"
                          "QUORVAN Error  1119: The feature is not available for solving dual formulation.\n"
                          "QUORVAN Error  1119: The feature is not available for solving dual formulation.\n"
                          "QUORVAN Error  1119: The feature is not available for solving dual formulation.\n"
                          "QUORVAN Error  1119: The feature is not available for solving dual formulation.\n"
                          "QUORVAN Error  1119: The feature is not available for solving dual formulation.\n");
  // Objective changes follow into the dual (as right-hand sides of its
  // rows); its optimum is then that of the changed model.
  ASSERT_EQ(qvntest::captureMessages(env, &log, false, true), 0);
  log.clear();
  LpModel changed = allKinds();
  const int which[2] = {0, 3};
  const double costs[2] = {0.5, -1.5};
  changed.obj[0] = 0.5, changed.obj[3] = -1.5;
  EXPECT_EQ(QVNprechgobj(env, lp, 2, which, costs), 0);
  EXPECT_EQ(log, "");
  ASSERT_EQ(QVNgetredlp(env, lp, &red), 0);
  ASSERT_NE(red, nullptr);
  QVNsetintparam(env, QVN_PARAM_PREIND, 0);
  ASSERT_EQ(QVNdualopt(env, const_cast<QVNLPptr>(red)), 0);
  QVNsetintparam(env, QVN_PARAM_PREIND, 1);
  const Run direct = solve(changed, -1, QVNdualopt);
  ASSERT_EQ(direct.status, QVN_STAT_OPTIMAL);
  ASSERT_EQ(QVNgetstat(env, red), QVN_STAT_OPTIMAL);
  double dualObjective = 0;
  ASSERT_EQ(QVNgetobjval(env, red, &dualObjective), 0);
  EXPECT_NEAR(dualObjective, direct.solution.objective, 1e-9);
  QVNsetintparam(env, QVN_PARAM_PREDUAL, 1);
  ASSERT_EQ(QVNdualopt(env, lp), 0);
  ASSERT_EQ(QVNgetstat(env, lp), QVN_STAT_OPTIMAL);
  double obj = 0;
  ASSERT_EQ(QVNgetobjval(env, lp, &obj), 0);
  EXPECT_NEAR(obj, direct.solution.objective, 1e-9);
  QVNfreeprob(env, &lp);
}

// Rows x_a + x_b + x_c <= b with positive b on columns x >= 0 of negative
// cost: neither redundant nor forcing, so presolve leaves them.
LpModel tallModel(int rows, int cols) {
  LpModel m;
  std::mt19937 rng(7);
  std::vector<std::vector<std::pair<int, double>>> entries(static_cast<size_t>(cols));
  for (int i = 0; i < rows; ++i) {
    m.addRow('L', 10.0 + static_cast<double>(rng() % 90));
    int picked[3];
    for (int k = 0; k < 3; ++k) {
      int j;
      do j = static_cast<int>(rng() % static_cast<unsigned>(cols));
      while ((k > 0 && j == picked[0]) || (k > 1 && j == picked[1]));
      picked[k] = j;
      entries[j].push_back({i, 1.0 + static_cast<double>(rng() % 5)});
    }
  }
  for (int j = 0; j < cols; ++j) m.addCol(-1.0 - static_cast<double>(rng() % 7), 0, kInf, entries[j]);
  return m;
}

// For the barrier the side whose normal matrix is smaller wins: one dense
// column makes A A' full while A'A stays sparse.
TEST_F(Dualize, AutomaticChoiceBySize) {
  LpModel m;
  const int rows = 40, cols = 20;
  for (int i = 0; i < rows; ++i) m.addRow('G', 1 + i % 3);
  std::vector<std::pair<int, double>> dense;
  for (int i = 0; i < rows; ++i) dense.push_back({i, 1.0 + (i % 4)});
  m.addCol(5, 0, kInf, dense);
  for (int j = 1; j < cols; ++j)
    m.addCol(1 + j % 3, 0, kInf, {{(2 * j) % rows, 1.0}, {(2 * j + 1) % rows, 2.0}, {(3 * j + 7) % rows, 1.0}});
  int status = 0;
  QVNLPptr lp = QVNcreateprob(env, &status, "auto");
  ASSERT_EQ(m.load(env, lp), 0);
  QVNsetintparam(env, QVN_PARAM_PREDUAL, 0);
  ASSERT_EQ(QVNpresolve(env, lp, 4), 0);
  ASSERT_NE(lp->presolved, nullptr);
  EXPECT_TRUE(lp->presolved->dualized);
  ASSERT_EQ(QVNpresolve(env, lp, 2), 0);  // the simplex needs 5000 rows and four per column
  EXPECT_FALSE(lp->presolved->dualized);
  QVNsetintparam(env, QVN_PARAM_PREDUAL, -1);
  ASSERT_EQ(QVNpresolve(env, lp, 4), 0);
  EXPECT_FALSE(lp->presolved->dualized);
  QVNfreeprob(env, &lp);

  // 5000 rows on 1250 columns: the simplex gets the dual; one row fewer, or
  // one column more, and it does not.
  const LpModel tall = tallModel(5000, 1250);
  QVNsetintparam(env, QVN_PARAM_SIMDISPLAY, 0);
  const Run automatic = solve(tall, 0, QVNprimopt);
  EXPECT_TRUE(automatic.dualized);
  ASSERT_EQ(automatic.status, QVN_STAT_OPTIMAL);
  EXPECT_EQ(checkOptimal(tall, automatic.solution, 1e-7), "");
  EXPECT_LE(automatic.iterations - automatic.dualIterations, 5);
  for (const LpModel &other : {tallModel(4999, 1249), tallModel(5000, 1251)}) {
    ASSERT_EQ(other.load(env, lp = QVNcreateprob(env, &status, "other")), 0);
    ASSERT_EQ(QVNpresolve(env, lp, 2), 0);
    EXPECT_FALSE(lp->presolved->dualized);
    QVNfreeprob(env, &lp);
  }
}

// Random models of every shape, solved through their dual and directly.
TEST_F(Dualize, RandomModelsAgreeWithThePrimal) {
  QVNsetintparam(env, QVN_PARAM_SIMDISPLAY, 0);
  std::mt19937 rng(1122);
  auto uniform = [&](int lo, int hi) { return lo + static_cast<int>(rng() % static_cast<unsigned>(hi - lo + 1)); };
  int optimal = 0, other = 0, dualized = 0;
  for (int trial = 0; trial < 120; ++trial) {
    SCOPED_TRACE("trial " + std::to_string(trial));
    // Half of the runs keep the model whole, so that the dual has work.
    QVNsetintparam(env, QVN_PARAM_REDUCE, trial % 4 < 2 ? 1 : 3);
    QVNsetintparam(env, QVN_PARAM_AGGIND, trial % 4 < 2 ? 0 : -1);
    LpModel m;
    m.objSense = trial % 2 ? QVN_MAX : QVN_MIN;
    // Feasible by construction around a point p; free directions may still
    // make it unbounded.
    const int rows = uniform(2, 8), cols = uniform(2, 8);
    std::vector<double> p(cols);
    for (int j = 0; j < cols; ++j) {
      double lo = uniform(-3, 1), up = lo + uniform(0, 6);
      switch (uniform(0, 4)) {
      case 0: lo = -kInf; break;
      case 1: up = kInf; break;
      case 2: lo = -kInf, up = kInf; break;
      default: break;
      }
      p[j] = lo > -kInf ? lo + (up < kInf ? (up - lo) * uniform(0, 4) / 4.0 : uniform(0, 2)) : up < kInf ? up - uniform(0, 2) : uniform(-2, 2);
      m.addCol(uniform(-4, 4), lo, up);
    }
    const char senses[] = {'L', 'G', 'E', 'R'};
    for (int i = 0; i < rows; ++i) {
      double activity = 0;
      for (int j = 0; j < cols; ++j)
        if (uniform(0, 2) == 0) {
          const double a = uniform(-3, 3) + 0.5;
          m.cols[j].push_back({i, a});
          activity += a * p[j];
        }
      const char s = senses[uniform(0, 3)];
      const double slack = uniform(0, 3);
      if (s == 'L') m.addRow('L', activity + slack);
      else if (s == 'G') m.addRow('G', activity - slack);
      else if (s == 'E') m.addRow('E', activity);
      else m.addRow('R', activity - slack, slack + uniform(0, 3));
    }
    const Run direct = solve(m, -1, QVNdualopt);
    for (auto optimizer : {QVNdualopt, QVNprimopt}) {
      const Run r = solve(m, 1, optimizer);
      dualized += r.dualized;
      if (direct.status == QVN_STAT_OPTIMAL) {
        ASSERT_EQ(r.status, QVN_STAT_OPTIMAL);
        EXPECT_EQ(checkOptimal(m, r.solution), "");
        EXPECT_NEAR(r.solution.objective, direct.solution.objective,
                    1e-9 * std::max(1.0, std::fabs(direct.solution.objective)));
        if (r.dualized) {
          EXPECT_LE(r.iterations - r.dualIterations, 2);
        }
      } else {
        EXPECT_TRUE(r.status == direct.status || r.status == QVN_STAT_INForUNBD || direct.status == QVN_STAT_INForUNBD)
            << r.status << " vs " << direct.status;
      }
    }
    optimal += direct.status == QVN_STAT_OPTIMAL;
    other += direct.status != QVN_STAT_OPTIMAL;
  }
  EXPECT_GT(optimal, 40);
  EXPECT_GT(other, 10);
  EXPECT_GT(dualized, 100);
}

// Rows added to a dualized copy become columns of its dual.
TEST_F(Dualize, RowsAddedToADualizedCopy) {
  QVNsetintparam(env, QVN_PARAM_REDUCE, 1);
  QVNsetintparam(env, QVN_PARAM_AGGIND, 0);
  QVNsetintparam(env, QVN_PARAM_PREDUAL, 1);
  ASSERT_EQ(qvntest::captureMessages(env, &log, false, true), 0);
  int status = 0;
  QVNLPptr lp = QVNcreateprob(env, &status, "rows");
  LpModel m = allKinds();
  ASSERT_EQ(m.load(env, lp), 0);
  ASSERT_EQ(QVNpresolve(env, lp, 2), 0);
  // x0 + x4 >= 2.5, x2 - x3 <= 0.5 and x1 + x2 = 1.
  const int start[3] = {0, 2, 4}, cols[6] = {0, 4, 2, 3, 1, 2};
  const double vals[6] = {1, 1, 1, -1, 1, 1}, rhs[3] = {2.5, 0.5, 1};
  const char sense[3] = {'G', 'L', 'E'};
  log.clear();
  ASSERT_EQ(QVNpreaddrows(env, lp, 3, 6, rhs, sense, start, cols, vals, nullptr), 0);
  EXPECT_EQ(log, "");
  QVNCLPptr red = nullptr;
  ASSERT_EQ(QVNgetredlp(env, lp, &red), 0);
  ASSERT_NE(red, nullptr);
  EXPECT_EQ(QVNgetnumcols(env, red), 7 + 3);
  for (int r = 0; r < 3; ++r) {
    const int row = m.addRow(sense[r], rhs[r]);
    for (int k = start[r]; k < (r < 2 ? start[r + 1] : 6); ++k) m.set(row, cols[k], vals[k]);
  }
  ASSERT_EQ(QVNdualopt(env, lp), 0);
  ASSERT_EQ(QVNgetstat(env, lp), QVN_STAT_OPTIMAL);
  qvntest::LpSolution s;
  ASSERT_EQ(qvntest::readSolution(env, lp, m, s), 0);
  EXPECT_EQ(checkOptimal(m, s), "");
  ASSERT_EQ(QVNgetredlp(env, lp, &red), 0);
  ASSERT_NE(red, nullptr);  // the dual served the solve
  double dualObjective = 0;
  ASSERT_EQ(QVNgetobjval(env, red, &dualObjective), 0);
  const Run direct = solve(m, -1, QVNdualopt);
  ASSERT_EQ(direct.status, QVN_STAT_OPTIMAL);
  EXPECT_NEAR(s.objective, direct.solution.objective, 1e-9);
  EXPECT_NEAR(dualObjective, direct.solution.objective, 1e-9);
  QVNfreeprob(env, &lp);
}

// A limit that stops the dual stops the run: the primal is not solved again.
TEST_F(Dualize, IterationLimitStopsTheRun) {
  QVNsetintparam(env, QVN_PARAM_SIMDISPLAY, 0);
  LpModel m = tallModel(400, 100);
  ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_ITLIM, 5), 0);
  const Run r = solve(m, 1, QVNdualopt);
  QVNsetintparam(env, QVN_PARAM_ITLIM, 2100000000);
  EXPECT_TRUE(r.dualized);
  EXPECT_EQ(r.status, QVN_STAT_ABORT_IT_LIM);
  EXPECT_LE(r.iterations, 5);
}

// Netlib models through their dual, against the reference objectives.
TEST_F(Dualize, NetlibModelsThroughTheirDual) {
  const std::string dir = qvntest::sharedDataDir();
  if (dir.empty()) GTEST_SKIP() << "shared data absent";
  QVNsetintparam(env, QVN_PARAM_SIMDISPLAY, 0);
  for (const char *name : {"afiro", "sc50b", "blend", "share2b", "kb2", "boeing2", "recipe", "israel", "bore3d"}) {
    SCOPED_TRACE(name);
    const LpModel m = qvntest::readNetlibModel(env, dir, name);
    ASSERT_GT(m.numRows(), 0);
    const double ref = qvntest::referenceObjective(dir, name);
    for (auto optimizer : {QVNdualopt, QVNprimopt}) {
      const Run r = solve(m, 1, optimizer);
      EXPECT_TRUE(r.dualized);
      ASSERT_EQ(r.status, QVN_STAT_OPTIMAL);
      EXPECT_EQ(checkOptimal(m, r.solution, 1e-6), "");
      EXPECT_NEAR(r.solution.objective, ref, 1e-6 * std::max(1.0, std::fabs(ref)));
      EXPECT_LE(r.iterations - r.dualIterations, 5);
    }
  }
}

} // namespace
