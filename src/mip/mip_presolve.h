// Integer presolve around branch and bound: the reduced problem that the
// search runs on, and the way its results come back to the caller's columns.
#pragma once
#include "mip/mip_search.h"
#include "model/problem.h"

namespace qvn {

// What a run on the reduced problem inherits from the caller's run.
struct ReducedRunContext {
  double secondsUsed = 0.0;    // presolve time, charged to the time limit
  double objectiveStep = 0.0;  // the caller's objective step: the objectives are the same
};

// True when the problem may be presolved for branch and bound: presolve on,
// and no semi-continuous column (whose values the reductions cannot reason
// about). Members of special ordered sets are kept from dual arguments and
// substitutions; the sets move to the reduced columns.
bool mipPresolveWanted(const Environment *env, const Problem *lp);

// Presolves lp for branch and bound and keeps the result on lp->presolved:
// a reduced problem with its column types and the MIP start crushed onto
// it. `mode` is 0 normal, 1 full, 2 structure only (no reductions). Returns
// 0, 1001, or the presolve verdict 1101, 1117 or 1118; a verdict leaves
// the state attached, to tell which reductions spoke.
int mipPresolve(Environment *env, Problem *lp, int mode);

// The state of a MIP presolve on lp that the search runs through, or null.
PresolveState *mipPresolveState(const Problem *lp);

// The MIP status that a presolve verdict stands for.
int presolveVerdictStatus(const PresolveState &s, int verdict);
// The status of the reduced run as the caller's problem tells it.
int presolvedRunStatus(const PresolveState &s, int reducedStatus);

// Takes the incumbent of the reduced search (when it has one and it is
// better) into `original`, as a point of the caller's columns; with no
// reduced problem (all removed) the point comes from the replay alone.
// Counters and the bound follow the reduced search.
int adoptReducedResult(Environment *env, Problem *lp, MipSearch &original);

// The search whose tree is live for lp: the reduced problem's when lp runs
// through presolve, else lp's own (null when none).
const MipSearch *activeSearch(const Problem *lp);

} // namespace qvn
