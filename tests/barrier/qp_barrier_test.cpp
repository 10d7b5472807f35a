// The barrier on convex quadratic objectives: small QPs with known optima,
// each answer held to the QP's optimality conditions by a check of its own
// (stationarity c + Qx - A'pi - dj = 0 with dj of the right signs,
// feasibility, complementarity); a Q that is not semi-definite is refused.
#include <gtest/gtest.h>

#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <string>
#include <tuple>
#include <vector>

#include "quadratic/qp_check.h"
#include "support/lp_model.h"
#include "support/test_support.h"

namespace {

using qvntest::LpModel;
using qvntest::QpModel;
using qvntest::kktFault;
using qvntest::loadQp;

class QpBarrier : public qvntest::ProblemFixture {
protected:
  void SetUp() override {
    ProblemFixture::SetUp();
    ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_BARDISPLAY, 0), 0);
  }
  // Solves by QVNqpopt and QVNbaropt; both must reach the known optimum and
  // pass the conditions.
  void solveAndCheck(const QpModel &m, double expected) {
    for (int entry = 0; entry < 2; ++entry) {
      SCOPED_TRACE(entry == 0 ? "QVNqpopt" : "QVNbaropt");
      ASSERT_EQ(loadQp(env, lp, m), 0);
      ASSERT_EQ(QVNgetprobtype(env, lp), QVN_PROB_QP);
      ASSERT_EQ(entry == 0 ? QVNqpopt(env, lp) : QVNbaropt(env, lp), 0);
      const int n = m.lp.numCols(), rows = m.lp.numRows();
      std::vector<double> x(n), pi(std::max(rows, 1)), slack(std::max(rows, 1)), dj(n);
      int stat = 0;
      double obj = 0.0;
      ASSERT_EQ(QVNsolution(env, lp, &stat, &obj, x.data(), pi.data(), slack.data(), dj.data()), 0);
      EXPECT_EQ(stat, QVN_STAT_OPTIMAL);
      EXPECT_NEAR(obj, expected, 1e-6 * (1.0 + std::fabs(expected)));
      EXPECT_EQ(kktFault(m, x, pi, 1e-6), "");
      EXPECT_GT(QVNgetbaritcnt(env, lp), 0);
    }
  }
};

TEST_F(QpBarrier, SmallQpsReachTheirKnownOptima) {
  // min 1/2 (x^2 + y^2) - x - y, x + y <= 1, x, y >= 0: (0.5, 0.5), -0.75.
  {
    QpModel m;
    const int r0 = m.lp.addRow('L', 1.0);
    m.lp.addCol(-1.0, 0.0, QVN_INFBOUND, {{r0, 1.0}});
    m.lp.addCol(-1.0, 0.0, QVN_INFBOUND, {{r0, 1.0}});
    m.q = {{0, 0, 1.0}, {1, 1, 1.0}};
    solveAndCheck(m, -0.75);
  }
  // The same diagonal given as a separable Q.
  {
    QpModel m;
    const int r0 = m.lp.addRow('L', 1.0);
    m.lp.addCol(-1.0, 0.0, QVN_INFBOUND, {{r0, 1.0}});
    m.lp.addCol(-1.0, 0.0, QVN_INFBOUND, {{r0, 1.0}});
    ASSERT_EQ(m.lp.load(env, lp), 0);
    const double diag[2] = {1.0, 1.0};
    ASSERT_EQ(QVNcopyqpsep(env, lp, diag), 0);
    ASSERT_EQ(QVNqpopt(env, lp), 0);
    double obj = 0.0, x[2] = {0, 0};
    ASSERT_EQ(QVNsolution(env, lp, nullptr, &obj, x, nullptr, nullptr, nullptr), 0);
    EXPECT_EQ(QVNgetstat(env, lp), QVN_STAT_OPTIMAL);
    EXPECT_NEAR(obj, -0.75, 1e-7);
    EXPECT_NEAR(x[0], 0.5, 1e-6);
    EXPECT_NEAR(x[1], 0.5, 1e-6);
  }
  // Q = [2 1; 1 2], c = (-3, -3), x + y >= 3: the free optimum (1, 1) is cut
  // off; on the row, symmetry gives (1.5, 1.5), value 6.75 - 9 = -2.25, pi 1.5.
  {
    QpModel m;
    const int r0 = m.lp.addRow('G', 3.0);
    m.lp.addCol(-3.0, 0.0, QVN_INFBOUND, {{r0, 1.0}});
    m.lp.addCol(-3.0, 0.0, QVN_INFBOUND, {{r0, 1.0}});
    m.q = {{0, 0, 2.0}, {1, 0, 1.0}, {0, 1, 1.0}, {1, 1, 2.0}};
    solveAndCheck(m, -2.25);
  }
  // A maximization with a negative definite Q: max 3x + 3y - (x^2 + xy + y^2),
  // x + y <= 1.5: (0.75, 0.75), value 4.5 - 1.6875 = 2.8125.
  {
    QpModel m;
    m.lp.objSense = QVN_MAX;
    const int r0 = m.lp.addRow('L', 1.5);
    m.lp.addCol(3.0, 0.0, QVN_INFBOUND, {{r0, 1.0}});
    m.lp.addCol(3.0, 0.0, QVN_INFBOUND, {{r0, 1.0}});
    m.q = {{0, 0, -2.0}, {1, 0, -1.0}, {0, 1, -1.0}, {1, 1, -2.0}};
    solveAndCheck(m, 2.8125);
  }
  // Least distance to p = (2, -1, 3): min 1/2 |x|^2 - p'x, x0 in [0, 1],
  // x1 free, x2 in [-1, 2], x0 + x1 + x2 = 1. Stationarity puts x at p + pi
  // clipped to the box; the row holds for pi = -1: x = (1, -2, 2), each
  // bound met exactly, value 1/2 (1 + 4 + 4) - (2 + 2 + 6) = -5.5.
  {
    QpModel m;
    const int r0 = m.lp.addRow('E', 1.0);
    m.lp.addCol(-2.0, 0.0, 1.0, {{r0, 1.0}});
    m.lp.addCol(1.0, -QVN_INFBOUND, QVN_INFBOUND, {{r0, 1.0}});
    m.lp.addCol(-3.0, -1.0, 2.0, {{r0, 1.0}});
    m.q = {{0, 0, 1.0}, {1, 1, 1.0}, {2, 2, 1.0}};
    solveAndCheck(m, -5.5);
  }
}

