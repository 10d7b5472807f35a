// Clique extraction from rows and the conflict graph.
#include "mip/clique_table.h"

#include <algorithm>
#include <cmath>

#include "mip/cuts/cut_pool.h"

namespace qvn {

namespace {

constexpr double kInfiniteBound = 1e20;
// Work bounds: members kept and conflict edges stored.
constexpr long kMaxMembers = 2000000;
constexpr long kMaxEdges = 4000000;

struct Weighted {
  int literal;
  double weight;
};

void addClique(CliqueTable &t, const EnvVector<int> &literals) {
  if (literals.size() < 2 || static_cast<long>(t.members.size() + literals.size()) > kMaxMembers) return;
  if (t.start.empty()) t.start.push_back(0);
  t.members.insert(t.members.end(), literals.begin(), literals.end());
  t.start.push_back(static_cast<int>(t.members.size()));
  t.origin[0] += static_cast<int>(literals.size());
}

// Cliques of one row side a x <= b: the heaviest items while the two lightest
// of them still exceed b together, and each lighter item with the heavy items
// it cannot join.
void cliquesOfSide(CliqueTable &t, const RowModel &r, int i, double side, const ColKind *kind, const double *lower,
                   const double *upper, EnvVector<Weighted> &items, EnvVector<int> &clique) {
  double b = side > 0 ? r.up[i] : -r.lo[i];
  if (!std::isfinite(b) || std::fabs(b) >= kInfiniteBound) return;
  items.clear();
  for (int p = r.start[i]; p < r.start[i + 1]; ++p) {
    const int j = r.column[p];
    const double a = side * r.value[p];
    if (a == 0.0) continue;
    if (kind[j] == ColKind::kInteger && lower[j] == 0.0 && upper[j] == 1.0) {
      if (a > 0)
        items.push_back(Weighted{j + 1, a});
      else {
        items.push_back(Weighted{-(j + 1), -a});
        b -= a;
      }
      continue;
    }
    const double bound = a > 0 ? lower[j] : upper[j];
    if (std::fabs(bound) >= kInfiniteBound) return;
    b -= a * bound;
  }
  if (items.size() < 2) return;
  const double tol = 1e-9 * (1.0 + std::fabs(b));
  std::sort(items.begin(), items.end(), [](const Weighted &p, const Weighted &q) {
    return p.weight != q.weight ? p.weight > q.weight : p.literal < q.literal;
  });
  if (items[0].weight + items[1].weight <= b + tol) return;
  size_t k = 2;
  while (k < items.size() && items[k].weight + items[k - 1].weight > b + tol) ++k;
  clique.clear();
  for (size_t s = 0; s < k; ++s) clique.push_back(items[s].literal);
  addClique(t, clique);
  for (size_t s = k; s < items.size(); ++s) {
    size_t p = 0;
    while (p < k && items[p].weight + items[s].weight > b + tol) ++p;
    if (p == 0) break;  // lighter items conflict with nothing
    clique.clear();
    for (size_t q = 0; q < p; ++q) clique.push_back(items[q].literal);
    clique.push_back(items[s].literal);
    if (p >= 2 || s == k) addClique(t, clique);
  }
}

} // namespace

void buildCliqueTable(const LpData &d, const RowModel &rows, const ColKind *kind, const double *lower,
                      const double *upper, CliqueTable &table) {
  table = CliqueTable{};
  table.literalCount = 2 * d.numCols;
  EnvVector<Weighted> items;
  EnvVector<int> clique;
  for (int i = 0; i < rows.numRows; ++i)
    for (double side : {1.0, -1.0}) cliquesOfSide(table, rows, i, side, kind, lower, upper, items, clique);
  table.adjacent.assign(static_cast<size_t>(table.literalCount), EnvVector<int>());
  long edges = 0;
  for (int k = 0; k < cliqueCount(table); ++k) {
    const long size = table.start[k + 1] - table.start[k];
    if (edges + size * (size - 1) > kMaxEdges) continue;
    edges += size * (size - 1);
    for (int p = table.start[k]; p < table.start[k + 1]; ++p)
      for (int q = table.start[k]; q < table.start[k + 1]; ++q)
        if (p != q) table.adjacent[literalSlot(table.members[p])].push_back(literalSlot(table.members[q]));
  }
  for (EnvVector<int> &a : table.adjacent) {
    std::sort(a.begin(), a.end());
    a.erase(std::unique(a.begin(), a.end()), a.end());
  }
}

bool inConflict(const CliqueTable &t, int slotA, int slotB) {
  const EnvVector<int> &a = t.adjacent[slotA];
  return std::binary_search(a.begin(), a.end(), slotB);
}

} // namespace qvn
