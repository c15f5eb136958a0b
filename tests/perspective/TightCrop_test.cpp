// Straightening without fill: proved on the pixels of pictures that hold no white.
#include "perspective/TightCrop.h"

#include "perspective/FillTable.h"
#include "warp/Warp.h"

#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <limits>
#include <random>
#include <sstream>
#include <vector>

namespace vindrel {

namespace {

using test::filledPixels;

StraightenRequest request(float factorV, float factorH, float degrees) {
  return {.factorV = factorV, .factorH = factorH, .angleDegrees = degrees};
}

TEST(PlanWithoutFill, LeavesNoFilledPixelOverAGridOfCorrections) {
  int classicWithFill = 0;
  for (const Size source : {Size{120, 90}, Size{91, 121}}) {
    for (float v = -0.2f; v <= 0.21f; v += 0.05f) {
      for (float h = -0.2f; h <= 0.21f; h += 0.05f) {
        for (const float degrees : {-90.0f, -45.0f, -20.0f, -7.0f, -1.0f, 0.0f, 0.5f, 3.0f, 15.0f, 30.0f, 180.0f}) {
          const StraightenRequest r = request(v, h, degrees);
          const StraightenPlan classic = planStraightening(source, r);
          const auto plan = planWithoutFill(source, r);
          ASSERT_TRUE(plan.has_value()) << v << " " << h << " " << degrees;
          ASSERT_EQ(filledPixels(*plan, source), 0) << v << " " << h << " " << degrees;
          ASSERT_LE(plan->size.width, source.width);
          ASSERT_LE(plan->size.height, source.height);
          if (filledPixels(classic, source) > 0) ++classicWithFill;
        }
      }
    }
  }
  EXPECT_GT(classicWithFill, 100);
}

TEST(OutputHasFill, AgreesWithThePixels) {
  std::mt19937 engine(71);
  const auto number = [&](double spread) {
    return static_cast<float>(std::uniform_real_distribution<double>(-spread, spread)(engine));
  };
  int with = 0, without = 0;
  for (int round = 0; round < 1500; ++round) {
    const Size source = {2 + static_cast<int>(engine() % 90), 2 + static_cast<int>(engine() % 90)};
    const StraightenPlan plan = planStraightening(source, request(number(0.15), number(0.15), number(30)));
    const bool fill = outputHasFill(plan, source);
    ASSERT_EQ(fill, filledPixels(plan, source) > 0) << "round " << round;
    ++(fill ? with : without);
  }
  EXPECT_GT(with, 200);
  EXPECT_GT(without, 200);
}

TEST(OutputHasFill, CountsWhatIsSeenFromBeyondTheHorizon) {
  // Denominator 1 - x / 50: at x = 100 the picture is seen mirrored, though every pixel there has source neighbours.
  StraightenPlan plan;
  plan.sourceFromOutput = {-0.5f, 0, 0, 0, -0.5f, 0, -2000, 0};
  plan.offsetX = -80;
  plan.offsetY = -10;
  plan.size = {20, 15};
  EXPECT_EQ(filledPixels(plan, {100, 100}), 0);
  EXPECT_TRUE(outputHasFill(plan, {100, 100}));
}

TEST(PlanWithoutFill, KeepsAClassicCropThatHasNone) {
  const StraightenRequest r = request(-0.1f, -0.1f, 2);
  const StraightenPlan classic = planStraightening({400, 300}, r);
  ASSERT_EQ(filledPixels(classic, {400, 300}), 0);
  const auto plan = planWithoutFill({400, 300}, r);
  ASSERT_TRUE(plan);
  EXPECT_EQ(plan->size, classic.size);
  EXPECT_EQ(plan->offsetX, classic.offsetX);
  EXPECT_EQ(plan->offsetY, classic.offsetY);
  EXPECT_EQ(plan->sourceFromOutput, classic.sourceFromOutput);
}

TEST(PlanWithoutFill, DropsTheLastColumnAndRowOfAnUncorrectedPicture) {
  const auto plan = planWithoutFill({400, 300}, {});
  ASSERT_TRUE(plan);
  EXPECT_EQ(plan->size, (Size{399, 299}));
  EXPECT_EQ(plan->offsetX, 0);
  EXPECT_EQ(plan->offsetY, 0);
}

TEST(PlanWithoutFill, LeavesTheFrameAloneWhenNoCropIsAskedFor) {
  StraightenRequest r = request(0.1f, 0, 10);
  r.crop = false;
  const auto plan = planWithoutFill({400, 300}, r);
  ASSERT_TRUE(plan);
  EXPECT_EQ(plan->size, (Size{400, 300}));
  EXPECT_FALSE(plan->cropped);
}

TEST(PlanWithoutFill, FindsACropWhereTheClassicSearchFails) {
  const StraightenRequest r = request(-0.2f, -0.1f, 0);
  ASSERT_FALSE(planStraightening({400, 300}, r).cropped);
  const auto plan = planWithoutFill({400, 300}, r);
  ASSERT_TRUE(plan);
  EXPECT_TRUE(plan->cropped);
  EXPECT_GT(plan->size.width, 300);
  EXPECT_EQ(filledPixels(*plan, {400, 300}), 0);
}

TEST(PlanWithoutFill, IsNothingWhereNothingIsLeft) {
  EXPECT_FALSE(planWithoutFill({1, 50}, {}));
  EXPECT_FALSE(planWithoutFill({50, 1}, {}));
  EXPECT_FALSE(planWithoutFill({50, 40}, request(std::numeric_limits<float>::quiet_NaN(), 0, 0)));
  EXPECT_FALSE(planWithoutFill({50, 40}, request(0, std::numeric_limits<float>::infinity(), 0)));
}

TEST(PlanWithoutFill, NeverShowsFillForHugeFactorsEither) {
  for (const float v : {-7.0f, -0.5f, -0.3183099f, 0.25f, 0.3183099f, 0.4f, 3.0f}) {
    for (const float h : {-0.4f, -0.3183099f, 0.0f, 0.33f, 11.0f}) {
      const auto plan = planWithoutFill({90, 70}, request(v, h, 5));
      if (!plan) continue;
      EXPECT_EQ(filledPixels(*plan, {90, 70}), 0) << v << " " << h;
    }
  }
}

// Every position and width of a small picture tried: the widest rectangle of the aspect without a filled pixel.
int widestByTrial(const StraightenPlan &unscaled, Size source) {
  for (int width = source.width; width > 0; --width) {
    StraightenPlan tried = unscaled;
    tried.size = {width, std::max(1, width * source.height / source.width)};
    for (tried.offsetY = -source.height; tried.offsetY <= source.height; ++tried.offsetY) {
      for (tried.offsetX = -source.width; tried.offsetX <= source.width; ++tried.offsetX) {
        if (!outputHasFill(tried, source)) return width;
      }
    }
  }
  return 0;
}

TEST(PlanWithoutFill, IsAsWideAsAnyCropThatCanBeFoundByTrial) {
  const Size source = {48, 36};
  int replaced = 0;
  for (const float v : {-0.08f, 0.0f, 0.06f}) {
    for (const float h : {-0.05f, 0.0f, 0.07f}) {
      for (const float degrees : {-40.0f, -3.0f, 0.0f, 10.0f, 90.0f}) {
        const StraightenRequest r = request(v, h, degrees);
        const StraightenPlan classic = planStraightening(source, r);
        if (!outputHasFill(classic, source)) continue;
        StraightenPlan unscaled;
        unscaled.sourceFromOutput = straighteningTransform(source, r);
        const int widest = widestByTrial(unscaled, source);
        if (widest == source.width) continue; // a stretched picture, scaled down: not what the trial looks at
        const auto plan = planWithoutFill(source, r);
        ASSERT_TRUE(plan);
        // The trial may take in the column and row that the warp extrapolates before the first ones.
        EXPECT_GE(plan->size.width, widest - 2) << v << " " << h << " " << degrees;
        EXPECT_LE(plan->size.width, widest) << v << " " << h << " " << degrees;
        ++replaced;
      }
    }
  }
  EXPECT_GT(replaced, 8);
}

TEST(FillTable, OfThePageOnStraighteningIsWhatIsMeasured) {
  std::ifstream page(VINDREL_DOCS_DIR "/straightening.md");
  ASSERT_TRUE(page) << "docs/straightening.md cannot be read";
  std::ostringstream text;
  text << page.rdbuf();
  const std::string table = test::fillTable();
  EXPECT_NE(text.str().find(table), std::string::npos) << "docs/straightening.md should hold this table:\n\n" << table;
}

} // namespace

} // namespace vindrel
