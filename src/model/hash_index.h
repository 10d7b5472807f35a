// HashIndex: a chained hash from text to index, for the name tables that want
// quick lookups (network nodes and arcs, parameter names).
//
// Node i belongs to index i; its `index` field holds i while used and -1 while
// free. Links are node numbers rather than addresses, so growing the node array
// needs no relinking. New nodes go to the front of their bucket, so `find`
// returns the most recently inserted of equal keys. Keys are not copied: the
// owner of the texts keeps them alive (and calls `rebase` if they move).
#pragma once
#include <cstdint>

#include "runtime/alloc.h"

struct HashIndex {
  struct Node {
    int previous, next;
    const char *key;
    int index;
    int bucket;
  };
  unsigned (*hashFunction)(const char *text, int bucketCount);
  bool (*equalFunction)(const char *a, const char *b);
  int capacity;
  int bucketCount;
  qvn::EnvVector<int> buckets;  // first node of each chain, -1 when empty
  qvn::EnvVector<Node> nodes;

  int find(const char *text) const;
  void insert(const char *text, int index);
  void remove(int index);
  void removeFrom(int index);
  void move(int oldIndex, int newIndex);
  void grow(int index);
  // Keys moved by `delta` bytes (their text store was reallocated).
  void rebase(const char *oldBase, const char *newBase);
};

namespace qvn {

// The smallest listed prime that is at least 0.35 times the capacity.
int hashBucketCount(int64_t capacity);
HashIndex *createHashIndex(int capacity);
void freeHashIndex(HashIndex *&table);
// find on a table that may be null.
inline int hashFind(const HashIndex *table, const char *text) { return table ? table->find(text) : -1; }

} // namespace qvn
