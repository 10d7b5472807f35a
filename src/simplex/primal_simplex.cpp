// The bounded primal simplex with a composite phase 1: an infeasible basic
// variable gets cost -1 or +1 and a bound that stops it at the bound it
// violates, so the phase 1 LP is the real one with the infeasibility summed.
#include <algorithm>
#include <cmath>

#include "simplex/loops.h"

namespace qvn {

namespace {

// Sets phase 1 or phase 2 costs and bounds; returns the phase.
int setPhase(SimplexEngine &e) {
  const WorkLp &lp = *e.lp;
  bool infeasible = false;
  for (int j = 0; j < e.nt; ++j) {
    e.lower[j] = lp.lower[j];
    e.upper[j] = lp.upper[j];
  }
  for (int k = 0; k < e.m; ++k) {
    const int j = e.head[k];
    if (e.x[j] < lp.lower[j] - e.primalTol || e.x[j] > lp.upper[j] + e.primalTol) infeasible = true;
  }
  if (!infeasible) {
    for (int j = 0; j < e.nt; ++j) e.cost[j] = lp.cost[j];
    return 2;
  }
  for (int j = 0; j < e.nt; ++j) e.cost[j] = 0.0;
  for (int k = 0; k < e.m; ++k) {
    const int j = e.head[k];
    if (e.x[j] < lp.lower[j] - e.primalTol) {
      e.cost[j] = -1.0;
      e.upper[j] = lp.lower[j];
      e.lower[j] = -kInfinity;
    } else if (e.x[j] > lp.upper[j] + e.primalTol) {
      e.cost[j] = 1.0;
      e.lower[j] = lp.upper[j];
      e.upper[j] = kInfinity;
    }
  }
  return 1;
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
  if (e.display <= 0) return;
  if (!e.logStarted) {
    QVNmsg(e.env->resultsChannel, "\nIteration log . . .\n");
    e.logStarted = true;
  }
  if (phase == 1)
    QVNmsg(e.env->resultsChannel, "Iteration: %5d    Infeasibility = %20.6f\n", e.iterations, sumInfeasibility(e));
  else
    QVNmsg(e.env->resultsChannel, "Iteration: %5d    Objective     = %20.6f\n", e.iterations,
           e.lp->sense * objectiveValue(e) + e.lp->offset);
}

// Entering variable by the largest reduced cost violation; -1 when none.
int chooseEntering(const SimplexEngine &e) {
  int q = -1;
  double best = e.dualTol;
  for (int j = 0; j < e.nt; ++j) {
    if (e.basicPos[j] >= 0 || e.lower[j] == e.upper[j]) continue;
    const double d = e.dj[j];
    double v;
    switch (e.move[j]) {
    case kAtLower: v = -d; break;
    case kAtUpper: v = d; break;
    default: v = std::fabs(d); break;
    }
    if (v > best) best = v, q = j;
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

int rebuild(SimplexEngine &e) {
  QVN_TRY(refactor(e));
  computePrimal(e);
  return 0;
}

} // namespace

int runPrimalSimplex(SimplexEngine &e) {
  const WorkLp &lp = *e.lp;
  QVN_TRY(rebuild(e));
  int phase = setPhase(e);
  computeDual(e);
  logPrimal(e, phase);
  bool fresh = true;
  for (;;) {
    if (int s = checkLimits(e)) return s;
    if (refactorDue(e.factor)) {
      QVN_TRY(rebuild(e));
      phase = setPhase(e);
      computeDual(e);
      fresh = true;
      logPrimal(e, phase);
    }
    const int q = chooseEntering(e);
    if (q < 0) {
      if (!fresh) {
        QVN_TRY(rebuild(e));
        phase = setPhase(e);
        computeDual(e);
        fresh = true;
        continue;
      }
      if (phase == 2) return kRunOptimal;
      return kRunInfeasible;
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
        QVN_TRY(rebuild(e));
        phase = setPhase(e);
        computeDual(e);
        fresh = true;
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
    if (r == -1) {
      e.move[q] = e.move[q] == kAtUpper ? kAtLower : kAtUpper;
      placeNonbasic(e, q);
      hvClear(col);
    } else {
      e.x[q] += dir * step;
      const int leaving = e.head[r];
      const double alphaR = col.array[r];
      // The leaving variable sits at the bound it reached; in phase 1 that is
      // also a bound of the real problem, so its real bounds come back.
      const double g = -dir * alphaR;
      const double bound = g < 0 ? e.lower[leaving] : e.upper[leaving];
      e.lower[leaving] = lp.lower[leaving];
      e.upper[leaving] = lp.upper[leaving];
      const signed char leaveMove = (e.lower[leaving] > -kInfinity && bound <= e.lower[leaving]) ? kAtLower
                                    : (e.upper[leaving] < kInfinity && bound >= e.upper[leaving]) ? kAtUpper
                                                                                                  : kAtLower;
      // Reduced costs by the pivot row.
      HVector &rho = e.rowRho;
      hvClear(rho);
      rho.array[r] = 1.0;
      rho.index[0] = r;
      rho.count = 1;
      btran(e.factor, rho);
      computePivotRow(e);
      const double thetaD = e.dj[q] / e.rowAlpha.array[q];
      const double *alpha = e.rowAlpha.array.data();
      for (int j = 0; j < e.nt; ++j)
        if (e.basicPos[j] < 0 && alpha[j] != 0.0) e.dj[j] -= thetaD * alpha[j];
      for (int k = 0; k < rho.count; ++k) e.dual[rho.index[k]] += thetaD * rho.array[rho.index[k]];
      updateFactor(e.factor, r, alphaR);
      changeBasis(e, q, r, leaveMove);
      e.x[leaving] = bound;
      e.dj[leaving] = -thetaD;
      hvClear(rho);
      hvClear(e.rowAlpha);
      hvClear(col);
      ++e.iterations;
      if (phase == 1) ++e.phase1Iterations;
      fresh = false;
      if (phase == 1) {
        // The cost of a variable that became feasible changes the phase 1 objective.
        const int newPhase = setPhase(e);
        computeDual(e);
        if (newPhase == 2) {
          phase = 2;
          logPrimal(e, phase);
        }
      }
      continue;
    }
    ++e.iterations;
    if (phase == 1) ++e.phase1Iterations;
    fresh = false;
  }
}

} // namespace qvn
