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
// Literals at 0 tried to extend a violated clique.
constexpr int kMaxExtension = 200;

} // namespace

int separateCliques(MipRun &run, void *data, const double *x, int *added) {
  CutContext &c = *static_cast<CutContext *>(data);
  *added = 0;
  const CliqueTable &t = c.pool->cliques;
  if (!t.indexed()) return 0;
  auto valueOf = [&](int slot) { return slot % 2 == 0 ? x[slot / 2] : 1.0 - x[slot / 2]; };
  auto byValue = [&](int a, int b) {
    const double va = valueOf(a), vb = valueOf(b);
    return va != vb ? va > vb : a < b;
  };
  EnvVector<int> starts;
  for (int s = 0; s < t.literalCount; ++s)
    if (t.occurrenceStart[s + 1] > t.occurrenceStart[s] && valueOf(s) > 1e-6) starts.push_back(s);
  std::sort(starts.begin(), starts.end(), byValue);
  if (static_cast<int>(starts.size()) > kMaxStarts) starts.resize(kMaxStarts);
  EnvVector<char> mark(static_cast<size_t>(t.literalCount), 0);
  EnvVector<int> clique, positive, zero, index;
  EnvVector<double> value;
  for (int s : starts) {
    if (c.room <= 0 || cutTimeUp(run, c)) break;
    // The literals in conflict with s, by their LP values.
    positive.clear();
    zero.clear();
    for (int q = t.occurrenceStart[s]; q < t.occurrenceStart[s + 1]; ++q) {
      const int k = t.occurrence[q];
      for (int p = t.start[k]; p < t.start[k + 1]; ++p) {
        const int m = literalSlot(t.members[p]);
        if (m == s || mark[m]) continue;
        mark[m] = 1;
        (valueOf(m) > 1e-6 ? positive : zero).push_back(m);
      }
    }
    for (int m : positive) mark[m] = 0;
    for (int m : zero) mark[m] = 0;
    std::sort(positive.begin(), positive.end(), byValue);
    clique.assign(1, s);
    double weight = valueOf(s);
    auto fits = [&](int q) {
      // A column and its complement never sit in one clique of this kind.
      for (int m : clique)
        if (m / 2 == q / 2 || !inConflict(t, m, q)) return false;
      return true;
    };
    for (int q : positive)
      if (fits(q)) {
        clique.push_back(q);
        weight += valueOf(q);
      }
    if (weight <= 1.0 + 1e-4) continue;
    // Literals at 0 make the cut stronger without changing its violation.
    int tried = 0;
    for (int q : zero) {
      if (++tried > kMaxExtension) break;
      if (fits(q)) clique.push_back(q);
    }
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
