// The 64-element descriptor of Bay, Ess, Tuytelaars and Van Gool 2008, "Speeded-Up Robust Features (SURF)", without
// orientation or weighting: Haar-like responses over a fixed square of 32 x 32 pixels, columns x - 16 .. x + 15 and
// rows y - 16 .. y + 15, cut into 4 x 4 cells of 8 x 8 pixels and each of those into four sub-cells of 4 x 4. A cell
// contributes the sums, over its sub-cells, of dx, |dx|, dy and |dy|; the whole is brought to unit length.
#include "features/Descriptor.h"

#include <cmath>
#include <cstdint>
#include <initializer_list>

namespace vindrel {
namespace {

constexpr int kHalfSquare = 16;
constexpr int kCell = 8, kCells = 4;
constexpr int kSubCell = 4, kHalf = kSubCell / 2;

// The integral image where the square may begin before its first entry. Elsewhere a pointer to the entries will do.
struct Guarded {
  const std::uint32_t *sums;
  std::uint32_t operator[](std::ptrdiff_t i) const { return i < 0 ? 0 : sums[i]; }
};

// Dyy + Dxx with the boxes of the size-15 filter.
template <class Sums>
bool isLaplacianNegative(Sums sums, std::ptrdiff_t width, std::ptrdiff_t centre) {
  const auto box = [&](int x1, int y1, int x2, int y2) { return boxSum(sums, width, centre, {x1, y1, x2, y2}); };
  const std::uint32_t dyy = box(-4, -7, 4, -3) + box(-4, 3, 4, 7) - 2 * box(-4, -2, 4, 2);
  const std::uint32_t dxx = box(-7, -4, -3, 4) + box(3, -4, 7, 4) - 2 * box(-2, -4, 2, 4);
  return static_cast<std::int32_t>(dyy + dxx) < 0;
}

// Left half minus right half, and top half minus bottom half, of the sub-cell whose top-left pixel is at topLeft, from
// the entries of the integral image at its corners and at the middles of its sides: the four boxes share them.
struct Differences {
  std::int32_t x, y;
};
template <class Sums>
Differences differences(Sums sums, std::ptrdiff_t width, std::ptrdiff_t topLeft) {
  const std::ptrdiff_t top = topLeft - width - 1, middle = top + kHalf * width, bottom = top + kSubCell * width;
  const std::uint32_t topLeftSum = sums[top], topRightSum = sums[top + kSubCell];
  const std::uint32_t bottomLeftSum = sums[bottom], bottomRightSum = sums[bottom + kSubCell];
  const std::uint32_t left = bottomLeftSum - topLeftSum, right = bottomRightSum - topRightSum;
  const std::uint32_t middleColumn = sums[bottom + kHalf] - sums[top + kHalf];
  const std::uint32_t above = topRightSum - topLeftSum, below = bottomRightSum - bottomLeftSum;
  const std::uint32_t middleRow = sums[middle + kSubCell] - sums[middle];
  return {static_cast<std::int32_t>((middleColumn - left) - (right - middleColumn)),
          static_cast<std::int32_t>((middleRow - above) - (below - middleRow))};
}

// Wraps at the least int, which has no counterpart.
constexpr std::int32_t negative(std::int32_t value) {
  return static_cast<std::int32_t>(0u - static_cast<std::uint32_t>(value));
}
constexpr std::int32_t magnitude(std::int32_t value) {
  return value < 0 ? negative(value) : value;
}

template <class Sums>
void fillCells(Sums sums, std::ptrdiff_t width, std::ptrdiff_t centre, float *descriptor) {
  const std::ptrdiff_t corner = centre - kHalfSquare * width - kHalfSquare;
  for (int row = 0; row < kCells; ++row)
    for (int column = 0; column < kCells; ++column, descriptor += 4) {
      const std::ptrdiff_t cell = corner + kCell * (row * width + column);
      std::int32_t dx = 0, absDx = 0, dy = 0, absDy = 0;
      for (const std::ptrdiff_t subCell :
           {cell, cell + kSubCell, cell + kSubCell * width, cell + kSubCell * width + kSubCell}) {
        const Differences d = differences(sums, width, subCell);
        dx += d.x;
        absDx += magnitude(d.x);
        dy += d.y;
        absDy += magnitude(d.y);
      }
      descriptor[0] = static_cast<float>(dx);
      descriptor[1] = static_cast<float>(absDx);
      descriptor[2] = static_cast<float>(dy);
      descriptor[3] = static_cast<float>(absDy);
    }
}

// Single precision, squares added in the order of the elements. The factor is a correctly rounded square root and a
// correctly rounded division, never an estimate instruction, whose bits differ between processors.
void normalise(float *descriptor) {
  float sum = 0;
  for (int i = 0; i < kDescriptorLength; ++i)
    sum += descriptor[i] * descriptor[i];
  if (!(sum > 0)) return;
  const float factor = 1.0f / std::sqrt(sum);
  for (int i = 0; i < kDescriptorLength; ++i)
    descriptor[i] *= factor;
}

template <class Sums>
void describe(Sums sums, std::ptrdiff_t width, std::ptrdiff_t centre, std::int32_t &scaleCode, float *descriptor) {
  const std::int32_t unsignedCode = magnitude(scaleCode);
  scaleCode = isLaplacianNegative(sums, width, centre) ? negative(unsignedCode) : unsignedCode;
  fillCells(sums, width, centre, descriptor);
  normalise(descriptor);
}

} // namespace

void describePoints(IntegralView integral, const PointsToDescribe &points) {
  const std::ptrdiff_t width = integral.width;
  const std::ptrdiff_t firstSafe = (kHalfSquare + 1) * (width + 1);
  for (std::ptrdiff_t i = 0; i < points.count; ++i) {
    const std::ptrdiff_t centre = points.y[i] * width + points.x[i];
    float *descriptor = points.descriptor + kDescriptorLength * i;
    if (centre >= firstSafe)
      describe(integral.sums, width, centre, points.scaleCode[i], descriptor);
    else
      describe(Guarded{integral.sums}, width, centre, points.scaleCode[i], descriptor);
  }
}

} // namespace vindrel
