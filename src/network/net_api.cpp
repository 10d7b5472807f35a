// The exported QVNNET functions that build, change and read back a network.
// Nothing changes before every argument has passed its test.
#include <algorithm>
#include <cmath>
#include <cstring>

#include "model/edit.h"
#include "network/net_problem.h"
#include "runtime/errors.h"

using namespace qvn;

namespace {

int indexTest(const int *indices, int count, int limit, int error) {
  if (count < 0) return QVNERR_BAD_ARGUMENT;
  if (count > 0 && !indices) return QVNERR_NULL_POINTER;
  for (int k = 0; k < count; ++k)
    if (indices[k] < 0 || indices[k] >= limit) return error;
  return 0;
}

int valuesTest(const double *values, int count) {
  if (count > 0 && !values) return QVNERR_NULL_POINTER;
  for (int k = 0; k < count; ++k)
    if (std::isnan(values[k])) return QVNERR_NAN;
  return 0;
}

// A basis that the change leaves standing but no longer solved.
void keepTree(NetProblem *net) {
  if (net->state != kNetNoBasis) net->state = kNetBasis;
}

template <class T, class Value>
int rangeGetter(QVNCENVptr env, QVNNETptr net, T *out, int begin, int end, bool nodes, const char *name,
                Value value) {
  return guardedNet(env, net, [&](Environment *e, NetProblem *n) -> int {
    if (!out) return QVNERR_NULL_POINTER;
    QVN_TRY(rangeStatus(e, name, begin, end, nodes ? n->nodeCount : n->arcCount));
    for (int k = begin; k <= end; ++k) out[k - begin] = value(*n, k);
    return 0;
  });
}

int namesOut(const Environment *env, const NameTable *table, int count, char **names, char *store, int space,
             int *surplus, int begin, int end, const char *function) {
  QVN_TRY(rangeStatus(env, function, begin, end, count));
  if (space > 0 && (!names || !store)) return QVNERR_NULL_POINTER;
  int64_t used = 0;
  for (int k = begin; k <= end; ++k) {
    const char *text = table->names[k];
    const int64_t n = static_cast<int64_t>(std::strlen(text)) + 1;
    if (used + n <= space) {
      std::memcpy(store + used, text, static_cast<size_t>(n));
      names[k - begin] = store + used;
    } else if (space > 0) {
      names[k - begin] = nullptr;
    }
    used += n;
  }
  return finishSurplus(used, space, nullptr, surplus);
}

// Renames entries by rebuilding the table: names change seldom, and the hash
// must not keep the old texts.
int renameEntries(NameTable *&table, char prefix, int count, const int *indices, char *const *names) {
  for (int k = 0; k < count; ++k)
    if (!names[k] || !names[k][0]) return QVNERR_NULL_NAME;
  EnvVector<char *> texts(table->names, table->names + table->entryCount);
  for (int k = 0; k < count; ++k) texts[indices[k]] = names[k];
  return replaceNameTable(table, prefix, table->entryCount, texts.data());
}

int deleteRange(QVNCENVptr env, QVNNETptr net, int begin, int end, bool nodes, const char *function) {
  return guardedNet(env, net, [&](Environment *e, NetProblem *n) -> int {
    const int count = nodes ? n->nodeCount : n->arcCount;
    QVN_TRY(rangeStatus(e, function, begin, end, count));
    if (begin > end) return 0;
    EnvVector<int> flags(static_cast<size_t>(count), 0);
    std::fill(flags.begin() + begin, flags.begin() + end + 1, 1);
    return nodes ? deleteNetSet(n, flags.data(), nullptr) : deleteNetSet(n, nullptr, flags.data());
  });
}

} // namespace

