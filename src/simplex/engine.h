// State shared by the primal and the dual simplex loops: the basis, the values
// of all variables, duals and reduced costs of the computational form, the
// factorization and the limits of the run.
#pragma once
#include <chrono>

#include "runtime/environment.h"
#include "runtime/limit_clock.h"
#include "simplex/basis_factor.h"
#include "simplex/hvector.h"
#include "simplex/work_lp.h"

namespace qvn {

// Nonbasic position of a variable; basic ones are found through basicPos.
enum NonbasicMove : signed char { kAtLower = 0, kAtUpper = 2, kAtZero = 3 };

// Outcome of a loop, in the numbers of the status table.
enum RunStatus {
  kRunGoing = 0, kRunOptimal = 1, kRunUnbounded = 2, kRunInfeasible = 3, kRunInfOrUnbd = 4,
  kRunOptimalUnscaledInfeas = 5, kRunNonOptimal = 6, kRunIterLimit = 10, kRunTimeLimit = 11, kRunObjLimit = 12, kRunAborted = 13
};

// Primal pricing kinds, the values of QVN_PARAM_PPRIIND.
enum class PrimalPricingKind : int {
  kPartial = -1,            // reduced costs over sections, no weights
  kAutomatic = 0,           // sections first, then devex or steepest edge by measured work
  kDevex = 1,
  kSteepest = 2,            // steepest edge from the exact weights of the basis
  kSteepestSlackStart = 3,  // steepest edge from the weights of a slack basis
  kFull = 4,                // all reduced costs kept current, no weights
};
// Dual pricing kinds, the values of QVN_PARAM_DPRIIND and one internal kind.
enum class DualPricingKind : int {
  kAutomatic = 0,           // steepest edge, switching between the exact and the simple recursion
  kPlain = 1,               // largest infeasibility, no weights
  kSteepest = 2,            // steepest edge from computed row norms
  kSteepestFull = 3,        // steepest edge from full norms
  kSteepestUnitStart = 4,   // steepest edge from unit weights
  kDevex = 5,               // the simple recursion throughout
  kPlainThenSteepest = 6,   // internal: plain for a while, then kSteepestUnitStart
};
inline bool validPrimalPricing(PrimalPricingKind k) {
  return k >= PrimalPricingKind::kPartial && k <= PrimalPricingKind::kFull;
}
inline bool validDualPricing(DualPricingKind k) {
  return k >= DualPricingKind::kAutomatic && k <= DualPricingKind::kPlainThenSteepest;
}

// Why a loop refactors the basis and recomputes its values. Each rebuild is
// counted by its reason, and the debug layer checks the values it leaves.
enum class RebuildReason {
  kStart,           // a loop begins on its basis
  kFactorDue,       // the factor's rule, its update limit or a drifted pivot asks for it
  kConfirmEnd,      // no candidate is left after updates: confirm on fresh values
  kConfirmRay,      // nothing limits the step after updates: confirm before claiming a ray
  kPivotMismatch,   // the pivot from the row and from the column disagree
  kRowsRefused,     // every leaving row left was refused: factor with a tighter threshold
  kStall,           // perturbed and still no progress: start again from fresh values
  kBoundsRestored,  // phase 1 boxes, perturbation or shifts were taken away
  kCount
};
constexpr int kRebuildReasons = static_cast<int>(RebuildReason::kCount);

// The automatic dual pricing: the exact recursion needs an extra FTRAN per
// iteration, the simple one does not; sampled work decides between them.
struct DualSteepState {
  bool isDevex = false;     // the simple recursion is in force
  bool fixedMode = true;    // no switching (a network shape, or a kind other than 0)
  // Sampled work per iteration of the row, tau, column and update steps.
  double timeRow = 0, timeTau = 0, timeColumn = 0, timeUpdate = 0, timeOther = 0;
  int countRow = 0, countColumn = 0, countUpdate = 0;
  double ratios[3] = {0, 0, 0};
  int ratioCount = 0;
  int plainUntil = -1;      // internal kind: iteration at which steepest edge starts
};

// The row-wise copy of the structural matrix that the pivot row is taken
// from, kept packed by the basis: in row i the entries [start[i],
// nonbasicEnd[i]) are the nonbasic columns, the basic ones follow, so a row
// product never touches a basic column. changeBasis keeps the packing; any
// other change of the basis or of the matrix drops it (valid = false) and the
// next pivot row packs it afresh.
struct PackedRows {
  EnvVector<int> start, nonbasicEnd, index;
  EnvVector<double> value;
  EnvVector<int> placeOfEntry;  // by column-wise entry: its place in the copy
  EnvVector<int> entryAtPlace;  // by place in the copy: its column-wise entry
  bool valid = false;
};

// How computePivotRow forms the row: by its measured work, or forced (tests).
enum class PivotRowPath : signed char { kMeasured, kRowWise, kColumnWise };

struct SimplexEngine {
  Environment *env = nullptr;
  const WorkLp *lp = nullptr;
  int n = 0, m = 0, nt = 0;

