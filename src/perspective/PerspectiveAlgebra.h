// Two operations on perspective transforms as whole matrices: the inverse, and a change of scale ahead of the
// transform.
#pragma once

#include "transform/Transform.h"

namespace vindrel {

// The inverse by the adjugate, in double precision, divided by the adjugate's last element so that the result has
// denominator 1 at the origin again. Where no such form exists (t is singular, or nothing finite maps onto
// the origin) the result holds infinities or NaN.
Trans8 inverseByAdjugate(const Trans8 &t);

// The transform that takes (x, y) where t takes (scale x, scale y), in single precision.
Trans8 appliedToScaled(const Trans8 &t, float scale);

} // namespace vindrel
