// The registries of cut families, heuristics and integer presolve passes, and
// the stages that run them. No family is registered yet: the stages pass.
#include "mip/plugins.h"

namespace qvn {

const CutFamily *cutFamilies(int *count) {
  *count = 0;
  return nullptr;
}

const Heuristic *heuristics(int *count) {
  *count = 0;
  return nullptr;
}

const IntegerPresolvePass *integerPresolvePasses(int *count) {
  *count = 0;
  return nullptr;
}

int integerPresolveStage(MipRun &run) {
  int count = 0;
  const IntegerPresolvePass *passes = integerPresolvePasses(&count);
  for (int k = 0; k < count; ++k) {
    int changes = 0;
    QVN_TRY(passes[k].apply(run, nullptr, &changes));
  }
  return 0;
}

int rootCutRounds(MipRun &run) {
  int count = 0;
  const CutFamily *families = cutFamilies(&count);
  if (count == 0) return 0;
  const double *x = relaxPrimal(*run.search->nodeLp);
  for (int k = 0; k < count; ++k) {
    int added = 0;
    QVN_TRY(families[k].separate(run, nullptr, x, &added));
  }
  return 0;
}

int separateAtNode(MipRun &run, const double *x, int *added) {
  *added = 0;
  int count = 0;
  const CutFamily *families = cutFamilies(&count);
  for (int k = 0; k < count; ++k) {
    int found = 0;
    QVN_TRY(families[k].separate(run, nullptr, x, &found));
    *added += found;
  }
  return 0;
}

int heuristicStep(MipRun &run, unsigned when) {
  int count = 0;
  const Heuristic *list = heuristics(&count);
  for (int k = 0; k < count; ++k) {
    if (!(list[k].when & when)) continue;
    int found = 0;
    QVN_TRY(list[k].run(run, nullptr, &found));
  }
  return 0;
}

} // namespace qvn