extern "C" {

QVN_API QVNNETptr QVNNETcreateprob(QVNENVptr env, int *status, const char *name) {
  NetProblem *net = nullptr;
  const int s = guarded(env, [&]() -> int {
    if (!name) return QVNERR_NULL_POINTER;
    return createNetProblem(env, name, &net);
  });
  if (status) *status = s;
  return s ? nullptr : net;
}

QVN_API int QVNNETfreeprob(QVNENVptr env, QVNNETptr *netPointer) {
  return guarded(env, [&]() -> int {
    if (!netPointer) return QVNERR_NULL_POINTER;
    if (!*netPointer) return 0;
    if (!checkNetProblem(env, *netPointer)) return QVNERR_NO_PROBLEM;
    freeNetProblem(env, *netPointer);
    *netPointer = nullptr;
    return 0;
  });
}

QVN_API int QVNNETaddnodes(QVNCENVptr env, QVNNETptr net, int count, const double *supply, char **names) {
  return guardedNet(env, net, [&](Environment *e, NetProblem *n) -> int {
    return addNetNodes(e, n, count, supply, names);
  });
}

QVN_API int QVNNETaddarcs(QVNCENVptr env, QVNNETptr net, int count, const int *fromNode, const int *toNode,
                          const double *lower, const double *upper, const double *cost, char **names) {
  return guardedNet(env, net, [&](Environment *e, NetProblem *n) -> int {
    return addNetArcs(e, n, count, fromNode, toNode, lower, upper, cost, names);
  });
}

QVN_API int QVNNETcopynet(QVNCENVptr env, QVNNETptr net, int objSense, int nodeCount, const double *supply,
                          char **nodeNames, int arcCount, const int *fromNode, const int *toNode,
                          const double *lower, const double *upper, const double *cost, char **arcNames) {
  return guardedNet(env, net, [&](Environment *e, NetProblem *n) -> int {
    if (objSense != 1 && objSense != -1) return QVNERR_BAD_SENSE;
    if (nodeCount < 0 || arcCount < 0) return QVNERR_BAD_ARGUMENT;
    if (arcCount > 0 && (!fromNode || !toNode)) return QVNERR_NULL_POINTER;
    for (int k = 0; k < arcCount; ++k)
      if (fromNode[k] < 0 || fromNode[k] >= nodeCount || toNode[k] < 0 || toNode[k] >= nodeCount)
        return QVNERR_NODE_INDEX_RANGE;
    emptyNetwork(n);
    n->objSense = objSense;
    QVN_TRY(addNetNodes(e, n, nodeCount, supply, nodeNames));
    return addNetArcs(e, n, arcCount, fromNode, toNode, lower, upper, cost, arcNames);
  });
}

QVN_API int QVNNETdelnodes(QVNCENVptr env, QVNNETptr net, int begin, int end) {
  return deleteRange(env, net, begin, end, true, "QVNNETdelnodes");
}

QVN_API int QVNNETdelarcs(QVNCENVptr env, QVNNETptr net, int begin, int end) {
  return deleteRange(env, net, begin, end, false, "QVNNETdelarcs");
}

QVN_API int QVNNETdelset(QVNCENVptr env, QVNNETptr net, int *nodeFlags, int *arcFlags) {
  return guardedNet(env, net, [&](Environment *, NetProblem *n) -> int {
    const int nodes = n->nodeCount, arcs = n->arcCount;
    EnvVector<int> arcGone(static_cast<size_t>(arcs), 0);
    for (int j = 0; j < arcs; ++j)
      arcGone[j] = (arcFlags && arcFlags[j] == 1) || (nodeFlags && (nodeFlags[n->arcs[j].fromNode] == 1 ||
                                                                     nodeFlags[n->arcs[j].toNode] == 1));
    EnvVector<int> nodeGone(static_cast<size_t>(nodes), 0);
    for (int i = 0; i < nodes; ++i) nodeGone[i] = nodeFlags && nodeFlags[i] == 1;
    QVN_TRY(deleteNetSet(n, nodeGone.data(), arcGone.data()));
    int next = 0;
    if (nodeFlags)
      for (int i = 0; i < nodes; ++i) nodeFlags[i] = nodeGone[i] ? -1 : next++;
    next = 0;
    if (arcFlags)
      for (int j = 0; j < arcs; ++j) arcFlags[j] = arcGone[j] ? -1 : next++;
    return 0;
  });
}

QVN_API int QVNNETgetnumnodes(QVNCENVptr env, QVNNETptr net) {
  int count = 0;
  guardedNet(env, net, [&](Environment *, NetProblem *n) { return count = n->nodeCount, 0; });
  return count;
}

QVN_API int QVNNETgetnumarcs(QVNCENVptr env, QVNNETptr net) {
  int count = 0;
  guardedNet(env, net, [&](Environment *, NetProblem *n) { return count = n->arcCount, 0; });
  return count;
}

QVN_API int QVNNETgetobjsen(QVNCENVptr env, QVNNETptr net) {
  int sense = 0;
  guardedNet(env, net, [&](Environment *, NetProblem *n) { return sense = n->objSense, 0; });
  return sense;
}

QVN_API int QVNNETgetnodeindex(QVNCENVptr env, QVNNETptr net, const char *name, int *indexPointer) {
  return guardedNet(env, net, [&](Environment *, NetProblem *n) -> int {
    if (!name || !indexPointer) return QVNERR_NULL_POINTER;
    *indexPointer = nameTableFind(n->nodeNames, name);
    return *indexPointer < 0 ? QVNERR_NAME_NOT_FOUND : 0;
  });
}

QVN_API int QVNNETgetarcindex(QVNCENVptr env, QVNNETptr net, const char *name, int *indexPointer) {
  return guardedNet(env, net, [&](Environment *, NetProblem *n) -> int {
    if (!name || !indexPointer) return QVNERR_NULL_POINTER;
    *indexPointer = nameTableFind(n->arcNames, name);
    return *indexPointer < 0 ? QVNERR_NAME_NOT_FOUND : 0;
  });
}

QVN_API int QVNNETgetsupply(QVNCENVptr env, QVNNETptr net, double *supply, int begin, int end) {
  return rangeGetter(env, net, supply, begin, end, true, "QVNNETgetsupply",
                     [](const NetProblem &n, int i) { return n.nodes[i].supply; });
}

QVN_API int QVNNETgetlb(QVNCENVptr env, QVNNETptr net, double *lower, int begin, int end) {
  return rangeGetter(env, net, lower, begin, end, false, "QVNNETgetlb",
                     [](const NetProblem &n, int j) { return n.arcs[j].lowerBound; });
}

QVN_API int QVNNETgetub(QVNCENVptr env, QVNNETptr net, double *upper, int begin, int end) {
  return rangeGetter(env, net, upper, begin, end, false, "QVNNETgetub",
                     [](const NetProblem &n, int j) { return n.arcs[j].upperBound; });
}

QVN_API int QVNNETgetobj(QVNCENVptr env, QVNNETptr net, double *cost, int begin, int end) {
  return rangeGetter(env, net, cost, begin, end, false, "QVNNETgetobj",
                     [](const NetProblem &n, int j) { return n.arcs[j].cost; });
}

QVN_API int QVNNETgetarcnodes(QVNCENVptr env, QVNNETptr net, int *fromNode, int *toNode, int begin, int end) {
  return guardedNet(env, net, [&](Environment *e, NetProblem *n) -> int {
    QVN_TRY(rangeStatus(e, "QVNNETgetarcnodes", begin, end, n->arcCount));
    for (int j = begin; j <= end; ++j) {
      if (fromNode) fromNode[j - begin] = n->arcs[j].fromNode;
      if (toNode) toNode[j - begin] = n->arcs[j].toNode;
    }
    return 0;
  });
}

QVN_API int QVNNETgetnodearcs(QVNCENVptr env, QVNNETptr net, int *arcCountOut, int *arcStart, int *arcs,
                              int arcSpace, int *surplus, int begin, int end) {
  if (surplus) *surplus = 0;
  if (arcCountOut) *arcCountOut = 0;
  return guardedNet(env, net, [&](Environment *e, NetProblem *n) -> int {
    if (!arcCountOut || !surplus) return QVNERR_NULL_POINTER;
    QVN_TRY(rangeStatus(e, "QVNNETgetnodearcs", begin, end, n->nodeCount));
    if (arcSpace > 0 && (!arcs || !arcStart)) return QVNERR_NULL_POINTER;
    const int span = std::max(end - begin + 1, 0);
    EnvVector<int> start(static_cast<size_t>(span) + 1, 0);
    for (int j = 0; j < n->arcCount; ++j) {
      const int i = n->arcs[j].fromNode;
      if (i >= begin && i <= end) ++start[i - begin + 1];
    }
    for (int k = 0; k < span; ++k) start[k + 1] += start[k];
    const int needed = start[span];
    if (arcStart && arcSpace > 0)
      for (int k = 0; k < span; ++k) arcStart[k] = start[k];
    for (int j = 0; j < n->arcCount && arcSpace > 0; ++j) {
      const int i = n->arcs[j].fromNode;
      if (i < begin || i > end) continue;
      const int at = start[i - begin]++;
      if (at < arcSpace) arcs[at] = j;
    }
    return finishSurplus(needed, arcSpace, arcCountOut, surplus);
  });
}

QVN_API int QVNNETgetarcname(QVNCENVptr env, QVNNETptr net, char **names, char *store, int storeSpace,
                             int *surplus, int begin, int end) {
  if (surplus) *surplus = 0;
  return guardedNet(env, net, [&](Environment *e, NetProblem *n) {
    return namesOut(e, n->arcNames, n->arcCount, names, store, storeSpace, surplus, begin, end, "QVNNETgetarcname");
  });
}

QVN_API int QVNNETgetnodename(QVNCENVptr env, QVNNETptr net, char **names, char *store, int storeSpace,
                              int *surplus, int begin, int end) {
  if (surplus) *surplus = 0;
  return guardedNet(env, net, [&](Environment *e, NetProblem *n) {
    return namesOut(e, n->nodeNames, n->nodeCount, names, store, storeSpace, surplus, begin, end,
                    "QVNNETgetnodename");
  });
}

QVN_API int QVNNETgetprobname(QVNCENVptr env, QVNNETptr net, char *buffer, int space, int *surplus) {
  if (surplus) *surplus = 0;
  return guardedNet(env, net, [&](Environment *, NetProblem *n) -> int {
    const int length = static_cast<int>(std::strlen(n->name)) + 1;
    if (space > 0 && !buffer) return QVNERR_NULL_POINTER;
    if (space > 0) {
      const int copied = std::min(length, space);
      std::memcpy(buffer, n->name, static_cast<size_t>(copied));
      buffer[copied - 1] = '\0';
    }
    return finishSurplus(length, space, nullptr, surplus);
  });
}

QVN_API int QVNNETchgbds(QVNCENVptr env, QVNNETptr net, int count, const int *indices, const char *kinds,
                         const double *values) {
  return guardedNet(env, net, [&](Environment *, NetProblem *n) -> int {
    QVN_TRY(indexTest(indices, count, n->arcCount, QVNERR_ARC_INDEX_RANGE));
    if (count > 0 && !kinds) return QVNERR_NULL_POINTER;
    QVN_TRY(valuesTest(values, count));
    for (int k = 0; k < count; ++k)
      if (kinds[k] != 'L' && kinds[k] != 'U' && kinds[k] != 'B') return QVNERR_BAD_LUB;
    for (int k = 0; k < count; ++k) {
      NetArc &a = n->arcs[indices[k]];
      if (kinds[k] != 'U') a.lowerBound = values[k];
      if (kinds[k] != 'L') a.upperBound = values[k];
    }
    if (count > 0) keepTree(n);
    return 0;
  });
}

QVN_API int QVNNETchgobj(QVNCENVptr env, QVNNETptr net, int count, const int *indices, const double *values) {
  return guardedNet(env, net, [&](Environment *, NetProblem *n) -> int {
    QVN_TRY(indexTest(indices, count, n->arcCount, QVNERR_ARC_INDEX_RANGE));
    QVN_TRY(valuesTest(values, count));
    for (int k = 0; k < count; ++k) n->arcs[indices[k]].cost = values[k];
    if (count > 0) keepTree(n);
    return 0;
  });
}

QVN_API int QVNNETchgsupply(QVNCENVptr env, QVNNETptr net, int count, const int *indices, const double *values) {
  return guardedNet(env, net, [&](Environment *, NetProblem *n) -> int {
    QVN_TRY(indexTest(indices, count, n->nodeCount, QVNERR_NODE_INDEX_RANGE));
    QVN_TRY(valuesTest(values, count));
    for (int k = 0; k < count; ++k) n->nodes[indices[k]].supply = values[k];
    if (count > 0) keepTree(n);
    return 0;
  });
}

QVN_API int QVNNETchgarcnodes(QVNCENVptr env, QVNNETptr net, int count, const int *indices, const int *fromNode,
                              const int *toNode) {
  return guardedNet(env, net, [&](Environment *, NetProblem *n) -> int {
    QVN_TRY(indexTest(indices, count, n->arcCount, QVNERR_ARC_INDEX_RANGE));
    QVN_TRY(indexTest(fromNode, count, n->nodeCount, QVNERR_NODE_INDEX_RANGE));
    QVN_TRY(indexTest(toNode, count, n->nodeCount, QVNERR_NODE_INDEX_RANGE));
    for (int k = 0; k < count; ++k) {
      n->arcs[indices[k]].fromNode = fromNode[k];
      n->arcs[indices[k]].toNode = toNode[k];
    }
    // A moved tree arc may no longer join what it joined.
    if (count > 0) n->state = kNetNoBasis;
    return 0;
  });
}

QVN_API int QVNNETchgobjsen(QVNCENVptr env, QVNNETptr net, int objSense) {
  return guardedNet(env, net, [&](Environment *, NetProblem *n) -> int {
    if (objSense != 1 && objSense != -1) return QVNERR_BAD_SENSE;
    if (objSense != n->objSense) keepTree(n);
    n->objSense = objSense;
    return 0;
  });
}

QVN_API int QVNNETchgname(QVNCENVptr env, QVNNETptr net, int key, int index, const char *name) {
  return guardedNet(env, net, [&](Environment *, NetProblem *n) -> int {
    if (!name) return QVNERR_NULL_POINTER;
    char *text = const_cast<char *>(name);
    if (key == 'a') {
      if (index < 0 || index >= n->arcCount) return QVNERR_ARC_INDEX_RANGE;
      return renameEntries(n->arcNames, 'a', 1, &index, &text);
    }
    if (key == 'n') {
      if (index < 0 || index >= n->nodeCount) return QVNERR_NODE_INDEX_RANGE;
      return renameEntries(n->nodeNames, 'n', 1, &index, &text);
    }
    if (key == 'p' || key == 'o') {
      char *copy = envStrdup(name);
      if (!copy) return QVNERR_NO_MEMORY;
      envFree(n->name);
      n->name = copy;
      return 0;
    }
    return QVNERR_BAD_ARGUMENT;
  });
}

QVN_API int QVNNETchgarcname(QVNCENVptr env, QVNNETptr net, int count, const int *indices, char **names) {
  return guardedNet(env, net, [&](Environment *, NetProblem *n) -> int {
    QVN_TRY(indexTest(indices, count, n->arcCount, QVNERR_ARC_INDEX_RANGE));
    if (count == 0) return 0;
    if (!names) return QVNERR_NULL_POINTER;
    return renameEntries(n->arcNames, 'a', count, indices, names);
  });
}

QVN_API int QVNNETchgnodename(QVNCENVptr env, QVNNETptr net, int count, const int *indices, char **names) {
  return guardedNet(env, net, [&](Environment *, NetProblem *n) -> int {
    QVN_TRY(indexTest(indices, count, n->nodeCount, QVNERR_NODE_INDEX_RANGE));
    if (count == 0) return 0;
    if (!names) return QVNERR_NULL_POINTER;
    return renameEntries(n->nodeNames, 'n', count, indices, names);
  });
}

} // extern "C"
