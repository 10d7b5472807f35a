#include "simplex/scaling.h"

#include <algorithm>
#include <cmath>

namespace qvn {

double roundToPowerOfTwo(double f) {
  if (!(f > 0.0)) return 1.0;
  if (f > 1e75) f = 1e75;
  double result = 1.0;
  if (f > 1.5) {
    for (; f > 384.0; f /= 512.0) result *= 512.0;
    for (; f > 24.0; f /= 32.0) result *= 32.0;
    for (; f > 1.5; f /= 2.0) result *= 2.0;
  } else if (f < 0.75) {
    for (; f < 0.0029296875; f *= 512.0) result /= 512.0;
    for (; f < 0.046875; f *= 32.0) result /= 32.0;
    for (; f < 0.75; f *= 2.0) result /= 2.0;
  }
  return result;
}

namespace {

constexpr double kTinyEntry = 1e-13;

bool scalingNeeded(const WorkLp &lp) {
  double big = 0.0, small = kInfinity;
  for (int k = 0; k < lp.aStart[lp.numCol]; ++k) {
    const double a = std::fabs(lp.aValue[k]);
    if (a <= kTinyEntry) continue;
    big = std::max(big, a);
    small = std::min(small, a);
  }
  if (big == 0.0) return false;
  return big > 10.0 || small < 0.1 || big / small > 10.0;
}

// Largest scaled magnitude of each column after the row factors.
void columnMax(const WorkLp &lp, const EnvVector<double> &rowScale, EnvVector<double> &colScale) {
  for (int j = 0; j < lp.numCol; ++j) {
    double big = 0.0;
    for (int k = lp.aStart[j]; k < lp.aStart[j + 1]; ++k)
      big = std::max(big, std::fabs(lp.aValue[k]) / rowScale[lp.aIndex[k]]);
    colScale[j] = big > 0.0 ? big : 1.0;
  }
}

void geometric(const WorkLp &lp, ScaleFactors &s) {
  const int m = lp.numRow, n = lp.numCol;
  EnvVector<double> rowMin(static_cast<size_t>(m > 0 ? m : 1)), rowMax(static_cast<size_t>(m > 0 ? m : 1));
  double previous = 1e75;
  bool first = true;
  for (int pass = 0; pass < 20; ++pass) {
    std::fill(rowMin.begin(), rowMin.end(), kInfinity);
    std::fill(rowMax.begin(), rowMax.end(), 0.0);
    for (int j = 0; j < n; ++j)
      for (int k = lp.aStart[j]; k < lp.aStart[j + 1]; ++k) {
        const double a = std::fabs(lp.aValue[k]) / s.colScale[j];
        if (a <= kTinyEntry) continue;
        rowMin[lp.aIndex[k]] = std::min(rowMin[lp.aIndex[k]], a);
        rowMax[lp.aIndex[k]] = std::max(rowMax[lp.aIndex[k]], a);
      }
    for (int i = 0; i < m; ++i) s.rowScale[i] = rowMax[i] > 0.0 ? std::sqrt(rowMin[i] * rowMax[i]) : 1.0;
    double spread = 1.0;
    for (int j = 0; j < n; ++j) {
      double lo = kInfinity, hi = 0.0;
      for (int k = lp.aStart[j]; k < lp.aStart[j + 1]; ++k) {
        const double a = std::fabs(lp.aValue[k]) / s.rowScale[lp.aIndex[k]];
        if (a <= kTinyEntry) continue;
        lo = std::min(lo, a), hi = std::max(hi, a);
      }
      s.colScale[j] = hi > 0.0 ? std::sqrt(lo * hi) : 1.0;
      if (hi > 0.0) spread = std::max(spread, hi / lo);
    }
    if (first && spread <= 1.111111111) break;
    first = false;
    if (!(spread < 0.9 * previous)) break;
    previous = spread;
  }
  columnMax(lp, s.rowScale, s.colScale);
}

} // namespace

void computeScaling(const WorkLp &lp, int kind, ScaleFactors &s) {
  s.kind = -1;
  s.rowScale.clear();
  s.colScale.clear();
  if (kind < 0) return;
  if (!scalingNeeded(lp)) {
    s.kind = -2;
    return;
  }
  const int m = lp.numRow, n = lp.numCol;
  s.rowScale.assign(static_cast<size_t>(m > 0 ? m : 1), 1.0);
  s.colScale.assign(static_cast<size_t>(n > 0 ? n : 1), 1.0);
  if (kind == 0) {
    std::fill(s.rowScale.begin(), s.rowScale.end(), 0.0);
    for (int k = 0; k < lp.aStart[n]; ++k)
      s.rowScale[lp.aIndex[k]] = std::max(s.rowScale[lp.aIndex[k]], std::fabs(lp.aValue[k]));
    for (int i = 0; i < m; ++i)
      if (s.rowScale[i] == 0.0) s.rowScale[i] = 1.0;
    columnMax(lp, s.rowScale, s.colScale);
  } else {
    geometric(lp, s);
  }
  for (auto &f : s.rowScale) f = roundToPowerOfTwo(f);
  for (auto &f : s.colScale) f = roundToPowerOfTwo(f);
  s.kind = kind;
}

void applyScaling(WorkLp &lp, const ScaleFactors &s) {
  if (s.kind < 0) return;
  const int n = lp.numCol, m = lp.numRow;
  auto scaleBound = [](double v, double f) { return v <= -kInfinity || v >= kInfinity ? v : v * f; };
  for (int j = 0; j < n; ++j) {
    const double c = s.colScale[j];
    for (int k = lp.aStart[j]; k < lp.aStart[j + 1]; ++k) lp.aValue[k] /= s.rowScale[lp.aIndex[k]] * c;
    lp.cost[j] /= c;
    lp.lower[j] = scaleBound(lp.lower[j], c);
    lp.upper[j] = scaleBound(lp.upper[j], c);
  }
  for (int i = 0; i < m; ++i) {
    const double r = s.rowScale[i];
    for (int k = lp.arStart[i]; k < lp.arStart[i + 1]; ++k) lp.arValue[k] /= r * s.colScale[lp.arIndex[k]];
    lp.lower[n + i] = scaleBound(lp.lower[n + i], 1.0 / r);
    lp.upper[n + i] = scaleBound(lp.upper[n + i], 1.0 / r);
  }
}

} // namespace qvn

