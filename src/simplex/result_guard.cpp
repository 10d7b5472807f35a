#include "simplex/result_guard.h"

#include <algorithm>
#include <cfloat>
#include <cmath>

#include "model/names.h"
#include "runtime/alloc.h"
#include "runtime/environment.h"
#include "runtime/errors.h"

namespace qvn {

namespace {

// A value that arithmetic can work with: not NaN and not beyond the doubles.
int refuseValue(const Environment *env, double v, int position) {
  if (std::isnan(v)) return reportError(env, QVNERR_NAN, position);
  if (std::fabs(v) > DBL_MAX) return reportError(env, QVNERR_DBL_MAX, position, DBL_MAX);
  return 0;
}

int refuseValues(const Environment *env, const double *v, int count) {
  for (int k = 0; k < count; ++k) QVN_TRY(refuseValue(env, v[k], k));
  return 0;
}

// Recomputed activities differ from the loop's own by rounding of the order
// of the unit roundoff times the sum of the row's term magnitudes; this
// factor keeps that rounding, summed over long rows, far from the tolerance.
constexpr double kRoundingAllowance = 1e-11;

} // namespace

int refuseNonFiniteData(const Environment *env, const LpData &d) {
  const int n = d.numCols, m = d.numRows;
  QVN_TRY(refuseValues(env, d.objCoef.data(), n));
  QVN_TRY(refuseValue(env, d.objOffset, 0));
  QVN_TRY(refuseValues(env, d.rhs.data(), m));
  if (!d.rangeValue.empty())
    for (int i = 0; i < m; ++i)
      if (d.sense[i] == 'R') QVN_TRY(refuseValue(env, d.rangeValue[i], i));
  // Matrix entries are counted in column order, as the getters list them,
  // whatever room the storage leaves behind a column.
  int position = 0;
  for (int j = 0; j < n; ++j) {
    const int64_t begin = d.colStart[j];
    for (int64_t k = begin; k < begin + d.colCount[j]; ++k, ++position)
      QVN_TRY(refuseValue(env, d.coefValue[k], position));
  }
  // Infinite bounds mean "no bound"; only NaN is meaningless there.
  for (int j = 0; j < n; ++j)
    if (std::isnan(d.lowerBound[j]) || std::isnan(d.upperBound[j])) return reportError(env, QVNERR_NAN, j);
  return 0;
}

int contradictoryBound(const LpData &d, double tol) {
  for (int j = 0; j < d.numCols; ++j)
    if (d.lowerBound[j] - d.upperBound[j] > tol) return j;
  return -1;
}

bool settleContradictoryBounds(Environment *env, Problem *lp) {
  const LpData &d = *lp->lpData;
  const int j = contradictoryBound(d, env->generalParams->eprhs);
  if (j < 0) return false;
  modelChanged(env, lp, 56);
  lp->status = QVN_STAT_INFEASIBLE;
  QVNmsg(env->warningChannel, "Warning:  Bounds on '%.255s' contradictory.\n",
         displayName(env, &d.colNames, d.numCols, j, true));
  return true;
}

double worstViolationRatio(const LpData &d, const double *x, double tol, int *where) {
  const int n = d.numCols, m = d.numRows;
  double worst = 0.0;
  // A NaN counts as the worst violation there is; the first one is named.
  auto consider = [&](double ratio, int at) {
    if (std::isnan(ratio)) ratio = HUGE_VAL;
    if (ratio > worst) {
      worst = ratio;
      if (where) *where = at;
    }
  };
  for (int j = 0; j < n; ++j)
    consider(std::max(d.lowerBound[j] - x[j], x[j] - d.upperBound[j]) / tol, j);
  EnvVector<double> activity(static_cast<size_t>(m > 0 ? m : 1), 0.0);
  EnvVector<double> magnitude(static_cast<size_t>(m > 0 ? m : 1), 0.0);
  for (int j = 0; j < n; ++j) {
    const int64_t begin = d.colStart[j];
    for (int64_t k = begin; k < begin + d.colCount[j]; ++k) {
      const double term = d.coefValue[k] * x[j];
      activity[d.rowIndex[k]] += term;
      magnitude[d.rowIndex[k]] += std::fabs(term);
    }
  }
  for (int i = 0; i < m; ++i) {
    double low = -HUGE_VAL, high = HUGE_VAL;
    switch (d.sense[i]) {
    case 'L': high = d.rhs[i]; break;
    case 'G': low = d.rhs[i]; break;
    case 'E': low = high = d.rhs[i]; break;
    case 'R': {
      const double r = d.rangeValue.empty() ? 0.0 : d.rangeValue[i];
      low = r >= 0.0 ? d.rhs[i] : d.rhs[i] + r;
      high = r >= 0.0 ? d.rhs[i] + r : d.rhs[i];
      break;
    }
    default: break;
    }
    const double v = std::max(low - activity[i], activity[i] - high);
    consider(v / (tol + kRoundingAllowance * magnitude[i]), -1 - i);
  }
  return worst;
}

void guardOptimalResult(Environment *env, Problem *lp) {
  if (lp->status != QVN_STAT_OPTIMAL || !lp->solution || !lp->lpData) return;
  const LpData &d = *lp->lpData;
  SolutionBlock &s = *lp->solution;
  if (static_cast<int>(s.x.size()) < d.numCols) return;
  int where = 0;
  const double tol = env->generalParams->eprhs;
  if (worstViolationRatio(d, s.x.data(), tol, &where) <= 1.0) return;
  lp->status = QVN_STAT_OPTIMAL_INFEAS;
  s.primalFeasible = false;
  const bool column = where >= 0;
  const char *name = column ? displayName(env, &d.colNames, d.numCols, where, true)
                            : displayName(env, &d.rowNames, d.numRows, -1 - where, false);
  QVNmsg(env->warningChannel, "Warning:  Solution violates %s '%.255s' beyond the feasibility tolerance.\n",
         column ? "the bounds of column" : "row", name);
}

} // namespace qvn
