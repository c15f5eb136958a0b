// The stages inside the detector: integral image, responses, extrema, refinement, tolerances, conversion.
#include "VindrelRegLib.h"
#include "features/AdaptiveTolerances.h"
#include "features/BoxFilter.h"
#include "features/CandidateKernel.h"
#include "features/ExtremumRows.h"
#include "features/SubpixelRefinement.h"
#include "reference/Features.h"
#include "support/EveryTarget.h"
#include "support/FeatureScenes.h"
#include "support/GuardedBuffer.h"

#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <cmath>
#include <limits>
#include <random>
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

template <class Sum>
void fillsIntegral(int width, int height) {
  const reference::Image image = noiseImage(width, height, 3);
  const auto expected = reference::integral(image);
  GuardedBuffer<Sum> sums(image.grey.size());
  fillIntegral(image.grey.data(), {width, height}, sums.data());
  for (std::size_t i = 0; i < expected.size(); ++i)
    ASSERT_EQ(static_cast<Sum>(expected[i]), sums[i]) << width << " x " << height << ", entry " << i;
  EXPECT_TRUE(sums.guardsIntact());
}

TEST(IntegralImage, MatchesTheReferenceOverAwkwardSizes) {
  onEveryTarget([] {
    for (int width = 0; width <= 70; ++width)
      for (const int height : {0, 1, 2, 9}) {
        fillsIntegral<std::uint16_t>(width, height);
        fillsIntegral<std::uint32_t>(width, height);
      }
  });
}

TEST(IntegralImage, WrapsAround) {
  onEveryTarget([] { fillsIntegral<std::uint16_t>(300, 40); }); // up to 23 times around 2^16
}

// The detector's own integral image.
std::vector<std::uint16_t> detectorSums(const reference::Image &image) {
  std::vector<std::uint16_t> sums(image.grey.size());
  fillIntegral(image.grey.data(), {image.width, image.height}, sums.data());
  return sums;
}

// White where the filter built of signs has a positive weight, black elsewhere, or the reverse: as large as a
// combination of derivatives gets at the centre. signs(x, y) is a weight relative to the centre.
template <class Signs>
reference::Image extremeImage(int side, bool inverted, Signs signs) {
  reference::Image image = uniformImage(side, side, 0);
  const int centre = side / 2;
  for (int y = -10; y <= 10; ++y)
    for (int x = -10; x <= 10; ++x)
      image.grey[static_cast<std::size_t>((centre + y) * side + centre + x)] = (signs(x, y) > 0) != inverted ? 255 : 0;
  return image;
}

// The weights of a filter's derivatives: half the filter's size is lobe + lobe / 2, lobes are 2 breadth + 1 across.
struct Weights {
  int lobe, breadth, square;
  int xx(int x, int y) const {
    const int half = lobe + lobe / 2, inner = lobe / 2;
    return std::abs(y) > breadth || std::abs(x) > half ? 0 : std::abs(x) <= inner ? -2 : 1;
  }
  int yy(int x, int y) const { return xx(y, x); }
  int xy(int x, int y) const {
    if (x == 0 || y == 0 || std::abs(x) > square || std::abs(y) > square) return 0;
    return (x > 0) == (y > 0) ? 1 : -1;
  }
};
constexpr Weights kWeights15 = {5, 4, 5}, kWeights21 = {7, 6, 7};

// Images whose derivatives go to the limits: noise, noise of black and white, and those that make one of the
// derivatives, or two together, as large as they get.
std::vector<reference::Image> hardImages(int width, int height) {
  std::vector<reference::Image> images = {noiseImage(width, height, 4u + static_cast<unsigned>(width)),
                                          blobImage(width, height, 5)};
  images.push_back(images[0]);
  for (auto &value : images.back().grey)
    value = value < 128 ? 0 : 255;
  for (const Weights &w : {kWeights15, kWeights21})
    for (const bool inverted : {false, true}) {
      images.push_back(extremeImage(width, inverted, [&](int x, int y) { return w.xx(x, y); }));
      images.push_back(extremeImage(width, inverted, [&](int x, int y) { return w.yy(x, y); }));
      images.push_back(extremeImage(width, inverted, [&](int x, int y) { return w.xy(x, y); }));
      images.push_back(extremeImage(width, inverted, [&](int x, int y) { return w.xx(x, y) + w.yy(x, y); }));
      images.push_back(extremeImage(width, inverted, [&](int x, int y) { return w.xx(x, y) - w.yy(x, y); }));
      images.push_back(extremeImage(width, inverted, [&](int x, int y) { return w.xx(x, y) + w.xy(x, y); }));
    }
  return images;
}

