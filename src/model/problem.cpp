#include "model/problem.h"

#include <cstring>

#include "model/attachments.h"
#include "model/mip_data.h"
#include "runtime/environment.h"

namespace qvn {

bool checkProblemFast(const Problem *lp) {
  return lp && lp->lpData && lp->self0 == lp && lp->self1 == lp;
}

bool problemOfEnv(const Environment *env, const Problem *lp) {
  if (!lp) return false;
  for (const Resource *entry = env->resourceList; entry; entry = entry->next)
    if (entry->object == lp && entry->kind == kResProblem) return true;
  return false;
}

bool checkProblem(const Problem **lp) {
  const Problem *p = *lp;
  if (p && checkProblemFast(p) && isFixedType(p->probType)) *lp = p->fixedProblem;
  return checkProblemFast(*lp);
}

void recomputeType(Problem *lp) {
  if (isFixedType(lp->probType) || isNodeType(lp->probType)) return;
  const bool integer = !lp->lpData->ctype.empty();
  const bool qconstr = lp->qconstrData != nullptr;
  const bool qobj = lp->qpData != nullptr;
  if (qconstr)
    lp->probType = integer ? kProbMIQCP : kProbQCP;
  else if (qobj)
    lp->probType = integer ? kProbMIQP : kProbQP;
  else
    lp->probType = integer ? kProbMILP : kProbLP;
}

int createProblem(Environment *env, const char *name, Problem **out) {
  *out = nullptr;
  auto *lp = static_cast<Problem *>(envCalloc(1, sizeof(Problem)));
  if (!lp) return QVNERR_NO_MEMORY;
  int status = runCaught([&]() -> int {
    lp->lpData = envNew<LpData>();
    LpData &d = *lp->lpData;
    d.probName = envStrdup(name);
    if (!d.probName) return QVNERR_NO_MEMORY;
    d.objCoef.resize(1);
    d.rhs.resize(1);
    d.sense.resize(1);
    d.colStart.resize(1);
    d.colCount.resize(1);
    d.colEnd.resize(1);
    d.rowIndex.resize(1);
    d.coefValue.resize(1);
    d.lowerBound.resize(1);
    d.upperBound.resize(1);
    d.slackRow.resize(1);
    d.slackCoef.resize(1);
    d.rowFileMultiplier = env->generalParams->rfilemul;
    d.colFileMultiplier = env->generalParams->cfilemul;
    d.lastRunTolPrimal = env->generalParams->runTolPrimal;
    d.lastRunTolDual = env->generalParams->runTolDual;
    return 0;
  });
  if (status == 0) {
    lp->self0 = lp->self1 = lp;
    lp->status = -1;
    lp->probType = kProbLP;
    lp->env = env;
    rebuildLogicals(lp);
    status = addResource(env, kResProblem, lp);
  }
  if (status != 0) {
    lp->self0 = lp->self1 = nullptr;
    if (lp->lpData) {
      envFree(lp->lpData->probName);
      envDelete(lp->lpData);
    }
    envFree(lp);
    return status;
  }
  *out = lp;
  return 0;
}

void freeProblem(Environment *env, Problem *&lp) {
  if (!lp) return;
  releaseAllAttachments(lp);
  modelChanged(env, lp, ModelEvent::kNamesChanged);  // frees the fixed problem (with the basis copy-up) and the node problem
  lp->mipSearch = nullptr;
  lp->conflict = nullptr;
  destroyMipData(lp->mipData);
  envDelete(lp->rowCopy);
  envDelete(lp->solution);
  envDelete(lp->basisData);
  if (lp->lpData) {
    envFree(lp->lpData->probName);
    envFree(lp->lpData->objName);
    envDelete(lp->lpData);
  }
  Environment *owner = lp->env ? lp->env : env;
  lp->self0 = lp->self1 = nullptr;
  removeResource(owner, kResProblem, lp);
  envFree(lp);
}

} // namespace qvn

using namespace qvn;

extern "C" {

QVN_API QVNLPptr QVNcreateprob(QVNCENVptr cenv, int *status, const char *name) {
  auto *env = const_cast<Environment *>(cenv);
  Problem *lp = nullptr;
  int s = guarded(env, [&]() -> int {
    if (!name) return QVNERR_NULL_POINTER;
    return createProblem(env, name, &lp);
  });
  if (status) *status = s;
  return s ? nullptr : lp;
}

QVN_API int QVNfreeprob(QVNCENVptr cenv, QVNLPptr *lpPointer) {
  auto *env = const_cast<Environment *>(cenv);
  return guarded(env, [&]() -> int {
    if (!lpPointer) return QVNERR_NULL_POINTER;
    if (!*lpPointer) return 0;
    // A problem belongs to the Environment that made it; freeing it through
    // another one would leave that one's resource list pointing at freed memory.
    // Another's problem and a freed one look alike from here, and neither may
    // be read: both are a bad argument, as a foreign child is to QVNfreeparenv.
    if (!problemOfEnv(env, *lpPointer)) return QVNERR_BAD_ARGUMENT;
    if (!checkProblemFast(*lpPointer)) return QVNERR_NO_PROBLEM;
    freeProblem(env, *lpPointer);
    return 0;
  });
}

// The handle's own type: a fixed type says so, while its other reads go to
// the fixed problem.
QVN_API int QVNgetprobtype(QVNCENVptr env, QVNCLPptr lp) {
  int type = -1;
  guarded(env, [&]() -> int {
    if (!problemOfEnv(env, lp) || !checkProblemFast(lp)) return QVNERR_NO_PROBLEM;
    type = lp->probType;
    return 0;
  });
  return type;
}

QVN_API int QVNgetstat(QVNCENVptr env, QVNCLPptr lp) {
  return problemValue(env, lp, 0, [](Problem *p) { return p->status < 0 ? 0 : p->status; });
}

QVN_API int QVNgetnumcols(QVNCENVptr env, QVNCLPptr lp) {
  return problemValue(env, lp, 0, [](Problem *p) { return p->lpData->numCols + p->lpData->cache.numCols; });
}

QVN_API int QVNgetnumrows(QVNCENVptr env, QVNCLPptr lp) {
  return problemValue(env, lp, 0, [](Problem *p) { return p->lpData->numRows + p->lpData->cache.numRows; });
}

QVN_API int QVNgetnumnz(QVNCENVptr env, QVNCLPptr lp) {
  // Pending entries may repeat or delete stored ones: only the merge knows the count.
  return problemValue(env, lp, 0, [&](Problem *p) {
    if (flushCache(const_cast<Environment *>(env), p) != 0) return 0;
    int64_t nz = 0;
    for (int j = 0; j < p->lpData->numCols; ++j) nz += p->lpData->colCount[j];
    return static_cast<int>(nz);
  });
}

QVN_API int QVNgetobjsen(QVNCENVptr env, QVNCLPptr lp) {
  return problemValue(env, lp, 0, [](Problem *p) { return p->lpData->objSense; });
}

} // extern "C"
