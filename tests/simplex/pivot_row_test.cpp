// The pivot row by rows and by columns: small models of the shapes of the
// large-LP benchmark (min-cost flow with long arcs, transportation, a
// staircase plan, a covering relaxation) reach the same optimum with both
// loops and either way of forming the row, with the debug layer checking the
// packed row copy at every rebuild. The optimum itself is checked by the
// independent checker on a run through the public interface.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <string>
#include <vector>

#include "model/problem.h"
#include "runtime/debug_checks.h"
#include "simplex/loops.h"
#include "support/lp_model.h"
#include "support/test_support.h"

namespace {

using qvntest::LpModel;
constexpr double kInf = 1e20;

// Grid arcs both ways are uncapacitated, so any balanced supply is feasible.
LpModel flowGrid(std::mt19937 &rng, int side, int longArcs) {
  LpModel m;
  const int nodes = side * side;
  std::vector<double> supply(nodes, 0.0);
  for (int k = 0; k < nodes / 4; ++k) {
    const double a = 1 + rng() % 20;
    supply[rng() % nodes] += a;
    supply[rng() % nodes] -= a;
  }
  for (int v = 0; v < nodes; ++v) m.addRow('E', supply[v]);
  auto arc = [&](int t, int h, double cost, double cap) { m.addCol(cost, 0, cap, {{t, 1.0}, {h, -1.0}}); };
  for (int v = 0; v < nodes; ++v) {
    if (v % side + 1 < side) arc(v, v + 1, 5 + rng() % 10, kInf), arc(v + 1, v, 5 + rng() % 10, kInf);
    if (v + side < nodes) arc(v, v + side, 5 + rng() % 10, kInf), arc(v + side, v, 5 + rng() % 10, kInf);
  }
  for (int k = 0; k < longArcs; ++k) {
    const int a = rng() % nodes, b = rng() % nodes;
    if (a != b) arc(a, b, 1 + rng() % 30, 2 + rng() % 10);
  }
  return m;
}

// Each sink linked to a few sources; a planted assignment sets the supplies.
LpModel transportation(std::mt19937 &rng, int sources, int sinks, int links) {
  LpModel m;
  std::vector<double> load(sources, 0.0);
  std::vector<std::vector<int>> linked(sinks);
  std::vector<double> demand(sinks);
  for (int j = 0; j < sinks; ++j) {
    demand[j] = 1 + rng() % 50;
    for (int k = 0; k < links; ++k) linked[j].push_back(rng() % sources);
    load[linked[j][0]] += demand[j];
  }
  for (int i = 0; i < sources; ++i) m.addRow('L', load[i] + rng() % 30);
  for (int j = 0; j < sinks; ++j) m.addRow('G', demand[j]);
  for (int j = 0; j < sinks; ++j)
    for (size_t k = 0; k < linked[j].size(); ++k)
      if (k == 0 || linked[j][k] != linked[j][0]) m.addCol(1 + rng() % 60, 0, kInf, {{linked[j][k], 1.0}, {sources + j, 1.0}});
  return m;
}

// Production over periods with stock carried forward; outsourcing keeps every
// period feasible.
LpModel staircase(std::mt19937 &rng, int periods, int products, int resources) {
  LpModel m;
  for (int t = 0; t < periods; ++t) {
    for (int p = 0; p < products; ++p) m.addRow('E', rng() % 30);
    for (int r = 0; r < resources; ++r) m.addRow('L', 40 + rng() % 60);
  }
  const int block = products + resources;
  for (int t = 0; t < periods; ++t)
    for (int p = 0; p < products; ++p) {
      const int b = t * block;
      m.addCol(5 + rng() % 10, 0, kInf, {{b + p, 1.0}, {b + products + p % resources, 1.0 + rng() % 5}});
      m.addCol(100, 0, kInf, {{b + p, 1.0}});
      std::vector<std::pair<int, double>> hold{{b + p, -1.0}};
      if (t + 1 < periods) hold.push_back({b + block + p, 1.0});
      m.addCol(1 + rng() % 3, 0, kInf, hold);
    }
  return m;
}

// Covering rows, each planted in one column so that all ones is feasible.
LpModel covering(std::mt19937 &rng, int rows, int cols) {
  LpModel m;
  for (int i = 0; i < rows; ++i) m.addRow('G', 1.0);
  for (int j = 0; j < cols; ++j) {
    std::vector<int> picked;
    if (j < rows) picked.push_back(j);
    for (int k = 0; k < 2 + static_cast<int>(rng() % 4); ++k) picked.push_back(rng() % rows);
    std::sort(picked.begin(), picked.end());
    picked.erase(std::unique(picked.begin(), picked.end()), picked.end());
    std::vector<std::pair<int, double>> e;
    for (int i : picked) e.push_back({i, 1.0});
    m.addCol(1 + rng() % 20, 0, 1, e);
  }
  return m;
}

class PivotRow : public qvntest::EnvFixture {
protected:
  void SetUp() override {
    EnvFixture::SetUp();
    ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_PREIND, 0), 0);
    ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_SIMDISPLAY, 0), 0);
  }

  // The optimum through the public interface, checked independently.
  double checkedOptimum(const LpModel &m) {
    int status = 0;
    QVNLPptr lp = QVNcreateprob(env, &status, "pivotrow");
    EXPECT_EQ(m.load(env, lp), 0);
    EXPECT_EQ(QVNdualopt(env, lp), 0);
    qvntest::LpSolution s;
    EXPECT_EQ(qvntest::readSolution(env, lp, m, s), 0);
    EXPECT_EQ(s.status, QVN_STAT_OPTIMAL);
    EXPECT_EQ(qvntest::checkOptimal(m, s, 1e-7), "");
    QVNfreeprob(env, &lp);
    return s.objective;
  }

  // One loop run straight on the engine with the row formed as `path`;
  // returns the objective of the real costs at the point it stops on.
  double engineRun(const LpModel &m, bool dual, qvn::PivotRowPath path, long long &byRows, long long &byColumns) {
    int status = 0;
    QVNLPptr lp = QVNcreateprob(env, &status, "pivotrow");
    EXPECT_EQ(m.load(env, lp), 0);
    qvn::WorkLp work;
    qvn::buildWorkLp(*lp->lpData, work);
    qvn::SimplexEngine e;
    EXPECT_EQ(qvn::engineSetup(e, env, work), 0);
    qvn::setSlackBasis(e);
    e.pivotRowPath = path;
    EXPECT_EQ(dual ? qvn::runDualSimplex(e) : qvn::runPrimalSimplex(e), qvn::kRunOptimal);
    double obj = 0.0;
    for (int j = 0; j < e.n; ++j) obj += work.cost[j] * e.x[j];
    byRows = e.rowWiseRows, byColumns = e.columnWiseRows;
    QVNfreeprob(env, &lp);
    return obj;
  }
};

