// The presolve record attached to a Problem: settings, counters, the working
// copy of the model that the reductions shrink, the maps to the reduced
// problem and the replay log.
//
// Working form: every row i reads rowLower[i] <= sum_j a_ij x_j <= rowUpper[i]
// and the objective is minimized: cost[j] = objSense * c_j, so that every
// dual argument is made once. Entries live in one pool; a row and a column
// each list the positions of their entries, and a removed entry is marked
// dead instead of being erased, so that removals cost nothing. A removed row
// or column has live count -1.
#pragma once
#include <algorithm>
#include <cmath>
#include <cstdint>

#include "model/attachments.h"
#include "model/problem.h"

namespace qvn {

constexpr double kPreInf = 1e20;

// Kinds of replay records (numbers as the crush functions know them).
enum RecordKind {
  kRecInfiniteUpper = 1,  // zero-cost column sent up without limit with the rows it satisfies
  kRecInfiniteLower = 2,  // ... down without limit
  kRecFixed = 3,        // fixed column: x = value
  kRecAtLower = 4,      // column fixed at its lower bound by a dual argument or a forcing row
  kRecAtUpper = 5,      // ... at its upper bound
  kRecRowLower = 6,     // singleton row that tightened a lower bound
  kRecRowUpper = 7,     // ... an upper bound
  kRecRowEqual = 8,     // equality singleton row
  kRecForceUpper = 9,   // forcing row at its upper limit (all columns at the minimum activity)
  kRecForceLower = 10,  // forcing row at its lower limit
  kRecAggregate = 11,   // column substituted out through an equality row
  kRecFreeEmpty = 12,   // empty free column with zero cost, at 0
  kRecDoubleton = 13,   // doubleton equation: the other column took over the bounds
  kRecMergedColumns = 19,  // two parallel columns with parallel costs merged into one
  kRecSideChosen = 22,  // inequality row turned into an equality by the sign of its dual
};

// Where a column that presolve removed went, as QVNgetprestat reports it in
// place of a reduced index. Bound comparisons use 1e-10.
enum class RemovedColumn : int {
  kAtLower = -1,       // at its original lower bound
  kAtUpper = -2,       // at its original upper bound
  kByReplay = -3,      // a value only the replay log can tell
  kFreeAtZero = -4,
  kNoRecord = -5,
  kFixedAtLower = -6,  // fixed at what equals the original lower bound
  kFixedAtUpper = -7,  // fixed at what equals the original upper bound
};
constexpr int mapCode(RemovedColumn c) { return static_cast<int>(c); }

// One replay entry. Arrays live in the pools of the state: positions
// first .. first+count-1 of recIndex/recValue, then `count2` more entries of
// a second group. `next` is the older record (-1 at the end of the list).
//
// Layouts:
//  3, 4, 5, 12: index column, value its value, cost its cost; group 1 its
//     live entries (row, coefficient) at the time.
//  6, 7, 8: index row; group 1 one entry (column, coefficient); lower/upper
//     the column's bounds before the row tightened them.
//  9, 10: index row; group 1 its entries (column, coefficient).
//  11, 13: index row; value its rhs; group 1: (pivot column, pivot) first,
//     then the row's other entries; group 2 the pivot column's other entries
//     (row, coefficient); cost the pivot column's cost. For 13, other is the
//     column that remains and lower/upper are its bounds before the transfer.
//  19: index the kept column j, other the merged column k, value the ratio r
//     (column k = r * column j, x_j + r x_k lives on as column j); lower/upper
//     j's bounds before; group 1 two entries (k, lower of k), (k, upper of k).
//  22: index row; value the side chosen (0 lower, 2 upper).
//  1, 2: index column; value its own bound on the far side; group 1 per
//     removed row with a finite limit: (k, -a_ik / a_ij) for the row's other
//     columns, closed by (-1 - row, limit / a_ij); group 2 (row, a_ij) of
//     those rows.
struct ReductionRecord {
  int kind = 0;
  int index = -1;
  int count = 0, count2 = 0;
  int other = -1;
  double value = 0.0, lower = 0.0, upper = 0.0, cost = 0.0;
  int next = -1;
  int64_t first = 0;
};

// Where the parts of the reduced problem sit in its dual (dualize.cpp):
// the dual row of each reduced column (-1 for a fixed one), the extra dual
// column v of a column with two bounds, the dual column y of each reduced
// row and the second column w of a ranged row (-1 when absent), and the
// value each column was shifted by.
struct DualMap {
  EnvVector<int> rowOfCol, vOfCol, yOfRow, wOfRow;
  EnvVector<double> base;
};

// A solution and basis of the reduced problem rebuilt from its dual's.
struct PrimalOfDual {
  EnvVector<double> x, pi, dj;
  EnvVector<int> colStatus, rowStatus;
};

struct PresolveEntry {
  int row, col;
  double value;
  bool alive;
};

} // namespace qvn

