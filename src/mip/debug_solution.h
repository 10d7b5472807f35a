// A known solution of the model that the search checks what it throws away
// against: the developer's tool for finding an invalid cut, bound change or
// pruning at the place where it happens, instead of as a wrong optimum at the
// end of a run.
//
// The environment variable QUORVAN_DEBUG_SOLUTION names a file of the
// solution: lines "column NAME VALUE" (as `quorvan solve --solution` writes
// them) or "INDEX NAME VALUE ..." (as other solvers write theirs); columns
// are matched by name. The search must run on the caller's columns: with
// presolve on, the reduced problem's run is not checked. While the node being searched holds the solution
// within its bounds, no cut may cut it off, no proved bound change may
// exclude it, and the node's LP bound may not rise above its objective. A
// breach prints a line beginning "Debug solution" on the error channel. Unset,
// every check is a test of a null pointer.
#pragma once
#include "mip/mip_run.h"

namespace qvn {

struct DebugSolution {
  EnvVector<double> x;
  double objective = 0.0;  // minimization sense, offset included
  int breaches = 0;
};

// Reads the file for the model of `run` when the variable is set; null when
// it is not, or the file cannot be read (said on the warning channel).
DebugSolution *debugSolutionLoad(const MipRun &run);
void debugSolutionFree(DebugSolution *&d);

// True when every column's value lies within [lower, upper].
bool debugSolutionInside(const DebugSolution &d, const double *lower, const double *upper);
// The checks; `what` names the source in the message.
void debugCheckBound(Environment *env, DebugSolution &d, double bound, const char *what);
void debugCheckCut(Environment *env, DebugSolution &d, int count, const int *index, const double *value,
                   char sense, double rhs, const char *what);
void debugCheckBoundChange(Environment *env, DebugSolution &d, int col, double lower, double upper,
                           const char *what);

} // namespace qvn
