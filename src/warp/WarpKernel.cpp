// The warp's inner loop. A row is taken in blocks of columns, each in three steps: the coordinates of all its pixels
// are mapped, the neighbours and their weights are found, and the samples are interpolated into a buffer of the block's
// own, from where they are copied. All steps are vectors, in files of their own; what they leave over (pixels at or
// beyond the edge of the source, values too close to a rounding step for the arithmetic of the vectors) goes pixel by
// pixel, in the plain form of WarpPixel.h, as everything does where there are no vectors or more than four channels.
#include "warp/Warp.h"

#include "transform/MapPoint.h"
#include "warp/WarpBlock.h"
#include "warp/WarpPixel.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <optional>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "warp/WarpKernel.cpp"
#include <hwy/foreach_target.h>

#include <hwy/highway.h>

#if HWY_TARGET != HWY_SCALAR && HWY_TARGET != HWY_EMU128
#include "warp/WarpBytes-inl.h"
#include "warp/WarpMapping-inl.h"
#include "warp/WarpWords-inl.h"
#endif

HWY_BEFORE_NAMESPACE();
namespace vindrel::HWY_NAMESPACE {
namespace {

// Output pixels less the offset, as the transforms take them. The difference is exact in double precision, where that
// of two ints could overflow.
float shifted(int position, int offset) {
  return static_cast<float>(static_cast<double>(position) - static_cast<double>(offset));
}

template <bool kPerspective>
void mapPlainly(const WarpJob &job, int firstColumn, int columns, float y, WarpBlock &block) {
  float t[8]; // a copy, which the stores below cannot be taken to change
  std::copy_n(job.transform.coefficients, kPerspective ? 8 : 6, t);
  for (int i = 0; i < columns; ++i) {
    const float x = shifted(firstColumn + i, job.offsetX);
    const Point p = kPerspective ? mapPerspectiveMixed(t, x, y) : mapAffineF(t, x, y);
    block.x[i] = p.x;
    block.y[i] = p.y;
  }
}

template <class Sample>
SampledFrame<Sample> sampledFrame(const ImageView &view) {
  return {view.row<Sample>(0), view.rowStride, view.channels, upperEnd(view.size.width), upperEnd(view.size.height)};
}

template <class Sample, bool kPerspective, int kChannels>
struct PlainBlocks {
  const WarpJob &job;
  SampledFrame<Sample> source;
  WarpBlock block;

  explicit PlainBlocks(const WarpJob &ofJob) : job(ofJob), source(sampledFrame<Sample>(ofJob.source)) {}

  void warp(int firstColumn, int columns, float y, Sample *out) {
    mapPlainly<kPerspective>(job, firstColumn, columns, y, block);
    for (int i = 0; i < columns; ++i, out += source.channels)
      warpPixel<kChannels>(source, block.x[i], block.y[i], out);
  }
};

#if HWY_TARGET != HWY_SCALAR && HWY_TARGET != HWY_EMU128

// Vectors load up to 16 bytes from where a pixel's neighbours begin, more than the neighbours take. The row that lies
// last in memory is left to the plain form, so that what is loaded beyond a row lies in the one after it.
constexpr std::int64_t kOverread = 16;      // samples
constexpr std::int64_t kFarthest = 1 << 22; // columns and rows from here on are left to the plain form

// The rows whose pixels vectors may take for upper neighbours, and how many of them offsets reach at a time.
struct VectorRows {
  int begin, end, atOnce;
};

inline std::optional<VectorRows> vectorRows(const ImageView &view) {
  const std::int64_t stride = std::abs(view.rowStride);
  const auto height = static_cast<int>(std::min<std::int64_t>(view.size.height, kFarthest));
  const VectorRows rows = {view.rowStride < 0 ? 1 : 0, view.rowStride < 0 ? height - 1 : height - 2, 0};
  if (stride < kOverread || view.size.width < 2 || rows.begin >= rows.end) return std::nullopt;
  // Two rows more than the upper neighbours' are addressed, and a row's samples beyond the stride.
  constexpr std::int64_t kReachable = (std::int64_t{1} << 31) - kMaxVectorChannels * kFarthest - kOverread;
  const std::int64_t atOnce = kReachable / stride - 2;
  if (atOnce < 1) return std::nullopt;
  return VectorRows{rows.begin, rows.end, static_cast<int>(std::min<std::int64_t>(atOnce, rows.end - rows.begin))};
}

// How many output rows ahead neighbours are fetched. Less comes too late, and more does not stay in the cache.
constexpr float kRowsAhead = 4;

inline std::ptrdiff_t samplesAhead(const WarpJob &job) {
  const float *t = job.transform.coefficients;
  const auto steps = [](float slope) {
    return std::abs(slope) < 1000 ? static_cast<std::ptrdiff_t>(std::lrint(kRowsAhead * slope)) : 0;
  };
  return steps(t[4]) * job.source.rowStride + steps(t[1]) * job.source.channels;
}

template <class Sample, bool kPerspective, int kChannels>
struct VectorBlocks {
  const WarpJob &job;
  const VectorRows rows;
  const SampledFrame<Sample> source;
  const std::ptrdiff_t sourceStep;
  const ByteConstants<kChannels> forwards, backwards;
  WarpBlock block;

