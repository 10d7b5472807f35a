// Pending data: columns, rows and nonzeros that a modelling layer announces
// one by one and that enter the matrix together at the next flush.
#include <algorithm>
#include <cstring>

#include "model/datacheck.h"
#include "model/edit.h"
#include "model/names.h"
#include "model/names_table.h"
#include "model/problem.h"
#include "runtime/environment.h"

namespace qvn {

void openCache(LpData &d) {
  PendingData &c = d.cache;
  if (!c.isEmpty) return;
  c.baseCols = d.numCols;
  c.baseRows = d.numRows;
  c.baseNzs = static_cast<int>(std::min<int64_t>(storedNonzeros(d), 2100000000));
  c.isEmpty = false;
}

bool cacheOutgrown(const PendingData &c) {
  return c.numCols > std::max(10, c.baseCols) || c.numRows > std::max(10, c.baseRows) ||
         static_cast<int64_t>(c.nzValue.size()) > std::max(10, c.baseNzs);
}

namespace {

// The pending names as a pointer array for the add routines, or null.
char *const *pendingNames(const PendingNames &names) { return names.table ? names.table->names : nullptr; }

int flushPending(Environment *env, Problem *lp, PendingData &c) {
  if (c.numCols > 0) {
    ColumnBatch b;
    b.count = c.numCols, b.objCoef = c.colObj.data(), b.lowerBound = c.colLower.data();
    b.upperBound = c.colUpper.data(), b.ctype = c.colType.empty() ? nullptr : c.colType.data();
    b.names = pendingNames(c.colNames);
    QVN_TRY(addColumns(env, lp, b, ModelEvent::kCachedColsAdded));
  }
  if (c.numRows > 0) {
    RowBatch b;
    b.count = c.numRows, b.rhs = c.rowRhs.data(), b.sense = c.rowSense.data();
    b.rangeValue = c.rowRange.empty() ? nullptr : c.rowRange.data();
    b.names = pendingNames(c.rowNames);
    QVN_TRY(addRows(env, lp, b, ModelEvent::kRowsAdded));
  }
  if (!c.nzValue.empty())
    QVN_TRY(mergeEntries(env, lp, static_cast<int64_t>(c.nzValue.size()), c.nzRow.data(), c.nzCol.data(),
                         c.nzValue.data(), true, ModelEvent::kMatrixCoefChanged));
  return 0;
}

} // namespace

int flushCache(Environment *env, Problem *lp) {
  LpData &d = *lp->lpData;
  if (d.cache.isEmpty) return 0;
  // The pending data leave the problem first: the add routines read them
  // while they change the model, and a failure discards them anyway.
  PendingData pending;
  std::swap(pending, d.cache);
  const int status = runCaught([&]() { return flushPending(env, lp, pending); });
  recomputeType(lp);
  return status;
}

} // namespace qvn

using namespace qvn;

namespace {

// Pending names are kept once a names array is given; entries without a name
// (before it, or null or empty in it) stay empty and become generated names
// when they reach the model.
int cacheNames(PendingNames &pending, int have, char **names, int count, char prefix) {
  if (!names && !pending.table) return 0;
  if (!pending.table) {
    pending.table = createNameTable(prefix, false, have + count);
    QVN_TRY(nameTableAppend(pending.table, have, nullptr));
  }
  return nameTableAppend(pending.table, count, names);
}

// Remembers the sizes of the pending arrays; unless committed, restores them,
// so that an allocation failure half way leaves the cache as it was.
class CacheMark {
public:
  explicit CacheMark(PendingData &c)
      : c_(c), isEmpty_(c.isEmpty), nzMode_(c.nzMode), colNamesExist_(c.colNames.table != nullptr),
        rowNamesExist_(c.rowNames.table != nullptr), cols_(c.colObj.size()), colTypes_(c.colType.size()),
        rows_(c.rowRhs.size()), ranges_(c.rowRange.size()), nzs_(c.nzValue.size()),
        colNameEntries_(entries(c.colNames)), rowNameEntries_(entries(c.rowNames)) {}
  void commit() { committed_ = true; }
  ~CacheMark() {
    if (committed_) return;
    c_.isEmpty = isEmpty_;
    c_.nzMode = nzMode_;
    c_.colObj.resize(cols_), c_.colLower.resize(cols_), c_.colUpper.resize(cols_);
    c_.colType.resize(colTypes_);
    c_.rowRhs.resize(rows_), c_.rowSense.resize(rows_), c_.rowRange.resize(ranges_);
    c_.nzRow.resize(nzs_), c_.nzCol.resize(nzs_), c_.nzValue.resize(nzs_);
    restore(c_.colNames, colNamesExist_, colNameEntries_);
    restore(c_.rowNames, rowNamesExist_, rowNameEntries_);
  }

private:
  static int entries(const PendingNames &n) { return n.table ? n.table->entryCount : 0; }
  static void restore(PendingNames &n, bool existed, int count) {
    if (!existed)
      freeNameTable(n.table);
    else
      nameTableTruncate(n.table, count);
  }
  PendingData &c_;
  bool isEmpty_;
  int nzMode_;
  bool colNamesExist_, rowNamesExist_;
  size_t cols_, colTypes_, rows_, ranges_, nzs_;
  int colNameEntries_, rowNameEntries_;
  bool committed_ = false;
};

} // namespace

