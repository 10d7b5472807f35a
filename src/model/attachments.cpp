// Release of attached blocks. Blocks whose subsystems do not exist yet are never
// created, so their release has nothing to do.
#include "model/attachments.h"

#include "mip/mip_search.h"
#include "model/mip_data.h"
#include "presolve/presolve_state.h"
#include "quadratic/qconstr_data.h"
#include "quadratic/qp_data.h"

namespace qvn {

void freeFactor(Problem *lp) { lp->factor = nullptr; lp->factorStale = false; }
void freeSimplexWork(Problem *lp) { lp->simplexWork = nullptr; }
void invalidateSimplexWork(Problem *) {}
void freePrimalState(Problem *lp) { lp->primalState = nullptr; }
void freeDualState(Problem *lp) { lp->dualState = nullptr; }
void markDualNormsStale(Problem *) {}
void freeQpState(Problem *lp) { lp->qpState = nullptr; }
void freeStartVectors(Problem *lp) { lp->startVectors = nullptr; lp->extraStart = nullptr; }
void freePresolved(Problem *lp) {
  PresolveState *s = lp->presolved;
  if (!s) return;
  lp->presolved = nullptr;
  if (s->reduced) freeProblem(s->reduced->env, s->reduced);
  if (s->dualProblem) freeProblem(s->dualProblem->env, s->dualProblem);
  envDelete(s);
}
void freeMipData(Problem *lp) { destroyMipData(lp->mipData); }
void freeMipSearch(Problem *lp) { destroyMipSearch(lp->mipSearch); }
void freeMipHeuristicStart(Problem *) {}
void freeQpData(Problem *lp) { destroyQpData(lp->qpData); }
void freeQpCopy(Problem *) {}
void markQpCopyStale(Problem *) {}
void resetQpStart(Problem *) {}
void freeQconstrData(Problem *lp) { destroyQconstrData(lp->qconstrData); }
void freeRefineData(Problem *lp) { lp->refineData = nullptr; }
void freeBarrierSolution(Problem *lp) { lp->barrierSolution = nullptr; }
void resetSiftState(Problem *) {}
void freeSiftState(Problem *lp) { lp->siftState = nullptr; }
void freeQpExtra(Problem *lp) { lp->qpExtra = nullptr; }

void freeScaleFactors(Problem *lp) {
  LpData &d = *lp->lpData;
  d.rowScale = d.colScale = nullptr;
  d.rowScaleSpace = EnvVector<double>();
  d.colScaleSpace = EnvVector<double>();
}

} // namespace qvn
