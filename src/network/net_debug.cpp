// The debug check of the network simplex: everything the pivots keep by
// updates (preorder thread, subtree sizes and ends, flows, potentials, flags)
// recomputed from the parent links, the supplies and the out-of-tree arcs.
// It costs a pass over the network, so it runs only when a test has raised
// the Environment's debug level.
#include <cmath>

#include "network/net_simplex.h"
#include "runtime/debug_checks.h"

namespace qvn {

namespace {

// Flows and potentials come from sums of integers or of costs in the tests;
// updates drift from the recomputed values by rounding only.
constexpr double kDriftTol = 1e-9;

bool near(double a, double b) { return std::fabs(a - b) <= kDriftTol * (1.0 + std::fabs(a) + std::fabs(b)); }

struct TreeChecker {
  Environment *env;
  const NetProblem *net;
  const char *where;
  int failures = 0;

  void fail(const char *what, int index, double value) {
    if (failures++ == 0)
      reportDebugFailure(env, "network debug, %s at iteration %d: %s at %d is %g", where, net->iterationCount, what,
                         index, value);
  }

  double outOfTreeValue(const NetArc &a) const {
    if (a.status == kArcLower) return a.lowerBound;
    if (a.status == kArcUpper || a.status == kArcFixed) return a.upperBound;
    return 0.0;
  }

  void run() {
    const int n = net->nodeCount, root = net->rootNode;
    const NetNode *nodes = net->nodes;
    const NetLink *links = net->links;
    if (n == 0) return;
    // The thread: one cycle through every node, starting at the root.
    EnvVector<int> order(static_cast<size_t>(n)), position(static_cast<size_t>(n), -1);
    int u = root;
    for (int k = 0; k < n; ++k) {
      if (u < 0 || u >= n || position[u] >= 0) return fail("thread revisits or leaves the nodes", k, u);
      position[u] = k;
      order[k] = u;
      if (net->revThread[net->thread[u]] != u) return fail("reverse thread", u, net->revThread[net->thread[u]]);
      u = net->thread[u];
    }
    if (u != root) return fail("thread does not close at the root", u, n);
    // Sizes from the parent links, in reverse preorder.
    EnvVector<int> size(static_cast<size_t>(n), 1);
    for (int k = n - 1; k > 0; --k) {
      const int v = order[k], parent = links[v].parent;
      if (parent < 0 || parent >= n || position[parent] >= k) return fail("parent after its child", v, parent);
      size[parent] += size[v];
    }
    if (links[root].parent >= 0) fail("root has a parent", root, links[root].parent);
    for (int k = 0; k < n; ++k) {
      const int v = order[k];
      if (links[v].descendants != size[v] - 1) fail("descendants", v, links[v].descendants);
      if (nodes[v].lastSuccessor != order[k + size[v] - 1]) fail("last successor", v, nodes[v].lastSuccessor);
      // A subtree that is one run of the thread lies inside its parent's run.
      if (v != root && k + size[v] > position[links[v].parent] + size[links[v].parent])
        fail("subtree outside its parent's run", v, k);
    }
    treeArcs(order);
    flows(order);
    potentials(order);
  }

  void treeArcs(const EnvVector<int> &order) {
    const NetNode *nodes = net->nodes;
    const NetLink *links = net->links;
    int inTree = 0;
    for (int j = 0; j < net->arcCount; ++j) inTree += net->arcs[j].status == kArcTree;
    for (size_t k = 1; k < order.size(); ++k) {
      const int v = order[k], e = nodes[v].treeArc, parent = links[v].parent;
      if (isArtificial(e)) {
        if (e != -(v + 1) || parent != net->rootNode || nodes[v].mark != kMarkArtificialBasic ||
            nodes[v].flowLower != 0.0 || nodes[v].flowUpper != 0.0)
          fail("artificial tree arc", v, e);
        ++inTree;
        continue;
      }
      const NetArc &a = net->arcs[e];
      if (a.status != kArcTree || !((a.fromNode == v && a.toNode == parent) || (a.toNode == v && a.fromNode == parent)))
        fail("tree arc does not join the node to its parent", v, e);
      const bool tail = a.fromNode == v;
      if (nodes[v].flowLower != (tail ? a.lowerBound : -a.upperBound) ||
          nodes[v].flowUpper != (tail ? a.upperBound : -a.lowerBound))
        fail("flow bounds of the tree arc", v, nodes[v].flowUpper);
    }
    if (inTree != net->nodeCount - 1) fail("tree arc count", net->rootNode, inTree);
  }

  // Flow to the parent: the node's supply, what the out-of-tree arcs bring,
  // and what its children send up.
  void flows(const EnvVector<int> &order) {
    const NetNode *nodes = net->nodes;
    const NetLink *links = net->links;
    EnvVector<double> excess(static_cast<size_t>(net->nodeCount));
    for (int i = 0; i < net->nodeCount; ++i) excess[i] = nodes[i].supply;
    for (int j = 0; j < net->arcCount; ++j) {
      const NetArc &a = net->arcs[j];
      if (a.status == kArcTree) continue;
      excess[a.fromNode] -= outOfTreeValue(a);
      excess[a.toNode] += outOfTreeValue(a);
    }
    for (size_t k = order.size() - 1; k > 0; --k) {
      const int v = order[k];
      if (!near(excess[v], nodes[v].flow)) fail("flow", v, nodes[v].flow - excess[v]);
      excess[links[v].parent] += excess[v];
    }
  }

  // Every tree arc prices at zero under the running phase's costs; in phase 1
  // an arc out of its bounds carries one unit more or less, and is flagged.
  void potentials(const EnvVector<int> &order) {
    const NetNode *nodes = net->nodes;
    const NetLink *links = net->links;
    const bool phase1 = net->state == kNetPhase1;
    const double tol = net->feasibilityTol;
    int flagged = 0;
    for (size_t k = 1; k < order.size(); ++k) {
      const int v = order[k], e = nodes[v].treeArc;
      const bool tail = isArtificial(e) || net->arcs[e].fromNode == v;
      const double value = tail ? nodes[v].flow : -nodes[v].flow;
      const double lower = isArtificial(e) ? 0.0 : net->arcs[e].lowerBound;
      const double upper = isArtificial(e) ? 0.0 : net->arcs[e].upperBound;
      double cost = isArtificial(e) ? 0.0 : net->arcs[e].cost;
      int flag = 0;
      if (phase1 && value > upper + tol) cost += 1.0, flag = 1;
      else if (phase1 && value < lower - tol) cost -= 1.0, flag = 1;
      if (phase1 && flag != nodes[v].infeasible) fail("infeasibility flag", v, nodes[v].infeasible);
      flagged += nodes[v].infeasible;
      // cost - potential(to) + potential(from) = 0 along the tree arc.
      const double expected = net->potential[links[v].parent] + (tail ? -cost : cost);
      if (!near(net->potential[v], expected)) fail("potential", v, net->potential[v] - expected);
    }
    if (phase1 && flagged != net->infeasibleTreeArcs) fail("count of flagged tree arcs", net->rootNode, flagged);
  }
};

} // namespace

void checkNetTree(Environment *env, const NetProblem *net, const char *where) {
  if (debugLevel(env) < 1 || net->rootNode < 0) return;
  TreeChecker{env, net, where}.run();
}

} // namespace qvn
