// The warp's definition, a pixel and a sample at a time.
#pragma once

#include <cstdint>
#include <limits>

namespace vindrel::reference {

template <class Sample>
struct Warp {
  const Sample *source; // sample 0 of pixel (0, 0)
  int width, height;
  std::int64_t stride; // samples
  int channels;
  int dstWidth, offsetX, offsetY;
  bool perspective;
  const float *t; // a b c d e f, and g h when perspective
};

// Whole part by truncation; a coordinate that is no number or does not fit an int becomes -1, which is outside.
inline int wholePart(float v) {
  return v >= -2147483648.0f && v < 2147483648.0f ? static_cast<int>(v) : -1;
}

template <class Sample>
Sample interpolate(const Warp<Sample> &warp, int ix, int iy, float fx, float fy, int channel) {
  const auto sample = [&](std::int64_t x, std::int64_t y) {
    return warp.source[y * warp.stride + x * warp.channels + channel];
  };
  const double a = sample(ix, iy);
  const double b = sample(ix + 1, iy);
  const double c = sample(ix, iy + 1);
  const float d = sample(ix + 1, iy + 1);
  const double dx = fx;
  const double dy = fy;
  const float product = fx * fy;
  const float lowerRight = d * product;
  const float v = static_cast<float>((a * (1.0 - dx) + b * dx) * (1.0 - dy) + c * (1.0 - dx) * dy +
                                     static_cast<double>(lowerRight));
  const float white = std::numeric_limits<Sample>::max();
  const double clamped = v < 0 ? 0 : v > white ? white : v;
  return static_cast<Sample>(sizeof(Sample) == 1 ? clamped + 0.5 : clamped);
}

template <class Sample>
void warpPixel(const Warp<Sample> &warp, int column, int row, Sample *out) {
  const float *t = warp.t;
  const float x = static_cast<float>(std::int64_t{column} - warp.offsetX);
  const float y = static_cast<float>(std::int64_t{row} - warp.offsetY);
  float sourceX = t[0] * x + t[1] * y + t[2];
  float sourceY = t[3] * x + t[4] * y + t[5];
  if (warp.perspective) {
    const double w = 1 + (double{t[6]} * double{x} + double{t[7]} * double{y}) * 0.00001;
    sourceX = static_cast<float>(double{sourceX} / w);
    sourceY = static_cast<float>(double{sourceY} / w);
  }
  const int ix = wholePart(sourceX);
  const int iy = wholePart(sourceY);
  const bool inside = ix >= 0 && iy >= 0 && std::int64_t{ix} + 1 < warp.width && std::int64_t{iy} + 1 < warp.height;
  if (inside) {
    for (int c = 0; c < warp.channels; ++c)
      out[c] = interpolate(warp, ix, iy, sourceX - static_cast<float>(ix), sourceY - static_cast<float>(iy), c);
  } else {
    const Sample white = std::numeric_limits<Sample>::max();
    out[0] = out[(warp.channels - 1) / 2] = out[warp.channels - 1] = white;
  }
}

// Rows begin to end - 1, the first one at out.
template <class Sample>
void warpRows(const Warp<Sample> &warp, int begin, int end, Sample *out) {
  for (int row = begin; row < end; ++row)
    for (int column = 0; column < warp.dstWidth; ++column, out += warp.channels)
      warpPixel(warp, column, row, out);
}

} // namespace vindrel::reference
