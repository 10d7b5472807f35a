// Presolve for a problem with a quadratic objective, around the barrier.
#pragma once

struct Environment;
struct Problem;

namespace qvn {

// Solves lp, which has a convex quadratic objective, by the barrier: through
// presolve when QVN_PARAM_PREIND is on and the reduced path is enabled (the
// columns of Q are kept out of the reductions that reason with a linear
// cost), else as it stands. The answer is on lp; returns 0, 5002 or an error.
int quadraticSolveWithPresolve(Environment *env, Problem *lp);

// The reduced path is off by default: on random convex QPs a few answers in
// a thousand still come back with duals (and rarely a row) that the whole
// problem does not confirm, and a wrong answer costs more than the time
// presolve saves. Its tests turn it on; it returns the previous setting.
bool enableQuadraticPresolve(bool on);

} // namespace qvn
