// The inside of LpRelaxation, shared by its files and by the optimizer entry
// points, which drive one relaxation per call.
//
// Two engines: `work` runs on the scaled copy when scaling is in force (on
// `lp` otherwise) and holds the basis, factor and weights across solves;
// `finish` is set up on the unscaled LP only when an answer of the scaled run
// misses the tolerances there, or always when `checkByFactor` asks for the
// unscaled check through a factorization of its own.
#pragma once
#include "simplex/engine.h"
#include "simplex/lp_relaxation.h"
#include "simplex/scaling.h"

namespace qvn {

struct LpRelaxation {
  Environment *env = nullptr;
  WorkLp lp;           // unscaled computational form
  ScaleFactors scale;  // kind >= 0 when `scaled` is in use
  WorkLp scaled;
  bool useScaled = false;
  SimplexEngine work;
  SimplexEngine finish;
  bool finishUsed = false;     // the last solve ended in `finish`
  bool checkByFactor = false;  // the optimizer's unscaled finish on every solve
  // A caller's solve: the unscaled finish of a scaled optimum is capped, and
  // when it cannot finish within the cap the scaled answer stands as status
  // 5 (kRunOptimalUnscaledInfeas), its values then in the results below.
  bool capReentry = false;
  // The held basis is dual feasible: the last solve found an optimum and only
  // bounds changed since (rows added with basic logicals keep it so too).
  bool dualFeasible = false;
  // The duals and reduced costs held in `work` are those of the real costs on
  // the held basis and factor (computed at the end of the last solve, nothing
  // moved since): the next dual run from the held factor need not recompute them.
  bool dualsHeld = false;

  // Results of the last solve, unscaled, minimization sense.
  EnvVector<double> x, rowActivity, duals, reducedCosts;
  double objective = 0.0;
  int iterations = 0;
  int lastStatus = 0;
  double trialIterations = 0.0;  // of all strong-branching trials
  // A trial's solve: an optimum of shifted costs is not finished by the
  // primal loop (boundOnly), and `unfinished` tells the trial that its
  // objective is no bound then.
  bool boundOnly = false, unfinished = false;
};

struct RelaxState {
  int numRows = 0;
  EnvVector<double> lpLower, lpUpper, lpCost, scLower, scUpper, scCost;
  EnvVector<int> head, basicPos;
  EnvVector<signed char> move;
  EnvVector<double> x, cost, lower, upper, dual, dj, dualWeights, primalWeights;
  bool dualWeightsValid = false, primalWeightsValid = false, factorCurrent = false, mustRefactor = false;
  bool startGiven = false;
  double markowitz = 0.0;
  LuFactor *lu = nullptr;  // copy of the factor, when it was current
  // What tells that the factor was neither updated nor rebuilt since.
  int factorizations = 0, luUpdates = 0, luPosEnd = 0;
  int64_t luEtaUsed = 0;
  EnvVector<double> rx, rRow, rDual, rRc;
  double objective = 0.0;
  int iterations = 0, lastStatus = 0;
  bool dualFeasible = false, dualsHeld = false;
};

// The working LP of the engine that holds the basis.
inline const WorkLp &workingLp(const LpRelaxation &r) { return r.useScaled ? r.scaled : r.lp; }

// Scale of variable j (x' = x * s): the column factor of a structural, the
// inverse row factor of a logical; 1 without scaling.
inline double variableScale(const LpRelaxation &r, int j) {
  if (!r.useScaled) return 1.0;
  return j < r.lp.numCol ? r.scale.colScale[j] : 1.0 / r.scale.rowScale[j - r.lp.numCol];
}

// Rebuilds the scaled copy from `lp` and the held factors.
void rescaleCopy(LpRelaxation &r);
// Gives `work` a fresh setup on the working LP with the basis given by
// variable (head order kept where `head` lists it; new positions appended)
// and the dual weights by variable (0 for none). 0 or an error.
int reseatEngine(LpRelaxation &r, const EnvVector<int> &headVars, const EnvVector<signed char> &moves,
                 const EnvVector<double> &xs, const EnvVector<double> &weightsByVar, bool weightsValid);
// Sizes the result arrays to the LP.
void sizeResults(LpRelaxation &r);

// The method run of the optimizer: dual or primal, the primal after an
// unbounded dual, and a primal finish after cost shifts that leave the real
// costs dual infeasible. With `exact` false that finish is left out (the
// caller wants a bound, which the duals of the real costs still prove) and
// *unfinished tells when it was.
int runMethod(SimplexEngine &e, RelaxMethod method, bool exact = true, bool *unfinished = nullptr);
// The working costs and bounds of the LP as it now stands, with every
// nonbasic variable at a bound it still has.
void resetWorkingData(SimplexEngine &e);
// Limits of one solve of the relaxation; the solve may start from the held factor.
void applyLimits(SimplexEngine &e, const RelaxSolveLimits &limits);
// A factor that represents the basis (refactors only when it does not).
int ensureFactor(SimplexEngine &e);
// One solve from the held basis of `work` with the limits already set; see
// lp_relaxation.cpp. *status receives the run status; returns 0 or an error.
int solveHeld(LpRelaxation &r, RelaxMethod method, bool finishAlways, bool verify, int *status);
// Results of engine f (work or finish) after a solve with run status `run`:
// the real costs back, duals recomputed unless `dualsReady`, everything unscaled.
void collectResults(LpRelaxation &r, SimplexEngine &f, int run, bool dualsReady);
// The engine that ended the last solve.
inline SimplexEngine &finalEngine(LpRelaxation &r) { return r.finishUsed ? r.finish : r.work; }
// Pricing weights of one run handed to another engine over the same basis.
void carryNorms(const SimplexEngine &from, SimplexEngine &to);

} // namespace qvn
