// The inverse of a perspective transform.
#pragma once

#include "transform/Transform.h"

namespace vindrel {

// Found from the images of a square's corners rather than by matrix inversion: the images are single-precision points,
// so the inverse is true to what the transform does within the square rather than to its coefficients. t has 8
// coefficients. A t without an inverse yields infinite or undefined values.
Trans8 inversePerspective(const float *t);

} // namespace vindrel
