// Branch callbacks (wherefrom 102 and 113): the built-in branching shown to
// the callback, and the children it makes in its place.
#include <algorithm>
#include <cmath>

#include "mip/callback_data.h"
#include "mip/cuts/cut_pool.h"
#include "mip/debug_solution.h"
#include "model/datacheck.h"
#include "runtime/frame.h"
#include "simplex/lp_relaxation.h"

namespace qvn {

namespace {

// The built-in children as bound lists, in the arguments' form.
struct BranchArgs {
  char type = 'X';
  int set = -1;
  EnvVector<int> begin, index;
  EnvVector<char> lu;
  EnvVector<double> bound, estimate;
};

void describeVariableBranch(const MipRun &run, const BuiltInBranch &choice, BranchArgs &a) {
  const MipSearch &s = *run.search;
  a.type = '0';
  for (int k = 0; k < 2; ++k) {
    const BranchRecord &r = choice.rec[k];
    const int j = r.variable;
    const double down = std::floor(r.branchValue + 1e-10);
    // As the built-in children: a semi-continuous column inside its gap is
    // either off or at least its semi-continuous bound.
    const bool semi = s.kind[j] != ColKind::kInteger && r.branchValue < s.semiLower[j] - run.control.epint;
    a.begin.push_back(static_cast<int>(a.index.size()));
    a.index.push_back(j);
    if (r.direction == 'U') {
      a.lu.push_back('L');
      a.bound.push_back(semi ? s.semiLower[j] : down + 1.0);
    } else {
      a.lu.push_back('U');
      a.bound.push_back(semi ? 0.0 : down);
    }
    a.estimate.push_back(userValue(run, choice.objective + r.estimate));
  }
}

void describeSetBranch(const MipRun &run, const BuiltInBranch &choice, BranchArgs &a) {
  const SosData &sos = *run.sos;
  const SosCandidate &c = *choice.set;
  const int begin = sos.start[c.set], end = sos.start[c.set + 1];
  a.type = sos.type[c.set];
  a.set = c.set;
  for (int k = 0; k < 2; ++k) {
    const bool down = k == 0;
    const int from = down ? c.split + 1 : begin;
    const int to = down ? end : (sos.type[c.set] == '2' ? c.split : c.split + 1);
    a.begin.push_back(static_cast<int>(a.index.size()));
    for (int p = from; p < to; ++p) {
      a.index.push_back(sos.member[p]);
      a.lu.push_back('B');
      a.bound.push_back(0.0);
    }
    a.estimate.push_back(userValue(run, choice.objective));
  }
}

// The callback's children go to the store. A child whose bounds cross, or
// whose bound reaches the cutoff, is not made, and the delete-node callback
// hears of it.
void makeCallbackChildren(MipRun &run, NodeRecord &parent, const BuiltInBranch &choice, const MipCallbackData &d) {
  MipSearch &s = *run.search;
  SharedBasis *basis = nullptr;
  // The children hold the basis; one taken for children that were not made goes.
  struct Release {
    SharedBasis *&b;
    ~Release() {
      if (b && b->holders == 0) envDelete(b);
    }
  } release{basis};
  const double bound = std::max(choice.objective, parent.bound);
  // A known solution the node holds must be held by one of the children.
  const double *known = run.debug ? run.debug->x.data() : nullptr;
  const bool debugHeld = known && debugSolutionInside(*run.debug, run.nodeLower.data(), run.nodeUpper.data()) &&
                         localRowsHold(s, parent.localRows, known);
  bool debugKept = false;
  for (const CallbackChild &c : d.children) {
    NodeRecord *child = newNode();
    child->nodeId = static_cast<int>(s.nodeHandles.size());
    child->sequence = c.sequence;
    try {
      s.nodeHandles.push_back(c.handle);
      child->changes.assign(parent.changes.begin(), parent.changes.end());
    } catch (...) {
      freeNode(child);
      throw;
    }
    bool empty = false;
    for (int k = c.boundStart; k < c.boundStart + c.boundCount; ++k) {
      const int j = d.childCol[k];
      // Later entries of one column override earlier ones, as on the path.
      double lo = run.nodeLower[j], up = run.nodeUpper[j];
      for (size_t p = parent.changes.size(); p < child->changes.size(); ++p)
        if (child->changes[p].col == j) lo = child->changes[p].lower, up = child->changes[p].upper;
      const char which = d.childLu[k];
      if (which == 'L' || which == 'B') lo = d.childBound[k];
      if (which == 'U' || which == 'B') up = d.childBound[k];
      if (lo > up) empty = true;
      child->changes.push_back(BoundChange{j, lo, up});
    }
    if (c.rowCount > 0 || !parent.localRows.empty()) {
      try {
        child->localRows.assign(parent.localRows.begin(), parent.localRows.end());
        for (int k = c.rowStart; k < c.rowStart + c.rowCount; ++k) {
          const CallbackCut &r = d.cuts[k];
          child->localRows.push_back(
              appendLocalRow(s, r.sense, r.rhs, r.count, d.index.data() + r.start, d.value.data() + r.start));
        }
      } catch (...) {
        freeNode(child);
        throw;
      }
      child->rowCount = c.rowCount;
    }
    if (debugHeld && !empty && !debugKept) {
      bool inside = localRowsHold(s, child->localRows, known);
      for (size_t p = parent.changes.size(); p < child->changes.size() && inside; ++p) {
        const BoundChange &b = child->changes[p];
        inside = known[b.col] >= b.lower - 1e-6 && known[b.col] <= b.upper + 1e-6;
      }
      debugKept = inside;
    }
    child->objective = choice.objective;
    child->bound = bound;
    const double wanted = run.sense * c.estimate;
    const bool finite = std::isfinite(wanted) && std::fabs(wanted) < 1e37;
    child->estimate = finite ? std::max(0.0, wanted - choice.objective) : 1e37;
    child->sumInf = choice.sumInf;
    child->iinf = choice.iinf;
    child->direction = c.rowCount > 0 ? 'A' : 'X';
    child->depth = parent.depth + 1;
    child->parentSequence = parent.sequence;
    if (empty || child->bound >= s.cutoff) {
      reportDroppedNode(run, *child);
      freeNode(child);
      continue;
    }
    if (!basis && relaxNumRows(*s.nodeLp) > 0 && !choice.noSolution) basis = snapshotBasis(run);
    child->basis = basis;
    holdBasis(basis);
    if (basis) basis->dualFeasible = !choice.noSolution;
    try {
      storePush(s.store, child);
    } catch (...) {
      freeNode(child);
      throw;
    }
  }
  if (debugHeld && !debugKept) debugCheckBound(run.env, *run.debug, kTreeInfinity, "a branch callback's children");
}

// The rows of a child, in the arguments' form.
struct ChildRows {
  int count = 0, nonzeros = 0;
  const double *rhs = nullptr;
  const char *sense = nullptr;
  const int *begin = nullptr, *index = nullptr;
  const double *value = nullptr;
};

int checkChildRows(const MipCallbackData &d, const ChildRows &r) {
  if (r.count < 0 || r.nonzeros < 0) return QVNERR_COUNT_RANGE;
  if (r.count == 0) return 0;
  if (!r.rhs || !r.sense || !r.begin || (r.nonzeros > 0 && (!r.index || !r.value))) return QVNERR_NULL_POINTER;
  for (int k = 0; k < r.count; ++k) {
    if (r.sense[k] != 'L' && r.sense[k] != 'G' && r.sense[k] != 'E') return QVNERR_BAD_SENSE;
    if (!std::isfinite(r.rhs[k])) return QVNERR_NAN;
  }
  return checkStartMatrix(d.run->env, r.count, r.begin, r.nonzeros, r.index, d.run->model->numCols,
                          QVNERR_COL_INDEX_RANGE, r.value, true);
}

// Tests the bound changes and rows of a child and appends them to the block.
int addChild(MipCallbackData &d, int cnt, const int *indices, const char *lu, const double *bd, const ChildRows &rows,
             double nodeest, void *userhandle, int *seqnum_p) {
  if (cnt < 0) return QVNERR_COUNT_RANGE;
  if (cnt > 0 && (!indices || !lu || !bd)) return QVNERR_NULL_POINTER;
  const int n = d.run->model->numCols;
  for (int k = 0; k < cnt; ++k) {
    if (indices[k] < 0 || indices[k] >= n) return QVNERR_COL_INDEX_RANGE;
    if (lu[k] != 'L' && lu[k] != 'U' && lu[k] != 'B') return QVNERR_BAD_LUB;
    if (std::isnan(bd[k])) return QVNERR_NAN;
  }
  if (std::isnan(nodeest)) return QVNERR_NAN;
  QVN_TRY(checkChildRows(d, rows));
  MipSearch &s = *d.run->search;
  const int sequence = s.nodesMade;
  d.children.push_back(CallbackChild{static_cast<int>(d.childCol.size()), cnt, static_cast<int>(d.cuts.size()),
                                     rows.count, nodeest, userhandle, sequence});
  for (int k = 0; k < cnt; ++k) {
    d.childCol.push_back(indices[k]);
    d.childLu.push_back(lu[k]);
    // Beyond 1e20 a bound is infinite, as everywhere in the model.
    d.childBound.push_back(bd[k] >= 1e20 ? kInfinity : bd[k] <= -1e20 ? -kInfinity : bd[k]);
  }
  for (int r = 0; r < rows.count; ++r) {
    const int from = rows.begin[r], to = r + 1 < rows.count ? rows.begin[r + 1] : rows.nonzeros;
    d.cuts.push_back(CallbackCut{rows.sense[r], rows.rhs[r], static_cast<int>(d.index.size()), to - from, true});
    d.index.insert(d.index.end(), rows.index + from, rows.index + to);
    d.value.insert(d.value.end(), rows.value + from, rows.value + to);
  }
  ++s.nodesMade;
  if (seqnum_p) *seqnum_p = sequence;
  return 0;
}

bool branchWherefrom(int wherefrom) {
  return wherefrom == QVN_CALLBACK_MIP_BRANCH || wherefrom == QVN_CALLBACK_MIP_BRANCH_NOSOLN;
}

} // namespace

int callBranchCallback(MipRun &run, NodeRecord &current, const BuiltInBranch &choice, NodeRecord **next,
                       bool *branched, bool *sosBranch) {
  const MipCallbackKind kind = choice.noSolution ? kBranchNoSolnCallback : kBranchCallback;
  const CallbackSlot &slot = run.env->mipCallbacks[kind];
  if (!slot.function || run.callbackStop != 0 || (!choice.rec && !choice.set)) return 0;
  const int wherefrom = choice.noSolution ? QVN_CALLBACK_MIP_BRANCH_NOSOLN : QVN_CALLBACK_MIP_BRANCH;
  BranchArgs a;
  if (choice.rec)
    describeVariableBranch(run, choice, a);
  else
    describeSetBranch(run, choice, a);
  a.begin.push_back(static_cast<int>(a.index.size()));
  MipCallbackData d;
  d.run = &run;
  d.wherefrom = wherefrom;
  d.node = &current;
  d.inHand = true;
  if (!choice.noSolution) {
    d.x = relaxPrimal(*run.search->nodeLp);
    d.hasObjective = true;
    d.objective = choice.objective;
    d.nodeStatus = QVN_STAT_OPTIMAL;
  }
  d.builtInChildren = 2;
  int action = QVN_CALLBACK_DEFAULT;
  const auto f = reinterpret_cast<QVNbranchcallbackfunc>(slot.function);
  int returned = f(run.env, &d, wherefrom, slot.handle, a.type, a.set, 2, static_cast<int>(a.index.size()),
                   a.begin.data(), a.index.data(), a.lu.data(), a.bound.data(), a.estimate.data(), &action);
  int stop = returned == 0 ? 0 : returned >= 1000 ? returned : 113;
  if (stop == 0 && action == QVN_CALLBACK_FAIL) stop = 113;
  if (stop == 0 && action != QVN_CALLBACK_DEFAULT && action != QVN_CALLBACK_SET) stop = QVNERR_CALLBACK;
  if (stop != 0) {
    // The built-in children keep the tree whole for a resumed run.
    if (run.callbackStop == 0) run.callbackStop = stop;
    return 0;
  }
  if (action != QVN_CALLBACK_SET) return 0;
  makeCallbackChildren(run, current, choice, d);
  *next = nullptr;
  *branched = *sosBranch = false;
  return 0;
}

} // namespace qvn

