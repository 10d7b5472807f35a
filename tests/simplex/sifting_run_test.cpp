// The functions for code inside a sifting run, called from the LP callback
// during the work LP solves, and the perturbation of a stalling run. Values
// are checked against the model read back through the public getters, and
// every run against an optimum found another way.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "simplex/basis_test_support.h"

namespace {

using qvntest::EnvFixture;
using qvntest::LpModel;

class SiftingRun : public EnvFixture {
protected:
  void SetUp() override {
    EnvFixture::SetUp();
    ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_SIMDISPLAY, 0), 0);
    ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_SIFTDISPLAY, 0), 0);
    ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_PREIND, 0), 0);
  }
  void TearDown() override {
    if (env) {
      EXPECT_EQ(QVNsetlpcallbackfunc(env, nullptr, nullptr), 0);
    }
    EnvFixture::TearDown();
  }
  double optimumByDual(QVNLPptr lp) {
    EXPECT_EQ(QVNsetintparam(env, QVN_PARAM_ADVIND, 0), 0);
    EXPECT_EQ(QVNdualopt(env, lp), 0);
    EXPECT_EQ(QVNgetstat(env, lp), QVN_STAT_OPTIMAL);
    double value = 0;
    EXPECT_EQ(QVNgetobjval(env, lp, &value), 0);
    EXPECT_EQ(QVNsetintparam(env, QVN_PARAM_ADVIND, 1), 0);
    return value;
  }
  // Sifting from nothing; the optimum found and the independent optimality check.
  void siftChecked(QVNLPptr lp, double reference) {
    ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_ADVIND, 0), 0);
    ASSERT_EQ(QVNsiftopt(env, lp), 0);
    ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_ADVIND, 1), 0);
    const LpModel model = qvntest::readModel(env, lp);
    qvntest::LpSolution s;
    ASSERT_EQ(qvntest::readSolution(env, lp, model, s), 0);
    EXPECT_EQ(s.status, QVN_STAT_OPTIMAL);
    EXPECT_LE(std::fabs(s.objective - reference), 1e-6 * std::max(1.0, std::fabs(reference)));
    EXPECT_EQ(qvntest::checkOptimal(model, s, 1e-6), "");
  }
};

// What a callback saw of the run's points, checked against the model.
struct Watch {
  QVNLPptr lp = nullptr;
  const LpModel *model = nullptr;
  int calls = 0, checked = 0, phase2Checked = 0, noPoint = 0;
  double lastObjective = 1e300;
  std::string fault;          // first disagreement found
  int methodSwitchAt = -1;     // calls count when QVNsiftsetmethod(4) was made
  bool barrierAfterSwitch = false;
};

void fail(Watch &w, const std::string &text) {
  if (w.fault.empty()) w.fault = text;
}

// Full-length x, slack, pi, dj of the current point against the model:
// slack = rhs - A x, dj = c - A'pi (phase 2) or -A'pi (phase 1), and in
// phase 2 the point is feasible for the whole problem with objective c'x.
void checkPoint(QVNCENVptr env, Watch &w, int phase, double objective) {
  const LpModel &m = *w.model;
  const int n = m.numCols(), rows = m.numRows();
  std::vector<double> x(n), dj(n), pi(rows), slack(rows);
  if (QVNsiftgetx(env, w.lp, x.data(), 0, n - 1) || QVNsiftgetdj(env, w.lp, dj.data(), 0, n - 1) ||
      QVNsiftgetpi(env, w.lp, pi.data(), 0, rows - 1) || QVNsiftgetslack(env, w.lp, slack.data(), 0, rows - 1))
    return fail(w, "a getter failed where the objective was there");
  std::vector<double> activity(rows, 0.0);
  double cx = 0.0;
  for (int j = 0; j < n; ++j) {
    double price = phase == 2 ? m.obj[j] : 0.0;
    for (const auto &[i, a] : m.cols[j]) {
      activity[i] += a * x[j];
      price -= a * pi[i];
    }
    if (std::fabs(price - dj[j]) > 1e-7 * (1.0 + std::fabs(price)))
      return fail(w, "dj of column " + std::to_string(j) + " is not c - A'pi");
    if (phase == 2 && (x[j] < m.lower[j] - 1e-9 || x[j] > m.upper[j] + 1e-9))
      return fail(w, "x of column " + std::to_string(j) + " outside its bounds");
    cx += m.obj[j] * x[j];
  }
  for (int i = 0; i < rows; ++i) {
    if (std::fabs(m.rhs[i] - activity[i] - slack[i]) > 1e-7 * (1.0 + std::fabs(m.rhs[i])))
      return fail(w, "slack of row " + std::to_string(i) + " is not rhs - Ax");
    const bool violated = (m.sense[i] == 'E' && std::fabs(slack[i]) > 1e-6) ||
                          (m.sense[i] == 'L' && slack[i] < -1e-6) || (m.sense[i] == 'G' && slack[i] > 1e-6);
    if (phase == 2 && violated) return fail(w, "row " + std::to_string(i) + " violated in phase 2");
  }
  if (phase == 2 && std::fabs(cx - objective) > 1e-7 * (1.0 + std::fabs(cx))) fail(w, "objective is not c'x");
  ++w.checked;
  w.phase2Checked += phase == 2;
}

