#include "perspective/TightCrop.h"

#include "perspective/PerspectiveAlgebra.h"
#include "transform/MapPoint.h"
#include "transform/Matrix33.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace vindrel {

namespace {

// A classic crop that takes more columns off than this to be clean is not off by rounding.
constexpr int kMaxTrim = 4;

// A classic crop narrower than this share of the largest one has gone wrong, clean or not.
constexpr double kWorthKeeping = 0.75;

// A stretched picture is scaled down to the source's width, by this much at most. Where the horizon enters the frame
// the outline reaches to infinity and no crop would be the largest.
constexpr int kMaxStretch = 16;

// Source pixels kept clear of the last column and row, which the warp refuses: more than single precision loses on any
// frame of up to 65536 pixels a side.
constexpr double kGuard = 1.0 / 64;

// Output coordinates beyond this (in frame widths plus heights) are not searched.
constexpr double kSearchReach = 64;

// a x + b y + c >= 0
struct HalfPlane {
  double a, b, c;
  double at(PointD p) const { return a * p.x + b * p.y + c; }
};

// A transform as three affine functions of the output point: the numerators of x and y and the denominator, with the
// signs chosen so that the denominator is positive where the picture is seen unmirrored. (A projective map keeps the
// orientation where its determinant and its denominator have the same sign. Transforms come divided so that the
// denominator is 1 at the output's origin, also when that point lies beyond the horizon.)
struct HomogeneousMap {
  HalfPlane x, y, w;
};

HomogeneousMap unmirrored(const Trans8 &t) {
  Mat33 m = transformToMatrix(t);
  const Mat33 adj = adjugate(m);
  const double determinant = m[0] * adj[0] + m[1] * adj[3] + m[2] * adj[6];
  if (determinant < 0) {
    for (double &value : m)
      value = -value;
  }
  return {{m[0], m[1], m[2]}, {m[3], m[4], m[5]}, {m[6], m[7], m[8]}};
}

// The output points that the warp can interpolate, as the four sides of the source: 0 <= x / w <= limit becomes x >= 0
// and limit w - x >= 0. Both together hold only where w >= 0.
std::array<HalfPlane, 4> coveredRegion(const Trans8 &t, Size source) {
  const HomogeneousMap map = unmirrored(t);
  const auto below = [&](double limit, const HalfPlane &n) {
    return HalfPlane{limit * map.w.a - n.a, limit * map.w.b - n.b, limit * map.w.c - n.c};
  };
  return {map.x, map.y, below(source.width - 1 - kGuard, map.x), below(source.height - 1 - kGuard, map.y)};
}

// A convex polygon: the square that is searched, cut by up to four lines.
struct Polygon {
  std::array<PointD, 12> vertices;
  int count = 0;