TEST(Responses, MatchTheReferenceBitForBitAndAreZeroNearTheBorders) {
  onEveryTarget([] {
    for (const int side : {41, 42, 45})
      for (const reference::Image &image : hardImages(side, side)) {
        const auto wide = reference::integral(image);
        const auto sums = detectorSums(image);
        for (int y = 0; y < image.height; ++y)
          for (int x = 0; x < image.width; ++x) {
            const bool inside = std::min(std::min(x, y), side - 1 - std::max(x, y)) >= 20;
            const int i = y * image.width + x;
            const auto responses = responsesAt(sums.data(), {image.width, image.height}, i);
            for (int f = 0; f < 3; ++f)
              ASSERT_EQ(inside ? reference::response({wide.data(), image.width}, i, 9 + 6 * f) : 0.0f,
                        responses[static_cast<std::size_t>(f)])
                  << x << " " << y << " size " << 9 + 6 * f;
          }
      }
  });
}

TEST(Responses, AreExactWhereBothDerivativesAreAsLargeAsTheyGet) {
  for (const bool inverted : {false, true}) {
    const reference::Image image =
        extremeImage(41, inverted, [](int x, int y) { return kWeights21.xx(x, y) + kWeights21.yy(x, y); });
    const auto sums = detectorSums(image);
    EXPECT_EQ(static_cast<float>(0.033738191632928474 * (35700.0 * 35700.0)),
              responsesAt(sums.data(), {41, 41}, 20 * 41 + 20)[2]);
  }
}

// In twice the precision that the estimate has, from boxes of their own.
double determinant15(const reference::Boxes &b, std::int64_t i) {
  const double dxx = b(i, -7, -4, -3, 4) + b(i, 3, -4, 7, 4) - 2 * b(i, -2, -4, 2, 4);
  const double dyy = b(i, -4, -7, 4, -3) + b(i, -4, 3, 4, 7) - 2 * b(i, -4, -2, 4, 2);
  const double dxy = b(i, -5, -5, -1, -1) + b(i, 1, 1, 5, 5) - b(i, -5, 1, -1, 5) - b(i, 1, -5, 5, -1);
  return dxx * dyy - 0.81 * dxy * dxy;
}

TEST(Estimates, StayWithinTheirBoundOfTheDeterminant) {
  double worst = 0;
  onEveryTarget([&worst] {
    for (int side = 43; side < 80; side += 3)
      for (const reference::Image &image : hardImages(side, side)) {
        const auto wide = reference::integral(image);
        const auto sums = detectorSums(image);
        const std::size_t stride = static_cast<std::size_t>(side + kCandidateSlack);
        GuardedBuffer<std::int16_t> work(kEstimateWorkRows * stride, 77);
        GuardedBuffer<float> estimates(stride);
        for (int y = 20; y < side - 20; ++y) {
          estimateRow({sums.data(), side}, y, work.data(), estimates.data());
          for (int x = 20; x < side - 20; ++x) {
            const double exact = determinant15({wide.data(), side}, y * side + x);
            const double error = std::abs(double{estimates[static_cast<std::size_t>(x)]} - exact);
            ASSERT_LT(error, kEstimateError) << x << " " << y;
            worst = std::max(worst, error);
          }
        }
        EXPECT_TRUE(work.guardsIntact());
        EXPECT_TRUE(estimates.guardsIntact());
      }
  });
  EXPECT_GT(worst, 8); // the images do come near the limits
}

