// Reading a model back as the caller entered it: unscaled, without range
// columns and slacks, with pending data completed first.
#include <algorithm>
#include <cstring>

#include "model/edit.h"
#include "model/names.h"
#include "runtime/environment.h"

namespace qvn {

bool checkRange(const Environment *env, const char *functionName, int begin, int end, int lowest,
                int count) {
  bool good = true;
  if (begin < lowest) reportError(env, QVNERR_INDEX_RANGE_LOW, functionName, begin, lowest), good = false;
  if (end > count - 1) reportError(env, QVNERR_INDEX_RANGE_HIGH, functionName, end, count - 1), good = false;
  return good;
}

int rangeStatus(const Environment *env, const char *functionName, int begin, int end, int count) {
  return checkRange(env, functionName, begin, end, 0, count) ? 0 : QVNERR_INDEX_RANGE;
}

int finishSurplus(int64_t needed, int space, int *countOut, int *surplus) {
  if (surplus) *surplus = static_cast<int>(space - needed);
  if (countOut) *countOut = static_cast<int>(std::min<int64_t>(needed, space));
  return space < needed ? QVNERR_NEGATIVE_SURPLUS : 0;
}

int nameGetter(const Environment *env, const NameStore &names, int count, char **nameArray, char *store,
               int space, int *surplus, int begin, int end, const char *function) {
  if (!names.exists) return QVNERR_NO_NAMES;
  QVN_TRY(rangeStatus(env, function, begin, end, count));
  if (space > 0 && (!nameArray || !store)) return QVNERR_NULL_POINTER;
  int64_t used = 0;
  for (int k = begin; k <= end; ++k) {
    const char *name = names.name(k);
    const int64_t n = static_cast<int64_t>(std::strlen(name)) + 1;
    if (used + n <= space) {
      std::memcpy(store + used, name, static_cast<size_t>(n));
      nameArray[k - begin] = store + used;
    } else if (space > 0) {
      nameArray[k - begin] = nullptr;
    }
    used += n;
  }
  return finishSurplus(used, space, nullptr, surplus);
}

} // namespace qvn

using namespace qvn;

namespace {

// Frame of the read functions: the fixed-type handle reads its held LP, and
// pending data are completed first.
template <class Body> int reading(const Environment *cenv, const Problem *lp, Body &&body) noexcept {
  auto *env = const_cast<Environment *>(cenv);
  return guardedProblem(env, lp, [&](Problem *p) -> int {
    QVN_TRY(flushCache(env, p));
    return body(env, p);
  });
}

// Range getters share everything but the value of one entry.
template <class T, class Value>
int rangeGetter(QVNCENVptr env, QVNCLPptr lp, T *values, int begin, int end, bool rows, const char *name,
                Value value) {
  return reading(env, lp, [&](Environment *e, Problem *p) -> int {
    if (!values) return QVNERR_NULL_POINTER;
    const LpData &d = *p->lpData;
    QVN_TRY(rangeStatus(e, name, begin, end, rows ? d.numRows : d.numCols));
    for (int k = begin; k <= end; ++k) values[k - begin] = value(d, k);
    return 0;
  });
}

int textGetter(const char *text, char *buffer, int space, int *surplus) {
  if (!text) return QVNERR_NO_NAMES;
  const int n = static_cast<int>(std::strlen(text)) + 1;
  if (space > 0 && !buffer) return QVNERR_NULL_POINTER;
  if (space > 0) {
    const int copied = std::min(n, space);
    std::memcpy(buffer, text, static_cast<size_t>(copied));
    if (copied < n) buffer[copied - 1] = '\0';
  }
  return finishSurplus(n, space, nullptr, surplus);
}

} // namespace

