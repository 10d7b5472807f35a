#include "model/names.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstring>

#include "runtime/environment.h"

namespace qvn {

namespace {

size_t roundUp4(size_t n) { return (n + 3) / 4 * 4; }

// Grows the text so that `more` bytes fit behind `used`, and the offsets to
// `entries`. std::vector::resize leaves the content intact when it throws.
void reserve(NameStore &store, size_t more, size_t entries) {
  const size_t need = static_cast<size_t>(store.used) + more;
  if (need > store.text.size()) store.text.resize(roundUp4(std::max(need + 1700, need + need / 5)));
  if (entries > store.offset.size()) store.offset.resize(entries);
}

// Writes `text` behind the used bytes; room must be reserved.
void put(NameStore &store, int index, const char *text) {
  const size_t n = std::strlen(text) + 1;
  std::memcpy(store.text.data() + store.used, text, n);
  store.offset[index] = store.used;
  store.used += static_cast<int64_t>(n);
}

int digitCount(long value) {
  int n = 1;
  while (value >= 10) value /= 10, ++n;
  return n;
}

bool missing(char *const *names, int k) { return !names || !names[k] || !names[k][0]; }

} // namespace

void buildNameStore(NameStore &store, char *const *names, int count, size_t capacity,
                    int extraParam) {
  size_t bytes = 0;
  for (int i = 0; i < count; ++i) bytes += std::strlen(names[i]) + 1;
  const size_t spare = capacity > static_cast<size_t>(count) ? capacity - count : 0;
  NameStore fresh;
  fresh.exists = true;
  fresh.text.resize(roundUp4(bytes + 17 * (extraParam >= 0 ? static_cast<size_t>(extraParam) : spare)) + 4);
  fresh.offset.resize(std::max<size_t>(capacity, 1));
  for (int i = 0; i < count; ++i) put(fresh, i, names[i]);
  std::swap(store, fresh);
}

int buildNameStoreFilled(NameStore &store, char *const *names, int count, size_t capacity,
                         int extraParam, char prefix, int &counter) {
  int nulls = 0;
  LargestGeneratedNumber largest;
  for (int i = 0; i < count; ++i) {
    if (!names[i])
      ++nulls;
    else
      QVN_TRY(largest.consider(names[i], prefix));
  }
  if (nulls == 0) {
    buildNameStore(store, names, count, capacity, extraParam);
    return 0;
  }
  const long first = largest.value();
  if (first + nulls >= 2100000000L) return QVNERR_NAME_CREATION;
  const int width = digitCount(first + nulls) + 2;
  EnvVector<char> generated(static_cast<size_t>(width) * static_cast<size_t>(nulls));
  EnvVector<char *> filled(names, names + count);
  long next = first;
  char *slot = generated.data();
  for (int i = 0; i < count; ++i) {
    if (names[i]) continue;
    std::snprintf(slot, static_cast<size_t>(width), "%c%ld", prefix, ++next);
    filled[i] = slot;
    slot += width;
  }
  buildNameStore(store, filled.data(), count, capacity, extraParam);
  counter = static_cast<int>(next);
  return 0;
}

int LargestGeneratedNumber::consider(const char *name, char prefix) {
  if (!name || name[0] != prefix || !name[1]) return 0;
  const char *p = name + 1;
  while (*p && std::isdigit(static_cast<unsigned char>(*p))) ++p;
  if (*p) return 0;
  const char *digits = name + 1;
  while (*digits == '0' && digits[1]) ++digits;
  const size_t n = std::strlen(digits);
  if (n > 9) return QVNERR_NAME_CREATION;
  if (!best || n > length || (n == length && std::strcmp(digits, best) > 0)) best = digits, length = n;
  return 0;
}

int LargestGeneratedNumber::value() const { return best ? std::atoi(best) : 0; }

int defaultNameCounter(const NameStore &store, int have, char prefix, int count, int &counter) {
  if (counterUsable(counter, count)) return 0;
  LargestGeneratedNumber largest;
  for (int i = 0; store.exists && i < have; ++i) QVN_TRY(largest.consider(store.name(i), prefix));
  counter = largest.value();
  return 0;
}

int makeDefaultNames(NameStore &store, int count, size_t capacity, char prefix, int &counter) {
  int next = counter;
  QVN_TRY(defaultNameCounter(store, 0, prefix, count, next));
  const int width = digitCount(static_cast<long>(next) + count) + 2;
  const int64_t total = static_cast<int64_t>(roundUp4(static_cast<size_t>(width) * count));
  if (total > 2100000000) return QVNERR_NO_MEMORY;
  NameStore fresh;
  fresh.exists = true;
  fresh.text.resize(static_cast<size_t>(total) + 4);
  fresh.offset.resize(std::max<size_t>({capacity, static_cast<size_t>(count), 1}));
  char buffer[24];
  for (int i = 0; i < count; ++i) {
    std::snprintf(buffer, sizeof buffer, "%c%ld", prefix, static_cast<long>(++next));
    put(fresh, i, buffer);
  }
  std::swap(store, fresh);
  if (count > 0) counter = next;  // the counter exists only once names were generated
  return 0;
}

int addNames(NameStore &store, int have, char *const *names, int count, char prefix, int &counter,
             size_t capacity) {
  if (count <= 0 || (!names && !store.exists)) return 0;
  int generated = 0;
  size_t bytes = 0;
  for (int k = 0; k < count; ++k) {
    if (missing(names, k))
      ++generated;
    else
      bytes += std::strlen(names[k]) + 1;
  }
  const size_t entries = std::max<size_t>(capacity, static_cast<size_t>(have + count));
  NameStore fresh;
  NameStore *target = &store;
  int next = counter;
  if (!store.exists) {
    // The old entries get generated names first; the result replaces the store at the end.
    QVN_TRY(makeDefaultNames(fresh, have, entries, prefix, next));
    target = &fresh;
  }
  if (generated > 0) QVN_TRY(defaultNameCounter(*target, have, prefix, generated, next));
  bytes += static_cast<size_t>(generated) * (digitCount(static_cast<long>(next) + generated) + 2);
  reserve(*target, bytes, entries);
  char buffer[24];
  for (int k = 0; k < count; ++k) {
    const char *text = names ? names[k] : nullptr;
    if (missing(names, k)) {
      std::snprintf(buffer, sizeof buffer, "%c%ld", prefix, static_cast<long>(++next));
      text = buffer;
    }
    put(*target, have + k, text);
  }
  if (target == &fresh) std::swap(store, fresh);
  if (generated > 0 || (target == &fresh && have > 0)) counter = next;
  return 0;
}

void compactNames(NameStore &store, int count, const int *newIndex) {
  if (!store.exists) return;
  EnvVector<char> text(store.text.size());
  int64_t used = 0;
  // New indices rise with the old ones, so the offsets can be rewritten in place.
  for (int i = 0; i < count; ++i) {
    const int to = newIndex[i];
    if (to < 0) continue;
    const char *name = store.name(i);
    const size_t n = std::strlen(name) + 1;
    std::memcpy(text.data() + used, name, n);
    store.offset[to] = used;
    used += static_cast<int64_t>(n);
  }
  store.text.swap(text);
  store.used = used;
}

void renameEntries(NameStore &store, int have, int count, const int *indices, char *const *names) {
  size_t longer = 0;
  for (int k = 0; k < count; ++k) {
    const size_t n = std::strlen(names[k]);
    if (n > std::strlen(store.name(indices[k]))) longer += n + 1;
  }
  if (static_cast<size_t>(store.used) + longer > store.text.size()) {
    // Full: drop the texts that earlier renames left behind before growing.
    EnvVector<int> identity(static_cast<size_t>(std::max(have, 1)));
    for (int i = 0; i < have; ++i) identity[i] = i;
    compactNames(store, have, identity.data());
    reserve(store, longer, store.offset.size());
  }
  for (int k = 0; k < count; ++k) {
    const int i = indices[k];
    char *old = store.text.data() + store.offset[i];
    if (std::strlen(names[k]) <= std::strlen(old))
      std::strcpy(old, names[k]);
    else
      put(store, i, names[k]);
  }
}

const char *displayName(const Environment *cenv, const NameStore *names, int total, int index,
                        bool column) {
  if (index < 0 || index >= total) return "";
  if (names && names->exists) return names->name(index);
  auto *env = const_cast<Environment *>(cenv);
  char *scratch = column ? env->defaultColName : env->defaultRowName;
  const auto hook = column ? env->nameHooks.colName : env->nameHooks.rowName;
  if (hook) return hook(env->nameHooks.userHandle, index, scratch);
  std::snprintf(scratch, 17, "%c%d", column ? 'x' : 'c', index + 1);
  return scratch;
}

int findName(const NameStore &store, int count, const char *text) {
  if (!store.exists) return -1;
  for (int i = 0; i < count; ++i)
    if (std::strcmp(store.name(i), text) == 0) return i;
  return -1;
}

} // namespace qvn
