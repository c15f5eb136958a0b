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

[[maybe_unused]] const int registered = [] {
  for (const int channels : {1, 3, 4}) {
    const std::string count = std::to_string(channels);
    registerForEveryTarget("grey/8bit/channels:" + count,
                           [=](benchmark::State &state) { greyOfTile<std::uint8_t>(state, channels); });
    registerForEveryTarget("grey/16bit/channels:" + count,
                           [=](benchmark::State &state) { greyOfTile<std::uint16_t>(state, channels); });
  }
  return 0;
}();

} // namespace
} // namespace vindrel::bench