struct PresolveState {
  // Settings copied at start.
  int preind = 1, prepass = -1, reduce = 3, prelinear = 1, aggind = -1, depind = -1, predual = 0;
  int aggfill = 10;
  double feasTol = 1e-6;
  bool primalFlag = true;  // primal reductions allowed
  int dualLevel = 2;       // 0 none, 1 linear, 2 also non-linear
  int passLimit = 2100000000;
  int method = qvn::methodNumber(qvn::LpMethod::kDual);  // the LP method the run prepares for
  int aggTries = 1;

  // Counters.
  int rowsEliminated = 0, colsEliminated = 0, coefsModified = 0, boundsImproved = 0, substitutions = 0;
  int passes = 0;
  int dependentRows = 0;  // equality rows dropped as combinations of others

  // Original sizes and sense.
  int numRows = 0, numCols = 0, objSense = 1;

  // Working copy.
  qvn::EnvVector<qvn::PresolveEntry> entries;
  qvn::EnvVector<qvn::EnvVector<int>> rowEntries, colEntries;
  qvn::EnvVector<int> rowLive, colLive;
  qvn::EnvVector<double> rowLower, rowUpper, colLower, colUpper, cost;
  qvn::EnvVector<double> origLower, origUpper;
  double offset = 0.0;  // objective constant in minimization sense
  qvn::EnvVector<char> protectedCol;
  // Columns removed by an argument about the objective (dominated, empty,
  // or a singleton whose cost chose its row's side): a new row on them
  // would undo the argument.
  qvn::EnvVector<char> dualRemoved;
  qvn::EnvVector<int> protectedList;  // sorted; survives a new run
  // A point of the original model (a debugging aid of the presolver): each
  // clean-up step measures it against the rows and columns that remain, and
  // a violation above the feasibility tolerance stops the run with 1101.
  // Survives a new run, as the protected columns do.
  qvn::EnvVector<double> testSolution;
  // Integer presolve: the columns that must take integer values (empty in an
  // LP run). A reduction that would let such a column take a fractional
  // value, or lose an integer point, is skipped or rounded.
  bool mip = false;
  qvn::EnvVector<char> integerCol;
  // Bound strengthening: the tightest bounds that single rows imply for each
  // column from the other columns' bounds, kept apart from the column's own
  // bounds (which stay as the model has them, so no dual has to move). They
  // serve the implied-free tests. A stored bound holds only while
  // impliedStamp[j] equals impliedEpoch: the epoch moves on whenever a
  // column's own bounds are dropped (a substitution, a column sent to an
  // infinite bound) or rows leave with it, since a bound derived through
  // the dropped one would otherwise free a second column on the first one's
  // account, and the two could then leave their bounds together.
  // impliedLowerRow/UpperRow name the row each stored bound came from: when
  // that row leaves, the column's stored bounds go with it. A row dropped as
  // redundant under the column's own bound may well be the one that implies
  // that very bound, and once the own bound is dropped in turn nothing would
  // hold the column (harp2: a binary substituted on such a bound came back
  // at -25).
  qvn::EnvVector<double> impliedLower, impliedUpper;
  qvn::EnvVector<int> impliedStamp, impliedLowerRow, impliedUpperRow;
  int impliedEpoch = 0;
  bool dualUsed = false;  // some column went by an argument about the objective
  bool dualVerdict = false;  // the run ended on an argument about the objective (unboundedness)

