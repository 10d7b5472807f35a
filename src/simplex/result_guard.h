// What the continuous optimizers check at their door and at their exit,
// independently of the loops: numbers that no loop can work with, bounds that
// leave no point, and an "optimal" answer whose point is not feasible.
#pragma once
#include "model/problem.h"

namespace qvn {

// One pass over the model's numbers. 1225 for a NaN anywhere (objective,
// offset, right-hand sides, ranges of ranged rows, matrix, bounds), 1233
// for an infinite objective coefficient, offset, right-hand side, range or
// matrix entry; infinite bounds are bounds. The position printed is the entry's index in
// its own array (matrix entries counted in column order). Pending data must
// have been merged first.
int refuseNonFiniteData(const Environment *env, const LpData &d);

// The first column whose lower bound lies above its upper bound by more than
// `tol`, or -1.
int contradictoryBound(const LpData &d, double tol);

// Bounds that leave no point settle the run before any loop: status
// "infeasible" with no solution, and "Warning:  Bounds on '%s' contradictory."
// on the warning channel. True when that happened.
bool settleContradictoryBounds(Environment *env, Problem *lp);

// The largest violation of a bound or a row by the primal values `x` (one per
// column), each measured against `tol` widened by the rounding that the
// row's terms allow; `where` receives the column (>= 0) or the row (-1 - i)
// of the worst one, or stays untouched when nothing is violated. Returns the
// worst ratio of violation to its allowance (above 1 is a violation).
double worstViolationRatio(const LpData &d, const double *x, double tol, int *where);

// An "optimal" status whose stored point violates a bound or a row beyond the
// feasibility tolerance becomes "optimal with unscaled infeasibilities", with
// a line on the warning channel. Costs one pass over the matrix.
void guardOptimalResult(Environment *env, Problem *lp);

} // namespace qvn
