// The network simplex against independent facts: hand-solved networks, the
// checker of net_check (flows, bounds and prices) and our dual simplex on the
// LP form; the debug check of the tree runs after every pivot.
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <fstream>

#include "network/net_check.h"
#include "network/net_problem.h"
#include "runtime/debug_checks.h"
#include "support/test_support.h"

namespace qvntest {

namespace {

class NetSimplex : public EnvFixture {
protected:
  void SetUp() override {
    EnvFixture::SetUp();
    int status = 0;
    net = QVNNETcreateprob(env, &status, "net");
    ASSERT_NE(net, nullptr);
    QVNsetintparam(env, QVN_PARAM_NETDISPLAY, 0);
  }
  void TearDown() override {
    QVNNETfreeprob(env, &net);
    EnvFixture::TearDown();
  }
  // Solves and reads x and pi; returns the status.
  int solve(const TestNet &t, std::vector<double> &x, std::vector<double> &pi) {
    EXPECT_EQ(loadNet(env, net, t), 0);
    EXPECT_EQ(QVNNETprimopt(env, net), 0);
    x.assign(static_cast<size_t>(t.arcs()) + 1, 0.0);
    pi.assign(static_cast<size_t>(t.nodes) + 1, 0.0);
    int stat = 0;
    double objective = 0;
    if (QVNNETsolution(env, net, &stat, &objective, x.data(), pi.data(), nullptr, nullptr) == 0) {
      x.resize(static_cast<size_t>(t.arcs()));
      pi.resize(static_cast<size_t>(t.nodes));
    }
    return QVNNETgetstat(env, net);
  }
  std::string tempDir() {
    const auto dir = std::filesystem::temp_directory_path() /
                     ("qvn_net_" + std::to_string(::getpid()) + "_" +
                      ::testing::UnitTest::GetInstance()->current_test_info()->name());
    std::filesystem::create_directories(dir);
    return dir.string();
  }
  QVNNETptr net = nullptr;
};

// Two sources (supplies 5 and 3), two sinks (demands 4 and 4):
//   0->2 cost 1 cap 3, 0->3 cost 4, 1->2 cost 2, 1->3 cost 1, 0->1 cost 1.
// Optimum 11: 0->2 = 3, 0->1 = 2, 1->2 = 1, 1->3 = 4 (1*3 + 1*2 + 2*1 + 1*4 = 11).
TestNet smallTransport() {
  TestNet t;
  t.nodes = 4;
  t.supply = {5, 3, -4, -4};
  t.arc(0, 2, 0, 3, 1);
  t.arc(0, 3, 0, 1e20, 4);
  t.arc(1, 2, 0, 1e20, 2);
  t.arc(1, 3, 0, 1e20, 1);
  t.arc(0, 1, 0, 1e20, 1);
  return t;
}

} // namespace

TEST_F(NetSimplex, HandSolvedNetworksAndEdgeCases) {
  std::vector<double> x, pi;
  const TestNet t = smallTransport();
  ASSERT_EQ(solve(t, x, pi), 1);
  EXPECT_EQ(checkOptimal(t, x, pi), "");
  double objective = 0;
  ASSERT_EQ(QVNNETgetobjval(env, net, &objective), 0);
  EXPECT_EQ(objective, 11.0);
  EXPECT_EQ(objectiveOf(t, x), 11.0);

  // Maximizing the negated costs finds the same flow.
  TestNet m = t;
  m.objSense = -1;
  for (double &c : m.cost) c = -c;
  ASSERT_EQ(solve(m, x, pi), 1);
  EXPECT_EQ(checkOptimal(m, x, pi), "");
  EXPECT_EQ(objectiveOf(m, x), -11.0);

  // An empty network is optimal at 0.
  TestNet empty;
  ASSERT_EQ(solve(empty, x, pi), 1);
  ASSERT_EQ(QVNNETgetobjval(env, net, &objective), 0);
  EXPECT_EQ(objective, 0.0);

  // A loop arc with a negative cost runs to its upper bound on its own.
  TestNet loop;
  loop.nodes = 2;
  loop.supply = {1, -1};
  loop.arc(0, 1, 0, 5, 2);
  loop.arc(1, 1, 0, 7, -3);
  ASSERT_EQ(solve(loop, x, pi), 1);
  EXPECT_EQ(x[1], 7.0);
  EXPECT_EQ(objectiveOf(loop, x), 2.0 - 21.0);

  // More supply than demand: infeasible before any pivot.
  TestNet surplus = t;
  surplus.supply[0] += 1;
  EXPECT_EQ(solve(surplus, x, pi), 3);
  EXPECT_EQ(solveAsLp(env, surplus).status, 3);

  // Capacities too narrow: infeasible after phase 1.
  TestNet narrow = t;
  narrow.upper = {1, 1, 1, 1, 1};
  EXPECT_EQ(solve(narrow, x, pi), 3);
  EXPECT_EQ(solveAsLp(env, narrow).status, 3);

  // A negative cycle without capacity is unbounded; the LP agrees.
  TestNet cycle = t;
  cycle.arc(2, 0, 0, 1e20, -10);
  const int stat = solve(cycle, x, pi);
  EXPECT_TRUE(stat == 2 || stat == 4) << stat;
  const int lpStat = solveAsLp(env, cycle).status;
  EXPECT_TRUE(lpStat == 2 || lpStat == 4) << lpStat;

  // Contradictory bounds: the warning names the arc.
  std::string warnings;
  ASSERT_EQ(captureMessages(env, &warnings, false, true), 0);
  TestNet bad = t;
  bad.lower[2] = 5;
  bad.upper[2] = 2;
  EXPECT_EQ(solve(bad, x, pi), 3);
  EXPECT_NE(warnings.find("Warning:  Bounds on 'a3' contradictory.\n"), std::string::npos) << warnings;

  // An iteration limit of 0 stops before the first pivot.
  ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_NETITLIM, 0), 0);
  EXPECT_EQ(solve(t, x, pi), 10);
  EXPECT_EQ(QVNNETgetitcnt(env, net), 0);
  ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_NETITLIM, 2100000000), 0);
  // ... and the next call goes on from where it stopped.
  ASSERT_EQ(QVNNETprimopt(env, net), 0);
  EXPECT_EQ(QVNNETgetstat(env, net), 1);
}

