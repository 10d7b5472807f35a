// Elimination tree, postorder and column counts of a symmetric pattern under an
// ordering, all in time close to the pattern's size: the factor itself is
// never formed.
#include <algorithm>

#include "barrier/ordering/ordering.h"

namespace qvn {

void eliminationTree(const SymGraph &g, const EnvVector<int> &perm, const EnvVector<int> &iperm, EnvVector<int> &parent) {
  const int n = g.n;
  parent.assign(static_cast<size_t>(n), -1);
  // ancestor[] shortcuts the path from a position to the root of its current
  // subtree; every walk compresses the path it took onto k.
  EnvVector<int> ancestor(static_cast<size_t>(n), -1);
  for (int k = 0; k < n; ++k) {
    const int v = perm[k];
    for (int t = g.start[v]; t < g.start[v + 1]; ++t) {
      int i = iperm[g.index[t]];
      if (i >= k) continue;
      while (ancestor[i] >= 0 && ancestor[i] != k) {
        const int next = ancestor[i];
        ancestor[i] = k;
        i = next;
      }
      if (ancestor[i] < 0) {
        ancestor[i] = k;
        parent[i] = k;
      }
    }
  }
}

void postorderForest(const EnvVector<int> &parent, EnvVector<int> &post) {
  const int n = static_cast<int>(parent.size());
  post.assign(static_cast<size_t>(n), 0);
  EnvVector<int> head(static_cast<size_t>(n), -1), next(static_cast<size_t>(n), -1), stack;
  // Children linked in decreasing order so that the walk visits them ascending.
  for (int j = n - 1; j >= 0; --j)
    if (parent[j] >= 0) {
      next[j] = head[parent[j]];
      head[parent[j]] = j;
    }
  int at = 0;
  stack.reserve(static_cast<size_t>(n));
  for (int root = 0; root < n; ++root) {
    if (parent[root] >= 0) continue;
    stack.push_back(root);
    while (!stack.empty()) {
      const int v = stack.back();
      const int child = head[v];
      if (child >= 0) {
        head[v] = next[child];
        stack.push_back(child);
      } else {
        stack.pop_back();
        post[at++] = v;
      }
    }
  }
}

// Row subtrees: row i of the factor has entries in the columns of the subtree
// of the elimination tree spanned by the columns k < i with M(i,k) != 0 and
// ending at i. A column's count is the number of row subtrees holding it.
// Each row subtree adds +1 at each of its leaves, -1 at the lowest common
// ancestor of consecutive leaves (in postorder), and -1 at the parent of its
// root; summing these over the subtree of column j counts exactly the row
// subtrees through j. Leaves are found by first descendants, common ancestors
// by a disjoint-set forest over the columns already passed.
void columnCounts(const SymGraph &g, const EnvVector<int> &perm, const EnvVector<int> &iperm,
                  const EnvVector<int> &parent, EnvVector<int> &count) {
  const int n = g.n;
  EnvVector<int> post;
  postorderForest(parent, post);
  EnvVector<int> first(static_cast<size_t>(n), -1), delta(static_cast<size_t>(n), 0);
  for (int k = 0; k < n; ++k) {
    const int j = post[k];
    if (first[j] < 0) delta[j] = 1;  // a leaf: its own row is its row subtree
    for (int a = j; a >= 0 && first[a] < 0; a = parent[a]) first[a] = k;
  }
  EnvVector<int> prevLeaf(static_cast<size_t>(n), -1), prevNbr(static_cast<size_t>(n), -1);
  EnvVector<int> ancestor(static_cast<size_t>(n));
  for (int j = 0; j < n; ++j) ancestor[j] = j;
  for (int k = 0; k < n; ++k) {
    const int j = post[k];
    if (parent[j] >= 0) --delta[parent[j]];
    const int v = perm[j];
    for (int t = g.start[v]; t < g.start[v + 1]; ++t) {
      const int i = iperm[g.index[t]];
      if (i <= j) continue;
      if (first[j] > prevNbr[i]) {
        ++delta[j];
        const int leaf = prevLeaf[i];
        if (leaf >= 0) {
          int q = leaf;
          while (ancestor[q] != q) q = ancestor[q];
          for (int s = leaf; s != q;) {
            const int next = ancestor[s];
            ancestor[s] = q;
            s = next;
          }
          --delta[q];
        }
        prevLeaf[i] = j;
      }
      prevNbr[i] = k;
    }
    if (parent[j] >= 0) ancestor[j] = parent[j];
  }
  count.assign(delta.begin(), delta.end());
  for (int k = 0; k < n; ++k) {
    const int j = post[k];
    if (parent[j] >= 0) count[parent[j]] += count[j];
  }
}

OrderingCost orderingCost(const SymGraph &g, const EnvVector<int> &perm) {
  const int n = g.n;
  EnvVector<int> iperm(static_cast<size_t>(n)), parent, count;
  for (int k = 0; k < n; ++k) iperm[perm[k]] = k;
  eliminationTree(g, perm, iperm, parent);
  columnCounts(g, perm, iperm, parent, count);
  OrderingCost cost;
  for (int c : count) {
    cost.nonzeros += c;
    cost.flops += static_cast<double>(c) * c;
  }
  return cost;
}

} // namespace qvn
