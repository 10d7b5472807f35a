// The NetProblem object through its exported functions: building, changing,
// reading back, deleting with renumbering, and every refusal of bad input.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "network/net_problem.h"
#include "support/test_support.h"

namespace qvntest {

namespace {

class NetProblemTest : public EnvFixture {
protected:
  void SetUp() override {
    EnvFixture::SetUp();
    int status = 0;
    net = QVNNETcreateprob(env, &status, "model");
    ASSERT_NE(net, nullptr);
    ASSERT_EQ(status, 0);
  }
  void TearDown() override {
    QVNNETfreeprob(env, &net);
    EnvFixture::TearDown();
  }
  // Three nodes and three arcs: 0->1, 1->2, 0->2.
  void build() {
    const double supply[] = {4, 0, -4};
    char *nodeNames[] = {const_cast<char *>("s"), const_cast<char *>("m"), const_cast<char *>("t")};
    const int from[] = {0, 1, 0}, to[] = {1, 2, 2};
    const double lo[] = {0, 1, 0}, up[] = {3, 10, 1e20}, cost[] = {1, 2, 5};
    ASSERT_EQ(QVNNETcopynet(env, net, 1, 3, supply, nodeNames, 3, from, to, lo, up, cost, nullptr), 0);
  }
  QVNNETptr net = nullptr;
};

} // namespace

TEST_F(NetProblemTest, NewObjectIsEmptyAndRefusesValueGetters) {
  EXPECT_EQ(QVNNETgetnumnodes(env, net), 0);
  EXPECT_EQ(QVNNETgetnumarcs(env, net), 0);
  EXPECT_EQ(QVNNETgetobjsen(env, net), 1);
  EXPECT_EQ(QVNNETgetstat(env, net), 0);
  double value = 0;
  EXPECT_EQ(QVNNETgetobjval(env, net, &value), QVNERR_NO_SOLN);
  int arcs[1], nodes[1];
  EXPECT_EQ(QVNNETgetbase(env, net, arcs, nodes), QVNERR_NO_BASIS);
  EXPECT_EQ(QVNNETaddnodes(env, net, 0, nullptr, nullptr), 0);
  EXPECT_EQ(QVNNETgetnumnodes(env, net), 0);
  EXPECT_EQ(QVNNETaddnodes(env, net, -1, nullptr, nullptr), QVNERR_BAD_ARGUMENT);
  // Growth from a capacity of 1 by the 1.2 rule gives at least 100 more.
  ASSERT_EQ(QVNNETaddnodes(env, net, 1, nullptr, nullptr), 0);
  ASSERT_EQ(net->nodeSpace, 1);
  ASSERT_EQ(QVNNETaddnodes(env, net, 10, nullptr, nullptr), 0);
  EXPECT_GE(net->nodeSpace, 110);
  char buffer[32];
  int surplus = 0;
  ASSERT_EQ(QVNNETgetprobname(env, net, buffer, sizeof buffer, &surplus), 0);
  EXPECT_STREQ(buffer, "model");
  takeErrors();
}

TEST_F(NetProblemTest, BuildChangeAndReadBack) {
  build();
  double d[3];
  ASSERT_EQ(QVNNETgetsupply(env, net, d, 0, 2), 0);
  EXPECT_EQ(d[0], 4);
  EXPECT_EQ(d[2], -4);
  ASSERT_EQ(QVNNETgetub(env, net, d, 0, 2), 0);
  EXPECT_EQ(d[2], 1e20);
  int index = -1;
  ASSERT_EQ(QVNNETgetnodeindex(env, net, "t", &index), 0);
  EXPECT_EQ(index, 2);
  ASSERT_EQ(QVNNETgetarcindex(env, net, "a2", &index), 0);
  EXPECT_EQ(index, 1);
  EXPECT_EQ(QVNNETgetarcindex(env, net, "nope", &index), QVNERR_NAME_NOT_FOUND);

  const int arc = 2;
  const char both = 'B';
  const double three = 3;
  ASSERT_EQ(QVNNETchgbds(env, net, 1, &arc, &both, &three), 0);
  ASSERT_EQ(QVNNETgetlb(env, net, d, 2, 2), 0);
  EXPECT_EQ(d[0], 3);
  const double cost = -1;
  ASSERT_EQ(QVNNETchgobj(env, net, 1, &arc, &cost), 0);
  ASSERT_EQ(QVNNETgetobj(env, net, d, 2, 2), 0);
  EXPECT_EQ(d[0], -1);
  const int node = 1;
  const double supply = 2;
  ASSERT_EQ(QVNNETchgsupply(env, net, 1, &node, &supply), 0);
  const int newFrom = 2, newTo = 0;
  ASSERT_EQ(QVNNETchgarcnodes(env, net, 1, &arc, &newFrom, &newTo), 0);
  int from[3], to[3];
  ASSERT_EQ(QVNNETgetarcnodes(env, net, from, to, 0, 2), 0);
  EXPECT_EQ(from[2], 2);
  EXPECT_EQ(to[2], 0);
  ASSERT_EQ(QVNNETchgobjsen(env, net, -1), 0);
  EXPECT_EQ(QVNNETgetobjsen(env, net), -1);
  char *names[] = {const_cast<char *>("middle")};
  ASSERT_EQ(QVNNETchgnodename(env, net, 1, &node, names), 0);
  ASSERT_EQ(QVNNETgetnodeindex(env, net, "middle", &index), 0);
  EXPECT_EQ(index, 1);
  EXPECT_EQ(QVNNETgetnodeindex(env, net, "m", &index), QVNERR_NAME_NOT_FOUND);
  ASSERT_EQ(QVNNETchgname(env, net, 'a', 0, "first"), 0);
  char *out[3];
  char store[64];
  int surplus = 0;
  ASSERT_EQ(QVNNETgetarcname(env, net, out, store, sizeof store, &surplus, 0, 2), 0);
  EXPECT_STREQ(out[0], "first");
  EXPECT_STREQ(out[2], "a3");
  EXPECT_EQ(QVNNETgetarcname(env, net, out, store, 4, &surplus, 0, 2), QVNERR_NEGATIVE_SURPLUS);
  EXPECT_LT(surplus, 0);

  // Arcs leaving nodes 0..1: arc 0 from node 0, arc 1 from node 1.
  int count = 0, start[2], list[3];
  ASSERT_EQ(QVNNETgetnodearcs(env, net, &count, start, list, 3, &surplus, 0, 1), 0);
  EXPECT_EQ(count, 2);
  EXPECT_EQ(start[1], 1);
  EXPECT_EQ(list[1], 1);
  takeErrors();
}

TEST_F(NetProblemTest, DeletionRenumbersNodesAndArcs) {
  build();
  // Deleting node 1 takes arcs 0 and 1 with it.
  ASSERT_EQ(QVNNETdelnodes(env, net, 1, 1), 0);
  EXPECT_EQ(QVNNETgetnumnodes(env, net), 2);
  ASSERT_EQ(QVNNETgetnumarcs(env, net), 1);
  int from = -1, to = -1;
  ASSERT_EQ(QVNNETgetarcnodes(env, net, &from, &to, 0, 0), 0);
  EXPECT_EQ(from, 0);
  EXPECT_EQ(to, 1);
  int index = -1;
  ASSERT_EQ(QVNNETgetnodeindex(env, net, "t", &index), 0);
  EXPECT_EQ(index, 1);

  build();
  int nodeFlags[3] = {0, 0, 0}, arcFlags[3] = {1, 0, 0};
  ASSERT_EQ(QVNNETdelset(env, net, nodeFlags, arcFlags), 0);
  EXPECT_EQ(arcFlags[0], -1);
  EXPECT_EQ(arcFlags[1], 0);
  EXPECT_EQ(arcFlags[2], 1);
  EXPECT_EQ(QVNNETgetnumarcs(env, net), 2);
  ASSERT_EQ(QVNNETdelarcs(env, net, 0, 1), 0);
  EXPECT_EQ(QVNNETgetnumarcs(env, net), 0);
  EXPECT_EQ(QVNNETdelarcs(env, net, 0, 0), QVNERR_INDEX_RANGE);
  takeErrors();
}

TEST_F(NetProblemTest, BadHandlesIndicesAndNumbersChangeNothing) {
  build();
  // Handles: null, a Problem's address, a freed network, another Environment's.
  EXPECT_EQ(QVNNETgetnumnodes(env, nullptr), 0);
  EXPECT_EQ(QVNNETprimopt(env, nullptr), QVNERR_NO_PROBLEM);
  EXPECT_EQ(QVNNETprimopt(nullptr, net), QVNERR_NO_ENVIRONMENT);
  int status = 0;
  QVNNETptr gone = QVNNETcreateprob(env, &status, "gone");
  QVNNETptr stale = gone;
  ASSERT_EQ(QVNNETfreeprob(env, &gone), 0);
  EXPECT_EQ(gone, nullptr);
  EXPECT_EQ(QVNNETaddnodes(env, stale, 1, nullptr, nullptr), QVNERR_NO_PROBLEM);
  QVNENVptr other = QVNopenQUORVAN(&status);
  ASSERT_NE(other, nullptr);
  EXPECT_EQ(QVNNETgetnumnodes(other, net), 0);
  EXPECT_EQ(QVNNETfreeprob(other, &net), QVNERR_NO_PROBLEM);
  // A network left open is released with its Environment.
  QVNNETptr leftOpen = QVNNETcreateprob(other, &status, "left");
  ASSERT_NE(leftOpen, nullptr);
  QVNcloseQUORVAN(&other);

  // Indices and numbers: each refusal leaves the data as they were.
  const int badArc = 3, badNode = -1, arc = 0;
  const double one = 1, nan = std::numeric_limits<double>::quiet_NaN();
  const char lower = 'L', wrong = 'X';
  EXPECT_EQ(QVNNETchgobj(env, net, 1, &badArc, &one), QVNERR_ARC_INDEX_RANGE);
  EXPECT_EQ(QVNNETchgsupply(env, net, 1, &badNode, &one), QVNERR_NODE_INDEX_RANGE);
  EXPECT_EQ(QVNNETchgobj(env, net, 1, &arc, &nan), QVNERR_NAN);
  EXPECT_EQ(QVNNETchgbds(env, net, 1, &arc, &wrong, &one), QVNERR_BAD_LUB);
  EXPECT_EQ(QVNNETchgbds(env, net, 1, &arc, &lower, &nan), QVNERR_NAN);
  EXPECT_EQ(QVNNETchgobj(env, net, 1, nullptr, &one), QVNERR_NULL_POINTER);
  EXPECT_EQ(QVNNETchgobjsen(env, net, 0), QVNERR_BAD_SENSE);
  const int from = 0, to = 7;
  EXPECT_EQ(QVNNETaddarcs(env, net, 1, &from, &to, nullptr, nullptr, nullptr, nullptr), QVNERR_NODE_INDEX_RANGE);
  EXPECT_EQ(QVNNETchgarcnodes(env, net, 1, &arc, &from, &to), QVNERR_NODE_INDEX_RANGE);
  double d[3];
  EXPECT_EQ(QVNNETgetobj(env, net, d, 0, 3), QVNERR_INDEX_RANGE);
  EXPECT_EQ(QVNNETgetobj(env, net, d, -1, 0), QVNERR_INDEX_RANGE);
  EXPECT_EQ(QVNNETgetobj(env, net, nullptr, 0, 0), QVNERR_NULL_POINTER);
  EXPECT_EQ(QVNNETchgname(env, net, 'q', 0, "x"), QVNERR_BAD_ARGUMENT);
  EXPECT_EQ(QVNNETchgname(env, net, 'n', 9, "x"), QVNERR_NODE_INDEX_RANGE);
  const int arcStat[3] = {0, 7, 0}, nodeStat[3] = {1, 1, 1};
  EXPECT_EQ(QVNNETcopybase(env, net, arcStat, nodeStat), QVNERR_BAD_STATUS);
  ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_DATACHECK, 1), 0);
  const double nanSupply = nan;
  EXPECT_EQ(QVNNETaddnodes(env, net, 1, &nanSupply, nullptr), QVNERR_NAN);
  ASSERT_EQ(QVNNETgetobj(env, net, d, 0, 2), 0);
  EXPECT_EQ(d[0], 1);
  EXPECT_EQ(QVNNETgetnumarcs(env, net), 3);
  EXPECT_EQ(QVNNETgetnumnodes(env, net), 3);
  ASSERT_EQ(QVNNETgetlb(env, net, d, 0, 2), 0);
  EXPECT_EQ(d[1], 1);
  takeErrors();
}

} // namespace qvntest
