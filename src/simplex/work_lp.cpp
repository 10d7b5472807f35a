#include "simplex/work_lp.h"

namespace qvn {

void buildWorkLp(const LpData &d, WorkLp &w) {
  const int n = d.numCols, m = d.numRows;
  w.numCol = n;
  w.numRow = m;
  w.numTot = n + m;
  w.sense = d.objSense;
  w.offset = d.objOffset;
  int64_t nz = 0;
  for (int j = 0; j < n; ++j) nz += d.colCount[j];
  w.aStart.assign(static_cast<size_t>(n + 1), 0);
  w.aIndex.resize(static_cast<size_t>(nz > 0 ? nz : 1));
  w.aValue.resize(static_cast<size_t>(nz > 0 ? nz : 1));
  int pos = 0;
  for (int j = 0; j < n; ++j) {
    w.aStart[j] = pos;
    for (int64_t k = d.colStart[j]; k < d.colStart[j] + d.colCount[j]; ++k) {
      w.aIndex[pos] = d.rowIndex[k];
      w.aValue[pos] = d.coefValue[k];
      ++pos;
    }
  }
  w.aStart[n] = pos;

  // Row-wise copy by counting sort; within a row the columns come out ascending.
  w.arStart.assign(static_cast<size_t>(m + 1), 0);
  for (int k = 0; k < pos; ++k) ++w.arStart[w.aIndex[k] + 1];
  for (int i = 0; i < m; ++i) w.arStart[i + 1] += w.arStart[i];
  w.arIndex.resize(static_cast<size_t>(pos > 0 ? pos : 1));
  w.arValue.resize(static_cast<size_t>(pos > 0 ? pos : 1));
  EnvVector<int> fill(w.arStart.begin(), w.arStart.end() - 1);
  for (int j = 0; j < n; ++j) {
    for (int k = w.aStart[j]; k < w.aStart[j + 1]; ++k) {
      const int at = fill[w.aIndex[k]]++;
      w.arIndex[at] = j;
      w.arValue[at] = w.aValue[k];
    }
  }

  const size_t tot = static_cast<size_t>(n + m);
  w.cost.assign(tot, 0.0);
  w.lower.assign(tot, 0.0);
  w.upper.assign(tot, 0.0);
  for (int j = 0; j < n; ++j) {
    w.cost[j] = d.objSense * d.objCoef[j];
    w.lower[j] = d.lowerBound[j] <= -kInfinity ? -kInfinity : d.lowerBound[j];
    w.upper[j] = d.upperBound[j] >= kInfinity ? kInfinity : d.upperBound[j];
  }
  for (int i = 0; i < m; ++i) {
    double lo, up;
    rowActivityLimits(d, i, lo, up);
    w.lower[n + i] = lo;
    w.upper[n + i] = up;
  }
}

} // namespace qvn
