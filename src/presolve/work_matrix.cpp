// The working copy of the model inside presolve, its entry operations and
// the record pool.
#include <cmath>
#include <cstdio>

#include "model/mip_data.h"
#include "presolve/presolve_state.h"
#include "runtime/environment.h"

namespace qvn {

void buildWorkingCopy(Environment *env, const Problem *lp, PresolveState &s) {
  const LpData &d = *lp->lpData;
  const int n = d.numCols, m = d.numRows;
  s.numRows = m;
  s.numCols = n;
  s.objSense = d.objSense;
  s.feasTol = env->generalParams->eprhs;
  s.rowEntries.assign(static_cast<size_t>(m), EnvVector<int>());
  s.colEntries.assign(static_cast<size_t>(n), EnvVector<int>());
  s.rowLive.assign(static_cast<size_t>(m), 0);
  s.colLive.assign(static_cast<size_t>(n), 0);
  s.rowLower.assign(static_cast<size_t>(m), -kPreInf);
  s.rowUpper.assign(static_cast<size_t>(m), kPreInf);
  s.colLower.assign(static_cast<size_t>(n), 0.0);
  s.colUpper.assign(static_cast<size_t>(n), 0.0);
  s.cost.assign(static_cast<size_t>(n), 0.0);
  s.protectedCol.assign(static_cast<size_t>(n), 0);
  s.dualRemoved.assign(static_cast<size_t>(n), 0);
  s.impliedLower.assign(static_cast<size_t>(n), -kPreInf);
  s.impliedUpper.assign(static_cast<size_t>(n), kPreInf);
  s.impliedStamp.assign(static_cast<size_t>(n), -1);
  s.impliedLowerRow.assign(static_cast<size_t>(n), -1);
  s.impliedUpperRow.assign(static_cast<size_t>(n), -1);
  s.impliedEpoch = 0;
  for (int j : s.protectedList)
    if (j >= 0 && j < n) s.protectedCol[j] = 1;
  // Members of special ordered sets: a dual argument or a substitution knows
  // nothing of the set and could move a member where the set forbids it.
  if (const SosData *sos = s.mip ? heldSos(lp) : nullptr)
    for (int j : sos->member)
      if (j >= 0 && j < n) s.protectedCol[j] = 1;
  s.rowMarked.assign(static_cast<size_t>(m), 0);
  s.colMarked.assign(static_cast<size_t>(n), 0);
  s.touchedRows.clear();
  s.touchedCols.clear();
  s.offset = d.objSense * d.objOffset;
  int64_t nz = 0;
  for (int j = 0; j < n; ++j) nz += d.colCount[j];
  s.entries.clear();
  s.entries.reserve(static_cast<size_t>(nz));
  for (int j = 0; j < n; ++j) {
    s.cost[j] = d.objSense * d.objCoef[j];
    s.colLower[j] = d.lowerBound[j] <= -kPreInf ? -kPreInf : d.lowerBound[j];
    s.colUpper[j] = d.upperBound[j] >= kPreInf ? kPreInf : d.upperBound[j];
    for (int64_t k = d.colStart[j]; k < d.colStart[j] + d.colCount[j]; ++k) {
      if (d.coefValue[k] == 0.0) continue;
      const int i = d.rowIndex[k];
      const int e = static_cast<int>(s.entries.size());
      s.entries.push_back(PresolveEntry{i, j, d.coefValue[k], true});
      s.colEntries[j].push_back(e);
      s.rowEntries[i].push_back(e);
      ++s.colLive[j];
      ++s.rowLive[i];
    }
  }
  for (int i = 0; i < m; ++i) rowActivityLimits(d, i, s.rowLower[i], s.rowUpper[i]);
  if (s.mip && !d.ctype.empty()) {
    // Integer columns start from the integer range of their bounds, binaries
    // within [0, 1], as the search itself would see them.
    s.integerCol.assign(static_cast<size_t>(n), 0);
    for (int j = 0; j < n; ++j) {
      const char t = d.ctype[j];
      if (t != 'B' && t != 'I') continue;
      s.integerCol[j] = t == 'B' ? 2 : 1;  // 2 marks a binary, for the messages
      if (t == 'B') {
        s.colLower[j] = std::max(s.colLower[j], 0.0);
        s.colUpper[j] = std::min(s.colUpper[j], 1.0);
      }
      s.colLower[j] = roundUpBound(s.colLower[j]);
      s.colUpper[j] = roundDownBound(s.colUpper[j]);
    }
  }
  s.origLower = s.colLower;
  s.origUpper = s.colUpper;
  for (int i = 0; i < m; ++i) markRow(s, i);
  for (int j = 0; j < n; ++j) markCol(s, j);
}


void markRow(PresolveState &s, int i) {
  if (s.rowMarked[i] || s.rowLive[i] < 0) return;
  s.rowMarked[i] = 1;
  s.touchedRows.push_back(i);
}

void markCol(PresolveState &s, int j) {
  if (s.colMarked[j] || s.colLive[j] < 0) return;
  s.colMarked[j] = 1;
  s.touchedCols.push_back(j);
}

void removeRow(PresolveState &s, int i) {
  for (int e : s.rowEntries[i]) {
    PresolveEntry &en = s.entries[e];
    if (!en.alive) continue;
    en.alive = false;
    --s.colLive[en.col];
    // A bound stored from this row no longer holds anything.
    if (s.impliedLowerRow[en.col] == i || s.impliedUpperRow[en.col] == i) s.impliedStamp[en.col] = -1;
    markCol(s, en.col);
  }
  s.rowEntries[i] = EnvVector<int>();
  s.rowLive[i] = -1;
  ++s.rowsEliminated;
}

void removeCol(PresolveState &s, int j) {
  for (int e : s.colEntries[j]) {
    PresolveEntry &en = s.entries[e];
    if (!en.alive) continue;
    en.alive = false;
    --s.rowLive[en.row];
    markRow(s, en.row);
  }
  s.colEntries[j] = EnvVector<int>();
  s.colLive[j] = -1;
  ++s.colsEliminated;
}

void addToEntry(PresolveState &s, int i, int j, double value, EnvVector<int> &rowPos) {
  int e = rowPos[j];
  if (e < 0) {
    // A product of real coefficients is kept however small: on a badly
    // scaled model a tiny entry is as real as any other.
    if (value == 0.0) return;
    e = static_cast<int>(s.entries.size());
    s.entries.push_back(PresolveEntry{i, j, value, true});
    s.rowEntries[i].push_back(e);
    s.colEntries[j].push_back(e);
    ++s.rowLive[i];
    ++s.colLive[j];
    rowPos[j] = e;
    return;
  }
  PresolveEntry &en = s.entries[e];
  const double before = en.value;
  en.value += value;
  // A result that is tiny against what was added is cancellation noise.
  if (std::fabs(en.value) <= 1e-12 * std::max(std::fabs(before), std::fabs(value))) {
    en.alive = false;
    --s.rowLive[i];
    --s.colLive[j];
    rowPos[j] = -1;
  }
}

Activity rowActivity(const PresolveState &s, int i) {
  Activity a;
  for (int e : s.rowEntries[i]) {
    const PresolveEntry &en = s.entries[e];
    if (!en.alive) continue;
    const double l = s.colLower[en.col], u = s.colUpper[en.col], v = en.value;
    const double lo = v > 0 ? l : u, hi = v > 0 ? u : l;
    if (lo <= -kPreInf || lo >= kPreInf) ++a.minInf; else a.min += v * lo;
    if (hi <= -kPreInf || hi >= kPreInf) ++a.maxInf; else a.max += v * hi;
  }
  return a;
}

const char *rowNameOf(const Problem *lp, int i, char *buffer) {
  const LpData &d = *lp->lpData;
  if (d.rowNames.exists) return d.rowNames.name(i);
  std::snprintf(buffer, 32, "R%d", i + 1);
  return buffer;
}

const char *colNameOf(const Problem *lp, int j, char *buffer) {
  const LpData &d = *lp->lpData;
  if (d.colNames.exists) return d.colNames.name(j);
  std::snprintf(buffer, 32, "C%d", j + 1);
  return buffer;
}

int pushRecord(PresolveState &s, int kind, int index) {
  ReductionRecord r;
  r.kind = kind;
  r.index = index;
  r.next = s.head;
  r.first = static_cast<int64_t>(s.recIndex.size());
  s.records.push_back(r);
  s.head = static_cast<int>(s.records.size()) - 1;
  return s.head;
}

// Appends to the newest record's arrays; the first group must be complete
// before the second starts.
void recordPair(PresolveState &s, int rec, int index, double value, bool second) {
  s.recIndex.push_back(index);
  s.recValue.push_back(value);
  ReductionRecord &r = s.records[static_cast<size_t>(rec)];
  if (second) ++r.count2; else ++r.count;
}

void fixColumn(PresolveState &s, int j, double v, int kind) {
  const int rec = pushRecord(s, kind, j);
  ReductionRecord &r = record(s, rec);
  r.value = v;
  r.cost = s.cost[j];
  for (int e : s.colEntries[j]) {
    const PresolveEntry &en = s.entries[e];
    if (!en.alive) continue;
    recordPair(s, rec, en.row, en.value);
    if (v != 0.0) {
      const double shift = en.value * v;
      if (s.rowLower[en.row] > -kPreInf) s.rowLower[en.row] -= shift;
      if (s.rowUpper[en.row] < kPreInf) s.rowUpper[en.row] -= shift;
    }
  }
  s.offset += s.cost[j] * v;
  s.colLower[j] = s.colUpper[j] = v;
  removeCol(s, j);
}

} // namespace qvn
