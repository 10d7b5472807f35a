// The barrier: its Cholesky factor against dense arithmetic, and whole solves
// checked by the independent optimality check, by known optima and by the
// dual simplex on the same model.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <vector>

#include "barrier/barrier.h"
#include "barrier/ipm.h"
#include "barrier/ordering/cholesky.h"
#include "model/problem.h"
#include "simplex/work_lp.h"
#include "support/lp_model.h"
#include "support/test_support.h"

namespace {

using qvntest::LpModel;
using qvntest::LpSolution;
using qvntest::ProblemFixture;

// A x = b through M = A diag(d) A^T + diag(e), checked by a dense product.
double normalSolveResidual(int rows, const std::vector<std::vector<std::pair<int, double>>> &cols,
                           const std::vector<double> &d, const std::vector<double> &e, qvn::CholeskyFactor &f) {
  std::vector<int> start(1, 0), index;
  std::vector<double> value;
  for (const auto &c : cols) {
    for (const auto &[r, v] : c) index.push_back(r), value.push_back(v);
    start.push_back(static_cast<int>(index.size()));
  }
  qvn::NormalPattern p;
  p.rows = rows;
  p.cols = static_cast<int>(cols.size());
  p.start = start.data();
  p.index = index.data();
  p.value = value.data();
  EXPECT_EQ(qvn::choleskyAnalyse(p, f), 0);
  qvn::choleskyFactor(p, d.data(), e.data(), f);
  std::vector<double> dense(static_cast<size_t>(rows) * rows, 0.0);
  for (int i = 0; i < rows; ++i) dense[i * rows + i] = e[i];
  for (size_t j = 0; j < cols.size(); ++j)
    for (const auto &[r1, v1] : cols[j])
      for (const auto &[r2, v2] : cols[j]) dense[r1 * rows + r2] += d[j] * v1 * v2;
  std::vector<double> b(rows), x(rows), work(rows + 1);
  for (int i = 0; i < rows; ++i) b[i] = x[i] = 1.0 + 0.37 * i - 0.01 * i * i;
  qvn::choleskySolve(f, x.data(), work.data());
  double worst = 0.0;
  for (int i = 0; i < rows; ++i) {
    double s = 0.0;
    for (int k = 0; k < rows; ++k) s += dense[i * rows + k] * x[k];
    worst = std::max(worst, std::fabs(s - b[i]) / (1.0 + std::fabs(b[i])));
  }
  return worst;
}

TEST(BarrierCholesky, SolvesNormalEquationsAndKeepsADiagonalWithoutFill) {
  // A diagonal matrix: one-wide supernodes and no fill.
  {
    std::vector<std::vector<std::pair<int, double>>> cols;
    for (int i = 0; i < 5; ++i) cols.push_back({{i, 2.0}});
    qvn::CholeskyFactor f;
    EXPECT_LT(normalSolveResidual(5, cols, std::vector<double>(5, 1.5), std::vector<double>(5, 0.0), f), 1e-12);
    EXPECT_EQ(f.nonzeros, 5.0);
    EXPECT_EQ(f.numSuper, 5);
  }
  // A pseudo-random sparse pattern with a wide range of weights, and a grid
  // whose ordering matters.
  {
    const int rows = 60;
    std::vector<std::vector<std::pair<int, double>>> cols;
    unsigned s = 12345;
    auto next = [&]() { return s = s * 1103515245u + 12345u, (s >> 16) & 0x7fff; };
    for (int i = 0; i < rows; ++i) cols.push_back({{i, 1.0}});
    for (int j = 0; j < 150; ++j) {
      std::vector<std::pair<int, double>> c;
      const int len = 1 + static_cast<int>(next() % 5);
      for (int k = 0; k < len; ++k) {
        const int r = static_cast<int>(next() % rows);
        bool dup = false;
        for (auto &e : c) dup = dup || e.first == r;
        if (!dup) c.push_back({r, (static_cast<int>(next() % 200) - 100) / 17.0 + 0.5});
      }
      cols.push_back(c);
    }
    std::vector<double> d(cols.size());
    for (size_t j = 0; j < d.size(); ++j) d[j] = std::pow(10.0, static_cast<int>(next() % 9) - 4);
    qvn::CholeskyFactor f;
    EXPECT_LT(normalSolveResidual(rows, cols, d, std::vector<double>(rows, 0.0), f), 1e-8);
    EXPECT_LT(f.numSuper, rows);
    EXPECT_EQ(f.perturbed, 0);
  }
  {
    const int side = 12, rows = side * side;
    std::vector<std::vector<std::pair<int, double>>> cols;
    for (int i = 0; i < rows; ++i) {
      cols.push_back({{i, 1.0}});
      if (i % side + 1 < side) cols.push_back({{i, 1.0}, {i + 1, -1.0}});
      if (i + side < rows) cols.push_back({{i, 1.0}, {i + side, -1.0}});
    }
    qvn::CholeskyFactor f;
    EXPECT_LT(normalSolveResidual(rows, cols, std::vector<double>(cols.size(), 1.0), std::vector<double>(rows, 0.0), f),
              1e-10);
    // Minimum degree on a grid keeps the factor well below the dense triangle.
    EXPECT_LT(f.nonzeros, 0.25 * rows * (rows + 1) / 2.0);
  }
}

class BarrierSolve : public ProblemFixture {
protected:
  void solveBoth(const LpModel &m, double expected) {
    for (int crossover : {0, -1}) {
      SCOPED_TRACE(crossover == 0 ? "with crossover" : "without crossover");
      ASSERT_EQ(m.load(env, lp), 0);
      ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_BARCROSSALG, crossover), 0);
      ASSERT_EQ(QVNbaropt(env, lp), 0);
      LpSolution s;
      ASSERT_EQ(qvntest::readSolution(env, lp, m, s), 0);
      EXPECT_EQ(s.status, QVN_STAT_OPTIMAL);
      EXPECT_NEAR(s.objective, expected, 1e-6 * (1.0 + std::fabs(expected)));
      if (crossover == 0) {
        EXPECT_EQ(qvntest::checkOptimal(m, s, 1e-7), "");
      }
    }
    // Every start rule and a fixed count of central corrections reach the
    // same optimum; the point without crossover passes the check at a
    // looser tolerance (an interior point is optimal to the barrier's).
    for (int rule = 1; rule <= 4; ++rule)
      for (int corrections : {0, 6}) {
        SCOPED_TRACE(testing::Message() << "start rule " << rule << ", corrections " << corrections);
        ASSERT_EQ(m.load(env, lp), 0);
        ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_BARCROSSALG, -1), 0);
        ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_BARSTARTALG, rule), 0);
        ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_BARMAXCOR, corrections), 0);
        ASSERT_EQ(QVNbaropt(env, lp), 0);
        LpSolution s;
        ASSERT_EQ(qvntest::readSolution(env, lp, m, s), 0);
        EXPECT_EQ(s.status, QVN_STAT_OPTIMAL);
        EXPECT_NEAR(s.objective, expected, 1e-6 * (1.0 + std::fabs(expected)));
        EXPECT_EQ(qvntest::checkOptimal(m, s, 1e-5), "");
      }
    ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_BARSTARTALG, 1), 0);
    ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_BARMAXCOR, -1), 0);
    ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_BARCROSSALG, 0), 0);
    // The dual simplex agrees.
    ASSERT_EQ(m.load(env, lp), 0);
    ASSERT_EQ(QVNdualopt(env, lp), 0);
    double obj = 0.0;
    ASSERT_EQ(QVNgetobjval(env, lp, &obj), 0);
    EXPECT_NEAR(obj, expected, 1e-7 * (1.0 + std::fabs(expected)));
  }
};

