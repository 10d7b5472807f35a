// The restricted copy that the sub-MIP heuristics hand to the child solve.
#pragma once
#include "mip/heuristics/heuristics.h"

namespace qvn {

struct SubMipFixing {
  EnvVector<int> column;   // columns fixed ...
  EnvVector<double> value; // ... at these values
  // One more row sum extraCoef[j] x_j <= extraRhs, when extraCoef is not empty.
  EnvVector<double> extraCoef;
  double extraRhs = 0.0;
};

// Builds the copy with the fixings, solves it in a child Environment with at
// most min(nodeLimit, SUBMIPNODELIM) nodes and offers what it finds.
int solveRestrictedCopy(MipRun &run, const SubMipFixing &fix, int nodeLimit, bool *found);

} // namespace qvn
