// Grey conversion of a detection tile, in pixels a second.
#include "features/GreyImage.h"
#include "reference/GreyImage.h"
#include "support/RegisterForEveryTarget.h"

#include <random>
#include <vector>

namespace vindrel::bench {
namespace {

constexpr Size kTile = {1024, 1024};

template <class Sample>
void greyOfTile(benchmark::State &state, int channels) {
  std::mt19937 random(1);
  std::vector<Sample> samples(static_cast<std::size_t>(packedSamples(kTile, channels)));
  for (Sample &sample : samples)
    sample = static_cast<Sample>(random() >> 7);
  std::vector<std::uint8_t> grey(static_cast<std::size_t>(packedSamples(kTile, 1)));
  const ImageView image = {.samples = samples.data(),
                           .size = kTile,
                           .channels = channels,
                           .rowStride = std::int64_t{kTile.width} * channels,
                           .depth = sizeof(Sample) == 1 ? SampleDepth::U8 : SampleDepth::U16};
  for (auto _ : state) {
    convertToGrey(image, grey.data());
    benchmark::ClobberMemory();
  }
  if (grey != reference::grey(samples, kTile.width, kTile.height, channels)) state.SkipWithError("wrong answer");
  state.counters["pixels/s"] =
      benchmark::Counter(static_cast<double>(state.iterations()) * static_cast<double>(packedSamples(kTile, 1)),
                         benchmark::Counter::kIsRate);
}

// Tile after tile of a frame that no cache holds, as the alignment of a stack meets them.
void greyOfTilesOfAFrame(benchmark::State &state) {
  constexpr Size kFrame = {6 * kTile.width, 4 * kTile.height};
  constexpr int kTiles = 24;
  static const std::vector<std::uint8_t> frame = [] {
    std::mt19937 random(2);
    std::vector<std::uint8_t> samples(static_cast<std::size_t>(packedSamples(kFrame, 3)));
    for (std::uint8_t &sample : samples)
      sample = static_cast<std::uint8_t>(random() >> 7);
    return samples;
  }();
  const auto firstSample = [](int tile) {
    return (std::ptrdiff_t{tile / 6} * kTile.height * kFrame.width + std::ptrdiff_t{tile % 6} * kTile.width) * 3;
  };
  std::vector<std::uint8_t> grey(static_cast<std::size_t>(packedSamples(kTile, 1)));
  int tile = kTiles - 1;
  for (auto _ : state) {
    tile = (tile + 1) % kTiles;
    convertToGrey({.samples = frame.data() + firstSample(tile),
                   .size = kTile,
                   .channels = 3,
                   .rowStride = std::int64_t{kFrame.width} * 3,
                   .depth = SampleDepth::U8},
                  grey.data());
    benchmark::ClobberMemory();
  }
  std::vector<std::uint8_t> samples;
  for (int y = 0; y < kTile.height; ++y) {
    const auto row = frame.begin() + firstSample(tile) + std::ptrdiff_t{y} * kFrame.width * 3;
    samples.insert(samples.end(), row, row + kTile.width * 3);
  }
  if (grey != reference::grey(samples, kTile.width, kTile.height, 3)) state.SkipWithError("wrong answer");
  state.counters["pixels/s"] =
      benchmark::Counter(static_cast<double>(state.iterations()) * static_cast<double>(packedSamples(kTile, 1)),
                         benchmark::Counter::kIsRate);
}

[[maybe_unused]] const int registered = [] {
  for (const int channels : {1, 3, 4}) {
    const std::string count = std::to_string(channels);
    registerForEveryTarget("grey/8bit/channels:" + count,
                           [=](benchmark::State &state) { greyOfTile<std::uint8_t>(state, channels); });
    registerForEveryTarget("grey/16bit/channels:" + count,
                           [=](benchmark::State &state) { greyOfTile<std::uint16_t>(state, channels); });
  }
  registerForEveryTarget("grey/tiles of a frame", greyOfTilesOfAFrame);
  return 0;
}();

} // namespace
} // namespace vindrel::bench