TEST_F(QpBarrier, ARankDeficientCoupledQpPassesItsConditions) {
  // Q = F'F with F 3 x 6 (rank 3, entries off the diagonal), on a model with
  // equations, inequalities, boxes and a free column: the optimum is not
  // known by hand, so the conditions are the witness, and a second start
  // rule must reach the same value (a convex QP has one optimal value).
  QpModel m;
  const int n = 6;
  const double f[3][6] = {{1, 2, 0, -1, 0, 1}, {0, 1, 1, 0, 2, -1}, {1, 0, -1, 1, 1, 0}};
  double q[6][6] = {};
  for (int i = 0; i < n; ++i)
    for (int j = 0; j < n; ++j)
      for (int k = 0; k < 3; ++k) q[i][j] += f[k][i] * f[k][j];
  for (int i = 0; i < n; ++i)
    for (int j = 0; j < n; ++j)
      if (q[i][j] != 0.0) m.q.push_back({i, j, q[i][j]});
  const int r0 = m.lp.addRow('E', 4.0), r1 = m.lp.addRow('L', 3.0), r2 = m.lp.addRow('G', -2.0);
  const double c[6] = {-1, 2, -3, 1, -2, 0.5};
  const double lo[6] = {0, 0, -1, 0, -QVN_INFBOUND, 0};
  const double up[6] = {3, QVN_INFBOUND, 2, 5, QVN_INFBOUND, 1};
  const double a[3][6] = {{1, 1, 1, 1, 0, 1}, {1, -1, 0, 2, 1, 0}, {0, 1, -1, 0, 1, 1}};
  for (int j = 0; j < n; ++j) {
    std::vector<std::pair<int, double>> col;
    for (int i : {r0, r1, r2})
      if (a[i][j] != 0.0) col.push_back({i, a[i][j]});
    m.lp.addCol(c[j], lo[j], up[j], col);
  }
  double values[2] = {0, 0};
  for (int rule : {1, 4}) {
    SCOPED_TRACE(rule);
    ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_BARSTARTALG, rule), 0);
    ASSERT_EQ(loadQp(env, lp, m), 0);
    ASSERT_EQ(QVNqpopt(env, lp), 0);
    std::vector<double> x(n), pi(3);
    int stat = 0;
    ASSERT_EQ(QVNsolution(env, lp, &stat, &values[rule == 1 ? 0 : 1], x.data(), pi.data(), nullptr, nullptr), 0);
    EXPECT_EQ(stat, QVN_STAT_OPTIMAL);
    EXPECT_EQ(kktFault(m, x, pi, 1e-6), "");
  }
  EXPECT_NEAR(values[0], values[1], 1e-6 * (1.0 + std::fabs(values[0])));
}