  void add(PointD p) {
    if (count < static_cast<int>(vertices.size())) vertices[count++] = p;
  }
  PointD middle() const {
    PointD sum;
    for (int i = 0; i < count; ++i)
      sum = {sum.x + vertices[i].x, sum.y + vertices[i].y};
    return {sum.x / count, sum.y / count};
  }
};

Polygon cut(const Polygon &polygon, const HalfPlane &half) {
  Polygon kept;
  for (int i = 0; i < polygon.count; ++i) {
    const PointD p = polygon.vertices[i], q = polygon.vertices[(i + 1) % polygon.count];
    const double atP = half.at(p), atQ = half.at(q);
    if (atP >= 0) kept.add(p);
    if ((atP < 0 && atQ > 0) || (atP > 0 && atQ < 0)) {
      const double f = atP / (atP - atQ);
      kept.add({p.x + (q.x - p.x) * f, p.y + (q.y - p.y) * f});
    }
  }
  return kept;
}

Size withAspectOf(Size source, int width) {
  const std::int64_t height = static_cast<std::int64_t>(width) * source.height / source.width;
  return {width, std::max(1, static_cast<int>(height))};
}

// The upper-left corners at which a rectangle of this size lies in the region: each side of the region, moved inwards
// by as much as the rectangle reaches towards it.
Polygon positionsFor(Size size, const std::array<HalfPlane, 4> &region, Size source) {
  const double reach = kSearchReach * (static_cast<double>(source.width) + source.height);
  Polygon positions;
  for (const PointD corner : {PointD{-reach, -reach}, {reach, -reach}, {reach, reach}, {-reach, reach}}) {
    positions.add(corner);
  }
  for (HalfPlane side : region) {
    side.c += std::min(0.0, side.a * (size.width - 1)) + std::min(0.0, side.b * (size.height - 1));
    positions = cut(positions, side);
  }
  return positions;
}

// The widest rectangle of the source's aspect that fits somewhere, 0 if none does. A rectangle that fits contains every
// smaller one of its aspect, so that the widths that fit are those up to some limit.
int widestFit(const std::array<HalfPlane, 4> &region, Size source, int limit) {
  int fits = 0, tooWide = limit + 1;
  while (tooWide - fits > 1) {
    const int width = fits + (tooWide - fits) / 2;
    (positionsFor(withAspectOf(source, width), region, source).count > 0 ? fits : tooWide) = width;
  }
  return fits;
}

StraightenPlan planOf(const Trans8 &t, Size size, PointD corner) {
  StraightenPlan plan;
  plan.sourceFromOutput = t;
  plan.cropped = true;
  plan.offsetX = -static_cast<int>(corner.x);
  plan.offsetY = -static_cast<int>(corner.y);
  plan.cropX = static_cast<float>(plan.offsetX);
  plan.cropY = static_cast<float>(plan.offsetY);
  plan.size = size;
  return plan;
}

// A clean crop of this size with its upper-left corner at one of the four whole pixels round p, the nearest first.
std::optional<StraightenPlan> cleanCropNear(PointD p, const Trans8 &t, Size size, Size source) {
  const PointD near = {std::round(p.x), std::round(p.y)};
  const PointD far = {near.x > p.x ? near.x - 1 : near.x + 1, near.y > p.y ? near.y - 1 : near.y + 1};
  for (const PointD corner : {near, PointD{far.x, near.y}, PointD{near.x, far.y}, far}) {
    const StraightenPlan plan = planOf(t, size, corner);
    if (outputIsClean(plan, source)) return plan;
  }
  return std::nullopt;
}

// The classic crop made narrower round its own middle, as little as will do.
std::optional<StraightenPlan> trimmedCrop(const StraightenPlan &classic, Size source) {
  const PointD middle = {classic.size.width * 0.5 - static_cast<double>(classic.cropX),
                         classic.size.height * 0.5 - static_cast<double>(classic.cropY)};
  for (int trim = 0; trim <= kMaxTrim && trim < classic.size.width; ++trim) {
    const Size size = withAspectOf(source, classic.size.width - trim);
    const PointD corner = {middle.x - size.width * 0.5, middle.y - size.height * 0.5};
    if (const auto plan = cleanCropNear(corner, classic.sourceFromOutput, size, source)) return plan;
  }
  return std::nullopt;
}

std::optional<StraightenPlan> largestCrop(Size source, Trans8 t) {
  if (!std::all_of(t.begin(), t.end(), [](float value) { return std::isfinite(value); })) return std::nullopt;

  const auto limit = static_cast<int>(std::min<std::int64_t>(std::int64_t{kMaxStretch} * source.width, 1 << 30));
  int width = widestFit(coveredRegion(t, source), source, limit);
  if (width > source.width) {
    t = appliedToScaled(t, static_cast<float>(width) / static_cast<float>(source.width));
    width = source.width;
  }
  // Offsets are whole pixels: the widest rectangle may fit only in between. Each column less makes room for more
  // positions, so that few steps are taken.
  const auto region = coveredRegion(t, source);
  for (; width > 0; --width) {
    const Size size = withAspectOf(source, width);
    const Polygon positions = positionsFor(size, region, source);
    if (positions.count == 0) continue;
    if (const auto plan = cleanCropNear(positions.middle(), t, size, source)) return plan;
  }
  return std::nullopt;
}

} // namespace

bool outputIsClean(const StraightenPlan &plan, Size source) {
  const int lastColumn = plan.size.width - 1, lastRow = plan.size.height - 1;
  const HalfPlane denominator = unmirrored(plan.sourceFromOutput).w;
  for (const int column : {0, lastColumn}) {
    for (const int row : {0, lastRow}) {
      const PointD p = {static_cast<double>(column) - plan.offsetX, static_cast<double>(row) - plan.offsetY};
      if (!(denominator.at(p) > 0)) return false;
    }
  }

  const auto endX = static_cast<float>(source.width - 1), endY = static_cast<float>(source.height - 1);
  const auto clean = [&](int column, int row) {
    const Point p = mapPerspectiveMixed(plan.sourceFromOutput.data(), static_cast<float>(column - plan.offsetX),
                                        static_cast<float>(row - plan.offsetY));
    return p.x >= 0 && p.y >= 0 && p.x < endX && p.y < endY;
  };
  for (int column = 0; column <= lastColumn; ++column) {
    if (!clean(column, 0) || !clean(column, lastRow)) return false;
  }
  for (int row = 0; row <= lastRow; ++row) {
    if (!clean(0, row) || !clean(lastColumn, row)) return false;
  }
  return true;
}

std::optional<StraightenPlan> planCleanCrop(Size source, const StraightenRequest &request) {
  const StraightenPlan classic = planStraightening(source, request);
  if (!request.crop) return classic;
  if (source.width < 2 || source.height < 2) return std::nullopt;

  const auto largest = largestCrop(source, straighteningTransform(source, request));
  if (!largest || !classic.cropped || classic.size.width < kWorthKeeping * largest->size.width) return largest;
  if (outputIsClean(classic, source)) return classic;
  if (const auto trimmed = trimmedCrop(classic, source)) return trimmed;
  return largest;
}

} // namespace vindrel
