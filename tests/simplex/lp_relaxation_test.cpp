// The LP relaxation kept alive across changes: every re-solve after bound,
// cost and row changes is checked against a cold solve of the changed model,
// loaded afresh into a new problem (objective agreement), and against the
// independent optimality check of the test support on the changed model.
// Strong branching must leave the relaxation bit for bit as it was.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <random>

#include "model/problem.h"
#include "simplex/engine.h"
#include "simplex/lp_relaxation.h"
#include "support/lp_model.h"
#include "support/test_support.h"

namespace {

using qvntest::EnvFixture;
using qvntest::LpModel;

constexpr double kInf = 1e20;

struct ColdAnswer {
  int status = 0;
  double objective = 0.0;
};

class LpRelaxationTest : public EnvFixture {
protected:
  void SetUp() override {
    EnvFixture::SetUp();
    ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_SIMDISPLAY, 0), 0);
  }
  void TearDown() override {
    qvn::relaxFree(relax);
    if (lp) QVNfreeprob(env, &lp);
    EnvFixture::TearDown();
  }

  // Loads `m` into a new problem and builds the relaxation from it.
  void build(const LpModel &m) {
    int status = 0;
    lp = QVNcreateprob(env, &status, "relax");
    ASSERT_NE(lp, nullptr);
    ASSERT_EQ(m.load(env, lp), 0);
    ASSERT_EQ(qvn::flushCache(env, lp), 0);
    ASSERT_EQ(qvn::relaxCreate(env, *lp->lpData, &relax), 0);
    model = m;
  }

  bool readNetlib(const std::string &name, LpModel &m) {
    const std::string data = qvntest::sharedDataDir();
    if (data.empty()) return false;
    int status = 0;
    QVNLPptr p = QVNcreateprob(env, &status, name.c_str());
    const bool ok = QVNreadcopyprob(env, p, (data + "/netlib/" + name + ".mps.gz").c_str(), nullptr) == 0;
    if (ok) m = qvntest::readModel(env, p);
    QVNfreeprob(env, &p);
    return ok;
  }

  // A cold solve of `m` in a problem of its own, by the dual simplex.
  ColdAnswer cold(const LpModel &m) {
    ColdAnswer a;
    int status = 0;
    QVNLPptr p = QVNcreateprob(env, &status, "cold");
    EXPECT_EQ(m.load(env, p), 0);
    EXPECT_EQ(QVNdualopt(env, p), 0);
    a.status = QVNgetstat(env, p);
    QVNgetobjval(env, p, &a.objective);
    QVNfreeprob(env, &p);
    return a;
  }

  int solve(qvn::RelaxSolveLimits limits = {}) {
    int status = -1;
    EXPECT_EQ(qvn::relaxSolve(*relax, limits, &status), 0);
    return status;
  }

  // The relaxation's answer in the model's sense and units.
  qvntest::LpSolution answer() const {
    qvntest::LpSolution s;
    const int n = qvn::relaxNumCols(*relax), m = qvn::relaxNumRows(*relax);
    const double sigma = model.objSense;
    s.status = QVN_STAT_OPTIMAL;
    s.objective = sigma * qvn::relaxObjective(*relax);
    s.x.assign(qvn::relaxPrimal(*relax), qvn::relaxPrimal(*relax) + n);
    s.dj.resize(n);
    for (int j = 0; j < n; ++j) s.dj[j] = sigma * qvn::relaxReducedCosts(*relax)[j];
    s.pi.resize(m);
    s.slack.resize(m);
    for (int i = 0; i < m; ++i) {
      s.pi[i] = sigma * qvn::relaxDuals(*relax)[i];
      s.slack[i] = model.rhs[i] - qvn::relaxRowActivity(*relax)[i];
    }
    return s;
  }

  // Re-solves and compares with a cold solve of `model` as it now stands.
  void expectAgreement(const char *what) {
    SCOPED_TRACE(what);
    const int status = solve();
    const ColdAnswer c = cold(model);
    if (c.status == QVN_STAT_INFEASIBLE) {
      EXPECT_EQ(status, qvn::kRunInfeasible);
      return;
    }
    ASSERT_EQ(c.status, QVN_STAT_OPTIMAL);
    ASSERT_EQ(status, qvn::kRunOptimal);
    const qvntest::LpSolution s = answer();
    EXPECT_LE(std::fabs(s.objective - c.objective), 1e-6 * std::max(1.0, std::fabs(c.objective)));
    EXPECT_EQ(qvntest::checkOptimal(model, s, 1e-6), "");
  }

  QVNLPptr lp = nullptr;
  qvn::LpRelaxation *relax = nullptr;
  LpModel model;
};

