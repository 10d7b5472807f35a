// The exported presolve functions: their errors, the maps and the reduced
// problem they show, protected columns, crush and uncrush of points, duals
// and forms, and the log lines of a run.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <vector>

#include "presolve/presolve_state.h"
#include "presolve/presolve_test_support.h"
#include "runtime/alloc.h"

namespace {

using qvntest::EnvFixture;
using qvntest::LpModel;

constexpr double kInf = 1e20;

class PresolveApi : public qvntest::ProblemFixture {
protected:
  std::string takeLog() {
    std::string out;
    out.swap(log);
    return out;
  }
  // The small model of the presolve tests (see its comment).
  LpModel model() { return qvntest::smallPresolveModel(); }
};

TEST_F(PresolveApi, ErrorsBeforeAnyPresolve) {
  ASSERT_EQ(model().load(env, lp), 0);
  double x[5] = {}, rx[5] = {}, pi[4] = {};
  EXPECT_EQ(QVNcrushx(env, lp, x, rx), QVNERR_PRESLV_NO_PROB);
  EXPECT_EQ(QVNuncrushx(env, lp, x, rx), QVNERR_PRESLV_NO_PROB);
  EXPECT_EQ(QVNcrushpi(env, lp, pi, rx), QVNERR_PRESLV_NO_PROB);
  EXPECT_EQ(QVNuncrushpi(env, lp, pi, rx, nullptr), QVNERR_PRESLV_NO_PROB);
  takeErrors();
  EXPECT_EQ(QVNcrushx(env, lp, nullptr, rx), QVNERR_NULL_POINTER);
  EXPECT_EQ(QVNcrushx(env, nullptr, x, rx), QVNERR_NO_PROBLEM);
  EXPECT_EQ(QVNcrushx(nullptr, lp, x, rx), QVNERR_NO_ENVIRONMENT);
  EXPECT_EQ(QVNpresolve(env, lp, 99), QVNERR_BAD_ARGUMENT);
  QVNCLPptr red = lp;
  EXPECT_EQ(QVNgetredlp(env, lp, &red), 0);
  EXPECT_EQ(red, nullptr);
  int pre = -1;
  EXPECT_EQ(QVNgetprestat(env, lp, &pre, nullptr, nullptr, nullptr, nullptr), 0);
  EXPECT_EQ(pre, 0);
  EXPECT_EQ(QVNfreepresolve(env, lp), 0);
  EXPECT_NE(takeErrors(), "");
  // A set terminate flag stops presolve.
  volatile int stop = 1;
  QVNsetterminate(env, &stop);
  EXPECT_EQ(QVNpresolve(env, lp, 2), QVNERR_PRESLV_ABORT);
  QVNsetterminate(env, nullptr);
  EXPECT_EQ(takeErrors(), "QUORVAN Error  1106: Aborted during presolve.\n");
  EXPECT_EQ(QVNcrushx(env, lp, x, rx), QVNERR_PRESLV_NO_PROB);
}

TEST_F(PresolveApi, MapsReducedProblemAndCrush) {
  const LpModel m = model();
  ASSERT_EQ(m.load(env, lp), 0);
  ASSERT_EQ(QVNpresolve(env, lp, 2), 0);
  int pre = 0, colMap[5], rowMap[4], origCol[5], origRow[4];
  ASSERT_EQ(QVNgetprestat(env, lp, &pre, colMap, rowMap, origCol, origRow), 0);
  EXPECT_EQ(pre, 1);
  QVNCLPptr red = nullptr;
  ASSERT_EQ(QVNgetredlp(env, lp, &red), 0);
  ASSERT_NE(red, nullptr);
  const int rows = QVNgetnumrows(env, red), cols = QVNgetnumcols(env, red);
  EXPECT_LE(rows, 2);
  EXPECT_LE(cols, 3);
  // x3 fixed at 1 by its row: not in the reduced problem; x4 at its upper bound: -2.
  EXPECT_LT(colMap[3], 0);
  EXPECT_EQ(colMap[4], -2);
  EXPECT_LT(rowMap[2], 0);
  EXPECT_LT(rowMap[3], 0);
  for (int k = 0; k < cols; ++k) EXPECT_EQ(colMap[origCol[k]], k);
  for (int k = 0; k < rows; ++k) EXPECT_EQ(rowMap[origRow[k]], k);

  // Crush and uncrush of a feasible point of the original model.
  const double x[5] = {1, 0, 1, 1, 2};
  double rx[5] = {}, back[5] = {};
  ASSERT_EQ(QVNcrushx(env, lp, x, rx), 0);
  for (int k = 0; k < cols; ++k) EXPECT_EQ(rx[k], x[origCol[k]]);
  ASSERT_EQ(QVNuncrushx(env, lp, back, rx), 0);
  for (int j = 0; j < 5; ++j) EXPECT_NEAR(back[j], x[j], 1e-12) << j;

  // Duals: the reduced optimum's duals, uncrushed, price the original columns
  // with reduced costs of the right signs at the original optimum.
  QVNsetintparam(env, QVN_PARAM_PREIND, 0);
  ASSERT_EQ(QVNdualopt(env, const_cast<QVNLPptr>(red)), 0);
  ASSERT_EQ(QVNgetstat(env, red), QVN_STAT_OPTIMAL);
  double rpi[4] = {}, pi[4] = {}, rxOpt[5] = {}, full[5] = {};
  ASSERT_EQ(QVNgetpi(env, red, rpi, 0, rows - 1), 0);
  ASSERT_EQ(QVNgetx(env, red, rxOpt, 0, cols - 1), 0);
  ASSERT_EQ(QVNuncrushpi(env, lp, pi, rpi, rxOpt), 0);
  // The quadratic form gives the same duals and insists on the point.
  double qpi[4] = {};
  ASSERT_EQ(QVNqpuncrushpi(env, lp, qpi, rpi, rxOpt), 0);
  for (int i = 0; i < 4; ++i) EXPECT_EQ(qpi[i], pi[i]) << i;
  takeErrors();
  EXPECT_EQ(QVNqpuncrushpi(env, lp, qpi, rpi, nullptr), QVNERR_NULL_POINTER);
  EXPECT_EQ(takeErrors(), "QUORVAN Error  1004: Null pointer for required data.\n");
  EXPECT_EQ(QVNqpuncrushpi(env, nullptr, qpi, rpi, rxOpt), QVNERR_NO_PROBLEM);
  ASSERT_EQ(QVNuncrushx(env, lp, full, rxOpt), 0);
  qvntest::LpSolution s;
  s.x.assign(full, full + 5);
  s.pi.assign(pi, pi + 4);
  s.dj.assign(5, 0.0);
  s.slack.assign(4, 0.0);
  s.objective = 0;
  for (int j = 0; j < 5; ++j) {
    s.objective += m.obj[j] * full[j];
    s.dj[j] = m.obj[j];
    for (auto [i, v] : m.cols[j]) s.dj[j] -= v * pi[i];
  }
  for (int i = 0; i < 4; ++i) {
    double act = 0;
    for (int j = 0; j < 5; ++j)
      for (auto [r, v] : m.cols[j])
        if (r == i) act += v * full[j];
    s.slack[i] = m.rhs[i] - act;
  }
  EXPECT_EQ(qvntest::checkOptimal(m, s), "");
  EXPECT_NEAR(s.objective, 1.0, 1e-12);
  double cpi[4] = {};
  ASSERT_EQ(QVNcrushpi(env, lp, pi, cpi), 0);
  for (int k = 0; k < rows; ++k) EXPECT_NEAR(cpi[k], rpi[k], 1e-12);

  // Forms: the objective on the original columns is the reduced objective
  // plus the constant of the removed columns (x3 = 1, x4 = 2: 1 - 2).
  const int ind[5] = {0, 1, 2, 3, 4};
  const double val[5] = {1, 1, 1, 1, -1};
  int plen = -1, pind[5];
  double poff = 0, pval[5];
  ASSERT_EQ(QVNcrushform(env, lp, 5, ind, val, &plen, &poff, pind, pval), 0);
  EXPECT_EQ(plen, cols);
  EXPECT_NEAR(poff, -1.0, 1e-12);
  int len = -1, uind[5];
  double off = 5, uval[5];
  ASSERT_EQ(QVNuncrushform(env, lp, plen, pind, pval, &len, &off, uind, uval), 0);
  EXPECT_EQ(len, plen);
  EXPECT_EQ(off, 0.0);
  for (int k = 0; k < len; ++k) EXPECT_EQ(uind[k], origCol[pind[k]]);
  takeLog();
  ASSERT_EQ(QVNuncrushform(env, lp, 0, nullptr, nullptr, &len, &off, nullptr, nullptr), 0);
  EXPECT_EQ(takeLog(), "Warning: form length is zero.\n");
  ASSERT_EQ(QVNcrushform(env, lp, 0, nullptr, nullptr, &plen, &poff, nullptr, nullptr), 0);
  EXPECT_EQ(takeLog(), "Warning: form length is zero.\n");
  takeErrors();
  EXPECT_EQ(QVNcrushform(env, lp, 1, ind + 4, val, &plen, &poff, pind, pval), 0);
  const int badIndex = 7;
  EXPECT_EQ(QVNcrushform(env, lp, 1, &badIndex, val, &plen, &poff, pind, pval), QVNERR_COL_INDEX_RANGE);

  // A change of the model drops the presolved problem.
  ASSERT_EQ(m.load(env, lp), 0);
  EXPECT_EQ(QVNcrushx(env, lp, x, rx), QVNERR_PRESLV_NO_PROB);
}

TEST_F(PresolveApi, ProtectedColumnsSurviveIntoTheReducedProblem) {
  ASSERT_EQ(model().load(env, lp), 0);
  const int keep[2] = {4, 4};
  ASSERT_EQ(QVNcopyprotected(env, lp, 2, keep), 0);
  int count = -1, list[2], surplus = 0;
  EXPECT_EQ(QVNgetprotected(env, lp, &count, list, 0, &surplus), QVNERR_NEGATIVE_SURPLUS);
  EXPECT_EQ(surplus, -1);
  ASSERT_EQ(QVNgetprotected(env, lp, &count, list, 2, &surplus), 0);
  EXPECT_EQ(count, 1);
  EXPECT_EQ(list[0], 4);
  EXPECT_EQ(surplus, 1);
  const int bad = 9;
  takeErrors();
  EXPECT_EQ(QVNcopyprotected(env, lp, 1, &bad), QVNERR_COL_INDEX_RANGE);
  ASSERT_EQ(QVNpresolve(env, lp, 2), 0);
  int colMap[5];
  ASSERT_EQ(QVNgetprestat(env, lp, nullptr, colMap, nullptr, nullptr, nullptr), 0);
  EXPECT_GE(colMap[4], 0);  // the empty column was not fixed by its cost
  // The protection stays for the next run and the optimizer honours it.
  ASSERT_EQ(QVNlpopt(env, lp), 0);
  EXPECT_EQ(QVNgetstat(env, lp), QVN_STAT_OPTIMAL);
  double obj = 0;
  ASSERT_EQ(QVNgetobjval(env, lp, &obj), 0);
  EXPECT_NEAR(obj, 1.0, 1e-9);
  ASSERT_EQ(QVNgetprotected(env, lp, &count, list, 2, &surplus), 0);
  EXPECT_EQ(count, 1);
}

TEST_F(PresolveApi, LogLinesOfARun) {
  QVNsetintparam(env, QVN_PARAM_SCRIND, 0);
  ASSERT_EQ(model().load(env, lp), 0);
  takeLog();
  ASSERT_EQ(QVNpresolve(env, lp, 2), 0);
  const std::string text = takeLog();
  EXPECT_NE(text.find("Tried aggregator 1 time.\n"), std::string::npos) << text;
  EXPECT_NE(text.find("LP Presolve eliminated "), std::string::npos) << text;

  QVNsetintparam(env, QVN_PARAM_AGGIND, 0);
  ASSERT_EQ(QVNpresolve(env, lp, 2), 0);
  EXPECT_NE(takeLog().find("Tried aggregator 0 times.\n"), std::string::npos);
  QVNsetintparam(env, QVN_PARAM_AGGIND, -1);

  // Everything removed: the optimizer answers from the log alone.
  LpModel all;
  all.addRow('L', 4);
  all.addCol(-1, 0, 3, {{0, 2}});
  all.addCol(2, -1, 5);
  ASSERT_EQ(all.load(env, lp), 0);
  ASSERT_EQ(QVNdualopt(env, lp), 0);
  const std::string allText = takeLog();
  EXPECT_NE(allText.find("All rows and columns eliminated.\n"), std::string::npos) << allText;
  EXPECT_EQ(QVNgetstat(env, lp), QVN_STAT_OPTIMAL);
  double obj = 0;
  ASSERT_EQ(QVNgetobjval(env, lp, &obj), 0);
  EXPECT_NEAR(obj, -2 - 2, 1e-12);
  EXPECT_EQ(QVNgetitcnt(env, lp), 0);
  int pre = 0;
  ASSERT_EQ(QVNgetprestat(env, lp, &pre, nullptr, nullptr, nullptr, nullptr), 0);
  EXPECT_EQ(pre, 2);

  // Nothing to remove.
  LpModel none;
  none.addRow('L', 4), none.addRow('L', 5);
  none.addCol(-1, 0, 3, {{0, 1}, {1, 1}});
  none.addCol(-1, 0, 3, {{0, 1}, {1, 2}});
  ASSERT_EQ(none.load(env, lp), 0);
  ASSERT_EQ(QVNpresolve(env, lp, 2), 0);
  EXPECT_NE(takeLog().find("No LP presolve or aggregator reductions.\n"), std::string::npos);

  // An infeasible row is named in the log.
  LpModel bad;
  bad.addRow('G', 10);
  bad.addCol(1, 0, 1, {{0, 1}});
  bad.addCol(1, 0, 1, {{0, 1}});
  ASSERT_EQ(bad.load(env, lp), 0);
  takeErrors();
  EXPECT_EQ(QVNpresolve(env, lp, 2), QVNERR_PRESLV_INForUNBD);
  EXPECT_NE(takeLog().find("Row 'R1' infeasible, all entries at implied bounds.\n"), std::string::npos);
  EXPECT_EQ(takeErrors(), "QUORVAN Error  1101: Presolve determines problem is infeasible or unbounded.\n");
  // The optimizer does not stop at a verdict that cannot tell: the loops
  // prove what the bounds show, that x1 + x2 stays at most 2.
  EXPECT_EQ(QVNdualopt(env, lp), 0);
  EXPECT_EQ(QVNgetstat(env, lp), QVN_STAT_INFEASIBLE);

  // With the reductions off the optimizer still solves, with presolve skipped.
  QVNsetintparam(env, QVN_PARAM_PREIND, 0);
  EXPECT_EQ(QVNdualopt(env, lp), 0);
  EXPECT_EQ(QVNgetstat(env, lp), QVN_STAT_INFEASIBLE);
  QVNsetintparam(env, QVN_PARAM_PREIND, 1);
}

TEST_F(PresolveApi, BasicPresolveReportsRedundantRowsAndBounds) {
  ASSERT_EQ(model().load(env, lp), 0);
  int redundant[4];
  double lower[5], upper[5];
  ASSERT_EQ(QVNbasicpresolve(env, lp, redundant, lower, upper), 0);
  EXPECT_EQ(redundant[2], -1);
  EXPECT_EQ(redundant[3], -1);
  EXPECT_EQ(lower[3], 1.0);
  EXPECT_EQ(upper[3], 1.0);
  // No reduced problem is kept.
  QVNCLPptr red = lp;
  ASSERT_EQ(QVNgetredlp(env, lp, &red), 0);
  EXPECT_EQ(red, nullptr);
}

TEST_F(PresolveApi, ObjectiveChangesReachThePresolvedCopy) {
  LpModel m = model();
  ASSERT_EQ(m.load(env, lp), 0);
  // No advanced start, so that each run goes through the presolved copy.
  QVNsetintparam(env, QVN_PARAM_ADVIND, 0);
  ASSERT_EQ(QVNdualopt(env, lp), 0);
  int pre = 0, colMap[5];
  ASSERT_EQ(QVNgetprestat(env, lp, &pre, colMap, nullptr, nullptr, nullptr), 0);
  ASSERT_EQ(pre, 1);
  ASSERT_GE(colMap[0], 0);
  // New costs for surviving columns, checked against a solve without presolve.
  takeLog();
  for (auto [j, c] : {std::pair<int, double>{0, 3.0}, {1, 5.0}}) {
    ASSERT_EQ(QVNprechgobj(env, lp, 1, &j, &c), 0);
    m.obj[j] = c;
  }
  EXPECT_EQ(takeLog(), "");
  ASSERT_EQ(QVNgetprestat(env, lp, &pre, nullptr, nullptr, nullptr, nullptr), 0);
  EXPECT_EQ(pre, 1);
  ASSERT_EQ(QVNdualopt(env, lp), 0);
  ASSERT_EQ(QVNgetprestat(env, lp, &pre, nullptr, nullptr, nullptr, nullptr), 0);
  EXPECT_EQ(pre, 1);
  const qvntest::PresolveRun off = qvntest::solveModel(env, m, 0, QVNdualopt);
  double obj = 0;
  ASSERT_EQ(QVNgetobjval(env, lp, &obj), 0);
  EXPECT_NEAR(obj, off.solution.objective, 1e-9);
  // A removed column cannot follow: the copy goes, with a warning.
  const int removed = 3;
  const double cost = 2;
  takeLog();
  ASSERT_EQ(QVNprechgobj(env, lp, 1, &removed, &cost), 0);
  EXPECT_EQ(takeLog(), "Warning: Changing obj. of the presolved model fails.\n");
  ASSERT_EQ(QVNgetprestat(env, lp, &pre, nullptr, nullptr, nullptr, nullptr), 0);
  EXPECT_EQ(pre, 0);
  m.obj[3] = 2;
  ASSERT_EQ(QVNdualopt(env, lp), 0);
  ASSERT_EQ(QVNgetobjval(env, lp, &obj), 0);
  EXPECT_NEAR(obj, qvntest::solveModel(env, m, 0, QVNdualopt).solution.objective, 1e-9);
  const int bad = 5;
  takeErrors();
  EXPECT_EQ(QVNprechgobj(env, lp, 1, &bad, &cost), QVNERR_COL_INDEX_RANGE);
}

TEST_F(PresolveApi, AllocationFailuresAreReportedAndLeakNothing) {
  ASSERT_EQ(model().load(env, lp), 0);
  bool done = false;
  // Also with the dual formed and the dependency checker at both ends.
  for (int predual : {0, 1}) {
    QVNsetintparam(env, QVN_PARAM_PREDUAL, predual);
    QVNsetintparam(env, QVN_PARAM_DEPIND, predual ? 3 : -1);
    done = false;
    for (long n = 1; n < 3000 && !done; ++n) {
      const long live = qvn::allocLive();
      qvn::allocFailAfter(n);
      const int status = QVNpresolve(env, lp, 2);
      qvn::allocFailAfter(0);
      if (status == 0) {
        done = true;
      } else {
        ASSERT_EQ(status, QVNERR_NO_MEMORY) << n;
        double x[5] = {}, rx[5] = {};
        EXPECT_EQ(QVNcrushx(env, lp, x, rx), QVNERR_PRESLV_NO_PROB);
      }
      ASSERT_EQ(QVNfreepresolve(env, lp), 0);
      EXPECT_EQ(qvn::allocLive(), live) << n;
    }
    EXPECT_TRUE(done);
  }
  QVNsetintparam(env, QVN_PARAM_PREDUAL, 0);
  QVNsetintparam(env, QVN_PARAM_DEPIND, -1);
  // The optimizer under failures: 0 with a solution or 1001, and afterwards
  // an ordinary run finds the optimum.
  for (int predual : {0, 1}) {
    QVNsetintparam(env, QVN_PARAM_PREDUAL, predual);
    done = false;
    for (long n = 1; n < 3000 && !done; ++n) {
      qvn::allocFailAfter(n);
      const int status = QVNdualopt(env, lp);
      qvn::allocFailAfter(0);
      ASSERT_TRUE(status == 0 || status == QVNERR_NO_MEMORY) << n << " " << status;
      done = status == 0 && QVNgetstat(env, lp) == QVN_STAT_OPTIMAL;
      ASSERT_EQ(model().load(env, lp), 0);
    }
    EXPECT_TRUE(done);
  }
  QVNsetintparam(env, QVN_PARAM_PREDUAL, 0);
  takeErrors();
  ASSERT_EQ(QVNdualopt(env, lp), 0);
  double obj = 0;
  ASSERT_EQ(QVNgetobjval(env, lp, &obj), 0);
  EXPECT_NEAR(obj, 1.0, 1e-9);
}

// The index maps of the reduced problem agree with the maps QVNgetprestat
// gives; they need a presolved problem and a range inside it.
TEST_F(PresolveApi, OriginalIndicesOfTheReducedProblem) {
  ASSERT_EQ(model().load(env, lp), 0);
  int orig[5] = {};
  EXPECT_EQ(QVNEgetorigcolind(env, lp, orig, 0, 0), QVNERR_PRESLV_NO_PROB);
  EXPECT_EQ(QVNEgetorigrowind(env, lp, orig, 0, 0), QVNERR_PRESLV_NO_PROB);
  ASSERT_EQ(QVNpresolve(env, lp, 2), 0);
  int pre = 0, colMap[5], rowMap[4];
  ASSERT_EQ(QVNgetprestat(env, lp, &pre, colMap, rowMap, nullptr, nullptr), 0);
  QVNCLPptr red = nullptr;
  ASSERT_EQ(QVNgetredlp(env, lp, &red), 0);
  ASSERT_NE(red, nullptr);
  const int cols = QVNgetnumcols(env, red), rows = QVNgetnumrows(env, red);
  ASSERT_GT(cols, 0);
  ASSERT_GT(rows, 0);
  ASSERT_EQ(QVNEgetorigcolind(env, lp, orig, 0, cols - 1), 0);
  for (int k = 0; k < cols; ++k) EXPECT_EQ(colMap[orig[k]], k);
  ASSERT_EQ(QVNEgetorigrowind(env, lp, orig, 0, rows - 1), 0);
  for (int k = 0; k < rows; ++k) EXPECT_EQ(rowMap[orig[k]], k);
  // A part of the range: the same entries.
  int part[1] = {-7};
  ASSERT_EQ(QVNEgetorigcolind(env, lp, part, cols - 1, cols - 1), 0);
  ASSERT_EQ(QVNEgetorigcolind(env, lp, orig, 0, cols - 1), 0);
  EXPECT_EQ(part[0], orig[cols - 1]);
  takeErrors();
  EXPECT_EQ(QVNEgetorigcolind(env, lp, orig, 0, cols), QVNERR_INDEX_RANGE);
  EXPECT_EQ(QVNEgetorigrowind(env, lp, orig, -1, 0), QVNERR_INDEX_RANGE);
  EXPECT_EQ(QVNEgetorigcolind(env, lp, nullptr, 0, 0), QVNERR_NULL_POINTER);
  EXPECT_NE(takeErrors(), "");
}

// Edits that a kept presolved copy cannot follow drop it with their warning;
// a cost change of surviving columns keeps it in step, and the next solve
// still reaches the optimum of the changed model.
TEST_F(PresolveApi, KeptCopyFollowsOrWarnsOnEdits) {
  const LpModel m = model();
  auto presolved = [&]() {
    int pre = 0;
    EXPECT_EQ(QVNgetprestat(env, lp, &pre, nullptr, nullptr, nullptr, nullptr), 0);
    return pre == 1;
  };
  const int col0 = 0, col4 = 4, row0 = 0;
  const char lower = 'L';
  const double one = 1.0, two = 2.0;
  struct Case {
    const char *warning;
    std::function<int()> edit;
  };
  const std::vector<Case> cases = {
      {"Warning: Changing bounds of the presolved model fails.\n", [&] { return QVNchgbds(env, lp, 1, &col0, &lower, &one); }},
      {"Warning: Changing rhs of the presolved model fails.\n", [&] { return QVNchgrhs(env, lp, 1, &row0, &two); }},
      {"Warning: Adding columns to the presolved model fails.\n",
       [&] { return QVNaddcols(env, lp, 1, 0, &one, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr); }},
      // Column 4 went at its upper bound: its cost cannot reach the copy.
      {"Warning: Changing obj. of the presolved model fails.\n", [&] { return QVNchgobj(env, lp, 1, &col4, &two); }},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.warning);
    ASSERT_EQ(m.load(env, lp), 0);
    ASSERT_EQ(QVNpresolve(env, lp, 2), 0);
    ASSERT_TRUE(presolved());
    takeLog();
    ASSERT_EQ(c.edit(), 0);
    EXPECT_EQ(takeLog(), c.warning);
    EXPECT_FALSE(presolved());
  }
  // Without a kept copy the same edits say nothing.
  ASSERT_EQ(m.load(env, lp), 0);
  takeLog();
  ASSERT_EQ(QVNchgbds(env, lp, 1, &col0, &lower, &one), 0);
  ASSERT_EQ(QVNchgrhs(env, lp, 1, &row0, &two), 0);
  EXPECT_EQ(takeLog(), "");

