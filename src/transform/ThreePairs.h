// The affine transform through three pairs of points.
#pragma once

#include "transform/Transform.h"

namespace vindrel {

// The transform that maps each src[i] onto dst[i], solved in double precision and narrowed. False, out untouched, when
// the solver meets a zero pivot. That is the solver's verdict, not a geometric one: rounding lets some collinear
// triples through, whose transforms are then infinite, undefined or wild, and its pivot rule turns a few sound ones
// away.
bool affineFromThreePairs(const Point src[3], const Point dst[3], Trans6 &out);

} // namespace vindrel