TEST_F(BarrierSolve, SmallModelsWithBoundsFreeColumnsAndRangesReachTheirOptima) {
  ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_BARDISPLAY, 0), 0);
  ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_SIMDISPLAY, 0), 0);
  // max 3x + 2y, x + y <= 4, x + 3y <= 6, x <= 3: optimum (3, 1), value 11.
  {
    LpModel m;
    m.objSense = QVN_MAX;
    const int r0 = m.addRow('L', 4.0), r1 = m.addRow('L', 6.0);
    m.addCol(3.0, 0.0, 3.0, {{r0, 1.0}, {r1, 1.0}});
    m.addCol(2.0, 0.0, QVN_INFBOUND, {{r0, 1.0}, {r1, 3.0}});
    solveBoth(m, 11.0);
  }
  // min 1.5x - y with a free y, x in [-2, 5], -1 <= x + y <= 3 (ranged),
  // y - x = 1: y = x + 1 makes the objective 0.5x - 1 and the range gives
  // x in [-1, 1]: optimum x = -1, y = 0, value -1.5.
  {
    LpModel m;
    const int r0 = m.addRow('R', -1.0, 4.0), r1 = m.addRow('E', 1.0);
    m.addCol(1.5, -2.0, 5.0, {{r0, 1.0}, {r1, -1.0}});
    m.addCol(-1.0, -QVN_INFBOUND, QVN_INFBOUND, {{r0, 1.0}, {r1, 1.0}});
    solveBoth(m, -1.5);
  }
  // A transportation model with a fixed column and a >= row.
  {
    LpModel m;
    const double supply[2] = {20, 30}, demand[3] = {10, 25, 15};
    const double cost[2][3] = {{8, 6, 10}, {9, 12, 13}};
    int s[2], d[3];
    for (int i = 0; i < 2; ++i) s[i] = m.addRow('L', supply[i]);
    for (int k = 0; k < 3; ++k) d[k] = m.addRow('G', demand[k]);
    for (int i = 0; i < 2; ++i)
      for (int k = 0; k < 3; ++k) m.addCol(cost[i][k], 0.0, QVN_INFBOUND, {{s[i], 1.0}, {d[k], 1.0}});
    m.addCol(1.0, 2.0, 2.0, {{s[0], -1.0}});  // fixed at 2: adds 2 to the first supply
    // The reference is the dual simplex's optimum: two methods must agree.
    ASSERT_EQ(m.load(env, lp), 0);
    ASSERT_EQ(QVNdualopt(env, lp), 0);
    ASSERT_EQ(QVNgetstat(env, lp), QVN_STAT_OPTIMAL);
    double ref = 0.0;
    ASSERT_EQ(QVNgetobjval(env, lp, &ref), 0);
    solveBoth(m, ref);
  }
}

