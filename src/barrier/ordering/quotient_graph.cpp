// Minimum-priority elimination on the quotient graph.
//
// Each vertex is a variable (not yet eliminated) or an element (an eliminated
// variable standing for the clique of its neighbours). A variable keeps two
// lists: the elements it belongs to and the variables it still meets by an
// original edge not covered by an element. An element keeps its variables.
// Eliminating the variable p makes p an element whose variables Lp are the
// union of p's variable neighbours and the variables of p's elements; those
// elements are absorbed into p. The graph never grows beyond its start.
//
// Degrees are the approximate external degrees: for i in Lp,
//   d(i) <= min(n - eliminated - |i|, d_old(i) + |Lp \ i|,
//              |A_i \ i| + |Lp \ i| + sum over other elements e of |Le \ Lp|)
// where |Le \ Lp| comes from one pass over the elements of Lp's variables,
// starting at |Le| and subtracting each variable of Lp that e holds. |Le| stays
// constant over e's life: its variables leave only by being eliminated, which
// absorbs e, and merging two of them into one supervariable keeps the sum.
#include <algorithm>
#include <cstdint>

#include "barrier/ordering/ordering.h"

namespace qvn {

namespace {

// Binary heap of variables by (score, index), with positions for removal.
struct ScoreHeap {
  EnvVector<int> heap, pos;
  EnvVector<double> key;

  void init(int n) {
    heap.clear();
    heap.reserve(static_cast<size_t>(n));
    pos.assign(static_cast<size_t>(n), -1);
    key.assign(static_cast<size_t>(n), 0.0);
  }
  bool less(int a, int b) const { return key[a] < key[b] || (key[a] == key[b] && a < b); }
  void place(size_t at, int v) {
    heap[at] = v;
    pos[v] = static_cast<int>(at);
  }
  void up(size_t at) {
    const int v = heap[at];
    while (at > 0) {
      const size_t parent = (at - 1) / 2;
      if (!less(v, heap[parent])) break;
      place(at, heap[parent]);
      at = parent;
    }
    place(at, v);
  }
  void down(size_t at) {
    const int v = heap[at];
    const size_t size = heap.size();
    for (;;) {
      size_t child = 2 * at + 1;
      if (child >= size) break;
      if (child + 1 < size && less(heap[child + 1], heap[child])) ++child;
      if (!less(heap[child], v)) break;
      place(at, heap[child]);
      at = child;
    }
    place(at, v);
  }
  void insert(int v, double k) {
    key[v] = k;
    heap.push_back(v);
    up(heap.size() - 1);
  }
  void remove(int v) {
    const int at = pos[v];
    if (at < 0) return;
    pos[v] = -1;
    const int last = heap.back();
    heap.pop_back();
    if (last == v) return;
    place(static_cast<size_t>(at), last);
    up(static_cast<size_t>(at));
    down(static_cast<size_t>(pos[last]));
  }
  int popMin() {
    const int v = heap[0];
    remove(v);
    return v;
  }
};

struct QuotientGraph {
  int n = 0;
  EnvVector<EnvVector<int>> vars;   // variable: variable neighbours; element: its variables
  EnvVector<EnvVector<int>> elems;  // variable: its elements
  EnvVector<int> nv;                // size of a principal supervariable, 0 otherwise
  EnvVector<char> isElement, dead;  // dead: absorbed element or eliminated variable
  EnvVector<int> esize, degree, nextMember, lastMember;
  EnvVector<int> mark;
  int stamp = 0;
  EnvVector<int64_t> w;  // w[e] - wflag = |Le \ Lp| during a step
  int64_t wflag = 0;

