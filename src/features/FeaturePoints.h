// A set of feature points as parallel arrays that the caller owns: point i is (x[i], y[i]) in whole pixels of its
// frame, with scaleCode[i] and the 64 floats from descriptor[64 * i].
#pragma once

#include <cstdint>

namespace vindrel {

// Descriptors lie this many floats apart.
constexpr int kDescriptorLength = 64;

// What detection fills. It stops only after passing its budget, so each array holds budget + 1 points.
struct FeaturePointsView {
  std::int32_t *x = nullptr;
  std::int32_t *y = nullptr;
  // 100 x pyramid level + the offset in filter size in hundredths; negative where the Laplacian is.
  std::int32_t *scaleCode = nullptr;
  float *descriptor = nullptr;
};

// What matching reads.
struct FeatureSet {
  int count = 0;
  const std::int32_t *x = nullptr;
  const std::int32_t *y = nullptr;
  const std::int32_t *scaleCode = nullptr;
  const float *descriptor = nullptr;
};

} // namespace vindrel
