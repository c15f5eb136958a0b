// Blobs as in Bay, Ess, Tuytelaars and Van Gool 2008, "Speeded-Up Robust Features (SURF)": extrema, over position and
// filter size, of the determinant of a box-filter Hessian. Differences from the paper: three filter sizes only,
// minima count as well as maxima, and how far a point may be refined away from its pixel adapts to the budget.
#include "features/BlobDetector.h"

#include "base/Buffer.h"
#include "features/AdaptiveTolerances.h"
#include "features/BoxFilter.h"
#include "features/Descriptor.h"
#include "features/ExtremumRows.h"
#include "features/IntegralImage.h"
#include "features/SubpixelRefinement.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <initializer_list>
#include <span>

namespace vindrel {
namespace {

constexpr int kLeastScannedSide = 2 * kScanMargin + 1;

// Halving a side 31 times leaves nothing of any int; shifting further is not defined.
constexpr int kLastShift = 31;

constexpr Size levelSize(Size size, int level) {
  const int shift = std::min(level, kLastShift);
  return {size.width >> shift, size.height >> shift};
}

constexpr bool isScanned(Size level) {
  return level.width >= kLeastScannedSide && level.height >= kLeastScannedSide;
}

// Pixels that a scan of all levels visits. Levels too small to be scanned enter with the same formula, which then says
// little; the product is that of 32-bit numbers, wrap-around included.
std::int64_t scanPositions(Size size, int levels) {
  constexpr unsigned kMargins = 2 * kScanMargin;
  const auto term = [size](int level) {
    const Size s = levelSize(size, level);
    return static_cast<std::int64_t>(static_cast<std::int32_t>((static_cast<unsigned>(s.width) - kMargins) *
                                                               (static_cast<unsigned>(s.height) - kMargins)));
  };
  std::int64_t sum = 0;
  for (int level = 0; level < std::min(levels, kLastShift); ++level)
    sum += term(level);
  if (levels > kLastShift) sum += (static_cast<std::int64_t>(levels) - kLastShift) * term(kLastShift);
  return sum;
}

class Scan {
public:
  Scan(const std::uint16_t *sums, Size size, int levels, int maxPoints, const FeaturePointsView &points)
      : sums_(sums), size_(size), maxPoints_(maxPoints), points_(points),
        tolerances_(scanPositions(size, levels), maxPoints) {}

  int count() const { return count_; }
  bool isFull() const { return count_ > maxPoints_; }

  // Appends the points of a level, in hundredths of a pixel.
  Status level(int level) {
    const Size levelPixels = levelSize(size_, level);
    if (!isScanned(levelPixels)) return Status::Ok;
    if (level > 0) {
      higherLevel(level, levelPixels);
      return Status::Ok;
    }
    ExtremumRows rows(sums_, size_);
    if (!rows) return Status::OutOfMemory;
    const int begin = kScanMargin, end = size_.width - kScanMargin;
    for (int y = kScanMargin; y < size_.height - kScanMargin; ++y) {
      int next = begin; // first column of the row not yet counted as visited
      const std::span<const Extremum> extrema = rows.in(y);
      for (std::size_t i = 0; i < extrema.size() && !isFull(); ++i) {
        if (i % kTogether == 0) refineFrom(extrema.subspan(i));
        const std::int32_t column = extrema[i].column;
        tolerances_.visit(column + 1 - next, count_);
        next = column + 1;
        tryPoint(refined_[i % kTogether], column, y, level);
      }
      if (isFull()) return Status::Ok;
      tolerances_.visit(end - next, count_);
    }
    return Status::Ok;
  }

  // Turns the coordinates of all points so far from hundredths into whole pixels. It is done after every level and to
  // the points of earlier levels again, which is why the detector is built for one level. True if any changed.
  bool convertToPixels() {
    bool changed = false;
    for (int i = 0; i < count_; ++i)
      for (std::int32_t *coordinate : {points_.x + i, points_.y + i}) {
        const std::int32_t pixel = wholePixel(*coordinate);
        changed |= pixel != *coordinate;
        *coordinate = pixel;
      }
    return changed;
  }

private:
  // Response maps are laid out once, at full resolution, and a level reads them with its own, smaller width as row
  // length: its pixel (x, y) is the one with linear index y x level width + x of the image. Levels beyond the first are
  // therefore not scaled images; the detector is built for one level and only stays well defined with more.
  void higherLevel(int level, Size levelPixels) {
    for (int y = kScanMargin; y < levelPixels.height - kScanMargin; ++y)
      for (int x = kScanMargin; x < levelPixels.width - kScanMargin; ++x) {
        tolerances_.visit(1, count_);
        if (std::abs(responsesAt(sums_, size_, std::ptrdiff_t{y} * levelPixels.width + x)[1]) < kLeastResponse)
          continue;
        const Extremum extremum = {x, around(x, y, levelPixels.width)};
        if (!isExtremum(extremum.responses)) continue;
        refineFrom({&extremum, 1});
        tryPoint(refined_[0], x, y, level);
        if (isFull()) return;
      }
  }

