// The filters' definition, a pixel and a sample at a time.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <type_traits>

namespace vindrel::reference {

enum class FilterKind { Linear, Cubic, Lanczos3 };

// The weight of a sample at a distance t, before Lanczos' are divided by their sum.
inline double filterWeight(FilterKind kind, double t) {
  const double d = std::abs(t);
  if (kind == FilterKind::Linear) return d < 1 ? 1 - d : 0;
  if (kind == FilterKind::Cubic) {
    if (d < 1) return 1.5 * d * d * d - 2.5 * d * d + 1;
    return d < 2 ? -0.5 * d * d * d + 2.5 * d * d - 4 * d + 2 : 0;
  }
  const double pi = 3.14159265358979323846;
  if (d == 0) return 1;
  return d < 3 ? std::sin(pi * d) / (pi * d) * (std::sin(pi * d / 3) / (pi * d / 3)) : 0;
}

template <class Sample>
struct FilterWarp {
  const Sample *source; // sample 0 of pixel (0, 0)
  int width, height;
  std::int64_t stride; // samples
  int channels;
  const double *m; // 3 x 3, from the output's frame
  FilterKind kind;
};

template <class Sample>
Sample filtered(const FilterWarp<Sample> &warp, int left, int top, const float *across, const float *down, int taps,
                int channel) {
  float sum = 0;
  for (int j = 0; j < taps; ++j) {
    const int row = std::min(std::max(top + j, 0), warp.height - 1);
    float rowSum = 0;
    for (int i = 0; i < taps; ++i) {
      const int column = std::min(std::max(left + i, 0), warp.width - 1);
      rowSum += across[i] * static_cast<float>(warp.source[row * warp.stride + column * warp.channels + channel]);
    }
    sum += down[j] * rowSum;
  }
  if constexpr (std::is_floating_point_v<Sample>) {
    return sum;
  } else {
    const double white = std::numeric_limits<Sample>::max();
    return static_cast<Sample>(std::floor(std::min(std::max(static_cast<double>(sum), 0.0), white) + 0.5));
  }
}

// out: the samples of the output pixel at (x, y) of the output's frame.
template <class Sample>
void filterPixel(const FilterWarp<Sample> &warp, double x, double y, Sample *out) {
  const double *m = warp.m;
  const double w = m[6] * x + m[7] * y + m[8];
  const double u = (m[0] * x + m[1] * y + m[2]) / w, v = (m[3] * x + m[4] * y + m[5]) / w;
  if (!(w > 0 && u > -1 && u < warp.width && v > -1 && v < warp.height)) {
    const Sample white = std::is_floating_point_v<Sample> ? Sample{1} : std::numeric_limits<Sample>::max();
    return static_cast<void>(std::fill_n(out, warp.channels, white));
  }
  const int taps = warp.kind == FilterKind::Linear ? 2 : warp.kind == FilterKind::Cubic ? 4 : 6;
  const int left = static_cast<int>(std::floor(u)) - (taps / 2 - 1),
            top = static_cast<int>(std::floor(v)) - (taps / 2 - 1);
  double sumX = 0, sumY = 0;
  for (int i = 0; i < taps; ++i) {
    sumX += filterWeight(warp.kind, u - (left + i));
    sumY += filterWeight(warp.kind, v - (top + i));
  }
  float across[6], down[6];
  for (int i = 0; i < taps; ++i) {
    const bool divided = warp.kind == FilterKind::Lanczos3;
    across[i] = static_cast<float>(filterWeight(warp.kind, u - (left + i)) / (divided ? sumX : 1));
    down[i] = static_cast<float>(filterWeight(warp.kind, v - (top + i)) / (divided ? sumY : 1));
  }
  for (int c = 0; c < warp.channels; ++c)
    out[c] = filtered(warp, left, top, across, down, taps, c);
}

} // namespace vindrel::reference
