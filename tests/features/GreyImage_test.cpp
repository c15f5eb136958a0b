#include "VindrelRegLib.h"
#include "features/GreyImage.h"
#include "reference/GreyImage.h"
#include "support/EveryTarget.h"
#include "support/GuardedBuffer.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

namespace vindrel::test {
namespace {

template <class Sample>
std::vector<Sample> randomSamples(std::size_t count, unsigned seed) {
  std::mt19937 random(seed);
  std::vector<Sample> samples(count);
  for (auto &sample : samples)
    sample = static_cast<Sample>(random() >> 7);
  return samples;
}

template <class Sample>
void comparesWithReference() {
  for (int channels = 1; channels <= 5; ++channels)
    for (const int width : {0, 1, 2, 3, 7, 15, 16, 17, 31, 33, 64, 101})
      for (const int height : {1, 2, 5}) {
        SCOPED_TRACE(testing::Message() << width << " x " << height << ", " << channels << " channels");
        const auto samples = randomSamples<Sample>(static_cast<std::size_t>(width) * height * channels, 7u + channels);
        GuardedBuffer<std::uint8_t> grey(static_cast<std::size_t>(width) * height);
        EXPECT_EQ(
            static_cast<unsigned>(height),
            greyscale(width, height, channels, 8 * static_cast<int>(sizeof(Sample)), 0, samples.data(), grey.data()));
        EXPECT_EQ(reference::grey(samples, width, height, channels), grey.copy());
        EXPECT_TRUE(grey.guardsIntact());
      }
}

TEST(Greyscale, MatchesTheReferenceForBytes) {
  onEveryTarget(comparesWithReference<std::uint8_t>);
}
TEST(Greyscale, MatchesTheReferenceForSixteenBits) {
  onEveryTarget(comparesWithReference<std::uint16_t>);
}

TEST(Greyscale, WeighsThreeChannelsInStoredOrder) {
  const std::uint8_t pixels[] = {255, 0, 0, 0, 255, 0, 0, 0, 255, 255, 255, 255};
  std::uint8_t grey[4];
  EXPECT_EQ(1u, greyscale(4, 1, 3, 8, 0, pixels, grey));
  EXPECT_EQ(54 * 255 / 256, grey[0]);
  EXPECT_EQ(183 * 255 / 256, grey[1]);
  EXPECT_EQ(19 * 255 / 256, grey[2]);
  EXPECT_EQ(255, grey[3]);
}

TEST(Greyscale, WeighsSamplesZeroOneAndThreeOfFourChannels) {
  const std::uint8_t pixel[] = {10, 20, 250, 40};
  std::uint8_t grey = 0;
  EXPECT_EQ(1u, greyscale(1, 1, 4, 8, 0, pixel, &grey));
  EXPECT_EQ((54 * 10 + 183 * 20 + 19 * 40) >> 8, grey);
}

TEST(Greyscale, ReadsTheOneSampleOfOneChannelThreeTimes) {
  const std::uint8_t pixels[] = {0, 1, 127, 255};
  std::uint8_t grey[4];
  greyscale(4, 1, 1, 8, 0, pixels, grey);
  EXPECT_TRUE(std::equal(pixels, pixels + 4, grey));
}

TEST(Greyscale, TakesTheHighByteOfSixteenBits) {
  const std::uint16_t pixels[] = {0x00FF, 0x0100, 0x7FFF, 0xFFFF};
  std::uint8_t grey[4];
  EXPECT_EQ(1u, greyscale(4, 1, 1, 16, 0, pixels, grey));
  EXPECT_EQ(0, grey[0]);
  EXPECT_EQ(1, grey[1]);
  EXPECT_EQ(0x7F, grey[2]);
  EXPECT_EQ(255, grey[3]);
}

TEST(Greyscale, StartsAtTheOffsetCountedInSamples) {
  const std::uint16_t pixels[] = {0x1000, 0x2000, 0x3000, 0x4000};
  std::uint8_t grey[2];
  greyscale(2, 1, 1, 16, 2, pixels, grey);
  EXPECT_EQ(0x30, grey[0]);
  EXPECT_EQ(0x40, grey[1]);
}

TEST(Greyscale, WritesNothingAndReturnsZeroForTwelveBits) {
  const std::uint16_t pixel = 0xFFFF;
  std::uint8_t grey = 77;
  EXPECT_EQ(0u, greyscale(1, 1, 1, 12, 0, &pixel, &grey));
  EXPECT_EQ(77, grey);
}

TEST(Greyscale, WritesNothingAndReturnsZeroWithoutRows) {
  const std::uint8_t pixel = 255;
  std::uint8_t grey = 77;
  EXPECT_EQ(0u, greyscale(1, 0, 1, 8, 0, &pixel, &grey));
  EXPECT_EQ(0u, greyscale(1, -3, 1, 8, 0, &pixel, &grey));
  EXPECT_EQ(77, grey);
}

TEST(ConvertToGrey, ReadsATileThroughTheRowStrideOfItsFrame) {
  const int frameWidth = 23, frameHeight = 9, channels = 3;
  const auto frame = randomSamples<std::uint8_t>(static_cast<std::size_t>(frameWidth) * frameHeight * channels, 5);
  const auto whole = reference::grey(frame, frameWidth, frameHeight, channels);
  const int left = 4, top = 2, width = 11, height = 5;
  GuardedBuffer<std::uint8_t> grey(static_cast<std::size_t>(width) * height);
  convertToGrey({.samples = frame.data() + (top * frameWidth + left) * channels,
                 .size = {width, height},
                 .channels = channels,
                 .rowStride = frameWidth * channels,
                 .depth = SampleDepth::U8},
                grey.data());
  for (int y = 0; y < height; ++y)
    for (int x = 0; x < width; ++x)
      EXPECT_EQ(whole[static_cast<std::size_t>((top + y) * frameWidth + left + x)],
                grey[static_cast<std::size_t>(y * width + x)]);
  EXPECT_TRUE(grey.guardsIntact());
}

} // namespace
} // namespace vindrel::test