extern "C" {

QVN_API int QVNcompletelp(QVNCENVptr cenv, QVNLPptr lp) {
  auto *env = const_cast<Environment *>(cenv);
  return guardedProblem(env, lp, [&](Problem *p) { return flushCache(env, p); });
}

QVN_API int QVNEcacheNewCols(QVNCENVptr cenv, QVNLPptr lp, int count, const double *objCoef,
                             const double *lowerBound, const double *upperBound,
                             const char *ctype, char **names) {
  auto *env = const_cast<Environment *>(cenv);
  return guardedProblem(env, lp, [&](Problem *p) -> int {
    if (count < 0) return QVNERR_BAD_ARGUMENT;
    if (count == 0) return 0;
    QVN_TRY(modelSizeCheck(*p->lpData, 0, count));
    if (ctype) QVN_TRY(checkColumnTypes(env, ctype, count));
    if (env->generalParams->datacheck == 1) {
      QVN_TRY(checkNumbers(env, objCoef, count));
      QVN_TRY(checkNumbers(env, lowerBound, count));
      QVN_TRY(checkNumbers(env, upperBound, count));
      QVN_TRY(checkNames(env, names, count));
    }
    LpData &d = *p->lpData;
    PendingData &c = d.cache;
    CacheMark mark(c);
    openCache(d);
    for (int k = 0; k < count; ++k) {
      c.colObj.push_back(objCoef ? objCoef[k] : 0.0);
      c.colLower.push_back(lowerBound ? lowerBound[k] : 0.0);
      c.colUpper.push_back(upperBound ? upperBound[k] : kInfinity);
    }
    if (ctype || !c.colType.empty()) {
      c.colType.resize(static_cast<size_t>(c.numCols), 'C');  // earlier columns without types
      for (int k = 0; k < count; ++k) c.colType.push_back(ctype ? ctype[k] : 'C');
    }
    QVN_TRY(cacheNames(c.colNames, c.numCols, names, count, 'x'));
    c.numCols += count;
    mark.commit();
    return cacheOutgrown(c) ? flushCache(env, p) : 0;
  });
}

QVN_API int QVNEcacheNewRows(QVNCENVptr cenv, QVNLPptr lp, int count, const double *rhs,
                             const char *sense, const double *rangeValue, char **names) {
  auto *env = const_cast<Environment *>(cenv);
  return guardedProblem(env, lp, [&](Problem *p) -> int {
    if (count < 0) return QVNERR_BAD_ARGUMENT;
    if (count == 0) return 0;
    QVN_TRY(modelSizeCheck(*p->lpData, count, 0));
    if (sense) QVN_TRY(checkSenses(env, sense, count));
    if (env->generalParams->datacheck == 1) {
      QVN_TRY(checkNumbers(env, rhs, count));
      QVN_TRY(checkNumbers(env, rangeValue, count));
      QVN_TRY(checkNames(env, names, count));
    }
    LpData &d = *p->lpData;
    PendingData &c = d.cache;
    CacheMark mark(c);
    openCache(d);
    for (int k = 0; k < count; ++k) {
      c.rowRhs.push_back(rhs ? rhs[k] : 0.0);
      c.rowSense.push_back(sense ? sense[k] : 'E');
    }
    if (rangeValue || !c.rowRange.empty()) {
      c.rowRange.resize(static_cast<size_t>(c.numRows), 0.0);  // earlier rows without ranges
      for (int k = 0; k < count; ++k) c.rowRange.push_back(rangeValue ? rangeValue[k] : 0.0);
    }
    QVN_TRY(cacheNames(c.rowNames, c.numRows, names, count, 'c'));
    c.numRows += count;
    mark.commit();
    return cacheOutgrown(c) ? flushCache(env, p) : 0;
  });
}

QVN_API int QVNEcacheNewNZsByNZ(QVNCENVptr cenv, QVNLPptr lp, int count, const int *rowList,
                                const int *colList, const double *valueList) {
  auto *env = const_cast<Environment *>(cenv);
  return guardedProblem(env, lp, [&](Problem *p) -> int {
    if (count < 0) return QVNERR_BAD_ARGUMENT;
    if (count == 0) return 0;
    if (!rowList || !colList || !valueList) return QVNERR_NULL_POINTER;
    LpData &d = *p->lpData;
    const int rows = d.numRows + d.cache.numRows, cols = d.numCols + d.cache.numCols;
    for (int k = 0; k < count; ++k) {
      if (rowList[k] < 0 || rowList[k] >= rows) return reportError(env, QVNERR_ROW_INDEX_RANGE, rowList[k]);
      if (colList[k] < 0 || colList[k] >= cols) return reportError(env, QVNERR_COL_INDEX_RANGE, colList[k]);
    }
    if (env->generalParams->datacheck == 1) QVN_TRY(checkNumbers(env, valueList, count));
    PendingData &c = d.cache;
    CacheMark mark(c);
    openCache(d);
    c.nzMode = 3;
    c.nzRow.insert(c.nzRow.end(), rowList, rowList + count);
    c.nzCol.insert(c.nzCol.end(), colList, colList + count);
    c.nzValue.insert(c.nzValue.end(), valueList, valueList + count);
    mark.commit();
    return cacheOutgrown(c) ? flushCache(env, p) : 0;
  });
}

} // extern "C"
