// Residuals of an affine transform over matched pairs, for least squares.
#pragma once

#include "base/PairsView.h"

namespace vindrel {

// parameters: 6 coefficients. Writes one residual for each of m pairs: the city-block distance between the image of
// the point in A and the point in B, 0.001 for each pixel.
void affineResiduals(const double *parameters, int m, const PairsView &pairs, double *residuals);

} // namespace vindrel
