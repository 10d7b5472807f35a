// Replacing a problem's whole model: the copy behind QVNcopylpwnames, and the
// move of a model built aside into the problem that a file read replaces.
#pragma once
#include "model/problem.h"

namespace qvn {

// QVNcopylpwnames without the handle frame: replaces matrix, bounds, senses and
// names; types, sets and Q of the old model go. Null name arrays mean no names.
int copyLpWithNames(Environment *env, Problem *lp, int numCols, int numRows, int objSense,
                    const double *objCoef, const double *rhs, const char *sense,
                    const int *colStart, const int *colCount, const int *rowIndex,
                    const double *coefValue, const double *lowerBound,
                    const double *upperBound, const double *rangeValue,
                    char *const *colNames, char *const *rowNames);

// Moves the whole model of `from` (LpData with names and types, MipData, Q and
// quadratic constraints) into `lp` under ModelEvent::kLpCopied; `from` is left with lp's old
// model, to be freed by the caller. Allocates nothing, so it cannot fail: a
// caller builds the new model in `from` and commits with this call.
void adoptModel(Environment *env, Problem *lp, Problem *from);

// The model of `src` (data, names, types, sets, attached Q) into the empty
// problem `dst`, without solutions, bases or presolve state; the copy gets
// no spare space.
int cloneInto(Environment *env, Problem *src, Problem *dst);

} // namespace qvn
