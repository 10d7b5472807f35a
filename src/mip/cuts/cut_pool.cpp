// Cut blocks, the duplicate test, installing cuts as LP rows and purging them.
#include "mip/cuts/cut_pool.h"

#include <algorithm>
#include <cmath>

namespace qvn {

namespace {

// A bound of this size counts as none.
constexpr double kInfiniteBound = 1e20;
// Coefficients below this fraction of the largest are folded into the rhs.
constexpr double kTinyRelative = 1e-9;
// Cuts whose coefficients spread wider than this invite cancellation in the LP.
constexpr double kMaxDynamism = 1e8;
// A cut must beat the point by this much per unit of its norm to earn a row.
constexpr double kMinEfficacy = 1e-5;
// Purges remembered for carrying stored bases over; a basis older than these
// starts its node from the basis the LP holds.
constexpr size_t kPurgeLogLength = 256;
// Cuts of one round whose cosine exceeds this are one cut for the LP.
constexpr double kMaxParallelism = 0.98;

} // namespace

void blockReserve(CutBlock &b, int cuts, int64_t nonzeros) {
  b.cuts.reserve(static_cast<size_t>(cuts));
  b.index.reserve(static_cast<size_t>(nonzeros));
  b.value.reserve(static_cast<size_t>(nonzeros));
}

void blockClear(CutBlock &b) {
  b.cuts.clear();
  b.index.clear();
  b.value.clear();
}

void blockAppend(CutBlock &b, char sense, int family, double rhs, int count, const int *index,
                 const double *value, int serial) {
  const int64_t start = static_cast<int64_t>(b.index.size());
  b.index.insert(b.index.end(), index, index + count);
  b.value.insert(b.value.end(), value, value + count);
  b.cuts.push_back(Cut{sense, family, rhs, count, start, serial});
}

double cutViolation(const CutBlock &b, int k, const double *x) {
  const Cut &c = b.cuts[k];
  double activity = 0.0;
  for (int t = 0; t < c.count; ++t) activity += b.value[c.start + t] * x[b.index[c.start + t]];
  return c.sense == 'L' ? activity - c.rhs : c.rhs - activity;
}

namespace {

// Same sense, same columns, values and rhs in one positive ratio within 1e-10.
bool sameCut(const CutBlock &b, int k, const CutBlock &pool, int o) {
  const Cut &c = b.cuts[k], &d = pool.cuts[o];
  if (d.sense != c.sense || d.count != c.count || c.count == 0) return false;
  const int *ci = b.index.data() + c.start, *di = pool.index.data() + d.start;
  const double *cv = b.value.data() + c.start, *dv = pool.value.data() + d.start;
  if (!std::equal(ci, ci + c.count, di) || std::fabs(dv[0]) <= 1e-10) return false;
  const double ratio = cv[0] / dv[0];
  if (ratio <= 0.0) return false;
  if (std::fabs(c.rhs - ratio * d.rhs) > 1e-10 * (1.0 + std::fabs(c.rhs))) return false;
  for (int t = 1; t < c.count; ++t)
    if (std::fabs(cv[t] - ratio * dv[t]) > 1e-10 * (1.0 + std::fabs(cv[t]))) return false;
  return true;
}

bool isDuplicateCutBefore(const CutBlock &b, int k) {
  for (int o = 0; o < k; ++o)
    if (sameCut(b, k, b, o)) return true;
  return false;
}

} // namespace

bool isDuplicateCut(const CutBlock &b, int k, const CutBlock &pool) {
  for (int o = 0; o < static_cast<int>(pool.cuts.size()); ++o)
    if (sameCut(b, k, pool, o)) return true;
  return false;
}

void buildRowModel(const LpData &d, RowModel &rows) {
  const int m = d.numRows;
  rows.numRows = m;
  rows.start.assign(static_cast<size_t>(m) + 1, 0);
  for (int j = 0; j < d.numCols; ++j)
    for (int64_t k = d.colStart[j]; k < d.colStart[j] + d.colCount[j]; ++k) ++rows.start[d.rowIndex[k] + 1];
  for (int i = 0; i < m; ++i) rows.start[i + 1] += rows.start[i];
  rows.column.assign(static_cast<size_t>(rows.start[m]), 0);
  rows.value.assign(static_cast<size_t>(rows.start[m]), 0.0);
  EnvVector<int> fill(rows.start.begin(), rows.start.end() - 1);
  for (int j = 0; j < d.numCols; ++j)
    for (int64_t k = d.colStart[j]; k < d.colStart[j] + d.colCount[j]; ++k) {
      const int p = fill[d.rowIndex[k]]++;
      rows.column[p] = j;
      rows.value[p] = d.coefValue[k];
    }
  rows.lo.assign(static_cast<size_t>(m), -HUGE_VAL);
  rows.up.assign(static_cast<size_t>(m), HUGE_VAL);
  for (int i = 0; i < m; ++i) {
    switch (d.sense[i]) {
    case 'L': rows.up[i] = d.rhs[i]; break;
    case 'G': rows.lo[i] = d.rhs[i]; break;
    case 'E': rows.lo[i] = rows.up[i] = d.rhs[i]; break;
    case 'R': {
      // A range stretches from rhs towards the sign of its value.
      const double r = d.rangeValue.empty() ? 0.0 : d.rangeValue[i];
      rows.lo[i] = r >= 0.0 ? d.rhs[i] : d.rhs[i] + r;
      rows.up[i] = r >= 0.0 ? d.rhs[i] + r : d.rhs[i];
      break;
    }
    default: break;
    }
  }
}

bool offerCut(CutContext &c, int family, EnvVector<int> &index, EnvVector<double> &value, double rhs,
              const double *x) {
  if (c.room <= 0 || index.empty() || !std::isfinite(rhs)) return false;
  double largest = 0.0;
  for (double v : value) {
    if (!std::isfinite(v)) return false;
    largest = std::max(largest, std::fabs(v));
  }
  if (largest <= 1e-12) return false;
  // Fold tiny terms into the rhs at the bound that keeps the cut valid:
  // a x_j >= a * (a > 0 ? l : u), so dropping it needs rhs -= that minimum.
  size_t keep = 0;
  double smallest = HUGE_VAL;
  for (size_t t = 0; t < index.size(); ++t) {
    const int j = index[t];
    const double a = value[t];
    if (std::fabs(a) < kTinyRelative * largest) {
      const double bound = a > 0 ? c.lower[j] : c.upper[j];
      if (std::fabs(bound) >= kInfiniteBound) return false;
      rhs -= a * bound;
      continue;
    }
    smallest = std::min(smallest, std::fabs(a));
    index[keep] = j;
    value[keep] = a;
    ++keep;
  }
  index.resize(keep);
  value.resize(keep);
  if (keep == 0 || largest / smallest > kMaxDynamism) return false;
  // A little slack on the rhs against round-off in the construction.
  rhs += 1e-9 * (1.0 + std::fabs(rhs));
  double activity = 0.0, norm = 0.0;
  for (size_t t = 0; t < keep; ++t) {
    activity += value[t] * x[index[t]];
    norm += value[t] * value[t];
  }
  const double violation = activity - rhs;
  if (violation <= 1e-6 * (1.0 + std::fabs(rhs)) || violation / std::sqrt(norm) < kMinEfficacy) return false;
  // Sorted columns make the duplicate test a plain comparison.
  EnvVector<int> order(keep);
  for (size_t t = 0; t < keep; ++t) order[t] = static_cast<int>(t);
  std::sort(order.begin(), order.end(), [&](int a, int b) { return index[a] < index[b]; });
  EnvVector<int> si(keep);
  EnvVector<double> sv(keep);
  for (size_t t = 0; t < keep; ++t) {
    si[t] = index[order[t]];
    sv[t] = value[order[t]];
  }
  CutBlock &pending = c.pool->pending;
  blockAppend(pending, 'L', family, rhs, static_cast<int>(keep), si.data(), sv.data(), c.pool->serial);
  const int k = static_cast<int>(pending.cuts.size()) - 1;
  if (isDuplicateCutBefore(pending, k)) {
    pending.cuts.pop_back();
    pending.index.resize(pending.index.size() - keep);
    pending.value.resize(pending.value.size() - keep);
    return false;
  }
  ++c.pool->serial;
  --c.room;
  return true;
}

void selectPending(CutPool &pool, const double *x, int numCols, int maxCuts, int *dropped) {
  *dropped = 0;
  CutBlock &p = pool.pending;
  const int count = static_cast<int>(p.cuts.size());
  if (count == 0) return;
  struct Ranked {
    int k;
    double efficacy, norm;
  };
  EnvVector<Ranked> ranked(static_cast<size_t>(count));
  for (int k = 0; k < count; ++k) {
    const Cut &c = p.cuts[k];
    double norm = 0.0;
    for (int t = 0; t < c.count; ++t) norm += p.value[c.start + t] * p.value[c.start + t];
    norm = std::sqrt(norm);
    ranked[k] = Ranked{k, norm > 0.0 ? cutViolation(p, k, x) / norm : 0.0, norm};
  }
  std::sort(ranked.begin(), ranked.end(), [](const Ranked &a, const Ranked &b) {
    return a.efficacy != b.efficacy ? a.efficacy > b.efficacy : a.k < b.k;
  });
  // Each candidate is scattered once and compared with the kept ones by
  // their entries; the kept set stays small, so this stays cheap.
  EnvVector<double> dense(static_cast<size_t>(numCols), 0.0);
  EnvVector<int> kept;
  EnvVector<double> keptNorm;
  for (const Ranked &r : ranked) {
    if (static_cast<int>(kept.size()) >= maxCuts) break;
    const Cut &c = p.cuts[r.k];
    for (int t = 0; t < c.count; ++t) dense[p.index[c.start + t]] = p.value[c.start + t];
    bool parallel = false;
    for (size_t q = 0; q < kept.size() && !parallel; ++q) {
      const Cut &o = p.cuts[kept[q]];
      double dot = 0.0;
      for (int t = 0; t < o.count; ++t) dot += p.value[o.start + t] * dense[p.index[o.start + t]];
      // As <= rows: only a positive cosine means the same direction.
      if ((o.sense == 'G') != (c.sense == 'G')) dot = -dot;
      parallel = dot > kMaxParallelism * r.norm * keptNorm[q];
    }
    for (int t = 0; t < c.count; ++t) dense[p.index[c.start + t]] = 0.0;
    if (parallel) continue;
    kept.push_back(r.k);
    keptNorm.push_back(r.norm);
  }
  if (static_cast<int>(kept.size()) == count) return;
  // The survivors in their order of finding, so that runs stay reproducible.
  std::sort(kept.begin(), kept.end());
  CutBlock chosen;
  for (int k : kept) {
    const Cut &c = p.cuts[k];
    blockAppend(chosen, c.sense, c.family, c.rhs, c.count, p.index.data() + c.start, p.value.data() + c.start,
                c.serial);
  }
  *dropped = count - static_cast<int>(kept.size());
  p = std::move(chosen);
}

int installCuts(CutPool &pool, LpRelaxation &lp, int *installed) {
  *installed = 0;
  CutBlock &p = pool.pending;
  EnvVector<double> lower, upper;
  EnvVector<int> start(1, 0), index;
  EnvVector<double> value;
  EnvVector<int> taken;
  int rows = relaxNumRows(lp);
  for (int k = 0; k < static_cast<int>(p.cuts.size()); ++k) {
    if (rows >= pool.cutLimit) break;
    if (isDuplicateCut(p, k, pool.installed)) continue;
    const Cut &c = p.cuts[k];
    lower.push_back(c.sense == 'G' ? c.rhs : -HUGE_VAL);
    upper.push_back(c.sense == 'L' ? c.rhs : HUGE_VAL);
    index.insert(index.end(), p.index.begin() + c.start, p.index.begin() + c.start + c.count);
    value.insert(value.end(), p.value.begin() + c.start, p.value.begin() + c.start + c.count);
    start.push_back(static_cast<int>(index.size()));
    taken.push_back(k);
    ++rows;
  }
  if (!taken.empty()) {
    QVN_TRY(relaxAddRows(lp, static_cast<int>(taken.size()), lower.data(), upper.data(), start.data(),
                         index.data(), value.data()));
    for (int k : taken) {
      const Cut &c = p.cuts[k];
      blockAppend(pool.installed, c.sense, c.family, c.rhs, c.count, p.index.data() + c.start,
                  p.value.data() + c.start, c.serial);
      pool.age.push_back(0);
      if (pool.rescannedFrom >= 0 && k >= pool.rescannedFrom)
        ++pool.returned;
      else
        ++pool.applied[c.family == kCutGcs ? kCutCover : c.family];
    }
  }
  *installed = static_cast<int>(taken.size());
  pool.rescannedFrom = -1;
  blockClear(p);
  return 0;
}

int purgeCuts(CutPool &pool, LpRelaxation &lp, int maxAge, int *removed) {
  *removed = 0;
  const int n = relaxNumCols(lp), m = relaxNumRows(lp);
  const int cuts = static_cast<int>(pool.installed.cuts.size());
  if (cuts == 0 || m != pool.firstCutRow + cuts) return 0;
  EnvVector<int> colStatus(static_cast<size_t>(n)), rowStatus(static_cast<size_t>(m));
  relaxGetBasis(lp, colStatus.data(), rowStatus.data());
  const double *activity = relaxRowActivity(lp);
  EnvVector<int> mark(static_cast<size_t>(m), 0);
  for (int k = 0; k < cuts; ++k) {
    const int row = pool.firstCutRow + k;
    const Cut &c = pool.installed.cuts[k];
    const double slack = c.sense == 'L' ? c.rhs - activity[row] : activity[row] - c.rhs;
    const bool loose = rowStatus[row] == 1 && slack > 1e-6 * (1.0 + std::fabs(c.rhs));
    pool.age[k] = loose ? pool.age[k] + 1 : 0;
    // Only a basic logical may go: the basis stays valid and the optimum too.
    if (rowStatus[row] == 1 && loose && pool.age[k] > maxAge) mark[row] = 1;
  }
  int gone = 0;
  for (int v : mark) gone += v;
  if (gone == 0) return 0;
  QVN_TRY(relaxDeleteRows(lp, mark.data()));
  EnvVector<int> deleted;
  deleted.reserve(static_cast<size_t>(gone));
  for (int i = 0; i < m; ++i)
    if (mark[i]) deleted.push_back(i);
  logDeletedRows(pool, std::move(deleted));
  CutBlock kept;
  EnvVector<int> keptAge;
  for (int k = 0; k < cuts; ++k) {
    const Cut &c = pool.installed.cuts[k];
    if (mark[pool.firstCutRow + k]) {
      blockAppend(pool.retired, c.sense, c.family, c.rhs, c.count, pool.installed.index.data() + c.start,
                  pool.installed.value.data() + c.start, c.serial);
      continue;
    }
    blockAppend(kept, c.sense, c.family, c.rhs, c.count, pool.installed.index.data() + c.start,
                pool.installed.value.data() + c.start, c.serial);
    keptAge.push_back(pool.age[k]);
  }
  pool.installed = std::move(kept);
  pool.age = std::move(keptAge);
  *removed = gone;
  return 0;
}

void rescanRetired(CutPool &pool, const double *x, double violation, int room, int *moved) {
  *moved = 0;
  CutBlock &r = pool.retired;
  const int count = static_cast<int>(r.cuts.size());
  if (count == 0 || room <= 0) return;
  EnvVector<char> back(static_cast<size_t>(count), 0);
  for (int k = 0; k < count && *moved < room; ++k) {
    if (cutViolation(r, k, x) <= violation) continue;
    const Cut &c = r.cuts[k];
    if (pool.rescannedFrom < 0) pool.rescannedFrom = static_cast<int>(pool.pending.cuts.size());
    blockAppend(pool.pending, c.sense, c.family, c.rhs, c.count, r.index.data() + c.start, r.value.data() + c.start,
                c.serial);
    back[k] = 1;
    ++*moved;
  }
  if (*moved == 0) return;
  CutBlock kept;
  for (int k = 0; k < count; ++k) {
    if (back[k]) continue;
    const Cut &c = r.cuts[k];
    blockAppend(kept, c.sense, c.family, c.rhs, c.count, r.index.data() + c.start, r.value.data() + c.start, c.serial);
  }
  r = std::move(kept);
}

void logDeletedRows(CutPool &pool, EnvVector<int> &&deleted) {
  if (pool.purgeLog.size() >= kPurgeLogLength) {
    pool.purgeLog.erase(pool.purgeLog.begin());
    ++pool.logBase;
  }
  pool.purgeLog.push_back(std::move(deleted));
  ++pool.rowEpoch;
}

bool carryBasis(CutPool *pool, int epoch, int n, const unsigned char *status, int size, int m, int *colStatus,
                int *rowStatus) {
  int rows = size - n;
  if (rows < 0) return false;
  const int now = pool ? pool->rowEpoch : 0;
  if (epoch > now || (pool && epoch < pool->logBase) || (!pool && rows > m)) return false;
  for (int j = 0; j < n; ++j) colStatus[j] = status[j];
  if (epoch == now) {
    if (rows > m) return false;
    for (int i = 0; i < rows; ++i) rowStatus[i] = status[n + i];
  } else {
    // Replay the purges since on the stored rows; rows added after the
    // basis was stored sit beyond them and need no replay.
    EnvVector<int> &w = pool->carried;
    w.assign(status + n, status + size);
    for (int e = epoch; e < now; ++e) {
      const EnvVector<int> &deleted = pool->purgeLog[static_cast<size_t>(e - pool->logBase)];
      int keep = 0, d = 0;
      for (int i = 0; i < rows; ++i) {
        while (d < static_cast<int>(deleted.size()) && deleted[d] < i) ++d;
        if (d < static_cast<int>(deleted.size()) && deleted[d] == i) continue;
        w[keep++] = w[i];
      }
      rows = keep;
    }
    if (rows > m) return false;
    for (int i = 0; i < rows; ++i) rowStatus[i] = w[i];
  }
  for (int i = rows; i < m; ++i) rowStatus[i] = 1;
  return true;
}

CutPool *newCutPool() {
  CutPool *p = envNew<CutPool>();
  // A new block holds 50 cuts with 500 nonzeros.
  blockReserve(p->pending, 50, 500);
  blockReserve(p->installed, 50, 500);
  return p;
}

void freeCutPool(CutPool *&pool) { envDelete(pool); }

} // namespace qvn