  EnvVector<int> head;          // basic variable of each position
  EnvVector<int> basicPos;      // position of a basic variable, -1 for nonbasic
  EnvVector<signed char> move;  // where a nonbasic variable sits
  EnvVector<double> x;          // values of all variables
  EnvVector<double> cost, lower, upper;  // working costs and bounds
  EnvVector<double> dual;       // row duals y with B^T y = c_B
  EnvVector<double> dj;         // reduced costs c - [A,-I]^T y
  BasisFactor factor;

  // Work vectors, sized once.
  HVector column, rowRho, rowAlpha, tau, flips;
  EnvVector<char> rowMark;  // scratch of computePivotRow, all zero between calls
  PackedRows packed;
  PivotRowPath pivotRowPath = PivotRowPath::kMeasured;
  long long rowWiseRows = 0, columnWiseRows = 0;  // pivot rows formed each way

  // Counters and limits.
  int iterations = 0, phase1Iterations = 0;
  int iterationLimit = 0;
  double timeLimit = 0.0;
  std::chrono::steady_clock::time_point start;  // for the log's elapsed time
  LimitClock limitClock;                         // for the time limit
  double primalTol = 1e-6, dualTol = 1e-6;
  int display = 1;
  bool logStarted = false;
  int repairs = 0;
  bool costsShifted = false;
  // Entering candidates of the primal loop whose ratio test refused every
  // pivot, by variable; pricing passes over them until the next
  // factorization forgives them. anyBanned says whether one is set.
  EnvVector<char> primalBanned;
  bool anyBanned = false;
  // The loop running (QVN_CALLBACK_PRIMAL or _DUAL), set at each loop's
  // entry, and whether this engine serves a caller's LP solve, whose progress
  // callback is then asked at each iteration (never for a MIP's node LPs).
  int loopKind = 0;
  bool reportProgress = false;
  // Where the last "Elapsed time" line of a caller's solve was printed.
  int elapsedLineIteration = 0;
  double elapsedLineSeconds = 0.0;

  // Pricing: the kinds in force and the weights, kept across the loops of one
  // optimization so that a clean-up pass goes on with them.
  DualPricingKind dualPricing = DualPricingKind::kAutomatic;
  PrimalPricingKind primalPricing = PrimalPricingKind::kAutomatic;
  EnvVector<double> dualWeights;    // by basis position
  EnvVector<double> primalWeights;  // by variable
  bool dualWeightsValid = false, primalWeightsValid = false;
  int dualWeightResets = 0;  // times the dual weights were all set afresh inside a loop
  int primalWeightResets = 0;  // times the primal weights were all set afresh
  int dualsComputed = 0;  // times computeDual set every reduced cost afresh
  bool startGiven = false;  // the run began from a held basis
  DualSteepState dualSteep;
  int rebuilds[kRebuildReasons] = {};  // by reason, over all loops of the run

