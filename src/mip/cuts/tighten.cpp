// Tightening cuts: a row side sum a x <= b with a binary x_j whose
// coefficient exceeds what the row needs. With M the largest activity of the
// row and d = b - (M - a_j) > 0 for a_j > 0, the row never binds at x_j = 0,
// and (a_j - d) x_j + rest <= b - d holds at both values of x_j while it cuts
// more of the relaxation. For a_j < 0 and d = b - a_j - M > 0 (the row never
// binds at x_j = 1), a_j + d replaces a_j with the rhs unchanged. Coefficients are
// tightened one after the other, each against the row as it stands.
#include <algorithm>
#include <cmath>

#include "mip/cuts/cut_pool.h"

namespace qvn {

namespace {

constexpr double kInfiniteBound = 1e20;
// A coefficient moves only by more than this share of itself.
constexpr double kMinChange = 1e-6;

} // namespace

int separateTightening(MipRun &run, void *data, const double *x, int *added) {
  CutContext &c = *static_cast<CutContext *>(data);
  *added = 0;
  const RowModel &r = *c.rows;
  EnvVector<int> index;
  EnvVector<double> value;
  for (int i = 0; i < r.numRows && c.room > 0; ++i) {
    if ((i & 255) == 255 && cutTimeUp(run, c)) break;
    for (double side : {1.0, -1.0}) {
      const double limit = side > 0 ? r.up[i] : -r.lo[i];
      if (!std::isfinite(limit) || std::fabs(limit) >= kInfiniteBound) continue;
      // Largest activity of side * row over the bounds.
      double maxAct = 0.0;
      bool finite = true, hasBinary = false;
      for (int p = r.start[i]; p < r.start[i + 1] && finite; ++p) {
        const int j = r.column[p];
        const double a = side * r.value[p];
        const double bound = a > 0 ? c.upper[j] : c.lower[j];
        if (std::fabs(bound) >= kInfiniteBound) finite = false;
        maxAct += a * bound;
        hasBinary = hasBinary || (c.kind[j] == ColKind::kInteger && c.lower[j] == 0.0 && c.upper[j] == 1.0);
      }
      if (!finite || !hasBinary || maxAct <= limit) continue;  // a row that never binds needs no cut
      index.clear();
      value.clear();
      double b = limit;
      bool changed = false;
      for (int p = r.start[i]; p < r.start[i + 1]; ++p) {
        const int j = r.column[p];
        double a = side * r.value[p];
        if (c.kind[j] == ColKind::kInteger && c.lower[j] == 0.0 && c.upper[j] == 1.0) {
          if (a > 0) {
            // Activity of the rest at its largest: M less this column's share.
            const double rest = maxAct - a;
            const double d = b - rest;
            if (d > kMinChange * a && d < a) {
              a -= d;
              b -= d;
              maxAct -= d;
              changed = true;
            }
          } else if (a < 0) {
            // M counts x_j at 0 here, so M is the rest's largest activity.
            const double d = b - a - maxAct;
            if (d > kMinChange * -a && d < -a) {
              a += d;
              changed = true;
            }
          }
        }
        index.push_back(j);
        value.push_back(a);
      }
      if (!changed) continue;
      if (offerCut(c, kCutTighten, index, value, b, x)) ++*added;
    }
  }
  return 0;
}

} // namespace qvn
