#include "model/datacheck.h"

#include <cfloat>
#include <cmath>

#include "runtime/alloc.h"
#include "runtime/environment.h"

namespace qvn {

int checkNumbers(const Environment *env, const double *values, int count) {
  if (!values) return 0;
  for (int i = 0; i < count; ++i) {
    if (std::isnan(values[i])) return reportError(env, QVNERR_NAN, i);
    if (std::fabs(values[i]) > DBL_MAX) return reportError(env, QVNERR_DBL_MAX, i, DBL_MAX);
  }
  return 0;
}

int checkSenses(const Environment *env, const char *sense, int count) {
  for (int i = 0; i < count; ++i) {
    const char s = sense[i];
    if (s != 'L' && s != 'G' && s != 'E' && s != 'R') return reportError(env, QVNERR_BAD_SENSE, i);
  }
  return 0;
}

int checkRangesGiven(const Environment *, const char *sense, const double *range, int count) {
  if (range) return 0;
  for (int i = 0; i < count; ++i)
    if (sense[i] == 'R') return QVNERR_BAD_ARGUMENT;
  return 0;
}

int checkColumnMatrix(const Environment *env, int numCols, int numRows, const int *colStart,
                      const int *colCount, const int *rowIndex, const double *value,
                      bool thorough) {
  for (int j = 0; j < numCols; ++j) {
    if (j > 0 && colStart[j] < colStart[j - 1]) return reportError(env, QVNERR_ARRAY_NOT_ASCENDING, j);
    if (colStart[j] < 0 || colStart[j] > 2100000000) return QVNERR_INDEX_RANGE;
  }
  for (int j = 0; j < numCols; ++j) {
    if (colCount[j] < 0 || colCount[j] > numRows) return reportError(env, QVNERR_COUNT_RANGE, j);
    const int64_t end = static_cast<int64_t>(colStart[j]) + colCount[j];
    if ((j + 1 < numCols && end > colStart[j + 1]) || end > 2100000000)
      return reportError(env, QVNERR_COUNT_OVERLAP, j);
  }
  EnvVector<int> seen;
  if (thorough) seen.assign(static_cast<size_t>(numRows > 0 ? numRows : 1), -1);
  for (int j = 0; j < numCols; ++j) {
    for (int k = colStart[j]; k < colStart[j] + colCount[j]; ++k) {
      const int i = rowIndex[k];
      if (i < 0 || i >= numRows) return reportError(env, QVNERR_ROW_INDEX_RANGE, k);
      if (thorough) {
        if (seen[i] == j) return QVNERR_DUP_ENTRY;
        seen[i] = j;
      }
    }
  }
  if (!thorough) return 0;
  for (int j = 0; j < numCols; ++j)
    if (int s = checkNumbers(env, value + colStart[j], colCount[j])) return s;
  return 0;
}

int checkStartMatrix(const Environment *env, int count, const int *start, int64_t nonzeros,
                     const int *index, int limit, int indexError, const double *value, bool thorough) {
  for (int k = 0; k < count; ++k) {
    if (k > 0 && start[k] < start[k - 1]) return reportError(env, QVNERR_ARRAY_NOT_ASCENDING, k);
    if (start[k] < 0 || start[k] > nonzeros) return QVNERR_INDEX_RANGE;
  }
  QVN_TRY(checkIndexList(env, static_cast<int>(nonzeros), index, limit, indexError));
  EnvVector<int> seen(static_cast<size_t>(limit > 0 ? limit : 1), -1);
  for (int k = 0; k < count; ++k) {
    const int64_t end = k + 1 < count ? start[k + 1] : nonzeros;
    for (int64_t p = start[k]; p < end; ++p) {
      if (seen[index[p]] == k) return QVNERR_DUP_ENTRY;
      seen[index[p]] = k;
    }
  }
  return thorough ? checkNumbers(env, value, static_cast<int>(nonzeros)) : 0;
}

int checkIndexList(const Environment *env, int count, const int *indices, int limit, int indexError) {
  for (int k = 0; k < count; ++k)
    if (indices[k] < 0 || indices[k] >= limit) return reportError(env, indexError, k);
  return 0;
}

int checkColumnTypes(const Environment *env, const char *ctype, int count) {
  for (int k = 0; k < count; ++k) {
    const char c = ctype[k];
    if (c != 'C' && c != 'B' && c != 'I' && c != 'S' && c != 'N') return reportError(env, QVNERR_BAD_CTYPE, k);
  }
  return 0;
}

int checkNames(const Environment *env, char *const *names, int count) {
  if (!names) return 0;
  for (int i = 0; i < count; ++i)
    if (!names[i]) return reportError(env, QVNERR_NULL_NAME, i);
  return 0;
}

} // namespace qvn
