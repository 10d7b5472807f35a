// Building the factors: count the basis, singleton phases, Markowitz search over
// count buckets with the threshold test, elimination with fill in the row file,
// a dense phase for a dense remainder, then the final copies of L and U.
#include <algorithm>
#include <cmath>
#include <new>

#include "simplex/lu/lu_internal.h"

namespace qvn {

namespace {

inline void bucketInsert(EnvVector<int> &head, EnvVector<int> &next, EnvVector<int> &prev, EnvVector<int> &key,
                         int id, int count) {
  const int first = head[count];
  next[id] = first;
  prev[id] = -1;
  if (first >= 0) prev[first] = id;
  head[count] = id;
  key[id] = count;
}

inline void bucketRemove(EnvVector<int> &head, EnvVector<int> &next, EnvVector<int> &prev, EnvVector<int> &key,
                         int id) {
  const int count = key[id];
  if (count < 0) return;
  if (prev[id] >= 0)
    next[prev[id]] = next[id];
  else
    head[count] = next[id];
  if (next[id] >= 0) prev[next[id]] = prev[id];
  key[id] = -1;
}

// State of a line of the active part.
constexpr char kActive = 0, kPivoted = 1, kExcluded = 2, kDeferred = 3;

template <class Real> struct Eliminator {
  LuFactor &f;
  LuValues<Real> &v;
  const int m;
  const double threshold;
  const double absTol;
  const Real drop;
  int pivots = 0;

  Eliminator(LuFactor &factor, double u, double t)
      : f(factor), v(luValues<Real>(factor)), m(factor.m), threshold(u), absTol(t), drop(Real(factor.dropTol)) {}

  void rebucketRow(int i) {
    bucketRemove(f.rowBucketHead, f.rowNext, f.rowPrev, f.rowBucketKey, i);
    if (f.rowState[i] == kActive && f.rowFile.count[i] > 0)
      bucketInsert(f.rowBucketHead, f.rowNext, f.rowPrev, f.rowBucketKey, i, std::min(f.rowFile.count[i], m));
  }
  void rebucketCol(int j) {
    bucketRemove(f.colBucketHead, f.colNext, f.colPrev, f.colBucketKey, j);
    if (f.colState[j] == kActive && f.colActive[j] > 0)
      bucketInsert(f.colBucketHead, f.colNext, f.colPrev, f.colBucketKey, j, std::min(f.colActive[j], m));
  }

  // Position of column j in row i's entries.
  int findInRow(int i, int j) const {
    const int start = f.rowFile.start[i], end = start + f.rowFile.count[i];
    for (int q = start; q < end; ++q)
      if (f.rowFile.index[q] == j) return q;
    return -1;
  }

  void removeFromPattern(int j, int i) {
    const int start = f.colFile.start[j];
    int &count = f.colFile.count[j];
    for (int q = start; q < start + count; ++q) {
      if (f.colFile.index[q] == i) {
        f.colFile.index[q] = f.colFile.index[start + count - 1];
        --count;
        --f.colActive[j];
        return;
      }
    }
  }

  // The one row of an active column with a single live entry.
  int liveRowOf(int c) const {
    const int start = f.colFile.start[c], end = start + f.colFile.count[c];
    for (int q = start; q < end; ++q)
      if (f.rowState[f.colFile.index[q]] != kPivoted) return f.colFile.index[q];
    return -1;
  }

  // Keeps the row's largest magnitude first; near ties do not swap.
  void restoreRowMax(int i) {
    const int start = f.rowFile.start[i], count = f.rowFile.count[i];
    if (count < 2) return;
    int best = start;
    Real bestAbs = luAbs(v.activeValue[start]);
    for (int q = start + 1; q < start + count; ++q) {
      const Real a = luAbs(v.activeValue[q]);
      if (a > bestAbs * Real(1.0 + 1e-10)) {
        best = q;
        bestAbs = a;
      }
    }
    if (best != start) {
      std::swap(f.rowFile.index[best], f.rowFile.index[start]);
      std::swap(v.activeValue[best], v.activeValue[start]);
    }
  }

  void recordPivot(int r, int c, Real pivot) {
    const int k = pivots++;
    f.pivotRowOf[k] = r;
    f.pivotColOf[k] = c;
    f.rowPos[r] = k;
    f.colPos[c] = k;
    v.uDiagonal[k] = pivot;
    f.rowState[r] = kPivoted;
    f.colState[c] = kPivoted;
  }

  void closeLColumn(int r) {
    const int end = static_cast<int>(f.lIndex.size());
    if (end > f.lStart[f.lCount]) {
      f.lPivotRow[f.lCount] = r;
      f.lEtaOfRow[r] = f.lCount;
      f.lStart[++f.lCount] = end;
    }
  }

  // Row i loses its entry in the pivot column and gets the pivot row times -l:
  // matched entries change in place (and leave both files when they cancel),
  // the rest enters as fill. One pass does the matching, the cancellation and
  // the search for the row's largest magnitude, which goes first.
  void updateRow(int i, Real l, int64_t uStart, int uCount, int pivotMark) {
    int start = f.rowFile.start[i];
    int count = f.rowFile.count[i];
    const int seen = nextStamp(f);
    int matched = 0;
    int best = -1;  // offset of the largest magnitude in the row
    Real bestAbs = 0;
    const Real tie = Real(1.0 + 1e-10);
    for (int q = start; q < start + count;) {
      const int j = f.rowFile.index[q];
      if (f.colMark[j] == pivotMark) {
        f.lineWork[j] = seen;
        ++matched;
        const Real a = v.activeValue[q] - l * v.workCols[j];
        if (luAbs(a) < drop) {
          removeFromPattern(j, i);
          --count;
          f.rowFile.index[q] = f.rowFile.index[start + count];
          v.activeValue[q] = v.activeValue[start + count];
          --f.activeNz;
          continue;
        }
        v.activeValue[q] = a;
      }
      const Real mag = luAbs(v.activeValue[q]);
      if (best < 0 || mag > bestAbs * tie) best = q - start, bestAbs = mag;
      ++q;
    }
    const int fill = uCount - matched;
    if (fill > 0) {
      lineMakeRoom<Real>(f.rowFile, &v.activeValue, i, fill, m, f.sortWork, &f.rowMultiplier);
      start = f.rowFile.start[i];
      for (int64_t q = uStart; q < uStart + uCount; ++q) {
        const int j = f.uRows.index[q];
        if (f.lineWork[j] == seen) continue;
        const Real a = -l * v.workCols[j];
        const Real mag = luAbs(a);
        if (mag < drop) continue;
        f.rowFile.index[start + count] = j;
        v.activeValue[start + count] = a;
        if (best < 0 || mag > bestAbs * tie) best = count, bestAbs = mag;
        ++count;
        lineMakeRoom<Real>(f.colFile, static_cast<EnvVector<Real> *>(nullptr), j, 1, m, f.sortWork,
                           &f.colMultiplier);
        f.colFile.index[f.colFile.start[j] + f.colFile.count[j]++] = i;
        ++f.colActive[j];
        ++f.activeNz;
      }
    }
    f.rowFile.count[i] = count;
    if (best > 0) {
      std::swap(f.rowFile.index[start + best], f.rowFile.index[start]);
      std::swap(v.activeValue[start + best], v.activeValue[start]);
    }
  }

  void eliminate(int r, int c) {
    bucketRemove(f.rowBucketHead, f.rowNext, f.rowPrev, f.rowBucketKey, r);
    bucketRemove(f.colBucketHead, f.colNext, f.colPrev, f.colBucketKey, c);
    const int mark = nextStamp(f);
    const int64_t uStart = static_cast<int64_t>(f.uRows.index.size());
    Real pivot = 0;
    {
      const int start = f.rowFile.start[r], count = f.rowFile.count[r];
      for (int q = start; q < start + count; ++q) {
        const int j = f.rowFile.index[q];
        const Real a = v.activeValue[q];
        if (j == c) {
          pivot = a;
          continue;
        }
        f.uRows.index.push_back(j);
        v.uRowValue.push_back(a);
        v.workCols[j] = a;
        f.colMark[j] = mark;
        --f.colActive[j];  // row r stays in j's pattern as a pivoted row
      }
      f.activeNz -= count;
      f.rowFile.count[r] = 0;
      f.rowFile.cap[r] = 0;
    }
    const int uCount = static_cast<int>(f.uRows.index.size() - uStart);
    const int k = pivots;
    f.uRows.start[k] = static_cast<int>(uStart);
    f.uRows.count[k] = uCount;
    f.uRows.cap[k] = uCount;
    recordPivot(r, c, pivot);

    // Rows of the pivot column: the column's pattern may move while rows gain
    // fill, so it is re-read by offset.
    for (int q = 0; q < f.colFile.count[c]; ++q) {
      const int i = f.colFile.index[f.colFile.start[c] + q];
      if (i == r) continue;
      const int at = findInRow(i, c);
      if (at < 0) continue;
      const Real l = v.activeValue[at] / pivot;
      f.lIndex.push_back(i);
      v.lValue.push_back(l);
      const int start = f.rowFile.start[i];
      const int last = start + --f.rowFile.count[i];
      f.rowFile.index[at] = f.rowFile.index[last];
      v.activeValue[at] = v.activeValue[last];
      --f.activeNz;
      if (uCount > 0)
        updateRow(i, l, uStart, uCount, mark);
      else if (at == start)
        restoreRowMax(i);
      rebucketRow(i);
    }
    f.colFile.count[c] = 0;
    f.colFile.cap[c] = 0;
    f.colActive[c] = 0;
    closeLColumn(r);
    for (int64_t q = uStart; q < uStart + uCount; ++q) {
      const int j = f.uRows.index[q];
      v.workCols[j] = 0;
      rebucketCol(j);
    }
  }

  // Singletons first; one whose value is below the absolute tolerance waits.
  void singletonPhase() {
    int deferredCount = 0;
    EnvVector<int> &deferred = f.heap;  // free during factorization
    for (;;) {
      bool progress = false;
      for (int pass = 0; pass < 2; ++pass) {
        const bool rows = (f.singletonOrder == 0) == (pass == 0);
        EnvVector<int> &head = rows ? f.rowBucketHead : f.colBucketHead;
        while (head[1] >= 0) {
          const int id = head[1];
          int r, c;
          Real a;
          if (rows) {
            r = id;
            c = f.rowFile.index[f.rowFile.start[r]];
            a = v.activeValue[f.rowFile.start[r]];
          } else {
            c = id;
            r = liveRowOf(c);
            const int at = r >= 0 ? findInRow(r, c) : -1;
            a = at >= 0 ? v.activeValue[at] : Real(0);
          }
          if (luAbs(a) > absTol) {
            eliminate(r, c);
            progress = true;
          } else if (rows) {
            bucketRemove(f.rowBucketHead, f.rowNext, f.rowPrev, f.rowBucketKey, id);
            f.rowState[id] = kDeferred;
            deferred[deferredCount++] = id;
          } else {
            bucketRemove(f.colBucketHead, f.colNext, f.colPrev, f.colBucketKey, id);
            f.colState[id] = kDeferred;
            deferred[deferredCount++] = m + id;
          }
        }
      }
      if (!progress) break;
    }
    for (int q = 0; q < deferredCount; ++q) {
      const int id = deferred[q];
      if (id < m) {
        if (f.rowState[id] == kDeferred) f.rowState[id] = kActive;
        rebucketRow(id);
      } else {
        if (f.colState[id - m] == kDeferred) f.colState[id - m] = kActive;
        rebucketCol(id - m);
      }
    }
  }

  // Markowitz search with the threshold test; false when no pivot exists.
  bool searchPivot(int &bestRow, int &bestCol) {
    const double u = threshold, t = absTol;
    while (f.colBucketHead[1] >= 0) {
      const int c = f.colBucketHead[1];
      const int r = liveRowOf(c);
      const int at = r >= 0 ? findInRow(r, c) : -1;
      if (at >= 0 && luAbs(v.activeValue[at]) > t) {
        bestRow = r, bestCol = c;
        return true;
      }
      bucketRemove(f.colBucketHead, f.colNext, f.colPrev, f.colBucketKey, c);
      f.colState[c] = kExcluded;
    }
    while (f.rowBucketHead[1] >= 0) {
      const int r = f.rowBucketHead[1];
      const int at = f.rowFile.start[r];
      if (luAbs(v.activeValue[at]) > t) {
        bestRow = r, bestCol = f.rowFile.index[at];
        return true;
      }
      bucketRemove(f.rowBucketHead, f.rowNext, f.rowPrev, f.rowBucketKey, r);
      f.rowState[r] = kExcluded;
    }
    double bestMerit = 1e300;
    Real bestAbs = 0;
    bestRow = bestCol = -1;
    int examined = 0;
    const int kMax = std::min(m, kLuMaxThresholdSearch);
    for (int k = 2; k <= kMax; ++k) {
      for (int c = f.colBucketHead[k]; c >= 0;) {
        const int nextCol = f.colNext[c];
        bool qualified = false;
        const int start = f.colFile.start[c], count = f.colFile.count[c];
        for (int q = start; q < start + count; ++q) {
          const int i = f.colFile.index[q];
          const int at = findInRow(i, c);
          if (at < 0) continue;
          const Real a = luAbs(v.activeValue[at]);
          if (a < u * luAbs(v.activeValue[f.rowFile.start[i]])) continue;
          qualified = true;
          const double merit = double(f.rowFile.count[i] - 1) * (k - 1);
          if (merit < bestMerit || (merit == bestMerit && a > bestAbs)) {
            if (a < t) continue;
            bestMerit = merit, bestAbs = a, bestRow = i, bestCol = c;
          }
        }
        if (!qualified) {
          bucketRemove(f.colBucketHead, f.colNext, f.colPrev, f.colBucketKey, c);
          f.colState[c] = kExcluded;
        } else {
          ++examined;
        }
        if (bestRow >= 0 && (bestMerit <= double(k - 1) * (k - 1) || examined >= 2)) return true;
        c = nextCol;
      }
      for (int r = f.rowBucketHead[k]; r >= 0;) {
        const int nextRow = f.rowNext[r];
        bool qualified = false;
        const int start = f.rowFile.start[r], count = f.rowFile.count[r];
        const Real rowMax = luAbs(v.activeValue[start]);
        for (int q = start; q < start + count; ++q) {
          const Real a = luAbs(v.activeValue[q]);
          if (a < u * rowMax) continue;
          qualified = true;
          const int j = f.rowFile.index[q];
          const double merit = double(f.colActive[j] - 1) * (k - 1);
          if (merit < bestMerit || (merit == bestMerit && a > bestAbs)) {
            if (a < t) continue;
            bestMerit = merit, bestAbs = a, bestRow = r, bestCol = j;
          }
        }
        if (!qualified) {
          bucketRemove(f.rowBucketHead, f.rowNext, f.rowPrev, f.rowBucketKey, r);
          f.rowState[r] = kExcluded;
        } else {
          ++examined;
        }
        if (bestRow >= 0 && (bestMerit <= double(k) * (k - 1) || examined >= 2)) return true;
        r = nextRow;
      }
    }
    return bestRow >= 0;
  }

  // LU with row exchanges on the dense remainder; columns whose best pivot is
  // under the absolute tolerance stay unpivoted.
  int densePhase() {
    const int d = m - pivots;
    if (double(d) * d > kLuMaxEntries) return kLuDenseNoMemory;
    EnvVector<int> &rows = f.sortWork;
    EnvVector<int> &cols = f.rowList;
    int nr = 0, nc = 0;
    for (int i = 0; i < m; ++i)
      if (f.rowState[i] != kPivoted) rows[nr++] = i;
    for (int j = 0; j < m; ++j)
      if (f.colState[j] != kPivoted) {
        f.lineWork[j] = nc;
        cols[nc++] = j;
      }
    try {
      v.dense.assign(size_t(d) * d, Real(0));
    } catch (const std::bad_alloc &) {
      return kLuDenseNoMemory;
    }
    Real *a = v.dense.data();
    for (int ii = 0; ii < nr; ++ii) {
      const int i = rows[ii];
      const int start = f.rowFile.start[i];
      for (int q = start; q < start + f.rowFile.count[i]; ++q)
        a[size_t(f.lineWork[f.rowFile.index[q]]) * d + ii] = v.activeValue[q];
      f.rowFile.count[i] = 0;
      f.rowFile.cap[i] = 0;
    }
    f.workEstimate += 2.0 * d * double(d) * d / 3.0;
    int prow = 0;
    for (int jj = 0; jj < d && prow < d; ++jj) {
      Real *col = a + size_t(jj) * d;
      int imax = -1;
      Real vmax = 0;
      for (int ii = prow; ii < d; ++ii)
        if (luAbs(col[ii]) > vmax) vmax = luAbs(col[ii]), imax = ii;
      if (imax < 0 || vmax <= absTol) continue;
      if (imax != prow) {
        for (int j2 = 0; j2 < d; ++j2) std::swap(a[size_t(j2) * d + prow], a[size_t(j2) * d + imax]);
        std::swap(rows[prow], rows[imax]);
      }
      const Real pivot = col[prow];
      for (int ii = prow + 1; ii < d; ++ii) col[ii] /= pivot;
      for (int j2 = jj + 1; j2 < d; ++j2) {
        Real *other = a + size_t(j2) * d;
        const Real x = other[prow];
        if (x == 0) continue;
        for (int ii = prow + 1; ii < d; ++ii) other[ii] -= col[ii] * x;
      }
      const int k = pivots;
      const int64_t uStart = static_cast<int64_t>(f.uRows.index.size());
      for (int j2 = jj + 1; j2 < d; ++j2) {
        const Real x = a[size_t(j2) * d + prow];
        if (luAbs(x) < drop) continue;
        f.uRows.index.push_back(cols[j2]);
        v.uRowValue.push_back(x);
      }
      f.uRows.start[k] = static_cast<int>(uStart);
      f.uRows.count[k] = f.uRows.cap[k] = static_cast<int>(f.uRows.index.size() - uStart);
      for (int ii = prow + 1; ii < d; ++ii) {
        if (luAbs(col[ii]) < drop) continue;
        f.lIndex.push_back(rows[ii]);
        v.lValue.push_back(col[ii]);
      }
      recordPivot(rows[prow], cols[jj], pivot);
      closeLColumn(rows[prow]);
      ++prow;
    }
    f.activeNz = 0;
    v.dense = EnvVector<Real>();
    return 0;
  }
};

template <class Real> void resizeFile(LineFile &file, EnvVector<Real> *values, int64_t size) {
  if (static_cast<int64_t>(file.index.size()) < size) {
    file.index = EnvVector<int>();
    file.index.resize(size);
    if (values) {
      *values = EnvVector<Real>();
      values->resize(size);
    }
  }
}

// The column-wise copy of U, the row-wise copy of L and the permutation checks
// once all rows are pivoted.
template <class Real> void finishFactor(LuFactor &f) {
  LuValues<Real> &v = luValues<Real>(f);
  const int m = f.m;
  f.posEnd = m;
  int64_t uNz = static_cast<int64_t>(f.uRows.index.size());
  f.uRows.end = uNz;
  const int64_t rowRoom = uNz + m + uNz / 2 + 16;
  if (rowRoom > kLuMaxEntries) throw std::bad_alloc();
  f.uRows.index.resize(rowRoom);
  v.uRowValue.resize(rowRoom);
  for (int k = m; k < f.posCapacity; ++k) f.uRows.start[k] = f.uRows.count[k] = f.uRows.cap[k] = 0;

  // U by columns: the entry (row pivotRowOf[k], position c) goes to the line of colPos[c].
  EnvVector<int> &count = f.uCols.count;
  std::fill(count.begin(), count.end(), 0);
  for (int k = 0; k < m; ++k)
    for (int q = f.uRows.start[k]; q < f.uRows.start[k] + f.uRows.count[k]; ++q) ++count[f.colPos[f.uRows.index[q]]];
  const int64_t colRoom = uNz + m + uNz / 2 + 16;
  resizeFile<Real>(f.uCols, &v.uColValue, colRoom);
  int64_t at = 0;
  for (int k = 0; k < m; ++k) {
    f.uCols.start[k] = static_cast<int>(at);
    f.uCols.cap[k] = count[k];
    at += count[k];
    count[k] = 0;
  }
  for (int k = m; k < f.posCapacity; ++k) f.uCols.start[k] = f.uCols.count[k] = f.uCols.cap[k] = 0;
  f.uCols.end = at;
  for (int k = 0; k < m; ++k) {
    const int row = f.pivotRowOf[k];
    for (int q = f.uRows.start[k]; q < f.uRows.start[k] + f.uRows.count[k]; ++q) {
      const int kc = f.colPos[f.uRows.index[q]];
      const int64_t to = f.uCols.start[kc] + count[kc]++;
      f.uCols.index[to] = row;
      v.uColValue[to] = v.uRowValue[q];
    }
  }

  // L by rows pays only while few rows carry an eta.
  const int64_t lNz = static_cast<int64_t>(f.lIndex.size());
  f.lIsColumnOnly = f.lCount >= 0.3 * m;
  if (!f.lIsColumnOnly) {
    EnvVector<int> &start = f.lRowStart;
    std::fill(start.begin(), start.end(), 0);
    for (int64_t q = 0; q < lNz; ++q) ++start[f.lIndex[q] + 1];
    for (int i = 0; i < m; ++i) start[i + 1] += start[i];
    if (static_cast<int64_t>(f.lRowEta.size()) < lNz) {
      f.lRowEta = EnvVector<int>();
      f.lRowEta.resize(lNz);
      v.lRowValue = EnvVector<Real>();
      v.lRowValue.resize(lNz);
    }
    EnvVector<int> &fillAt = f.sortWork;
    for (int i = 0; i < m; ++i) fillAt[i] = start[i];
    for (int e = 0; e < f.lCount; ++e)
      for (int q = f.lStart[e]; q < f.lStart[e + 1]; ++q) {
        const int to = fillAt[f.lIndex[q]]++;
        f.lRowEta[to] = e;
        v.lRowValue[to] = v.lValue[q];
      }
  }

  // Row etas start empty, with room for the updates to come.
  f.etaCount = 0;
  f.etaUsed = 0;
  f.etaStart[0] = 0;
  std::fill(f.etaLastOfRow.begin(), f.etaLastOfRow.end(), -1);
  const int64_t etaRoom = std::min<int64_t>(kLuMaxEntries, m + int64_t(f.basisNz * f.rowMultiplier) + 16);
  if (f.etaCapacity < etaRoom) {
    f.etaIndex = EnvVector<int>();
    f.etaIndex.resize(etaRoom);
    v.etaValue = EnvVector<Real>();
    v.etaValue.resize(etaRoom);
    f.etaCapacity = etaRoom;
  }
  f.factorNz = lNz + uNz + m;
  f.lastFactorTotalNz = f.factorNz;
  f.growthSinceFactor = 0;
}

template <class Real> int factorizeBody(LuFactor &f, const LuBasis &basis) {
  LuValues<Real> &v = luValues<Real>(f);
  const int m = f.m;
  f.valid = false;
  f.needFactorFlag = false;
  f.factorReason = kLuReasonNone;
  f.spikeReady = false;

  // Fill measure of the last cycle steers the order of the singleton phases.
  if (f.updateCount > 0 && f.lastFactorTotalNz > 0) {
    const double g = double(f.growthSinceFactor) / f.updateCount / double(f.lastFactorTotalNz);
    if (f.singletonOrder == 1 && g < 7.5e-05) f.singletonOrder = 0;
    else if (f.singletonOrder == 0 && g > 0.00015) f.singletonOrder = 1;
  }

  // Count the basis by rows.
  EnvVector<int> &rowCount = f.rowFile.count;
  std::fill(rowCount.begin(), rowCount.end(), 0);
  int64_t nz = 0;
  for (int k = 0; k < m; ++k) {
    const LuColumn col = basis.column(basis.context, basis.head[k]);
    int kept = 0;
    for (int q = 0; q < col.count; ++q) {
      const int i = col.index[q];
      if (i < 0 || i >= m || col.value[q] == 0.0) continue;
      ++rowCount[i];
      ++kept;
    }
    f.colFile.count[k] = kept;
    f.positionNz[k] = kept;
    nz += kept;
  }
  if (nz > kLuMaxEntries) return QVNERR_NO_MEMORY;
  f.basisNz = static_cast<int>(nz);
  f.basisNzAtFactor = f.basisNz;
  const double rowSize = m + double(nz) * f.rowMultiplier;
  const double colSize = m + double(nz) * f.colMultiplier;
  if (rowSize > kLuMaxEntries || colSize > 2.0 * kLuMaxEntries) return QVNERR_NO_MEMORY;
  resizeFile<Real>(f.rowFile, &v.activeValue, static_cast<int64_t>(rowSize) + 1);
  resizeFile<Real>(f.colFile, static_cast<EnvVector<Real> *>(nullptr), static_cast<int64_t>(colSize) + 1);

  int64_t at = 0;
  for (int i = 0; i < m; ++i) {
    f.rowFile.start[i] = static_cast<int>(at);
    f.rowFile.cap[i] = rowCount[i];
    at += rowCount[i];
    rowCount[i] = 0;
  }
  f.rowFile.end = at;
  at = 0;
  for (int k = 0; k < m; ++k) {
    f.colFile.start[k] = static_cast<int>(at);
    f.colFile.cap[k] = f.colFile.count[k];
    at += f.colFile.count[k];
    f.colFile.count[k] = 0;
  }
  f.colFile.end = at;
  for (int k = 0; k < m; ++k) {
    const LuColumn col = basis.column(basis.context, basis.head[k]);
    for (int q = 0; q < col.count; ++q) {
      const int i = col.index[q];
      if (i < 0 || i >= m || col.value[q] == 0.0) continue;
      const int to = f.rowFile.start[i] + rowCount[i]++;
      f.rowFile.index[to] = k;
      v.activeValue[to] = Real(col.value[q]);
      f.colFile.index[f.colFile.start[k] + f.colFile.count[k]++] = i;
    }
  }
  f.activeNz = nz;
  for (int k = 0; k < m; ++k) f.colActive[k] = f.colFile.count[k];

  Eliminator<Real> el(f, f.markowitzWork, f.absTol);
  std::fill(f.rowBucketHead.begin(), f.rowBucketHead.end(), -1);
  std::fill(f.colBucketHead.begin(), f.colBucketHead.end(), -1);
  std::fill(f.rowBucketKey.begin(), f.rowBucketKey.end(), -1);
  std::fill(f.colBucketKey.begin(), f.colBucketKey.end(), -1);
  std::fill(f.rowState.begin(), f.rowState.end(), kActive);
  std::fill(f.colState.begin(), f.colState.end(), kActive);
  std::fill(f.lEtaOfRow.begin(), f.lEtaOfRow.end(), -1);
  for (int i = 0; i < m; ++i) {
    el.restoreRowMax(i);
    el.rebucketRow(i);
  }
  for (int j = 0; j < m; ++j) el.rebucketCol(j);

  f.lCount = 0;
  f.lStart[0] = 0;
  f.lIndex.clear();
  v.lValue.clear();
  f.uRows.index.clear();
  v.uRowValue.clear();
  f.lIndex.reserve(nz + m);
  v.lValue.reserve(nz + m);
  f.uRows.index.reserve(nz + m);
  v.uRowValue.reserve(nz + m);

  el.singletonPhase();
  while (el.pivots < m) {
    const double d = m - el.pivots;
    if (d * d * f.denseThreshold + 1e-10 < double(f.activeNz)) {
      QVN_TRY(el.densePhase());
      break;
    }
    int r, c;
    if (!el.searchPivot(r, c)) break;
    el.eliminate(r, c);
  }

  f.rank = el.pivots;
  if (f.rank < m) {
    f.unpivotedRows.clear();
    f.unpivotedPositions.clear();
    for (int i = 0; i < m; ++i)
      if (f.rowState[i] != kPivoted) f.unpivotedRows.push_back(i);
    for (int j = 0; j < m; ++j)
      if (f.colState[j] != kPivoted) f.unpivotedPositions.push_back(j);
    return QVNERR_SINGULAR;
  }
  finishFactor<Real>(f);
  f.updateCount = 0;
  f.avgCost = 1e75;
  f.costSum = 0.0;
  f.iterationNz = 0;
  f.valid = true;

  // Pivot ratio against the working threshold.
  Real largest = 1.0, smallest = 1.0;
  for (int k = 0; k < m; ++k) {
    const Real a = luAbs(v.uDiagonal[k]);
    largest = std::max(largest, a);
    smallest = std::min(smallest, a);
  }
  const double ratio = double(largest / smallest);
  const double u = f.markowitzWork;
  if ((ratio > 1e9 && u < 0.1) || (ratio > 1e10 && u < 0.2) || (ratio > 1e11 && u < 0.3) ||
      (ratio > 1e12 && u < 0.5) || (ratio > 1e13 && u < 0.9999899999))
    return kLuRaiseThreshold;
  return 0;
}

template <class Real> void releaseFiles(LuFactor &f) {
  LuValues<Real> &v = luValues<Real>(f);
  f.rowFile.index = EnvVector<int>();
  f.colFile.index = EnvVector<int>();
  v.activeValue = EnvVector<Real>();
  f.uRows.index = EnvVector<int>();
  f.uCols.index = EnvVector<int>();
  v.uRowValue = EnvVector<Real>();
  v.uColValue = EnvVector<Real>();
  f.lIndex = EnvVector<int>();
  v.lValue = EnvVector<Real>();
  f.lRowEta = EnvVector<int>();
  v.lRowValue = EnvVector<Real>();
  f.etaIndex = EnvVector<int>();
  v.etaValue = EnvVector<Real>();
  v.dense = EnvVector<Real>();
  f.rowFile.end = f.colFile.end = f.uRows.end = f.uCols.end = 0;
  f.etaCapacity = f.etaUsed = 0;
  f.etaCount = 0;
}

} // namespace

template <class Real> int luFactorize(LuFactor &f, const LuBasis &basis) {
  try {
    return factorizeBody<Real>(f, basis);
  } catch (const std::bad_alloc &) {
    releaseFiles<Real>(f);
    f.valid = false;
    return QVNERR_NO_MEMORY;
  }
}

template int luFactorize<double>(LuFactor &, const LuBasis &);
template int luFactorize<long double>(LuFactor &, const LuBasis &);

} // namespace qvn
