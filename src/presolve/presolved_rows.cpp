// Rows added to a problem and to its presolved copy at once, so that a
// presolve result survives the addition (cut loops add rows between solves).
//
// A new row on the original columns is written on the reduced columns by
// the same substitutions that crush a linear form: fixed columns move their
// part into the rhs. What presolve concluded from the rows it saw stays true
// with more rows, except the conclusions drawn from the objective about a
// column that the new row touches, and the bounds that a substitution moved
// from the removed column onto the others; a row on such a column cannot be
// carried and the copy is dropped with a warning. The replay gives the new rows their
// duals from the reduced solution; the reductions older than them did not
// know them, so the clean-up solve settles what is left.
#include <cmath>

#include "model/datacheck.h"
#include "model/edit.h"
#include "presolve/presolve_state.h"
#include "runtime/environment.h"

using namespace qvn;

namespace {

// The rows on the reduced columns, or false when one cannot be carried.
bool crushRows(const PresolveState &s, const RowBatch &b, EnvVector<double> &rhs, EnvVector<int> &start,
               EnvVector<int> &index, EnvVector<double> &value) {
  EnvVector<double> acc(static_cast<size_t>(s.numCols), 0.0);
  // Columns substituted out through other columns: a new row on them would
  // be carried through the substitution, but the bounds that the
  // substitution moved onto the remaining columns were derived without it,
  // and the copy could end as a relaxation of the model. Such rows are refused.
  EnvVector<char> substituted(static_cast<size_t>(s.numCols), 0);
  for (int r = s.head; r >= 0; r = s.records[r].next) {
    const ReductionRecord &rec = s.records[r];
    if (rec.kind == kRecAggregate || rec.kind == kRecDoubleton)
      substituted[s.recIndex[rec.first]] = 1;
    else if (rec.kind == kRecMergedColumns)
      substituted[rec.other] = 1;
  }
  for (int r = 0; r < b.count; ++r) {
    const int64_t begin = b.numNonzeros > 0 ? b.rowStart[r] : 0;
    const int64_t end = b.numNonzeros > 0 ? (r + 1 < b.count ? b.rowStart[r + 1] : b.numNonzeros) : 0;
    for (int64_t k = begin; k < end; ++k) {
      const int j = b.colIndex[k];
      if (s.dualRemoved[j] || substituted[j]) return false;
      acc[j] += b.coefValue[k];
    }
    double offset = 0.0;
    if (foldForm(s, acc, offset) != 0) return false;
    start.push_back(static_cast<int>(index.size()));
    for (int k = 0; k < static_cast<int>(s.redColOrig.size()); ++k) {
      const int j = s.redColOrig[k];
      if (std::fabs(acc[j]) >= 1e-13) {
        index.push_back(k);
        value.push_back(acc[j]);
      }
    }
    std::fill(acc.begin(), acc.end(), 0.0);
    rhs.push_back((b.rhs ? b.rhs[r] : 0.0) - offset);
  }
  return true;
}

// A dualized copy takes new reduced rows as new columns of the dual: the
// row duals y, with the row's limit less its activity at the shifted
// columns as price (see dualize.cpp).
bool addToDual(Environment *env, PresolveState &s, const RowBatch &rows) {
  DualMap &map = s.dualMap;
  EnvVector<double> obj, lower, upper, value;
  EnvVector<int> start, index;
  for (int r = 0; r < rows.count; ++r) {
    const char sense = rows.sense ? rows.sense[r] : 'E';
    const double rhs = rows.rhs[r];
    const int64_t begin = rows.numNonzeros > 0 ? rows.rowStart[r] : 0;
    const int64_t end = rows.numNonzeros > 0 ? (r + 1 < rows.count ? rows.rowStart[r + 1] : rows.numNonzeros) : 0;
    double shift = 0.0;
    start.push_back(static_cast<int>(index.size()));
    for (int64_t k = begin; k < end; ++k) {
      const int col = rows.colIndex[k];
      shift += rows.coefValue[k] * map.base[col];
      if (map.rowOfCol[col] < 0) continue;
      index.push_back(map.rowOfCol[col]);
      value.push_back(rows.coefValue[k]);
    }
    obj.push_back(rhs - shift);
    lower.push_back(sense == 'G' ? 0.0 : -kPreInf);
    upper.push_back(sense == 'L' ? 0.0 : kPreInf);
  }
  index.push_back(0);
  value.push_back(0.0);
  ColumnBatch cols;
  cols.count = rows.count;
  cols.objCoef = obj.data(), cols.lowerBound = lower.data(), cols.upperBound = upper.data();
  cols.numNonzeros = static_cast<int64_t>(index.size()) - 1;
  cols.colStart = start.data(), cols.rowIndex = index.data(), cols.coefValue = value.data();
  const int first = s.dualProblem->lpData->numCols;
  if (runCaught([&]() { return addColumns(env, s.dualProblem, cols, ModelEvent::kColsAdded); }) != 0) return false;
  for (int r = 0; r < rows.count; ++r) {
    map.yOfRow.push_back(first + r);
    map.wOfRow.push_back(-1);
  }
  return true;
}

// Adds the rows to the reduced problem (and its dual) and extends the maps;
// false when the copy cannot take them.
bool addToReduced(Environment *env, PresolveState &s, const RowBatch &b) {
  if (!s.ran || !s.reduced) return false;
  EnvVector<double> rhs;
  EnvVector<int> start, index;
  EnvVector<double> value;
  if (!crushRows(s, b, rhs, start, index, value)) return false;
  index.push_back(0);
  value.push_back(0.0);
  RowBatch crushed = b;
  crushed.rhs = rhs.data();
  crushed.numNonzeros = static_cast<int64_t>(index.size()) - 1;
  crushed.rowStart = start.data();
  crushed.colIndex = index.data();
  crushed.coefValue = value.data();
  const int redRows = s.reduced->lpData->numRows;
  if (runCaught([&]() { return addRows(env, s.reduced, crushed, ModelEvent::kRowsAdded); }) != 0) return false;
  if (s.dualized && !addToDual(env, s, crushed)) return false;
  for (int r = 0; r < b.count; ++r) {
    s.rowMap.push_back(redRows + r);
    s.redRowOrig.push_back(s.numRows + r);
    s.rowLive.push_back(0);
  }
  s.numRows += b.count;
  return true;
}

} // namespace