int watchPoints(QVNCENVptr env, void *, int wherefrom, void *handle) {
  auto &w = *static_cast<Watch *>(handle);
  ++w.calls;
  if (w.methodSwitchAt >= 0 && wherefrom == QVN_CALLBACK_BARRIER) w.barrierAfterSwitch = true;
  const int rows = QVNsiftgetnumrows(env, w.lp);
  if (rows == 0) return 0;  // the clean-up on the whole problem, after the run
  if (rows != w.model->numRows()) fail(w, "row count");
  const int phase = QVNsiftgetphase(env, w.lp);
  if (phase != 1 && phase != 2) fail(w, "phase");
  double objective = 0;
  if (QVNsiftgetobjval(env, w.lp, &objective) != 0) {
    ++w.noPoint;
    return 0;
  }
  // Each new point once, a few of them: a full check passes over the matrix.
  if (objective != w.lastObjective && (phase == 1 ? w.checked - w.phase2Checked < 2 : w.phase2Checked < 4)) {
    w.lastObjective = objective;
    checkPoint(env, w, phase, objective);
  }
  if (phase == 2 && w.methodSwitchAt < 0 && w.phase2Checked >= 2) {
    if (QVNsiftsetmethod(env, w.lp, 4) != 0) fail(w, "setmethod");
    w.methodSwitchAt = w.calls;
  }
  return 0;
}

// nw04's relaxation, 36 rows and 87482 columns: the points seen from the
// callback agree with the model, and switching the work method to the
// barrier from inside the run brings barrier reports; the reference optimum.
TEST_F(SiftingRun, CallbackSeesTheWholeProblemAndSwitchesTheMethod) {
  const std::string data = qvntest::sharedDataDir();
  if (data.empty()) GTEST_SKIP() << "shared test models not present";
  int status = 0;
  QVNLPptr lp = QVNcreateprob(env, &status, "nw04");
  ASSERT_EQ(QVNreadcopyprob(env, lp, (data + "/miplib3/nw04.mps.gz").c_str(), nullptr), 0);
  ASSERT_EQ(QVNchgprobtype(env, lp, QVN_PROB_LP), 0);
  const LpModel model = qvntest::readModel(env, lp);
  Watch w;
  w.lp = lp;
  w.model = &model;
  ASSERT_EQ(QVNsetlpcallbackfunc(env, watchPoints, &w), 0);
  siftChecked(lp, 16310.66667);
  ASSERT_EQ(QVNsetlpcallbackfunc(env, nullptr, nullptr), 0);
  EXPECT_EQ(w.fault, "");
  EXPECT_GE(w.phase2Checked, 3);
  EXPECT_GT(w.noPoint, 0);  // the first work solve has no point before it ends
  EXPECT_GE(w.methodSwitchAt, 0);
  EXPECT_TRUE(w.barrierAfterSwitch);
  // After presolve the handle still finds the run, in the reduced frame.
  ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_PREIND, 1), 0);
  int reducedRows = -1;
  std::pair<QVNLPptr, int *> lpAndRows{lp, &reducedRows};
  ASSERT_EQ(QVNsetlpcallbackfunc(env,
                                 [](QVNCENVptr e, void *, int, void *h) {
                                   auto *p = static_cast<std::pair<QVNLPptr, int *> *>(h);
                                   const int rows = QVNsiftgetnumrows(e, p->first);
                                   if (rows > 0) *p->second = rows;
                                   return 0;
                                 },
                                 &lpAndRows),
            0);
  siftChecked(lp, 16310.66667);
  ASSERT_EQ(QVNsetlpcallbackfunc(env, nullptr, nullptr), 0);
  ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_PREIND, 0), 0);
  EXPECT_GT(reducedRows, 0);
  EXPECT_LE(reducedRows, model.numRows());
  // Outside of the run there is none to ask.
  double x = 0;
  EXPECT_EQ(QVNsiftgetx(env, lp, &x, 0, 0), QVNERR_NO_PROBLEM);
  EXPECT_EQ(QVNsiftgetnumcols(env, lp), 0);
  QVNfreeprob(env, &lp);
  takeErrors();
}