// ---- Getters of the scale factors ------------------------------------------

#include "model/attachments.h"
#include "model/edit.h"
#include "runtime/environment.h"

using namespace qvn;

extern "C" {

QVN_API int QVNgetrowscale(QVNCENVptr env, QVNCLPptr lp, double *scale, int begin, int end) {
  return guardedProblem(env, lp, [&](Problem *p) -> int {
    QVN_TRY(flushCache(const_cast<Environment *>(env), p));
    if (!scale) return QVNERR_NULL_POINTER;
    const LpData &d = *p->lpData;
    QVN_TRY(rangeStatus(env, "QVNgetrowscale", begin, end, d.numRows));
    if (d.rowScale) {
      std::copy(d.rowScale + begin, d.rowScale + end + 1, scale);
      return 0;
    }
    // The factors a solve would apply: those of the working form under SCAIND.
    std::fill(scale, scale + (end - begin + 1), 1.0);
    if (end < begin || env->generalParams->scaind < 0) return 0;
    WorkLp w;
    buildWorkLp(d, w);
    ScaleFactors s;
    computeScaling(w, env->generalParams->scaind, s);
    if (s.kind >= 0) std::copy(s.rowScale.begin() + begin, s.rowScale.begin() + end + 1, scale);
    return 0;
  });
}

QVN_API int QVNunscaleprob(QVNCENVptr cenv, QVNLPptr lp) {
  auto *env = const_cast<Environment *>(cenv);
  return guardedEdit(env, lp, [&](Problem *p) -> int {
    QVN_TRY(flushCache(env, p));
    LpData &d = *p->lpData;
    if (!d.rowScale && !d.colScale) return 0;
    modelChanged(env, p, ModelEvent::kScalingChanged);
    // Back to the caller's units, as the getters read them: entries times
    // both factors, costs times the column's, bounds over it, rhs times the
    // row's. The range columns are rebuilt from the ranges below.
    for (int j = 0; j < d.numCols; ++j) {
      const double c = colScaleOf(d, j);
      for (int64_t k = d.colStart[j]; k < d.colStart[j] + d.colCount[j]; ++k)
        d.coefValue[k] *= c * rowScaleOf(d, d.rowIndex[k]);
      d.objCoef[j] *= c;
      if (d.lowerBound[j] > -kInfinity) d.lowerBound[j] /= c;
      if (d.upperBound[j] < kInfinity) d.upperBound[j] /= c;
    }
    for (int i = 0; i < d.numRows; ++i) d.rhs[i] *= rowScaleOf(d, i);
    freeScaleFactors(p);
    return rebuildLogicals(p);
  });
}

} // extern "C"