TEST_F(NetSimplex, RandomNetworksAgreeWithTheDualSimplexUnderEveryPricing) {
  qvn::setDebugLevel(env, 1);
  int optimal = 0, infeasible = 0;
  for (int pricing = 0; pricing <= 3; ++pricing) {
    ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_NETPPRIIND, pricing), 0);
    for (unsigned seed = 1; seed <= 12; ++seed) {
      const bool uncapacitated = seed % 4 == 0;
      const TestNet t = randomNet(seed, 12 + static_cast<int>(seed) * 3, 40 + static_cast<int>(seed) * 15, uncapacitated);
      std::vector<double> x, pi;
      const int stat = solve(t, x, pi);
      const Outcome lp = solveAsLp(env, t);
      ASSERT_EQ(stat, lp.status) << "seed " << seed << " pricing " << pricing;
      if (stat == 1) {
        ++optimal;
        EXPECT_EQ(checkOptimal(t, x, pi), "") << "seed " << seed << " pricing " << pricing;
        EXPECT_NEAR(objectiveOf(t, x), lp.objective, 1e-6 * (1 + std::fabs(lp.objective)));
        // The dual values are the LP's row duals: they price the same arcs.
        std::vector<double> dj(static_cast<size_t>(t.arcs()));
        ASSERT_EQ(QVNNETgetdj(env, net, dj.data(), 0, t.arcs() - 1), 0);
        for (int j = 0; j < t.arcs(); ++j)
          EXPECT_NEAR(dj[j], t.cost[j] - pi[t.from[j]] + pi[t.to[j]], 1e-9);
      } else {
        ++infeasible;
      }
    }
  }
  EXPECT_GT(optimal, 20);
}