  ResponseCube around(int x, int y, std::ptrdiff_t rowLength) const {
    ResponseCube responses;
    for (int row = 0; row < 3; ++row)
      for (int column = 0; column < 3; ++column) {
        const auto sizes = responsesAt(sums_, size_, (y + row - 1) * rowLength + x + column - 1);
        for (std::size_t i = 0; i < 3; ++i)
          responses.at[i][row][column] = sizes[i];
      }
    return responses;
  }

  // Refines the first few of the extrema.
  void refineFrom(std::span<const Extremum> extrema) {
    refineExtrema(extrema.data(), static_cast<int>(std::min<std::size_t>(extrema.size(), kTogether)), refined_);
  }

  // Keeps the extremum at (x, y) if it stays near. Its entries are written first: those beyond the count are scratch.
  void tryPoint(const RefinedExtremum &refined, int x, int y, int level) {
    points_.x[count_] = x;
    points_.y[count_] = y;
    points_.scaleCode[count_] = level;
    const SubpixelOffset &offset = refined.offset;
    if (!refined.exists) {
      std::fprintf(stderr, "%d  %d rejete - resolution impossible\n", y, x);
      return;
    }
    if (!isWithin(offset, tolerances_.current())) return;
    points_.x[count_] = fullResolution(hundredths(x, offset.x), level);
    points_.y[count_] = fullResolution(hundredths(y, offset.y), level);
    points_.scaleCode[count_] = static_cast<std::int32_t>(hundredths(level, offset.size));
    ++count_;
  }

  // The offset is within the tolerances, so its hundredths fit.
  static std::int64_t hundredths(int whole, double offset) {
    return std::int64_t{100} * whole + static_cast<int>(100 * offset);
  }
  static std::int32_t fullResolution(std::int64_t coordinate, int level) {
    return static_cast<std::int32_t>(coordinate << level);
  }

  static constexpr std::size_t kTogether = 16; // extrema refined at once

  const std::uint16_t *sums_;
  Size size_;
  int maxPoints_;
  FeaturePointsView points_;
  AdaptiveTolerances tolerances_;
  int count_ = 0;
  RefinedExtremum refined_[kTogether]; // of the extrema being tried
};

// Whether the descriptor's square and the row and column before it lie inside the image around every point.
bool squaresLieInside(Size size, const PointsToDescribe &points) {
  for (int i = 0; i < points.count; ++i)
    if (points.x[i] < kReachBefore || points.y[i] < kReachBefore || points.x[i] >= size.width - kReachAfter ||
        points.y[i] >= size.height - kReachAfter)
      return false;
  return true;
}

Status describe(const std::uint8_t *grey, Size size, const std::uint16_t *sums, const PointsToDescribe &points) {
  if (squaresLieInside(size, points)) {
    describePoints(IntegralView<std::uint16_t>{sums, size.width}, points);
    return Status::Ok;
  }
  // Points of several levels. A box around one of them may begin in one row of the image and end in the next: what its
  // corners then make takes more than 16 bits.
  auto wide = Buffer<std::uint32_t>::zeroed(static_cast<std::size_t>(packedSamples(size, 1)));
  if (!wide) return Status::OutOfMemory;
  fillIntegral(grey, size, wide.data());
  describePoints(IntegralView<std::uint32_t>{wide.data(), size.width}, points);
  return Status::Ok;
}

} // namespace

DetectionResult detectPoints(const std::uint8_t *grey, Size size, int levels, int maxPoints,
                             const FeaturePointsView &points) {
  if (size.width < 1 || size.height < 1) return {};
  auto sums = Buffer<std::uint16_t>::zeroed(static_cast<std::size_t>(packedSamples(size, 1)));
  if (!sums) return {.status = Status::OutOfMemory};
  fillIntegral(grey, size, sums.data());

  Scan scan(sums.data(), size, levels, maxPoints, points);
  for (int level = 0; level < levels && !scan.isFull(); ++level) {
    if (const Status status = scan.level(level); status != Status::Ok) return {.status = status};
    const bool changed = scan.convertToPixels();
    // Nor will any later, still smaller level scan or change anything.
    if (!changed && !isScanned(levelSize(size, level))) break;
  }
  const Status described = describe(grey, size, sums.data(),
                                    {.count = scan.count(),
                                     .x = points.x,
                                     .y = points.y,
                                     .scaleCode = points.scaleCode,
                                     .descriptor = points.descriptor});
  if (described != Status::Ok) return {.status = described};
  return {.count = scan.count()};
}

} // namespace vindrel
