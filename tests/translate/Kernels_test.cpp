#include "reference/Bitmaps.h"
#include "support/EveryTarget.h"
#include "support/GuardedBuffer.h"
#include "translate/EdgeAgreementKernel.h"
#include "translate/GreyKernel.h"
#include "translate/ReduceKernel.h"
#include "translate/ShiftTrialsKernel.h"
#include "translate/ThresholdKernel.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
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
  onEveryTarget(compareGreyRows<std::uint8_t>);
}

TEST(GreyKernel, TakesTheHighByteOfSixteenBitSamples) {
  onEveryTarget(compareGreyRows<std::uint16_t>);
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

void compareThresholds() {
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

TEST(ThresholdKernel, EqualsTheDefinitionForEveryThresholdAndWidth) {
  onEveryTarget(compareThresholds);
}

void compareReductions() {
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
    // In the place of the row itself.
    reduceRow(bytes.data(), bytes.data() + width, bytes.data() + 2 * width, width / 2, bytes.data());
    ASSERT_TRUE(std::equal(first.data(), first.data() + width / 2, bytes.begin())) << width;
  }
}

TEST(ReduceKernel, EqualsTheDefinitionForEveryWidthAndBothKindsOfRow) {
  onEveryTarget(compareReductions);
}

// A bitmap as a pyramid's level 0 holds it.
class PackedBitmap {
public:
  explicit PackedBitmap(const reference::Plane &bits)
      : view_{.size = {bits.width, bits.height}, .rowWords = rowWordsFor(bits.width), .words = nullptr} {
    for (int y = 0; y < bits.height; ++y) {
      const std::vector<std::uint64_t> row = packed(bits, y);
      words_.insert(words_.end(), row.begin(), row.end());
      words_.resize(static_cast<std::size_t>(view_.rowWords) * (y + 1), 0);
    }
    view_.words = words_.data();
  }
  PackedBitmap(const PackedBitmap &) = delete;
  PackedBitmap &operator=(const PackedBitmap &) = delete;

  const BitmapView &view() const { return view_; }

private:
  BitmapView view_;
  std::vector<std::uint64_t> words_;
};

void expectTrials(const reference::Plane &bits, const reference::Plane &moving, int shiftX, int shiftY) {
  const PackedBitmap a(bits), b(moving);
  GuardedBuffer<std::uint64_t> scratch(trialScratch(a.view().rowWords));
  const std::array<std::int64_t, kTrials> errors = countTrials(a.view(), b.view(), shiftX, shiftY, scratch.data());
  ASSERT_TRUE(scratch.guardsIntact());
  for (int i = 0; i < kTrials; ++i)
    ASSERT_EQ(errors[i], reference::differingBits(bits, moving, shiftX + i % 3 - 1, shiftY + i / 3 - 1))
        << bits.width << 'x' << bits.height << ' ' << shiftX << ' ' << shiftY << ' ' << i;
  long long set = 0;
  for (int value : bits.values)
    set += value;
  ASSERT_EQ(countSetBits(a.view()), set);
}

void compareTrials() {
  std::mt19937 random(5);
  for (int width = 1; width <= kWidest; ++width) {
    const reference::Plane a = randomBits(width, 2, random), b = randomBits(width, 2, random);
    for (int shift = -width - 2; shift <= width + 2; shift += width < 10 ? 1 : 1 + static_cast<int>(random() % 9))
      expectTrials(a, b, shift, static_cast<int>(random() % 3) - 1);
    for (int shift : {-1000000000, -65, -64, -63, 63, 64, 65, 1000000000})
      expectTrials(a, b, shift, 0);
  }
  // A few of the widest vectors, and rows far apart.
  for (int width : {511, 512, 513, 1023, 1024, 1025, 1600}) {
    const reference::Plane a = randomBits(width, 5, random), b = randomBits(width, 5, random);
    for (int shiftY = -7; shiftY <= 7; ++shiftY)
      expectTrials(a, b, static_cast<int>(random() % 200) - 100, shiftY);
    expectTrials(a, b, 0, -1000000000);
    expectTrials(a, b, 0, 1000000000);
  }
}

TEST(ShiftTrialsKernel, EqualsTheDefinitionForEveryWidthAndShift) {
  onEveryTarget(compareTrials);
}

TEST(ShiftTrialsKernel, DoesNotOverflowOnRowsOfThousandsOfOnes) {
  constexpr int kWidth = 64 * 300 + 17;
  onEveryTarget([] {
    const reference::Plane ones{kWidth, 2, std::vector<int>(2 * kWidth, 1)},
        zeros{kWidth, 2, std::vector<int>(2 * kWidth, 0)};
    expectTrials(ones, zeros, 0, 0);
    expectTrials(zeros, ones, 0, 0);
    expectTrials(zeros, ones, -64, 0);
    expectTrials(ones, ones, 64, 0);
  });
}

TEST(ShiftTrialsKernel, CountsTheSameByATeam) {
  std::mt19937 random(8);
  const reference::Plane a = randomBits(2000, 700, random), b = randomBits(2000, 700, random);
  const PackedBitmap first(a), second(b);
  for (const int threads : {2, 4}) {
    RowTeam team(threads);
    GuardedBuffer<std::uint64_t> scratch(static_cast<std::size_t>(threads) * trialScratch(first.view().rowWords));
    for (const auto &[x, y] : {std::pair{0, 0}, {3, -5}, {-70, 261}, {0, 699}, {5, -1000000000}}) {
      EXPECT_EQ(countTrials(first.view(), second.view(), x, y, scratch.data(), &team),
                countTrials(first.view(), second.view(), x, y, scratch.data()));
      EXPECT_TRUE(scratch.guardsIntact());
    }
  }
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
