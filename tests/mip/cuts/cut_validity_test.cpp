// Every cut of every family keeps every integer point: small bounded models
// are solved with cuts on, and each cut the run made (in the LP at the end or
// purged on the way) is tested on all integer points of the model, found by
// enumeration; mixed models are tested per integer assignment on the
// continuous polytope through a separate LP. On MIPLIB models a known optimal
// solution, checked independently, must satisfy every cut of a full run.
// What probing leaves behind (the root's bounds, the cliques, the implied
// bounds) is held to the same points.
#include <gtest/gtest.h>

#include <cmath>

#include "mip/cuts/cut_pool.h"
#include "mip/mip_check.h"
#include "mip/mip_search.h"
#include "model/problem.h"
#include "mip/mip_models.h"
#include "mip/plugins.h"
#include "support/test_support.h"

namespace qvntest {
namespace {

struct CutView {
  std::vector<int> index;
  std::vector<double> value;
  char sense;
  double rhs;
  int family;
};

std::vector<CutView> cutsOf(QVNLPptr lp) {
  std::vector<CutView> out;
  const qvn::CutPool *pool = qvn::mipCutPool(lp);
  if (!pool) return out;
  for (const qvn::CutBlock *b : {&pool->installed, &pool->retired})
    for (const qvn::Cut &c : b->cuts) {
      CutView v{{}, {}, c.sense, c.rhs, c.family};
      for (int t = 0; t < c.count; ++t) {
        v.index.push_back(b->index[c.start + t]);
        v.value.push_back(b->value[c.start + t]);
      }
      out.push_back(v);
    }
  return out;
}

double violation(const CutView &c, const std::vector<double> &x) {
  double a = 0.0;
  for (size_t t = 0; t < c.index.size(); ++t) a += c.value[t] * x[c.index[t]];
  return c.sense == 'L' ? a - c.rhs : c.rhs - a;
}

// Empty when x lies within the root's working bounds, takes at most one
// literal of every clique and obeys every implied bound of its binaries;
// else the first fact it breaks.
std::string probingFactsHold(QVNLPptr lp, const std::vector<double> &x, int *facts = nullptr) {
  const MipSearch *s = lp->mipSearch;
  if (!s || !s->cuts) return "";
  const double tol = 1e-6;
  int n = 0;
  for (size_t j = 0; j < x.size() && j < s->rootLower.size(); ++j, ++n)
    if (x[j] < s->rootLower[j] - tol || x[j] > s->rootUpper[j] + tol)
      return "column " + std::to_string(j) + " outside its probed bounds";
  const qvn::CliqueTable &t = s->cuts->cliques;
  for (int k = 0; k < qvn::cliqueCount(t); ++k, ++n) {
    double sum = 0.0;
    for (int p = t.start[k]; p < t.start[k + 1]; ++p) {
      const int lit = t.members[p];
      sum += lit > 0 ? x[lit - 1] : 1.0 - x[-lit - 1];
    }
    if (sum > 1.0 + tol) return "clique " + std::to_string(k) + " has two true literals";
  }
  for (const qvn::ImpliedBound &e : s->cuts->implied.entries) {
    ++n;
    if (std::fabs(x[e.binary] - e.value) > tol) continue;
    if ((e.type == 'U' && x[e.col] > e.bound + tol * (1.0 + std::fabs(e.bound))) ||
        (e.type == 'L' && x[e.col] < e.bound - tol * (1.0 + std::fabs(e.bound))))
      return "implied bound on column " + std::to_string(e.col) + " from column " + std::to_string(e.binary);
  }
  if (facts) *facts = n;
  return "";
}

bool rowsHold(const MipModel &m, const std::vector<double> &x) {
  const LpModel &d = m.lp;
  std::vector<double> act(d.rhs.size(), 0.0);
  for (int j = 0; j < d.numCols(); ++j)
    for (auto [i, v] : d.cols[j]) act[i] += v * x[j];
  for (int i = 0; i < d.numRows(); ++i) {
    const double r = d.rhs[i], tol = 1e-9;
    if (d.sense[i] == 'L' && act[i] > r + tol) return false;
    if (d.sense[i] == 'G' && act[i] < r - tol) return false;
    if (d.sense[i] == 'E' && std::fabs(act[i] - r) > tol) return false;
    if (d.sense[i] == 'R') {
      const double w = d.range[i];
      if (act[i] < std::min(r, r + w) - tol || act[i] > std::max(r, r + w) + tol) return false;
    }
  }
  return true;
}

class CutValidityTest : public ExactMipFixture {
protected:
  void SetUp() override {
    ExactMipFixture::SetUp();
    // Gomory on every model and in several rounds: their rank grows with the rounds.
    QVNsetintparam(env, QVN_PARAM_FRACPASS, 5);
    // Tightening cuts are off unless asked for.
    QVNsetintparam(env, 2080, 1);
    // Cuts are read on the columns of the model they were made on.
    QVNsetintparam(env, QVN_PARAM_PREIND, 0);
  }
  // Solves m, compares with enumeration and checks each cut on every integer
  // point; returns the number of cuts checked.
  int checkPureInteger(const MipModel &m, const std::string &what) {
    EXPECT_EQ(loadMipModel(env, lp, m), 0) << what;
    EXPECT_EQ(QVNmipopt(env, lp), 0) << what;
    double optimum = 0.0;
    if (enumerateOptimum(m, &optimum)) {
      EXPECT_EQ(QVNgetstat(env, lp), QVN_STAT_MIP_OPTIMAL) << what;
      double objective = 0.0;
      EXPECT_EQ(QVNgetobjval(env, lp, &objective), 0) << what;
      EXPECT_NEAR(objective, optimum, 1e-6 * (1.0 + std::fabs(optimum))) << what;
    } else {
      EXPECT_EQ(QVNgetstat(env, lp), QVN_STAT_MIP_INFEASIBLE) << what;
    }
    const std::vector<CutView> cuts = cutsOf(lp);
    const int n = m.lp.numCols();
    std::vector<double> x(n);
    for (int j = 0; j < n; ++j) x[j] = m.lp.lower[j];
    for (long point = 0; point < 2000000; ++point) {
      if (rowsHold(m, x)) {
        for (const CutView &c : cuts) {
          const double v = violation(c, x);
          EXPECT_LE(v, 1e-6) << what << ": family " << c.family << " cuts off an integer point";
          if (v > 1e-6) return static_cast<int>(cuts.size());
        }
        const std::string fault = probingFactsHold(lp, x);
        EXPECT_EQ(fault, "") << what;
        if (!fault.empty()) return static_cast<int>(cuts.size());
      }
      int j = 0;
      while (j < n && x[j] >= m.lp.upper[j]) x[j] = m.lp.lower[j], ++j;
      if (j == n) break;
      x[j] += 1.0;
    }
    return static_cast<int>(cuts.size());
  }
};

TEST_F(CutValidityTest, PureIntegerModelsByEnumeration) {
  int checked = 0;
  for (uint64_t seed = 1; seed <= 12; ++seed) {
    checked += checkPureInteger(knapsack(seed, 10), "knapsack " + std::to_string(seed));
    checked += checkPureInteger(setCover(seed, 9, 7), "set cover " + std::to_string(seed));
    checked += checkPureInteger(randomIntegerModel(seed, 6, 4), "integer " + std::to_string(seed));
  }
  EXPECT_GT(checked, 20);  // the families did work on these models
}

// A knapsack over binaries that come in choice groups (at most one of each
// group, some of them read complemented through a negative coefficient):
// the ground of GUB covers.
MipModel groupedKnapsack(uint64_t seed) {
  TestRandom r(seed);
  MipModel m;
  m.lp.objSense = QVN_MAX;
  const int n = 12;
  const int weight = m.lp.addRow('L', 0);
  double total = 0.0;
  for (int j = 0; j < n; ++j) {
    const double a = r.range(4, 30) * (j % 5 == 4 ? -1 : 1);
    m.lp.addCol(r.range(5, 40), 0, 1, {{weight, a}});
    total += std::fabs(a);
  }
  m.lp.rhs[weight] = static_cast<int>(total / 3.0) - 30;
  for (int g = 0; g < n; g += 3) {
    const int row = m.lp.addRow('L', 1);
    for (int j = g; j < g + 3; ++j) m.lp.set(row, j, 1.0);
  }
  m.ctype.assign(static_cast<size_t>(n), 'B');
  return m;
}

TEST_F(CutValidityTest, GubCoversKeepEveryPoint) {
  int gub = 0;
  for (uint64_t seed = 1; seed <= 30; ++seed) {
    checkPureInteger(groupedKnapsack(seed), "grouped knapsack " + std::to_string(seed));
    for (const CutView &c : cutsOf(lp)) gub += c.family == qvn::kCutGub;
  }
  EXPECT_GT(gub, 5);  // groups took part in covers
}

// With every family aggressive the node rounds run too: the cuts they add
// (global, made against the root's bounds at a node's point) and the root's
// cuts they bring back must keep every integer point as well.
TEST_F(CutValidityTest, NodeRoundsKeepEveryPoint) {
  for (int param : {QVN_PARAM_COVERS, QVN_PARAM_MIRCUTS, QVN_PARAM_FLOWCOVERS, QVN_PARAM_IMPLBD, QVN_PARAM_CLIQUES})
    QVNsetintparam(env, param, 2);
  // Fewer root rounds leave the nodes more to do.
  QVNsetintparam(env, QVN_PARAM_CUTPASS, 1);
  int nodeCuts = 0;
  for (uint64_t seed = 1; seed <= 12; ++seed) {
    checkPureInteger(knapsack(seed, 10), "knapsack " + std::to_string(seed));
    const MipSearch *s = lp->mipSearch;
    for (int k = 0; s && s->cuts && k < qvn::kCutFamilyCount; ++k) nodeCuts += s->cuts->nodeApplied[k];
    checkPureInteger(randomIntegerModel(seed, 6, 4), "integer " + std::to_string(seed));
    s = lp->mipSearch;
    for (int k = 0; s && s->cuts && k < qvn::kCutFamilyCount; ++k) nodeCuts += s->cuts->nodeApplied[k];
  }
  EXPECT_GT(nodeCuts, 10);  // the nodes did find cuts
}

// Binaries that switch small general integers on and off through random
// rows: probing finds fixings, conflicts and implied bounds here, and node
// propagation acts on them.
MipModel switchedIntegers(uint64_t seed) {
  TestRandom r(seed);
  MipModel m;
  m.lp.objSense = seed % 2 ? QVN_MAX : QVN_MIN;
  const int binaries = 4, integers = 3;
  for (int i = 0; i < binaries; ++i) m.lp.addCol(r.range(-5, 5), 0.0, 1.0);
  for (int i = 0; i < integers; ++i) m.lp.addCol(r.range(-5, 5), 0.0, 3.0);
  m.ctype = std::string(binaries, 'B') + std::string(integers, 'I');
  // Each integer needs its binary: x_i <= 3 y_i.
  for (int i = 0; i < integers; ++i) {
    const int link = m.lp.addRow('L', 0.0);
    m.lp.set(link, binaries + i, 1.0);
    m.lp.set(link, i, -3.0);
  }
  for (int k = 0; k < 3; ++k) {
    const char sense = "LGL"[k];
    const int row = m.lp.addRow(sense, sense == 'L' ? r.range(2, 6) : r.range(1, 3));
    for (int j = 0; j < binaries + integers; ++j)
      if (r.range(0, 2) > 0) m.lp.set(row, j, r.range(sense == 'L' ? 1 : -1, 3));
  }
  return m;
}

TEST_F(CutValidityTest, ProbingAndNodePropagationKeepEveryPoint) {
  // With and without node propagation the runs must reach the enumerated
  // optimum, and the facts probing left must hold on every integer point.
  int found = 0;
  for (int propagation : {1, -1})
    for (uint64_t seed = 1; seed <= 30; ++seed) {
      QVNsetintparam(env, 2038, propagation);
      const std::string what = "switched " + std::to_string(seed) + " propagation " + std::to_string(propagation);
      checkPureInteger(switchedIntegers(seed), what);
      const MipSearch *s = lp->mipSearch;
      if (s && s->cuts) {
        const qvn::ProbeResult &r = s->cuts->probing;
        found += r.fixed + r.tightened + r.pairs + r.implications;
      }
    }
  EXPECT_GT(found, 30);  // probing had work to do
}

// Fixed charge network in small: open facility i (binary y_i) to ship up to
// U_i y_i (continuous x_i); demand D must be met. MIR and Gomory cuts mix
// both kinds of columns here.
MipModel fixedCharge(uint64_t seed, int n) {
  TestRandom r(seed);
  MipModel m;
  m.lp.objSense = QVN_MIN;
  for (int i = 0; i < n; ++i) m.lp.addCol(r.range(1, 9), 0.0, 1.0);            // y_i
  for (int i = 0; i < n; ++i) m.lp.addCol(r.range(1, 5) * 0.5, 0.0, 1e20);     // x_i
  m.ctype = std::string(n, 'B') + std::string(n, 'C');
  const int demand = m.lp.addRow('G', r.range(5, 12));
  for (int i = 0; i < n; ++i) {
    const int link = m.lp.addRow('L', 0.0);
    m.lp.set(link, n + i, 1.0);
    m.lp.set(link, i, -r.range(2, 7));
    m.lp.set(demand, n + i, 1.0);
  }
  // A side budget on the binaries gives covers something to do.
  const int budget = m.lp.addRow('L', r.range(6, 10));
  for (int i = 0; i < n; ++i) m.lp.set(budget, i, r.range(2, 5));
  // A weighted cap on the shipments puts the columns with their variable
  // upper bounds on the other side of a row.
  const int cap = m.lp.addRow('L', r.range(12, 20));
  for (int i = 0; i < n; ++i) m.lp.set(cap, n + i, r.range(1, 3));
  return m;
}

// One node with a capacity: most profit from shipments x_i <= U_i y_i that
// pay a fixed cost for y_i, sum x_i <= C. Flow cuts see the shipments on the
// capacity's side through their variable upper bounds.
MipModel singleNodeFlow(uint64_t seed, int n) {
  TestRandom r(seed);
  MipModel m;
  m.lp.objSense = QVN_MAX;
  for (int i = 0; i < n; ++i) m.lp.addCol(-r.range(2, 9), 0.0, 1.0);  // y_i
  for (int i = 0; i < n; ++i) m.lp.addCol(r.range(2, 6), 0.0, 1e20);  // x_i
  m.ctype = std::string(n, 'B') + std::string(n, 'C');
  const int cap = m.lp.addRow('L', r.range(6, 14));
  for (int i = 0; i < n; ++i) {
    const int link = m.lp.addRow('L', 0.0);
    m.lp.set(link, n + i, 1.0);
    m.lp.set(link, i, -r.range(3, 8));
    m.lp.set(cap, n + i, r.range(1, 2));
  }
  return m;
}

// Facilities i (binary y_i, fixed cost) serve the demands of k customers
// through shipments x_ij with cost, up to a capacity U_i y_i per facility:
// ten and more continuous columns per integer, where MIR runs on the rows of
// the tableau in place of Gomory.
MipModel facilityLocation(uint64_t seed, int n, int k) {
  TestRandom r(seed);
  MipModel m;
  m.lp.objSense = QVN_MIN;
  for (int i = 0; i < n; ++i) m.lp.addCol(r.range(20, 60), 0.0, 1.0);  // y_i
  for (int i = 0; i < n; ++i)
    for (int j = 0; j < k; ++j) m.lp.addCol(r.range(1, 9), 0.0, 1e20);  // x_ij
  m.ctype = std::string(n, 'B') + std::string(n * k, 'C');
  std::vector<int> demand(k);
  int total = 0;
  for (int j = 0; j < k; ++j) {
    const int d = r.range(1, 6);
    total += d;
    demand[j] = m.lp.addRow('G', d);
    for (int i = 0; i < n; ++i) m.lp.set(demand[j], n + i * k + j, 1.0);
  }
  for (int i = 0; i < n; ++i) {
    const int cap = m.lp.addRow('L', 0.0);
    m.lp.set(cap, i, -(total / 2 + r.range(1, 8)));
    for (int j = 0; j < k; ++j) m.lp.set(cap, n + i * k + j, 1.0);
  }
  return m;
}

TEST_F(CutValidityTest, MixedModelsPerIntegerAssignment) {
  int checked = 0, facts = 0, flowCuts = 0, tableauMir = 0;
  for (uint64_t seed = 1; seed <= 22; ++seed) {
    const bool facility = seed > 16;
    const int n = facility ? 3 : 5;
    const MipModel m = facility ? facilityLocation(seed, n, 10) : seed % 2 ? fixedCharge(seed, n) : singleNodeFlow(seed, n);
    ASSERT_EQ(loadMipModel(env, lp, m), 0);
    ASSERT_EQ(QVNmipopt(env, lp), 0);
    const std::vector<CutView> cuts = cutsOf(lp);
    checked += static_cast<int>(cuts.size());
    for (const CutView &c : cuts) {
      flowCuts += c.family == qvn::kCutFlow;
      tableauMir += facility && c.family == qvn::kCutMir;
    }
    // For each y, the largest value of each cut's left side over the
    // continuous polytope, by an LP on a separate problem.
    int status = 0;
    QVNLPptr sub = QVNcreateprob(env, &status, "sub");
    ASSERT_NE(sub, nullptr);
    // A root that needs no cut rounds leaves no probing facts either.
    const MipSearch *s = lp->mipSearch;
    if (!s || !s->cuts) continue;
    facts += static_cast<int>(s->cuts->implied.entries.size()) + qvn::cliqueCount(s->cuts->cliques);
    for (int mask = 0; mask < (1 << n); ++mask) {
      MipModel fixed = m;
      for (int i = 0; i < n; ++i) fixed.lp.lower[i] = fixed.lp.upper[i] = (mask >> i) & 1;
      // What probing claims for this y, as inequalities on the continuous
      // columns (family -1): the root's bounds and the implied bounds that apply.
      std::vector<CutView> tests = cuts;
      for (int j = n; j < fixed.lp.numCols(); ++j) {
        if (s->rootUpper[j] < 1e20) tests.push_back(CutView{{j}, {1.0}, 'L', s->rootUpper[j], -1});
        tests.push_back(CutView{{j}, {1.0}, 'G', s->rootLower[j], -1});
      }
      for (const qvn::ImpliedBound &e : s->cuts->implied.entries)
        if (e.binary < n && ((mask >> e.binary) & 1) == e.value)
          tests.push_back(CutView{{e.col}, {1.0}, e.type == 'U' ? 'L' : 'G', e.bound, -1});
      bool feasible = true;
      for (const CutView &c : tests) {
        for (int j = 0; j < fixed.lp.numCols(); ++j) fixed.lp.obj[j] = 0.0;
        for (size_t t = 0; t < c.index.size(); ++t) fixed.lp.obj[c.index[t]] = c.value[t];
        fixed.lp.objSense = c.sense == 'L' ? QVN_MAX : QVN_MIN;
        ASSERT_EQ(fixed.lp.load(env, sub), 0);
        ASSERT_EQ(QVNlpopt(env, sub), 0);
        const int st = QVNgetstat(env, sub);
        if (st == QVN_STAT_INFEASIBLE) {
          feasible = false;  // this y admits no point at all
          break;
        }
        ASSERT_EQ(st, QVN_STAT_OPTIMAL) << "seed " << seed;
        double extreme = 0.0;
        ASSERT_EQ(QVNgetobjval(env, sub, &extreme), 0);
        const double v = c.sense == 'L' ? extreme - c.rhs : c.rhs - extreme;
        EXPECT_LE(v, 1e-6 * (1.0 + std::fabs(c.rhs))) << "seed " << seed << " y " << mask << " family " << c.family;
      }
      // A y with a point takes at most one literal of each clique.
      if (!feasible) continue;
      std::vector<double> y(fixed.lp.numCols(), 0.0);
      for (int i = 0; i < n; ++i) y[i] = (mask >> i) & 1;
      const qvn::CliqueTable &t = s->cuts->cliques;
      for (int k = 0; k < qvn::cliqueCount(t); ++k) {
        double sum = 0.0;
        for (int p = t.start[k]; p < t.start[k + 1]; ++p) {
          const int lit = t.members[p];
          sum += lit > 0 ? y[lit - 1] : 1.0 - y[-lit - 1];
        }
        EXPECT_LE(sum, 1.0) << "seed " << seed << " y " << mask << " clique " << k;
      }
    }
    QVNfreeprob(env, &sub);
  }
  EXPECT_GT(checked, 0);
  EXPECT_GT(facts, 0);
  EXPECT_GT(flowCuts, 0);  // the variable upper bounds x_i <= U_i y_i were used
  EXPECT_GT(tableauMir, 0);
}

// The debug solution: an optimum found with cuts off and checked by the
// independent checker against the published value must survive every cut.
TEST_F(CutValidityTest, KnownOptimaSurviveEveryCut) {
  const std::string dir = sharedDataDir();
  if (dir.empty()) GTEST_SKIP() << "shared data absent";
  QVNsetdblparam(env, QVN_PARAM_TILIM, 60.0);
  long propagated = 0;  // bounds that node propagation moved in the trees of the full runs
  for (const char *model : {"p0033", "lseu", "gt2", "egout", "mod010"}) {
    double optimum = 0.0;
    ASSERT_TRUE(referenceOptimum(dir, model, &optimum)) << model;
    const std::string file = dir + "/miplib3/" + model + ".mps.gz";
    ASSERT_EQ(QVNreadcopyprob(env, lp, file.c_str(), nullptr), 0) << model;
    const MipModel m = readMipModel(env, lp);
    QVNsetintparam(env, QVN_PARAM_CUTPASS, -1);
    ASSERT_EQ(QVNmipopt(env, lp), 0) << model;
    ASSERT_EQ(QVNgetstat(env, lp), QVN_STAT_MIP_OPTIMAL) << model;
    std::vector<double> known(m.lp.numCols());
    double objective = 0.0;
    ASSERT_EQ(QVNgetx(env, lp, known.data(), 0, m.lp.numCols() - 1), 0);
    ASSERT_EQ(QVNgetobjval(env, lp, &objective), 0);
    ASSERT_NEAR(objective, optimum, 1e-6 * std::max(1.0, std::fabs(optimum))) << model;
    ASSERT_EQ(checkIntegerSolution(m, known, objective, 1e-6), "") << model;
    QVNsetintparam(env, QVN_PARAM_CUTPASS, 0);
    ASSERT_EQ(QVNreadcopyprob(env, lp, file.c_str(), nullptr), 0) << model;
    ASSERT_EQ(QVNmipopt(env, lp), 0) << model;
    const std::vector<CutView> cuts = cutsOf(lp);
    EXPECT_GT(cuts.size(), 0u) << model;
    for (const CutView &c : cuts)
      EXPECT_LE(violation(c, known), 1e-6 * (1.0 + std::fabs(c.rhs))) << model << " family " << c.family;
    // No fixing, bound, clique or implied bound of probing excludes it either.
    EXPECT_EQ(probingFactsHold(lp, known), "") << model;
    propagated += lp->mipSearch->cuts->propagation.boundsMoved;
    double bound = 0.0, relaxation = 0.0;
    ASSERT_TRUE(qvn::mipRootBounds(lp, &relaxation, &bound));
    EXPECT_LE(bound, optimum + 1e-6 * std::max(1.0, std::fabs(optimum))) << model;
    EXPECT_GE(bound, relaxation - 1e-9 * std::max(1.0, std::fabs(relaxation))) << model;
    ASSERT_EQ(QVNgetstat(env, lp), QVN_STAT_MIP_OPTIMAL) << model;
    ASSERT_EQ(QVNgetobjval(env, lp, &objective), 0);
    EXPECT_NEAR(objective, optimum, 1e-6 * std::max(1.0, std::fabs(optimum))) << model;
  }
  EXPECT_GT(propagated, 0);
}

} // namespace
} // namespace qvntest
