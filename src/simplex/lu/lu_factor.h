// Sparse LU factorization of a simplex basis, kept as a library: the simplex
// loops, crossover, the barrier and the advanced basis functions use it through
// this header alone. It reads no parameter, prints nothing and knows no model:
// its options come in an LuOptions record, its messages go out through the
// sink in that record, and the basis columns through the LuBasis callbacks.
//
// What it computes. For the m x m basis B, whose column k (basis position k)
// is the column of variable head[k], a factorization
//     P B Q = L U
// with P a row and Q a column permutation, L unit lower triangular and U upper
// triangular. Stored as:
//   - L: column etas in pivot order; eta e has pivot row lPivotRow[e] and
//     multipliers on rows pivoted later (FTRAN: b[i] -= l_i * b[lPivotRow[e]]);
//   - row etas R_1..R_t of the t column replacements since, applied after L in
//     FTRAN (so B_t^{-1} = U^{-1} R_t..R_1 L^{-1} in the permuted order);
//   - U: pivots by U position k with row pivotRowOf[k], basis position
//     pivotColOf[k] and diagonal uDiagonal[k]; a column-wise copy holds the
//     entries above each pivot (by row), a row-wise copy the entries right of it
//     (by basis position).
// A column replacement (Forrest-Tomlin) retires the replaced U position and
// appends a new one after the last: the cyclic shift to the end is done by
// index, never by moving data, and the solves skip retired positions.
// Two kinds with one design: kind 0 keeps factors and work vectors in double,
// kind 1 in 80-bit long double; callers go through the table `ops` chosen by
// `kind` and never see the difference.
//
// Which call does what:
//   FTRAN x := B^{-1} x   ops->ftran (dense), ops->ftranSparse (packed), and
//                         ops->ftranForUpdate, which keeps the result (the
//                         spike) for the ops->update that follows. Input by
//                         rows, output by basis position.
//   BTRAN y := B^{-T} y   ops->btran (dense), ops->btranSparse (packed), and
//                         ops->btranUnit(position): row `position` of B^{-1}.
//                         Input by basis position, output by rows.
//   factorBasis           fresh factorization with retries and repair.
//   ops->update           column replacement; needFactor tells when a fresh
//                         factorization is due (update limit, cost rule, space).
//
// Who owns what. The factor owns every array inside LuFactor, allocated through
// envAlloc only, and frees them in luFree. The basis header (LuBasis.head)
// belongs to the caller: factorBasis writes it only to repair a singular basis
// and lists each move in repairPosition/repairLeaving/repairEntering; after an
// update the caller writes the entering variable at the replaced position
// itself. The columns that LuBasis.column hands out belong to the caller and
// are read only while factorBasis or factorColumns runs. Solve vectors
// (LuVector) belong to the caller.
#pragma once
#include <cstdint>

#include "quorvan.h"
#include "runtime/alloc.h"

