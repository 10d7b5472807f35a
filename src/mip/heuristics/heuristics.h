// Primal heuristics of branch and cut: the node heuristic (rounding and the
// dives on the node LP), the feasibility pump, and the sub-MIP heuristics
// (RINS, repair, polishing, local branching) that search a restricted copy
// of the model with the same optimizer in a child Environment.
//
// A heuristic never installs a solution: it offers it to offerIncumbent,
// which tests it on the model itself. Every routine leaves the node LP with
// the bounds, costs and basis it found.
#pragma once
#include <cstdint>

#include "mip/mip_run.h"
#include "simplex/lp_relaxation.h"

namespace qvn {

// Dive modes of the node heuristic's last stage (1..4) and the two first
// dives, which use modes 0 and 3.
enum DiveMode : int {
  kDiveFractional = 0,   // nearest rounding of the least fractional column
  kDiveCoefficient = 1,  // the rounding direction that breaks fewest rows
  kDiveGuided = 2,       // towards the incumbent
  kDivePseudoCost = 3,   // the direction and column the pseudo costs favour
  kDiveFixAndDive = 4,   // reduced-cost fixing of integral columns, then a dive
  kDiveModeCount = 5
};

// What the heuristics keep for a whole search (across resumed calls).
struct HeuristicState {
  int heurFailStreak = 0;
  // Effort counters: simplex iterations and calls of the rounding-and-dive
  // routine (0) and of the other dives (1).
  double effortIterations[2] = {0.0, 0.0};
  double effortCalls[2] = {0.0, 0.0};
  int successes[kDiveModeCount] = {};
  double mutationRate = 0.5;
  double mutationStep = 0.05;
  // The private random stream: s := s * 1103515245 + 12345 mod 2^32.
  uint32_t random = 1;
  // Model rows row-wise with finite limits, and the locks of each column: rows
  // that moving it up (or down) can violate.
  bool prepared = false;
  int numRows = 0;
  EnvVector<int64_t> rowStart;
  EnvVector<int> rowColumn;
  EnvVector<double> rowValue, rowLower, rowUpper;
  EnvVector<int> upLocks, downLocks;
  // Work arrays of the rounding step.
  EnvVector<double> point, activity;
  // The MIP start retained for repair (column, value), empty when none.
  EnvVector<int> repairColumn;
  EnvVector<double> repairValue;
  bool repairChecked = false;
  bool pumpDone = false;
  int lastLocalBranchingFound = 0;
  int subMipCalls = 0, subMipSuccesses = 0;
  int callsFound = 0;  // calls of a table row that gave a new incumbent
  double subMipSeconds = 0.0;  // wall time spent in child solves
};

// The state of this run's search, made on first use. Throws std::bad_alloc.
HeuristicState &heuristicState(MipRun &run);
void destroyHeuristicState(HeuristicState *&state);
// Next value of the private stream in [0, 1).
double heuristicRandom(HeuristicState &h);
// True when the run must stop: deadline or terminate request.
bool heuristicMustStop(const MipRun &run);
// RINSHEUR and REPAIRTRIES as the run uses them: the emphasis on hidden
// feasible solutions (4) turns their defaults into 100 and 10.
int rinsFrequency(const MipRun &run);
int repairTries(const MipRun &run);
// True for an integer or semi-integer column.
bool isIntegerColumn(const MipRun &run, int j);

// Rounds the integer columns of x (one value per model column) by the locks,
// repairs rows with bounded moves of the other columns, and offers the point
// when it is feasible. *found is set when it became the incumbent.
int roundingHeuristic(MipRun &run, const double *x, bool *found);

// One dive on the node LP in the given mode; the LP is restored afterwards.
// Iterations spent go into *iterations.
int diveHeuristic(MipRun &run, int mode, bool *found, double *iterations);

// The node heuristic: rounding, the two first dives, the feasibility pump at
// the root, then the dive modes 1..4 under the back-off.
int runNodeHeuristic(MipRun &run, bool atRoot, bool *found);

// Feasibility pump at the root (hidden parameter 2098).
int feasibilityPump(MipRun &run, bool *found);

// Sub-MIP modes: which columns the restricted copy fixes.
enum SubMipMode : int {
  kSubMipRins = 0,         // integers where node LP and incumbent agree
  kSubMipPolish = 1,       // incumbent values, each kept with the mutation rate
  kSubMipLpIntegral = 2,   // integers that the node LP has at an integer value
  kSubMipRepair = 3,       // values of the retained MIP start that the LP agrees with
  kSubMipRinsNode = 5,     // RINS on the node's own LP
};

// Solves a restricted copy of the model in a child Environment with at most
// min(nodeLimit, SUBMIPNODELIM) nodes and the parent's remaining time; an
// improving solution is offered. Returns 0 or an error the parent must see
// (1001); every other failure of the child ends the heuristic quietly.
int subMipSolve(MipRun &run, int mode, int nodeLimit, bool *found);
// Local branching: the incumbent's binaries may change in at most k places
// (hidden parameter 2069).
int localBranching(MipRun &run, bool *found);

// The table rows. runTimedHeuristics holds the node sub-MIPs and RINS; the
// repair heuristic, which also runs at the root, has a row of its own.
int nodeHeuristicRow(MipRun &run, void *data, int *found);
int runTimedHeuristics(MipRun &run, void *data, int *found);
int repairRow(MipRun &run, void *data, int *found);
int tryPolishing(MipRun &run, void *data, int *found);
int localBranchingRow(MipRun &run, void *data, int *found);

} // namespace qvn
