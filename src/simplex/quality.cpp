// Activities, infeasibilities and quality measures of the current solution,
// computed on request from the model as the caller sees it.
#include <algorithm>
#include <cmath>

#include "model/edit.h"
#include "model/problem.h"
#include "runtime/environment.h"

using namespace qvn;

namespace {

bool hasSolution(const Problem *lp) {
  return lp->solution && lp->solution->primalComputed && lp->status > 0 && !isMipType(lp->probType);
}

// Positive above the upper limit, negative below the lower one, else 0.
double violation(double v, double lo, double up) { return v > up ? v - up : v < lo ? v - lo : 0.0; }

void activities(const LpData &d, const double *x, EnvVector<double> &act) {
  act.assign(static_cast<size_t>(d.numRows > 0 ? d.numRows : 1), 0.0);
  for (int j = 0; j < d.numCols; ++j) {
    if (x[j] == 0.0) continue;
    for (int64_t k = d.colStart[j]; k < d.colStart[j] + d.colCount[j]; ++k) act[d.rowIndex[k]] += d.coefValue[k] * x[j];
  }
}

struct Quality {
  double value[11] = {};
  int where[11];
};

// The measures, by key: 1 largest primal infeasibility (bound or row), 2
// largest reduced cost or row dual of the wrong sign, 3 largest row residual
// |rhs - Ax - slack|, 4 largest dual residual |c - A'pi - dj|, 5-8 largest
// |x|, |slack|, |pi|, |dj|, 9 and 10 sums of primal and dual infeasibilities.
// Indices: column j as j, row i as numCols + i, -1 for none.
Quality measure(const Problem *lp) {
  const LpData &d = *lp->lpData;
  const SolutionBlock &s = *lp->solution;
  const int n = d.numCols, m = d.numRows;
  const double sigma = d.objSense;
  const bool duals = s.dualComputed && !s.pi.empty();
  Quality q;
  std::fill(std::begin(q.where), std::end(q.where), -1);
  auto keep = [&](int key, double v, int index) {
    if (v > q.value[key]) q.value[key] = v, q.where[key] = index;
  };
  EnvVector<double> act;
  activities(d, s.x.data(), act);
  for (int j = 0; j < n; ++j) {
    const double x = s.x[j];
    const double v = std::fabs(violation(x, d.lowerBound[j], d.upperBound[j]));
    keep(1, v, j);
    q.value[9] += v;
    keep(5, std::fabs(x), j);
    if (!duals) continue;
    double dj = d.objCoef[j];
    for (int64_t k = d.colStart[j]; k < d.colStart[j] + d.colCount[j]; ++k) dj -= d.coefValue[k] * s.pi[d.rowIndex[k]];
    keep(4, std::fabs(dj - s.dj[j]), j);
    keep(8, std::fabs(s.dj[j]), j);
    // A reduced cost may push only against a bound the column stands at.
    const double red = sigma * s.dj[j];
    const double tol = 1e-9 * std::max(1.0, std::fabs(x));
    double wrong = 0.0;
    if (red > 0 && x > d.lowerBound[j] + tol) wrong = red;
    if (red < 0 && x < d.upperBound[j] - tol) wrong = -red;
    keep(2, wrong, j);
    q.value[10] += wrong;
  }
  for (int i = 0; i < m; ++i) {
    double lo, up;
    rowActivityLimits(d, i, lo, up);
    const double v = std::fabs(violation(act[i], lo, up));
    keep(1, v, n + i);
    q.value[9] += v;
    keep(3, std::fabs(d.rhs[i] - act[i] - s.slack[i]), n + i);
    keep(6, std::fabs(s.slack[i]), n + i);
    if (!duals) continue;
    keep(7, std::fabs(s.pi[i]), n + i);
    const double p = sigma * s.pi[i];
    const double tol = 1e-9 * std::max(1.0, std::fabs(act[i]));
    double wrong = 0.0;
    if (p > 0 && act[i] > lo + tol) wrong = p;
    if (p < 0 && act[i] < up - tol) wrong = -p;
    keep(2, wrong, n + i);
    q.value[10] += wrong;
  }
  return q;
}

constexpr int kQualityKeys = 10;

template <class Fill>
int pointRange(const Environment *env, const Problem *lp, const char *name, const double *x, double *out,
               int begin, int end, bool rows, Fill fill) {
  return guardedProblem(env, lp, [&](Problem *p) -> int {
    QVN_TRY(flushCache(const_cast<Environment *>(env), p));
    if (!out) return QVNERR_NULL_POINTER;
    const LpData &d = *p->lpData;
    QVN_TRY(rangeStatus(env, name, begin, end, rows ? d.numRows : d.numCols));
    if (!x) {
      if (!hasSolution(p)) return QVNERR_NO_SOLN;
      x = p->solution->x.data();
    }
    fill(d, x, out);
    return 0;
  });
}

} // namespace

extern "C" {

QVN_API int QVNgetax(QVNCENVptr env, QVNCLPptr lp, double *x, int begin, int end) {
  return pointRange(env, lp, "QVNgetax", nullptr, x, begin, end, true, [&](const LpData &d, const double *point, double *out) {
    EnvVector<double> act;
    activities(d, point, act);
    std::copy(act.begin() + begin, act.begin() + end + 1, out);
  });
}

QVN_API int QVNgetrowinfeas(QVNCENVptr env, QVNCLPptr lp, const double *x, double *infeasout, int begin, int end) {
  return pointRange(env, lp, "QVNgetrowinfeas", x, infeasout, begin, end, true,
                    [&](const LpData &d, const double *point, double *out) {
                      EnvVector<double> act;
                      activities(d, point, act);
                      for (int i = begin; i <= end; ++i) {
                        double lo, up;
                        rowActivityLimits(d, i, lo, up);
                        out[i - begin] = violation(act[i], lo, up);
                      }
                    });
}

QVN_API int QVNgetcolinfeas(QVNCENVptr env, QVNCLPptr lp, const double *x, double *infeasout, int begin, int end) {
  return pointRange(env, lp, "QVNgetcolinfeas", x, infeasout, begin, end, false,
                    [&](const LpData &d, const double *point, double *out) {
                      for (int j = begin; j <= end; ++j) out[j - begin] = violation(point[j], d.lowerBound[j], d.upperBound[j]);
                    });
}

QVN_API int QVNgetdblquality(QVNCENVptr env, QVNCLPptr lp, double *valuePointer, int key) {
  return guardedProblem(env, lp, [&](Problem *p) -> int {
    if (!valuePointer) return QVNERR_NULL_POINTER;
    if (key < 1 || key > kQualityKeys) return QVNERR_BAD_ARGUMENT;
    if (!hasSolution(p)) return QVNERR_NO_SOLN;
    *valuePointer = measure(p).value[key];
    return 0;
  });
}

QVN_API int QVNgetintquality(QVNCENVptr env, QVNCLPptr lp, int *valuePointer, int key) {
  return guardedProblem(env, lp, [&](Problem *p) -> int {
    if (!valuePointer) return QVNERR_NULL_POINTER;
    if (key < 1 || key > kQualityKeys) return QVNERR_BAD_ARGUMENT;
    if (!hasSolution(p)) return QVNERR_NO_SOLN;
    *valuePointer = measure(p).where[key];
    return 0;
  });
}

} // extern "C"
