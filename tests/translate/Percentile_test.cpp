#include "VindrelRegLib.h"
#include "reference/TranslationAlign.h"
#include "translate/BrightnessOrder.h"
#include "translate/Percentile.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

namespace vindrel::test {
namespace {

std::vector<std::uint32_t> allAt(int bin, std::uint32_t pixels) {
  std::vector<std::uint32_t> histogram(256, 0);
  histogram[bin] = pixels;
  return histogram;
}

TEST(Percentile, FirstBinAboveNeedsMorePixelsThanTheCount) {
  std::vector<std::uint32_t> histogram(256, 0);
  histogram[20] = 10;
  histogram[40] = 10;
  EXPECT_EQ(firstBinAbove(histogram.data(), 9), 20);
  EXPECT_EQ(firstBinAbove(histogram.data(), 10), 40);
  EXPECT_EQ(firstBinAbove(histogram.data(), 19), 40);
  EXPECT_EQ(firstBinAbove(histogram.data(), 20), 256);
  EXPECT_EQ(firstBinAbove(histogram.data(), -1), 0);
}

TEST(Percentile, SumsBeyond32Bits) {
  std::vector<std::uint32_t> histogram(256, 0);
  histogram[10] = histogram[20] = 0xFFFFFFFFu;
  EXPECT_EQ(firstBinAbove(histogram.data(), 0x1'0000'0000), 20);
  EXPECT_EQ(firstBinAbove(histogram.data(), 0x1'FFFF'FFFE), 256);
}

TEST(VerifPercentile2, RaisesTheCountFortyTimesWhereAllPixelsAreAtGreyTen) {
  int expected = 1000;
  for (int i = 0; i < 40; ++i)
    expected = static_cast<int>(expected * 1.05);
  EXPECT_EQ(verifPercentile2(allAt(10, 1000000).data(), 0, 0, 1000), expected);
}

TEST(VerifPercentile2, KeepsACountWhoseThresholdIsInTheMiddleRange) {
  for (int bin : {15, 100, 235})
    EXPECT_EQ(verifPercentile2(allAt(bin, 1000).data(), 0, 0, 500), 500) << bin;
}

TEST(VerifPercentile2, MovesTheCountJustOutsideTheMiddleRange) {
  EXPECT_GT(verifPercentile2(allAt(14, 1000000).data(), 0, 39, 500), 500);
  EXPECT_EQ(verifPercentile2(allAt(236, 1000).data(), 0, 39, 500), 475);
}

TEST(VerifPercentile2, LowersACountThatNoBinExceeds) {
  EXPECT_EQ(verifPercentile2(allAt(100, 1000).data(), 0, 0, 1000), 950);
  EXPECT_EQ(verifPercentile2(allAt(100, 1000).data(), 0, 0, 1040), 988); // 988 after one step: 1040 * 0.95
}

TEST(VerifPercentile2, StopsAtRoundForty) {
  EXPECT_EQ(verifPercentile2(allAt(10, 1000000).data(), 0, 40, 1000), 1000);
  EXPECT_EQ(verifPercentile2(allAt(10, 1000000).data(), 0, 41, 1000), 1000);
  EXPECT_EQ(verifPercentile2(allAt(10, 1000000).data(), 0, 0xFFFFFFFFu, 1000), 1000);
  EXPECT_EQ(verifPercentile2(allAt(10, 1000000).data(), 0, 38, 1000), 1102);
}

TEST(VerifPercentile2, ReadsTheHistogramOfTheImage) {
  std::vector<std::uint32_t> table = allAt(10, 1000000);
  const std::vector<std::uint32_t> second = allAt(100, 1000000);
  table.insert(table.end(), second.begin(), second.end());
  EXPECT_EQ(verifPercentile2(table.data(), 1, 0, 1000), 1000);
}

TEST(VerifPercentile2, StaysWithinIntForCountsNearItsEnd) {
  EXPECT_EQ(verifPercentile2(allAt(10, 0xFFFFFFFFu).data(), 0, 0, 2000000000), 2147483647);
}

TEST(VerifPercentile2, EqualsTheDefinitionOnRandomHistograms) {
  std::mt19937 random(7);
  for (int trial = 0; trial < 2000; ++trial) {
    std::vector<std::uint32_t> histogram(256, 0);
    reference::Histogram wide{};
    const int from = static_cast<int>(random() % 256), to = from + static_cast<int>(random() % (256 - from));
    for (int bin = from; bin <= to; ++bin)
      wide[bin] = histogram[bin] = static_cast<std::uint32_t>(random() % 5000);
    const int count = static_cast<int>(random() % 700000);
    const auto round = static_cast<unsigned>(random() % 45);
    ASSERT_EQ(verifPercentile2(histogram.data(), 0, round, count), reference::adjustedCount(wide, round, count));
  }
}

TEST(BrightnessOrder, TruncatesItsShares) {
  const PercentileCounts counts = percentileCounts(13);
  EXPECT_EQ(counts.half, 6);
  EXPECT_EQ(counts.low, 2);
  EXPECT_EQ(counts.high, 11);
  EXPECT_EQ(counts.top, 12);
}

TEST(BrightnessOrder, TakesTheMedianOfAWellExposedFrame) {
  const PercentileCounts counts = percentileCounts(1000);
  for (int bin : {15, 128, 235}) {
    const Brightness brightness = brightnessOf(allAt(bin, 1000).data(), counts);
    EXPECT_EQ(brightness.target, 500);
    EXPECT_EQ(brightness.key, 256 * bin);
  }
}

TEST(BrightnessOrder, TakesALowPercentileOfABrightFrame) {
  const Brightness brightness = brightnessOf(allAt(236, 1000).data(), percentileCounts(1000));
  EXPECT_EQ(brightness.target, 170);
  EXPECT_EQ(brightness.key, 256 * 236);
}

TEST(BrightnessOrder, TakesAHighPercentileOfADarkFrame) {
  for (int bin : {5, 14}) {
    const Brightness brightness = brightnessOf(allAt(bin, 1000).data(), percentileCounts(1000));
    EXPECT_EQ(brightness.target, 900);
    EXPECT_EQ(brightness.key, 256 * bin);
  }
}

TEST(BrightnessOrder, TellsVeryDarkFramesApartByTheirHighlights) {
  std::vector<std::uint32_t> histogram = allAt(4, 940);
  histogram[77] = 60;
  const Brightness brightness = brightnessOf(histogram.data(), percentileCounts(1000));
  EXPECT_EQ(brightness.target, 900);
  EXPECT_EQ(brightness.key, 77);
}

TEST(BrightnessOrder, PutsAFrameWithoutAMedianFirst) {
  const Brightness brightness = brightnessOf(allAt(0, 0).data(), percentileCounts(0));
  EXPECT_EQ(brightness.key, 65536);
  EXPECT_EQ(brightness.target, 0);
}

TEST(BrightnessOrder, KeepsTheGivenOrderAmongEqualFrames) {
  const Brightness frames[] = {{0, 5}, {0, 9}, {0, 5}, {0, 0}, {0, 9}, {0, 0}};
  int order[6];
  orderByBrightness(frames, 6, order);
  const std::vector<int> expected = {1, 4, 0, 2, 3, 5};
  EXPECT_EQ(std::vector<int>(order, order + 6), expected);
}

} // namespace
} // namespace vindrel::test
