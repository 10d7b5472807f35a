// Crossover from the barrier's interior point to a basis: on small models
// whose optimal faces are known (a vertex, a primal edge, a dual edge, free
// columns) and on netlib models, each result checked by the independent
// optimality check and by a basis check written here from the model data.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "runtime/alloc.h"
#include "support/lp_model.h"
#include "support/test_support.h"

namespace {

using qvntest::LpModel;
using qvntest::LpSolution;

// The basis of lp against the solution: as many basic variables as rows,
// every nonbasic column at the bound its status names (free ones at 0), every
// nonbasic row at the limit its status names. Empty when all holds.
std::string checkBasis(QVNENVptr env, QVNLPptr lp, const LpModel &m, const LpSolution &s, double tol) {
  const int n = m.numCols(), rows = m.numRows();
  std::vector<int> cstat(n), rstat(rows);
  if (QVNgetbase(env, lp, cstat.data(), rstat.data()) != 0) return "no basis";
  int basic = 0;
  for (int j = 0; j < n; ++j) {
    const double scale = std::max(1.0, std::fabs(s.x[j]));
    if (cstat[j] == 1) {
      ++basic;
    } else if (cstat[j] == 0) {
      if (std::fabs(s.x[j] - m.lower[j]) > tol * scale) return "column " + std::to_string(j) + " not at its lower bound";
    } else if (cstat[j] == 2) {
      if (std::fabs(s.x[j] - m.upper[j]) > tol * scale) return "column " + std::to_string(j) + " not at its upper bound";
    } else if (m.lower[j] > -QVN_INFBOUND || m.upper[j] < QVN_INFBOUND || std::fabs(s.x[j]) > tol) {
      return "column " + std::to_string(j) + " superbasic";
    }
  }
  for (int i = 0; i < rows; ++i) {
    if (rstat[i] == 1) {
      ++basic;
      continue;
    }
    const double act = m.rhs[i] - s.slack[i];
    // A nonbasic row sits at its right-hand side; a ranged one at status 2
    // sits at the other end of its range.
    const double limit = m.sense[i] == 'R' && rstat[i] == 2 ? m.rhs[i] + m.range[i] : m.rhs[i];
    if (std::fabs(act - limit) > tol * std::max(1.0, std::fabs(act)))
      return "row " + std::to_string(i) + " nonbasic off its limit";
  }
  if (basic != rows) return std::to_string(basic) + " basic variables for " + std::to_string(rows) + " rows";
  return "";
}

int crossoverMoves(QVNENVptr env, QVNLPptr lp) {
  return QVNgetcrossppushcnt(env, lp) + QVNgetcrosspexchcnt(env, lp) + QVNgetcrossdpushcnt(env, lp) +
         QVNgetcrossdexchcnt(env, lp);
}

class CrossoverTest : public qvntest::ProblemFixture {
protected:
  void SetUp() override {
    ProblemFixture::SetUp();
    ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_BARDISPLAY, 0), 0);
    // Presolve would settle these models alone; the crossover is under test.
    ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_PREIND, 0), 0);
  }

  // Barrier with crossover `kind` (1 primal, 2 dual) on m: optimal with the
  // expected objective, checked solution and basis. Returns the solution.
  LpSolution crossTo(const LpModel &m, int kind, double expected) {
    LpSolution s;
    EXPECT_EQ(m.load(env, lp), 0);
    log.clear();
    EXPECT_EQ(QVNhybbaropt(env, lp, kind), 0);
    EXPECT_EQ(qvntest::readSolution(env, lp, m, s), 0);
    EXPECT_EQ(s.status, QVN_STAT_OPTIMAL);
    EXPECT_NEAR(s.objective, expected, 1e-9 * (1.0 + std::fabs(expected)));
    EXPECT_EQ(qvntest::checkOptimal(m, s, 1e-9), "");
    EXPECT_EQ(checkBasis(env, lp, m, s, 1e-9), "");
    EXPECT_NE(log.find(kind == 2 ? "\nDual crossover.\n" : "\nPrimal crossover.\n"), std::string::npos) << log;
    EXPECT_NE(log.find("Total crossover time = "), std::string::npos);
    return s;
  }
};

