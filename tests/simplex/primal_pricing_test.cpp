// The pricing kinds of the primal loop: every kind and section setting must
// reach the same checked optimum; the automatic kind reports its moves; a
// kind outside the table is refused.
#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <string>

#include "model/problem.h"
#include "runtime/debug_checks.h"
#include "simplex/primal_pricing.h"
#include "simplex/primal_run_fixture.h"

namespace {

using qvntest::LpModel;

TEST(PrimalSections, CountBySizeOrByTheLimit) {
  // Fewer than 20 columns per row.
  EXPECT_EQ(qvn::partialSectionCount(0, 99, 10), 5);
  EXPECT_EQ(qvn::partialSectionCount(0, 499, 100), 10);
  EXPECT_EQ(qvn::partialSectionCount(0, 999, 100), 15);
  EXPECT_EQ(qvn::partialSectionCount(0, 1999, 100), 20);
  EXPECT_EQ(qvn::partialSectionCount(0, 4999, 1000), 30);
  EXPECT_EQ(qvn::partialSectionCount(0, 5000, 1000), 60);
  // At least 20 columns per row.
  EXPECT_EQ(qvn::partialSectionCount(0, 999, 10), 5);
  EXPECT_EQ(qvn::partialSectionCount(0, 9999, 10), 10);
  EXPECT_EQ(qvn::partialSectionCount(0, 19999, 10), 20);
  EXPECT_EQ(qvn::partialSectionCount(0, 29999, 10), 25);
  EXPECT_EQ(qvn::partialSectionCount(0, 39999, 10), 30);
  EXPECT_EQ(qvn::partialSectionCount(0, 59999, 10), 35);
  EXPECT_EQ(qvn::partialSectionCount(0, 79999, 10), 40);
  EXPECT_EQ(qvn::partialSectionCount(0, 119999, 10), 45);
  EXPECT_EQ(qvn::partialSectionCount(0, 159999, 10), 50);
  EXPECT_EQ(qvn::partialSectionCount(0, 199999, 10), 55);
  EXPECT_EQ(qvn::partialSectionCount(0, 200000, 10), 60);
  // PRICELIM: at least 1, at most m.
  EXPECT_EQ(qvn::partialSectionCount(7, 1000, 100), 7);
  EXPECT_EQ(qvn::partialSectionCount(500, 1000, 100), 100);
  EXPECT_EQ(qvn::partialSectionCount(3, 1000, 0), 1);
}

using PrimalPricingRun = qvntest::PrimalRunFixture;

// A random LP with n columns and m rows around a known feasible point, every
// column boxed, so that it has an optimum; rows of all senses need phase 1.
LpModel randomLp(std::mt19937 &rng, int n, int m) {
  std::uniform_real_distribution<double> u(-1.0, 1.0);
  LpModel lp;
  std::vector<double> x0(n);
  for (int j = 0; j < n; ++j) {
    x0[j] = u(rng);
    lp.addCol(u(rng), x0[j] - 1 - std::fabs(u(rng)), x0[j] + 1 + std::fabs(u(rng)));
  }
  for (int i = 0; i < m; ++i) {
    double act = 0;
    for (int j = 0; j < n; ++j)
      if (u(rng) > 0.6) {
        const double v = std::round(u(rng) * 8) / 2;
        if (v != 0) act += v * x0[j], lp.set(i, j, v);
      }
    const char s = "LGE"[i % 3];
    const double room = std::fabs(u(rng));
    lp.addRow(s, s == 'L' ? act + room : s == 'G' ? act - room : act);
  }
  return lp;
}

TEST_F(PrimalPricingRun, EveryKindAndSectionLimitReachesTheSameOptimum) {
  // The debug layer also holds each choice of the weighted kinds, made from
  // a list kept by updates, against a scan of all variables.
  qvn::setDebugLevel(env, 1);
  std::mt19937 rng(4711);
  for (int trial = 0; trial < 6; ++trial) {
    const LpModel m = randomLp(rng, 40 + 20 * trial, 15 + 5 * trial);
    SCOPED_TRACE("trial " + std::to_string(trial));
    ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_PPRIIND, 1), 0);
    const double reference = solvePrimal(m);
    for (int kind : {-1, 0, 2, 3, 4}) {
      ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_PPRIIND, kind), 0);
      for (int limit : {0, 1, 3, 1000}) {
        if (kind != -1 && limit != 0) continue;
        SCOPED_TRACE("kind " + std::to_string(kind) + " limit " + std::to_string(limit));
        ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_PRICELIM, limit), 0);
        EXPECT_NEAR(solvePrimal(m), reference, 1e-9 * std::max(1.0, std::fabs(reference)));
      }
    }
    ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_PRICELIM, 0), 0);
  }
  EXPECT_EQ(qvn::debugFailureCount(env), 0) << qvn::debugFirstFailure(env);
}

TEST_F(PrimalPricingRun, AutomaticKindReportsItsMoves) {
  // max sum x_j over x >= 0 with rows sum a_ij x_j <= 10: the slack basis is
  // feasible, so the run is in phase 2 from the start and moves on to
  // devex before the first choice.
  LpModel m;
  m.objSense = QVN_MAX;
  for (int i = 0; i < 8; ++i) m.addRow('L', 10);
  for (int j = 0; j < 12; ++j) {
    std::vector<std::pair<int, double>> entries;
    for (int i = 0; i < 8; ++i)
      if ((i + j) % 3 != 0) entries.push_back({i, 1.0 + (i * j) % 5});
    m.addCol(1.0 + j % 4, 0, 1e20, entries);
  }
  ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_PPRIIND, 0), 0);
  solvePrimal(m);
  EXPECT_NE(log.find("Using devex.\n"), std::string::npos);
  // Devex chosen by hand: no line about a kind.
  ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_PPRIIND, 1), 0);
  solvePrimal(m);
  EXPECT_EQ(log.find("devex"), std::string::npos);
  // Sections alone never move on.
  ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_PPRIIND, -1), 0);
  solvePrimal(m);
  EXPECT_EQ(log.find("Using"), std::string::npos);
  EXPECT_EQ(log.find("Switched"), std::string::npos);
}

TEST_F(PrimalPricingRun, KindOutsideTheTableIsRefused) {
  LpModel m;
  m.addRow('G', 1);
  m.addCol(1, 0, 10, {{0, 1}});
  int status = 0;
  QVNLPptr lp = QVNcreateprob(env, &status, "kind");
  ASSERT_EQ(m.load(env, lp), 0);
  // The parameter setter keeps the value in range; the block may still be
  // written by internal callers, and the loop must refuse what it cannot run.
  env->generalParams->ppriind = 5;
  takeErrors();
  EXPECT_EQ(QVNprimopt(env, lp), QVNERR_PRIIND);
  EXPECT_NE(takeErrors().find("Incorrect usage of pricing indicator"), std::string::npos);
  env->generalParams->ppriind = 0;
  EXPECT_EQ(QVNprimopt(env, lp), 0);
  EXPECT_EQ(QVNgetstat(env, lp), QVN_STAT_OPTIMAL);
  QVNfreeprob(env, &lp);
}

} // namespace
