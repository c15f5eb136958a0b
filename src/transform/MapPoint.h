// How a transform maps a point. The same formula stands here once for each combination of precisions that results
// depend on; nothing else in the library repeats it. Coefficients come as a pointer, so that slots of a table, arrays
// of the flat interface and the array types alike can be mapped through.
#pragma once

#include "transform/Transform.h"

namespace vindrel {

// Affine, all single precision: the affine warp, the affine search's scores and its simplex cost.
inline Point mapAffineF(const float *t, float x, float y) {
  return {t[0] * x + t[1] * y + t[2], t[3] * x + t[4] * y + t[5]};
}

// Perspective, all single precision: the agreement count of the perspective search, which visits every pair for every
// candidate and compares with a tolerance of pixels.
inline Point mapPerspectiveF(const float *t, float x, float y) {
  const float w = (t[6] * x + t[7] * y) * static_cast<float>(kPerspectiveUnit) + 1.0f;
  return {(t[0] * x + t[1] * y + t[2]) / w, (t[3] * x + t[4] * y + t[5]) / w};
}

// Perspective, numerators in single precision, denominator and division in double, results narrowed to single: the
// warp and the corner chains of the output-size search. In single precision the denominator, 1 plus a few millionths
// a pixel, would lose the very digits that place far corners.
inline Point mapPerspectiveMixed(const float *t, float x, float y) {
  const double w =
      1.0 + (static_cast<double>(t[6]) * static_cast<double>(x) + static_cast<double>(t[7]) * static_cast<double>(y)) *
                kPerspectiveUnit;
  const float numeratorX = t[0] * x + t[1] * y + t[2];
  const float numeratorY = t[3] * x + t[4] * y + t[5];
  return {static_cast<float>(numeratorX / w), static_cast<float>(numeratorY / w)};
}

// Perspective, all double precision, coefficients of either precision widened: fits, corner mapping, straightening.
template <class Coefficient>
inline PointD mapPerspectiveD(const Coefficient *t, double x, double y) {
  const double w = (static_cast<double>(t[6]) * x + static_cast<double>(t[7]) * y) * kPerspectiveUnit + 1.0;
  return {(static_cast<double>(t[0]) * x + static_cast<double>(t[1]) * y + static_cast<double>(t[2])) / w,
          (static_cast<double>(t[3]) * x + static_cast<double>(t[4]) * y + static_cast<double>(t[5])) / w};
}

inline Point narrow(PointD p) {
  return {static_cast<float>(p.x), static_cast<float>(p.y)};
}

} // namespace vindrel