TEST_F(CrossoverTest, AVertexOptimumNeedsNoExchangesAndNoSimplexIterations) {
  // max 3x + 2y, x + y <= 4, x + 3y <= 7, x <= 3: the one optimum (3, 1),
  // value 11, with the second row slack and x at its bound (reduced cost 1).
  LpModel m;
  m.objSense = QVN_MAX;
  const int r0 = m.addRow('L', 4.0), r1 = m.addRow('L', 7.0);
  m.addCol(3.0, 0.0, 3.0, {{r0, 1.0}, {r1, 1.0}});
  m.addCol(2.0, 0.0, QVN_INFBOUND, {{r0, 1.0}, {r1, 3.0}});
  for (int kind : {1, 2}) {
    SCOPED_TRACE(kind);
    const LpSolution s = crossTo(m, kind, 11.0);
    EXPECT_NEAR(s.x[0], 3.0, 1e-9);
    EXPECT_NEAR(s.x[1], 1.0, 1e-9);
    // The interior point stops a complementarity away from the vertex, so
    // the two nonbasic variables may need a push onto their bounds, but no
    // exchange and no simplex iteration.
    EXPECT_EQ(QVNgetcrosspexchcnt(env, lp) + QVNgetcrossdexchcnt(env, lp), 0) << log;
    EXPECT_LE(crossoverMoves(env, lp), 4) << log;
    EXPECT_EQ(QVNgetitcnt(env, lp), 0);
  }
}

TEST_F(CrossoverTest, APrimalEdgeIsLeftByPrimalPushes) {
  // min x + y, x + y >= 2, both in [0, 3]: every point of the edge from (2, 0)
  // to (0, 2) is optimal (value 2); the interior point lies inside it, and
  // the crossover must move one of the two to a bound.
  LpModel m;
  const int r0 = m.addRow('G', 2.0);
  m.addCol(1.0, 0.0, 3.0, {{r0, 1.0}});
  m.addCol(1.0, 0.0, 3.0, {{r0, 1.0}});
  for (int kind : {1, 2}) {
    SCOPED_TRACE(kind);
    const LpSolution s = crossTo(m, kind, 2.0);
    EXPECT_NEAR(std::min(s.x[0], s.x[1]), 0.0, 1e-9);
    EXPECT_GT(QVNgetcrossppushcnt(env, lp) + QVNgetcrosspexchcnt(env, lp), 0);
    EXPECT_NE(log.find("PMoves:  Infeasibility"), std::string::npos) << log;
    EXPECT_EQ(QVNgetitcnt(env, lp), 0);
  }
}

TEST_F(CrossoverTest, ADualEdgeIsLeftByDualPushes) {
  // min x + y with x + y >= 1, x >= 0.5, y >= 0.5 as rows: the point (0.5,
  // 0.5) is the one optimum (value 1), but its duals (t, 1 - t, 1 - t) are
  // optimal for every t in [0, 1]. The interior point takes t inside; the
  // crossover must bring a basic row's dual to 0.
  LpModel m;
  const int r0 = m.addRow('G', 1.0), r1 = m.addRow('G', 0.5), r2 = m.addRow('G', 0.5);
  m.addCol(1.0, 0.0, 10.0, {{r0, 1.0}, {r1, 1.0}});
  m.addCol(1.0, 0.0, 10.0, {{r0, 1.0}, {r2, 1.0}});
  for (int kind : {1, 2}) {
    SCOPED_TRACE(kind);
    const LpSolution s = crossTo(m, kind, 1.0);
    EXPECT_NEAR(s.x[0], 0.5, 1e-9);
    EXPECT_NEAR(s.x[1], 0.5, 1e-9);
    // A vertex of the dual edge: t = 0 or t = 1.
    EXPECT_TRUE(std::fabs(s.pi[0]) < 1e-9 || std::fabs(s.pi[0] - 1.0) < 1e-9) << s.pi[0];
    EXPECT_GT(QVNgetcrossdpushcnt(env, lp) + QVNgetcrossdexchcnt(env, lp), 0);
    EXPECT_NE(log.find("DMoves:  Infeasibility"), std::string::npos) << log;
    EXPECT_EQ(QVNgetitcnt(env, lp), 0);
  }
}

