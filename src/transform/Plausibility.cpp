#include "transform/Plausibility.h"

#include "transform/CornerAngles.h"
#include "transform/CornerMapping.h"

#include <cmath>

namespace vindrel {
namespace {

constexpr double kMaxTranslation = 0.2; // of the frame's width, in both directions
constexpr double kMinScale = 0.7;
constexpr double kMaxScale = 1.3;
constexpr double kMaxShear = 0.3; // off-diagonal terms: the sine of the rotation, mostly
constexpr float kRightAngle = 90.0f;

} // namespace

bool withinShapeLimits(const Trans8 &t, Size frame) {
  const double width = frame.width;
  if (std::fabs(t[2]) / width > kMaxTranslation || std::fabs(t[5]) / width > kMaxTranslation) return false;
  if (std::fabs(t[0]) < kMinScale || std::fabs(t[0]) > kMaxScale) return false;
  if (std::fabs(t[1]) >= kMaxShear || std::fabs(t[3]) >= kMaxShear) return false;
  return !(std::fabs(t[4]) < kMinScale || std::fabs(t[4]) > kMaxScale);
}

float largestCornerDeviation(const Trans8 &candidate, Size frame) {
  const Corners<Point> q =
      mapCorners(candidate.data(), 0.0f, 0.0f, static_cast<float>(frame.width), static_cast<float>(frame.height));
  const float angles[] = {
      angleAtVertex(q.topLeft, q.topRight, q.bottomLeft), angleAtVertex(q.topRight, q.topLeft, q.bottomRight),
      angleAtVertex(q.bottomLeft, q.topLeft, q.bottomRight), angleAtVertex(q.bottomRight, q.topRight, q.bottomLeft)};
  float largest = 0;
  for (const float angle : angles) {
    const float deviation = std::fabs(angle - kRightAngle);
    if (!(deviation <= largest)) largest = deviation; // a deviation that is not a number stays one
    if (std::isnan(deviation)) return deviation;
  }
  return largest;
}

} // namespace vindrel
