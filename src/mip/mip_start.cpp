// The MIP start: the user's values fix their columns on the node LP and a
// short dive on what is left (a fixed-problem solve of at most three LPs)
// looks for an integer point; a second, looser attempt follows when the first
// one's LP did not even solve, and a last one that fixes the integer values
// alone when neither found a point. Either way the node LP goes back to the
// root's bounds before the root is solved.
#include <algorithm>
#include <cmath>

#include "mip/mip_log.h"
#include "mip/mip_run.h"
#include "simplex/engine.h"
#include "simplex/lp_relaxation.h"

namespace qvn {

namespace {

// LPs of one attempt: the fixed problem and two dive steps.
constexpr int kStartNodes = 3;
// Values at or above this magnitude stand for "no value".
constexpr double kNotGiven = 1e19;
// Integer values this close to an integer fix their column in a first attempt.
constexpr double kFirstIntegrality = 1e-10;

struct StartFixing {
  EnvVector<int> cols;
  EnvVector<double> lower, upper;

  void fix(int j, double lo, double up) {
    const auto at = std::find(cols.begin(), cols.end(), j);
    if (at != cols.end()) {
      const size_t k = static_cast<size_t>(at - cols.begin());
      lower[k] = lo;
      upper[k] = up;
      return;
    }
    cols.push_back(j);
    lower.push_back(lo);
    upper.push_back(up);
  }
};

// The attempts, in their order: the values as given, then looser, then the
// integer values alone with the continuous columns left to the LP (a start
// written from another model's solution, or taken through presolve, may
// carry continuous values that fit its integers only to their rounding).
enum class Attempt { kFirst, kSecond, kIntegersOnly };

// The bounds one attempt puts on the node LP: given values inside their
// bounds fix their columns (integers only when within reach of an integer);
// the second attempt also takes values outside the bounds, moved onto the
// nearest bound, and integer values within EPINT relative to their size.
void startBounds(const MipRun &run, const MipStartData &start, Attempt attempt, StartFixing &fixing) {
  const bool second = attempt != Attempt::kFirst;
  const MipSearch &s = *run.search;
  const double eprhs = run.env->generalParams->eprhs;
  const double integrality = second ? std::max(run.control.epint, std::ldexp(1.0, -51)) : kFirstIntegrality;
  for (size_t k = 0; k < start.column.size(); ++k) {
    const int j = start.column[k];
    double v = start.value[k];
    if (j < 0 || j >= run.model->numCols || std::fabs(v) >= kNotGiven) continue;
    const double lo = s.rootLower[j], up = s.rootUpper[j];
    const bool inside = v >= lo - eprhs && v <= up + eprhs;
    if (!inside && !second) continue;
    v = std::clamp(v, lo, up);
    switch (s.kind[j]) {
    case ColKind::kInteger:
    case ColKind::kSemiInteger: {
      const double r = std::round(v);
      const double reach = second ? integrality * std::max(1.0, std::fabs(v)) : integrality;
      if (std::fabs(v - r) <= reach) fixing.fix(j, r, r);
      break;
    }
    case ColKind::kSemiContinuous:
      if (attempt == Attempt::kIntegersOnly) break;
      if (std::fabs(v) < 1e-10)
        fixing.fix(j, 0.0, 0.0);
      else
        fixing.fix(j, v, v);
      break;
    default:
      if (attempt != Attempt::kIntegersOnly) fixing.fix(j, v, v);
      break;
    }
  }
}

// The integer column of x farthest from integral, or -1.
int mostFractional(const MipRun &run, const double *x) {
  int best = -1;
  double bestDistance = run.control.epint;
  for (int j = 0; j < run.model->numCols; ++j) {
    const ColKind k = run.search->kind[j];
    if (k != ColKind::kInteger && k != ColKind::kSemiInteger) continue;
    const double distance = std::fabs(x[j] - std::round(x[j]));
    if (distance > bestDistance) {
      bestDistance = distance;
      best = j;
    }
  }
  return best;
}

// One attempt. `lpSolved` tells whether its last LP ended optimal.
int attemptStart(MipRun &run, const MipStartData &start, Attempt attempt, bool *found, bool *lpSolved) {
  MipSearch &s = *run.search;
  LpRelaxation &r = *s.nodeLp;
  StartFixing fixing;
  startBounds(run, start, attempt, fixing);
  *found = false;
  *lpSolved = false;
  QVN_TRY(relaxChangeBounds(r, static_cast<int>(fixing.cols.size()), fixing.cols.data(), fixing.lower.data(),
                            fixing.upper.data()));
  int failure = 0;
  for (int step = 0; step < kStartNodes && failure == 0; ++step) {
    RelaxSolveLimits limits;
    limits.objectiveLimit = s.cutoff;
    limits.timeLimit = std::max(0.0, run.control.timeLimit - elapsedSeconds(run));
    int status = 0;
    failure = relaxSolve(r, limits, &status);
    if (failure != 0) break;
    s.iterationTotal += relaxIterations(r);
    *lpSolved = status == kRunOptimal;
    if (!*lpSolved) break;
    const double *x = relaxPrimal(r);
    const int j = mostFractional(run, x);
    if (j < 0) {
      *found = offerIncumbent(run, x, 0, true);
      break;
    }
    const double v = std::round(x[j]);
    fixing.fix(j, v, v);
    failure = relaxChangeBounds(r, 1, &j, &v, &v);
  }
  // Back to the root's bounds on every column this attempt touched.
  for (size_t k = 0; k < fixing.cols.size(); ++k) {
    fixing.lower[k] = s.rootLower[fixing.cols[k]];
    fixing.upper[k] = s.rootUpper[fixing.cols[k]];
  }
  const int restored = relaxChangeBounds(r, static_cast<int>(fixing.cols.size()), fixing.cols.data(),
                                         fixing.lower.data(), fixing.upper.data());
  return failure != 0 ? failure : restored;
}

} // namespace

int tryMipStart(MipRun &run) {
  const MipData *data = run.lp->mipData;
  if (run.env->generalParams->advind == 0 || !data || !data->startData || data->startData->column.empty())
    return 0;
  const MipStartData &start = *data->startData;
  bool found = false, lpSolved = false;
  QVN_TRY(attemptStart(run, start, Attempt::kFirst, &found, &lpSolved));
  if (!found && !lpSolved) QVN_TRY(attemptStart(run, start, Attempt::kSecond, &found, &lpSolved));
  if (!found) QVN_TRY(attemptStart(run, start, Attempt::kIntegersOnly, &found, &lpSolved));
  if (run.control.display <= 0) return 0;
  if (!found) {
    QVNmsg(run.env->resultsChannel, "Warning:  no solution found from MIP start values.\n");
    return 0;
  }
  const double z = userValue(run, run.search->incumbent.objective);
  QVNmsg(run.env->resultsChannel,
         std::fabs(z) >= 1e7 ? "MIP start values provide initial solution with objective %.4e.\n"
                             : "MIP start values provide initial solution with objective %.4f.\n",
         z);
  return 0;
}

} // namespace qvn
