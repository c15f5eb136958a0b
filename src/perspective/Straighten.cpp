#include "perspective/Straighten.h"

#include "perspective/OptimalCrop.h"
#include "perspective/PerspectiveAlgebra.h"
#include "perspective/PointMaps.h"
#include "transform/FourPairs.h"

#include <algorithm>
#include <climits>
#include <cmath>

namespace vindrel {

namespace {

constexpr double kTwoPi = 6.283185307179586;
constexpr double kRadiansPerDegree = 0.017453292519943295;

// Offsets beyond this lie outside every frame by so much that the warp's column minus offset would no longer fit an
// int; a crop found out there is none.
constexpr float kMaxOffset = 1 << 30;

// The source's corners and where the rounds have moved them so far, in the order upper left, lower left, lower right,
// upper right.
struct MovingCorners {
  Point source[4];
  Point moved[4];
};

// A tilt about the horizontal axis. The third row is the denominator: it makes the tilt a projection.
Mat33F tiltAboutHorizontal(double radians) {
  const auto s = static_cast<float>(std::sin(radians)), c = static_cast<float>(std::cos(radians));
  return {1, 0, 0, 0, c, -s, 0, s, c};
}

Mat33F tiltAboutVertical(double radians) {
  const auto s = static_cast<float>(std::sin(radians)), c = static_cast<float>(std::cos(radians));
  return {c, 0, s, 0, 1, 0, -s, 0, c};
}

Trans8 transformOf(const MovingCorners &corners) {
  return perspectiveFromFourPairs(corners.source, corners.moved);
}

// Moves every corner by a map that is centred on the given point.
template <class Map>
void moveAbout(Point centre, Point (&corners)[4], const Map &map) {
  for (Point &p : corners) {
    const Point moved = map(p.x - centre.x, p.y - centre.y);
    p = {moved.x + centre.x, moved.y + centre.y};
  }
}

// The point that the corners' transform maps onto p.
Point preimage(const MovingCorners &corners, double x, double y) {
  return narrow(mapPerspectiveD(inverseByAdjugate(transformOf(corners)).data(), x, y));
}

// Size and offsets of the output, settled.
bool isUsable(const CropRect &crop) {
  // Written so that NaN fails.
  return crop.width > 0 && crop.height > 0 && std::abs(crop.x) <= kMaxOffset && std::abs(crop.y) <= kMaxOffset;
}

int truncatedProduct(int length, float factor) {
  const float product = static_cast<float>(length) * factor;
  return product < static_cast<float>(INT_MAX) ? static_cast<int>(product) : INT_MAX;
}

// A crop wider than the source (the correction has stretched the picture) is scaled down to the source's width.
void shrinkToWidth(int sourceWidth, Trans8 &transform, CropRect &crop) {
  const float scale = static_cast<float>(crop.width) / static_cast<float>(sourceWidth);
  transform = appliedToScaled(transform, scale);
  // Single precision throughout: the new width can come out one below the source's.
  const float k = 1.0f / scale;
  crop = {crop.x * k, crop.y * k, truncatedProduct(crop.width, k), truncatedProduct(crop.height, k)};
}

} // namespace

Trans8 straighteningTransform(Size source, const StraightenRequest &request) {
  const int w = source.width, h = source.height;
  const auto alpha = static_cast<float>(static_cast<double>(request.angleDegrees) * kRadiansPerDegree);
  const float sinAlpha = std::sin(alpha), cosAlpha = std::cos(alpha);
  const Mat22F rotation = {cosAlpha, sinAlpha, -sinAlpha, cosAlpha};
  const Mat33F vertical = tiltAboutHorizontal(kTwoPi / h * static_cast<double>(request.factorV));
  const Mat33F horizontal = tiltAboutVertical(kTwoPi / w * static_cast<double>(request.factorH));

  const auto fw = static_cast<float>(w), fh = static_cast<float>(h);
  MovingCorners corners = {.source = {{0, 0}, {0, fh}, {fw, fh}, {fw, 0}}, .moved = {}};

  // Vertical: about the middle in whole pixels.
  const int halfW = w / 2, halfH = h / 2;
  const int signs[4][2] = {{-1, -1}, {-1, 1}, {1, 1}, {1, -1}};
  for (int i = 0; i < 4; ++i) {
    const Point p = mapProjective9(vertical.data(), signs[i][0] * halfW, signs[i][1] * halfH);
    corners.moved[i] = {p.x + static_cast<float>(halfW), p.y + static_cast<float>(halfH)};
  }

  // Horizontal: about the point where the exact middle, half pixels included, came from.
  Point centre = preimage(corners, w * 0.5, h * 0.5);
  moveAbout(centre, corners.moved, [&](float x, float y) {
    return mapProjective9(horizontal.data(), static_cast<double>(x), static_cast<double>(y));
  });

  centre = preimage(corners, static_cast<double>(centre.x), static_cast<double>(centre.y));
  moveAbout(centre, corners.moved, [&](float x, float y) {
    return mapLinear4(rotation.data(), static_cast<double>(x), static_cast<double>(y));
  });
  return transformOf(corners);
}

StraightenPlan planStraightening(Size source, const StraightenRequest &request) {
  StraightenPlan plan;
  plan.sourceFromOutput = straighteningTransform(source, request);
  plan.size = source;
  if (!request.crop) return plan;

  auto crop = optimalCrop(
      plan.sourceFromOutput,
      {.source = source, .factorV = request.factorV, .factorH = request.factorH, .pinToEdge = request.pinToEdge});
  if (!crop || !isUsable(*crop)) return plan;

  Trans8 transform = plan.sourceFromOutput;
  if (crop->width > source.width) shrinkToWidth(source.width, transform, *crop);
  if (!isUsable(*crop)) return plan; // a crop flatter than a row has no row left when scaled down

  plan.sourceFromOutput = transform;
  plan.cropped = true;
  plan.cropX = crop->x;
  plan.cropY = crop->y;
  plan.offsetX = static_cast<int>(crop->x);
  plan.offsetY = static_cast<int>(crop->y);
  // Width and height are truncated on their own, so that a full-width crop can come out a row taller than the source.
  // The caller has room for the source's size.
  plan.size = {crop->width, std::min(crop->height, source.height)};
  return plan;
}

WarpJob straighteningJob(const StraightenPlan &plan, const ImageView &source) {
  return {.source = source,
          .dstWidth = plan.size.width,
          .offsetX = plan.offsetX,
          .offsetY = plan.offsetY,
          .transform = {.perspective = true, .coefficients = plan.sourceFromOutput.data()}};
}

} // namespace vindrel