// The interior point run alone on the model held by lp, in the chosen form.
qvn::BarrierResult runForm(QVNENVptr env, QVNLPptr lp, int useInfRatio) {
  qvn::WorkLp w;
  qvn::buildWorkLp(*lp->lpData, w);
  qvn::BarrierControl ctl;
  ctl.display = 0;
  ctl.useInfRatio = useInfRatio;
  qvn::BarrierResult r;
  EXPECT_EQ(qvn::barrierRun(env, w, ctl, r), 0);
  return r;
}

TEST_F(BarrierSolve, InfeasibleAndUnboundedModelsEndInTheirStatusesInEitherForm) {
  ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_BARDISPLAY, 0), 0);
  ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_SIMDISPLAY, 0), 0);
  ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_PREIND, 0), 0);
  struct Case {
    const char *name;
    LpModel model;
    int status;
  };
  std::vector<Case> cases;
  {
    // x + y <= 1 and x + y >= 3: y = (-1, 1) is a Farkas vector.
    LpModel m;
    const int r0 = m.addRow('L', 1.0), r1 = m.addRow('G', 3.0);
    m.addCol(1.0, 0.0, QVN_INFBOUND, {{r0, 1.0}, {r1, 1.0}});
    m.addCol(1.0, 0.0, QVN_INFBOUND, {{r0, 1.0}, {r1, 1.0}});
    cases.push_back({"two rows", m, QVN_STAT_INFEASIBLE});
  }
  {
    // Bounds alone contradict the equation: x in [0, 1], y in [0, 2], x + y = 5.
    LpModel m;
    const int r0 = m.addRow('E', 5.0);
    m.addCol(1.0, 0.0, 1.0, {{r0, 1.0}});
    m.addCol(-1.0, 0.0, 2.0, {{r0, 1.0}});
    cases.push_back({"boxed", m, QVN_STAT_INFEASIBLE});
  }
  {
    // min -x - y with x - y <= 1: the ray (1, 1) is unbounded, (0, 0) is feasible.
    LpModel m;
    const int r0 = m.addRow('L', 1.0);
    m.addCol(-1.0, 0.0, QVN_INFBOUND, {{r0, 1.0}});
    m.addCol(-1.0, 0.0, QVN_INFBOUND, {{r0, -1.0}});
    cases.push_back({"ray", m, QVN_STAT_UNBOUNDED});
  }
  {
    // max x + 2y with a free x: x - y = 0, y <= 3 + z, z >= 0 costs nothing:
    // the ray (1, 1, 1) is unbounded.
    LpModel m;
    m.objSense = QVN_MAX;
    const int r0 = m.addRow('E', 0.0), r1 = m.addRow('L', 3.0);
    m.addCol(1.0, -QVN_INFBOUND, QVN_INFBOUND, {{r0, 1.0}});
    m.addCol(2.0, 0.0, QVN_INFBOUND, {{r0, -1.0}, {r1, 1.0}});
    m.addCol(0.0, 0.0, QVN_INFBOUND, {{r1, -1.0}});
    cases.push_back({"free ray", m, QVN_STAT_UNBOUNDED});
  }
  for (const Case &c : cases) {
    SCOPED_TRACE(c.name);
    ASSERT_EQ(c.model.load(env, lp), 0);
    // The dual simplex is the independent witness of the verdict.
    ASSERT_EQ(QVNdualopt(env, lp), 0);
    const int simplex = QVNgetstat(env, lp);
    EXPECT_TRUE(simplex == c.status || simplex == QVN_STAT_INForUNBD) << simplex;
    for (int crossover : {0, -1}) {
      ASSERT_EQ(c.model.load(env, lp), 0);
      ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_BARCROSSALG, crossover), 0);
      ASSERT_EQ(QVNbaropt(env, lp), 0);
      EXPECT_EQ(QVNgetstat(env, lp), c.status);
    }
    // The self-dual form from the first iteration reaches the same verdict.
    ASSERT_EQ(c.model.load(env, lp), 0);
    const qvn::BarrierResult r = runForm(env, lp, 1);
    EXPECT_EQ(r.status, c.status);
    EXPECT_TRUE(r.selfDual);
  }
  ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_BARCROSSALG, 0), 0);
  // A feasible model in the self-dual form: same optimum as the dual simplex.
  {
    LpModel m;
    const int r0 = m.addRow('R', -1.0, 4.0), r1 = m.addRow('E', 1.0);
    m.addCol(1.5, -2.0, 5.0, {{r0, 1.0}, {r1, -1.0}});
    m.addCol(-1.0, -QVN_INFBOUND, QVN_INFBOUND, {{r0, 1.0}, {r1, 1.0}});
    ASSERT_EQ(m.load(env, lp), 0);
    const qvn::BarrierResult r = runForm(env, lp, 1);
    EXPECT_EQ(r.status, QVN_STAT_OPTIMAL);
    EXPECT_NEAR(r.primalObjective, -1.5, 1e-7);
  }
}

