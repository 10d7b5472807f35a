// Minimum degree ordering on the explicit elimination graph.
//
// Eliminating a vertex makes its neighbours a clique; degrees are exact. The
// graph shrinks as vertices go, and once the smallest degree equals the count
// of the others minus one the rest is one clique, whose order does not change
// the fill: it is appended as it stands.
#include "barrier/ordering/cholesky.h"

namespace qvn {

namespace {

struct DegreeLists {
  EnvVector<int> head, next, prev, degree;
  void insert(int v, int d) {
    degree[v] = d;
    prev[v] = -1;
    next[v] = head[d];
    if (head[d] >= 0) prev[head[d]] = v;
    head[d] = v;
  }
  void remove(int v) {
    if (prev[v] >= 0)
      next[prev[v]] = next[v];
    else
      head[degree[v]] = next[v];
    if (next[v] >= 0) prev[next[v]] = prev[v];
  }
};

} // namespace

void minimumDegreeOrder(int n, const EnvVector<int> &adjStart, const EnvVector<int> &adjIndex, EnvVector<int> &perm) {
  perm.assign(static_cast<size_t>(n), 0);
  if (n == 0) return;
  EnvVector<EnvVector<int>> adj(static_cast<size_t>(n));
  DegreeLists lists;
  lists.head.assign(static_cast<size_t>(n) + 1, -1);
  lists.next.assign(static_cast<size_t>(n), -1);
  lists.prev.assign(static_cast<size_t>(n), -1);
  lists.degree.assign(static_cast<size_t>(n), 0);
  for (int v = 0; v < n; ++v) {
    adj[v].assign(adjIndex.begin() + adjStart[v], adjIndex.begin() + adjStart[v + 1]);
    lists.insert(v, static_cast<int>(adj[v].size()));
  }
  EnvVector<int> mark(static_cast<size_t>(n), -1);
  EnvVector<char> gone(static_cast<size_t>(n), 0);
  int minDegree = 0;
  for (int k = 0; k < n; ++k) {
    while (lists.head[minDegree] < 0) ++minDegree;
    const int p = lists.head[minDegree];
    if (minDegree == n - k - 1) {
      // The remaining vertices form one clique.
      int at = k;
      for (int d = minDegree; d <= n && at < n; ++d)
        for (int v = lists.head[d]; v >= 0; v = lists.next[v]) perm[at++] = v;
      return;
    }
    lists.remove(p);
    perm[k] = p;
    gone[p] = 1;
    EnvVector<int> clique;
    clique.swap(adj[p]);
    for (int u : clique) {
      EnvVector<int> &a = adj[u];
      // Drop p, stamp what u already sees, then join the rest of the clique.
      for (size_t t = 0; t < a.size(); ++t)
        if (a[t] == p) {
          a[t] = a.back();
          a.pop_back();
          break;
        }
      for (int w : a) mark[w] = u;
      mark[u] = u;
      for (int w : clique)
        if (mark[w] != u) {
          mark[w] = u;
          a.push_back(w);
        }
      lists.remove(u);
      const int d = static_cast<int>(a.size());
      lists.insert(u, d);
      if (d < minDegree) minDegree = d;
    }
  }
}

} // namespace qvn
