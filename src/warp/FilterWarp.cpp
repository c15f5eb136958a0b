#include "warp/FilterWarp.h"

#include "warp/RowThreads.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <numbers>

namespace vindrel {
namespace {

constexpr int kMostTaps = 6;
using Weights = std::array<float, kMostTaps>;

// What a filter is to the loop below: how many samples it takes along an axis, the first of them taps / 2 - 1 before
// the one to the left of the point, and their weights for a point `fraction` to the right of that one.
struct LinearTaps {
  static constexpr int kTaps = 2;
  static void weigh(double fraction, Weights &weights) {
    weights[0] = static_cast<float>(1 - fraction);
    weights[1] = static_cast<float>(fraction);
  }
};

struct CubicTaps {
  static constexpr int kTaps = 4;
  static void weigh(double f, Weights &weights) {
    weights[0] = static_cast<float>(((-0.5 * f + 1) * f - 0.5) * f);
    weights[1] = static_cast<float>((1.5 * f - 2.5) * f * f + 1);
    weights[2] = static_cast<float>(((-1.5 * f + 2) * f + 0.5) * f);
    weights[3] = static_cast<float>((0.5 * f - 0.5) * f * f);
  }
};

struct LanczosTaps {
  static constexpr int kTaps = 6;
  // At a distance t from the point a sample weighs sin(pi t) sin(pi t / 3) / t^2, up to a common factor. Neighbouring
  // distances differ by one: the first sine only changes sign, the second turns by 60 degrees.
  static void weigh(double f, Weights &weights) {
    if (f == 0) {
      weights = {0, 0, 1, 0, 0, 0};
      return;
    }
    constexpr double kThird = std::numbers::pi / 3;
    const double sine = std::sin(kThird * f), cosine = std::cos(kThird * f);
    constexpr double kHalf = 0.5;
    const double root = 0.5 * std::numbers::sqrt3;
    // sin(pi / 3 (f - k)) for k = 1 and 2; three sixths of a turn only change the sign.
    const double less = kHalf * sine - root * cosine, lesser = -kHalf * sine - root * cosine;
    const std::array<double, kTaps> turned = {-less, -lesser, sine, less, lesser, -sine};
    std::array<double, kTaps> values;
    double sum = 0;
    for (int k = 0; k < kTaps; ++k) {
      const double t = f - (k - 2);
      values[static_cast<std::size_t>(k)] = (k % 2 == 0 ? 1 : -1) * turned[static_cast<std::size_t>(k)] / (t * t);
      sum += values[static_cast<std::size_t>(k)];
    }
    for (std::size_t k = 0; k < kTaps; ++k)
      weights[k] = static_cast<float>(values[k] / sum);
  }
};

template <class Sample>
Sample rounded(float value) {
  if constexpr (std::is_floating_point_v<Sample>) {
    return value;
  } else {
    constexpr float kWhite = static_cast<float>(std::numeric_limits<Sample>::max());
    // The half is added in double precision: in single precision 0.49999997 + 0.5 would round to 1.
    return static_cast<Sample>(static_cast<double>(std::clamp(value, 0.0f, kWhite)) + 0.5);
  }
}

template <class Sample>
constexpr Sample white() {
  if constexpr (std::is_floating_point_v<Sample>) {
    return 1;
  } else {
    return std::numeric_limits<Sample>::max();
  }
}

// Where an output pixel lies in the source; not a number on and behind the horizon.
struct Projector {
  const Mat33 &m;
  PointD operator()(double x, double y) const {
    const double w = m[6] * x + m[7] * y + m[8];
    if (!(w > 0)) return {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::quiet_NaN()};
    return {(m[0] * x + m[1] * y + m[2]) / w, (m[3] * x + m[4] * y + m[5]) / w};
  }
};

template <class Taps, class Sample, int kChannels>
void samplePixel(const ImageView &source, PointD at, Sample *out) {
  const double left = std::floor(at.x), top = std::floor(at.y);
  Weights across, down;
  Taps::weigh(at.x - left, across);
  Taps::weigh(at.y - top, down);
  const int firstColumn = static_cast<int>(left) - (Taps::kTaps / 2 - 1);
  const int firstRow = static_cast<int>(top) - (Taps::kTaps / 2 - 1);
  const bool whole = firstColumn >= 0 && firstColumn + Taps::kTaps <= source.size.width;
  std::array<std::int64_t, Taps::kTaps> columns; // offsets in samples
  for (int i = 0; i < Taps::kTaps; ++i)
    columns[static_cast<std::size_t>(i)] =
        static_cast<std::int64_t>(whole ? firstColumn + i : std::clamp(firstColumn + i, 0, source.size.width - 1)) *
        kChannels;
  std::array<float, kChannels> sum{};
  for (std::size_t j = 0; j < Taps::kTaps; ++j) {
    const Sample *row = source.row<Sample>(std::clamp(firstRow + static_cast<int>(j), 0, source.size.height - 1));
    std::array<float, kChannels> rowSum{};
    for (std::size_t i = 0; i < Taps::kTaps; ++i)
      for (std::size_t c = 0; c < kChannels; ++c)
        rowSum[c] += across[i] * static_cast<float>(row[columns[i] + static_cast<std::int64_t>(c)]);
    for (std::size_t c = 0; c < kChannels; ++c)
      sum[c] += down[j] * rowSum[c];
  }
  for (std::size_t c = 0; c < kChannels; ++c)
    out[c] = rounded<Sample>(sum[c]);
}

template <class Taps, class Sample, int kChannels>
void filterRows(const FilterJob &job, RowBand rows) {
  const Projector project{job.sourceFromOutput};
  const double width = job.source.size.width, height = job.source.size.height;
  for (int y = rows.begin; y < rows.end; ++y) {
    Sample *out = job.out.row<Sample>(y);
    for (int x = 0; x < job.out.size.width; ++x, out += kChannels) {
      const PointD at = project(static_cast<double>(x) + job.originX, static_cast<double>(y) + job.originY);
      if (at.x > -1 && at.x < width && at.y > -1 && at.y < height) {
        samplePixel<Taps, Sample, kChannels>(job.source, at, out);
      } else {
        std::fill_n(out, kChannels, white<Sample>());
      }
    }
  }
}

template <class Sample, int kChannels>
void copyNearest(const FilterJob &job, RowBand rows) {
  const Projector project{job.sourceFromOutput};
  const double width = job.source.size.width, height = job.source.size.height;
  for (int y = rows.begin; y < rows.end; ++y) {
    Sample *out = job.out.row<Sample>(y);
    for (int x = 0; x < job.out.size.width; ++x, out += kChannels) {
      const PointD at = project(static_cast<double>(x) + job.originX, static_cast<double>(y) + job.originY);
      const double column = std::floor(at.x + 0.5), row = std::floor(at.y + 0.5);
      if (column >= 0 && column < width && row >= 0 && row < height) {
        std::copy_n(job.source.row<Sample>(static_cast<int>(row)) + static_cast<std::int64_t>(column) * kChannels,
                    kChannels, out);
      } else {
        std::fill_n(out, kChannels, white<Sample>());
      }
    }
  }
}

template <class Sample, int kChannels>
void filterSamples(const FilterJob &job, RowBand rows) {
  switch (job.filter) {
  case Resampling::Nearest:
    return copyNearest<Sample, kChannels>(job, rows);
  case Resampling::Linear:
    return filterRows<LinearTaps, Sample, kChannels>(job, rows);
  case Resampling::Cubic:
    return filterRows<CubicTaps, Sample, kChannels>(job, rows);
  case Resampling::Lanczos3:
    return filterRows<LanczosTaps, Sample, kChannels>(job, rows);
  }
}

template <class Sample>
void filterChannels(const FilterJob &job, RowBand rows) {
  switch (job.source.channels) {
  case 1:
    return filterSamples<Sample, 1>(job, rows);
  case 2:
    return filterSamples<Sample, 2>(job, rows);
  case 3:
    return filterSamples<Sample, 3>(job, rows);
  default:
    return filterSamples<Sample, 4>(job, rows);
  }
}

} // namespace

void filterBand(const FilterJob &job, RowBand rows) {
  switch (job.source.depth) {
  case SampleDepth::U8:
    return filterChannels<std::uint8_t>(job, rows);
  case SampleDepth::U16:
    return filterChannels<std::uint16_t>(job, rows);
  case SampleDepth::F32:
    return filterChannels<float>(job, rows);
  }
}

void filterOnThreads(const FilterJob &job, int threads) {
  forEachStrip(
      job.out.size.height, threads,
      [](const void *state, RowBand rows) { filterBand(*static_cast<const FilterJob *>(state), rows); }, &job);
}

} // namespace vindrel
