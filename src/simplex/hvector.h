// Work vectors of the simplex loops are the factor's solve vectors: values by
// index in `array`, and in `index[0..count)` the positions that may be
// nonzero (count < 0: the pattern is unknown and the array is scanned).
// Solves and updates touch only the listed positions, so a hypersparse vector
// costs in proportion to its nonzeros.
#pragma once
#include <cmath>

#include "simplex/lu/lu_factor.h"

namespace qvn {

using HVector = LuVector;

inline void hvSetup(HVector &v, int n) { luVectorInit(v, n > 0 ? n : 1), v.size = n; }
inline void hvClear(HVector &v) { luVectorClear(v); }
// Rebuilds the index list from the array.
inline void hvReindex(HVector &v) {
  v.count = 0;
  for (int i = 0; i < v.size; ++i)
    if (v.array[i] != 0.0) v.index[v.count++] = i;
}

// Sum of squares over the listed positions (count >= 0).
inline double hvSquaredNorm(const HVector &v) {
  double g = 0.0;
  for (int k = 0; k < v.count; ++k) g += v.array[v.index[k]] * v.array[v.index[k]];
  return g;
}

} // namespace qvn
