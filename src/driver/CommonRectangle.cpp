#include "driver/CommonRectangle.h"

#include "base/Buffer.h"
#include "lmfit/LeastSquares.h"
#include "transform/CornerMapping.h"
#include "transform/MapPoint.h"
#include "warp/OutputSize.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>

namespace vindrel {
namespace {

constexpr int kRefinementCalls = 150; // in the minimiser's units of parameters + 1 evaluations
constexpr int kWindowParameters = 4;

Corners<Point> frameCorners(Size frame, const std::uint32_t *rankOrder, int rank, LinkModel model,
                            const TransformTable &table) {
  const float width = static_cast<float>(frame.width);
  const float height = static_cast<float>(frame.height);
  if (model == LinkModel::Affine) {
    const float *t = table.slot(rankOrder[rank]);
    Trans8 widened = kIdentity8;
    std::copy_n(t, table.length(), widened.begin());
    return mapCorners(widened.data(), 0.0f, 0.0f, width, height);
  }
  const auto corner = [&](double x, double y) { return narrow(mapThroughLinks(table, rankOrder, rank, {x, y})); };
  return {corner(0, 0), corner(width, 0), corner(0, height), corner(width, height)};
}

// Truncated, with one more if a fraction was cut. Nothing when the value has no place in an int.
bool ceiling(float value, int &result) {
  if (!(value >= 0.0f && value < 1e9f)) return false;
  result = static_cast<int>(value);
  if (static_cast<float>(result) != value) ++result;
  return true;
}

struct Range {
  float low = 0, high = 0;
  void include(float shift) {
    low = std::min(low, shift);
    high = std::max(high, shift);
    if (std::isnan(shift)) low = high = shift;
  }
};

std::int64_t area(Size size) {
  return static_cast<std::int64_t>(size.width) * size.height;
}

struct WindowProblem {
  OutputSizeProblem problem;
};

void windowResiduals(const double *parameters, int, const void *data, double *residuals, int *) {
  outputSizeResiduals(parameters, static_cast<const WindowProblem *>(data)->problem, residuals);
}

bool fitsInt(double value) {
  return value > -1e9 && value < 1e9;
}

// How an output pixel misses a frame: which of the window's sides is to blame.
struct Misses {
  bool left = false, top = false, right = false, bottom = false;
  bool any() const { return left || top || right || bottom; }
  void merge(const Misses &other) {
    left |= other.left;
    top |= other.top;
    right |= other.right;
    bottom |= other.bottom;
  }
};

// The warp's own inside rule, with its rounding: coordinates truncate towards zero and need a right and lower
// neighbour.
Misses missesAt(const float *chain, LinkModel model, Size frame, int x, int y) {
  const float fx = static_cast<float>(x);
  const float fy = static_cast<float>(y);
  const Point at = model == LinkModel::Affine ? mapAffineF(chain, fx, fy) : mapPerspectiveMixed(chain, fx, fy);
  return {.left = !(at.x > -1.0f),
          .top = !(at.y > -1.0f),
          .right = !(at.x < static_cast<float>(frame.width - 1)),
          .bottom = !(at.y < static_cast<float>(frame.height - 1))};
}

// A projective map whose denominator keeps its sign carries a rectangle onto a convex quadrilateral, so the border says
// it all. The window's last column and row are its rim, which may be left uncovered.
Misses missesOnBorder(const float *chain, LinkModel model, Size frame, const CropWindow &window) {
  const int left = -window.offsetX;
  const int top = -window.offsetY;
  const int right = left + std::max(window.size.width - 2, 0);
  const int bottom = top + std::max(window.size.height - 2, 0);
  Misses misses;
  for (int x = left; x <= right; ++x) {
    misses.merge(missesAt(chain, model, frame, x, top));
    misses.merge(missesAt(chain, model, frame, x, bottom));
  }
  for (int y = top; y <= bottom; ++y) {
    misses.merge(missesAt(chain, model, frame, left, y));
    misses.merge(missesAt(chain, model, frame, right, y));
  }
  return misses;
}

} // namespace

CropWindow windowFromCorners(Size frame, const std::uint32_t *rankOrder, int frames, LinkModel model,
                             const TransformTable &table) {
  const float width = static_cast<float>(frame.width);
  const float height = static_cast<float>(frame.height);
  Range x, y;
  for (int rank = 1; rank < frames; ++rank) {
    const Corners<Point> mapped = frameCorners(frame, rankOrder, rank, model, table);
    for (const float shift :
         {mapped.topLeft.x, mapped.bottomLeft.x, mapped.topRight.x - width, mapped.bottomRight.x - width}) {
      x.include(shift);
    }
    for (const float shift :
         {mapped.topLeft.y, mapped.topRight.y, mapped.bottomLeft.y - height, mapped.bottomRight.y - height}) {
      y.include(shift);
    }
  }
  int lostX = 0, lostY = 0;
  if (!ceiling(x.high - x.low, lostX) || !ceiling(y.high - y.low, lostY)) return {};
  return {.minX = x.low,
          .minY = y.low,
          .offsetX = static_cast<int>(x.low),
          .offsetY = static_cast<int>(y.low),
          .size = {frame.width - lostX, frame.height - lostY}};
}

RefinedWindow refineWindow(Size frame, const std::uint32_t *rankOrder, int frames, const TransformTable &table,
                           const CropWindow &window) {
  const WindowProblem problem{{.frameWidth = frame.width,
                               .frameHeight = frame.height,
                               .imageCount = frames,
                               .transforms = table.data(),
                               .chain = rankOrder}};
  double parameters[kWindowParameters] = {static_cast<double>(window.minX), static_cast<double>(window.minY),
                                          static_cast<double>(window.size.width),
                                          static_cast<double>(window.size.height)};
  LeastSquaresControl control = kDoubleControl;
  control.maxCall = kRefinementCalls;
  const FitResult fit = leastSquares(kWindowParameters, parameters, frames * 4 + 1, &problem, windowResiduals, control);
  if (fit.info == FitInfo::OutOfMemory) return {Status::OutOfMemory, window};
  if (!std::all_of(parameters, parameters + kWindowParameters, fitsInt)) return {Status::Ok, window};
  const CropWindow refined{.minX = static_cast<float>(parameters[0]),
                           .minY = static_cast<float>(parameters[1]),
                           .offsetX = static_cast<int>(parameters[0]),
                           .offsetY = static_cast<int>(parameters[1]),
                           .size = {static_cast<int>(parameters[2]), static_cast<int>(parameters[3])}};
  const bool larger = refined.size.width > 0 && refined.size.height > 0 && area(refined.size) > area(window.size);
  return {Status::Ok, larger ? refined : window};
}

CropWindow tightenWindow(Size frame, const std::uint32_t *rankOrder, int frames, LinkModel model,
                         const TransformTable &chains, CropWindow window) {
  while (worthKeeping(window, frame)) {
    Misses misses;
    for (int rank = 0; rank < frames; ++rank) {
      misses.merge(missesOnBorder(chains.slot(rankOrder[rank]), model, frame, window));
    }
    if (!misses.any()) break;
    if (misses.left) --window.offsetX;
    if (misses.top) --window.offsetY;
    window.size.width -= (misses.left ? 1 : 0) + (misses.right ? 1 : 0);
    window.size.height -= (misses.top ? 1 : 0) + (misses.bottom ? 1 : 0);
  }
  return window;
}

bool worthKeeping(const CropWindow &window, Size frame) {
  return !(window.size.width < kLeastCommonShare * frame.width ||
           window.size.height < kLeastCommonShare * frame.height);
}

} // namespace vindrel
