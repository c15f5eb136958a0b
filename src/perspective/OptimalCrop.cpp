#include "perspective/OptimalCrop.h"

#include "perspective/Intersection.h"
#include "perspective/PerspectiveAlgebra.h"
#include "transform/MapPoint.h"

#include <algorithm>
#include <climits>

namespace vindrel {

namespace {

// The source's border in the output frame.
struct Outline {
  PointD c0, c1, c2, c3; // images of the source's upper-left, lower-left, lower-right and upper-right corner

  Segment left() const { return {c0, c1}; }
  Segment top() const { return {c0, c3}; }
  Segment bottom() const { return {c1, c2}; }
  Segment right() const { return {c3, c2}; }
};

Outline outlineOf(const Trans8 &sourceFromOutput, double w, double h) {
  const Trans8 outputFromSource = inverseByAdjugate(sourceFromOutput);
  const auto map = [&](double x, double y) { return mapPerspectiveD(outputFromSource.data(), x, y); };
  return {map(0, 0), map(0, h), map(w, h), map(w, 0)};
}

PointD searchCentre(const Outline &o, const CropSearch &search, double w, double h) {
  if (search.pinToEdge) {
    // Whole pixels: an odd side leaves its half pixel out.
    return {static_cast<double>(search.source.width / 2), static_cast<double>(search.source.height / 2)};
  }
  // The vertical clamps follow the horizontal ones' corners (c0 and c1 from below, c2 and c3 from above) although c1 is
  // a lower and c3 an upper corner. Every published crop position rests on this centre.
  return {(std::max(o.c0.x, 0.0) + std::max(o.c1.x, 0.0) + std::min(o.c2.x, w) + std::min(o.c3.x, w)) * 0.25,
          (std::max(o.c0.y, 0.0) + std::max(o.c1.y, 0.0) + std::min(o.c2.y, h) + std::min(o.c3.y, h)) * 0.25};
}

// The first of two edges that the line crosses, within the edge and, when lineExtent says so, within the line's points.
std::optional<PointD> firstHit(const Segment &line, Extent lineExtent, const Segment &edge, const Segment &otherEdge) {
  for (const Segment &tried : {edge, otherEdge}) {
    const Intersection crossing = intersect(tried, Extent::Bounded, line, lineExtent);
    if (crossing.hit) return crossing.point;
  }
  return std::nullopt;
}

struct Box {
  double left, top, right, bottom;
};

// Where the two diagonals leave the outline.
using DiagonalHits = Corners<PointD>;

std::optional<DiagonalHits> hitDiagonals(const Outline &o, PointD centre, double w, double h) {
  const Segment main = {centre, {centre.x - w, centre.y - h}};
  const Segment anti = {centre, {centre.x + w, centre.y - h}};
  const auto topLeft = firstHit(main, Extent::Unbounded, o.left(), o.top());
  const auto bottomRight = firstHit(main, Extent::Unbounded, o.bottom(), o.right());
  const auto topRight = firstHit(anti, Extent::Unbounded, o.right(), o.top());
  const auto bottomLeft = firstHit(anti, Extent::Unbounded, o.bottom(), o.left());
  if (!topLeft || !bottomRight || !topRight || !bottomLeft) return std::nullopt;
  return DiagonalHits{*topLeft, *topRight, *bottomLeft, *bottomRight};
}

// From each corner of the rectangle between the diagonal hits, one probe goes up or down and one sideways, as far as
// the outline reaches. Where a probe meets the outline, that side may lie there as far as this corner is concerned;
// where it does not, the side stays at the diagonal's hit. The stricter of a side's two corners decides.
Box fittedBox(const Outline &o, const DiagonalHits &hit) {
  const Box inner = {std::max(hit.topLeft.x, hit.bottomLeft.x), std::max(hit.topLeft.y, hit.topRight.y),
                     std::min(hit.bottomRight.x, hit.topRight.x), std::min(hit.bottomRight.y, hit.bottomLeft.y)};
  const Box reach = {std::min(o.c0.x, o.c1.x), std::min(o.c0.y, o.c3.y), std::max(o.c2.x, o.c3.x),
                     std::max(o.c1.y, o.c2.y)};

  const auto probe = [](PointD from, PointD to, const Segment &side, const Segment &cap) {
    return firstHit({from, to}, Extent::Bounded, side, cap);
  };
  const auto vertical = [&](double x, double y, double limit, const Segment &side, const Segment &cap) {
    return probe({x, y}, {x, limit}, side, cap);
  };
  const auto horizontal = [&](double x, double y, double limit, const Segment &side, const Segment &cap) {
    return probe({x, y}, {limit, y}, side, cap);
  };

  double topAtLeft = hit.topLeft.y, leftAtTop = hit.topLeft.x;
  double bottomAtLeft = hit.bottomLeft.y, leftAtBottom = hit.bottomLeft.x;
  double bottomAtRight = hit.bottomRight.y, rightAtBottom = hit.bottomRight.x;
  double topAtRight = hit.topRight.y, rightAtTop = hit.topRight.x;

  if (const auto p = vertical(inner.left, inner.top, reach.top, o.left(), o.top()))
    topAtLeft = std::min(inner.top, p->y);
  if (const auto p = horizontal(inner.left, inner.top, reach.left, o.left(), o.top()))
    leftAtTop = std::min(p->x, inner.left);
  if (const auto p = vertical(inner.left, inner.bottom, reach.bottom, o.left(), o.bottom()))
    bottomAtLeft = std::max(inner.bottom, p->y);
  if (const auto p = horizontal(inner.left, inner.bottom, reach.left, o.left(), o.bottom()))
    leftAtBottom = std::min(inner.left, p->x);
  if (const auto p = vertical(inner.right, inner.bottom, reach.bottom, o.right(), o.bottom()))
    bottomAtRight = std::max(inner.bottom, p->y);
  if (const auto p = horizontal(inner.right, inner.bottom, reach.right, o.right(), o.bottom()))
    rightAtBottom = std::max(inner.right, p->x);
  if (const auto p = vertical(inner.right, inner.top, reach.top, o.right(), o.top()))
    topAtRight = std::min(inner.top, p->y);
  if (const auto p = horizontal(inner.right, inner.top, reach.right, o.right(), o.top()))
    rightAtTop = std::max(inner.right, p->x);

  return {std::max(leftAtBottom, leftAtTop), std::max(topAtRight, topAtLeft), std::min(rightAtBottom, rightAtTop),
          std::min(bottomAtLeft, bottomAtRight)};
}

// The largest rectangle of the aspect w : h in the box that shares the box's corner on the anchor side: the bottom
// where the vertical factor is negative, else the top; the left where the horizontal factor is negative, else the
// right. Negative zero is not negative.
Box anchoredCut(const Box &box, double aspect, float factorV, float factorH) {
  const bool atLeft = factorH < 0, atBottom = factorV < 0;
  const PointD anchor = {atLeft ? box.left : box.right, atBottom ? box.bottom : box.top};
  const double growX = atLeft ? 1 : -1, growY = atBottom ? -1 : 1;

  const double boxWidth = box.right - box.left, boxHeight = box.bottom - box.top;
  PointD opposite;
  if (boxWidth / boxHeight > aspect) {
    opposite = {anchor.x + growX * aspect * boxHeight, anchor.y + growY * boxHeight};
  } else {
    opposite = {anchor.x + growX * boxWidth, anchor.y + growY * boxWidth / aspect};
  }
  return {std::min(anchor.x, opposite.x), std::min(anchor.y, opposite.y), std::max(anchor.x, opposite.x),
          std::max(anchor.y, opposite.y)};
}

bool truncatesToInt(double value) {
  return value > INT_MIN - 1.0 && value < INT_MAX + 1.0;
}

} // namespace

std::optional<CropRect> optimalCrop(const Trans8 &sourceFromOutput, const CropSearch &search) {
  const double w = search.source.width, h = search.source.height;
  const Outline outline = outlineOf(sourceFromOutput, w, h);
  const auto hits = hitDiagonals(outline, searchCentre(outline, search, w, h), w, h);
  if (!hits) return std::nullopt;

  const Box crop = anchoredCut(fittedBox(outline, *hits), w / h, search.factorV, search.factorH);
  const double width = crop.right - crop.left, height = crop.bottom - crop.top;
  if (!truncatesToInt(width) || !truncatesToInt(height)) return std::nullopt;
  return CropRect{static_cast<float>(-crop.left), static_cast<float>(-crop.top), static_cast<int>(width),
                  static_cast<int>(height)};
}

} // namespace vindrel
