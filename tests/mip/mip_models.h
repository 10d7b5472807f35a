// Small MIPs for the tests, generated from a seed so that a failure repeats.
#pragma once
#include <cstdint>

#include "mip/mip_check.h"

namespace qvntest {

// A tiny deterministic generator (the tests must not depend on the library's).
struct TestRandom {
  uint64_t s;
  explicit TestRandom(uint64_t seed) : s(seed * 2654435761u + 1) {}
  uint32_t next() {
    s = s * 6364136223846793005ull + 1442695040888963407ull;
    return static_cast<uint32_t>(s >> 33);
  }
  int range(int lo, int hi) { return lo + static_cast<int>(next() % static_cast<uint32_t>(hi - lo + 1)); }
};

// max values.x subject to two knapsack rows, binaries.
MipModel knapsack(uint64_t seed, int n);
// min cost.x, every element covered at least once, binaries.
MipModel setCover(uint64_t seed, int n, int elements);
// General integers in small ranges, mixed row senses, either objective sense.
MipModel randomIntegerModel(uint64_t seed, int n, int rows);

} // namespace qvntest
