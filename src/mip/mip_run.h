// One call of the MIP optimizer: what the driver, the root, the node loop and
// the incumbent code share while the call lasts.
#pragma once
#include "mip/branching.h"
#include "mip/mip_search.h"
#include "model/mip_data.h"

namespace qvn {

// How a node's LP ended.
enum class NodeOutcome { kFractional, kIntegral, kInfeasible, kCutoff, kLpTrouble, kStop };

// A special ordered set that the node LP's point violates, and where to split
// it: the members after `split` go in the down child, those up to it (SOS1) or
// before it (SOS2) in the up child.
struct SosCandidate {
  int set;
  int split;        // position in the set's member list
  double weight;    // weight sum of the members at nonzero values
  double share;     // part of the set's mass on the members up to the split
};

struct DebugSolution;

struct MipRun {
  Environment *env;
  Problem *lp;
  const LpData *model;
  MipSearch *search;
  MipControl control;
  int sense;               // objective sense of the model: 1 minimize, -1 maximize
  double nodesAtStart;     // node count when this call began
  int stopStatus = 0;      // a limit status of 101..119, or 0
  const BranchRule *rule = nullptr;
  // Work arrays sized once per call.
  EnvVector<BranchCandidate> candidates;
  EnvVector<int> semiCandidates;
  EnvVector<SosCandidate> sosCandidates;
  const SosData *sos = nullptr;  // the model's sets, null when none
  EnvVector<int> colStatus, rowStatus;
  EnvVector<double> nodeLower, nodeUpper;
  // Loading a node: the columns whose bounds change, once each.
  EnvVector<int> touched;
  EnvVector<char> touchMark;
  EnvVector<double> touchedLower, touchedUpper;
  // Priority order of QVNcopyorder by column (-1 for none) and its branch
  // directions (1 up, -1 down, 0 free); empty when no order is in use.
  EnvVector<int> priority, orderDirection;
  int lpFailures = 0;      // node LPs that ended neither optimal nor proved
  int unprovedDrops = 0;   // troubled nodes dropped without a bound (see MipSearch::unprovedBound)
  int diveSteps = 0;
  DebugSolution *debug = nullptr;  // a known solution the search must not cut off
  // A stop asked by a callback: 113 (aborted) or a failure of 1000 and up.
  int callbackStop = 0;
};

// Seconds of the run on its limit clock (process time unless CLOCKTYPE is 2).
double elapsedSeconds(const MipRun &run);
// Objective value in the user's sense of a minimization-sense value.
inline double userValue(const MipRun &run, double v) { return run.sense * v; }

// The cutoff that an incumbent of objective z implies, minimization sense.
double cutoffFor(const MipControl &c, double z);
// Offers x (one value per model column) found at node `node`. True when it
// became the incumbent; it then also moves the cutoff.
bool offerIncumbent(MipRun &run, const double *x, int node, bool fromHeuristic);
// The node log's line of a new incumbent, '+' marking one a heuristic
// found; `left` open nodes, `current` the node in hand (null at the root).
void logIncumbent(MipRun &run, int left, const NodeRecord *current, bool fromHeuristic);
// Largest violation of bounds, rows and integrality of x in the model's own
// units (integrality measured against `epint`).
double solutionViolation(const LpData &d, const EnvVector<ColKind> &kind, const double *semiLower,
                         const double *x, double *integrality);
// Largest value of a set member that its set forbids to be nonzero: beyond the
// first nonzero for SOS1, beyond the first two adjacent ones for SOS2.
double sosViolation(const SosData *sos, const double *x);

// Stages.
// Tries the held MIP start when ADVIND allows; an integer point found becomes
// the incumbent before the root is solved.
int tryMipStart(MipRun &run);
int mipRoot(MipRun &run);
int mipRootRounds(MipRun &run);
int runNodeLoop(MipRun &run);
// The node LP's basis as a record children can share (column statuses, then
// row statuses, with the cut pool's row epoch).
SharedBasis *snapshotBasis(MipRun &run);
// Lowest bound over the store, the resume node and the incumbent.
double currentBestBound(const MipRun &run, const NodeRecord *current);

} // namespace qvn
