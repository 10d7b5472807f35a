// Work vectors of the simplex loops are the factor's solve vectors: values by
// index in `array`, and in `index[0..count)` the positions that may be
// nonzero (count < 0: the pattern is unknown and the array is scanned).
// Solves and updates touch only the listed positions, so a hypersparse vector
// costs in proportion to its nonzeros.
#pragma once
#include <cmath>

#include "simplex/lu/lu_factor.h"
#include "simplex/work_lp.h"

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

// v += mult * column j of [A, -I], with the positions it touches listed. A
// position whose sum cancels to zero and is touched again is listed twice;
// the solves take such a list as it is. When the list could outgrow the
// vector the pattern is given up (count < 0).
inline void hvAddColumn(HVector &v, const WorkLp &lp, int j, double mult) {
  double *a = v.array.data();
  const bool structural = j < lp.numCol;
  const int length = structural ? lp.aStart[j + 1] - lp.aStart[j] : 1;
  if (v.count < 0 || v.count + length > v.size) {
    addColumn(lp, j, mult, a);
    v.count = -1;
    return;
  }
  int *index = v.index.data();
  int count = v.count;
  if (structural) {
    for (int k = lp.aStart[j]; k < lp.aStart[j + 1]; ++k) {
      const int i = lp.aIndex[k];
      if (a[i] == 0.0) index[count++] = i;
      a[i] += mult * lp.aValue[k];
    }
  } else {
    const int i = j - lp.numCol;
    if (a[i] == 0.0) index[count++] = i;
    a[i] -= mult;
  }
  v.count = count;
}

// Sum of squares over the listed positions (count >= 0).
inline double hvSquaredNorm(const HVector &v) {
  double g = 0.0;
  for (int k = 0; k < v.count; ++k) g += v.array[v.index[k]] * v.array[v.index[k]];
  return g;
}

} // namespace qvn
