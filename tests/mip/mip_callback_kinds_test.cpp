// The callbacks that change the search: branch, node, heuristic, solve and
// delete-node, and the getters a callback reads the run with. Every optimum
// is the enumerated one; what the getters say is held against facts that do
// not come from the solver (the known optimal point, the children's bounds).
#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <cmath>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "mip/mip_callback_fixture.h"
#include "runtime/debug_checks.h"
#include "support/test_support.h"

namespace qvntest {
namespace {

using MipCallbackKindsTest = MipCallbackFixture;

bool contains(const std::vector<double> &lb, const std::vector<double> &ub, const std::vector<double> &x) {
  for (size_t j = 0; j < x.size(); ++j)
    if (x[j] < lb[j] - 1e-6 || x[j] > ub[j] + 1e-6) return false;
  return true;
}

// A branch callback that makes the built-in children itself, from the
// arguments it is given, and checks what it reads against the known optimum.
struct OwnWords {
  std::vector<double> best;  // a known optimal point
  double optimum = 0.0;
  int sense = -1;            // of the model: the knapsacks maximize
  int calls = 0, holdersSeen = 0;
  std::string fault;
  void fail(const std::string &f) {
    if (fault.empty()) fault = f;
  }
};

int branchInOwnWords(QVNCENVptr env, void *cbdata, int wherefrom, void *handle, int brtype, int sos,
                     int nodecnt, int bdcnt, const int *nodebeg, const int *indices, const char *lu,
                     const double *bd, const double *nodeest, int *useraction_p) {
  auto *w = static_cast<OwnWords *>(handle);
  ++w->calls;
  *useraction_p = QVN_CALLBACK_DEFAULT;
  const int n = static_cast<int>(w->best.size());
  if (wherefrom != QVN_CALLBACK_MIP_BRANCH) w->fail("wherefrom");
  if (brtype != '0' || sos != -1 || nodecnt != 2 || bdcnt != 2) {
    w->fail("not a variable branch");
    return 0;
  }
  std::vector<double> x(n), lb(n), ub(n), glb(n), gub(n);
  std::vector<int> feas(n);
  if (QVNgetcallbacknodex(env, cbdata, wherefrom, x.data(), 0, n - 1) != 0 ||
      QVNgetcallbacknodelb(env, cbdata, wherefrom, lb.data(), 0, n - 1) != 0 ||
      QVNgetcallbacknodeub(env, cbdata, wherefrom, ub.data(), 0, n - 1) != 0 ||
      QVNgetcallbackgloballb(env, cbdata, wherefrom, glb.data(), 0, n - 1) != 0 ||
      QVNgetcallbackglobalub(env, cbdata, wherefrom, gub.data(), 0, n - 1) != 0 ||
      QVNgetcallbacknodeintfeas(env, cbdata, wherefrom, feas.data(), 0, n - 1) != 0) {
    w->fail("a getter failed");
    return 0;
  }
  double objective = 0.0;
  int stat = 0;
  if (QVNgetcallbacknodeobjval(env, cbdata, wherefrom, &objective) != 0) w->fail("nodeobjval");
  if (QVNgetcallbacknodestat(env, cbdata, wherefrom, &stat) != 0 || stat != QVN_STAT_OPTIMAL) w->fail("nodestat");
  // The point lies in the node's bounds, the node's bounds in the global ones.
  for (int k = 0; k < n; ++k)
    if (x[k] < lb[k] - 1e-6 || x[k] > ub[k] + 1e-6)
      w->fail("x outside the node bounds: " + std::to_string(x[k]) + " in [" + std::to_string(lb[k]) + ", " +
              std::to_string(ub[k]) + "]");
  if (!contains(glb, gub, lb) || !contains(glb, gub, ub)) w->fail("node bounds outside the global ones");
  const int j = indices[0];
  if (indices[1] != j || feas[j] != QVN_INTEGER_INFEASIBLE) w->fail("branched column not fractional");
  // One child x_j <= floor, the other x_j >= floor + 1, around the LP value.
  const int down = lu[0] == 'U' ? 0 : 1, up = 1 - down;
  if (lu[down] != 'U' || lu[up] != 'L' || bd[up] != bd[down] + 1.0 || !(x[j] > bd[down] && x[j] < bd[up]))
    w->fail("children do not split the value");
  for (int k = 0; k < n; ++k)
    if (feas[k] == QVN_INTEGER_INFEASIBLE && std::fabs(x[k] - std::round(x[k])) < 1e-6) w->fail("intfeas");
  // A node whose bounds hold the optimal point bounds the optimum by its LP,
  // and exactly one child keeps the point.
  if (contains(lb, ub, w->best)) {
    ++w->holdersSeen;
    if (w->sense * (w->optimum - objective) < -1e-6) w->fail("a node holding the optimum bounds it wrongly");
    const bool inDown = w->best[j] <= bd[down] + 1e-9, inUp = w->best[j] >= bd[up] - 1e-9;
    if (inDown == inUp) w->fail("the optimum is not in exactly one child");
  }
  // Node 0 is the node in hand: its depth and branch tell the same as the record.
  int depth = -1, seq = -1;
  if (QVNgetcallbacknodeinfo(env, cbdata, wherefrom, 0, QVN_CALLBACK_INFO_NODE_DEPTH, &depth) != 0 ||
      QVNgetcallbacknodeinfo(env, cbdata, wherefrom, 0, QVN_CALLBACK_INFO_NODE_SEQNUM, &seq) != 0)
    w->fail("nodeinfo");
  int again = -1;
  if (QVNgetcallbackseqinfo(env, cbdata, wherefrom, seq, QVN_CALLBACK_INFO_NODE_DEPTH, &again) != 0 || again != depth)
    w->fail("seqinfo");
  // The built-in children add no rows.
  int rows = -1, nz = -1, surplus = -1;
  if (QVNgetcallbackbranchconstraints(env, cbdata, wherefrom, 1, &rows, &nz, nullptr, nullptr, nullptr, nullptr,
                                      nullptr, 0, &surplus) != 0 ||
      rows != 0 || nz != 0)
    w->fail("branchconstraints");
  for (int k = 0; k < nodecnt; ++k) {
    const int b = nodebeg[k], count = (k + 1 < nodecnt ? nodebeg[k + 1] : bdcnt) - b;
    int seqnum = -1;
    if (QVNbranchcallbackbranchbds(env, cbdata, wherefrom, count, indices + b, lu + b, bd + b, nodeest[k], nullptr,
                                   &seqnum) != 0 ||
        seqnum < 0)
      w->fail("branchbds");
  }
  *useraction_p = QVN_CALLBACK_SET;
  return 0;
}

TEST_F(MipCallbackKindsTest, BranchCallbackInItsOwnWordsReachesTheOptimum) {
  for (uint64_t seed = 1; seed <= 4; ++seed) {
    const MipModel m = knapsack(seed, 16);
    OwnWords w;
    w.best = knownOptimum(m, &w.optimum);
    plainTree();
    ASSERT_EQ(QVNsetbranchcallbackfunc(env, branchInOwnWords, &w), 0);
    expectOptimum(m, w.optimum, "seed " + std::to_string(seed));
    EXPECT_GT(w.calls, 0);
    EXPECT_GT(w.holdersSeen, 0);
    EXPECT_EQ(w.fault, "") << seed;
    QVNsetbranchcallbackfunc(env, nullptr, nullptr);
  }
  takeErrors();
}

// Three children on a general integer column: below, at and above its floor.
struct ThreeWay {
  int calls = 0, refusedRows = 0;
  bool wrongKindAccepted = false;
};

int branchThreeWays(QVNCENVptr env, void *cbdata, int wherefrom, void *handle, int brtype, int, int nodecnt,
                    int, const int *, const int *indices, const char *, const double *bd, const double *nodeest,
                    int *useraction_p) {
  auto *t = static_cast<ThreeWay *>(handle);
  ++t->calls;
  *useraction_p = QVN_CALLBACK_DEFAULT;
  if (brtype != '0' || nodecnt != 2) return 0;
  const int j = indices[0];
  double x = 0.0;
  if (QVNgetcallbacknodex(env, cbdata, wherefrom, &x, j, j) != 0) return 1;
  const double f = std::floor(x);
  // Rows of a bad sense, or on a column out of range, make no child.
  const double rhs = 0.0;
  const char sense = 'R', fine = 'L';
  const int beg = 0, ind = j, outside = 1 << 20;
  const double val = 1.0;
  if (QVNbranchcallbackbranchgeneral(env, cbdata, wherefrom, 0, nullptr, nullptr, nullptr, 1, 1, &rhs, &sense, &beg,
                                     &ind, &val, nodeest[0], nullptr, nullptr) == QVNERR_BAD_SENSE &&
      QVNbranchcallbackbranchconstraints(env, cbdata, wherefrom, 1, 1, &rhs, &fine, &beg, &outside, &val, nodeest[0],
                                         nullptr, nullptr) == QVNERR_COL_INDEX_RANGE)
    ++t->refusedRows;
  const char lu[3] = {'U', 'B', 'L'};
  const double to[3] = {f - 1.0, f, f + 1.0};
  for (int k = 0; k < 3; ++k)
    if (QVNbranchcallbackbranchgeneral(env, cbdata, wherefrom, 1, &j, &lu[k], &to[k], 0, 0, nullptr, nullptr,
                                       nullptr, nullptr, nullptr, nodeest[0], nullptr, nullptr) != 0)
      return 1;
  (void)bd;
  // Bounds of a child only from a branch callback.
  if (QVNbranchcallbackbranchbds(env, cbdata, QVN_CALLBACK_MIP_CUT, 1, &j, lu, to, 0.0, nullptr, nullptr) !=
      QVNERR_BAD_ARGUMENT)
    t->wrongKindAccepted = true;
  *useraction_p = QVN_CALLBACK_SET;
  return 0;
}

TEST_F(MipCallbackKindsTest, ThreeChildrenOfAGeneralBranchStillFindTheOptimum) {
  int calls = 0;
  for (uint64_t seed = 21; seed <= 26; ++seed) {
    const MipModel m = randomIntegerModel(seed, 7, 5);
    double optimum = 0.0;
    if (!enumerateOptimum(m, &optimum)) continue;
    ThreeWay t;
    plainTree();
    ASSERT_EQ(QVNsetbranchcallbackfunc(env, branchThreeWays, &t), 0);
    expectOptimum(m, optimum, "seed " + std::to_string(seed));
    EXPECT_EQ(t.refusedRows, t.calls);
    EXPECT_FALSE(t.wrongKindAccepted);
    calls += t.calls;
    QVNsetbranchcallbackfunc(env, nullptr, nullptr);
  }
  EXPECT_GT(calls, 5);
  takeErrors();
}

// Rows on children: a branch callback splits a node on the sum of the
// built-in branch column and another integer column whose sum is fractional,
// into x_j + x_k <= s (rows only), and x_j + x_k >= s + 1 with x_j below or
// above its value (rows and bounds). Each child's handle keeps its rows and
// its parent's handle, so that at every node the callback sees, the node LP
// point is checked against every row of the node's path.
struct SumRow {
  const SumRow *parent = nullptr;
  int j = -1, k = -1;
  char sense = 'N';  // 'N': no row on this child
  double rhs = 0.0;
};

struct SumSplit {
  std::vector<std::unique_ptr<SumRow>> rows;
  int calls = 0, rowChildren = 0, rowNodesSeen = 0, typeFaults = 0, violations = 0, copyFaults = 0;
  std::string fault;
  SumRow *child(const SumRow *parent, int j, int k, char sense, double rhs) {
    rows.push_back(std::make_unique<SumRow>(SumRow{parent, j, k, sense, rhs}));
    return rows.back().get();
  }
};

int splitOnSums(QVNCENVptr env, void *cbdata, int wherefrom, void *handle, int brtype, int, int nodecnt, int bdcnt,
                const int *nodebeg, const int *indices, const char *lu, const double *bd, const double *nodeest,
                int *useraction_p) {
  auto *t = static_cast<SumSplit *>(handle);
  ++t->calls;
  *useraction_p = QVN_CALLBACK_DEFAULT;
  if (brtype != '0' || nodecnt != 2) return 0;
  int n = 0;
  QVNCLPptr nodelp = nullptr;
  if (QVNgetcallbacklp(env, cbdata, wherefrom, &nodelp) != 0 || !nodelp) return 1;
  n = QVNgetnumcols(env, nodelp);
  std::vector<double> x(n);
  std::vector<char> ctype(n);
  if (QVNgetcallbacknodex(env, cbdata, wherefrom, x.data(), 0, n - 1) != 0 ||
      QVNgetcallbackctype(env, cbdata, wherefrom, ctype.data(), 0, n - 1) != 0)
    return 1;
  void *mine = nullptr;
  char type = '?';
  if (QVNgetcallbacknodeinfo(env, cbdata, wherefrom, 0, QVN_CALLBACK_INFO_NODE_USERHANDLE, &mine) != 0 ||
      QVNgetcallbacknodeinfo(env, cbdata, wherefrom, 0, QVN_CALLBACK_INFO_NODE_TYPE, &type) != 0)
    return 1;
  const auto *node = static_cast<const SumRow *>(mine);
  if (node && (type == 'A') != (node->sense != 'N')) ++t->typeFaults;
  int pathRows = 0;
  for (int depth = 0; node && depth < 10000; node = node->parent, ++depth) {
    if (node->sense == 'N') continue;
    ++pathRows;
    const double sum = x[node->j] + x[node->k];
    if ((node->sense == 'L' && sum > node->rhs + 1e-6) || (node->sense == 'G' && sum < node->rhs - 1e-6))
      ++t->violations;
  }
  if (pathRows > 0 && ++t->rowNodesSeen <= 40) {
    // The node LP is the model, the node's bounds and its path's rows (no
    // cut rows in this tree): its copy has them all, and a fresh solve of
    // the copy agrees with the node's objective.
    QVNLPptr copy = nullptr;
    double z = 0.0, zCopy = 0.0;
    if (QVNgetcallbacknodelp(env, cbdata, wherefrom, &copy) != 0 || !copy ||
        QVNgetnumrows(env, copy) != QVNgetnumrows(env, nodelp) + pathRows)
      ++t->copyFaults;
    else if (QVNgetcallbacknodeobjval(env, cbdata, wherefrom, &z) != 0 || QVNlpopt(env, copy) != 0 ||
             QVNgetobjval(env, copy, &zCopy) != 0 || std::fabs(z - zCopy) > 1e-6 * (1.0 + std::fabs(z)))
      ++t->copyFaults;
  }
  const int j = indices[0];
  int k = -1;
  for (int c = 0; c < n && k < 0; ++c) {
    const double sum = x[j] + x[c];
    if (c != j && ctype[c] != 'C' && std::fabs(sum - std::round(sum)) > 1e-3) k = c;
  }
  if (k < 0) {
    // Nothing to split on a sum: the built-in children, with handles.
    for (int c = 0; c < nodecnt; ++c) {
      const int b = nodebeg[c], count = (c + 1 < nodecnt ? nodebeg[c + 1] : bdcnt) - b;
      if (QVNbranchcallbackbranchbds(env, cbdata, wherefrom, count, indices + b, lu + b, bd + b, nodeest[c],
                                     t->child(static_cast<const SumRow *>(mine), j, j, 'N', 0.0), nullptr) != 0)
        return 1;
    }
    *useraction_p = QVN_CALLBACK_SET;
    return 0;
  }
  const double s = std::floor(x[j] + x[k]), f = std::floor(x[j]);
  const int beg = 0, ind[2] = {j, k};
  const double one[2] = {1.0, 1.0}, below = s, above = s + 1.0;
  const char le = 'L', ge = 'G', down = 'U', up = 'L';
  const double fdown = f, fup = f + 1.0;
  const auto *parent = static_cast<const SumRow *>(mine);
  if (QVNbranchcallbackbranchconstraints(env, cbdata, wherefrom, 1, 2, &below, &le, &beg, ind, one, nodeest[0],
                                         t->child(parent, j, k, 'L', below), nullptr) != 0 ||
      QVNbranchcallbackbranchgeneral(env, cbdata, wherefrom, 1, &j, &down, &fdown, 1, 2, &above, &ge, &beg, ind, one,
                                     nodeest[0], t->child(parent, j, k, 'G', above), nullptr) != 0 ||
      QVNbranchcallbackbranchgeneral(env, cbdata, wherefrom, 1, &j, &up, &fup, 1, 2, &above, &ge, &beg, ind, one,
                                     nodeest[1], t->child(parent, j, k, 'G', above), nullptr) != 0)
    return 1;
  t->rowChildren += 3;
  *useraction_p = QVN_CALLBACK_SET;
  return 0;
}

void collectText(void *handle, const char *text) { *static_cast<std::string *>(handle) += text; }

TEST_F(MipCallbackKindsTest, RowsOnChildrenHoldInTheirSubtreesAndKeepTheOptimum) {
  QVNCHANNELptr results = nullptr, warnings = nullptr, errors = nullptr, logs = nullptr;
  ASSERT_EQ(QVNgetchannels(env, &results, &warnings, &errors, &logs), 0);
  std::string debugText;
  ASSERT_EQ(QVNaddfuncdest(env, errors, &debugText, collectText), 0);
  ASSERT_EQ(QVNaddfuncdest(env, warnings, &debugText, collectText), 0);
  const std::string solutionFile = ::testing::TempDir() + "qvn_rows_on_children.sol";
  int rowChildren = 0, rowNodes = 0, models = 0;
  for (uint64_t seed = 31; seed <= 38; ++seed) {
    const MipModel m = randomIntegerModel(seed, 7, 4);
    double optimum = 0.0;
    if (!enumerateOptimum(m, &optimum)) continue;
    const std::vector<double> best = knownOptimum(m, &optimum);
    // The known optimum, by name, for the search's own checks: no node that
    // holds it (bounds and rows) may be cut off, no callback branching may lose it.
    {
      FILE *f = std::fopen(solutionFile.c_str(), "w");
      ASSERT_NE(f, nullptr);
      for (size_t c = 0; c < best.size(); ++c) std::fprintf(f, "column x%zu %.17g\n", c, best[c]);
      std::fclose(f);
    }
    SumSplit t;
    plainTree();
    // Children whose rows were lost would repeat their parent's point for ever.
    QVNsetintparam(env, QVN_PARAM_NODELIM, 5000);
    ASSERT_EQ(QVNsetbranchcallbackfunc(env, splitOnSums, &t), 0);
    ASSERT_EQ(loadMipModel(env, lp, m), 0);
    for (int c = 0; c < static_cast<int>(best.size()); ++c) {
      const std::string name = "x" + std::to_string(c);
      ASSERT_EQ(QVNchgname(env, lp, 'c', c, name.c_str()), 0);
    }
    setenv("QUORVAN_DEBUG_SOLUTION", solutionFile.c_str(), 1);
    debugText.clear();
    const int status = QVNmipopt(env, lp);
    unsetenv("QUORVAN_DEBUG_SOLUTION");
    ASSERT_EQ(status, 0);
    ASSERT_EQ(QVNgetstat(env, lp), QVN_STAT_MIP_OPTIMAL) << seed;
    double z = 0.0;
    ASSERT_EQ(QVNgetobjval(env, lp, &z), 0);
    EXPECT_TRUE(sameObjective(z, optimum)) << seed << ": " << z << " vs " << optimum;
    EXPECT_EQ(checkIncumbentOf(env, lp, m), "") << seed;
    EXPECT_NE(debugText.find("Debug solution:"), std::string::npos) << "the known optimum was not loaded";
    EXPECT_EQ(debugText.find("Debug solution cut off"), std::string::npos) << seed << ": " << debugText;
    EXPECT_EQ(t.violations, 0) << seed;
    EXPECT_EQ(t.typeFaults, 0) << seed;
    EXPECT_EQ(t.copyFaults, 0) << seed;
    rowChildren += t.rowChildren;
    rowNodes += t.rowNodesSeen;
    ++models;
    QVNsetbranchcallbackfunc(env, nullptr, nullptr);
  }
  QVNsetintparam(env, QVN_PARAM_NODELIM, 2100000000);
  std::remove(solutionFile.c_str());
  QVNdelfuncdest(env, errors, &debugText, collectText);
  QVNdelfuncdest(env, warnings, &debugText, collectText);
  EXPECT_GE(models, 4);
  EXPECT_GT(rowChildren, 20);
  EXPECT_GT(rowNodes, 10);
  takeErrors();
}

// A node callback that takes the deepest open node, and a solve callback
// that tells which node came.
struct Picker {
  int picks = 0, checked = 0, mismatches = 0;
  int expected = -1;  // sequence number of the node picked last
  int pickIndex = -1; // a fixed index to pick instead (out of range on purpose)
};

int pickDeepest(QVNCENVptr env, void *cbdata, int wherefrom, void *handle, int *nodeindex_p, int *useraction_p) {
  auto *p = static_cast<Picker *>(handle);
  int left = 0;
  if (QVNgetcallbackinfo(env, cbdata, wherefrom, QVN_CALLBACK_INFO_NODES_LEFT, &left) != 0) return 1;
  if (p->pickIndex >= 0) {
    *nodeindex_p = p->pickIndex;
    *useraction_p = QVN_CALLBACK_SET;
    return 0;
  }
  int best = -1, bestDepth = -1;
  for (int k = 0; k < left && k < 100000; ++k) {
    int depth = -1;
    if (QVNgetcallbacknodeinfo(env, cbdata, wherefrom, k, QVN_CALLBACK_INFO_NODE_DEPTH, &depth) != 0) break;
    if (depth > bestDepth) best = k, bestDepth = depth;
  }
  if (best < 0) return 0;
  QVNgetcallbacknodeinfo(env, cbdata, wherefrom, best, QVN_CALLBACK_INFO_NODE_SEQNUM, &p->expected);
  ++p->picks;
  *nodeindex_p = best;
  *useraction_p = QVN_CALLBACK_SET;
  return 0;
}

int seeNode(QVNCENVptr env, void *cbdata, int wherefrom, void *handle, int *useraction_p) {
  auto *p = static_cast<Picker *>(handle);
  *useraction_p = QVN_CALLBACK_DEFAULT;
  int seq = -1;
  if (QVNgetcallbacknodeinfo(env, cbdata, wherefrom, 0, QVN_CALLBACK_INFO_NODE_SEQNUM, &seq) != 0) return 1;
  if (p->expected >= 0) {
    ++p->checked;
    if (seq != p->expected) ++p->mismatches;
    p->expected = -1;
  }
  return 0;
}

TEST_F(MipCallbackKindsTest, NodeCallbackChoosesTheNextNode) {
  int picks = 0;
  for (uint64_t seed = 5; seed <= 7; ++seed) {
    const MipModel m = knapsack(seed, 18);
    double optimum = 0.0;
    ASSERT_TRUE(enumerateOptimum(m, &optimum));
    Picker p;
    plainTree();
    ASSERT_EQ(QVNsetnodecallbackfunc(env, pickDeepest, &p), 0);
    ASSERT_EQ(QVNsetsolvecallbackfunc(env, seeNode, &p), 0);
    expectOptimum(m, optimum, "seed " + std::to_string(seed));
    picks += p.picks;
    EXPECT_EQ(p.checked, p.picks);
    EXPECT_EQ(p.mismatches, 0);
  }
  EXPECT_GT(picks, 100);
  // An index beyond the open nodes ends the run as a failure (error 1200).
  Picker wrong;
  wrong.pickIndex = 1000000;
  ASSERT_EQ(QVNsetnodecallbackfunc(env, pickDeepest, &wrong), 0);
  ASSERT_EQ(QVNsetsolvecallbackfunc(env, nullptr, nullptr), 0);
  ASSERT_EQ(loadMipModel(env, lp, knapsack(5, 18)), 0);
  ASSERT_EQ(QVNmipopt(env, lp), 0);
  const int status = QVNgetstat(env, lp);
  EXPECT_TRUE(status == QVN_STAT_MIP_FAIL_FEAS || status == QVN_STAT_MIP_FAIL_INFEAS) << status;
  takeErrors();
}

// A heuristic callback that first offers a point breaking a row, then a known
// optimal point: only the second becomes the incumbent.
struct Supplier {
  std::vector<double> best;
  int calls = 0, offered = 0;
  bool objectiveAgrees = true, noIncumbentBefore = true;
};

int supply(QVNCENVptr env, void *cbdata, int wherefrom, void *handle, double *objval_p, double *x,
           int *useraction_p) {
  auto *s = static_cast<Supplier *>(handle);
  ++s->calls;
  *useraction_p = QVN_CALLBACK_DEFAULT;
  double objective = 0.0;
  if (QVNgetcallbacknodeobjval(env, cbdata, wherefrom, &objective) != 0 || std::fabs(objective - *objval_p) > 1e-9)
    s->objectiveAgrees = false;
  const int n = static_cast<int>(s->best.size());
  if (s->offered == 0) {
    int feasible = -1;
    std::vector<double> inc(n);
    QVNgetcallbackinfo(env, cbdata, wherefrom, QVN_CALLBACK_INFO_MIP_FEAS, &feasible);
    if (feasible != 0 || QVNgetcallbackincumbent(env, cbdata, wherefrom, inc.data(), 0, n - 1) != QVNERR_CALLBACK)
      s->noIncumbentBefore = false;
    for (int j = 0; j < n; ++j) x[j] = 1.0;  // every item: over the capacity
  } else if (s->offered == 1) {
    for (int j = 0; j < n; ++j) x[j] = s->best[j];
  } else {
    return 0;
  }
  ++s->offered;
  *useraction_p = QVN_CALLBACK_SET;
  return 0;
}

TEST_F(MipCallbackKindsTest, HeuristicCallbackSuppliesTheIncumbent) {
  const MipModel m = knapsack(8, 18);
  double optimum = 0.0;
  Supplier s;
  s.best = knownOptimum(m, &optimum);
  // One node and no heuristic of our own: the incumbent can come only from
  // the root LP or the callback.
  QVNsetintparam(env, QVN_PARAM_HEURFREQ, -1);
  QVNsetintparam(env, QVN_PARAM_NODELIM, 2);
  ASSERT_EQ(QVNsetheuristiccallbackfunc(env, supply, &s), 0);
  ASSERT_EQ(loadMipModel(env, lp, m), 0);
  ASSERT_EQ(QVNmipopt(env, lp), 0);
  double z = 0.0;
  ASSERT_EQ(QVNgetobjval(env, lp, &z), 0);
  EXPECT_TRUE(sameObjective(z, optimum)) << z << " vs " << optimum;
  EXPECT_EQ(checkIncumbentOf(env, lp, m), "");
  EXPECT_GE(s.calls, 2);
  EXPECT_TRUE(s.objectiveAgrees);
  EXPECT_TRUE(s.noIncumbentBefore);
  // The infeasible point was refused: after it the run still had none.
  EXPECT_EQ(s.offered, 2);
  QVNsetintparam(env, QVN_PARAM_NODELIM, 2100000000);
  takeErrors();
}

// At a fractional node the heuristic callback comes before the branch
// callback: the children are not made yet, and the node's LP point is the
// one both see.
struct Order {
  int lastHeuristicSeq = -1, branchCalls = 0, outOfOrder = 0, pointsDiffer = 0;
  std::vector<double> heuristicPoint;
};

int noteHeuristic(QVNCENVptr env, void *cbdata, int wherefrom, void *handle, double *, double *x, int *useraction_p) {
  auto *o = static_cast<Order *>(handle);
  *useraction_p = QVN_CALLBACK_DEFAULT;
  int left = -1;
  if (QVNgetcallbacknodeinfo(env, cbdata, wherefrom, 0, QVN_CALLBACK_INFO_NODE_SEQNUM, &o->lastHeuristicSeq) != 0 ||
      QVNgetcallbackinfo(env, cbdata, wherefrom, QVN_CALLBACK_INFO_NODES_LEFT, &left) != 0)
    return 1;
  o->heuristicPoint.assign(x, x + o->heuristicPoint.size());
  return 0;
}

int checkOrder(QVNCENVptr env, void *cbdata, int wherefrom, void *handle, int, int, int, int, const int *,
               const int *, const char *, const double *, const double *, int *useraction_p) {
  auto *o = static_cast<Order *>(handle);
  *useraction_p = QVN_CALLBACK_DEFAULT;
  ++o->branchCalls;
  int seq = -1;
  if (QVNgetcallbacknodeinfo(env, cbdata, wherefrom, 0, QVN_CALLBACK_INFO_NODE_SEQNUM, &seq) != 0) return 1;
  if (seq != o->lastHeuristicSeq) ++o->outOfOrder;
  std::vector<double> x(o->heuristicPoint.size());
  if (QVNgetcallbacknodex(env, cbdata, wherefrom, x.data(), 0, static_cast<int>(x.size()) - 1) != 0 ||
      x != o->heuristicPoint)
    ++o->pointsDiffer;
  return 0;
}

TEST_F(MipCallbackKindsTest, HeuristicCallbackComesBeforeTheChildren) {
  const MipModel m = knapsack(9, 16);
  double optimum = 0.0;
  ASSERT_TRUE(enumerateOptimum(m, &optimum));
  Order o;
  o.heuristicPoint.resize(16);
  plainTree();
  ASSERT_EQ(QVNsetheuristiccallbackfunc(env, noteHeuristic, &o), 0);
  ASSERT_EQ(QVNsetbranchcallbackfunc(env, checkOrder, &o), 0);
  expectOptimum(m, optimum, "ordered");
  EXPECT_GT(o.branchCalls, 5);
  EXPECT_EQ(o.outOfOrder, 0);
  EXPECT_EQ(o.pointsDiffer, 0);
  takeErrors();
}

// A solve callback that solves the node LP's copy by the primal simplex and
// hands its basis over; the node then reports the copy's objective.
struct HandSolver {
  int solved = 0, agreed = 0, disagreed = 0, noPointBefore = 0, withCutRows = 0;
  int modelRows = 0;
  std::map<int, double> objectiveBySeq;
};

int solveByHand(QVNCENVptr env, void *cbdata, int wherefrom, void *handle, int *useraction_p) {
  auto *h = static_cast<HandSolver *>(handle);
  *useraction_p = QVN_CALLBACK_DEFAULT;
  double x = 0.0;
  if (QVNgetcallbacknodex(env, cbdata, wherefrom, &x, 0, 0) == QVNERR_CALLBACK) ++h->noPointBefore;
  QVNLPptr node = nullptr;
  if (QVNgetcallbacknodelp(env, cbdata, wherefrom, &node) != 0 || !node) return 1;
  if (QVNgetnumrows(env, node) > h->modelRows) ++h->withCutRows;
  if (QVNprimopt(env, node) != 0) return 1;
  if (QVNgetstat(env, node) != QVN_STAT_OPTIMAL) return 0;
  int seq = -1;
  QVNgetcallbacknodeinfo(env, cbdata, wherefrom, 0, QVN_CALLBACK_INFO_NODE_SEQNUM, &seq);
  double z = 0.0;
  QVNgetobjval(env, node, &z);
  h->objectiveBySeq[seq] = z;
  ++h->solved;
  *useraction_p = QVN_CALLBACK_SET;
  return 0;
}

int compareWithHand(QVNCENVptr env, void *cbdata, int wherefrom, void *handle, double *objval_p, double *,
                    int *useraction_p) {
  auto *h = static_cast<HandSolver *>(handle);
  *useraction_p = QVN_CALLBACK_DEFAULT;
  int seq = -1;
  QVNgetcallbacknodeinfo(env, cbdata, wherefrom, 0, QVN_CALLBACK_INFO_NODE_SEQNUM, &seq);
  const auto it = h->objectiveBySeq.find(seq);
  if (it == h->objectiveBySeq.end()) return 0;
  if (std::fabs(it->second - *objval_p) <= 1e-7 * (1.0 + std::fabs(*objval_p)))
    ++h->agreed;
  else
    ++h->disagreed;
  return 0;
}

TEST_F(MipCallbackKindsTest, SolveCallbackSolvesTheNodeLpByHand) {
  // With cut rounds the copy holds the root's cut rows too.
  int solved = 0, agreed = 0, withCutRows = 0;
  for (int cuts = 0; cuts <= 1; ++cuts)
    for (uint64_t seed = 31; seed <= 33; ++seed) {
      const MipModel m = knapsack(seed, 18);
      double optimum = 0.0;
      ASSERT_TRUE(enumerateOptimum(m, &optimum));
      HandSolver h;
      h.modelRows = static_cast<int>(m.lp.rhs.size());
      plainTree();
      if (cuts) QVNsetintparam(env, QVN_PARAM_CUTPASS, 0);
      ASSERT_EQ(QVNsetsolvecallbackfunc(env, solveByHand, &h), 0);
      ASSERT_EQ(QVNsetheuristiccallbackfunc(env, compareWithHand, &h), 0);
      expectOptimum(m, optimum, "seed " + std::to_string(seed));
      solved += h.solved;
      agreed += h.agreed;
      withCutRows += h.withCutRows;
      EXPECT_EQ(h.disagreed, 0);
      EXPECT_EQ(h.noPointBefore, h.solved);
    }
  EXPECT_GT(solved, 20);
  EXPECT_GT(agreed, 10);
  EXPECT_GT(withCutRows, 0);
  // The use flag 1 stops the run.
  ASSERT_EQ(QVNsetsolvecallbackfunc(
                env,
                [](QVNCENVptr, void *, int, void *, int *action) -> int {
                  *action = QVN_CALLBACK_FAIL;
                  return 0;
                },
                nullptr),
            0);
  expectStopped(knapsack(31, 16), "solve callback's use flag");
  takeErrors();
}

// Children with handles from a branch callback: each one is either processed
// (seen in hand by the solve callback) or told to the delete-node callback,
// exactly once, never both.
struct Ledger {
  std::vector<int> state;  // per handle: 0 made, 1 processed, 2 deleted
  int deletedTwice = 0, deletedAfterProcessing = 0, processedAfterDelete = 0, badWherefrom = 0;
};

int branchWithHandles(QVNCENVptr env, void *cbdata, int wherefrom, void *handle, int, int, int nodecnt, int bdcnt,
                      const int *nodebeg, const int *indices, const char *lu, const double *bd,
                      const double *nodeest, int *useraction_p) {
  auto *l = static_cast<Ledger *>(handle);
  if (l->state.size() > 100000) return 1;
  for (int k = 0; k < nodecnt; ++k) {
    const int b = nodebeg[k], count = (k + 1 < nodecnt ? nodebeg[k + 1] : bdcnt) - b;
    l->state.push_back(0);
    void *h = reinterpret_cast<void *>(static_cast<intptr_t>(l->state.size()));  // 1-based
    if (QVNbranchcallbackbranchbds(env, cbdata, wherefrom, count, indices + b, lu + b, bd + b, nodeest[k], h,
                                   nullptr) != 0)
      return 1;
  }
  *useraction_p = QVN_CALLBACK_SET;
  return 0;
}

int processed(QVNCENVptr env, void *cbdata, int wherefrom, void *handle, int *useraction_p) {
  auto *l = static_cast<Ledger *>(handle);
  *useraction_p = QVN_CALLBACK_DEFAULT;
  void *h = nullptr;
  if (QVNgetcallbacknodeinfo(env, cbdata, wherefrom, 0, QVN_CALLBACK_INFO_NODE_USERHANDLE, &h) != 0) return 1;
  const auto k = static_cast<size_t>(reinterpret_cast<intptr_t>(h));
  if (k == 0 || k > l->state.size()) return 0;
  if (l->state[k - 1] == 2) ++l->processedAfterDelete;
  l->state[k - 1] = 1;
  return 0;
}

void deleted(QVNCENVptr, int wherefrom, void *handle, int, void *h) {
  auto *l = static_cast<Ledger *>(handle);
  if (wherefrom != QVN_CALLBACK_MIP_DELETENODE) ++l->badWherefrom;
  const auto k = static_cast<size_t>(reinterpret_cast<intptr_t>(h));
  if (k == 0 || k > l->state.size()) return;
  if (l->state[k - 1] == 2) ++l->deletedTwice;
  if (l->state[k - 1] == 1) ++l->deletedAfterProcessing;
  l->state[k - 1] = 2;
}

TEST_F(MipCallbackKindsTest, DeleteNodeCallbackHearsOfEveryDroppedNodeOnce) {
  for (uint64_t seed = 41; seed <= 45; ++seed) {
    const MipModel m = knapsack(seed, 18);
    double optimum = 0.0;
    ASSERT_TRUE(enumerateOptimum(m, &optimum));
    Ledger l;
    plainTree();
    // The last two runs move nodes out of memory into compressed blocks
    // (about two thousand bytes of nodes are kept): a block dropped whole at
    // a new cutoff still tells of each node it held.
    const bool blocks = seed >= 44;
    QVNsetdblparam(env, QVN_PARAM_WORKMEM, blocks ? 0.002 : 128.0);
    ASSERT_EQ(QVNsetbranchcallbackfunc(env, branchWithHandles, &l), 0);
    ASSERT_EQ(QVNsetsolvecallbackfunc(env, processed, &l), 0);
    ASSERT_EQ(QVNsetdeletenodecallbackfunc(env, deleted, &l), 0);
    expectOptimum(m, optimum, "seed " + std::to_string(seed));
    int made = static_cast<int>(l.state.size()), seen = 0, gone = 0;
    for (int s : l.state) seen += s == 1, gone += s == 2;
    EXPECT_GT(gone, 0) << seed;  // an incumbent prunes some
    EXPECT_EQ(seen + gone, made) << seed;
    EXPECT_EQ(l.deletedTwice + l.deletedAfterProcessing + l.processedAfterDelete + l.badWherefrom, 0) << seed;
  }
  QVNsetdblparam(env, QVN_PARAM_WORKMEM, 128.0);
  takeErrors();
}

// Node LPs that fail: the branch-without-solution callback sees the node
// with no point and makes the built-in children itself.
struct NoSolution {
  int calls = 0, solvedCalls = 0, faults = 0;
};

int branchWithoutSolution(QVNCENVptr env, void *cbdata, int wherefrom, void *handle, int brtype, int, int nodecnt,
                          int bdcnt, const int *nodebeg, const int *indices, const char *lu, const double *bd,
                          const double *nodeest, int *useraction_p) {
  auto *s = static_cast<NoSolution *>(handle);
  *useraction_p = QVN_CALLBACK_DEFAULT;
  if (wherefrom == QVN_CALLBACK_MIP_BRANCH) {
    ++s->solvedCalls;
    return 0;
  }
  ++s->calls;
  double x = 0.0;
  int stat = -1;
  if (wherefrom != QVN_CALLBACK_MIP_BRANCH_NOSOLN || brtype != '0' || nodecnt != 2) ++s->faults;
  if (QVNgetcallbacknodex(env, cbdata, wherefrom, &x, 0, 0) != QVNERR_CALLBACK) ++s->faults;
  if (QVNgetcallbacknodeobjval(env, cbdata, wherefrom, &x) != QVNERR_CALLBACK) ++s->faults;
  if (QVNgetcallbacknodestat(env, cbdata, wherefrom, &stat) != 0 || stat != 0) ++s->faults;
  for (int k = 0; k < nodecnt; ++k) {
    const int b = nodebeg[k], count = (k + 1 < nodecnt ? nodebeg[k + 1] : bdcnt) - b;
    if (QVNbranchcallbackbranchbds(env, cbdata, wherefrom, count, indices + b, lu + b, bd + b, nodeest[k], nullptr,
                                   nullptr) != 0)
      ++s->faults;
  }
  *useraction_p = QVN_CALLBACK_SET;
  return 0;
}

TEST_F(MipCallbackKindsTest, BranchWithoutSolutionCallbackSplitsUnsolvedNodes) {
  const MipModel m = knapsack(4, 7);
  double optimum = 0.0;
  ASSERT_TRUE(enumerateOptimum(m, &optimum));
  plainTree();
  NoSolution s;
  ASSERT_EQ(QVNsetbranchcallbackfunc(env, branchWithoutSolution, &s), 0);
  ASSERT_EQ(QVNsetbranchnosolncallbackfunc(env, branchWithoutSolution, &s), 0);
  ASSERT_EQ(loadMipModel(env, lp, m), 0);
  env->debug.failNodeLps = 3;
  ASSERT_EQ(QVNmipopt(env, lp), 0);
  env->debug.failNodeLps = 0;
  ASSERT_EQ(QVNgetstat(env, lp), QVN_STAT_MIP_OPTIMAL);
  double z = 0.0;
  ASSERT_EQ(QVNgetobjval(env, lp, &z), 0);
  EXPECT_TRUE(sameObjective(z, optimum)) << z << " vs " << optimum;
  EXPECT_EQ(checkIncumbentOf(env, lp, m), "");
  EXPECT_EQ(s.calls, 3);
  EXPECT_GT(s.solvedCalls, 0);
  EXPECT_EQ(s.faults, 0);
  takeErrors();
}

struct WrongCalls {
  int checked = 0;
  std::string fault;
};

// From inside a callback: a wherefrom that is not the call's is 1003, data
// the call does not have is 1006.
int wrongCalls(QVNCENVptr env, void *cbdata, int wherefrom, void *handle) {
  auto *w = static_cast<WrongCalls *>(handle);
  ++w->checked;
  double x[1] = {0.0};
  int i = 0;
  auto expect = [&](int got, int want, const char *what) {
    if (got != want && w->fault.empty()) w->fault = std::string(what) + " gave " + std::to_string(got);
  };
  expect(QVNgetcallbacknodex(env, cbdata, 999, x, 0, 0), QVNERR_BAD_ARGUMENT, "nodex at 999");
  expect(QVNgetcallbacknodex(env, cbdata, QVN_CALLBACK_MIP_BRANCH, x, 0, 0), QVNERR_BAD_ARGUMENT, "nodex at 102");
  expect(QVNgetcallbackinfo(env, cbdata, 1, QVN_CALLBACK_INFO_NODE_COUNT, &i), QVNERR_BAD_ARGUMENT, "info at 1");
  expect(QVNgetcallbacknodex(env, cbdata, wherefrom, x, 0, 0), QVNERR_CALLBACK, "nodex at 101");
  expect(QVNgetcallbacknodelb(env, cbdata, wherefrom, x, 0, 0), QVNERR_CALLBACK, "nodelb at 101");
  expect(QVNgetcallbacknodeobjval(env, cbdata, wherefrom, x), QVNERR_CALLBACK, "nodeobjval at 101");
  expect(QVNgetcallbackgloballb(env, cbdata, wherefrom, x, 0, 0), 0, "globallb at 101");
  expect(QVNgetcallbackgloballb(env, cbdata, wherefrom, x, 0, 999), QVNERR_INDEX_RANGE, "globallb range");
  expect(QVNgetcallbackinfo(env, cbdata, wherefrom, 199, &i), QVNERR_BAD_ARGUMENT, "info 199");
  expect(QVNgetcallbacksosinfo(env, cbdata, wherefrom, 0, 0, QVN_CALLBACK_INFO_SOS_SIZE, &i), QVNERR_CALLBACK,
         "sosinfo without sets");
  expect(QVNgetcallbackindicatorinfo(env, cbdata, wherefrom, 0, 0, &i), QVNERR_CALLBACK, "indicatorinfo");
  std::array<unsigned char, 256> fake{};
  expect(QVNgetcallbackinfo(env, fake.data(), wherefrom, QVN_CALLBACK_INFO_NODE_COUNT, &i), QVNERR_CALLBACK,
         "a block that is not live");
  QVNCLPptr original = nullptr;
  expect(QVNgetcallbacklp(env, cbdata, wherefrom, &original), 0, "callbacklp");
  char type = 0;
  expect(QVNgetcallbackctype(env, cbdata, wherefrom, &type, 0, 0), 0, "ctype");
  if (type != 'B' && w->fault.empty()) w->fault = "ctype of a binary";
  int priority = 0, direction = 9;
  expect(QVNgetcallbackorder(env, cbdata, wherefrom, &priority, &direction, 0, 0), 0, "order");
  if ((priority != -1 || direction != 0) && w->fault.empty()) w->fault = "order without one";
  return 0;
}

TEST_F(MipCallbackKindsTest, SettersGettersAndWrongCalls) {
  // Every setter's function and handle come back from its getter; null clears both.
  int token = 0;
  QVNbranchcallbackfunc b = nullptr;
  QVNnodecallbackfunc n = nullptr;
  QVNheuristiccallbackfunc h = nullptr;
  QVNsolvecallbackfunc s = nullptr;
  QVNdeletenodecallbackfunc d = nullptr;
  void *handle = nullptr;
  ASSERT_EQ(QVNsetbranchcallbackfunc(env, branchInOwnWords, &token), 0);
  ASSERT_EQ(QVNgetbranchcallbackfunc(env, &b, &handle), 0);
  EXPECT_TRUE(b == branchInOwnWords && handle == &token);
  ASSERT_EQ(QVNsetbranchnosolncallbackfunc(env, branchThreeWays, &n), 0);
  ASSERT_EQ(QVNgetbranchnosolncallbackfunc(env, &b, &handle), 0);
  EXPECT_TRUE(b == branchThreeWays && handle == &n);
  ASSERT_EQ(QVNsetnodecallbackfunc(env, pickDeepest, &token), 0);
  ASSERT_EQ(QVNgetnodecallbackfunc(env, &n, &handle), 0);
  EXPECT_TRUE(n == pickDeepest && handle == &token);
  ASSERT_EQ(QVNsetheuristiccallbackfunc(env, supply, &h), 0);
  ASSERT_EQ(QVNgetheuristiccallbackfunc(env, &h, &handle), 0);
  EXPECT_TRUE(h == supply);
  ASSERT_EQ(QVNsetsolvecallbackfunc(env, seeNode, &token), 0);
  ASSERT_EQ(QVNgetsolvecallbackfunc(env, &s, &handle), 0);
  EXPECT_TRUE(s == seeNode && handle == &token);
  ASSERT_EQ(QVNsetdeletenodecallbackfunc(env, deleted, &token), 0);
  ASSERT_EQ(QVNgetdeletenodecallbackfunc(env, &d, &handle), 0);
  EXPECT_TRUE(d == deleted && handle == &token);
  ASSERT_EQ(QVNsetdeletenodecallbackfunc(env, nullptr, &token), 0);
  ASSERT_EQ(QVNgetdeletenodecallbackfunc(env, &d, &handle), 0);
  EXPECT_TRUE(d == nullptr && handle == nullptr);
  EXPECT_EQ(QVNgetsolvecallbackfunc(env, nullptr, &handle), QVNERR_NULL_POINTER);
  EXPECT_EQ(QVNgetnodecallbackfunc(nullptr, &n, &handle), QVNERR_NO_ENVIRONMENT);
  QVNsetbranchcallbackfunc(env, nullptr, nullptr);
  QVNsetbranchnosolncallbackfunc(env, nullptr, nullptr);
  QVNsetnodecallbackfunc(env, nullptr, nullptr);
  QVNsetheuristiccallbackfunc(env, nullptr, nullptr);
  QVNsetsolvecallbackfunc(env, nullptr, nullptr);
  takeErrors();

  // Wrong calls from inside a run; the run itself still ends at the optimum,
  // with MIPCBREDLP either way (callbacks keep the caller's columns).
  const MipModel m = knapsack(3, 12);
  double optimum = 0.0;
  ASSERT_TRUE(enumerateOptimum(m, &optimum));
  for (int reduced = 0; reduced <= 1; ++reduced) {
    QVNsetintparam(env, QVN_PARAM_MIPCBREDLP, reduced);
    WrongCalls w;
    ASSERT_EQ(QVNsetmipcallbackfunc(env, wrongCalls, &w), 0);
    expectOptimum(m, optimum, "MIPCBREDLP " + std::to_string(reduced));
    EXPECT_GT(w.checked, 0);
    EXPECT_EQ(w.fault, "");
  }
  // Outside any run the data block does not exist.
  double x = 0.0;
  EXPECT_EQ(QVNgetcallbacknodex(env, nullptr, QVN_CALLBACK_MIP, &x, 0, 0), QVNERR_CALLBACK);
  EXPECT_EQ(QVNbranchcallbackbranchbds(env, nullptr, QVN_CALLBACK_MIP_BRANCH, 0, nullptr, nullptr, nullptr, 0.0,
                                       nullptr, nullptr),
            QVNERR_CALLBACK);
  takeErrors();
}

} // namespace
} // namespace qvntest
