// The plan of a straightening: transform, crop, scale and size, without touching a pixel.
#include "perspective/Straighten.h"

#include "perspective/Pictures.h"
#include "reference/Straighten.h"
#include "transform/MapPoint.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numbers>
#include <random>

namespace vindrel {

namespace {

bool equalValues(float a, float b) {
  return a == b || (std::isnan(a) && std::isnan(b));
}

StraightenRequest request(float factorV, float factorH, float degrees) {
  return {.factorV = factorV, .factorH = factorH, .angleDegrees = degrees};
}

void expectUsable(const StraightenPlan &plan, Size source) {
  EXPECT_GE(plan.size.width, 1);
  EXPECT_GE(plan.size.height, 1);
  EXPECT_LE(plan.size.width, source.width);
  EXPECT_LE(plan.size.height, source.height);
  EXPECT_TRUE(std::isfinite(plan.cropX));
  EXPECT_TRUE(std::isfinite(plan.cropY));
}

TEST(PlanStraightening, WithoutCorrectionsIsTheIdentityAtFullSize) {
  for (const Size source : {Size{400, 300}, Size{2, 2}, Size{6000, 4000}, Size{1000, 1002}}) {
    const StraightenPlan plan = planStraightening(source, {});
    EXPECT_EQ(plan.sourceFromOutput, kIdentity8);
    EXPECT_EQ(plan.size, source);
    EXPECT_EQ(plan.offsetX, 0);
    EXPECT_EQ(plan.offsetY, 0);
  }
}

TEST(PlanStraightening, LosesARowWhereTheAspectDoesNotDivideExactly) {
  // 72 / (72 / 1122) is a little under 1122 in double precision.
  const StraightenPlan plan = planStraightening({72, 1122}, {});
  EXPECT_EQ(plan.sourceFromOutput, kIdentity8);
  EXPECT_EQ(plan.size, (Size{72, 1121}));
}

TEST(PlanStraightening, MapsTheCornersOfAnOddSideOnePixelShort) {
  // The corners are placed at whole pixels from the middle, 200 of them for a width of 401.
  const Trans8 t = straighteningTransform({401, 301}, {});
  const PointD far = mapPerspectiveD(t.data(), 401, 301);
  EXPECT_NEAR(far.x, 400, 1e-4);
  EXPECT_NEAR(far.y, 300, 1e-4);
}

TEST(PlanStraightening, TurnsAnOddFrameAboutItsExactMiddle) {
  // The first centre is the exact middle, carried back twice through the shrinking map of the odd side.
  const Trans8 t = straighteningTransform({401, 300}, request(0, 0, 30));
  const double shrink = 400.0 / 401, once = 200.5 / shrink, twice = once / shrink;
  // That point, in the frame of the moved corners, is the one that the rotation leaves in place.
  const PointD fixed = mapPerspectiveD(t.data(), twice / shrink, 150);
  EXPECT_NEAR(fixed.x, twice, 1e-3);
  EXPECT_NEAR(fixed.y, 150, 1e-3);
}

TEST(PlanStraightening, WithoutCropKeepsTheFrameWhateverTheFactors) {
  for (const float factor : {0.0f, 0.1f, -0.2f, 0.5f}) {
    StraightenRequest r = request(factor, -factor, 100 * factor);
    r.crop = false;
    const StraightenPlan plan = planStraightening({400, 300}, r);
    EXPECT_FALSE(plan.cropped);
    EXPECT_EQ(plan.size, (Size{400, 300}));
    EXPECT_EQ(plan.cropX, 0);
    EXPECT_EQ(plan.cropY, 0);
    EXPECT_EQ(plan.offsetX, 0);
    EXPECT_EQ(plan.offsetY, 0);
    EXPECT_EQ(plan.sourceFromOutput, straighteningTransform({400, 300}, r));
  }
}

TEST(PlanStraightening, KeepsTheFrameWhereNoCropIsFound) {
  const StraightenRequest r = request(-0.2f, -0.1f, 0);
  reference::Crop crop;
  const Trans8 t = straighteningTransform({400, 300}, r);
  ASSERT_EQ(reference::optimalCrop(t.data(), 400, 300, false, r.factorV, r.factorH, crop), 0);
  const StraightenPlan plan = planStraightening({400, 300}, r);
  EXPECT_FALSE(plan.cropped);
  EXPECT_EQ(plan.size, (Size{400, 300}));
}

TEST(PlanStraightening, AgreesWithTheComposedHomography) {
  for (const Size source : {Size{400, 300}, Size{401, 301}, Size{1280, 853}, Size{255, 600}}) {
    for (const float v : {-0.1f, -0.03f, 0.0f, 0.06f}) {
      for (const float h : {-0.08f, 0.0f, 0.02f, 0.1f}) {
        for (const float degrees : {-30.0f, -2.5f, 0.0f, 7.0f, 90.0f}) {
          const Trans8 t = straighteningTransform(source, request(v, h, degrees));
          const test::Homography exact = test::exactStraightening(source.width, source.height, static_cast<double>(v),
                                                                  static_cast<double>(h), static_cast<double>(degrees));
          for (const double x : {0.0, 0.37, 1.0}) {
            for (const double y : {0.0, 0.61, 1.0}) {
              const auto [ex, ey] = exact(x * source.width, y * source.height);
              const PointD p = mapPerspectiveD(t.data(), x * source.width, y * source.height);
              // A hundredth of a pixel: what corners kept in single precision through three rounds leave.
              ASSERT_NEAR(p.x, ex, 0.01) << source.width << " " << v << " " << h << " " << degrees;
              ASSERT_NEAR(p.y, ey, 0.01) << source.width << " " << v << " " << h << " " << degrees;
            }
          }
        }
      }
    }
  }
}

TEST(PlanStraightening, MakesParallelsOfConvergingLines) {
  // Lines of the source that meet below the frame stand upright in the output.
  const Size source = {400, 300};
  const Trans8 t = straighteningTransform(source, request(0.1f, 0, 0));
  const double tilt = 2 * std::numbers::pi * static_cast<double>(0.1f) / source.height;
  // The image of the point at infinity straight down is where upright output lines meet in the source.
  const double poleY = 150 + std::cos(tilt) / std::sin(tilt);
  for (const double x : {0.0, 100.0, 350.0}) {
    const PointD a = mapPerspectiveD(t.data(), x, 0), b = mapPerspectiveD(t.data(), x, 300);
    const double slope = (b.x - a.x) / (b.y - a.y);
    EXPECT_NEAR(a.x + slope * (poleY - a.y), 200, 0.05);
  }
}

// How wide the picture's content comes out along the upper edge, compared with the lower one.
double topWidening(const Trans8 &t, Size s) {
  const auto spread = [&](double y) {
    return mapPerspectiveD(t.data(), s.width, y).x - mapPerspectiveD(t.data(), 0, y).x;
  };
  return spread(s.height) / spread(0);
}

double leftWidening(const Trans8 &t, Size s) {
  const auto spread = [&](double x) {
    return mapPerspectiveD(t.data(), x, s.height).y - mapPerspectiveD(t.data(), x, 0).y;
  };
  return spread(s.width) / spread(0);
}

TEST(PlanStraightening, WidensTheTopForANegativeVerticalFactor) {
  const Size source = {400, 300};
  EXPECT_GT(topWidening(straighteningTransform(source, request(-0.1f, 0, 0)), source), 1.5);
  EXPECT_LT(topWidening(straighteningTransform(source, request(0.1f, 0, 0)), source), 0.7);
}

TEST(PlanStraightening, WidensTheLeftForAPositiveHorizontalFactor) {
  const Size source = {400, 300};
  EXPECT_GT(leftWidening(straighteningTransform(source, request(0, 0.1f, 0)), source), 1.5);
  EXPECT_LT(leftWidening(straighteningTransform(source, request(0, -0.1f, 0)), source), 0.7);
}

TEST(PlanStraightening, TurnsThePictureAnticlockwiseForAPositiveAngle) {
  const Trans8 t = straighteningTransform({400, 300}, request(0, 0, 90));
  // What shows to the right of the middle was below it.
  const PointD p = mapPerspectiveD(t.data(), 300, 150);
  EXPECT_NEAR(p.x, 200, 1e-3);
  EXPECT_NEAR(p.y, 250, 1e-3);
}

TEST(PlanStraightening, ScalesACropThatIsWiderThanTheSourceDownToItsWidth) {
  const StraightenRequest r = request(-0.1f, -0.05f, 90);
  const StraightenPlan plan = planStraightening({400, 300}, r);
  const reference::Plan expected = reference::straighten(400, 300, -0.1f, -0.05f, 90, false, false);
  ASSERT_GT(expected.searchedW, 400);
  EXPECT_TRUE(plan.size.width == 400 || plan.size.width == 399);
  const Trans8 unscaled = straighteningTransform({400, 300}, r);
  const double scale = static_cast<double>(expected.searchedW) / 400;
  const PointD scaled = mapPerspectiveD(plan.sourceFromOutput.data(), 100, 80);
  const PointD direct = mapPerspectiveD(unscaled.data(), 100 * scale, 80 * scale);
  EXPECT_NEAR(scaled.x, direct.x, 1e-3);
  EXPECT_NEAR(scaled.y, direct.y, 1e-3);
}

TEST(PlanStraightening, HoldsACropThatComesOutTallerToTheSourcesHeight) {
  struct Case {
    Size source;
    float v, h, degrees;
  };
  for (const Case &c : {Case{{100, 584}, -0.182232827f, -0.12735486f, -8.75132465f},
                        Case{{83, 122}, -0.140972465f, -0.152124912f, 14.0575562f},
                        Case{{76, 207}, 0.0244395193f, 0.16309534f, -9.60664082f}}) {
    const reference::Plan uncut =
        reference::straighten(c.source.width, c.source.height, c.v, c.h, c.degrees, false, false);
    ASSERT_GT(uncut.uncutH, c.source.height);
    EXPECT_EQ(planStraightening(c.source, request(c.v, c.h, c.degrees)).size.height, c.source.height);
  }
}

TEST(PlanStraightening, EqualsTheReferenceToTheLastBit) {
  std::mt19937 engine(41);
  const auto number = [&](double spread) {
    return static_cast<float>(std::uniform_real_distribution<double>(-spread, spread)(engine));
  };
  int cropped = 0, uncropped = 0, scaled = 0, oneNarrower = 0, cutBack = 0;
  for (int round = 0; round < 20000; ++round) {
    const Size source = {1 + static_cast<int>(engine() % 700), 1 + static_cast<int>(engine() % 700)};
    const double spread = round % 4 == 0 ? 1.0 : 0.15;
    StraightenRequest r = request(number(spread), number(spread), number(round % 5 == 0 ? 360 : 15));
    r.crop = round % 7 != 0;
    r.pinToEdge = round % 3 == 0;
    const reference::Plan expected =
        reference::straighten(source.width, source.height, r.factorV, r.factorH, r.angleDegrees, !r.crop, r.pinToEdge);
    const StraightenPlan plan = planStraightening(source, r);
    for (int i = 0; i < 8; ++i) {
      ASSERT_TRUE(equalValues(plan.sourceFromOutput[i], expected.t[i])) << "round " << round << ", coefficient " << i;
    }
    ASSERT_EQ(plan.cropX, expected.cropX) << "round " << round;
    ASSERT_EQ(plan.cropY, expected.cropY) << "round " << round;
    ASSERT_EQ(plan.size, (Size{expected.cropW, expected.cropH})) << "round " << round;
    ASSERT_EQ(plan.offsetX, static_cast<int>(expected.cropX));
    ASSERT_EQ(plan.offsetY, static_cast<int>(expected.cropY));
    expectUsable(plan, source);
    ++(plan.cropped ? cropped : uncropped);
    if (plan.cropped && expected.searchedW > source.width) {
      ++scaled;
      if (plan.size.width < source.width) ++oneNarrower;
      ASSERT_GE(plan.size.width, source.width - 1);
    }
    if (expected.uncutH > expected.cropH) ++cutBack;
  }
  EXPECT_GT(cropped, 5000);
  EXPECT_GT(uncropped, 1000);
  EXPECT_GT(scaled, 200);
  EXPECT_GT(oneNarrower, 20);
  EXPECT_GT(cutBack, 20);
}

TEST(PlanStraightening, StaysDefinedWithTheHorizonInTheFrame) {
  // From a factor of 1 / pi upwards the denominator has its zero inside the frame.
  for (const Size source : {Size{400, 300}, Size{33, 77}, Size{1, 1}, Size{3, 1}}) {
    for (const float v : {-1e9f, -20.0f, -0.5f, -0.3183099f, 0.0f, 0.3183099f, 0.75f, 5000.0f}) {
      for (const float h : {-3e20f, -0.7f, -0.3183099f, 0.0f, 0.32f, 1.0f}) {
        for (const float degrees : {-1e30f, 0.0f, 33.0f}) {
          expectUsable(planStraightening(source, request(v, h, degrees)), source);
        }
      }
    }
  }
}

TEST(PlanStraightening, KeepsTheFrameForFactorsThatAreNoNumbers) {
  const float nan = std::numeric_limits<float>::quiet_NaN(), infinite = std::numeric_limits<float>::infinity();
  for (const float bad : {nan, infinite, -infinite}) {
    for (const StraightenRequest &r : {request(bad, 0, 0), request(0, bad, 0), request(0, 0, bad)}) {
      const StraightenPlan plan = planStraightening({400, 300}, r);
      EXPECT_FALSE(plan.cropped);
      EXPECT_EQ(plan.size, (Size{400, 300}));
    }
  }
}

TEST(PlanStraightening, OfAnEmptyFrameIsEmpty) {
  EXPECT_EQ(planStraightening({0, 0}, {}).size, (Size{0, 0}));
  EXPECT_EQ(planStraightening({0, 7}, request(0.1f, 0.1f, 1)).size, (Size{0, 7}));
}

} // namespace

} // namespace vindrel
