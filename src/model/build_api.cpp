// Exported functions that add and delete rows and columns. Every argument is
// checked before the model is touched; pending data are completed first.
#include <algorithm>

#include "model/datacheck.h"
#include "model/edit.h"
#include "runtime/environment.h"

using namespace qvn;

namespace {

bool dataCheck(const Environment *env) { return env->generalParams->datacheck == 1; }

int checkColumnData(const Environment *env, int count, const double *objCoef, const double *lowerBound,
                    const double *upperBound, char **colNames) {
  if (!dataCheck(env)) return 0;
  QVN_TRY(checkNumbers(env, objCoef, count));
  QVN_TRY(checkNumbers(env, lowerBound, count));
  QVN_TRY(checkNumbers(env, upperBound, count));
  return checkNames(env, colNames, count);
}

int deleteRange(Environment *env, Problem *lp, int begin, int end, bool rows, const char *name) {
  QVN_TRY(flushCache(env, lp));
  const int count = rows ? lp->lpData->numRows : lp->lpData->numCols;
  if (begin > end || begin < 0 || end >= count) {
    checkRange(env, name, begin, end, 0, count);
    return QVNERR_INDEX_RANGE;
  }
  EnvVector<int> flags(static_cast<size_t>(count), 0);
  std::fill(flags.begin() + begin, flags.begin() + end + 1, 1);
  return rows ? deleteRowSet(env, lp, flags.data(), ModelEvent::kRowsDeleted) : deleteColSet(env, lp, flags.data(), ModelEvent::kColsDeleted);
}

} // namespace

