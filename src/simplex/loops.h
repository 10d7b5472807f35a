// The simplex main loops. Each returns a run status of engine.h, or an error
// number of 1000 and above.
#pragma once
#include "simplex/engine.h"

namespace qvn {

int runDualSimplex(SimplexEngine &e);
int runPrimalSimplex(SimplexEngine &e);

} // namespace qvn
