// The network model and, in the same records, the spanning tree of its simplex.
//
// Conventions shared by every file of this folder:
// - An arc carries x from `fromNode` to `toNode`; node i balances
//   out(i) - in(i) = supply(i), so a positive supply is a source.
// - While the tree stands, `NetNode::flow` is the flow that node n sends up to
//   its parent over `treeArc`: the arc's value is `flow` when n is the arc's
//   `fromNode` and `-flow` when n is its `toNode`. An artificial tree arc runs
//   from n to the root and must end at 0.
// - Potentials price an arc as d = cost - potential(to) + potential(from); a
//   tree arc has d = 0 under the cost that the running phase gives it.
#pragma once
#include <cstdint>

#include "model/names_table.h"
#include "runtime/environment.h"
#include "runtime/frame.h"

namespace qvn {

// Values from this size on count as infinite bounds.
constexpr double kNetInfinite = 1e17;
constexpr double kNetInfBound = 1e20;

enum NetArcStatus : int { kArcLower = 0, kArcTree = 1, kArcUpper = 2, kArcFree = 3, kArcFixed = 4 };
// `NetNode::mark`: is the node's artificial arc basic?
enum NetMark : int { kMarkArtificialBasic = 1, kMarkArtificialOut = 4 };

enum NetState : int {
  kNetNoBasis = 0,
  kNetBasis = 1,
  kNetPhase1 = 2,
  kNetPhase1ItLim = 3,
  kNetPhase1TimeLim = 4,
  kNetPhase1Abort = 5,
  kNetPhase2 = 6,
  kNetPhase2ItLim = 7,
  kNetPhase2TimeLim = 8,
  kNetPhase2Abort = 9,
  kNetOptimal = 10,
  kNetInfeasible = 11,
  kNetUnbounded = 12,
  kNetInfOrUnbd = 13,
};

// Internal: the run found the supplies or the bounds impossible.
constexpr int kNetSupplyInfeasible = 1291;

struct NetArc {
  double cost, lowerBound, upperBound;
  int fromNode, toNode;
  int status;
};

// The tree is kept in preorder: the thread (NetProblem::thread) runs through
// every node, each subtree being the run of `descendants` + 1 nodes from its
// root to its `lastSuccessor`; the last node threads back to the root. A cut
// subtree is then a block to unlink and relink at a few joints.
// The potentials and the thread live in arrays of their own beside the
// records: pricing reads nothing else of a node, and the walk over a moved
// subtree reads the thread and writes potentials only, so both stay in cache
// on networks whose node records do not.
struct NetNode {
  double supply;
  double flow;
  // The bounds that the tree arc puts on `flow`: the arc's own when the node
  // is its tail, negated and swapped when the node is its head, 0 for an
  // artificial arc. The ratio test reads them instead of the arc.
  double flowLower, flowUpper;
  int lastSuccessor;  // last node of the subtree in the preorder
  int treeArc;  // arc to the parent; -(i + 1) for node i's artificial arc
  int mark;
  int infeasible;
};

// The links that every climb to the apex follows, packed apart from the node
// records: a climb is a chain of dependent loads, and on a large network
// eight bytes a node stay in a cache that 64-byte records do not.
struct NetLink {
  int parent;  // -1 at the root
  int descendants;
};

struct NetPricer;

} // namespace qvn

struct NetProblem {
  NetProblem *self;
  char *name;
  int state;
  int quiet;
  int objSense;
  int arcSpace, nodeSpace;
  int arcCount, nodeCount;
  qvn::NetArc *arcs;
  qvn::NetNode *nodes;
  // Per node, valid while a tree stands (see NetNode); `treeSpace` entries each.
  double *potential;
  int *thread;
  int *revThread;  // previous node in the preorder
  qvn::NetLink *links;
  int treeSpace;
  NameTable *arcNames, *nodeNames;
  qvn::NetPricer *pricer;
  int rootNode;
  int displayLevel;
  int logInterval, logLines;
  double costScale;
  double optimalityTol, feasibilityTol;
  int phase1Iterations, iterationCount;
  int abortFlag;
  double runTime;
  int infeasibleTreeArcs;
  double objectiveOffset, compositeObjective, objectiveValue, infeasibilitySum;
};

namespace qvn {

inline bool netSolved(const NetProblem *net) { return net->state >= kNetPhase1 && net->state <= kNetInfOrUnbd; }
inline bool isArtificial(int treeArc) { return treeArc < 0; }

// ---- the model (net_problem.cpp) ----
int createNetProblem(Environment *env, const char *name, NetProblem **out);
void freeNetProblem(Environment *env, NetProblem *&net);
// Handle test: the record is live and listed under this Environment.
bool checkNetProblem(const Environment *env, const NetProblem *net);
void emptyNetwork(NetProblem *net);
int addNetNodes(Environment *env, NetProblem *net, int count, const double *supply, char *const *names);
int addNetArcs(Environment *env, NetProblem *net, int count, const int *fromNode, const int *toNode,
               const double *lower, const double *upper, const double *cost, char *const *names);
// Replaces a name table by one that holds `texts` (which may point into the
// old table); on failure the old one stays.
int replaceNameTable(NameTable *&table, char prefix, int count, char *const *texts);
// Deletes the flagged nodes (with their arcs) and arcs; the basis goes.
int deleteNetSet(NetProblem *net, const int *nodeDelete, const int *arcDelete);

// Frame of the QVNNET functions: 1002, then 1009 for a bad handle; the body
// gets the writable records.
template <class Body> int guardedNet(const Environment *cenv, const NetProblem *cnet, Body &&body) noexcept {
  auto *env = const_cast<Environment *>(cenv);
  auto *net = const_cast<NetProblem *>(cnet);
  return guarded(env, [&]() -> int {
    if (!checkNetProblem(env, net)) return QVNERR_NO_PROBLEM;
    return body(env, net);
  });
}

// ---- the solver (net_simplex.cpp, net_pivot.cpp) ----
int netPrimopt(Environment *env, NetProblem *net);
// Values of the last solve in the caller's terms.
double arcValue(const NetProblem *net, int arc);
// One arc's flow computed from the tree (out-of-tree arcs sit at their status).
void computeArcFlows(const NetProblem *net, double *x);
double netObjective(const NetProblem *net, const double *x);

// ---- DIMACS minimum-cost flow files (dimacs.cpp) ----
// Replaces the network's content with the file's; 0 or an error number
// (1530, 1531, 1532, 1538, 1423 and kin), printed with the line.
int readDimacsMin(Environment *env, NetProblem *net, const char *fileName);

} // namespace qvn
