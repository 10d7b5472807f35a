// Probing on binaries: each side of each binary is propagated through the
// rows by activity bounds, and what the two sides say is turned into
// fixings, tighter bounds, conflicting literal pairs and implied bounds.
#include "mip/probing.h"

#include <algorithm>
#include <cmath>

#include "mip/callbacks.h"
#include "mip/clique_table.h"
#include "mip/cuts/cut_pool.h"

namespace qvn {

namespace {

constexpr double kInfiniteBound = 1e20;
// Work is counted in row scans, a long row counting as one scan per this
// many nonzeros, so that long set-partitioning rows are paid for.
constexpr int kNonzerosPerScan = 20;
// Work one side of one probe may take.
constexpr long kScansPerProbe = 2000;
// Conflicting pairs kept, against a quadratic growth of the conflict graph.
constexpr long kMaxPairs = 1000000;
// Coefficients outside this range do not propagate: their round-off could
// move a bound past a feasible point.
constexpr double kSmallestCoefficient = 1e-7;

struct Column {
  EnvVector<int> start, row;
  EnvVector<double> value;
};

void buildColumns(const RowModel &r, int n, Column &c) {
  c.start.assign(static_cast<size_t>(n) + 1, 0);
  for (int p = 0; p < r.start[r.numRows]; ++p) ++c.start[r.column[p] + 1];
  for (int j = 0; j < n; ++j) c.start[j + 1] += c.start[j];
  c.row.assign(static_cast<size_t>(c.start[n]), 0);
  c.value.assign(static_cast<size_t>(c.start[n]), 0.0);
  EnvVector<int> fill(c.start.begin(), c.start.end() - 1);
  for (int i = 0; i < r.numRows; ++i)
    for (int p = r.start[i]; p < r.start[i + 1]; ++p) {
      const int q = fill[r.column[p]]++;
      c.row[q] = i;
      c.value[q] = r.value[p];
    }
}

// Working bounds of one probe with an undo list.
struct Probe {
  EnvVector<double> lo, up;
  EnvVector<int> changed;  // columns whose bounds moved, once each
  EnvVector<char> mark;    // by column: in `changed`
  EnvVector<double> oldLo, oldUp;
  EnvVector<int> queue;
  EnvVector<char> queued;  // by row
};

void undo(Probe &p) {
  for (size_t k = 0; k < p.changed.size(); ++k) {
    const int j = p.changed[k];
    p.lo[j] = p.oldLo[k];
    p.up[j] = p.oldUp[k];
    p.mark[j] = 0;
  }
  p.changed.clear();
  p.oldLo.clear();
  p.oldUp.clear();
  for (int i : p.queue) p.queued[i] = 0;
  p.queue.clear();
}

void setBounds(Probe &p, const Column &cols, int j, double lo, double up) {
  if (!p.mark[j]) {
    p.mark[j] = 1;
    p.changed.push_back(j);
    p.oldLo.push_back(p.lo[j]);
    p.oldUp.push_back(p.up[j]);
  }
  p.lo[j] = lo;
  p.up[j] = up;
  for (int q = cols.start[j]; q < cols.start[j + 1]; ++q) {
    const int i = cols.row[q];
    if (!p.queued[i]) {
      p.queued[i] = 1;
      p.queue.push_back(i);
    }
  }
}

// A new bound for a column: integers round inward with a little room for
// round-off; continuous columns move only by a clear step.
bool betterUpper(ColKind kind, double current, double lower, double *bound) {
  if (kind == ColKind::kInteger) {
    *bound = std::floor(*bound + 1e-6);
    return *bound < current - 0.5;
  }
  *bound += 1e-9 * (1.0 + std::fabs(*bound));
  const double range = current - lower;
  return *bound < current - 1e-4 * (1.0 + std::fabs(*bound)) &&
         (range >= kInfiniteBound || *bound < current - 1e-3 * range);
}

bool betterLower(ColKind kind, double current, double upper, double *bound) {
  if (kind == ColKind::kInteger) {
    *bound = std::ceil(*bound - 1e-6);
    return *bound > current + 0.5;
  }
  *bound -= 1e-9 * (1.0 + std::fabs(*bound));
  const double range = upper - current;
  return *bound > current + 1e-4 * (1.0 + std::fabs(*bound)) &&
         (range >= kInfiniteBound || *bound > current + 1e-3 * range);
}

// Propagates the queued rows; false when some row cannot hold.
bool propagate(Probe &p, const RowModel &r, const Column &cols, const ColKind *kind, long *scans, long budget) {
  for (size_t head = 0; head < p.queue.size(); ++head) {
    if (*scans >= budget) break;
    const int i = p.queue[head];
    *scans += 1 + (r.start[i + 1] - r.start[i]) / kNonzerosPerScan;
    p.queued[i] = 0;
    // Least and largest activity with the count of infinite contributions.
    double minAct = 0.0, maxAct = 0.0, scale = 0.0, span = 0.0;
    int minInf = 0, maxInf = 0;
    bool usable = true;
    for (int q = r.start[i]; q < r.start[i + 1]; ++q) {
      const int j = r.column[q];
      const double a = r.value[q];
      if (std::fabs(a) < kSmallestCoefficient) usable = false;
      const double l = p.lo[j], u = p.up[j];
      const double low = a > 0 ? l : u, high = a > 0 ? u : l;
      span = std::max(span, std::fabs(a) * (u - l));
      if (std::fabs(low) >= kInfiniteBound)
        ++minInf;
      else
        minAct += a * low, scale = std::max(scale, std::fabs(a * low));
      if (std::fabs(high) >= kInfiniteBound)
        ++maxInf;
      else
        maxAct += a * high, scale = std::max(scale, std::fabs(a * high));
    }
    const double lo = r.lo[i], up = r.up[i];
    const bool hasUp = std::isfinite(up) && std::fabs(up) < kInfiniteBound;
    const bool hasLo = std::isfinite(lo) && std::fabs(lo) < kInfiniteBound;
    const double tolUp = 1e-6 * (1.0 + std::fabs(up)) + 1e-9 * scale;
    const double tolLo = 1e-6 * (1.0 + std::fabs(lo)) + 1e-9 * scale;
    if (hasUp && minInf == 0 && minAct > up + tolUp) return false;
    if (hasLo && maxInf == 0 && maxAct < lo - tolLo) return false;
    if (!usable) continue;
    // No column can move when the slack on each side exceeds every column's
    // span.
    const bool upMoves = hasUp && minInf <= 1 && (minInf == 1 || up - minAct < span);
    const bool loMoves = hasLo && maxInf <= 1 && (maxInf == 1 || maxAct - lo < span);
    if (!upMoves && !loMoves) continue;
    for (int q = r.start[i]; q < r.start[i + 1]; ++q) {
      const int j = r.column[q];
      // A semi-continuous column's bounds hold only when it is on.
      if (kind[j] != ColKind::kInteger && kind[j] != ColKind::kContinuous) continue;
      const double a = r.value[q];
      double l = p.lo[j], u = p.up[j];
      if (l == u) continue;
      const double low = a > 0 ? l : u, high = a > 0 ? u : l;
      const bool lowInf = std::fabs(low) >= kInfiniteBound, highInf = std::fabs(high) >= kInfiniteBound;
      // Activity of the other columns at their least and largest.
      const bool restMinFinite = minInf == 0 || (minInf == 1 && lowInf);
      const bool restMaxFinite = maxInf == 0 || (maxInf == 1 && highInf);
      const double restMin = minAct - (lowInf ? 0.0 : a * low);
      const double restMax = maxAct - (highInf ? 0.0 : a * high);
      bool moved = false;
      if (upMoves && restMinFinite) {
        // a x_j <= up - restMin
        double bound = (up - restMin + tolUp) / a;
        if (a > 0 && betterUpper(kind[j], u, l, &bound)) u = bound, moved = true;
        if (a < 0 && betterLower(kind[j], l, u, &bound)) l = bound, moved = true;
      }
      if (loMoves && restMaxFinite) {
        // a x_j >= lo - restMax
        double bound = (lo - restMax - tolLo) / a;
        if (a > 0 && betterLower(kind[j], l, u, &bound)) l = bound, moved = true;
        if (a < 0 && betterUpper(kind[j], u, l, &bound)) u = bound, moved = true;
      }
      if (!moved) continue;
      if (l > u + 1e-6 * (1.0 + std::fabs(u))) return false;
      if (l > u) l = u = kind[j] == ColKind::kInteger ? std::round(u) : u;
      setBounds(p, cols, j, l, u);
    }
  }
  return true;
}

struct SideResult {
  int col;
  double lo, up;
};

bool isBinary(const ColKind *kind, const double *lower, const double *upper, int j) {
  return kind[j] == ColKind::kInteger && lower[j] == 0.0 && upper[j] == 1.0;
}

} // namespace

int probe(MipRun &run, const RowModel &rows, const ColKind *kind, double *lower, double *upper, double workLimit,
          double deadline, CliqueTable &cliques, ImpliedBoundTable &implied, ProbeResult *result) {
  *result = ProbeResult{};
  const int n = run.model->numCols;
  Column cols;
  buildColumns(rows, n, cols);
  Probe p;
  p.lo.assign(lower, lower + n);
  p.up.assign(upper, upper + n);
  p.mark.assign(static_cast<size_t>(n), 0);
  p.queued.assign(static_cast<size_t>(rows.numRows), 0);
  EnvVector<SideResult> down;
  EnvVector<int> downIndex(static_cast<size_t>(n), -1);
  long scans = 0, pairs = 0;
  const double limit = std::min(workLimit, 1e18);
  // Applies a bound to the global bounds and to the probe's base.
  auto tighten = [&](int j, double lo, double up) {
    if (lo > lower[j] || up < upper[j]) {
      if (isBinary(kind, lower, upper, j) && lo == up)
        ++result->fixed;
      else
        ++result->tightened;
    }
    lower[j] = p.lo[j] = std::max(lower[j], lo);
    upper[j] = p.up[j] = std::min(upper[j], up);
  };
  // A pair the cliques already hold adds nothing: conflict[s] has bit 1
  // when slot s conflicts with x_j = 1, bit 2 with x_j = 0. A pair whose
  // other column was probed before was found from that side.
  EnvVector<char> probedColumn(static_cast<size_t>(n), 0);
  EnvVector<char> conflict(static_cast<size_t>(2 * n), 0);
  EnvVector<int> marked;
  const bool indexed = cliques.indexed();
  auto markConflicts = [&](int slot, char bit) {
    if (!indexed) return;
    for (int q = cliques.occurrenceStart[slot]; q < cliques.occurrenceStart[slot + 1]; ++q) {
      const int k = cliques.occurrence[q];
      for (int m = cliques.start[k]; m < cliques.start[k + 1]; ++m) {
        const int t = literalSlot(cliques.members[m]);
        if (!conflict[t]) marked.push_back(t);
        conflict[t] |= bit;
      }
      scans += 1 + (cliques.start[k + 1] - cliques.start[k]) / kNonzerosPerScan;
    }
  };
  auto known = [&](const int *lits) {
    const int k = std::abs(lits[1]) - 1;
    return probedColumn[k] || (conflict[literalSlot(lits[1])] & (lits[0] > 0 ? 1 : 2)) != 0;
  };
  EnvVector<SideResult> forced, global;
  int probed = 0;
  bool stopped = false;
  for (int j = 0; j < n && !stopped; ++j) {
    if (!isBinary(kind, lower, upper, j)) continue;
    if (scans >= limit || ((++probed & 31) == 0 && elapsedSeconds(run) > deadline)) {
      stopped = true;
      break;
    }
    if ((probed & 31) == 1) QVN_TRY(callPassCallback(run, QVN_CALLBACK_MIP_PROBE, 1, static_cast<double>(j) / n));
    probedColumn[j] = 1;
    const long budget = scans + kScansPerProbe;
    // Down: x_j = 0.
    setBounds(p, cols, j, 0.0, 0.0);
    const bool downOk = propagate(p, rows, cols, kind, &scans, budget);
    down.clear();
    if (downOk)
      for (int k : p.changed) {
        downIndex[k] = static_cast<int>(down.size());
        down.push_back(SideResult{k, p.lo[k], p.up[k]});
      }
    undo(p);
    // Up: x_j = 1.
    setBounds(p, cols, j, 1.0, 1.0);
    const bool upOk = propagate(p, rows, cols, kind, &scans, budget + kScansPerProbe);
    if (!downOk && !upOk) {
      undo(p);
      result->infeasible = true;
      break;
    }
    if (!downOk || !upOk) {
      // The binary is fixed to the side that holds, with what that side
      // implies.
      forced.clear();
      if (upOk)
        for (int k : p.changed) forced.push_back(SideResult{k, p.lo[k], p.up[k]});
      else
        forced.assign(down.begin(), down.end());
      undo(p);
      for (const SideResult &s : forced) tighten(s.col, s.lo, s.up);
      for (const SideResult &s : down) downIndex[s.col] = -1;
      continue;
    }
    // Both sides hold. What both imply holds everywhere; what one implies is
    // an implication of that side's literal.
    scans += static_cast<long>(p.changed.size() + down.size()) / kNonzerosPerScan;
    markConflicts(2 * j, 1);
    markConflicts(2 * j + 1, 2);
    global.clear();
    for (int k : p.changed) {
      if (k == j) continue;
      const double upLo = p.lo[k], upUp = p.up[k];
      const int d = downIndex[k];
      if (d >= 0) {
        const double lo = std::min(upLo, down[d].lo), up = std::max(upUp, down[d].up);
        if (lo > lower[k] || up < upper[k]) global.push_back(SideResult{k, lo, up});
      }
      const bool binaryK = isBinary(kind, lower, upper, k);
      if (binaryK && upLo == upUp) {
        // x_j = 1 forces x_k = w: the literals x_j = 1 and x_k = 1 - w
        // conflict.
        const int lits[2] = {j + 1, upLo > 0.5 ? -(k + 1) : k + 1};
        if (pairs < kMaxPairs && !known(lits)) {
          addClique(cliques, lits, 2, kFromProbing);
          ++pairs;
        }
      } else if (!binaryK && static_cast<long>(implied.entries.size()) < implied.limit) {
        if (upLo > lower[k]) implied.entries.push_back(ImpliedBound{j, 1, k, 'L', upLo});
        if (upUp < upper[k]) implied.entries.push_back(ImpliedBound{j, 1, k, 'U', upUp});
      }
    }
    for (const SideResult &s : down) {
      const int k = s.col;
      downIndex[k] = -1;
      if (k == j) continue;
      const bool binaryK = isBinary(kind, lower, upper, k);
      if (binaryK && s.lo == s.up) {
        const int lits[2] = {-(j + 1), s.lo > 0.5 ? -(k + 1) : k + 1};
        if (pairs < kMaxPairs && !known(lits)) {
          addClique(cliques, lits, 2, kFromProbing);
          ++pairs;
        }
      } else if (!binaryK && static_cast<long>(implied.entries.size()) < implied.limit) {
        if (s.lo > lower[k]) implied.entries.push_back(ImpliedBound{j, 0, k, 'L', s.lo});
        if (s.up < upper[k]) implied.entries.push_back(ImpliedBound{j, 0, k, 'U', s.up});
      }
    }
    undo(p);
    for (int t : marked) conflict[t] = 0;
    marked.clear();
    for (const SideResult &s : global) tighten(s.col, s.lo, s.up);
  }
  result->pairs = static_cast<int>(pairs);
  result->implications = static_cast<int>(implied.entries.size());
  result->complete = !stopped && !result->infeasible;
  return 0;
}

void finishImpliedBounds(ImpliedBoundTable &t, int columns) {
  auto slot = [](const ImpliedBound &e) { return 2 * e.binary + (e.value == 0 ? 1 : 0); };
  std::sort(t.entries.begin(), t.entries.end(), [&](const ImpliedBound &a, const ImpliedBound &b) {
    const int sa = slot(a), sb = slot(b);
    if (sa != sb) return sa < sb;
    if (a.col != b.col) return a.col < b.col;
    return a.type < b.type;
  });
  t.bySlot.assign(static_cast<size_t>(2 * columns) + 1, 0);
  for (const ImpliedBound &e : t.entries) ++t.bySlot[slot(e) + 1];
  for (int s = 0; s < 2 * columns; ++s) t.bySlot[s + 1] += t.bySlot[s];
}

} // namespace qvn
