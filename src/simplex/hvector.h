// A work vector that is dense in storage and sparse in bookkeeping: values in
// `array`, the positions that may be nonzero in `index[0..count)`. Solves and
// updates touch only the listed positions, so a hypersparse vector costs in
// proportion to its nonzeros, not to its dimension.
#pragma once
#include <cmath>

#include "runtime/alloc.h"

namespace qvn {

constexpr double kTinyValue = 1e-14;

struct HVector {
  int size = 0;
  int count = 0;  // -1: the index list is not maintained (treat as dense)
  EnvVector<double> array;
  EnvVector<int> index;

  void setup(int n) {
    size = n;
    count = 0;
    array.assign(static_cast<size_t>(n > 0 ? n : 1), 0.0);
    index.assign(static_cast<size_t>(n > 0 ? n : 1), 0);
  }
  void clear() {
    if (count < 0 || count > size / 3) {
      for (int i = 0; i < size; ++i) array[i] = 0.0;
    } else {
      for (int k = 0; k < count; ++k) array[index[k]] = 0.0;
    }
    count = 0;
  }
  // Rebuilds the index list from the array, dropping tiny values.
  void reindex() {
    count = 0;
    for (int i = 0; i < size; ++i) {
      if (std::fabs(array[i]) > kTinyValue)
        index[count++] = i;
      else
        array[i] = 0.0;
    }
  }
  // Drops tiny values from a vector whose index list is maintained.
  void tidy() {
    if (count < 0) {
      reindex();
      return;
    }
    int kept = 0;
    for (int k = 0; k < count; ++k) {
      const int i = index[k];
      if (std::fabs(array[i]) > kTinyValue)
        index[kept++] = i;
      else
        array[i] = 0.0;
    }
    count = kept;
  }
};

} // namespace qvn
