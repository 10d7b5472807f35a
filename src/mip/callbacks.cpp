// MIP callbacks: registration on the Environment and the calls the run makes,
// one function per kind. The getters a callback may call are in
// callback_getters.cpp, the children a branch callback makes in
// callback_branch.cpp.
#include "mip/callbacks.h"

#include <algorithm>
#include <cmath>

#include "mip/callback_data.h"
#include "mip/cuts/cut_pool.h"
#include "runtime/frame.h"
#include "simplex/engine.h"
#include "simplex/lp_relaxation.h"

namespace qvn {

MipCallbackData::~MipCallbackData() {
  magic = 0;
  if (nodeLpCopy) QVNfreeprob(run->env, &nodeLpCopy);
}

MipCallbackData *callbackDataOf(void *cbdata, int wherefrom, int *status) {
  auto *d = static_cast<MipCallbackData *>(cbdata);
  if (!d || d->magic != kCallbackMagic || !d->run) {
    *status = QVNERR_CALLBACK;
    return nullptr;
  }
  if (d->wherefrom != wherefrom) {
    *status = QVNERR_BAD_ARGUMENT;
    return nullptr;
  }
  *status = 0;
  return d;
}

double userBound(const MipRun &run, double v) {
  if (std::fabs(v) >= 1e74) return run.sense * (v > 0 ? 1e75 : -1e75);
  return userValue(run, v);
}

namespace {

// A callback's return value as the run's stop: none, aborted, or a failure.
int stopFor(int returned) {
  if (returned == 0) return 0;
  return returned >= 1000 ? returned : 113;
}

// The stop a callback's return value and use flag ask for, kept for the
// loop's limits test; QVNERR_CALLBACK for a use flag it does not know.
// True when the run goes on.
bool keepStop(MipRun &run, int returned, int action) {
  int stop = stopFor(returned);
  if (stop == 0 && action == QVN_CALLBACK_FAIL) stop = 113;
  if (stop == 0 && action != QVN_CALLBACK_DEFAULT && action != QVN_CALLBACK_SET) stop = QVNERR_CALLBACK;
  if (stop != 0 && run.callbackStop == 0) run.callbackStop = stop;
  return stop == 0;
}

// Cuts for the whole tree go in for good; local ones join the rows of the
// node's subtree, which its children inherit.
int installCallbackCuts(MipRun &run, NodeRecord *current, MipCallbackData &d, int *added) {
  *added = 0;
  if (d.cuts.empty()) return 0;
  EnvVector<char> sense;
  EnvVector<double> rhs;
  EnvVector<int> start, index;
  EnvVector<double> value;
  start.push_back(0);
  for (const CallbackCut &c : d.cuts) {
    if (c.local) {
      if (!current) continue;
      current->localRows.push_back(
          appendLocalRow(*run.search, c.sense, c.rhs, c.count, d.index.data() + c.start, d.value.data() + c.start));
      ++current->rowCount;
      ++*added;
      continue;
    }
    sense.push_back(c.sense);
    rhs.push_back(c.rhs);
    index.insert(index.end(), d.index.begin() + c.start, d.index.begin() + c.start + c.count);
    value.insert(value.end(), d.value.begin() + c.start, d.value.begin() + c.start + c.count);
    start.push_back(static_cast<int>(index.size()));
  }
  int global = 0;
  QVN_TRY(addTreeRows(run, kCutUser, static_cast<int>(sense.size()), sense.data(), rhs.data(), start.data(),
                      index.data(), value.data(), &global));
  *added += global;
  return current ? installLocalRows(run, current->localRows) : 0;
}

// A cut from a cut callback, tested, into the block.
int collectCut(QVNCENVptr env, void *cbdata, int wherefrom, int nzcnt, double rhs, int sense, const int *cutind,
               const double *cutval, bool local) {
  return guarded(env, [&]() -> int {
    if (wherefrom != QVN_CALLBACK_MIP_CUT) return QVNERR_BAD_ARGUMENT;
    int status = 0;
    MipCallbackData *d = callbackDataOf(cbdata, wherefrom, &status);
    if (!d) return status;
    if (nzcnt < 0) return QVNERR_COUNT_RANGE;
    if (nzcnt > 0 && (!cutind || !cutval)) return QVNERR_NULL_POINTER;
    if (sense != 'L' && sense != 'G' && sense != 'E') return QVNERR_BAD_SENSE;
    if (!std::isfinite(rhs)) return QVNERR_NAN;
    const int n = d->run->model->numCols;
    for (int k = 0; k < nzcnt; ++k) {
      if (cutind[k] < 0 || cutind[k] >= n) return QVNERR_COL_INDEX_RANGE;
      if (!std::isfinite(cutval[k])) return QVNERR_NAN;
    }
    d->cuts.push_back(CallbackCut{static_cast<char>(sense), rhs, static_cast<int>(d->index.size()), nzcnt, local});
    d->index.insert(d->index.end(), cutind, cutind + nzcnt);
    d->value.insert(d->value.end(), cutval, cutval + nzcnt);
    return 0;
  });
}

const CallbackSlot &slotOf(const MipRun &run, MipCallbackKind kind) { return run.env->mipCallbacks[kind]; }

// Limits lo <= a x <= up of a row as sense, rhs and range of the Problem form.
void rowForm(double lo, double up, char *sense, double *rhs, double *range) {
  *range = 0.0;
  if (lo <= -1e20 && up >= 1e20) {
    *sense = 'L', *rhs = 1e20;
  } else if (lo <= -1e20) {
    *sense = 'L', *rhs = up;
  } else if (up >= 1e20) {
    *sense = 'G', *rhs = lo;
  } else if (lo == up) {
    *sense = 'E', *rhs = lo;
  } else {
    *sense = 'R', *rhs = lo, *range = up - lo;
  }
}

// The basis of a solved copy of the node LP, in the node LP's statuses: the
// columns' statuses are the same; a nonbasic row's logical sits at the
// limit that the row's activity touches.
bool basisFromCopy(MipRun &run, Problem *copy, EnvVector<int> &colStatus, EnvVector<int> &rowStatus) {
  LpRelaxation &r = *run.search->nodeLp;
  const int n = relaxNumCols(r), m = relaxNumRows(r);
  if (QVNgetnumcols(run.env, copy) != n || QVNgetnumrows(run.env, copy) != m) return false;
  colStatus.assign(static_cast<size_t>(n) + 1, 0);
  rowStatus.assign(static_cast<size_t>(m) + 1, 0);
  EnvVector<double> x(static_cast<size_t>(n) + 1, 0.0);
  if (QVNgetbase(run.env, copy, colStatus.data(), rowStatus.data()) != 0) return false;
  if (QVNgetx(run.env, copy, x.data(), 0, n - 1) != 0) return false;
  EnvVector<double> activity(static_cast<size_t>(m) + 1, 0.0);
  const LpData &d = *copy->lpData;
  for (int j = 0; j < n; ++j)
    for (int64_t k = d.colStart[j]; k < d.colStart[j] + d.colCount[j]; ++k)
      activity[d.rowIndex[k]] += d.coefValue[k] * x[j];
  for (int i = 0; i < m; ++i) {
    if (rowStatus[i] == 1) continue;
    double lo = 0.0, up = 0.0;
    relaxGetRowBounds(r, i, &lo, &up);
    if (lo <= -1e20)
      rowStatus[i] = 2;
    else if (up >= 1e20)
      rowStatus[i] = 0;
    else
      rowStatus[i] = std::fabs(activity[i] - lo) <= std::fabs(activity[i] - up) ? 0 : 2;
  }
  return true;
}

} // namespace

int copyNodeLp(MipRun &run, Problem **out) {
  *out = nullptr;
  MipSearch &s = *run.search;
  LpRelaxation &r = *s.nodeLp;
  const LpData &d = *run.model;
  const int n = d.numCols, m = d.numRows, rows = relaxNumRows(r);
  EnvVector<int> start(static_cast<size_t>(n) + 1), count(static_cast<size_t>(n) + 1);
  EnvVector<double> lower(static_cast<size_t>(n) + 1), upper(static_cast<size_t>(n) + 1);
  EnvVector<double> rhs(static_cast<size_t>(m) + 1), range(static_cast<size_t>(m) + 1);
  EnvVector<char> sense(static_cast<size_t>(m) + 1);
  for (int j = 0; j < n; ++j) {
    start[j] = static_cast<int>(d.colStart[j]);
    count[j] = d.colCount[j];
    relaxGetBounds(r, j, &lower[j], &upper[j]);
  }
  for (int i = 0; i < m; ++i) {
    double lo = 0.0, up = 0.0;
    relaxGetRowBounds(r, i, &lo, &up);
    rowForm(lo, up, &sense[i], &rhs[i], &range[i]);
  }
  int status = 0;
  Problem *copy = QVNcreateprob(run.env, &status, "nodelp");
  if (!copy) return status;
  status = QVNcopylp(run.env, copy, n, m, d.objSense, d.objCoef.data(), rhs.data(), sense.data(), start.data(),
                     count.data(), d.rowIndex.data(), d.coefValue.data(), lower.data(), upper.data(),
                     range.data());
  if (status == 0 && d.objOffset != 0.0) status = QVNchgobjoffset(run.env, copy, d.objOffset);
  // The cut rows after the model's, as the pool mirrors them, then the
  // rows local to the node's subtree.
  const CutPool *pool = s.cuts;
  const LocalRowTable &t = s.localRows;
  const int local = rows - static_cast<int>(t.installed.size());
  for (int i = m; i < rows && status == 0; ++i) {
    double lo = 0.0, up = 0.0;
    relaxGetRowBounds(r, i, &lo, &up);
    char one = 'L';
    double value = 0.0, width = 0.0;
    rowForm(lo, up, &one, &value, &width);
    const int begin = 0;
    if (i >= local) {
      const int row = t.installed[static_cast<size_t>(i - local)];
      const int from = t.start[row];
      status = QVNaddrows(run.env, copy, 0, 1, t.start[row + 1] - from, &value, &one, &begin,
                          t.index.data() + from, t.value.data() + from, nullptr, nullptr);
      continue;
    }
    const int k = pool ? i - pool->firstCutRow : -1;
    if (!pool || k < 0 || k >= static_cast<int>(pool->installed.cuts.size()) || one == 'R') {
      status = QVNERR_CALLBACK;  // a row the pool does not describe
      break;
    }
    const Cut &c = pool->installed.cuts[static_cast<size_t>(k)];
    status = QVNaddrows(run.env, copy, 0, 1, c.count, &value, &one, &begin, pool->installed.index.data() + c.start,
                        pool->installed.value.data() + c.start, nullptr, nullptr);
  }
  if (status != 0) {
    QVNfreeprob(run.env, &copy);
    return status;
  }
  *out = copy;
  return 0;
}

int addTreeRows(MipRun &run, int family, int count, const char *sense, const double *rhs, const int *start,
                const int *index, const double *value, int *added) {
  *added = 0;
  if (count <= 0) return 0;
  MipSearch &s = *run.search;
  // Rows local to the subtree sit after every other row: they step aside
  // while these come, and come back after them.
  if (!s.localRows.installed.empty()) {
    EnvVector<int> local(s.localRows.installed.begin(), s.localRows.installed.end());
    QVN_TRY(installLocalRows(run, EnvVector<int>()));
    QVN_TRY(addTreeRows(run, family, count, sense, rhs, start, index, value, added));
    return installLocalRows(run, local);
  }
  CutPool &pool = treeCutPool(run);
  // The pool mirrors the LP rows after the model's; rows it does not know
  // would break that, so none go in then.
  if (relaxNumRows(*s.nodeLp) != pool.firstCutRow + static_cast<int>(pool.installed.cuts.size())) return 0;
  EnvVector<double> lower, upper;
  EnvVector<int> rowStart(1, 0), rowIndex;
  EnvVector<double> rowValue;
  for (int r = 0; r < count; ++r) {
    const int from = start[r], n = start[r + 1] - start[r];
    // An equation enters as its two inequalities, the pool's form.
    const char senses[2] = {sense[r] == 'E' ? 'L' : sense[r], sense[r] == 'E' ? 'G' : '\0'};
    for (char one : senses) {
      if (one == '\0') continue;
      lower.push_back(one == 'G' ? rhs[r] : -HUGE_VAL);
      upper.push_back(one == 'L' ? rhs[r] : HUGE_VAL);
      rowIndex.insert(rowIndex.end(), index + from, index + from + n);
      rowValue.insert(rowValue.end(), value + from, value + from + n);
      rowStart.push_back(static_cast<int>(rowIndex.size()));
      blockAppend(pool.installed, one, family, rhs[r], n, index + from, value + from, pool.serial++);
      pool.age.push_back(0);
      ++pool.applied[family];
    }
  }
  const int rows = static_cast<int>(lower.size());
  QVN_TRY(relaxAddRows(*s.nodeLp, rows, lower.data(), upper.data(), rowStart.data(), rowIndex.data(),
                       rowValue.data()));
  *added = rows;
  return 0;
}

int callInfoCallback(MipRun &run, const NodeRecord *current) {
  const CallbackSlot &slot = slotOf(run, kMipInfoCallback);
  if (!slot.function) return 0;
  MipCallbackData d;
  d.run = &run;
  d.wherefrom = QVN_CALLBACK_MIP;
  d.node = current;
  const auto f = reinterpret_cast<QVNmipcallbackfunc>(slot.function);
  return stopFor(f(run.env, &d, QVN_CALLBACK_MIP, slot.handle));
}

int callPassCallback(MipRun &run, int wherefrom, int phase, double fraction) {
  const CallbackSlot &slot = slotOf(run, kMipInfoCallback);
  if (!slot.function || run.callbackStop != 0) return 0;
  MipCallbackData d;
  d.run = &run;
  d.wherefrom = wherefrom;
  d.passPhase = phase;
  d.passDone = std::clamp(fraction, 0.0, 1.0);
  const auto f = reinterpret_cast<QVNmipcallbackfunc>(slot.function);
  run.callbackStop = stopFor(f(run.env, &d, wherefrom, slot.handle));
  return 0;
}

int callFamilyPassCallback(MipRun &run, int family) {
  switch (family) {
  case kCutFract: return callPassCallback(run, QVN_CALLBACK_MIP_FRACCUT, 1, 1.0);
  case kCutDisj: return callPassCallback(run, QVN_CALLBACK_MIP_DISJCUT, 1, 1.0);
  case kCutFlow:
  case kCutMir:
  case kCutFlowPath: return callPassCallback(run, QVN_CALLBACK_MIP_FLOWMIR, 1, 1.0);
  default: return 0;
  }
}

int callCutCallback(MipRun &run, NodeRecord *current, const double *x, int *added) {
  *added = 0;
  const CallbackSlot &slot = slotOf(run, kCutCallback);
  if (!slot.function) return 0;
  MipCallbackData d;
  d.run = &run;
  d.wherefrom = QVN_CALLBACK_MIP_CUT;
  d.node = current;
  d.inHand = true;
  d.x = x;
  d.hasObjective = true;
  d.objective = relaxObjective(*run.search->nodeLp);
  d.nodeStatus = QVN_STAT_OPTIMAL;
  int action = QVN_CALLBACK_DEFAULT;
  const auto f = reinterpret_cast<QVNcutcallbackfunc>(slot.function);
  const int stop = stopFor(f(run.env, &d, QVN_CALLBACK_MIP_CUT, slot.handle, &action));
  if (stop != 0) return stop;
  if (action == QVN_CALLBACK_FAIL) return 113;
  if (action != QVN_CALLBACK_DEFAULT && action != QVN_CALLBACK_SET) return QVNERR_CALLBACK;
  return installCallbackCuts(run, current, d, added);
}

int callIncumbentCallback(MipRun &run, double objective, double *x, bool *accept) {
  *accept = true;
  const CallbackSlot &slot = slotOf(run, kIncumbentCallback);
  if (!slot.function) return 0;
  MipCallbackData d;
  d.run = &run;
  d.wherefrom = QVN_CALLBACK_MIP_INCUMBENT;
  d.x = x;
  d.hasObjective = true;
  d.objective = objective;
  int feasible = 1, action = QVN_CALLBACK_DEFAULT;
  const auto f = reinterpret_cast<QVNincumbentcallbackfunc>(slot.function);
  const int stop = stopFor(
      f(run.env, &d, QVN_CALLBACK_MIP_INCUMBENT, slot.handle, userValue(run, objective), x, &feasible, &action));
  *accept = feasible != 0;
  if (stop != 0) return stop;
  if (action == QVN_CALLBACK_FAIL) return 113;
  if (action != QVN_CALLBACK_DEFAULT && action != QVN_CALLBACK_SET) return QVNERR_CALLBACK;
  return 0;
}

int popWithNodeCallback(MipRun &run, NodeRecord **node) {
  NodeStore &store = run.search->store;
  const CallbackSlot &slot = slotOf(run, kNodeCallback);
  *node = nullptr;
  if (slot.function && run.callbackStop == 0) {
    // Nodes in block files are out of reach of an index; the heap's own
    // order numbers the rest, 0 being the built-in rule's pick.
    MipCallbackData d;
    d.run = &run;
    d.wherefrom = QVN_CALLBACK_MIP_NODE;
    int index = 0, action = QVN_CALLBACK_DEFAULT;
    const auto f = reinterpret_cast<QVNnodecallbackfunc>(slot.function);
    const int returned =
        store.heap[0].empty() ? 0 : f(run.env, &d, QVN_CALLBACK_MIP_NODE, slot.handle, &index, &action);
    if (keepStop(run, returned, action) && action == QVN_CALLBACK_SET) {
      if (index < 0 || index >= static_cast<int>(store.heap[0].size())) {
        run.callbackStop = QVNERR_INDEX_RANGE;
      } else {
        *node = store.heap[0][static_cast<size_t>(index)];
        storeTake(store, *node);
        return 0;
      }
    }
  }
  *node = storePop(store);
  return 0;
}

int callSolveCallback(MipRun &run, const NodeRecord *current) {
  const CallbackSlot &slot = slotOf(run, kSolveCallback);
  if (!slot.function || run.callbackStop != 0) return 0;
  MipCallbackData d;
  d.run = &run;
  d.wherefrom = QVN_CALLBACK_MIP_SOLVE;
  d.node = current;
  d.inHand = true;
  int action = QVN_CALLBACK_DEFAULT;
  const auto f = reinterpret_cast<QVNsolvecallbackfunc>(slot.function);
  const int returned = f(run.env, &d, QVN_CALLBACK_MIP_SOLVE, slot.handle, &action);
  if (!keepStop(run, returned, action)) return 0;
  if (action != QVN_CALLBACK_SET || !d.nodeLpCopy) return 0;
  // The callback's result is its copy's final basis. A copy it left without
  // a basis (not solved, or not by a simplex) gives the node nothing to use.
  const int stat = QVNgetstat(run.env, d.nodeLpCopy);
  if (stat != QVN_STAT_OPTIMAL && stat != QVN_STAT_INFEASIBLE) return 0;
  EnvVector<int> colStatus, rowStatus;
  if (!basisFromCopy(run, d.nodeLpCopy, colStatus, rowStatus)) return 0;
  run.search->iterationTotal += QVNgetitcnt(run.env, d.nodeLpCopy);
  return relaxSetBasis(*run.search->nodeLp, colStatus.data(), rowStatus.data(), stat == QVN_STAT_OPTIMAL);
}

int callHeuristicCallback(MipRun &run, const NodeRecord *current, double objective) {
  const CallbackSlot &slot = slotOf(run, kHeuristicCallback);
  if (!slot.function || run.callbackStop != 0) return 0;
  MipSearch &s = *run.search;
  const int n = run.model->numCols;
  const double *point = relaxPrimal(*s.nodeLp);
  EnvVector<double> x(point, point + n);
  MipCallbackData d;
  d.run = &run;
  d.wherefrom = QVN_CALLBACK_MIP_HEURISTIC;
  d.node = current;
  d.inHand = true;
  d.x = point;
  d.hasObjective = true;
  d.objective = objective;
  d.nodeStatus = QVN_STAT_OPTIMAL;
  double value = userValue(run, objective);
  int action = QVN_CALLBACK_DEFAULT;
  const auto f = reinterpret_cast<QVNheuristiccallbackfunc>(slot.function);
  const int returned = f(run.env, &d, QVN_CALLBACK_MIP_HEURISTIC, slot.handle, &value, x.data(), &action);
  if (!keepStop(run, returned, action)) return 0;
  if (action != QVN_CALLBACK_SET) return 0;
  // The point is the callback's claim only: bounds, rows and integrality are
  // tested where it is offered, and the objective is recomputed there.
  for (double v : x)
    if (!std::isfinite(v)) return 0;
  offerIncumbent(run, x.data(), static_cast<int>(s.nodeCount), true);
  return 0;
}

void reportDroppedNode(MipRun &run, const NodeRecord &node) {
  const CallbackSlot &slot = slotOf(run, kDeleteNodeCallback);
  EnvVector<void *> &handles = run.search->nodeHandles;
  if (node.nodeId < 0 || node.nodeId >= static_cast<int>(handles.size())) return;
  if (slot.function) {
    const auto f = reinterpret_cast<QVNdeletenodecallbackfunc>(slot.function);
    f(run.env, QVN_CALLBACK_MIP_DELETENODE, slot.handle, node.sequence, handles[static_cast<size_t>(node.nodeId)]);
  }
  handles[static_cast<size_t>(node.nodeId)] = nullptr;
}

namespace {

// Blocks of nodes moved out of memory come back when a node in them may have
// an id the delete-node callback must hear of as it goes: those whose nodes
// all reach `cutoff`, or all of them.
void readBackForDeletion(MipRun &run, double cutoff) {
  NodeStore &store = run.search->store;
  if (!slotOf(run, kDeleteNodeCallback).function) return;
  for (size_t b = store.blocks.size(); b-- > 0;)
    if (store.blocks[b]->minBound >= cutoff) readBackBlock(store, static_cast<int>(b));
}

} // namespace

int pruneStore(MipRun &run) {
  MipSearch &s = *run.search;
  if (!s.nodeHandles.empty()) {
    readBackForDeletion(run, s.cutoff);
    for (const NodeRecord *n : s.store.heap[0])
      if (n->bound >= s.cutoff) reportDroppedNode(run, *n);
  }
  return storePrune(s.store, s.cutoff);
}

void reportRemainingNodes(MipRun &run) {
  MipSearch &s = *run.search;
  if (s.nodeHandles.empty()) return;
  try {
    readBackForDeletion(run, -kTreeInfinity);
  } catch (const NodeFileFailure &) {
    // A block file that cannot be read: its nodes go untold.
  }
  for (const NodeRecord *n : s.store.heap[0]) reportDroppedNode(run, *n);
  if (s.resume) reportDroppedNode(run, *s.resume);
}

} // namespace qvn

