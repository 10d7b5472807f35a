// Small random LPs full of what presolve removes (fixed, free, empty and
// singleton columns; empty, singleton, doubleton, forcing and parallel rows;
// parallel columns), some made infeasible or unbounded on purpose. With
// presolve on and off the optimizers must agree on the status and the
// objective, and the replayed solution must pass the optimality check on
// the original model before any clean-up.
#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "presolve/presolve_test_support.h"

namespace {

using qvntest::checkOptimal;
using qvntest::EnvFixture;
using qvntest::LpModel;

constexpr double kInf = 1e20;

enum Flavour { kFeasible, kInfeasible, kUnbounded };

LpModel randomModel(std::mt19937 &rng, Flavour flavour) {
  std::uniform_real_distribution<double> u(-1.0, 1.0);
  auto pick = [&](int n) { return static_cast<int>(rng() % static_cast<unsigned>(n)); };
  LpModel m;
  m.objSense = pick(2) ? QVN_MIN : QVN_MAX;
  const int n = 4 + pick(9), rows = 3 + pick(8);
  std::vector<double> x0(n);
  for (int j = 0; j < n; ++j) {
    x0[j] = std::round(4 * u(rng)) / 2;
    double lo = x0[j] - 1 - pick(3), up = x0[j] + 1 + pick(3);
    switch (pick(6)) {
    case 0: lo = up = x0[j]; break;   // fixed
    case 1: lo = -kInf; break;        // only an upper bound
    case 2: up = kInf; break;         // only a lower bound
    case 3: if (pick(3) == 0) lo = -kInf, up = kInf; break;  // sometimes free
    default: break;
    }
    m.addCol(std::round(6 * u(rng)) / 2, lo, up);
  }
  for (int i = 0; i < rows; ++i) {
    // Row length: empty, singleton, doubleton or longer.
    const int shape = pick(6);
    const int len = shape == 0 ? 0 : shape == 1 ? 1 : shape == 2 ? 2 : 2 + pick(n - 1);
    double act = 0;
    std::vector<int> used;
    for (int k = 0; k < len; ++k) {
      const int j = pick(n);
      if (std::find(used.begin(), used.end(), j) != used.end()) continue;
      used.push_back(j);
      double v = std::round(6 * u(rng)) / 2;
      if (v == 0) v = 1;
      m.set(i, j, v);
      act += v * x0[j];
    }
    const char senses[] = {'L', 'G', 'E', 'R'};
    const char s = senses[pick(4)];
    // Rows through x0 or with room around it; some are tight (forcing candidates).
    const double room = pick(3) == 0 ? 0.0 : 0.5 * pick(4);
    m.addRow(s, s == 'L' ? act + room : s == 'G' ? act - room : s == 'E' ? act : act - room,
             s == 'R' ? 2 * room + 0.5 : 0.0);
  }
  // A parallel copy of a row, scaled, with a looser limit.
  if (pick(2)) {
    const int i = pick(rows), copy = m.addRow(m.sense[i], 0.0, m.range[i]);
    const double f = pick(2) ? 2.0 : -0.5;
    for (int j = 0; j < n; ++j)
      for (auto [r, v] : std::vector<std::pair<int, double>>(m.cols[j]))
        if (r == i) m.set(copy, j, f * v);
    double lo = m.rhs[i], up = m.rhs[i];
    if (m.sense[i] == 'R') up += m.range[i];
    const char s = m.sense[i];
    if (s == 'E' || s == 'R') {
      m.sense[copy] = 'R';
      const double a = f * (lo - 1), b = f * (up + 1);
      m.rhs[copy] = std::min(a, b);
      m.range[copy] = std::fabs(b - a);
    } else {
      const bool upperRow = (s == 'L') == (f > 0);
      m.sense[copy] = upperRow ? 'L' : 'G';
      m.rhs[copy] = f * (s == 'L' ? lo + 1 : lo - 1);
    }
  }
  // A parallel column.
  if (pick(2)) {
    const int j = pick(n);
    const double f = pick(2) ? 2.0 : -1.0;
    const int k = m.addCol(f * m.obj[j], 0, 1);
    for (auto [r, v] : std::vector<std::pair<int, double>>(m.cols[j])) m.set(r, k, f * v);
  }
  // Costs turned so that every unbounded direction is closed by a bound.
  const double improve = m.objSense == QVN_MIN ? 1 : -1;
  for (int j = 0; j < m.numCols(); ++j) {
    if (m.lower[j] <= -kInf && m.obj[j] * improve > 0) m.obj[j] = -m.obj[j];
    if (m.upper[j] >= kInf && m.obj[j] * improve < 0) m.obj[j] = -m.obj[j];
    if (m.lower[j] <= -kInf && m.upper[j] >= kInf) m.obj[j] = 0;
  }
  if (flavour == kInfeasible) {
    // Two rows that contradict each other through a third column mix.
    const int a = pick(n), b = pick(n);
    const int r1 = m.addRow('L', 1), r2 = m.addRow('G', 3);
    m.set(r1, a, 1), m.set(r2, a, 1);
    if (b != a) m.set(r1, b, 1), m.set(r2, b, 1);
    if (b != a && pick(2)) {
      // The second row with a column that cannot make up the gap.
      const int c = m.addCol(0, 0, 1);
      m.set(r2, c, 1);
    }
  } else if (flavour == kUnbounded) {
    // A ray: a new column that improves the objective forever, held only by
    // a row that its partner column relaxes.
    const int a = m.addCol(-improve, 0, kInf), b = m.addCol(0, 0, kInf);
    const int r = m.addRow('L', 2);
    m.set(r, a, 1), m.set(r, b, -1);
  }
  return m;
}

class PostsolveRandom : public EnvFixture {
protected:
  void SetUp() override {
    EnvFixture::SetUp();
    QVNsetintparam(env, QVN_PARAM_SIMDISPLAY, 0);
  }
};

TEST_F(PostsolveRandom, PresolveOnAndOffAgree) {
  std::mt19937 rng(20261122);
  int optimal = 0, infeasible = 0, unbounded = 0, replayed = 0;
  for (int trial = 0; trial < 300; ++trial) {
    const Flavour flavour = trial % 5 == 3 ? kInfeasible : trial % 5 == 4 ? kUnbounded : kFeasible;
    const LpModel m = randomModel(rng, flavour);
    SCOPED_TRACE("trial " + std::to_string(trial));
    const qvntest::PresolveRun off = qvntest::solveModel(env, m, 0, QVNdualopt);
    ASSERT_TRUE(off.status >= 1 && off.status <= 3) << off.status;
    for (auto optimizer : {QVNdualopt, QVNprimopt}) {
      const qvntest::PresolveRun on = qvntest::solveModel(env, m, 1, optimizer);
      if (off.status == QVN_STAT_OPTIMAL) {
        ASSERT_EQ(on.status, QVN_STAT_OPTIMAL);
        EXPECT_EQ(checkOptimal(m, on.solution), "");
        EXPECT_NEAR(on.solution.objective, off.solution.objective,
                    1e-9 * std::max(1.0, std::fabs(off.solution.objective)));
      } else {
        // A verdict of presolve that cannot tell goes to the loops: the exact status.
        EXPECT_EQ(on.status, off.status);
      }
    }
    optimal += off.status == QVN_STAT_OPTIMAL;
    infeasible += off.status == QVN_STAT_INFEASIBLE;
    unbounded += off.status == QVN_STAT_UNBOUNDED;
    if (off.status != QVN_STAT_OPTIMAL) continue;
    // The replay alone, before the clean-up solve.
    const qvntest::ReplayCheck c = qvntest::checkReplay(env, m, 1e-7);
    ASSERT_EQ(c.presolveStatus, 0);
    if (c.prestat == 0) continue;  // nothing to replay
    ASSERT_EQ(c.reducedStatus, QVN_STAT_OPTIMAL);
    EXPECT_EQ(c.uncrushFault, "");
    EXPECT_EQ(c.basisFault, "");
    EXPECT_LE(c.cleanupIterations, 2);
    ++replayed;
  }
  // The generator must produce every outcome in fair numbers.
  EXPECT_GT(optimal, 100);
  EXPECT_GT(infeasible, 30);
  EXPECT_GT(unbounded, 30);
  EXPECT_GT(replayed, optimal / 2);
}

// Rows added after presolve through QVNpreaddrows: whether the presolved
// copy takes them or is dropped, the next solve must give the answer of the
// larger model solved from scratch.
TEST_F(PostsolveRandom, RowsAddedToThePresolvedCopy) {
  std::mt19937 rng(4711);
  std::uniform_real_distribution<double> u(-1.0, 1.0);
  int kept = 0, optimal = 0;
  for (int trial = 0; trial < 150; ++trial) {
    SCOPED_TRACE("trial " + std::to_string(trial));
    LpModel m = randomModel(rng, kFeasible);
    int status = 0;
    QVNLPptr lp = QVNcreateprob(env, &status, "added");
    ASSERT_EQ(m.load(env, lp), 0);
    if (QVNpresolve(env, lp, 2) != 0) {
      QVNfreeprob(env, &lp);
      continue;
    }
    // One or two rows over a few columns, loose enough to be feasible often.
    const int count = 1 + static_cast<int>(rng() % 2);
    std::vector<int> start, cols;
    std::vector<double> vals, rhs;
    std::vector<char> sense;
    for (int r = 0; r < count; ++r) {
      start.push_back(static_cast<int>(cols.size()));
      const int row = m.addRow(rng() % 2 ? 'L' : 'G', 0.0);
      for (int j = 0; j < m.numCols(); ++j)
        if (rng() % 3 == 0) {
          const double v = std::round(4 * u(rng)) / 2;
          if (v == 0) continue;
          cols.push_back(j), vals.push_back(v);
          m.set(row, j, v);
        }
      m.rhs[row] = m.sense[row] == 'L' ? 1 + std::round(4 * u(rng)) : -1 + std::round(4 * u(rng));
      rhs.push_back(m.rhs[row]);
      sense.push_back(m.sense[row]);
    }
    ASSERT_EQ(QVNpreaddrows(env, lp, count, static_cast<int>(cols.size()), rhs.data(), sense.data(), start.data(),
                            cols.data(), vals.data(), nullptr),
              0);
    QVNCLPptr red = nullptr;
    ASSERT_EQ(QVNgetredlp(env, lp, &red), 0);
    kept += red != nullptr;
    ASSERT_EQ(QVNdualopt(env, lp), 0);
    const int got = QVNgetstat(env, lp);
    // The copy with its rows is equivalent: its own optimum (with the
    // constant of the removed columns) is the optimum, before any clean-up.
    double reducedObjective = NAN;
    ASSERT_EQ(QVNgetredlp(env, lp, &red), 0);
    const int reducedStatus = red ? QVNgetstat(env, red) : 0;
    if (reducedStatus == QVN_STAT_OPTIMAL) {
      EXPECT_EQ(QVNgetobjval(env, red, &reducedObjective), 0);
    }
    qvntest::LpSolution s;
    if (got == QVN_STAT_OPTIMAL) {
      EXPECT_EQ(qvntest::readSolution(env, lp, m, s), 0);
    }
    QVNfreeprob(env, &lp);
    const qvntest::PresolveRun scratch = qvntest::solveModel(env, m, 0, QVNdualopt);
    if (scratch.status == QVN_STAT_OPTIMAL) {
      ASSERT_EQ(got, QVN_STAT_OPTIMAL);
      EXPECT_EQ(checkOptimal(m, s), "");
      EXPECT_NEAR(s.objective, scratch.solution.objective, 1e-9 * std::max(1.0, std::fabs(scratch.solution.objective)));
      if (red) {
        EXPECT_EQ(reducedStatus, QVN_STAT_OPTIMAL);
      }
      if (!std::isnan(reducedObjective)) {
        EXPECT_NEAR(reducedObjective, scratch.solution.objective,
                    1e-9 * std::max(1.0, std::fabs(scratch.solution.objective)));
      }
      ++optimal;
    } else {
      EXPECT_EQ(got, scratch.status);
    }
  }
  EXPECT_GT(kept, 15);  // rows on substituted columns drop the copy
  EXPECT_GT(optimal, 30);
}

} // namespace