  // The factor represents head as it stands (set by refactor, cleared when a
  // basis is installed); a loop may start from it when its owner asks so with
  // reuseFactor, which the loop's entry clears.
  bool factorCurrent = false;
  bool reuseFactor = false;
  // The dual loop's last check before it claims optimality recomputes the
  // values from the held factor rather than a new one while that factor is
  // not due (its pivots were checked on the way): a re-solve of a few
  // iterations then costs no factorization from scratch.
  bool checkWithHeldFactor = false;
  // The owner knows the held basis to be dual feasible (an optimum changed in
  // bounds only): the dual needs no implied boxes to avoid its phase 1.
  bool heldDualFeasible = false;
  // The owner vouches that dual and dj are those of the present costs on the
  // held basis and factor: the dual loop that starts from the held factor then
  // skips their recomputation. Read and cleared at the dual loop's entry.
  bool dualsGiven = false;
  // An owner that passes its own objective cutoff (minimization sense, offset
  // included) instead of the Environment's limits; only the dual loop uses it.
  bool cutoffGiven = false;
  double cutoff = 1e75;
  int factorizations = 0;  // from scratch, over the engine's life
  // The basic variable whose row the dual loop found unbounded when it
  // claimed infeasibility, or the nonbasic one whose move (claimDir) the
  // primal loop found unlimited when it claimed unboundedness (-1: none):
  // where the check of the claim begins.
  int claimVar = -1;
  double claimDir = 0.0;
};

// Sizes the engine for lp and starts the clock.
int engineSetup(SimplexEngine &e, Environment *env, const WorkLp &lp);
// Sizes the engine for lp and factors the basis held in b (whose status
// arrays cover lp). 0 or an error.
int engineOnBasis(SimplexEngine &e, Environment *env, const WorkLp &lp, const BasisData &b);
// All logicals basic, structurals at a finite bound (or 0 when free).
void setSlackBasis(SimplexEngine &e);
// Installs a given basis: basic flags from status codes 1, and nonbasic moves.
void installBasis(SimplexEngine &e, const int *colStatus, const int *rowStatus);
// Basis status codes of every variable: 0 at lower, 1 basic, 2 at upper, 3 free.
void extractStatuses(const SimplexEngine &e, int *colStatus, int *rowStatus);
// Places a nonbasic variable at the bound its move names and sets its value.
void placeNonbasic(SimplexEngine &e, int j);
// Factors the basis, replacing dependent columns by logicals. 0 or an error.
int refactor(SimplexEngine &e);
// At a loop's entry: true when the held factor may serve (reuseFactor was
// set and the factor is current); clears reuseFactor.
bool takeHeldFactor(SimplexEngine &e);
void computePrimal(SimplexEngine &e);
// One step of iterative refinement of the basic values: the rows' residual,
// solved with the factors, returns what their rounding lost on an
// ill-conditioned basis.
void refinePrimal(SimplexEngine &e);
void computeDual(SimplexEngine &e);
double objectiveValue(const SimplexEngine &e);
// The engine's basic point in the caller's terms into s: values, row slacks
// (rhs - activity of model d), duals and reduced costs in the objective's
// sense, and the objective with its constant.
void storeBasicPoint(const SimplexEngine &e, const LpData &d, SolutionBlock &s);
// The pivot row alpha_r = rho^T [A, -I] from rowRho over the nonbasic
// variables, with its nonzeros listed in rowAlpha.index; basic variables
// never appear, so the loops over the row need not look them up.
void computePivotRow(SimplexEngine &e);
// Keeps the packing when structural j became basic (or nonbasic); no-op for
// logicals and while the copy is not valid.
void packedColumnMoved(SimplexEngine &e, int j, bool nowBasic);
// Packs the row copy by the current basis (also done lazily by computePivotRow).
void packRows(SimplexEngine &e);
// Makes q basic at position r; the leaving variable becomes nonbasic at `leaveMove`.
void changeBasis(SimplexEngine &e, int q, int r, signed char leaveMove);
// rowRho := row r of B^{-1}, by rows.
void btranUnitRow(SimplexEngine &e, int r);
// True when the iteration log is on; prints its heading the first time.
bool logLineDue(SimplexEngine &e);
// Largest violation of a basic variable's bounds.
double maxPrimalInfeasibility(const SimplexEngine &e, int *where = nullptr);
// Sum and largest of nonbasic reduced cost violations, with boxed variables
// counted as feasible when `flipBoxed`.
double dualInfeasibility(const SimplexEngine &e, bool flipBoxed, int *count = nullptr);
// True when phase 2 of a loop has passed the objective limit that applies to
// it: the dual objective rises towards QVN_PARAM_OBJULIM of a minimization
// (OBJLLIM of a maximization), the primal one falls towards the other.
bool objectiveLimitPassed(const SimplexEngine &e, bool dualLoop);
// The same for a loop that keeps objectiveValue(e) itself, in `objective`.
bool objectiveLimitPassedAt(const SimplexEngine &e, bool dualLoop, double objective);
bool objectiveLimitSet(const SimplexEngine &e, bool dualLoop);
// Limits tested at the head of each iteration; kRunGoing when none is hit.
int checkLimits(SimplexEngine &e);

inline bool isBoxed(const SimplexEngine &e, int j) {
  return e.lower[j] > -kInfinity && e.upper[j] < kInfinity;
}

} // namespace qvn
