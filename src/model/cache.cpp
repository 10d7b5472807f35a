// Pending data: columns, rows and nonzeros that a modelling layer announces
// one by one and that enter the matrix together at the next flush.
#include <algorithm>
#include <cstring>

#include "model/datacheck.h"
#include "model/names.h"
#include "model/problem.h"
#include "runtime/environment.h"

namespace qvn {

namespace {

void openCache(LpData &d) {
  PendingData &c = d.cache;
  if (!c.isEmpty) return;
  c.baseCols = d.numCols;
  c.baseRows = d.numRows;
  c.baseNzs = static_cast<int>(c.nzValue.size());
  c.isEmpty = false;
}

// Rewrites the matrix with `extra[j]` more slots at the end of column j, in one
// pass, and returns the position of each column's first free slot in `fill`.
void relayoutColumns(Environment *env, Problem *lp, const EnvVector<int> &extra,
                     EnvVector<int64_t> &fill) {
  LpData &d = *lp->lpData;
  int64_t total = 0;
  for (int j = 0; j < d.numCols; ++j) total += d.colCount[j] + extra[j];
  int ranges = d.numColsWithRanges - d.numCols;
  const int64_t need = total + ranges;
  const int64_t space = need <= d.nzSpace ? d.nzSpace
                        : env->generalParams->p1048 >= 0
                            ? need + env->generalParams->p1048
                            : std::max<int64_t>(need + 500, static_cast<int64_t>(need * 1.2));
  EnvVector<int> rowIndex(static_cast<size_t>(space));
  EnvVector<double> value(static_cast<size_t>(space));
  fill.assign(static_cast<size_t>(d.numCols), 0);
  int64_t out = 0;
  for (int j = 0; j < d.numCols; ++j) {
    const int64_t begin = d.colStart[j];
    std::copy_n(d.rowIndex.begin() + begin, d.colCount[j], rowIndex.begin() + out);
    std::copy_n(d.coefValue.begin() + begin, d.colCount[j], value.begin() + out);
    d.colStart[j] = out;
    fill[j] = out + d.colCount[j];
    out += d.colCount[j] + extra[j];
  }
  if (space > d.nzSpace) modelChanged(env, lp, 1);
  d.rowIndex.swap(rowIndex);
  d.coefValue.swap(value);
  d.nzSpace = space;
}

int flushColumns(Environment *env, Problem *lp) {
  LpData &d = *lp->lpData;
  PendingData &c = d.cache;
  if (c.numCols == 0) return 0;
  const int ranges = d.numColsWithRanges - d.numCols;
  QVN_TRY(ensureSpace(env, lp, d.numCols + c.numCols + ranges, d.numRows, d.nzSpace, 0, 0, true));
  if (c.colNames.exists || d.colNames.exists) {
    if (!d.colNames.exists) {
      QVN_TRY(defaultNameCounter(d.colNames, d.numCols, 'x', d.colDefaultNames));
      makeDefaultNames(d.colNames, d.numCols, 'x', d.colDefaultNames);
    }
    QVN_TRY(defaultNameCounter(d.colNames, d.numCols, 'x', d.colDefaultNames));
    EnvVector<char *> names(static_cast<size_t>(c.numCols), nullptr);
    if (c.colNames.exists)
      for (int k = 0; k < c.numCols; ++k) names[k] = const_cast<char *>(c.colNames.name(k));
    appendNames(d.colNames, d.numCols, names.data(), c.numCols, 'x', d.colDefaultNames);
    d.colNames.offset.resize(static_cast<size_t>(d.colSpace));
  }
  if (!c.colType.empty() && d.ctype.empty()) d.ctype.assign(static_cast<size_t>(d.colSpace), 'C');
  modelChanged(env, lp, 29);
  int64_t end = 0;
  for (int j = 0; j < d.numCols; ++j) end = std::max(end, d.colStart[j] + d.colCount[j]);
  for (int k = 0; k < c.numCols; ++k) {
    const int j = d.numCols + k;
    d.objCoef[j] = c.colObj[k];
    d.lowerBound[j] = c.colLower[k];
    d.upperBound[j] = c.colUpper[k];
    d.colStart[j] = end;
    d.colCount[j] = 0;
    if (!d.ctype.empty()) d.ctype[j] = c.colType.empty() ? 'C' : c.colType[k];
  }
  d.numCols += c.numCols;
  return rebuildLogicals(lp);
}

int flushRows(Environment *env, Problem *lp) {
  LpData &d = *lp->lpData;
  PendingData &c = d.cache;
  if (c.numRows == 0) return 0;
  int newRanges = 0;
  for (int k = 0; k < c.numRows; ++k) newRanges += c.rowSense[k] == 'R';
  const int ranges = d.numColsWithRanges - d.numCols + newRanges;
  int64_t end = 0;
  for (int j = 0; j < d.numCols; ++j) end = std::max(end, d.colStart[j] + d.colCount[j]);
  QVN_TRY(ensureSpace(env, lp, d.numCols + ranges, d.numRows + c.numRows, end + ranges, 0, 0, true));
  if (c.rowNames.exists || d.rowNames.exists) {
    if (!d.rowNames.exists) {
      QVN_TRY(defaultNameCounter(d.rowNames, d.numRows, 'c', d.rowDefaultNames));
      makeDefaultNames(d.rowNames, d.numRows, 'c', d.rowDefaultNames);
    }
    QVN_TRY(defaultNameCounter(d.rowNames, d.numRows, 'c', d.rowDefaultNames));
    EnvVector<char *> names(static_cast<size_t>(c.numRows), nullptr);
    if (c.rowNames.exists)
      for (int k = 0; k < c.numRows; ++k) names[k] = const_cast<char *>(c.rowNames.name(k));
    appendNames(d.rowNames, d.numRows, names.data(), c.numRows, 'c', d.rowDefaultNames);
    d.rowNames.offset.resize(static_cast<size_t>(d.rowSpace));
  }
  if (newRanges > 0 && d.rangeValue.empty()) d.rangeValue.assign(static_cast<size_t>(d.rowSpace), 0.0);
  modelChanged(env, lp, 17);
  for (int k = 0; k < c.numRows; ++k) {
    const int i = d.numRows + k;
    d.rhs[i] = c.rowRhs[k];
    d.sense[i] = c.rowSense[k];
    if (!d.rangeValue.empty()) d.rangeValue[i] = c.rowRange.empty() ? 0.0 : c.rowRange[k];
  }
  d.numRows += c.numRows;
  return rebuildLogicals(lp);
}

int flushNonzeros(Environment *env, Problem *lp) {
  LpData &d = *lp->lpData;
  PendingData &c = d.cache;
  const size_t n = c.nzValue.size();
  if (n == 0) return 0;
  EnvVector<int> extra(static_cast<size_t>(d.numCols), 0);
  for (size_t k = 0; k < n; ++k) extra[c.nzCol[k]] += 1;
  EnvVector<int64_t> fill;
  relayoutColumns(env, lp, extra, fill);
  modelChanged(env, lp, 34);
  for (size_t k = 0; k < n; ++k) {
    if (c.nzValue[k] == 0.0) continue;
    const int j = c.nzCol[k];
    d.rowIndex[fill[j]] = c.nzRow[k];
    d.coefValue[fill[j]] = c.nzValue[k];
    ++fill[j];
    ++d.colCount[j];
  }
  return rebuildLogicals(lp);
}

} // namespace

int flushCache(Environment *env, Problem *lp) {
  LpData &d = *lp->lpData;
  if (d.cache.isEmpty) return 0;
  int status = runCaught([&]() -> int {
    QVN_TRY(flushColumns(env, lp));
    QVN_TRY(flushRows(env, lp));
    return flushNonzeros(env, lp);
  });
  d.cache = PendingData();
  if (status == 0) recomputeType(lp);
  return status;
}

} // namespace qvn

