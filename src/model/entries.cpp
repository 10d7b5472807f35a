// Placing matrix entries: the one merge pass behind QVNaddrows, QVNchgcoeflist
// and the flush of pending coefficients.
#include <algorithm>
#include <cstring>

#include "model/edit.h"
#include "runtime/environment.h"

namespace qvn {

int64_t structuralEnd(const LpData &d) {
  int64_t end = 0;
  for (int j = 0; j < d.numCols; ++j) end = std::max(end, d.colStart[j] + d.colCount[j]);
  return end;
}

int64_t storedNonzeros(const LpData &d) {
  int64_t n = 0;
  for (int j = 0; j < d.numCols; ++j) n += d.colCount[j];
  return n;
}

namespace {

int64_t grownNonzeroSpace(const Environment *env, int64_t need) {
  const int extra = env->generalParams->extraNzSpace;
  if (extra >= 0) return need + extra;
  return std::max<int64_t>(need + 500, static_cast<int64_t>(need * 1.2));
}

} // namespace

void planMerge(const Environment *env, const Problem *lp, int64_t count, const int *rows,
               const int *cols, const double *values, bool mayExist, int extraRanges, MergePlan &plan) {
  const LpData &d = *lp->lpData;
  const int n = d.numCols;
  plan.head.assign(static_cast<size_t>(n) + 1, 0);
  for (int64_t t = 0; t < count; ++t) ++plan.head[cols[t] + 1];
  for (int j = 0; j < n; ++j) plan.head[j + 1] += plan.head[j];
  plan.order.resize(static_cast<size_t>(std::max<int64_t>(count, 1)));
  {
    EnvVector<int64_t> fill(plan.head.begin(), plan.head.end() - 1);
    for (int64_t t = 0; t < count; ++t) plan.order[fill[cols[t]]++] = t;
  }
  plan.extra.assign(static_cast<size_t>(std::max(n, 1)), 0);
  plan.shrinks.assign(static_cast<size_t>(std::max(n, 1)), 0);
  plan.inserts.reserve(static_cast<size_t>(count));
  if (mayExist) {
    // Per column: the stored positions of its rows, then its triplets from the
    // last to the first, so that the last one of a pair decides.
    EnvVector<int64_t> stored(static_cast<size_t>(std::max(d.numRows, 1)), -1);
    EnvVector<int> seen(static_cast<size_t>(std::max(d.numRows, 1)), -1);
    for (int j = 0; j < n; ++j) {
      if (plan.head[j] == plan.head[j + 1]) continue;
      const int64_t begin = d.colStart[j], end = begin + d.colCount[j];
      for (int64_t k = begin; k < end; ++k) stored[d.rowIndex[k]] = k;
      for (int64_t p = plan.head[j + 1] - 1; p >= plan.head[j]; --p) {
        const int64_t t = plan.order[p];
        const int i = rows[t];
        if (seen[i] == j) continue;
        seen[i] = j;
        if (stored[i] >= 0) {
          plan.updatePos.push_back(stored[i]);
          plan.updateCol.push_back(j);
          plan.updateValue.push_back(values[t]);
          if (values[t] == 0.0) plan.shrinks[j] = 1;
        } else if (values[t] != 0.0) {
          plan.inserts.push_back(t);
          ++plan.extra[j];
        }
      }
      for (int64_t k = begin; k < end; ++k) stored[d.rowIndex[k]] = -1;
    }
  } else {
    for (int64_t t = 0; t < count; ++t)
      if (values[t] != 0.0) plan.inserts.push_back(t), ++plan.extra[cols[t]];
  }

  // Room: every column with new entries must be able to grow in place, else
  // the whole matrix is laid out afresh once, with exactly the room needed.
  const int ranges = d.numColsWithRanges - d.numCols + extraRanges;
  for (int j = 0; j < n && !plan.relayout; ++j) {
    if (plan.extra[j] == 0) continue;
    const int64_t limit = j + 1 < n ? d.colStart[j + 1] : d.nzSpace - ranges;
    plan.relayout = d.colStart[j] + d.colCount[j] + plan.extra[j] > limit;
  }
  if (plan.relayout) {
    const int64_t need = storedNonzeros(d) + static_cast<int64_t>(plan.inserts.size()) + ranges;
    plan.newSpace = need <= d.nzSpace ? d.nzSpace : grownNonzeroSpace(env, need);
    plan.newIndex.resize(static_cast<size_t>(plan.newSpace));
    plan.newValue.resize(static_cast<size_t>(plan.newSpace));
  }

}

void commitMerge(Environment *env, Problem *lp, MergePlan &plan, const int *rows, const int *cols,
                 const double *values, ModelEvent event) {
  LpData &d = *lp->lpData;
  const int n = d.numCols;
  modelChanged(env, lp, event);
  // Stored values are scaled: value / (column scale * row scale).
  auto stored = [&](int i, int j, double v) { return v / (colScaleOf(d, j) * rowScaleOf(d, i)); };
  for (size_t u = 0; u < plan.updatePos.size(); ++u) {
    const int64_t k = plan.updatePos[u];
    d.coefValue[k] = stored(d.rowIndex[k], plan.updateCol[u], plan.updateValue[u]);
  }
  // Explicit zeros are never stored, so a zero marks exactly the deleted entries.
  for (int j = 0; j < n; ++j) {
    if (!plan.shrinks[j]) continue;
    int64_t out = d.colStart[j];
    for (int64_t k = d.colStart[j]; k < d.colStart[j] + d.colCount[j]; ++k) {
      if (d.coefValue[k] == 0.0) continue;
      d.rowIndex[out] = d.rowIndex[k];
      d.coefValue[out] = d.coefValue[k];
      ++out;
    }
    d.colCount[j] = static_cast<int>(out - d.colStart[j]);
  }
  if (plan.relayout) {
    int64_t out = 0;
    for (int j = 0; j < n; ++j) {
      const int64_t begin = d.colStart[j];
      std::copy_n(d.rowIndex.begin() + begin, d.colCount[j], plan.newIndex.begin() + out);
      std::copy_n(d.coefValue.begin() + begin, d.colCount[j], plan.newValue.begin() + out);
      d.colStart[j] = out;
      out += d.colCount[j] + plan.extra[j];
    }
    if (plan.newSpace > d.nzSpace) modelChanged(env, lp, ModelEvent::kNonzeroSpaceGrown);
    d.rowIndex.swap(plan.newIndex);
    d.coefValue.swap(plan.newValue);
    d.nzSpace = plan.newSpace;
  }
  // Inserts were collected column by column (from the last triplet back);
  // within a column the order of entries carries no meaning.
  for (const int64_t t : plan.inserts) {
    const int j = cols[t];
    const int64_t k = d.colStart[j] + d.colCount[j];
    d.rowIndex[k] = rows[t];
    d.coefValue[k] = stored(rows[t], j, values[t]);
    ++d.colCount[j];
  }
}

int mergeEntries(Environment *env, Problem *lp, int64_t count, const int *rows, const int *cols,
                 const double *values, bool mayExist, ModelEvent event) {
  MergePlan plan;
  planMerge(env, lp, count, rows, cols, values, mayExist, 0, plan);
  commitMerge(env, lp, plan, rows, cols, values, event);
  return rebuildLogicals(lp);
}

} // namespace qvn
