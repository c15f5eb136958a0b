// How badly an affine transform fits matched pairs.
#pragma once

#include "base/PairsView.h"

namespace vindrel {

// The sum over the pairs of the city-block distance in pixels between the image of the point in A and the point in B,
// truncated. Single precision, summed in the order of the pairs. t has 6 coefficients.
int affineCost(const float *t, const PairsView &pairs);

} // namespace vindrel
