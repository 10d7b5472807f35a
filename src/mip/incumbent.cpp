// Incumbents: the acceptance test of a candidate on the model itself (not on
// the node LP), the cutoff it implies, and the release of a search.
#include <algorithm>
#include <cmath>
#include <new>

#include "mip/callbacks.h"
#include "mip/mip_log.h"
#include "mip/user_cuts.h"
#include "mip/cuts/cut_pool.h"
#include "mip/heuristics/heuristics.h"
#include "mip/mip_run.h"
#include "simplex/engine.h"
#include "simplex/lp_relaxation.h"

namespace qvn {

namespace {

// A rounded candidate is kept only when rounding leaves the rows this tight.
constexpr double kRoundedRowTol = 1e-9;
// Largest absolute violation of a bound or row that a candidate may have.
constexpr double kAcceptTol = 1e-6;
// Part of an objective step by which a node's bound must come below the
// incumbent's next step to stay: far above LP tolerances, far below a step.
constexpr double kStepMargin = 0.01;

double rowViolation(const LpData &d, const double *activity, int i) {
  const double rhs = d.rhs[i], a = activity[i];
  double lo = -kInfinity, up = kInfinity;
  switch (d.sense[i]) {
  case 'L': up = rhs; break;
  case 'G': lo = rhs; break;
  case 'E': lo = up = rhs; break;
  default: {
    const double r = d.rangeValue.empty() ? 0.0 : d.rangeValue[i];
    lo = r >= 0 ? rhs : rhs + r;
    up = r >= 0 ? rhs + r : rhs;
  }
  }
  return std::max({0.0, lo - a, a - up});
}

// Iterations the LP over the continuous columns may take for one candidate.
constexpr int kExactLpIterations = 5000;

// The candidate's integer columns fixed at their rounded values, the node
// LP re-solved over the rest: a point whose integers are exact and whose
// continuous values fit them, in `out`. False when the LP does not end
// optimal. The node LP is put back exactly as it was, so a caller that holds
// its arrays (the node loop, a dive) finds them unchanged.
bool exactByFixedLp(MipRun &run, const EnvVector<double> &rounded, EnvVector<double> &out) {
  MipSearch &s = *run.search;
  if (!s.nodeLp) return false;
  LpRelaxation &r = *s.nodeLp;
  const int n = run.model->numCols;
  EnvVector<int> cols;
  EnvVector<double> values;
  for (int j = 0; j < n; ++j)
    if (s.kind[j] == ColKind::kInteger || s.kind[j] == ColKind::kSemiInteger) {
      cols.push_back(j);
      values.push_back(rounded[j]);
    }
  if (cols.empty() || static_cast<int>(cols.size()) == n) return false;
  SavedRelaxState saved;
  if (relaxSaveState(r, &saved.state) != 0) return false;
  bool solved = false;
  if (relaxChangeBounds(r, static_cast<int>(cols.size()), cols.data(), values.data(), values.data()) == 0) {
    RelaxSolveLimits limits;
    limits.iterationLimit = kExactLpIterations;
    limits.timeLimit = std::max(0.0, run.control.timeLimit - elapsedSeconds(run));
    int status = 0;
    if (relaxSolve(r, limits, &status) == 0) {
      s.iterationTotal += relaxIterations(r);
      if (status == kRunOptimal) {
        out.assign(relaxPrimal(r), relaxPrimal(r) + n);
        for (size_t k = 0; k < cols.size(); ++k) out[cols[k]] = values[k];
        solved = true;
      }
    }
  }
  if (relaxRestoreState(r, *saved.state) != 0) throw std::bad_alloc();
  return solved;
}

} // namespace

double solutionViolation(const LpData &d, const EnvVector<ColKind> &kind, const double *semiLower,
                         const double *x, double *integrality) {
  double worst = 0.0, frac = 0.0;
  EnvVector<double> activity(static_cast<size_t>(d.numRows > 0 ? d.numRows : 1), 0.0);
  for (int j = 0; j < d.numCols; ++j) {
    const double v = x[j];
    const int64_t begin = d.colStart[j], end = begin + d.colCount[j];
    for (int64_t p = begin; p < end; ++p) activity[d.rowIndex[p]] += d.coefValue[p] * v;
    double lo = d.lowerBound[j];
    const double up = d.upperBound[j];
    const ColKind k = kind[j];
    if (k == ColKind::kSemiContinuous || k == ColKind::kSemiInteger) {
      if (std::fabs(v) <= kAcceptTol) continue;  // off
      lo = semiLower[j];
    }
    if (lo > -kInfinity) worst = std::max(worst, lo - v);
    if (up < kInfinity) worst = std::max(worst, v - up);
    if (k != ColKind::kContinuous && k != ColKind::kSemiContinuous)
      frac = std::max(frac, std::fabs(v - std::round(v)));
  }
  for (int i = 0; i < d.numRows; ++i) worst = std::max(worst, rowViolation(d, activity.data(), i));
  if (integrality) *integrality = frac;
  return worst;
}

double sosViolation(const SosData *sos, const double *x) {
  if (!sos) return 0.0;
  double worst = 0.0;
  for (int t = 0; t < sos->count; ++t) {
    const int begin = sos->start[t], end = sos->start[t + 1];
    // The allowed nonzeros start at the first nonzero; an SOS2 may use its neighbour too.
    int first = -1;
    for (int k = begin; k < end; ++k)
      if (std::fabs(x[sos->member[k]]) > kAcceptTol) {
        first = k;
        break;
      }
    if (first < 0) continue;
    const int allowedEnd = first + (sos->type[t] == '2' ? 2 : 1);
    for (int k = allowedEnd; k < end; ++k) worst = std::max(worst, std::fabs(x[sos->member[k]]));
  }
  return worst;
}

double cutoffFor(const MipControl &c, double z) {
  double cut = z - c.objdif;
  if (std::fabs(c.objdif) < 1e-10 && c.relobjdif > 1e-10) cut = z - c.relobjdif * std::fabs(z);
  // Nodes whose bound only ties the incumbent are not worth a visit.
  cut -= std::fabs(1e-10 * cut);
  // With objective values on a grid of step d, the next better value is at
  // most z - d: a node whose bound lies above z - d (with a margin well
  // beyond the LP's tolerances) cannot hold it.
  const double d = c.objectiveStep;
  if (d > 1e-10) cut = std::min(cut, z - d + kStepMargin * d);
  return cut;
}

bool offerIncumbent(MipRun &run, const double *x, int node, bool fromHeuristic) {
  // A cut callback may stand for constraints only it knows: a point it has
  // not seen at a node LP cannot be trusted.
  if (fromHeuristic && hasMipCallback(run, kCutCallback)) return false;
  const LpData &d = *run.model;
  MipSearch &s = *run.search;
  const int n = d.numCols;
  EnvVector<double> candidate(x, x + n);
  // Integer columns are rounded where that keeps every row tight, so that the
  // caller reads exact integers.
  EnvVector<double> rounded(candidate);
  for (int j = 0; j < n; ++j)
    if (s.kind[j] == ColKind::kInteger || s.kind[j] == ColKind::kSemiInteger) rounded[j] = std::round(rounded[j]);
  double integrality = 0.0;
  if (solutionViolation(d, s.kind, s.semiLower.data(), rounded.data(), &integrality) <= kRoundedRowTol) {
    candidate.swap(rounded);
  } else {
    double violation = solutionViolation(d, s.kind, s.semiLower.data(), candidate.data(), &integrality);
    double rough = d.objOffset;
    for (int j = 0; j < n; ++j) rough += d.objCoef[j] * candidate[j];
    // Rounding alone moves rows: for a candidate worth keeping, the
    // continuous columns are solved again around the exact integers.
    EnvVector<double> exact;
    if ((!s.incumbent.exists || run.sense * rough < s.incumbent.objective) && exactByFixedLp(run, rounded, exact)) {
      double exactIntegrality = 0.0;
      const double exactViolation = solutionViolation(d, s.kind, s.semiLower.data(), exact.data(), &exactIntegrality);
      if (exactViolation <= std::max(kRoundedRowTol, std::min(violation, kAcceptTol))) {
        candidate.swap(exact);
        violation = exactViolation;
        integrality = exactIntegrality;
      }
    }
    if (violation > kAcceptTol || integrality > run.control.epint) return false;
  }
  if (sosViolation(run.sos, candidate.data()) > kAcceptTol) return false;
  double z = d.objOffset;
  for (int j = 0; j < n; ++j) z += d.objCoef[j] * candidate[j];
  z *= run.sense;
  if (s.incumbent.exists && !(z < s.incumbent.objective)) return false;
  if (violatesLazyConstraints(run, candidate.data())) return false;
  if (hasMipCallback(run, kIncumbentCallback)) {
    bool accept = true;
    const int stop = callIncumbentCallback(run, z, candidate.data(), &accept);
    if (stop != 0 && run.callbackStop == 0) run.callbackStop = stop;
    if (!accept) return false;
  }
  IncumbentStore &inc = s.incumbent;
  inc.exists = true;
  inc.objective = z;
  inc.node = node;
  ++inc.found;
  inc.x.swap(candidate);
  s.cutoff = std::min(s.cutoff, cutoffFor(run.control, z));
  if (run.control.display == 1) {
    const double best = currentBestBound(run, nullptr);
    printIncumbentShort(run.env, userValue(run, z), node, std::fabs(best) >= 1e74 ? best : userValue(run, best),
                        run.sense);
  }
  (void)fromHeuristic;
  return true;
}

void destroyMipSearch(MipSearch *&search) {
  if (!search) return;
  storeClear(search->store);
  freeNode(search->resume);
  releaseBasis(search->rootBasis);
  relaxFree(search->nodeLp);
  freeCutPool(search->cuts);
  destroyHeuristicState(search->heuristics);
  envDelete(search);
}

const IncumbentStore *mipIncumbent(const Problem *lp) {
  return lp->mipSearch ? &lp->mipSearch->incumbent : nullptr;
}

} // namespace qvn