using namespace qvn;

extern "C" {

QVN_API int QVNbranchcallbackbranchbds(QVNCENVptr env, void *cbdata, int wherefrom, int cnt, const int *indices,
                                       const char *lu, const double *bd, double nodeest, void *userhandle,
                                       int *seqnum_p) {
  return guarded(env, [&]() -> int {
    if (!branchWherefrom(wherefrom)) return QVNERR_BAD_ARGUMENT;
    int status = 0;
    MipCallbackData *d = callbackDataOf(cbdata, wherefrom, &status);
    if (!d) return status;
    return addChild(*d, cnt, indices, lu, bd, ChildRows{}, nodeest, userhandle, seqnum_p);
  });
}

QVN_API int QVNbranchcallbackbranchgeneral(QVNCENVptr env, void *cbdata, int wherefrom, int varcnt,
                                           const int *varind, const char *varlu, const double *varbd, int rcnt,
                                           int nzcnt, const double *rhs, const char *sense, const int *rmatbeg,
                                           const int *rmatind, const double *rmatval, double nodeest,
                                           void *userhandle, int *seqnum_p) {
  return guarded(env, [&]() -> int {
    if (!branchWherefrom(wherefrom)) return QVNERR_BAD_ARGUMENT;
    int status = 0;
    MipCallbackData *d = callbackDataOf(cbdata, wherefrom, &status);
    if (!d) return status;
    const ChildRows rows{rcnt, nzcnt, rhs, sense, rmatbeg, rmatind, rmatval};
    return addChild(*d, varcnt, varind, varlu, varbd, rows, nodeest, userhandle, seqnum_p);
  });
}

QVN_API int QVNbranchcallbackbranchconstraints(QVNCENVptr env, void *cbdata, int wherefrom, int rcnt, int nzcnt,
                                               const double *rhs, const char *sense, const int *rmatbeg,
                                               const int *rmatind, const double *rmatval, double nodeest,
                                               void *userhandle, int *seqnum_p) {
  return QVNbranchcallbackbranchgeneral(env, cbdata, wherefrom, 0, nullptr, nullptr, nullptr, rcnt, nzcnt, rhs,
                                        sense, rmatbeg, rmatind, rmatval, nodeest, userhandle, seqnum_p);
}

} // extern "C"
