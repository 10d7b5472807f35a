// The dependency checker: equality rows that are linear combinations of
// other equality rows leave the problem.
//
// A sparse Gaussian elimination runs over the live equality rows, sparsest
// row first, with the pivot in each row chosen among the entries within a
// factor 10 of the row's largest by the fewest rows in its column (a
// threshold Markowitz rule by rows). A row that the elimination reduces to
// nothing is a combination of the pivot rows taken before it. Its reduced
// right-hand side tells whether it agrees with them: then it goes, and the
// replay gives it dual 0 and a basic slack, which keeps both the reduced
// costs and the basis of the other rows valid because the row adds nothing
// that they do not already say. A row whose reduced entries are exactly
// cancelled but whose reduced rhs is far from 0 proves the rows
// inconsistent. Anything in between stays in the problem: dropping or
// refusing a row on a doubtful test would change the answer.
//
// The effort is bounded: when the fill or the work grows beyond a multiple
// of the rows' size the search stops, and the rows found so far still go
// (each was shown dependent on rows that stay).
//
// Which row of a dependent set goes is not neutral for the dual simplex. On
// a flow network (one row per node, rank one short) the dropped node becomes
// a fixed root that absorbs any imbalance for free: the basis trees grow
// around it and the rows of the inverse basis get denser. With all rows kept
// the redundant slack stays basic at a node the iterations choose. Measured on
// generated grid networks, other simplex codes slow down the same way on the
// same reduced model (1.6x to 4x depending on the node), and no static choice
// of node (degree, supply, cost of the node's arcs, centre or corner) was
// better across sizes than the one this order gives; so the order stays.
#include <algorithm>
#include <cmath>

#include "presolve/presolve_state.h"
#include "runtime/environment.h"

namespace qvn {

namespace {

constexpr double kPivotRatio = 0.1;   // a pivot is at least this part of its row's largest entry
constexpr double kDependentTol = 1e-8;  // a row whose entries fell below this (relative) is dependent
constexpr double kCancelTol = 1e-11;  // entries below this (relative to the row's scale) are cancellation

struct Elimination {
  // Local rows: their entries (local column, value), rhs and the magnitude
  // of what was combined into them, to judge cancellation.
  EnvVector<EnvVector<std::pair<int, double>>> rows;
  EnvVector<double> rhs, scale, rhsScale;
  EnvVector<char> done;
  EnvVector<EnvVector<int>> colRows;  // rows that hold (or held) the column
  EnvVector<int> colCount;           // active rows that hold the column
  EnvVector<int> pos;                // column -> position in the row being changed, else -1
  EnvVector<std::pair<int, int>> heap;  // (count, row), smallest first, stale entries skipped
  int64_t work = 0, budget = 0, nonzeros = 0, nonzeroLimit = 0;

  void push(int r) {
    heap.push_back({static_cast<int>(rows[r].size()), r});
    std::push_heap(heap.begin(), heap.end(), std::greater<>());
  }

  // Row r -= f * row p, with the pivot column c cancelled exactly.
  void combine(int r, int p, int c, double f) {
    auto &row = rows[r];
    for (size_t k = 0; k < row.size(); ++k) pos[row[k].first] = static_cast<int>(k);
    for (const auto &[k, v] : rows[p]) {
      if (k == c) continue;
      const int at = pos[k];
      if (at >= 0) {
        row[at].second -= f * v;
      } else {
        pos[k] = static_cast<int>(row.size());
        row.push_back({k, -f * v});
        colRows[k].push_back(r);
        ++colCount[k];
        ++nonzeros;
      }
    }
    work += static_cast<int64_t>(rows[p].size() + row.size());
    rhs[r] -= f * rhs[p];
    scale[r] = std::max(scale[r], std::fabs(f) * scale[p]);
    rhsScale[r] = std::max(rhsScale[r], std::fabs(f) * rhsScale[p]);
    const double drop = kCancelTol * scale[r];
    size_t out = 0;
    for (size_t k = 0; k < row.size(); ++k) {
      pos[row[k].first] = -1;
      if (row[k].first == c || std::fabs(row[k].second) <= drop) {
        --colCount[row[k].first];
        --nonzeros;
        continue;
      }
      row[out++] = row[k];
    }
    row.resize(out);
    push(r);
  }

