#include "transform/RigidFromTwoPairs.h"

#include <cmath>

namespace vindrel {

namespace {

bool isRatio(float value) {
  return value >= -1.0f && value <= 1.0f;
}

} // namespace

bool rigidFromTwoPairs(const Point src[2], const Point dst[2], Trans6 &out) {
  if (src[0].y == src[1].y || src[0].x == src[1].x) return false;
  const float ux = src[0].x - src[1].x;
  const float uy = src[0].y - src[1].y;
  const float vx = dst[0].x - dst[1].x;
  const float vy = dst[0].y - dst[1].y;
  const float squaredLength = ux * ux + uy * uy;
  const float sineRatio = (ux * vy - uy * vx) / squaredLength;
  if (!isRatio(sineRatio)) return false;
  float angle = std::asin(sineRatio);
  const float cosineRatio = (ux * vx + uy * vy) / squaredLength;
  if (isRatio(cosineRatio)) {
    // Sine and cosine may disagree when the distances do: the smaller turn holds.
    const float fromCosine = std::acos(cosineRatio);
    if (!(std::fabs(angle) < fromCosine)) angle = fromCosine;
  }
  const float c = std::cos(angle);
  const float s = std::sin(angle);
  out = {c, -s, dst[0].x - (c * src[0].x - s * src[0].y), s, c, dst[0].y - (s * src[0].x + c * src[0].y)};
  return true;
}

} // namespace vindrel
