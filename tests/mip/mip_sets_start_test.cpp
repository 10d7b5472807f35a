// Special ordered sets, semi-integer columns and MIP starts, each against an
// optimum worked out by the test itself.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "mip/mip_check.h"
#include "mip/mip_models.h"
#include "support/test_support.h"

namespace qvntest {
namespace {

void appendText(void *handle, const char *text) { static_cast<std::string *>(handle)->append(text); }

// Members of a set whose values the set forbids (0 when the set holds).
int setFaults(const std::vector<double> &x, const std::vector<int> &members, char type) {
  int first = -1, faults = 0;
  for (size_t k = 0; k < members.size(); ++k) {
    if (std::fabs(x[members[k]]) <= 1e-6) continue;
    if (first < 0) first = static_cast<int>(k);
    else if (static_cast<int>(k) >= first + (type == '2' ? 2 : 1)) ++faults;
  }
  return faults;
}

class MipSetsTest : public ExactMipFixture {
protected:
  void addSet(char type, const std::vector<int> &members) {
    std::vector<double> weights(members.size());
    for (size_t k = 0; k < members.size(); ++k) weights[k] = static_cast<double>(k + 1);
    const int start = 0;
    ASSERT_EQ(QVNaddsos(env, lp, 1, static_cast<int>(members.size()), &type, &start, members.data(),
                        weights.data(), nullptr),
              0);
  }
  // Solves, expects `optimum`, and checks the incumbent and the set (if any).
  void expectOptimum(const MipModel &m, double optimum, char type, const std::vector<int> &members,
                     const std::string &what) {
    ASSERT_EQ(QVNmipopt(env, lp), 0) << what;
    ASSERT_EQ(QVNgetstat(env, lp), QVN_STAT_MIP_OPTIMAL) << what;
    double objective = 0.0;
    ASSERT_EQ(QVNgetobjval(env, lp, &objective), 0);
    EXPECT_TRUE(sameObjective(objective, optimum)) << what << ": " << objective << " vs " << optimum;
    EXPECT_EQ(checkIncumbentOf(env, lp, m), "") << what;
    std::vector<double> x(static_cast<size_t>(m.lp.numCols()));
    ASSERT_EQ(QVNgetx(env, lp, x.data(), 0, m.lp.numCols() - 1), 0);
    EXPECT_EQ(setFaults(x, members, type), 0) << what;
  }
};

TEST_F(MipSetsTest, Sos1PicksTheBestSingleColumn) {
  // max sum c_j x_j, sum a_j x_j <= b, 0 <= x_j <= u_j, at most one x_j
  // nonzero: the optimum is the best single column, max_j c_j min(u_j, b / a_j).
  for (int seed = 1; seed <= 12; ++seed) {
    TestRandom random(seed);
    const int n = 4 + seed % 4;
    MipModel m;
    m.lp.objSense = QVN_MAX;
    const double b = random.range(10, 40);
    const double b2 = b + random.range(0, 10);
    const int row = m.lp.addRow('L', b);
    const int second = m.lp.addRow('L', b2);
    std::vector<int> members;
    double best = 0.0;
    for (int j = 0; j < n; ++j) {
      const double c = random.range(1, 20), a = random.range(1, 9), a2 = random.range(1, 9),
                   u = random.range(1, 12);
      members.push_back(m.lp.addCol(c, 0, u, {{row, a}, {second, a2}}));
      best = std::max(best, c * std::min({u, b / a, b2 / a2}));
    }
    m.ctype = std::string(static_cast<size_t>(n), 'C');
    ASSERT_EQ(loadMipModel(env, lp, m), 0);
    addSet('1', members);
    expectOptimum(m, best, '1', members, "seed " + std::to_string(seed));
  }
}

TEST_F(MipSetsTest, Sos2FollowsAPiecewiseLinearFunction) {
  // max y with y = sum f_k l_k, x = sum p_k l_k, sum l_k = 1, x <= X and the
  // l_k an SOS2: y follows the piecewise linear f between adjacent breakpoints,
  // so the optimum is the best of f at breakpoints up to X and f(X) itself.
  for (int seed = 1; seed <= 10; ++seed) {
    TestRandom random(seed + 100);
    const int points = 5 + seed % 3;
    std::vector<double> p(points), f(points);
    for (int k = 0; k < points; ++k) {
      p[k] = 2.0 * k;
      f[k] = random.range(0, 30);
    }
    const double limit = random.range(1, 2 * (points - 1) - 1) + 0.5;
    MipModel m;
    m.lp.objSense = QVN_MAX;
    const int convex = m.lp.addRow('E', 1);
    const int xRow = m.lp.addRow('E', 0);  // x - sum p_k l_k = 0
    const int yRow = m.lp.addRow('E', 0);  // y - sum f_k l_k = 0
    std::vector<int> members;
    for (int k = 0; k < points; ++k) {
      members.push_back(m.lp.addCol(0, 0, 1, {{convex, 1}, {xRow, -p[k]}, {yRow, -f[k]}}));
    }
    m.lp.addCol(0, 0, limit, {{xRow, 1}});
    m.lp.addCol(1, 0, 1000, {{yRow, 1}});
    double best = -1e30;
    for (int k = 0; k < points; ++k)
      if (p[k] <= limit) best = std::max(best, f[k]);
    const int seg = static_cast<int>(limit / 2.0);
    best = std::max(best, f[seg] + (f[seg + 1] - f[seg]) * (limit - p[seg]) / 2.0);
    m.ctype = std::string(static_cast<size_t>(points + 2), 'C');
    ASSERT_EQ(loadMipModel(env, lp, m), 0);
    addSet('2', members);
    expectOptimum(m, best, '2', members, "seed " + std::to_string(seed));
  }
}

TEST_F(MipSetsTest, SemiIntegerColumnsInAndBeyondTheirGap) {
  // min x + 10 y, x + y >= 1.5, 0 <= y <= 1, x semi-integer in {0} u
  // {3..10}: y alone cannot reach 1.5, so x is on and x = 3 costs 3 (x = 2
  // would cost less but lies in the gap).
  MipModel m;
  const int r = m.lp.addRow('G', 1.5);
  m.lp.addCol(1, 3, 10, {{r, 1}});
  m.lp.addCol(10, 0, 1, {{r, 1}});
  m.ctype = "NC";
  ASSERT_EQ(loadMipModel(env, lp, m), 0);
  expectOptimum(m, 3.0, '1', {}, "in the gap");
  // max x, 2x <= 9, x semi-integer in {0} u {2..10}: the fractional 4.5 lies
  // beyond the gap and branches as an integer, to 4.
  MipModel s;
  s.lp.objSense = QVN_MAX;
  const int row = s.lp.addRow('L', 9);
  s.lp.addCol(1, 2, 10, {{row, 2}});
  s.ctype = "N";
  ASSERT_EQ(loadMipModel(env, lp, s), 0);
  expectOptimum(s, 4.0, '1', {}, "beyond the gap");
}

TEST_F(MipSetsTest, SetsAndColumnsUnderEveryRuleAndPriority) {
  // Two independent parts in one model: a knapsack of binaries and an SOS1
  // of continuous columns under a row of its own. The optimum is the sum of
  // the knapsack's (by enumeration) and the best single column of the set.
  for (int seed = 1; seed <= 2; ++seed) {
    MipModel m = knapsack(seed + 40, 8);
    MipModel sack = m;
    double sackOptimum = 0.0;
    ASSERT_TRUE(enumerateOptimum(sack, &sackOptimum));
    TestRandom random(seed + 200);
    const double b = random.range(10, 40);
    const int row = m.lp.addRow('L', b);
    std::vector<int> members;
    double best = 0.0;
    for (int j = 0; j < 5; ++j) {
      const double c = random.range(1, 20), a = random.range(1, 9), u = random.range(1, 12);
      members.push_back(m.lp.addCol(c, 0, u, {{row, a}}));
      best = std::max(best, c * std::min(u, b / a));
    }
    m.ctype += std::string(5, 'C');
    const int n = m.lp.numCols();
    for (int varsel : {-1, 1, 2, 3, 4})
      for (int order = 0; order < 3; ++order) {
        const std::string what = "seed " + std::to_string(seed) + " varsel " + std::to_string(varsel) + " order " +
                                 std::to_string(order);
        ASSERT_EQ(loadMipModel(env, lp, m), 0);
        addSet('1', members);
        // Order 1 ranks the set's members above the binaries, order 2 below.
        if (order > 0) {
          std::vector<int> index(n), priority(n);
          for (int j = 0; j < n; ++j) {
            index[j] = j;
            const bool member = std::find(members.begin(), members.end(), j) != members.end();
            priority[j] = member == (order == 1) ? 10 : 1;
          }
          ASSERT_EQ(QVNcopyorder(env, lp, n, index.data(), priority.data(), nullptr), 0);
        }
        QVNsetintparam(env, QVN_PARAM_VARSEL, varsel);
        expectOptimum(m, sackOptimum + best, '1', members, what);
      }
  }
  QVNsetintparam(env, QVN_PARAM_VARSEL, 0);
}

TEST_F(MipSetsTest, SetOfHigherPriorityIsBranchedFirst) {
  // The SOS1 part alone is fractional at the root (two members share the
  // row), and so is the knapsack: with the set ranked first, the root's
  // branch is on the set, which the log shows without a column name.
  MipModel m = knapsack(9, 8);
  const int row = m.lp.addRow('L', 10);
  std::vector<int> members;
  members.push_back(m.lp.addCol(5, 0, 4, {{row, 1}}));
  members.push_back(m.lp.addCol(5, 0, 4, {{row, 1}}));
  members.push_back(m.lp.addCol(5, 0, 4, {{row, 1}}));
  m.ctype += "CCC";
  const int n = m.lp.numCols();
  ASSERT_EQ(loadMipModel(env, lp, m), 0);
  addSet('1', members);
  std::vector<int> index(n), priority(n, 1);
  for (int j = 0; j < n; ++j) index[j] = j;
  for (int j : members) priority[j] = 5;
  ASSERT_EQ(QVNcopyorder(env, lp, n, index.data(), priority.data(), nullptr), 0);
  std::string branches;
  QVNCHANNELptr logChannel = nullptr;
  ASSERT_EQ(QVNgetchannels(env, nullptr, nullptr, nullptr, &logChannel), 0);
  ASSERT_EQ(QVNaddfuncdest(env, logChannel, &branches, appendText), 0);
  QVNsetintparam(env, QVN_PARAM_MIPDISPLAY, 5);
  QVNsetintparam(env, QVN_PARAM_CUTPASS, -1);
  QVNsetintparam(env, QVN_PARAM_HEURFREQ, -1);
  QVNsetintparam(env, QVN_PARAM_PREIND, 0);
  ASSERT_EQ(QVNmipopt(env, lp), 0);
  QVNdelfuncdest(env, logChannel, &branches, appendText);
  // The children of the root (parent 0, depth 1) carry no column name; a
  // set's child shows the letter C.
  const size_t header = branches.find("         Variable B Parent  Depth");
  ASSERT_NE(header, std::string::npos) << branches;
  EXPECT_NE(branches.find(std::string(16, ' ') + " C      0      1", header), std::string::npos) << branches;
  int children = 0;
  for (size_t at = branches.find("      0      1", header); at != std::string::npos && children < 100;
       at = branches.find("      0      1", at + 1), ++children) {
    ASSERT_GE(at, header + 18);
    EXPECT_EQ(branches.substr(at - 18, 16), std::string(16, ' ')) << branches.substr(at - 18, 32);
  }
  EXPECT_GT(children, 0);
  double sackOptimum = 0.0;
  ASSERT_TRUE(enumerateOptimum(knapsack(9, 8), &sackOptimum));
  ASSERT_EQ(QVNgetstat(env, lp), QVN_STAT_MIP_OPTIMAL);
  double objective = 0.0;
  ASSERT_EQ(QVNgetobjval(env, lp, &objective), 0);
  EXPECT_TRUE(sameObjective(objective, sackOptimum + 20.0)) << objective;
  EXPECT_EQ(checkIncumbentOf(env, lp, m), "");
}

class MipStartTest : public MipSetsTest {
protected:
  std::string run() {
    std::string text;
    QVNCHANNELptr results = nullptr;
    EXPECT_EQ(QVNgetchannels(env, &results, nullptr, nullptr, nullptr), 0);
    EXPECT_EQ(QVNaddfuncdest(env, results, &text, appendText), 0);
    EXPECT_EQ(QVNmipopt(env, lp), 0);
    QVNdelfuncdest(env, results, &text, appendText);
    return text;
  }
};

TEST_F(MipStartTest, FeasibleStartBecomesTheIncumbentBeforeTheRoot) {
  const MipModel m = knapsack(3, 12);
  ASSERT_EQ(loadMipModel(env, lp, m), 0);
  // Nothing packed is feasible for a knapsack; with no node allowed, the
  // start is all the run has once the root heuristics are off.
  std::vector<int> index(12);
  std::vector<double> zero(12, 0.0);
  for (int j = 0; j < 12; ++j) index[j] = j;
  ASSERT_EQ(QVNcopymipstart(env, lp, 12, index.data(), zero.data()), 0);
  QVNsetintparam(env, QVN_PARAM_MIPDISPLAY, 1);
  QVNsetintparam(env, QVN_PARAM_NODELIM, 0);
  QVNsetintparam(env, QVN_PARAM_HEURFREQ, -1);
  const std::string log = run();
  EXPECT_NE(log.find("MIP start values provide initial solution with objective 0.0000.\n"), std::string::npos)
      << log;
  EXPECT_EQ(QVNgetstat(env, lp), QVN_STAT_MIP_NODE_LIM_FEAS);
  double objective = -1;
  ASSERT_EQ(QVNgetobjval(env, lp, &objective), 0);
  EXPECT_EQ(objective, 0.0);
  EXPECT_EQ(checkIncumbentOf(env, lp, m), "");
  // The run goes on from there to the enumerated optimum.
  QVNsetintparam(env, QVN_PARAM_NODELIM, 2100000000);
  QVNsetintparam(env, QVN_PARAM_MIPDISPLAY, 0);
  ASSERT_EQ(QVNmipopt(env, lp), 0);
  double optimum = 0;
  ASSERT_TRUE(enumerateOptimum(m, &optimum));
  ASSERT_EQ(QVNgetstat(env, lp), QVN_STAT_MIP_OPTIMAL);
  ASSERT_EQ(QVNgetobjval(env, lp, &objective), 0);
  EXPECT_TRUE(sameObjective(objective, optimum));
  EXPECT_EQ(checkIncumbentOf(env, lp, m), "");
}

TEST_F(MipStartTest, IntegerValuesAloneServeWhenTheContinuousOnesDoNotFit) {
  // max 5a + 4b + c, 2a + 3b + c <= 6, a and b binary, 0 <= c <= 10. The
  // start a = b = 1, c = 1.5 breaks the row; with a = b = 1 fixed the LP puts
  // c at 1: objective 10, the optimum (a = 1, b = 0 gives at most 9).
  MipModel m;
  m.lp.objSense = QVN_MAX;
  const int r = m.lp.addRow('L', 6);
  m.lp.addCol(5, 0, 1, {{r, 2}});
  m.lp.addCol(4, 0, 1, {{r, 3}});
  m.lp.addCol(1, 0, 10, {{r, 1}});
  m.ctype = "BBC";
  ASSERT_EQ(loadMipModel(env, lp, m), 0);
  const int index[3] = {0, 1, 2};
  const double values[3] = {1.0, 1.0, 1.5};
  ASSERT_EQ(QVNcopymipstart(env, lp, 3, index, values), 0);
  QVNsetintparam(env, QVN_PARAM_MIPDISPLAY, 1);
  QVNsetintparam(env, QVN_PARAM_NODELIM, 0);
  QVNsetintparam(env, QVN_PARAM_HEURFREQ, -1);
  const std::string log = run();
  EXPECT_NE(log.find("MIP start values provide initial solution with objective 10.0000.\n"), std::string::npos)
      << log;
  double objective = 0;
  ASSERT_EQ(QVNgetobjval(env, lp, &objective), 0);
  EXPECT_EQ(objective, 10.0);
  EXPECT_EQ(checkIncumbentOf(env, lp, m), "");
}

TEST_F(MipStartTest, SecondAttemptTakesNearlyIntegralValues) {
  // max x1 + x2 + x3 + x4, 2 x_j <= 3, x_j integer in [0, 3]. The start's
  // values 1 + 3e-6 are too far from 1 to fix a column in a first attempt;
  // left free, those columns sit at 1.5 and the short dive rounds one up to an
  // infeasible 2. The second attempt takes them as 1: objective 3, below
  // the optimum 4, so the incumbent can only be the start's.
  MipModel m;
  m.lp.objSense = QVN_MAX;
  for (int j = 0; j < 4; ++j) {
    const int r = m.lp.addRow('L', 3);
    m.lp.addCol(1, 0, 3, {{r, 2}});
  }
  m.ctype = "IIII";
  ASSERT_EQ(loadMipModel(env, lp, m), 0);
  // Presolve would solve this model outright; the start is what is tested.
  QVNsetintparam(env, QVN_PARAM_PREIND, 0);
  const int index[] = {0, 1, 2, 3};
  const double values[] = {1 + 3e-6, 1 + 3e-6, 1 + 3e-6, 0};
  ASSERT_EQ(QVNcopymipstart(env, lp, 4, index, values), 0);
  QVNsetintparam(env, QVN_PARAM_MIPDISPLAY, 1);
  QVNsetintparam(env, QVN_PARAM_NODELIM, 0);
  const std::string log = run();
  EXPECT_NE(log.find("MIP start values provide initial solution with objective 3.0000.\n"), std::string::npos)
      << log;
  EXPECT_EQ(QVNgetstat(env, lp), QVN_STAT_MIP_NODE_LIM_FEAS);
  EXPECT_EQ(checkIncumbentOf(env, lp, m), "");
  // A start the model cannot take: the warning, and the search still ends at
  // the optimum.
  QVNsetintparam(env, QVN_PARAM_NODELIM, 2100000000);
  ASSERT_EQ(loadMipModel(env, lp, m), 0);
  const double wrong[] = {3, 3, 3, 3};
  ASSERT_EQ(QVNcopymipstart(env, lp, 4, index, wrong), 0);
  const std::string second = run();
  EXPECT_NE(second.find("Warning:  no solution found from MIP start values.\n"), std::string::npos) << second;
  ASSERT_EQ(QVNgetstat(env, lp), QVN_STAT_MIP_OPTIMAL);
  double objective = 0;
  ASSERT_EQ(QVNgetobjval(env, lp, &objective), 0);
  EXPECT_EQ(objective, 4.0);
  EXPECT_EQ(checkIncumbentOf(env, lp, m), "");
}

} // namespace
} // namespace qvntest
