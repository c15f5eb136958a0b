// One output pixel of the warp, from the source coordinates that it was mapped to: the plain form, for all that the
// vectors of WarpKernel.cpp leave over.
//
// Precision decides the bits. Coordinates and fractions are single precision, the interpolation is double precision but
// for the weight of the lower right neighbour and its product, and the interpolated value is rounded to single
// precision before it is stored.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>

namespace vindrel {

// A coordinate has its two neighbours along one axis when, cut to a whole number i, i >= 0 and i + 1 < size. Cutting
// is toward zero, so the range is open at -1 and coordinates in (-1, 0) extrapolate from the first two pixels. The
// comparison with the upper end needs no conversion to int, so that not-a-number and coordinates beyond the range of
// int are outside like any other.
inline float upperEnd(int size) {
  if (size < 2) return -1.0f; // nothing lies between -1 and -1
  const float nearest = static_cast<float>(size - 1);
  // Above 2^24 the nearest float may fall short of size - 1 and would then itself be inside.
  return static_cast<double>(nearest) < size - 1 ? std::nextafter(nearest, std::numeric_limits<float>::infinity())
                                                 : nearest;
}

template <class Sample>
struct SampledFrame {
  const Sample *samples;
  std::int64_t rowStride;
  int channels;
  float endX; // coordinates in (-1, end) are inside
  float endY;

  bool inside(float x, float y) const { return x > -1.0f && x < endX && y > -1.0f && y < endY; }
};

// Rounds to the nearest, halves up. The half is added in double precision: in single precision 0.49999997 + 0.5 would
// round to 1.
inline void store(float value, std::uint8_t &out) {
  const float clamped = std::min(std::max(value, 0.0f), 255.0f);
  out = static_cast<std::uint8_t>(static_cast<int>(static_cast<double>(clamped) + 0.5));
}

// Rounds down: a 16-bit sample has steps to spare.
inline void store(float value, std::uint16_t &out) {
  const float clamped = std::min(std::max(value, 0.0f), 65535.0f);
  out = static_cast<std::uint16_t>(static_cast<int>(clamped));
}

struct PixelWeights {
  double left, right, upper, lower;
  float lowerRight; // right * lower in single precision
};

// kSamples neighbouring samples of one output pixel, from those of the four source pixels; a pixel's right neighbour
// is pixelStep samples on. Every step runs over all samples, which lets the compiler take several at once, and all are
// loaded before the first is stored, since it cannot know that the output lies apart from the source.
template <int kSamples, class Sample>
inline void interpolate(const Sample *upperRow, const Sample *lowerRow, int pixelStep, const PixelWeights &w,
                        Sample *out) {
  double s00[kSamples], s10[kSamples], s01[kSamples];
  float s11[kSamples], value[kSamples];
  for (int c = 0; c < kSamples; ++c)
    s00[c] = static_cast<double>(upperRow[c]);
  for (int c = 0; c < kSamples; ++c)
    s10[c] = static_cast<double>(upperRow[c + pixelStep]);
  for (int c = 0; c < kSamples; ++c)
    s01[c] = static_cast<double>(lowerRow[c]);
  for (int c = 0; c < kSamples; ++c)
    s11[c] = static_cast<float>(lowerRow[c + pixelStep]);
  for (int c = 0; c < kSamples; ++c)
    value[c] = static_cast<float>((s00[c] * w.left + s10[c] * w.right) * w.upper + s01[c] * w.left * w.lower +
                                  static_cast<double>(s11[c] * w.lowerRight));
  for (int c = 0; c < kSamples; ++c)
    store(value[c], out[c]);
}

// kChannels 0: as many as the source says.
template <int kChannels, class Sample>
void warpPixel(const SampledFrame<Sample> &source, float x, float y, Sample *out) {
  const int n = kChannels > 0 ? kChannels : source.channels;
  if (!source.inside(x, y)) {
    // Three samples at most are set: a fourth channel before the last keeps what the output held.
    constexpr Sample kWhite = std::numeric_limits<Sample>::max();
    out[0] = kWhite;
    out[(n - 1) / 2] = kWhite;
    out[n - 1] = kWhite;
    return;
  }
  const int ix = static_cast<int>(x);
  const int iy = static_cast<int>(y);
  const float fx = x - static_cast<float>(ix);
  const float fy = y - static_cast<float>(iy);
  const double right = static_cast<double>(fx);
  const double lower = static_cast<double>(fy);
  const PixelWeights weights = {1.0 - right, right, 1.0 - lower, lower, fx * fy};

  const Sample *upperRow = source.samples + iy * source.rowStride + static_cast<std::int64_t>(ix) * n;
  const Sample *lowerRow = upperRow + source.rowStride;
  if constexpr (kChannels > 0) {
    interpolate<kChannels>(upperRow, lowerRow, n, weights, out);
  } else {
    int c = 0;
    for (; c + 4 <= n; c += 4)
      interpolate<4>(upperRow + c, lowerRow + c, n, weights, out + c);
    for (; c < n; ++c)
      interpolate<1>(upperRow + c, lowerRow + c, n, weights, out + c);
  }
}

} // namespace vindrel