// Generated networks of a few thousand arcs, feasible, infeasible and
// uncapacitated, under every pricing, with the tree checked after every pivot.
TEST_F(NetSimplex, GeneratedNetworksAgreeWithTheDualSimplex) {
  qvn::setDebugLevel(env, 1);
  struct Case {
    unsigned seed;
    int nodes, arcs;
    bool infeasible, uncapacitated;
    int pricing;
  } cases[] = {
      {1, 100, 800, false, false, 0},  {2, 300, 2500, false, false, 1}, {3, 300, 2500, false, false, 2},
      {4, 400, 3000, false, false, 3}, {5, 200, 1500, true, false, 0},  {6, 200, 1500, true, false, 1},
      {7, 300, 2000, false, true, 0},  {8, 300, 2000, false, true, 2},
  };
  for (const Case &c : cases) {
    ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_NETPPRIIND, c.pricing), 0);
    const TestNet t = netgenNet(c.seed, c.nodes, c.arcs, c.infeasible, c.uncapacitated);
    std::vector<double> x, pi;
    const int stat = solve(t, x, pi);
    const Outcome lp = solveAsLp(env, t);
    EXPECT_EQ(stat, c.infeasible ? 3 : 1) << "seed " << c.seed;
    ASSERT_EQ(stat, lp.status) << "seed " << c.seed;
    if (stat == 1) {
      EXPECT_EQ(checkOptimal(t, x, pi), "") << "seed " << c.seed;
      EXPECT_EQ(objectiveOf(t, x), std::round(lp.objective)) << "seed " << c.seed;
      EXPECT_NEAR(objectiveOf(t, x), lp.objective, 1e-9 * std::fabs(lp.objective)) << "seed " << c.seed;
    }
  }
}

TEST_F(NetSimplex, WarmStartsAfterChangesAndAcrossBases) {
  std::vector<double> x, pi;
  const TestNet t = randomNet(5, 30, 120);
  ASSERT_EQ(solve(t, x, pi), 1);
  const int cold = QVNNETgetitcnt(env, net);
  // The same network again from its optimal tree takes no pivot.
  ASSERT_EQ(QVNNETchgobj(env, net, 0, nullptr, nullptr), 0);
  ASSERT_EQ(QVNNETprimopt(env, net), 0);
  EXPECT_EQ(QVNNETgetitcnt(env, net), 0);

  // A cost change keeps the tree; the answer matches a cold solve.
  TestNet changed = t;
  changed.cost[3] += 25;
  const int arc = 3;
  ASSERT_EQ(QVNNETchgobj(env, net, 1, &arc, &changed.cost[3]), 0);
  ASSERT_EQ(QVNNETprimopt(env, net), 0);
  ASSERT_EQ(QVNNETgetstat(env, net), 1);
  double warm = 0;
  ASSERT_EQ(QVNNETgetobjval(env, net, &warm), 0);
  EXPECT_EQ(warm, solveAsLp(env, changed).objective);

  // A basis read and given back restarts without pivots.
  std::vector<int> arcStat(t.arcs()), nodeStat(t.nodes);
  ASSERT_EQ(QVNNETgetbase(env, net, arcStat.data(), nodeStat.data()), 0);
  int basic = 0;
  for (int s : arcStat) basic += s == 1;
  for (int s : nodeStat) basic += s;
  EXPECT_EQ(basic, t.nodes);
  ASSERT_EQ(QVNNETcopybase(env, net, arcStat.data(), nodeStat.data()), 0);
  ASSERT_EQ(QVNNETprimopt(env, net), 0);
  EXPECT_EQ(QVNNETgetstat(env, net), 1);
  EXPECT_EQ(QVNNETgetitcnt(env, net), 0);
  EXPECT_GT(cold, 0);

  // Without the advanced start every solve begins anew.
  ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_ADVIND, 0), 0);
  ASSERT_EQ(QVNNETprimopt(env, net), 0);
  EXPECT_GT(QVNNETgetitcnt(env, net), 0);
}

TEST_F(NetSimplex, CallbackStopsTheRunAndTheLogReportsIt) {
  const TestNet t = randomNet(9, 60, 400);
  std::string log;
  QVNCHANNELptr logChannel = nullptr;
  ASSERT_EQ(QVNgetchannels(env, nullptr, nullptr, nullptr, &logChannel), 0);
  ASSERT_EQ(QVNaddfuncdest(env, logChannel, &log,
                           [](void *h, const char *text) { static_cast<std::string *>(h)->append(text); }),
            0);
  ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_NETDISPLAY, 2), 0);
  int calls = 0;
  ASSERT_EQ(QVNNETsetcallbackfunc(env,
                                  [](QVNCENVptr, QVNNETptr, int where, void *h) {
                                    ++*static_cast<int *>(h);
                                    return where == 3 ? 1 : 0;
                                  },
                                  &calls),
            0);
  ASSERT_EQ(loadNet(env, net, t), 0);
  ASSERT_EQ(QVNNETprimopt(env, net), 0);
  EXPECT_EQ(QVNNETgetstat(env, net), 13);
  EXPECT_GE(calls, 1);
  EXPECT_NE(log.find("Iteration log . . .\n"), std::string::npos) << log;
  ASSERT_EQ(QVNNETsetcallbackfunc(env, nullptr, nullptr), 0);
  ASSERT_EQ(QVNNETprimopt(env, net), 0);
  EXPECT_EQ(QVNNETgetstat(env, net), 1);
}

