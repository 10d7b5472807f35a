// One step of the network simplex on the tree held in the node records: the
// ratio test along the cycle, the flow change, the exchange of tree arcs and
// the potentials of the moved subtree. Work is proportional to the two paths
// and the moved subtree, never to the network.
#include <cmath>

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

inline void treeArcBounds(const NetProblem *net, int n, double &lower, double &upper) {
  const int e = net->nodes[n].treeArc;
  if (isArtificial(e)) {
    lower = upper = 0.0;
  } else {
    lower = net->arcs[e].lowerBound;
    upper = net->arcs[e].upperBound;
  }
}

// Flag of n's tree arc at its current value: out of its bounds by more than tol?
inline int treeArcFlag(const NetProblem *net, int n) {
  double lower, upper;
  treeArcBounds(net, n, lower, upper);
  const double v = treeArcValue(net, n);
  const double tol = net->feasibilityTol;
  return v > upper + tol || v < lower - tol ? 1 : 0;
}

// Room of n's tree arc when the step moves its value up (dir > 0) or down. A
// flagged arc stops where it regains its violated bound: its cost term changes
// there, so no step may run past it.
inline double room(const NetProblem *net, int n, int dir) {
  double lower, upper;
  treeArcBounds(net, n, lower, upper);
  const double v = treeArcValue(net, n);
  double r;
  if (net->nodes[n].infeasible) {
    if (dir > 0) r = v < lower ? lower - v : kHuge;
    else r = v > upper ? v - upper : kHuge;
  } else {
    r = dir > 0 ? (upper >= kNetInfinite ? kHuge : upper - v) : (lower <= -kNetInfinite ? kHuge : v - lower);
  }
  return r < 0.0 ? 0.0 : r;
}

int findApex(const NetProblem *net, int u, int v) {
  const NetNode *nodes = net->nodes;
  // The end with the smaller subtree cannot be an ancestor of the other, so it may climb.
  while (u != v) {
    if (nodes[u].descendants <= nodes[v].descendants)
      u = nodes[u].parent;
    else
      v = nodes[v].parent;
  }
  return u;
}

void unlinkChild(NetNode *nodes, int x) {
  NetNode &n = nodes[x];
  if (n.previousSibling >= 0)
    nodes[n.previousSibling].nextSibling = n.nextSibling;
  else if (n.parent >= 0)
    nodes[n.parent].firstChild = n.nextSibling;
  if (n.nextSibling >= 0) nodes[n.nextSibling].previousSibling = n.previousSibling;
  n.nextSibling = n.previousSibling = -1;
}

void pushChild(NetNode *nodes, int parent, int x) {
  NetNode &n = nodes[x];
  n.parent = parent;
  n.previousSibling = -1;
  n.nextSibling = nodes[parent].firstChild;
  if (n.nextSibling >= 0) nodes[n.nextSibling].previousSibling = x;
  nodes[parent].firstChild = x;
}

// Cost of n's tree arc in the running phase, in the direction parent to n.
inline double potentialStep(NetProblem *net, int n, bool penalty) {
  const NetNode &node = net->nodes[n];
  const int e = node.treeArc;
  double c = isArtificial(e) ? 0.0 : net->arcs[e].cost;
  int flag = 0;
  if (penalty) {
    double lower, upper;
    treeArcBounds(net, n, lower, upper);
    const double v = treeArcValue(net, n), tol = net->feasibilityTol;
    // Growing the arc's value costs one more unit above its upper bound and
    // one less below its lower bound.
    if (v > upper + tol) c += 1.0, flag = 1;
    else if (v < lower - tol) c -= 1.0, flag = 1;
  }
  net->nodes[n].infeasible = flag;
  return tailOfTreeArc(net, n) ? -c : c;
}

} // namespace

int phase1NodePotential(NetProblem *net, int n) {
  NetNode &node = net->nodes[n];
  node.potential = net->nodes[node.parent].potential + potentialStep(net, n, true);
  return node.infeasible;
}

int subtreePotentials(NetProblem *net, int top) {
  NetNode *nodes = net->nodes;
  const bool penalty = net->state == kNetPhase1;
  int flagged = 0;
  for (int n = top; n >= 0; n = preorderNext(nodes, top, n)) {
    if (nodes[n].parent < 0) {
      nodes[n].potential = 0.0;
      nodes[n].infeasible = 0;
      continue;
    }
    nodes[n].potential = nodes[nodes[n].parent].potential + potentialStep(net, n, penalty);
    flagged += nodes[n].infeasible;
  }
  return flagged;
}

