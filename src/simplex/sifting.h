// Sifting: LPs with far more columns than rows solved through a small work
// LP with all rows and some columns, grown by pricing the columns left out.
#pragma once
#include "model/problem.h"
#include "runtime/environment.h"

namespace qvn {

// One solve of lp as it stands (the optimizers' presolve has run or been
// skipped): sifting rounds, then a primal clean-up on lp from the basis they
// found. Stores the solution with method 5.
int siftSolve(Environment *env, Problem *lp);
// The plain simplex solve of the optimizers (optimizer.cpp), without
// presolve: method 1 primal or 2 dual, from the held basis when
// QVN_PARAM_ADVIND is on.
int solveBySimplex(Environment *env, Problem *lp, int method);

// Debug check (level 1 and up): work columns 2m + k of `work` are the
// columns columns[k] of `whole`, and inWork marks exactly those.
void checkSiftWorkColumns(Environment *env, const Problem *whole, Problem *work, int m, const int *columns,
                          int count, const char *inWork);

} // namespace qvn
