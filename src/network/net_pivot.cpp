// One step of the network simplex on the tree held in the node records: the
// ratio test along the cycle, the flow change, the exchange of tree arcs and
// the potentials of the moved subtree. Work is proportional to the two paths
// and the moved subtree, never to the network: the cycle is found by climbing
// from the end with the smaller subtree, and the moved subtree is one block of
// the preorder thread, re-rooted by splicing a few runs of it; only its
// potentials are visited node by node.
#include <cmath>
#include <limits>

#include "network/net_simplex.h"

namespace qvn {

namespace {

constexpr double kHuge = 1e30;
// Steps shorter than this move no flow.
constexpr double kZeroStep = 1e-13;

// Is n the tail of its tree arc? An artificial arc runs from its node to the root.
inline bool tailOfTreeArc(const NetProblem *net, int n) {
  const int e = net->nodes[n].treeArc;
  return isArtificial(e) ? -e - 1 == n : net->arcs[e].fromNode == n;
}

inline double treeArcValue(const NetProblem *net, int n) {
  return tailOfTreeArc(net, n) ? net->nodes[n].flow : -net->nodes[n].flow;
}

// Is the flow of n to its parent out of the bounds of its tree arc by more than tol?
inline int treeArcFlag(const NetProblem *net, int n) {
  const NetNode &node = net->nodes[n];
  const double tol = net->feasibilityTol;
  return node.flow > node.flowUpper + tol || node.flow < node.flowLower - tol ? 1 : 0;
}

// Room of n's tree arc when the step raises the flow that n sends to its
// parent (`raise`) or lowers it. A flagged arc stops where it regains its
// violated bound: its cost term changes there, so no step may run past it.
inline double room(const NetNode &node, bool raise) {
  double r;
  if (node.infeasible) {
    if (raise) r = node.flow < node.flowLower ? node.flowLower - node.flow : kHuge;
    else r = node.flow > node.flowUpper ? node.flow - node.flowUpper : kHuge;
  } else if (raise) {
    r = node.flowUpper >= kNetInfinite ? kHuge : node.flowUpper - node.flow;
  } else {
    r = node.flowLower <= -kNetInfinite ? kHuge : node.flow - node.flowLower;
  }
  return r < 0.0 ? 0.0 : r;
}

// Potential of n less that of its parent under the running phase's costs.
inline double potentialStep(NetProblem *net, int n, bool penalty) {
  NetNode &node = net->nodes[n];
  const int e = node.treeArc;
  // The cost of sending one unit from n to its parent over the tree arc;
  // in phase 1 it is one more above the arc's bounds and one less below.
  double c = isArtificial(e) ? 0.0 : net->arcs[e].fromNode == n ? net->arcs[e].cost : -net->arcs[e].cost;
  int flag = 0;
  if (penalty) {
    const double tol = net->feasibilityTol;
    if (node.flow > node.flowUpper + tol) c += 1.0, flag = 1;
    else if (node.flow < node.flowLower - tol) c -= 1.0, flag = 1;
  }
  node.infeasible = flag;
  return -c;
}

} // namespace

int subtreePotentials(NetProblem *net, int top) {
  NetNode *nodes = net->nodes;
  const NetLink *links = net->links;
  double *potential = net->potential;
  const int *thread = net->thread;
  const bool penalty = net->state == kNetPhase1;
  int flagged = 0, n = top;
  for (int left = links[top].descendants; left >= 0; --left, n = thread[n]) {
    if (links[n].parent < 0) {
      potential[n] = 0.0;
      nodes[n].infeasible = 0;
      continue;
    }
    potential[n] = potential[links[n].parent] + potentialStep(net, n, penalty);
    flagged += nodes[n].infeasible;
  }
  return flagged;
}

void allPotentials(NetProblem *net) {
  if (net->rootNode >= 0) net->infeasibleTreeArcs = subtreePotentials(net, net->rootNode);
}

void netRatioTest(const NetProblem *net, NetStep &s) {
  const NetArc &in = net->arcs[s.entering];
  const double *potential = net->potential;
  // Flow runs through the entering arc from `second` to `first`, then up the
  // tree from `first` to the apex and down to `second`.
  const bool forward = in.status == kArcLower ||
                       (in.status == kArcFree &&
                        in.cost - potential[in.toNode] + potential[in.fromNode] < -kFreeArcDirectionTol);
  s.first = forward ? in.toNode : in.fromNode;
  s.second = forward ? in.fromNode : in.toNode;
  s.step = in.upperBound >= kNetInfinite || in.lowerBound <= -kNetInfinite ? kHuge : in.upperBound - in.lowerBound;
  s.blockingNode = -1;
  s.blockingOnFirst = 0;
  if (s.first == s.second) {
    s.apex = s.first;
    return;
  }
  // One climb finds the apex and the tightest arc of each side. The end with
  // fewer descendants cannot be an ancestor of the other, so it may always
  // climb. Ties go to the last blocking arc met from the apex along the
  // cycle's direction (down to `second`, the entering arc, up from `first`),
  // which keeps the tree strongly feasible and degenerate pivots from
  // cycling: on the side of `second` the first arc met on the climb wins a
  // tie, on the side of `first` the last.
  const NetNode *nodes = net->nodes;
  const NetLink *links = net->links;
  double firstStep = std::numeric_limits<double>::infinity(), secondStep = firstStep;
  int firstNode = -1, secondNode = -1;
  int u = s.first, v = s.second;
  while (u != v) {
    if (links[u].descendants <= links[v].descendants) {
      const double r = room(nodes[u], true);
      if (r <= firstStep) firstStep = r, firstNode = u;
      u = links[u].parent;
    } else {
      const double r = room(nodes[v], false);
      if (r < secondStep) secondStep = r, secondNode = v;
      v = links[v].parent;
    }
  }
  s.apex = u;
  if (secondStep < s.step) s.step = secondStep, s.blockingNode = secondNode;
  if (firstStep <= s.step) s.step = firstStep, s.blockingNode = firstNode, s.blockingOnFirst = 1;
}

namespace {

void noteFlags(NetProblem *net, NetStep &s, int from) {
  for (int n = from; n != s.apex; n = net->links[n].parent) {
    const int flag = treeArcFlag(net, n);
    if (flag != net->nodes[n].infeasible) {
      net->infeasibleTreeArcs += flag - net->nodes[n].infeasible;
      net->nodes[n].infeasible = flag;
      s.flagChanged[s.flagChangedCount++] = net->nodes[n].treeArc;
    }
  }
}

// The node that holds arc e (artificial ones negative) as its tree arc, or -1
// when e has left the tree.
int holderOf(const NetProblem *net, int e) {
  if (isArtificial(e)) {
    const int i = -e - 1;
    return net->nodes[i].treeArc == e ? i : -1;
  }
  const NetArc &a = net->arcs[e];
  if (a.status != kArcTree) return -1;
  return net->nodes[a.fromNode].treeArc == e && net->links[a.fromNode].parent == a.toNode ? a.fromNode : a.toNode;
}

// Phase 1: a tree arc whose flag the step changed changes its penalty, and
// with it the potentials of the subtree below it.
void refreshFlagged(NetProblem *net, const NetStep &s) {
  for (int k = 0; k < s.flagChangedCount; ++k) {
    const int holder = holderOf(net, s.flagChanged[k]);
    if (holder >= 0) subtreePotentials(net, holder);
  }
}

inline void link(int *thread, int *revThread, int before, int after) {
  thread[before] = after;
  revThread[after] = before;
}

// The thread for a pivot that cuts the subtree of w and hangs it under p,
// re-rooted at q (q lies in the subtree of w; parents are still the old ones).
// Write the path from q up to w as x0 = q, x1, ..., xk = w. In the old
// preorder the subtree of xi is xi, Ai, the subtree of x(i-1), Bi; in the new
// one the moved block reads: the subtree of q, x1 A1 B1, ..., xk Ak Bk, right
// after p. Each run keeps its inner links and its nodes' last successors, so
// only the joints change. Returns the last node of the new block.
int rethread(NetProblem *net, int p, int q, int w) {
  NetNode *nodes = net->nodes;
  const NetLink *links = net->links;
  int *thread = net->thread;
  int *revThread = net->revThread;
  const int beforeBlock = revThread[w];
  int tail = nodes[q].lastSuccessor;   // last node of the new block so far
  int childLast = tail;                // last node of the child's old subtree
  int afterOld = thread[childLast];    // what followed that subtree in the old thread
  int childRev = revThread[q];         // what preceded the child in the old thread
  for (int child = q; child != w;) {
    const int x = links[child].parent;
    const int xLast = nodes[x].lastSuccessor, xRev = revThread[x];
    const bool aEmpty = thread[x] == child;
    link(thread, revThread, tail, x);
    // A runs from x's own successor, which it keeps, to the child's predecessor.
    tail = aEmpty ? x : childRev;
    if (xLast != childLast) {
      // B runs from what followed the child's subtree to x's last successor.
      link(thread, revThread, tail, afterOld);
      tail = xLast;
      afterOld = thread[xLast];
    }
    childLast = xLast;
    childRev = xRev;
    child = x;
  }
  link(thread, revThread, beforeBlock, afterOld);
  const int afterP = thread[p];
  link(thread, revThread, p, q);
  link(thread, revThread, tail, afterP);
  return tail;
}

} // namespace

void netPivot(NetProblem *net, NetStep &s) {
  NetArc &in = net->arcs[s.entering];
  NetNode *nodes = net->nodes;
  NetLink *links = net->links;
  const double tol = net->feasibilityTol;
  const bool phase1 = net->state == kNetPhase1;
  s.flagChangedCount = 0;
  if (in.lowerBound + tol >= in.upperBound) {
    in.status = kArcFixed;
    return;
  }
  const double t = s.step;
  if (t >= kUnboundedStep) {
    net->state = kNetUnbounded;
    return;
  }
  if (t >= kZeroStep) {
    for (int n = s.first; n != s.apex; n = links[n].parent) nodes[n].flow += t;
    for (int n = s.second; n != s.apex; n = links[n].parent) nodes[n].flow -= t;
    if (phase1) {
      noteFlags(net, s, s.first);
      noteFlags(net, s, s.second);
    }
  }
  if (s.blockingNode < 0) {
    // The entering arc runs from one bound to the other and the tree stays;
    // only the flags that the step changed move potentials.
    in.status ^= 2;
    if (phase1) refreshFlagged(net, s);
    return;
  }
  const int w = s.blockingNode;
  const int q = s.blockingOnFirst ? s.first : s.second;  // end inside the cut subtree
  const int p = s.blockingOnFirst ? s.second : s.first;
  // The leaving arc settles at the bound it reached.
  {
    const int e = nodes[w].treeArc;
    net->infeasibleTreeArcs -= nodes[w].infeasible;
    if (isArtificial(e)) {
      nodes[-e - 1].mark = kMarkArtificialOut;
    } else {
      NetArc &out = net->arcs[e];
      const double v = treeArcValue(net, w);
      if (std::fabs(v - out.upperBound) <= tol)
        out.status = out.upperBound - out.lowerBound <= tol ? kArcFixed : kArcUpper;
      else
        out.status = kArcLower;
    }
  }
  double value;
  if (in.status == kArcLower) value = in.lowerBound + t;
  else if (in.status == kArcUpper) value = in.upperBound - t;
  else value = s.first == in.toNode ? t : -t;
  in.status = kArcTree;
  // Subtree sizes: the cut part leaves the path above w and joins the path above p.
  const int cutSize = links[w].descendants + 1;
  for (int n = links[w].parent; n != s.apex; n = links[n].parent) links[n].descendants -= cutSize;
  for (int n = p; n != s.apex; n = links[n].parent) links[n].descendants += cutSize;
  const int oldLast = nodes[w].lastSuccessor, before = net->revThread[w];
  const int blockEnd = rethread(net, p, q, w);
  // Last successors outside the block: the ancestors of w that ended with the
  // block now end just before it, then those of p that ended at p (among them,
  // when the block returns to where it was, the same nodes) end with it.
  for (int n = links[w].parent; n >= 0 && nodes[n].lastSuccessor == oldLast; n = links[n].parent)
    nodes[n].lastSuccessor = before;
  for (int n = p; n >= 0 && nodes[n].lastSuccessor == p; n = links[n].parent) nodes[n].lastSuccessor = blockEnd;
  // Re-hang the path q .. w: each node takes its old child on the path as its
  // parent, with the tree arc, flow and flag that joined them; its subtree
  // now runs to the end of the block.
  // `joint`: the arc that joins x to its new parent, seen from x.
  struct Joint {
    int arc;
    double flow, lower, upper;
    int flag;
  } joint{s.entering, value, in.lowerBound, in.upperBound, 0};
  if (in.fromNode != q) joint = Joint{s.entering, -value, -in.upperBound, -in.lowerBound, 0};
  int x = q, newParent = p, previousSize = 0;
  for (;;) {
    NetNode &node = nodes[x];
    NetLink &nodeLink = links[x];
    const int oldParent = nodeLink.parent, oldSize = nodeLink.descendants + 1;
    // The arc that joined x to its old parent will join the old parent to x.
    const Joint next{node.treeArc, -node.flow, -node.flowUpper, -node.flowLower, node.infeasible};
    nodeLink.parent = newParent;
    node.treeArc = joint.arc;
    node.flow = joint.flow;
    node.flowLower = joint.lower;
    node.flowUpper = joint.upper;
    node.infeasible = joint.flag;
    nodeLink.descendants = (x == q ? cutSize : cutSize - previousSize) - 1;
    node.lastSuccessor = blockEnd;
    if (x == w) break;
    joint = next;
    newParent = x;
    previousSize = oldSize;
    x = oldParent;
  }
  // The moved subtree keeps its inner potential differences; only its level
  // shifts against the rest of the tree. Potentials matter only up to a
  // constant, so the smaller side moves: the block, or everything else (the
  // thread from the block's end round to p). This is the one walk of a pivot
  // that is not bounded by the paths.
  double *potential = net->potential;
  const int *thread = net->thread;
  double shift = potential[p] + (in.toNode == q ? in.cost : -in.cost) - potential[q];
  if (shift != 0.0) {
    // The side to shift is one run of the thread: the block from q to its
    // end, or the rest from after the block round to p. Following one list
    // waits on a load per node; the run is walked from both of its ends at
    // once, by the thread and the reverse thread, so two loads are under way.
    int n = q, back = blockEnd, count = cutSize;
    if (2 * cutSize > net->nodeCount) n = thread[blockEnd], back = p, count = net->nodeCount - cutSize, shift = -shift;
    const int *revThread = net->revThread;
    for (int pairs = count / 2; pairs > 0; --pairs, n = thread[n], back = revThread[back]) {
      potential[n] += shift;
      potential[back] += shift;
    }
    if (count % 2 != 0) potential[n] += shift;
  }
  if (phase1) refreshFlagged(net, s);
}

} // namespace qvn