extern "C" {

QVN_API int QVNpreaddrows(QVNCENVptr cenv, QVNLPptr lp, int newRows, int newNonzeros, const double *rhs,
                          const char *sense, const int *rowStart, const int *colIndex, const double *coefValue,
                          char **rowNames) {
  auto *env = const_cast<Environment *>(cenv);
  return guardedEdit(env, lp, [&](Problem *p) -> int {
    if (newRows < 0 || newNonzeros < 0) return QVNERR_BAD_ARGUMENT;
    if (newRows == 0) return 0;
    if (newNonzeros > 0 && (!rowStart || !colIndex || !coefValue)) return QVNERR_NULL_POINTER;
    QVN_TRY(flushCache(env, p));
    const bool thorough = env->generalParams->datacheck != 0;
    if (sense) QVN_TRY(checkSenses(env, sense, newRows));
    if (newNonzeros > 0)
      QVN_TRY(checkStartMatrix(env, newRows, rowStart, newNonzeros, colIndex, p->lpData->numCols,
                               QVNERR_COL_INDEX_RANGE, coefValue, thorough));
    if (thorough) {
      QVN_TRY(checkNumbers(env, rhs, newRows));
      QVN_TRY(checkNames(env, rowNames, newRows));
    }
    RowBatch b;
    b.count = newRows, b.rhs = rhs, b.sense = sense, b.names = rowNames;
    b.numNonzeros = newNonzeros, b.rowStart = rowStart, b.colIndex = colIndex, b.coefValue = coefValue;
    // The original changes under its own event with the copy set aside, so
    // that the event does not drop it.
    PresolveState *held = p->presolved;
    p->presolved = nullptr;
    const int status = runCaught([&]() { return addRows(env, p, b, ModelEvent::kRowsAdded); });
    p->presolved = held;
    if (status != 0) return status;
    if (held && (!held->ran || held->nothingDone)) {
      dropPresolveResult(p);  // nothing reduced: nothing to keep in step
    } else if (held && !addToReduced(env, *held, b)) {
      QVNmsg(env->warningChannel, "Warning: Adding rows to the presolved model fails.\n");
      dropPresolveResult(p);
    }
    return 0;
  });
}

} // extern "C"
