// The barrier optimizer: a primal-dual interior point method with Mehrotra's
// predictor-corrector on the normal equations, and the crossover of its point
// to a basis on which the simplex finishes.
#pragma once
#include "barrier/ordering/cholesky.h"
#include "model/problem.h"
#include "simplex/work_lp.h"

namespace qvn {

// Outcome of the interior point run, by the numbers of the status table.
enum BarrierStatus {
  kBarOptimal = 1, kBarUnbounded = 2, kBarInfeasible = 3, kBarNumerical = 6, kBarIterLimit = 10,
  kBarTimeLimit = 11, kBarAborted = 13, kBarFaceUnbounded = 20, kBarPrimalObjLimit = 21, kBarDualObjLimit = 22
};

// The point of an interior point run on a WorkLp (all nt variables, unscaled,
// minimization sense): values, row duals and reduced costs.
struct BarrierResult {
  int status = kBarNumerical;
  int iterations = 0;
  EnvVector<double> x, y, z;
  double primalObjective = 0.0, dualObjective = 0.0;
  double factorNonzeros = 0.0, factorFlops = 0.0;
  int denseColumns = 0;
  bool selfDual = false;  // the verdict came from the infeasibility-ratio form
};

struct BarrierControl {
  int iterationLimit = 2100000000;
  double complementarityTol = 1e-8;
  double timeLimit = 1e75;  // process seconds
  int display = 1;
  int maxCorrections = -1;
  int startRule = 1;
  double objectiveRange = 1e20;
  double growthLimit = 1e12;
  int noProgressIterations = 50;
  double stepFactor = 0.0;  // 0: the barrier's own fraction to the boundary
  bool numericalEmphasis = false;
  // The infeasibility-ratio (self-dual) form: 1 from the start, 0 never, -1
  // when the plain form ends without a verdict. LPs only.
  int useInfRatio = -1;
  const double *qdiag = nullptr;  // diagonal of Q per variable of w, or null for an LP
};

// The control of a run from the parameters of env.
void barrierControlFromParams(const Environment *env, BarrierControl &ctl);

// Runs the interior point method on w. Returns 0 or an error (1001).
int barrierRun(Environment *env, const WorkLp &w, const BarrierControl &ctl, BarrierResult &out);

// Basis statuses (0 lower, 1 basic, 2 upper, 3 free at zero) of every variable
// of w from an interior point: the m variables farthest inside their bounds
// relative to their reduced costs are basic, the rest sit at the nearer bound.
void crossoverBasis(const WorkLp &w, const BarrierResult &r, int *colStatus, int *rowStatus);

using SimplexSolveFn = int (*)(Environment *env, Problem *lp, int method);
// One barrier solve of lp as it stands, with a crossover finished by `simplex`
// (primal) when `crossover` is not -1.
int barrierSolveProblem(Environment *env, Problem *lp, int crossover, SimplexSolveFn simplex);

// One barrier solve of a problem with a convex quadratic objective, without
// presolve or crossover. Returns 0, 5002 when Q is not positive
// semi-definite (negative semi-definite for a maximization), or an error.
int barrierSolveQuadratic(Environment *env, Problem *lp);
// The test of semi-definiteness that barrierSolveQuadratic makes, alone:
// 0, or 5002 with its message.
int quadraticConvexityTest(Environment *env, const Problem *lp);

} // namespace qvn
