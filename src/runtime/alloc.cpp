#include "runtime/alloc.h"

#include <cstdlib>
#include <cstring>

#include "quorvan.h"

namespace qvn {

namespace {
thread_local long tFailAt = 0;   // allocation number that fails, 0 = never
thread_local long tCount = 0;
thread_local long tLive = 0;

bool injectFailure() {
  ++tCount;
  if (tFailAt > 0 && --tFailAt == 0) return true;
  return false;
}

// Place a block inside raw memory of size+16 bytes so that it is 16-aligned and
// record the offset (1..16) in the byte before it.
void *placeAligned(void *raw) {
  auto base = reinterpret_cast<uintptr_t>(raw);
  uintptr_t offset = 16 - (base & 15);
  auto *user = reinterpret_cast<unsigned char *>(base + offset);
  user[-1] = static_cast<unsigned char>(offset);
  return user;
}

unsigned char *rawOf(void *block) {
  auto *user = static_cast<unsigned char *>(block);
  return user - user[-1];
}
} // namespace

void allocFailAfter(long n) { tFailAt = n > 0 ? n : 0; }
long allocCount() { return tCount; }
long allocLive() { return tLive; }

void *envAlloc(size_t size) {
  if (size == 0 || size > SIZE_MAX - 16 || injectFailure()) return nullptr;
  void *raw = std::malloc(size + 16);
  if (!raw) return nullptr;
  ++tLive;
  return placeAligned(raw);
}

void *envCalloc(size_t count, size_t size) {
  if (size != 0 && count > (SIZE_MAX - 16) / size) return nullptr;
  void *block = envAlloc(count * size);
  if (block) std::memset(block, 0, count * size);
  return block;
}

void *envRealloc(void *block, size_t size) {
  if (!block) return nullptr;
  if (size == 0) size = 1;
  if (size > SIZE_MAX - 16 || injectFailure()) return nullptr;
  unsigned char *oldRaw = rawOf(block);
  size_t oldOffset = static_cast<unsigned char *>(block) - oldRaw;
  void *raw = std::realloc(oldRaw, size + 16);
  if (!raw) return nullptr;
  auto base = reinterpret_cast<uintptr_t>(raw);
  size_t newOffset = 16 - (base & 15);
  auto *bytes = static_cast<unsigned char *>(raw);
  // The system may hand back a block with another alignment: move the content
  // from where the old offset left it to where the new offset wants it.
  if (newOffset != oldOffset) std::memmove(bytes + newOffset, bytes + oldOffset, size);
  bytes[newOffset - 1] = static_cast<unsigned char>(newOffset);
  return bytes + newOffset;
}

void envFreeRaw(void *block) {
  if (!block) return;
  --tLive;
  std::free(rawOf(block));
}

char *envStrdup(const char *text) {
  const size_t n = std::strlen(text) + 1;
  auto *copy = static_cast<char *>(envAlloc(n));
  if (copy) std::memcpy(copy, text, n);
  return copy;
}

} // namespace qvn

extern "C" {

QVN_API void *QVNmalloc(size_t size) { return qvn::envAlloc(size == 0 ? 1 : size); }

QVN_API void *QVNrealloc(void *block, size_t size) {
  return qvn::envRealloc(block, size == 0 ? 1 : size);
}

QVN_API void QVNfree(void *block) { qvn::envFreeRaw(block); }

} // extern "C"
