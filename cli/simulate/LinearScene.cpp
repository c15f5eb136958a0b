#include "simulate/LinearScene.h"

#include "simulate/ToneCurve.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>

#include <omp.h>

namespace vindrel {
namespace {

constexpr int kLanes = LinearScene::kLanes;

// Luminance weights of the sRGB primaries (ITU-R BT.709).
constexpr float kLumaRed = 0.2126f;
constexpr float kLumaGreen = 0.7152f;
constexpr float kLumaBlue = 0.0722f;

// The share of the scene that stays below white in the longest exposure, and above kDarkLight in the shortest, of a
// bracket whose photographer chose its span for the scene.
constexpr double kVisibleShare = 0.2;

// Light that still shows detail, as a share of saturation: six stops below white.
constexpr double kDarkLight = 1.0 / 64.0;

// Contrast beyond which the 8-bit steps of the photograph would themselves become the strongest features.
constexpr double kMaxContrast = 3.0;

// Stops to the median below which part of a photograph is flat: no contrast makes anything of it.
constexpr double kFlatStops = 0.1;

float luminance(const float *pixel) {
  return kLumaRed * pixel[0] + kLumaGreen * pixel[1] + kLumaBlue * pixel[2];
}

// Luminances counted by their binary logarithm, in steps of 1/64 stop from kLowest to kHighest stops.
class StopHistogram {
public:
  explicit StopHistogram(const LinearScene &scene) {
    const std::size_t pixels = scene.light.size() / kLanes;
    for (std::size_t i = 0; i < pixels; ++i) {
      const float light = luminance(scene.light.data() + i * kLanes);
      const float stops = light > 0 ? std::log2(light) : kLowest;
      const float bin = (std::clamp(stops, kLowest, kHighest) - kLowest) * kBinsPerStop;
      ++counts_[static_cast<std::size_t>(bin)];
    }
    total_ = pixels;
  }

