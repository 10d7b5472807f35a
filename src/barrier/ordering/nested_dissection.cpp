// Nested dissection by our own bisection: a vertex separator taken from a
// breadth-first level structure rooted at a pseudo-peripheral vertex, the
// level chosen for a small separator between two sides of similar size, then
// trimmed of separator vertices that touch only one side. The two sides are
// ordered first (recursively), the separator last; pieces below kLeafSize
// vertices, or without a usable level structure, are ordered by approximate
// minimum degree on their own subgraph. Disconnected pieces are ordered one
// component at a time with no separator.
#include <algorithm>

#include "barrier/ordering/ordering.h"

namespace qvn {

namespace {

constexpr int kLeafSize = 200;

struct Dissector {
  const SymGraph &g;
  EnvVector<int> &perm;
  int at = 0;
  EnvVector<int> member, seen, level, queue, local, lStart, lIndex, lPerm;
  int memberStamp = 0, seenStamp = 0;

  Dissector(const SymGraph &graph, EnvVector<int> &out) : g(graph), perm(out) {}

  void markSet(const EnvVector<int> &set) {
    ++memberStamp;
    for (int v : set) member[v] = memberStamp;
  }
  bool inSet(int v) const { return member[v] == memberStamp; }

  // Breadth-first levels from root inside the marked set: level[v] of each
  // reached vertex, queue in visiting order. Returns the number of levels.
  int levels(int root) {
    ++seenStamp;
    queue.clear();
    queue.push_back(root);
    level[root] = 0;
    seen[root] = seenStamp;
    int height = 1;
    for (size_t h = 0; h < queue.size(); ++h) {
      const int v = queue[h];
      for (int t = g.start[v]; t < g.start[v + 1]; ++t) {
        const int u = g.index[t];
        if (!inSet(u) || seen[u] == seenStamp) continue;
        seen[u] = seenStamp;
        level[u] = level[v] + 1;
        height = std::max(height, level[u] + 1);
        queue.push_back(u);
      }
    }
    return height;
  }

  int degreeIn(int v) const {
    int d = 0;
    for (int t = g.start[v]; t < g.start[v + 1]; ++t) d += inSet(g.index[t]) ? 1 : 0;
    return d;
  }

  void orderLeaf(const EnvVector<int> &set) {
    const int n = static_cast<int>(set.size());
    for (int i = 0; i < n; ++i) local[set[i]] = i;
    markSet(set);
    lStart.assign(static_cast<size_t>(n) + 1, 0);
    lIndex.clear();
    for (int i = 0; i < n; ++i) {
      const int v = set[i];
      for (int t = g.start[v]; t < g.start[v + 1]; ++t)
        if (inSet(g.index[t])) lIndex.push_back(local[g.index[t]]);
      lStart[i + 1] = static_cast<int>(lIndex.size());
    }
    SymGraph sub;
    sub.n = n;
    sub.start = lStart.data();
    sub.index = lIndex.data();
    approximateMinimumDegree(sub, lPerm);
    for (int i = 0; i < n; ++i) perm[at++] = set[lPerm[i]];
  }