TEST_F(BarrierSolve, IterationLimitsAndTheLog) {
  ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_SIMDISPLAY, 0), 0);
  LpModel m;
  const int r0 = m.addRow('L', 4.0);
  m.addCol(-1.0, 0.0, 10.0, {{r0, 1.0}});
  m.addCol(-2.0, 0.0, 3.0, {{r0, 1.0}});
  // BARITLIM 0 stops before the first factorization: no iteration line.
  ASSERT_EQ(m.load(env, lp), 0);
  ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_BARITLIM, 0), 0);
  log.clear();
  ASSERT_EQ(QVNbaropt(env, lp), 0);
  EXPECT_EQ(QVNgetstat(env, lp), QVN_STAT_ABORT_IT_LIM);
  EXPECT_EQ(QVNgetbaritcnt(env, lp), 0);
  EXPECT_NE(log.find(" Barrier iteration limit exceeded.\n"), std::string::npos) << log;
  EXPECT_EQ(log.find("Itn"), std::string::npos) << log;
  // Two iterations: the heading and lines 0 to 2, then the limit.
  ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_BARITLIM, 2), 0);
  ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_PREIND, 0), 0);
  log.clear();
  ASSERT_EQ(QVNbaropt(env, lp), 0);
  EXPECT_EQ(QVNgetstat(env, lp), QVN_STAT_ABORT_IT_LIM);
  EXPECT_EQ(QVNgetbaritcnt(env, lp), 2);
  char heading[200];
  std::snprintf(heading, sizeof heading, " %3s %15s %15s %9s %9s %9s %9s\n", "Itn", "Primal Obj", "Dual Obj",
                "Prim Inf", "Upper Inf", "Dual Inf", "");
  EXPECT_NE(log.find(heading), std::string::npos) << log;
  EXPECT_NE(log.find("\n   2 "), std::string::npos) << log;
  EXPECT_EQ(log.find("\n   3 "), std::string::npos) << log;
  // The full run at display 2 tells the corrections; at display 0 nothing.
  ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_BARITLIM, 2100000000), 0);
  ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_BARDISPLAY, 2), 0);
  log.clear();
  ASSERT_EQ(QVNbaropt(env, lp), 0);
  EXPECT_EQ(QVNgetstat(env, lp), QVN_STAT_OPTIMAL);
  EXPECT_NE(log.find("Max number of central corrections is 0\n"), std::string::npos) << log;
  EXPECT_NE(log.find("Iteration 1 did "), std::string::npos) << log;
  EXPECT_NE(log.find("s for iteration ("), std::string::npos) << log;
  ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_BARDISPLAY, 0), 0);
  log.clear();
  ASSERT_EQ(QVNbaropt(env, lp), 0);
  EXPECT_EQ(QVNgetstat(env, lp), QVN_STAT_OPTIMAL);
  EXPECT_EQ(log, "");
  // The optimum is x = 1, y = 3 with value -7, found by the simplex too.
  double obj = 0.0;
  ASSERT_EQ(QVNgetobjval(env, lp, &obj), 0);
  EXPECT_NEAR(obj, -7.0, 1e-7);
  // An objective range of 1: the primal objective must pass -1 on its way
  // to -7, while the dual one stays below it.
  ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_BARDISPLAY, 1), 0);
  ASSERT_EQ(QVNsetdblparam(env, QVN_PARAM_BAROBJRNG, 1.0), 0);
  log.clear();
  ASSERT_EQ(QVNbaropt(env, lp), 0);
  EXPECT_EQ(QVNgetstat(env, lp), QVN_STAT_ABORT_PRIM_OBJ_LIM);
  EXPECT_NE(log.find(" Barrier limit on primal objective exceeded.\n"), std::string::npos) << log;
  ASSERT_EQ(QVNsetdblparam(env, QVN_PARAM_BAROBJRNG, 1e20), 0);
}

