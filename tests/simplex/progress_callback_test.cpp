// The progress callback of the continuous optimizers: who calls it, what it
// may read, and that its answer stops the run it came from and nothing else.
// Every optimum a run reaches is checked from outside (lp_model.h).
#include <chrono>
#include <cmath>
#include <random>
#include <set>
#include <thread>
#include <vector>

#include "support/lp_model.h"
#include "support/test_support.h"

namespace qvntest {
namespace {

// A bounded feasible LP: rows A x <= A x0 + s with x0 inside the box and s
// >= 0, so x0 is feasible; the box bounds it. Dense enough that each loop
// needs a few dozen iterations.
LpModel boxedLp(unsigned seed, int rows, int cols) {
  std::mt19937 gen(seed);
  std::uniform_real_distribution<double> u(-1.0, 1.0), pos(0.0, 1.0);
  LpModel m;
  std::vector<double> x0(cols);
  for (int j = 0; j < cols; ++j) {
    m.addCol(u(gen), 0.0, 10.0);
    x0[j] = 10.0 * pos(gen);
  }
  for (int i = 0; i < rows; ++i) {
    double activity = 0.0;
    const int row = m.addRow('L', 0.0);
    for (int j = 0; j < cols; ++j) {
      if (pos(gen) > 0.3) continue;
      const double a = u(gen);
      m.set(row, j, a);
      activity += a * x0[j];
    }
    m.rhs[row] = activity + pos(gen);
  }
  return m;
}

struct Seen {
  std::set<int> wherefrom;
  int calls = 0;
  int stopAt = -1;            // the call that answers non-zero (-1: none)
  int stopWherefrom = -1;     // only calls with this wherefrom count for stopAt
  int lastIterations = -1;
  bool iterationsFell = false;
  int badInfoAnswer = 0;      // what an unknown info number gave
  double lastPrimalObjective = 0.0, lastDualObjective = 0.0;
  int lastPrimalFeasible = -1;
  int presolveCalls = 0, presolveRowsGone = -1;
  QVNLPptr solveInside = nullptr;  // a problem the callback solves while it runs
};

int record(QVNCENVptr env, void *cbdata, int wherefrom, void *handle) {
  auto &s = *static_cast<Seen *>(handle);
  s.wherefrom.insert(wherefrom);
  if (wherefrom == QVN_CALLBACK_PRESOLVE) {
    ++s.presolveCalls;
    QVNgetcallbackinfo(env, cbdata, wherefrom, QVN_CALLBACK_INFO_PRESOLVE_ROWSGONE, &s.presolveRowsGone);
  } else if (wherefrom != QVN_CALLBACK_CONFLICT) {  // a simplex loop or the barrier
    int it = -1;
    EXPECT_EQ(QVNgetcallbackinfo(env, cbdata, wherefrom, QVN_CALLBACK_INFO_ITCOUNT, &it), 0);
    if (wherefrom == QVN_CALLBACK_PRIMAL || wherefrom == QVN_CALLBACK_DUAL) {
      if (it < s.lastIterations) s.iterationsFell = true;
      s.lastIterations = it;
    }
    EXPECT_EQ(QVNgetcallbackinfo(env, cbdata, wherefrom, QVN_CALLBACK_INFO_PRIMAL_OBJ, &s.lastPrimalObjective), 0);
    EXPECT_EQ(QVNgetcallbackinfo(env, cbdata, wherefrom, QVN_CALLBACK_INFO_DUAL_OBJ, &s.lastDualObjective), 0);
    EXPECT_EQ(QVNgetcallbackinfo(env, cbdata, wherefrom, QVN_CALLBACK_INFO_PRIMAL_FEAS, &s.lastPrimalFeasible), 0);
    double inf = -1.0;
    EXPECT_EQ(QVNgetcallbackinfo(env, cbdata, wherefrom, QVN_CALLBACK_INFO_PRIMAL_INFMEAS, &inf), 0);
    EXPECT_GE(inf, 0.0);
    // The simplex's flag and measure tell the same story.
    if (s.lastPrimalFeasible == 0 && wherefrom != QVN_CALLBACK_BARRIER) {
      EXPECT_GT(inf, 0.0);
    }
    double dummy = 0.0;
    s.badInfoAnswer = QVNgetcallbackinfo(env, cbdata, wherefrom, 999, &dummy);
  }
  ++s.calls;
  if (s.stopAt < 0 || (s.stopWherefrom >= 0 && wherefrom != s.stopWherefrom)) return 0;
  return --s.stopAt < 0 ? 1 : 0;
}

class ProgressCallback : public ProblemFixture {
protected:
  void SetUp() override {
    ProblemFixture::SetUp();
    model = boxedLp(7, 40, 90);
    ASSERT_EQ(model.load(env, lp), 0);
    ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_PREIND, 0), 0);
    // Every solve from the slack basis, so that each has iterations to report.
    ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_ADVIND, 0), 0);
  }
  // Solves with `opt` and checks the optimum from outside.
  void expectOptimal(int (*opt)(QVNCENVptr, QVNLPptr), double *objective = nullptr) {
    ASSERT_EQ(opt(env, lp), 0);
    LpSolution sol;
    ASSERT_EQ(readSolution(env, lp, model, sol), 0);
    ASSERT_EQ(sol.status, QVN_STAT_OPTIMAL);
    EXPECT_EQ(checkOptimal(model, sol, 1e-7), "");
    if (objective) *objective = sol.objective;
  }
  LpModel model;
};

