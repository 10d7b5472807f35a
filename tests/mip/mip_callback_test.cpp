// MIP callbacks: the informational callback sees the run and can stop it,
// the incumbent callback sees every candidate and can refuse it, and a cut
// callback adding valid cuts leaves the optimum where enumeration puts it.
// Lazy constraints and user cuts kept on the model reach the optimum of the
// model with those rows in it.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "mip/mip_callback_fixture.h"
#include "support/test_support.h"

namespace qvntest {
namespace {

using MipCallbackTest = MipCallbackFixture;

struct InfoWatch {
  int calls = 0, stopAt = -1;
  int lastNodes = -1;
  bool nodesNeverFall = true, feasFlagMatches = true, badCutAdd = false;
};

int watchInfo(QVNCENVptr env, void *cbdata, int wherefrom, void *handle) {
  auto *w = static_cast<InfoWatch *>(handle);
  ++w->calls;
  int nodes = -1, feasible = -1;
  double best = 0.0;
  QVNgetcallbackinfo(env, cbdata, wherefrom, QVN_CALLBACK_INFO_NODE_COUNT, &nodes);
  QVNgetcallbackinfo(env, cbdata, wherefrom, QVN_CALLBACK_INFO_MIP_FEAS, &feasible);
  QVNgetcallbackinfo(env, cbdata, wherefrom, QVN_CALLBACK_INFO_BEST_INTEGER, &best);
  if (nodes < w->lastNodes) w->nodesNeverFall = false;
  w->lastNodes = nodes;
  // Without an incumbent the best integer reads as infinite (a maximization here).
  if ((feasible == 0) != (best <= -1e74)) w->feasFlagMatches = false;
  // Cuts come only from a cut callback.
  const int index = 0;
  const double value = 1.0;
  if (QVNcutcallbackadd(env, cbdata, wherefrom, 1, 1.0, 'L', &index, &value, 0) != QVNERR_BAD_ARGUMENT)
    w->badCutAdd = true;
  return w->calls == w->stopAt ? 1 : 0;
}

TEST_F(MipCallbackTest, InformationalCallbackWatchesAndStops) {
  const MipModel m = knapsack(5, 18);
  double optimum = 0.0;
  ASSERT_TRUE(enumerateOptimum(m, &optimum));
  InfoWatch w;
  // The tree alone: a heuristic could find the optimum before a third node.
  QVNsetintparam(env, QVN_PARAM_HEURFREQ, -1);
  ASSERT_EQ(QVNsetmipcallbackfunc(env, watchInfo, &w), 0);
  QVNmipcallbackfunc f = nullptr;
  void *handle = nullptr;
  ASSERT_EQ(QVNgetmipcallbackfunc(env, &f, &handle), 0);
  EXPECT_EQ(f, &watchInfo);
  EXPECT_EQ(handle, &w);
  expectOptimum(m, optimum, "watched");
  EXPECT_GE(w.calls, QVNgetnodecnt(env, lp));
  EXPECT_TRUE(w.nodesNeverFall);
  EXPECT_TRUE(w.feasFlagMatches);
  EXPECT_FALSE(w.badCutAdd);
  takeErrors();
  // A non-zero return at the second call stops the run as aborted, with or
  // without an incumbent, and a later call resumes the same tree.
  ASSERT_GE(w.calls, 3);
  InfoWatch stop;
  stop.stopAt = 2;
  ASSERT_EQ(QVNsetmipcallbackfunc(env, watchInfo, &stop), 0);
  expectStopped(m, "stopped at the second call");
  EXPECT_EQ(stop.calls, 2);
  double z = 0.0;
  ASSERT_EQ(QVNsetmipcallbackfunc(env, nullptr, nullptr), 0);
  ASSERT_EQ(QVNmipopt(env, lp), 0);
  ASSERT_EQ(QVNgetstat(env, lp), QVN_STAT_MIP_OPTIMAL);
  ASSERT_EQ(QVNgetobjval(env, lp, &z), 0);
  EXPECT_TRUE(sameObjective(z, optimum)) << z << " vs " << optimum;
  takeErrors();
}

// The informational callback from the root passes: probing (107, phase 0
// when the clique table is grown, 1 while columns are probed, with the share
// done), Gomory (108) and flow cover and MIR (110), each reading its own
// share of the pass; a non-zero return from one of them stops the run.
struct PassWatch {
  int probeCalls = 0, cliqueCalls = 0, gomoryCalls = 0, flowMirCalls = 0, disjCalls = 0, treeCalls = 0;
  double lastShare = -1.0;
  bool sharesRise = true, sharesInRange = true, phaseKnown = true;
  int stopAt = -1, calls = 0;
};

int watchPasses(QVNCENVptr env, void *cbdata, int wherefrom, void *handle) {
  auto *w = static_cast<PassWatch *>(handle);
  ++w->calls;
  int phase = -1;
  double share = -1.0;
  if (QVNgetcallbackinfo(env, cbdata, wherefrom, QVN_CALLBACK_INFO_PROBE_PHASE, &phase) != 0) w->phaseKnown = false;
  switch (wherefrom) {
  case QVN_CALLBACK_MIP_PROBE:
    QVNgetcallbackinfo(env, cbdata, wherefrom, QVN_CALLBACK_INFO_PROBE_PROGRESS, &share);
    if (phase == 0) {
      ++w->cliqueCalls;
    } else if (phase == 1) {
      ++w->probeCalls;
      if (share < w->lastShare) w->sharesRise = false;
      w->lastShare = share;
    } else {
      w->phaseKnown = false;
    }
    break;
  case QVN_CALLBACK_MIP_FRACCUT:
    ++w->gomoryCalls;
    QVNgetcallbackinfo(env, cbdata, wherefrom, QVN_CALLBACK_INFO_FRACCUT_PROGRESS, &share);
    break;
  case QVN_CALLBACK_MIP_DISJCUT: ++w->disjCalls; share = 0.5; break;
  case QVN_CALLBACK_MIP_FLOWMIR:
    ++w->flowMirCalls;
    QVNgetcallbackinfo(env, cbdata, wherefrom, QVN_CALLBACK_INFO_FLOWMIR_PROGRESS, &share);
    break;
  default:
    ++w->treeCalls;
    share = 0.5;
    break;
  }
  if (share < 0.0 || share > 1.0) w->sharesInRange = false;
  return w->calls == w->stopAt ? 1 : 0;
}

TEST_F(MipCallbackTest, InformationalCallbackFromTheRootPasses) {
  const MipModel m = knapsack(7, 20);
  double optimum = 0.0;
  ASSERT_TRUE(enumerateOptimum(m, &optimum));
  QVNsetintparam(env, QVN_PARAM_PROBE, 3);
  QVNsetintparam(env, QVN_PARAM_FRACCUTS, 2);
  QVNsetintparam(env, QVN_PARAM_MIRCUTS, 2);
  PassWatch w;
  ASSERT_EQ(QVNsetmipcallbackfunc(env, watchPasses, &w), 0);
  expectOptimum(m, optimum, "watched passes");
  EXPECT_EQ(w.cliqueCalls, 1);
  EXPECT_GT(w.probeCalls, 0);
  EXPECT_GT(w.gomoryCalls, 0);
  EXPECT_GT(w.flowMirCalls, 0);
  EXPECT_EQ(w.disjCalls, 0);  // no disjunctive pass runs
  EXPECT_GT(w.treeCalls, 0);
  EXPECT_TRUE(w.sharesRise);
  EXPECT_TRUE(w.sharesInRange);
  EXPECT_TRUE(w.phaseKnown);
  // A stop asked for from the clique table's call ends the run as aborted.
  PassWatch stop;
  stop.stopAt = 1;
  ASSERT_EQ(QVNsetmipcallbackfunc(env, watchPasses, &stop), 0);
  expectStopped(m, "stopped from the clique table");
  EXPECT_EQ(stop.treeCalls, 0);
  takeErrors();
}

struct IncumbentWatch {
  const MipModel *model = nullptr;
  bool refuseAll = false;
  int calls = 0;
  std::string firstFault;
};

int watchIncumbent(QVNCENVptr env, void *cbdata, int wherefrom, void *handle, double objective, double *x,
                   int *feasible, int *action) {
  auto *w = static_cast<IncumbentWatch *>(handle);
  ++w->calls;
  const int n = static_cast<int>(w->model->ctype.size());
  std::vector<double> point(x, x + n), fromGetter(static_cast<size_t>(n));
  const std::string fault = checkIntegerSolution(*w->model, point, objective, 1e-5);
  if (!fault.empty() && w->firstFault.empty()) w->firstFault = fault;
  if (QVNgetcallbacknodex(env, cbdata, wherefrom, fromGetter.data(), 0, n - 1) != 0 || fromGetter != point)
    if (w->firstFault.empty()) w->firstFault = "QVNgetcallbacknodex disagrees with x";
  *feasible = w->refuseAll ? 0 : 1;
  *action = QVN_CALLBACK_DEFAULT;
  return 0;
}

TEST_F(MipCallbackTest, IncumbentCallbackSeesCandidatesAndMayRefuseThem) {
  const MipModel m = randomIntegerModel(9, 8, 5);
  double optimum = 0.0;
  ASSERT_TRUE(enumerateOptimum(m, &optimum));
  IncumbentWatch w;
  w.model = &m;
  ASSERT_EQ(QVNsetincumbentcallbackfunc(env, watchIncumbent, &w), 0);
  expectOptimum(m, optimum, "watched");
  EXPECT_GT(w.calls, 0);
  EXPECT_EQ(w.firstFault, "");
  // Refusing every candidate: the run ends without an incumbent.
  IncumbentWatch no;
  no.model = &m;
  no.refuseAll = true;
  ASSERT_EQ(QVNsetincumbentcallbackfunc(env, watchIncumbent, &no), 0);
  ASSERT_EQ(loadMipModel(env, lp, m), 0);
  ASSERT_EQ(QVNmipopt(env, lp), 0);
  EXPECT_EQ(QVNgetstat(env, lp), QVN_STAT_MIP_INFEASIBLE);
  EXPECT_GT(no.calls, 0);
  double z = 0.0;
  EXPECT_EQ(QVNgetobjval(env, lp, &z), QVNERR_NO_INT_X);
  takeErrors();
}

// Cuts valid for every integer point of a knapsack: the number of items
// chosen is at most the largest number that fits (found by enumeration).
struct CardinalityCut {
  int n = 0;
  double most = 0.0;
  int calls = 0, rejected = 0;
};

int addCardinality(QVNCENVptr env, void *cbdata, int wherefrom, void *handle, int *action) {
  auto *c = static_cast<CardinalityCut *>(handle);
  ++c->calls;
  std::vector<double> x(static_cast<size_t>(c->n));
  if (QVNgetcallbacknodex(env, cbdata, wherefrom, x.data(), 0, c->n - 1) != 0) return 1;
  double sum = 0.0;
  for (double v : x) sum += v;
  *action = QVN_CALLBACK_DEFAULT;
  if (sum <= c->most + 1e-6) return 0;
  std::vector<int> index(static_cast<size_t>(c->n));
  std::vector<double> ones(static_cast<size_t>(c->n), 1.0);
  for (int j = 0; j < c->n; ++j) index[j] = j;
  if (QVNcutcallbackadd(env, cbdata, wherefrom, c->n, c->most, 'L', index.data(), ones.data(), 0) != 0)
    ++c->rejected;
  *action = QVN_CALLBACK_SET;
  return 0;
}

TEST_F(MipCallbackTest, ValidCutsFromACallbackKeepTheOptimum) {
  for (uint64_t seed = 1; seed <= 3; ++seed) {
    const MipModel m = knapsack(seed, 16);
    double optimum = 0.0;
    ASSERT_TRUE(enumerateOptimum(m, &optimum));
    // The most items that fit: the knapsack with every value 1.
    MipModel count = m;
    for (double &c : count.lp.obj) c = 1.0;
    double most = 0.0;
    ASSERT_TRUE(enumerateOptimum(count, &most));
    CardinalityCut cut;
    cut.n = 16;
    cut.most = most;
    ASSERT_EQ(QVNsetcutcallbackfunc(env, addCardinality, &cut), 0);
    expectOptimum(m, optimum, "seed " + std::to_string(seed));
    EXPECT_GT(cut.calls, 0);
    EXPECT_EQ(cut.rejected, 0);
  }
  // A cut callback whose action asks to stop ends the run as aborted.
  const MipModel m = knapsack(4, 16);
  ASSERT_EQ(QVNsetcutcallbackfunc(
                env,
                [](QVNCENVptr, void *, int, void *, int *action) -> int {
                  *action = QVN_CALLBACK_FAIL;
                  return 0;
                },
                nullptr),
            0);
  expectStopped(m, "cut callback's use flag");
  takeErrors();
}

// Local cuts hold in the subtree of the node that adds them: at a node with
// columns fixed at 0 by its bounds, the sum of those columns <= 0. Valid
// there, and wrong anywhere else: a cut that leaked out of its subtree would
// forbid those items everywhere and lose the optimum.
struct LocalFixings {
  int n = 0;
  int lastSequence = -1, added = 0, refusedElsewhere = 0;
};

int addLocalFixings(QVNCENVptr env, void *cbdata, int wherefrom, void *handle, int *action) {
  auto *l = static_cast<LocalFixings *>(handle);
  *action = QVN_CALLBACK_DEFAULT;
  int seq = -1;
  if (QVNgetcallbacknodeinfo(env, cbdata, wherefrom, 0, QVN_CALLBACK_INFO_NODE_SEQNUM, &seq) != 0) return 1;
  // Once a node: the cut is never violated, and a node re-solves while cuts come.
  if (seq == l->lastSequence) return 0;
  l->lastSequence = seq;
  std::vector<double> ub(static_cast<size_t>(l->n));
  if (QVNgetcallbacknodeub(env, cbdata, wherefrom, ub.data(), 0, l->n - 1) != 0) return 1;
  std::vector<int> fixed;
  for (int j = 0; j < l->n; ++j)
    if (ub[j] < 0.5) fixed.push_back(j);
  if (fixed.empty()) return 0;
  const std::vector<double> ones(fixed.size(), 1.0);
  if (QVNcutcallbackaddlocal(env, cbdata, wherefrom, static_cast<int>(fixed.size()), 0.0, 'L', fixed.data(),
                             ones.data()) != 0)
    return 1;
  ++l->added;
  *action = QVN_CALLBACK_SET;
  return 0;
}

int localFromElsewhere(QVNCENVptr env, void *cbdata, int wherefrom, void *handle, double *, double *,
                       int *action) {
  const int index = 0;
  const double value = 1.0;
  if (QVNcutcallbackaddlocal(env, cbdata, wherefrom, 1, 1.0, 'L', &index, &value) == QVNERR_BAD_ARGUMENT)
    ++static_cast<LocalFixings *>(handle)->refusedElsewhere;
  *action = QVN_CALLBACK_DEFAULT;
  return 0;
}

TEST_F(MipCallbackTest, LocalCutsStayInTheirSubtrees) {
  for (uint64_t seed = 21; seed <= 24; ++seed) {
    const MipModel m = knapsack(seed, 16);
    double optimum = 0.0;
    ASSERT_TRUE(enumerateOptimum(m, &optimum));
    LocalFixings l;
    l.n = 16;
    QVNsetintparam(env, QVN_PARAM_CUTPASS, -1);
    QVNsetintparam(env, QVN_PARAM_HEURFREQ, -1);
    ASSERT_EQ(QVNsetcutcallbackfunc(env, addLocalFixings, &l), 0);
    ASSERT_EQ(QVNsetheuristiccallbackfunc(env, localFromElsewhere, &l), 0);
    expectOptimum(m, optimum, "seed " + std::to_string(seed));
    EXPECT_GT(l.added, 3) << seed;
    EXPECT_GT(l.refusedElsewhere, 0) << seed;
  }
  takeErrors();
}

TEST_F(MipCallbackTest, LazyConstraintsAndUserCutsOfTheModel) {
  for (uint64_t seed = 11; seed <= 14; ++seed) {
    MipModel m = knapsack(seed, 14);
    // Lazy: no more than four of the first eight items, and item 0 only with
    // item 1. The model with them as ordinary rows gives the optimum.
    MipModel full = m;
    const int r1 = full.lp.addRow('L', 4), r2 = full.lp.addRow('L', 0);
    for (int j = 0; j < 8; ++j) full.lp.set(r1, j, 1.0);
    full.lp.set(r2, 0, 1.0);
    full.lp.set(r2, 1, -1.0);
    double optimum = 0.0;
    ASSERT_TRUE(enumerateOptimum(full, &optimum));
    const double rhs[2] = {4, 0};
    const char sense[2] = {'L', 'L'};
    const int start[2] = {0, 8};
    const int index[10] = {0, 1, 2, 3, 4, 5, 6, 7, 0, 1};
    const double value[10] = {1, 1, 1, 1, 1, 1, 1, 1, 1, -1};
    ASSERT_EQ(loadMipModel(env, lp, m), 0);
    ASSERT_EQ(QVNaddlazyconstraints(env, lp, 2, 10, rhs, sense, start, index, value, nullptr), 0);
    // A user cut every integer point meets (the knapsack row's own bound on
    // the item count) and one no point can violate by 0.1 (a copy of a row).
    const double cutRhs[1] = {14};
    const int cutStart[1] = {0};
    std::vector<int> all(14);
    std::vector<double> ones(14, 1.0);
    for (int j = 0; j < 14; ++j) all[j] = j;
    ASSERT_EQ(QVNaddusercuts(env, lp, 1, 14, cutRhs, sense, cutStart, all.data(), ones.data(), nullptr), 0);
    // A start that breaks the second lazy row is refused.
    std::vector<double> startValues(14, 0.0);
    startValues[0] = 1.0;
    ASSERT_EQ(QVNcopymipstart(env, lp, 14, all.data(), startValues.data()), 0);
    log.clear();
    QVNsetintparam(env, QVN_PARAM_MIPDISPLAY, 1);
    ASSERT_EQ(QVNmipopt(env, lp), 0);
    QVNsetintparam(env, QVN_PARAM_MIPDISPLAY, 0);
    ASSERT_EQ(QVNgetstat(env, lp), QVN_STAT_MIP_OPTIMAL) << seed;
    EXPECT_NE(log.find("Model contains 1 user cuts\n"), std::string::npos) << log;
    EXPECT_NE(log.find("Model contains 2 lazy constraints\n"), std::string::npos) << log;
    EXPECT_EQ(log.find("MIP start values provide initial solution"), std::string::npos) << log;
    EXPECT_EQ(log.find("User cuts applied"), std::string::npos) << log;
    double z = 0.0;
    ASSERT_EQ(QVNgetobjval(env, lp, &z), 0);
    EXPECT_TRUE(sameObjective(z, optimum)) << seed << ": " << z << " vs " << optimum;
    // The incumbent meets the model with the lazy rows as ordinary rows.
    std::vector<double> x(14);
    ASSERT_EQ(QVNgetx(env, lp, x.data(), 0, 13), 0);
    EXPECT_EQ(checkIntegerSolution(full, x, z, 1e-5), "") << seed;
    EXPECT_EQ(checkIncumbentOf(env, lp, m), "") << seed;
    // Freed, the rows no longer bind: the plain knapsack's optimum.
    double plain = 0.0;
    ASSERT_TRUE(enumerateOptimum(m, &plain));
    ASSERT_EQ(QVNfreelazyconstraints(env, lp), 0);
    ASSERT_EQ(QVNfreeusercuts(env, lp), 0);
    ASSERT_EQ(QVNmipopt(env, lp), 0);
    ASSERT_EQ(QVNgetobjval(env, lp, &z), 0);
    EXPECT_TRUE(sameObjective(z, plain)) << seed << ": " << z << " vs " << plain;
  }
  // Bad input changes nothing.
  const int bad[1] = {99};
  const double one[1] = {1.0}, rhs[1] = {1.0};
  const int start[1] = {0};
  EXPECT_EQ(QVNaddlazyconstraints(env, lp, 1, 1, rhs, nullptr, start, bad, one, nullptr), QVNERR_COL_INDEX_RANGE);
  takeErrors();
}

} // namespace
} // namespace qvntest
