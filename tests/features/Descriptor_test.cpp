#include "VindrelRegLib.h"
#include "features/Descriptor.h"
#include "reference/Features.h"
#include "support/EveryTarget.h"
#include "support/FeatureScenes.h"
#include "support/GuardedBuffer.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

namespace vindrel::test {
namespace {

struct Described {
  std::int32_t scaleCode;
  std::vector<float> descriptor = std::vector<float>(64, -7.0f);
};

Described describe(const reference::Image &image, std::int32_t x, std::int32_t y, std::int32_t scaleCode) {
  const auto sums = reference::integral(image);
  Described result{scaleCode};
  vddescriptor(1, static_cast<unsigned>(image.width), &x, &y, &result.scaleCode, sums.data(), result.descriptor.data());
  return result;
}

// Points wherever a square fits, described from the entries of the flat interface and from the detector's own.
TEST(Descriptor, MatchesTheReferenceBitForBit) {
  for (const int width : {33, 40, 61})
    for (const bool blobs : {false, true}) {
      const int height = 50;
      const reference::Image image = blobs ? blobImage(width, height, 1) : noiseImage(width, height, 1);
      const auto sums = reference::integral(image);
      const std::vector<std::uint16_t> words(sums.begin(), sums.end());
      std::vector<std::int32_t> x, y, scaleCode;
      for (std::int32_t py = 17; py <= height - 16; py += 3)
        for (std::int32_t px = 17; px <= width - 16; px += 2) {
          x.push_back(px);
          y.push_back(py);
          scaleCode.push_back((px * 7 + py * 13) % 101 - 50);
        }
      std::vector<std::int32_t> expectedCode = scaleCode;
      std::vector<float> expected(64 * x.size());
      for (std::size_t i = 0; i < x.size(); ++i)
        reference::describe({sums.data(), width}, y[i] * width + x[i], expectedCode[i], &expected[64 * i]);
      onEveryTarget([&, width = width] {
        for (std::size_t count = 0; count <= x.size(); count += count < 20 ? 1 : 7) {
          std::vector<std::int32_t> fromInts = scaleCode, fromWords = scaleCode;
          GuardedBuffer<float> descriptor(64 * count), wordDescriptor(64 * count);
          vddescriptor(static_cast<int>(count), static_cast<unsigned>(width), x.data(), y.data(), fromInts.data(),
                       sums.data(), descriptor.data());
          describePoints(IntegralView<std::uint16_t>{words.data(), width}, {.count = static_cast<int>(count),
                                                                            .x = x.data(),
                                                                            .y = y.data(),
                                                                            .scaleCode = fromWords.data(),
                                                                            .descriptor = wordDescriptor.data()});
          const std::vector<float> firstExpected(expected.begin(), expected.begin() + 64 * count);
          ASSERT_EQ(firstExpected, descriptor.copy());
          ASSERT_EQ(firstExpected, wordDescriptor.copy());
          for (std::size_t i = 0; i < x.size(); ++i) {
            ASSERT_EQ(i < count ? expectedCode[i] : scaleCode[i], fromInts[i]);
            ASSERT_EQ(fromInts[i], fromWords[i]);
          }
          EXPECT_TRUE(descriptor.guardsIntact());
          EXPECT_TRUE(wordDescriptor.guardsIntact());
        }
      });
    }
}

TEST(Descriptor, TakesTheIntegralImageAsItIs) {
  // Not the sums of any image: boxes hold far more than 16 bits, of either sign.
  const int side = 40;
  std::mt19937 random(7);
  std::vector<std::uint32_t> sums(side * side);
  for (auto &sum : sums)
    sum = static_cast<std::uint32_t>(random()) >> 8;
  std::int32_t expectedCode = -30;
  std::vector<float> expected(64);
  reference::describe({sums.data(), side}, 20 * side + 20, expectedCode, expected.data());
  onEveryTarget([&] {
    std::int32_t x = 20, y = 20, scaleCode = -30;
    GuardedBuffer<float> descriptor(64);
    vddescriptor(1, side, &x, &y, &scaleCode, sums.data(), descriptor.data());
    EXPECT_EQ(expected, descriptor.copy());
    EXPECT_EQ(expectedCode, scaleCode);
  });
}

TEST(Descriptor, TakesNothingBeforeTheFirstPixelForPointsNearTheCorner) {
  const reference::Image image = noiseImage(48, 48, 2);
  const auto sums = reference::integral(image);
  onEveryTarget([&] {
    for (std::int32_t y = 0; y <= 17; ++y)
      for (std::int32_t x = 0; x <= 17; ++x) {
        std::int32_t expectedCode = 30;
        std::vector<float> expected(64);
        reference::describe({sums.data(), 48}, y * 48 + x, expectedCode, expected.data());
        const Described result = describe(image, x, y, 30);
        ASSERT_EQ(expected, result.descriptor);
        EXPECT_EQ(expectedCode, result.scaleCode);
      }
  });
}

TEST(Descriptor, IsAllZeroInAUniformRegionAndAtDistanceOneFromAnyUnitDescriptor) {
  const Described uniform = describe(uniformImage(40, 40, 200), 20, 20, 5);
  EXPECT_EQ(std::vector<float>(64, 0.0f), uniform.descriptor);
  EXPECT_EQ(5, uniform.scaleCode);
  std::vector<float> unit(64, 0.0f);
  unit[17] = 1.0f;
  float distance = -1;
  EXPECT_EQ(64, descr_diff5(uniform.descriptor.data(), 0, unit.data(), 0, 64, &distance));
  EXPECT_EQ(1.0f, distance);
  const Described textured = describe(noiseImage(40, 40, 3), 20, 20, 5);
  descr_diff5(uniform.descriptor.data(), 0, textured.descriptor.data(), 0, 64, &distance);
  EXPECT_NEAR(1.0f, distance, 1e-6f);
}

TEST(Descriptor, HasUnitLength) {
  const Described textured = describe(noiseImage(40, 40, 4), 20, 20, 0);
  double squares = 0;
  for (const double value : textured.descriptor)
    squares += value * value;
  EXPECT_NEAR(1.0, squares, 1e-6);
}

TEST(Descriptor, PutsLeftMinusRightFirstAndTopMinusBottomThird) {
  reference::Image columns = uniformImage(40, 40, 0), rows = columns;
  for (int y = 0; y < 40; ++y)
    for (int x = 0; x < 40; ++x) {
      columns.grey[static_cast<std::size_t>(y * 40 + x)] = static_cast<std::uint8_t>(6 * x);
      rows.grey[static_cast<std::size_t>(y * 40 + x)] = static_cast<std::uint8_t>(6 * y);
    }
  // Brighter to the right: every cell holds the same negative difference. 32 equal values of unit length.
  const float each = 1.0f / std::sqrt(32.0f);
  const Described across = describe(columns, 20, 20, 0), down = describe(rows, 20, 20, 0);
  for (std::size_t block = 0; block < 64; block += 4) {
    EXPECT_FLOAT_EQ(-each, across.descriptor[block]);
    EXPECT_FLOAT_EQ(each, across.descriptor[block + 1]);
    EXPECT_EQ(0.0f, across.descriptor[block + 2]);
    EXPECT_EQ(0.0f, across.descriptor[block + 3]);
    EXPECT_EQ(0.0f, down.descriptor[block]);
    EXPECT_EQ(0.0f, down.descriptor[block + 1]);
    EXPECT_FLOAT_EQ(-each, down.descriptor[block + 2]);
    EXPECT_FLOAT_EQ(each, down.descriptor[block + 3]);
  }
}

// One pixel at the centre, darker or brighter than all around: a positive or negative Laplacian.
reference::Image spot(std::uint8_t around, std::uint8_t centre) {
  reference::Image image = uniformImage(40, 40, around);
  image.grey[20 * 40 + 20] = centre;
  return image;
}

TEST(Descriptor, GivesTheScaleCodeTheSignOfTheLaplacian) {
  EXPECT_EQ(30, describe(spot(200, 0), 20, 20, -30).scaleCode);
  EXPECT_EQ(-30, describe(spot(0, 200), 20, 20, -30).scaleCode);
  EXPECT_EQ(30, describe(spot(200, 0), 20, 20, 30).scaleCode);
  EXPECT_EQ(-30, describe(spot(0, 200), 20, 20, 30).scaleCode);
  EXPECT_EQ(0, describe(spot(0, 200), 20, 20, 0).scaleCode);
}

TEST(Descriptor, CountsAZeroLaplacianAsPositive) {
  EXPECT_EQ(30, describe(uniformImage(40, 40, 90), 20, 20, -30).scaleCode);
}

TEST(Descriptor, DoesNothingForNoPoints) {
  std::int32_t x = 20, y = 20, scaleCode = -30;
  float descriptor = 7;
  for (const int count : {0, -1})
    vddescriptor(count, 40, &x, &y, &scaleCode, nullptr, &descriptor);
  EXPECT_EQ(-30, scaleCode);
  EXPECT_EQ(7, descriptor);
}

TEST(DescriptorDistance, IsZeroBetweenEqualsAndFourFromTheNegation) {
  std::vector<float> a(64, 0.125f), negated(64, -0.125f); // 64 / 64 = 1: unit length, exactly
  float distance = -1;
  EXPECT_EQ(64, descr_diff5(a.data(), 0, a.data(), 0, 64, &distance));
  EXPECT_EQ(0.0f, distance);
  EXPECT_EQ(64, descr_diff5(a.data(), 0, negated.data(), 0, 64, &distance));
  EXPECT_EQ(4.0f, distance);
}

TEST(DescriptorDistance, OfNoElementsIsZero) {
  const float a = 1, b = 2;
  for (const int n : {0, -1, -64}) {
    float distance = -1;
    EXPECT_EQ(0, descr_diff5(&a, 0, &b, 0, n, &distance));
    EXPECT_EQ(0.0f, distance);
  }
}

TEST(DescriptorDistance, StartsAtTheGivenElements) {
  const std::vector<float> a = {9, 9, 1, 2}, b = {9, 4, 6, 9};
  float distance = -1;
  EXPECT_EQ(2, descr_diff5(a.data(), 2, b.data(), 1, 2, &distance));
  EXPECT_EQ(25.0f, distance);
}

TEST(DescriptorDistance, AddsInSinglePrecisionInTheOrderOfTheElements) {
  // 2^24 swallows each later 1: another order, or lanes over the elements, would keep them.
  std::vector<float> a(64, 1.0f);
  const std::vector<float> zero(64, 0.0f);
  a[0] = 4096.0f;
  float distance = -1;
  descr_diff5(a.data(), 0, zero.data(), 0, 64, &distance);
  EXPECT_EQ(16777216.0f, distance);
  std::swap(a[0], a[63]);
  descr_diff5(a.data(), 0, zero.data(), 0, 64, &distance);
  EXPECT_EQ(16777280.0f, distance);
}

} // namespace
} // namespace vindrel::test
