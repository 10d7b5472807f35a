// The MIP callbacks as the run calls them: the informational callback at each
// turn of the node loop, the cut callback at each solved node LP, and the
// incumbent callback before a candidate is stored.
#pragma once
#include "mip/mip_run.h"

namespace qvn {

inline bool hasMipCallback(const MipRun &run, MipCallbackKind kind) {
  return run.env->mipCallbacks[kind].function != nullptr;
}

// Puts `count` rows (sense 'L', 'G' or 'E', row r's entries from start[r] to
// start[r+1]) into the node LP for good, counted under `family`; no cut limit
// applies, since such a row may be all that keeps a wrong point out.
int addTreeRows(MipRun &run, int family, int count, const char *sense, const double *rhs, const int *start,
                const int *index, const double *value, int *added);

// Each returns 0 to go on, or what ends the run: 113 for a stop asked by the
// callback (the driver makes it 114 without an incumbent), or a failure of
// 1000 and above.
int callInfoCallback(MipRun &run, const NodeRecord *current);
// Rows the callback added go into the node LP at once; *added counts them.
int callCutCallback(MipRun &run, const NodeRecord *current, const double *x, int *added);
// *accept false when the callback refuses the candidate (objective in
// minimization sense, x one value per column).
int callIncumbentCallback(MipRun &run, double objective, double *x, bool *accept);

} // namespace qvn
