// Where between the pixels and filter sizes an extremum of the response really lies: the extremum of the quadratic
// through its neighbours (Brown and Lowe 2002, "Invariant features from interest point groups").
#pragma once

#include "features/ResponseKernel.h"

#include <cstdint>

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

struct RefinedExtremum {
  SubpixelOffset offset; // from the middle of the cube; anything unless it exists
  bool exists = false;   // not when the Hessian is singular
};

// Refines so many extrema. Responses are widened to double before they are subtracted.
void refineExtrema(const Extremum *extrema, int count, RefinedExtremum *refined);

// True when the offset is within the tolerances, which themselves are inside; an undefined offset is not.
inline bool isWithin(const SubpixelOffset &offset, Tolerances tolerances) {
  const double position = tolerances.position, size = tolerances.size;
  return -position <= offset.x && offset.x <= position && -position <= offset.y && offset.y <= position &&
         -size <= offset.size && offset.size <= size;
}

// The whole pixel for a coordinate in hundredths of a pixel: its truncated quotient by 100, plus one when half a pixel
// more than the coordinate passes that quotient. For coordinates from 0 on it always does, so a point 0.01 pixel left
// of its column's start ends in that column and any other in the next.
inline std::int32_t wholePixel(std::int32_t hundredths) {
  const std::int32_t quotient = hundredths / 100;
  const bool next = static_cast<double>(static_cast<float>(hundredths * 0.01)) + 0.5 > quotient;
  return next ? quotient + 1 : quotient;
}

} // namespace vindrel
