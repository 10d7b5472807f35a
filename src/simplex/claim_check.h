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
  long long checked = 0;     // infeasibility and unboundedness claims put to the check
  long long refused = 0;     // claims no row combination proved
  long long recovered = 0;   // refused claims that a further run turned into an optimum
  long long unresolved = 0;  // refused claims left as "not proved optimal"
  long long cappedReentries = 0;  // unscaled finishes of a scaled optimum run under the iteration cap
  long long unscaledOptimal = 0;  // of those, the ones that left the scaled answer standing (status 5)
  long long primalBans = 0;       // entering candidates the primal ratio test refused
  long long repairs = 0;          // factorizations that replaced dependent basic columns
};
ClaimCounters &claimCounters();

// True when a row combination proves that `real` (the unscaled LP of the
// engine's basis) has no point. The
// candidates are taken in the engine's own space: the duals of the phase 1
// costs of its basic values, the row of B^-1 at `claimVar` (the loop's last
// leaving variable, -1 for none), then rows at other infeasible basic
// variables. `rowFactor` maps an engine row multiplier to the real LP's
// (null: none). The engine's factor must represent its basis.
bool infeasibilityProved(SimplexEngine &e, const WorkLp &real, const double *rowFactor);

// True when the move of e.claimVar in direction e.claimDir, with the basic
// variables following it, is a ray of `real`: no finite bound stops it,
// every row holds along it, and the objective falls. `varFactor` maps an
// engine variable's move to the real LP's (null: none). The engine's factor
// must represent its basis.
bool rayProved(SimplexEngine &e, const WorkLp &real, const double *varFactor);

} // namespace qvn