  // A surviving column's cost: the copy stays, and the solve through it
  // answers for the changed model (checked on the model read back).
  ASSERT_EQ(m.load(env, lp), 0);
  ASSERT_EQ(QVNpresolve(env, lp, 2), 0);
  int colMap[5];
  ASSERT_EQ(QVNgetprestat(env, lp, nullptr, colMap, nullptr, nullptr, nullptr), 0);
  int kept = -1;
  for (int j = 0; j < 5 && kept < 0; ++j)
    if (colMap[j] >= 0) kept = j;
  ASSERT_GE(kept, 0);
  const double cost = 3.0;
  takeLog();
  ASSERT_EQ(QVNchgobj(env, lp, 1, &kept, &cost), 0);
  EXPECT_EQ(takeLog(), "");
  EXPECT_TRUE(presolved());
  ASSERT_EQ(QVNlpopt(env, lp), 0);
  const LpModel changed = qvntest::readModel(env, lp);
  EXPECT_EQ(changed.obj[kept], 3.0);
  qvntest::LpSolution sol;
  ASSERT_EQ(qvntest::readSolution(env, lp, changed, sol), 0);
  EXPECT_EQ(qvntest::checkOptimal(changed, sol, 1e-9), "");
}

// With a quadratic objective on the reduced problem, the replay of the duals
// prices the columns at c + Qx: the same duals as the linear replay of a
// reduced problem whose costs are c + Qx at that point.
TEST_F(PresolveApi, QuadraticUncrushOfDualsPricesTheGradient) {
  // min x0 + 3 x1, r0: x0 + 2 x1 >= 2, r1: x0 <= 1.5 (a singleton row, a
  // bound of x0 in the reduced problem), x in [0, 10]. The replay gives r1
  // the reduced cost of x0 at that bound as its dual, so the cost a column
  // is priced at shows in the duals.
  LpModel m;
  m.addRow('G', 2), m.addRow('L', 1.5);
  m.addCol(1, 0, 10, {{0, 1}, {1, 1}});
  m.addCol(3, 0, 10, {{0, 2}});
  ASSERT_EQ(m.load(env, lp), 0);
  ASSERT_EQ(QVNpresolve(env, lp, 2), 0);
  QVNCLPptr cred = nullptr;
  ASSERT_EQ(QVNgetredlp(env, lp, &cred), 0);
  ASSERT_NE(cred, nullptr);
  auto red = const_cast<QVNLPptr>(cred);
  ASSERT_EQ(QVNgetnumrows(env, red), 1);
  ASSERT_EQ(QVNgetnumcols(env, red), 2);
  const double rx[2] = {1.5, 0.25}, rpi[1] = {0.25};
  double c[2];
  ASSERT_EQ(QVNgetobj(env, red, c, 0, 1), 0);
  // Q = [[2, 1], [1, 4]] goes onto the reduced problem itself; its events
  // touch only that problem.
  const int qbeg[2] = {0, 2}, qcnt[2] = {2, 2}, qind[4] = {0, 1, 0, 1};
  const double qval[4] = {2, 1, 1, 4};
  ASSERT_EQ(QVNcopyquad(env, red, qbeg, qcnt, qind, qval), 0);
  double piQ[2] = {}, piLin[2] = {}, piPlain[2] = {};
  ASSERT_EQ(QVNqpuncrushpi(env, lp, piQ, rpi, rx), 0);
  // The same through costs c + Qx and no Q.
  ASSERT_EQ(QVNchgprobtype(env, red, QVN_PROB_LP), 0);
  const int all[2] = {0, 1};
  const double grad[2] = {c[0] + 2 * rx[0] + rx[1], c[1] + rx[0] + 4 * rx[1]};
  ASSERT_EQ(QVNchgobj(env, red, 2, all, grad), 0);
  ASSERT_EQ(QVNuncrushpi(env, lp, piLin, rpi, rx), 0);
  for (int i = 0; i < 2; ++i) EXPECT_NEAR(piQ[i], piLin[i], 1e-12) << i;
  // By hand: d0 = 1 + (2 * 1.5 + 0.25) - 0.25 = 4, and x0 rests on the bound
  // that r1 set, so r1 takes d0 / 1 as its dual.
  EXPECT_NEAR(std::fabs(piQ[1]), 4.0, 1e-12);
  // Without the gradient the dual of r1 is the linear one, |1 - 0.25|.
  ASSERT_EQ(QVNchgobj(env, red, 2, all, c), 0);
  ASSERT_EQ(QVNuncrushpi(env, lp, piPlain, rpi, rx), 0);
  EXPECT_NEAR(std::fabs(piPlain[1]), 0.75, 1e-12);
}

