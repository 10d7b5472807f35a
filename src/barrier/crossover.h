// Crossover: from the interior point of a barrier run to a basis.
//
// The point (x, y, z) lives on the computational form of the simplex
// (work_lp.h): [A, -I] x = 0 with bounds on every variable, z = c - [A, -I]^T y.
// At an optimum x and z are complementary: z_j > 0 only where x_j sits at its
// lower bound, z_j < 0 only at its upper bound. The crossover keeps that:
//   - a crash picks a basis among the variables strictly inside their bounds;
//   - primal pushes move every other nonbasic variable off the interior to a
//     bound (or into the basis, the blocking basic variable leaving), with a
//     ratio test that keeps x within its bounds;
//   - dual pushes move y so that the reduced cost of every basic variable
//     becomes 0 (or a nonbasic one whose reduced cost reaches 0 first enters),
//     with a ratio test that keeps the reduced costs of the right sign.
// Primal crossover runs the primal pushes first, dual crossover the dual ones;
// the simplex of the same side then finishes on the basis left.
#pragma once
#include <chrono>

#include "barrier/barrier.h"
#include "simplex/engine.h"

namespace qvn {

// Which crossover a solve asks for: the values of QVN_PARAM_BARCROSSALG and
// of the method argument of QVNhybbaropt.
enum class CrossoverKind : int { kNone = -1, kAutomatic = 0, kPrimal = 1, kDual = 2 };

// The state of one crossover: the engine holds basis, factor and x; y and z
// are the dual point that the dual pushes move.
struct CrossoverWork {
  SimplexEngine e;
  EnvVector<double> y, z;
  EnvVector<int> list;          // superbasic variables for the primal pushes
  EnvVector<int> dualList;      // basic variables with a reduced cost, for the dual pushes
  EnvVector<double> start;      // the interior point's x, by variable
  EnvVector<double> kept;       // x before a refactorization, to measure the drift
  double drift = 0.0;           // largest relative change of a basic value at the last refactorization
  EnvVector<double> batchDuals;  // duals of the basis for the directions of a run of pushes
  EnvVector<signed char> batchMove;  // the bound each pushed member of a run ends at
  int driftCount = 0;           // refactorizations of the phase with a drift above 1
  bool breakdown = false;       // the drift showed an ill-conditioned basis: the phase stopped
  bool dualOnly = false;        // a dual crossover without its primal pushes
  CrossoverCounts counts;
  std::chrono::steady_clock::time_point began, lastElapsedLine;
  int moves = 0;                // pushes and exchanges of the phase running
  int stopStatus = 0;           // 10, 11 or 13 when a limit stopped the moves
  bool log = false;
  bool primalFirst = true;      // the primal pushes ran (or run) first
};

// Builds the engine on w, picks the crash basis from the interior point r and
// places the nonbasic variables: those within the snap tolerance of a bound
// at it, the rest kept where they are (superbasic). 0 or an error.
int crossoverCrash(CrossoverWork &cw, Environment *env, const WorkLp &w, const BarrierResult &r);

// The two phases. Each returns 0 or an error; a limit sets cw.stopStatus.
int primalPushes(CrossoverWork &cw);
int dualPushes(CrossoverWork &cw);

// Shared by the phases: factors the basis afresh and recomputes the basic
// values (and, when the dual point is in use, keeps z current).
int crossoverRefactor(CrossoverWork &cw);
// The limits a move honours, as a simplex iteration does: the iteration
// limit (counted in moves), the terminate flag and the time limit; sets
// cw.stopStatus and returns true when one is hit.
bool crossoverLimitHit(CrossoverWork &cw);
// Prints "Elapsed crossover time" every ten seconds of the moves.
void crossoverElapsedLine(CrossoverWork &cw, const char *what);
// Sum of the bound violations of the basic variables.
double primalInfeasibilitySum(const SimplexEngine &e);

// The crossover step of a barrier solve on lp (whose computational form is
// w and interior point r), finished by `simplex`: true in `crossed` when a
// basic solution was stored; false when the crossover stopped at a limit
// (r.status then holds 10, 11 or 13) so that the caller keeps the interior
// point. The counters go into lp's solution either way.
int crossoverSolve(Environment *env, Problem *lp, const WorkLp &w, BarrierResult &r, int kind, SimplexSolveFn simplex,
                   bool &crossed);

} // namespace qvn
