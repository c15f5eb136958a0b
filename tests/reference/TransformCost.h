// The truncated sums of city-block distances that the simplex searches minimise.
#pragma once

#include <climits>
#include <cmath>
#include <cstdint>
#include <vector>

namespace reference {

struct WholePairs {
  std::vector<std::int32_t> xA, yA, xB, yB;
};

inline int truncated(float sum) {
  return sum < 0x1p31f ? static_cast<int>(sum) : INT_MAX;
}

inline int affineCost(const float *t, const WholePairs &pairs) {
  float sum = 0;
  for (std::size_t i = 0; i < pairs.xA.size(); ++i) {
    const float x = static_cast<float>(pairs.xA[i]), y = static_cast<float>(pairs.yA[i]);
    const float dx = static_cast<float>(pairs.xB[i]) - (t[0] * x + t[1] * y + t[2]);
    const float dy = static_cast<float>(pairs.yB[i]) - (t[3] * x + t[4] * y + t[5]);
    sum = sum + (std::fabs(dx) + std::fabs(dy));
  }
  return truncated(sum);
}

inline int perspectiveCost(const float *narrow, const WholePairs &pairs) {
  const std::vector<double> t(narrow, narrow + 8);
  float sum = 0;
  for (std::size_t i = 0; i < pairs.xA.size(); ++i) {
    const double x = pairs.xA[i], y = pairs.yA[i];
    const double w = (t[6] * x + t[7] * y) * 0.00001 + 1;
    const float mappedX = static_cast<float>((t[0] * x + t[1] * y + t[2]) / w);
    const float mappedY = static_cast<float>((t[3] * x + t[4] * y + t[5]) / w);
    sum = sum +
          (std::fabs(static_cast<float>(pairs.xB[i]) - mappedX) + std::fabs(static_cast<float>(pairs.yB[i]) - mappedY));
  }
  return truncated(sum);
}

} // namespace reference
