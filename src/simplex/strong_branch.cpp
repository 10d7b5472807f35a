// Saved states of the LP relaxation and strong branching trials from them.
//
// A state holds everything a trial may move: the bounds and costs of both
// copies of the LP, the basis with its values, duals and weights, a copy of
// the factor and the results of the last solve. Restoring it puts the same
// numbers back, so that a trial leaves no trace, down to the last bit.
#include <algorithm>
#include <cmath>

#include "runtime/frame.h"
#include "simplex/lp_relaxation_internal.h"

namespace qvn {

namespace {

template <class T> void copyInto(EnvVector<T> &to, const EnvVector<T> &from) {
  // Same sizes by construction: copying in place keeps the buffers, whose
  // addresses the factor holds (the basis header).
  if (to.size() != from.size())
    to = from;
  else
    std::copy(from.begin(), from.end(), to.begin());
}

} // namespace

int relaxSaveState(const LpRelaxation &r, RelaxState **out) {
  if (!out) return QVNERR_NULL_POINTER;
  *out = nullptr;
  RelaxState *s = nullptr;
  const int status = runCaught([&]() -> int {
    s = envNew<RelaxState>();
    const SimplexEngine &e = r.work;
    s->numRows = r.lp.numRow;
    s->lpLower = r.lp.lower, s->lpUpper = r.lp.upper, s->lpCost = r.lp.cost;
    if (r.useScaled) s->scLower = r.scaled.lower, s->scUpper = r.scaled.upper, s->scCost = r.scaled.cost;
    s->head = e.head, s->basicPos = e.basicPos, s->move = e.move;
    s->x = e.x, s->cost = e.cost, s->lower = e.lower, s->upper = e.upper;
    s->dual = e.dual, s->dj = e.dj;
    s->dualWeights = e.dualWeights, s->primalWeights = e.primalWeights;
    s->dualWeightsValid = e.dualWeightsValid, s->primalWeightsValid = e.primalWeightsValid;
    s->factorCurrent = e.factorCurrent && !e.factor.mustRefactor;
    s->mustRefactor = e.factor.mustRefactor;
    s->startGiven = e.startGiven;
    s->markowitz = e.factor.markowitz;
    if (s->factorCurrent) {
      s->lu = envNew<LuFactor>(*e.factor.lu);
      s->factorizations = e.factorizations;
      s->luUpdates = e.factor.lu->updateCount;
      s->luEtaUsed = e.factor.lu->etaUsed;
      s->luPosEnd = e.factor.lu->posEnd;
    }
    s->rx = r.x, s->rRow = r.rowActivity, s->rDual = r.duals, s->rRc = r.reducedCosts;
    s->objective = r.objective, s->iterations = r.iterations, s->lastStatus = r.lastStatus;
    s->dualFeasible = r.dualFeasible;
    s->dualsHeld = r.dualsHeld;
    return 0;
  });
  if (status != 0) {
    relaxFreeState(s);
    return status;
  }
  *out = s;
  return 0;
}

int relaxRestoreState(LpRelaxation &r, const RelaxState &s) {
  if (s.numRows != r.lp.numRow) return QVNERR_BAD_ARGUMENT;
  return runCaught([&]() -> int {
    SimplexEngine &e = r.work;
    copyInto(r.lp.lower, s.lpLower), copyInto(r.lp.upper, s.lpUpper), copyInto(r.lp.cost, s.lpCost);
    if (r.useScaled) copyInto(r.scaled.lower, s.scLower), copyInto(r.scaled.upper, s.scUpper), copyInto(r.scaled.cost, s.scCost);
    if (e.packed.valid && e.basicPos.size() == s.basicPos.size()) {
      // Columns that entered the basis since go back to the nonbasic part of
      // their rows, those that left it back to the basic part.
      for (int k = 0; k < e.m; ++k) {
        const int j = e.head[k];
        if (j < e.n && s.basicPos[j] < 0) packedColumnMoved(e, j, false);
      }
      for (int k = 0; k < e.m; ++k) {
        const int j = s.head[k];
        if (j < e.n && e.basicPos[j] < 0) packedColumnMoved(e, j, true);
      }
    } else {
      e.packed.valid = false;  // the row copy was packed for another basis
    }
    copyInto(e.head, s.head), copyInto(e.basicPos, s.basicPos), copyInto(e.move, s.move);
    copyInto(e.x, s.x), copyInto(e.cost, s.cost), copyInto(e.lower, s.lower), copyInto(e.upper, s.upper);
    copyInto(e.dual, s.dual), copyInto(e.dj, s.dj);
    copyInto(e.dualWeights, s.dualWeights), copyInto(e.primalWeights, s.primalWeights);
    e.dualWeightsValid = s.dualWeightsValid, e.primalWeightsValid = s.primalWeightsValid;
    e.startGiven = s.startGiven;
    e.factor.markowitz = s.markowitz;
    if (s.lu) {
      const LuFactor &now = *e.factor.lu;
      const bool untouched = e.factorizations == s.factorizations && now.valid && !now.needFactorFlag &&
                             now.updateCount == s.luUpdates && now.etaUsed == s.luEtaUsed &&
                             now.posEnd == s.luPosEnd;
      if (!untouched) *e.factor.lu = *s.lu;
      e.factor.mustRefactor = false;
      e.factorCurrent = true;
    } else {
      e.factor.mustRefactor = s.mustRefactor;
      e.factorCurrent = false;
    }
    e.costsShifted = false;
    copyInto(r.x, s.rx), copyInto(r.rowActivity, s.rRow), copyInto(r.duals, s.rDual), copyInto(r.reducedCosts, s.rRc);
    r.objective = s.objective, r.iterations = s.iterations, r.lastStatus = s.lastStatus;
    r.dualFeasible = s.dualFeasible;
    r.dualsHeld = s.dualsHeld;
    r.finishUsed = false;
    return 0;
  });
}

SavedRelaxState::~SavedRelaxState() { relaxFreeState(state); }

void relaxFreeState(RelaxState *&s) {
  if (!s) return;
  envDelete(s->lu);
  envDelete(s);
}

namespace {

// Reduced costs below this count as zero in the bound of a stopped trial.
constexpr double kBoundDjTol = 1e-9;

// The bound that the duals of a stopped dual run prove, min over the box of
// c x - y (A x - b) with the real costs: the objective of the basic point less
// what each nonbasic variable at the wrong bound for its reduced cost
// overstates. Real costs and duals are those collectResults left; the
// boxes are the LP's own, not the working boxes a run may have added.
double lagrangianBound(LpRelaxation &r) {
  const SimplexEngine &f = finalEngine(r);
  const WorkLp &lp = *f.lp;
  double excess = 0.0;
  for (int j = 0; j < f.nt; ++j) {
    if (f.basicPos[j] >= 0) continue;
    const double d = f.dj[j];
    if (std::fabs(d) <= kBoundDjTol) continue;
    const double bound = d > 0 ? lp.lower[j] : lp.upper[j];
    if (bound <= -kInfinity || bound >= kInfinity) return -1e75;
    excess += d * (f.x[j] - bound);
  }
  return r.objective - std::max(0.0, excess);
}

// One branch: bounds [lo, up] on column j, a bounded dual simplex that stops
// at the objective limit, the bound it proves. The caller restores the state.
int trial(LpRelaxation &r, int j, double lo, double up, int iterationLimit, double objectiveLimit,
          double *objective, int *status) {
  *objective = 1e75;
  if (lo > up) {
    *status = kRunInfeasible;
    return 0;
  }
  QVN_TRY(relaxChangeBounds(r, 1, &j, &lo, &up));
  RelaxSolveLimits limits;
  limits.iterationLimit = std::max(0, iterationLimit);
  limits.objectiveLimit = objectiveLimit;
  SimplexEngine &e = r.work;
  resetWorkingData(e);
  applyLimits(e, limits);
  int run = 0;
  // No unscaled finish and no primal clean-up after cost shifts: a trial
  // needs a bound, not an exact optimum.
  r.boundOnly = true;
  const int failure = solveHeld(r, RelaxMethod::kDual, false, false, &run);
  r.boundOnly = false;
  QVN_TRY(failure);
  r.trialIterations += r.iterations;
  // An optimum of shifted costs is no optimum of the branch: what its duals
  // prove is reported, as for a side stopped by its limit.
  const bool unfinished = run == kRunOptimal && r.unfinished;
  *status = unfinished ? kRunNonOptimal : run;
  if (run == kRunInfeasible || run == kRunObjLimit) return 0;
  if (run == kRunOptimal && !unfinished)
    *objective = r.objective;
  else if (unfinished || run == kRunIterLimit)
    *objective = lagrangianBound(r);
  else
    *objective = -1e75;  // unbounded, or stopped with nothing proved
  return 0;
}

} // namespace

int relaxStrongBranchFrom(LpRelaxation &r, const RelaxState &base, int j, double downUpper, double upLower,
                          int iterationLimit, double objectiveLimit, double *downObjective, int *downStatus,
                          double *upObjective, int *upStatus) {
  if (!downObjective || !downStatus || !upObjective || !upStatus) return QVNERR_NULL_POINTER;
  if (j < 0 || j >= r.lp.numCol) return QVNERR_COL_INDEX_RANGE;
  if (std::isnan(downUpper) || std::isnan(upLower) || std::isnan(objectiveLimit)) return QVNERR_NAN;
  if (base.numRows != r.lp.numRow) return QVNERR_BAD_ARGUMENT;
  const double lower = base.lpLower[j], upper = base.lpUpper[j];
  int status = trial(r, j, lower, std::min(upper, downUpper), iterationLimit, objectiveLimit, downObjective,
                     downStatus);
  int restored = relaxRestoreState(r, base);
  if (status == 0) status = restored;
  if (status == 0) {
    status = trial(r, j, std::max(lower, upLower), upper, iterationLimit, objectiveLimit, upObjective, upStatus);
    restored = relaxRestoreState(r, base);
    if (status == 0) status = restored;
  }
  return status;
}

int relaxStrongBranch(LpRelaxation &r, int j, double downUpper, double upLower, int iterationLimit,
                      double *downObjective, int *downStatus, double *upObjective, int *upStatus) {
  if (!downObjective || !downStatus || !upObjective || !upStatus) return QVNERR_NULL_POINTER;
  if (j < 0 || j >= r.lp.numCol) return QVNERR_COL_INDEX_RANGE;
  if (std::isnan(downUpper) || std::isnan(upLower)) return QVNERR_NAN;
  SavedRelaxState saved;
  QVN_TRY(relaxSaveState(r, &saved.state));
  return relaxStrongBranchFrom(r, *saved.state, j, downUpper, upLower, iterationLimit, 1e75, downObjective,
                               downStatus, upObjective, upStatus);
}

} // namespace qvn