extern "C" {

QVN_API int QVNgetobj(QVNCENVptr env, QVNCLPptr lp, double *values, int begin, int end) {
  return rangeGetter(env, lp, values, begin, end, false, "QVNgetobj",
                     [](const LpData &d, int j) { return d.objCoef[j] * colScaleOf(d, j); });
}

QVN_API int QVNgetlb(QVNCENVptr env, QVNCLPptr lp, double *values, int begin, int end) {
  return rangeGetter(env, lp, values, begin, end, false, "QVNgetlb", [](const LpData &d, int j) {
    const double v = d.lowerBound[j];
    return v <= -kInfinity ? v : v / colScaleOf(d, j);
  });
}

QVN_API int QVNgetub(QVNCENVptr env, QVNCLPptr lp, double *values, int begin, int end) {
  return rangeGetter(env, lp, values, begin, end, false, "QVNgetub", [](const LpData &d, int j) {
    const double v = d.upperBound[j];
    return v >= kInfinity ? v : v / colScaleOf(d, j);
  });
}

QVN_API int QVNgetrhs(QVNCENVptr env, QVNCLPptr lp, double *values, int begin, int end) {
  return rangeGetter(env, lp, values, begin, end, true, "QVNgetrhs",
                     [](const LpData &d, int i) { return d.rhs[i] * rowScaleOf(d, i); });
}

QVN_API int QVNgetsense(QVNCENVptr env, QVNCLPptr lp, char *values, int begin, int end) {
  return rangeGetter(env, lp, values, begin, end, true, "QVNgetsense",
                     [](const LpData &d, int i) { return d.sense[i]; });
}

QVN_API int QVNgetrngval(QVNCENVptr env, QVNCLPptr lp, double *values, int begin, int end) {
  return rangeGetter(env, lp, values, begin, end, true, "QVNgetrngval",
                     [](const LpData &d, int i) { return d.rangeValue.empty() ? 0.0 : d.rangeValue[i]; });
}

QVN_API int QVNgetcoef(QVNCENVptr env, QVNCLPptr lp, int row, int col, double *valuePointer) {
  return reading(env, lp, [&](Environment *, Problem *p) -> int {
    if (!valuePointer) return QVNERR_NULL_POINTER;
    const LpData &d = *p->lpData;
    if (row < -1 || row >= d.numRows || col < -1 || col >= d.numCols) return QVNERR_INDEX_RANGE;
    if (row == -1 && col == -1) return QVNERR_NO_RHS_IN_OBJ;
    if (row == -1) {
      *valuePointer = d.objCoef[col] * colScaleOf(d, col);
    } else if (col == -1) {
      *valuePointer = d.rhs[row] * rowScaleOf(d, row);
    } else {
      *valuePointer = 0.0;
      for (int64_t k = d.colStart[col]; k < d.colStart[col] + d.colCount[col]; ++k)
        if (d.rowIndex[k] == row) *valuePointer = d.coefValue[k] * colScaleOf(d, col) * rowScaleOf(d, row);
    }
    return 0;
  });
}

QVN_API int QVNgetcols(QVNCENVptr env, QVNCLPptr lp, int *nzCount, int *colStartOut, int *rowIndexOut,
                       double *coefValueOut, int space, int *surplus, int begin, int end) {
  return surplusFrame(env, lp, nzCount, surplus, [&](Environment *e, Problem *p) -> int {
    const LpData &d = *p->lpData;
    QVN_TRY(rangeStatus(e, "QVNgetcols", begin, end, d.numCols));
    int64_t needed = 0;
    for (int j = begin; j <= end; ++j) needed += d.colCount[j];
    if (space == 0) return surplusCountOnly(needed, surplus);
    if (!rowIndexOut || !coefValueOut) return QVNERR_NULL_POINTER;
    int64_t out = 0;
    for (int j = begin; j <= end; ++j) {
      if (colStartOut) colStartOut[j - begin] = static_cast<int>(out);
      const double cs = colScaleOf(d, j);
      for (int64_t k = d.colStart[j]; k < d.colStart[j] + d.colCount[j]; ++k, ++out) {
        if (out >= space) continue;
        rowIndexOut[out] = d.rowIndex[k];
        coefValueOut[out] = d.coefValue[k] * cs * rowScaleOf(d, d.rowIndex[k]);
      }
    }
    return finishSurplus(needed, space, nzCount, surplus);
  });
}

QVN_API int QVNgetrows(QVNCENVptr env, QVNCLPptr lp, int *nzCount, int *rowStartOut, int *colIndexOut,
                       double *coefValueOut, int space, int *surplus, int begin, int end) {
  return surplusFrame(env, lp, nzCount, surplus, [&](Environment *e, Problem *p) -> int {
    const LpData &d = *p->lpData;
    QVN_TRY(rangeStatus(e, "QVNgetrows", begin, end, d.numRows));
    const int rows = std::max(end - begin + 1, 0);
    // One counting pass over the columns, then the entries scattered by row;
    // columns are visited in order, so each row comes out by rising column.
    EnvVector<int64_t> start(static_cast<size_t>(rows) + 1, 0);
    for (int j = 0; j < d.numCols; ++j)
      for (int64_t k = d.colStart[j]; k < d.colStart[j] + d.colCount[j]; ++k) {
        const int i = d.rowIndex[k];
        if (i >= begin && i <= end) ++start[i - begin + 1];
      }
    for (int r = 0; r < rows; ++r) start[r + 1] += start[r];
    const int64_t needed = start[rows];
    if (space == 0) return surplusCountOnly(needed, surplus);
    if (!colIndexOut || !coefValueOut) return QVNERR_NULL_POINTER;
    if (rowStartOut)
      for (int r = 0; r < rows; ++r) rowStartOut[r] = static_cast<int>(start[r]);
    for (int j = 0; j < d.numCols; ++j) {
      const double cs = colScaleOf(d, j);
      for (int64_t k = d.colStart[j]; k < d.colStart[j] + d.colCount[j]; ++k) {
        const int i = d.rowIndex[k];
        if (i < begin || i > end) continue;
        const int64_t at = start[i - begin]++;
        if (at >= space) continue;
        colIndexOut[at] = j;
        coefValueOut[at] = d.coefValue[k] * cs * rowScaleOf(d, i);
      }
    }
    return finishSurplus(needed, space, nzCount, surplus);
  });
}

QVN_API int QVNEgetnumrownz(QVNCENVptr env, QVNCLPptr lp, int row) {
  int result = 0;
  reading(env, lp, [&](Environment *, Problem *p) -> int {
    const LpData &d = *p->lpData;
    if (row < 0 || row >= d.numRows) return QVNERR_INDEX_RANGE;
    for (int j = 0; j < d.numCols; ++j)
      for (int64_t k = d.colStart[j]; k < d.colStart[j] + d.colCount[j]; ++k) result += d.rowIndex[k] == row;
    return 0;
  });
  return result;
}

QVN_API int QVNgetcolname(QVNCENVptr env, QVNCLPptr lp, char **nameArray, char *store, int space,
                          int *surplus, int begin, int end) {
  if (surplus) *surplus = 0;
  return reading(env, lp, [&](Environment *e, Problem *p) {
    return nameGetter(e, p->lpData->colNames, p->lpData->numCols, nameArray, store, space, surplus, begin,
                      end, "QVNgetcolname");
  });
}

QVN_API int QVNgetrowname(QVNCENVptr env, QVNCLPptr lp, char **nameArray, char *store, int space,
                          int *surplus, int begin, int end) {
  if (surplus) *surplus = 0;
  return reading(env, lp, [&](Environment *e, Problem *p) {
    return nameGetter(e, p->lpData->rowNames, p->lpData->numRows, nameArray, store, space, surplus, begin,
                      end, "QVNgetrowname");
  });
}

QVN_API int QVNgetprobname(QVNCENVptr env, QVNCLPptr lp, char *buffer, int space, int *surplus) {
  if (surplus) *surplus = 0;
  return guardedProblem(env, lp, [&](Problem *p) {
    return textGetter(p->lpData->probName, buffer, space, surplus);
  });
}

QVN_API int QVNgetobjname(QVNCENVptr env, QVNCLPptr lp, char *buffer, int space, int *surplus) {
  if (surplus) *surplus = 0;
  return guardedProblem(env, lp, [&](Problem *p) {
    return textGetter(p->lpData->objName, buffer, space, surplus);
  });
}

} // extern "C"
