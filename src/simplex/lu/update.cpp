// Column replacement (Forrest-Tomlin). The replaced column's U position is
// retired; its row is eliminated against the later U rows, which gives one row
// eta, and the spike becomes a new last position. The diagonal that results must
// equal alpha times the old one (the determinant ratio), which checks the update.
#include <new>

#include "simplex/lu/lu_internal.h"

namespace qvn {

namespace {

// A spike much larger than its column means the factors amplify rounding by as
// much: the new column would be represented to that much less accuracy.
template <class Real> constexpr double kLuSpikeGrowthLimit = sizeof(Real) > sizeof(double) ? 1e7 : 1e4;

// Largest row eta multiplier before a cycle ends; extended precision affords more.
template <class Real> constexpr double kLuEtaGrowthLimit = sizeof(Real) > sizeof(double) ? 1e4 : 1e3;

// A user that checks every pivot against a second computation (the simplex
// loops compare the pivot of the row with that of the column, and refactor
// when they drift apart) ends a cycle only on extreme growth: ending it on
// moderate growth cost pilot-like models a factorization every dozen updates.
constexpr double kLuCheckedGrowthFactor = 1e4;

double growthLimit(const LuFactor &f, double strict) {
  return f.pivotsChecked ? strict * kLuCheckedGrowthFactor : strict;
}

// Removes entry `id` from line `line` of a file, keeping the values aligned.
template <class Real> void removeFromLine(LineFile &file, EnvVector<Real> &values, int line, int id) {
  const int start = file.start[line];
  int &count = file.count[line];
  for (int q = start; q < start + count; ++q) {
    if (file.index[q] == id) {
      --count;
      file.index[q] = file.index[start + count];
      values[q] = values[start + count];
      return;
    }
  }
}

template <class Real> void ensureEtaRoom(LuFactor &f, int64_t incoming) {
  LuValues<Real> &v = luValues<Real>(f);
  const int64_t needed = f.etaUsed + incoming;
  if (needed <= f.etaCapacity) return;
  int64_t capacity = static_cast<int64_t>((needed + f.etaUsed) * 1.2) + 1;
  if (f.autoLimit && f.updateCount > 0 && f.updateCount < 100)
    capacity = std::max(capacity, f.etaUsed / f.updateCount * 100 + incoming);
  else if (!f.autoLimit && f.updateCount > 0)
    capacity = std::max(capacity, f.etaUsed / f.updateCount * (f.updateLimit + 1) + incoming);
  capacity = std::min<int64_t>(capacity, kLuMaxEntries);
  if (capacity < needed) throw std::bad_alloc();
  f.etaIndex.resize(capacity);
  v.etaValue.resize(capacity);
  f.etaCapacity = capacity;
}

// The refactorization rule: the average cost per iteration of the cycle, a
// refactorization's work spread over the iterations plus the extra work the
// growth of the factors brings to each, is at its minimum when it starts to rise.
void applyRule(LuFactor &f) {
  if (f.updateCount >= f.updateLimit) {
    f.needFactorFlag = true;
    f.factorReason = kLuReasonLimit;
    return;
  }
  if (!f.autoLimit) return;
  const double b = double(f.factorNz) * f.basisNz / std::max(1, f.basisNzAtFactor);
  const double c = 0.1 * f.m;
  const double next = (f.costSum + f.updatePenalty * (b + c)) / (f.updateCount + 1);
  if (f.avgCost < next && f.updateCount > 60) {
    f.needFactorFlag = true;
    f.factorReason = kLuReasonCost;
    return;
  }
  f.avgCost = next;
  f.costSum += double(f.growthSinceFactor);
}

template <class Real> int updateBody(LuFactor &f, int p, double alpha) {
  LuValues<Real> &v = luValues<Real>(f);
  const Real tiny = Real(f.dropTol);
  const int kp = f.colPos[p];
  const int r = f.pivotRowOf[kp];
  const Real oldPivot = v.uDiagonal[kp];
  const int end = f.posEnd;
  ensureEtaRoom<Real>(f, end - kp);

  // The old column leaves both copies of U.
  int removed = f.uCols.count[kp] + f.uRows.count[kp];
  for (int q = f.uCols.start[kp]; q < f.uCols.start[kp] + f.uCols.count[kp]; ++q)
    removeFromLine(f.uRows, v.uRowValue, f.rowPos[f.uCols.index[q]], p);
  f.uCols.count[kp] = f.uCols.cap[kp] = 0;

  // Its row is taken out and eliminated against the later rows of U.
  int *heap = f.heap.data();
  int size = 0;
  const int mark = nextStamp(f);
  for (int q = f.uRows.start[kp]; q < f.uRows.start[kp] + f.uRows.count[kp]; ++q) {
    const int c = f.uRows.index[q];
    v.workCols[c] = v.uRowValue[q];
    f.colMark[c] = mark;
    heapPush(heap, size, end - 1 - f.colPos[c]);
    removeFromLine(f.uCols, v.uColValue, f.colPos[c], r);
  }
  f.uRows.count[kp] = f.uRows.cap[kp] = 0;
  const int64_t etaFrom = f.etaUsed;
  Real largestMultiplier = 0;
  while (size > 0) {
    const int k = end - 1 - heapPop(heap, size);
    const int c = f.pivotColOf[k];
    const Real t = v.workCols[c];
    v.workCols[c] = 0;
    if (luAbs(t) <= tiny) continue;
    const Real mu = t / v.uDiagonal[k];
    largestMultiplier = std::max(largestMultiplier, luAbs(mu));
    f.etaIndex[f.etaUsed] = f.pivotRowOf[k];
    v.etaValue[f.etaUsed++] = mu;
    for (int q = f.uRows.start[k]; q < f.uRows.start[k] + f.uRows.count[k]; ++q) {
      const int c2 = f.uRows.index[q];
      if (f.colMark[c2] != mark) {
        f.colMark[c2] = mark;
        heapPush(heap, size, end - 1 - f.colPos[c2]);
      }
      v.workCols[c2] -= v.uRowValue[q] * mu;
    }
  }

  // The new pivot is the spike's entry in row r after the new row eta.
  for (int s = 0; s < f.spikeCount; ++s) v.workRows[f.spikeIndex[s]] = v.spikeValue[s];
  Real pivot = v.workRows[r];
  for (int64_t q = etaFrom; q < f.etaUsed; ++q) pivot -= v.etaValue[q] * v.workRows[f.etaIndex[q]];
  if (f.etaUsed > etaFrom) {
    if (f.etaLink.size() < f.etaIndex.size()) {
      f.etaLink.resize(f.etaIndex.size());
      f.etaOfEntry.resize(f.etaIndex.size());
    }
    for (int64_t q = etaFrom; q < f.etaUsed; ++q) {
      const int i = f.etaIndex[q];
      f.etaOfEntry[q] = f.etaCount;
      f.etaLink[q] = f.etaLastOfRow[i];
      f.etaLastOfRow[i] = static_cast<int>(q);
    }
    f.etaPivotRow[f.etaCount] = r;
    f.etaStart[++f.etaCount] = f.etaUsed;
  }

  const int k = f.posEnd++;
  f.pivotRowOf[kp] = f.pivotColOf[kp] = -1;
  f.pivotRowOf[k] = r;
  f.pivotColOf[k] = p;
  f.rowPos[r] = k;
  f.colPos[p] = k;
  v.uDiagonal[k] = pivot;
  f.uRows.count[k] = f.uRows.cap[k] = 0;
  f.uCols.count[k] = f.uCols.cap[k] = 0;
  f.uRows.start[k] = f.uCols.start[k] = 0;

  int kept = 0;
  lineMakeRoom<Real>(f.uCols, &v.uColValue, k, f.spikeCount, f.posCapacity, f.sortWork, nullptr);
  for (int s = 0; s < f.spikeCount; ++s) {
    const int j = f.spikeIndex[s];
    const Real x = v.workRows[j];
    v.workRows[j] = 0;
    if (j == r || luAbs(x) <= tiny) continue;
    const int at = f.uCols.start[k] + f.uCols.count[k]++;
    f.uCols.index[at] = j;
    v.uColValue[at] = x;
    const int kj = f.rowPos[j];
    lineMakeRoom<Real>(f.uRows, &v.uRowValue, kj, 1, f.posCapacity, f.sortWork, nullptr);
    const int to = f.uRows.start[kj] + f.uRows.count[kj]++;
    f.uRows.index[to] = p;
    v.uRowValue[to] = x;
    ++kept;
  }
  f.spikeReady = false;

  ++f.updateCount;
  f.basisNz += f.spikeInputNz - f.positionNz[p];
  f.positionNz[p] = f.spikeInputNz;
  f.iterationNz = kept + static_cast<int>(f.etaUsed - etaFrom) - removed;
  f.growthSinceFactor += f.iterationNz;

  const Real expected = Real(alpha) * oldPivot;
  const Real scale = std::max(luAbs(pivot), luAbs(expected));

  const bool grown = f.spikeMax > growthLimit(f, kLuSpikeGrowthLimit<Real>) * f.spikeInputMax;
  if (luAbs(pivot) <= tiny || luAbs(pivot - expected) > Real(1e-8) * scale || grown) {
    f.valid = false;
    f.needFactorFlag = true;
    f.factorReason = kLuReasonUnstable;
    return kLuNeedFactor;
  }
  // Large multipliers in the row eta amplify rounding in every later solve: the
  // update stands, but this cycle ends.
  if (largestMultiplier > Real(growthLimit(f, kLuEtaGrowthLimit<Real>))) {
    f.needFactorFlag = true;
    f.factorReason = kLuReasonGrowth;
  }
  applyRule(f);
  return f.needFactorFlag ? kLuNeedFactor : 0;
}

} // namespace

template <class Real> int luUpdate(LuFactor &f, int position, double alpha) {
  if (!f.valid || !f.spikeReady || position < 0 || position >= f.m) {
    f.needFactorFlag = true;
    f.factorReason = kLuReasonUnstable;
    return kLuNeedFactor;
  }
  // Limits and space are checked first: the factor then still holds the old basis.
  if (f.updateCount >= f.updateLimit || (f.updateCount >= 100 && f.compressMode) || f.posEnd >= f.posCapacity) {
    f.needFactorFlag = true;
    f.factorReason = f.updateCount >= f.updateLimit ? kLuReasonLimit : kLuReasonSpace;
    return kLuNeedFactor;
  }
  try {
    return updateBody<Real>(f, position, alpha);
  } catch (const std::bad_alloc &) {
    f.valid = false;
    f.needFactorFlag = true;
    f.factorReason = kLuReasonSpace;
    return kLuNeedFactor;
  }
}

template int luUpdate<double>(LuFactor &, int, double);
template int luUpdate<long double>(LuFactor &, int, double);

} // namespace qvn
