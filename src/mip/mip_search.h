// The state of a branch and bound run on one Problem, kept across calls so
// that a run stopped by a limit resumes from its tree.
//
// All objective values in here are in minimization sense; they are
// multiplied by the objective sense only where printed or returned.
#pragma once
#include <chrono>

#include "mip/node_store.h"
#include "model/attachments.h"
#include "model/problem.h"
#include "runtime/environment.h"
#include "runtime/limit_clock.h"

namespace qvn {

struct LpRelaxation;
struct CutPool;
struct HeuristicState;

// The best integer solution found, in the model's columns.
struct IncumbentStore {
  bool exists = false;
  double objective = kTreeInfinity;  // minimization sense, offset included
  int node = -1;
  int found = 0;  // improved solutions in this tree
  EnvVector<double> x;
  // The final check's largest unscaled infeasibility of x.
  double infeasibility = 0.0;
};

// Pseudo costs: the largest objective change per unit of fraction ever seen.
struct PseudoCostTable {
  EnvVector<int> updateCount;
  EnvVector<double> downCost, upCost;
  // The same for branches on special ordered sets, one entry per set: the
  // change per unit of the set's weight on the side a child gives up.
  EnvVector<int> setUpdateCount;
  EnvVector<double> setDownCost, setUpCost;
};

enum class ColKind : unsigned char { kContinuous, kInteger, kSemiContinuous, kSemiInteger };

// Parameters of a run, read once at its start.
struct MipControl {
  int brdir = 0, divetype = 0, display = 2, interval = 100, nodeLimit = 2100000000, ordind = 1;
  int solutionLimit = 2100000000, nodeSelect = 1, varSelect = 1, strongItLimit = 0, strongCandLimit = 10;
  int emphasis = 0;
  double timeLimit = 1e75, epagap = 1e-6, epgap = 1e-4, epint = 1e-5, bttol = 0.9999;
  double objdif = 0.0, relobjdif = 0.0, cutup = 1e75, cutlo = -1e75;
  // Every integer solution's objective is the offset plus a multiple of this
  // step (0 when no such step is known).
  double objectiveStep = 0.0;
  LimitClock start;
};

} // namespace qvn

struct MipSearch {
  // A final status (101, 103, 115, 118, 119) makes the next call return at once.
  int finalStatus = 0;
  qvn::LpRelaxation *nodeLp = nullptr;
  // The column kinds and the working bounds of the root.
  qvn::EnvVector<qvn::ColKind> kind;
  qvn::EnvVector<double> rootLower, rootUpper, semiLower;
  int integerCount = 0;
  qvn::IncumbentStore incumbent;
  qvn::PseudoCostTable pseudo;
  qvn::NodeStore store;
  qvn::CutPool *cuts = nullptr;  // root cuts, their counters and the model row-wise
  qvn::HeuristicState *heuristics = nullptr;  // counters and work of the primal heuristics
  // Nodes the last run left between its slots, handed back on resume.
  qvn::NodeRecord *resume = nullptr;
  // Counters of the whole tree.
  double nodeCount = 0, iterationTotal = 0, rootIterations = 0;
  // The part of iterationTotal spent by strong-branching trials.
  double trialIterations = 0;
  int nodesMade = 0;
  // Root record.
  bool rootSolved = false;
  int rootIinf = -1;
  double rootSumInf = 0.0, estimateScale = 0.5, secondScale = 0.5;
  double rootObjective = qvn::kTreeInfinity, rootBound = -qvn::kTreeInfinity;
  double referenceObjective = qvn::kTreeInfinity;
  double cutoff = qvn::kTreeInfinity;
  // Lowest bound of any open node when the last run stopped, minimization sense.
  double bestBound = -qvn::kTreeInfinity;
  // Lowest bound of the nodes dropped because their LP could not be solved
  // and nothing was left to branch on: no proof covers what they held, so
  // the best bound of the run stays at or below it.
  double unprovedBound = qvn::kTreeInfinity;
  // The stored basis of the root LP, for a resumed run.
  qvn::SharedBasis *rootBasis = nullptr;
  // Columns whose node LP bounds differ from the root's now.
  qvn::EnvVector<qvn::BoundChange> applied;
  // User handles of the nodes a branch callback made, by the node's nodeId.
  qvn::EnvVector<void *> nodeHandles;
  // Rows that branch callbacks put on subtrees.
  qvn::LocalRowTable localRows;
  int lastLoggedNode = -1;
  bool headerPrinted = false;
};

namespace qvn {

void destroyMipSearch(MipSearch *&search);
// The record under which a Problem keeps its search (mip_attachment.cpp).
extern const AttachmentOps kMipSearchAttachment;

// The incumbent of a MIP search, for the solution getters; null when the
// Problem has no search.
const IncumbentStore *mipIncumbent(const Problem *lp);
// The incumbent in the user's terms: objective, column values and row slacks
// (rhs minus activity). 0, 1217 without a MIP run, 3023 without an incumbent.
int mipSolutionPoint(const Problem *lp, double *objective, EnvVector<double> *x, EnvVector<double> *slack);

} // namespace qvn