  int newStamp() {
    if (++stamp == 0x7fffffff) {
      std::fill(mark.begin(), mark.end(), 0);
      stamp = 1;
    }
    return stamp;
  }
};

void emitChain(QuotientGraph &q, int v, EnvVector<int> &perm, int &at) {
  for (int u = v; u >= 0; u = q.nextMember[u]) perm[at++] = u;
}

} // namespace

void quotientGraphOrder(const SymGraph &g, EliminationScore score, EnvVector<int> &perm) {
  const int n = g.n;
  perm.assign(static_cast<size_t>(n), 0);
  if (n == 0) return;
  QuotientGraph q;
  q.n = n;
  q.vars.resize(static_cast<size_t>(n));
  q.elems.resize(static_cast<size_t>(n));
  q.nv.assign(static_cast<size_t>(n), 1);
  q.isElement.assign(static_cast<size_t>(n), 0);
  q.dead.assign(static_cast<size_t>(n), 0);
  q.esize.assign(static_cast<size_t>(n), 0);
  q.degree.assign(static_cast<size_t>(n), 0);
  q.nextMember.assign(static_cast<size_t>(n), -1);
  q.lastMember.resize(static_cast<size_t>(n));
  q.mark.assign(static_cast<size_t>(n), 0);
  q.w.assign(static_cast<size_t>(n), 0);
  ScoreHeap heap;
  heap.init(n);
  for (int v = 0; v < n; ++v) {
    q.lastMember[v] = v;
    auto &list = q.vars[v];
    list.reserve(static_cast<size_t>(g.start[v + 1] - g.start[v]));
    for (int t = g.start[v]; t < g.start[v + 1]; ++t)
      if (g.index[t] != v) list.push_back(g.index[t]);
    q.degree[v] = static_cast<int>(list.size());
    heap.insert(v, score(q.degree[v], 0.0, 1.0));
  }
  EnvVector<int> lp, hashOf, bucketHead, bucketNext;
  hashOf.assign(static_cast<size_t>(n), 0);
  bucketHead.assign(static_cast<size_t>(n), -1);
  bucketNext.assign(static_cast<size_t>(n), -1);
  int at = 0, eliminated = 0;
  while (!heap.heap.empty()) {
    const int p = heap.popMin();
    emitChain(q, p, perm, at);
    eliminated += q.nv[p];
    // Lp: the variables of p's elements and p's own variable neighbours.
    const int pStamp = q.newStamp();
    q.mark[p] = pStamp;
    lp.clear();
    for (int e : q.elems[p]) {
      if (q.dead[e]) continue;
      for (int v : q.vars[e])
        if (q.nv[v] > 0 && !q.isElement[v] && q.mark[v] != pStamp) {
          q.mark[v] = pStamp;
          lp.push_back(v);
        }
      q.dead[e] = 1;
      EnvVector<int>().swap(q.vars[e]);
    }
    for (int v : q.vars[p])
      if (q.nv[v] > 0 && !q.isElement[v] && q.mark[v] != pStamp) {
        q.mark[v] = pStamp;
        lp.push_back(v);
      }
    q.isElement[p] = 1;
    EnvVector<int>().swap(q.elems[p]);
    int degme = 0;
    for (int v : lp) degme += q.nv[v];
    q.esize[p] = degme;
    // |Le \ Lp| for every other element met by a variable of Lp.
    q.wflag += static_cast<int64_t>(n) + 2;
    for (int v : lp) {
      heap.remove(v);
      for (int e : q.elems[v]) {
        if (q.dead[e]) continue;
        if (q.w[e] < q.wflag) q.w[e] = q.wflag + q.esize[e];
        q.w[e] -= q.nv[v];
      }
    }
    // New degrees, with the lists of each variable pruned on the way.
    size_t kept = 0;
    for (int v : lp) {
      auto &el = q.elems[v];
      int64_t external = 0;
      unsigned hash = static_cast<unsigned>(p);
      size_t out = 0;
      for (int e : el) {
        if (q.dead[e]) continue;
        const int64_t outside = q.w[e] - q.wflag;
        if (outside <= 0) {
          // Every variable of e lies in Lp: p covers e, which is absorbed.
          q.dead[e] = 1;
          EnvVector<int>().swap(q.vars[e]);
          continue;
        }
        external += outside;
        hash += static_cast<unsigned>(e);
        el[out++] = e;
      }
      el.resize(out);
      el.push_back(p);
      auto &vl = q.vars[v];
      out = 0;
      for (int u : vl) {
        if (q.nv[u] == 0 || q.isElement[u] || q.mark[u] == pStamp) continue;
        external += q.nv[u];
        hash += static_cast<unsigned>(u);
        vl[out++] = u;
      }
      vl.resize(out);
      const int64_t others = degme - q.nv[v];
      int64_t d = std::min<int64_t>(q.degree[v] + others, external + others);
      d = std::min<int64_t>(d, n - eliminated - q.nv[v]);
      if (d <= 0) {
        // Nothing outside v itself: it goes with p.
        emitChain(q, v, perm, at);
        eliminated += q.nv[v];
        q.nv[v] = 0;
        q.dead[v] = 1;
        EnvVector<int>().swap(q.vars[v]);
        EnvVector<int>().swap(q.elems[v]);
        continue;
      }
      q.degree[v] = static_cast<int>(d);
      hashOf[v] = static_cast<int>(hash % static_cast<unsigned>(n));
      lp[kept++] = v;
    }
    lp.resize(kept);
    // Supervariables: variables of Lp with the same elements and the same
    // variable neighbours are indistinguishable from here on.
    for (int v : lp) {
      bucketNext[v] = bucketHead[hashOf[v]];
      bucketHead[hashOf[v]] = v;
    }
    for (int v : lp) {
      const int h = hashOf[v];
      if (bucketHead[h] < 0) continue;
      for (int i = bucketHead[h]; i >= 0; i = bucketNext[i]) {
        if (q.nv[i] == 0) continue;
        const auto &ie = q.elems[i], &iv = q.vars[i];
        int iStamp = 0;
        for (int j = bucketNext[i]; j >= 0; j = bucketNext[j]) {
          if (q.nv[j] == 0 || q.elems[j].size() != ie.size() || q.vars[j].size() != iv.size()) continue;
          if (iStamp == 0) {
            iStamp = q.newStamp();
            for (int e : ie) q.mark[e] = iStamp;
            for (int u : iv) q.mark[u] = iStamp;
          }
          bool same = true;
          for (int e : q.elems[j])
            if (q.mark[e] != iStamp) {
              same = false;
              break;
            }
          for (size_t t = 0; same && t < q.vars[j].size(); ++t)
            if (q.mark[q.vars[j][t]] != iStamp) same = false;
          if (!same) continue;
          q.degree[i] -= q.nv[j];
          q.nv[i] += q.nv[j];
          q.nv[j] = 0;
          q.nextMember[q.lastMember[i]] = j;
          q.lastMember[i] = q.lastMember[j];
          EnvVector<int>().swap(q.vars[j]);
          EnvVector<int>().swap(q.elems[j]);
        }
      }
      bucketHead[h] = -1;
    }
    kept = 0;
    for (int v : lp) {
      if (q.nv[v] == 0) continue;
      lp[kept++] = v;
      const double d = std::max(q.degree[v], 0);
      heap.insert(v, score(d, static_cast<double>(degme - q.nv[v]), q.nv[v]));
    }
    lp.resize(kept);
    q.vars[p].swap(lp);
  }
}

} // namespace qvn
