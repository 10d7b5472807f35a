// The pivot row alpha_r = rho^T [A, -I]: row-wise over the rows where rho has
// entries when that touches fewer entries than a pass over all nonbasic
// columns, column-wise otherwise. The row copy is packed by the basis, so the
// row-wise product costs the nonbasic entries of rho's rows only.
#include <algorithm>
#include <utility>

#include "simplex/engine.h"

namespace qvn {

namespace {

// A row-wise entry costs a scattered update and a mark, a random access each
// on a long row; a column-wise one a gathered product in column order.
// Row-wise is taken while its work, so weighted, is lower. Timed on the long
// rows of B^-1 of large network LPs, a scattered entry costs about four
// gathered ones (a weight of 2 left those rows row-wise at 13% more time).
constexpr double kRowEntryCost = 4.0;

bool packedFits(const SimplexEngine &e) {
  const PackedRows &p = e.packed;
  return p.valid && p.start.size() == static_cast<size_t>(e.m) + 1 &&
         p.index.size() == static_cast<size_t>(e.lp->aStart[e.n]);
}

void swapPlaces(PackedRows &p, int a, int b) {
  if (a == b) return;
  std::swap(p.index[a], p.index[b]);
  std::swap(p.value[a], p.value[b]);
  std::swap(p.entryAtPlace[a], p.entryAtPlace[b]);
  p.placeOfEntry[p.entryAtPlace[a]] = a;
  p.placeOfEntry[p.entryAtPlace[b]] = b;
}

void rowWise(SimplexEngine &e) {
  const PackedRows &p = e.packed;
  HVector &row = e.rowAlpha;
  const HVector &rho = e.rowRho;
  double *a = row.array.data();
  char *mark = e.rowMark.data();
  int count = 0;
  for (int k = 0; k < rho.count; ++k) {
    const int i = rho.index[k];
    const double r = rho.array[i];
    if (r == 0.0) continue;
    for (int q = p.start[i]; q < p.nonbasicEnd[i]; ++q) {
      const int j = p.index[q];
      a[j] += r * p.value[q];
      if (!mark[j]) mark[j] = 1, row.index[count++] = j;
    }
    if (e.basicPos[e.n + i] < 0) a[e.n + i] = -r, row.index[count++] = e.n + i;
  }
  for (int k = 0; k < count; ++k) mark[row.index[k]] = 0;
  row.count = count;
  ++e.rowWiseRows;
}

void columnWise(SimplexEngine &e) {
  const WorkLp &lp = *e.lp;
  HVector &row = e.rowAlpha;
  double *a = row.array.data();
  const double *rho = e.rowRho.array.data();
  // Basic columns are left out: the loops never read their entries.
  for (int j = 0; j < e.n; ++j)
    if (e.basicPos[j] < 0) a[j] = columnDot(lp, j, rho);
  for (int i = 0; i < e.m; ++i)
    if (e.basicPos[e.n + i] < 0) a[e.n + i] = -rho[i];
  hvReindex(row);
  ++e.columnWiseRows;
}

} // namespace

void packRows(SimplexEngine &e) {
  const WorkLp &lp = *e.lp;
  PackedRows &p = e.packed;
  const int m = e.m, nz = lp.aStart[e.n];
  p.start.assign(static_cast<size_t>(m) + 1, 0);
  p.nonbasicEnd.assign(static_cast<size_t>(m > 0 ? m : 1), 0);
  p.index.resize(static_cast<size_t>(nz));
  p.value.resize(static_cast<size_t>(nz));
  p.placeOfEntry.resize(static_cast<size_t>(nz));
  p.entryAtPlace.resize(static_cast<size_t>(nz));
  for (int k = 0; k < nz; ++k) ++p.start[lp.aIndex[k] + 1];
  for (int i = 0; i < m; ++i) p.start[i + 1] += p.start[i];
  // Nonbasic columns fill each row from the front, basic ones from the back.
  EnvVector<int> back(p.start.begin() + 1, p.start.end());
  for (int i = 0; i < m; ++i) p.nonbasicEnd[i] = p.start[i];
  for (int j = 0; j < e.n; ++j) {
    const bool basic = e.basicPos[j] >= 0;
    for (int k = lp.aStart[j]; k < lp.aStart[j + 1]; ++k) {
      const int i = lp.aIndex[k];
      const int place = basic ? --back[i] : p.nonbasicEnd[i]++;
      p.index[place] = j;
      p.value[place] = lp.aValue[k];
      p.placeOfEntry[k] = place;
      p.entryAtPlace[place] = k;
    }
  }
  p.valid = true;
}

void packedColumnMoved(SimplexEngine &e, int j, bool nowBasic) {
  PackedRows &p = e.packed;
  if (!p.valid || j >= e.n) return;
  const WorkLp &lp = *e.lp;
  for (int k = lp.aStart[j]; k < lp.aStart[j + 1]; ++k) {
    const int i = lp.aIndex[k];
    if (nowBasic)
      swapPlaces(p, p.placeOfEntry[k], --p.nonbasicEnd[i]);
    else
      swapPlaces(p, p.placeOfEntry[k], p.nonbasicEnd[i]++);
  }
}

void computePivotRow(SimplexEngine &e) {
  hvClear(e.rowAlpha);
  const HVector &rho = e.rowRho;
  PivotRowPath path = e.pivotRowPath;
  if (path == PivotRowPath::kRowWise && rho.count < 0) hvReindex(e.rowRho);
  if (path == PivotRowPath::kMeasured) {
    path = PivotRowPath::kColumnWise;
    if (rho.count >= 0) {
      if (!packedFits(e)) packRows(e);
      // The work of each path, measured on this rho: the nonbasic entries of
      // its rows against every nonbasic column's entries and all variables.
      const double columnWork = static_cast<double>(e.lp->aStart[e.n]) + e.nt;
      const double limit = columnWork / kRowEntryCost;
      double rowWork = 0.0;
      for (int k = 0; k < rho.count && rowWork < limit; ++k) {
        const int i = rho.index[k];
        rowWork += 1.0 + e.packed.nonbasicEnd[i] - e.packed.start[i];
      }
      if (rowWork < limit) path = PivotRowPath::kRowWise;
    }
  }
  if (path == PivotRowPath::kRowWise) {
    if (!packedFits(e)) packRows(e);
    rowWise(e);
  } else {
    columnWise(e);
  }
}

} // namespace qvn
