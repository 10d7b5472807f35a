// What a MIP callback may read about the run, from the data block of its call.
//
// Every getter takes the wherefrom of the call it is made from: another one,
// or one that is not a MIP callback's, is error 1003; data the call does not
// have (a point in an informational call, say) is error 1006. Callbacks keep
// presolve off (mip_presolve.cpp), so the run's columns are the caller's and
// QVN_PARAM_MIPCBREDLP 0 and 1 read the same values.
#include <algorithm>
#include <cmath>

#include "mip/callback_data.h"
#include "mip/cuts/cut_pool.h"
#include "runtime/frame.h"
#include "runtime/progress_callback.h"
#include "simplex/lp_relaxation.h"

using namespace qvn;

namespace {

bool mipWherefrom(int wherefrom) {
  return wherefrom >= QVN_CALLBACK_MIP && wherefrom <= QVN_CALLBACK_MIP_BRANCH_NOSOLN &&
         wherefrom != QVN_CALLBACK_MIP_DELETENODE;
}

// The frame of every getter: the environment, the wherefrom, the data block.
template <class Body> int withData(QVNCENVptr env, void *cbdata, int wherefrom, Body &&body) {
  return guarded(env, [&]() -> int {
    if (!mipWherefrom(wherefrom)) return QVNERR_BAD_ARGUMENT;
    int status = 0;
    MipCallbackData *d = callbackDataOf(cbdata, wherefrom, &status);
    if (!d) return status;
    return body(*d);
  });
}

// The frame of the getters of a column range begin..end.
template <class Body>
int withRange(QVNCENVptr env, void *cbdata, int wherefrom, const void *out, int begin, int end, Body &&body) {
  return withData(env, cbdata, wherefrom, [&](MipCallbackData &d) -> int {
    if (!out) return QVNERR_NULL_POINTER;
    const int n = d.run->model->numCols;
    if (begin < 0 || end >= n || begin > end) return QVNERR_INDEX_RANGE;
    return body(d);
  });
}

int cutCount(const MipSearch &s, int family) { return s.cuts ? s.cuts->applied[family] : 0; }

// Node k of a call: with a node in hand 0 is that node and k >= 1 the
// store's k-1th; without one the store's kth. Null when out of range.
const NodeRecord *nodeAt(const MipCallbackData &d, int k) {
  const NodeStore &store = d.run->search->store;
  if (d.node) {
    if (k == 0) return d.node;
    --k;
  }
  if (k < 0 || k >= static_cast<int>(store.heap[0].size())) return nullptr;
  return store.heap[0][static_cast<size_t>(k)];
}

const NodeRecord *nodeBySequence(const MipCallbackData &d, int sequence) {
  if (d.node && d.node->sequence == sequence) return d.node;
  for (const NodeRecord *n : d.run->search->store.heap[0])
    if (n->sequence == sequence) return n;
  return nullptr;
}

int nodeFact(const MipCallbackData &d, const NodeRecord &node, int whichinfo, void *result) {
  const MipRun &run = *d.run;
  auto *i = static_cast<int *>(result);
  auto *v = static_cast<double *>(result);
  const bool variableBranch = node.branchVar >= 0 && (node.direction == 'U' || node.direction == 'D');
  switch (whichinfo) {
  case QVN_CALLBACK_INFO_NODE_SIINF: *v = node.sumInf; return 0;
  case QVN_CALLBACK_INFO_NODE_NIINF: *i = node.iinf; return 0;
  case QVN_CALLBACK_INFO_NODE_ESTIMATE: *v = userBound(run, node.objective + std::min(node.estimate, 1e37)); return 0;
  case QVN_CALLBACK_INFO_NODE_DEPTH: *i = node.depth; return 0;
  case QVN_CALLBACK_INFO_NODE_OBJVAL: *v = userBound(run, node.objective); return 0;
  case QVN_CALLBACK_INFO_NODE_TYPE: {
    char type = node.direction == 'A' ? 'A' : 'X';
    if (variableBranch) type = '0';
    if (node.branchSet >= 0 && run.sos) type = run.sos->type[node.branchSet];
    *static_cast<char *>(result) = type;
    return 0;
  }
  case QVN_CALLBACK_INFO_NODE_VAR: *i = variableBranch ? node.branchVar : -1; return 0;
  case QVN_CALLBACK_INFO_NODE_SOS: *i = node.branchSet; return 0;
  case QVN_CALLBACK_INFO_NODE_SEQNUM: *i = node.sequence; return 0;
  case QVN_CALLBACK_INFO_NODE_NODENUM: *i = node.nodeId; return 0;
  case QVN_CALLBACK_INFO_NODE_USERHANDLE: {
    const EnvVector<void *> &h = run.search->nodeHandles;
    *static_cast<void **>(result) =
        node.nodeId >= 0 && node.nodeId < static_cast<int>(h.size()) ? h[static_cast<size_t>(node.nodeId)] : nullptr;
    return 0;
  }
  default: return QVNERR_BAD_ARGUMENT;
  }
}

// Column bounds of the node in hand, as the node LP holds them.
int nodeBounds(MipCallbackData &d, double *out, int begin, int end, bool upper) {
  if (!d.inHand) return QVNERR_CALLBACK;
  const LpRelaxation &r = *d.run->search->nodeLp;
  for (int j = begin; j <= end; ++j) {
    double lo = 0.0, up = 0.0;
    relaxGetBounds(r, j, &lo, &up);
    const double v = upper ? up : lo;
    out[j - begin] = v >= 1e20 ? 1e20 : v <= -1e20 ? -1e20 : v;
  }
  return 0;
}

double clampInfinite(double v) { return v >= 1e20 ? 1e20 : v <= -1e20 ? -1e20 : v; }

} // namespace