extern "C" {

QVN_API int QVNnewrows(QVNCENVptr cenv, QVNLPptr lp, int count, const double *rhs, const char *sense,
                       const double *rangeValue, char **rowNames) {
  auto *env = const_cast<Environment *>(cenv);
  return guardedEdit(env, lp, [&](Problem *p) -> int {
    if (count < 0) return QVNERR_BAD_ARGUMENT;
    if (count == 0) return 0;
    QVN_TRY(modelSizeCheck(*p->lpData, count, 0));
    if (sense) QVN_TRY(checkSenses(env, sense, count));
    if (dataCheck(env)) {
      QVN_TRY(checkNumbers(env, rhs, count));
      QVN_TRY(checkNumbers(env, rangeValue, count));
      QVN_TRY(checkNames(env, rowNames, count));
    }
    QVN_TRY(flushCache(env, p));
    RowBatch b;
    b.count = count, b.rhs = rhs, b.sense = sense, b.rangeValue = rangeValue, b.names = rowNames;
    return addRows(env, p, b, ModelEvent::kRowsCreated);
  });
}

QVN_API int QVNaddrows(QVNCENVptr cenv, QVNLPptr lp, int newCols, int newRows, int newNonzeros,
                       const double *rhs, const char *sense, const int *rowStart, const int *colIndex,
                       const double *coefValue, char **colNames, char **rowNames) {
  auto *env = const_cast<Environment *>(cenv);
  return guardedEdit(env, lp, [&](Problem *p) -> int {
    if (newCols < 0 || newRows < 0 || newNonzeros < 0) return QVNERR_BAD_ARGUMENT;
    if (newCols == 0 && newRows == 0) return 0;
    QVN_TRY(modelSizeCheck(*p->lpData, newRows, newCols));
    if (newNonzeros > 0 && (!rowStart || !colIndex || !coefValue)) return QVNERR_NULL_POINTER;
    const LpData &d = *p->lpData;
    const int cols = d.numCols + d.cache.numCols + newCols;
    if (sense) QVN_TRY(checkSenses(env, sense, newRows));
    if (newNonzeros > 0)
      QVN_TRY(checkStartMatrix(env, newRows, rowStart, newNonzeros, colIndex, cols,
                               QVNERR_COL_INDEX_RANGE, coefValue, dataCheck(env)));
    if (dataCheck(env)) {
      QVN_TRY(checkNumbers(env, rhs, newRows));
      QVN_TRY(checkNames(env, colNames, newCols));
      QVN_TRY(checkNames(env, rowNames, newRows));
    }
    QVN_TRY(flushCache(env, p));
    const int oldCols = p->lpData->numCols;
    if (newCols > 0) {
      ColumnBatch c;
      c.count = newCols, c.names = colNames;
      QVN_TRY(addColumns(env, p, c, ModelEvent::kColsAdded));
    }
    if (newRows == 0) return 0;
    RowBatch b;
    b.count = newRows, b.rhs = rhs, b.sense = sense, b.names = rowNames;
    b.numNonzeros = newNonzeros, b.rowStart = rowStart, b.colIndex = colIndex, b.coefValue = coefValue;
    // The call adds both or neither.
    const int status = runCaught([&]() { return addRows(env, p, b, ModelEvent::kRowsAdded); });
    if (status != 0 && newCols > 0) dropNewColumns(p, oldCols);
    return status;
  });
}

QVN_API int QVNnewcols(QVNCENVptr cenv, QVNLPptr lp, int count, const double *objCoef,
                       const double *lowerBound, const double *upperBound, const char *ctype,
                       char **colNames) {
  auto *env = const_cast<Environment *>(cenv);
  return guardedEdit(env, lp, [&](Problem *p) -> int {
    if (count < 0) return QVNERR_BAD_ARGUMENT;
    if (count == 0) return 0;
    QVN_TRY(modelSizeCheck(*p->lpData, 0, count));
    if (ctype) QVN_TRY(checkColumnTypes(env, ctype, count));
    QVN_TRY(checkColumnData(env, count, objCoef, lowerBound, upperBound, colNames));
    QVN_TRY(flushCache(env, p));
    ColumnBatch b;
    b.count = count, b.objCoef = objCoef, b.lowerBound = lowerBound, b.upperBound = upperBound;
    b.ctype = ctype, b.names = colNames;
    QVN_TRY(addColumns(env, p, b, ModelEvent::kColsAdded));
    recomputeType(p);
    return 0;
  });
}

QVN_API int QVNaddcols(QVNCENVptr cenv, QVNLPptr lp, int count, int newNonzeros, const double *objCoef,
                       const int *colStart, const int *rowIndex, const double *coefValue,
                       const double *lowerBound, const double *upperBound, char **colNames) {
  auto *env = const_cast<Environment *>(cenv);
  return guardedEdit(env, lp, [&](Problem *p) -> int {
    if (count < 0 || newNonzeros < 0) return QVNERR_BAD_ARGUMENT;
    if (count == 0) return 0;
    QVN_TRY(modelSizeCheck(*p->lpData, 0, count));
    if (newNonzeros > 0 && (!colStart || !rowIndex || !coefValue)) return QVNERR_NULL_POINTER;
    const LpData &d = *p->lpData;
    if (newNonzeros > 0)
      QVN_TRY(checkStartMatrix(env, count, colStart, newNonzeros, rowIndex, d.numRows + d.cache.numRows,
                               QVNERR_ROW_INDEX_RANGE, coefValue, dataCheck(env)));
    QVN_TRY(checkColumnData(env, count, objCoef, lowerBound, upperBound, colNames));
    QVN_TRY(flushCache(env, p));
    ColumnBatch b;
    b.count = count, b.objCoef = objCoef, b.lowerBound = lowerBound, b.upperBound = upperBound;
    b.names = colNames, b.numNonzeros = newNonzeros, b.colStart = colStart, b.rowIndex = rowIndex;
    b.coefValue = coefValue;
    // New columns would need their own reductions: a kept presolved copy goes.
    dropPresolvedCopy(env, p, "Warning: Adding columns to the presolved model fails.\n");
    return addColumns(env, p, b, ModelEvent::kColsAdded);
  });
}

QVN_API int QVNdelrows(QVNCENVptr cenv, QVNLPptr lp, int begin, int end) {
  auto *env = const_cast<Environment *>(cenv);
  return guardedEdit(env, lp, [&](Problem *p) { return deleteRange(env, p, begin, end, true, "QVNdelrows"); });
}

QVN_API int QVNdelcols(QVNCENVptr cenv, QVNLPptr lp, int begin, int end) {
  auto *env = const_cast<Environment *>(cenv);
  return guardedEdit(env, lp, [&](Problem *p) { return deleteRange(env, p, begin, end, false, "QVNdelcols"); });
}

QVN_API int QVNdelsetrows(QVNCENVptr cenv, QVNLPptr lp, int *deleteFlags) {
  auto *env = const_cast<Environment *>(cenv);
  return guardedEdit(env, lp, [&](Problem *p) -> int {
    if (!deleteFlags) return QVNERR_NULL_POINTER;
    QVN_TRY(flushCache(env, p));
    return deleteRowSet(env, p, deleteFlags, ModelEvent::kRowSetDeleted);
  });
}

QVN_API int QVNdelsetcols(QVNCENVptr cenv, QVNLPptr lp, int *deleteFlags) {
  auto *env = const_cast<Environment *>(cenv);
  return guardedEdit(env, lp, [&](Problem *p) -> int {
    if (!deleteFlags) return QVNERR_NULL_POINTER;
    QVN_TRY(flushCache(env, p));
    return deleteColSet(env, p, deleteFlags, ModelEvent::kColSetDeleted);
  });
}

} // extern "C"
