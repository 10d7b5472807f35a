// MIP callbacks: registration on the Environment, the data block a callback
// receives, the getters it may call, and the cuts it may add.
#include "mip/callbacks.h"

#include <cmath>

#include "mip/cuts/cut_pool.h"
#include "runtime/frame.h"
#include "runtime/progress_callback.h"
#include "simplex/lp_relaxation.h"

namespace qvn {

namespace {

// Marks a live data block: a callback that keeps the pointer past its call,
// or passes something else, gets error 1006 rather than a crash.
constexpr unsigned kCallbackMagic = 0x5156cb01u;

struct CallbackCut {
  char sense;
  double rhs;
  int start, count;
};

struct MipCallbackData {
  unsigned magic = kCallbackMagic;
  MipRun *run = nullptr;
  int wherefrom = 0;
  const NodeRecord *node = nullptr;
  const double *x = nullptr;  // the point the callback is called for, or null
  // Cuts added by a cut callback, collected until it returns.
  EnvVector<CallbackCut> cuts;
  EnvVector<int> index;
  EnvVector<double> value;
  ~MipCallbackData() { magic = 0; }
};

MipCallbackData *dataOf(void *cbdata, int wherefrom) {
  auto *d = static_cast<MipCallbackData *>(cbdata);
  if (!d || d->magic != kCallbackMagic || !d->run) return nullptr;
  (void)wherefrom;
  return d;
}

// A callback's return value as the run's stop: none, aborted, or a failure.
int stopFor(int returned) {
  if (returned == 0) return 0;
  return returned >= 1000 ? returned : 113;
}

double userBound(const MipRun &run, double v) {
  if (std::fabs(v) >= 1e74) return run.sense * (v > 0 ? 1e75 : -1e75);
  return userValue(run, v);
}

int installCallbackCuts(MipRun &run, MipCallbackData &d, int *added) {
  *added = 0;
  if (d.cuts.empty()) return 0;
  EnvVector<char> sense;
  EnvVector<double> rhs;
  EnvVector<int> start;
  for (const CallbackCut &c : d.cuts) {
    sense.push_back(c.sense);
    rhs.push_back(c.rhs);
    start.push_back(c.start);
  }
  start.push_back(static_cast<int>(d.index.size()));
  return addTreeRows(run, kCutUser, static_cast<int>(d.cuts.size()), sense.data(), rhs.data(), start.data(),
                     d.index.data(), d.value.data(), added);
}

} // namespace

int addTreeRows(MipRun &run, int family, int count, const char *sense, const double *rhs, const int *start,
                const int *index, const double *value, int *added) {
  *added = 0;
  if (count <= 0) return 0;
  MipSearch &s = *run.search;
  if (!s.cuts) {
    s.cuts = newCutPool();
    s.cuts->firstCutRow = relaxNumRows(*s.nodeLp);
  }
  CutPool &pool = *s.cuts;
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
  const CallbackSlot &slot = run.env->mipCallbacks[kMipInfoCallback];
  if (!slot.function) return 0;
  MipCallbackData d;
  d.run = &run;
  d.wherefrom = QVN_CALLBACK_MIP;
  d.node = current;
  const auto f = reinterpret_cast<QVNmipcallbackfunc>(slot.function);
  return stopFor(f(run.env, &d, QVN_CALLBACK_MIP, slot.handle));
}

int callCutCallback(MipRun &run, const NodeRecord *current, const double *x, int *added) {
  *added = 0;
  const CallbackSlot &slot = run.env->mipCallbacks[kCutCallback];
  if (!slot.function) return 0;
  MipCallbackData d;
  d.run = &run;
  d.wherefrom = QVN_CALLBACK_MIP_CUT;
  d.node = current;
  d.x = x;
  int action = QVN_CALLBACK_DEFAULT;
  const auto f = reinterpret_cast<QVNcutcallbackfunc>(slot.function);
  const int stop = stopFor(f(run.env, &d, QVN_CALLBACK_MIP_CUT, slot.handle, &action));
  if (stop != 0) return stop;
  if (action == QVN_CALLBACK_FAIL) return 113;
  if (action != QVN_CALLBACK_DEFAULT && action != QVN_CALLBACK_SET) return QVNERR_CALLBACK;
  return installCallbackCuts(run, d, added);
}

int callIncumbentCallback(MipRun &run, double objective, double *x, bool *accept) {
  *accept = true;
  const CallbackSlot &slot = run.env->mipCallbacks[kIncumbentCallback];
  if (!slot.function) return 0;
  MipCallbackData d;
  d.run = &run;
  d.wherefrom = QVN_CALLBACK_MIP_INCUMBENT;
  d.x = x;
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

} // namespace qvn

using namespace qvn;

namespace {

int setSlot(QVNCENVptr cenv, MipCallbackKind kind, void *function, void *handle) {
  return guarded(cenv, [&]() -> int {
    auto *env = const_cast<Environment *>(cenv);
    env->mipCallbacks[kind].function = function;
    env->mipCallbacks[kind].handle = function ? handle : nullptr;
    return 0;
  });
}

int getSlot(QVNCENVptr env, MipCallbackKind kind, void **function, void **handle) {
  return guarded(env, [&]() -> int {
    if (!function || !handle) return QVNERR_NULL_POINTER;
    *function = env->mipCallbacks[kind].function;
    *handle = env->mipCallbacks[kind].handle;
    return 0;
  });
}

// The wherefrom numbers whose data this file serves.
bool servedHere(int wherefrom) {
  return wherefrom == QVN_CALLBACK_MIP || wherefrom == QVN_CALLBACK_MIP_CUT ||
         wherefrom == QVN_CALLBACK_MIP_INCUMBENT;
}

int cutCount(const MipSearch &s, int family) { return s.cuts ? s.cuts->applied[family] : 0; }

} // namespace

extern "C" {

QVN_API int QVNsetmipcallbackfunc(QVNENVptr env, QVNmipcallbackfunc callback, void *cbhandle) {
  return setSlot(env, kMipInfoCallback, reinterpret_cast<void *>(callback), cbhandle);
}
QVN_API int QVNgetmipcallbackfunc(QVNCENVptr env, QVNmipcallbackfunc *callback_p, void **cbhandle_p) {
  void *f = nullptr;
  const int status = getSlot(env, kMipInfoCallback, &f, cbhandle_p);
  if (status == 0 && callback_p) *callback_p = reinterpret_cast<QVNmipcallbackfunc>(f);
  return status;
}
QVN_API int QVNsetincumbentcallbackfunc(QVNENVptr env, QVNincumbentcallbackfunc callback, void *cbhandle) {
  return setSlot(env, kIncumbentCallback, reinterpret_cast<void *>(callback), cbhandle);
}
QVN_API int QVNgetincumbentcallbackfunc(QVNCENVptr env, QVNincumbentcallbackfunc *callback_p,
                                        void **cbhandle_p) {
  void *f = nullptr;
  const int status = getSlot(env, kIncumbentCallback, &f, cbhandle_p);
  if (status == 0 && callback_p) *callback_p = reinterpret_cast<QVNincumbentcallbackfunc>(f);
  return status;
}
QVN_API int QVNsetcutcallbackfunc(QVNENVptr env, QVNcutcallbackfunc callback, void *cbhandle) {
  return setSlot(env, kCutCallback, reinterpret_cast<void *>(callback), cbhandle);
}
QVN_API int QVNgetcutcallbackfunc(QVNCENVptr env, QVNcutcallbackfunc *callback_p, void **cbhandle_p) {
  void *f = nullptr;
  const int status = getSlot(env, kCutCallback, &f, cbhandle_p);
  if (status == 0 && callback_p) *callback_p = reinterpret_cast<QVNcutcallbackfunc>(f);
  return status;
}

QVN_API int QVNgetcallbackinfo(QVNCENVptr env, void *cbdata, int wherefrom, int whichinfo, void *result_p) {
  return guarded(env, [&]() -> int {
    if (wherefrom >= QVN_CALLBACK_PRIMAL && wherefrom <= QVN_CALLBACK_QPSIMPLEX)
      return progressInfo(cbdata, wherefrom, whichinfo, result_p);
    if (!servedHere(wherefrom)) return QVNERR_BAD_ARGUMENT;
    if (!result_p) return QVNERR_NULL_POINTER;
    MipCallbackData *d = dataOf(cbdata, wherefrom);
    if (!d) return QVNERR_CALLBACK;
    const MipRun &run = *d->run;
    const MipSearch &s = *run.search;
    auto *i = static_cast<int *>(result_p);
    auto *v = static_cast<double *>(result_p);
    switch (whichinfo) {
    case 101: *v = s.incumbent.exists ? userValue(run, s.incumbent.objective) : run.sense * 1e75; return 0;
    case 102: *v = userBound(run, currentBestBound(run, d->node)); return 0;
    case 103: *i = static_cast<int>(s.nodeCount); return 0;
    case 104: *i = storeCount(s.store) + (d->node ? 1 : 0); return 0;
    case 105: *i = static_cast<int>(std::min(s.iterationTotal, 2.1e9)); return 0;
    case 106: *v = userBound(run, s.cutoff); return 0;
    case 107: *i = cutCount(s, kCutClique); return 0;
    case 108: *i = cutCount(s, kCutCover); return 0;
    case 109: *i = s.incumbent.exists ? 1 : 0; return 0;
    case 110: *i = cutCount(s, kCutFlow); return 0;
    case 111: *i = cutCount(s, kCutGub); return 0;
    case 112: *i = cutCount(s, kCutImplBd); return 0;
    case 113: *i = 0; return 0;
    case 115: *i = cutCount(s, kCutFract); return 0;
    case 117: *i = cutCount(s, kCutDisj); return 0;
    case 119: *i = cutCount(s, kCutFlowPath); return 0;
    case 120: *i = cutCount(s, kCutMir); return 0;
    case 114:
    case 116:
    case 118:
    case 121: *v = 1.0; return 0;  // the passes that report a fraction are over once the tree runs
    case 122: *i = 0; return 0;
    case 123: *i = 1; return 0;
    default: return QVNERR_BAD_ARGUMENT;
    }
  });
}

QVN_API int QVNgetcallbacknodex(QVNCENVptr env, void *cbdata, int wherefrom, double *x, int begin, int end) {
  return guarded(env, [&]() -> int {
    if (!servedHere(wherefrom)) return QVNERR_BAD_ARGUMENT;
    if (!x) return QVNERR_NULL_POINTER;
    MipCallbackData *d = dataOf(cbdata, wherefrom);
    if (!d || !d->x) return QVNERR_CALLBACK;
    const int n = d->run->model->numCols;
    if (begin < 0 || end >= n || begin > end) return QVNERR_INDEX_RANGE;
    for (int j = begin; j <= end; ++j) x[j - begin] = d->x[j];
    return 0;
  });
}

QVN_API int QVNcutcallbackadd(QVNCENVptr env, void *cbdata, int wherefrom, int nzcnt, double rhs, int sense,
                              const int *cutind, const double *cutval, int purgeable) {
  (void)purgeable;
  return guarded(env, [&]() -> int {
    if (wherefrom != QVN_CALLBACK_MIP_CUT) return QVNERR_BAD_ARGUMENT;
    MipCallbackData *d = dataOf(cbdata, wherefrom);
    if (!d || d->wherefrom != QVN_CALLBACK_MIP_CUT) return QVNERR_CALLBACK;
    if (nzcnt < 0) return QVNERR_COUNT_RANGE;
    if (nzcnt > 0 && (!cutind || !cutval)) return QVNERR_NULL_POINTER;
    if (sense != 'L' && sense != 'G' && sense != 'E') return QVNERR_BAD_SENSE;
    if (!std::isfinite(rhs)) return QVNERR_NAN;
    const int n = d->run->model->numCols;
    for (int k = 0; k < nzcnt; ++k) {
      if (cutind[k] < 0 || cutind[k] >= n) return QVNERR_COL_INDEX_RANGE;
      if (!std::isfinite(cutval[k])) return QVNERR_NAN;
    }
    d->cuts.push_back(CallbackCut{static_cast<char>(sense), rhs, static_cast<int>(d->index.size()), nzcnt});
    d->index.insert(d->index.end(), cutind, cutind + nzcnt);
    d->value.insert(d->value.end(), cutval, cutval + nzcnt);
    return 0;
  });
}

} // extern "C"
