#include "perspective/Intersection.h"

#include <algorithm>
#include <cmath>

namespace vindrel {

namespace {

bool between(double value, double end, double otherEnd) {
  return value >= std::min(end, otherEnd) - kSegmentTolerance && value <= std::max(end, otherEnd) + kSegmentTolerance;
}

// A point that is not a number is in no box.
bool inBox(PointD p, const Segment &s) {
  return between(p.x, s.from.x, s.to.x) && between(p.y, s.from.y, s.to.y);
}

} // namespace

Intersection intersect(const Segment &first, Extent firstExtent, const Segment &second, Extent secondExtent) {
  const auto [x1, y1] = first.from;
  const auto [x2, y2] = first.to;
  const auto [x3, y3] = second.from;
  const auto [x4, y4] = second.to;

  Intersection result;
  const double area = (x1 - x2) * (y3 - y4) - (y1 - y2) * (x3 - x4);
  if (std::abs(area) < kParallelArea) {
    result.parallel = true;
    return result;
  }
  result.point = {((x1 * y2 - y1 * x2) * (x3 - x4) - (x1 - x2) * (x3 * y4 - y3 * x4)) / area,
                  ((x1 * y2 - y1 * x2) * (y3 - y4) - (y1 - y2) * (x3 * y4 - y3 * x4)) / area};
  result.hit = (firstExtent == Extent::Unbounded || inBox(result.point, first)) &&
               (secondExtent == Extent::Unbounded || inBox(result.point, second));
  return result;
}

} // namespace vindrel