using namespace qvn;

namespace {

// Pending names are kept only once some pending entry has a name; the entries
// before it get empty names, which become generated names at the flush.
void cacheNames(NameStore &store, int have, char **names, int count) {
  bool any = false;
  for (int k = 0; names && k < count && !any; ++k) any = names[k] && *names[k];
  if (!any && !store.exists) return;
  if (!store.exists) {
    store.exists = true;
    store.offset.assign(static_cast<size_t>(have), 0);
    store.text.assign(4, '\0');
    // Offset 0 holds an empty text: the placeholder of unnamed entries.
  }
  EnvVector<char *> list(static_cast<size_t>(count), nullptr);
  static char empty[] = "";
  for (int k = 0; k < count; ++k) list[k] = names && names[k] ? names[k] : empty;
  // Empty names stay empty here: appendNames would generate them, so write directly.
  store.offset.resize(static_cast<size_t>(have + count));
  // Names are appended in order, so the last one ends the used part of the store.
  size_t used = have > 0 ? static_cast<size_t>(store.offset[have - 1]) + std::strlen(store.name(have - 1)) + 1 : 1;
  for (int k = 0; k < count; ++k) {
    const size_t n = std::strlen(list[k]) + 1;
    if (used + n > store.text.size()) store.text.resize(2 * (used + n) + 64);
    std::memcpy(store.text.data() + used, list[k], n);
    store.offset[have + k] = static_cast<int64_t>(used);
    used += n;
  }
}

// Remembers the sizes of the pending arrays; unless committed, restores them,
// so that an allocation failure half way leaves the cache as it was.
class CacheMark {
public:
  explicit CacheMark(PendingData &c)
      : c_(c), isEmpty_(c.isEmpty), nzMode_(c.nzMode), colNamesExist_(c.colNames.exists),
        rowNamesExist_(c.rowNames.exists), cols_(c.colObj.size()), colTypes_(c.colType.size()),
        rows_(c.rowRhs.size()), ranges_(c.rowRange.size()), nzs_(c.nzValue.size()),
        colNameEntries_(c.colNames.offset.size()), rowNameEntries_(c.rowNames.offset.size()) {}
  void commit() { committed_ = true; }
  ~CacheMark() {
    if (committed_) return;
    c_.isEmpty = isEmpty_;
    c_.nzMode = nzMode_;
    c_.colObj.resize(cols_), c_.colLower.resize(cols_), c_.colUpper.resize(cols_);
    c_.colType.resize(colTypes_);
    c_.rowRhs.resize(rows_), c_.rowSense.resize(rows_), c_.rowRange.resize(ranges_);
    c_.nzRow.resize(nzs_), c_.nzCol.resize(nzs_), c_.nzValue.resize(nzs_);
    c_.colNames.exists = colNamesExist_, c_.colNames.offset.resize(colNameEntries_);
    c_.rowNames.exists = rowNamesExist_, c_.rowNames.offset.resize(rowNameEntries_);
  }

private:
  PendingData &c_;
  bool isEmpty_;
  int nzMode_;
  bool colNamesExist_, rowNamesExist_;
  size_t cols_, colTypes_, rows_, ranges_, nzs_, colNameEntries_, rowNameEntries_;
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
    if (ctype && c.colType.empty()) c.colType.assign(static_cast<size_t>(c.numCols), 'C');
    if (!c.colType.empty())
      for (int k = 0; k < count; ++k) c.colType.push_back(ctype ? ctype[k] : 'C');
    cacheNames(c.colNames, c.numCols, names, count);
    c.numCols += count;
    mark.commit();
    return 0;
  });
}

QVN_API int QVNEcacheNewRows(QVNCENVptr cenv, QVNLPptr lp, int count, const double *rhs,
                             const char *sense, const double *rangeValue, char **names) {
  auto *env = const_cast<Environment *>(cenv);
  return guardedProblem(env, lp, [&](Problem *p) -> int {
    if (count < 0) return QVNERR_BAD_ARGUMENT;
    if (count == 0) return 0;
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
    if (rangeValue && c.rowRange.empty()) c.rowRange.assign(static_cast<size_t>(c.numRows), 0.0);
    if (!c.rowRange.empty())
      for (int k = 0; k < count; ++k) c.rowRange.push_back(rangeValue ? rangeValue[k] : 0.0);
    cacheNames(c.rowNames, c.numRows, names, count);
    c.numRows += count;
    mark.commit();
    return 0;
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
    return 0;
  });
}

} // extern "C"