TEST_F(CrossoverTest, FreeColumnsRangesAndEqualitiesCrossToTheirOptima) {
  // min 1.5x - y with a free y, x in [-2, 5], -1 <= x + y <= 3, y - x = 1:
  // y = x + 1 makes the objective 0.5x - 1, the range gives x >= -1: the
  // optimum is x = -1, y = 0, value -1.5.
  {
    LpModel m;
    const int r0 = m.addRow('R', -1.0, 4.0), r1 = m.addRow('E', 1.0);
    m.addCol(1.5, -2.0, 5.0, {{r0, 1.0}, {r1, -1.0}});
    m.addCol(-1.0, -QVN_INFBOUND, QVN_INFBOUND, {{r0, 1.0}, {r1, 1.0}});
    for (int kind : {1, 2}) {
      SCOPED_TRACE(kind);
      const LpSolution s = crossTo(m, kind, -1.5);
      EXPECT_NEAR(s.x[0], -1.0, 1e-9);
      EXPECT_NEAR(s.x[1], 0.0, 1e-9);
    }
  }
  // Two free columns that the objective leaves on an edge: min u + v, u, v
  // free, u + v >= 4, u - v <= 2, v <= 3 (a row): the optimal edge runs from
  // (1, 3) to (3, 1); a basis needs both free columns basic and one of the
  // bounding rows tight.
  {
    LpModel m;
    const int r0 = m.addRow('G', 4.0), r1 = m.addRow('L', 2.0), r2 = m.addRow('L', 3.0);
    m.addCol(1.0, -QVN_INFBOUND, QVN_INFBOUND, {{r0, 1.0}, {r1, 1.0}});
    m.addCol(1.0, -QVN_INFBOUND, QVN_INFBOUND, {{r0, 1.0}, {r1, -1.0}, {r2, 1.0}});
    for (int kind : {1, 2}) {
      SCOPED_TRACE(kind);
      const LpSolution s = crossTo(m, kind, 4.0);
      EXPECT_TRUE(std::fabs(s.x[0] - 1.0) < 1e-9 || std::fabs(s.x[0] - 3.0) < 1e-9) << s.x[0];
      std::vector<int> cstat(2), rstat(3);
      ASSERT_EQ(QVNgetbase(env, lp, cstat.data(), rstat.data()), 0);
      EXPECT_EQ(cstat[0], 1);
      EXPECT_EQ(cstat[1], 1);
    }
  }
}

TEST_F(CrossoverTest, CountersLimitsAndMethodChoice) {
  LpModel m;
  const int r0 = m.addRow('G', 2.0);
  m.addCol(1.0, 0.0, 3.0, {{r0, 1.0}});
  m.addCol(1.0, 0.0, 3.0, {{r0, 1.0}});
  ASSERT_EQ(m.load(env, lp), 0);
  // Nothing has run: all four read 0.
  EXPECT_EQ(crossoverMoves(env, lp), 0);
  ASSERT_EQ(QVNbaropt(env, lp), 0);
  EXPECT_GT(crossoverMoves(env, lp), 0);
  // A simplex run after it: 0 again.
  ASSERT_EQ(QVNprimopt(env, lp), 0);
  EXPECT_EQ(crossoverMoves(env, lp), 0);
  // Without crossover: 0, and the interior point is the answer.
  ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_BARCROSSALG, -1), 0);
  ASSERT_EQ(QVNbaropt(env, lp), 0);
  EXPECT_EQ(crossoverMoves(env, lp), 0);
  ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_BARCROSSALG, 0), 0);
  // The iteration limit stops the moves at once: the interior point stays
  // with status 10.
  ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_ITLIM, 0), 0);
  ASSERT_EQ(QVNbaropt(env, lp), 0);
  EXPECT_EQ(QVNgetstat(env, lp), QVN_STAT_ABORT_IT_LIM);
  double obj = 0.0;
  ASSERT_EQ(QVNgetobjval(env, lp, &obj), 0);
  EXPECT_NEAR(obj, 2.0, 1e-6);
  EXPECT_EQ(crossoverMoves(env, lp), 0);
  ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_ITLIM, 2100000000), 0);
  // A bad method number changes nothing; a bad handle reads 0.
  EXPECT_EQ(QVNhybbaropt(env, lp, 3), QVNERR_BAD_ARGUMENT);
  EXPECT_EQ(QVNgetstat(env, lp), QVN_STAT_ABORT_IT_LIM);
  takeErrors();
  EXPECT_EQ(QVNgetcrossppushcnt(env, nullptr), 0);
  EXPECT_FALSE(takeErrors().empty());
}

