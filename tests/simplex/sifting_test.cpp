// Sifting reaches the reference optima, checked independently on the model
// read back; its limits and counters.
#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "runtime/debug_checks.h"
#include "simplex/basis_test_support.h"

namespace {

using qvntest::EnvFixture;

class Sifting : public EnvFixture {
protected:
  void SetUp() override {
    EnvFixture::SetUp();
    ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_SIMDISPLAY, 0), 0);
    ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_SIFTDISPLAY, 0), 0);
  }
  // Solves by sifting and checks status, objective and optimality conditions.
  void solveChecked(QVNLPptr lp, double reference, bool throughLpopt) {
    if (throughLpopt) {
      ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_LPMETHOD, 5), 0);
      ASSERT_EQ(QVNlpopt(env, lp), 0);
      ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_LPMETHOD, 0), 0);
    } else {
      ASSERT_EQ(QVNsiftopt(env, lp), 0);
    }
    const qvntest::LpModel model = qvntest::readModel(env, lp);
    qvntest::LpSolution s;
    ASSERT_EQ(qvntest::readSolution(env, lp, model, s), 0);
    EXPECT_EQ(s.status, QVN_STAT_OPTIMAL);
    EXPECT_EQ(QVNgetmethod(env, lp), 5);
    EXPECT_LE(std::fabs(s.objective - reference), 1e-6 * std::max(1.0, std::fabs(reference)));
    EXPECT_EQ(qvntest::checkOptimal(model, s, 1e-6), "");
  }
};

TEST_F(Sifting, NetlibModelsReachTheReference) {
  const std::string data = qvntest::sharedDataDir();
  if (data.empty()) GTEST_SKIP() << "shared test models not present";
  const std::string dir = data + "/netlib";
  const auto reference = qvntest::netlibReference(dir);
  bool viaLpopt = false;
  for (const char *name : {"afiro", "sc50b", "sc105", "share2b", "scagr7", "israel", "kb2", "recipe"}) {
    SCOPED_TRACE(name);
    for (int preind : {1, 0}) {
      int status = 0;
      QVNLPptr lp = QVNcreateprob(env, &status, name);
      ASSERT_EQ(QVNreadcopyprob(env, lp, (dir + "/" + name + ".mps.gz").c_str(), nullptr), 0);
      ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_PREIND, preind), 0);
      solveChecked(lp, reference.at(name), viaLpopt = !viaLpopt);
      QVNfreeprob(env, &lp);
    }
  }
}

// The LP relaxation of air03: 124 rows, 10757 columns, more rounds than one.
TEST_F(Sifting, ManyColumnsFewRowsTakesRounds) {
  const std::string data = qvntest::sharedDataDir();
  if (data.empty()) GTEST_SKIP() << "shared test models not present";
  int status = 0;
  QVNLPptr lp = QVNcreateprob(env, &status, "air03");
  ASSERT_EQ(QVNreadcopyprob(env, lp, (data + "/miplib3/air03.mps.gz").c_str(), nullptr), 0);
  ASSERT_EQ(QVNchgprobtype(env, lp, QVN_PROB_LP), 0);
  solveChecked(lp, 338864.25, false);
  EXPECT_GT(QVNgetsiftitcnt(env, lp), 1);
  EXPECT_GE(QVNgetsiftitcnt(env, lp), QVNgetsiftphase1cnt(env, lp));
  QVNfreeprob(env, &lp);
}

// No round allowed: the iteration limit status, no solution.
TEST_F(Sifting, RoundLimitZeroStopsBeforeAnyRound) {
  int status = 0;
  QVNLPptr lp = QVNcreateprob(env, &status, "tiny");
  qvntest::LpModel t;
  t.addCol(1, 0, 1e20);
  t.addCol(2, 0, 1e20);
  t.addRow('G', 1);
  t.set(0, 0, 1), t.set(0, 1, 1);
  ASSERT_EQ(t.load(env, lp), 0);
  ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_SIFTITLIM, 0), 0);
  ASSERT_EQ(QVNsiftopt(env, lp), 0);
  EXPECT_EQ(QVNgetstat(env, lp), QVN_STAT_ABORT_IT_LIM);
  double obj = 0;
  EXPECT_EQ(QVNgetobjval(env, lp, &obj), QVNERR_NO_SOLN);
  ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_SIFTITLIM, 2100000000), 0);
  ASSERT_EQ(QVNsiftopt(env, lp), 0);
  EXPECT_EQ(QVNgetstat(env, lp), QVN_STAT_OPTIMAL);
  ASSERT_EQ(QVNgetobjval(env, lp, &obj), 0);
  EXPECT_NEAR(obj, 1.0, 1e-12);  // x0 = 1 is the cheaper cover of the row
  QVNfreeprob(env, &lp);
  takeErrors();
}

