// The perspective transform through four pairs of points, by the four-point basis method: the map from the projective
// basis to each quadrangle is found alone, then one is combined with the inverse of the other.
#pragma once

#include "transform/Transform.h"

namespace vindrel {

// The transform that maps each src[i] onto dst[i]. Three collinear points on a side, or a map that sends the origin to
// infinity, are not detected: the coefficients are then infinite, undefined or wild.
Trans8D perspectiveFromFourPairsD(const PointD src[4], const PointD dst[4]);

// The same arithmetic on single-precision points, its result narrowed.
Trans8 perspectiveFromFourPairs(const Point src[4], const Point dst[4]);

} // namespace vindrel
