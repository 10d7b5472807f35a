// The network method on LPs: the network part solved by the network simplex
// starts the simplex, which must reach the same answer as the dual simplex
// alone (an independent run of another method); on a pure network the
// returned flows and row duals must also pass the network checker.
#include <gtest/gtest.h>

#include <cmath>

#include "network/net_check.h"
#include "support/test_support.h"

namespace qvntest {

namespace {

class NetHybrid : public EnvFixture {
protected:
  void SetUp() override {
    EnvFixture::SetUp();
    QVNsetintparam(env, QVN_PARAM_NETDISPLAY, 0);
  }
  // The LP form of t, one equality row per node and one column per arc; with
  // `partial`, also a capacity row over the first arcs and a column with a
  // coefficient of 2, which the network stage must leave to the simplex.
  QVNLPptr load(const TestNet &t, bool partial) {
    int status = 0;
    QVNLPptr lp = QVNcreateprob(env, &status, "lp");
    EXPECT_NE(lp, nullptr);
    std::vector<int> start, count, index;
    std::vector<double> value, obj(t.cost), lo(t.lower), up(t.upper), rhs(t.supply);
    std::vector<char> sense(static_cast<size_t>(t.nodes), 'E');
    const int cap = t.nodes;
    if (partial) sense.push_back('L'), rhs.push_back(6.0);
    for (int j = 0; j < t.arcs(); ++j) {
      start.push_back(static_cast<int>(index.size()));
      index.push_back(t.from[j]), value.push_back(1);
      index.push_back(t.to[j]), value.push_back(-1);
      if (partial && j < 4) index.push_back(cap), value.push_back(1);
      count.push_back(static_cast<int>(index.size()) - start.back());
    }
    if (partial) {
      // Sends up to 3 units from node 0 to node 1 at two units per unit of flow.
      start.push_back(static_cast<int>(index.size()));
      index.push_back(0), value.push_back(2);
      index.push_back(1), value.push_back(-2);
      count.push_back(2);
      obj.push_back(1.5), lo.push_back(0), up.push_back(3);
    }
    const int cols = static_cast<int>(obj.size()), rows = static_cast<int>(rhs.size());
    EXPECT_EQ(QVNcopylp(env, lp, cols, rows, t.objSense, obj.data(), rhs.data(), sense.data(), start.data(),
                        count.data(), index.data(), value.data(), lo.data(), up.data(), nullptr),
              0);
    return lp;
  }
};

TEST_F(NetHybrid, NetworkStartReachesTheDualSimplexAnswer) {
  int pureOptimal = 0, partialOptimal = 0;
  for (unsigned seed = 1; seed <= 10; ++seed) {
    const TestNet t = randomNet(seed, 10 + static_cast<int>(seed) * 2, 30 + static_cast<int>(seed) * 10, seed % 5 == 0);
    for (bool partial : {false, true}) {
      SCOPED_TRACE("seed " + std::to_string(seed) + (partial ? " partial" : " pure"));
      QVNLPptr reference = load(t, partial);
      ASSERT_EQ(QVNdualopt(env, reference), 0);
      const int refStat = QVNgetstat(env, reference);
      double refObj = 0;
      QVNgetobjval(env, reference, &refObj);
      QVNfreeprob(env, &reference);
      for (int way = 0; way < 3; ++way) {
        QVNLPptr lp = load(t, partial);
        if (way == 2) {
          ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_LPMETHOD, 3), 0);
          ASSERT_EQ(QVNlpopt(env, lp), 0);
          ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_LPMETHOD, 0), 0);
        } else {
          ASSERT_EQ(QVNhybnetopt(env, lp, way == 0 ? 'd' : 'p'), 0);
        }
        const int stat = QVNgetstat(env, lp);
        // Infeasible and unbounded may be told apart differently by the loops.
        if (refStat == QVN_STAT_OPTIMAL || stat == QVN_STAT_OPTIMAL) {
          EXPECT_EQ(stat, refStat) << "way " << way;
        }
        if (stat == QVN_STAT_OPTIMAL && refStat == QVN_STAT_OPTIMAL) {
          double objective = 0;
          QVNgetobjval(env, lp, &objective);
          EXPECT_NEAR(objective, refObj, 1e-6 * (1 + std::fabs(refObj))) << "way " << way;
          (partial ? partialOptimal : pureOptimal) += way == 0;
          if (!partial) {
            std::vector<double> x(static_cast<size_t>(t.arcs())), pi(static_cast<size_t>(t.nodes));
            ASSERT_EQ(QVNgetx(env, lp, x.data(), 0, t.arcs() - 1), 0);
            ASSERT_EQ(QVNgetpi(env, lp, pi.data(), 0, t.nodes - 1), 0);
            for (double &v : x) v = std::round(v * 1e6) / 1e6;
            EXPECT_EQ(checkOptimal(t, x, pi), "") << "way " << way;
            // The network's tree is already optimal for the whole LP.
            if (way == 0) {
              EXPECT_EQ(QVNgetitcnt(env, lp), 0);
            }
          }
        }
        QVNfreeprob(env, &lp);
      }
    }
  }
  EXPECT_GE(pureOptimal, 5);
  EXPECT_GE(partialOptimal, 5);
}

TEST_F(NetHybrid, MethodLettersAndProblemKinds) {
  const TestNet t = randomNet(3, 8, 20);
  QVNLPptr lp = load(t, false);
  EXPECT_EQ(QVNhybnetopt(env, lp, 'x'), QVNERR_BAD_METHOD);
  EXPECT_NE(takeErrors().find("1292"), std::string::npos);
  for (int method : {int('D'), int('t'), int('T'), 2, int('P'), int('o'), int('O'), 1}) EXPECT_EQ(QVNhybnetopt(env, lp, method), 0) << method;
  const char integer = 'I';
  const int column = 0;
  ASSERT_EQ(QVNchgctype(env, lp, 1, &column, &integer), 0);
  EXPECT_EQ(QVNhybnetopt(env, lp, 'd'), QVNERR_NOT_FOR_MIP);
  takeErrors();
  QVNfreeprob(env, &lp);
  EXPECT_EQ(QVNhybnetopt(env, nullptr, 'd'), QVNERR_NO_PROBLEM);
  takeErrors();
}

} // namespace

} // namespace qvntest