// The work LP by the network method (3) and by the barrier (4): the LP
// relaxations of air03 and nw04 reach their reference optima, and the optimality
// conditions hold in the independent checker.
TEST_F(Sifting, NetworkAndBarrierWorkMethodsReachTheRelaxationOptima) {
  const std::string data = qvntest::sharedDataDir();
  if (data.empty()) GTEST_SKIP() << "shared test models not present";
  const struct {
    const char *name;
    double relaxation;
  } models[] = {{"air03", 338864.25}, {"nw04", 16310.66667}};
  for (const auto &model : models) {
    int status = 0;
    QVNLPptr lp = QVNcreateprob(env, &status, model.name);
    ASSERT_EQ(QVNreadcopyprob(env, lp, (data + "/miplib3/" + model.name + ".mps.gz").c_str(), nullptr), 0);
    ASSERT_EQ(QVNchgprobtype(env, lp, QVN_PROB_LP), 0);
    for (int alg : {3, 4}) {
      SCOPED_TRACE(std::string(model.name) + " method " + std::to_string(alg));
      ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_SIFTALG, alg), 0);
      ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_ADVIND, 0), 0);  // each method from nothing
      solveChecked(lp, model.relaxation, false);
      EXPECT_GT(QVNgetsiftitcnt(env, lp), 1);
    }
    ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_ADVIND, 1), 0);
    QVNfreeprob(env, &lp);
  }
  ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_SIFTALG, 0), 0);
}

// A transportation problem, 20 sources and 150 sinks (3000 arcs on 170
// rows): a network with far more columns than rows. Every work method gives
// the optimum the dual simplex finds on the whole LP, and with the network
// method each work LP is solved by the network stage, so the simplex
// clean-ups after it make no iteration; also after presolve has dropped the
// one dependent row, which leaves arcs with one end in the work LP.
TEST_F(Sifting, TransportationProblemAgreesWithTheDualForEveryWorkMethod) {
  constexpr int sources = 20, sinks = 150;
  qvntest::LpModel t;
  unsigned seed = 12345;
  auto next = [&]() { return seed = seed * 1103515245u + 12345u, (seed >> 16) & 0x7fff; };
  for (int i = 0; i < sources; ++i) t.addRow('E', 75.0);              // supply: sum_j x_ij = 75
  for (int j = 0; j < sinks; ++j) t.addRow('E', -10.0);               // demand: -sum_i x_ij = -10
  for (int i = 0; i < sources; ++i)
    for (int j = 0; j < sinks; ++j) t.addCol(1.0 + next() % 100, 0.0, 1e20, {{i, 1.0}, {sources + j, -1.0}});
  int status = 0;
  QVNLPptr lp = QVNcreateprob(env, &status, "transport");
  ASSERT_EQ(t.load(env, lp), 0);
  ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_ADVIND, 0), 0);
  ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_PREIND, 0), 0);
  ASSERT_EQ(QVNdualopt(env, lp), 0);
  ASSERT_EQ(QVNgetstat(env, lp), QVN_STAT_OPTIMAL);
  double byDual = 0;
  ASSERT_EQ(QVNgetobjval(env, lp, &byDual), 0);
  for (int alg : {0, 1, 2, 3, 4}) {
    SCOPED_TRACE("method " + std::to_string(alg));
    ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_SIFTALG, alg), 0);
    solveChecked(lp, byDual, false);
    if (alg == 3) {
      EXPECT_EQ(QVNgetitcnt(env, lp), 0);
    }
  }
  ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_PREIND, 1), 0);
  ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_SIFTALG, 3), 0);
  solveChecked(lp, byDual, false);
  EXPECT_EQ(QVNgetitcnt(env, lp), 0);
  ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_SIFTALG, 0), 0);
  ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_ADVIND, 1), 0);
  QVNfreeprob(env, &lp);
  takeErrors();  // the network extraction's probe of the column count reports a short array
}

// fast0507's relaxation (507 rows, 63009 columns) grows its work LP past the
// target size, so rounds drop columns: under the debug check the work LP
// must still hold exactly the columns the driver lists (a deletion renumbers
// them), and the run reaches the reference optimum.
TEST_F(Sifting, RoundsThatDropColumnsKeepTheWorkLpInStep) {
  const std::string data = qvntest::sharedDataDir();
  if (data.empty()) GTEST_SKIP() << "shared test models not present";
  int status = 0;
  QVNLPptr lp = QVNcreateprob(env, &status, "fast0507");
  ASSERT_EQ(QVNreadcopyprob(env, lp, (data + "/miplib3/fast0507.mps.gz").c_str(), nullptr), 0);
  ASSERT_EQ(QVNchgprobtype(env, lp, QVN_PROB_LP), 0);
  qvn::setDebugLevel(env, 1);
  solveChecked(lp, 172.14556668, false);
  EXPECT_EQ(qvn::debugFailureCount(env), 0) << qvn::debugFirstFailure(env);
  qvn::setDebugLevel(env, 0);
  QVNfreeprob(env, &lp);
}

} // namespace
