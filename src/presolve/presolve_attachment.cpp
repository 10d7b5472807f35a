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

const AttachmentOps kPresolveAttachment = {
    .name = "presolve",
    .releasedBy = {ModelAction::kFreePresolve},
    .release = freePresolved,
};

} // namespace qvn
