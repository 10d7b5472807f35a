// The bounded dual simplex: dual steepest-edge choice of the leaving row, a
// bound-flipping ratio test with Harris tolerances, and cost shifting instead
// of backward steps. Dual phase 1 solves the same matrix over artificial
// boxes, which makes every variable boxed and so dual feasible by flips; its
// optimal basis is dual feasible for the real bounds when the problem's dual is.
#include <algorithm>
#include <cmath>

#include "simplex/dual_pricing.h"
#include "simplex/implied_boxes.h"
#include "simplex/loops.h"
#include "simplex/progress.h"

namespace qvn {

namespace {

struct Candidate {
  int j;
  double alpha;  // sign-adjusted pivot row entry: positive moves dj towards zero
  double ratio;  // dj / alpha, the dual step at which dj reaches zero
};

// Primal infeasibility the last steps of a run remove.
constexpr double kTightPrimalTol = 1e-9;

struct DualWork {
  EnvVector<Candidate> candidates;
  EnvVector<double> relaxed;  // Harris bounds of the sorted candidates
  EnvVector<int> byRelaxed;   // their order by that bound
  EnvVector<int> flipped;
  EnvVector<double> savedLower, savedUpper;
  EnvVector<char> banned;  // rows refused as leaving rows until the next factorization
  bool tightened = false;  // the primal tolerance was cut for the last steps
  int tightenedAt = -1;  // iteration the tight finish began; -1 once it is over
  double savedPrimalTol = 0.0;
  bool perturbed = false;
  int perturbations = 0;
  int shiftCount = 0;  // costs shifted by the ratio test
  double magnitude = 0.0;  // of the last cost perturbation
  ProgressState progress;
  double ratioTol = 0.0;  // Harris relaxation of the ratio test
  bool anyBanned = false;
  // Basis positions whose variable is outside its bounds by more than
  // listTol, kept up to date by the iterations so that the choice of the
  // leaving row looks at the infeasible rows only.
  EnvVector<int> infeasible, listAt;
  bool listValid = false;
  double listTol = 0.0;
  int unbanRounds = 0;
};

// Puts every boxed nonbasic at the bound that its reduced cost asks for.
// Returns true when a variable moved, so that x_B must be recomputed.
bool flipBoxedToDualFeasible(SimplexEngine &e) {
  bool moved = false;
  for (int j = 0; j < e.nt; ++j) {
    if (e.basicPos[j] >= 0 || !isBoxed(e, j)) continue;
    // A reduced cost of zero leaves the variable where it is: flipping it
    // would disturb the primal values for nothing.
    signed char want = e.move[j];
    if (e.dj[j] < -e.dualTol)
      want = kAtUpper;
    else if (e.dj[j] > e.dualTol || e.move[j] == kAtZero)
      want = kAtLower;
    if (e.move[j] != want) {
      e.move[j] = want;
      placeNonbasic(e, j);
      moved = true;
    }
  }
  return moved;
}

// Groups looked at by full scans before the remaining breakpoints are sorted.
constexpr int kScannedGroups = 4;

double harrisBound(const SimplexEngine &e, const DualWork &w, const Candidate &c) {
  return (e.dj[c.j] + (c.alpha > 0 ? w.ratioTol : -w.ratioTol)) / c.alpha;
}

// A group of breakpoints is passed only when all its variables are boxed (so
// they flip) and the slope stays clearly positive beyond it: if passing would
// leave the row within the primal tolerance, this group holds the pivot
// (passing everything would claim infeasibility on a tie).
bool groupPasses(const SimplexEngine &e, double slope, double passSlope, bool allBoxed) {
  return allBoxed && slope - passSlope > e.primalTol && passSlope < kInfinity;
}

// The long step over many groups: the first `live` candidates sorted by
// ratio, so that each group is the next stretch of that order and its Harris
// bound the smallest bound not yet passed. Costs a sort instead of a scan of
// all candidates per group.
int chooseEnteringSorted(SimplexEngine &e, DualWork &w, size_t live, double slope) {
  Candidate *cand = w.candidates.data();
  std::sort(cand, cand + live, [](const Candidate &a, const Candidate &b) { return a.ratio < b.ratio; });
  w.relaxed.resize(live);
  w.byRelaxed.resize(live);
  for (size_t k = 0; k < live; ++k) {
    w.relaxed[k] = harrisBound(e, w, cand[k]);
    w.byRelaxed[k] = static_cast<int>(k);
  }
  std::sort(w.byRelaxed.begin(), w.byRelaxed.end(), [&w](int a, int b) { return w.relaxed[a] < w.relaxed[b]; });
  // Passed groups are always a prefix of the ratio order: [0, first).
  size_t first = 0, next = 0;
  while (first < live) {
    while (static_cast<size_t>(w.byRelaxed[next]) < first) ++next;
    const double thetaMax = w.relaxed[w.byRelaxed[next]];
    int best = -1;
    double bestAbs = 0.0, passSlope = 0.0;
    bool allBoxed = true;
    size_t end = first;
    for (; end < live && cand[end].ratio <= thetaMax; ++end) {
      const Candidate &c = cand[end];
      if (std::fabs(c.alpha) > bestAbs) bestAbs = std::fabs(c.alpha), best = static_cast<int>(end);
      if (isBoxed(e, c.j))
        passSlope += std::fabs(c.alpha) * (e.upper[c.j] - e.lower[c.j]);
      else
        allBoxed = false;
    }
    if (best < 0) return -1;
    if (!groupPasses(e, slope, passSlope, allBoxed)) return cand[best].j;
    slope -= passSlope;
    for (size_t k = first; k < end; ++k) w.flipped.push_back(cand[k].j);
    first = end;
  }
  return -1;
}

// Dual ratio test with bound flipping. Returns the entering variable or -1 when
// no breakpoint limits the dual step (the primal is infeasible); the boxed
// variables passed on the way are left in w.flipped.
int chooseEntering(SimplexEngine &e, DualWork &w, double delta) {
  const double sign = delta > 0 ? 1.0 : -1.0;
  const double *alphaRow = e.rowAlpha.array.data();
  w.candidates.clear();
  w.flipped.clear();
  const HVector &row = e.rowAlpha;
  for (int k = 0; k < row.count; ++k) {
    const int j = row.index[k];
    if (e.basicPos[j] >= 0 || e.lower[j] == e.upper[j]) continue;
    const double a = sign * alphaRow[j];
    if (std::fabs(a) < 1e-9) continue;
    const signed char mv = e.move[j];
    if ((mv == kAtLower && a > 0) || (mv == kAtUpper && a < 0) || mv == kAtZero)
      w.candidates.push_back(Candidate{j, a, e.dj[j] / a});
  }
  double slope = std::fabs(delta);
  size_t live = w.candidates.size();
  for (int groups = 0; live > 0; ++groups) {
    if (groups == kScannedGroups && live > 64) return chooseEnteringSorted(e, w, live, slope);
    double thetaMax = kInfinity;
    for (size_t k = 0; k < live; ++k) thetaMax = std::min(thetaMax, harrisBound(e, w, w.candidates[k]));
    // The group of breakpoints within the relaxed step; its largest pivot wins.
    int best = -1;
    double bestAbs = 0.0, passSlope = 0.0;
    bool allBoxed = true;
    for (size_t k = 0; k < live; ++k) {
      const Candidate &c = w.candidates[k];
      if (c.ratio > thetaMax) continue;
      if (std::fabs(c.alpha) > bestAbs) bestAbs = std::fabs(c.alpha), best = static_cast<int>(k);
      if (isBoxed(e, c.j))
        passSlope += std::fabs(c.alpha) * (e.upper[c.j] - e.lower[c.j]);
      else
        allBoxed = false;
    }
    if (best < 0) return -1;
    if (groupPasses(e, slope, passSlope, allBoxed)) {
      // The whole group can be passed: its variables flip to their other bound.
      slope -= passSlope;
      size_t keep = 0;
      for (size_t k = 0; k < live; ++k) {
        if (w.candidates[k].ratio <= thetaMax)
          w.flipped.push_back(w.candidates[k].j);
        else
          w.candidates[keep++] = w.candidates[k];
      }
      live = keep;
      continue;
    }
    return w.candidates[best].j;
  }
  return -1;
}

// The dual objective of the working costs: what both phases raise.
double dualMerit(const SimplexEngine &e) {
  double s = 0.0;
  for (int j = 0; j < e.nt; ++j)
    if (e.x[j] != 0.0) s += e.cost[j] * e.x[j];
  return s;
}

void logDual(SimplexEngine &e, int phase) {
  if (!logLineDue(e)) return;
  if (phase == 1)
    // Over the artificial boxes the dual objective is minus the sum of the
    // reduced cost violations.
    QVNmsg(e.env->resultsChannel, "Iteration: %5d   Dual infeasibility = %20.6f\n", e.iterations, -dualMerit(e));
  else
    QVNmsg(e.env->resultsChannel, "Iteration: %5d   Dual objective     = %20.6f\n", e.iterations,
           e.lp->sense * objectiveValue(e) + e.lp->offset);
}

// Recomputes everything from a fresh factorization.
bool outside(const SimplexEngine &e, int j, double tol) {
  return e.x[j] < e.lower[j] - tol || e.x[j] > e.upper[j] + tol;
}

void rebuildInfeasibleList(const SimplexEngine &e, DualWork &w) {
  w.infeasible.clear();
  for (int k = 0; k < e.m; ++k) {
    w.listAt[k] = -1;
    if (outside(e, e.head[k], e.primalTol)) {
      w.listAt[k] = static_cast<int>(w.infeasible.size());
      w.infeasible.push_back(k);
    }
  }
  w.listValid = true;
  w.listTol = e.primalTol;
}

// Position k's variable moved: its place in the list follows.
void noteMoved(const SimplexEngine &e, DualWork &w, int k) {
  const bool out = outside(e, e.head[k], w.listTol);
  const int at = w.listAt[k];
  if (out && at < 0) {
    w.listAt[k] = static_cast<int>(w.infeasible.size());
    w.infeasible.push_back(k);
  } else if (!out && at >= 0) {
    const int last = w.infeasible.back();
    w.infeasible[at] = last;
    w.listAt[last] = at;
    w.infeasible.pop_back();
    w.listAt[k] = -1;
  }
}

int rebuild(SimplexEngine &e, DualWork &w) {
  w.listValid = false;
  if (w.anyBanned) std::fill(w.banned.begin(), w.banned.end(), 0), w.anyBanned = false;
  QVN_TRY(refactor(e));
  computePrimal(e);
  computeDual(e);
  return 0;
}

// Fresh values before optimality is claimed; see checkWithHeldFactor.
int checkRebuild(SimplexEngine &e, DualWork &w) {
  if (!e.checkWithHeldFactor || !e.factorCurrent || refactorDue(e.factor)) return rebuild(e, w);
  w.listValid = false;
  if (w.anyBanned) std::fill(w.banned.begin(), w.banned.end(), 0), w.anyBanned = false;
  computePrimal(e);
  computeDual(e);
  return 0;
}

// Moves the costs of nonbasic variables away from zero reduced cost by small
// random amounts in the direction that keeps them dual feasible, so that ties
// in the ratio test, the cause of stalling, go away. The caller's clean-up
// restores the real costs (costsShifted). A repeated perturbation is smaller.
void perturbCosts(SimplexEngine &e, DualWork &w) {
  if (w.perturbations == 0) w.magnitude = e.env->generalParams->epper;
  const double size = perturbationSize(w.magnitude, ++w.perturbations);
  for (int j = 0; j < e.nt; ++j) {
    if (e.basicPos[j] >= 0 || e.lower[j] == e.upper[j] || e.move[j] == kAtZero) continue;
    const double p = nextRandom(e.env) * size;
    const double signedP = e.move[j] == kAtUpper ? -p : p;
    e.cost[j] += signedP;
    e.dj[j] += signedP;
  }
  e.costsShifted = true;
  w.perturbed = true;
  // The relaxation of the ratio test must stay well below the perturbation,
  // or it would take back the ties that the perturbation breaks.
  if (size < 1000.0 * e.dualTol) w.ratioTol = std::min(w.ratioTol, 0.001 * size);
  if (e.display > 0)
    QVNmsg(e.env->resultsChannel, w.perturbations == 1 ? "Perturbation started.\n" : "Reperturbation started.\n");
}


// Iterates until no primal infeasibility is left or a limit is hit.
int dualIterate(SimplexEngine &e, DualWork &w, int phase) {
  w.listValid = false;  // the caller may have moved any value
  progressStart(w.progress, e.env->generalParams->perlim, e.m, e.n, true, e.iterations, phase, dualMerit(e));
  const double *weight = e.dualWeights.data();
  bool fresh = true;
  int sinceLog = 0;
  const bool limitSet = objectiveLimitSet(e, true);
  for (;;) {
    if (int s = checkLimits(e)) return s;
    if (w.tightenedAt >= 0 && e.iterations - w.tightenedAt > std::max(100, e.m / 20)) {
      // The tight finish must stay short; degenerate models can circle in it.
      // Back at the working tolerance the run goes on as before.
      e.primalTol = w.savedPrimalTol;
      w.tightenedAt = -1;
    }
    // The dual objective of an unshifted phase 2 only rises: past the limit,
    // no better point exists.
    if (limitSet && phase == 2 && !e.costsShifted && objectiveLimitPassed(e, true)) return kRunObjLimit;
    if (refactorDue(e.factor)) {
      dualPricingAtFactor(e);
      QVN_TRY(rebuild(e, w));
      if (flipBoxedToDualFeasible(e)) computePrimal(e);
      fresh = true;
      if (++sinceLog >= 1) logDual(e, phase), sinceLog = 0;
    }
    // Leaving row: largest infeasibility relative to its row norm.
    int r = -1;
    double best = 0.0, delta = 0.0;
    if (!w.listValid || w.listTol != e.primalTol) rebuildInfeasibleList(e, w);
    for (const int k : w.infeasible) {
      const int j = e.head[k];
      if (!outside(e, j, e.primalTol)) continue;
      const double infeas = e.x[j] < e.lower[j] ? e.x[j] - e.lower[j] : e.x[j] - e.upper[j];
      if (w.anyBanned && w.banned[k]) continue;
      const double merit = infeas * infeas / weight[k];
      if (merit > best) best = merit, r = k, delta = infeas;
    }
    if (r < 0 && w.anyBanned) {
      // Only refused rows are left: a tighter factorization may accept them.
      if (++w.unbanRounds > 5) return kRunNonOptimal;
      e.factor.markowitz = std::min(0.99999, std::max(0.1, e.factor.markowitz + 0.1));
      if (e.display > 0) QVNmsg(e.env->resultsChannel, "Markowitz threshold set to %g\n", e.factor.markowitz);
      QVN_TRY(rebuild(e, w));
      fresh = true;
      continue;
    }
    if (r < 0) {
      if (!fresh) {
        QVN_TRY(checkRebuild(e, w));
        if (flipBoxedToDualFeasible(e)) computePrimal(e);
        fresh = true;
        continue;
      }
      if (phase == 2 && !w.tightened && maxPrimalInfeasibility(e) > kTightPrimalTol) {
        // Infeasibilities inside the tolerance can still cost objective where
        // duals are large: remove them with a tight tolerance.
        w.tightened = true;
        w.tightenedAt = e.iterations;
        w.savedPrimalTol = e.primalTol;
        e.primalTol = kTightPrimalTol;
        continue;
      }
      if (w.tightened) e.primalTol = w.savedPrimalTol, w.tightened = false;
      return kRunOptimal;
    }

    btranUnitRow(e, r);
    HVector &rho = e.rowRho;
    computePivotRow(e);
    const int q = chooseEntering(e, w, delta);
    if (q < 0) {
      if (!fresh) {
        QVN_TRY(rebuild(e, w));
        fresh = true;
        continue;
      }
      return kRunInfeasible;
    }

    HVector &col = e.column;
    hvClear(col);
    addColumn(*e.lp, q, 1.0, col.array.data());
    col.count = -1;
    ftranForUpdate(e.factor, col);
    const double alphaCol = col.array[r];
    const double alphaRow = e.rowAlpha.array[q];
    // The pivot seen from the row and from the column must agree; when they do
    // not, the factors have drifted (refactor) or this pivot is unsafe (ban
    // the row until the next factorization).
    const double mismatch = std::fabs(alphaCol - alphaRow) / std::max(1e-9, std::fabs(alphaCol));
    if (mismatch > 1e-7 || std::fabs(alphaCol) < 1e-11) {
      if (!fresh) {
        QVN_TRY(rebuild(e, w));
        fresh = true;
        continue;
      }
      if (mismatch > 1e-5 || std::fabs(alphaCol) < 1e-11) {
        w.banned[r] = 1;
        w.anyBanned = true;
        hvClear(col);
        continue;
      }
    }

    // Dual step; a reduced cost on the wrong side of zero is shifted to zero
    // rather than stepping backwards.
    double thetaD = e.dj[q] / alphaRow;
    if ((delta > 0 && thetaD < 0) || (delta < 0 && thetaD > 0)) {
      e.cost[q] -= e.dj[q];
      e.dj[q] = 0.0;
      e.costsShifted = true;
      ++w.shiftCount;
      thetaD = 0.0;
    }
    const int leaving = e.head[r];
    if (thetaD != 0.0) {
      const HVector &row = e.rowAlpha;
      for (int k = 0; k < row.count; ++k) {
        const int j = row.index[k];
        if (e.basicPos[j] < 0) e.dj[j] -= thetaD * row.array[j];
      }
      for (int k = 0; k < rho.count; ++k) e.dual[rho.index[k]] += thetaD * rho.array[rho.index[k]];
    }

    // Bound flips of the passed breakpoints move x_B through one FTRAN.
    if (!w.flipped.empty()) {
      HVector &f = e.flips;
      hvClear(f);
      for (int j : w.flipped) {
        const double from = e.x[j];
        e.move[j] = e.move[j] == kAtLower ? kAtUpper : kAtLower;
        placeNonbasic(e, j);
        addColumn(*e.lp, j, -(e.x[j] - from), f.array.data());
      }
      f.count = -1;
      ftran(e.factor, f);
      for (int k = 0; k < f.count; ++k) {
        const int pos = f.index[k];
        e.x[e.head[pos]] += f.array[pos];
        if (w.listValid) noteMoved(e, w, pos);
      }
      hvClear(f);
    }

    // Primal step: the leaving variable reaches the bound it violated.
    const double xr = e.x[leaving];
    const bool toLower = xr < e.lower[leaving];
    const double bound = toLower ? e.lower[leaving] : e.upper[leaving];
    const double thetaP = (xr - bound) / alphaCol;
    for (int k = 0; k < col.count; ++k) {
      const int pos = col.index[k];
      e.x[e.head[pos]] -= thetaP * col.array[pos];
      if (w.listValid) noteMoved(e, w, pos);
    }
    e.x[q] += thetaP;

    updateDualWeights(e, r, alphaCol);

    updateFactor(e.factor, r, alphaCol);
    changeBasis(e, q, r, toLower ? kAtLower : kAtUpper);
    e.x[leaving] = bound;
    if (w.listValid) noteMoved(e, w, r);
    e.dj[leaving] = -thetaD;
    hvClear(rho);
    hvClear(e.rowAlpha);
    hvClear(col);
    ++e.iterations;
    if (phase == 1) ++e.phase1Iterations;
    fresh = false;
    const ProgressAction action =
        progressCheck(w.progress, e.iterations, phase, w.perturbed, [&] { return dualMerit(e); });
    if (action == ProgressAction::kPerturb) {
      perturbCosts(e, w);
      progressPerturbed(w.progress, w.perturbations, w.magnitude, e.iterations, phase, dualMerit(e));
    } else if (action == ProgressAction::kStall) {
      // Still no progress under perturbation: start again from fresh values
      // with new perturbed costs.
      QVN_TRY(rebuild(e, w));
      if (flipBoxedToDualFeasible(e)) computePrimal(e);
      fresh = true;
      perturbCosts(e, w);
      progressPerturbed(w.progress, w.perturbations, w.magnitude, e.iterations, phase, dualMerit(e));
    }
  }
}

// Dual phase 1 over artificial boxes. Returns 0 when the basis found is dual
// feasible for the real bounds, kRunUnbounded when the dual is infeasible, or
// a limit status or an error.
int dualPhase1(SimplexEngine &e, DualWork &w) {
  w.savedLower.assign(e.lower.begin(), e.lower.end());
  w.savedUpper.assign(e.upper.begin(), e.upper.end());
  for (int j = 0; j < e.nt; ++j) {
    const bool lo = e.lower[j] > -kInfinity, up = e.upper[j] < kInfinity;
    e.lower[j] = lo ? 0.0 : -1.0;
    e.upper[j] = up ? 0.0 : 1.0;
    if (lo && up) e.lower[j] = e.upper[j] = 0.0;
    if (e.basicPos[j] < 0) {
      e.move[j] = e.dj[j] >= 0 ? kAtLower : kAtUpper;
      placeNonbasic(e, j);
    }
  }
  computePrimal(e);
  logDual(e, 1);
  int status = dualIterate(e, w, 1);
  e.lower.swap(w.savedLower);
  e.upper.swap(w.savedUpper);
  for (int j = 0; j < e.nt; ++j) {
    if (e.basicPos[j] >= 0) continue;
    const bool lo = e.lower[j] > -kInfinity, up = e.upper[j] < kInfinity;
    if (lo && up)
      e.move[j] = e.dj[j] >= 0 ? kAtLower : kAtUpper;
    else if (lo)
      e.move[j] = kAtLower;
    else if (up)
      e.move[j] = kAtUpper;
    else {
      e.move[j] = kAtZero;
      e.x[j] = 0.0;
    }
    placeNonbasic(e, j);
  }
  if (status != kRunOptimal && status != kRunInfeasible) return status;
  QVN_TRY(rebuild(e, w));
  return dualInfeasibility(e, true) > 0 ? kRunUnbounded : 0;
}

int dualLoop(SimplexEngine &e) {
  DualWork w;
  w.ratioTol = e.dualTol;
  w.banned.assign(static_cast<size_t>(e.m > 0 ? e.m : 1), 0);
  w.listAt.assign(static_cast<size_t>(e.m > 0 ? e.m : 1), -1);
  if (e.dualPricing < 0 || e.dualPricing > kDualPlainThenSteep) return QVNERR_PRIIND;
  if (takeHeldFactor(e)) {
    computePrimal(e);
    computeDual(e);
  } else {
    QVN_TRY(rebuild(e, w));
  }
  initDualPricing(e);
  flipBoxedToDualFeasible(e);
  if (dualInfeasibility(e, true) > 0) {
    const int s = dualPhase1(e, w);
    if (s != 0) return s;
  }
  computePrimal(e);
  logDual(e, 2);
  if (e.env->generalParams->perind == 1) perturbCosts(e, w);
  const double primalTol = e.primalTol;  // the last steps may tighten it
  const int status = dualIterate(e, w, 2);
  e.primalTol = primalTol;
  logDual(e, 2);
  // The caller puts the real costs back and finishes from this basis.
  if (status == kRunOptimal && e.display > 0) {
    if (w.perturbed)
      QVNmsg(e.env->resultsChannel, "Removing perturbation.\n");
    else if (w.shiftCount > 0)
      QVNmsg(e.env->resultsChannel, "Removing shift (%d).\n", w.shiftCount);
  }
  return status;
}

} // namespace

int runDualSimplex(SimplexEngine &e) {
  ImpliedBoxes boxes;
  if (!e.heldDualFeasible) boxByImpliedBounds(e, boxes);
  e.heldDualFeasible = false;
  int status = dualLoop(e);
  if (restoreImpliedBoxes(e, boxes) && status == kRunOptimal) {
    // A nonbasic variable rested on an implied bound after all: from its
    // real bound the loop finishes with the real bounds.
    computePrimal(e);
    e.reuseFactor = e.checkWithHeldFactor;
    status = dualLoop(e);
  }
  return status;
}

} // namespace qvn