  // The luminance, in stops, that the given share of the pixels does not exceed.
  double quantile(double share) const {
    const double wanted = share * static_cast<double>(total_);
    double seen = 0;
    for (std::size_t bin = 0; bin < counts_.size(); ++bin) {
      seen += static_cast<double>(counts_[bin]);
      if (seen >= wanted) return kLowest + (static_cast<double>(bin) + 0.5) / kBinsPerStop;
    }
    return kHighest;
  }

private:
  static constexpr float kLowest = -20; // below one step of a 16-bit photograph in linear light
  static constexpr float kHighest = 1;
  static constexpr float kBinsPerStop = 64;
  std::array<std::uint64_t, static_cast<std::size_t>((kHighest - kLowest) * kBinsPerStop) + 1> counts_ = {};
  std::uint64_t total_ = 0;
};

// The sources that one output row or column averages: [first, first + weights) with their shares, which sum to 1.
struct Span {
  int first = 0;
  std::vector<float> shares;
};

std::vector<Span> averagingSpans(int from, int to) {
  std::vector<Span> spans(static_cast<std::size_t>(to));
  const double step = static_cast<double>(from) / to;
  for (int i = 0; i < to; ++i) {
    const double begin = i * step;
    const double end = std::min((i + 1) * step, static_cast<double>(from));
    Span &span = spans[static_cast<std::size_t>(i)];
    span.first = static_cast<int>(begin);
    for (int k = span.first; k < from && k < end; ++k) {
      const double share = (std::min(end, k + 1.0) - std::max(begin, static_cast<double>(k))) / (end - begin);
      span.shares.push_back(static_cast<float>(share));
    }
  }
  return spans;
}

template <class Sample>
void lineariseRow(const ImageView &photograph, int y, const std::vector<float> &curve, float *out) {
  const Sample *samples = photograph.row<Sample>(y);
  const int channels = photograph.channels;
  const int green = channels < 3 ? 0 : 1;
  const int blue = channels < 3 ? 0 : 2;
  for (int x = 0; x < photograph.size.width; ++x, samples += channels, out += kLanes) {
    out[0] = curve[samples[0]];
    out[1] = curve[samples[green]];
    out[2] = curve[samples[blue]];
    out[3] = 0;
  }
}

} // namespace

Size reducedSize(Size photograph, double pixels) {
  const double full = static_cast<double>(photograph.width) * photograph.height;
  if (!(pixels > 0) || pixels >= full) return photograph;
  const double factor = std::sqrt(pixels / full);
  return {std::max(1, static_cast<int>(photograph.width * factor)),
          std::max(1, static_cast<int>(photograph.height * factor))};
}

LinearScene linearScene(const ImageView &photograph, Size size) {
  const auto codes = static_cast<std::size_t>(maxSample(photograph.depth)) + 1;
  std::vector<float> curve(codes);
  for (std::size_t code = 0; code < codes; ++code)
    curve[code] = static_cast<float>(linearFromSrgb(static_cast<double>(code) / static_cast<double>(codes - 1)));

  LinearScene scene;
  scene.size = size;
  scene.light.assign(static_cast<std::size_t>(packedSamples(size, kLanes)), 0.0f);
  const std::vector<Span> columns = averagingSpans(photograph.size.width, size.width);
  const std::vector<Span> rows = averagingSpans(photograph.size.height, size.height);
  const std::size_t photographRow = static_cast<std::size_t>(photograph.size.width) * kLanes;
  const std::size_t sceneRow = static_cast<std::size_t>(size.width) * kLanes;

  // For each thread one source row and the average of the source rows of one output row. Allocated here because
  // nothing may throw out of the parallel region.
  const int threads = omp_get_max_threads();
  std::vector<float> scratch(2 * photographRow * static_cast<std::size_t>(threads));

#pragma omp parallel num_threads(threads)
  {
    float *const linear = scratch.data() + 2 * photographRow * static_cast<std::size_t>(omp_get_thread_num());
    float *const column = linear + photographRow;
#pragma omp for schedule(static)
    for (int y = 0; y < size.height; ++y) {
      const Span &span = rows[static_cast<std::size_t>(y)];
      std::fill(column, column + photographRow, 0.0f);
      for (std::size_t k = 0; k < span.shares.size(); ++k) {
        const int sourceY = span.first + static_cast<int>(k);
        if (photograph.depth == SampleDepth::U8)
          lineariseRow<std::uint8_t>(photograph, sourceY, curve, linear);
        else
          lineariseRow<std::uint16_t>(photograph, sourceY, curve, linear);
        const float share = span.shares[k];
        for (std::size_t i = 0; i < photographRow; ++i)
          column[i] += share * linear[i];
      }
      float *out = scene.light.data() + static_cast<std::size_t>(y) * sceneRow;
      for (const Span &across : columns) {
        const float *in = column + static_cast<std::size_t>(across.first) * kLanes;
        for (const float share : across.shares) {
          for (int lane = 0; lane < kLanes; ++lane)
            out[lane] += share * in[lane];
          in += kLanes;
        }
        out += kLanes;
      }
    }
  }
  return scene;
}

double contrastForBracket(const LinearScene &scene, double evSpan) {
  const StopHistogram histogram(scene);
  const double median = histogram.quantile(0.5);
  const double dark = median - histogram.quantile(kVisibleShare);         // stops below the median
  const double bright = histogram.quantile(1.0 - kVisibleShare) - median; // stops above it
  const double half = evSpan / 2;
  // By how many stops the dark part must lie below the median to stay below white in the longest exposure, and the
  // bright part above it to show in the shortest. Never more than the bracket goes either way: what the photograph
  // itself hides, the bracket need not show.
  const double darkNeeded = half + std::min(0.0, median);
  const double brightNeeded = half + std::min(0.0, std::log2(kDarkLight) - median);
  double exponent = 1;
  if (dark > kFlatStops) exponent = std::max(exponent, darkNeeded / dark);
  if (bright > kFlatStops) exponent = std::max(exponent, brightNeeded / bright);
  return std::min(exponent, kMaxContrast);
}

void expandContrast(LinearScene &scene, double exponent) {
  if (exponent == 1) return;
  const auto median = static_cast<float>(std::exp2(StopHistogram(scene).quantile(0.5)));
  const auto power = static_cast<float>(exponent - 1);
  const auto pixels = static_cast<std::int64_t>(scene.light.size() / kLanes);
#pragma omp parallel for schedule(static)
  for (std::int64_t i = 0; i < pixels; ++i) {
    float *pixel = scene.light.data() + i * kLanes;
    const float light = luminance(pixel);
    const float gain = light > 0 ? std::pow(light / median, power) : 0.0f;
    for (int lane = 0; lane < 3; ++lane)
      pixel[lane] *= gain;
  }
}

} // namespace vindrel
