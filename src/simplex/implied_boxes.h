// Boxes for the dual simplex from the bounds that the rows imply.
//
// A variable with an infinite bound can be dual infeasible in a way no bound
// flip mends, and each such variable costs dual phase 1 iterations. When the
// rows bound it anyway, the implied bound (loosened by a margin) is given to
// the working copy: the feasible set and the optimum stay the same, and the
// variable can be flipped like any boxed one. Because of the margin no
// primal feasible point has a nonbasic variable at such a bound, so the
// optimal basis found is optimal for the real bounds too.
#pragma once
#include "simplex/engine.h"

namespace qvn {

struct ImpliedBoxes {
  EnvVector<int> changed;  // variables whose working bounds were tightened
  EnvVector<double> savedLower, savedUpper;
};

// Tightens the infinite working bounds of e that the rows bound to within
// reach; returns the number of variables changed.
int boxByImpliedBounds(SimplexEngine &e, ImpliedBoxes &b);
// Gives the changed variables their own bounds back. Returns true when a
// nonbasic variable sat at a bound that is gone: it is placed at a real one,
// and the primal values must be recomputed.
bool restoreImpliedBoxes(SimplexEngine &e, ImpliedBoxes &b);

} // namespace qvn
