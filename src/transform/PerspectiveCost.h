// How badly a perspective transform fits matched pairs.
#pragma once

#include "base/PairsView.h"

namespace vindrel {

// As affineCost(), with points mapped in double precision and narrowed before they are compared. t has 8 coefficients.
int perspectiveCost(const float *t, const PairsView &pairs);

} // namespace vindrel
