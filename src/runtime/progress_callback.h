// The caller's progress callback (QVNsetlpcallbackfunc) as the continuous
// optimizers call it: the simplex loops at each iteration, the barrier at
// each iteration, presolve at each pass, the conflict refiner at each test.
// The callback reads what it wants through QVNgetcallbackinfo; the numbers
// that cost a pass over the model are worked out only when it asks.
#pragma once

struct Environment;

namespace qvn {

constexpr unsigned kLpProgressMagic = 0x4c50524fu;

struct LpProgress {
  // First, so that a record of another kind handed to the getter is told
  // apart from this one.
  unsigned magic = kLpProgressMagic;
  int wherefrom = 0;
  int iterations = 0;
  // Objectives (the user's sense, with the constant) and infeasibility sums:
  // set by the caller of reportProgress, or left to `measure`, which fills
  // them from `source` on the first question that needs them.
  double primalObjective = 0.0, dualObjective = 0.0;
  double primalInfeasibility = 0.0, dualInfeasibility = 0.0;
  bool primalFeasible = false, dualFeasible = false;
  void (*measure)(const void *source, LpProgress &p) = nullptr;
  const void *source = nullptr;
  // Presolve's running counts.
  int rowsGone = 0, colsGone = 0, substitutions = 0, boundChanges = 0;
};

bool progressCallbackSet(const Environment *env);
// 0 to go on; non-zero when the callback asks the run to stop.
int reportProgress(const Environment *env, LpProgress &p);
// QVNgetcallbackinfo for the wherefrom numbers of the continuous optimizers
// (1 to 9): 0; 1003 for an info number this wherefrom does not give or a
// record of another call; 1006 for a missing record.
int progressInfo(void *cbdata, int wherefrom, int whichinfo, void *result);

} // namespace qvn
