// Clique cuts: a set of pairwise conflicting literals has at most one true,
// sum_{j+1 in C} x_j + sum_{-(j+1) in C} (1 - x_j) <= 1. Cliques are grown
// greedily in the conflict graph from each literal with a positive LP value,
// heaviest neighbours first, then extended by literals at 0 (which makes the
// cut stronger without changing its violation).
#include <algorithm>
#include <cmath>

#include "mip/clique_table.h"
#include "mip/cuts/cut_pool.h"

namespace qvn {

namespace {

// Start literals tried per round.
constexpr int kMaxStarts = 2000;

} // namespace

int separateCliques(MipRun &run, void *data, const double *x, int *added) {
  (void)run;
  CutContext &c = *static_cast<CutContext *>(data);
  *added = 0;
  const CliqueTable &t = c.pool->cliques;
  if (t.adjacent.empty()) return 0;
  auto valueOf = [&](int slot) { return slot % 2 == 0 ? x[slot / 2] : 1.0 - x[slot / 2]; };
  EnvVector<int> starts;
  for (int s = 0; s < t.literalCount; ++s)
    if (!t.adjacent[s].empty() && valueOf(s) > 1e-6) starts.push_back(s);
  std::sort(starts.begin(), starts.end(), [&](int a, int b) {
    const double va = valueOf(a), vb = valueOf(b);
    return va != vb ? va > vb : a < b;
  });
  if (static_cast<int>(starts.size()) > kMaxStarts) starts.resize(kMaxStarts);
  EnvVector<int> clique, cands, index;
  EnvVector<double> value;
  for (int s : starts) {
    if (c.room <= 0) break;
    clique.assign(1, s);
    cands.assign(t.adjacent[s].begin(), t.adjacent[s].end());
    std::sort(cands.begin(), cands.end(), [&](int a, int b) {
      const double va = valueOf(a), vb = valueOf(b);
      return va != vb ? va > vb : a < b;
    });
    double weight = valueOf(s);
    for (int q : cands) {
      // A column and its complement never sit in one clique of this kind.
      bool fits = true;
      for (int m : clique) fits = fits && (m / 2 != q / 2) && inConflict(t, m, q);
      if (!fits) continue;
      clique.push_back(q);
      weight += valueOf(q);
    }
    if (weight <= 1.0 + 1e-4) continue;
    index.clear();
    value.clear();
    double rhs = 1.0;
    for (int m : clique) {
      index.push_back(m / 2);
      value.push_back(m % 2 == 0 ? 1.0 : -1.0);
      if (m % 2 == 1) rhs -= 1.0;
    }
    if (offerCut(c, kCutClique, index, value, rhs, x)) ++*added;
  }
  return 0;
}

} // namespace qvn
