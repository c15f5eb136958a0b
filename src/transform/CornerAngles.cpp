#include "transform/CornerAngles.h"

#include "transform/CornerMapping.h"

#include <cmath>

namespace vindrel {

namespace {

constexpr double kDegreesPerRadian = 57.29577951308232;
constexpr float kAngleWeight = 30000.0f; // penalty a degree

struct EdgeAngles {
  float left = 90.0f;
  float right = 90.0f;
  float bottom = 90.0f;
  float top = 90.0f;
};

EdgeAngles edgeAngles(const Corners<Point> &q, float width, float height) {
  return {.left = angleAtVertex(q.bottomLeft, q.topLeft, {width, q.bottomLeft.y}),
          .right = angleAtVertex(q.bottomRight, q.topRight, {0.0f, q.bottomRight.y}),
          .bottom = angleAtVertex(q.bottomLeft, q.bottomRight, {q.bottomLeft.x, 0.0f}),
          .top = angleAtVertex(q.topLeft, q.topRight, {q.topLeft.x, height})};
}

float squaredDistance(Point a, Point b) {
  const float dx = a.x - b.x;
  const float dy = a.y - b.y;
  return dx * dx + dy * dy;
}

} // namespace

float angleAtVertex(Point vertex, Point first, Point second) {
  const float ux = first.x - vertex.x;
  const float uy = first.y - vertex.y;
  const float vx = second.x - vertex.x;
  const float vy = second.y - vertex.y;
  const float dx = ux - vx;
  const float dy = uy - vy;
  const float lengthU = ux * ux + uy * uy;
  const float lengthV = vx * vx + vy * vy;
  // The grouping decides the last bits of angles near 90 degrees, where this sum cancels.
  const float cosine = ((lengthU - dx * dx) + (lengthV - dy * dy)) / (2.0f * std::sqrt(lengthU * lengthV));
  return static_cast<float>(static_cast<double>(std::acos(cosine)) * kDegreesPerRadian);
}

CornerDifference cornerDifference(Size frame, const float *first, const double *second) {
  const float width = static_cast<float>(frame.width);
  const float height = static_cast<float>(frame.height);
  const Corners<Point> b = mapCorners(second, 0.0f, 0.0f, width, height);
  const EdgeAngles anglesB = edgeAngles(b, width, height);
  // The frame's own angles are 90 by definition, not by computation.
  Corners<Point> a = {{0, 0}, {width, 0}, {0, height}, {width, height}};
  EdgeAngles anglesA;
  if (first != nullptr) {
    a = mapCorners(first, 0.0f, 0.0f, width, height);
    anglesA = edgeAngles(a, width, height);
  }
  return {.displacement = {squaredDistance(a.topLeft, b.topLeft), squaredDistance(a.topRight, b.topRight),
                           squaredDistance(a.bottomLeft, b.bottomLeft), squaredDistance(a.bottomRight, b.bottomRight)},
          .topEdge = std::fabs(anglesA.top - anglesB.top),
          .bottomEdge = std::fabs(anglesA.bottom - anglesB.bottom),
          .leftEdge = std::fabs(anglesA.left - anglesB.left),
          .rightEdge = std::fabs(anglesA.right - anglesB.right),
          .interior = {.topLeft = anglesB.top + 90.0f - anglesB.left,
                       .topRight = 270.0f - (anglesB.top + anglesB.right),
                       .bottomLeft = anglesB.bottom + anglesB.left - 90.0f,
                       .bottomRight = anglesB.right + 90.0f - anglesB.bottom}};
}

float transformPenalty(Size frame, const float *first, const double *second, float maxDistance, float maxAngle) {
  const CornerDifference difference = cornerDifference(frame, first, second);
  const Corners<float> &d = difference.displacement;
  const float limit = maxDistance * maxDistance;
  float penalty = 0;
  for (const float squared : {d.topLeft, d.topRight, d.bottomLeft, d.bottomRight}) {
    if (squared > limit) penalty += squared - limit;
  }
  for (const float angle : {difference.topEdge, difference.bottomEdge, difference.leftEdge, difference.rightEdge}) {
    if (angle > maxAngle) penalty += (angle - maxAngle) * kAngleWeight;
  }
  return penalty;
}

} // namespace vindrel
