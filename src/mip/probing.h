// Probing on binary columns, the implied-bound table it fills and the
// propagation of a node's fixings through cliques and implied bounds.
//
// Probing sets one binary to 0, then to 1, and propagates each choice through
// the rows by activity bounds. A side that cannot hold fixes the binary to
// the other; a bound both sides agree on holds for every point; a binary that
// one side forces gives a pair of conflicting literals for the clique table;
// any other bound one side forces becomes an implied bound.
#pragma once
#include "mip/mip_run.h"

namespace qvn {

struct RowModel;
struct CliqueTable;

// Binary `binary` at `value` (0 or 1) forces column `col` to bound >= bound
// ('L', a lower bound) or <= bound ('U').
struct ImpliedBound {
  int binary;
  int value;
  int col;
  char type;
  double bound;
};

struct ImpliedBoundTable {
  EnvVector<ImpliedBound> entries;
  // Entries of literal slot s (2j for x_j = 1, 2j + 1 for x_j = 0) are
  // entries[bySlot[s] .. bySlot[s + 1]), once finish() ran.
  EnvVector<int> bySlot;
  long limit = 0;  // entries kept at most
  int usedAtRoot = 0;
};

// Work arrays of node propagation, kept between nodes so that a node
// allocates nothing once they have grown.
struct PropagationScratch {
  EnvVector<int> queue, cols;
  EnvVector<BoundChange> found;
  EnvVector<double> lo, up;
  long boundsMoved = 0;  // over the run, for the statistics
};

struct ProbeResult {
  int fixed = 0;      // binaries fixed
  int tightened = 0;  // other bounds moved
  int implications = 0;
  int pairs = 0;            // conflicting literal pairs
  bool infeasible = false;  // no point satisfies the rows and bounds
  bool complete = false;    // every binary was probed within the limits
};

// Probes the binaries of the model on the bounds lower/upper, which it
// tightens in place. Pairs of conflicting literals are added to `cliques`
// (origin "probing"), implied bounds to `implied`. Stops at `workLimit` row
// scans or when elapsedSeconds(run) passes `deadline`.
int probe(MipRun &run, const RowModel &rows, const ColKind *kind, double *lower, double *upper, double workLimit,
          double deadline, CliqueTable &cliques, ImpliedBoundTable &implied, ProbeResult *result);

// Sorts the table by literal slot for propagation and cuts.
void finishImpliedBounds(ImpliedBoundTable &t, int columns);

// Tightens the node's bounds (run.nodeLower/nodeUpper and the node LP) from
// its fixed binaries through the clique table and the implied-bound table;
// each change joins the node's path so that its children inherit it.
// *changed gets the number of bounds moved; *infeasible is set when two
// fixings contradict each other (the bounds are then left as they were).
int propagateNode(MipRun &run, NodeRecord &node, int *changed, bool *infeasible);

} // namespace qvn
