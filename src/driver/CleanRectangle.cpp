#include "driver/CleanRectangle.h"

#include "transform/MapPoint.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace vindrel {
namespace {

// The first and last columns and rows of a rectangle of the reference, all included.
struct Extent {
  int left = 0, top = 0, right = 0, bottom = 0;
  bool isEmpty() const { return left > right || top > bottom; }
};

struct Misses {
  bool left = false, top = false, right = false, bottom = false;
  bool any() const { return left || top || right || bottom; }
};

// On which sides a point does not lie between pixels of the frame; behind the horizon, on all. (The warp itself goes a
// pixel further on the left and above, where it extrapolates.)
void addMisses(const Trans8 &chain, Size frame, int x, int y, Misses &misses) {
  const double w = (static_cast<double>(chain[6]) * x + static_cast<double>(chain[7]) * y) * kPerspectiveUnit + 1.0;
  const Point at = mapPerspectiveMixed(chain.data(), static_cast<float>(x), static_cast<float>(y));
  misses.left |= !(at.x >= 0.0f && w > 0);
  misses.top |= !(at.y >= 0.0f && w > 0);
  misses.right |= !(at.x < static_cast<float>(frame.width - 1) && w > 0);
  misses.bottom |= !(at.y < static_cast<float>(frame.height - 1) && w > 0);
}

// On one side of the horizon the points that map into a frame form a convex set, so that the corners speak for the
// whole rectangle, but for the rounding of single precision.
Misses missesAtCorners(const Extent &extent, Size frame, std::span<const Trans8> chains) {
  Misses misses;
  for (const Trans8 &chain : chains)
    for (const int x : {extent.left, extent.right})
      for (const int y : {extent.top, extent.bottom})
        addMisses(chain, frame, x, y, misses);
  return misses;
}

Misses missesOnBorder(const Extent &extent, Size frame, std::span<const Trans8> chains) {
  Misses misses;
  for (const Trans8 &chain : chains) {
    for (int x = extent.left; x <= extent.right; ++x)
      for (const int y : {extent.top, extent.bottom})
        addMisses(chain, frame, x, y, misses);
    for (int y = extent.top; y <= extent.bottom; ++y)
      for (const int x : {extent.left, extent.right})
        addMisses(chain, frame, x, y, misses);
  }
  return misses;
}

void shrink(Extent &extent, const Misses &misses, int step) {
  extent.left += misses.left ? step : 0;
  extent.top += misses.top ? step : 0;
  extent.right -= misses.right ? step : 0;
  extent.bottom -= misses.bottom ? step : 0;
}

// Each side in turn, as long as any can be moved.
void grow(Extent &extent, Size frame, std::span<const Trans8> chains, int step) {
  for (bool moved = true; moved;) {
    moved = false;
    for (int Extent::*side : {&Extent::left, &Extent::top, &Extent::right, &Extent::bottom}) {
      Extent wider = extent;
      wider.*side += side == &Extent::left || side == &Extent::top ? -step : step;
      if (missesAtCorners(wider, frame, chains).any()) continue;
      extent = wider;
      moved = true;
    }
  }
}

bool worthKeeping(const Extent &extent, Size frame) {
  return !extent.isEmpty() &&
         worthKeeping(CropWindow{.size = {extent.right - extent.left + 1, extent.bottom - extent.top + 1}}, frame);
}

} // namespace

CropWindow cleanWindow(Size frame, std::span<const Trans8> chains) {
  Extent extent{0, 0, frame.width - 1, frame.height - 1};
  // Coarse steps first: far from a clean rectangle most sides miss alike, and what they give too much they take back.
  for (int step = std::max(1, std::min(frame.width, frame.height) / 64); step >= 1; step /= 2) {
    while (worthKeeping(extent, frame)) {
      const Misses misses = missesAtCorners(extent, frame, chains);
      if (!misses.any()) break;
      shrink(extent, misses, step);
    }
    if (!worthKeeping(extent, frame)) return {};
    grow(extent, frame, chains, step);
  }
  while (worthKeeping(extent, frame)) {
    const Misses misses = missesOnBorder(extent, frame, chains);
    if (!misses.any()) break;
    shrink(extent, misses, 1);
  }
  if (!worthKeeping(extent, frame)) return {};
  return {.offsetX = -extent.left,
          .offsetY = -extent.top,
          .size = {extent.right - extent.left + 1, extent.bottom - extent.top + 1}};
}

} // namespace vindrel
