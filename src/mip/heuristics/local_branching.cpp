// Local branching: after a new incumbent, a copy of the model with one more
// row, allowing at most k of the incumbent's binaries to change value
// (k is hidden parameter 2069), is searched for a better solution.
#include <cmath>

#include "mip/heuristics/heuristics.h"
#include "mip/heuristics/submip.h"
#include "mip/plugins.h"

namespace qvn {

int localBranching(MipRun &run, bool *found) {
  *found = false;
  const MipSearch &s = *run.search;
  const LpData &d = *run.model;
  if (!s.incumbent.exists) return 0;
  SubMipFixing fix;
  fix.extraCoef.assign(static_cast<size_t>(d.numCols), 0.0);
  // sum over binaries at 0 of x_j + sum over binaries at 1 of (1 - x_j) <= k.
  double rhs = run.env->mipParams->p2069;
  int binaries = 0;
  for (int j = 0; j < d.numCols; ++j) {
    if (s.kind[j] != ColKind::kInteger || s.rootLower[j] != 0.0 || s.rootUpper[j] != 1.0) continue;
    ++binaries;
    if (s.incumbent.x[j] > 0.5) {
      fix.extraCoef[j] = -1.0;
      rhs -= 1.0;
    } else {
      fix.extraCoef[j] = 1.0;
    }
  }
  if (binaries == 0) return 0;
  fix.extraRhs = rhs;
  return solveRestrictedCopy(run, fix, run.env->mipParams->submipnodelim, found);
}

int localBranchingRow(MipRun &run, void *data, int *found) {
  *found = 0;
  (void)data;
  if (run.env->mipParams->lbheur != 1 || run.search->nodeCount <= 0) return 0;
  HeuristicState &h = heuristicState(run);
  // Once per new incumbent.
  if (run.search->incumbent.found == h.lastLocalBranchingFound) return 0;
  h.lastLocalBranchingFound = run.search->incumbent.found;
  bool hit = false;
  QVN_TRY(localBranching(run, &hit));
  if (hit) h.lastLocalBranchingFound = run.search->incumbent.found;
  *found = hit ? 1 : 0;
  return 0;
}

} // namespace qvn
