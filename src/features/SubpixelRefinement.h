// Where between the pixels and filter sizes an extremum of the response really lies: the extremum of the quadratic
// through its neighbours (Brown and Lowe 2002, "Invariant features from interest point groups").
#pragma once

#include "features/ResponseKernel.h"

#include <cstdint>
#include <optional>

namespace vindrel {

struct SubpixelOffset {
  double x = 0;    // columns
  double y = 0;    // rows
  double size = 0; // steps between filter sizes
};

// How far a refined point may lie from its pixel and filter size.
struct Tolerances {
  float position = 0; // pixels, along either axis
  float size = 0;     // steps between filter sizes
};

// The offset of the extremum from the middle of the cube, or nothing when its Hessian is singular. Responses are
// widened to double before they are subtracted.
std::optional<SubpixelOffset> refineExtremum(const ResponseCube &cube);

// True when the offset is within the tolerances, which themselves are inside; an undefined offset is not.
bool isWithin(const SubpixelOffset &offset, Tolerances tolerances);

// The whole pixel for a coordinate in hundredths of a pixel: its truncated quotient by 100, plus one when half a pixel
// more than the coordinate passes that quotient. For coordinates from 0 on it always does, so a point 0.01 pixel left
// of its column's start ends in that column and any other in the next.
std::int32_t wholePixel(std::int32_t hundredths);

} // namespace vindrel
