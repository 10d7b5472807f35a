// Before a loop's "infeasible" leaves the library it must be backed by a row
// combination that no point of the unscaled model can satisfy. The loops
// judge on scaled values, moved bounds and tolerances of their own; the
// check shares none of that.
#pragma once
#include "simplex/engine.h"

namespace qvn {

// Counts of the robustness paths over the life of the process, for the
// stress benchmarks and the tests.
struct ClaimCounters {
  long long checked = 0;     // infeasibility claims put to the check
  long long refused = 0;     // claims no row combination proved
  long long recovered = 0;   // refused claims that a further run turned into an optimum
  long long unresolved = 0;  // refused claims left as "not proved optimal"
};
ClaimCounters &claimCounters();

// True when a row combination proves that `real` (the unscaled LP of the
// engine's basis) has no point within `tol` of its bounds and rows. The
// candidates are taken in the engine's own space: the duals of the phase 1
// costs of its basic values, the row of B^-1 at `claimVar` (the loop's last
// leaving variable, -1 for none), then rows at other infeasible basic
// variables. `rowFactor` maps an engine row multiplier to the real LP's
// (null: none). The engine's factor must represent its basis.
bool infeasibilityProved(SimplexEngine &e, const WorkLp &real, const double *rowFactor, double tol);

} // namespace qvn
