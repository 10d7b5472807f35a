// The bounded primal simplex with a composite phase 1: an infeasible basic
// variable gets cost -1 or +1 and a bound that stops it at the bound it
// violates, so the phase 1 LP is the real one with the infeasibility summed.
#include <algorithm>
#include <cmath>

#include "simplex/loops.h"
#include "simplex/progress.h"

namespace qvn {

namespace {

// Primal infeasibility below which a solution counts as exact after perturbation.
constexpr double kCleanTol = 1e-9;

struct PrimalWork {
  // Bounds of the phase 2 problem: the LP's own, or moved out by perturbation.
  EnvVector<double> baseLower, baseUpper;
  bool perturbed = false;  // bounds differ from the LP's: perturbation or shifts
  bool perturbActive = false;  // a perturbation is in force (shifts alone leave it false)
  int perturbations = 0;
  int shiftCount = 0;
  double magnitude = 1e-6;  // of the last perturbation
  ProgressState progress;
  bool tightened = false;  // the optimality tolerance was cut for the last steps
  int tightenedAt = -1;  // iteration the tight finish began; -1 once it is over
  double savedDualTol = 0.0;
};

// Sets phase 1 or phase 2 costs and bounds; returns the phase.
int setPhase(SimplexEngine &e, const PrimalWork &w) {
  const WorkLp &lp = *e.lp;
  bool infeasible = false;
  for (int j = 0; j < e.nt; ++j) {
    e.lower[j] = w.baseLower[j];
    e.upper[j] = w.baseUpper[j];
  }
  for (int k = 0; k < e.m; ++k) {
    const int j = e.head[k];
    if (e.x[j] < e.lower[j] - e.primalTol || e.x[j] > e.upper[j] + e.primalTol) infeasible = true;
  }
  if (!infeasible) {
    for (int j = 0; j < e.nt; ++j) e.cost[j] = lp.cost[j];
    return 2;
  }
  for (int j = 0; j < e.nt; ++j) e.cost[j] = 0.0;
  for (int k = 0; k < e.m; ++k) {
    const int j = e.head[k];
    if (e.x[j] < w.baseLower[j] - e.primalTol) {
      e.cost[j] = -1.0;
      e.upper[j] = w.baseLower[j];
      e.lower[j] = -kInfinity;
    } else if (e.x[j] > w.baseUpper[j] + e.primalTol) {
      e.cost[j] = 1.0;
      e.lower[j] = w.baseUpper[j];
      e.upper[j] = kInfinity;
    }
  }
  return 1;
}

// Moves the bounds of the basic variables outwards by small random amounts, so
// that degenerate basics stand strictly inside and steps become positive.
void perturbBounds(SimplexEngine &e, PrimalWork &w) {
  ++w.perturbations;
  const double magnitude = perturbationSize(w.magnitude, w.perturbations);
  for (int k = 0; k < e.m; ++k) {
    const int j = e.head[k];
    if (w.baseLower[j] == w.baseUpper[j]) continue;
    if (w.baseLower[j] > -kInfinity)
      w.baseLower[j] -= (1.0 + nextRandom(e.env)) * magnitude * (1.0 + std::fabs(w.baseLower[j]));
    if (w.baseUpper[j] < kInfinity)
      w.baseUpper[j] += (1.0 + nextRandom(e.env)) * magnitude * (1.0 + std::fabs(w.baseUpper[j]));
  }
  w.perturbed = w.perturbActive = true;
  if (e.display > 0)
    QVNmsg(e.env->resultsChannel, w.perturbations == 1 ? "Perturbation started.\n" : "Reperturbation started.\n");
}

// Basic variables that drifted beyond a bound get the bound moved to them,
// so that a stalled phase 2 goes on from a feasible point.
void shiftViolatedBounds(SimplexEngine &e, PrimalWork &w) {
  for (int k = 0; k < e.m; ++k) {
    const int j = e.head[k];
    const double below = w.baseLower[j] - e.x[j], above = e.x[j] - w.baseUpper[j];
    if (below > e.primalTol && below <= 1000.0) {
      w.baseLower[j] = e.x[j];
      ++w.shiftCount;
    } else if (above > e.primalTol && above <= 1000.0) {
      w.baseUpper[j] = e.x[j];
      ++w.shiftCount;
    } else {
      continue;
    }
    w.perturbed = true;
  }
}

double sumInfeasibility(const SimplexEngine &e) {
  double s = 0.0;
  for (int k = 0; k < e.m; ++k) {
    const int j = e.head[k];
    s += std::max(0.0, e.lp->lower[j] - e.x[j]) + std::max(0.0, e.x[j] - e.lp->upper[j]);
  }
  return s;
}

void logPrimal(SimplexEngine &e, int phase) {
  if (!logLineDue(e)) return;
  if (phase == 1)
    QVNmsg(e.env->resultsChannel, "Iteration: %5d    Infeasibility = %20.6f\n", e.iterations, sumInfeasibility(e));
  else
    QVNmsg(e.env->resultsChannel, "Iteration: %5d    Objective     = %20.6f\n", e.iterations,
           e.lp->sense * objectiveValue(e) + e.lp->offset);
}

// Entering variable by the largest squared reduced cost violation over its
// weight (devex or steepest edge; 1.0 for full pricing); -1 when none.
int chooseEntering(const SimplexEngine &e) {
  const double *weight = e.primalWeights.data();
  int q = -1;
  double best = 0.0;
  for (int j = 0; j < e.nt; ++j) {
    if (e.basicPos[j] >= 0 || e.lower[j] == e.upper[j]) continue;
    const double d = e.dj[j];
    double v;
    switch (e.move[j]) {
    case kAtLower: v = -d; break;
    case kAtUpper: v = d; break;
    default: v = std::fabs(d); break;
    }
    if (v <= e.dualTol) continue;
    const double merit = v * v / weight[j];
    if (merit > best) best = merit, q = j;
  }
  return q;
}

// Harris ratio test over the FTRAN'd column. Returns the leaving position, -1
// for a bound flip of the entering variable, -2 when nothing limits the step.
int ratioTest(const SimplexEngine &e, int q, double dir, double &step) {
  const HVector &col = e.column;
  double thetaMax = kInfinity;
  for (int k = 0; k < col.count; ++k) {
    const int pos = col.index[k];
    const double a = col.array[pos];
    if (std::fabs(a) < 1e-9) continue;
    const int j = e.head[pos];
    const double g = -dir * a;  // change of x_j per unit step
    if (g < 0 && e.lower[j] > -kInfinity)
      thetaMax = std::min(thetaMax, (e.x[j] - e.lower[j] + e.primalTol) / -g);
    else if (g > 0 && e.upper[j] < kInfinity)
      thetaMax = std::min(thetaMax, (e.upper[j] - e.x[j] + e.primalTol) / g);
  }
  const double range = e.upper[q] - e.lower[q];
  if (thetaMax >= kInfinity) {
    if (range < kInfinity) {
      step = range;
      return -1;
    }
    return -2;
  }
  int leave = -1;
  double bestAbs = 0.0, leaveRatio = 0.0;
  for (int k = 0; k < col.count; ++k) {
    const int pos = col.index[k];
    const double a = col.array[pos];
    if (std::fabs(a) < 1e-9) continue;
    const int j = e.head[pos];
    const double g = -dir * a;
    double ratio;
    if (g < 0 && e.lower[j] > -kInfinity)
      ratio = (e.x[j] - e.lower[j]) / -g;
    else if (g > 0 && e.upper[j] < kInfinity)
      ratio = (e.upper[j] - e.x[j]) / g;
    else
      continue;
    if (ratio <= thetaMax && std::fabs(a) > bestAbs) bestAbs = std::fabs(a), leave = pos, leaveRatio = ratio;
  }
  if (range <= leaveRatio) {
    step = range;
    return -1;
  }
  step = std::max(leaveRatio, 0.0);
  return leave;
}

// Start weights: 1.0 for devex and full pricing; for steepest edge the exact
// ||B^{-1} a_j||^2 + 1 (kind 2) or those of a slack basis, ||a_j||^2 + 1 (kind 3).
void initPrimalWeights(SimplexEngine &e) {
  const WorkLp &lp = *e.lp;
  e.primalWeights.assign(static_cast<size_t>(e.nt > 0 ? e.nt : 1), 1.0);
  e.primalWeightsValid = true;
  if (e.primalPricing == 3) {
    for (int j = 0; j < e.n; ++j) {
      double s = 1.0;
      for (int k = lp.aStart[j]; k < lp.aStart[j + 1]; ++k) s += lp.aValue[k] * lp.aValue[k];
      e.primalWeights[j] = s;
    }
    for (int i = 0; i < e.m; ++i) e.primalWeights[e.n + i] = 2.0;
  } else if (e.primalPricing == 2) {
    if (e.display > 0) QVNmsg(e.env->resultsChannel, "Initializing primal norms . . .\n");
    HVector &col = e.column;
    for (int j = 0; j < e.nt; ++j) {
      if (e.basicPos[j] >= 0) continue;
      hvClear(col);
      addColumn(lp, j, 1.0, col.array.data());
      col.count = -1;
      ftran(e.factor, col);
      double s = 1.0;
      for (int k = 0; k < col.count; ++k) s += col.array[col.index[k]] * col.array[col.index[k]];
      e.primalWeights[j] = s;
    }
    hvClear(col);
  }
}

// Weights after q entered: devex keeps the largest reference estimate; steepest
// edge applies the exact recursion with v = B^{-T} alpha_q.
void updatePrimalWeights(SimplexEngine &e, int q, double alphaQ) {
  const int kind = e.primalPricing;
  if (kind == 4) return;
  double *weight = e.primalWeights.data();
  const double wq = weight[q];
  const HVector &row = e.rowAlpha;
  if (kind == 2 || kind == 3) {
    HVector &v = e.tau;
    hvClear(v);
    const HVector &col = e.column;
    for (int k = 0; k < col.count; ++k) v.array[col.index[k]] = col.array[col.index[k]];
    v.count = -1;
    btran(e.factor, v);
    for (int k = 0; k < row.count; ++k) {
      const int j = row.index[k];
      if (e.basicPos[j] >= 0 || j == q || row.array[j] == 0.0) continue;
      const double ratio = row.array[j] / alphaQ;
      const double updated = weight[j] - 2.0 * ratio * columnDot(*e.lp, j, v.array.data()) + ratio * ratio * wq;
      weight[j] = std::max(updated, 1.0 + ratio * ratio);
    }
    hvClear(v);
    return;
  }
  double biggest = 0.0;
  for (int k = 0; k < row.count; ++k) {
    const int j = row.index[k];
    if (e.basicPos[j] >= 0 || row.array[j] == 0.0) continue;
    const double ratio = row.array[j] / alphaQ;
    weight[j] = std::max(weight[j], ratio * ratio * wq);
    biggest = std::max(biggest, weight[j]);
  }
  // Weights that grew out of all proportion restart the reference framework.
  if (biggest > 1e6) std::fill(e.primalWeights.begin(), e.primalWeights.end(), 1.0);
}

int rebuild(SimplexEngine &e) {
  QVN_TRY(refactor(e));
  computePrimal(e);
  return 0;
}

} // namespace

namespace {

int primalLoop(SimplexEngine &e) {
  const WorkLp &lp = *e.lp;
  PrimalWork w;
  w.baseLower.assign(lp.lower.begin(), lp.lower.end());
  w.baseUpper.assign(lp.upper.begin(), lp.upper.end());
  if (e.primalPricing < -1 || e.primalPricing > 4) return QVNERR_PRIIND;
  if (!e.primalWeightsValid) initPrimalWeights(e);
  const GeneralParams &gp = *e.env->generalParams;
  w.magnitude = gp.epper;
  QVN_TRY(rebuild(e));
  if (gp.perind == 1) perturbBounds(e, w);
  int phase = setPhase(e, w);
  computeDual(e);
  logPrimal(e, phase);
  auto merit = [&]() { return phase == 1 ? sumInfeasibility(e) : objectiveValue(e); };
  progressStart(w.progress, gp.perlim, e.m, e.n, false, e.iterations, phase, merit());
  bool fresh = true;
  auto refresh = [&]() -> int {
    QVN_TRY(rebuild(e));
    phase = setPhase(e, w);
    computeDual(e);
    fresh = true;
    return 0;
  };
  const bool limitSet = objectiveLimitSet(e, false);
  for (;;) {
    if (int s = checkLimits(e)) return s;
    if (w.tightenedAt >= 0 && e.iterations - w.tightenedAt > std::max(100, e.m / 20)) {
      // The tight finish must stay short; degenerate models can circle in it.
      e.dualTol = w.savedDualTol;
      w.tightenedAt = -1;
    }
    if (limitSet && phase == 2 && !w.perturbed && objectiveLimitPassed(e, false)) return kRunObjLimit;
    if (refactorDue(e.factor)) {
      QVN_TRY(refresh());
      logPrimal(e, phase);
    }
    const int q = chooseEntering(e);
    if (q < 0) {
      if (!fresh) {
        QVN_TRY(refresh());
        continue;
      }
      if (!w.perturbed && phase == 2 && !w.tightened) {
        // Reduced costs inside the tolerance can still leave objective on the
        // table where values are large: finish with a tight one.
        const double saved = e.dualTol;
        e.dualTol = kCleanTol;
        const bool exact = dualInfeasibility(e, false) == 0.0;
        if (exact) {
          e.dualTol = saved;
        } else {
          w.tightened = true;
          w.tightenedAt = e.iterations;
          w.savedDualTol = saved;
          continue;
        }
      }
      if (w.tightened) e.dualTol = w.savedDualTol;
      if (!w.perturbed) return phase == 1 ? kRunInfeasible : kRunOptimal;
      // No candidate on moved bounds proves nothing: restore them. Only an
      // unperturbed phase 1 can prove infeasibility.
      w.baseLower.assign(lp.lower.begin(), lp.lower.end());
      w.baseUpper.assign(lp.upper.begin(), lp.upper.end());
      if (e.display > 0) {
        if (w.perturbActive)
          QVNmsg(e.env->resultsChannel, "Removing perturbation.\n");
        else
          QVNmsg(e.env->resultsChannel, "Removing shift (%d).\n", w.shiftCount);
      }
      w.perturbed = w.perturbActive = false;
      w.shiftCount = 0;
      for (int j = 0; j < e.nt; ++j) {
        e.lower[j] = lp.lower[j];
        e.upper[j] = lp.upper[j];
        e.cost[j] = lp.cost[j];
        if (e.basicPos[j] < 0) placeNonbasic(e, j);
      }
      QVN_TRY(rebuild(e));
      if (phase == 2 && maxPrimalInfeasibility(e) > kCleanTol) {
        // The basis is optimal for the moved bounds and so dual feasible for
        // the real ones: the dual loop removes what the moves left behind,
        // with a tight primal tolerance so that no objective accuracy is lost.
        const double saved = e.primalTol;
        e.primalTol = kCleanTol;
        const int cleaned = runDualSimplex(e);
        e.primalTol = saved;
        if (cleaned == kRunOptimal || (cleaned >= kRunIterLimit && cleaned <= kRunAborted) || cleaned >= 1000)
          return cleaned;
      }
      QVN_TRY(refresh());
      progressRemoved(w.progress, e.iterations, phase, merit());
      continue;
    }
    const double dir = e.dj[q] < 0 ? 1.0 : -1.0;
    HVector &col = e.column;
    hvClear(col);
    addColumn(lp, q, 1.0, col.array.data());
    col.count = -1;
    ftranForUpdate(e.factor, col);
    double step = 0.0;
    const int r = ratioTest(e, q, dir, step);
    if (r == -2) {
      hvClear(col);
      if (!fresh) {
        QVN_TRY(refresh());
        continue;
      }
      if (phase == 2) return kRunUnbounded;
      return kRunNonOptimal;
    }
    // Move x_B along the column; the entering variable changes by dir * step.
    for (int k = 0; k < col.count; ++k) {
      const int pos = col.index[k];
      e.x[e.head[pos]] -= dir * step * col.array[pos];
    }
    ++e.iterations;
    if (phase == 1) ++e.phase1Iterations;
    fresh = false;
    if (r == -1) {
      e.move[q] = e.move[q] == kAtUpper ? kAtLower : kAtUpper;
      placeNonbasic(e, q);
      hvClear(col);
      continue;
    }
    e.x[q] += dir * step;
    const int leaving = e.head[r];
    const double alphaR = col.array[r];
    // The leaving variable sits at the bound it reached; in phase 1 that is
    // also a bound of the phase 2 problem, whose bounds come back.
    const double g = -dir * alphaR;
    const double bound = g < 0 ? e.lower[leaving] : e.upper[leaving];
    e.lower[leaving] = w.baseLower[leaving];
    e.upper[leaving] = w.baseUpper[leaving];
    const signed char leaveMove = (e.lower[leaving] > -kInfinity && bound <= e.lower[leaving]) ? kAtLower
                                  : (e.upper[leaving] < kInfinity && bound >= e.upper[leaving]) ? kAtUpper
                                                                                                : kAtLower;
    // The Harris test lets a variable leave a little beyond its bound. Rather
    // than snapping it back, which would silently move every basic variable,
    // the bound is shifted to where the variable stands.
    double leaveValue = bound;
    const double reached = e.x[leaving];
    if (leaveMove == kAtLower && reached < e.lower[leaving]) {
      w.baseLower[leaving] = e.lower[leaving] = leaveValue = reached;
      w.perturbed = true;
      ++w.shiftCount;
    } else if (leaveMove == kAtUpper && reached > e.upper[leaving]) {
      w.baseUpper[leaving] = e.upper[leaving] = leaveValue = reached;
      w.perturbed = true;
      ++w.shiftCount;
    }
    // Reduced costs and devex weights by the pivot row.
    btranUnitRow(e, r);
    HVector &rho = e.rowRho;
    computePivotRow(e);
    const double alphaQ = e.rowAlpha.array[q];
    const double thetaD = e.dj[q] / alphaQ;
    const double *alpha = e.rowAlpha.array.data();
    for (int k = 0; k < e.rowAlpha.count; ++k) {
      const int j = e.rowAlpha.index[k];
      if (e.basicPos[j] < 0 && alpha[j] != 0.0) e.dj[j] -= thetaD * alpha[j];
    }
    const double wq = e.primalWeights[q];
    updatePrimalWeights(e, q, alphaQ);
    for (int k = 0; k < rho.count; ++k) e.dual[rho.index[k]] += thetaD * rho.array[rho.index[k]];
    updateFactor(e.factor, r, alphaR);
    changeBasis(e, q, r, leaveMove);
    e.x[leaving] = leaveValue;
    e.dj[leaving] = -thetaD;
    e.primalWeights[leaving] = std::max(wq / (alphaQ * alphaQ), 1.0);
    hvClear(rho);
    hvClear(e.rowAlpha);
    hvClear(col);
    const ProgressAction action = progressCheck(w.progress, e.iterations, phase, w.perturbActive, merit);
    if (action == ProgressAction::kPerturb) {
      perturbBounds(e, w);
      phase = setPhase(e, w);
      computeDual(e);
      progressPerturbed(w.progress, w.perturbations, w.magnitude, e.iterations, phase, merit());
      continue;
    }
    if (action == ProgressAction::kStall) {
      // Perturbed and still not moving: start again from fresh values, with
      // the bounds that drift has crossed moved out of the way in phase 2.
      QVN_TRY(rebuild(e));
      if (phase == 2) shiftViolatedBounds(e, w);
      phase = setPhase(e, w);
      computeDual(e);
      fresh = true;
      progressReference(w.progress, e.iterations, phase, merit());
      continue;
    }
    if (phase == 1) {
      // A variable that became feasible changes the phase 1 objective.
      const int newPhase = setPhase(e, w);
      computeDual(e);
      if (newPhase == 2) {
        phase = 2;
        logPrimal(e, phase);
      }
    }
  }
}

} // namespace

int runPrimalSimplex(SimplexEngine &e) {
  const double dualTol = e.dualTol;  // the last steps may tighten it
  const int status = primalLoop(e);
  e.dualTol = dualTol;
  return status;
}

} // namespace qvn
