// The kernels of the translation search on a frame of 12 megapixels, in pixels a second.
#include "reference/Bitmaps.h"
#include "support/RegisterForEveryTarget.h"
#include "translate/BitmapPyramid.h"
#include "translate/GreyKernel.h"
#include "translate/ReduceKernel.h"
#include "translate/ShiftTrialsKernel.h"

#include <random>
#include <vector>

namespace vindrel::bench {
namespace {

constexpr Size kFrame = {4000, 3000};
constexpr int kThreshold = 127;
constexpr int kCheckedRow = 1234;
constexpr int kCheckedRows = 40; // of the bitmaps, which take the definition long to compare

const std::vector<std::uint8_t> &randomBytes() {
  static const std::vector<std::uint8_t> bytes = [] {
    std::mt19937 random(1);
    std::vector<std::uint8_t> made(static_cast<std::size_t>(packedSamples(kFrame, 4)) * 2);
    for (std::uint8_t &byte : made)
      byte = static_cast<std::uint8_t>(random() >> 7);
    return made;
  }();
  return bytes;
}

void countPixels(benchmark::State &state) {
  state.counters["pixels/s"] =
      benchmark::Counter(static_cast<double>(state.iterations()) * static_cast<double>(packedSamples(kFrame, 1)),
                         benchmark::Counter::kIsRate);
}

template <class Sample>
void greyOfFrame(benchmark::State &state, int channels) {
  const auto *samples = reinterpret_cast<const Sample *>(randomBytes().data());
  std::vector<std::uint8_t> grey(static_cast<std::size_t>(packedSamples(kFrame, 1)));
  const std::ptrdiff_t width = kFrame.width;
  for (auto _ : state) {
    for (std::ptrdiff_t y = 0; y < kFrame.height; ++y)
      greyOfFirstThree(samples + y * width * channels, kFrame.width, channels, grey.data() + y * width);
    benchmark::ClobberMemory();
  }
  for (std::ptrdiff_t x = kCheckedRow * width; x < (kCheckedRow + 1) * width; ++x)
    if (grey[static_cast<std::size_t>(x)] != reference::greyOfPixel(samples + x * channels, channels))
      state.SkipWithError("wrong answer");
  countPixels(state);
}

void countGrey(benchmark::State &state) {
  std::uint32_t histogram[256] = {};
  for (auto _ : state) {
    GreyCounter counter;
    for (std::ptrdiff_t y = 0; y < kFrame.height; ++y)
      counter.add(randomBytes().data() + y * kFrame.width, kFrame.width);
    std::fill_n(histogram, 256, 0U);
    counter.addTo(histogram);
    benchmark::DoNotOptimize(histogram);
  }
  std::uint32_t expected[256] = {};
  for (std::size_t i = 0; i < static_cast<std::size_t>(packedSamples(kFrame, 1)); ++i)
    ++expected[randomBytes()[i]];
  if (!std::equal(histogram, histogram + 256, expected)) state.SkipWithError("wrong answer");
  countPixels(state);
}

reference::Plane planeOf(const std::uint8_t *grey, int rows) {
  return {kFrame.width, rows, std::vector<int>(grey, grey + static_cast<std::ptrdiff_t>(rows) * kFrame.width)};
}

void reduceFrame(benchmark::State &state) {
  std::vector<std::uint8_t> out(static_cast<std::size_t>(packedSamples(halved(kFrame), 1)));
  for (auto _ : state) {
    reduceGrey(randomBytes().data(), kFrame, out.data());
    benchmark::ClobberMemory();
  }
  const reference::Plane expected = reference::reduced(planeOf(randomBytes().data(), kCheckedRows));
  // The last of these rows is a last row of the definition only.
  if (!std::equal(expected.values.begin(), expected.values.end() - kFrame.width / 2, out.begin()))
    state.SkipWithError("wrong answer");
  countPixels(state);
}

std::vector<std::uint64_t> bitmapOf(const std::uint8_t *grey) {
  const int rowWords = rowWordsFor(kFrame.width);
  std::vector<std::uint64_t> words(static_cast<std::size_t>(rowWords) * kFrame.height);
  for (std::ptrdiff_t y = 0; y < kFrame.height; ++y)
    thresholdRow(grey + y * kFrame.width, kFrame.width, kThreshold, words.data() + y * rowWords);
  return words;
}

void thresholdFrame(benchmark::State &state) {
  std::vector<std::uint64_t> words;
  const int rowWords = rowWordsFor(kFrame.width);
  words.resize(static_cast<std::size_t>(rowWords) * kFrame.height);
  for (auto _ : state) {
    for (std::ptrdiff_t y = 0; y < kFrame.height; ++y)
      thresholdRow(randomBytes().data() + y * kFrame.width, kFrame.width, kThreshold, words.data() + y * rowWords);
    benchmark::ClobberMemory();
  }
  for (int x = 0; x < kFrame.width; ++x) {
    const bool bit = (words[static_cast<std::size_t>(kCheckedRow * rowWords + x / 64)] >> (63 - x % 64) & 1) != 0;
    if (bit != (randomBytes()[static_cast<std::size_t>(kCheckedRow * kFrame.width + x)] > kThreshold))
      state.SkipWithError("wrong answer");
  }
  countPixels(state);
}

// Nine shifts of a whole frame; the answer is checked on its first rows.
void tryNineShifts(benchmark::State &state) {
  const std::uint8_t *grey = randomBytes().data(), *other = grey + packedSamples(kFrame, 1);
  const std::vector<std::uint64_t> a = bitmapOf(grey), b = bitmapOf(other);
  const int rowWords = rowWordsFor(kFrame.width);
  std::vector<std::uint64_t> scratch(trialScratch(rowWords));
  const BitmapView first = {kFrame, rowWords, a.data()}, second = {kFrame, rowWords, b.data()};
  constexpr int kShiftX = 13, kShiftY = -5;
  for (auto _ : state)
    benchmark::DoNotOptimize(countTrials(first, second, kShiftX, kShiftY, scratch.data()));
  const Size few = {kFrame.width, kCheckedRows};
  const auto errors =
      countTrials({few, rowWords, a.data()}, {few, rowWords, b.data()}, kShiftX, kShiftY, scratch.data());
  const reference::Plane bits = reference::bitsAbove(planeOf(grey, kCheckedRows), kThreshold);
  const reference::Plane moving = reference::bitsAbove(planeOf(other, kCheckedRows), kThreshold);
  for (int i = 0; i < kTrials; ++i)
    if (errors[static_cast<std::size_t>(i)] !=
        reference::differingBits(bits, moving, kShiftX + i % 3 - 1, kShiftY + i / 3 - 1))
      state.SkipWithError("wrong answer");
  countPixels(state);
}

[[maybe_unused]] const int registered = [] {
  for (const int channels : {3, 4}) {
    const std::string count = std::to_string(channels);
    registerForEveryTarget("grey/8bit/channels:" + count,
                           [=](benchmark::State &state) { greyOfFrame<std::uint8_t>(state, channels); });
    registerForEveryTarget("grey/16bit/channels:" + count,
                           [=](benchmark::State &state) { greyOfFrame<std::uint16_t>(state, channels); });
  }
  benchmark::RegisterBenchmark("histogram", countGrey)->Unit(benchmark::kMillisecond);
  registerForEveryTarget("reduce", reduceFrame);
  registerForEveryTarget("threshold", thresholdFrame);
  registerForEveryTarget("nine shifts", tryNineShifts);
  return 0;
}();

} // namespace
} // namespace vindrel::bench
