#include "transform/BoundingBox.h"

#include <algorithm>

namespace vindrel {

BoundingBox boundingBox(const std::int32_t *x, const std::int32_t *y, int n) {
  if (n < 1) return {};
  BoundingBox box = {x[0], y[0], x[0], y[0]};
  for (int i = 1; i < n; ++i) {
    box.minX = std::min(box.minX, x[i]);
    box.minY = std::min(box.minY, y[i]);
    box.maxX = std::max(box.maxX, x[i]);
    box.maxY = std::max(box.maxY, y[i]);
  }
  return box;
}

} // namespace vindrel
