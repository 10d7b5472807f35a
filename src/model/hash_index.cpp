#include "model/hash_index.h"

#include <algorithm>
#include <cstring>

namespace qvn {

namespace {

constexpr int kBucketCounts[] = {1021,    8191,    65521,   131071,  262139,  524287,
                                 1048573, 2097143, 4194301, 8388593, 16777213};

unsigned textHash(const char *text, int bucketCount) {
  uint32_t h = 2166136261u;
  for (const unsigned char *p = reinterpret_cast<const unsigned char *>(text); *p; ++p)
    h = (h ^ *p) * 16777619u;
  return h % static_cast<uint32_t>(bucketCount);
}

bool textEqual(const char *a, const char *b) { return std::strcmp(a, b) == 0; }

} // namespace

int hashBucketCount(int64_t capacity) {
  if (capacity > 524999999) return kBucketCounts[10];
  for (int count : kBucketCounts)
    if (count >= 0.35 * static_cast<double>(capacity)) return count;
  return kBucketCounts[10];
}

HashIndex *createHashIndex(int capacity) {
  capacity = std::max(capacity, 1);
  HashIndex *table = envNew<HashIndex>();
  try {
    table->hashFunction = textHash;
    table->equalFunction = textEqual;
    table->bucketCount = hashBucketCount(capacity);
    table->buckets.assign(static_cast<size_t>(table->bucketCount), -1);
    table->nodes.assign(static_cast<size_t>(capacity), HashIndex::Node{-1, -1, nullptr, -1, -1});
    table->capacity = capacity;
  } catch (...) {
    envDelete(table);
    throw;
  }
  return table;
}

void freeHashIndex(HashIndex *&table) { envDelete(table); }

} // namespace qvn

int HashIndex::find(const char *text) const {
  for (int n = buckets[hashFunction(text, bucketCount)]; n >= 0; n = nodes[n].next)
    if (equalFunction(nodes[n].key, text)) return n;
  return -1;
}

void HashIndex::grow(int index) {
  const int64_t wanted = std::max<int64_t>(static_cast<int64_t>(index) + 1, capacity + capacity / 2 + 16);
  const int newCapacity = static_cast<int>(std::min<int64_t>(wanted, 2100000000));
  nodes.resize(static_cast<size_t>(newCapacity), Node{-1, -1, nullptr, -1, -1});
  capacity = newCapacity;
}

void HashIndex::insert(const char *text, int index) {
  if (index >= capacity) grow(index);
  if (nodes[index].index >= 0) remove(index);
  const int b = static_cast<int>(hashFunction(text, bucketCount));
  Node &node = nodes[index];
  node = Node{-1, buckets[b], text, index, b};
  if (node.next >= 0) nodes[node.next].previous = index;
  buckets[b] = index;
}

void HashIndex::remove(int index) {
  if (index < 0 || index >= capacity || nodes[index].index < 0) return;
  Node &node = nodes[index];
  if (node.previous >= 0)
    nodes[node.previous].next = node.next;
  else
    buckets[node.bucket] = node.next;
  if (node.next >= 0) nodes[node.next].previous = node.previous;
  node = Node{-1, -1, nullptr, -1, -1};
}

void HashIndex::removeFrom(int index) {
  for (int i = std::max(index, 0); i < capacity; ++i) remove(i);
}

void HashIndex::move(int oldIndex, int newIndex) {
  if (oldIndex == newIndex || oldIndex < 0 || oldIndex >= capacity || nodes[oldIndex].index < 0) return;
  if (newIndex >= capacity) grow(newIndex);
  remove(newIndex);
  Node node = nodes[oldIndex];
  node.index = newIndex;
  nodes[newIndex] = node;
  if (node.previous >= 0)
    nodes[node.previous].next = newIndex;
  else
    buckets[node.bucket] = newIndex;
  if (node.next >= 0) nodes[node.next].previous = newIndex;
  nodes[oldIndex] = Node{-1, -1, nullptr, -1, -1};
}

void HashIndex::rebase(const char *oldBase, const char *newBase) {
  for (Node &node : nodes)
    if (node.index >= 0) node.key = newBase + (node.key - oldBase);
}
