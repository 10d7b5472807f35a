#include "model/names.h"

#include <cctype>
#include <cstdio>
#include <cstring>

namespace qvn {

namespace {

size_t roundUp4(size_t n) { return (n + 3) / 4 * 4; }

void putName(NameStore &store, int index, size_t &used, const char *text) {
  const size_t n = std::strlen(text) + 1;
  if (used + n > store.text.size()) store.text.resize(roundUp4((used + n) + (used + n) / 5 + 1700));
  std::memcpy(store.text.data() + used, text, n);
  store.offset[index] = static_cast<int64_t>(used);
  used += n;
}

size_t usedBytes(const NameStore &store, int have) {
  if (!store.exists || have == 0) return 0;
  const char *last = store.name(have - 1);
  return static_cast<size_t>(store.offset[have - 1]) + std::strlen(last) + 1;
}

} // namespace

void buildNameStore(NameStore &store, char *const *names, int count, size_t capacity,
                    int extraParam) {
  size_t bytes = 0;
  for (int i = 0; i < count; ++i) bytes += std::strlen(names[i]) + 1;
  const size_t spare = capacity > static_cast<size_t>(count) ? capacity - count : 0;
  NameStore fresh;
  fresh.exists = true;
  fresh.text.resize(roundUp4(bytes + 17 * (extraParam >= 0 ? static_cast<size_t>(extraParam) : spare)) + 4);
  fresh.offset.resize(capacity > 0 ? capacity : 1);
  size_t used = 0;
  for (int i = 0; i < count; ++i) putName(fresh, i, used, names[i]);
  std::swap(store, fresh);
}

int defaultNameCounter(const NameStore &store, int count, char prefix, int &counter) {
  if (counter >= 0 && counter <= 999999999) return 0;
  int best = 0;
  if (store.exists) {
    for (int i = 0; i < count; ++i) {
      const char *name = store.name(i);
      if (name[0] != prefix || !name[1]) continue;
      const char *digits = name + 1;
      bool allDigits = true;
      for (const char *p = digits; *p; ++p) allDigits = allDigits && std::isdigit(static_cast<unsigned char>(*p));
      if (!allDigits) continue;
      while (*digits == '0' && digits[1]) ++digits;
      if (std::strlen(digits) > 9) return QVNERR_NAME_CREATION;
      const int value = std::atoi(digits);
      if (value > best) best = value;
    }
  }
  counter = best;
  return 0;
}

void appendNames(NameStore &store, int have, char *const *names, int count, char prefix,
                 int &counter) {
  if (store.offset.size() < static_cast<size_t>(have + count)) store.offset.resize(have + count);
  size_t used = usedBytes(store, have);
  char buffer[24];
  for (int i = 0; i < count; ++i) {
    const char *name = names ? names[i] : nullptr;
    if (!name || !*name) {
      std::snprintf(buffer, sizeof buffer, "%c%ld", prefix, static_cast<long>(++counter));
      name = buffer;
    }
    putName(store, have + i, used, name);
  }
}

void makeDefaultNames(NameStore &store, int count, char prefix, int &counter) {
  NameStore fresh;
  fresh.exists = true;
  fresh.offset.resize(store.offset.size() > static_cast<size_t>(count) ? store.offset.size() : count + 1);
  fresh.text.resize(roundUp4(static_cast<size_t>(count) * 12 + 4));
  appendNames(fresh, 0, nullptr, count, prefix, counter);
  std::swap(store, fresh);
}

} // namespace qvn
