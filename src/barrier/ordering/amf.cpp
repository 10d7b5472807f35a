// Approximate minimum fill: the quotient graph elimination that takes the
// supervariable whose elimination is estimated to create the fewest new
// entries. Eliminating v makes its d external neighbours a clique; the pairs
// already joined by the newest element it belongs to (c of them without v)
// are not new, so the estimate is d(d-1)/2 - c(c-1)/2.
#include "barrier/ordering/ordering.h"

namespace qvn {

namespace {

double fillScore(double degree, double newElement, double) {
  const double c = newElement < degree ? newElement : degree;
  // The degree breaks ties among equal fill, smallest first.
  return 0.5 * (degree * (degree - 1.0) - c * (c - 1.0)) + 1e-6 * degree;
}

} // namespace

void approximateMinimumFill(const SymGraph &g, EnvVector<int> &perm) { quotientGraphOrder(g, fillScore, perm); }

} // namespace qvn
