// The debug layer of the simplex loops: after each rebuild, when a test has
// switched the Environment's debug level on, everything the loops keep is
// recomputed another way and compared. It reads the engine and never writes
// it (nor the Environment's random stream), so a run with the checks takes
// exactly the steps of a run without them.
#pragma once
#include "simplex/engine.h"

namespace qvn {

const char *rebuildReasonName(RebuildReason reason);

// What a rebuild left fresh: the basic values only, or the duals as well.
enum class DebugScope { kPrimal, kPrimalAndDual };

// The checks, each against the matrix and not through the loops' own paths:
//  - the basis header: head and basicPos agree, no variable is basic twice;
//  - basic values: every row of [A, -I] x = 0 holds, relative to its terms;
//  - duals (kPrimalAndDual): B'y = c_B, and each nonbasic reduced cost equals
//    c_j - a_j'y, the products taken row-wise;
//  - the packed row copy of the pivot row: each row's entries, with the
//    nonbasic columns in front;
//  - the factor: FTRAN and BTRAN of a fixed vector solve B and B' to a small
//    relative residual.
// Failures go to reportDebugFailure with the reason; returns their number.
int debugAfterRebuild(SimplexEngine &e, RebuildReason reason, DebugScope scope);

} // namespace qvn
