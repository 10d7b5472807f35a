// Rows added to and deleted from the LP relaxation (cuts), with the basis
// carried over.
//
// An added row enters with its logical basic: the old basis columns with the
// new logical stay independent, so the basis is valid at once and stays
// primal infeasible only where the cut cuts. Its dual weight is exact:
// B_new = [[B, 0], [a_B^T, -1]], whose inverse's new row is
// [a_B^T B^{-1}, -1], of squared norm 1 + ||B^{-T} a_B||^2.
// A deleted row must have its logical basic, so that dropping the row and
// that column leaves a square nonsingular basis; a nonbasic one is first
// pivoted in at the position of the largest entry of its column.
#include <algorithm>
#include <cmath>

#include "runtime/frame.h"
#include "simplex/lp_relaxation_internal.h"

namespace qvn {

namespace {

// The column-wise matrix from the row-wise one.
void columnsFromRows(WorkLp &w) {
  const int n = w.numCol, m = w.numRow;
  const int nz = w.arStart[m];
  w.aStart.assign(static_cast<size_t>(n + 1), 0);
  for (int k = 0; k < nz; ++k) ++w.aStart[w.arIndex[k] + 1];
  for (int j = 0; j < n; ++j) w.aStart[j + 1] += w.aStart[j];
  w.aIndex.assign(static_cast<size_t>(nz > 0 ? nz : 1), 0);
  w.aValue.assign(static_cast<size_t>(nz > 0 ? nz : 1), 0.0);
  EnvVector<int> fill(w.aStart.begin(), w.aStart.end() - 1);
  for (int i = 0; i < m; ++i)
    for (int k = w.arStart[i]; k < w.arStart[i + 1]; ++k) {
      const int at = fill[w.arIndex[k]]++;
      w.aIndex[at] = i;
      w.aValue[at] = w.arValue[k];
    }
}

// The basis of `work` by variable, to be carried to a new setup.
struct HeldBasis {
  EnvVector<int> head;
  EnvVector<signed char> move;
  EnvVector<double> x, weight;
  bool weightsValid = false;
};

void takeBasis(const SimplexEngine &e, HeldBasis &b, int totalAfter) {
  b.head.assign(e.head.begin(), e.head.begin() + e.m);
  b.move.assign(static_cast<size_t>(std::max(totalAfter, 1)), kAtLower);
  b.x.assign(static_cast<size_t>(std::max(totalAfter, 1)), 0.0);
  b.weight.assign(static_cast<size_t>(std::max(totalAfter, 1)), 0.0);
  b.weightsValid = e.dualWeightsValid;
}

// Scale factor of a new row, as the geometric scaling would give it against
// the held column factors.
double newRowScale(const LpRelaxation &r, int begin, int end, const int *index, const double *value) {
  double lo = kInfinity, hi = 0.0;
  for (int k = begin; k < end; ++k) {
    const double a = std::fabs(value[k]) / r.scale.colScale[index[k]];
    if (a <= 1e-13) continue;
    lo = std::min(lo, a), hi = std::max(hi, a);
  }
  return hi > 0.0 ? roundToPowerOfTwo(std::sqrt(lo * hi)) : 1.0;
}

int checkRows(const LpRelaxation &r, int count, const double *lower, const double *upper, const int *start,
              const int *index, const double *value) {
  if (count < 0) return QVNERR_COUNT_RANGE;
  if (count == 0) return 0;
  if (!lower || !upper || !start) return QVNERR_NULL_POINTER;
  if (start[0] < 0) return QVNERR_ARRAY_NOT_ASCENDING;
  for (int k = 0; k < count; ++k) {
    if (start[k + 1] < start[k]) return QVNERR_ARRAY_NOT_ASCENDING;
    if (std::isnan(lower[k]) || std::isnan(upper[k])) return QVNERR_NAN;
  }
  if (start[count] > start[0] && (!index || !value)) return QVNERR_NULL_POINTER;
  EnvVector<char> seen(static_cast<size_t>(r.lp.numCol > 0 ? r.lp.numCol : 1), 0);
  for (int k = 0; k < count; ++k) {
    int bad = 0;
    for (int p = start[k]; p < start[k + 1] && !bad; ++p) {
      if (index[p] < 0 || index[p] >= r.lp.numCol) bad = QVNERR_COL_INDEX_RANGE;
      else if (!std::isfinite(value[p])) bad = QVNERR_NAN;
      else if (seen[index[p]]) bad = QVNERR_DUP_ENTRY;
      else seen[index[p]] = 1;
    }
    for (int p = start[k]; p < start[k + 1]; ++p)
      if (index[p] >= 0 && index[p] < r.lp.numCol) seen[index[p]] = 0;
    if (bad) return bad;
  }
  return 0;
}

} // namespace

int relaxAddRows(LpRelaxation &r, int count, const double *lower, const double *upper, const int *start,
                 const int *index, const double *value) {
  QVN_TRY(checkRows(r, count, lower, upper, start, index, value));
  if (count == 0) return 0;
  return runCaught([&]() -> int {
    r.dualsHeld = false;
    SimplexEngine &e = r.work;
    WorkLp &lp = r.lp;
    const int n = lp.numCol, m = lp.numRow, mNew = m + count;
    HeldBasis b;
    takeBasis(e, b, n + mNew);
    for (int j = 0; j < e.nt; ++j) {
      b.move[j] = e.move[j];
      b.x[j] = e.x[j];
    }
    if (b.weightsValid)
      for (int k = 0; k < e.m; ++k) b.weight[e.head[k]] = e.dualWeights[k];
    EnvVector<double> rowScale(static_cast<size_t>(count), 1.0);
    if (r.useScaled)
      for (int k = 0; k < count; ++k) rowScale[k] = newRowScale(r, start[k], start[k + 1], index, value);

    // Exact weights of the new positions from the old factor, in the scale of the working LP.
    if (b.weightsValid && e.factorCurrent && !e.factor.mustRefactor) {
      HVector &v = e.rowRho;
      for (int k = 0; k < count; ++k) {
        hvClear(v);
        for (int p = start[k]; p < start[k + 1]; ++p) {
          const int pos = e.basicPos[index[p]];
          if (pos < 0) continue;
          const double s = r.useScaled ? rowScale[k] * r.scale.colScale[index[p]] : 1.0;
          v.array[pos] = value[p] / s;
        }
        v.count = -1;
        btran(e.factor, v);
        b.weight[n + m + k] = 1.0 + hvSquaredNorm(v);
      }
      hvClear(v);
    }

    // The LP: rows appended row-wise, columns rebuilt, logicals appended.
    const int oldNz = lp.arStart[m], added = start[count] - start[0];
    lp.arStart.resize(static_cast<size_t>(mNew + 1));
    lp.arIndex.resize(static_cast<size_t>(std::max(oldNz + added, 1)));
    lp.arValue.resize(static_cast<size_t>(std::max(oldNz + added, 1)));
    int at = oldNz;
    for (int k = 0; k < count; ++k) {
      for (int p = start[k]; p < start[k + 1]; ++p) {
        lp.arIndex[at] = index[p];
        lp.arValue[at] = value[p];
        ++at;
      }
      lp.arStart[m + k + 1] = at;
    }
    lp.numRow = mNew;
    lp.numTot = n + mNew;
    columnsFromRows(lp);
    for (int k = 0; k < count; ++k) {
      lp.cost.push_back(0.0);
      lp.lower.push_back(lower[k] <= -kInfinity ? -kInfinity : lower[k]);
      lp.upper.push_back(upper[k] >= kInfinity ? kInfinity : upper[k]);
      b.head.push_back(n + m + k);
    }
    if (r.useScaled) {
      r.scale.rowScale.resize(static_cast<size_t>(m));
      r.scale.rowScale.insert(r.scale.rowScale.end(), rowScale.begin(), rowScale.end());
    }
    rescaleCopy(r);
    return reseatEngine(r, b.head, b.move, b.x, b.weight, b.weightsValid);
  });
}

int relaxDeleteRows(LpRelaxation &r, const int *mark) {
  if (!mark) return QVNERR_NULL_POINTER;
  r.dualsHeld = false;
  WorkLp &lp = r.lp;
  const int n = lp.numCol, m = lp.numRow;
  int gone = 0;
  for (int i = 0; i < m; ++i) gone += mark[i] != 0;
  if (gone == 0) return 0;
  return runCaught([&]() -> int {
    SimplexEngine &e = r.work;
    const WorkLp &w = workingLp(r);
    // Each deleted row with a nonbasic logical: pivot the logical in.
    for (int i = 0; i < m; ++i) {
      if (!mark[i] || e.basicPos[n + i] >= 0) continue;
      if (refactorDue(e.factor) || !e.factorCurrent) {
        QVN_TRY(refactor(e));
        if (e.basicPos[n + i] >= 0) continue;  // a repair made it basic
      }
      HVector &col = e.column;
      hvClear(col);
      addColumn(w, n + i, 1.0, col.array.data());
      col.count = -1;
      ftranForUpdate(e.factor, col);
      int best = -1;
      double bestAbs = 0.0;
      for (int k = 0; k < e.m; ++k) {
        const int j = e.head[k];
        if (j >= n && mark[j - n]) continue;  // stays basic: its row goes too
        if (std::fabs(col.array[k]) > bestAbs) bestAbs = std::fabs(col.array[k]), best = k;
      }
      if (best < 0) {
        hvClear(col);
        return QVNERR_BAD_ARGUMENT;
      }
      const int leaving = e.head[best];
      const double v = e.x[leaving];
      signed char mv;
      if (e.lower[leaving] > -kInfinity && e.upper[leaving] < kInfinity)
        mv = v - e.lower[leaving] <= e.upper[leaving] - v ? kAtLower : kAtUpper;
      else
        mv = e.lower[leaving] > -kInfinity ? kAtLower : e.upper[leaving] < kInfinity ? kAtUpper : kAtZero;
      r.dualFeasible = false;  // the leaving variable's reduced cost may have either sign
      updateFactor(e.factor, best, col.array[best]);
      changeBasis(e, n + i, best, mv);
      if (mv == kAtZero) e.x[leaving] = 0.0;
      placeNonbasic(e, leaving);
      if (e.dualWeightsValid) e.dualWeights[best] = 1.0;
      hvClear(col);
    }

    // New numbers of rows and variables.
    EnvVector<int> newRow(static_cast<size_t>(m), -1);
    int mNew = 0;
    for (int i = 0; i < m; ++i)
      if (!mark[i]) newRow[i] = mNew++;
    auto newVar = [&](int j) { return j < n ? j : (newRow[j - n] < 0 ? -1 : n + newRow[j - n]); };
    HeldBasis b;
    takeBasis(e, b, n + mNew);
    b.head.clear();
    for (int k = 0; k < e.m; ++k)
      if (newVar(e.head[k]) >= 0) b.head.push_back(newVar(e.head[k]));
    for (int j = 0; j < e.nt; ++j) {
      const int t = newVar(j);
      if (t < 0) continue;
      b.move[t] = e.move[j];
      b.x[t] = e.x[j];
    }
    if (b.weightsValid)
      for (int k = 0; k < e.m; ++k)
        if (newVar(e.head[k]) >= 0) b.weight[newVar(e.head[k])] = e.dualWeights[k];

    // The LP without the rows.
    int at = 0;
    for (int i = 0; i < m; ++i) {
      const int begin = lp.arStart[i], end = lp.arStart[i + 1];
      if (mark[i]) continue;
      const int ni = newRow[i];
      lp.arStart[ni] = at;
      for (int p = begin; p < end; ++p) lp.arIndex[at] = lp.arIndex[p], lp.arValue[at] = lp.arValue[p], ++at;
      lp.cost[n + ni] = lp.cost[n + i];
      lp.lower[n + ni] = lp.lower[n + i];
      lp.upper[n + ni] = lp.upper[n + i];
      if (r.useScaled) r.scale.rowScale[ni] = r.scale.rowScale[i];
    }
    lp.arStart[mNew] = at;
    lp.arStart.resize(static_cast<size_t>(mNew + 1));
    lp.numRow = mNew;
    lp.numTot = n + mNew;
    lp.cost.resize(static_cast<size_t>(n + mNew));
    lp.lower.resize(static_cast<size_t>(n + mNew));
    lp.upper.resize(static_cast<size_t>(n + mNew));
    if (r.useScaled) r.scale.rowScale.resize(static_cast<size_t>(std::max(mNew, 1)));
    columnsFromRows(lp);
    rescaleCopy(r);
    return reseatEngine(r, b.head, b.move, b.x, b.weight, b.weightsValid);
  });
}

} // namespace qvn