namespace qvn {

// Internal results that never reach a caller of the library.
constexpr int kLuDenseNoMemory = 2000;    // dense nucleus too large: retry sparse
constexpr int kLuBasisChanged = 2002;     // basis repaired (or left singular by factorColumns)
constexpr int kLuRaiseThreshold = 2009;   // pivot ratio too large for the threshold
constexpr int kLuNeedFactor = 1;          // update: a fresh factorization is required

// Why an update asked for a fresh factorization.
enum LuReason { kLuReasonNone = 0, kLuReasonLimit, kLuReasonCost, kLuReasonGrowth, kLuReasonUnstable, kLuReasonSpace };

// What the factor tells its user; the user decides where it goes.
enum class LuMessage {
  kCompressing,       // memory ran short: the row and column files are compressed
  kDenseNoMemory,     // the dense nucleus did not fit: the factorization goes on sparse
  kRepairing,         // a singular basis is being repaired
  kThresholdRaised,   // value: the Markowitz threshold the factorization ended with
};
struct LuMessageSink {
  void *context = nullptr;
  void (*message)(void *context, LuMessage what, double value) = nullptr;
};

// Everything the factor's behaviour depends on, fixed at creation.
struct LuOptions {
  int startKind = 0;               // 0 double, 1 extended
  // A basis that turns singular after updates gets one retry in extended
  // precision before it is repaired (kind 0 starts only).
  bool extendedRetry = true;
  // 0: the cost rule decides when to refactor (at most 10000 updates); n > 0:
  // a fresh factorization every n solves, that is after n - 1 updates.
  int refactorEvery = 0;
  int singularLimit = 10;          // repairs before 1256; 0 stops at the first
  double rowMultiplier = 3.0;      // file sizes per basis nonzero
  double colMultiplier = 3.0;
  double markowitz = 0.01;         // starting threshold
  double absTol = 1e-13;           // absolute pivot tolerance
  // Which solve paths run: 0 by the predicted density of the result, 1 always
  // the sparse ones (symbolic reach first), -1 always the plain sweeps. The
  // results agree up to rounding; tests force each.
  int hyperSparse = 0;
  LuMessageSink messages;          // no sink: silent
};

constexpr int kLuMaxEntries = 262499999;
constexpr int kLuMaxThresholdSearch = 32767;

// One column of the basis matrix: `count` entries (row, value).
struct LuColumn {
  int count;
  const int *index;
  const double *value;
};

// The basis as the factor sees it: the variable at each position and how to get
// a variable's column and the logical (unit) variable of a row for repairs.
struct LuBasis {
  int m = 0;
  int *head = nullptr;  // variable per basis position, owned by the caller
  const void *context = nullptr;
  LuColumn (*column)(const void *context, int variable) = nullptr;
  int (*logicalOf)(const void *context, int row) = nullptr;
};

// A solve vector: dense values by index plus an optional list of the nonzeros.
// count >= 0: index[0..count) lists every nonzero of array (others are zero);
// count < 0: the pattern is unknown and array is scanned.
struct LuVector {
  int size = 0;
  int count = 0;
  EnvVector<int> index;
  EnvVector<double> array;
};
void luVectorInit(LuVector &v, int size);
void luVectorClear(LuVector &v);

template <class Real> struct LuValues {
  EnvVector<Real> activeValue;                 // row file of the active part
  EnvVector<Real> lValue, lRowValue;           // L by etas, and by rows
  EnvVector<Real> uDiagonal, uColValue, uRowValue;
  EnvVector<Real> etaValue;                    // row etas
  EnvVector<Real> workRows, workCols;          // zero between calls
  EnvVector<Real> spikeValue;
  EnvVector<Real> dense;                       // dense nucleus
};

// One file of lines (rows or columns) with start, length and capacity each.
struct LineFile {
  EnvVector<int> start, count, cap;
  EnvVector<int> index;
  int64_t end = 0;
};

struct LuOps;

struct LuFactor {
  LuOptions options;
  int kind = 0;
  int m = 0;
  const LuOps *ops = nullptr;
  bool valid = false;  // the factors represent the basis
  bool needFactorFlag = false;
  int factorReason = 0;  // why needFactorFlag was set: a kLuReason value

  // Sizes and policy.
  int basisNz = 0;            // nonzeros of the current basis (lastFactorCount)
  int basisNzAtFactor = 0;
  int64_t factorNz = 0;       // nonzeros of L and U at the last factorization
  double denseThreshold = 0.6;
  bool compressMode = false;
  bool pivotsChecked = false;  // the user verifies each pivot itself: growth may run further
  bool lIsColumnOnly = false;
  double rowMultiplier = 3.0, colMultiplier = 3.0;
  double markowitzWork = 0.01;
  double absTol = 1e-13;      // absolute pivot tolerance
  double dropTol = 1e-13;     // 1e-18 in kind 1
  double workEstimate = 0.0;
  int singletonOrder = 0;
  int64_t growthSinceFactor = 0;
  int64_t lastFactorTotalNz = 0;

  // Updates and the refactorization rule.
  int updateCount = 0, updateLimit = 10000;
  bool autoLimit = true;
  double avgCost = 1e75;
  double costSum = 0.0;
  int iterationNz = 0;
  double updatePenalty = 20.0;

  // Singularity repair.
  int singularCount = 0, singularLimit = 10, repairedFixed = 0;
  bool kindSwitched = false;
  int rank = 0;
  EnvVector<int> unpivotedRows, unpivotedPositions;
  // Last repair: position, leaving variable, entering variable per entry.
  EnvVector<int> repairPosition, repairLeaving, repairEntering;

  // Active part while eliminating: rows with values, columns pattern only.
  LineFile rowFile, colFile;
  // Live entries of each active column: the pattern file keeps the rows
  // pivoted since, which scans skip, rather than search for each one.
  EnvVector<int> colActive;
  EnvVector<int> rowBucketHead, rowNext, rowPrev;
  EnvVector<int> colBucketHead, colNext, colPrev;
  EnvVector<int> rowBucketKey, colBucketKey;  // the list a line is in, -1 none
  EnvVector<char> rowState, colState;  // 0 active, 1 pivoted, 2 excluded from search
  int64_t activeNz = 0;

