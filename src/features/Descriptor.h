// What the surroundings of a feature point look like, as 64 numbers, and how unlike two of them are.
#pragma once

#include "features/FeaturePoints.h"
#include "features/IntegralImage.h"

#include <cstdint>

namespace vindrel {

// How far a descriptor looks: columns and rows of the integral image from x - kReachBefore to x + kReachAfter.
constexpr int kReachBefore = 17, kReachAfter = 15;

// Points to describe: positions in, signs and descriptors out.
struct PointsToDescribe {
  int count = 0;
  const std::int32_t *x = nullptr;
  const std::int32_t *y = nullptr;
  std::int32_t *scaleCode = nullptr;
  float *descriptor = nullptr;
};

// Fills the descriptors and gives each scaleCode the sign of the Laplacian (zero counts as positive). The image reaches
// at least 15 pixels right of and below every point. Entries before the integral image's first count as zero, so that
// points near its top-left corner are harmless. With 16-bit entries every point also keeps kReachBefore from the top
// and the left.
void describePoints(IntegralView<std::uint32_t> integral, const PointsToDescribe &points);
void describePoints(IntegralView<std::uint16_t> integral, const PointsToDescribe &points);

// The squared Euclidean distance of n-element descriptors, added up in single precision in the order of the elements:
// the order is part of the result. n < 1 yields 0.
inline float descriptorDistance(const float *a, const float *b, int n) {
  float sum = 0;
  for (int i = 0; i < n; ++i) {
    const float difference = a[i] - b[i];
    sum += difference * difference;
  }
  return sum;
}

} // namespace vindrel
