// Rotation and translation from two pairs of points.
#pragma once

#include "transform/Transform.h"

namespace vindrel {

// Turns src[0] - src[1] into the direction of dst[0] - dst[1] and carries src[0] onto dst[0]. Meaningful only when
// both pairs are equally far apart, because lengths are not divided out. Of the angles by arcsine and by arccosine the
// smaller in magnitude is taken, and the arccosine, which is positive, where they are equal: so rounding decides the
// direction of a turn to the negative side. False, out untouched, when the two sources share an x or a y, or when the
// destinations' distance makes the rotation's sine exceed 1.
bool rigidFromTwoPairs(const Point src[2], const Point dst[2], Trans6 &out);

} // namespace vindrel
