// The bounding box of whole-pixel points.
#pragma once

#include <cstdint>

namespace vindrel {

struct BoundingBox {
  int minX = 0;
  int minY = 0;
  int maxX = 0; // both limits are points of the set
  int maxY = 0;
  friend bool operator==(const BoundingBox &, const BoundingBox &) = default;
};

// All zero when n < 1.
BoundingBox boundingBox(const std::int32_t *x, const std::int32_t *y, int n);

} // namespace vindrel