TEST_F(ProgressCallback, SetterAndGetterKeepTheFunctionAndItsHandle) {
  QVNlpcallbackfunc f = nullptr;
  void *h = nullptr;
  EXPECT_EQ(QVNgetlpcallbackfunc(env, &f, &h), 0);
  EXPECT_EQ(f, nullptr);
  Seen seen;
  ASSERT_EQ(QVNsetlpcallbackfunc(env, record, &seen), 0);
  EXPECT_EQ(QVNgetlpcallbackfunc(env, &f, &h), 0);
  EXPECT_EQ(f, &record);
  EXPECT_EQ(h, &seen);
  EXPECT_EQ(QVNgetlpcallbackfunc(env, nullptr, &h), QVNERR_NULL_POINTER);
  EXPECT_EQ(QVNsetlpcallbackfunc(nullptr, record, &seen), QVNERR_NO_ENVIRONMENT);
  takeErrors();
  // Removing it forgets the handle too.
  ASSERT_EQ(QVNsetlpcallbackfunc(env, nullptr, &seen), 0);
  EXPECT_EQ(QVNgetlpcallbackfunc(env, &f, &h), 0);
  EXPECT_EQ(f, nullptr);
  EXPECT_EQ(h, nullptr);
  // No record behind the data pointer: 1006; a MIP-only info from an LP
  // wherefrom: 1003.
  int value = 0;
  EXPECT_EQ(QVNgetcallbackinfo(env, nullptr, QVN_CALLBACK_DUAL, QVN_CALLBACK_INFO_ITCOUNT, &value),
            QVNERR_CALLBACK);
  EXPECT_EQ(QVNgetcallbackinfo(env, &value, QVN_CALLBACK_CONFLICT, QVN_CALLBACK_INFO_ITCOUNT, &value),
            QVNERR_BAD_ARGUMENT);
  takeErrors();
}

TEST_F(ProgressCallback, EachSimplexLoopReportsEveryIterationAndStopsOnRequest) {
  struct Case {
    int (*opt)(QVNCENVptr, QVNLPptr);
    int wherefrom;
  } cases[] = {{QVNprimopt, QVN_CALLBACK_PRIMAL}, {QVNdualopt, QVN_CALLBACK_DUAL}};
  for (const Case &c : cases) {
    SCOPED_TRACE(c.wherefrom);
    Seen seen;
    ASSERT_EQ(QVNsetlpcallbackfunc(env, record, &seen), 0);
    double optimum = 0.0;
    expectOptimal(c.opt, &optimum);
    const int iterations = QVNgetitcnt(env, lp);
    ASSERT_GT(iterations, 10);
    EXPECT_TRUE(seen.wherefrom.count(c.wherefrom));
    EXPECT_GE(seen.calls, iterations);
    EXPECT_FALSE(seen.iterationsFell);
    EXPECT_EQ(seen.badInfoAnswer, QVNERR_BAD_ARGUMENT);
    takeErrors();
    // The last report is at the optimal basis or one step before it.
    EXPECT_NEAR(seen.lastPrimalObjective, optimum, 1e-3 * (1.0 + std::fabs(optimum)) + 10.0);

    // A non-zero answer at the fifth call stops the loop at once.
    seen = Seen{};
    seen.stopAt = 4;
    seen.stopWherefrom = c.wherefrom;
    ASSERT_EQ(QVNsetlpcallbackfunc(env, record, &seen), 0);
    ASSERT_EQ(c.opt(env, lp), 0);
    EXPECT_EQ(QVNgetstat(env, lp), QVN_STAT_ABORT_USER);
    EXPECT_LE(QVNgetitcnt(env, lp), 5);
    // Without the callback the same problem solves to the same optimum.
    ASSERT_EQ(QVNsetlpcallbackfunc(env, nullptr, nullptr), 0);
    double again = 0.0;
    expectOptimal(c.opt, &again);
    EXPECT_NEAR(again, optimum, 1e-9 * (1.0 + std::fabs(optimum)));
  }
}

