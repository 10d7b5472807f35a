// The MIP callbacks as the run calls them: the informational callback at each
// turn of the node loop, the node callback when a node is taken from the
// store, the solve callback before a node LP, the cut callback at each solved
// node LP, the incumbent callback before a candidate is stored, the heuristic
// callback after a fractional node LP, the branch callbacks before children
// are made, and the delete-node callback when a node it knows leaves.
#pragma once
#include "mip/mip_run.h"
#include "mip/node_store.h"

namespace qvn {

inline bool hasMipCallback(const MipRun &run, MipCallbackKind kind) {
  return run.env->mipCallbacks[kind].function != nullptr;
}

// Puts `count` rows (sense 'L', 'G' or 'E', row r's entries from start[r] to
// start[r+1]) into the node LP for good, counted under `family`; no cut limit
// applies, since such a row may be all that keeps a wrong point out.
int addTreeRows(MipRun &run, int family, int count, const char *sense, const double *rhs, const int *start,
                const int *index, const double *value, int *added);

// Rows local to a subtree (callback_rows.cpp). The cut pool of the tree,
// made when first needed.
CutPool &treeCutPool(MipRun &run);
// Stores a row in the search's table; returns its number.
int appendLocalRow(MipSearch &s, char sense, double rhs, int count, const int *index, const double *value);
// Makes the node LP's local rows `wanted` (a node's list), changing only what
// differs from the rows it holds.
int installLocalRows(MipRun &run, const EnvVector<int> &wanted);
// True when x satisfies every row of `rows` (within 1e-6 of the row's scale).
bool localRowsHold(const MipSearch &s, const EnvVector<int> &rows, const double *x);

// Each returns 0 to go on, or what ends the run: 113 for a stop asked by the
// callback (the driver makes it 114 without an incumbent), or a failure of
// 1000 and above.
int callInfoCallback(MipRun &run, const NodeRecord *current);
// The informational callback from a root pass: wherefrom 107 (the clique
// table, phase 0, and probing, phase 1), 108 (Gomory), 109 (disjunctive) or
// 110 (flow cover and MIR), with the share of the pass done.
int callPassCallback(MipRun &run, int wherefrom, int phase, double fraction);
// The same after cut family `family` ran its pass (nothing for a family
// that has no call of its own).
int callFamilyPassCallback(MipRun &run, int family);
// Rows the callback added go into the node LP at once; *added counts them.
// Local cuts join the rows of `current`'s subtree.
int callCutCallback(MipRun &run, NodeRecord *current, const double *x, int *added);
// *accept false when the callback refuses the candidate (objective in
// minimization sense, x one value per column).
int callIncumbentCallback(MipRun &run, double objective, double *x, bool *accept);

// The hooks below return 0 or an error that ends the run; a stop the
// callback asks for goes into run.callbackStop, which the loop's limits test
// reads at the next turn.

// Node (103): takes the next node from the store into *node (null when the
// store is empty), the callback's pick when it makes one.
int popWithNodeCallback(MipRun &run, NodeRecord **node);
// Solve (105): before the node LP of `current` is solved. When the callback
// solved the node LP's copy and asks for its result, its basis is installed,
// so the solve that follows starts (and ends) there.
int callSolveCallback(MipRun &run, const NodeRecord *current);
// Heuristic (104): after the fractional node LP of `current` (objective in
// minimization sense); a point it returns is offered as an incumbent.
int callHeuristicCallback(MipRun &run, const NodeRecord *current, double objective);

// The branching the node loop is about to make, as a branch callback sees it.
struct BuiltInBranch {
  const BranchRecord *rec;  // two variable children, or null
  const SosCandidate *set;  // a set branch, or null
  double objective;         // node LP objective (or the node's bound without one)
  double sumInf;
  int iinf;
  bool noSolution;          // the node LP was not solved: wherefrom 113
};
// Branch (102) or branch without solution (113). When the callback makes the
// children itself they go to the store, *next is null and *branched and
// *sosBranch turn false, so the built-in branching stands aside.
int callBranchCallback(MipRun &run, NodeRecord &current, const BuiltInBranch &choice, NodeRecord **next,
                       bool *branched, bool *sosBranch);

// Delete node (112): `node` leaves the tree unprocessed (callers free it).
void reportDroppedNode(MipRun &run, const NodeRecord &node);
// Removes the store's nodes at or above the cutoff, the delete-node callback
// told of each one it knows.
int pruneStore(MipRun &run);
// The tree ends: every node left is told to the delete-node callback.
void reportRemainingNodes(MipRun &run);

} // namespace qvn
