// Activities, infeasibilities and quality measures of the current solution,
// computed on request from the model as the caller sees it.
#include <algorithm>
#include <cmath>

#include "model/edit.h"
#include "model/problem.h"
#include "runtime/environment.h"
#include "simplex/lu/lu_factor.h"
#include "simplex/scaling.h"

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

constexpr int kQualityKeys = 49;

struct Quality {
  double value[kQualityKeys + 1] = {};
  int where[kQualityKeys + 1];
};

// A column of [A, -I] as the factor reads it: structural columns from the
// model as stored, the logical of row i as -e_i.
struct BasisColumns {
  const LpData *d;
  int n;
  EnvVector<int> logicalIndex;
  double minusOne = -1.0;
};

LuColumn basisColumn(const void *context, int variable) {
  const auto &c = *static_cast<const BasisColumns *>(context);
  if (variable < c.n) {
    const LpData &d = *c.d;
    const int64_t k = d.colStart[variable];
    return LuColumn{d.colCount[variable], d.rowIndex.data() + k, d.coefValue.data() + k};
  }
  return LuColumn{1, c.logicalIndex.data() + (variable - c.n), &c.minusOne};
}

int logicalOfRow(const void *context, int row) { return static_cast<const BasisColumns *>(context)->n + row; }

// The held basis as a head of variables (n + i for the logical of row i);
// false unless it has exactly one basic variable per row.
bool basisHead(const Problem *lp, EnvVector<int> &head) {
  const LpData &d = *lp->lpData;
  const BasisData *b = lp->basisData;
  if (!b || static_cast<int>(b->colStatus.size()) < d.numCols || static_cast<int>(b->rowStatus.size()) < d.numRows)
    return false;
  head.clear();
  for (int j = 0; j < d.numCols; ++j)
    if (b->colStatus[j] == 1) head.push_back(j);
  for (int i = 0; i < d.numRows; ++i)
    if (b->rowStatus[i] == 1) head.push_back(d.numCols + i);
  return static_cast<int>(head.size()) == d.numRows;
}

// 1-norm condition estimate of the held basis; -1 when there is none or it
// is singular.
double basisCondition(const Problem *lp) {
  const LpData &d = *lp->lpData;
  EnvVector<int> head;
  if (d.numRows == 0 || !basisHead(lp, head)) return -1.0;
  BasisColumns columns{&d, d.numCols, EnvVector<int>(static_cast<size_t>(d.numRows)), -1.0};
  for (int i = 0; i < d.numRows; ++i) columns.logicalIndex[i] = i;
  LuBasis basis;
  basis.m = d.numRows, basis.head = head.data(), basis.context = &columns;
  basis.column = basisColumn, basis.logicalOf = logicalOfRow;
  int status = 0;
  LuFactor *f = luCreate(LuOptions{}, d.numRows, &status);
  if (!f) return -1.0;
  double kappa = -1.0;
  if (factorColumns(*f, basis, 0.01, 1e-13) != 0 || luOpsForKind(0)->estimateCondition(*f, basis, &kappa) != 0)
    kappa = -1.0;
  luFree(f);
  return kappa;
}

