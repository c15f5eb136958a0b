#include "Proxy.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <utility>
#include <vector>

namespace vindrel::cli {
namespace {

constexpr double kMiddleGrey = 0.18;
constexpr double kMostStopsKept = 0.75; // up or down, of however many stops from middle grey
constexpr double kStopsBent = 12;       // within so many stops, what is kept is nearly in proportion: a sixteenth
constexpr double kClippedShare = 0.02;  // of the pixels
constexpr double kMostStopsLowered = 2; // for the sake of the brightest

// Luminances are counted in eighths of a stop over all that floats can hold.
constexpr int kBinsAStop = 8;
constexpr int kLowestStop = -150;
constexpr int kHighestStop = 128;
constexpr int kBins = (kHighestStop - kLowestStop) * kBinsAStop;

constexpr int kLevels = 65536;

int colourChannels(int channels) {
  return channels < 3 ? 1 : 3;
}

// With the weights of Rec. 709; 0 for what is no light.
float luminance(const float *pixel, int colours) {
  const float value = colours == 1 ? pixel[0] : 0.2126f * pixel[0] + 0.7152f * pixel[1] + 0.0722f * pixel[2];
  return value > 0 && value <= std::numeric_limits<float>::max() ? value : 0.0f;
}

struct Luminances {
  std::array<std::int64_t, kBins> counts = {};
  std::int64_t total = 0;
  double logSum = 0; // binary logarithms
};

Luminances countLuminances(const ImageView &linear) {
  Luminances result;
  const int colours = colourChannels(linear.channels);
  for (int y = 0; y < linear.size.height; ++y) {
    const float *pixel = linear.row<float>(y);
    for (int x = 0; x < linear.size.width; ++x, pixel += linear.channels) {
      const float value = luminance(pixel, colours);
      if (value <= 0) continue;
      const double stops = std::log2(static_cast<double>(value));
      const int bin = static_cast<int>((stops - kLowestStop) * kBinsAStop);
      ++result.counts[static_cast<std::size_t>(std::clamp(bin, 0, kBins - 1))];
      ++result.total;
      result.logSum += stops;
    }
  }
  return result;
}

// The luminance, in stops, that no more than the share of the pixels exceeds.
double brightStops(const Luminances &luminances) {
  const auto allowed = static_cast<std::int64_t>(kClippedShare * static_cast<double>(luminances.total));
  std::int64_t above = 0;
  for (int bin = kBins - 1; bin >= 0; --bin) {
    above += luminances.counts[static_cast<std::size_t>(bin)];
    if (above > allowed) return kLowestStop + static_cast<double>(bin + 1) / kBinsAStop;
  }
  return kLowestStop;
}

// Of the linear values 0 to 65535, on the same scale. In the darkest part, where the curve is steepest, neighbours are
// 13 levels of 65536 apart: a twentieth of a level of 8 bits.
std::vector<std::uint16_t> srgbTable() {
  std::vector<std::uint16_t> table(kLevels);
  for (int i = 0; i < kLevels; ++i) {
    const double linear = static_cast<double>(i) / (kLevels - 1);
    const double shown = linear <= 0.0031308 ? 12.92 * linear : 1.055 * std::pow(linear, 1 / 2.4) - 0.055;
    table[static_cast<std::size_t>(i)] = static_cast<std::uint16_t>(std::lround(shown * (kLevels - 1)));
  }
  return table;
}

} // namespace

double proxyExposure(const ImageView &linear) {
  const Luminances luminances = countLuminances(linear);
  if (luminances.total == 0) return 1;
  const double mean = luminances.logSum / static_cast<double>(luminances.total);
  const double middle = std::log2(kMiddleGrey);
  // Lowered as the brightest that is kept would need it, so that frames of one scene are lowered alike.
  const double clipped = brightStops(luminances) + middle - mean + kMostStopsKept; // above 0: white is exceeded
  const double stops = middle - mean + kMostStopsKept * std::tanh((mean - middle) / kStopsBent) -
                       std::clamp(clipped, 0.0, kMostStopsLowered);
  return std::exp2(stops);
}

Pixels displayProxy(const ImageView &linear) {
  static const std::vector<std::uint16_t> table = srgbTable();
  const int colours = colourChannels(linear.channels);
  const double scale = proxyExposure(linear) * (kLevels - 1);
  Pixels proxy(linear.size, colours, SampleDepth::U16);
  const MutableImageView out = proxy.mutableView();
  for (int y = 0; y < linear.size.height; ++y) {
    const float *pixel = linear.row<float>(y);
    auto *shown = out.row<std::uint16_t>(y);
    for (int x = 0; x < linear.size.width; ++x, pixel += linear.channels, shown += colours) {
      for (int c = 0; c < colours; ++c) {
        const double level = static_cast<double>(pixel[c]) * scale + 0.5;
        // What is no number fails the first test.
        shown[c] = table[!(level >= 1) ? 0 : level >= kLevels ? kLevels - 1 : static_cast<std::size_t>(level)];
      }
    }
  }
  return proxy;
}

Pixels readForSearch(const ImageHeader &photo) {
  Pixels pixels = readPixels(photo);
  return photo.depth == SampleDepth::F32 ? displayProxy(pixels.view()) : std::move(pixels);
}

} // namespace vindrel::cli
