// The exported QVNNET functions around a solve: the optimizer, the outcome and
// values of the last solve, the basis, extraction from an LP and file input.
#include <cmath>

#include <algorithm>

#include "network/net_problem.h"
#include "model/edit.h"
#include "runtime/errors.h"

using namespace qvn;

namespace {

int statusOfState(int state) {
  switch (state) {
  case kNetPhase1ItLim:
  case kNetPhase2ItLim: return 10;
  case kNetPhase1TimeLim:
  case kNetPhase2TimeLim: return 11;
  case kNetPhase1Abort:
  case kNetPhase2Abort: return 13;
  case kNetOptimal: return 1;
  case kNetInfeasible: return 3;
  case kNetUnbounded: return 2;
  case kNetInfOrUnbd: return 4;
  default: return 0;
  }
}

// Node prices in the caller's sense, so that dj = cost - pi[from] + pi[to].
double nodePrice(const NetProblem &n, int i) { return -n.objSense * n.potential[i]; }

double arcReduced(const NetProblem &n, int j) {
  const NetArc &a = n.arcs[j];
  if (a.status == kArcTree) return 0.0;
  return a.cost - nodePrice(n, a.fromNode) + nodePrice(n, a.toNode);
}

// Values of a solved network in arc order; the getters copy from here.
int solvedFlows(NetProblem *n, EnvVector<double> &x) {
  if (!netSolved(n)) return QVNERR_NO_SOLN;
  x.resize(static_cast<size_t>(n->arcCount));
  computeArcFlows(n, x.data());
  return 0;
}

void nodeSlacks(const NetProblem &n, const double *x, double *slack) {
  for (int i = 0; i < n.nodeCount; ++i) slack[i] = n.nodes[i].supply;
  for (int j = 0; j < n.arcCount; ++j) {
    slack[n.arcs[j].fromNode] -= x[j];
    slack[n.arcs[j].toNode] += x[j];
  }
}

template <class Fill>
int solvedRange(QVNCENVptr env, QVNNETptr net, double *out, int begin, int end, bool nodes, const char *name,
                Fill fill) {
  return guardedNet(env, net, [&](Environment *e, NetProblem *n) -> int {
    if (!out) return QVNERR_NULL_POINTER;
    if (!netSolved(n)) return QVNERR_NO_SOLN;
    QVN_TRY(rangeStatus(e, name, begin, end, nodes ? n->nodeCount : n->arcCount));
    return fill(*n, begin, end);
  });
}

} // namespace