// The consistency test of the log: the replayed optimum agrees with every
// record and with the reduced objective; a point that moves a column off the
// value its record fixed is named with the difference, and the objective
// then disagrees too.
TEST_F(PresolveApi, PostsolveConsistencyMessages) {
  const LpModel m = model();
  ASSERT_EQ(m.load(env, lp), 0);
  ASSERT_EQ(QVNpresolve(env, lp, 2), 0);
  QVNCLPptr red = nullptr;
  ASSERT_EQ(QVNgetredlp(env, lp, &red), 0);
  ASSERT_NE(red, nullptr);
  QVNsetintparam(env, QVN_PARAM_PREIND, 0);
  ASSERT_EQ(QVNdualopt(env, const_cast<QVNLPptr>(red)), 0);
  const int cols = QVNgetnumcols(env, red);
  double rx[5] = {}, x[5] = {};
  ASSERT_EQ(QVNgetx(env, red, rx, 0, cols - 1), 0);
  ASSERT_EQ(QVNuncrushx(env, lp, x, rx), 0);
  const PresolveState &s = *lp->presolved;
  takeLog();
  EXPECT_EQ(qvn::checkPostsolve(env, lp, s, x), 0);
  EXPECT_EQ(takeLog(), "");
  // x4 went at its upper bound 2.
  x[4] = 1.5;
  EXPECT_EQ(qvn::checkPostsolve(env, lp, s, x), 2);
  const std::string text = takeLog();
  EXPECT_NE(text.find("Fixed value  2.0000000000e+00 != x  1.5000000000e+00\ndiff =-5.0000000000e-01\n"),
            std::string::npos) << text;
  EXPECT_NE(text.find("c "), std::string::npos) << text;
  EXPECT_NE(text.find(" != pconst "), std::string::npos) << text;
}

} // namespace
