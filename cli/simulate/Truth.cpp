#include "simulate/Truth.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace vindrel {
namespace {

constexpr int kGridColumns = 9;
constexpr int kGridRows = 7;

double distanceAt(const PlaneMap &estimated, const PlaneMap &truth, PlanePoint p) {
  const PlanePoint a = mapPoint(estimated, p);
  const PlanePoint b = mapPoint(truth, p);
  const double distance = std::hypot(a.x - b.x, a.y - b.y);
  return std::isfinite(distance) ? distance : std::numeric_limits<double>::infinity();
}

} // namespace

PlaneMap frameFromReference(const PlaneMap &frameFromScene, const PlaneMap &referenceFromScene) {
  return normalised(compose(frameFromScene, inverse(referenceFromScene)));
}

PlacementError placementError(const PlaneMap &estimated, const PlaneMap &truth, Size frame) {
  const double right = frame.width - 1.0;
  const double bottom = frame.height - 1.0;
  PlacementError error;
  for (int row = 0; row < kGridRows; ++row)
    for (int column = 0; column < kGridColumns; ++column)
      error.gridMean +=
          distanceAt(estimated, truth, {right * column / (kGridColumns - 1), bottom * row / (kGridRows - 1)}) /
          (kGridColumns * kGridRows);
  for (const PlanePoint corner :
       {PlanePoint{0, 0}, PlanePoint{right, 0}, PlanePoint{0, bottom}, PlanePoint{right, bottom}})
    error.cornerMax = std::max(error.cornerMax, distanceAt(estimated, truth, corner));
  return error;
}

} // namespace vindrel
