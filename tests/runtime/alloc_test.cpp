#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>

#include "quorvan.h"
#include "runtime/alloc.h"

namespace qvn {

TEST(Alloc, BlocksAreAlignedAndReallocKeepsContent) {
  for (size_t size : {1u, 7u, 16u, 33u, 4096u}) {
    auto *p = static_cast<unsigned char *>(envAlloc(size));
    ASSERT_NE(p, nullptr);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(p) % 16, 0u);
    for (size_t i = 0; i < size; ++i) p[i] = static_cast<unsigned char>(i * 7);
    // Growing through many sizes makes the system hand back blocks at other offsets.
    for (size_t grow = size + 1; grow < size + 200; grow += 13) {
      p = static_cast<unsigned char *>(envRealloc(p, grow));
      ASSERT_NE(p, nullptr);
      EXPECT_EQ(reinterpret_cast<uintptr_t>(p) % 16, 0u);
      for (size_t i = 0; i < size; ++i) ASSERT_EQ(p[i], static_cast<unsigned char>(i * 7));
    }
    envFree(p);
    EXPECT_EQ(p, nullptr);
  }
  EXPECT_EQ(envAlloc(0), nullptr);
  EXPECT_EQ(envRealloc(nullptr, 10), nullptr);
  void *none = nullptr;
  envFree(none);  // tolerated
}

TEST(Alloc, InjectedFailureHitsExactlyTheNthAllocation) {
  allocFailAfter(3);
  void *a = envAlloc(8), *b = envAlloc(8), *c = envAlloc(8), *d = envAlloc(8);
  EXPECT_NE(a, nullptr);
  EXPECT_NE(b, nullptr);
  EXPECT_EQ(c, nullptr);
  EXPECT_NE(d, nullptr);
  envFree(a), envFree(b), envFree(d);
  allocFailAfter(1);
  EXPECT_THROW(EnvVector<int>(10), std::bad_alloc);
  allocFailAfter(0);
}

TEST(Alloc, ExportedFormsTreatSizeZeroAsOne) {
  void *p = QVNmalloc(0);
  ASSERT_NE(p, nullptr);
  p = QVNrealloc(p, 0);
  ASSERT_NE(p, nullptr);
  QVNfree(p);
  QVNfree(nullptr);
}

} // namespace qvn