void allPotentials(NetProblem *net) {
  if (net->rootNode >= 0) net->infeasibleTreeArcs = subtreePotentials(net, net->rootNode);
}

void netRatioTest(const NetProblem *net, NetStep &s) {
  const NetArc &in = net->arcs[s.entering];
  // Flow runs through the entering arc from `second` to `first`, then up the
  // tree from `first` to the apex and down to `second`.
  const bool forward =
      in.status == kArcLower ||
      (in.status == kArcFree &&
       in.cost - net->nodes[in.toNode].potential + net->nodes[in.fromNode].potential < -kFreeArcDirectionTol);
  s.first = forward ? in.toNode : in.fromNode;
  s.second = forward ? in.fromNode : in.toNode;
  s.step = in.upperBound >= kNetInfinite || in.lowerBound <= -kNetInfinite ? kHuge : in.upperBound - in.lowerBound;
  s.blockingNode = -1;
  s.blockingOnFirst = 0;
  if (s.first == s.second) {
    s.apex = s.first;
    return;
  }
  s.apex = findApex(net, s.first, s.second);
  // Ties go to the last blocking arc met from the apex along the cycle's
  // direction (down to `second`, the entering arc, up from `first`), which keeps
  // the tree strongly feasible and degenerate pivots from cycling.
  for (int n = s.second; n != s.apex; n = net->nodes[n].parent) {
    const double r = room(net, n, tailOfTreeArc(net, n) ? -1 : 1);
    if (r < s.step) s.step = r, s.blockingNode = n, s.blockingOnFirst = 0;
  }
  for (int n = s.first; n != s.apex; n = net->nodes[n].parent) {
    const double r = room(net, n, tailOfTreeArc(net, n) ? 1 : -1);
    if (r <= s.step) s.step = r, s.blockingNode = n, s.blockingOnFirst = 1;
  }
}

namespace {

void noteFlags(NetProblem *net, NetStep &s, int from) {
  for (int n = from; n != s.apex; n = net->nodes[n].parent) {
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
  return net->nodes[a.fromNode].treeArc == e && net->nodes[a.fromNode].parent == a.toNode ? a.fromNode : a.toNode;
}

} // namespace

void netPivot(NetProblem *net, NetStep &s) {
  NetArc &in = net->arcs[s.entering];
  NetNode *nodes = net->nodes;
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
    for (int n = s.first; n != s.apex; n = nodes[n].parent) nodes[n].flow += t;
    for (int n = s.second; n != s.apex; n = nodes[n].parent) nodes[n].flow -= t;
    if (phase1) {
      noteFlags(net, s, s.first);
      noteFlags(net, s, s.second);
    }
  }
  if (s.blockingNode < 0) {
    // The entering arc runs from one bound to the other and the tree stays.
    in.status ^= 2;
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
  const int cutSize = nodes[w].descendants + 1;
  for (int n = nodes[w].parent; n != s.apex; n = nodes[n].parent) nodes[n].descendants -= cutSize;
  for (int n = p; n != s.apex; n = nodes[n].parent) nodes[n].descendants += cutSize;
  // Re-hang the path q .. w: each node takes its old child on the path as its
  // parent, with the tree arc, flow and flag that joined them.
  int x = q, newParent = p, arcIn = s.entering, flagIn = 0, previousSize = 0;
  double flowIn = in.fromNode == q ? value : -value;
  for (;;) {
    const int oldParent = nodes[x].parent, oldArc = nodes[x].treeArc, oldFlag = nodes[x].infeasible;
    const double oldFlow = nodes[x].flow;
    const int oldSize = nodes[x].descendants + 1;
    unlinkChild(nodes, x);
    pushChild(nodes, newParent, x);
    nodes[x].treeArc = arcIn;
    nodes[x].flow = flowIn;
    nodes[x].infeasible = flagIn;
    nodes[x].descendants = (x == q ? cutSize : cutSize - previousSize) - 1;
    if (x == w) break;
    newParent = x;
    arcIn = oldArc;
    flowIn = -oldFlow;
    flagIn = oldFlag;
    previousSize = oldSize;
    x = oldParent;
  }
  // The moved subtree keeps its inner differences; only its level shifts.
  const double target = nodes[p].potential + (in.toNode == q ? in.cost : -in.cost);
  const double shift = target - nodes[q].potential;
  if (shift != 0.0)
    for (int n = q; n >= 0; n = preorderNext(nodes, q, n)) nodes[n].potential += shift;
  if (phase1)
    for (int k = 0; k < s.flagChangedCount; ++k) {
      const int holder = holderOf(net, s.flagChanged[k]);
      if (holder >= 0) subtreePotentials(net, holder);
    }
}

} // namespace qvn
