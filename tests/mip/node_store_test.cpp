// The node store: the order of each node selection rule, the best bound
// through pushes, pops and pruning.
#include <gtest/gtest.h>

#include "mip/node_store.h"

namespace qvn {
namespace {

NodeRecord *node(int sequence, double bound, double estimate = 0.0, int iinf = 1) {
  NodeRecord *n = newNode();
  n->sequence = sequence;
  n->bound = n->objective = bound;
  n->estimate = estimate;
  n->iinf = iinf;
  return n;
}

// Pops everything and returns the sequence numbers in pop order.
std::vector<int> drain(NodeStore &s) {
  std::vector<int> order;
  for (int k = 0; k < 100 && storeCount(s) > 0; ++k) {
    NodeRecord *n = storePop(s);
    order.push_back(n->sequence);
    freeNode(n);
  }
  return order;
}

TEST(NodeStore, SelectionRulesAndBestBound) {
  const double bounds[] = {5.0, 2.0, 9.0, 2.0, 7.0};
  const double estimates[] = {0.5, 9.0, 0.1, 1.0, 3.0};
  // Best bound (1): smallest bound first, ties to the older node.
  NodeStore best;
  best.keys.nodeSelect = 1;
  for (int k = 0; k < 5; ++k) storePush(best, node(k, bounds[k]));
  EXPECT_EQ(storeBestBound(best), 2.0);
  EXPECT_EQ(drain(best), (std::vector<int>{1, 3, 0, 4, 2}));
  EXPECT_EQ(storeBestBound(best), kTreeInfinity);
  EXPECT_EQ(best.inMemoryBytes, 0.0);
  // Depth first (0): the newest node first; the bound heap still knows the best bound.
  NodeStore deep;
  deep.keys.nodeSelect = 0;
  for (int k = 0; k < 5; ++k) storePush(deep, node(k, bounds[k]));
  EXPECT_EQ(storeBestBound(deep), 2.0);
  EXPECT_EQ(drain(deep), (std::vector<int>{4, 3, 2, 1, 0}));
  // Best estimate (2) with the pseudo-cost estimates kept (selection 2), the
  // bound heap serving every BBINTERVAL-th pop (the first one included).
  NodeStore estimate;
  estimate.keys.nodeSelect = 2;
  estimate.keys.varSelect = 2;
  estimate.bbInterval = 3;
  for (int k = 0; k < 5; ++k) storePush(estimate, node(k, bounds[k], estimates[k]));
  // pop 0 by bound: 1 (2.0); then keys bound+estimate: 3 (3.0), 0 (5.5); pop 3 by bound: 4 (7.0); then 2.
  EXPECT_EQ(drain(estimate), (std::vector<int>{1, 3, 0, 4, 2}));
  // Pruning removes every node at or above the cutoff and keeps the heaps sound.
  NodeStore pruned;
  for (int k = 0; k < 5; ++k) storePush(pruned, node(k, bounds[k]));
  EXPECT_EQ(storePrune(pruned, 7.0), 2);
  EXPECT_EQ(storeCount(pruned), 3);
  EXPECT_EQ(drain(pruned), (std::vector<int>{1, 3, 0}));
  // Keys are capped so that an infinite bound still orders.
  NodeRecord open;
  open.bound = 1e300;
  NodeKeyInputs in;
  EXPECT_EQ(nodeKey(open, in), kKeyCap);
}

} // namespace
} // namespace qvn