using namespace qvn;

namespace {

// One registration slot a kind: every setter and getter pair below is this
// template on its kind and its function type.
template <MipCallbackKind K, class F> struct Registration {
  static int set(QVNENVptr env, F function, void *handle) {
    return guarded(env, [&]() -> int {
      env->mipCallbacks[K].function = reinterpret_cast<void *>(function);
      env->mipCallbacks[K].handle = function ? handle : nullptr;
      return 0;
    });
  }
  static int get(QVNCENVptr env, F *function, void **handle) {
    return guarded(env, [&]() -> int {
      if (!function || !handle) return QVNERR_NULL_POINTER;
      *function = reinterpret_cast<F>(env->mipCallbacks[K].function);
      *handle = env->mipCallbacks[K].handle;
      return 0;
    });
  }
};

using MipInfoCallbacks = Registration<kMipInfoCallback, QVNmipcallbackfunc>;
using IncumbentCallbacks = Registration<kIncumbentCallback, QVNincumbentcallbackfunc>;
using CutCallbacks = Registration<kCutCallback, QVNcutcallbackfunc>;
using BranchCallbacks = Registration<kBranchCallback, QVNbranchcallbackfunc>;
using BranchNoSolnCallbacks = Registration<kBranchNoSolnCallback, QVNbranchcallbackfunc>;
using NodeCallbacks = Registration<kNodeCallback, QVNnodecallbackfunc>;
using HeuristicCallbacks = Registration<kHeuristicCallback, QVNheuristiccallbackfunc>;
using SolveCallbacks = Registration<kSolveCallback, QVNsolvecallbackfunc>;
using DeleteNodeCallbacks = Registration<kDeleteNodeCallback, QVNdeletenodecallbackfunc>;

} // namespace

