// The warp of a frame that the caches do not hold, in output pixels a second. Values of random samples come close to a
// rounding step as often as they can, and what does goes pixel by pixel.
#include "warp/Warp.h"

#include "reference/Warp.h"
#include "support/RegisterForEveryTarget.h"

#include <cmath>
#include <random>
#include <string>
#include <vector>

namespace vindrel::bench {
namespace {

constexpr Size kFrame = {2400, 1200};

struct Turn {
  const char *name;
  float degrees;
};

constexpr int kMostChannels = 4;

template <class Sample>
std::vector<Sample> noise(std::size_t count) {
  std::mt19937 random(1);
  std::vector<Sample> samples(count);
  for (Sample &sample : samples)
    sample = static_cast<Sample>(random() >> 7);
  return samples;
}

template <class Sample>
void warpOfFrame(benchmark::State &state, int channels, bool perspective, float degrees) {
  static const std::vector<Sample> source =
      noise<Sample>(static_cast<std::size_t>(packedSamples(kFrame, kMostChannels)));
  std::vector<Sample> warped(static_cast<std::size_t>(packedSamples(kFrame, channels)));
  // About the middle.
  const float angle = degrees * 0.017453293f, a = std::cos(angle), b = -std::sin(angle);
  const float middleX = kFrame.width / 2.0f, middleY = kFrame.height / 2.0f;
  const float transform[8] = {
      a, b, middleX - a * middleX - b * middleY, -b, a, middleY + b * middleX - a * middleY, 0.1f, 0.2f};
  const std::int64_t stride = std::int64_t{kFrame.width} * channels;
  const WarpJob job = {.source = {.samples = source.data(),
                                  .size = kFrame,
                                  .channels = channels,
                                  .rowStride = stride,
                                  .depth = sizeof(Sample) == 1 ? SampleDepth::U8 : SampleDepth::U16},
                       .dstWidth = kFrame.width,
                       .transform = {perspective, transform}};
  for (auto _ : state) {
    warpBand(job, {0, kFrame.height}, warped.data());
    benchmark::ClobberMemory();
  }
  const reference::Warp<Sample> definition = {
      source.data(), kFrame.width, kFrame.height, stride, channels, kFrame.width, 0, 0, perspective, transform};
  // The definition takes its time: a few rows stand for all.
  std::vector<Sample> expected(static_cast<std::size_t>(stride));
  for (int row = 0; row < kFrame.height; row += 97) {
    const auto *produced = warped.data() + row * stride;
    std::copy(produced, produced + stride, expected.begin()); // a pixel outside keeps some of what was there
    reference::warpRows(definition, row, row + 1, expected.data());
    if (!std::equal(expected.begin(), expected.end(), produced)) state.SkipWithError("wrong answer");
  }
  state.counters["pixels/s"] =
      benchmark::Counter(static_cast<double>(state.iterations()) * static_cast<double>(packedSamples(kFrame, 1)),
                         benchmark::Counter::kIsRate);
}

[[maybe_unused]] const int registered = [] {
  constexpr Turn kTurns[] = {{"level", 0.0f}, {"1degree", 1.0f}, {"30degrees", 30.0f}};
  for (const bool perspective : {false, true})
    for (const int channels : {1, 3, kMostChannels})
      for (const Turn &turn : kTurns) {
        if (turn.degrees != 1.0f && channels != 3) continue;
        const std::string kind = std::string(perspective ? "perspective/" : "affine/");
        const std::string rest = "/channels:" + std::to_string(channels) + "/" + turn.name;
        registerForEveryTarget("warp/" + kind + "8bit" + rest, [=](benchmark::State &state) {
          warpOfFrame<std::uint8_t>(state, channels, perspective, turn.degrees);
        });
        registerForEveryTarget("warp/" + kind + "16bit" + rest, [=](benchmark::State &state) {
          warpOfFrame<std::uint16_t>(state, channels, perspective, turn.degrees);
        });
      }
  return 0;
}();

} // namespace
} // namespace vindrel::bench
