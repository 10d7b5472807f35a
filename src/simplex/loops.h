// The simplex main loops. Each returns a run status of engine.h, or an error
// number of 1000 and above.
#pragma once
#include "simplex/engine.h"

namespace qvn {

int runDualSimplex(SimplexEngine &e);
int runPrimalSimplex(SimplexEngine &e);

// The second pass of a Harris ratio test over the entering column held in
// e.column: among the basic variables that reach a bound within `thetaMax`
// as the entering one moves in direction `dir`, the one with the largest
// pivot (entries below `columnZero` are rounding). Returns its position, or
// -1 when none; *pivot and *ratio get the size of its entry and its ratio.
int largestPivotWithin(const SimplexEngine &e, double dir, double thetaMax, double columnZero, double *pivot,
                       double *ratio);

} // namespace qvn
