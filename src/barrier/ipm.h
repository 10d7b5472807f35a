// The interior point iteration's own records, shared by its files: the
// standard form (ipm_form.cpp), the start point (ipm_start.cpp), the Newton
// directions and central corrections (ipm_direction.cpp) and the stop test
// (ipm_stop.cpp); barrier_ipm.cpp runs the loop.
//
// Form: min c'x + 1/2 x'Qx with Q diagonal (qdiag), A x = b, x - xl = l where
// l is finite, x + xu = u where u is finite, xl, xu, zl, zu >= 0, and the
// dual A'y + zl - zu - Qx = c. Fixed variables are moved into b. The Newton
// system reduces to the normal equations A Theta A' dy = rp + A Theta rhat,
// Theta^-1 = qdiag + zl/xl + zu/xu, solved by the supernodal Cholesky factor.
//
// In the infeasibility-ratio form (useInfRatio, LPs only) the same variables
// live in the homogeneous self-dual embedding: b, l, u and c are multiplied by
// tau, and kappa = c'x - (b'y + l'zl - u'zu) closes the system. The point of
// the LP is the iterate over tau; tau / kappa going to 0 proves that no
// optimum exists.
#pragma once
#include "barrier/barrier.h"

namespace qvn {

struct BarrierProblem {
  int rows = 0, columnsTotal = 0, columns = 0;  // columns: those with a finite upper bound
  double objectiveOffset = 0.0;
  unsigned kind = 0;  // bit 1: upper bounds exist; bit 2: free columns exist
  bool qpFlag = false;
  EnvVector<int> var;  // WorkLp variable of each kept column
  EnvVector<int> start, index;
  EnvVector<double> value;
  EnvVector<double> b, c, lo, up, qdiag, colScale, rowScale;
  EnvVector<char> hasL, hasU;
  int pairs = 0;  // complementarity pairs
  double nonzeros = 0.0;

  int m() const { return rows; }
  int n() const { return columnsTotal; }
  void times(const double *v, double *out) const {  // out = A v
    std::fill(out, out + rows, 0.0);
    for (int j = 0; j < columnsTotal; ++j)
      if (v[j] != 0.0)
        for (int k = start[j]; k < start[j + 1]; ++k) out[index[k]] += value[k] * v[j];
  }
  double columnDot(int j, const double *v) const {
    double s = 0.0;
    for (int k = start[j]; k < start[j + 1]; ++k) s += value[k] * v[index[k]];
    return s;
  }
};

struct BarrierIterate {
  EnvVector<double> x, xl, xu, y, zl, zu;
  double tau = 1.0, kappa = 0.0;
  bool useInfRatio = false;
  // Measures of the last residual computation, in the LP's units over tau.
  double primalObjective = 0.0, dualObjective = 0.0;
  double primalInfeasibility = 0.0, upperInfeasibility = 0.0, dualInfeasibility = 0.0;
  double relPrimal = 0.0, relDual = 0.0;      // over 1 + the norms of b and c, scaled form
  double relPrimalUnscaled = 0.0, relDualUnscaled = 0.0;
  double complementarity = 0.0, mu = 0.0;
};

struct Residuals {
  EnvVector<double> rp, rd, ql, qu;
  double rg = 0.0;  // gap row of the self-dual form
};

struct Direction {
  EnvVector<double> dx, dy, dxl, dxu, dzl, dzu;
  double dtau = 0.0, dkappa = 0.0;
  double ap = 0.0, ad = 0.0;  // step lengths to the boundary
  void size(int n, int m);
};

// Directions and targets that one round of corrections keeps, sized once.
struct CorrectionWork {
  Direction d2, aff, cand;
  EnvVector<double> rl, ru, bestRl, bestRu, zero;
};

// Normal matrix, its factor and the work arrays of the solves.
struct NormalSystem {
  CorrectionWork corrections;
  CholeskyFactor factor;
  NormalPattern pattern;
  EnvVector<double> theta, zeroRow, work, rhs, t, res, rhat;
  double solveSeconds = 0.0, solveFlops = 0.0;
};

// Builds the scaled standard form of w; qdiag (per WorkLp variable, or null)
// is the diagonal of Q.
void buildBarrierProblem(const WorkLp &w, const double *qdiag, BarrierProblem &p);
// Ordering and symbolic factor. Returns 0 or 1001.
int analyseNormal(Environment *env, const BarrierProblem &p, NormalSystem &s);

// Start point by rule 1 to 4 (QVN_PARAM_BARSTARTALG).
void barrierStartPoint(const BarrierProblem &p, int rule, NormalSystem &s, BarrierIterate &it);

// Residuals of the iterate and the measures of it.
void computeResiduals(const BarrierProblem &p, BarrierIterate &it, Residuals &r);
// Theta from the iterate, then the numeric factor.
void factorNormal(const BarrierProblem &p, const BarrierIterate &it, NormalSystem &s);
// Solves A Theta A' v = r in place.
void solveNormal(const BarrierProblem &p, NormalSystem &s, double *r);

// Settings and counters of the corrections of one iteration.
struct CorrectionControl {
  int maxCount = 1;       // N: rounds after the predictor
  double cap = 1.000050003;
  int iteration = 0;
  bool commonStep = false;  // one step length for both sides (QP, self-dual form)
  int corrections = 0, correctedVars = 0;  // what the last call did
};

// The predictor, the Mehrotra corrector and up to N - 1 central corrections
// with the merit test; leaves the chosen direction in `best`.
void predictorCorrector(const BarrierProblem &p, const BarrierIterate &it, const Residuals &r, NormalSystem &s,
                        CorrectionControl &cc, Direction &best);

// The automatic or the chosen number N of correction rounds.
int correctionCount(int barmaxcor, const BarrierProblem &p, const CholeskyFactor &f);

// Ring buffers over the last iterations, for the no-progress tests.
struct BarrierHistory {
  static constexpr int kRing = 20, kRatioRing = 10;
  double comp[kRing] = {}, gap[kRing] = {}, pinf[kRing] = {}, dinf[kRing] = {};
  double ratio[kRatioRing] = {};
  int count = 0;
  void push(double c, double g, double p, double d, double r);
};

struct StopSettings {
  int iterationLimit = 2100000000;
  double timeLimit = 1e75;
  double complementarityTol = 1e-8;
  double objectiveRange = 1e20;
  double growthLimit = 1e12;
  int noProgressIterations = 50;
  int display = 1;
  double sense = 1.0, offset = 0.0;  // of the user's objective, for the progress callback
};

// Internal status of the stop test that the driver turns into 6.
constexpr int kBarOverflow = 42;
// 0 to go on, else the status.
int barrierStopTest(const BarrierProblem &p, BarrierIterate &it, const Residuals &r, BarrierHistory &h,
                    const StopSettings &st, int iteration, double seconds, Environment *env);

// The ray test of a stalled plain run on the point: 0 no verdict, 2
// unbounded, 3 infeasible, 6 cannot tell.
int barrierRayTest(const BarrierProblem &p, const BarrierIterate &it);

} // namespace qvn