TEST_F(BarrierSolve, NoProgressTheUnboundedFaceAndALargeObjectiveShift) {
  ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_SIMDISPLAY, 0), 0);
  ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_PREIND, 0), 0);
  // min -x - 2y, x + y <= 4, x <= 10, y <= 3: optimum (1, 3), value -7.
  LpModel m;
  const int r0 = m.addRow('L', 4.0);
  m.addCol(-1.0, 0.0, 10.0, {{r0, 1.0}});
  m.addCol(-2.0, 0.0, 3.0, {{r0, 1.0}});
  // Steps of 1e-4 of the way to the boundary: nothing moves by a percent in
  // 20 iterations, so after 25 the plain run gives up; the repeat in the
  // self-dual form runs on to the iteration limit. Neither claims optimal.
  ASSERT_EQ(m.load(env, lp), 0);
  ASSERT_EQ(QVNsetdblparam(env, 3025, 1e-4), 0);
  ASSERT_EQ(QVNsetintparam(env, 3023, 25), 0);
  ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_BARITLIM, 60), 0);
  ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_BARCROSSALG, -1), 0);
  log.clear();
  ASSERT_EQ(QVNbaropt(env, lp), 0);
  EXPECT_EQ(QVNgetstat(env, lp), QVN_STAT_ABORT_IT_LIM);
  EXPECT_EQ(QVNgetbaritcnt(env, lp), 60);
  const size_t ratioHeading = log.find("Inf Ratio\n");
  ASSERT_NE(ratioHeading, std::string::npos) << log;
  EXPECT_NE(log.find("\n  25 ", ratioHeading), std::string::npos) << log;
  EXPECT_EQ(log.find("\n  26 "), log.find("\n  26 ", ratioHeading)) << log;
  ASSERT_EQ(QVNsetdblparam(env, 3025, 0.0), 0);
  ASSERT_EQ(QVNsetintparam(env, 3023, 50), 0);
  ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_BARITLIM, 2100000000), 0);
  ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_BARCROSSALG, 0), 0);

  // A constant of 1e6 beside an objective of -7: the relative gap the stop
  // test closes is on -7, a far smaller share of what the caller reads, and
  // the warning says so. The value itself is still the optimum.
  for (double offset : {0.0, 1e6}) {
    SCOPED_TRACE(offset);
    ASSERT_EQ(m.load(env, lp), 0);
    ASSERT_EQ(QVNchgobjoffset(env, lp, offset), 0);
    log.clear();
    ASSERT_EQ(QVNbaropt(env, lp), 0);
    EXPECT_EQ(QVNgetstat(env, lp), QVN_STAT_OPTIMAL);
    double obj = 0.0;
    ASSERT_EQ(QVNgetobjval(env, lp, &obj), 0);
    EXPECT_NEAR(obj, offset - 7.0, 1e-6);
    const bool warned = log.find("\nWarning:  Barrier optimality criterion affected by large objective shift.\n") !=
                        std::string::npos;
    EXPECT_EQ(warned, offset != 0.0) << log;
  }

  // The unbounded optimal face, on a point built for it: the complementarity
  // closed, the gap and the residuals not, and x grown past BARGROWTH.
  qvn::BarrierProblem p;
  p.rows = 1;
  p.columnsTotal = 2;
  p.kind = 1;
  p.b = {1.0};
  p.c = {0.0, 0.0};
  p.lo = {0.0, 0.0};
  p.up = {1e20, 5.0};
  p.hasL = {1, 1};
  p.hasU = {0, 1};
  p.qdiag = {0.0, 0.0};
  p.start = {0, 1, 2};
  p.index = {0, 0};
  p.value = {1.0, 1.0};
  auto stopOn = [&](double growth, double gap, double residual) {
    qvn::BarrierIterate it;
    it.x = {1e13, 1.0};
    it.y = {0.0};
    it.complementarity = 1e-12;
    it.primalObjective = gap;
    it.dualObjective = 0.0;
    it.relPrimal = it.relPrimalUnscaled = residual;
    qvn::Residuals r;
    qvn::BarrierHistory h;
    qvn::StopSettings st;
    st.growthLimit = growth;
    st.display = 0;
    return qvn::barrierStopTest(p, it, r, h, st, 1, 0.0, env);
  };
  EXPECT_EQ(stopOn(1e12, 0.5, 1e-3), QVN_STAT_OPTIMAL_FACE_UNBOUNDED);
  // Below the growth limit there is no verdict yet; a closed gap on a
  // feasible point is an optimum whatever the size of x.
  EXPECT_EQ(stopOn(1e14, 0.5, 1e-3), 0);
  EXPECT_EQ(stopOn(1e12, 1e-10, 0.0), QVN_STAT_OPTIMAL);
}

