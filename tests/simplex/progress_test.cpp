// The progress watch that starts perturbation, and perturbation in the primal
// loop as a user sees it: the log lines, and answers that stay exact.
#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "simplex/progress.h"
#include "simplex/primal_run_fixture.h"

namespace {

using qvn::ProgressAction;
using qvn::ProgressState;
using qvntest::LpModel;

TEST(ProgressWatch, TriggerAndIntervalTables) {
  // Primal by rows, dual by columns, PERLIM above 0 wins.
  EXPECT_EQ(qvn::progressTrigger(0, 999, 5000, false), 400);
  EXPECT_EQ(qvn::progressTrigger(0, 1000, 5, false), 500);
  EXPECT_EQ(qvn::progressTrigger(0, 7499, 5, false), 600);
  EXPECT_EQ(qvn::progressTrigger(0, 9999, 5, false), 700);
  EXPECT_EQ(qvn::progressTrigger(0, 14999, 5, false), 900);
  EXPECT_EQ(qvn::progressTrigger(0, 19999, 5, false), 1100);
  EXPECT_EQ(qvn::progressTrigger(0, 29999, 5, false), 1600);
  EXPECT_EQ(qvn::progressTrigger(0, 39999, 5, false), 2100);
  EXPECT_EQ(qvn::progressTrigger(0, 40000, 5, false), 2600);
  EXPECT_EQ(qvn::progressTrigger(0, 50000, 999, true), 50);
  EXPECT_EQ(qvn::progressTrigger(0, 5, 1000, true), 100);
  EXPECT_EQ(qvn::progressTrigger(7, 50000, 50000, false), 7);
  EXPECT_EQ(qvn::progressTrigger(7, 50000, 50000, true), 7);
  EXPECT_EQ(qvn::progressInterval(4999), 501);
  EXPECT_EQ(qvn::progressInterval(9999), 1000);
  EXPECT_EQ(qvn::progressInterval(49999), 2000);
  EXPECT_EQ(qvn::progressInterval(99999), 10000);
  EXPECT_EQ(qvn::progressInterval(100000), 20000);
}

TEST(ProgressWatch, FlatMeritPerturbsAfterTheTriggerAndThenStalls) {
  ProgressState s;
  qvn::progressStart(s, 0, 100, 100, false, 0, 2, 5.0);
  int merits = 0;
  auto flat = [&]() { ++merits; return 5.0; };
  int it = 1;
  for (; it <= 400; ++it) ASSERT_EQ(qvn::progressCheck(s, it, 2, false, flat), ProgressAction::kNone) << it;
  EXPECT_EQ(merits, 0);  // nothing was due, so the merit was never computed
  EXPECT_EQ(qvn::progressCheck(s, 401, 2, false, flat), ProgressAction::kPerturb);
  qvn::progressPerturbed(s, 1, 1e-6, 401, 2, 5.0);
  EXPECT_EQ(s.trigger, 400);  // a first perturbation keeps the trigger
  // Perturbed, the watch waits for more than the interval (501) before a stall.
  int stallAt = -1;
  for (it = 402; it < 2000 && stallAt < 0; ++it)
    if (qvn::progressCheck(s, it, 2, true, flat) == ProgressAction::kStall) stallAt = it;
  EXPECT_EQ(stallAt, 401 + 502);
  // A repeat of at most 1e-06 doubles the trigger; removal restores it.
  qvn::progressPerturbed(s, 2, 1e-7, 2000, 2, 5.0);
  EXPECT_EQ(s.trigger, 800);
  qvn::progressRemoved(s, 2001, 2, 5.0);
  EXPECT_EQ(s.trigger, 400);
  EXPECT_EQ(s.referenceIteration, 2001);
}

TEST(ProgressWatch, FastProgressAndPhaseChangesKeepThePerturbationAway) {
  // A primal merit that falls ever faster stays ahead of ten times its pace.
  ProgressState s;
  qvn::progressStart(s, 0, 100, 100, false, 0, 1, 1e6);
  for (int it = 1; it <= 3000; ++it) {
    const double merit = 1e6 - std::exp(it / 50.0);
    ASSERT_EQ(qvn::progressCheck(s, it, 1, false, [&] { return merit; }), ProgressAction::kNone) << it;
  }
  // The dual raises its merit: a falling one is no progress there.
  ProgressState d;
  qvn::progressStart(d, 10, 100, 100, true, 0, 2, 0.0);
  ProgressAction a = ProgressAction::kNone;
  int it = 1;
  for (; it < 100 && a == ProgressAction::kNone; ++it) a = qvn::progressCheck(d, it, 2, false, [&] { return -it; });
  EXPECT_EQ(a, ProgressAction::kPerturb);
  EXPECT_EQ(it - 1, 11);
  // A phase change takes a new reference instead of acting.
  ProgressState p;
  qvn::progressStart(p, 10, 100, 100, false, 0, 1, 3.0);
  for (it = 1; it <= 10; ++it) ASSERT_EQ(qvn::progressCheck(p, it, 1, false, [] { return 3.0; }), ProgressAction::kNone);
  EXPECT_EQ(qvn::progressCheck(p, 11, 2, false, [] { return 3.0; }), ProgressAction::kNone);
  EXPECT_EQ(p.referenceIteration, 11);
  EXPECT_EQ(qvn::progressCheck(p, 21, 2, false, [] { return 3.0; }), ProgressAction::kNone);
  EXPECT_EQ(qvn::progressCheck(p, 22, 2, false, [] { return 3.0; }), ProgressAction::kPerturb);
}

TEST(ProgressWatch, RepeatedPerturbationsShrinkToAtMostOneMillionth) {
  double magnitude = 1e-3;
  EXPECT_EQ(qvn::perturbationSize(magnitude, 1), 1e-3);
  EXPECT_EQ(qvn::perturbationSize(magnitude, 2), 1e-6);
  EXPECT_DOUBLE_EQ(qvn::perturbationSize(magnitude, 3), 1e-7);
  EXPECT_DOUBLE_EQ(qvn::perturbationSize(magnitude, 4), 1e-8);
  double small = 1e-8;
  EXPECT_EQ(qvn::perturbationSize(small, 1), 1e-8);
  EXPECT_DOUBLE_EQ(qvn::perturbationSize(small, 2), 1e-9);
}

// An assignment model: every vertex is highly degenerate, so pivots that
// do not move the objective are the rule. Cost (7 i + 3 j) mod 11.
LpModel assignment(int size) {
  LpModel m;
  for (int i = 0; i < 2 * size; ++i) m.addRow('E', 1);
  for (int i = 0; i < size; ++i)
    for (int j = 0; j < size; ++j) m.addCol((7 * i + 3 * j) % 11, 0, 1e20, {{i, 1.0}, {size + j, 1.0}});
  return m;
}

using PrimalPerturbation = qvntest::PrimalRunFixture;

TEST_F(PrimalPerturbation, StartsByTriggerOrAtOnceAndLeavesTheAnswerExact) {
  const LpModel m = assignment(15);
  auto solve = [&](int perind, int perlim, double epper) {
    EXPECT_EQ(QVNsetintparam(env, QVN_PARAM_PERIND, perind), 0);
    EXPECT_EQ(QVNsetintparam(env, QVN_PARAM_PERLIM, perlim), 0);
    EXPECT_EQ(QVNsetdblparam(env, QVN_PARAM_EPPER, epper), 0);
    return solvePrimal(m);
  };
  const double plain = solve(0, 2100000000, 1e-6);
  EXPECT_EQ(log.find("Perturbation started.\n"), std::string::npos);
  // At once: the line comes before the first iteration line.
  EXPECT_NEAR(solve(1, 0, 1e-6), plain, 1e-9 * std::fabs(plain));
  const size_t started = log.find("Perturbation started.\n");
  ASSERT_NE(started, std::string::npos);
  EXPECT_LT(started, log.find("Iteration:"));
  EXPECT_NE(log.find("Removing perturbation.\n"), std::string::npos);
  // By a short trigger, with a large first size.
  EXPECT_NEAR(solve(0, 3, 1e-3), plain, 1e-9 * std::fabs(plain));
  EXPECT_NE(log.find("Perturbation started.\n"), std::string::npos);
}

} // namespace
