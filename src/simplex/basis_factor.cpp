// Dense LU with product-form updates: the reference factorization that the
// simplex loops are written against.
#include "simplex/basis_factor.h"

#include <cmath>

namespace qvn {

namespace {
constexpr double kPivotTol = 1e-9;
constexpr int kUpdateLimit = 100;
}

int factorBasis(BasisFactor &f, const WorkLp &lp, const int *head, EnvVector<int> &deficient,
                EnvVector<int> &freeRows) {
  const int m = lp.numRow;
  f.m = m;
  const size_t mm = static_cast<size_t>(m) * m;
  f.lu.assign(mm > 0 ? mm : 1, 0.0);
  f.pivotRow.assign(static_cast<size_t>(m > 0 ? m : 1), -1);
  f.work.assign(static_cast<size_t>(m > 0 ? m : 1), 0.0);
  f.rowStep.assign(static_cast<size_t>(m > 0 ? m : 1), m + 1);
  f.etaPos.clear(), f.etaStart.assign(1, 0), f.etaIndex.clear(), f.etaPivot.clear(), f.etaValue.clear();
  f.updateCount = 0;
  deficient.clear();
  freeRows.clear();
  double *a = f.lu.data();
  for (int k = 0; k < m; ++k) {
    const int j = head[k];
    if (j < lp.numCol) {
      for (int p = lp.aStart[j]; p < lp.aStart[j + 1]; ++p) a[lp.aIndex[p] + static_cast<size_t>(k) * m] = lp.aValue[p];
    } else {
      a[(j - lp.numCol) + static_cast<size_t>(k) * m] = -1.0;
    }
  }
  EnvVector<char> used(static_cast<size_t>(m > 0 ? m : 1), 0);
  for (int k = 0; k < m; ++k) {
    double *col = a + static_cast<size_t>(k) * m;
    int best = -1;
    double bestAbs = kPivotTol;
    for (int i = 0; i < m; ++i) {
      if (!used[i] && std::fabs(col[i]) > bestAbs) bestAbs = std::fabs(col[i]), best = i;
    }
    if (best < 0) {
      deficient.push_back(k);
      continue;
    }
    used[best] = 1;
    f.pivotRow[k] = best;
    f.rowStep[best] = k;
    const double pivot = col[best];
    for (int i = 0; i < m; ++i) {
      if (used[i] || col[i] == 0.0) continue;
      const double l = col[i] / pivot;
      col[i] = l;
      for (int c = k + 1; c < m; ++c) {
        double *cc = a + static_cast<size_t>(c) * m;
        if (cc[best] != 0.0) cc[i] -= l * cc[best];
      }
    }
  }
  for (int i = 0; i < m; ++i)
    if (!used[i]) freeRows.push_back(i);
  return static_cast<int>(deficient.size());
}

void ftran(const BasisFactor &f, HVector &x) {
  const int m = f.m;
  const double *a = f.lu.data();
  double *b = x.array.data();
  // Forward: the row operations of the elimination, in pivot order.
  for (int k = 0; k < m; ++k) {
    const int r = f.pivotRow[k];
    const double br = b[r];
    if (br == 0.0) continue;
    const double *col = a + static_cast<size_t>(k) * m;
    // Rows pivoted after step k hold its multipliers; earlier ones hold U.
    for (int i = 0; i < m; ++i)
      if (col[i] != 0.0 && f.rowStep[i] > k) b[i] -= col[i] * br;
  }
  // Backward over U, row pivotRow[k] holds U(k, c) for c >= k.
  double *xk = const_cast<double *>(f.work.data());
  for (int k = m - 1; k >= 0; --k) {
    const int r = f.pivotRow[k];
    double s = b[r];
    for (int c = k + 1; c < m; ++c) s -= a[r + static_cast<size_t>(c) * m] * xk[c];
    xk[k] = s / a[r + static_cast<size_t>(k) * m];
  }
  for (int k = 0; k < m; ++k) b[k] = xk[k];
  // Product-form etas, oldest first.
  for (size_t e = 0; e < f.etaPos.size(); ++e) {
    const int p = f.etaPos[e];
    const double xp = b[p] / f.etaPivot[e];
    b[p] = xp;
    if (xp == 0.0) continue;
    for (int q = f.etaStart[e]; q < f.etaStart[e + 1]; ++q) b[f.etaIndex[q]] -= f.etaValue[q] * xp;
  }
  x.reindex();
}

void btran(const BasisFactor &f, HVector &y) {
  const int m = f.m;
  const double *a = f.lu.data();
  double *c = y.array.data();
  for (size_t e = f.etaPos.size(); e-- > 0;) {
    const int p = f.etaPos[e];
    double s = c[p];
    for (int q = f.etaStart[e]; q < f.etaStart[e + 1]; ++q) s -= f.etaValue[q] * c[f.etaIndex[q]];
    c[p] = s / f.etaPivot[e];
  }
  // U^T z = c, forward over positions.
  double *z = const_cast<double *>(f.work.data());
  for (int k = 0; k < m; ++k) {
    double s = c[k];
    for (int kk = 0; kk < k; ++kk) s -= a[f.pivotRow[kk] + static_cast<size_t>(k) * m] * z[kk];
    z[k] = s / a[f.pivotRow[k] + static_cast<size_t>(k) * m];
  }
  // L^T w = z, backward; L(k', k) is the multiplier of row pivotRow[k'] at step k.
  for (int k = m - 1; k >= 0; --k) {
    double s = z[k];
    const double *col = a + static_cast<size_t>(k) * m;
    for (int kk = k + 1; kk < m; ++kk) s -= col[f.pivotRow[kk]] * z[kk];
    z[k] = s;
  }
  for (int k = 0; k < m; ++k) c[f.pivotRow[k]] = z[k];
  y.reindex();
}

void updateFactor(BasisFactor &f, int pos, const HVector &alpha) {
  f.etaPos.push_back(pos);
  f.etaPivot.push_back(alpha.array[pos]);
  for (int k = 0; k < alpha.size; ++k) {
    if (k != pos && alpha.array[k] != 0.0) {
      f.etaIndex.push_back(k);
      f.etaValue.push_back(alpha.array[k]);
    }
  }
  f.etaStart.push_back(static_cast<int>(f.etaIndex.size()));
  ++f.updateCount;
}

bool refactorDue(const BasisFactor &f) { return f.updateCount >= kUpdateLimit; }

} // namespace qvn
