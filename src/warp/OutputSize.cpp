#include "warp/OutputSize.h"

#include "transform/MapPoint.h"

#include <cstddef>

namespace vindrel {
namespace {

// Pixels that the corners, summed up over the images, may lie outside before position counts for more than size.
constexpr double kCornersInside = 0.01;

// Square pixels to residual: keeps the size term below a corner penalty of a pixel in frames of usual size.
constexpr double kAreaWeight = 0.00001;

const float *slot(const float *transforms, std::uint32_t number) {
  return transforms + static_cast<std::size_t>(number) * 8;
}

// Distances are single precision like the coordinates; a corner beyond two edges adds them up in double precision.
double before(float coordinate) {
  return coordinate < 0.0f ? static_cast<double>(-coordinate) : 0.0;
}
double beyond(float coordinate, float end) {
  return coordinate > end ? static_cast<double>(coordinate - end) : 0.0;
}

} // namespace

Point mapThroughChain(int count, const float *transforms, const std::uint32_t *chain, float x, float y) {
  Point p = mapPerspectiveMixed(slot(transforms, chain[count != 0 ? 1 : 0]), x, y);
  for (std::int64_t link = 2; link <= count; ++link)
    p = mapPerspectiveMixed(slot(transforms, chain[link]), p.x, p.y);
  return p;
}

void outputSizeResiduals(const double par[4], const OutputSizeProblem &problem, double *fvec) {
  const float left = -static_cast<float>(par[0]);
  const float top = -static_cast<float>(par[1]);
  const float width = static_cast<float>(par[2]);
  const float height = static_cast<float>(par[3]);
  const float right = width - static_cast<float>(par[0]);
  const float bottom = height - static_cast<float>(par[1]);
  const float endX = static_cast<float>(problem.frameWidth);
  const float endY = static_cast<float>(problem.frameHeight);

  double sum = 0;
  for (int i = 0; i < problem.imageCount; ++i) {
    const auto corner = [&](float x, float y) { return mapThroughChain(i, problem.transforms, problem.chain, x, y); };
    const Point topLeft = corner(left, top);
    const Point topRight = corner(right, top);
    const Point bottomLeft = corner(left, bottom);
    const Point bottomRight = corner(right, bottom);
    double *penalty = fvec + 4 * static_cast<std::ptrdiff_t>(i);
    penalty[0] = before(topLeft.x) + before(topLeft.y);
    penalty[1] = beyond(topRight.x, endX) + before(topRight.y);
    penalty[2] = before(bottomLeft.x) + beyond(bottomLeft.y, endY);
    penalty[3] = beyond(bottomRight.x, endX) + beyond(bottomRight.y, endY);
    for (int c = 0; c < 4; ++c)
      sum += penalty[c];
  }

  const std::int64_t area = static_cast<std::int64_t>(problem.frameWidth) * problem.frameHeight;
  double &size = fvec[4 * static_cast<std::ptrdiff_t>(problem.imageCount)];
  if (sum >= kCornersInside)
    size = sum + static_cast<double>(area) * kAreaWeight;
  else
    size = static_cast<double>(static_cast<float>(area) - width * height) * kAreaWeight;
}

} // namespace vindrel
