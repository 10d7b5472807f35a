// How a Problem keeps its presolve state: any change of the model's data
// makes the reductions wrong, so the state goes with its reduced problems.
#include "presolve/presolve_state.h"

namespace qvn {

void freePresolved(Problem *lp) {
  PresolveState *s = lp->presolved;
  if (!s) return;
  lp->presolved = nullptr;
  if (s->reduced) freeProblem(s->reduced->env, s->reduced);
  if (s->dualProblem) freeProblem(s->dualProblem->env, s->dualProblem);
  envDelete(s);
}

namespace {

bool holdsReducedProblem(const Problem *lp) {
  const PresolveState *s = lp->presolved;
  return s && s->ran && !s->nothingDone && (s->reduced || s->dualProblem);
}

} // namespace

const AttachmentOps kPresolveAttachment = {
    .name = "presolve",
    .releasedBy = {ModelAction::kFreePresolve},
    .release = freePresolved,
    .holdsResult = holdsReducedProblem,
};

} // namespace qvn