  VectorBlocks(const WarpJob &ofJob, const VectorRows &ofRows)
      : job(ofJob), rows(ofRows), source(sampledFrame<Sample>(ofJob.source)), sourceStep(samplesAhead(ofJob)),
        forwards(false), backwards(true) {}

  void warp(int firstColumn, int columns, float y, Sample *out) {
    const CoordinateBounds bounds = map(firstColumn, columns, y);
    block.slowCount = 0;
    if (isOutside(bounds)) {
      for (int i = 0; i < columns; ++i)
        warpPixel<kChannels>(source, block.x[i], block.y[i], out + i * kChannels);
      return;
    }
    const SourceWindow window = windowAt(block.y[columns / 2]);
    const bool coarse = bounds.minX >= kCoarseFrom;
    if (!window.holds(bounds))
      locateBlock<Sample, kChannels, false, false>(window, columns, block);
    else if (!coarse)
      locateBlock<Sample, kChannels, true, false>(window, columns, block);
    else
      locateBlock<Sample, kChannels, true, true>(window, columns, block);

    auto *samples = reinterpret_cast<Sample *>(block.samples);
    if (block.slowCount < columns) sample(window, coarse, columns, out);
    for (int k = 0; k < block.slowCount; ++k) {
      const int i = block.slow[k];
      std::copy_n(out + i * kChannels, kChannels, samples + i * kChannels); // a pixel outside keeps some of it
      warpPixel<kChannels>(source, block.x[i], block.y[i], samples + i * kChannels);
    }
    std::copy_n(samples, columns * kChannels, out);
  }

private:
  // Bounds that are no numbers where the coordinates have not been mapped by vectors.
  CoordinateBounds map(int firstColumn, int columns, float y) {
    constexpr float kNone = std::numeric_limits<float>::quiet_NaN();
    const float *t = job.transform.coefficients;
    const std::int64_t begin = std::int64_t{firstColumn} - job.offsetX;
    constexpr std::int64_t kWhole = 1 << 24; // whole numbers up to here are exact in single precision
    if (begin >= -kWhole && begin + kPaddedColumns <= kWhole) {
      const auto firstX = static_cast<float>(begin);
      if constexpr (!kPerspective) return mapAffineBlock(t, firstX, columns, y, block);
      CoordinateBounds bounds = {};
      if (kPerspective && mapPerspectiveBlock(t, firstX, columns, y, block, bounds)) return bounds;
    }
    mapPlainly<kPerspective>(job, firstColumn, columns, y, block);
    std::fill(block.x + columns, block.x + padded(columns), kNone);
    std::fill(block.y + columns, block.y + padded(columns), kNone);
    return {kNone, kNone, kNone, kNone};
  }

  bool isOutside(const CoordinateBounds &b) const {
    return b.maxX <= -1 || b.minX >= source.endX || b.maxY <= -1 || b.minY >= source.endY;
  }

  // As many rows as offsets reach, about the one given.
  SourceWindow windowAt(float y) const {
    int first = rows.begin;
    if (rows.atOnce < rows.end - rows.begin) {
      const float latest = static_cast<float>(rows.end - rows.atOnce);
      const float wanted = y - static_cast<float>(rows.atOnce / 2);
      if (wanted > static_cast<float>(first)) first = static_cast<int>(std::min(wanted, latest));
    }
    return {.firstRow = first,
            .stride = static_cast<std::uint32_t>(job.source.rowStride),
            .endX = static_cast<float>(std::min<std::int64_t>(job.source.size.width - 1, kFarthest)),
            .firstY = static_cast<float>(first),
            .endY = static_cast<float>(first + rows.atOnce)};
  }

