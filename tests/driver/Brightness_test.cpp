#include "driver/Brightness.h"

#include "reference/Brightness.h"
#include "support/EveryTarget.h"

#include <gtest/gtest.h>
#include <random>
#include <vector>

namespace vindrel {
namespace {

template <class Sample>
class BrightnessOf : public ::testing::Test {};
using Samples = ::testing::Types<std::uint8_t, std::uint16_t>;
TYPED_TEST_SUITE(BrightnessOf, Samples);

template <class Sample>
void compareSums(int channels, int width, int threads) {
  std::mt19937 random(static_cast<std::uint32_t>(width));
  const SampleDepth depth = sizeof(Sample) == 1 ? SampleDepth::U8 : SampleDepth::U16;
  const int height = 1 + width % 3;
  const std::int64_t samples = static_cast<std::int64_t>(width) * height * channels;
  // Exactly as many as may be read, so that the address sanitizer sees a step beyond.
  std::vector<Sample> image(static_cast<std::size_t>(samples));
  for (Sample &sample : image)
    sample = static_cast<Sample>(random());
  const ImageView view{image.data(), {width, height}, channels, static_cast<std::int64_t>(width) * channels, depth};
  ASSERT_EQ(sumBrightness(view, kThreeConsecutiveSamples, samples, threads),
            reference::brightnessSum(image.data(), static_cast<std::int64_t>(width) * height, channels, samples))
      << channels << " channels, width " << width;
}

TYPED_TEST(BrightnessOf, EqualsTheDefinitionForAwkwardSizesAndAllChannelCounts) {
  test::onEveryTarget([] {
    for (const int channels : {1, 2, 3, 4, 5})
      for (int width = 1; width < 130; ++width)
        compareSums<TypeParam>(channels, width, 1);
  });
}

TYPED_TEST(BrightnessOf, DoesNotDependOnTheThreads) {
  for (int threads = 2; threads < 5; ++threads)
    for (int width = 1; width < 40; ++width)
      compareSums<TypeParam>(3, width, threads);
}

// Lanes of 16 bits hold 257 times 255 and no more.
TYPED_TEST(BrightnessOf, DoesNotOverflowOnLongRowsOfWhite) {
  test::onEveryTarget([] {
    constexpr int kWidth = 32 * 256 * 2 + 77;
    for (const int channels : {1, 3, 4}) {
      const std::vector<TypeParam> white(static_cast<std::size_t>(kWidth) * channels, static_cast<TypeParam>(-1));
      const SampleDepth depth = sizeof(TypeParam) == 1 ? SampleDepth::U8 : SampleDepth::U16;
      const ImageView view{white.data(), {kWidth, 1}, channels, std::int64_t{kWidth} * channels, depth};
      EXPECT_EQ(sumBrightness(view, kThreeConsecutiveSamples, std::int64_t{kWidth} * channels), 255LL * kWidth);
    }
  });
}

TEST(Brightness, OfAGreyFrameWithOwnSamplesIsTheSumOfItsPixels) {
  const std::vector<std::uint8_t> grey = {1, 2, 200, 255};
  const ImageView view{grey.data(), {4, 1}, 1, 4, SampleDepth::U8};
  EXPECT_EQ(sumBrightness(view, ownSamples(1), 4), 458);
}

TEST(Brightness, IgnoresTheFourthSample) {
  std::vector<std::uint8_t> a = {10, 20, 30, 0, 40, 50, 60, 0};
  const ImageView view{a.data(), {2, 1}, 4, 8, SampleDepth::U8};
  const std::int64_t before = sumBrightness(view, kThreeConsecutiveSamples, 8);
  a[3] = a[7] = 255;
  EXPECT_EQ(sumBrightness(view, kThreeConsecutiveSamples, 8), before);
}

TEST(Brightness, SkipsThePaddingOfAStridedFrame) {
  const std::vector<std::uint8_t> padded = {256 - 1, 255, 255, 9, 9, 255, 255, 255, 9, 9};
  const ImageView view{padded.data(), {1, 2}, 3, 5, SampleDepth::U8};
  EXPECT_EQ(sumBrightness(view, kThreeConsecutiveSamples, 8), 510);
}

} // namespace
} // namespace vindrel