TEST_F(PivotRow, BothWaysAndBothLoopsReachTheCheckedOptimum) {
  std::mt19937 rng(15);
  const std::vector<std::pair<const char *, LpModel>> models = {
      {"flow grid", flowGrid(rng, 9, 120)},
      {"transportation", transportation(rng, 12, 60, 5)},
      {"staircase", staircase(rng, 6, 10, 3)},
      {"covering", covering(rng, 40, 160)},
  };
  using Path = qvn::PivotRowPath;
  for (const auto &[name, m] : models) {
    SCOPED_TRACE(name);
    const double optimum = checkedOptimum(m);
    qvn::setDebugLevel(env, 1);  // the packed copy is checked at each rebuild
    for (bool dual : {true, false})
      for (Path path : {Path::kMeasured, Path::kRowWise, Path::kColumnWise}) {
        SCOPED_TRACE(std::string(dual ? "dual " : "primal ") + std::to_string(static_cast<int>(path)));
        long long byRows = 0, byColumns = 0;
        const double obj = engineRun(m, dual, path, byRows, byColumns);
        EXPECT_NEAR(obj, optimum, 1e-7 * std::max(1.0, std::fabs(optimum)));
        if (path == Path::kRowWise) { EXPECT_EQ(byColumns, 0); }
        if (path == Path::kColumnWise) { EXPECT_EQ(byRows, 0); }
        if (path != Path::kColumnWise) { EXPECT_GT(byRows, 0); }
      }
    EXPECT_EQ(qvn::debugFailureCount(env), 0) << qvn::debugFirstFailure(env);
    qvn::setDebugLevel(env, 0);
  }
}

} // namespace
