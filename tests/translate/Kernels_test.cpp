#include "reference/Bitmaps.h"
#include "support/GuardedBuffer.h"
#include "translate/BitDifferenceKernel.h"
#include "translate/EdgeAgreementKernel.h"
#include "translate/GreyKernel.h"
#include "translate/ReduceKernel.h"
#include "translate/ThresholdKernel.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

namespace vindrel::test {
namespace {

constexpr int kWidest = 200;

std::vector<std::uint64_t> packed(const reference::Plane &bits, int row) {
  std::vector<std::uint64_t> words(static_cast<std::size_t>(wordsFor(bits.width)), 0);
  for (int x = 0; x < bits.width; ++x)
    if (bits.at(x, row)) words[x / 64] |= std::uint64_t{1} << (63 - x % 64);
  return words;
}

reference::Plane randomBits(int width, int height, std::mt19937 &random) {
  reference::Plane plane{width, height, {}};
  const auto shareOfOnes = random() % 9;
  for (int i = 0; i < width * height; ++i)
    plane.values.push_back(random() % 8 < shareOfOnes);
  return plane;
}

template <class Sample>
void compareGreyRows() {
  std::mt19937 random(1);
  for (int channels = 1; channels <= 6; ++channels)
    for (int width = 0; width <= kWidest; ++width) {
      // Exactly the row's samples: the sanitizer sees what is read beyond them.
      std::vector<Sample> row(static_cast<std::size_t>(width) * channels);
      for (Sample &sample : row)
        sample = static_cast<Sample>(random() % 5 == 0 ? ~Sample{0} : random());
      GuardedBuffer<std::uint8_t> grey(width);
      greyOfFirstThree(row.data(), width, channels, grey.data());
      ASSERT_TRUE(grey.guardsIntact());
      for (int x = 0; x < width; ++x)
        ASSERT_EQ(grey[x], reference::greyOfPixel(row.data() + x * channels, channels)) << width << ' ' << channels;
    }
}

TEST(GreyKernel, EqualsTheDefinitionForBytes) {
  compareGreyRows<std::uint8_t>();
}

TEST(GreyKernel, TakesTheHighByteOfSixteenBitSamples) {
  compareGreyRows<std::uint16_t>();
}

TEST(GreyKernel, LeavesWhiteWhite) {
  const std::uint8_t white[3] = {255, 255, 255};
  std::uint8_t grey = 0;
  greyOfFirstThree(white, 1, 3, &grey);
  EXPECT_EQ(grey, 255);
}

TEST(GreyKernel, CountsEveryValueOnce) {
  std::mt19937 random(2);
  for (int width = 0; width <= kWidest; ++width) {
    std::vector<std::uint8_t> grey(static_cast<std::size_t>(width));
    std::vector<std::uint32_t> expected(256, 7);
    for (std::uint8_t &value : grey)
      ++expected[value = static_cast<std::uint8_t>(random() % 3 == 0 ? 255 : random())];
    GreyCounter counter;
    counter.add(grey.data(), width);
    GuardedBuffer<std::uint32_t> histogram(256, 7);
    counter.addTo(histogram.data());
    ASSERT_EQ(histogram.copy(), expected);
    ASSERT_TRUE(histogram.guardsIntact());
  }
}

TEST(ThresholdKernel, EqualsTheDefinitionForEveryThresholdAndWidth) {
  std::mt19937 random(3);
  for (int width = 0; width <= kWidest; ++width) {
    reference::Plane grey{width, 1, {}};
    std::vector<std::uint8_t> row;
    for (int x = 0; x < width; ++x)
      row.push_back(static_cast<std::uint8_t>(grey.values.emplace_back(static_cast<int>(random() % 256))));
    for (int threshold = 0; threshold <= 256; ++threshold) {
      GuardedBuffer<std::uint64_t> words(wordsFor(width), ~std::uint64_t{0});
      thresholdRow(row.data(), width, threshold, words.data());
      ASSERT_EQ(words.copy(), packed(reference::bitsAbove(grey, threshold), 0)) << width << ' ' << threshold;
      ASSERT_TRUE(words.guardsIntact());
    }
  }
}

TEST(ReduceKernel, EqualsTheDefinitionForEveryWidthAndBothKindsOfRow) {
  std::mt19937 random(4);
  for (int width = 2; width <= kWidest; ++width) {
    reference::Plane grey{width, 5, {}}; // two output rows: one with and one without a lower row
    std::vector<std::uint8_t> bytes;
    for (int i = 0; i < width * 5; ++i)
      bytes.push_back(static_cast<std::uint8_t>(
          grey.values.emplace_back(static_cast<int>(random() % 4 == 0 ? 255 : random() % 256))));
    const reference::Plane expected = reference::reduced(grey);
    GuardedBuffer<std::uint8_t> first(width / 2), second(width / 2);
    const std::uint8_t *in = bytes.data();
    reduceRow(in, in + width, in + 2 * width, width / 2, first.data());
    reduceLastRow(in + 2 * width, in + 3 * width, width / 2, second.data());
    for (int c = 0; c < width / 2; ++c) {
      ASSERT_EQ(first[c], expected.at(c, 0)) << width << ' ' << c;
      ASSERT_EQ(second[c], expected.at(c, 1)) << width << ' ' << c;
    }
    ASSERT_TRUE(first.guardsIntact() && second.guardsIntact());
  }
}

TEST(BitDifferenceKernel, EqualsTheDefinitionForEveryWidthAndShift) {
  std::mt19937 random(5);
  for (int width = 0; width <= kWidest; ++width) {
    const reference::Plane a = randomBits(width, 2, random), b = randomBits(width, 2, random);
    const auto aWords = packed(a, 0), bWords = packed(b, 1);
    const auto expected = [&](int shift) {
      long long count = 0;
      for (int x = 0; x < width; ++x)
        count += a.at(x, 0) != reference::movingBit(b, 0LL + x + shift, 1);
      return count;
    };
    for (int shift = -width - 2; shift <= width + 2; ++shift)
      ASSERT_EQ(countRowDifferences(aWords.data(), bWords.data(), width, shift), expected(shift))
          << width << ' ' << shift;
    for (int shift : {-1000000000, 1000000000})
      ASSERT_EQ(countRowDifferences(aWords.data(), bWords.data(), width, shift), expected(shift)) << width;
    long long set = 0;
    for (int x = 0; x < width; ++x)
      set += a.at(x, 0);
    ASSERT_EQ(countRowBits(aWords.data(), width), set);
  }
}

TEST(BitDifferenceKernel, DoesNotOverflowOnRowsOfThousandsOfOnes) {
  constexpr int kWidth = 64 * 100 + 17;
  const reference::Plane ones{kWidth, 2, std::vector<int>(2 * kWidth, 1)},
      zeros{kWidth, 2, std::vector<int>(2 * kWidth, 0)};
  const auto oneWords = packed(ones, 0), zeroWords = packed(zeros, 0);
  EXPECT_EQ(countRowBits(oneWords.data(), kWidth), kWidth);
  for (int shift : {-70, -1, 0, 1, 63, 64, 65})
    EXPECT_EQ(countRowDifferences(oneWords.data(), zeroWords.data(), kWidth, shift), kWidth);
  EXPECT_EQ(countRowDifferences(zeroWords.data(), oneWords.data(), kWidth, 0), kWidth - 1); // column 0 is never used
  EXPECT_EQ(countRowDifferences(zeroWords.data(), oneWords.data(), kWidth, -5), kWidth - 6);
  EXPECT_EQ(countRowDifferences(zeroWords.data(), oneWords.data(), kWidth, 5), kWidth - 5);
}

TEST(EdgeAgreementKernel, EqualsTheDefinitionForEveryWidthAndShift) {
  std::mt19937 random(6);
  const auto equal = [](const EdgeAgreement &a, const reference::Edges &b) {
    return a.reference == b.reference && a.moving == b.moving && a.same == b.same && a.opposite == b.opposite;
  };
  for (int width = 0; width <= kWidest; width += width < 140 ? 1 : 7) {
    const reference::Plane a = randomBits(width, 3, random), b = randomBits(width, 3, random);
    const auto row = packed(a, 1), above = packed(a, 0), movingRow = packed(b, 2), movingAbove = packed(b, 1);
    reference::Plane two{width, 2, {a.values.begin(), a.values.begin() + 2 * width}};
    for (int shift = -width - 2; shift <= width + 2; ++shift) {
      EdgeAgreement across, down;
      addRowEdges({row.data(), above.data()}, {movingRow.data(), movingAbove.data()}, width, shift, across, down);
      ASSERT_TRUE(equal(across, reference::meetingEdges(two, b, shift, 1, 1, 0))) << width << ' ' << shift;
      ASSERT_TRUE(equal(down, reference::meetingEdges(two, b, shift, 1, 0, 1))) << width << ' ' << shift;
    }
  }
}

TEST(EdgeAgreementKernel, DoesNotOverflowOnRowsOfThousandsOfEdges) {
  constexpr int kWidth = 64 * 100;
  const std::vector<std::uint64_t> stripes(kWidth / 64, 0x5555555555555555U), inverse(kWidth / 64, 0xAAAAAAAAAAAAAAAAU);
  EdgeAgreement across, down;
  addRowEdges({stripes.data(), inverse.data()}, {stripes.data(), inverse.data()}, kWidth, 0, across, down);
  EXPECT_EQ(across.same, kWidth - 2);
  EXPECT_EQ(down.same, kWidth - 2);
  EXPECT_EQ(across.opposite + down.opposite, 0);
  addRowEdges({stripes.data(), inverse.data()}, {inverse.data(), stripes.data()}, kWidth, 0, across, down);
  EXPECT_EQ(across.opposite, kWidth - 2);
  EXPECT_EQ(down.opposite, kWidth - 2);
}

} // namespace
} // namespace vindrel::test
