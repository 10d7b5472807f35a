#include "runtime/progress_callback.h"

#include "quorvan.h"
#include "runtime/environment.h"
#include "runtime/frame.h"
#include "runtime/params.h"

namespace qvn {

bool progressCallbackSet(const Environment *env) { return env->generalParams->lpCallback != nullptr; }

int reportProgress(const Environment *env, LpProgress &p) {
  const GeneralParams &gp = *env->generalParams;
  if (!gp.lpCallback) return 0;
  return gp.lpCallback(env, &p, p.wherefrom, gp.lpCallbackHandle);
}

int progressInfo(void *cbdata, int wherefrom, int whichinfo, void *result) {
  auto *p = static_cast<LpProgress *>(cbdata);
  if (!p) return QVNERR_CALLBACK;
  if (p->magic != kLpProgressMagic || p->wherefrom != wherefrom) return QVNERR_BAD_ARGUMENT;
  if (!result) return QVNERR_NULL_POINTER;
  auto *i = static_cast<int *>(result);
  auto *v = static_cast<double *>(result);
  if (wherefrom == QVN_CALLBACK_PRESOLVE) {
    switch (whichinfo) {
    case QVN_CALLBACK_INFO_PRESOLVE_ROWSGONE: *i = p->rowsGone; return 0;
    case QVN_CALLBACK_INFO_PRESOLVE_COLSGONE: *i = p->colsGone; return 0;
    case QVN_CALLBACK_INFO_PRESOLVE_AGGSUBST: *i = p->substitutions; return 0;
    case QVN_CALLBACK_INFO_PRESOLVE_BOUNDS: *i = p->boundChanges; return 0;
    default: return QVNERR_BAD_ARGUMENT;
    }
  }
  if (p->measure) {
    p->measure(p->source, *p);
    p->measure = nullptr;
  }
  switch (whichinfo) {
  case QVN_CALLBACK_INFO_PRIMAL_OBJ: *v = p->primalObjective; return 0;
  case QVN_CALLBACK_INFO_DUAL_OBJ: *v = p->dualObjective; return 0;
  case QVN_CALLBACK_INFO_PRIMAL_INFMEAS: *v = p->primalInfeasibility; return 0;
  case QVN_CALLBACK_INFO_DUAL_INFMEAS: *v = p->dualInfeasibility; return 0;
  case QVN_CALLBACK_INFO_PRIMAL_FEAS: *i = p->primalFeasible ? 1 : 0; return 0;
  case QVN_CALLBACK_INFO_DUAL_FEAS: *i = p->dualFeasible ? 1 : 0; return 0;
  case QVN_CALLBACK_INFO_ITCOUNT: *i = p->iterations; return 0;
  default: return QVNERR_BAD_ARGUMENT;
  }
}

} // namespace qvn

using namespace qvn;

extern "C" {

QVN_API int QVNsetlpcallbackfunc(QVNENVptr env, QVNlpcallbackfunc callback, void *cbhandle) {
  return guarded(env, [&]() -> int {
    env->generalParams->lpCallback = callback;
    env->generalParams->lpCallbackHandle = callback ? cbhandle : nullptr;
    return 0;
  });
}

QVN_API int QVNgetlpcallbackfunc(QVNCENVptr env, QVNlpcallbackfunc *callback_p, void **cbhandle_p) {
  return guarded(env, [&]() -> int {
    if (!callback_p || !cbhandle_p) return QVNERR_NULL_POINTER;
    *callback_p = env->generalParams->lpCallback;
    *cbhandle_p = env->generalParams->lpCallbackHandle;
    return 0;
  });
}

} // extern "C"
