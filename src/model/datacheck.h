// Argument checks shared by every function that takes model arrays. Each check
// stops at the first fault and returns its error number (negated after
// printing the details) or 0.
#pragma once
#include <cstdint>

#include "model/problem.h"

namespace qvn {

int checkNumbers(const Environment *env, const double *values, int count);
int checkSenses(const Environment *env, const char *sense, int count);
int checkRangesGiven(const Environment *env, const char *sense, const double *range, int count);
// Column-wise matrix: starts non-decreasing, counts within 0..numRows, no
// overlap, row indices within 0..numRows-1 and no repeats inside a column.
// `repeats` checks for repeated row indices and is only asked for under the
// data-check parameter; the structure itself is always checked since a bad
// index would corrupt memory later.
int checkColumnMatrix(const Environment *env, int numCols, int numRows, const int *colStart,
                      const int *colCount, const int *rowIndex, const double *value,
                      bool thorough);
// A matrix given by `count` start positions into `nonzeros` entries (the
// vectors of QVNaddrows and QVNaddcols): starts non-decreasing (1226) and
// within 0..nonzeros (1200), each index below `limit` (`indexError` with the
// entry's position), no index twice in one vector (1222); with `thorough` the
// values pass the number check.
int checkStartMatrix(const Environment *env, int count, const int *start, int64_t nonzeros,
                     const int *index, int limit, int indexError, const double *value, bool thorough);
// Indices of a list within 0..limit-1, else `indexError` with the position.
int checkIndexList(const Environment *env, int count, const int *indices, int limit, int indexError);
// Column type letters C, B, I, S, N (3021 with the position).
int checkColumnTypes(const Environment *env, const char *ctype, int count);
int checkNames(const Environment *env, char *const *names, int count);

} // namespace qvn
