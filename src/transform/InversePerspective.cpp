#include "transform/InversePerspective.h"

#include "transform/CornerMapping.h"
#include "transform/FourPairs.h"

namespace vindrel {

Trans8 inversePerspective(const float *t) {
  // About the size of the frames in question, so that translation and perspective both show in the corners. Fixed,
  // because it decides the rounding.
  constexpr float kSide = 1000.0f; // pixels
  const Corners<Point> image = mapCorners(t, 0.0f, 0.0f, kSide, kSide);
  const Point from[4] = {image.topLeft, image.topRight, image.bottomLeft, image.bottomRight};
  const Point to[4] = {{0, 0}, {kSide, 0}, {0, kSide}, {kSide, kSide}};
  return perspectiveFromFourPairs(from, to);
}

} // namespace vindrel
