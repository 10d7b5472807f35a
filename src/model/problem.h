// The Problem record and its core, LpData: a column-wise sparse matrix with spare
// capacity in every array, so that rows, columns and nonzeros can be added
// without rebuilding.
//
// Column j's entries are rowIndex/coefValue[colStart[j] .. colStart[j]+colCount[j]-1];
// a column may leave a gap behind it. Columns numCols .. numColsWithRanges-1 are
// the range columns of 'R' rows (one entry -1.0 in their row). 'L' and 'G' rows
// own a slack (+1.0 / -1.0) held only in slackRow/slackCoef.
#pragma once
#include <cstdint>
#include <utility>

#include "model/model_events.h"
#include "quorvan.h"
#include "runtime/alloc.h"
#include "runtime/frame.h"

struct Environment;
struct NameTable;

namespace qvn {

constexpr double kInfinity = 1e20;

// The type is an int at the boundary (QVNgetprobtype, QVNchgprobtype) and in
// Problem, so the names stay plain constants of the header's numbers.
enum ProbType : int {
  kProbLP = QVN_PROB_LP, kProbMILP = QVN_PROB_MILP, kProbFixedMILP = QVN_PROB_FIXEDMILP,
  kProbNodeLP = QVN_PROB_NODELP, kProbQP = QVN_PROB_QP, kProbMIQP = QVN_PROB_MIQP,
  kProbFixedMIQP = QVN_PROB_FIXEDMIQP, kProbNodeQP = QVN_PROB_NODEQP, kProbQCP = QVN_PROB_QCP,
  kProbMIQCP = QVN_PROB_MIQCP, kProbNodeQCP = QVN_PROB_NODEQCP, kProbFixedMIQCP = QVN_PROB_FIXEDMIQCP
};

inline bool isMipType(int t) { return t == kProbMILP || t == kProbMIQP || t == kProbMIQCP; }
inline bool hasQuadObjType(int t) {
  return t == kProbQP || t == kProbMIQP || t == kProbFixedMIQP || t == kProbNodeQP;
}
inline bool hasQuadConstrType(int t) {
  return t == kProbQCP || t == kProbMIQCP || t == kProbNodeQCP || t == kProbFixedMIQCP;
}
inline bool isFixedType(int t) { return t == kProbFixedMILP || t == kProbFixedMIQP || t == kProbFixedMIQCP; }
inline bool isNodeType(int t) { return t == kProbNodeLP || t == kProbNodeQP || t == kProbNodeQCP; }

// Names of one kind (rows or columns): consecutive null-terminated texts and the
// offset of each name, so that growing the store needs no rebasing.
// `used` counts the bytes in use: a renamed entry may sit behind later ones.
struct NameStore {
  bool exists = false;
  EnvVector<char> text;
  EnvVector<int64_t> offset;  // one per entry while exists
  int64_t used = 0;
  const char *name(int i) const { return text.data() + offset[i]; }
  void clear() {
    exists = false;
    text = EnvVector<char>();
    offset = EnvVector<int64_t>();
    used = 0;
  }
};

// Owner of the NameTable of pending names (model/names_table.h); moves, never copies.
struct PendingNames {
  ::NameTable *table = nullptr;
  PendingNames() = default;
  PendingNames(PendingNames &&other) noexcept : table(other.table) { other.table = nullptr; }
  PendingNames &operator=(PendingNames &&other) noexcept {
    std::swap(table, other.table);
    return *this;
  }
  PendingNames(const PendingNames &) = delete;
  PendingNames &operator=(const PendingNames &) = delete;
  ~PendingNames();
};

// Rows, columns and nonzeros announced by a modelling layer but not yet merged.
struct PendingData {
  int baseCols = 0, baseRows = 0, baseNzs = 0;
  bool isEmpty = true;
  // columns
  int numCols = 0;
  EnvVector<double> colObj, colLower, colUpper;
  EnvVector<char> colType;  // empty until a type is given
  PendingNames colNames;     // null until names are given; "" where a name is missing
  // rows
  int numRows = 0;
  EnvVector<double> rowRhs, rowRange;
  EnvVector<char> rowSense;
  PendingNames rowNames;
  // nonzeros as triplets
  int nzMode = 0;  // 0 none, 1 column-wise, 2 row-wise, 3 triplets
  EnvVector<int> nzRow, nzCol;
  EnvVector<double> nzValue;
};

struct RowCopy {
  bool upToDate = false;
  int numRows = 0;
  EnvVector<int> rowStart, rowCount, colIndex;
  EnvVector<double> value;
};

struct LpData {
  char *probName = nullptr;
  int numRows = 0, numCols = 0;
  int rowSpace = 1, colSpace = 1;
  int64_t nzSpace = 1;
  int objSense = 1;
  EnvVector<double> objCoef;        // colSpace
  EnvVector<double> rhs;            // rowSpace
  EnvVector<char> sense;            // rowSpace
  char *objName = nullptr;
  NameStore rowNames, colNames;
  EnvVector<int64_t> colStart;      // colSpace
  EnvVector<int> colCount;          // colSpace
  EnvVector<int64_t> colEnd;        // colSpace
  EnvVector<int> rowIndex;          // nzSpace
  EnvVector<double> coefValue;      // nzSpace
  EnvVector<double> lowerBound, upperBound;  // colSpace
  EnvVector<double> rangeValue;     // rowSpace, empty when no row is ranged
  EnvVector<char> ctype;            // colSpace, empty for a continuous problem
  int numColsWithRanges = 0;
  int numColsWithSlacks = 0;
  int numColsAtFactor = 0;
  int matrixStamp = -1;
  int colDefaultNames = -1, rowDefaultNames = -1;
  EnvVector<int> slackRow;          // rowSpace
  EnvVector<double> slackCoef;      // rowSpace
  EnvVector<double> rowScaleSpace, colScaleSpace;
  double *rowScale = nullptr, *colScale = nullptr;  // aliases while scaled
  double rowFileMultiplier = 3.0, colFileMultiplier = 3.0;
  double objOffset = 0.0;
  // Working tolerances of the next primal and dual run, from parameters 1049
  // and 1050 at creation.
  double lastRunTolPrimal = 1e-6, lastRunTolDual = 1e-6;
  PendingData cache;
};

// LP methods as QVN_PARAM_LPMETHOD numbers them; a solution records kPrimal or
// kDual. The number travels as an int through the optimizer entries.
enum class LpMethod : int { kAuto = 0, kPrimal = 1, kDual = 2, kNetwork = 3, kBarrier = 4, kSifting = 5, kConcurrent = 6 };
constexpr int methodNumber(LpMethod m) { return static_cast<int>(m); }

// What a crossover did to reach its basis; zero when none ran.
struct CrossoverCounts {
  int primalPushes = 0, primalExchanges = 0, dualPushes = 0, dualExchanges = 0;
};

// Results of the last solve, in the caller's units and sense.
struct SolutionBlock {
  bool primalComputed = false, dualComputed = false;
  int method = -1;  // methodNumber(LpMethod::kPrimal) or (LpMethod::kDual)
  bool primalFeasible = false, dualFeasible = false;
  double objValue = 0.0;
  int iterationCount = 0, phase1Count = 0;
  int siftIterations = 0, siftPhase1 = 0;  // rounds of a sifting run, in phase 1
  int barrierIterations = 0;  // of the interior point run, apart from the simplex's
  CrossoverCounts crossover;
  EnvVector<double> x, slack;  // per column, per row
  EnvVector<double> pi, dj;    // per row, per column
};

// The basis held across changes: statuses and start vectors. Row statuses
// describe the row's activity: 0 at its lower limit, 1 basic, 2 at its upper.
struct BasisData {
  EnvVector<int> colStatus, rowStatus;
  EnvVector<double> primalStart, dualStart;
  // Dual pricing norms by basis position, with the variable of each position
  // (0..n-1 structural, n+i the logical of row i); primal norms by variable.
  EnvVector<double> norms;
  EnvVector<int> normHead;
  EnvVector<double> primalNorms;
};

} // namespace qvn

