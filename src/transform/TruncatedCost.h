// The whole-number cost that the simplex search compares.
#pragma once

#include <climits>

namespace vindrel {

// sum, not negative, truncated. A wild transform's sum can exceed int or be undefined, where a conversion has no
// defined value: such a transform gets the worst cost there is.
inline int truncatedCost(float sum) {
  return sum < 2147483648.0f ? static_cast<int>(sum) : INT_MAX;
}

} // namespace vindrel
