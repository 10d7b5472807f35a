// Branching rules behind one table of functions.
//
// A rule sees a fractional node through a MipContext: the node LP at its
// optimum, the candidates with their values, the node's bounds, the pseudo
// costs and the run's parameters. It returns the two child records, the first
// one to be explored first, and may prove bound changes of the node on the way
// (a strong branch that is infeasible in one direction), which it lists in
// `proved`. Rules never touch the Problem or the simplex engine.
#pragma once
#include "mip/mip_search.h"
#include "simplex/lp_relaxation.h"

namespace qvn {

struct BranchCandidate {
  int col;
  double value;     // LP value
  double fraction;  // value - floor(value)
};

struct MipContext {
  Environment *env;
  LpRelaxation *nodeLp;
  const LpData *model;
  const MipControl *control;
  PseudoCostTable *pseudo;
  const double *x;
  const double *lower, *upper;  // the node's bounds, per column
  BranchCandidate *candidates;  // order may be changed by a rule
  int candidateCount;
  double objective;  // node LP objective, minimization sense
  double cutoff;
  double timeLeft;  // seconds
  int objSense;
  double strongIterations;  // iterations spent by trial solves, added by strongTrial
  EnvVector<BoundChange> *proved;
  bool nodeInfeasible;  // both directions of some candidate fail
  double objectiveRaise;  // a proved lower bound on the node's optimum
  // The node LP's state that trials go back to, saved by the first trial and
  // dropped when a proved change alters the LP; null: each trial saves its own.
  SavedRelaxState *trialBase;
};

struct BranchRecord {
  char direction;  // 'U' raises the lower bound, 'D' lowers the upper bound
  int variable;
  double branchValue;
  double estimate;  // expected objective increase of the child
};

struct BranchRule {
  const char *name;
  int varsel;  // -1..4
  int (*select)(MipContext &ctx, void *data, BranchRecord out[2]);
};

// The rule of a resolved variable selection; never null.
const BranchRule *findBranchRule(int varsel);

// Scores shared by the rules.
inline double scoreSum(double a, double b) { return 10.0 * (a < b ? a : b) + (a < b ? b : a); }
inline double scoreProduct(double a, double b) { return (a + 1e-6) * (b + 1e-6); }

// Fills both records for a branch on candidate `c`, `up` first or not.
void makeBranchPair(const BranchCandidate &c, bool upFirst, double downEstimate, double upEstimate,
                    BranchRecord out[2]);

// Strong branching trial on candidate c; estimates are objective increases,
// 1e75 for a side that is infeasible or reaches the cutoff. Records proved
// bound changes in ctx. Returns 0 or an error.
int strongTrial(MipContext &ctx, const BranchCandidate &c, int iterationLimit, double *downGain,
                double *upGain);

// Records a proved bound change of the node and applies it on the node LP.
void proveBound(MipContext &ctx, int col, double lower, double upper);

// Pseudo-cost observation after a child's LP: `gain` is the objective change,
// `fraction` the parent's fractional part of the branched column.
void observePseudoCost(PseudoCostTable &t, int col, bool up, double gain, double fraction);
// The same after a child of a branch on set `set`: `weight` is the weight sum
// of the set's nonzero members at the parent, `share` the part of the set's
// mass that the down child keeps.
void observeSetPseudoCost(PseudoCostTable &t, int set, bool up, double gain, double weight, double share);
// Expected objective changes of the two children of a set branch.
void setPseudoEstimates(const PseudoCostTable &t, int set, double weight, double share, double *down, double *up);

int selectMinInfeasibility(MipContext &ctx, void *data, BranchRecord out[2]);
int selectMaxInfeasibility(MipContext &ctx, void *data, BranchRecord out[2]);
int selectPseudoCost(MipContext &ctx, void *data, BranchRecord out[2]);
int selectStrong(MipContext &ctx, void *data, BranchRecord out[2]);
int selectPseudoReducedCost(MipContext &ctx, void *data, BranchRecord out[2]);

} // namespace qvn