// A covering LP, min sum c_j x_j with A x >= 1 and x >= 0: one cheap
// singleton column per row (cost 1) and many dear columns (cost 30, two
// rows each) which the optimum (every singleton at 1, objective m) prices
// out. The first work LP already holds that optimum, so pricing alone would
// end after one solve; five dearer columns (cost 60, never among the first)
// added and one singleton deleted from inside the run show in the next work
// LP, whose point has that singleton at 0, and the run still ends at m.
struct Edit {
  QVNLPptr lp = nullptr, other = nullptr;
  int firstCount = -1, deleted = -1;
  std::vector<int> added;
  std::vector<int> errors;  // the error numbers of the bad calls, in order
  std::vector<std::pair<int, double>> seen;  // (work columns, x of the deleted one), as they change
};

int editRun(QVNCENVptr env, void *, int, void *handle) {
  auto &e = *static_cast<Edit *>(handle);
  const int count = QVNsiftgetnumcols(env, e.lp);
  double objective = 0;
  if (QVNsiftgetobjval(env, e.lp, &objective) != 0) {
    if (e.firstCount >= 0) return 0;
    // The first work solve: the bad calls once, then the changes.
    e.firstCount = count;
    const int bad[] = {-1};
    const int big[] = {1 << 30};
    double v = 0;
    e.errors = {QVNsiftaddcols(env, e.lp, -1, e.added.data()), QVNsiftaddcols(env, e.lp, 1, nullptr),
                QVNsiftdelcols(env, e.lp, 1, bad),           QVNsiftdelcols(env, e.lp, 1, big),
                QVNsiftsetmethod(env, e.lp, 5),              QVNsiftgetx(env, e.lp, &v, 0, 1 << 30),
                QVNsiftgetx(env, e.lp, nullptr, 0, 0),       QVNsiftgetobjval(env, e.other, &v),
                QVNsiftgetobjval(nullptr, e.lp, &v)};
    if (QVNsiftaddcols(env, e.lp, static_cast<int>(e.added.size()), e.added.data()) != 0) e.errors.push_back(-1);
    if (QVNsiftdelcols(env, e.lp, 1, &e.deleted) != 0) e.errors.push_back(-2);
    return 0;
  }
  double x = -1;
  if (QVNsiftgetx(env, e.lp, &x, e.deleted, e.deleted) != 0) x = -2;
  if (e.seen.empty() || e.seen.back() != std::make_pair(count, x)) e.seen.emplace_back(count, x);
  return 0;
}

TEST_F(SiftingRun, ColumnsAddedAndDeletedInsideTheRunReachTheWorkLp) {
  constexpr int rows = 40, dear = 2000;
  LpModel t;
  for (int i = 0; i < rows; ++i) t.addRow('G', 1.0);
  for (int i = 0; i < rows; ++i) t.addCol(1.0, 0.0, 1e20, {{i, 1.0}});
  unsigned seed = 7;
  auto next = [&]() { return seed = seed * 1103515245u + 12345u, (seed >> 16) & 0x7fff; };
  for (int j = 0; j < dear; ++j) {
    const int a = static_cast<int>(next() % rows), b = static_cast<int>((a + 1 + next() % (rows - 1)) % rows);
    t.addCol(j < dear - 5 ? 30.0 : 60.0, 0.0, 1e20, {{std::min(a, b), 1.0}, {std::max(a, b), 1.0}});
  }
  int status = 0;
  QVNLPptr lp = QVNcreateprob(env, &status, "cover");
  QVNLPptr other = QVNcreateprob(env, &status, "other");
  ASSERT_EQ(t.load(env, lp), 0);
  EXPECT_NEAR(optimumByDual(lp), rows, 1e-9);
  Edit e;
  e.lp = lp;
  e.other = other;
  e.deleted = 3;
  for (int j = rows + dear - 5; j < rows + dear; ++j) e.added.push_back(j);
  ASSERT_EQ(QVNsetlpcallbackfunc(env, editRun, &e), 0);
  siftChecked(lp, rows);
  ASSERT_EQ(QVNsetlpcallbackfunc(env, nullptr, nullptr), 0);
  const std::vector<int> expected = {QVNERR_BAD_ARGUMENT, QVNERR_NULL_POINTER, QVNERR_COL_INDEX_RANGE,
                                     QVNERR_COL_INDEX_RANGE, QVNERR_BAD_ARGUMENT, QVNERR_INDEX_RANGE,
                                     QVNERR_NULL_POINTER, QVNERR_NO_PROBLEM, QVNERR_NO_ENVIRONMENT};
  EXPECT_EQ(e.errors, expected);
  ASSERT_GE(e.firstCount, rows);
  // The second work solve: five in, one out, the first point (singleton at 1).
  ASSERT_GE(e.seen.size(), 2u);
  EXPECT_EQ(e.seen[0], std::make_pair(e.firstCount + 5 - 1, 1.0));
  // The third: the singleton priced back in, the second point has it at 0.
  EXPECT_EQ(e.seen[1], std::make_pair(e.firstCount + 5, 0.0));
  EXPECT_GE(QVNgetsiftitcnt(env, lp), 2);
  QVNfreeprob(env, &other);
  QVNfreeprob(env, &lp);
  takeErrors();
}