  // Touched lists; when they hold more than a third of the rows the passes
  // scan everything instead ("mode" 1).
  qvn::EnvVector<int> touchedRows, touchedCols;
  qvn::EnvVector<char> rowMarked, colMarked;
  int mode = 0;
  qvn::EnvVector<int> scratchPos;  // column -> entry of the row being changed, else -1

  // Maps after the run: reduced index >= 0, or a negative status: a
  // RemovedColumn for a column, -1 for a row.
  qvn::EnvVector<int> colMap, rowMap;
  qvn::EnvVector<int> redColOrig, redRowOrig;  // reduced index -> original
  bool ran = false;  // a run finished and its maps are valid
  bool allEliminated = false;
  bool nothingDone = false;
  int status = 0;  // 0, or the error that ended the run
  Problem *reduced = nullptr;
  // The dual of the reduced problem, when presolve formed it; the optimizers
  // then solve it in place of the reduced problem.
  bool dualized = false;
  Problem *dualProblem = nullptr;
  qvn::DualMap dualMap;

  // Replay log: records in a pool, head is the newest.
  qvn::EnvVector<qvn::ReductionRecord> records;
  qvn::EnvVector<int> recIndex;
  qvn::EnvVector<double> recValue;
  int head = -1;

  // Parameters the run was made with, to tell whether it can be kept.
  int madeWith[8] = {};
};

