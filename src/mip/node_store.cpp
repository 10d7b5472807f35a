// Node records and the two-heap store.
#include "mip/node_store.h"

#include <algorithm>
#include <cmath>

namespace qvn {

void holdBasis(SharedBasis *b) {
  if (b) ++b->holders;
}

void releaseBasis(SharedBasis *&b) {
  if (b && --b->holders <= 0) envDelete(b);
  b = nullptr;
}

NodeRecord *newNode() { return envNew<NodeRecord>(); }

void freeNode(NodeRecord *&node) {
  if (!node) return;
  releaseBasis(node->basis);
  envDelete(node);
}

double nodeSize(const NodeRecord &node) {
  double size = sizeof(NodeRecord) + sizeof(BoundChange) * static_cast<double>(node.changes.capacity()) +
                sizeof(int) * static_cast<double>(node.localRows.capacity());
  // A shared basis counts once per holder: an upper estimate that stays cheap to keep.
  if (node.basis && node.basis->holders > 0)
    size += static_cast<double>(node.basis->status.capacity()) / node.basis->holders;
  return size;
}

double nodeKey(const NodeRecord &node, const NodeKeyInputs &in) {
  double key = 0.0;
  switch (in.nodeSelect) {
  case 0:
    key = -static_cast<double>(node.sequence);
    break;
  case 2: {
    const double estimate = (in.varSelect != 2 && in.varSelect != 4 && node.direction != 'X')
                                ? node.sumInf * in.estimateScale
                                : node.estimate;
    key = node.objective + estimate;
    break;
  }
  case 3: {
    const double estimate = (in.varSelect != 2 && in.varSelect != 4 && node.direction != 'X')
                                ? node.sumInf * in.estimateScale
                                : node.estimate;
    key = (node.objective - in.referenceObjective + estimate) / (1e-10 + estimate);
    break;
  }
  default: {
    // Among equal bounds the node with fewer infeasibilities comes first.
    const double rootIinf = in.rootIinf > 0 ? in.rootIinf : 1.0;
    key = node.bound + (std::fabs(node.bound) + 1.0) * (std::max(node.iinf, 0) / rootIinf) * 1e-10 * 1e-4;
    break;
  }
  }
  if (!(key < kKeyCap)) key = kKeyCap;
  return key;
}

namespace {

double heapValue(const NodeRecord *n, int h) { return h == 0 ? n->key : n->bound; }

// Ties go to the older node, so that runs repeat whatever the heap's history.
bool before(const NodeRecord *a, const NodeRecord *b, int h) {
  const double va = heapValue(a, h), vb = heapValue(b, h);
  if (va != vb) return va < vb;
  return a->sequence < b->sequence;
}

void place(EnvVector<NodeRecord *> &heap, int h, int pos, NodeRecord *n) {
  heap[pos] = n;
  n->heapPos[h] = pos;
}

void siftUp(EnvVector<NodeRecord *> &heap, int h, int pos) {
  NodeRecord *n = heap[pos];
  while (pos > 0) {
    const int parent = (pos - 1) / 2;
    if (!before(n, heap[parent], h)) break;
    place(heap, h, pos, heap[parent]);
    pos = parent;
  }
  place(heap, h, pos, n);
}

void siftDown(EnvVector<NodeRecord *> &heap, int h, int pos) {
  const int count = static_cast<int>(heap.size());
  NodeRecord *n = heap[pos];
  for (;;) {
    int child = 2 * pos + 1;
    if (child >= count) break;
    if (child + 1 < count && before(heap[child + 1], heap[child], h)) ++child;
    if (!before(heap[child], n, h)) break;
    place(heap, h, pos, heap[child]);
    pos = child;
  }
  place(heap, h, pos, n);
}

void heapRemove(EnvVector<NodeRecord *> &heap, int h, NodeRecord *n) {
  const int pos = n->heapPos[h];
  NodeRecord *last = heap.back();
  heap.pop_back();
  n->heapPos[h] = -1;
  if (last == n) return;
  place(heap, h, pos, last);
  siftUp(heap, h, pos);
  siftDown(heap, h, last->heapPos[h]);
}

void removeBoth(NodeStore &s, NodeRecord *n) {
  heapRemove(s.heap[0], 0, n);
  heapRemove(s.heap[1], 1, n);
  s.inMemoryBytes -= nodeSize(*n);
  if (s.inMemoryBytes < 0) s.inMemoryBytes = 0;
}

} // namespace

int storeCount(const NodeStore &s) { return static_cast<int>(s.heap[0].size()) + s.fileNodes; }

double storeBestBound(const NodeStore &s) {
  double best = s.heap[1].empty() ? kTreeInfinity : s.heap[1][0]->bound;
  for (const NodeBlock *b : s.blocks) best = std::min(best, b->minBound);
  return best;
}

void storeInsert(NodeStore &s, NodeRecord *node) {
  // Room in both heaps first: a failed allocation then leaves the node in
  // neither, and the caller still owns it.
  for (auto &heap : s.heap)
    if (heap.size() == heap.capacity()) heap.reserve(std::max<size_t>(16, 2 * heap.size()));
  for (int h = 0; h < 2; ++h) {
    s.heap[h].push_back(node);
    node->heapPos[h] = static_cast<int>(s.heap[h].size()) - 1;
    siftUp(s.heap[h], h, node->heapPos[h]);
  }
  s.inMemoryBytes += nodeSize(*node);
}

void storePush(NodeStore &s, NodeRecord *node) {
  node->key = nodeKey(*node, s.keys);
  if (s.fileMode > 0 && nodeSize(*node) + s.inMemoryBytes > s.memoryLimit && s.heap[0].size() > 10)
    spillNodes(s);
  storeInsert(s, node);
}

NodeRecord *storePop(NodeStore &s) {
  const bool byBound = s.keys.nodeSelect == 2 && s.bbInterval > 0 && s.popCount % s.bbInterval == 0;
  const int h = byBound ? 1 : 0;
  // A block whose best node beats the heap's top comes back first.
  for (;;) {
    int best = -1;
    double bestValue = kTreeInfinity;
    for (size_t b = 0; b < s.blocks.size(); ++b) {
      const double v = byBound ? s.blocks[b]->minBound : s.blocks[b]->minKey;
      if (best < 0 || v < bestValue) {
        best = static_cast<int>(b);
        bestValue = v;
      }
    }
    if (best < 0 || (!s.heap[h].empty() && heapValue(s.heap[h][0], h) <= bestValue)) break;
    readBackBlock(s, best);
  }
  if (s.heap[0].empty()) return nullptr;
  NodeRecord *n = s.heap[h][0];
  removeBoth(s, n);
  ++s.popCount;
  return n;
}

void storeTake(NodeStore &s, NodeRecord *node) {
  removeBoth(s, node);
  ++s.popCount;
}

int storePrune(NodeStore &s, double cutoff) {
  int removed = 0;
  // The bound heap's top is its smallest bound; everything at or above the
  // cutoff sits somewhere below it, so a scan finds them.
  EnvVector<NodeRecord *> doomed;
  for (NodeRecord *n : s.heap[1])
    if (n->bound >= cutoff) doomed.push_back(n);
  for (NodeRecord *n : doomed) {
    removeBoth(s, n);
    freeNode(n);
    ++removed;
  }
  return removed + pruneBlocks(s, cutoff);
}

void storeClear(NodeStore &s) {
  for (NodeRecord *n : s.heap[0]) {
    n->heapPos[0] = n->heapPos[1] = -1;
    freeNode(n);
  }
  s.heap[0].clear();
  s.heap[1].clear();
  s.inMemoryBytes = 0.0;
  clearBlocks(s);
}

void storeRekey(NodeStore &s) {
  for (NodeRecord *n : s.heap[0]) n->key = nodeKey(*n, s.keys);
  const int count = static_cast<int>(s.heap[0].size());
  for (int pos = count / 2 - 1; pos >= 0; --pos) siftDown(s.heap[0], 0, pos);
}

} // namespace qvn