TEST_F(CrossoverTest, AMemoryFailureEndsInTheSimplexOrInError) {
  // The dual edge model: both phases move. Every allocation of a run fails in
  // turn; the run then ends in 1001 or, when the crossover's own memory
  // failed, goes on to the simplex from the basis it had and still reaches
  // the optimum.
  LpModel m;
  const int r0 = m.addRow('G', 1.0), r1 = m.addRow('G', 0.5), r2 = m.addRow('G', 0.5);
  m.addCol(1.0, 0.0, 10.0, {{r0, 1.0}, {r1, 1.0}});
  m.addCol(1.0, 0.0, 10.0, {{r0, 1.0}, {r2, 1.0}});
  ASSERT_EQ(m.load(env, lp), 0);
  const long before = qvn::allocCount();
  ASSERT_EQ(QVNbaropt(env, lp), 0);
  const long perRun = qvn::allocCount() - before;
  ASSERT_LT(perRun, 5000);
  int optimal = 0, failed = 0;
  bool noted = false;
  for (long n = 1; n <= perRun; ++n) {
    ASSERT_EQ(m.load(env, lp), 0);
    log.clear();
    qvn::allocFailAfter(n);
    const int rc = QVNbaropt(env, lp);
    qvn::allocFailAfter(0);
    if (rc != 0) {
      EXPECT_EQ(rc, QVNERR_NO_MEMORY) << n;
      ++failed;
      continue;
    }
    noted = noted || log.find("Not enough memory for standard crossover.\n") != std::string::npos;
    LpSolution s;
    ASSERT_EQ(qvntest::readSolution(env, lp, m, s), 0);
    EXPECT_EQ(s.status, QVN_STAT_OPTIMAL) << n;
    EXPECT_EQ(qvntest::checkOptimal(m, s, 1e-9), "") << n;
    ++optimal;
  }
  takeErrors();
  EXPECT_GT(failed, 0);
  EXPECT_GT(optimal, 0);
  EXPECT_TRUE(noted);
}