TEST_F(ProgressCallback, BarrierReportsItsIterationsAndConvergesOnTheOptimum) {
  ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_BARDISPLAY, 0), 0);
  Seen seen;
  seen.stopWherefrom = QVN_CALLBACK_BARRIER;
  ASSERT_EQ(QVNsetlpcallbackfunc(env, record, &seen), 0);
  double optimum = 0.0;
  expectOptimal(QVNbaropt, &optimum);
  EXPECT_TRUE(seen.wherefrom.count(QVN_CALLBACK_BARRIER));
  EXPECT_FALSE(seen.wherefrom.count(QVN_CALLBACK_QPBARRIER));
  // Without crossover, the barrier's last point is at the optimum that
  // crossover and the check above confirmed.
  seen = Seen{};
  seen.stopWherefrom = QVN_CALLBACK_BARRIER;
  seen.stopAt = 1000000;
  ASSERT_EQ(QVNsetlpcallbackfunc(env, record, &seen), 0);
  ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_BARCROSSALG, -1), 0);
  ASSERT_EQ(QVNbaropt(env, lp), 0);
  EXPECT_NEAR(seen.lastPrimalObjective, optimum, 1e-5 * (1.0 + std::fabs(optimum)));
  EXPECT_NEAR(seen.lastDualObjective, optimum, 1e-5 * (1.0 + std::fabs(optimum)));
  EXPECT_EQ(seen.lastPrimalFeasible, 1);
  // A stop at the third barrier iteration ends the run as aborted.
  seen = Seen{};
  seen.stopWherefrom = QVN_CALLBACK_BARRIER;
  seen.stopAt = 2;
  ASSERT_EQ(QVNsetlpcallbackfunc(env, record, &seen), 0);
  ASSERT_EQ(QVNbaropt(env, lp), 0);
  EXPECT_EQ(QVNgetstat(env, lp), QVN_STAT_ABORT_USER);
  ASSERT_EQ(QVNsetlpcallbackfunc(env, nullptr, nullptr), 0);
}

TEST_F(ProgressCallback, PresolveAsksAtEachPassAndAStopIsItsAbort) {
  // Rows that presolve removes: singleton rows that are bounds.
  for (int j = 0; j < 5; ++j) {
    const int row = model.addRow('L', 9.0);
    model.set(row, j, 1.0);
  }
  ASSERT_EQ(model.load(env, lp), 0);
  ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_PREIND, 1), 0);
  Seen seen;
  ASSERT_EQ(QVNsetlpcallbackfunc(env, record, &seen), 0);
  expectOptimal(QVNdualopt);
  EXPECT_GT(seen.presolveCalls, 0);
  EXPECT_GE(seen.presolveRowsGone, 0);
  // A fresh copy, since the reduced problem of the run above is kept.
  ASSERT_EQ(model.load(env, lp), 0);
  seen = Seen{};
  seen.stopWherefrom = QVN_CALLBACK_PRESOLVE;
  seen.stopAt = 0;
  ASSERT_EQ(QVNsetlpcallbackfunc(env, record, &seen), 0);
  EXPECT_EQ(QVNdualopt(env, lp), QVNERR_PRESLV_ABORT);
  takeErrors();
  EXPECT_EQ(seen.wherefrom, std::set<int>{QVN_CALLBACK_PRESOLVE});
  ASSERT_EQ(QVNsetlpcallbackfunc(env, nullptr, nullptr), 0);
  expectOptimal(QVNdualopt);
}

// An infeasible pair: x0 >= 1 by its bound and x0 + x1 <= 0.5 with x1 >= 0,
// inside a larger feasible model.
void makeInfeasible(LpModel &m) {
  m.lower[0] = 1.0;
  const int row = m.addRow('L', 0.5);
  m.set(row, 0, 1.0);
  m.set(row, 1, 1.0);
}

