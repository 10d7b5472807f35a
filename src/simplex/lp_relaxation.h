// A linear program kept alive across solves.
//
// Branch and cut, strong branching, diving heuristics and the advanced basis
// functions all re-solve one LP many times after small changes. This object
// holds what makes a re-solve cheap: the computational form (matrix, bounds,
// costs, its scaled copy), the basis, the factorization and the pricing
// weights. A change of bounds or costs keeps the factor; added rows enter with
// their logicals basic, so the factor grows by a cheap update or one
// refactorization; deleted rows whose logicals are basic leave the basis valid.
//
// Conventions:
// - Columns are numbered 0..numCols-1 as in the LpData the object was built
//   from; rows 0..numRows-1, the rows added later at the end.
// - Costs and objective values are in minimization sense: a maximization is
//   built with negated costs, and the caller multiplies by its own sense.
// - Basis statuses: 0 at lower, 1 basic, 2 at upper, 3 free nonbasic; a row's
//   status is the status of its logical (its activity), 0 at the row's lower
//   limit, 2 at its upper limit.
// - The object owns every array it hands out; the pointers stay valid until
//   the next call that changes or solves it.
// - Nothing here prints, reads parameters of a Problem or touches a Problem:
//   the caller passes its limits and display level explicitly.
#pragma once
#include "model/problem.h"
#include "runtime/environment.h"

namespace qvn {

struct LpRelaxation;
struct RelaxState;

enum class RelaxMethod { kDual, kPrimal };

// Outcomes use the run status numbers of the simplex engine (engine.h):
// kRunOptimal, kRunUnbounded, kRunInfeasible, kRunIterLimit, kRunObjLimit, ...
struct RelaxSolveLimits {
  RelaxMethod method = RelaxMethod::kDual;
  int iterationLimit = 2100000000;
  // The dual loop stops with kRunObjLimit once its objective (minimization
  // sense, offset included) provably exceeds this: a node that cannot beat
  // the incumbent needs no exact optimum.
  double objectiveLimit = 1e75;
  double timeLimit = 1e75;  // seconds of this solve
  int display = 0;          // iteration log through the Environment's log channel
};

// Builds the relaxation of `data` (integrality is ignored). 0 or an error.
int relaxCreate(Environment *env, const LpData &data, LpRelaxation **out);
void relaxFree(LpRelaxation *&r);

int relaxNumCols(const LpRelaxation &r);
int relaxNumRows(const LpRelaxation &r);

// Bounds of structural columns. Keeps basis and factor.
int relaxChangeBounds(LpRelaxation &r, int count, const int *cols, const double *lower,
                      const double *upper);
void relaxGetBounds(const LpRelaxation &r, int col, double *lower, double *upper);
// Limits lower <= a_i x <= upper of row i, cut rows included.
void relaxGetRowBounds(const LpRelaxation &r, int row, double *lower, double *upper);
// Costs of structural columns, minimization sense. Keeps basis and factor.
int relaxChangeCosts(LpRelaxation &r, int count, const int *cols, const double *costs);
// Appends `count` rows lower[k] <= a_k x <= upper[k], row k's entries in
// index/value from start[k] to start[k+1]. Their logicals enter the basis.
int relaxAddRows(LpRelaxation &r, int count, const double *lower, const double *upper, const int *start,
                 const int *index, const double *value);
// Deletes the rows whose mark is nonzero (numRows marks); the others keep their
// order. Where a deleted row's logical was nonbasic, the basis is repaired.
int relaxDeleteRows(LpRelaxation &r, const int *mark);

// Re-solves from the held basis. *status receives a run status; the return
// value is 0 or an error (1000 and above).
int relaxSolve(LpRelaxation &r, const RelaxSolveLimits &limits, int *status);

// Results of the last solve, unscaled, minimization sense.
double relaxObjective(const LpRelaxation &r);
const double *relaxPrimal(const LpRelaxation &r);       // numCols structural values
const double *relaxRowActivity(const LpRelaxation &r);  // numRows values a_i x
const double *relaxDuals(const LpRelaxation &r);        // numRows row duals
const double *relaxReducedCosts(const LpRelaxation &r); // numCols reduced costs
int relaxIterations(const LpRelaxation &r);             // of the last solve
// Iterations of every strong-branching trial since the relaxation was made;
// restoring a saved state leaves this count alone.
double relaxTrialIterations(const LpRelaxation &r);

void relaxGetBasis(const LpRelaxation &r, int *colStatus, int *rowStatus);
// Installs a basis. One that differs from the held basis in a few columns is
// reached by updates of the held factor (no factorization, pricing weights
// kept). `dualFeasible` tells that the basis is known to be dual feasible for
// the present costs and rows (an optimal basis of this relaxation, only
// bounds changed since), so that the dual simplex may start from it as it
// is; a wrong claim costs a dual phase 1, never a wrong answer.
int relaxSetBasis(LpRelaxation &r, const int *colStatus, const int *rowStatus, bool dualFeasible = false);

// Basic variable at basis position pos: a column j < numCols, or numCols + i
// for the logical of row i.
int relaxBasicVariable(const LpRelaxation &r, int pos);
// Row pos of B^{-1} [A, -I] (numCols + numRows dense entries), unscaled.
int relaxTableauRow(LpRelaxation &r, int pos, double *row);
// B^{-1} times column j of [A, -I] (numRows dense entries, by basis position).
int relaxTableauColumn(LpRelaxation &r, int j, double *column);

// Bounds, costs, basis and pricing weights, to go back to after trials.
int relaxSaveState(const LpRelaxation &r, RelaxState **out);
// Frees the state it holds when its scope ends, an allocation failure included.
struct SavedRelaxState {
  RelaxState *state = nullptr;
  SavedRelaxState() = default;
  SavedRelaxState(const SavedRelaxState &) = delete;
  SavedRelaxState &operator=(const SavedRelaxState &) = delete;
  ~SavedRelaxState();
};
int relaxRestoreState(LpRelaxation &r, const RelaxState &s);
void relaxFreeState(RelaxState *&s);

// Strong branching trial on column j: the down branch with upper bound
// `downUpper`, the up branch with lower bound `upLower`, each a dual simplex
// of at most `iterationLimit` iterations from the current optimal basis. The
// relaxation is left exactly as it was. Objectives are bounds on the
// branches' optima (infinite, 1e75, for an infeasible branch).
int relaxStrongBranch(LpRelaxation &r, int j, double downUpper, double upLower, int iterationLimit,
                      double *downObjective, int *downStatus, double *upObjective, int *upStatus);
// The same from a state saved by relaxSaveState on this relaxation as it now
// stands, for a series of trials at one node: each trial restores it. A side
// whose dual objective passes `objectiveLimit` stops there with status
// kRunObjLimit. A side stopped by the iteration limit, and one that ends at
// an optimum of shifted costs (kRunNonOptimal: no primal clean-up is spent
// on a trial), reports the bound its duals prove, which may lie below the
// node's own objective.
int relaxStrongBranchFrom(LpRelaxation &r, const RelaxState &base, int j, double downUpper, double upLower,
                          int iterationLimit, double objectiveLimit, double *downObjective, int *downStatus,
                          double *upObjective, int *upStatus);

} // namespace qvn