TEST(Candidates, AreAllWhoseEstimateIsLargeEnoughAndNotClearlyBeaten) {
  onEveryTarget([] {
    std::mt19937 random(9);
    for (int width = 3; width < 150; ++width) {
      const std::size_t room = static_cast<std::size_t>(width + kCandidateSlack);
      std::vector<float> rows[3];
      for (auto &row : rows)
        for (std::size_t x = 0; x < room; ++x) // ties, near ties and values around the least
          row.push_back((random() % 2 == 0 ? 77000.0f : -77000.0f) + static_cast<float>(random() % 6) * 100.0f);
      GuardedBuffer<std::int32_t> columns(static_cast<std::size_t>(width), -7);
      const int count = findCandidates(rows[0].data(), rows[1].data(), rows[2].data(), 1, width - 1, columns.data());
      EXPECT_TRUE(columns.guardsIntact());
      const std::vector<std::int32_t> found(columns.data(), columns.data() + count);
      for (int x = 1; x < width - 1; ++x) {
        const float here = rows[1][static_cast<std::size_t>(x)], sign = here < 0 ? -1.0f : 1.0f;
        bool must = sign * here >= 77200 - kEstimateError, may = sign * here >= 77199 - kEstimateError;
        for (const auto &row : rows)
          for (int dx = -1; dx <= 1; ++dx) {
            const float lead = sign * (here - row[static_cast<std::size_t>(x + dx)]);
            must = must && lead > -2 * kEstimateError;
            may = may && lead >= -256;
          }
        const bool is = std::find(found.begin(), found.end(), x) != found.end();
        EXPECT_TRUE(is ? may : !must) << "column " << x << " of " << width;
      }
      EXPECT_TRUE(std::is_sorted(found.begin(), found.end()));
    }
  });
}

TEST(ExtremumRows, FindTheExtremaOfTheReferencesMapsWithAllTheirNeighbours) {
  int found = 0;
  for (const auto &[width, height] :
       {std::pair{43, 43}, {44, 47}, {58, 50}, {75, 61}, {107, 70}, {171, 50}, {230, 190}}) {
    std::vector<reference::Image> images = {noiseImage(width, height, 6), blobImage(width, height, 7),
                                            noiseImage(width, height, 8)};
    for (auto &value : images.back().grey)
      value = value < 230 ? 0 : 255; // equal boxes, and so equal responses
    for (const reference::Image &image : images) {
      const auto wide = reference::integral(image);
      std::vector<float> maps[3];
      for (int f = 0; f < 3; ++f) {
        maps[f].assign(image.grey.size(), 0.0f);
        for (int y = 20; y < height - 20; ++y)
          for (int x = 20; x < width - 20; ++x)
            maps[f][static_cast<std::size_t>(y * width + x)] =
                reference::response({wide.data(), width}, y * width + x, 9 + 6 * f);
      }
      const auto sums = detectorSums(image);
      onEveryTarget([&, width = width, height = height] {
        ExtremumRows rows(sums.data(), {width, height});
        ASSERT_TRUE(rows);
        for (int y = 21; y < height - 21; ++y) {
          const auto extrema = rows.in(y);
          std::size_t next = 0;
          for (int x = 21; x < width - 21; ++x) {
            const std::ptrdiff_t i = y * width + x;
            if (!reference::standsOut(maps[0].data() + i, maps[1].data() + i, maps[2].data() + i, width)) continue;
            ASSERT_LT(next, extrema.size()) << x << " " << y;
            ASSERT_EQ(x, extrema[next].column) << y;
            for (int f = 0; f < 3; ++f)
              for (int dy = -1; dy <= 1; ++dy)
                for (int dx = -1; dx <= 1; ++dx)
                  ASSERT_EQ(maps[f][static_cast<std::size_t>(i + dy * width + dx)],
                            extrema[next].responses.at[f][dy + 1][dx + 1]);
            ++next;
            ++found;
          }
          ASSERT_EQ(next, extrema.size()) << "row " << y;
        }
      });
    }
  }
  EXPECT_GT(found, 1000);
}

