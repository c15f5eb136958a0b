// The residuals of the output-size search, spelt out corner by corner.
#pragma once

#include <cstdint>
#include <vector>

namespace vindrel::reference {

inline void chainPoint(int count, const float *transforms, const std::uint32_t *chain, float &x, float &y) {
  std::vector<std::uint32_t> links;
  if (count == 0) links.push_back(chain[0]);
  for (int k = 1; k <= count; ++k)
    links.push_back(chain[k]);
  for (const std::uint32_t link : links) {
    const float *t = transforms + std::int64_t{8} * link;
    const double w = (double{t[6]} * double{x} + double{t[7]} * double{y}) * 0.00001 + 1;
    const float numeratorX = t[0] * x + t[1] * y + t[2];
    const float numeratorY = t[3] * x + t[4] * y + t[5];
    x = static_cast<float>(double{numeratorX} / w);
    y = static_cast<float>(double{numeratorY} / w);
  }
}

inline std::vector<double> outputSizeResiduals(const double *par, int frameWidth, int frameHeight, int imageCount,
                                               const float *transforms, const std::uint32_t *chain) {
  const float x0 = static_cast<float>(par[0]), y0 = static_cast<float>(par[1]);
  const float W = static_cast<float>(par[2]), H = static_cast<float>(par[3]);
  const float w = static_cast<float>(frameWidth), h = static_cast<float>(frameHeight);
  std::vector<double> residuals;
  double sum = 0;
  for (int i = 0; i < imageCount; ++i)
    for (int corner = 0; corner < 4; ++corner) {
      const bool right = corner % 2 == 1;
      const bool bottom = corner >= 2;
      float x = right ? W - x0 : -x0;
      float y = bottom ? H - y0 : -y0;
      chainPoint(i, transforms, chain, x, y);
      double penalty = 0;
      if (!right && x < 0) penalty += double{-x};
      if (right && x > w) penalty += double{x - w};
      if (!bottom && y < 0) penalty += double{-y};
      if (bottom && y > h) penalty += double{y - h};
      residuals.push_back(penalty);
      sum += penalty;
    }
  const std::int64_t area = std::int64_t{frameWidth} * frameHeight;
  if (sum >= 0.01)
    residuals.push_back(sum + static_cast<double>(area) * 0.00001);
  else
    residuals.push_back(double{static_cast<float>(area) - W * H} * 0.00001);
  return residuals;
}

} // namespace vindrel::reference
