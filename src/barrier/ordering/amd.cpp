// Approximate minimum degree: the quotient graph elimination that always takes
// a supervariable of least approximate external degree.
#include "barrier/ordering/ordering.h"

namespace qvn {

namespace {

double degreeScore(double degree, double, double) { return degree; }

} // namespace

void approximateMinimumDegree(const SymGraph &g, EnvVector<int> &perm) { quotientGraphOrder(g, degreeScore, perm); }

} // namespace qvn