// Responses around one pixel, all zero but for what a test sets.
struct Cube : ResponseCube {
  bool isExtremum() const {
    const bool is = vindrel::isExtremum(*this);
    float maps[3][3][3]; // without the column that completes vectors
    for (int f = 0; f < 3; ++f)
      for (int y = 0; y < 3; ++y)
        std::copy_n(at[f][y], 3, maps[f][y]);
    EXPECT_EQ(is, reference::standsOut(&maps[0][1][1], &maps[1][1][1], &maps[2][1][1], 3));
    return is;
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

RefinedExtremum refineOne(const ResponseCube &cube) {
  const Extremum extremum = {0, cube};
  RefinedExtremum refined;
  refineExtrema(&extremum, 1, &refined);
  return refined;
}

TEST(Refinement, FindsTheExtremumOfAQuadratic) {
  // 50000 - 100 ((x - 0.25)^2 + 2 (y + 0.125)^2 + 4 (s - 0.0625)^2), rounded to single precision.
  Cube cube;
  for (int s = -1; s <= 1; ++s)
    for (int y = -1; y <= 1; ++y)
      for (int x = -1; x <= 1; ++x)
        cube.at[s + 1][y + 1][x + 1] = static_cast<float>(
            50000 - 100 * ((x - 0.25) * (x - 0.25) + 2 * (y + 0.125) * (y + 0.125) + 4 * (s - 0.0625) * (s - 0.0625)));
  const RefinedExtremum refined = refineOne(cube);
  ASSERT_TRUE(refined.exists);
  EXPECT_NEAR(0.25, refined.offset.x, 1e-4);
  EXPECT_NEAR(-0.125, refined.offset.y, 1e-4);
  EXPECT_NEAR(0.0625, refined.offset.size, 1e-4);
}

TEST(Refinement, FindsNothingWhereTheHessianIsSingular) {
  Cube cube; // Hxx is zero and so are all mixed terms: the first pivot is zero
  cube.at[1][1][1] = cube.at[1][1][0] = cube.at[1][1][2] = 20000.0f;
  EXPECT_FALSE(refineOne(cube).exists);
}

bool sameBits(double a, double b) {
  return std::bit_cast<std::uint64_t>(a) == std::bit_cast<std::uint64_t>(b) || (std::isnan(a) && std::isnan(b));
}

TEST(Refinement, MatchesTheReferenceBitForBitForAnyNumberOfCubes) {
  // Cubes of responses as they come; of few values, so that candidates for pivot tie, vanish and are negative; with
  // mixed terms of zero, or all but one response zero; and with what is infinite or not a number among them.
  std::mt19937 random(31);
  const auto response = [&](int kind) {
    const auto small = static_cast<float>(static_cast<int>(random() % 5) - 2);
    if (kind == 0) return (static_cast<float>(random() % 2000001) - 1e6f) * 0.37f;
    if (kind == 1) return 1000 * small;
    if (kind == 2) return random() % 3 == 0 ? 1e5f * small : 0.0f;
    const float odd[] = {std::numeric_limits<float>::infinity(), std::numeric_limits<float>::quiet_NaN(), -0.0f, 3e38f};
    return random() % 20 == 0 ? odd[random() % 4] : 100 * small;
  };
  int existing = 0, missing = 0;
  onEveryTarget([&] {
    for (int count = 0; count <= 37; ++count)
      for (int kind = 0; kind < 4; ++kind)
        for (int trial = 0; trial < 8; ++trial) {
          std::vector<Extremum> extrema(static_cast<std::size_t>(count));
          std::vector<RefinedExtremum> refined(extrema.size() + 1, {{77, 77, 77}, true});
          for (Extremum &extremum : extrema)
            for (auto &map : extremum.responses.at)
              for (auto &row : map)
                for (float &value : row)
                  value = response(kind);
          refineExtrema(extrema.data(), count, refined.data());
          EXPECT_EQ(77, refined.back().offset.x); // not written
          for (std::size_t i = 0; i < extrema.size(); ++i) {
            const auto &maps = extrema[i].responses.at;
            double expected[3] = {};
            const bool exists = reference::refine(&maps[0][1][1], &maps[1][1][1], &maps[2][1][1], 4, expected);
            ASSERT_EQ(exists, refined[i].exists);
            ++(exists ? existing : missing);
            if (!exists) continue;
            const SubpixelOffset &offset = refined[i].offset;
            ASSERT_TRUE(sameBits(expected[0], offset.x)) << expected[0] << " " << offset.x;
            ASSERT_TRUE(sameBits(expected[1], offset.y)) << expected[1] << " " << offset.y;
            ASSERT_TRUE(sameBits(expected[2], offset.size)) << expected[2] << " " << offset.size;
          }
        }
  });
  EXPECT_GT(existing, 1000);
  EXPECT_GT(missing, 1000);
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
