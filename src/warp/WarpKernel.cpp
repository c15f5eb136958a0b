// The warp's inner loop. A row is taken in blocks of columns: first the coordinates of the whole block are mapped,
// which the compiler does several columns at a time, then the source is sampled pixel by pixel, all samples of a pixel
// from the same four neighbours and with the same weights.
//
// Precision decides the bits here. Coordinates and fractions are single precision, the interpolation is double
// precision but for the weight of the lower right neighbour and its product, and the interpolated value is rounded to
// single precision before it is stored.
#include "warp/Warp.h"

#include "transform/MapPoint.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>

namespace vindrel {
namespace {

constexpr int kBlockColumns = 256;

struct AffineMapping {
  static constexpr int kCoefficients = 6;
  static Point map(const float *t, float x, float y) { return mapAffineF(t, x, y); }
};

struct PerspectiveMapping {
  static constexpr int kCoefficients = 8;
  static Point map(const float *t, float x, float y) { return mapPerspectiveMixed(t, x, y); }
};

// Source coordinates of a block of output pixels.
struct BlockCoordinates {
  std::array<float, kBlockColumns> x;
  std::array<float, kBlockColumns> y;
};

// Output pixels less the offset, as the transforms take them. The difference is exact in double precision, where that
// of two ints could overflow.
float shifted(int position, int offset) {
  return static_cast<float>(static_cast<double>(position) - static_cast<double>(offset));
}

template <class Mapping>
void mapBlock(const float *coefficients, int firstColumn, int columns, int offsetX, float y, BlockCoordinates &block) {
  float t[Mapping::kCoefficients]; // a copy, which the stores below cannot be taken to change
  std::copy_n(coefficients, Mapping::kCoefficients, t);
  for (int i = 0; i < columns; ++i) {
    const Point p = Mapping::map(t, shifted(firstColumn + i, offsetX), y);
    block.x[static_cast<std::size_t>(i)] = p.x;
    block.y[static_cast<std::size_t>(i)] = p.y;
  }
}

// A coordinate has its two neighbours along one axis when, cut to a whole number i, i >= 0 and i + 1 < size. Cutting
// is toward zero, so the range is open at -1 and coordinates in (-1, 0) extrapolate from the first two pixels. The
// comparison with the upper end needs no conversion to int, so that not-a-number and coordinates beyond the range of
// int are outside like any other.
float upperEnd(int size) {
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
  float endX; // coordinates in (-1, end) are inside
  float endY;
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

struct Weights {
  double left, right, upper, lower;
  float lowerRight; // right * lower in single precision
};

// kSamples neighbouring samples of one output pixel, from those of the four source pixels; a pixel's right neighbour
// is pixelStep samples on. Every step runs over all samples, which lets the compiler take several at once, and all are
// loaded before the first is stored, since it cannot know that the output lies apart from the source.
template <int kSamples, class Sample>
inline void interpolate(const Sample *upperRow, const Sample *lowerRow, int pixelStep, const Weights &w, Sample *out) {
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

// kChannels 0: as many as channels says.
template <class Sample, int kChannels>
void sampleBlock(const SampledFrame<Sample> &source, const BlockCoordinates &block, int columns, int channels,
                 Sample *out) {
  const int n = kChannels > 0 ? kChannels : channels;
  for (int i = 0; i < columns; ++i, out += n) {
    const float x = block.x[static_cast<std::size_t>(i)];
    const float y = block.y[static_cast<std::size_t>(i)];
    if (!(x > -1.0f && x < source.endX && y > -1.0f && y < source.endY)) {
      // Three samples at most are set: a fourth channel before the last keeps what the output held.
      constexpr Sample kWhite = std::numeric_limits<Sample>::max();
      out[0] = kWhite;
      out[(n - 1) / 2] = kWhite;
      out[n - 1] = kWhite;
      continue;
    }
    const int ix = static_cast<int>(x);
    const int iy = static_cast<int>(y);
    const float fx = x - static_cast<float>(ix);
    const float fy = y - static_cast<float>(iy);
    const double right = static_cast<double>(fx);
    const double lower = static_cast<double>(fy);
    const Weights weights = {1.0 - right, right, 1.0 - lower, lower, fx * fy};

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
}

template <class Sample, class Mapping, int kChannels>
void warpRows(const WarpJob &job, RowBand rows, Sample *out) {
  const ImageView &view = job.source;
  const SampledFrame<Sample> source = {view.row<Sample>(0), view.rowStride, upperEnd(view.size.width),
                                       upperEnd(view.size.height)};
  BlockCoordinates block;
  for (int row = rows.begin; row < rows.end; ++row) {
    const float y = shifted(row, job.offsetY);
    for (std::int64_t column = 0; column < job.dstWidth; column += kBlockColumns) {
      const int first = static_cast<int>(column);
      const int columns = std::min(kBlockColumns, job.dstWidth - first);
      mapBlock<Mapping>(job.transform.coefficients, first, columns, job.offsetX, y, block);
      sampleBlock<Sample, kChannels>(source, block, columns, view.channels, out);
      out += static_cast<std::int64_t>(columns) * view.channels;
    }
  }
}

template <class Sample, class Mapping>
void warpRowsOfChannels(const WarpJob &job, RowBand rows, Sample *out) {
  switch (job.source.channels) {
  case 1:
    return warpRows<Sample, Mapping, 1>(job, rows, out);
  case 3:
    return warpRows<Sample, Mapping, 3>(job, rows, out);
  case 4:
    return warpRows<Sample, Mapping, 4>(job, rows, out);
  default:
    return warpRows<Sample, Mapping, 0>(job, rows, out);
  }
}

template <class Sample>
void warpRowsOfSamples(const WarpJob &job, RowBand rows, void *dst) {
  Sample *out = static_cast<Sample *>(dst);
  if (job.transform.perspective) return warpRowsOfChannels<Sample, PerspectiveMapping>(job, rows, out);
  warpRowsOfChannels<Sample, AffineMapping>(job, rows, out);
}

} // namespace

void warpBand(const WarpJob &job, RowBand rows, void *dst) {
  if (job.source.depth == SampleDepth::U8) return warpRowsOfSamples<std::uint8_t>(job, rows, dst);
  warpRowsOfSamples<std::uint16_t>(job, rows, dst);
}

void *outputRow(const WarpJob &job, void *dst, std::int64_t row) {
  return static_cast<std::byte *>(dst) +
         bytesPerSample(job.source.depth) * static_cast<std::int64_t>(job.source.channels) * job.dstWidth * row;
}

} // namespace vindrel
