// Pricing kinds and the norms that travel with a basis: every kind reaches the
// same optimum, norms can be read, killed and written back, and the weights
// of candidate rows match a hand computation.
#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <string>
#include <vector>

#include "model/problem.h"
#include "simplex/dual_pricing.h"
#include "support/lp_model.h"
#include "support/test_support.h"

namespace {

using qvntest::checkOptimal;
using qvntest::EnvFixture;
using qvntest::LpModel;
using qvntest::LpSolution;

constexpr double kInf = 1e20;

class Pricing : public qvntest::ProblemFixture {
protected:
  void SetUp() override {
    ProblemFixture::SetUp();
    ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_PREIND, 0), 0);
  }
};

// max x + y, x + 2y <= 4, 3x + y <= 6, x, y >= 0: optimum at x = 1.6, y = 1.2
// with both columns basic, B = [1 2; 3 1].
LpModel twoByTwo() {
  LpModel m;
  m.objSense = QVN_MAX;
  m.addRow('L', 4), m.addRow('L', 6);
  m.addCol(1, 0, kInf, {{0, 1}, {1, 3}});
  m.addCol(1, 0, kInf, {{0, 2}, {1, 1}});
  return m;
}

// A random feasible, bounded LP with mixed row senses and bounds.
LpModel randomModel(std::mt19937 &rng, int rows, int cols) {
  std::uniform_real_distribution<double> coef(-3, 3), unit(0, 1);
  LpModel m;
  std::vector<double> x0(cols);
  for (int j = 0; j < cols; ++j) {
    x0[j] = unit(rng) * 4;
    const double lb = unit(rng) < 0.2 ? -kInf : 0.0, ub = unit(rng) < 0.5 ? 5.0 : kInf;
    m.addCol(coef(rng), lb, ub);
  }
  for (int i = 0; i < rows; ++i) {
    double act = 0;
    std::vector<std::pair<int, double>> entries;
    for (int j = 0; j < cols; ++j) {
      if (unit(rng) < 0.4) {
        const double a = coef(rng);
        m.cols[j].push_back({i, a});
        act += a * x0[j];
      }
    }
    const double u = unit(rng);
    if (u < 0.4)
      m.addRow('L', act + unit(rng));
    else if (u < 0.8)
      m.addRow('G', act - unit(rng));
    else
      m.addRow('E', act);
  }
  // A box on every column keeps the optimum finite whatever the costs.
  for (int j = 0; j < cols; ++j) {
    if (m.lower[j] <= -kInf) m.lower[j] = -10;
    if (m.upper[j] >= kInf) m.upper[j] = 10;
  }
  return m;
}

TEST_F(Pricing, EveryKindReachesTheSameOptimum) {
  std::mt19937 rng(11);
  struct Family {
    int param, first, last;
    int (*optimizer)(QVNCENVptr, QVNLPptr);
    const char *name;
  };
  const Family families[] = {{QVN_PARAM_DPRIIND, 0, 5, QVNdualopt, "dual"},
                             {QVN_PARAM_PPRIIND, -1, 4, QVNprimopt, "primal"}};
  for (int trial = 0; trial < 6; ++trial) {
    const LpModel m = randomModel(rng, 12 + trial * 3, 20 + trial * 4);
    double reference = NAN;
    for (const Family &f : families) {
      for (int kind = f.first; kind <= f.last; ++kind) {
        ASSERT_EQ(QVNsetintparam(env, f.param, kind), 0);
        ASSERT_EQ(m.load(env, lp), 0);
        ASSERT_EQ(f.optimizer(env, lp), 0);
        LpSolution s;
        s.status = QVNgetstat(env, lp);
        ASSERT_EQ(s.status, QVN_STAT_OPTIMAL) << "trial " << trial << " " << f.name << " kind " << kind;
        ASSERT_EQ(qvntest::readSolution(env, lp, m, s), 0);
        EXPECT_EQ(checkOptimal(m, s), "") << f.name << " kind " << kind;
        if (std::isnan(reference)) reference = s.objective;
        EXPECT_NEAR(s.objective, reference, 1e-7 * (1 + std::fabs(reference))) << f.name << " kind " << kind;
      }
      ASSERT_EQ(QVNsetintparam(env, f.param, 0), 0);
    }
  }
}

