// The stages inside the detector: integral image, responses, extrema, refinement, tolerances, conversion.
#include "VindrelRegLib.h"
#include "features/AdaptiveTolerances.h"
#include "features/ExtremumKernel.h"
#include "features/ResponseRows.h"
#include "features/SubpixelRefinement.h"
#include "reference/Features.h"
#include "support/FeatureScenes.h"
#include "support/GuardedBuffer.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>
#include <vector>

namespace vindrel::test {
namespace {

TEST(BoxSum, AddsTheGreyValuesOfAllBoundsInclusive) {
  const reference::Image image = noiseImage(29, 23, 1);
  const auto sums = reference::integral(image);
  for (const auto &[x1, y1, x2, y2] : {std::array{-3, -2, 4, 5}, {0, 0, 0, 0}, {1, 1, 3, 2}, {-9, -9, -2, -1}}) {
    const int column = 12, row = 11;
    std::uint32_t expected = 0;
    for (int y = row + y1; y <= row + y2; ++y)
      for (int x = column + x1; x <= column + x2; ++x)
        expected += image.grey[static_cast<std::size_t>(y * 29 + x)];
    EXPECT_EQ(expected, vdsubcalc(x1, y1, x2, y2, static_cast<unsigned>(row * 29 + column), 29, sums.data()));
  }
}

TEST(BoxSum, IsRightAcrossAWrapOfTheIntegralImage) {
  // The same image with a constant added to every entry, so that entries wrap inside the box: the constant cancels.
  auto sums = reference::integral(noiseImage(20, 20, 2));
  const std::uint32_t expected = vdsubcalc(-2, -2, 2, 2, 10 * 20 + 10, 20, sums.data());
  const std::uint32_t shift = 0u - sums[10 * 20 + 10];
  for (auto &sum : sums)
    sum += shift;
  EXPECT_EQ(expected, vdsubcalc(-2, -2, 2, 2, 10 * 20 + 10, 20, sums.data()));
}

TEST(IntegralImage, MatchesTheReferenceOverAwkwardSizes) {
  for (const int width : {1, 2, 3, 15, 16, 17, 67})
    for (const int height : {1, 2, 9}) {
      const reference::Image image = noiseImage(width, height, 3);
      GuardedBuffer<std::uint32_t> sums(image.grey.size());
      fillIntegral(image.grey.data(), {width, height}, sums.data());
      EXPECT_EQ(reference::integral(image), sums.copy());
      EXPECT_TRUE(sums.guardsIntact());
    }
}

TEST(ResponseRow, MatchesTheReferenceBitForBit) {
  for (const int width : {41, 42, 43, 47, 58, 73})
    for (const bool extreme : {false, true}) {
      reference::Image image = noiseImage(width, 43, 4u + static_cast<unsigned>(width));
      if (extreme)
        for (auto &value : image.grey)
          value = value < 128 ? 0 : 255;
      const auto sums = reference::integral(image);
      const reference::Boxes truth{sums.data(), width};
      for (int row = 20; row < 23; ++row) {
        const auto count = static_cast<std::size_t>(width - 40);
        GuardedBuffer<float> out[3] = {GuardedBuffer<float>(count), GuardedBuffer<float>(count),
                                       GuardedBuffer<float>(count)};
        responseRow({sums.data(), width}, row, 20, width - 20, {out[0].data(), out[1].data(), out[2].data()});
        for (int f = 0; f < 3; ++f) {
          EXPECT_TRUE(out[f].guardsIntact());
          for (std::size_t i = 0; i < count; ++i)
            ASSERT_EQ(reference::response(truth, row * width + 20 + static_cast<int>(i), 9 + 6 * f), out[f][i]);
        }
      }
    }
}

TEST(ResponseRow, IsExactWhereBothDerivativesAreAsLargeAsTheyGet) {
  // White where the sum of Dxx and Dyy of the size-21 filter has a positive weight, black elsewhere; and the reverse.
  const int side = 41, centre = 20;
  for (const bool inverted : {false, true}) {
    reference::Image image = uniformImage(side, side, 0);
    for (int y = -10; y <= 10; ++y)
      for (int x = -10; x <= 10; ++x) {
        const int ax = std::abs(x), ay = std::abs(y);
        const int xx = ay <= 6 ? (ax <= 3 ? -2 : 1) : 0, yy = ax <= 6 ? (ay <= 3 ? -2 : 1) : 0;
        image.grey[static_cast<std::size_t>((centre + y) * side + centre + x)] = (xx + yy > 0) != inverted ? 255 : 0;
      }
    const auto sums = reference::integral(image);
    float r9 = 0, r15 = 0, r21 = 0;
    responseRow({sums.data(), side}, centre, centre, centre + 1, {&r9, &r15, &r21});
    EXPECT_EQ(static_cast<float>(0.033738191632928474 * (35700.0 * 35700.0)), r21);
    EXPECT_EQ(reference::response({sums.data(), side}, centre * side + centre, 21), r21);
  }
}

TEST(ResponseRing, ReadsTheFullResolutionMapsWithTheLevelsOwnRowLength) {
  const int width = 97, height = 89;
  const reference::Image image = blobImage(width, height, 6);
  const auto sums = reference::integral(image);
  const reference::Boxes boxes{sums.data(), width};
  std::vector<float> maps[3];
  for (int f = 0; f < 3; ++f) {
    maps[f].assign(image.grey.size(), 0.0f);
    for (int r = 20; r < height - 20; ++r)
      for (int c = 20; c < width - 20; ++c)
        maps[f][static_cast<std::size_t>(r * width + c)] = reference::response(boxes, r * width + c, 9 + 6 * f);
  }
  for (const int level : {0, 1, 2}) {
    const int levelWidth = width >> level, levelHeight = height >> level;
    ResponseRing ring({sums.data(), width}, {width, height}, levelWidth);
    ASSERT_TRUE(ring);
    for (int y = 1; y < levelHeight - 1; ++y) {
      const ResponseNeighbourhood rows = ring.around(y);
      for (int d = -1; d <= 1; ++d)
        for (int x = 0; x < levelWidth; ++x) {
          const auto i = static_cast<std::size_t>((y + d) * levelWidth + x);
          ASSERT_EQ(maps[0][i], rows.size9[d + 1][x]);
          ASSERT_EQ(maps[1][i], rows.size15[d + 1][x]);
          ASSERT_EQ(maps[2][i], rows.size21[d + 1][x]);
        }
    }
  }
}

// 3 x 3 x 3 responses around one pixel, all zero but for what a test sets.
struct Cube {
  float at[3][3][3] = {}; // filter size, row, column
  ResponseNeighbourhood rows() const {
    return {{at[0][0], at[0][1], at[0][2]}, {at[1][0], at[1][1], at[1][2]}, {at[2][0], at[2][1], at[2][2]}};
  }
  bool isExtremum() const {
    std::uint8_t marks[3] = {7, 7, 7};
    markExtrema(rows(), 1, 2, marks);
    EXPECT_EQ(7, marks[0]);
    EXPECT_EQ(7, marks[2]);
    EXPECT_EQ(marks[1] == 1, reference::standsOut(&at[0][1][1], &at[1][1][1], &at[2][1][1], 3));
    return marks[1] == 1;
  }
};

TEST(Extremum, AcceptsAResponseOfExactlyTenThousandOfEitherSign) {
  Cube cube;
  cube.at[1][1][1] = 10000.0f;
  EXPECT_TRUE(cube.isExtremum());
  cube.at[1][1][1] = -10000.0f;
  EXPECT_TRUE(cube.isExtremum());
}

TEST(Extremum, RejectsAResponseJustBelowTenThousand) {
  Cube cube;
  for (const float value : {9999.9f, -9999.9f, std::nextafter(10000.0f, 0.0f), std::nextafter(-10000.0f, 0.0f), 0.0f}) {
    cube.at[1][1][1] = value;
    EXPECT_FALSE(cube.isExtremum()) << value;
  }
}

TEST(Extremum, MustBeStrictAgainstEachOfThe26Neighbours) {
  for (const float sign : {1.0f, -1.0f})
    for (int f = 0; f < 3; ++f)
      for (int y = 0; y < 3; ++y)
        for (int x = 0; x < 3; ++x) {
          if (f == 1 && y == 1 && x == 1) continue;
          Cube cube;
          cube.at[1][1][1] = sign * 20000.0f;
          cube.at[f][y][x] = sign * 20000.0f;
          EXPECT_FALSE(cube.isExtremum()) << f << y << x;
          cube.at[f][y][x] = std::nextafter(sign * 20000.0f, 0.0f);
          EXPECT_TRUE(cube.isExtremum()) << f << y << x;
          cube.at[f][y][x] = std::nextafter(sign * 20000.0f, sign * 30000.0f);
          EXPECT_FALSE(cube.isExtremum()) << f << y << x;
        }
}

TEST(Extremum, MatchesTheReferenceOverAwkwardWidths) {
  std::mt19937 random(8);
  for (int width = 3; width < 40; ++width) {
    std::vector<float> rows[9];
    for (auto &row : rows)
      for (int x = 0; x < width; ++x) // few distinct values, so that many neighbours tie
        row.push_back(static_cast<float>(static_cast<int>(random() % 9) - 4) * 5000.0f);
    for (int x = 1; x < width - 1; x += 2)
      rows[4][static_cast<std::size_t>(x)] = x % 4 == 1 ? 25000.0f : -25000.0f;
    GuardedBuffer<std::uint8_t> marks(static_cast<std::size_t>(width), 9);
    markExtrema({{rows[0].data(), rows[1].data(), rows[2].data()},
                 {rows[3].data(), rows[4].data(), rows[5].data()},
                 {rows[6].data(), rows[7].data(), rows[8].data()}},
                1, width - 1, marks.data());
    std::vector<float> joined[3];
    for (int f = 0; f < 3; ++f)
      for (int r = 0; r < 3; ++r)
        joined[f].insert(joined[f].end(), rows[3 * f + r].begin(), rows[3 * f + r].end());
    EXPECT_EQ(9, marks[0]);
    EXPECT_EQ(9, marks[static_cast<std::size_t>(width) - 1]);
    for (int x = 1; x < width - 1; ++x)
      EXPECT_EQ(reference::standsOut(&joined[0][static_cast<std::size_t>(width + x)],
                                     &joined[1][static_cast<std::size_t>(width + x)],
                                     &joined[2][static_cast<std::size_t>(width + x)], width),
                marks[static_cast<std::size_t>(x)] == 1);
    EXPECT_TRUE(marks.guardsIntact());
  }
}

TEST(Refinement, FindsTheExtremumOfAQuadratic) {
  // 50000 - 100 ((x - 0.25)^2 + 2 (y + 0.125)^2 + 4 (s - 0.0625)^2), rounded to single precision.
  Cube cube;
  for (int s = -1; s <= 1; ++s)
    for (int y = -1; y <= 1; ++y)
      for (int x = -1; x <= 1; ++x)
        cube.at[s + 1][y + 1][x + 1] = static_cast<float>(
            50000 - 100 * ((x - 0.25) * (x - 0.25) + 2 * (y + 0.125) * (y + 0.125) + 4 * (s - 0.0625) * (s - 0.0625)));
  const auto offset = refineExtremum(cube.rows(), 1);
  ASSERT_TRUE(offset);
  EXPECT_NEAR(0.25, offset->x, 1e-4);
  EXPECT_NEAR(-0.125, offset->y, 1e-4);
  EXPECT_NEAR(0.0625, offset->size, 1e-4);
}

TEST(Refinement, FindsNothingWhereTheHessianIsSingular) {
  Cube cube; // Hxx is zero and so are all mixed terms: the first pivot is zero
  cube.at[1][1][1] = cube.at[1][1][0] = cube.at[1][1][2] = 20000.0f;
  EXPECT_FALSE(refineExtremum(cube.rows(), 1));
}

TEST(Tolerance, KeepsAPointExactlyOnIt) {
  for (const float position : {0.2f, 0.6f, 0.7f, 0.8f})
    for (const float size : {0.2f, 0.5f, 0.7f}) {
      const double p = position, s = size;
      for (const double sign : {1.0, -1.0}) {
        EXPECT_TRUE(isWithin({sign * p, sign * p, sign * s}, {position, size}));
        EXPECT_FALSE(isWithin({sign * std::nextafter(p, 1.0), 0, 0}, {position, size}));
        EXPECT_FALSE(isWithin({0, sign * std::nextafter(p, 1.0), 0}, {position, size}));
        EXPECT_FALSE(isWithin({0, 0, sign * std::nextafter(s, 1.0)}, {position, size}));
      }
    }
}

TEST(Tolerance, RejectsUndefinedOffsets) {
  const double nan = std::numeric_limits<double>::quiet_NaN(), infinity = std::numeric_limits<double>::infinity();
  for (const double value : {nan, infinity, -infinity}) {
    EXPECT_FALSE(isWithin({value, 0, 0}, {0.8f, 0.7f}));
    EXPECT_FALSE(isWithin({0, value, 0}, {0.8f, 0.7f}));
    EXPECT_FALSE(isWithin({0, 0, value}, {0.8f, 0.7f}));
  }
}

TEST(AdaptiveTolerances, StepUpByATenthAtEachFiftiethPixelWithoutPoints) {
  AdaptiveTolerances tolerances(1000, 10);
  tolerances.visit(49, 0);
  EXPECT_EQ(0.6f, tolerances.current().position);
  EXPECT_EQ(0.5f, tolerances.current().size);
  tolerances.visit(1, 0);
  EXPECT_EQ(0.6f + 0.1f, tolerances.current().position);
  EXPECT_EQ(0.5f + 0.1f, tolerances.current().size);
  tolerances.visit(500, 0);
  EXPECT_EQ(0.8f, tolerances.current().position);
  EXPECT_EQ(0.7f, tolerances.current().size);
}

TEST(AdaptiveTolerances, StepDownByAThousandthAheadOfTheBudgetAndStopAtAFifth) {
  AdaptiveTolerances tolerances(1000000, 10);
  tolerances.visit(50, 5);
  EXPECT_EQ(0.6f - 0.001f, tolerances.current().position);
  EXPECT_EQ(0.5f - 0.001f, tolerances.current().size);
  tolerances.visit(50 * 1000, 5);
  EXPECT_EQ(0.2f, tolerances.current().position);
  EXPECT_EQ(0.2f, tolerances.current().size);
}

TEST(AdaptiveTolerances, StayWhereTheSharesAreEqual) {
  AdaptiveTolerances tolerances(100, 2);
  tolerances.visit(49, 0);
  tolerances.visit(1, 1); // half of the pixels, half of the budget
  EXPECT_EQ(0.6f, tolerances.current().position);
  EXPECT_EQ(0.5f, tolerances.current().size);
}

TEST(AdaptiveTolerances, DoNotMoveWithoutABudgetAndPoints) {
  AdaptiveTolerances tolerances(1000, 0); // 0 points of 0: the share is undefined
  tolerances.visit(500, 0);
  EXPECT_EQ(0.6f, tolerances.current().position);
}

TEST(WholePixel, AddsOneToEveryNonNegativeQuotient) {
  for (const std::int32_t value : {0, 1, 49, 50, 99, 100, 101, 2130, 102399, 2147483647})
    EXPECT_EQ(value / 100 + 1, wholePixel(value)) << value;
}

TEST(WholePixel, RoundsNegativeCoordinatesByTheHalf) {
  EXPECT_EQ(1, wholePixel(-49));
  EXPECT_EQ(0, wholePixel(-50));
  EXPECT_EQ(0, wholePixel(-99));
  EXPECT_EQ(0, wholePixel(-149));
  EXPECT_EQ(-1, wholePixel(-150));
  EXPECT_EQ(-1, wholePixel(-199));
  EXPECT_EQ(-1, wholePixel(-249));
  EXPECT_EQ(-2, wholePixel(-250));
  for (std::int32_t value = -100000; value <= 100000; ++value)
    ASSERT_EQ(reference::converted(value), wholePixel(value)) << value;
}

// What the detector does with column x and offset ox: hundredths, then whole pixels.
int finalColumn(int x, double ox) {
  return wholePixel(100 * x + static_cast<int>(100 * ox));
}

TEST(WholePixel, PutsOffsetsAboveAHundredthBelowZeroIntoTheNextColumn) {
  EXPECT_EQ(31, finalColumn(30, 0.0));
  EXPECT_EQ(31, finalColumn(30, 0.8));
  EXPECT_EQ(31, finalColumn(30, std::nextafter(-0.01, 0.0)));
  EXPECT_EQ(30, finalColumn(30, -0.01));
  EXPECT_EQ(30, finalColumn(30, -0.8));
}

} // namespace
} // namespace vindrel::test
