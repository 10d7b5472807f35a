// Edits that keep a held start usable: start vectors that follow coefficient,
// cost and right-hand-side changes, a range change that repairs its row's
// status, and the fixed problem of a solved MIP.
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "model/problem.h"
#include "support/lp_model.h"
#include "support/test_support.h"

namespace {

using qvntest::LpModel;
using qvntest::LpSolution;

class WarmEdits : public qvntest::ProblemFixture {
protected:
  std::string takeLog() {
    std::string out;
    out.swap(log);
    return out;
  }
};

// min x0 + 2 x1 + 3 x2
//   r0: x0 + x1 + x2 >= 4
//   r1: x0 - x1      <= 2
//   r2:      x1 + 2 x2 = 3
// 0 <= x <= 10. Every solve here is judged by checkOptimal on the model as
// the getters read it back.
LpModel threeRows() {
  LpModel m;
  m.addRow('G', 4), m.addRow('L', 2), m.addRow('E', 3);
  m.addCol(1, 0, 10, {{0, 1}, {1, 1}});
  m.addCol(2, 0, 10, {{0, 1}, {1, -1}, {2, 1}});
  m.addCol(3, 0, 10, {{0, 1}, {2, 2}});
  return m;
}

TEST_F(WarmEdits, StartVectorsFollowCoefficientCostAndRhsChanges) {
  const LpModel m = threeRows();
  ASSERT_EQ(m.load(env, lp), 0);
  ASSERT_EQ(QVNlpopt(env, lp), 0);
  LpSolution s;
  ASSERT_EQ(qvntest::readSolution(env, lp, m, s), 0);
  ASSERT_EQ(qvntest::checkOptimal(m, s, 1e-9), "");
  ASSERT_EQ(QVNcopystart(env, lp, nullptr, nullptr, s.x.data(), s.slack.data(), s.dj.data(), s.pi.data()), 0);

  // A stored entry, the objective and the rhs through QVNchgcoef, the lists,
  // and last an entry that did not exist (it waits in the cache).
  ASSERT_EQ(QVNchgcoef(env, lp, 0, 1, 7.5), 0);
  ASSERT_EQ(QVNchgcoef(env, lp, -1, 2, 4.0), 0);
  ASSERT_EQ(QVNchgcoef(env, lp, 1, -1, 9.0), 0);
  const int col0 = 0, row2 = 2;
  const double cost = -1.5, rhs = 5.0;
  ASSERT_EQ(QVNchgobj(env, lp, 1, &col0, &cost), 0);
  ASSERT_EQ(QVNchgrhs(env, lp, 1, &row2, &rhs), 0);
  ASSERT_EQ(QVNchgcoef(env, lp, 2, 0, 3.0), 0);
  ASSERT_EQ(QVNchgcoef(env, lp, 1, 0, 0.0), 0);  // deletes an entry

  // The held vectors must equal slack = rhs - A x and dj = c - A'pi of the
  // changed model, recomputed here from the model as the getters give it.
  const LpModel changed = qvntest::readModel(env, lp);
  ASSERT_EQ(changed.cols[0].size(), 2u);
  const qvn::BasisData *b = lp->basisData;
  ASSERT_NE(b, nullptr);
  const int n = changed.numCols(), mRows = changed.numRows();
  ASSERT_EQ(b->primalStart.size(), static_cast<size_t>(n + mRows));
  ASSERT_EQ(b->dualStart.size(), static_cast<size_t>(n + mRows));
  std::vector<double> activity(static_cast<size_t>(mRows), 0.0);
  for (int j = 0; j < n; ++j) {
    double dj = changed.obj[j];
    for (const auto &[row, a] : changed.cols[j]) {
      activity[row] += a * s.x[j];
      dj -= a * s.pi[row];
    }
    EXPECT_NEAR(b->primalStart[j], s.x[j], 1e-12) << "x" << j;
    EXPECT_NEAR(b->dualStart[mRows + j], dj, 1e-9) << "dj" << j;
  }
  for (int i = 0; i < mRows; ++i) {
    EXPECT_NEAR(b->primalStart[n + i], changed.rhs[i] - activity[i], 1e-9) << "slack" << i;
    EXPECT_NEAR(b->dualStart[i], s.pi[i], 1e-12) << "pi" << i;
  }
  // The start still leads to the optimum of the changed model.
  ASSERT_EQ(QVNlpopt(env, lp), 0);
  LpSolution t;
  ASSERT_EQ(qvntest::readSolution(env, lp, changed, t), 0);
  EXPECT_EQ(qvntest::checkOptimal(changed, t, 1e-9), "");
}

// A ranged row at the upper end of its range: once the range opens to
// infinity that end is gone and the held status moves to the other end, so
// the next solve starts from a basis that means something.
TEST_F(WarmEdits, RangeChangeRepairsTheRowStatus) {
  // max x0 + x1, r0: x0 + x1 in [1, 3] (rhs 1, range 2), x0 <= 2, x1 <= 2.
  LpModel m;
  m.objSense = QVN_MAX;
  m.addRow('R', 1, 2);
  m.addCol(1, 0, 2, {{0, 1}});
  m.addCol(1, 0, 2, {{0, 1}});
  ASSERT_EQ(m.load(env, lp), 0);
  ASSERT_EQ(QVNlpopt(env, lp), 0);
  int cstat[2], rstat[1];
  ASSERT_EQ(QVNgetbase(env, lp, cstat, rstat), 0);
  ASSERT_EQ(rstat[0], 2);  // at rhs + range
  const int row = 0;
  const double open = 1e20;
  ASSERT_EQ(QVNchgrngval(env, lp, 1, &row, &open), 0);
  ASSERT_EQ(QVNgetbase(env, lp, cstat, rstat), 0);
  EXPECT_EQ(rstat[0], 0);
  ASSERT_EQ(lp->basisData->rowStatus[0], 0);
  // And back at the single-entry path: a finite range keeps a valid end.
  ASSERT_EQ(QVNchgcoef(env, lp, 0, -2, 2.0), 0);
  ASSERT_EQ(QVNlpopt(env, lp), 0);
  const LpModel changed = qvntest::readModel(env, lp);
  LpSolution s;
  ASSERT_EQ(qvntest::readSolution(env, lp, changed, s), 0);
  EXPECT_EQ(qvntest::checkOptimal(changed, s, 1e-9), "");
  EXPECT_NEAR(s.objective, 3.0, 1e-9);
  // A negative range opening downwards: a row at its lower end moves up.
  ASSERT_EQ(QVNchgobjsen(env, lp, QVN_MIN), 0);
  ASSERT_EQ(QVNlpopt(env, lp), 0);
  ASSERT_EQ(QVNgetbase(env, lp, cstat, rstat), 0);
  ASSERT_EQ(lp->basisData->rowStatus[0], 0);  // activity 1, the lower end
  const double down = -1e20;
  ASSERT_EQ(QVNchgrngval(env, lp, 1, &row, &down), 0);
  EXPECT_EQ(lp->basisData->rowStatus[0], 2);
}

// 3 binaries and a general integer, one continuous column:
// max 5 b0 + 4 b1 + 3 b2 + 2 g + y
//   c0: 2 b0 + 3 b1 + b2 + g + y <= 5.5
//   c1: b0 + b1 + b2 - g >= 0
// g in [0, 2.5] integer (its upper bound rounds to 2), y in [0, 1].
LpModel smallMip() {
  LpModel m;
  m.objSense = QVN_MAX;
  m.addRow('L', 5.5), m.addRow('G', 0);
  m.addCol(5, 0, 1, {{0, 2}, {1, 1}});
  m.addCol(4, 0, 1, {{0, 3}, {1, 1}});
  m.addCol(3, 0, 1, {{0, 1}, {1, 1}});
  m.addCol(2, 0, 2.5, {{0, 1}, {1, -1}});
  m.addCol(1, 0, 1, {{0, 1}});
  return m;
}

// The MIP optimum by enumeration: for each integer point the best y is the
// room left in c0, capped at 1.
double enumerateSmallMip(std::vector<double> &best) {
  double bestObj = -1e30;
  for (int b0 = 0; b0 <= 1; ++b0)
    for (int b1 = 0; b1 <= 1; ++b1)
      for (int b2 = 0; b2 <= 1; ++b2)
        for (int g = 0; g <= 2; ++g) {
          const double room = 5.5 - (2 * b0 + 3 * b1 + b2 + g);
          if (room < 0 || b0 + b1 + b2 - g < 0) continue;
          const double y = std::min(1.0, room);
          const double obj = 5 * b0 + 4 * b1 + 3 * b2 + 2 * g + y;
          if (obj > bestObj) bestObj = obj, best = {double(b0), double(b1), double(b2), double(g), y};
        }
  return bestObj;
}

TEST_F(WarmEdits, FixedProblemOfASolvedMip) {
  const LpModel m = smallMip();
  ASSERT_EQ(m.load(env, lp), 0);
  // Type changes that need a MIP, or a MIP result.
  EXPECT_EQ(QVNchgprobtype(env, lp, QVN_PROB_FIXEDMILP), QVNERR_NOT_MILPCLASS);
  EXPECT_EQ(QVNchgprobtype(env, lp, QVN_PROB_FIXEDMIQP), QVNERR_NOT_MIQPCLASS);
  ASSERT_EQ(QVNcopyctype(env, lp, "BBBIC"), 0);
  EXPECT_EQ(QVNchgprobtype(env, lp, QVN_PROB_FIXEDMILP), QVNERR_NO_SOLN);
  takeErrors();
  ASSERT_EQ(QVNmipopt(env, lp), 0);
  std::vector<double> expect;
  const double optimum = enumerateSmallMip(expect);
  double mipObj = 0;
  ASSERT_EQ(QVNgetobjval(env, lp, &mipObj), 0);
  ASSERT_NEAR(mipObj, optimum, 1e-6 * optimum);

  takeLog();
  ASSERT_EQ(QVNchgprobtype(env, lp, QVN_PROB_FIXEDMILP), 0);
  EXPECT_EQ(takeLog(), "Warning:  Non-integral bounds for integer variables rounded.\n");
  EXPECT_EQ(QVNgetprobtype(env, lp), QVN_PROB_FIXEDMILP);
  // Edits of a fixed problem are refused; the same type again is a no-op.
  const int col = 4;
  const double v = 0.5;
  EXPECT_EQ(QVNchgobj(env, lp, 1, &col, &v), QVNERR_NOT_ONE_PROBLEM);
  EXPECT_EQ(QVNchgprobtype(env, lp, QVN_PROB_FIXEDMILP), 0);
  takeErrors();

  // The handle reads the fixed LP: integer columns fixed at the incumbent.
  const LpModel fixed = qvntest::readModel(env, lp);
  for (int j = 0; j < 4; ++j) {
    EXPECT_EQ(fixed.lower[j], fixed.upper[j]) << j;
    EXPECT_NEAR(fixed.lower[j], std::round(fixed.lower[j]), 1e-6) << j;
  }
  EXPECT_EQ(fixed.lower[4], 0.0);
  EXPECT_EQ(fixed.upper[4], 1.0);
  ASSERT_EQ(QVNlpopt(env, lp), 0);
  EXPECT_EQ(QVNgetstat(env, lp), QVN_STAT_OPTIMAL);
  LpSolution s;
  ASSERT_EQ(qvntest::readSolution(env, lp, fixed, s), 0);
  // Its optimum is the MIP's (up to the integrality tolerance of the
  // incumbent it fixes), with duals that prove it on the fixed LP.
  EXPECT_NEAR(s.objective, optimum, 1e-6 * optimum);
  EXPECT_EQ(qvntest::checkOptimal(fixed, s, 1e-9), "");

  // Back to the MIP: the model as entered, with its integer data.
  ASSERT_EQ(QVNchgprobtype(env, lp, QVN_PROB_MILP), 0);
  EXPECT_EQ(QVNgetprobtype(env, lp), QVN_PROB_MILP);
  EXPECT_EQ(lp->fixedProblem, nullptr);
  const LpModel back = qvntest::readModel(env, lp);
  EXPECT_EQ(back.upper[3], 2.5);
  EXPECT_EQ(back.lower[0], 0.0);
  EXPECT_EQ(back.upper[0], 1.0);
}

} // namespace