TEST_F(NetSimplex, DimacsFilesPlainAndCompressed) {
  const std::string dir = tempDir();
  const TestNet t = smallTransport();
  const std::string plain = dir + "/t.min";
  std::ofstream(plain) << dimacsText(t);
  ASSERT_EQ(QVNNETreadcopyprob(env, net, plain.c_str()), 0);
  EXPECT_EQ(QVNNETgetnumnodes(env, net), 4);
  EXPECT_EQ(QVNNETgetnumarcs(env, net), 5);
  ASSERT_EQ(QVNNETprimopt(env, net), 0);
  double objective = 0;
  ASSERT_EQ(QVNNETgetobjval(env, net, &objective), 0);
  EXPECT_EQ(objective, 11.0);
  ASSERT_EQ(std::system(("gzip -kf " + plain).c_str()), 0);
  ASSERT_EQ(QVNNETreadcopyprob(env, net, (plain + ".gz").c_str()), 0);
  EXPECT_EQ(QVNNETgetnumarcs(env, net), 5);

  // Malformed files: the error number, and the network stays as it was.
  const struct {
    const char *text;
    int error;
  } bad[] = {
      {"p max 2 1\n", QVNERR_NET_NOT_MINCOST},
      {"p min 2 1\na 1 3 0 1 1\n", QVNERR_NET_FILE_INCONSISTENT},
      {"p min 2 2\na 1 2 0 1 1\n", QVNERR_NET_FILE_END},
      {"x 1\n", QVNERR_NET_BAD_ROW},
      {"p min 2 1\nn 1 abc\n", QVNERR_NET_FILE_INCONSISTENT},
      {"a 1 2 0 1 1\n", QVNERR_NET_FILE_INCONSISTENT},
  };
  for (const auto &b : bad) {
    std::ofstream(dir + "/bad.min") << b.text;
    EXPECT_EQ(QVNNETreadcopyprob(env, net, (dir + "/bad.min").c_str()), b.error) << b.text;
    EXPECT_EQ(QVNNETgetnumarcs(env, net), 5);
  }
  takeErrors();
  EXPECT_EQ(QVNNETreadcopyprob(env, net, (dir + "/absent.min").c_str()), QVNERR_FAIL_OPEN_READ);
  takeErrors();
  std::filesystem::remove_all(dir);
}

TEST_F(NetSimplex, ExtractsTheNetworkOfAnLp) {
  const TestNet t = smallTransport();
  // The LP form of t: one equality row per node, one column per arc.
  int status = 0;
  QVNLPptr lp = QVNcreateprob(env, &status, "lp");
  ASSERT_NE(lp, nullptr);
  std::vector<int> start, count, index;
  std::vector<double> value;
  for (int j = 0; j < t.arcs(); ++j) {
    start.push_back(static_cast<int>(index.size()));
    index.push_back(t.from[j]), value.push_back(1);
    index.push_back(t.to[j]), value.push_back(-1);
    count.push_back(2);
  }
  std::vector<char> sense(t.nodes, 'E');
  ASSERT_EQ(QVNcopylp(env, lp, t.arcs(), t.nodes, 1, t.cost.data(), t.supply.data(), sense.data(), start.data(),
                      count.data(), index.data(), value.data(), t.lower.data(), t.upper.data(), nullptr),
            0);
  std::vector<int> colMap(t.arcs()), rowMap(t.nodes);
  ASSERT_EQ(QVNNETextract(env, net, lp, colMap.data(), rowMap.data()), 0);
  EXPECT_EQ(QVNNETgetnumarcs(env, net), t.arcs());
  EXPECT_EQ(QVNNETgetnumnodes(env, net), t.nodes);
  ASSERT_EQ(QVNNETprimopt(env, net), 0);
  double objective = 0;
  ASSERT_EQ(QVNNETgetobjval(env, net, &objective), 0);
  EXPECT_EQ(objective, 11.0);
  QVNfreeprob(env, &lp);
}

} // namespace qvntest