TEST_F(Pricing, NormsAreReadKilledAndWrittenBack) {
  const LpModel m = twoByTwo();
  ASSERT_EQ(m.load(env, lp), 0);
  std::vector<double> norms(2);
  std::vector<int> head(2);
  int len = 0;
  // Without a basis nothing can be installed or read.
  EXPECT_EQ(QVNcopydnorms(env, lp, norms.data(), head.data(), 2), QVNERR_NO_BASIS);
  EXPECT_EQ(QVNgetdnorms(env, lp, norms.data(), head.data(), &len), QVNERR_NO_NORMS);

  ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_DPRIIND, 2), 0);
  ASSERT_EQ(QVNdualopt(env, lp), 0);
  ASSERT_EQ(QVNgetstat(env, lp), QVN_STAT_OPTIMAL);
  ASSERT_EQ(QVNgetdnorms(env, lp, norms.data(), head.data(), &len), 0);
  ASSERT_EQ(len, 2);
  // The optimal basis holds both columns.
  EXPECT_TRUE((head[0] == 0 && head[1] == 1) || (head[0] == 1 && head[1] == 0));
  for (double w : norms) EXPECT_GT(w, 0.0);

  QVNkilldnorms(lp);
  EXPECT_EQ(QVNgetdnorms(env, lp, norms.data(), head.data(), &len), QVNERR_NO_NORMS);
  EXPECT_EQ(QVNcopydnorms(env, lp, norms.data(), head.data(), 3), QVNERR_BAD_ARGUMENT);
  std::vector<int> badHead{0, 7};
  EXPECT_EQ(QVNcopydnorms(env, lp, norms.data(), badHead.data(), 2), QVNERR_INDEX_RANGE_HIGH);
  EXPECT_EQ(QVNgetdnorms(env, lp, norms.data(), head.data(), &len), QVNERR_NO_NORMS);
  const std::vector<double> mine{2.5, 0.75};
  ASSERT_EQ(QVNcopydnorms(env, lp, mine.data(), head.data(), 2), 0);
  std::vector<double> back(2);
  std::vector<int> backHead(2);
  ASSERT_EQ(QVNgetdnorms(env, lp, back.data(), backHead.data(), &len), 0);
  EXPECT_EQ(back, mine);
  EXPECT_EQ(backHead, head);
}

TEST_F(Pricing, CandidateRowWeightsMatchTheBasisInverse) {
  const LpModel m = twoByTwo();
  ASSERT_EQ(m.load(env, lp), 0);
  // Candidate rows x + y and 2y: with B = [1 2; 3 1], B^-T (1, 1) = (0.4, 0.2)
  // and B^-T (0, 2) = (1.2, -0.4), so the weights are 1 + 0.2 and 1 + 1.6.
  const std::vector<int> start{0, 2, 3}, index{0, 1, 1};
  const std::vector<double> value{1, 1, 2};
  std::vector<double> weight(2, -1.0);

  // No basis yet: unit weights and a warning.
  ASSERT_EQ(QVNgetweight(env, lp, 2, start.data(), index.data(), value.data(), weight.data(), 2), 0);
  EXPECT_EQ(weight, (std::vector<double>{1.0, 1.0}));
  EXPECT_NE(log.find("Warning:  No weights computed.\n"), std::string::npos);

  ASSERT_EQ(QVNdualopt(env, lp), 0);
  ASSERT_EQ(QVNgetstat(env, lp), QVN_STAT_OPTIMAL);
  ASSERT_EQ(QVNgetweight(env, lp, 2, start.data(), index.data(), value.data(), weight.data(), 2), 0);
  EXPECT_NEAR(weight[0], 1.2, 1e-12);
  EXPECT_NEAR(weight[1], 2.6, 1e-12);
  // Full norms add the row's entries over the nonbasic logicals: rho itself.
  ASSERT_EQ(QVNgetweight(env, lp, 2, start.data(), index.data(), value.data(), weight.data(), 3), 0);
  EXPECT_NEAR(weight[0], 1.4, 1e-12);
  EXPECT_NEAR(weight[1], 4.2, 1e-12);
  // Unit starts and plain pricing see 1.0.
  for (int kind : {1, 4}) {
    ASSERT_EQ(QVNgetweight(env, lp, 2, start.data(), index.data(), value.data(), weight.data(), kind), 0);
    EXPECT_EQ(weight, (std::vector<double>{1.0, 1.0}));
  }

  // Bad arguments change nothing.
  weight.assign(2, -1.0);
  EXPECT_EQ(QVNgetweight(env, lp, 2, start.data(), index.data(), value.data(), weight.data(), 7), QVNERR_PRIIND);
  const std::vector<int> badIndex{0, 5, 1};
  EXPECT_EQ(QVNgetweight(env, lp, 2, start.data(), badIndex.data(), value.data(), weight.data(), 2),
            QVNERR_COL_INDEX_RANGE);
  EXPECT_EQ(QVNgetweight(env, lp, 2, nullptr, index.data(), value.data(), weight.data(), 2), QVNERR_NULL_POINTER);
  EXPECT_EQ(QVNgetweight(env, lp, -1, start.data(), index.data(), value.data(), weight.data(), 2),
            QVNERR_BAD_ARGUMENT);
  EXPECT_EQ(QVNgetweight(env, nullptr, 2, start.data(), index.data(), value.data(), weight.data(), 2),
            QVNERR_NO_PROBLEM);
  EXPECT_EQ(weight, (std::vector<double>{-1.0, -1.0}));
}