  void sample(const SourceWindow &window, bool coarse, int columns, Sample *out) {
    const std::int64_t stride = job.source.rowStride;
    const Sample *first = source.samples + window.firstRow * stride;
    const FrameRows<Sample> frame = {
        .upper = first,
        .lower = first + stride,
        .lowest = static_cast<std::int32_t>(std::min<std::int64_t>((rows.atOnce - 1) * stride, 0)),
        .out = out,
        .sourceStep = sourceStep};
    if constexpr (sizeof(Sample) == 2) {
      sampleWords<kChannels>(frame, columns, block);
    } else {
      const bool back = block.x[columns - 1] < block.x[0];
      const ByteConstants<kChannels> &constants = back ? backwards : forwards;
      if (coarse)
        sampleBytes<kChannels, true>(frame, columns, constants, back, block);
      else
        sampleBytes<kChannels, false>(frame, columns, constants, back, block);
    }
  }
};

#endif

// Where a row of the output runs down the source, every one of its pixels lies in another line of the cache. The rows
// after it find those lines there only when a block of columns goes through some rows before the next block begins: as
// many as a line has pixels of three bytes, and as many lines as the nearest caches hold.
constexpr int kRowsOfSteep = 32;
constexpr float kSteep = 0.2f; // rows of the source a column of the output

inline int rowsAtATime(const WarpJob &job) {
  return std::abs(job.transform.coefficients[3]) > kSteep ? kRowsOfSteep : 1;
}

template <class Blocks, class Sample>
void warpRows(const WarpJob &job, RowBand rows, Blocks &blocks, Sample *out) {
  const std::int64_t rowSamples = std::int64_t{job.dstWidth} * job.source.channels;
  const std::int64_t atATime = rowsAtATime(job);
  for (std::int64_t begin = rows.begin; begin < rows.end; begin += atATime) {
    const std::int64_t end = std::min<std::int64_t>(begin + atATime, rows.end);
    for (std::int64_t column = 0; column < job.dstWidth; column += kBlockColumns) {
      const int first = static_cast<int>(column);
      const int columns = std::min(kBlockColumns, job.dstWidth - first);
      for (std::int64_t row = begin; row < end; ++row)
        blocks.warp(first, columns, shifted(static_cast<int>(row), job.offsetY),
                    out + (row - rows.begin) * rowSamples + column * job.source.channels);
    }
  }
}

template <class Sample, bool kPerspective, int kChannels>
void warpRowsOf(const WarpJob &job, RowBand rows, Sample *out) {
#if HWY_TARGET != HWY_SCALAR && HWY_TARGET != HWY_EMU128
  if constexpr (kChannels > 0 && (sizeof(Sample) == 1 || kWordVectors)) {
    if (const auto usable = vectorRows(job.source)) {
      VectorBlocks<Sample, kPerspective, kChannels> blocks(job, *usable);
      return warpRows(job, rows, blocks, out);
    }
  }
#endif
  PlainBlocks<Sample, kPerspective, kChannels> blocks(job);
  warpRows(job, rows, blocks, out);
}

template <class Sample, bool kPerspective>
void warpRowsOfChannels(const WarpJob &job, RowBand rows, Sample *out) {
  switch (job.source.channels) {
  case 1:
    return warpRowsOf<Sample, kPerspective, 1>(job, rows, out);
  case 2:
    return warpRowsOf<Sample, kPerspective, 2>(job, rows, out);
  case 3:
    return warpRowsOf<Sample, kPerspective, 3>(job, rows, out);
  case 4:
    return warpRowsOf<Sample, kPerspective, 4>(job, rows, out);
  default:
    return warpRowsOf<Sample, kPerspective, 0>(job, rows, out);
  }
}

template <class Sample>
void warpRowsOfSamples(const WarpJob &job, RowBand rows, void *dst) {
  auto *out = static_cast<Sample *>(dst);
  if (job.transform.perspective) return warpRowsOfChannels<Sample, true>(job, rows, out);
  warpRowsOfChannels<Sample, false>(job, rows, out);
}

void warpAnyBand(const WarpJob &job, RowBand rows, void *dst) {
  if (job.source.depth == SampleDepth::U8) return warpRowsOfSamples<std::uint8_t>(job, rows, dst);
  warpRowsOfSamples<std::uint16_t>(job, rows, dst);
}

} // namespace
} // namespace vindrel::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace vindrel {

HWY_EXPORT(warpAnyBand);

void warpBand(const WarpJob &job, RowBand rows, void *dst) {
  HWY_DYNAMIC_DISPATCH(warpAnyBand)(job, rows, dst);
}

void *outputRow(const WarpJob &job, void *dst, std::int64_t row) {
  return static_cast<std::byte *>(dst) +
         bytesPerSample(job.source.depth) * static_cast<std::int64_t>(job.source.channels) * job.dstWidth * row;
}

} // namespace vindrel
#endif
