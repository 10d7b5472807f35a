#include "model/names_table.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "model/names.h"
#include "quorvan.h"

namespace qvn {

namespace {

// Reallocates the store to `size` bytes and moves every pointer with it.
bool resizeStore(NameTable *t, int64_t size) {
  char *fresh = static_cast<char *>(envAlloc(static_cast<size_t>(size)));
  if (!fresh) return false;
  if (t->storeUsed > 0) std::memcpy(fresh, t->store, static_cast<size_t>(t->storeUsed));
  for (int i = 0; i < t->entryCount; ++i) t->names[i] = fresh + (t->names[i] - t->store);
  if (t->hash && t->store) t->hash->rebase(t->store, fresh);
  envFree(t->store);
  t->store = fresh;
  t->storeSize = size;
  return true;
}

bool resizeEntries(NameTable *t, int capacity) {
  const size_t bytes = static_cast<size_t>(capacity) * sizeof(char *);
  auto *fresh = static_cast<char **>(t->names ? envRealloc(t->names, bytes) : envAlloc(bytes));
  if (!fresh) return false;
  t->names = fresh;
  t->entryCapacity = capacity;
  return true;
}

int digitCount(long value) {
  int n = 1;
  while (value >= 10) value /= 10, ++n;
  return n;
}

} // namespace

NameTable *createNameTable(char prefix, bool withHash, int capacity) {
  auto *t = static_cast<NameTable *>(envCalloc(1, sizeof(NameTable)));
  if (!t) throw std::bad_alloc();
  t->prefix = prefix;
  t->defaultCount = -1;
  capacity = std::max(capacity, 1);
  if (!resizeEntries(t, capacity) || !resizeStore(t, 17LL * capacity)) {
    freeNameTable(t);
    throw std::bad_alloc();
  }
  if (withHash) {
    try {
      t->hash = createHashIndex(capacity);
    } catch (...) {
      freeNameTable(t);
      throw;
    }
  }
  return t;
}

void freeNameTable(NameTable *&table) {
  if (!table) return;
  freeHashIndex(table->hash);
  envFree(table->names);
  envFree(table->store);
  envFree(table);
}

PendingNames::~PendingNames() { freeNameTable(table); }

namespace {

int appendNames(NameTable *t, int count, char *const *names, bool generate) {
  int generated = 0;
  int64_t bytes = 0;
  for (int k = 0; k < count; ++k) {
    if (!names || !names[k] || !names[k][0])
      generate ? ++generated : ++bytes;  // a kept gap is an empty text
    else
      bytes += static_cast<int64_t>(std::strlen(names[k])) + 1;
  }
  int counter = t->defaultCount;
  if (generated > 0 && !counterUsable(counter, generated)) {
    LargestGeneratedNumber largest;
    for (int i = 0; i < t->entryCount; ++i) QVN_TRY(largest.consider(t->names[i], t->prefix));
    counter = largest.value();
  }
  bytes += static_cast<int64_t>(generated) * (digitCount(static_cast<long>(counter) + generated) + 2);
  const int64_t entries = static_cast<int64_t>(t->entryCount) + count;
  if (entries > 2100000000 || t->storeUsed + bytes > 2100000000) return QVNERR_NO_MEMORY;
  // Everything that can fail comes before the first write.
  if (entries > t->entryCapacity &&
      !resizeEntries(t, static_cast<int>(std::min<int64_t>(2100000000, std::max(entries, entries + entries / 5 + 16)))))
    return QVNERR_NO_MEMORY;
  if (t->storeUsed + bytes > t->storeSize &&
      !resizeStore(t, std::max(t->storeUsed + bytes, (t->storeUsed + bytes) * 6 / 5 + 1700)))
    return QVNERR_NO_MEMORY;
  if (t->hash && entries > t->hash->capacity) {
    try {
      t->hash->grow(static_cast<int>(entries - 1));
    } catch (...) {
      return QVNERR_NO_MEMORY;
    }
  }
  char buffer[24];
  for (int k = 0; k < count; ++k) {
    const char *text = names && names[k] ? names[k] : "";
    if (!text[0] && generate) {
      std::snprintf(buffer, sizeof buffer, "%c%ld", t->prefix, static_cast<long>(++counter));
      text = buffer;
    }
    const size_t n = std::strlen(text) + 1;
    char *place = t->store + t->storeUsed;
    std::memcpy(place, text, n);
    t->storeUsed += static_cast<int64_t>(n);
    t->names[t->entryCount] = place;
    if (t->hash) t->hash->insert(place, t->entryCount);
    ++t->entryCount;
  }
  if (generated > 0) t->defaultCount = counter;
  return 0;
}

} // namespace

int nameTableAdd(NameTable *t, int count, char *const *names) { return appendNames(t, count, names, true); }

int nameTableAppend(NameTable *t, int count, char *const *names) { return appendNames(t, count, names, false); }

int nameTableFind(const NameTable *t, const char *text) {
  if (!t || !text) return -1;
  if (t->hash) return t->hash->find(text);
  for (int i = 0; i < t->entryCount; ++i)
    if (std::strcmp(t->names[i], text) == 0) return i;
  return -1;
}

void nameTableTruncate(NameTable *t, int first) {
  if (first >= t->entryCount) return;
  first = std::max(first, 0);
  if (t->hash) t->hash->removeFrom(first);
  // Names are written in order, so the first dropped one starts the free room.
  t->storeUsed = first < t->entryCount && first > 0 ? t->names[first] - t->store : 0;
  t->entryCount = first;
}

} // namespace qvn

extern "C" {

QVN_API int QVNEnsAddNames(NameTable *table, int count, char **names) {
  if (!table) return QVNERR_NULL_POINTER;
  if (count < 0) return QVNERR_INDEX_RANGE;
  if (count == 0) return 0;
  try {
    return qvn::nameTableAdd(table, count, names);
  } catch (...) {
    return QVNERR_NO_MEMORY;
  }
}

} // extern "C"