TEST_F(QpBarrier, QuadraticObjectivesReadFromFilesAreSolved) {
  // min -3x - 3y + x^2 + xy + y^2, x + y >= 3: (1.5, 1.5), value -2.25, in
  // the MPS sections QUADOBJ (one triangle) and QMATRIX (both) and in the
  // LP format's bracket.
  const std::string mpsHead = "NAME qp\nROWS\n N obj\n G r0\nCOLUMNS\n x obj -3 r0 1\n y obj -3 r0 1\n"
                              "RHS\n rhs r0 3\n";
  const std::vector<std::pair<std::string, std::string>> files = {
      {".mps", mpsHead + "QUADOBJ\n x x 2\n x y 1\n y y 2\nENDATA\n"},
      {".mps", mpsHead + "QMATRIX\n x x 2\n x y 1\n y x 1\n y y 2\nENDATA\n"},
      {".lp", "Minimize\n obj: -3 x - 3 y + [ 2 x ^2 + 2 x * y + 2 y ^2 ] / 2\nSubject To\n r0: x + y >= 3\nEnd\n"}};
  int k = 0;
  for (const auto &[extension, text] : files) {
    SCOPED_TRACE(text);
    const std::string path =
        testing::TempDir() + "qp_barrier_" + std::to_string(getpid()) + "_" + std::to_string(k++) + extension;
    {
      std::ofstream out(path);
      out << text;
    }
    ASSERT_EQ(QVNreadcopyprob(env, lp, path.c_str(), nullptr), 0);
    std::remove(path.c_str());
    ASSERT_EQ(QVNgetprobtype(env, lp), QVN_PROB_QP);
    ASSERT_EQ(QVNqpopt(env, lp), 0);
    double obj = 0.0, x[2] = {0, 0};
    ASSERT_EQ(QVNsolution(env, lp, nullptr, &obj, x, nullptr, nullptr, nullptr), 0);
    EXPECT_EQ(QVNgetstat(env, lp), QVN_STAT_OPTIMAL);
    EXPECT_NEAR(obj, -2.25, 1e-6);
    EXPECT_NEAR(x[0], 1.5, 1e-5);
    EXPECT_NEAR(x[1], 1.5, 1e-5);
  }
}

TEST_F(QpBarrier, AStalledRunEndsInNoProgressAndNeverClaimsOptimal) {
  // min x1 + x2^2, x1 + x2 >= 1, x2 + x3 >= 0.5, x2 <= 5: x1 = 1 - x2 makes
  // the objective 1 - x2 + x2^2, least at x2 = 0.5: value 0.75.
  QpModel m;
  const int r0 = m.lp.addRow('G', 1.0), r1 = m.lp.addRow('G', 0.5);
  m.lp.addCol(1.0, 0.0, QVN_INFBOUND, {{r0, 1.0}});
  m.lp.addCol(0.0, 0.0, 5.0, {{r0, 1.0}, {r1, 1.0}});
  m.lp.addCol(0.0, 0.0, QVN_INFBOUND, {{r1, 1.0}});
  m.q = {{1, 1, 2.0}};
  // Steps of 1e-4 of the way to the boundary stall every measure; a QP has
  // no self-dual repeat, so the no-progress test ends the run after 25.
  ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_BARDISPLAY, 1), 0);
  ASSERT_EQ(QVNsetdblparam(env, 3025, 1e-4), 0);
  ASSERT_EQ(QVNsetintparam(env, 3023, 25), 0);
  ASSERT_EQ(loadQp(env, lp, m), 0);
  log.clear();
  ASSERT_EQ(QVNqpopt(env, lp), 0);
  EXPECT_EQ(QVNgetstat(env, lp), QVN_STAT_NUM_BEST);
  EXPECT_EQ(QVNgetbaritcnt(env, lp), 25);
  EXPECT_NE(log.find("Numerical difficulties in barrier algorithm.\n"), std::string::npos) << log;
  ASSERT_EQ(QVNsetdblparam(env, 3025, 0.0), 0);
  ASSERT_EQ(QVNsetintparam(env, 3023, 50), 0);
  ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_BARDISPLAY, 0), 0);
  solveAndCheck(m, 0.75);
}

