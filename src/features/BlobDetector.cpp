// Blobs as in Bay, Ess, Tuytelaars and Van Gool 2008, "Speeded-Up Robust Features (SURF)": extrema, over position and
// filter size, of the determinant of a box-filter Hessian. Differences from the paper: three filter sizes only,
// minima count as well as maxima, and how far a point may be refined away from its pixel adapts to the budget.
#include "features/BlobDetector.h"

#include "base/Buffer.h"
#include "features/AdaptiveTolerances.h"
#include "features/Descriptor.h"
#include "features/ExtremumKernel.h"
#include "features/IntegralImage.h"
#include "features/ResponseRows.h"
#include "features/SubpixelRefinement.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <initializer_list>

namespace vindrel {
namespace {

// Extrema need a neighbour with a response on every side.
constexpr int kScanMargin = kResponseMargin + 1;
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
  Scan(IntegralView integral, Size size, int levels, int maxPoints, const FeaturePointsView &points)
      : integral_(integral), size_(size), maxPoints_(maxPoints), points_(points),
        tolerances_(scanPositions(size, levels), maxPoints) {}

  int count() const { return count_; }
  bool isFull() const { return count_ > maxPoints_; }

  // Appends the points of a level, in hundredths of a pixel.
  Status level(int level) {
    const Size levelPixels = levelSize(size_, level);
    if (!isScanned(levelPixels)) return Status::Ok;
    ResponseRing responses(integral_, size_, levelPixels.width);
    auto marks = Buffer<std::uint8_t>::zeroed(static_cast<std::size_t>(levelPixels.width));
    if (!responses || !marks) return Status::OutOfMemory;
    const int begin = kScanMargin, end = levelPixels.width - kScanMargin;
    for (int y = kScanMargin; y < levelPixels.height - kScanMargin; ++y) {
      const ResponseNeighbourhood rows = responses.around(y);
      markExtrema(rows, begin, end, marks.data());
      int next = begin; // first column of the row not yet counted as visited
      for (int x = nextMark(marks.data(), begin, end); x < end; x = nextMark(marks.data(), x + 1, end)) {
        tolerances_.visit(x + 1 - next, count_);
        next = x + 1;
        tryPoint(rows, x, y, level);
        if (isFull()) return Status::Ok;
      }
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
  // The first marked column from x on, or end. Marks are rare, so eight are looked at together.
  static int nextMark(const std::uint8_t *marks, int x, int end) {
    for (std::uint64_t eight; x + 8 <= end; x += 8) {
      std::memcpy(&eight, marks + x, sizeof eight);
      if (eight != 0) break;
    }
    while (x < end && marks[x] == 0)
      ++x;
    return x;
  }

  // Refines the extremum at (x, y) and keeps it if it stays near. Its entries are written first: those beyond the count
  // are scratch.
  void tryPoint(const ResponseNeighbourhood &rows, int x, int y, int level) {
    points_.x[count_] = x;
    points_.y[count_] = y;
    points_.scaleCode[count_] = level;
    const std::optional<SubpixelOffset> offset = refineExtremum(rows, x);
    if (!offset) {
      std::fprintf(stderr, "%d  %d rejete - resolution impossible\n", y, x);
      return;
    }
    if (!isWithin(*offset, tolerances_.current())) return;
    points_.x[count_] = fullResolution(hundredths(x, offset->x), level);
    points_.y[count_] = fullResolution(hundredths(y, offset->y), level);
    points_.scaleCode[count_] = static_cast<std::int32_t>(hundredths(level, offset->size));
    ++count_;
  }

  // The offset is within the tolerances, so its hundredths fit.
  static std::int64_t hundredths(int whole, double offset) {
    return std::int64_t{100} * whole + static_cast<int>(100 * offset);
  }
  static std::int32_t fullResolution(std::int64_t coordinate, int level) {
    return static_cast<std::int32_t>(coordinate << level);
  }

  IntegralView integral_;
  Size size_;
  int maxPoints_;
  FeaturePointsView points_;
  AdaptiveTolerances tolerances_;
  int count_ = 0;
};

} // namespace

DetectionResult detectPoints(const std::uint8_t *grey, Size size, int levels, int maxPoints,
                             const FeaturePointsView &points) {
  if (size.width < 1 || size.height < 1) return {};
  auto sums = Buffer<std::uint32_t>::zeroed(static_cast<std::size_t>(packedSamples(size, 1)));
  if (!sums) return {.status = Status::OutOfMemory};
  fillIntegral(grey, size, sums.data());
  const IntegralView integral = {sums.data(), size.width};

  Scan scan(integral, size, levels, maxPoints, points);
  for (int level = 0; level < levels && !scan.isFull(); ++level) {
    if (const Status status = scan.level(level); status != Status::Ok) return {.status = status};
    const bool changed = scan.convertToPixels();
    // Nor will any later, still smaller level scan or change anything.
    if (!changed && !isScanned(levelSize(size, level))) break;
  }
  describePoints(integral, {.count = scan.count(),
                            .x = points.x,
                            .y = points.y,
                            .scaleCode = points.scaleCode,
                            .descriptor = points.descriptor});
  return {.count = scan.count()};
}

} // namespace vindrel
