// Internal to the network simplex: reduced values, the pricers, the ratio
// test and the pivot. See net_problem.h for the sign conventions.
#pragma once
#include "network/net_problem.h"

namespace qvn {

// Reduced values this close to 0 decide nothing about the direction of a free arc.
constexpr double kFreeArcDirectionTol = 1e-10;
// Steps above this are unbounded.
constexpr double kUnboundedStep = 5e19;

// What entering an out-of-tree arc gains per unit moved in its good direction:
// negative for a candidate.
inline double arcReducedValue(const NetProblem *net, const NetArc &a) {
  const double forward = a.cost - net->potential[a.toNode] + net->potential[a.fromNode];
  switch (a.status) {
  case kArcLower: return forward;
  case kArcUpper: return -forward;
  case kArcFree: return forward < -kFreeArcDirectionTol ? forward : -forward;
  default: return 0.0;
  }
}

// A pricer: a table of four operations and its own state.
enum class NetPricing : int { kPartial = 1, kMultiplePartial = 2, kMultiplePartialSorted = 3 };

struct NetPricerOps {
  int (*start)(NetPricer *pricer, const NetProblem *net, double tolerance);
  int (*next)(NetPricer *pricer, const NetProblem *net, double *value);
  void (*finish)(NetPricer *pricer);
  void (*setTolerance)(NetPricer *pricer, double tolerance);
};

// A listed candidate keeps a copy of what pricing reads of its arc, so that
// pricing the list again reads only potentials: the list's arcs lie anywhere
// in the arc array. The copy stays true while the arc is out of the tree,
// since only the arc that a pricer hands out changes status (it is dropped
// from the list then), and costs change only between rounds, which empty
// the list through `finish`.
struct NetPricerEntry {
  double value;
  double cost;
  int arc;
  int fromNode, toNode;
  int status;
};

// The arcs are priced in blocks of consecutive arcs, block j holding arcs
// j * blockLength up to the next block. A block grows with the square root of
// the arc count: long enough that the best candidate of one is a good pivot,
// short enough that a pivot costs less pricing than tree work.
struct NetPricer {
  const NetPricerOps *ops;
  NetPricing kind;
  double tolerance;
  int listLength;   // k: how many candidates a candidate list keeps
  int blockLength;
  int blockCount;
  int nextBlock;
  NetPricerEntry *list;
  int listCapacity, listCount, writePosition;
};

// 1001 when memory fails; the pricer is set up but not started.
int createNetPricer(NetPricing kind, NetPricer **out);
void freeNetPricer(NetPricer *&pricer);

// ---- tree operations (net_pivot.cpp) ----
struct NetStep {
  int entering;         // arc index
  double reduced;       // its d
  int first, second;    // a and b: flow enters the cycle at b and leaves it at a
  int apex;
  double step;          // t
  int blockingNode;     // node whose tree arc leaves, -1 when the entering arc flips
  int blockingOnFirst;  // 1 when the blocking node lies on the path of `first`
  // Phase 1: the tree arcs (as arc numbers, artificial ones negative) whose
  // flag the step changed; room for one per node, allocated before the loop.
  int *flagChanged;
  int flagChangedCount;
};

// Makes arc e (artificial ones negative) the tree arc of node n, carrying
// `flow` from n to its parent.
inline void setTreeArc(NetProblem *net, int n, int e, double flow) {
  NetNode &node = net->nodes[n];
  node.treeArc = e;
  node.flow = flow;
  if (isArtificial(e)) {
    node.flowLower = node.flowUpper = 0.0;
  } else if (net->arcs[e].fromNode == n) {
    node.flowLower = net->arcs[e].lowerBound;
    node.flowUpper = net->arcs[e].upperBound;
  } else {
    node.flowLower = -net->arcs[e].upperBound;
    node.flowUpper = -net->arcs[e].lowerBound;
  }
}

// Sets `first`, `second`, `apex`, `step` and the blocking node for an entering arc.
void netRatioTest(const NetProblem *net, NetStep &step);
// Carries the step out: flows, statuses, tree links and potentials. Sets state
// 12 on an unbounded step.
void netPivot(NetProblem *net, NetStep &step);
// Potentials (and in phase 1 the flags) over the subtree of n, n included;
// returns the number of flagged arcs in it.
int subtreePotentials(NetProblem *net, int n);
// Potentials of every node from the root down.
void allPotentials(NetProblem *net);
// Debug level 1 and up: recomputes the tree's links, flows and potentials and
// reports what the updates got wrong (net_debug.cpp).
void checkNetTree(Environment *env, const NetProblem *net, const char *where);
} // namespace qvn
