#include "VindrelRegLib.h"
#include "reference/TranslationAlign.h"
#include "support/EveryTarget.h"
#include "support/GuardedBuffer.h"
#include "translate/BitmapPyramid.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

namespace vindrel::test {
namespace {

// The levels as whole bytes a row, first pixel highest.
std::vector<std::uint8_t> expectedPyramid(reference::Plane grey, int threshold, int levels) {
  std::vector<std::uint8_t> bytes;
  for (int l = 0; l < levels; ++l) {
    const reference::Plane bits = reference::bitsAbove(grey, threshold);
    for (int y = 0; y < bits.height; ++y)
      for (int x = 0; x < bits.width; ++x) {
        if (x % 8 == 0) bytes.push_back(0);
        if (bits.at(x, y)) bytes.back() = static_cast<std::uint8_t>(bytes.back() | 0x80 >> (x % 8));
      }
    grey = reference::reduced(grey);
  }
  return bytes;
}

unsigned pyramidBytes(int width, int height, int levels) {
  int bytes = 0;
  for (int l = 0; l < std::min(levels, 31); ++l)
    bytes += ((width >> l) + 7) / 8 * (height >> l);
  return static_cast<unsigned>(bytes);
}

template <class Sample>
std::vector<Sample> randomPixels(std::size_t count, std::mt19937 &random) {
  std::vector<Sample> pixels(count);
  for (Sample &sample : pixels)
    sample = static_cast<Sample>(random());
  return pixels;
}

struct Filled {
  int threshold;
  std::vector<std::uint8_t> pyramid;
  std::vector<std::uint32_t> histogram;
  bool guardsIntact;
};

template <class Sample>
Filled fill(const std::vector<Sample> &pixels, unsigned offset, int width, int height, int channels, int levels,
            int count) {
  const auto area = static_cast<unsigned>(width * height);
  GuardedBuffer<std::uint8_t> grey(area), grey2(area);
  GuardedBuffer<std::uint32_t> histogram(256, 99);
  GuardedBuffer<std::uint8_t> pyramid(pyramidBytes(width, height, std::max(levels, 1)));
  const int threshold =
      remplPyram(width, height, channels, 8 * static_cast<int>(sizeof(Sample)), offset, histogram.data(), grey.data(),
                 grey2.data(), reinterpret_cast<const std::uint8_t *>(pixels.data()), pyramid.data(), levels, count);
  return {threshold, pyramid.copy(), histogram.copy(),
          grey.guardsIntact() && grey2.guardsIntact() && histogram.guardsIntact() && pyramid.guardsIntact()};
}

template <class Sample>
void comparePyramids() {
  std::mt19937 random(11);
  for (int trial = 0; trial < 300; ++trial) {
    const int width = 1 + static_cast<int>(random() % 90), height = 1 + static_cast<int>(random() % 40);
    const int channels = 1 + static_cast<int>(random() % 4), levels = 1 + static_cast<int>(random() % 8);
    const auto offset = static_cast<unsigned>(random() % 50);
    const auto pixels = randomPixels<Sample>(offset + static_cast<std::size_t>(width) * height * channels, random);
    const int count = static_cast<int>(random() % static_cast<unsigned>(width * height + 1));
    const Filled filled = fill(pixels, offset, width, height, channels, levels, count);

    const reference::Plane grey = reference::greyPlane(pixels.data() + offset, channels, width, height);
    reference::Histogram histogram{};
    for (int value : grey.values)
      ++histogram[value];
    const int threshold = reference::binWhereMoreThan(histogram, count);
    ASSERT_EQ(filled.threshold, threshold);
    ASSERT_EQ(filled.pyramid, expectedPyramid(grey, threshold, levels)) << width << 'x' << height << ' ' << levels;
    ASSERT_TRUE(std::equal(histogram.begin(), histogram.end(), filled.histogram.begin()));
    ASSERT_TRUE(filled.guardsIntact);
  }
}

TEST(RemplPyram, EqualsTheDefinitionForBytes) {
  comparePyramids<std::uint8_t>();
}

TEST(RemplPyram, EqualsTheDefinitionForSixteenBits) {
  comparePyramids<std::uint16_t>();
}

TEST(RemplPyram, LeavesLevelZeroEmptyWhereTheCountCoversAllPixels) {
  std::mt19937 random(12);
  const auto pixels = randomPixels<std::uint8_t>(30 * 20 * 3, random);
  for (int count : {600, 601, 1000000}) {
    const Filled filled = fill(pixels, 0, 30, 20, 3, 1, count);
    EXPECT_EQ(filled.threshold, 256);
    EXPECT_EQ(filled.pyramid, std::vector<std::uint8_t>(20 * 4, 0));
  }
}

TEST(RemplPyram, FillsLevelZeroOnlyForOneLevelOrFewer) {
  std::mt19937 random(13);
  const auto pixels = randomPixels<std::uint8_t>(30 * 20 * 3, random);
  const Filled one = fill(pixels, 0, 30, 20, 3, 1, 300);
  EXPECT_EQ(one.pyramid.size(), 20U * 4);
  EXPECT_TRUE(one.guardsIntact);
  EXPECT_EQ(fill(pixels, 0, 30, 20, 3, 0, 300).pyramid, one.pyramid);
  EXPECT_EQ(fill(pixels, 0, 30, 20, 3, -1, 300).pyramid, one.pyramid);
}

TEST(RemplPyram, SetsNoBitAtTheThresholdItself) {
  std::vector<std::uint8_t> pixels;
  for (int value : {99, 100, 101, 102})
    pixels.insert(pixels.end(), 3, static_cast<std::uint8_t>(value));
  const Filled filled = fill(pixels, 0, 4, 1, 3, 1, 1); // more than one pixel up to grey 100
  EXPECT_EQ(filled.threshold, 100);
  EXPECT_EQ(filled.pyramid, std::vector<std::uint8_t>{0x30});
}

TEST(RemplPyram, StopsWhereALevelHasNoPixels) {
  std::mt19937 random(14);
  for (const auto &[width, height] : {std::pair{1, 50}, {50, 1}, {3, 2}, {1, 1}}) {
    const auto pixels = randomPixels<std::uint8_t>(static_cast<std::size_t>(width) * height * 3, random);
    EXPECT_TRUE(fill(pixels, 0, width, height, 3, 40, 0).guardsIntact) << width << 'x' << height;
  }
}

TEST(RemplPyram, KeepsAFlatImageFlatThroughAllKernels) {
  // Weights that summed to less than one would pull the borders below the threshold.
  const std::vector<std::uint8_t> pixels(64 * 64 * 3, 200);
  std::vector<std::uint8_t> small(32 * 32);
  const std::vector<std::uint8_t> grey(64 * 64, 200);
  reduceGrey(grey.data(), {64, 64}, small.data());
  EXPECT_EQ(small, std::vector<std::uint8_t>(32 * 32, 200));
}

TEST(ReduceGrey, UsesTheBorderKernelsOnTheLastRowAndColumnOnly) {
  // One bright pixel at a time shows each weight.
  const auto weight = [](int width, int height, int x, int y, int c, int r) {
    std::vector<std::uint8_t> grey(static_cast<std::size_t>(width) * height, 0);
    grey[static_cast<std::size_t>(y) * width + x] = 255;
    std::vector<std::uint8_t> out(static_cast<std::size_t>(width / 2) * (height / 2));
    reduceGrey(grey.data(), {width, height}, out.data());
    return int{out[static_cast<std::size_t>(r) * (width / 2) + c]};
  };
  EXPECT_EQ(weight(5, 5, 1, 1, 0, 0), 255 * 4 / 16);
  EXPECT_EQ(weight(5, 5, 2, 2, 0, 0), 255 / 16);
  EXPECT_EQ(weight(5, 5, 3, 1, 1, 0), 255 * 85 / 256);
  EXPECT_EQ(weight(5, 5, 2, 0, 1, 0), 255 * 21 / 256);
  EXPECT_EQ(weight(5, 5, 2, 1, 1, 0), 255 * 43 / 256);
  EXPECT_EQ(weight(5, 5, 4, 1, 1, 0), 0); // odd width: the last column is left out
  EXPECT_EQ(weight(5, 5, 1, 3, 0, 1), 255 * 85 / 256);
  EXPECT_EQ(weight(5, 5, 0, 2, 0, 1), 255 * 21 / 256);
  EXPECT_EQ(weight(5, 5, 0, 3, 0, 1), 255 * 43 / 256);
  EXPECT_EQ(weight(5, 5, 1, 4, 0, 1), 0); // odd height: the last row is left out
  EXPECT_EQ(weight(5, 5, 3, 3, 1, 1), 255 * 114 / 256);
  EXPECT_EQ(weight(5, 5, 2, 3, 1, 1), 255 * 57 / 256);
  EXPECT_EQ(weight(5, 5, 3, 2, 1, 1), 255 * 57 / 256);
  EXPECT_EQ(weight(5, 5, 2, 2, 1, 1), 255 * 28 / 256);
}

TEST(PyramidLayout, FillsEveryLevelByItsDefinitionAndPadsItsRowsWithZeros) {
  std::mt19937 random(16);
  onEveryTarget([&] {
    for (int trial = 0; trial < 60; ++trial) {
      const int width = 1 + static_cast<int>(random() % 300), height = 1 + static_cast<int>(random() % 40);
      const auto pixels = randomPixels<std::uint8_t>(static_cast<std::size_t>(width) * height * 3, random);
      const int threshold = static_cast<int>(random() % 257);
      reference::Plane plane = reference::greyPlane(pixels.data(), 3, width, height);
      std::vector<std::uint8_t> grey(plane.values.begin(), plane.values.end());

      const PyramidLayout layout({width, height}, 1 + static_cast<int>(random() % 9));
      GuardedBuffer<std::uint64_t> words(layout.words(), ~std::uint64_t{0});
      layout.fill(grey.data(), threshold, words.data());
      ASSERT_TRUE(words.guardsIntact());
      for (int l = 0; l < layout.levels(); ++l, plane = reference::reduced(plane)) {
        const BitmapView level = layout.level(l, words.data());
        ASSERT_EQ(level.size, (Size{plane.width, plane.height}));
        ASSERT_EQ(level.rowWords % kRowWordUnit, 0);
        for (int y = 0; y < plane.height; ++y)
          for (int x = 0; x < 64 * level.rowWords; ++x)
            ASSERT_EQ(level.row(y)[x / 64] >> (63 - x % 64) & 1,
                      x < plane.width ? static_cast<unsigned>(plane.at(x, y) > threshold) : 0U)
                << width << 'x' << height << ' ' << l << ' ' << x << ' ' << y;
      }
    }
  });
}

TEST(PyramidLayout, IsFilledAlikeByATeam) {
  std::mt19937 random(17);
  for (const Size size : {Size{1500, 1201}, Size{700001, 3}, Size{3, 700001}, Size{1, 900000}, Size{40, 30}})
    for (const int threads : {2, 4}) {
      const auto pixels = static_cast<std::size_t>(packedSamples(size, 1));
      const auto image = randomPixels<std::uint8_t>(pixels, random);
      const PyramidLayout layout(size, 9);
      std::vector<std::uint8_t> grey = image;
      std::vector<std::uint64_t> expected(layout.words(), 1);
      layout.fill(grey.data(), 128, expected.data());

      RowTeam team(threads);
      grey = image;
      GuardedBuffer<std::uint8_t> half(static_cast<std::size_t>(packedSamples(halved(size), 1)));
      GuardedBuffer<std::uint64_t> words(layout.words(), 2);
      layout.fillByTeam(team, grey.data(), half.data(), 128, words.data());
      EXPECT_TRUE(half.guardsIntact());
      EXPECT_TRUE(words.guardsIntact());
      EXPECT_EQ(words.copy(), expected) << size.width << 'x' << size.height << ' ' << threads;
    }
}

TEST(PyramidLayout, HasNoLevelWithoutPixels) {
  EXPECT_EQ(PyramidLayout({5, 40}, 31).levels(), 3);
  EXPECT_EQ(PyramidLayout({40, 1}, 31).levels(), 1);
  EXPECT_EQ(PyramidLayout({4000, 3000}, 6).levels(), 6);
}

TEST(ConvertAndCount, ReadsRowsAtTheirStride) {
  std::mt19937 random(15);
  const int width = 70, height = 21, stride = 70 * 3 + 11;
  const auto strided = randomPixels<std::uint8_t>(static_cast<std::size_t>(stride) * height, random);
  std::vector<std::uint8_t> dense;
  for (int y = 0; y < height; ++y)
    dense.insert(dense.end(), strided.begin() + y * stride, strided.begin() + y * stride + width * 3);
  std::vector<std::uint8_t> a(width * height), b(width * height);
  std::vector<std::uint32_t> countA(256, 1), countB(256, 2), countC(256, 3);
  convertAndCount({strided.data(), {width, height}, 3, stride, SampleDepth::U8}, countA.data(), a.data());
  convertAndCount({dense.data(), {width, height}, 3, width * 3, SampleDepth::U8}, countB.data(), b.data());
  greyHistogram({strided.data(), {width, height}, 3, stride, SampleDepth::U8}, countC.data());
  EXPECT_EQ(a, b);
  EXPECT_EQ(countA, countB);
  EXPECT_EQ(countA, countC);
}

TEST(ConvertAndCount, GivesTheSameByATeam) {
  std::mt19937 random(18);
  const Size size = {1500, 1100};
  const auto pixels = randomPixels<std::uint16_t>(static_cast<std::size_t>(packedSamples(size, 3)), random);
  const ImageView image = {pixels.data(), size, 3, 3 * size.width, SampleDepth::U16};
  std::vector<std::uint8_t> a(static_cast<std::size_t>(packedSamples(size, 1))), b(a.size());
  std::vector<std::uint32_t> countA(256, 1), countB(256, 2);
  convertAndCount(image, countA.data(), a.data());
  RowTeam team(4);
  convertAndCount(image, countB.data(), b.data(), &team);
  EXPECT_EQ(a, b);
  EXPECT_EQ(countA, countB);
}

} // namespace
} // namespace vindrel::test
