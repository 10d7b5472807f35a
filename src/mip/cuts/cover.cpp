// Lifted knapsack cover cuts.
//
// A row side a x <= b becomes a knapsack on binaries: a binary with a
// negative coefficient is complemented (z = 1 - x), every other column is
// replaced by its smallest contribution over its bounds. A cover C (items
// whose weights exceed b) gives sum_C z <= |C| - 1. Items outside C are
// lifted one at a time, each exactly against the cover and the items lifted
// before it, by a small knapsack table over the values of the left side.
#include <algorithm>
#include <cmath>

#include "mip/cuts/cut_pool.h"

namespace qvn {

namespace {

struct Item {
  int col;
  double weight;
  bool complemented;
  double z;  // LP value of the literal
};

// One side of row i as a knapsack on the binaries with their LP values.
bool knapsackOf(const CutContext &c, int i, double side, const double *x, EnvVector<KnapsackItem> &knapsack,
                EnvVector<Item> &items, double *capacity) {
  if (!binaryKnapsack(*c.rows, i, side, c.kind, c.lower, c.upper, knapsack, capacity)) return false;
  items.clear();
  for (const KnapsackItem &k : knapsack)
    items.push_back(Item{k.col, k.weight, k.complemented, k.complemented ? 1.0 - x[k.col] : x[k.col]});
  return items.size() >= 2 && *capacity >= 0.0;
}

// Finds a minimal cover that the point nearly violates and offers its lifted cut.
bool coverCut(CutContext &c, EnvVector<Item> &items, double b, const double *x, EnvVector<int> &index,
              EnvVector<double> &value) {
  const double tol = 1e-9 * (1.0 + std::fabs(b));
  double total = 0.0;
  for (const Item &it : items) total += it.weight;
  if (total <= b + tol) return false;
  // Cheapest literals to "pay" for first: small (1 - z) per unit weight.
  std::sort(items.begin(), items.end(), [](const Item &p, const Item &q) {
    const double kp = (1.0 - p.z) / p.weight, kq = (1.0 - q.z) / q.weight;
    return kp != kq ? kp < kq : p.weight > q.weight;
  });
  size_t size = 0;
  double weight = 0.0;
  while (size < items.size() && weight <= b + tol) weight += items[size++].weight;
  if (weight <= b + tol) return false;
  // Minimal: drop members with the smallest LP value while the rest still cover.
  std::sort(items.begin(), items.begin() + static_cast<long>(size),
            [](const Item &p, const Item &q) { return p.z != q.z ? p.z < q.z : p.weight < q.weight; });
  size_t first = 0;
  while (first < size && weight - items[first].weight > b + tol) weight -= items[first++].weight;
  const int coverSize = static_cast<int>(size - first);
  if (coverSize < 1) return false;
  double zSum = 0.0;
  EnvVector<double> mu;  // mu[h]: sum of the h largest cover weights
  for (size_t t = first; t < size; ++t) {
    zSum += items[t].z;
    mu.push_back(items[t].weight);
  }
  std::sort(mu.begin(), mu.end(), std::greater<double>());
  mu.insert(mu.begin(), 0.0);
  for (size_t h = 1; h < mu.size(); ++h) mu[h] += mu[h - 1];
  index.clear();
  value.clear();
  double rhs = coverSize - 1;
  auto put = [&](const Item &it, double coef) {
    index.push_back(it.col);
    value.push_back(it.complemented ? -coef : coef);
    if (it.complemented) rhs -= coef;
  };
  double lifted = 0.0;
  for (size_t t = first; t < size; ++t) put(items[t], 1.0);
  // Sequential up-lifting, literals with larger LP values first. minWeight[v]
  // is the least weight of a choice among the items so far with value v on
  // the left side; an item of weight a then gets R - max{v : minWeight[v] <= b - a}.
  const int R = coverSize - 1;
  EnvVector<double> minWeight(static_cast<size_t>(R) + 1);
  for (int v = 0; v <= R; ++v) minWeight[v] = v == 0 ? 0.0 : minWeight[v - 1] + mu[coverSize - v + 1] - mu[coverSize - v];
  EnvVector<int> order;
  for (size_t t = 0; t < items.size(); ++t)
    if (t < first || t >= size) order.push_back(static_cast<int>(t));
  std::sort(order.begin(), order.end(), [&](int p, int q) {
    return items[p].z != items[q].z ? items[p].z > items[q].z : items[p].weight > items[q].weight;
  });
  for (int t : order) {
    const Item &it = items[t];
    const double cap = b - it.weight;
    int best = -1;
    // Generous with the capacity: a larger best means a smaller, safer coefficient.
    for (int v = R; v >= 0 && best < 0; --v)
      if (minWeight[v] <= cap + tol) best = v;
    const int alpha = best < 0 ? R : R - best;
    if (alpha <= 0) continue;
    put(it, alpha);
    lifted += alpha * it.z;
    for (int v = R; v >= alpha; --v) minWeight[v] = std::min(minWeight[v], minWeight[v - alpha] + it.weight);
  }
  if (zSum + lifted <= coverSize - 1 + 1e-6) return false;
  return offerCut(c, kCutCover, index, value, rhs, x);
}

} // namespace

int separateCovers(MipRun &run, void *data, const double *x, int *added) {
  CutContext &c = *static_cast<CutContext *>(data);
  *added = 0;
  EnvVector<KnapsackItem> knapsack;
  EnvVector<Item> items;
  EnvVector<int> index;
  EnvVector<double> value;
  for (int i = 0; i < c.rows->numRows && c.room > 0; ++i) {
    if ((i & 255) == 255 && cutTimeUp(run, c)) break;
    for (double side : {1.0, -1.0}) {
      double b = 0.0;
      if (!knapsackOf(c, i, side, x, knapsack, items, &b)) continue;
      if (coverCut(c, items, b, x, index, value)) ++*added;
    }
  }
  return 0;
}

} // namespace qvn