TEST_F(Pricing, PerturbationAtTheStartIsLogged) {
  std::mt19937 rng(3);
  const LpModel m = randomModel(rng, 15, 25);
  ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_PERIND, 1), 0);
  for (auto *optimizer : {QVNdualopt, QVNprimopt}) {
    log.clear();
    ASSERT_EQ(m.load(env, lp), 0);
    ASSERT_EQ(optimizer(env, lp), 0);
    const size_t at = log.find("Perturbation started.\n");
    ASSERT_NE(at, std::string::npos);
    // Before the first iteration line after the heading.
    const size_t first = log.find("Iteration:");
    EXPECT_TRUE(first == std::string::npos || at < log.find("Iteration:", first + 1)) << log;
    LpSolution s;
    s.status = QVNgetstat(env, lp);
    ASSERT_EQ(s.status, QVN_STAT_OPTIMAL);
    ASSERT_EQ(qvntest::readSolution(env, lp, m, s), 0);
    EXPECT_EQ(checkOptimal(m, s), "");
  }
}

} // namespace

namespace {

// Engine-level checks of the weight starts that the API cannot see.
class DualWeightStart : public EnvFixture {
protected:
  // Loads m into a fresh problem and builds the computational form of it.
  void build(const LpModel &m) {
    int status = 0;
    lp = QVNcreateprob(env, &status, "weights");
    ASSERT_EQ(m.load(env, lp), 0);
    Problem *p = lp;
    qvn::buildWorkLp(*p->lpData, work);
    ASSERT_EQ(qvn::engineSetup(engine, env, work), 0);
    qvn::setSlackBasis(engine);
    ASSERT_EQ(qvn::refactor(engine), 0);
  }
  void TearDown() override {
    QVNfreeprob(env, &lp);
    EnvFixture::TearDown();
  }
  QVNLPptr lp = nullptr;
  qvn::WorkLp work;
  qvn::SimplexEngine engine;
};

TEST_F(DualWeightStart, NetworkShapeStartsTheSimpleRecursion) {
  // Two sources, a transshipment node and two sinks: rows are node balances.
  LpModel net;
  net.addRow('E', 1), net.addRow('E', 1), net.addRow('E', 0), net.addRow('E', -1), net.addRow('E', -1);
  const int arcs[][2] = {{0, 2}, {1, 2}, {2, 3}, {2, 4}, {0, 3}};
  for (auto &a : arcs) net.addCol(1, 0, kInf, {{a[0], 1}, {a[1], -1}});
  build(net);
  engine.dualPricing = qvn::DualPricingKind::kAutomatic;
  qvn::initDualPricing(engine);
  EXPECT_TRUE(engine.dualSteep.isDevex);
  EXPECT_TRUE(engine.dualSteep.fixedMode);

  // A coefficient other than +-1 breaks the shape; small models never sample.
  LpModel other = net;
  other.cols[0][0].second = 2.0;
  QVNfreeprob(env, &lp);
  build(other);
  engine.dualPricing = qvn::DualPricingKind::kAutomatic;
  qvn::initDualPricing(engine);
  EXPECT_FALSE(engine.dualSteep.isDevex);
  EXPECT_TRUE(engine.dualSteep.fixedMode);
}

TEST_F(DualWeightStart, FullNormsOfASlackBasisAndUnitStarts) {
  // Rows (1, 2, 0), (0, -3, 1): full norms of a slack basis are 2 + the squares.
  LpModel m;
  m.addRow('L', 4), m.addRow('G', -1);
  m.addCol(1, 0, 5, {{0, 1}});
  m.addCol(1, 0, 5, {{0, 2}, {1, -3}});
  m.addCol(1, 0, 5, {{1, 1}});
  build(m);
  engine.dualPricing = qvn::DualPricingKind::kSteepestFull;
  qvn::initDualPricing(engine);
  ASSERT_EQ(engine.dualWeights.size(), 2u);
  EXPECT_DOUBLE_EQ(engine.dualWeights[0], 2.0 + 1 + 4);
  EXPECT_DOUBLE_EQ(engine.dualWeights[1], 2.0 + 9 + 1);
  for (auto kind : {qvn::DualPricingKind::kPlain, qvn::DualPricingKind::kSteepest,
                    qvn::DualPricingKind::kSteepestUnitStart}) {
    engine.dualWeightsValid = false;
    engine.dualPricing = kind;
    qvn::initDualPricing(engine);
    EXPECT_EQ(engine.dualWeights[0], 1.0);
    EXPECT_EQ(engine.dualWeights[1], 1.0);
  }
}

} // namespace
