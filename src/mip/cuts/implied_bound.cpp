// Implied bound cuts: binary z at value v forces y <= b (or y >= b). With y
// in [l, u] globally, the implication is the linear inequality
//   z = 1 forces y <= b:  y + (u - b) z <= u
//   z = 0 forces y <= b:  y - (u - b) z <= b
//   z = 1 forces y >= b: -y + (b - l) z <= -l
//   z = 0 forces y >= b: -y - (b - l) z <= -b
// each of which holds at both values of z.
#include <cmath>

#include "mip/cuts/cut_pool.h"
#include "mip/probing.h"

namespace qvn {

namespace {

constexpr double kInfiniteBound = 1e20;
// Violation per unit norm a cut must reach.
constexpr double kMinEfficacy = 0.01;

} // namespace

int separateImpliedBounds(MipRun &run, void *data, const double *x, int *added) {
  CutContext &c = *static_cast<CutContext *>(data);
  *added = 0;
  const ImpliedBoundTable &t = c.pool->implied;
  EnvVector<int> index(2);
  EnvVector<double> value(2);
  int tested = 0;
  for (const ImpliedBound &e : t.entries) {
    if (c.room <= 0) break;
    if ((++tested & 1023) == 0 && cutTimeUp(run, c)) break;
    const int z = e.binary, y = e.col;
    // Bounds the cut is written against: the working ones, which may have moved
    // since.
    const double l = c.lower[y], u = c.upper[y];
    if (c.lower[z] != 0.0 || c.upper[z] != 1.0) continue;
    double cy, cz, rhs;
    if (e.type == 'U') {
      if (u >= kInfiniteBound || e.bound >= u) continue;
      const double m = u - e.bound;
      cy = 1.0;
      cz = e.value == 1 ? m : -m;
      rhs = e.value == 1 ? u : e.bound;
    } else {
      if (l <= -kInfiniteBound || e.bound <= l) continue;
      const double m = e.bound - l;
      cy = -1.0;
      cz = e.value == 1 ? m : -m;
      rhs = e.value == 1 ? -l : -e.bound;
    }
    const double violation = cy * x[y] + cz * x[z] - rhs;
    if (violation <= kMinEfficacy * std::sqrt(1.0 + cz * cz)) continue;
    index.assign({y, z});
    value.assign({cy, cz});
    if (offerCut(c, kCutImplBd, index, value, rhs, x)) ++*added;
  }
  return 0;
}

} // namespace qvn
