// NameTable: a growable list of names with an optional HashIndex, used where
// names arrive one by one (network nodes and arcs, a modelling layer's
// pending names). `names[i]` points into `store`; both grow together, and the
// pointers (and hash keys) are rebased when the store moves.
#pragma once
#include <cstdint>

#include "model/hash_index.h"

struct NameTable {
  HashIndex *hash;
  char **names;
  char *store;
  int entryCapacity;
  int entryCount;
  int64_t storeSize;
  int64_t storeUsed;
  char prefix;
  int defaultCount;
};

namespace qvn {

// An empty table whose generated names use `prefix`; with `withHash` lookups
// go through a HashIndex. Throws std::bad_alloc.
NameTable *createNameTable(char prefix, bool withHash, int capacity);
void freeNameTable(NameTable *&table);
// Appends `count` names; a null `names`, or a null or empty entry, gets a
// generated name. 1209 or 1001 leave the table as it was.
int nameTableAdd(NameTable *table, int count, char *const *names);
// Appends `count` names as given, a null entry as an empty text (the pending
// names of the cache: the gaps get generated names when they reach the model).
int nameTableAppend(NameTable *table, int count, char *const *names);
// Index of `text`: through the hash when there is one (the latest of equal
// names), else the first in order. -1 when absent.
int nameTableFind(const NameTable *table, const char *text);
// Drops entries from `first` on.
void nameTableTruncate(NameTable *table, int first);

} // namespace qvn
