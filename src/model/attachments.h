// Release of the blocks that optimizers attach to a Problem. Each subsystem
// owns its block's layout; the model only needs to free it or mark it stale.
#pragma once
#include "model/problem.h"

namespace qvn {

void freeFactor(Problem *lp);
void freeSimplexWork(Problem *lp);
void invalidateSimplexWork(Problem *lp);  // clears its two validity flags
void freePrimalState(Problem *lp);
void freeDualState(Problem *lp);
void markDualNormsStale(Problem *lp);
void freeQpState(Problem *lp);
void freeStartVectors(Problem *lp);
void freePresolved(Problem *lp);
void freeMipData(Problem *lp);
void freeMipSearch(Problem *lp);
void freeMipHeuristicStart(Problem *lp);
void freeQpData(Problem *lp);
void freeQpCopy(Problem *lp);
void markQpCopyStale(Problem *lp);
void resetQpStart(Problem *lp);
void freeQconstrData(Problem *lp);
void freeRefineData(Problem *lp);
void freeBarrierSolution(Problem *lp);
void resetSiftState(Problem *lp);
void freeSiftState(Problem *lp);
void freeQpExtra(Problem *lp);
void freeScaleFactors(Problem *lp);

} // namespace qvn