// Records the work column counts and whether the barrier reported.
struct Trace {
  QVNLPptr lp = nullptr;
  std::vector<int> counts;
  bool barrier = false;
};

int traceRun(QVNCENVptr env, void *, int wherefrom, void *handle) {
  auto &t = *static_cast<Trace *>(handle);
  const int count = QVNsiftgetnumcols(env, t.lp);
  if (t.counts.empty() || t.counts.back() != count) t.counts.push_back(count);
  t.barrier |= wherefrom == QVN_CALLBACK_BARRIER;
  return 0;
}

// A circulation on the complete digraph of 100 nodes (100 rows, 9900
// columns): flow conservation A x = 0, x >= 0, arc costs d_j - d_i + w_ij
// with random potentials d and w in 1..10. The potentials cancel around any
// cycle, so every circulation costs sum w x >= 0 and the optimum is 0 at
// x = 0, where every basis is degenerate. Each round ends at 0 while the
// work duals price arcs outside below zero: the run stalls, perturbs the
// work bounds (a circulation off 0 becomes feasible) and, with the
// automatic work method, turns to the barrier; the perturbation comes off
// before the end. With the dual as work method it stays with the dual. The
// log's bracket shows the work columns less the rows.
TEST_F(SiftingRun, StallingRunPerturbsAndRemovesThePerturbation) {
  constexpr int rows = 100;
  LpModel t;
  for (int i = 0; i < rows; ++i) t.addRow('E', 0.0);
  unsigned seed = 99;
  auto next = [&]() { return seed = seed * 1103515245u + 12345u, (seed >> 16) & 0x7fff; };
  std::vector<double> d(rows);
  for (int i = 0; i < rows; ++i) d[i] = static_cast<double>(next() % 1000);
  for (int i = 0; i < rows; ++i)
    for (int j = 0; j < rows; ++j)
      if (i != j)
        t.addCol(d[j] - d[i] + 1.0 + next() % 10, 0.0, 1e20,
                 {{std::min(i, j), i < j ? 1.0 : -1.0}, {std::max(i, j), i < j ? -1.0 : 1.0}});
  int status = 0;
  QVNLPptr lp = QVNcreateprob(env, &status, "circulation");
  ASSERT_EQ(t.load(env, lp), 0);
  EXPECT_NEAR(optimumByDual(lp), 0.0, 1e-9);
  std::string log;
  ASSERT_EQ(qvntest::captureMessages(env, &log, true, false), 0);
  ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_SIFTDISPLAY, 1), 0);
  for (int alg : {0, 2}) {
    SCOPED_TRACE("work method " + std::to_string(alg));
    log.clear();
    Trace trace;
    trace.lp = lp;
    ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_SIFTALG, alg), 0);
    ASSERT_EQ(QVNsetlpcallbackfunc(env, traceRun, &trace), 0);
    siftChecked(lp, 0.0);
    ASSERT_EQ(QVNsetlpcallbackfunc(env, nullptr, nullptr), 0);
    const size_t started = log.find("Sifting perturbation started\n");
    const size_t removed = log.find("Removing sifting perturbation\n");
    ASSERT_NE(started, std::string::npos) << log;
    ASSERT_NE(removed, std::string::npos);
    EXPECT_LT(started, removed);
    EXPECT_EQ(trace.barrier, alg == 0);
    // Each logged count plus the rows is a work column count the callback saw.
    int lines = 0;
    for (size_t at = log.find("Sifting iteration"); at != std::string::npos && lines < 1000;
         at = log.find("Sifting iteration", at + 1), ++lines) {
      const int shown = std::stoi(log.substr(log.find('[', at) + 1));
      EXPECT_NE(std::find(trace.counts.begin(), trace.counts.end(), shown + rows), trace.counts.end())
          << shown;
    }
    EXPECT_GT(lines, 3);
  }
  ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_SIFTALG, 0), 0);
  QVNfreeprob(env, &lp);
  takeErrors();
}

} // namespace