TEST_F(QpBarrier, InfeasibleAndUnboundedQpsEndInTheirStatuses) {
  // Rows that contradict each other, under a diagonal and under a coupled
  // Q: x1 + x2 >= 3 and x1 + x2 <= 1. The witness is the dual simplex on
  // the same rows with the linear objective alone: feasibility does not
  // depend on the objective.
  for (bool coupled : {false, true}) {
    SCOPED_TRACE(coupled ? "coupled Q" : "diagonal Q");
    QpModel m;
    const int r0 = m.lp.addRow('G', 3.0), r1 = m.lp.addRow('L', 1.0);
    m.lp.addCol(1.0, 0.0, QVN_INFBOUND, {{r0, 1.0}, {r1, 1.0}});
    m.lp.addCol(0.0, 0.0, QVN_INFBOUND, {{r0, 1.0}, {r1, 1.0}});
    m.q = {{0, 0, 2.0}, {1, 1, 4.0}};
    if (coupled) m.q.push_back({0, 1, 1.0}), m.q.push_back({1, 0, 1.0});
    ASSERT_EQ(m.lp.load(env, lp), 0);
    ASSERT_EQ(QVNdualopt(env, lp), 0);
    const int witness = QVNgetstat(env, lp);
    EXPECT_TRUE(witness == QVN_STAT_INFEASIBLE || witness == QVN_STAT_INForUNBD) << witness;
    ASSERT_EQ(loadQp(env, lp, m), 0);
    ASSERT_EQ(QVNqpopt(env, lp), 0);
    EXPECT_EQ(QVNgetstat(env, lp), QVN_STAT_INFEASIBLE);
  }
  // min -x1 + x2^2 with x1 - x2 >= 1: x = (1, 0) is feasible and d = (1, 0)
  // keeps the row (A d = 1 >= 0), costs c'd = -1 and has Q d = 0, so the
  // objective falls without end along x + t d.
  QpModel m;
  const int r0 = m.lp.addRow('G', 1.0);
  m.lp.addCol(-1.0, 0.0, QVN_INFBOUND, {{r0, 1.0}});
  m.lp.addCol(0.0, 0.0, QVN_INFBOUND, {{r0, -1.0}});
  m.q = {{1, 1, 2.0}};
  const std::vector<double> point = {1.0, 0.0}, ray = {1.0, 0.0};
  double activity = 0.0, rayRow = 0.0, cost = 0.0;
  std::vector<double> qRay(2, 0.0);
  for (int j = 0; j < 2; ++j) {
    for (const auto &[r, v] : m.lp.cols[j]) activity += v * point[j], rayRow += v * ray[j];
    cost += m.lp.obj[j] * ray[j];
  }
  for (const auto &[r, c, v] : m.q) qRay[r] += v * ray[c];
  ASSERT_GE(activity, 1.0);
  ASSERT_GE(rayRow, 0.0);
  ASSERT_LT(cost, 0.0);
  ASSERT_EQ(qRay, std::vector<double>(2, 0.0));
  ASSERT_EQ(loadQp(env, lp, m), 0);
  ASSERT_EQ(QVNqpopt(env, lp), 0);
  EXPECT_EQ(QVNgetstat(env, lp), QVN_STAT_UNBOUNDED);
}

TEST_F(QpBarrier, QThatIsNotSemiDefiniteIsRefused) {
  QpModel m;
  const int r0 = m.lp.addRow('L', 4.0);
  m.lp.addCol(1.0, 0.0, 10.0, {{r0, 1.0}});
  m.lp.addCol(1.0, 0.0, 10.0, {{r0, 1.0}});
  // Indefinite by a negative diagonal, by a coupling larger than the
  // diagonal, and a positive definite Q in a maximization.
  const std::vector<std::vector<std::tuple<int, int, double>>> bad = {
      {{0, 0, 1.0}, {1, 1, -1.0}}, {{0, 0, 1.0}, {1, 0, 2.0}, {0, 1, 2.0}, {1, 1, 1.0}}};
  for (int sense : {QVN_MIN, QVN_MAX}) {
    for (size_t k = 0; k < bad.size() + (sense == QVN_MAX ? 1 : 0); ++k) {
      SCOPED_TRACE(testing::Message() << "sense " << sense << " case " << k);
      m.lp.objSense = sense;
      m.q = k < bad.size() ? bad[k] : std::vector<std::tuple<int, int, double>>{{0, 0, 1.0}, {1, 1, 1.0}};
      ASSERT_EQ(loadQp(env, lp, m), 0);
      takeErrors();
      EXPECT_EQ(QVNqpopt(env, lp), QVNERR_Q_NOT_POS_DEF);
      EXPECT_NE(takeErrors().find("Q in objective is not positive semi-definite"), std::string::npos);
      EXPECT_EQ(QVNbaropt(env, lp), QVNERR_Q_NOT_POS_DEF);
      takeErrors();
    }
  }
  // A convex QP: the simplex entries and a crossover asked for by name say
  // that they cannot solve it; the barrier alone can.
  m.lp.objSense = QVN_MIN;
  m.q = {{0, 0, 1.0}, {1, 1, 1.0}};
  ASSERT_EQ(loadQp(env, lp, m), 0);
  EXPECT_EQ(QVNprimopt(env, lp), QVNERR_NOT_FOR_QP);
  EXPECT_EQ(QVNhybbaropt(env, lp, 1), QVNERR_NOT_FOR_QP);
  ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_QPMETHOD, 2), 0);
  EXPECT_EQ(QVNqpopt(env, lp), QVNERR_NOT_FOR_QP);
  ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_QPMETHOD, 4), 0);
  EXPECT_EQ(QVNqpopt(env, lp), 0);
  EXPECT_EQ(QVNgetstat(env, lp), QVN_STAT_OPTIMAL);
  takeErrors();
}

} // namespace
