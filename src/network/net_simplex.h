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
  const double forward = a.cost - net->nodes[a.toNode].potential + net->nodes[a.fromNode].potential;
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

struct NetPricerEntry {
  int arc;
  double value;
};

struct NetPricer {
  const NetPricerOps *ops;
  NetPricing kind;
  double tolerance;
  int sectionCount;   // k
  int stride;         // s: section j holds arcs j, j + s, j + 2s, ...
  int nextSection;
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

// Sets `first`, `second`, `apex`, `step` and the blocking node for an entering arc.
void netRatioTest(const NetProblem *net, NetStep &step);
// Carries the step out: flows, statuses, tree links and potentials. Sets state
// 12 on an unbounded step.
void netPivot(NetProblem *net, NetStep &step);
// Phase 1 potential and flag of node n from its parent's; returns the flag.
int phase1NodePotential(NetProblem *net, int n);
// Potentials (and in phase 1 the flags) over the subtree of n, n included;
// returns the number of flagged arcs in it.
int subtreePotentials(NetProblem *net, int n);
// Potentials of every node from the root down.
void allPotentials(NetProblem *net);
// Preorder successor of `n` within the subtree of `top`, or -1 at its end.
inline int preorderNext(const NetNode *nodes, int top, int n) {
  if (nodes[n].firstChild >= 0) return nodes[n].firstChild;
  while (n != top) {
    if (nodes[n].nextSibling >= 0) return nodes[n].nextSibling;
    n = nodes[n].parent;
  }
  return -1;
}

} // namespace qvn
