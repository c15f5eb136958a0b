// Where the corners of a rectangle go.
#pragma once

#include "transform/MapPoint.h"

namespace vindrel {

// Maps (x0, y0), (x1, y0), (x0, y1), (x1, y1) through a perspective transform of 8 coefficients of either precision.
// Double arithmetic throughout, the results narrowed. A corner on the transform's horizon becomes infinite or
// undefined.
template <class Coefficient>
inline Corners<Point> mapCorners(const Coefficient *t, float x0, float y0, float x1, float y1) {
  const auto map = [t](float x, float y) {
    return narrow(mapPerspectiveD(t, static_cast<double>(x), static_cast<double>(y)));
  };
  return {map(x0, y0), map(x1, y0), map(x0, y1), map(x1, y1)};
}

} // namespace vindrel