extern "C" {

QVN_API int QVNgetcallbackinfo(QVNCENVptr env, void *cbdata, int wherefrom, int whichinfo, void *result_p) {
  // The continuous optimizers' progress reports have records of their own.
  if (wherefrom >= QVN_CALLBACK_PRIMAL && wherefrom <= QVN_CALLBACK_QPSIMPLEX)
    return guarded(env, [&]() -> int { return progressInfo(cbdata, wherefrom, whichinfo, result_p); });
  return withData(env, cbdata, wherefrom, [&](MipCallbackData &d) -> int {
    if (!result_p) return QVNERR_NULL_POINTER;
    const MipRun &run = *d.run;
    const MipSearch &s = *run.search;
    auto *i = static_cast<int *>(result_p);
    auto *v = static_cast<double *>(result_p);
    switch (whichinfo) {
    case QVN_CALLBACK_INFO_NODE_ITCNT: *i = static_cast<int>(std::min(s.iterationTotal, 2.1e9)); return 0;
    case 101: *v = s.incumbent.exists ? userValue(run, s.incumbent.objective) : run.sense * 1e75; return 0;
    case 102: *v = userBound(run, currentBestBound(run, d.node)); return 0;
    case 103: *i = static_cast<int>(s.nodeCount); return 0;
    case 104: *i = storeCount(s.store) + (d.node ? 1 : 0); return 0;
    case 105: *i = static_cast<int>(std::min(s.iterationTotal, 2.1e9)); return 0;
    case 106: *v = userBound(run, s.cutoff); return 0;
    case 107: *i = cutCount(s, kCutClique); return 0;
    case 108: *i = cutCount(s, kCutCover); return 0;
    case 109: *i = s.incumbent.exists ? 1 : 0; return 0;
    case 110: *i = cutCount(s, kCutFlow); return 0;
    case 111: *i = cutCount(s, kCutGub); return 0;
    case 112: *i = cutCount(s, kCutImplBd); return 0;
    // The phase and share of a root pass in its own call; once the tree
    // runs every pass is over.
    case 113: *i = d.wherefrom == QVN_CALLBACK_MIP_PROBE ? d.passPhase : 1; return 0;
    case 115: *i = cutCount(s, kCutFract); return 0;
    case 117: *i = cutCount(s, kCutDisj); return 0;
    case 119: *i = cutCount(s, kCutFlowPath); return 0;
    case 120: *i = cutCount(s, kCutMir); return 0;
    case 114: *v = d.wherefrom == QVN_CALLBACK_MIP_PROBE ? d.passDone : 1.0; return 0;
    case 116: *v = d.wherefrom == QVN_CALLBACK_MIP_FRACCUT ? d.passDone : 1.0; return 0;
    case 118: *v = d.wherefrom == QVN_CALLBACK_MIP_DISJCUT ? d.passDone : 1.0; return 0;
    case 121: *v = d.wherefrom == QVN_CALLBACK_MIP_FLOWMIR ? d.passDone : 1.0; return 0;
    case 122: *i = 0; return 0;
    case 123: *i = 1; return 0;
    default: return QVNERR_BAD_ARGUMENT;
    }
  });
}

QVN_API int QVNgetcallbacknodeinfo(QVNCENVptr env, void *cbdata, int wherefrom, int nodeindex, int whichinfo,
                                   void *result_p) {
  return withData(env, cbdata, wherefrom, [&](MipCallbackData &d) -> int {
    if (!result_p) return QVNERR_NULL_POINTER;
    const NodeRecord *node = nodeAt(d, nodeindex);
    if (!node) return QVNERR_INDEX_RANGE;
    return nodeFact(d, *node, whichinfo, result_p);
  });
}

QVN_API int QVNgetcallbackseqinfo(QVNCENVptr env, void *cbdata, int wherefrom, int seqid, int whichinfo,
                                  void *result_p) {
  return withData(env, cbdata, wherefrom, [&](MipCallbackData &d) -> int {
    if (!result_p) return QVNERR_NULL_POINTER;
    const NodeRecord *node = nodeBySequence(d, seqid);
    if (!node) return QVNERR_INDEX_RANGE;
    return nodeFact(d, *node, whichinfo, result_p);
  });
}

QVN_API int QVNgetcallbacksosinfo(QVNCENVptr env, void *cbdata, int wherefrom, int sosindex, int member,
                                  int whichinfo, void *result_p) {
  return withData(env, cbdata, wherefrom, [&](MipCallbackData &d) -> int {
    if (!result_p) return QVNERR_NULL_POINTER;
    const SosData *sos = d.run->sos;
    if (!sos) return QVNERR_CALLBACK;
    if (sosindex < 0 || sosindex >= sos->count) return QVNERR_INDEX_RANGE;
    const int begin = sos->start[sosindex], size = sos->start[sosindex + 1] - begin;
    switch (whichinfo) {
    case QVN_CALLBACK_INFO_SOS_TYPE: *static_cast<char *>(result_p) = sos->type[sosindex]; return 0;
    case QVN_CALLBACK_INFO_SOS_SIZE: *static_cast<int *>(result_p) = size; return 0;
    case QVN_CALLBACK_INFO_SOS_IS_FEASIBLE: {
      if (!d.x) return QVNERR_CALLBACK;
      // Nonzero members: at most one, or two adjacent ones for an SOS2.
      int first = -1, last = -1, count = 0;
      for (int k = 0; k < size; ++k)
        if (std::fabs(d.x[sos->member[begin + k]]) > d.run->control.epint) {
          if (first < 0) first = k;
          last = k;
          ++count;
        }
      const bool ok = count <= 1 || (sos->type[sosindex] == '2' && count == 2 && last == first + 1);
      *static_cast<int *>(result_p) = ok ? 1 : 0;
      return 0;
    }
    case QVN_CALLBACK_INFO_SOS_MEMBER_INDEX:
    case QVN_CALLBACK_INFO_SOS_MEMBER_REFVAL:
      if (member < 0 || member >= size) return QVNERR_INDEX_RANGE;
      if (whichinfo == QVN_CALLBACK_INFO_SOS_MEMBER_INDEX)
        *static_cast<int *>(result_p) = sos->member[begin + member];
      else
        *static_cast<double *>(result_p) = sos->weight[begin + member];
      return 0;
    default: return QVNERR_BAD_ARGUMENT;
    }
  });
}

QVN_API int QVNgetcallbackindicatorinfo(QVNCENVptr env, void *cbdata, int wherefrom, int iindex, int whichinfo,
                                        void *result_p) {
  (void)iindex, (void)whichinfo;
  return withData(env, cbdata, wherefrom, [&](MipCallbackData &) -> int {
    if (!result_p) return QVNERR_NULL_POINTER;
    return QVNERR_CALLBACK;
  });
}

QVN_API int QVNgetcallbacknodelp(QVNCENVptr env, void *cbdata, int wherefrom, QVNLPptr *nodelp_p) {
  return withData(env, cbdata, wherefrom, [&](MipCallbackData &d) -> int {
    if (!nodelp_p) return QVNERR_NULL_POINTER;
    *nodelp_p = nullptr;
    if (!d.inHand) return QVNERR_CALLBACK;
    if (!d.nodeLpCopy) QVN_TRY(copyNodeLp(*d.run, &d.nodeLpCopy));
    *nodelp_p = d.nodeLpCopy;
    return 0;
  });
}

QVN_API int QVNgetcallbacklp(QVNCENVptr env, void *cbdata, int wherefrom, QVNCLPptr *lp_p) {
  return withData(env, cbdata, wherefrom, [&](MipCallbackData &d) -> int {
    if (!lp_p) return QVNERR_NULL_POINTER;
    *lp_p = d.run->lp;
    return 0;
  });
}

QVN_API int QVNgetcallbacknodeobjval(QVNCENVptr env, void *cbdata, int wherefrom, double *objval_p) {
  return withData(env, cbdata, wherefrom, [&](MipCallbackData &d) -> int {
    if (!objval_p) return QVNERR_NULL_POINTER;
    if (!d.hasObjective) return QVNERR_CALLBACK;
    *objval_p = userValue(*d.run, d.objective);
    return 0;
  });
}

QVN_API int QVNgetcallbacknodex(QVNCENVptr env, void *cbdata, int wherefrom, double *x, int begin, int end) {
  return withRange(env, cbdata, wherefrom, x, begin, end, [&](MipCallbackData &d) -> int {
    if (!d.x) return QVNERR_CALLBACK;
    for (int j = begin; j <= end; ++j) x[j - begin] = d.x[j];
    return 0;
  });
}

QVN_API int QVNgetcallbackctype(QVNCENVptr env, void *cbdata, int wherefrom, char *xctype, int begin, int end) {
  return withRange(env, cbdata, wherefrom, xctype, begin, end, [&](MipCallbackData &d) -> int {
    const LpData &m = *d.run->model;
    for (int j = begin; j <= end; ++j) xctype[j - begin] = m.ctype.empty() ? 'C' : m.ctype[j];
    return 0;
  });
}

QVN_API int QVNgetcallbackorder(QVNCENVptr env, void *cbdata, int wherefrom, int *priority, int *direction,
                                int begin, int end) {
  return withRange(env, cbdata, wherefrom, priority ? static_cast<void *>(priority) : direction, begin, end,
                   [&](MipCallbackData &d) -> int {
                     const MipRun &run = *d.run;
                     for (int j = begin; j <= end; ++j) {
                       if (priority) priority[j - begin] = run.priority.empty() ? -1 : run.priority[j];
                       if (direction) direction[j - begin] = run.orderDirection.empty() ? 0 : run.orderDirection[j];
                     }
                     return 0;
                   });
}

QVN_API int QVNgetcallbackpseudocosts(QVNCENVptr env, void *cbdata, int wherefrom, double *uppc, double *downpc,
                                      int begin, int end) {
  return withRange(env, cbdata, wherefrom, uppc ? static_cast<void *>(uppc) : downpc, begin, end,
                   [&](MipCallbackData &d) -> int {
                     const PseudoCostTable &t = d.run->search->pseudo;
                     if (t.upCost.size() < static_cast<size_t>(end) + 1) return QVNERR_CALLBACK;
                     for (int j = begin; j <= end; ++j) {
                       if (uppc) uppc[j - begin] = t.upCost[j];
                       if (downpc) downpc[j - begin] = t.downCost[j];
                     }
                     return 0;
                   });
}

QVN_API int QVNgetcallbackincumbent(QVNCENVptr env, void *cbdata, int wherefrom, double *x, int begin, int end) {
  return withRange(env, cbdata, wherefrom, x, begin, end, [&](MipCallbackData &d) -> int {
    const IncumbentStore &inc = d.run->search->incumbent;
    if (!inc.exists) return QVNERR_CALLBACK;
    for (int j = begin; j <= end; ++j) x[j - begin] = inc.x[j];
    return 0;
  });
}

QVN_API int QVNgetcallbacknodeintfeas(QVNCENVptr env, void *cbdata, int wherefrom, int *feas, int begin, int end) {
  return withRange(env, cbdata, wherefrom, feas, begin, end, [&](MipCallbackData &d) -> int {
    if (!d.x) return QVNERR_CALLBACK;
    const MipSearch &s = *d.run->search;
    const double tol = d.run->control.epint;
    for (int j = begin; j <= end; ++j) {
      const ColKind k = s.kind[j];
      const double v = d.x[j];
      int state = QVN_CONTINUOUS_VAR;
      if (k == ColKind::kInteger || k == ColKind::kSemiInteger) {
        const double dist = std::fabs(v - std::round(v));
        state = dist <= tol ? QVN_INTEGER_FEASIBLE : QVN_INTEGER_INFEASIBLE;
      }
      if (k == ColKind::kSemiContinuous || k == ColKind::kSemiInteger)
        if (v > tol && v < s.semiLower[j] - tol) state = QVN_INTEGER_INFEASIBLE;
      feas[j - begin] = state;
    }
    return 0;
  });
}

QVN_API int QVNgetcallbackgloballb(QVNCENVptr env, void *cbdata, int wherefrom, double *lb, int begin, int end) {
  return withRange(env, cbdata, wherefrom, lb, begin, end, [&](MipCallbackData &d) -> int {
    for (int j = begin; j <= end; ++j) lb[j - begin] = clampInfinite(d.run->search->rootLower[j]);
    return 0;
  });
}

QVN_API int QVNgetcallbackglobalub(QVNCENVptr env, void *cbdata, int wherefrom, double *ub, int begin, int end) {
  return withRange(env, cbdata, wherefrom, ub, begin, end, [&](MipCallbackData &d) -> int {
    for (int j = begin; j <= end; ++j) ub[j - begin] = clampInfinite(d.run->search->rootUpper[j]);
    return 0;
  });
}

QVN_API int QVNgetcallbacknodelb(QVNCENVptr env, void *cbdata, int wherefrom, double *lb, int begin, int end) {
  return withRange(env, cbdata, wherefrom, lb, begin, end,
                   [&](MipCallbackData &d) -> int { return nodeBounds(d, lb, begin, end, false); });
}

QVN_API int QVNgetcallbacknodeub(QVNCENVptr env, void *cbdata, int wherefrom, double *ub, int begin, int end) {
  return withRange(env, cbdata, wherefrom, ub, begin, end,
                   [&](MipCallbackData &d) -> int { return nodeBounds(d, ub, begin, end, true); });
}

QVN_API int QVNgetcallbacknodestat(QVNCENVptr env, void *cbdata, int wherefrom, int *nodestat_p) {
  return withData(env, cbdata, wherefrom, [&](MipCallbackData &d) -> int {
    if (!nodestat_p) return QVNERR_NULL_POINTER;
    if (!d.inHand) return QVNERR_CALLBACK;
    *nodestat_p = d.nodeStatus;
    return 0;
  });
}

QVN_API int QVNgetcallbackbranchconstraints(QVNCENVptr env, void *cbdata, int wherefrom, int which_branch,
                                            int *cuts_p, int *nzcnt_p, double *rhs, char *sense, int *rmatbeg,
                                            int *rmatind, double *rmatval, int rmatsz, int *surplus_p) {
  (void)rhs, (void)sense, (void)rmatbeg, (void)rmatind, (void)rmatval;
  return withData(env, cbdata, wherefrom, [&](MipCallbackData &d) -> int {
    if (wherefrom != QVN_CALLBACK_MIP_BRANCH && wherefrom != QVN_CALLBACK_MIP_BRANCH_NOSOLN)
      return QVNERR_BAD_ARGUMENT;
    if (which_branch < 0 || which_branch >= d.builtInChildren) return QVNERR_INDEX_RANGE;
    if (rmatsz < 0) return QVNERR_NEGATIVE_SURPLUS;
    // The built-in children change bounds only.
    if (cuts_p) *cuts_p = 0;
    if (nzcnt_p) *nzcnt_p = 0;
    if (surplus_p) *surplus_p = rmatsz;
    return 0;
  });
}

} // extern "C"