  // L: etas in pivot order, plus a row-wise copy unless lIsColumnOnly.
  int lCount = 0;
  EnvVector<int> lPivotRow, lStart, lIndex;
  EnvVector<int> lEtaOfRow;
  EnvVector<int> lRowStart, lRowEta;

  // U, by position 0..posEnd-1 (capacity posCapacity = m + updates).
  int posEnd = 0, posCapacity = 0;
  EnvVector<int> pivotRowOf, pivotColOf, rowPos, colPos;
  LineFile uCols, uRows;  // uCols lines hold rows; uRows lines hold basis positions
  EnvVector<int> positionNz;  // basis column count per basis position

  // Row etas of the updates.
  int etaCount = 0;
  int64_t etaUsed = 0, etaCapacity = 0;
  EnvVector<int> etaPivotRow, etaStart, etaIndex;
  // The same entries by row, for FTRAN to visit only the etas that read a
  // nonzero: etaLastOfRow[i] is the newest entry on row i, etaLink the one
  // before it on the same row, etaOfEntry the eta an entry belongs to.
  EnvVector<int> etaLastOfRow, etaLink, etaOfEntry, etaMark;
  int etaStamp = 0;

  // Running averages of the result densities of FTRAN and BTRAN: the sparse
  // paths pay for their symbolic pass only while results stay sparse.
  // The entering column (the FTRAN kept for an update) and the other FTRANs
  // (weights, flips) differ in density by much, so each has its own.
  double ftranDensity = 0.0, ftranOtherDensity = 0.0, btranDensity = 0.0;
  // Depth-first search: next edge per stack level, the order found, and marks
  // of its own (a row search runs while rowMark lists the vector's rows).
  EnvVector<int> dfsEdge, dfsOrder, dfsMark;

  // Work arrays sized at creation; solves allocate nothing.
  EnvVector<int> rowMark, colMark, heap, rowList, outList, sortWork, lineWork;
  int stamp = 0;
  int spikeCount = 0, spikeInputNz = 0;
  double spikeMax = 0.0, spikeInputMax = 0.0;  // largest magnitudes of the spike and of its column
  bool spikeReady = false;
  EnvVector<int> spikeIndex;

  LuValues<double> valuesDouble;
  LuValues<long double> valuesExtended;
};

// The operations of one kind.
struct LuOps {
  int kind;
  // Factors the columns of basis.head without repair: 0, 1256 (rank deficient:
  // unpivotedRows/unpivotedPositions filled), 1001, kLuDenseNoMemory, kLuRaiseThreshold.
  int (*factorize)(LuFactor &f, const LuBasis &basis);
  // Dense in place: x by rows in, by basis position out.
  int (*ftran)(LuFactor &f, double *x);
  int (*ftranSparse)(LuFactor &f, LuVector &v);
  // As ftranSparse, and keeps the spike for the next update.
  int (*ftranForUpdate)(LuFactor &f, LuVector &v);
  // Dense in place: y by basis position in, by rows out.
  int (*btran)(LuFactor &f, double *y);
  int (*btranSparse)(LuFactor &f, LuVector &v);
  // Row `position` of B^-1, by rows, packed in v.
  int (*btranUnit)(LuFactor &f, int position, LuVector &v);
  // Replaces the column at basis position `position` by the column last passed to
  // ftranForUpdate; alpha is that FTRAN's entry at `position`. 0 or kLuNeedFactor.
  int (*update)(LuFactor &f, int position, double alpha);
  // 1-norm condition estimate of the factored basis.
  int (*estimateCondition)(LuFactor &f, const LuBasis &basis, double *kappa);
};

const LuOps *luOpsForKind(int kind);

// Creates a factor for m rows with work arrays allocated, configured by
// `options`. Null and *status 1001 on memory failure.
LuFactor *luCreate(const LuOptions &options, int m, int *status);
void luFree(LuFactor *&f);
// Moves the factor to another kind; the next factorization rebuilds everything.
int luSetKind(LuFactor &f, int kind);

// Factors the basis with the retry loop and repair by slacks. Result 0,
// kLuBasisChanged after a repair (basis.head changed; repairPosition/Leaving/
// Entering list the moves), 1001, or 1256. mode bit 1: return a singular basis
// at once as kLuBasisChanged without repair.
constexpr int kLuModeNoRepairReturn = 1;
int factorBasis(LuFactor &f, LuBasis &basis, double *markowitz, double absTol, bool allowRepair, int mode);
// Factors the given columns without repair: 0, kLuBasisChanged when singular,
// 1001.
int factorColumns(LuFactor &f, const LuBasis &basis, double markowitz, double absTol);
// The refactorization rule and the update limit.
bool needFactor(const LuFactor &f);

} // namespace qvn
