// Clique extraction from rows and the conflict graph.
#include "mip/clique_table.h"

#include <algorithm>
#include <cmath>

#include "mip/cuts/cut_pool.h"

namespace qvn {

namespace {

constexpr double kInfiniteBound = 1e20;
// Work bound: members kept.
constexpr long kMaxMembers = 4000000;

struct Weighted {
  int literal;
  double weight;
};

// Cliques of one row side a x <= b: the heaviest items while the two lightest
// of them still exceed b together, and each lighter item with the heavy items
// it cannot join.
void cliquesOfSide(CliqueTable &t, const RowModel &r, int i, double side, const ColKind *kind, const double *lower,
                   const double *upper, EnvVector<KnapsackItem> &knapsack, EnvVector<Weighted> &items,
                   EnvVector<int> &clique) {
  double b = 0.0;
  if (!binaryKnapsack(r, i, side, kind, lower, upper, knapsack, &b) || knapsack.size() < 2) return;
  items.clear();
  for (const KnapsackItem &it : knapsack)
    items.push_back(Weighted{it.complemented ? -(it.col + 1) : it.col + 1, it.weight});
  const double tol = 1e-9 * (1.0 + std::fabs(b));
  std::sort(items.begin(), items.end(), [](const Weighted &p, const Weighted &q) {
    return p.weight != q.weight ? p.weight > q.weight : p.literal < q.literal;
  });
  if (items[0].weight + items[1].weight <= b + tol) return;
  size_t k = 2;
  while (k < items.size() && items[k].weight + items[k - 1].weight > b + tol) ++k;
  clique.clear();
  for (size_t s = 0; s < k; ++s) clique.push_back(items[s].literal);
  addClique(t, clique.data(), static_cast<int>(clique.size()), kFromRows);
  for (size_t s = k; s < items.size(); ++s) {
    size_t p = 0;
    while (p < k && items[p].weight + items[s].weight > b + tol) ++p;
    if (p == 0) break;  // lighter items conflict with nothing
    clique.clear();
    for (size_t q = 0; q < p; ++q) clique.push_back(items[q].literal);
    clique.push_back(items[s].literal);
    if (p >= 2 || s == k) addClique(t, clique.data(), static_cast<int>(clique.size()), kFromRows);
  }
}

} // namespace

void addClique(CliqueTable &t, const int *literals, int count, int origin) {
  if (count < 2 || static_cast<long>(t.members.size()) + count > kMaxMembers) return;
  if (t.start.empty()) t.start.push_back(0);
  t.members.insert(t.members.end(), literals, literals + count);
  t.start.push_back(static_cast<int>(t.members.size()));
  t.origin[origin] += count;
}

bool binaryKnapsack(const RowModel &r, int i, double side, const ColKind *kind, const double *lower,
                    const double *upper, EnvVector<KnapsackItem> &items, double *capacity) {
  double b = side > 0 ? r.up[i] : -r.lo[i];
  if (!std::isfinite(b) || std::fabs(b) >= kInfiniteBound) return false;
  items.clear();
  for (int p = r.start[i]; p < r.start[i + 1]; ++p) {
    const int j = r.column[p];
    const double a = side * r.value[p];
    if (a == 0.0) continue;
    if (kind[j] == ColKind::kInteger && lower[j] == 0.0 && upper[j] == 1.0) {
      if (a > 0)
        items.push_back(KnapsackItem{j, a, false});
      else {
        items.push_back(KnapsackItem{j, -a, true});
        b -= a;
      }
      continue;
    }
    const double bound = a > 0 ? lower[j] : upper[j];
    if (std::fabs(bound) >= kInfiniteBound) return false;
    b -= a * bound;
  }
  *capacity = b;
  return true;
}

void buildCliqueTable(const LpData &d, const RowModel &rows, const ColKind *kind, const double *lower,
                      const double *upper, CliqueTable &table) {
  table = CliqueTable{};
  table.literalCount = 2 * d.numCols;
  EnvVector<KnapsackItem> knapsack;
  EnvVector<Weighted> items;
  EnvVector<int> clique;
  for (int i = 0; i < rows.numRows; ++i)
    for (double side : {1.0, -1.0}) cliquesOfSide(table, rows, i, side, kind, lower, upper, knapsack, items, clique);
  indexCliques(table);
}

void indexCliques(CliqueTable &t) {
  const int cliques = cliqueCount(t);
  t.occurrenceStart.assign(static_cast<size_t>(t.literalCount) + 1, 0);
  for (int k = 0; k < cliques; ++k) {
    int *first = t.members.data() + t.start[k], *last = t.members.data() + t.start[k + 1];
    std::sort(first, last, [](int a, int b) { return literalSlot(a) < literalSlot(b); });
    for (const int *m = first; m < last; ++m) ++t.occurrenceStart[literalSlot(*m) + 1];
  }
  for (int s = 0; s < t.literalCount; ++s) t.occurrenceStart[s + 1] += t.occurrenceStart[s];
  t.occurrence.assign(static_cast<size_t>(t.occurrenceStart[t.literalCount]), 0);
  EnvVector<int> fill(t.occurrenceStart.begin(), t.occurrenceStart.end() - 1);
  for (int k = 0; k < cliques; ++k)
    for (int p = t.start[k]; p < t.start[k + 1]; ++p) t.occurrence[fill[literalSlot(t.members[p])]++] = k;
}

bool inConflict(const CliqueTable &t, int slotA, int slotB) {
  if (!t.indexed() || slotA == slotB) return false;
  // Search the cliques of the rarer literal for the other one.
  if (t.occurrenceStart[slotA + 1] - t.occurrenceStart[slotA] > t.occurrenceStart[slotB + 1] - t.occurrenceStart[slotB])
    std::swap(slotA, slotB);
  for (int q = t.occurrenceStart[slotA]; q < t.occurrenceStart[slotA + 1]; ++q) {
    const int k = t.occurrence[q];
    const int *first = t.members.data() + t.start[k], *last = t.members.data() + t.start[k + 1];
    const int *at = std::lower_bound(first, last, slotB, [](int m, int slot) { return literalSlot(m) < slot; });
    if (at != last && literalSlot(*at) == slotB) return true;
  }
  return false;
}

} // namespace qvn
