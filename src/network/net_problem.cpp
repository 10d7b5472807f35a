// The NetProblem record: creation, growth, appending and deleting nodes and arcs.
#include <algorithm>
#include <cmath>
#include <cstring>

#include "network/net_problem.h"
#include "runtime/errors.h"

namespace qvn {

// The Environment's list first: a freed or foreign handle is never read.
bool checkNetProblem(const Environment *env, const NetProblem *net) {
  if (!net) return false;
  for (const Resource *entry = env->resourceList; entry; entry = entry->next)
    if (entry->object == net && entry->kind == kResNetProblem) return net->self == net;
  return false;
}

void emptyNetwork(NetProblem *net) {
  net->arcCount = net->nodeCount = 0;
  net->objSense = 1;
  net->state = kNetNoBasis;
  net->quiet = 0;
  net->rootNode = -1;
  net->infeasibleTreeArcs = 0;
  nameTableTruncate(net->arcNames, 0);
  nameTableTruncate(net->nodeNames, 0);
  // Generated names start again from 1.
  net->arcNames->defaultCount = net->nodeNames->defaultCount = -1;
}

namespace {

void releaseParts(NetProblem *net) {
  envFree(net->name);
  envFree(net->arcs);
  envFree(net->nodes);
  envFree(net->potential);
  envFree(net->thread);
  envFree(net->revThread);
  envFree(net->links);
  freeNameTable(net->arcNames);
  freeNameTable(net->nodeNames);
}

// The capacity after a request for `wanted` entries: the Environment's growth
// parameter on top of the request when it is set, else 20% (at least 100) more.
int grownSpace(int wanted, int growth) {
  if (growth >= 0) return static_cast<int>(std::min<int64_t>(2100000000, int64_t{wanted} + growth));
  return static_cast<int>(std::min<int64_t>(2100000000, std::max<int64_t>(static_cast<int64_t>(1.2 * wanted),
                                                                          int64_t{wanted} + 100)));
}

template <class T> int growArray(T *&array, int &space, int wanted, int growth) {
  if (wanted <= space) return 0;
  const int fresh = grownSpace(wanted, growth);
  auto *block = static_cast<T *>(envRealloc(array, static_cast<size_t>(fresh) * sizeof(T)));
  if (!block) return QVNERR_NO_MEMORY;
  array = block;
  space = fresh;
  return 0;
}

bool badNumber(double v) { return std::isnan(v); }

} // namespace

int createNetProblem(Environment *env, const char *name, NetProblem **out) {
  *out = nullptr;
  auto *net = static_cast<NetProblem *>(envCalloc(1, sizeof(NetProblem)));
  if (!net) return QVNERR_NO_MEMORY;
  int status = runCaught([&]() -> int {
    net->name = envStrdup(name);
    net->arcs = static_cast<NetArc *>(envCalloc(1, sizeof(NetArc)));
    net->nodes = static_cast<NetNode *>(envCalloc(1, sizeof(NetNode)));
    if (!net->name || !net->arcs || !net->nodes) return QVNERR_NO_MEMORY;
    net->arcNames = createNameTable('a', true, 1);
    net->nodeNames = createNameTable('n', true, 1);
    return 0;
  });
  if (status == 0) status = addResource(env, kResNetProblem, net);
  if (status != 0) {
    releaseParts(net);
    envFree(net);
    return status;
  }
  net->self = net;
  net->arcSpace = net->nodeSpace = 1;
  net->costScale = 1.0;
  net->optimalityTol = env->netParams->netepopt;
  net->feasibilityTol = env->netParams->neteprhs;
  net->displayLevel = env->netParams->netdisplay;
  emptyNetwork(net);
  *out = net;
  return 0;
}

void freeNetProblem(Environment *env, NetProblem *&net) {
  if (!net) return;
  releaseParts(net);
  net->self = nullptr;
  removeResource(env, kResNetProblem, net);
  envFree(net);
}

int addNetNodes(Environment *env, NetProblem *net, int count, const double *supply, char *const *names) {
  if (count < 0) return QVNERR_BAD_ARGUMENT;
  if (count == 0) return 0;
  if (int64_t{net->nodeCount} + count > 2100000000) return QVNERR_LIMITS_TOO_BIG;
  if (env->generalParams->datacheck && supply)
    for (int k = 0; k < count; ++k)
      if (badNumber(supply[k]) || std::fabs(supply[k]) >= kNetInfBound) return QVNERR_NAN;
  QVN_TRY(growArray(net->nodes, net->nodeSpace, net->nodeCount + count, env->generalParams->extraRowSpace));
  QVN_TRY(nameTableAdd(net->nodeNames, count, names));
  for (int k = 0; k < count; ++k) {
    NetNode &n = net->nodes[net->nodeCount + k];
    n = NetNode{};
    n.supply = supply ? supply[k] : 0.0;
    n.lastSuccessor = -1;
    n.treeArc = -(net->nodeCount + k + 1);
    n.mark = kMarkArtificialBasic;
  }
  net->nodeCount += count;
  // The new nodes hang on their artificial arcs: the kept basis is still a tree.
  if (net->state != kNetNoBasis) net->state = kNetBasis;
  return 0;
}

int addNetArcs(Environment *env, NetProblem *net, int count, const int *fromNode, const int *toNode,
               const double *lower, const double *upper, const double *cost, char *const *names) {
  if (count < 0) return QVNERR_BAD_ARGUMENT;
  if (count == 0) return 0;
  if (!fromNode || !toNode) return QVNERR_NULL_POINTER;
  for (int k = 0; k < count; ++k) {
    if (fromNode[k] < 0 || fromNode[k] >= net->nodeCount || toNode[k] < 0 || toNode[k] >= net->nodeCount)
      return QVNERR_NODE_INDEX_RANGE;
  }
  if (env->generalParams->datacheck)
    for (int k = 0; k < count; ++k)
      if ((lower && badNumber(lower[k])) || (upper && badNumber(upper[k])) || (cost && badNumber(cost[k])))
        return QVNERR_NAN;
  if (int64_t{net->arcCount} + count > 2100000000) return QVNERR_LIMITS_TOO_BIG;
  QVN_TRY(growArray(net->arcs, net->arcSpace, net->arcCount + count, env->generalParams->extraColSpace));
  QVN_TRY(nameTableAdd(net->arcNames, count, names));
  for (int k = 0; k < count; ++k) {
    NetArc &a = net->arcs[net->arcCount + k];
    a.cost = cost ? cost[k] : 0.0;
    a.lowerBound = lower ? lower[k] : 0.0;
    a.upperBound = upper ? upper[k] : kNetInfBound;
    a.fromNode = fromNode[k];
    a.toNode = toNode[k];
    // Out of the tree at the bound that exists; a kept basis stays valid.
    a.status = a.lowerBound > -kNetInfinite ? kArcLower : a.upperBound < kNetInfinite ? kArcUpper : kArcFree;
  }
  net->arcCount += count;
  // The tree stands, but the flows and the outcome no longer hold.
  if (net->state != kNetNoBasis) net->state = kNetBasis;
  return 0;
}

namespace {

// Rebuilds a name table with the entries whose keep flag is set.
int compactNames(NameTable *&table, char prefix, const int *drop, int count) {
  EnvVector<char *> kept;
  for (int i = 0; i < count; ++i)
    if (!drop[i]) kept.push_back(table->names[i]);
  return replaceNameTable(table, prefix, static_cast<int>(kept.size()), kept.data());
}

} // namespace

int replaceNameTable(NameTable *&table, char prefix, int count, char *const *texts) {
  NameTable *fresh = nullptr;
  QVN_TRY(runCaught([&]() {
    fresh = createNameTable(prefix, true, std::max(count, 1));
    return 0;
  }));
  const int status = nameTableAppend(fresh, count, texts);
  if (status != 0) {
    freeNameTable(fresh);
    return status;
  }
  freeNameTable(table);
  table = fresh;
  return 0;
}

int deleteNetSet(NetProblem *net, const int *nodeDelete, const int *arcDelete) {
  const int n = net->nodeCount, m = net->arcCount;
  EnvVector<int> dropNode(static_cast<size_t>(n), 0), dropArc(static_cast<size_t>(m), 0);
  for (int i = 0; i < n; ++i) dropNode[i] = nodeDelete && nodeDelete[i] ? 1 : 0;
  for (int j = 0; j < m; ++j)
    dropArc[j] = (arcDelete && arcDelete[j]) || dropNode[net->arcs[j].fromNode] || dropNode[net->arcs[j].toNode];
  QVN_TRY(compactNames(net->nodeNames, 'n', dropNode.data(), n));
  QVN_TRY(compactNames(net->arcNames, 'a', dropArc.data(), m));
  EnvVector<int> newIndex(static_cast<size_t>(n), -1);
  int kept = 0;
  for (int i = 0; i < n; ++i)
    if (!dropNode[i]) {
      newIndex[i] = kept;
      net->nodes[kept++] = net->nodes[i];
    }
  net->nodeCount = kept;
  kept = 0;
  for (int j = 0; j < m; ++j)
    if (!dropArc[j]) {
      NetArc a = net->arcs[j];
      a.fromNode = newIndex[a.fromNode];
      a.toNode = newIndex[a.toNode];
      net->arcs[kept++] = a;
    }
  net->arcCount = kept;
  // Renumbering a kept tree is not worth its risk: the next solve starts anew.
  net->state = kNetNoBasis;
  return 0;
}

} // namespace qvn
