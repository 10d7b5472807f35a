// The engine of the sub-MIP heuristics: a copy of the model with some
// columns fixed (and, for local branching, one more row) is solved by the
// same optimizer in a child Environment under small limits, and its solution
// is offered to the parent's incumbent test. The child inherits the parent's
// parameters, but its log is off and it may not start sub-MIPs of its own,
// so the recursion ends at depth one.
#include <algorithm>
#include <chrono>
#include <cmath>

#include "mip/heuristics/heuristics.h"
#include "mip/heuristics/submip.h"
#include "runtime/params.h"
#include "simplex/engine.h"

namespace qvn {

namespace {

// A value more than this outside its column's bounds is not fixed.
constexpr double kFixBoundTol = 1e-6;
// Share of the run's time limit one child may use, and its time without one.
constexpr double kTimeShare = 0.1;
constexpr double kTimeWithoutLimit = 30.0;
constexpr double kMinChildTime = 1.0;
// Sub-MIPs stop starting once they have taken this share of the elapsed time.
constexpr double kTotalShare = 0.3;
// Fewer fixed integers than this share makes the copy too close to the whole.
constexpr double kMinFixedShare = 0.1;

bool childFailureFatal(int failure) { return failure == QVNERR_NO_MEMORY; }

} // namespace

int solveRestrictedCopy(MipRun &run, const SubMipFixing &fix, int nodeLimit, bool *found) {
  *found = false;
  const LpData &d = *run.model;
  MipSearch &s = *run.search;
  HeuristicState &h = heuristicState(run);
  if (run.sos || heuristicMustStop(run)) return 0;
  const double elapsed = elapsedSeconds(run);
  if (h.subMipSeconds > kTotalShare * elapsed + kMinChildTime) return 0;
  const int n = d.numCols, m = d.numRows;
  const bool extra = !fix.extraCoef.empty();
  // Column-wise arrays of the copy, with the optional row appended at index m.
  EnvVector<int> begin(static_cast<size_t>(n)), count(static_cast<size_t>(n));
  EnvVector<int> index;
  EnvVector<double> value;
  index.reserve(static_cast<size_t>(d.colStart[n - 1] + d.colCount[n - 1]) + (extra ? n : 0));
  value.reserve(index.capacity());
  for (int j = 0; j < n; ++j) {
    begin[j] = static_cast<int>(index.size());
    for (int64_t k = d.colStart[j]; k < d.colStart[j] + d.colCount[j]; ++k) {
      index.push_back(d.rowIndex[k]);
      value.push_back(d.coefValue[k]);
    }
    if (extra && fix.extraCoef[j] != 0.0) {
      index.push_back(m);
      value.push_back(fix.extraCoef[j]);
    }
    count[j] = static_cast<int>(index.size()) - begin[j];
  }
  EnvVector<double> lower(d.lowerBound.begin(), d.lowerBound.begin() + n);
  EnvVector<double> upper(d.upperBound.begin(), d.upperBound.begin() + n);
  for (size_t k = 0; k < fix.column.size(); ++k) {
    const int j = fix.column[k];
    const double v = fix.value[k];
    if (v < s.rootLower[j] - kFixBoundTol || v > s.rootUpper[j] + kFixBoundTol) continue;
    lower[j] = upper[j] = v;
  }
  EnvVector<double> rhs(d.rhs.begin(), d.rhs.begin() + m);
  EnvVector<char> sense(d.sense.begin(), d.sense.begin() + m);
  EnvVector<double> range;
  if (!d.rangeValue.empty()) range.assign(d.rangeValue.begin(), d.rangeValue.begin() + m);
  if (extra) {
    rhs.push_back(fix.extraRhs);
    sense.push_back('L');
    if (!range.empty()) range.push_back(0.0);
  }
  EnvVector<char> ctype(d.ctype.begin(), d.ctype.begin() + n);
  ctype.push_back('\0');

  int status = 0;
  Environment *child = openSubEnvironment(run.env, &status);
  if (!child) return childFailureFatal(status) ? status : 0;
  copyParamBlocks(child, run.env);
  MipParams &cp = *child->mipParams;
  GeneralParams &cg = *child->generalParams;
  // The child talks to nobody: no log file, no callbacks of the caller.
  cg.logFile = nullptr;
  cg.lpCallback = nullptr;
  cg.profileCallback = nullptr;
  cg.conflictCallback = nullptr;
  cp.infoCallback = nullptr;
  for (void *&slot : cp.mipCallbacks) slot = nullptr;
  cp.mipdisplay = 0;
  cg.simdisplay = 0;
  cp.nodelim = std::max(1, std::min(nodeLimit, run.env->mipParams->submipnodelim));
  // No sub-MIP of its own: no RINS, repair, polishing, local branching or pump.
  cp.rinsheur = -1;
  cp.repairtries = -1;
  cp.p2090 = -1;
  cp.lbheur = 0;
  cp.p2074 = -1;
  cp.p2078 = -1;
  cp.p2076 = 0;
  cp.p2077 = 0;
  cp.p2098 = 0;
  cp.polishtime = 0.0;
  cp.epgap = 0.0;
  cp.epagap = 0.0;
  const double remaining = std::max(0.0, run.control.timeLimit - elapsed);
  const double share = run.control.timeLimit < 1e75 ? kTimeShare * run.control.timeLimit : kTimeWithoutLimit;
  cg.tilim = std::min(remaining, std::max(share, kMinChildTime));
  // Only improving points are wanted: the parent's cutoff, without the offset
  // the copy does not carry, in the copy's sense.
  if (s.cutoff < 1e75) {
    if (run.sense > 0)
      cp.cutup = s.cutoff - d.objOffset;
    else
      cp.cutlo = -s.cutoff - d.objOffset;
  }
  QVNLPptr copy = QVNcreateprob(child, &status, "submip");
  int failure = status;
  if (copy) {
    failure = QVNcopylp(child, copy, n, m + (extra ? 1 : 0), d.objSense, d.objCoef.data(), rhs.data(), sense.data(),
                        begin.data(), count.data(), index.data(), value.data(), lower.data(), upper.data(),
                        range.empty() ? nullptr : range.data());
    if (failure == 0) failure = QVNcopyctype(child, copy, ctype.data());
    const auto started = std::chrono::steady_clock::now();
    if (failure == 0) failure = QVNmipopt(child, copy);
    h.subMipSeconds += std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
    ++h.subMipCalls;
    if (failure == 0) {
      // A child stopped by the terminate test returns nothing: the run is ending.
      const int st = QVNgetstat(child, copy);
      const bool feasible = st == 101 || st == 102 || st == 104 || st == 105 || st == 107 || st == 109 ||
                            st == 111 || st == 115;
      if (feasible && !terminateRequested(run.env)) {
        EnvVector<double> x(static_cast<size_t>(n), 0.0);
        if (QVNgetx(child, copy, x.data(), 0, n - 1) == 0) {
          *found = offerIncumbent(run, x.data(), static_cast<int>(s.nodeCount), true);
          if (*found) ++h.subMipSuccesses;
        }
      }
    }
    QVNfreeprob(child, &copy);
  }
  QVNfreeparenv(run.env, &child);
  return childFailureFatal(failure) ? failure : 0;
}

int subMipSolve(MipRun &run, int mode, int nodeLimit, bool *found) {
  *found = false;
  MipSearch &s = *run.search;
  HeuristicState &h = heuristicState(run);
  const LpData &d = *run.model;
  LpRelaxation &r = *s.nodeLp;
  if (heuristicMustStop(run) || run.sos) return 0;
  // 1. The node LP, re-solved under the node's bounds (free when it is optimal).
  RelaxSolveLimits limits;
  limits.objectiveLimit = s.cutoff;
  limits.timeLimit = std::max(0.0, run.control.timeLimit - elapsedSeconds(run));
  int status = 0;
  if (relaxSolve(r, limits, &status) != 0 || status != kRunOptimal) return 0;
  s.iterationTotal += relaxIterations(r);
  const double *x = relaxPrimal(r);
  // 2. The fixings of the mode.
  SubMipFixing fix;
  int integers = 0;
  for (int j = 0; j < d.numCols; ++j) {
    if (!isIntegerColumn(run, j)) continue;
    ++integers;
    double v = 0.0;
    bool take = false;
    switch (mode) {
    case kSubMipRins:
    case kSubMipRinsNode:
      if (s.incumbent.exists) {
        v = s.incumbent.x[j];
        take = std::fabs(x[j] - v) <= run.control.epint;
      }
      break;
    case kSubMipPolish:
      if (s.incumbent.exists) {
        v = s.incumbent.x[j];
        take = heuristicRandom(h) < h.mutationRate;
      }
      break;
    case kSubMipLpIntegral:
      v = std::round(x[j]);
      take = std::fabs(x[j] - v) <= run.control.epint;
      break;
    case kSubMipRepair:
      for (size_t k = 0; k < h.repairColumn.size(); ++k)
        if (h.repairColumn[k] == j) {
          v = std::round(h.repairValue[k]);
          take = std::fabs(x[j] - v) <= run.control.epint;
          break;
        }
      break;
    default: return 0;
    }
    if (!take) continue;
    fix.column.push_back(j);
    fix.value.push_back(v);
  }
  if (integers == 0 || fix.column.size() < kMinFixedShare * integers) return 0;
  return solveRestrictedCopy(run, fix, nodeLimit, found);
}

} // namespace qvn