extern "C" {

QVN_API int QVNNETprimopt(QVNCENVptr env, QVNNETptr net) {
  return guardedNet(env, net, [&](Environment *e, NetProblem *n) { return netPrimopt(e, n); });
}

QVN_API int QVNNETgetstat(QVNCENVptr env, QVNNETptr net) {
  int stat = 0;
  guardedNet(env, net, [&](Environment *, NetProblem *n) { return stat = statusOfState(n->state), 0; });
  return stat;
}

QVN_API int QVNNETgetitcnt(QVNCENVptr env, QVNNETptr net) {
  int count = 0;
  guardedNet(env, net, [&](Environment *, NetProblem *n) { return count = n->iterationCount, 0; });
  return count;
}

QVN_API int QVNNETgetphase1cnt(QVNCENVptr env, QVNNETptr net) {
  int count = 0;
  guardedNet(env, net, [&](Environment *, NetProblem *n) { return count = n->phase1Iterations, 0; });
  return count;
}

QVN_API int QVNNETsolninfo(QVNCENVptr env, QVNNETptr net, int *primalFeasible, int *dualFeasible) {
  return guardedNet(env, net, [&](Environment *, NetProblem *n) -> int {
    const bool feasible = n->state >= kNetPhase2 && n->state <= kNetOptimal;
    if (primalFeasible) *primalFeasible = feasible ? 1 : 0;
    if (dualFeasible) *dualFeasible = n->state == kNetOptimal ? 1 : 0;
    return 0;
  });
}

QVN_API int QVNNETsolution(QVNCENVptr env, QVNNETptr net, int *status, double *objective, double *x,
                           double *pi, double *slack, double *dj) {
  return guardedNet(env, net, [&](Environment *, NetProblem *n) -> int {
    EnvVector<double> flows;
    QVN_TRY(solvedFlows(n, flows));
    if (status) *status = statusOfState(n->state);
    if (objective) *objective = netObjective(n, flows.data());
    for (int j = 0; j < n->arcCount; ++j) {
      if (x) x[j] = flows[j];
      if (dj) dj[j] = arcReduced(*n, j);
    }
    for (int i = 0; pi && i < n->nodeCount; ++i) pi[i] = nodePrice(*n, i);
    if (slack) nodeSlacks(*n, flows.data(), slack);
    return 0;
  });
}

QVN_API int QVNNETgetobjval(QVNCENVptr env, QVNNETptr net, double *objective) {
  return guardedNet(env, net, [&](Environment *, NetProblem *n) -> int {
    if (!objective) return QVNERR_NULL_POINTER;
    EnvVector<double> flows;
    QVN_TRY(solvedFlows(n, flows));
    *objective = netObjective(n, flows.data());
    return 0;
  });
}

QVN_API int QVNNETgetx(QVNCENVptr env, QVNNETptr net, double *x, int begin, int end) {
  return solvedRange(env, net, x, begin, end, false, "QVNNETgetx", [&](NetProblem &n, int b, int e) -> int {
    EnvVector<double> flows;
    QVN_TRY(solvedFlows(&n, flows));
    for (int j = b; j <= e; ++j) x[j - b] = flows[j];
    return 0;
  });
}

QVN_API int QVNNETgetpi(QVNCENVptr env, QVNNETptr net, double *pi, int begin, int end) {
  return solvedRange(env, net, pi, begin, end, true, "QVNNETgetpi", [&](NetProblem &n, int b, int e) {
    for (int i = b; i <= e; ++i) pi[i - b] = nodePrice(n, i);
    return 0;
  });
}

QVN_API int QVNNETgetdj(QVNCENVptr env, QVNNETptr net, double *dj, int begin, int end) {
  return solvedRange(env, net, dj, begin, end, false, "QVNNETgetdj", [&](NetProblem &n, int b, int e) {
    for (int j = b; j <= e; ++j) dj[j - b] = arcReduced(n, j);
    return 0;
  });
}

QVN_API int QVNNETgetslack(QVNCENVptr env, QVNNETptr net, double *slack, int begin, int end) {
  return solvedRange(env, net, slack, begin, end, true, "QVNNETgetslack", [&](NetProblem &n, int b, int e) -> int {
    EnvVector<double> flows, all(static_cast<size_t>(n.nodeCount));
    QVN_TRY(solvedFlows(&n, flows));
    nodeSlacks(n, flows.data(), all.data());
    for (int i = b; i <= e; ++i) slack[i - b] = all[i];
    return 0;
  });
}

QVN_API int QVNNETcopybase(QVNCENVptr env, QVNNETptr net, const int *arcStatus, const int *nodeStatus) {
  return guardedNet(env, net, [&](Environment *, NetProblem *n) -> int {
    if ((n->arcCount > 0 && !arcStatus) || (n->nodeCount > 0 && !nodeStatus)) return QVNERR_NULL_POINTER;
    for (int j = 0; j < n->arcCount; ++j)
      if (arcStatus[j] < 0 || arcStatus[j] > 3) return QVNERR_BAD_STATUS;
    for (int i = 0; i < n->nodeCount; ++i)
      if (nodeStatus[i] != 0 && nodeStatus[i] != 1) return QVNERR_BAD_STATUS;
    for (int j = 0; j < n->arcCount; ++j) n->arcs[j].status = arcStatus[j];
    for (int i = 0; i < n->nodeCount; ++i) n->nodes[i].mark = nodeStatus[i] ? kMarkArtificialBasic : kMarkArtificialOut;
    // The root comes from the basis: the first node whose artificial arc is basic.
    n->rootNode = -1;
    n->state = kNetBasis;
    return 0;
  });
}

QVN_API int QVNNETgetbase(QVNCENVptr env, QVNNETptr net, int *arcStatus, int *nodeStatus) {
  return guardedNet(env, net, [&](Environment *, NetProblem *n) -> int {
    if (n->state == kNetNoBasis) return QVNERR_NO_BASIS;
    for (int j = 0; arcStatus && j < n->arcCount; ++j) {
      const int s = n->arcs[j].status;
      arcStatus[j] = s == kArcFixed ? kArcLower : s;
    }
    for (int i = 0; nodeStatus && i < n->nodeCount; ++i)
      nodeStatus[i] = i == n->rootNode || n->nodes[i].mark == kMarkArtificialBasic ? 1 : 0;
    return 0;
  });
}

QVN_API int QVNNETsetcallbackfunc(QVNENVptr env, int (*callback)(QVNCENVptr, QVNNETptr, int, void *),
                                  void *handle) {
  return guarded(env, [&]() -> int {
    env->netParams->netCallback = reinterpret_cast<void *>(callback);
    env->netParams->netCallbackHandle = handle;
    return 0;
  });
}

QVN_API int QVNNETreadcopyprob(QVNCENVptr env, QVNNETptr net, const char *fileName) {
  return guardedNet(env, net, [&](Environment *e, NetProblem *n) -> int {
    if (!fileName) return QVNERR_NULL_POINTER;
    return readDimacsMin(e, n, fileName);
  });
}

QVN_API int QVNNETextract(QVNCENVptr env, QVNNETptr net, QVNCLPptr lp, int *columnMap, int *rowMap) {
  return guardedNet(env, net, [&](Environment *e, NetProblem *n) -> int {
    const int cols = QVNgetnumcols(e, lp), rows = QVNgetnumrows(e, lp);
    // The count first, so that no short-space probe reaches the error channel.
    const int room = std::max(0, QVNgetnumnz(e, lp));
    int surplus = 0, nz = 0;
    EnvVector<int> start(static_cast<size_t>(cols) + 1), index(static_cast<size_t>(room) + 1);
    EnvVector<double> value(static_cast<size_t>(room) + 1), obj(static_cast<size_t>(cols) + 1),
        lower(static_cast<size_t>(cols) + 1), upper(static_cast<size_t>(cols) + 1), rhs(static_cast<size_t>(rows) + 1);
    EnvVector<char> sense(static_cast<size_t>(rows) + 1);
    if (cols > 0) {
      QVN_TRY(QVNgetcols(e, lp, &nz, start.data(), index.data(), value.data(), room, &surplus, 0, cols - 1));
      QVN_TRY(QVNgetobj(e, lp, obj.data(), 0, cols - 1));
      QVN_TRY(QVNgetlb(e, lp, lower.data(), 0, cols - 1));
      QVN_TRY(QVNgetub(e, lp, upper.data(), 0, cols - 1));
    }
    if (rows > 0) {
      QVN_TRY(QVNgetrhs(e, lp, rhs.data(), 0, rows - 1));
      QVN_TRY(QVNgetsense(e, lp, sense.data(), 0, rows - 1));
    }
    start[cols] = nz;
    // Equality rows become nodes; one extra node, last, closes arcs with one end.
    EnvVector<int> node(static_cast<size_t>(rows) + 1, -1);
    int nodes = 0;
    for (int i = 0; i < rows; ++i)
      if (sense[i] == 'E') node[i] = nodes++;
    const int extra = nodes;
    EnvVector<int> from, to, arcOf(static_cast<size_t>(cols) + 1, -1);
    EnvVector<double> lo, up, cost;
    bool extraUsed = false;
    for (int j = 0; j < cols; ++j) {
      int tail = extra, head = extra, plus = 0, minus = 0;
      bool fits = true;
      for (int k = start[j]; k < start[j + 1] && fits; ++k) {
        const int i = index[k];
        if (node[i] < 0) fits = false;
        else if (value[k] == 1.0) tail = node[i], ++plus;
        else if (value[k] == -1.0) head = node[i], ++minus;
        else fits = false;
      }
      if (!fits || plus > 1 || minus > 1 || plus + minus == 0) continue;
      extraUsed |= plus + minus == 1;
      arcOf[j] = static_cast<int>(from.size());
      from.push_back(tail), to.push_back(head);
      lo.push_back(lower[j]), up.push_back(upper[j]), cost.push_back(obj[j]);
    }
    EnvVector<double> supply(static_cast<size_t>(nodes) + 1, 0.0);
    double total = 0.0;
    for (int i = 0; i < rows; ++i)
      if (node[i] >= 0) supply[node[i]] = rhs[i], total += rhs[i];
    supply[extra] = -total;
    const int nodeCount = nodes + (extraUsed ? 1 : 0);
    const int sense0 = QVNgetobjsen(e, lp);
    QVN_TRY(QVNNETcopynet(e, n, sense0 == -1 ? -1 : 1, nodeCount, supply.data(), nullptr,
                          static_cast<int>(from.size()), from.data(), to.data(), lo.data(), up.data(), cost.data(),
                          nullptr));
    for (int j = 0; columnMap && j < cols; ++j) columnMap[j] = arcOf[j];
    for (int i = 0; rowMap && i < rows; ++i) rowMap[i] = node[i];
    return 0;
  });
}

} // extern "C"