// Blocks of later subsystems, registered with the model (model/attachments.h)
// and only named here; MipData is the model's own (model/mip_data.h).
struct PresolveState;
struct MipData;
struct MipSearch;
struct QpData;
struct QconstrData;
struct ConflictResult;

struct Problem {
  Problem *self0;
  Problem *self1;
  int status;
  int probType;
  qvn::LpData *lpData;
  qvn::BasisData *basisData;
  qvn::SolutionBlock *solution;
  qvn::RowCopy *rowCopy;
  PresolveState *presolved;
  MipData *mipData;
  MipSearch *mipSearch;  // held by branch and cut; a fixed problem needs its incumbent
  Problem *fixedProblem;
  Problem *nodeProblem;
  QpData *qpData;
  QconstrData *qconstrData;
  ConflictResult *conflict;  // the last conflict refinement, until the status is cleared
  Environment *env;  // the Environment whose resources list this problem
};

namespace qvn {

// Limits [lo, up] of row i's activity a_i x from its sense, right-hand side
// and range; an open side is the infinity.
inline void rowActivityLimits(const LpData &d, int i, double &lo, double &up) {
  lo = -kInfinity, up = kInfinity;
  const double rhs = d.rhs[i];
  switch (d.sense[i]) {
  case 'L': up = rhs; break;
  case 'G': lo = rhs; break;
  case 'E': lo = up = rhs; break;
  case 'R': {
    const double r = d.rangeValue.empty() ? 0.0 : d.rangeValue[i];
    lo = r >= 0 ? rhs : rhs + r;
    up = r >= 0 ? rhs + r : rhs;
    break;
  }
  default: break;
  }
}

bool checkProblemFast(const Problem *lp);
// May replace lp by the held fixed problem of a fixed-type handle.
bool checkProblem(const Problem **lp);
// True when lp is a live Problem listed under env. It looks at env's resource
// list only, never at *lp, so a freed or foreign handle is refused without
// reading memory that may be gone. Every frame runs it before checkProblem.
bool problemOfEnv(const Environment *env, const Problem *lp);

int createProblem(Environment *env, const char *name, Problem **out);
void freeProblem(Environment *env, Problem *&lp);
void recomputeType(Problem *lp);

// Rebuilds range columns and slacks from the row senses, then clamps bounds
// to the infinity and recomputes colEnd. 1401 when capacity does not fit.
int rebuildLogicals(Problem *lp);
// Grows capacities so that the given counts fit; never shrinks.
int ensureSpace(Environment *env, Problem *lp, int cols, int rows, int64_t nzs, int64_t colNameBytes,
                int64_t rowNameBytes, bool growing);

// The one gate for every change of model data: discards what the change makes wrong.
void modelChanged(Environment *env, Problem *lp, ModelEvent event);

// Moves pending data into the matrix.
int flushCache(Environment *env, Problem *lp);

// Frame of every exported function that takes a problem: environment test
// (1002), problem test (1009: also a problem of another Environment, or one
// already freed), then the body with the checked problem.
template <class Body> int guardedProblem(const Environment *env, const Problem *lp, Body &&body) noexcept {
  return guarded(env, [&]() -> int {
    if (!problemOfEnv(env, lp) || !checkProblem(&lp)) return QVNERR_NO_PROBLEM;
    return body(const_cast<Problem *>(lp));
  });
}

// Count and value getters: failure yields `failed` in the result, and the error
// reaches only the error channel.
template <class T, class Body>
T problemValue(const Environment *env, const Problem *lp, T failed, Body &&body) noexcept {
  T result = failed;
  guardedProblem(env, lp, [&](Problem *p) -> int {
    result = body(p);
    return 0;
  });
  return result;
}

} // namespace qvn