  void retire(int p) {
    done[p] = 1;
    for (const auto &[k, v] : rows[p]) --colCount[k];
  }
};

} // namespace

int dependentRows(Environment *env, const Problem *lp, PresolveState &s) {
  EnvVector<int> eqRows;
  for (int i = 0; i < s.numRows; ++i)
    if (s.rowLive[i] > 0 && s.rowLower[i] == s.rowUpper[i]) eqRows.push_back(i);
  if (eqRows.size() < 2) return 0;
  const int m = static_cast<int>(eqRows.size());
  Elimination el;
  el.rows.resize(static_cast<size_t>(m));
  el.rhs.resize(static_cast<size_t>(m));
  el.scale.resize(static_cast<size_t>(m));
  el.rhsScale.resize(static_cast<size_t>(m));
  el.done.assign(static_cast<size_t>(m), 0);
  EnvVector<int> localCol(static_cast<size_t>(s.numCols), -1);
  // Each column is divided by its largest entry in these rows: dependence
  // does not change with the scale of a column, but the tests of small
  // entries against a row's largest do, and a badly scaled column must not
  // look like cancellation.
  EnvVector<double> colMax(static_cast<size_t>(s.numCols), 0.0);
  for (int r = 0; r < m; ++r)
    for (int e : s.rowEntries[eqRows[r]]) {
      const PresolveEntry &en = s.entries[e];
      if (en.alive) colMax[en.col] = std::max(colMax[en.col], std::fabs(en.value));
    }
  int cols = 0;
  for (int r = 0; r < m; ++r) {
    const int i = eqRows[r];
    double big = 0.0;
    for (int e : s.rowEntries[i]) {
      const PresolveEntry &en = s.entries[e];
      if (!en.alive) continue;
      if (localCol[en.col] < 0) localCol[en.col] = cols++;
      const double v = en.value / colMax[en.col];
      el.rows[r].push_back({localCol[en.col], v});
      big = std::max(big, std::fabs(v));
    }
    // The right-hand side is measured by its own size: a row scaled down
    // has a small one, and an absolute floor would hide a real mismatch.
    el.rhs[r] = s.rowLower[i];
    el.scale[r] = big;
    el.rhsScale[r] = std::fabs(s.rowLower[i]);
    el.nonzeros += static_cast<int64_t>(el.rows[r].size());
  }
  el.colRows.resize(static_cast<size_t>(cols));
  el.colCount.assign(static_cast<size_t>(cols), 0);
  el.pos.assign(static_cast<size_t>(cols), -1);
  for (int r = 0; r < m; ++r)
    for (const auto &[k, v] : el.rows[r]) {
      el.colRows[k].push_back(r);
      ++el.colCount[k];
    }
  el.budget = 200 * el.nonzeros + 2000000;
  el.nonzeroLimit = 8 * el.nonzeros + 200000;
  for (int r = 0; r < m; ++r) el.push(r);

  EnvVector<int> dependent;
  while (!el.heap.empty()) {
    std::pop_heap(el.heap.begin(), el.heap.end(), std::greater<>());
    const auto [count, p] = el.heap.back();
    el.heap.pop_back();
    if (el.done[p] || count != static_cast<int>(el.rows[p].size())) continue;
    auto &row = el.rows[p];
    double big = 0.0;
    for (const auto &[k, v] : row) big = std::max(big, std::fabs(v));
    if (big <= kDependentTol * el.scale[p]) {
      const double residual = std::fabs(el.rhs[p]);
      if (residual <= 1e-9 * el.rhsScale[p]) {
        dependent.push_back(eqRows[p]);
      } else if (big <= 1e-12 * el.scale[p] && residual > std::max(1e-6, 100.0 * s.feasTol) * el.rhsScale[p]) {
        char buf[32];
        if (env->generalParams->simdisplay != 0)
          QVNmsg(env->resultsChannel, "Row '%.255s' is dependent and infeasible.\n", rowNameOf(lp, eqRows[p], buf));
        return QVNERR_PRESLV_INForUNBD;
      }
      el.retire(p);  // doubtful rows stay in the problem, unpivoted
      continue;
    }
    int pivotCol = -1;
    double pivot = 0.0;
    for (const auto &[k, v] : row) {
      if (std::fabs(v) < kPivotRatio * big) continue;
      if (pivotCol < 0 || el.colCount[k] < el.colCount[pivotCol] ||
          (el.colCount[k] == el.colCount[pivotCol] && std::fabs(v) > std::fabs(pivot)))
        pivotCol = k, pivot = v;
    }
    el.retire(p);
    // Every other active row with the pivot column loses it.
    for (int r : el.colRows[pivotCol]) {
      if (el.done[r]) continue;
      double arc = 0.0;
      for (const auto &[k, v] : el.rows[r])
        if (k == pivotCol) arc = v;
      if (arc == 0.0) continue;
      el.combine(r, p, pivotCol, arc / pivot);
    }
    el.colRows[pivotCol] = EnvVector<int>();
    if (el.work > el.budget || el.nonzeros > el.nonzeroLimit) break;
  }
  for (int i : dependent) removeRow(s, i);
  s.dependentRows += static_cast<int>(dependent.size());
  return 0;
}

} // namespace qvn
