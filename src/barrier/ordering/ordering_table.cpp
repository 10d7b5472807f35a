// The orderings, one row each, numbered as the BARORDER parameter numbers them.
#include "barrier/ordering/ordering.h"

namespace qvn {

namespace {

constexpr OrderingMethod kOrderings[] = {
  {1, "approximate-min-degree", approximateMinimumDegree},
  {2, "approximate-min-fill", approximateMinimumFill},
  {3, "nested dissection", nestedDissection},
};

} // namespace

const OrderingMethod *orderingMethod(int number) {
  for (const auto &m : kOrderings)
    if (m.number == number) return &m;
  return nullptr;
}

} // namespace qvn