// min -x0 - 2 x1 s.t. x0 + x1 <= 4, x0 + 3 x1 <= 6, 0 <= x <= 3.
// Optimum x = (3, 1), objective -5 (x0 at its upper bound, both rows tight:
// the duals are not unique, the optimality check judges them).
LpModel smallModel() {
  LpModel m;
  m.addCol(-1, 0, 3);
  m.addCol(-2, 0, 3);
  m.addRow('L', 4);
  m.addRow('L', 6);
  m.set(0, 0, 1), m.set(0, 1, 1);
  m.set(1, 0, 1), m.set(1, 1, 3);
  return m;
}

TEST_F(LpRelaxationTest, SmallModelThroughBoundCostAndRowChanges) {
  build(smallModel());
  ASSERT_EQ(solve(), qvn::kRunOptimal);
  EXPECT_NEAR(qvn::relaxObjective(*relax), -5.0, 1e-9);
  EXPECT_NEAR(qvn::relaxPrimal(*relax)[0], 3.0, 1e-9);
  EXPECT_NEAR(qvn::relaxPrimal(*relax)[1], 1.0, 1e-9);
  EXPECT_EQ(qvntest::checkOptimal(model, answer(), 1e-9), "");

  // x0 <= 2: x = (2, 4/3), objective -14/3.
  int col = 0;
  double lo = 0, up = 2;
  ASSERT_EQ(qvn::relaxChangeBounds(*relax, 1, &col, &lo, &up), 0);
  model.upper[0] = 2;
  expectAgreement("bound");
  EXPECT_NEAR(qvn::relaxObjective(*relax), -14.0 / 3.0, 1e-9);

  // A cut x0 + 2 x1 <= 4.
  const int start[] = {0, 2};
  const int index[] = {0, 1};
  const double value[] = {1, 2};
  const double rlo = -kInf, rup = 4;
  ASSERT_EQ(qvn::relaxAddRows(*relax, 1, &rlo, &rup, start, index, value), 0);
  model.addRow('L', 4);
  model.set(2, 0, 1), model.set(2, 1, 2);
  expectAgreement("cut");

  const double c1 = -3;
  col = 1;
  ASSERT_EQ(qvn::relaxChangeCosts(*relax, 1, &col, &c1), 0);
  model.obj[1] = -3;
  expectAgreement("cost");

  int mark[] = {1, 0, 0};
  ASSERT_EQ(qvn::relaxDeleteRows(*relax, mark), 0);
  model.rhs.erase(model.rhs.begin());
  model.sense.erase(model.sense.begin());
  model.range.erase(model.range.begin());
  for (auto &c : model.cols) {
    std::vector<std::pair<int, double>> kept;
    for (auto [i, v] : c)
      if (i != 0) kept.push_back({i - 1, v});
    c = kept;
  }
  ASSERT_EQ(qvn::relaxNumRows(*relax), 2);
  expectAgreement("delete");
}

} // namespace

namespace {

// Strong branching on x1 of the small model: down x1 <= 0 gives x = (3, 0),
// objective -3; up x1 >= 2 leaves x0 <= 0 by the second row, x = (0, 2),
// objective -4. The relaxation stays as it was, bit for bit.
TEST_F(LpRelaxationTest, StrongBranchingLeavesNoTrace) {
  build(smallModel());
  ASSERT_EQ(solve(), qvn::kRunOptimal);
  const int n = 2, m = 2;
  std::vector<double> x0(qvn::relaxPrimal(*relax), qvn::relaxPrimal(*relax) + n);
  std::vector<int> cs0(n), rs0(m), cs1(n), rs1(m);
  qvn::relaxGetBasis(*relax, cs0.data(), rs0.data());
  double downObj = 0, upObj = 0;
  int downStatus = 0, upStatus = 0;
  ASSERT_EQ(qvn::relaxStrongBranch(*relax, 1, 0.0, 2.0, 100, &downObj, &downStatus, &upObj, &upStatus), 0);
  EXPECT_EQ(downStatus, qvn::kRunOptimal);
  EXPECT_NEAR(downObj, -3.0, 1e-9);
  EXPECT_EQ(upStatus, qvn::kRunOptimal);
  EXPECT_NEAR(upObj, -4.0, 1e-9);
  qvn::relaxGetBasis(*relax, cs1.data(), rs1.data());
  EXPECT_EQ(cs0, cs1);
  EXPECT_EQ(rs0, rs1);
  EXPECT_EQ(std::memcmp(x0.data(), qvn::relaxPrimal(*relax), n * sizeof(double)), 0);
  double lo = 0, up = 0;
  qvn::relaxGetBounds(*relax, 1, &lo, &up);
  EXPECT_EQ(lo, 0.0);
  EXPECT_EQ(up, 3.0);
  // The next solve starts from the optimum it left: no iteration.
  ASSERT_EQ(solve(), qvn::kRunOptimal);
  EXPECT_EQ(qvn::relaxIterations(*relax), 0);
  EXPECT_NEAR(qvn::relaxObjective(*relax), -5.0, 1e-9);
}

} // namespace
