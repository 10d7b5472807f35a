// The rounding step of the node heuristic: integer columns go to the side
// their locks allow (the side no row objects to, else the nearest integer),
// then violated rows are repaired by bounded moves of single columns that
// every other row of that column can absorb. No LP is solved.
#include <algorithm>
#include <cmath>

#include "mip/heuristics/heuristics.h"

namespace qvn {

namespace {

// Passes over the violated rows; each pass moves each column at most once per row.
constexpr int kRepairPasses = 3;
// Violation that counts as satisfied while repairing (the incumbent test decides).
constexpr double kRowTol = 1e-9;
// Rows the repair looks at in one call, to keep the step cheap on big models.
constexpr int kRepairRowLimit = 200;

double rowExcess(const HeuristicState &h, int i) {
  const double a = h.activity[i];
  if (a > h.rowUpper[i] + kRowTol) return a - h.rowUpper[i];
  if (a < h.rowLower[i] - kRowTol) return a - h.rowLower[i];
  return 0.0;
}

// The largest move t >= 0 of column j in direction dir (+1 or -1) that keeps
// every row of j other than `skip` within its limits and j within its bounds.
double roomFor(const MipRun &run, const HeuristicState &h, int j, int dir, int skip) {
  const LpData &d = *run.model;
  const MipSearch &s = *run.search;
  const double v = h.point[j];
  double room = dir > 0 ? s.rootUpper[j] - v : v - s.rootLower[j];
  for (int64_t k = d.colStart[j]; k < d.colStart[j] + d.colCount[j] && room > 0; ++k) {
    const int i = d.rowIndex[k];
    if (i == skip) continue;
    const double change = d.coefValue[k] * dir;  // activity change per unit move
    if (change > 0 && h.rowUpper[i] < kInfinity) room = std::min(room, (h.rowUpper[i] - h.activity[i]) / change);
    if (change < 0 && h.rowLower[i] > -kInfinity) room = std::min(room, (h.rowLower[i] - h.activity[i]) / change);
  }
  return std::max(room, 0.0);
}

void moveColumn(const MipRun &run, HeuristicState &h, int j, double delta) {
  const LpData &d = *run.model;
  h.point[j] += delta;
  for (int64_t k = d.colStart[j]; k < d.colStart[j] + d.colCount[j]; ++k)
    h.activity[d.rowIndex[k]] += d.coefValue[k] * delta;
}

// Tries to bring row i back within its limits by moving one column of it.
bool repairRow(const MipRun &run, HeuristicState &h, int i) {
  const double excess = rowExcess(h, i);
  if (excess == 0.0) return true;
  // Prefer continuous columns: they move by exactly what is needed.
  for (int pass = 0; pass < 2; ++pass) {
    for (int64_t p = h.rowStart[i]; p < h.rowStart[i + 1]; ++p) {
      const int j = h.rowColumn[p];
      const double a = h.rowValue[p];
      const bool integer = isIntegerColumn(run, j);
      if ((pass == 0) == integer || run.search->kind[j] == ColKind::kSemiContinuous) continue;
      // Activity must move by -excess: column moves by -excess / a.
      double delta = -excess / a;
      if (integer) delta = delta > 0 ? std::ceil(delta - 1e-9) : std::floor(delta + 1e-9);
      const int dir = delta > 0 ? 1 : -1;
      if (roomFor(run, h, j, dir, i) + 1e-12 < std::fabs(delta)) continue;
      moveColumn(run, h, j, delta);
      if (rowExcess(h, i) == 0.0) return true;
      moveColumn(run, h, j, -delta);
    }
  }
  return false;
}

} // namespace

int roundingHeuristic(MipRun &run, const double *x, bool *found) {
  *found = false;
  HeuristicState &h = heuristicState(run);
  const LpData &d = *run.model;
  const MipSearch &s = *run.search;
  const int n = d.numCols, m = d.numRows;
  for (int j = 0; j < n; ++j) {
    double v = std::clamp(x[j], s.rootLower[j], s.rootUpper[j]);
    if (isIntegerColumn(run, j)) {
      const double f = v - std::floor(v);
      if (f <= run.control.epint || f >= 1.0 - run.control.epint)
        v = std::round(v);
      else if (h.downLocks[j] == 0)
        v = std::floor(v);
      else if (h.upLocks[j] == 0)
        v = std::ceil(v);
      else
        v = std::round(v);
      if (s.kind[j] == ColKind::kSemiInteger && v != 0.0 && v < s.semiLower[j])
        v = v < 0.5 * s.semiLower[j] ? 0.0 : s.semiLower[j];
    }
    h.point[j] = v;
  }
  std::fill(h.activity.begin(), h.activity.end(), 0.0);
  for (int j = 0; j < n; ++j) {
    const double v = h.point[j];
    if (v == 0.0) continue;
    for (int64_t k = d.colStart[j]; k < d.colStart[j] + d.colCount[j]; ++k)
      h.activity[d.rowIndex[k]] += d.coefValue[k] * v;
  }
  bool clean = true;
  for (int pass = 0; pass < kRepairPasses; ++pass) {
    clean = true;
    int tried = 0;
    for (int i = 0; i < m; ++i) {
      if (rowExcess(h, i) == 0.0) continue;
      if (++tried > kRepairRowLimit) return 0;
      if (!repairRow(run, h, i)) clean = false;
    }
    if (clean) break;
  }
  if (!clean) return 0;
  double z = d.objOffset;
  for (int j = 0; j < n; ++j) z += d.objCoef[j] * h.point[j];
  if (run.sense * z >= s.cutoff) return 0;
  *found = offerIncumbent(run, h.point.data(), static_cast<int>(s.nodeCount), true);
  return 0;
}

} // namespace qvn