namespace qvn {

// Working copy helpers (work_matrix.cpp).
void buildWorkingCopy(Environment *env, const Problem *lp, PresolveState &s);
void markRow(PresolveState &s, int i);
void markCol(PresolveState &s, int j);
void removeRow(PresolveState &s, int i);
void removeCol(PresolveState &s, int j);
// Adds value to entry (i, j), creating or cancelling it; `rowPos` maps the
// columns of row i to their entry positions (-1 when absent).
void addToEntry(PresolveState &s, int i, int j, double value, EnvVector<int> &rowPos);
// Minimum and maximum activity of row i with the counts of infinite parts.
struct Activity {
  double min = 0.0, max = 0.0;
  int minInf = 0, maxInf = 0;
};
Activity rowActivity(const PresolveState &s, int i);
const char *rowNameOf(const Problem *lp, int i, char *buffer);
const char *colNameOf(const Problem *lp, int j, char *buffer);

inline bool isIntegerCol(const PresolveState &s, int j) { return !s.integerCol.empty() && s.integerCol[j] != 0; }
// The integer range that [lo, up] holds, with a margin for rounding noise.
// When the bound replaces a row, `scale` is what a unit of the column weighs
// in that row: the margin shrinks so that the row stays held within 1e-6.
inline double roundUpBound(double lo, double scale = 1.0) {
  return lo <= -kPreInf ? lo : std::ceil(lo - 1e-6 / std::max(1.0, scale));
}
inline double roundDownBound(double up, double scale = 1.0) {
  return up >= kPreInf ? up : std::floor(up + 1e-6 / std::max(1.0, scale));
}

// Record pool.
int pushRecord(PresolveState &s, int kind, int index);
void recordPair(PresolveState &s, int rec, int index, double value, bool second = false);
inline ReductionRecord &record(PresolveState &s, int rec) { return s.records[static_cast<size_t>(rec)]; }

// Removal of column j at value v, pushing the record kind (3, 4, 5 or 12)
// and moving its contribution into row bounds and the offset.
void fixColumn(PresolveState &s, int j, double v, int kind);

// Reductions (reductions_rows.cpp, reductions_cols.cpp, aggregator.cpp). Each
// returns 0, 1101 or an error.
int emptyAndSingletonRows(Environment *env, const Problem *lp, PresolveState &s, const EnvVector<int> &rows);
int rowActivityPass(Environment *env, const Problem *lp, PresolveState &s, const EnvVector<int> &rows);
int duplicateRows(Environment *env, const Problem *lp, PresolveState &s);
// Implied bounds of the columns of the listed rows into impliedLower/Upper;
// 1101 when a row's implied bounds leave a column no room.
int boundStrengthening(Environment *env, const Problem *lp, PresolveState &s, const EnvVector<int> &rows);
// The stored implied bounds of column j, when still valid, tighten lo/up.
inline void storedImplied(const PresolveState &s, int j, double &lo, double &up) {
  if (s.impliedStamp.empty() || s.impliedStamp[j] != s.impliedEpoch) return;
  lo = std::max(lo, s.impliedLower[j]);
  up = std::min(up, s.impliedUpper[j]);
}
int columnPass(Environment *env, const Problem *lp, PresolveState &s, const EnvVector<int> &cols);
int duplicateColumns(Environment *env, const Problem *lp, PresolveState &s);
int aggregate(Environment *env, const Problem *lp, PresolveState &s);
// The integer passes over the rows of the list (mip_reductions.cpp): bound
// tightening with integer rounding and coefficient tightening. 0 or 1101.
int integerPasses(Environment *env, const Problem *lp, PresolveState &s, const EnvVector<int> &rows);
// Drops equality rows that are combinations of other equality rows
// (dependent_rows.cpp); 1101 when such a row contradicts them.
int dependentRows(Environment *env, const Problem *lp, PresolveState &s);
// True when row r alone keeps column j within its bounds.
bool impliedFree(const PresolveState &s, int r, int j);
// Substitutes column y out through equality row r; with keep >= 0 (a
// doubleton row) y's bounds move onto the remaining column keep.
int substituteColumn(PresolveState &s, int r, int y, int keep);

// A linear form over the original columns rewritten on the columns that
// remain (crush.cpp): acc holds coefficients by original column and keeps
// nonzeros only on surviving ones; offset receives the constant. 1003 when
// a merged pair appears out of the proportion of its merge.
int foldForm(const PresolveState &s, EnvVector<double> &acc, double &offset);

// Dualization (dualize.cpp): the decision by size and method, the dual of
// s.reduced in s.dualProblem, and the reduced solution from the dual's.
bool chooseDual(const Problem *lp, const PresolveState &s);
int buildDual(Environment *env, PresolveState &s);
void primalFromDual(const PresolveState &s, const Problem *dual, PrimalOfDual &out);

// Driver (driver.cpp). Runs presolve for an LP method on lp and leaves the
// state attached; 0 or an error number (1101, 1117, 1118 on proofs, 1001).
// After an error the caller drops the state.
int runPresolve(Environment *env, Problem *lp, bool keepReduced, int method);
// The same core for a mixed integer problem: integer-aware reductions and the
// integer passes, no dualization, the log under the "MIP" prefix, and a
// reduced problem that keeps the column types.
int runMipPresolveCore(Environment *env, Problem *lp);
// Frees the state of lp but keeps its protected columns and test solution.
void dropPresolveResult(Problem *lp);
// Attaches a test solution (numCols values of the original model) to the
// presolve runs of lp; null detaches it.
void setPresolveTestSolution(Problem *lp, const double *x);
// Frees the state of lp with its reduced and dual problems.
void freePresolved(Problem *lp);
// The record under which a Problem keeps its presolve state (presolve_attachment.cpp).
extern const AttachmentOps kPresolveAttachment;
bool presolveParamsMatch(const Environment *env, const PresolveState &s);

// Replay (postsolve.cpp). From reduced vectors to original ones; any output
// may be null. The basis arrays use the library's status codes with the row
// status describing the row activity.
struct ReducedSolution {
  const double *x = nullptr, *pi = nullptr, *dj = nullptr;
  const int *colStatus = nullptr, *rowStatus = nullptr;
};
struct OriginalSolution {
  double *x = nullptr, *activity = nullptr, *pi = nullptr, *dj = nullptr;
  int *colStatus = nullptr, *rowStatus = nullptr;
};
void uncrush(const Problem *lp, const PresolveState &s, const ReducedSolution &in, OriginalSolution &out);
// Debug test of a point x of the original model against the log (tolerance
// 1e-6, zero test 1e-13); each inconsistency goes to the results channel
// ("Fixed value ...", "diff =...", "pval ...", "c ...", "fval ... != 0").
// Returns how many it found.
int checkPostsolve(Environment *env, const Problem *lp, const PresolveState &s, const double *x);

// Optimizer hook (optimize_presolved.cpp): presolve, solve the reduced problem
// with `solve`, uncrush and run the clean-up re-solve with the primal loop.
using SolveProblemFn = int (*)(Environment *env, Problem *lp, int method);
int optimizeWithPresolve(Environment *env, Problem *lp, int method, SolveProblemFn solve);

} // namespace qvn
