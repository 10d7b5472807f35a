// The statuses of a MIP run that arise without cuts and heuristics, the
// limits and resume, the argument errors, and solution access on a MIP.
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "mip/mip_check.h"
#include "mip/mip_models.h"
#include "support/test_support.h"

namespace qvntest {
namespace {

class MipStatusTest : public ProblemFixture {
protected:
  void SetUp() override {
    ProblemFixture::SetUp();
    QVNsetintparam(env, QVN_PARAM_MIPDISPLAY, 0);
  }
  void load(const MipModel &m) { ASSERT_EQ(loadMipModel(env, lp, m), 0); }
  int run() {
    EXPECT_EQ(QVNmipopt(env, lp), 0);
    return QVNgetstat(env, lp);
  }
  // A knapsack that needs a real tree: equal ratios make the bound weak.
  MipModel hardKnapsack() {
    MipModel m;
    m.lp.objSense = QVN_MAX;
    const int r = m.lp.addRow('L', 0);
    double total = 0;
    for (int j = 0; j < 16; ++j) {
      const double w = 100 + 2 * j + (j % 3);
      m.lp.addCol(w + 1, 0, 1, {{r, w}});
      total += w;
    }
    m.lp.rhs[r] = std::floor(total / 2) + 0.5;
    m.ctype.assign(16, 'B');
    return m;
  }
};

TEST_F(MipStatusTest, InfeasibleUnboundedAndTrivial) {
  // 2x = 1 with x integer: the LP is feasible, no integer point is.
  MipModel odd;
  const int r = odd.lp.addRow('E', 1);
  odd.lp.addCol(1, 0, 10, {{r, 2}});
  odd.ctype = "I";
  load(odd);
  EXPECT_EQ(run(), QVN_STAT_MIP_INFEASIBLE);
  double value = 0;
  EXPECT_EQ(QVNgetobjval(env, lp, &value), QVNERR_NO_INT_X);
  EXPECT_EQ(QVNgetx(env, lp, &value, 0, 0), QVNERR_NO_INT_X);
  int status = 0;
  EXPECT_EQ(QVNsolution(env, lp, &status, nullptr, nullptr, nullptr, nullptr, nullptr), 0);
  EXPECT_EQ(status, QVN_STAT_MIP_INFEASIBLE);
  takeErrors();
  // An infeasible relaxation.
  MipModel empty;
  const int a = empty.lp.addRow('G', 5);
  empty.lp.addCol(1, 0, 2, {{a, 1}});
  empty.ctype = "I";
  load(empty);
  EXPECT_EQ(run(), QVN_STAT_MIP_INFEASIBLE);
  // min -x with x integer and unbounded above.
  MipModel open;
  const int b = open.lp.addRow('G', 0);
  open.lp.addCol(-1, 0, 1e20, {{b, 1}});
  open.ctype = "I";
  load(open);
  // Presolve proves it by the objective alone, which tells only that no
  // finite optimum exists; the search without presolve finds the ray.
  EXPECT_EQ(run(), QVN_STAT_MIP_INForUNBD);
  QVNsetintparam(env, QVN_PARAM_PREIND, 0);
  load(open);
  EXPECT_EQ(run(), QVN_STAT_MIP_UNBOUNDED);
  QVNsetintparam(env, QVN_PARAM_PREIND, 1);
  // An integral relaxation is optimal at the root: x = 3 at min x, x >= 3.
  MipModel easy;
  const int c = easy.lp.addRow('G', 3);
  easy.lp.addCol(1, 0, 10, {{c, 1}});
  easy.ctype = "I";
  load(easy);
  EXPECT_EQ(run(), QVN_STAT_MIP_OPTIMAL);
  EXPECT_EQ(checkIncumbentOf(env, lp, easy), "");
  ASSERT_EQ(QVNgetobjval(env, lp, &value), 0);
  EXPECT_EQ(value, 3.0);
}

void collectText(void *handle, const char *text) { static_cast<std::string *>(handle)->append(text); }

TEST_F(MipStatusTest, UnscaledInfeasibilitiesOfAnOptimum) {
  // min a + b, a >= 1 and b >= 5e-7 as rows, a and b in an SOS1. A set
  // member at 5e-7 counts as zero for the search, so a = 1, b = 5e-7 is
  // its optimum (objective 1 + 5e-7); taken exactly the set is violated by
  // 5e-7, which an integrality tolerance of 1e-7 does not cover.
  MipModel m;
  const int ra = m.lp.addRow('G', 1.0), rb = m.lp.addRow('G', 5e-7);
  m.lp.addCol(1, 0, 10, {{ra, 1}});
  m.lp.addCol(1, 0, 10, {{rb, 1}});
  m.ctype = "CC";
  const char type = '1';
  const int start = 0, members[2] = {0, 1};
  const double weights[2] = {1, 2};
  std::string warnings;
  QVNCHANNELptr warning = nullptr;
  ASSERT_EQ(QVNgetchannels(env, nullptr, &warning, nullptr, nullptr), 0);
  ASSERT_EQ(QVNaddfuncdest(env, warning, &warnings, collectText), 0);
  QVNsetintparam(env, QVN_PARAM_PREIND, 0);
  for (const double epint : {1e-7, 1e-5}) {
    load(m);
    ASSERT_EQ(QVNaddsos(env, lp, 1, 2, &type, &start, members, weights, nullptr), 0);
    QVNsetdblparam(env, QVN_PARAM_EPINT, epint);
    warnings.clear();
    const int status = run();
    std::vector<double> x(2);
    ASSERT_EQ(QVNgetx(env, lp, x.data(), 0, 1), 0);
    // The violation of the set, measured here: the smaller of the two members.
    const double violation = std::min(std::fabs(x[0]), std::fabs(x[1]));
    double objective = 0;
    ASSERT_EQ(QVNgetobjval(env, lp, &objective), 0);
    EXPECT_NEAR(objective, x[0] + x[1], 1e-12);
    EXPECT_NEAR(objective, 1.0 + 5e-7, 1e-9);
    if (violation > epint) {
      EXPECT_EQ(status, QVN_STAT_MIP_OPTIMAL_INFEAS) << epint;
      EXPECT_NE(warnings.find("Warning: integer solution contains unscaled infeasibilities.\n"), std::string::npos);
      char text[512];
      ASSERT_NE(QVNgetstatstring(env, status, text), nullptr);
      EXPECT_STREQ(text, "integer optimal with unscaled infeasibilities");
      // A final status: the next call returns it at once.
      EXPECT_EQ(run(), QVN_STAT_MIP_OPTIMAL_INFEAS);
    } else {
      EXPECT_EQ(status, QVN_STAT_MIP_OPTIMAL) << epint;
      EXPECT_EQ(warnings.find("unscaled"), std::string::npos);
    }
  }
  QVNdelfuncdest(env, warning, &warnings, collectText);
  QVNsetdblparam(env, QVN_PARAM_EPINT, 1e-5);
  QVNsetintparam(env, QVN_PARAM_PREIND, 1);
}

TEST_F(MipStatusTest, NodeLimitThenResumeOnTheSameTree) {
  const MipModel m = hardKnapsack();
  double optimum = 0;
  ASSERT_TRUE(enumerateOptimum(m, &optimum, 1L << 25));
  load(m);
  QVNsetdblparam(env, QVN_PARAM_EPGAP, 0.0);
  QVNsetdblparam(env, QVN_PARAM_EPAGAP, 0.0);
  QVNsetintparam(env, QVN_PARAM_NODELIM, 5);
  const int first = run();
  EXPECT_TRUE(first == QVN_STAT_MIP_NODE_LIM_FEAS || first == QVN_STAT_MIP_NODE_LIM_INFEAS) << first;
  EXPECT_EQ(QVNgetnodecnt(env, lp), 5);
  EXPECT_GT(QVNgetnodeleftcnt(env, lp), 0);
  EXPECT_EQ(checkIncumbentOf(env, lp, m), "");
  double bound = 0;
  ASSERT_EQ(QVNgetbestobjval(env, lp, &bound), 0);
  EXPECT_GE(bound, optimum - 1e-6);  // a maximization: the bound is above the optimum
  // More nodes: the same tree goes on, the counter keeps counting.
  QVNsetintparam(env, QVN_PARAM_NODELIM, 2100000000);
  EXPECT_EQ(run(), QVN_STAT_MIP_OPTIMAL);
  EXPECT_GT(QVNgetnodecnt(env, lp), 5);
  EXPECT_EQ(QVNgetnodeleftcnt(env, lp), 0);
  double objective = 0;
  ASSERT_EQ(QVNgetobjval(env, lp, &objective), 0);
  EXPECT_TRUE(sameObjective(objective, optimum)) << objective << " vs " << optimum;
  EXPECT_EQ(checkIncumbentOf(env, lp, m), "");
  // A final status is kept: the next call returns it at once.
  const int nodes = QVNgetnodecnt(env, lp), iterations = QVNgetmipitcnt(env, lp);
  EXPECT_EQ(run(), QVN_STAT_MIP_OPTIMAL);
  EXPECT_EQ(QVNgetnodecnt(env, lp), nodes);
  EXPECT_EQ(QVNgetmipitcnt(env, lp), iterations);
  // ADVIND 0 starts over.
  QVNsetintparam(env, QVN_PARAM_ADVIND, 0);
  EXPECT_EQ(run(), QVN_STAT_MIP_OPTIMAL);
}

TEST_F(MipStatusTest, TimeSolutionAndGapLimits) {
  const MipModel m = hardKnapsack();
  double optimum = 0;
  ASSERT_TRUE(enumerateOptimum(m, &optimum, 1L << 25));
  load(m);
  QVNsetdblparam(env, QVN_PARAM_TILIM, 0.0);
  const int timed = run();
  EXPECT_TRUE(timed == QVN_STAT_MIP_TIME_LIM_FEAS || timed == QVN_STAT_MIP_TIME_LIM_INFEAS) << timed;
  QVNsetdblparam(env, QVN_PARAM_TILIM, 1e75);
  QVNsetintparam(env, QVN_PARAM_ADVIND, 0);
  QVNsetintparam(env, QVN_PARAM_INTSOLLIM, 1);
  EXPECT_EQ(run(), QVN_STAT_MIP_SOL_LIM);
  EXPECT_EQ(checkIncumbentOf(env, lp, m), "");
  QVNsetintparam(env, QVN_PARAM_INTSOLLIM, 2100000000);
  // A wide relative gap: the answer is within it of the optimum.
  QVNsetdblparam(env, QVN_PARAM_EPGAP, 0.05);
  const int gapped = run();
  EXPECT_TRUE(gapped == QVN_STAT_MIP_OPTIMAL || gapped == QVN_STAT_MIP_OPTIMAL_TOL) << gapped;
  double objective = 0, gap = 0;
  ASSERT_EQ(QVNgetobjval(env, lp, &objective), 0);
  EXPECT_GE(objective, optimum * (1 - 0.05) - 1e-6);
  EXPECT_LE(objective, optimum + 1e-6);
  ASSERT_EQ(QVNgetmiprelgap(env, lp, &gap), 0);
  EXPECT_LE(gap, 0.05);
  EXPECT_EQ(checkIncumbentOf(env, lp, m), "");
  // An absolute gap wider than any: the first incumbent (the empty knapsack
  // of the start, or a root heuristic's) ends the run with 102, and bound
  // and gap say how far it may be off.
  QVNsetdblparam(env, QVN_PARAM_EPGAP, 0.0);
  QVNsetdblparam(env, QVN_PARAM_EPAGAP, 1e9);
  load(m);
  {
    std::vector<int> index(16);
    std::vector<double> zero(16, 0.0);
    for (int j = 0; j < 16; ++j) index[j] = j;
    ASSERT_EQ(QVNcopymipstart(env, lp, 16, index.data(), zero.data()), 0);
  }
  EXPECT_EQ(run(), QVN_STAT_MIP_OPTIMAL_TOL);
  double bound = 0;
  ASSERT_EQ(QVNgetobjval(env, lp, &objective), 0);
  ASSERT_EQ(QVNgetbestobjval(env, lp, &bound), 0);
  ASSERT_EQ(QVNgetmiprelgap(env, lp, &gap), 0);
  EXPECT_LE(objective, optimum + 1e-6);
  EXPECT_GE(bound, optimum - 1e-6);  // a maximization: the bound lies above the optimum
  EXPECT_NEAR(gap, std::fabs(bound - objective) / (std::fabs(objective) + 1e-10), 1e-6 * gap);
  EXPECT_EQ(checkIncumbentOf(env, lp, m), "");
  QVNsetdblparam(env, QVN_PARAM_EPAGAP, 0.0);
  // A tree limit of a few bytes stops as soon as nodes are stored.
  QVNsetdblparam(env, QVN_PARAM_TRELIM, 1e-6);
  const int memory = run();
  EXPECT_TRUE(memory == QVN_STAT_MIP_MEM_LIM_FEAS || memory == QVN_STAT_MIP_MEM_LIM_INFEAS) << memory;
  EXPECT_EQ(checkIncumbentOf(env, lp, m), "");
  QVNsetdblparam(env, QVN_PARAM_TRELIM, 1e75);
  // The terminate flag stops the run; cleared, the same tree finishes.
  volatile int flag = 1;
  ASSERT_EQ(QVNsetterminate(env, &flag), 0);
  const int aborted = run();
  EXPECT_TRUE(aborted == QVN_STAT_MIP_ABORT_FEAS || aborted == QVN_STAT_MIP_ABORT_INFEAS) << aborted;
  flag = 0;
  EXPECT_EQ(run(), QVN_STAT_MIP_OPTIMAL);
  double objective2 = 0;
  ASSERT_EQ(QVNgetobjval(env, lp, &objective2), 0);
  EXPECT_TRUE(sameObjective(objective2, optimum));
  EXPECT_EQ(checkIncumbentOf(env, lp, m), "");
  QVNsetterminate(env, nullptr);
}

TEST_F(MipStatusTest, CutoffAndObjectiveDifference) {
  const MipModel m = knapsack(3, 12);
  double optimum = 0;
  ASSERT_TRUE(enumerateOptimum(m, &optimum));
  load(m);
  QVNsetdblparam(env, QVN_PARAM_EPGAP, 0.0);
  QVNsetdblparam(env, QVN_PARAM_EPAGAP, 0.0);
  // A lower cutoff above the optimum of a maximization leaves nothing.
  QVNsetdblparam(env, QVN_PARAM_CUTLO, optimum + 0.5);
  EXPECT_EQ(run(), QVN_STAT_MIP_INFEASIBLE);
  // A cutoff just below lets the optimum through.
  QVNsetdblparam(env, QVN_PARAM_CUTLO, optimum - 0.5);
  QVNsetintparam(env, QVN_PARAM_ADVIND, 0);
  EXPECT_EQ(run(), QVN_STAT_MIP_OPTIMAL);
  double objective = 0;
  ASSERT_EQ(QVNgetobjval(env, lp, &objective), 0);
  EXPECT_TRUE(sameObjective(objective, optimum));
  EXPECT_EQ(checkIncumbentOf(env, lp, m), "");
  // An objective difference larger than any improvement: the first incumbent
  // found by a run is within OBJDIF of the optimum and the tree ends.
  QVNsetdblparam(env, QVN_PARAM_CUTLO, -1e75);
  QVNsetdblparam(env, QVN_PARAM_OBJDIF, 30.0);
  EXPECT_EQ(run(), QVN_STAT_MIP_OPTIMAL);
  ASSERT_EQ(QVNgetobjval(env, lp, &objective), 0);
  EXPECT_GE(objective, optimum - 30.0 - 1e-6);
  EXPECT_EQ(checkIncumbentOf(env, lp, m), "");
}

TEST_F(MipStatusTest, ArgumentErrorsAndAccess) {
  // An LP is not a MIP.
  LpModel plain;
  const int r = plain.addRow('G', 1);
  plain.addCol(1, 0, 5, {{r, 1}});
  ASSERT_EQ(plain.load(env, lp), 0);
  EXPECT_EQ(QVNmipopt(env, lp), QVNERR_NOT_MIP);
  EXPECT_NE(takeErrors().find("3003"), std::string::npos);
  EXPECT_EQ(QVNmipopt(env, nullptr), QVNERR_NO_PROBLEM);
  takeErrors();
  // A fixed integer column at a fractional value.
  MipModel fixed;
  const int f = fixed.lp.addRow('G', 0);
  fixed.lp.addCol(1, 1.5, 1.5, {{f, 1}});
  fixed.ctype = "I";
  ASSERT_EQ(loadMipModel(env, lp, fixed), 0);
  EXPECT_EQ(QVNmipopt(env, lp), 3011);
  EXPECT_NE(takeErrors().find("Non-integral fixed bound value 1.5"), std::string::npos);
  // Before any run: no tree, no solution.
  const MipModel m = knapsack(5, 8);
  ASSERT_EQ(loadMipModel(env, lp, m), 0);
  double value = 0;
  EXPECT_EQ(QVNgetbestobjval(env, lp, &value), QVNERR_NO_TREE);
  EXPECT_EQ(QVNgetobjval(env, lp, &value), QVNERR_NO_SOLN);
  EXPECT_EQ(QVNgetnodecnt(env, lp), 0);
  takeErrors();
  EXPECT_EQ(QVNmipopt(env, lp), 0);
  EXPECT_EQ(QVNgetstat(env, lp), QVN_STAT_MIP_OPTIMAL);
  std::vector<double> pi(2);
  EXPECT_EQ(QVNgetpi(env, lp, pi.data(), 0, 1), QVNERR_NOT_FOR_MIP);
  EXPECT_EQ(QVNsolution(env, lp, nullptr, nullptr, nullptr, pi.data(), nullptr, nullptr), QVNERR_NOT_FOR_MIP);
  EXPECT_EQ(QVNgetx(env, lp, pi.data(), 0, 8), QVNERR_INDEX_RANGE);
  takeErrors();
  EXPECT_EQ(checkIncumbentOf(env, lp, m), "");
  // A model change drops the tree and the solution.
  const int index = 0;
  const double ub = 0.0;
  ASSERT_EQ(QVNchgbds(env, lp, 1, &index, "U", &ub), 0);
  EXPECT_EQ(QVNgetobjval(env, lp, &value), QVNERR_NO_SOLN);
  takeErrors();
}

} // namespace
} // namespace qvntest

