// Steps by which the loops adapt a working tolerance: raiseTol when values
// are too noisy for it, reduceTol (and its fast form) when a decision taken
// within it proved wrong. The steps follow the decades of the mantissa so
// that repeated cuts settle on round values.
#pragma once
#include <algorithm>

namespace qvn {

inline double raiseTol(double x) { return x >= 9.99999999e-05 ? 1.1 * x : std::min(2.0 * x, 0.0001); }

inline double reduceTol(double x) {
  if (x > 1.0000001e-06) return std::max(0.1 * x, 1e-06);
  if (x > 1.000001e-07) return std::max(0.3154574132 * x, 1e-07);
  if (x > 1.00001e-08) return std::max(0.7518796992 * x, 1e-08);
  if (x > 1.0001e-09) return std::max(0.8620689655 * x, 1e-09);
  if (x > 1.001e-10) return 0.9 * x + 1e-11;
  return 0.9900990099 * x;
}

inline double reduceTolFast(double x) {
  if (x > 1.000001e-07) return std::max(0.1 * x, 1e-07);
  if (x > 1.0001e-09) return std::max(0.2155172414 * x, 1e-09);
  if (x > 1.01e-11) return 0.5 * x + 5e-12;
  return 0.9900990099 * x;
}

} // namespace qvn