// The measures, by key (see QVN_QUAL_* in quorvan.h). Indices: column j as
// j, row i as numCols + i, -1 for none; counts stand in both forms. Scaled
// measures use the factors a solve applies under SCAIND: x' = x c, a row's
// activity over r, pi' = pi r, dj' = dj / c.
Quality measure(const Environment *env, const Problem *lp) {
  const LpData &d = *lp->lpData;
  const SolutionBlock &s = *lp->solution;
  const int n = d.numCols, m = d.numRows;
  const double sigma = d.objSense;
  const bool duals = s.dualComputed && !s.pi.empty();
  const double epRhs = env->generalParams->eprhs, epOpt = env->generalParams->epopt;
  Quality q;
  std::fill(std::begin(q.where), std::end(q.where), -1);
  q.value[45] = q.value[47] = kInfinity;
  auto keep = [&](int key, double v, int index) {
    if (v > q.value[key]) q.value[key] = v, q.where[key] = index;
  };
  auto keepMin = [&](int key, double v, int index) {
    if (v < q.value[key]) q.value[key] = v, q.where[key] = index;
  };
  EnvVector<double> rowScale(static_cast<size_t>(m > 0 ? m : 1), 1.0), colScale(static_cast<size_t>(n > 0 ? n : 1), 1.0);
  if (env->generalParams->scaind >= 0) {
    WorkLp w;
    buildWorkLp(d, w);
    ScaleFactors f;
    computeScaling(w, env->generalParams->scaind, f);
    if (f.kind >= 0) {
      std::copy(f.rowScale.begin(), f.rowScale.begin() + m, rowScale.begin());
      std::copy(f.colScale.begin(), f.colScale.begin() + n, colScale.begin());
    }
  }
  const BasisData *basis = lp->basisData;
  const bool statuses = basis && static_cast<int>(basis->colStatus.size()) >= n && static_cast<int>(basis->rowStatus.size()) >= m;
  // Counts, the distance from the nearest bound and complementarity of one
  // variable with limits [lo, up], value v and dual y (in the minimizing sense).
  auto perVariable = [&](int index, int status, double v, double lo, double up, double y) {
    const double toLower = lo > -kInfinity ? std::fabs(v - lo) : kInfinity;
    const double toUpper = up < kInfinity ? std::fabs(up - v) : kInfinity;
    const double nearest = std::min(toLower, toUpper);
    const bool atBound = nearest <= epRhs * (1.0 + std::fabs(v));
    if (duals && nearest < kInfinity) {
      keep(31, nearest * std::fabs(y), index);
      q.value[32] += nearest * std::fabs(y);
    }
    if (!statuses) return;
    if (status == 1) {
      q.value[index < n ? 39 : 40] += 1;
      if (atBound) q.value[41] += 1;
    } else {
      if (duals && std::fabs(y) <= epOpt) q.value[42] += 1;
      const double off = lo <= -kInfinity && up >= kInfinity ? std::fabs(v) : nearest;
      if (off > epRhs * (1.0 + std::fabs(v))) q.value[43] += 1;
      keep(48, off, index);
    }
  };
  EnvVector<double> act;
  activities(d, s.x.data(), act);
  double primalObj = d.objOffset, dualObj = d.objOffset;
  for (int j = 0; j < n; ++j) {
    const double x = s.x[j], lo = d.lowerBound[j], up = d.upperBound[j];
    const double v = std::fabs(violation(x, lo, up));
    primalObj += d.objCoef[j] * x;
    keep(1, v, j), keep(21, v, j), keep(11, v * colScale[j], j);
    if (v > 0) keep(29, v / (1.0 + std::fabs(x > up ? up : lo)), j);
    q.value[9] += v, q.value[19] += v * colScale[j];
    if (v > epRhs) q.value[37] += 1;
    keep(5, std::fabs(x), j), keep(15, std::fabs(x) * colScale[j], j);
    q.value[25] += std::fabs(x);
    for (int64_t k = d.colStart[j]; k < d.colStart[j] + d.colCount[j]; ++k) {
      const double a = std::fabs(d.coefValue[k]);
      const double scaled = a / (rowScale[d.rowIndex[k]] * colScale[j]);
      keep(44, a, j), keepMin(45, a, j), keep(46, scaled, j), keepMin(47, scaled, j);
    }
    double red = 0.0;
    if (duals) {
      double dj = d.objCoef[j];
      for (int64_t k = d.colStart[j]; k < d.colStart[j] + d.colCount[j]; ++k) dj -= d.coefValue[k] * s.pi[d.rowIndex[k]];
      keep(4, std::fabs(dj - s.dj[j]), j), keep(14, std::fabs(dj - s.dj[j]) / colScale[j], j);
      keep(8, std::fabs(s.dj[j]), j), keep(18, std::fabs(s.dj[j]) / colScale[j], j);
      q.value[28] += std::fabs(s.dj[j]);
      // A reduced cost may push only against a bound the column stands at.
      red = sigma * s.dj[j];
      const double tol = 1e-9 * std::max(1.0, std::fabs(x));
      double wrong = 0.0;
      if (red > 0 && x > lo + tol) wrong = red;
      if (red < 0 && x < up - tol) wrong = -red;
      keep(2, wrong, j), keep(23, wrong, j), keep(12, wrong / colScale[j], j);
      keep(30, wrong / (1.0 + std::fabs(d.objCoef[j])), j);
      q.value[10] += wrong, q.value[20] += wrong / colScale[j];
      if (wrong > epOpt) q.value[38] += 1;
      // The dual objective prices each dual at the limit it pushes against.
      if (red > 0) dualObj += s.dj[j] * (lo > -kInfinity ? lo : 0.0);
      if (red < 0) dualObj += s.dj[j] * (up < kInfinity ? up : 0.0);
    }
    perVariable(j, statuses ? basis->colStatus[j] : -1, x, lo, up, red);
  }
  for (int i = 0; i < m; ++i) {
    double lo, up;
    rowActivityLimits(d, i, lo, up);
    const double v = std::fabs(violation(act[i], lo, up));
    const int index = n + i;
    keep(1, v, index), keep(22, v, index), keep(11, v / rowScale[i], index);
    if (v > 0) keep(29, v / (1.0 + std::fabs(act[i] > up ? up : lo)), index);
    q.value[9] += v, q.value[19] += v / rowScale[i];
    if (v > epRhs) q.value[37] += 1;
    keep(49, std::fabs(act[i]), index);
    const double residual = std::fabs(d.rhs[i] - act[i] - s.slack[i]);
    keep(3, residual, index), keep(13, residual / rowScale[i], index);
    keep(6, std::fabs(s.slack[i]), index), keep(16, std::fabs(s.slack[i]) / rowScale[i], index);
    q.value[26] += std::fabs(s.slack[i]);
    double p = 0.0;
    if (duals) {
      keep(7, std::fabs(s.pi[i]), index), keep(17, std::fabs(s.pi[i]) * rowScale[i], index);
      q.value[27] += std::fabs(s.pi[i]);
      p = sigma * s.pi[i];
      const double tol = 1e-9 * std::max(1.0, std::fabs(act[i]));
      double wrong = 0.0;
      if (p > 0 && act[i] > lo + tol) wrong = p;
      if (p < 0 && act[i] < up - tol) wrong = -p;
      keep(2, wrong, index), keep(24, wrong, index), keep(12, wrong * rowScale[i], index);
      keep(30, wrong, index);
      q.value[10] += wrong, q.value[20] += wrong * rowScale[i];
      if (wrong > epOpt) q.value[38] += 1;
      if (p > 0) dualObj += s.pi[i] * (lo > -kInfinity ? lo : 0.0);
      if (p < 0) dualObj += s.pi[i] * (up < kInfinity ? up : 0.0);
    }
    perVariable(index, statuses ? basis->rowStatus[i] : -1, act[i], lo, up, p);
  }
  if (q.value[45] == kInfinity) q.value[45] = q.value[47] = 0.0;
  q.value[33] = primalObj;
  if (duals) {
    q.value[34] = dualObj;
    q.value[35] = std::fabs(primalObj - dualObj);
  }
  return q;
}

// Keys whose integer form is the value itself (counts) or a size, not an index.
bool countKey(int key) { return key >= 37 && key <= 43; }



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
    if (key == QVN_QUAL_KAPPA) {
      const double kappa = basisCondition(p);
      if (kappa < 0) return QVNERR_NO_SOLN;
      *valuePointer = kappa;
      return 0;
    }
    *valuePointer = measure(env, p).value[key];
    return 0;
  });
}

QVN_API int QVNgetintquality(QVNCENVptr env, QVNCLPptr lp, int *valuePointer, int key) {
  return guardedProblem(env, lp, [&](Problem *p) -> int {
    if (!valuePointer) return QVNERR_NULL_POINTER;
    if (key < 1 || key > kQualityKeys) return QVNERR_BAD_ARGUMENT;
    if (!hasSolution(p)) return QVNERR_NO_SOLN;
    if (key == QVN_QUAL_KAPPA) {
      EnvVector<int> head;
      if (!basisHead(p, head)) return QVNERR_NO_SOLN;
      *valuePointer = p->lpData->numRows;
      return 0;
    }
    const Quality q = measure(env, p);
    *valuePointer = countKey(key) ? static_cast<int>(q.value[key]) : q.where[key];
    return 0;
  });
}

} // extern "C"