namespace qvntest {
namespace {

void appendText(void *handle, const char *text) { static_cast<std::string *>(handle)->append(text); }

TEST_F(MipStatusTest, PolishingResumesTheTreeAfterALimit) {
  const MipModel m = hardKnapsack();
  double optimum = 0;
  ASSERT_TRUE(enumerateOptimum(m, &optimum, 1L << 25));
  load(m);
  QVNsetdblparam(env, QVN_PARAM_EPGAP, 0.0);
  QVNsetdblparam(env, QVN_PARAM_EPAGAP, 0.0);
  QVNsetintparam(env, QVN_PARAM_NODELIM, 3);
  QVNsetintparam(env, QVN_PARAM_HEURFREQ, -1);  // the tree alone, which finds nothing in three nodes
  QVNsetdblparam(env, QVN_PARAM_POLISHTIME, 30.0);
  QVNsetintparam(env, QVN_PARAM_MIPDISPLAY, 1);
  std::string log;
  QVNCHANNELptr results = nullptr;
  ASSERT_EQ(QVNgetchannels(env, &results, nullptr, nullptr, nullptr), 0);
  ASSERT_EQ(QVNaddfuncdest(env, results, &log, appendText), 0);
  // Three nodes find no integer point here: nothing to polish.
  EXPECT_EQ(run(), QVN_STAT_MIP_NODE_LIM_INFEAS);
  EXPECT_NE(log.find("\nPolishing requested, but no solution to polish.\n\n"), std::string::npos) << log;
  // With an empty knapsack as the start there is.
  QVNsetintparam(env, QVN_PARAM_NODELIM, 30);
  load(m);
  std::vector<int> index(16);
  std::vector<double> zero(16, 0.0);
  for (int j = 0; j < 16; ++j) index[j] = j;
  ASSERT_EQ(QVNcopymipstart(env, lp, 16, index.data(), zero.data()), 0);
  log.clear();
  const int status = run();
  QVNdelfuncdest(env, results, &log, appendText);
  // The node limit stopped the search with an incumbent; polishing lifted it
  // and, on a tree this small, finished it: the optimum is proved.
  EXPECT_NE(log.find("\nNode limit exceeded, integer feasible.\n"), std::string::npos) << log;
  EXPECT_NE(log.find("Spending an additional 30 seconds polishing solution.\n\n"), std::string::npos) << log;
  EXPECT_EQ(status, QVN_STAT_MIP_OPTIMAL);
  EXPECT_GT(QVNgetnodecnt(env, lp), 30);
  double objective = 0;
  ASSERT_EQ(QVNgetobjval(env, lp, &objective), 0);
  EXPECT_TRUE(sameObjective(objective, optimum)) << objective << " vs " << optimum;
  EXPECT_EQ(checkIncumbentOf(env, lp, m), "");
}

TEST_F(MipStatusTest, EveryEmphasisReachesTheOptimum) {
  const MipModel m = knapsack(17, 14);
  double optimum = 0;
  ASSERT_TRUE(enumerateOptimum(m, &optimum));
  QVNsetdblparam(env, QVN_PARAM_EPGAP, 0.0);
  QVNsetdblparam(env, QVN_PARAM_EPAGAP, 0.0);
  for (int emphasis = 0; emphasis <= 4; ++emphasis) {
    load(m);
    QVNsetintparam(env, QVN_PARAM_MIPEMPHASIS, emphasis);
    EXPECT_EQ(run(), QVN_STAT_MIP_OPTIMAL) << emphasis;
    double objective = 0;
    ASSERT_EQ(QVNgetobjval(env, lp, &objective), 0);
    EXPECT_TRUE(sameObjective(objective, optimum)) << emphasis << ": " << objective << " vs " << optimum;
    EXPECT_EQ(checkIncumbentOf(env, lp, m), "") << emphasis;
  }
}

} // namespace
} // namespace qvntest