// Netlib models through the whole path (presolve, barrier, crossover, the
// clean-up on the original model): the reference objective, the checked
// solution and basis, and little left for the simplex.
TEST(CrossoverNetlib, SampleCrossesToACheckedOptimalBasis) {
  const std::string data = qvntest::sharedDataDir();
  if (data.empty()) GTEST_SKIP() << "shared test models not present";
  const std::string dir = data + "/netlib";
  std::ifstream in(dir + "/reference.tsv");
  ASSERT_TRUE(in.good());
  const std::vector<std::string> sample = {"afiro", "sc105", "kb2", "blend", "share2b", "scagr7",
                                           "stocfor1", "boeing2", "recipe", "degen2"};
  int status = 0;
  QVNENVptr env = QVNopenQUORVAN(&status);
  ASSERT_NE(env, nullptr);
  ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_BARDISPLAY, 0), 0);
  ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_SIMDISPLAY, 0), 0);
  QVNLPptr lp = QVNcreateprob(env, &status, "netlib");
  ASSERT_NE(lp, nullptr);
  std::string line;
  int seen = 0, moves = 0, found = 0;
  while (std::getline(in, line) && seen++ < 200) {
    std::istringstream fields(line);
    std::string name, stat;
    double ref = 0.0;
    if (!(fields >> name >> stat >> ref)) continue;
    if (std::find(sample.begin(), sample.end(), name) == sample.end()) continue;
    ++found;
    for (int kind : {1, 2}) {
      SCOPED_TRACE(name + (kind == 1 ? " primal" : " dual"));
      ASSERT_EQ(QVNreadcopyprob(env, lp, (dir + "/" + name + ".mps.gz").c_str(), nullptr), 0);
      ASSERT_EQ(QVNhybbaropt(env, lp, kind), 0);
      const LpModel model = qvntest::readModel(env, lp);
      LpSolution s;
      ASSERT_EQ(qvntest::readSolution(env, lp, model, s), 0);
      EXPECT_EQ(s.status, QVN_STAT_OPTIMAL);
      EXPECT_LE(std::fabs(s.objective - ref), 1e-6 * std::max(1.0, std::fabs(ref)));
      EXPECT_EQ(qvntest::checkOptimal(model, s, 1e-6), "");
      EXPECT_EQ(checkBasis(env, lp, model, s, 1e-6), "");
      // The crossed basis is close to optimal: the simplex finishing from it
      // needs a small share of the rows in pivots. The dual crossover leaves
      // more on degenerate models (degen2), whose interior point is far
      // from complementary in the rows the dual pushes meet first.
      EXPECT_LE(QVNgetitcnt(env, lp), model.numRows() / (kind == 1 ? 10 : 4) + 10);
      moves += crossoverMoves(env, lp);
    }
  }
  EXPECT_EQ(found, static_cast<int>(sample.size()));
  EXPECT_GT(moves, 0);
  QVNfreeprob(env, &lp);
  QVNcloseQUORVAN(&env);
}

// pilot4: the primal pushes drive its basis ill-conditioned (the values a
// fresh factor gives drift far from those the moves kept). The primal
// crossover then starts again from the dual side; the dual crossover, whose
// primal pushes break down the same way, starts again without them. Either
// way the simplex finishes in a few pivots instead of the hundreds and more
// from the broken basis.
TEST(CrossoverNetlib, AnIllConditionedPrimalCrossoverStartsAgainFromTheDualSide) {
  const std::string data = qvntest::sharedDataDir();
  if (data.empty()) GTEST_SKIP() << "shared test models not present";
  const std::string dir = data + "/netlib";
  std::ifstream in(dir + "/reference.tsv");
  std::string line;
  double ref = 0.0;
  bool found = false;
  for (int seen = 0; std::getline(in, line) && seen < 200 && !found; ++seen) {
    std::istringstream fields(line);
    std::string name, stat;
    found = (fields >> name >> stat >> ref) && name == "pilot4";
  }
  ASSERT_TRUE(found);
  int status = 0;
  QVNENVptr env = QVNopenQUORVAN(&status);
  ASSERT_NE(env, nullptr);
  ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_BARDISPLAY, 0), 0);
  ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_SIMDISPLAY, 0), 0);
  QVNLPptr lp = QVNcreateprob(env, &status, "pilot4");
  ASSERT_NE(lp, nullptr);
  for (int kind : {0, 2}) {
    SCOPED_TRACE(kind == 0 ? "automatic" : "dual");
    ASSERT_EQ(QVNreadcopyprob(env, lp, (dir + "/pilot4.mps.gz").c_str(), nullptr), 0);
    ASSERT_EQ(QVNhybbaropt(env, lp, kind), 0);
    const LpModel model = qvntest::readModel(env, lp);
    LpSolution s;
    ASSERT_EQ(qvntest::readSolution(env, lp, model, s), 0);
    EXPECT_EQ(s.status, QVN_STAT_OPTIMAL);
    EXPECT_LE(std::fabs(s.objective - ref), 1e-6 * std::max(1.0, std::fabs(ref)));
    EXPECT_EQ(qvntest::checkOptimal(model, s, 1e-6), "");
    EXPECT_EQ(checkBasis(env, lp, model, s, 1e-6), "");
    EXPECT_LE(QVNgetitcnt(env, lp), model.numRows() / 10 + 10);
    EXPECT_GT(QVNgetcrossdpushcnt(env, lp) + QVNgetcrossdexchcnt(env, lp), 0);
  }
  QVNfreeprob(env, &lp);
  QVNcloseQUORVAN(&env);
}

} // namespace
