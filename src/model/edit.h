// Internal routines behind the functions that add, delete and change model
// data. Each one does every allocation before its first write, so that a
// failure (1001) leaves the model as it was; the change event of the
// operation runs between the two phases.
//
// Layout rule the routines keep: structural columns have non-decreasing
// colStart and never overlap, so column j may grow in place up to
// colStart[j+1] (the last one up to the room left for the range columns).
#pragma once
#include <cstdint>

#include "model/problem.h"

namespace qvn {

inline double colScaleOf(const LpData &d, int j) { return d.colScale ? d.colScale[j] : 1.0; }
inline double rowScaleOf(const LpData &d, int i) { return d.rowScale ? d.rowScale[i] : 1.0; }

// Held start vectors follow a change of one number, so that the next solve
// starts warm: primalStart holds x then the row slacks rhs - a_i x, dualStart
// the row duals then the reduced costs c - A'pi. Each does nothing unless the
// vector covers the stored rows and columns.
bool heldPrimalStart(const Problem *lp);
bool heldDualStart(const Problem *lp);
// rhs of `row` moved by delta: its slack moves by delta.
void carryRhsChange(Problem *lp, int row, double delta);
// Cost of `col` moved by delta: its reduced cost moves by delta.
void carryCostChange(Problem *lp, int col, double delta);
// A nonbasic row of a held basis whose range moved to an infinite limit is
// moved to its other limit, or made free.
void repairRowStatus(Problem *lp, int row);
// When a kept presolved copy is held it cannot follow this change: the
// warning goes out and the copy is dropped (an event would drop it silently).
void dropPresolvedCopy(Environment *env, Problem *lp, const char *warning);

// End of the last structural column's entries.
int64_t structuralEnd(const LpData &d);
// Number of stored matrix entries of the structural columns.
int64_t storedNonzeros(const LpData &d);

// New columns with their entries (column-wise, like QVNaddcols). Null arrays
// take their defaults: objective 0, bounds [0, 1e+20], type 'C'.
struct ColumnBatch {
  int count = 0;
  const double *objCoef = nullptr, *lowerBound = nullptr, *upperBound = nullptr;
  const char *ctype = nullptr;
  char *const *names = nullptr;
  int64_t numNonzeros = 0;
  const int *colStart = nullptr, *rowIndex = nullptr;
  const double *coefValue = nullptr;
};
int addColumns(Environment *env, Problem *lp, const ColumnBatch &batch, ModelEvent event);

// Takes back empty columns that addColumns just added (allocates nothing).
void dropNewColumns(Problem *lp, int oldCount);

// New rows with their entries (row-wise, like QVNaddrows). Null rhs means 0,
// null sense 'E', null ranges 0.
struct RowBatch {
  int count = 0;
  const double *rhs = nullptr, *rangeValue = nullptr;
  const char *sense = nullptr;
  char *const *names = nullptr;
  int64_t numNonzeros = 0;
  const int *rowStart = nullptr, *colIndex = nullptr;
  const double *coefValue = nullptr;
};
int addRows(Environment *env, Problem *lp, const RowBatch &batch, ModelEvent event);

// Matrix entries as triplets in one merge pass. With `mayExist` an entry
// replaces a stored one (0 deletes it) and a later triplet for the same pair
// wins over an earlier one; without it every triplet is a new entry.
// What a merge will do, computed (and allocated) before anything is written.
struct MergePlan {
  EnvVector<int64_t> head;   // triplets bucketed by column: head[j]..head[j+1]-1 in `order`
  EnvVector<int64_t> order;  // triplet numbers, by column, in input order within a column
  EnvVector<int64_t> updatePos;
  EnvVector<int> updateCol;
  EnvVector<double> updateValue;
  EnvVector<int64_t> inserts;  // triplet numbers of new entries
  EnvVector<int> extra;        // new entries per column
  EnvVector<char> shrinks;     // column loses entries (deleted by a zero)
  bool relayout = false;
  int64_t newSpace = 0;
  EnvVector<int> newIndex;
  EnvVector<double> newValue;
};

// Plans triplets for the current columns; `extraRanges` range columns are
// about to be added and need their room. Throws std::bad_alloc.
void planMerge(const Environment *env, const Problem *lp, int64_t count, const int *rows,
               const int *cols, const double *values, bool mayExist, int extraRanges, MergePlan &plan);
// Raises `event` and writes the plan; allocates nothing. rebuildLogicals is the caller's.
void commitMerge(Environment *env, Problem *lp, MergePlan &plan, const int *rows, const int *cols,
                 const double *values, ModelEvent event);
int mergeEntries(Environment *env, Problem *lp, int64_t count, const int *rows, const int *cols,
                 const double *values, bool mayExist, ModelEvent event);

// `flags` has one entry per row/column: 1 deletes. On return it holds each
// entry's new index or -1. One pass over the matrix.
int deleteRowSet(Environment *env, Problem *lp, int *flags, ModelEvent event);
int deleteColSet(Environment *env, Problem *lp, int *flags, ModelEvent event);

// The last step of the surplus protocol: *surplus = space - needed, the
// count written, and 1207 when the room was short.
int finishSurplus(int64_t needed, int space, int *countOut, int *surplus);
// A call with no room only learns its need: *surplus = -needed, and 1207
// when something is needed (`quiet`: returned without a line).
inline int surplusCountOnly(int64_t needed, int *surplus, bool quiet = false) {
  *surplus = static_cast<int>(-needed);
  if (needed <= 0) return 0;
  return quiet ? -QVNERR_NEGATIVE_SURPLUS : QVNERR_NEGATIVE_SURPLUS;
}
// Frame of the getters under the surplus protocol: the count and surplus
// outputs start at 0 before any test; then environment, problem (a fixed-type
// handle reads its held problem), both outputs required, pending data completed.
template <class Body>
int surplusFrame(const Environment *cenv, const Problem *lp, int *countOut, int *surplus, Body &&body) noexcept {
  if (countOut) *countOut = 0;
  if (surplus) *surplus = 0;
  auto *env = const_cast<Environment *>(cenv);
  return guardedProblem(env, lp, [&](Problem *p) -> int {
    if (!countOut || !surplus) return QVNERR_NULL_POINTER;
    QVN_TRY(flushCache(env, p));
    return body(env, p);
  });
}
// Names begin..end of a store under the surplus protocol in bytes; 1219
// without names.
int nameGetter(const Environment *env, const NameStore &names, int count, char **nameArray, char *store,
               int space, int *surplus, int begin, int end, const char *function);

// Opens the pending-data record for new items (remembers the base counts).
void openCache(LpData &d);
// True when the pending items outgrow the model and should be merged now.
bool cacheOutgrown(const PendingData &c);

// Tests begin..end against lowest..count-1, printing 1205/1206 with the
// exported function's name; false when the range is bad.
bool checkRange(const Environment *env, const char *functionName, int begin, int end, int lowest,
                int count);
// checkRange for the range getters and deleters: 0 or 1200.
int rangeStatus(const Environment *env, const char *functionName, int begin, int end, int count);

// Frame of the functions that change a model: environment (1002), problem
// (1009, the handle itself, never a held fixed problem), not of a fixed type (1023).
template <class Body> int guardedEdit(const Environment *env, Problem *lp, Body &&body) noexcept {
  return guarded(env, [&]() -> int {
    if (!problemOfEnv(env, lp) || !checkProblemFast(lp)) return QVNERR_NO_PROBLEM;
    if (isFixedType(lp->probType)) return QVNERR_NOT_ONE_PROBLEM;
    return body(lp);
  });
}

// 1012 when `moreRows` rows and `moreCols` columns would take the model, with
// its pending items, past the largest count an int may hold here; summed in 64
// bits so that no count near INT_MAX wraps before it is tested. Range columns
// sit behind the columns and count too, and each new row may bring one.
inline int modelSizeCheck(const LpData &d, int64_t moreRows, int64_t moreCols) {
  constexpr int64_t kMaxCount = 2100000000;
  const int64_t rows = int64_t{d.numRows} + d.cache.numRows + moreRows;
  const int64_t cols = int64_t{d.numColsWithRanges} + d.cache.numCols + moreCols + moreRows;
  return rows > kMaxCount || cols > kMaxCount ? QVNERR_LIMITS_TOO_BIG : 0;
}

// Drops the rest of the data of the integer columns: order and SOS (types stay).
void dropMipAttachments(Problem *lp);

} // namespace qvn
