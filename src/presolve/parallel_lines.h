// Search for parallel lines, rows or columns alike: the same index pattern
// and values in a constant ratio. Candidates are found by a hash of the
// pattern and of the values divided by the first one; within a bucket each
// line is compared with a bounded number of later ones, and a line alone in
// its bucket costs only its hash.
#pragma once
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <utility>

#include "presolve/presolve_state.h"

namespace qvn {

using LineEntries = EnvVector<std::pair<int, double>>;

// `entries(k, out)` fills line k's live entries sorted by index, or leaves
// out empty for a line to skip. `visit(first, second, ratio)` handles a pair
// (line second = ratio * line first) and returns 0 to go on, -1 once `first`
// is gone, or an error that ends the search. A visit may change which lines
// are live.
template <class Entries, class Visit> int forParallelPairs(int count, Entries entries, Visit visit) {
  struct Key {
    uint64_t hash;
    int line;
  };
  EnvVector<Key> keys;
  LineEntries a, b;
  for (int k = 0; k < count; ++k) {
    entries(k, a);
    if (a.empty()) continue;
    uint64_t h = 1469598103934665603ull;
    const double v0 = a[0].second;
    for (auto [i, v] : a) {
      h = (h ^ static_cast<uint64_t>(i)) * 1099511628211ull;
      h = (h ^ static_cast<uint64_t>(std::llround(v / v0 * 1e6))) * 1099511628211ull;
    }
    keys.push_back({h, k});
  }
  std::sort(keys.begin(), keys.end(),
            [](const Key &x, const Key &y) { return x.hash != y.hash ? x.hash < y.hash : x.line < y.line; });
  for (size_t g = 0; g < keys.size();) {
    size_t end = g + 1;
    while (end < keys.size() && keys[end].hash == keys[g].hash) ++end;
    // A line alone under its hash has no partner: most lines are, and their
    // entries need not be gathered a second time.
    for (size_t p = g; p + 1 < end; ++p) {
      const int first = keys[p].line;
      entries(first, a);
      if (a.empty()) continue;
      for (size_t q = p + 1; q < end && q < p + 16; ++q) {
        const int second = keys[q].line;
        entries(second, b);
        if (b.size() != a.size()) continue;
        const double ratio = b[0].second / a[0].second;
        bool same = true;
        for (size_t t = 0; t < a.size() && same; ++t) {
          const double f = b[t].second / (a[t].second * ratio);
          same = a[t].first == b[t].first && f > 0.9999999999999997 && f < 1.0000000000000002;
        }
        if (!same) continue;
        const int status = visit(first, second, ratio);
        if (status > 0) return status;
        if (status < 0) break;  // first is gone
        entries(first, a);
      }
    }
    g = end;
  }
  return 0;
}

} // namespace qvn
