// Presolve for a problem with a quadratic objective, around the barrier.
#pragma once

struct Environment;
struct Problem;

namespace qvn {

// Solves lp, which has a convex quadratic objective, by the barrier: through
// presolve when QVN_PARAM_PREIND is on (the columns of Q are kept out of the
// reductions that reason with a linear cost), else as it stands. The answer
// is on lp; returns 0, 5002 or an error.
int quadraticSolveWithPresolve(Environment *env, Problem *lp);

} // namespace qvn