TEST_F(BarrierSolve, NetlibSampleReachesTheReferenceWithACheckedBasis) {
  const std::string data = qvntest::sharedDataDir();
  if (data.empty()) GTEST_SKIP() << "shared test models not present";
  const std::string dir = data + "/netlib";
  std::ifstream in(dir + "/reference.tsv");
  std::string line;
  ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_BARDISPLAY, 0), 0);
  ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_SIMDISPLAY, 0), 0);
  const std::vector<std::string> sample = {"afiro", "sc50b", "blend", "share2b", "kb2", "scagr7", "boeing2"};
  int seen = 0;
  while (std::getline(in, line) && seen < 100) {
    ++seen;
    std::istringstream fields(line);
    std::string name, status;
    double ref = 0.0;
    if (!(fields >> name >> status >> ref)) continue;
    if (std::find(sample.begin(), sample.end(), name) == sample.end()) continue;
    SCOPED_TRACE(name);
    ASSERT_EQ(QVNreadcopyprob(env, lp, (dir + "/" + name + ".mps.gz").c_str(), nullptr), 0);
    ASSERT_EQ(QVNbaropt(env, lp), 0);
    const LpModel model = qvntest::readModel(env, lp);
    LpSolution s;
    ASSERT_EQ(qvntest::readSolution(env, lp, model, s), 0);
    EXPECT_EQ(s.status, QVN_STAT_OPTIMAL);
    EXPECT_LE(std::fabs(s.objective - ref), 1e-6 * std::max(1.0, std::fabs(ref)));
    EXPECT_EQ(qvntest::checkOptimal(model, s, 1e-6), "");
    EXPECT_GT(QVNgetbaritcnt(env, lp), 0);
  }
}

} // namespace
