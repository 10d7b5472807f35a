// One reduction at a time on a tiny model: the reduction must fire (the
// reduced problem shrinks as stated), the replayed solution must pass the
// optimality check on the original model, the replayed basis must need no
// or few primal iterations, and the optimizers must agree with presolve on
// and off.
#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "presolve/presolve_test_support.h"

namespace {

using qvntest::checkOptimal;
using qvntest::EnvFixture;
using qvntest::LpModel;

constexpr double kInf = 1e20;

class Reductions : public EnvFixture {
protected:
  void SetUp() override {
    EnvFixture::SetUp();
    QVNsetintparam(env, QVN_PARAM_SIMDISPLAY, 0);
  }
  // The full round trip; rows/cols are the expected reduced sizes (-1: not checked).
  void roundTrip(const LpModel &m, double objective, int rows, int cols) {
    const qvntest::ReplayCheck c = qvntest::checkReplay(env, m);
    ASSERT_EQ(c.presolveStatus, 0);
    if (rows >= 0) {
      EXPECT_EQ(c.reducedRows, rows);
    }
    if (cols >= 0) {
      EXPECT_EQ(c.reducedCols, cols);
    }
    ASSERT_EQ(c.reducedStatus, QVN_STAT_OPTIMAL);
    EXPECT_EQ(c.uncrushFault, "");
    EXPECT_EQ(c.basisFault, "");
    EXPECT_EQ(c.cleanupIterations, 0);
    for (int preind = 0; preind <= 1; ++preind) {
      for (auto optimizer : {QVNdualopt, QVNprimopt}) {
        const qvntest::PresolveRun r = qvntest::solveModel(env, m, preind, optimizer);
        SCOPED_TRACE(preind ? "presolve on" : "presolve off");
        ASSERT_EQ(r.status, QVN_STAT_OPTIMAL);
        EXPECT_EQ(checkOptimal(m, r.solution), "");
        EXPECT_NEAR(r.solution.objective, objective, 1e-9 * std::max(1.0, std::fabs(objective)));
      }
    }
  }
};

TEST_F(Reductions, EmptyRowsAndColumns) {
  // min x0 - x1 + 0 x2 + 2 x3, row 0 empty (L 5), row 1: x0 + x3 >= 1.
  // x1 in [0, 4] with no rows goes to 4; x2 free with zero cost stays at 0;
  // x0 in [0, 3], x3 in [0, 3]: x0 = 1. Objective 1 - 4 = -3.
  LpModel m;
  m.addRow('L', 5), m.addRow('G', 1);
  m.addCol(1, 0, 3, {{1, 1}});
  m.addCol(-1, 0, 4);
  m.addCol(0, -kInf, kInf);
  m.addCol(2, 0, 3, {{1, 1}});
  roundTrip(m, -3, 1, 2);

  // An empty row that cannot hold and an empty column that improves forever.
  LpModel bad;
  bad.addRow('G', 1);
  bad.addCol(1, 0, 1);
  EXPECT_EQ(qvntest::checkReplay(env, bad).presolveStatus, QVNERR_PRESLV_INForUNBD);
  LpModel unbounded;
  unbounded.addRow('L', 1);
  unbounded.addCol(-1, 0, kInf);
  unbounded.addCol(1, 0, 1, {{0, 1}});
  EXPECT_EQ(qvntest::checkReplay(env, unbounded).presolveStatus, QVNERR_PRESLV_INForUNBD);
}

TEST_F(Reductions, SingletonRowsBecomeBoundsAndGiveTheirDualBack) {
  // max x0 + x1 + x2, r0: 2 x0 <= 3 (x0 <= 1.5), r1: -x1 >= -2 (x1 <= 2),
  // r2: 4 x2 = 2 (x2 = 0.5), r3: x0 + x1 + x2 <= 10 (never binding),
  // x in [0, 5]. Optimum 1.5 + 2 + 0.5 = 4, duals 0.5, -1, 0.25 on r0..r2.
  LpModel m;
  m.objSense = QVN_MAX;
  m.addRow('L', 3), m.addRow('G', -2), m.addRow('E', 2), m.addRow('L', 10);
  m.addCol(1, 0, 5, {{0, 2}, {3, 1}});
  m.addCol(1, 0, 5, {{1, -1}, {3, 1}});
  m.addCol(1, 0, 5, {{2, 4}, {3, 1}});
  roundTrip(m, 4, 0, 0);
}

TEST_F(Reductions, FixedColumnsMoveIntoTheRows) {
  // min x0 + x1, x0 + x1 + x2 >= 4, x0 - x1 <= 1, x2 fixed at 1.5 (cost 3).
  // x0 + x1 >= 2.5 at cost 1 each: objective 2.5 + 4.5 = 7.
  LpModel m;
  m.addRow('G', 4), m.addRow('L', 1);
  m.addCol(1, 0, kInf, {{0, 1}, {1, 1}});
  m.addCol(1, 0, kInf, {{0, 1}, {1, -1}});
  m.addCol(3, 1.5, 1.5, {{0, 1}});
  roundTrip(m, 7, 2, 2);
}

TEST_F(Reductions, ForcingAndRedundantRows) {
  // min -x0 - x1 - x2: r0: x0 + x1 <= 0 forces x0 = x1 = 0 (x >= 0);
  // r1: x0 + x2 <= 10 is redundant with x0, x2 in [0, 4]; r2: x2 - x1 <= 3.
  // x2 = 3 from r2; objective -3. r0's dual must make x0 and x1 dual feasible.
  LpModel m;
  m.addRow('L', 0), m.addRow('L', 10), m.addRow('L', 3);
  m.addCol(-1, 0, 4, {{0, 1}, {1, 1}});
  m.addCol(-1, 0, 4, {{0, 1}, {2, -1}});
  m.addCol(-1, 0, 4, {{1, 1}, {2, 1}});
  roundTrip(m, -3, 0, 0);

  // A row that its columns cannot satisfy.
  LpModel bad;
  bad.addRow('G', 10);
  bad.addCol(1, 0, 2, {{0, 1}});
  bad.addCol(1, 0, 3, {{0, 2}});
  bad.addCol(1, 0, 3, {{0, -1}});
  EXPECT_EQ(qvntest::checkReplay(env, bad).presolveStatus, QVNERR_PRESLV_INForUNBD);
}

TEST_F(Reductions, DominatedColumnsGoToTheirBound) {
  // min x0 + 2 x1 - x2, r0: 2 x1 + x2 >= 3, r1: x0 + x1 - x2 <= 8.
  // Lowering x0 (cost 1) never hurts a row: x0 = 1, its lower bound. Raising
  // x2 (cost -1) never hurts either: x2 = 3. Then x1 = 0. Objective -2.
  LpModel m;
  m.addRow('G', 3), m.addRow('L', 8);
  m.addCol(1, 1, 6, {{1, 1}});
  m.addCol(2, 0, 6, {{0, 2}, {1, 1}});
  m.addCol(-1, 0, 3, {{0, 1}, {1, -1}});
  roundTrip(m, -2, 0, 0);
}

// A zero-cost column that every row lets grow (or fall) without limit goes
// with those rows: the replay gives it the least value that holds them. y is
// column 0 so that the column pass meets it first.
TEST_F(Reductions, ColumnsSentToAnInfiniteBound) {
  // min x0 + 2 x1, y >= ylow (no upper bound, cost 0):
  //  r0: 2 y + x0 >= 4, r1: -y + x1 <= 3, r2: x0 + x1 >= 1, x in [0, 10].
  // r0 and r1 go with y; the rest gives x0 = 1, x1 = 0, objective 1, and the
  // replay y = max(ylow, (4 - x0) / 2, x1 - 3): 1.5 binding r0 for ylow = 0,
  // its own bound 10 for ylow = 10.
  for (double ylow : {0.0, 10.0, -kInf}) {
    SCOPED_TRACE(ylow);
    LpModel m;
    m.addRow('G', 4), m.addRow('L', 3), m.addRow('G', 1);
    m.addCol(0, ylow, kInf, {{0, 2}, {1, -1}});
    m.addCol(1, 0, 10, {{0, 1}, {2, 1}});
    m.addCol(2, 0, 10, {{1, 1}, {2, 1}});
    roundTrip(m, 1, -1, -1);
    int status = 0;
    QVNLPptr lp = QVNcreateprob(env, &status, "inf");
    ASSERT_EQ(m.load(env, lp), 0);
    ASSERT_EQ(QVNpresolve(env, lp, 2), 0);
    int colMap[3] = {}, rowMap[3] = {};
    ASSERT_EQ(QVNgetprestat(env, lp, nullptr, colMap, rowMap, nullptr, nullptr), 0);
    EXPECT_EQ(colMap[0], -3);
    EXPECT_EQ(rowMap[0], -1);
    EXPECT_EQ(rowMap[1], -1);
    // A form on y has no image on the reduced columns.
    const int y = 0;
    const double one = 1.0;
    int plen = 0, pind[3];
    double poff = 0, pval[3];
    EXPECT_EQ(QVNcrushform(env, lp, 1, &y, &one, &plen, &poff, pind, pval), QVNERR_BAD_ARGUMENT);
    QVNfreeprob(env, &lp);
  }
  // Downwards: z <= 5 with cost 0 and no lower bound, in r0: z + x0 <= 2 and
  // r1: -z + x1 >= -1, both relaxed when z falls. min x0 + x1 with
  // r2: x0 + x1 >= 3 gives 3; the replay z = min(5, 2 - x0, x1 + 1).
  LpModel down;
  down.addRow('L', 2), down.addRow('G', -1), down.addRow('G', 3);
  down.addCol(0, -kInf, 5, {{0, 1}, {1, -1}});
  down.addCol(1, 0, 10, {{0, 1}, {2, 1}});
  down.addCol(1, 0, 10, {{1, 1}, {2, 1}});
  roundTrip(down, 3, -1, -1);
  // With a cost the column is no longer free to move: the reduction stays off.
  LpModel costly = down;
  costly.obj[0] = 0.5;
  const qvntest::ReplayCheck c = qvntest::checkReplay(env, costly);
  EXPECT_EQ(c.presolveStatus, QVNERR_PRESLV_INForUNBD);  // z falls forever: unbounded
}

// The bounds a row implies on its columns: one that leaves a column no room
// proves the row infeasible, with its message; ones inside a column's own
// bounds let the aggregator take a column out through an equality row that
// alone would not free it.
TEST_F(Reductions, BoundsImpliedByRows) {
  std::string log;
  ASSERT_EQ(qvntest::captureMessages(env, &log, true, false), 0);
  QVNsetintparam(env, QVN_PARAM_SIMDISPLAY, 1);
  // Neither row alone is infeasible, but r0: x0 + x1 >= 9 with x1 <= 4 needs
  // x0 >= 5 and r1: x0 + x2 <= 3 with x2 >= 0 allows x0 <= 3 only
  // (x0 in [0, 10], x1 and x2 in [0, 4]; costs that fix nothing).
  LpModel bad;
  bad.addRow('G', 9), bad.addRow('L', 3);
  bad.addCol(1, 0, 10, {{0, 1}, {1, 1}});
  bad.addCol(1, 0, 4, {{0, 1}});
  bad.addCol(-1, 0, 4, {{1, 1}});
  EXPECT_EQ(qvntest::checkReplay(env, bad).presolveStatus, QVNERR_PRESLV_INForUNBD);
  EXPECT_NE(log.find("Implied bounds make row 'R2' infeasible.\n"), std::string::npos) << log;
  QVNsetintparam(env, QVN_PARAM_SIMDISPLAY, 0);

  // min -x + 2 z + w - 0.5 v - 0.25 u
  //  e0: x + z + w = 4 (x in [0, 3] is not free by e0: z, w in [0, 10])
  //  r1: x + v <= 3, r2: x - u >= 0 with v, u in [0, 5]: they hold x within
  //  [u, 3 - v], so x's own bounds [0, 3] follow from r1 and r2.
  // Optimum by hand: w = 4 - x - z makes the objective
  // 4 - 2 x + z - 0.5 v - 0.25 u; z = 0, u = x, v = 3 - x: 2.5 - 1.75 x,
  // least at x = 3: -2.75.
  LpModel m;
  m.addRow('E', 4), m.addRow('L', 3), m.addRow('G', 0);
  m.addCol(-1, 0, 3, {{0, 1}, {1, 1}, {2, 1}});
  m.addCol(2, 0, 10, {{0, 1}});
  m.addCol(1, 0, 10, {{0, 1}});
  m.addCol(-0.5, 0, 5, {{1, 1}});
  m.addCol(-0.25, 0, 5, {{2, -1}});
  roundTrip(m, -2.75, -1, -1);
}

TEST_F(Reductions, ImpliedFreeColumnSingletons) {
  // min 2 x0 + x1 + 3 x2, r0: x0 + x1 + x2 >= 4 (x2's only row),
  // r1: x0 - x1 = 1, x0, x1 in [0, 10], x2 >= -100, implied free by r0.
  // r0's dual must be c2 / 1 = 3 > 0: r0 binds at 4. Cheapest: x0 + x1 = 4 - x2
  // with x0 = x1 + 1: cost 3 x1 + 2 + 3 x2 at 2 x1 + 1 + x2 = 4 -> x2 = 3 - 2 x1,
  // cost 3 x1 + 2 + 9 - 6 x1 = 11 - 3 x1, x1 as large as x2 >= -100 allows,
  // x1 <= 10 gives x1 = 10, x2 = -17, x0 = 11 > 10: x0 <= 10 -> x1 = 9, x2 = -15.
  // Objective 20 + 9 - 45 = -16.
  LpModel m;
  m.addRow('G', 4), m.addRow('E', 1);
  m.addCol(2, 0, 10, {{0, 1}, {1, 1}});
  m.addCol(1, 0, 10, {{0, 1}, {1, -1}});
  m.addCol(3, -100, kInf, {{0, 1}});
  roundTrip(m, -16, 0, 0);

  // Bounded above, the singleton is not implied free: it stays.
  m.upper[2] = 100;
  roundTrip(m, -16, 1, 2);
}

TEST_F(Reductions, DoubletonEquationsCarryBounds) {
  // min -x0 - 2 x1 + x2, r0: x0 + x1 = 5 with x1 in [0, 2] (x0 takes x1's
  // bounds: x0 in [3, 5]), r1: x0 + x2 >= 4, x0 in [0, 10], x2 >= 0.
  // Cost -x0 - 2(5 - x0) + x2 = x0 - 10 + x2: x0 as small as x1 <= 2 allows: x0 = 3,
  // x1 = 2, x2 = 1. Objective -3 - 4 + 1 = -6; x1 ends at its bound.
  LpModel m;
  m.addRow('E', 5), m.addRow('G', 4);
  m.addCol(-1, 0, 10, {{0, 1}, {1, 1}});
  m.addCol(-2, 0, 2, {{0, 1}});
  m.addCol(1, 0, kInf, {{1, 1}});
  roundTrip(m, -6, -1, -1);

  // A chain of doubletons, scaled, in a maximization.
  LpModel chain;
  chain.objSense = QVN_MAX;
  chain.addRow('E', 2), chain.addRow('E', -1), chain.addRow('L', 7);
  chain.addCol(1, 0, 4, {{0, 2}, {2, 1}});
  chain.addCol(1, -3, 3, {{0, -1}, {1, 3}});
  chain.addCol(2, 0, 5, {{1, 1}, {2, 1}});
  const qvntest::PresolveRun off = qvntest::solveModel(env, chain, 0, QVNdualopt);
  ASSERT_EQ(off.status, QVN_STAT_OPTIMAL);
  roundTrip(chain, off.solution.objective, -1, -1);
}

TEST_F(Reductions, ParallelRows) {
  // r1 = 2 * r0 with a looser limit: dropped. r2 = -r0 as a >= row that is
  // tighter than r0 ... r0 goes instead. min -x0 - x1 with x in [0, 10]:
  // r0: x0 + x1 <= 6, r1: 2 x0 + 2 x1 <= 20, r2: -x0 - x1 >= -4, r3: x0 - x1 <= 1.
  // x0 + x1 <= 4: objective -4.
  LpModel m;
  m.addRow('L', 6), m.addRow('L', 20), m.addRow('G', -4), m.addRow('L', 1);
  m.addCol(-1, 0, 10, {{0, 1}, {1, 2}, {2, -1}, {3, 1}});
  m.addCol(-1, 0, 10, {{0, 1}, {1, 2}, {2, -1}, {3, -1}});
  roundTrip(m, -4, 2, 2);

  // Two equalities with the same row and right-hand sides 1e-9 apart are one
  // row; 1e-7 apart they contradict each other.
  for (double gap : {1e-9, 1e-7}) {
    LpModel e;
    e.addRow('E', 3), e.addRow('E', 6 + gap), e.addRow('L', 100);
    e.addCol(1, 0, 10, {{0, 1}, {1, 2}, {2, 1}});
    e.addCol(3, 0, 10, {{0, 2}, {1, 4}, {2, 3}});
    e.addCol(1, 0, 10, {{2, 1}});
    const qvntest::ReplayCheck c = qvntest::checkReplay(env, e);
    EXPECT_EQ(c.presolveStatus, gap < 1e-8 ? 0 : QVNERR_PRESLV_INForUNBD) << gap;
  }
}

TEST_F(Reductions, ParallelColumnsMerge) {
  // x1 = 2 x0 in every row and in the cost: x0 + 2 x1 lives on as one column.
  // min -x0 - 2 x1 - x2, r0: x0 + 2 x1 + x2 <= 7, r1: 3 x0 + 6 x1 - x2 <= 9,
  // x0 in [0, 1], x1 in [0, 2], x2 in [0, 4]. With z = x0 + 2 x1 in [0, 5]:
  // min -z - x2, z + x2 <= 7, 3 z - x2 <= 9: z = 4, x2 = 3, objective -7;
  // z = 4 splits into x0 = 1, x1 = 1.5 or x0 = 0, x1 = 2.
  LpModel m;
  m.addRow('L', 7), m.addRow('L', 9);
  m.addCol(-1, 0, 1, {{0, 1}, {1, 3}});
  m.addCol(-2, 0, 2, {{0, 2}, {1, 6}});
  m.addCol(-1, 0, 4, {{0, 1}, {1, -1}});
  roundTrip(m, -7, 2, 2);
  // The crush functions know the merge: z = x0 + 2 x1.
  int status = 0;
  QVNLPptr lp = QVNcreateprob(env, &status, "merge");
  ASSERT_EQ(m.load(env, lp), 0);
  ASSERT_EQ(QVNpresolve(env, lp, 2), 0);
  int origCol[3] = {-1, -1, -1};
  ASSERT_EQ(QVNgetprestat(env, lp, nullptr, nullptr, nullptr, origCol, nullptr), 0);
  ASSERT_EQ(origCol[0], 0);
  const double x[3] = {1, 1.5, 3};
  double rx[3] = {};
  ASSERT_EQ(QVNcrushx(env, lp, x, rx), 0);
  EXPECT_EQ(rx[0], 4.0);
  const int zi = 0;
  const double one = 1.0;
  int len = 0, ind[3];
  double offset = 1, val[3];
  ASSERT_EQ(QVNuncrushform(env, lp, 1, &zi, &one, &len, &offset, ind, val), 0);
  ASSERT_EQ(len, 2);
  EXPECT_EQ(ind[0], 0);
  EXPECT_EQ(val[0], 1.0);
  EXPECT_EQ(ind[1], 1);
  EXPECT_EQ(val[1], 2.0);
  // A form that splits the pair against the merge cannot be written on z.
  const int both[2] = {0, 1};
  const double skew[2] = {1, 1};
  takeErrors();
  EXPECT_EQ(QVNcrushform(env, lp, 2, both, skew, &len, &offset, ind, val), QVNERR_BAD_ARGUMENT);
  double back[3] = {};
  ASSERT_EQ(QVNuncrushx(env, lp, back, rx), 0);
  EXPECT_NEAR(back[0] + 2 * back[1], 4.0, 1e-12);
  EXPECT_GE(back[0], 0.0);
  EXPECT_LE(back[0], 1.0);
  EXPECT_GE(back[1], 0.0);
  EXPECT_LE(back[1], 2.0);
  QVNfreeprob(env, &lp);

  // Opposite directions: x1 = -x0 in rows and cost.
  LpModel opp;
  opp.objSense = QVN_MAX;
  opp.addRow('L', 4), opp.addRow('G', -6);
  opp.addCol(1, -1, 3, {{0, 1}, {1, 2}});
  opp.addCol(-1, -2, 2, {{0, -1}, {1, -2}});
  opp.addCol(1, 0, 1, {{0, 1}, {1, -1}});
  const qvntest::PresolveRun off = qvntest::solveModel(env, opp, 0, QVNdualopt);
  ASSERT_EQ(off.status, QVN_STAT_OPTIMAL);
  roundTrip(opp, off.solution.objective, -1, -1);
}

TEST_F(Reductions, AggregatorSubstitutesImpliedFreeColumns) {
  // r0: x0 + x1 + x2 - x3 = 0 defines x3 (free, cost 1) by the others;
  // r1: x0 + 2 x1 >= 2, r2: x1 + x2 >= 1, r3: x0 + x2 + x3 <= 9, x0..x2 in [0, 5].
  // min x0 + x1 + x2 + x3 = 2 (x0 + x1 + x2) with x3 = x0 + x1 + x2:
  // smallest x0 + x1 + x2 with x0 + 2 x1 >= 2 and x1 + x2 >= 1 is 1 (x1 = 1). Objective 2.
  LpModel m;
  m.addRow('E', 0), m.addRow('G', 2), m.addRow('G', 1), m.addRow('L', 9);
  m.addCol(1, 0, 5, {{0, 1}, {1, 1}, {3, 1}});
  m.addCol(1, 0, 5, {{0, 1}, {1, 2}, {2, 1}});
  m.addCol(1, 0, 5, {{0, 1}, {2, 1}, {3, 1}});
  m.addCol(1, -kInf, kInf, {{0, -1}, {3, 1}});
  roundTrip(m, 2, 3, 3);
}

TEST_F(Reductions, ReductionsOffLeaveTheModelAlone) {
  // With every reduction switched off the model passes through unchanged.
  LpModel m;
  m.addRow('L', 3), m.addRow('E', 2);
  m.addCol(-1, 0, 5, {{0, 2}, {1, 1}});
  m.addCol(-1, 0, 5, {{1, 1}});
  QVNsetintparam(env, QVN_PARAM_REDUCE, 0);
  int status = 0;
  QVNLPptr lp = QVNcreateprob(env, &status, "off");
  ASSERT_EQ(m.load(env, lp), 0);
  ASSERT_EQ(QVNpresolve(env, lp, 2), 0);
  int pre = -1;
  EXPECT_EQ(QVNgetprestat(env, lp, &pre, nullptr, nullptr, nullptr, nullptr), 0);
  EXPECT_EQ(pre, 0);
  QVNfreeprob(env, &lp);

  // Primal reductions alone prove infeasibility as such: status 3, not 4.
  QVNsetintparam(env, QVN_PARAM_REDUCE, 1);
  LpModel bad;
  bad.addRow('G', 10);
  bad.addCol(1, 0, 2, {{0, 1}});
  EXPECT_EQ(qvntest::checkReplay(env, bad).presolveStatus, QVNERR_PRESLV_INF);
  EXPECT_EQ(qvntest::solveModel(env, bad, 1, QVNdualopt).status, QVN_STAT_INFEASIBLE);
  // Dual reductions alone prove unboundedness.
  QVNsetintparam(env, QVN_PARAM_REDUCE, 2);
  LpModel unbounded;
  unbounded.addRow('L', 1);
  unbounded.addCol(-1, 0, kInf);
  unbounded.addCol(1, 0, 1, {{0, 1}});
  EXPECT_EQ(qvntest::checkReplay(env, unbounded).presolveStatus, QVNERR_PRESLV_UNBD);
  // ... but not feasibility: the same argument holds for a model whose rows
  // contradict each other (x + y >= 5 and x + y <= 3). The optimizer takes
  // such a verdict to the loops, which tell the two apart.
  LpModel contradicting = unbounded;
  contradicting.addRow('G', 5), contradicting.addRow('L', 3);
  contradicting.addCol(1, 0, kInf, {{1, 1}, {2, 1}});
  contradicting.addCol(1, 0, kInf, {{1, 1}, {2, 1}});
  EXPECT_EQ(qvntest::checkReplay(env, contradicting).presolveStatus, QVNERR_PRESLV_UNBD);
  EXPECT_EQ(qvntest::solveModel(env, contradicting, 1, QVNdualopt).status, QVN_STAT_INFEASIBLE);
  EXPECT_EQ(qvntest::solveModel(env, unbounded, 1, QVNprimopt).status, QVN_STAT_UNBOUNDED);
  EXPECT_EQ(qvntest::solveModel(env, contradicting, 0, QVNdualopt).status, QVN_STAT_INFEASIBLE);
  QVNsetintparam(env, QVN_PARAM_REDUCE, 3);
  // Both on: the same. (0, 0) is feasible and x0 alone is a ray.
  EXPECT_EQ(qvntest::solveModel(env, unbounded, 1, QVNdualopt).status, QVN_STAT_UNBOUNDED);
  EXPECT_EQ(qvntest::solveModel(env, contradicting, 1, QVNprimopt).status, QVN_STAT_INFEASIBLE);
}

// With the repeat setting a verdict of infeasibility is checked by a second
// run with the passes that completed before it: here none, so the second run
// keeps the model and the optimizer proves infeasibility itself.
TEST_F(Reductions, RepeatSettingRetriesAVerdictWithFewerPasses) {
  LpModel bad;
  bad.addRow('G', 10), bad.addRow('L', 5);
  bad.addCol(1, 0, 2, {{0, 1}, {1, 1}});
  bad.addCol(1, 0, 2, {{0, 1}, {1, 2}});
  int status = 0;
  QVNLPptr lp = QVNcreateprob(env, &status, "repeat");
  ASSERT_EQ(bad.load(env, lp), 0);
  takeErrors();
  EXPECT_EQ(QVNpresolve(env, lp, 2), QVNERR_PRESLV_INForUNBD);
  // The optimizer takes a verdict that cannot tell to the loops.
  EXPECT_EQ(QVNdualopt(env, lp), 0);
  EXPECT_EQ(QVNgetstat(env, lp), QVN_STAT_INFEASIBLE);
  ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_REPEATPRESOLVE, 1), 0);
  EXPECT_EQ(QVNpresolve(env, lp, 2), 0);
  EXPECT_EQ(QVNdualopt(env, lp), 0);
  EXPECT_EQ(QVNgetstat(env, lp), QVN_STAT_INFEASIBLE);
  // A model that is fine is untouched by the setting.
  LpModel good = bad;
  good.rhs[0] = 3;
  ASSERT_EQ(good.load(env, lp), 0);
  ASSERT_EQ(QVNdualopt(env, lp), 0);
  EXPECT_EQ(QVNgetstat(env, lp), QVN_STAT_OPTIMAL);
  double obj = 0;
  ASSERT_EQ(QVNgetobjval(env, lp, &obj), 0);
  EXPECT_NEAR(obj, 3.0, 1e-12);  // x0 + x1 >= 3 binds: x0 = 2, x1 = 1 keeps x0 + 2 x1 <= 5
  QVNsetintparam(env, QVN_PARAM_REPEATPRESOLVE, -1);
  QVNfreeprob(env, &lp);
}

} // namespace
