// The one allocator of the library. Every block is 16-byte aligned; the byte in
// front of the returned address holds the distance back to the system's block.
#pragma once
#include <cstddef>
#include <cstdint>
#include <limits>
#include <new>
#include <vector>

namespace qvn {

void *envAlloc(size_t size);
void *envCalloc(size_t count, size_t size);
// Null block gives null; on failure the old block stays valid.
void *envRealloc(void *block, size_t size);
void envFreeRaw(void *block);
template <class T> inline void envFree(T *&block) {
  envFreeRaw(const_cast<void *>(static_cast<const void *>(block)));
  block = nullptr;
}

// Test hook: the n-th allocation from now on fails (n >= 1), 0 switches it off.
// Counts are per thread so that tests running in parallel do not disturb each other.
void allocFailAfter(long n);
// Number of allocations made on this thread since the process started.
long allocCount();
// Number of blocks currently live on this thread (allocated minus freed).
long allocLive();

// Lets standard containers allocate through envAlloc; a failure throws
// std::bad_alloc, which the frame of every exported function turns into 1001.
template <class T> struct EnvAllocator {
  using value_type = T;
  EnvAllocator() noexcept = default;
  template <class U> EnvAllocator(const EnvAllocator<U> &) noexcept {}
  T *allocate(size_t n) {
    if (n > std::numeric_limits<size_t>::max() / sizeof(T)) throw std::bad_alloc();
    void *p = envAlloc(n == 0 ? 1 : n * sizeof(T));
    if (!p) throw std::bad_alloc();
    return static_cast<T *>(p);
  }
  void deallocate(T *p, size_t) noexcept { envFreeRaw(p); }
  template <class U> bool operator==(const EnvAllocator<U> &) const noexcept { return true; }
};

template <class T> using EnvVector = std::vector<T, EnvAllocator<T>>;

// Constructs a T in envAlloc memory; throws std::bad_alloc when memory fails.
template <class T, class... Args> T *envNew(Args &&...args) {
  void *memory = envAlloc(sizeof(T));
  if (!memory) throw std::bad_alloc();
  try {
    return new (memory) T(static_cast<Args &&>(args)...);
  } catch (...) {
    envFreeRaw(memory);
    throw;
  }
}

template <class T> void envDelete(T *&object) {
  if (!object) return;
  object->~T();
  envFreeRaw(object);
  object = nullptr;
}

// Copies a text into envAlloc memory; null on failure.
char *envStrdup(const char *text);

} // namespace qvn