  // Splits set into pieces pushed on the task stack (the piece to order first
  // goes last), or orders it at once.
  void split(EnvVector<int> &set, EnvVector<EnvVector<int>> &tasks, EnvVector<char> &emitOnly) {
    if (static_cast<int>(set.size()) <= kLeafSize) {
      orderLeaf(set);
      return;
    }
    markSet(set);
    int root = set[0], best = degreeIn(set[0]);
    for (int v : set) {
      const int d = degreeIn(v);
      if (d < best) best = d, root = v;
    }
    int height = levels(root);
    if (queue.size() < set.size()) {
      // More than one component: this one, then the rest.
      EnvVector<int> first(queue.begin(), queue.end()), rest;
      for (int v : set)
        if (seen[v] != seenStamp) rest.push_back(v);
      tasks.push_back(std::move(rest));
      emitOnly.push_back(0);
      tasks.push_back(std::move(first));
      emitOnly.push_back(0);
      return;
    }
    // Pseudo-peripheral root: restart from the far end while the height grows.
    for (int round = 0; round < 4; ++round) {
      int far = queue.back(), farDegree = 1 << 30;
      for (size_t h = queue.size(); h-- > 0 && level[queue[h]] == height - 1;) {
        const int d = degreeIn(queue[h]);
        if (d < farDegree) farDegree = d, far = queue[h];
      }
      const int h2 = levels(far);
      if (h2 <= height) {
        height = levels(root);
        break;
      }
      root = far;
      height = h2;
    }
    if (height < 3) {
      orderLeaf(set);
      return;
    }
    EnvVector<int> perLevel(static_cast<size_t>(height), 0);
    for (int v : set) ++perLevel[level[v]];
    const int total = static_cast<int>(set.size());
    int below = 0, cut = -1;
    double bestCost = 1e300;
    for (int l = 1; l + 1 < height; ++l) {
      below += perLevel[l - 1];
      const int above = total - below - perLevel[l];
      const int smaller = std::min(below, above);
      if (smaller * 10 < total) continue;
      const double cost = static_cast<double>(perLevel[l]) / smaller;
      if (cost < bestCost) bestCost = cost, cut = l;
    }
    if (cut < 0) {
      orderLeaf(set);
      return;
    }
    // Sides: 0 below the cut, 1 above, 2 separator. A separator vertex with no
    // neighbour on one side moves to the other; each move sees the earlier
    // ones, so no edge ever joins side 0 to side 1.
    EnvVector<int> side(set.size());
    for (int i = 0; i < total; ++i) {
      const int l = level[set[i]];
      side[i] = l < cut ? 0 : (l > cut ? 1 : 2);
      local[set[i]] = i;
    }
    for (int i = 0; i < total; ++i) {
      if (side[i] != 2) continue;
      bool touches0 = false, touches1 = false;
      const int v = set[i];
      for (int t = g.start[v]; t < g.start[v + 1]; ++t) {
        const int u = g.index[t];
        if (!inSet(u)) continue;
        const int s = side[local[u]];
        touches0 |= s == 0;
        touches1 |= s == 1;
      }
      if (!touches1)
        side[i] = 0;
      else if (!touches0)
        side[i] = 1;
    }
    EnvVector<int> a, b, sep;
    for (int i = 0; i < total; ++i) (side[i] == 0 ? a : side[i] == 1 ? b : sep).push_back(set[i]);
    tasks.push_back(std::move(sep));
    emitOnly.push_back(1);
    tasks.push_back(std::move(b));
    emitOnly.push_back(0);
    tasks.push_back(std::move(a));
    emitOnly.push_back(0);
  }
};

} // namespace

void nestedDissection(const SymGraph &g, EnvVector<int> &perm) {
  const int n = g.n;
  perm.assign(static_cast<size_t>(n), 0);
  if (n == 0) return;
  Dissector d(g, perm);
  d.member.assign(static_cast<size_t>(n), 0);
  d.seen.assign(static_cast<size_t>(n), 0);
  d.level.assign(static_cast<size_t>(n), 0);
  d.local.assign(static_cast<size_t>(n), 0);
  EnvVector<EnvVector<int>> tasks;
  EnvVector<char> emitOnly;
  tasks.emplace_back();
  for (int v = 0; v < n; ++v) tasks.back().push_back(v);
  emitOnly.push_back(0);
  while (!tasks.empty()) {
    EnvVector<int> set;
    set.swap(tasks.back());
    const bool emit = emitOnly.back() != 0;
    tasks.pop_back();
    emitOnly.pop_back();
    if (set.empty()) continue;
    if (emit) {
      for (int v : set) perm[d.at++] = v;
      continue;
    }
    d.split(set, tasks, emitOnly);
  }
}

} // namespace qvn
