// QVNNETprimopt's core: start basis, the tree built from a basis, the flows,
// a composite phase 1 that prices tree arcs out of their bounds with a unit
// penalty (no artificial cost columns), and phase 2.
#include <chrono>
#include <cmath>

#include "network/net_simplex.h"
#include "runtime/errors.h"
#include "runtime/limit_clock.h"
#include "simplex/fpu_precision.h"

namespace qvn {

namespace {

using Clock = std::chrono::steady_clock;
using NetCallback = int (*)(QVNCENVptr, QVNNETptr, int, void *);
// Where the network callback is called from: the iteration log.
constexpr int kNetCallbackWhere = 3;

struct NetRun {
  Environment *env;
  NetProblem *net;
  NetPricer *pricer;
  NetStep step;
  Clock::time_point started;
  LimitClock limitClock;
  EnvVector<int> order;        // preorder of the tree, for the flows
  EnvVector<int> flagChanged;  // the pivot's notes, one slot per node
  EnvVector<double> heldCost;  // true costs while a phase 1 round prices without them
};

double elapsed(const NetRun &run) {
  return std::chrono::duration<double>(Clock::now() - run.started).count();
}

bool finiteLower(const NetArc &a) { return a.lowerBound > -kNetInfinite; }
bool finiteUpper(const NetArc &a) { return a.upperBound < kNetInfinite; }

// ---- start basis and tree ----

void startBasis(NetProblem *net) {
  for (int i = 0; i < net->nodeCount; ++i) net->nodes[i].mark = kMarkArtificialBasic;
  const double tol = net->feasibilityTol;
  for (int j = 0; j < net->arcCount; ++j) {
    NetArc &a = net->arcs[j];
    if (std::fabs(a.upperBound - a.lowerBound) <= tol) a.status = kArcFixed;
    else if (finiteLower(a) && (a.cost >= 0 || !finiteUpper(a))) a.status = kArcLower;
    else if (finiteUpper(a) && (a.cost <= 0 || !finiteLower(a))) a.status = kArcUpper;
    else a.status = kArcFree;
  }
  net->rootNode = 0;
  if (net->nodeCount > 0) net->nodes[0].mark = kMarkArtificialOut;
  net->state = kNetBasis;
}

// Moves out-of-tree statuses to what the bounds allow; false when the numbers
// of basic arcs and nodes cannot make a tree.
bool checkBasis(NetProblem *net) {
  int root = net->rootNode;
  if (root < 0 || root >= net->nodeCount) {
    root = -1;
    for (int i = 0; i < net->nodeCount && root < 0; ++i)
      if (net->nodes[i].mark == kMarkArtificialBasic) root = i;
    if (root < 0) return false;
  }
  net->rootNode = root;
  net->nodes[root].mark = kMarkArtificialOut;
  int basic = 1;
  for (int i = 0; i < net->nodeCount; ++i) basic += i != root && net->nodes[i].mark == kMarkArtificialBasic;
  const double tol = net->feasibilityTol;
  for (int j = 0; j < net->arcCount; ++j) {
    NetArc &a = net->arcs[j];
    if (a.status == kArcTree) {
      ++basic;
      continue;
    }
    if (std::fabs(a.upperBound - a.lowerBound) <= tol) a.status = kArcFixed;
    else if (a.status == kArcFree && (finiteLower(a) || finiteUpper(a))) a.status = finiteLower(a) ? kArcLower : kArcUpper;
    else if (a.status == kArcLower && !finiteLower(a)) a.status = finiteUpper(a) ? kArcUpper : kArcFree;
    else if (a.status == kArcUpper && !finiteUpper(a)) a.status = finiteLower(a) ? kArcLower : kArcFree;
    else if (a.status == kArcFixed) a.status = finiteLower(a) ? kArcLower : kArcUpper;
  }
  return basic == net->nodeCount;
}

// Lays the basic arcs out from the root in preorder; false when they do not
// span a tree.
bool buildTree(NetRun &run) {
  NetProblem *net = run.net;
  NetNode *nodes = net->nodes;
  NetLink *links = net->links;
  const int n = net->nodeCount, root = net->rootNode;
  for (int i = 0; i < n; ++i) {
    links[i].parent = -1;
    links[i].descendants = -1;
    nodes[i].infeasible = 0;
  }
  // Adjacency of the tree in two counting passes: basic arcs at both ends,
  // artificial ones at the root and at their node.
  EnvVector<int> start(static_cast<size_t>(n) + 1, 0);
  for (int j = 0; j < net->arcCount; ++j)
    if (net->arcs[j].status == kArcTree) ++start[net->arcs[j].fromNode + 1], ++start[net->arcs[j].toNode + 1];
  for (int i = 0; i < n; ++i)
    if (i != root && nodes[i].mark == kMarkArtificialBasic) ++start[i + 1], ++start[root + 1];
  for (int i = 0; i < n; ++i) start[i + 1] += start[i];
  EnvVector<int> edge(static_cast<size_t>(start[n]));
  EnvVector<int> fill(start.begin(), start.end() - 1);
  for (int j = 0; j < net->arcCount; ++j)
    if (net->arcs[j].status == kArcTree) edge[fill[net->arcs[j].fromNode]++] = j, edge[fill[net->arcs[j].toNode]++] = j;
  for (int i = 0; i < n; ++i)
    if (i != root && nodes[i].mark == kMarkArtificialBasic) edge[fill[i]++] = -(i + 1), edge[fill[root]++] = -(i + 1);
  // Depth first from a stack: a node is laid down when it comes off the stack,
  // and its children go on together, so each subtree comes out in one run.
  EnvVector<int> &stack = fill;
  int top = 0;
  stack[top++] = root;
  run.order.clear();
  setTreeArc(net, root, -(root + 1), 0.0);
  links[root].descendants = 0;
  while (top > 0) {
    const int u = stack[--top];
    run.order.push_back(u);
    for (int at = start[u]; at < start[u + 1]; ++at) {
      const int e = edge[at];
      if (e == nodes[u].treeArc && u != root) continue;
      const int v = e < 0 ? (u == root ? -e - 1 : root) : (net->arcs[e].fromNode == u ? net->arcs[e].toNode : net->arcs[e].fromNode);
      if (v == u || links[v].descendants >= 0) return false;  // a loop or a cycle
      links[v].descendants = 0;
      setTreeArc(net, v, e, 0.0);
      links[v].parent = u;
      stack[top++] = v;
    }
  }
  if (static_cast<int>(run.order.size()) != n) return false;
  for (int k = n - 1; k > 0; --k) links[links[run.order[k]].parent].descendants += links[run.order[k]].descendants + 1;
  for (int k = 0; k < n; ++k) {
    const int u = run.order[k], v = run.order[k + 1 < n ? k + 1 : 0];
    net->thread[u] = v;
    net->revThread[v] = u;
    nodes[u].lastSuccessor = run.order[k + links[u].descendants];
  }
  return true;
}

double outOfTreeValue(const NetArc &a) {
  switch (a.status) {
  case kArcLower: return a.lowerBound;
  case kArcUpper:
  case kArcFixed: return a.upperBound;
  default: return 0.0;
  }
}

// Flows on the tree arcs from the supplies and the out-of-tree arcs. 0,
// kNetSupplyInfeasible or QVNERR_BOUNDS_INFEAS (state 11 for both).
int computeFlows(NetRun &run) {
  NetProblem *net = run.net;
  NetNode *nodes = net->nodes;
  const NetLink *links = net->links;
  int contradictory = -1;
  for (int j = 0; j < net->arcCount; ++j)
    if (net->arcs[j].lowerBound - net->feasibilityTol >= net->arcs[j].upperBound) contradictory = j;
  for (int i = 0; i < net->nodeCount; ++i) nodes[i].flow = nodes[i].supply;
  for (int j = 0; j < net->arcCount; ++j) {
    const NetArc &a = net->arcs[j];
    if (a.status == kArcTree) continue;
    const double x = outOfTreeValue(a);
    nodes[a.fromNode].flow -= x;
    nodes[a.toNode].flow += x;
  }
  for (int k = net->nodeCount - 1; k > 0; --k) nodes[links[run.order[k]].parent].flow += nodes[run.order[k]].flow;
  if (contradictory >= 0) {
    net->state = kNetInfeasible;
    if (!net->quiet)
      QVNmsg(run.env->warningChannel, "Warning:  Bounds on '%s' contradictory.\n", net->arcNames->names[contradictory]);
    return QVNERR_BOUNDS_INFEAS;
  }
  // The root's flow is what the supplies leave unbalanced: no flow can carry it.
  if (net->nodeCount > 0 && std::fabs(nodes[net->rootNode].flow) > net->feasibilityTol) {
    net->state = kNetInfeasible;
    return kNetSupplyInfeasible;
  }
  net->state = kNetPhase1;
  return 0;
}

void feasibilityTest(NetProblem *net) {
  if (net->state < kNetPhase1 || net->state > kNetInfOrUnbd) return;
  net->state = kNetPhase2;
  const double tol = net->feasibilityTol;
  for (int i = 0; i < net->nodeCount; ++i) {
    if (i == net->rootNode) continue;
    const NetNode &n = net->nodes[i];
    if (isArtificial(n.treeArc)) {
      if (std::fabs(n.flow) >= tol) {
        net->state = kNetPhase1;
        return;
      }
      continue;
    }
    const NetArc &a = net->arcs[n.treeArc];
    const double v = a.fromNode == i ? n.flow : -n.flow;
    if (v < a.lowerBound - tol || v > a.upperBound + tol) {
      net->state = kNetPhase1;
      return;
    }
  }
}

// ---- limits and log ----

bool limitReached(NetRun &run) {
  NetProblem *net = run.net;
  const bool phase1 = net->state == kNetPhase1;
  int stopped = 0;
  if (net->abortFlag) stopped = phase1 ? kNetPhase1Abort : kNetPhase2Abort;
  else if (net->iterationCount >= run.env->netParams->netitlim) stopped = phase1 ? kNetPhase1ItLim : kNetPhase2ItLim;
  else if (run.env->generalParams->tilim < 1e74 && limitSeconds(run.limitClock) >= run.env->generalParams->tilim)
    stopped = phase1 ? kNetPhase1TimeLim : kNetPhase2TimeLim;
  if (stopped == 0) return false;
  net->state = stopped;
  net->abortFlag = 1;
  return true;
}

void computeSums(NetProblem *net) {
  double objective = 0.0, infeasibility = 0.0;
  const double tol = net->feasibilityTol;
  for (int j = 0; j < net->arcCount; ++j) {
    const NetArc &a = net->arcs[j];
    if (a.status != kArcTree) objective += a.cost * outOfTreeValue(a);
  }
  for (int i = 0; i < net->nodeCount; ++i) {
    if (i == net->rootNode) continue;
    const NetNode &n = net->nodes[i];
    if (isArtificial(n.treeArc)) {
      infeasibility += std::fabs(n.flow) >= tol ? std::fabs(n.flow) : 0.0;
      continue;
    }
    const NetArc &a = net->arcs[n.treeArc];
    const double v = a.fromNode == i ? n.flow : -n.flow;
    objective += a.cost * v;
    if (v > a.upperBound + tol) infeasibility += v - a.upperBound;
    if (v < a.lowerBound - tol) infeasibility += a.lowerBound - v;
  }
  net->objectiveValue = net->costScale * objective + net->objectiveOffset;
  net->infeasibilitySum = infeasibility;
  net->compositeObjective = net->objectiveValue + net->costScale * infeasibility;
}

void logStep(NetRun &run) {
  NetProblem *net = run.net;
  Environment *env = run.env;
  if (net->iterationCount % net->logInterval != 0) return;
  auto callback = reinterpret_cast<NetCallback>(env->netParams->netCallback);
  if (net->displayLevel != 0) {
    if (++net->logLines == 10) {
      QVNmsg(env->logChannel, "Elapsed time = %7.2f\n", elapsed(run));
      net->logLines = 0;
    }
    computeSums(net);
    if (net->infeasibilitySum == 0.0) net->infeasibleTreeArcs = 0;
    if (net->state == kNetPhase2)
      QVNmsg(env->logChannel, "Iteration:%6d   Objective         = %20.6f\n", net->iterationCount,
             net->objSense * net->compositeObjective);
    else
      QVNmsg(env->logChannel, "Iteration:%6d   Infeasibility     = %20.6f (%g)\n", net->iterationCount,
             net->infeasibilitySum,
             net->objSense * (net->displayLevel == 2 ? net->objectiveValue : net->compositeObjective));
    QVNflushchannel(env, env->logChannel);
  }
  if (callback) {
    if (net->displayLevel == 0) computeSums(net);
    net->abortFlag = callback(env, net, kNetCallbackWhere, env->netParams->netCallbackHandle);
  }
}

// ---- the phases ----

void runPivot(NetRun &run, int arc, double reduced) {
  run.step.entering = arc;
  run.step.reduced = reduced;
  netRatioTest(run.net, run.step);
  netPivot(run.net, run.step);
  if (run.net->state != kNetUnbounded) checkNetTree(run.env, run.net, "after a pivot");
}

void scaleCosts(NetProblem *net) {
  double sum = 1.1;
  for (int j = 0; j < net->arcCount; ++j) sum += std::fabs(net->arcs[j].cost);
  double scale = 1.0;
  while (scale < sum) scale *= 2.0;
  net->costScale = scale;
  // A power of two: dividing and multiplying back are exact.
  for (int j = 0; j < net->arcCount; ++j) net->arcs[j].cost /= scale;
}

void restoreCosts(NetRun &run) {
  NetProblem *net = run.net;
  if (!run.heldCost.empty()) {
    for (int j = 0; j < net->arcCount; ++j) net->arcs[j].cost = run.heldCost[j];
    run.heldCost.clear();
  } else if (net->costScale != 1.0) {
    for (int j = 0; j < net->arcCount; ++j) net->arcs[j].cost *= net->costScale;
  }
  net->costScale = 1.0;
}

// Rounds on true costs, then on costs scaled below one unit of infeasibility,
// and last on no costs at all, where a tree that stays infeasible proves the
// network infeasible: the composite objective is then the plain sum of
// violations, and the simplex has found its minimum.
void phase1(NetRun &run) {
  NetProblem *net = run.net;
  NetPricer *pricer = run.pricer;
  enum Stage { kTrueCosts, kScaledCosts, kNoCosts } stage = kTrueCosts;
  for (;;) {
    const int roundStart = net->iterationCount;
    if (limitReached(run)) break;
    allPotentials(net);
    double value = 0.0;
    int arc = net->infeasibleTreeArcs == 0 ? -1 : pricer->ops->next(pricer, net, &value);
    while (arc >= 0) {
      runPivot(run, arc, value);
      if (net->state == kNetUnbounded) {
        net->state = kNetInfOrUnbd;
        break;
      }
      ++net->iterationCount;
      logStep(run);
      if (net->infeasibleTreeArcs == 0 || limitReached(run)) break;
      arc = pricer->ops->next(pricer, net, &value);
    }
    if (net->state != kNetPhase1) break;
    feasibilityTest(net);
    if (net->state == kNetPhase2) {
      for (int i = 0; i < net->nodeCount; ++i) net->nodes[i].infeasible = 0;
      net->infeasibleTreeArcs = 0;
      break;
    }
    // The pricer's list holds copies of costs: a change of costs empties it.
    if (arc >= 0 || net->iterationCount > roundStart) {
      if (stage == kTrueCosts) stage = kScaledCosts, scaleCosts(net), pricer->ops->finish(pricer);
      continue;
    }
    pricer->ops->finish(pricer);
    if (stage == kTrueCosts) {
      stage = kScaledCosts;
      scaleCosts(net);
    } else if (stage == kScaledCosts) {
      stage = kNoCosts;
      restoreCosts(run);
      run.heldCost.resize(static_cast<size_t>(net->arcCount));
      for (int j = 0; j < net->arcCount; ++j) run.heldCost[j] = net->arcs[j].cost, net->arcs[j].cost = 0.0;
    } else {
      net->state = kNetInfeasible;
      break;
    }
  }
  net->phase1Iterations = net->iterationCount;
  restoreCosts(run);
  pricer->ops->finish(pricer);
}

void phase2(NetRun &run) {
  NetProblem *net = run.net;
  NetPricer *pricer = run.pricer;
  allPotentials(net);
  for (;;) {
    if (limitReached(run)) return;
    double value = 0.0;
    const int arc = pricer->ops->next(pricer, net, &value);
    if (arc < 0) break;
    runPivot(run, arc, value);
    if (net->state == kNetUnbounded) return;
    ++net->iterationCount;
    logStep(run);
  }
  feasibilityTest(net);
  if (net->state == kNetPhase2) net->state = kNetOptimal;
}

int logIntervalFor(int arcs) {
  if (arcs < 100) return 10;
  if (arcs < 1000) return 100;
  if (arcs < 10000) return 1000;
  if (arcs < 25000) return 5000;
  return 10000;
}

int solve(NetRun &run) {
  NetProblem *net = run.net;
  net->phase1Iterations = net->iterationCount = net->abortFlag = 0;
  if (net->state >= kNetOptimal && net->state <= kNetInfOrUnbd) return 0;
  if (net->nodeCount == 0) {
    // Nothing to ship and no arc to carry it: optimal at 0.
    net->rootNode = -1;
    net->state = kNetOptimal;
    return 0;
  }
  if (net->treeSpace < net->nodeCount) {
    // All arrays or none: a failure leaves the old ones.
    const size_t n = static_cast<size_t>(net->nodeCount);
    auto *potential = static_cast<double *>(envAlloc(sizeof(double) * n));
    auto *thread = static_cast<int *>(envAlloc(sizeof(int) * n));
    auto *revThread = static_cast<int *>(envAlloc(sizeof(int) * n));
    auto *links = static_cast<NetLink *>(envAlloc(sizeof(NetLink) * n));
    if (!potential || !thread || !revThread || !links) {
      envFree(potential);
      envFree(thread);
      envFree(revThread);
      envFree(links);
      return QVNERR_NO_MEMORY;
    }
    envFree(net->potential);
    envFree(net->thread);
    envFree(net->revThread);
    envFree(net->links);
    net->potential = potential;
    net->thread = thread;
    net->revThread = revThread;
    net->links = links;
    net->treeSpace = net->nodeCount;
  }
  run.flagChanged.resize(static_cast<size_t>(net->nodeCount) + 1);
  run.step.flagChanged = run.flagChanged.data();
  if (net->state == kNetNoBasis) startBasis(net);
  if (net->state != kNetBasis) {
    // A stopped run resumes from its tree: rebuild it, as a changed model may
    // have moved supplies or bounds under it.
    net->state = kNetBasis;
  }
  if (!checkBasis(net) || !buildTree(run)) {
    startBasis(net);
    checkBasis(net);
    if (!buildTree(run)) return QVNERR_NO_BASIS;
  }
  const int flows = computeFlows(run);
  // Prices for the getters even when the supplies end the run here.
  allPotentials(net);
  if (flows == kNetSupplyInfeasible || flows == QVNERR_BOUNDS_INFEAS) return 0;
  QVN_TRY(flows);
  feasibilityTest(net);
  QVN_TRY(run.pricer->ops->start(run.pricer, net, net->optimalityTol));
  net->logInterval = logIntervalFor(net->arcCount);
  net->logLines = 0;
  if (net->displayLevel != 0) {
    QVNmsg(run.env->logChannel, "Iteration log . . .\n");
    logStep(run);
  }
  do {
    if (net->state == kNetPhase1) {
      net->costScale = 1.0;
      phase1(run);
    }
    if (net->state == kNetPhase2) {
      run.pricer->ops->setTolerance(run.pricer, net->optimalityTol);
      phase2(run);
    }
    if (net->feasibilityTol > 1e-10) net->feasibilityTol *= 0.1;
  } while (net->state == kNetPhase1);
  return 0;
}

} // namespace

int netPrimopt(Environment *env, NetProblem *net) {
  ExtendedPrecisionScope precision;
  const NetParams &p = *env->netParams;
  net->optimalityTol = p.netepopt;
  net->feasibilityTol = p.neteprhs;
  net->displayLevel = p.netdisplay;
  if (env->generalParams->advind == 0) net->state = kNetNoBasis;
  const NetPricing kind = p.netppriind == 1 ? NetPricing::kPartial
                          : p.netppriind == 2 ? NetPricing::kMultiplePartial
                                              : NetPricing::kMultiplePartialSorted;
  QVN_TRY(createNetPricer(kind, &net->pricer));
  NetRun run{};
  run.env = env;
  run.net = net;
  run.pricer = net->pricer;
  run.started = Clock::now();
  run.limitClock = startLimitClock(env);
  // The simplex minimizes: a maximization runs on negated costs.
  const bool negate = net->objSense < 0;
  if (negate)
    for (int j = 0; j < net->arcCount; ++j) net->arcs[j].cost = -net->arcs[j].cost;
  int status = runCaught([&]() { return solve(run); });
  if (status == 0 && netSolved(net) && net->rootNode >= 0) {
    // Pivots may have shifted the whole tree's prices: the root's is 0 again.
    const double level = net->potential[net->rootNode];
    if (level != 0.0)
      for (int i = 0; i < net->nodeCount; ++i) net->potential[i] -= level;
  }
  if (net->costScale != 1.0 || !run.heldCost.empty()) restoreCosts(run);
  if (negate)
    for (int j = 0; j < net->arcCount; ++j) net->arcs[j].cost = -net->arcs[j].cost;
  if (net->displayLevel != 0 && status == 0 && net->state >= kNetPhase1) {
    computeSums(net);
    QVNmsg(env->logChannel, "Network simplex %s after %d iterations (%d in phase 1), %.2f sec.\n",
           net->state == kNetOptimal ? "optimal" : "stopped", net->iterationCount, net->phase1Iterations,
           elapsed(run));
  }
  run.pricer->ops->finish(run.pricer);
  freeNetPricer(net->pricer);
  net->runTime = elapsed(run);
  if (status != 0 && net->state != kNetNoBasis) net->state = kNetNoBasis;
  return status;
}

void computeArcFlows(const NetProblem *net, double *x) {
  for (int j = 0; j < net->arcCount; ++j) x[j] = outOfTreeValue(net->arcs[j]);
  for (int i = 0; i < net->nodeCount; ++i) {
    const NetNode &n = net->nodes[i];
    if (i == net->rootNode || isArtificial(n.treeArc) || !net->links || net->links[i].parent < 0) continue;
    const NetArc &a = net->arcs[n.treeArc];
    x[n.treeArc] = a.fromNode == i ? n.flow : -n.flow;
  }
}

double netObjective(const NetProblem *net, const double *x) {
  double sum = net->objectiveOffset;
  for (int j = 0; j < net->arcCount; ++j) sum += net->arcs[j].cost * x[j];
  return sum;
}

} // namespace qvn