extern "C" {

// clang-format off
QVN_API int QVNsetmipcallbackfunc(QVNENVptr env, QVNmipcallbackfunc f, void *h) { return MipInfoCallbacks::set(env, f, h); }
QVN_API int QVNgetmipcallbackfunc(QVNCENVptr env, QVNmipcallbackfunc *f, void **h) { return MipInfoCallbacks::get(env, f, h); }
QVN_API int QVNsetincumbentcallbackfunc(QVNENVptr env, QVNincumbentcallbackfunc f, void *h) { return IncumbentCallbacks::set(env, f, h); }
QVN_API int QVNgetincumbentcallbackfunc(QVNCENVptr env, QVNincumbentcallbackfunc *f, void **h) { return IncumbentCallbacks::get(env, f, h); }
QVN_API int QVNsetcutcallbackfunc(QVNENVptr env, QVNcutcallbackfunc f, void *h) { return CutCallbacks::set(env, f, h); }
QVN_API int QVNgetcutcallbackfunc(QVNCENVptr env, QVNcutcallbackfunc *f, void **h) { return CutCallbacks::get(env, f, h); }
QVN_API int QVNsetbranchcallbackfunc(QVNENVptr env, QVNbranchcallbackfunc f, void *h) { return BranchCallbacks::set(env, f, h); }
QVN_API int QVNgetbranchcallbackfunc(QVNCENVptr env, QVNbranchcallbackfunc *f, void **h) { return BranchCallbacks::get(env, f, h); }
QVN_API int QVNsetbranchnosolncallbackfunc(QVNENVptr env, QVNbranchcallbackfunc f, void *h) { return BranchNoSolnCallbacks::set(env, f, h); }
QVN_API int QVNgetbranchnosolncallbackfunc(QVNCENVptr env, QVNbranchcallbackfunc *f, void **h) { return BranchNoSolnCallbacks::get(env, f, h); }
QVN_API int QVNsetnodecallbackfunc(QVNENVptr env, QVNnodecallbackfunc f, void *h) { return NodeCallbacks::set(env, f, h); }
QVN_API int QVNgetnodecallbackfunc(QVNCENVptr env, QVNnodecallbackfunc *f, void **h) { return NodeCallbacks::get(env, f, h); }
QVN_API int QVNsetheuristiccallbackfunc(QVNENVptr env, QVNheuristiccallbackfunc f, void *h) { return HeuristicCallbacks::set(env, f, h); }
QVN_API int QVNgetheuristiccallbackfunc(QVNCENVptr env, QVNheuristiccallbackfunc *f, void **h) { return HeuristicCallbacks::get(env, f, h); }
QVN_API int QVNsetsolvecallbackfunc(QVNENVptr env, QVNsolvecallbackfunc f, void *h) { return SolveCallbacks::set(env, f, h); }
QVN_API int QVNgetsolvecallbackfunc(QVNCENVptr env, QVNsolvecallbackfunc *f, void **h) { return SolveCallbacks::get(env, f, h); }
QVN_API int QVNsetdeletenodecallbackfunc(QVNENVptr env, QVNdeletenodecallbackfunc f, void *h) { return DeleteNodeCallbacks::set(env, f, h); }
QVN_API int QVNgetdeletenodecallbackfunc(QVNCENVptr env, QVNdeletenodecallbackfunc *f, void **h) { return DeleteNodeCallbacks::get(env, f, h); }
// clang-format on

QVN_API int QVNcutcallbackadd(QVNCENVptr env, void *cbdata, int wherefrom, int nzcnt, double rhs, int sense,
                              const int *cutind, const double *cutval, int purgeable) {
  (void)purgeable;
  return collectCut(env, cbdata, wherefrom, nzcnt, rhs, sense, cutind, cutval, false);
}

QVN_API int QVNcutcallbackaddlocal(QVNCENVptr env, void *cbdata, int wherefrom, int nzcnt, double rhs, int sense,
                                   const int *cutind, const double *cutval) {
  return collectCut(env, cbdata, wherefrom, nzcnt, rhs, sense, cutind, cutval, true);
}

} // extern "C"
