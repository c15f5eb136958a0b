// The brightness sum of a frame of 12 megapixels, in pixels a second.
#include "driver/Brightness.h"
#include "reference/Brightness.h"
#include "support/RegisterForEveryTarget.h"

#include <random>
#include <vector>

namespace vindrel::bench {
namespace {

constexpr Size kFrame = {4000, 3000};

template <class Sample>
void sumOfFrame(benchmark::State &state, int channels) {
  std::mt19937 random(1);
  const std::int64_t count = packedSamples(kFrame, channels);
  std::vector<Sample> samples(static_cast<std::size_t>(count));
  for (Sample &sample : samples)
    sample = static_cast<Sample>(random() >> 7);
  const ImageView frame = {.samples = samples.data(),
                           .size = kFrame,
                           .channels = channels,
                           .rowStride = std::int64_t{kFrame.width} * channels,
                           .depth = sizeof(Sample) == 1 ? SampleDepth::U8 : SampleDepth::U16};
  std::int64_t sum = 0;
  for (auto _ : state)
    benchmark::DoNotOptimize(sum = sumBrightness(frame, kThreeConsecutiveSamples, count));
  if (sum != reference::brightnessSum(samples.data(), packedSamples(kFrame, 1), channels, count))
    state.SkipWithError("wrong answer");
  state.counters["pixels/s"] =
      benchmark::Counter(static_cast<double>(state.iterations()) * static_cast<double>(packedSamples(kFrame, 1)),
                         benchmark::Counter::kIsRate);
}

[[maybe_unused]] const int registered = [] {
  for (const int channels : {1, 3, 4}) {
    const std::string count = std::to_string(channels);
    registerForEveryTarget("brightness/8bit/channels:" + count,
                           [=](benchmark::State &state) { sumOfFrame<std::uint8_t>(state, channels); });
    registerForEveryTarget("brightness/16bit/channels:" + count,
                           [=](benchmark::State &state) { sumOfFrame<std::uint16_t>(state, channels); });
  }
  return 0;
}();

} // namespace
} // namespace vindrel::bench