TEST_F(ProgressCallback, ConflictRefinerAsksAtEachTestAndOnlyThere) {
  makeInfeasible(model);
  ASSERT_EQ(model.load(env, lp), 0);
  Seen seen;
  ASSERT_EQ(QVNsetlpcallbackfunc(env, record, &seen), 0);
  int rows = 0, cols = 0;
  ASSERT_EQ(QVNrefineconflict(env, lp, &rows, &cols), 0);
  EXPECT_EQ(QVNgetstat(env, lp), QVN_STAT_CONFLICT_MINIMAL);
  EXPECT_EQ(rows + cols, 3);  // the row, x0's lower bound, x1's lower bound
  EXPECT_GT(seen.calls, 0);
  // The tests' own solves do not reach the caller's callback.
  EXPECT_EQ(seen.wherefrom, std::set<int>{QVN_CALLBACK_CONFLICT});
  // The callback is the caller's again afterwards.
  QVNlpcallbackfunc f = nullptr;
  void *h = nullptr;
  ASSERT_EQ(QVNgetlpcallbackfunc(env, &f, &h), 0);
  EXPECT_EQ(f, &record);
  EXPECT_EQ(h, &seen);
  // A non-zero answer is the user's abort.
  seen = Seen{};
  seen.stopAt = 1;
  ASSERT_EQ(QVNrefineconflict(env, lp, &rows, &cols), 0);
  EXPECT_EQ(QVNgetstat(env, lp), QVN_STAT_CONFLICT_ABORT_USER);
  EXPECT_EQ(seen.calls, 2);
  ASSERT_EQ(QVNsetlpcallbackfunc(env, nullptr, nullptr), 0);
}

// The search proves infeasibility with its cheap test and confirms it by
// full solves. When the full solve no longer sees it (here the callback
// widens the feasibility tolerance past the violation once the search has
// begun), the refiner says so with 1720 and a non-minimal status.
int widenTolerance(QVNCENVptr env, void *, int wherefrom, void *handle) {
  if (wherefrom == QVN_CALLBACK_CONFLICT && ++*static_cast<int *>(handle) == 1)
    QVNsetdblparam(const_cast<QVNENVptr>(env), QVN_PARAM_EPRHS, 1e-1);
  return 0;
}

TEST_F(ProgressCallback, ConflictThatFullSolvesCannotReproduceIs1720) {
  model.lower[0] = 1.0;
  const int row = model.addRow('L', 0.99);  // violated by 0.01 only
  model.set(row, 0, 1.0);
  ASSERT_EQ(model.load(env, lp), 0);
  ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_PREIND, 1), 0);
  int calls = 0;
  ASSERT_EQ(QVNsetlpcallbackfunc(env, widenTolerance, &calls), 0);
  int rows = 0, cols = 0;
  EXPECT_EQ(QVNrefineconflict(env, lp, &rows, &cols), QVNERR_CONFLICT_UNREPRODUCED);
  EXPECT_NE(takeErrors().find("could not reproduce previously found infeasibility"), std::string::npos);
  EXPECT_EQ(QVNgetstat(env, lp), QVN_STAT_CONFLICT_NONMINIMAL);
  EXPECT_GT(calls, 1);
  ASSERT_EQ(QVNsetlpcallbackfunc(env, nullptr, nullptr), 0);
}

// Time limits count process time by default: a run whose caller sleeps in the
// callback uses little of it and ends optimal, while on the wall clock
// (CLOCKTYPE 2) the same run stops at the limit. Both loops and the barrier.
int sleepAtFirst(QVNCENVptr, void *, int, void *handle) {
  // The first ten calls sleep 0.2 s in all: twice the limit on the wall clock.
  if (++*static_cast<int *>(handle) <= 10) std::this_thread::sleep_for(std::chrono::milliseconds(20));
  return 0;
}

TEST_F(ProgressCallback, TimeLimitsCountTheClockTheCallerChose) {
  int calls = 0;
  ASSERT_EQ(QVNsetlpcallbackfunc(env, sleepAtFirst, &calls), 0);
  ASSERT_EQ(QVNsetdblparam(env, QVN_PARAM_TILIM, 0.1), 0);
  for (auto opt : {QVNprimopt, QVNdualopt, QVNbaropt}) {
    ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_CLOCKTYPE, 2), 0);
    calls = 0;
    ASSERT_EQ(opt(env, lp), 0);
    EXPECT_EQ(QVNgetstat(env, lp), QVN_STAT_ABORT_TIME_LIM);
    ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_CLOCKTYPE, 1), 0);
    calls = 0;
    expectOptimal(opt);
    EXPECT_GT(calls, 10);
  }
  ASSERT_EQ(QVNsetlpcallbackfunc(env, nullptr, nullptr), 0);
}

} // namespace
} // namespace qvntest
