// Straightening without fill: proved on the pixels of pictures that hold no white.
#include "perspective/TightCrop.h"

#include "perspective/FillTable.h"
#include "transform/MapPoint.h"
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

TEST(PlanCleanCrop, LeavesNoFilledPixelOverAGridOfCorrections) {
  int classicWithFill = 0;
  for (const Size source : {Size{120, 90}, Size{91, 121}}) {
    for (float v = -0.2f; v <= 0.21f; v += 0.05f) {
      for (float h = -0.2f; h <= 0.21f; h += 0.05f) {
        for (const float degrees : {-90.0f, -45.0f, -20.0f, -7.0f, -1.0f, 0.0f, 0.5f, 3.0f, 15.0f, 30.0f, 180.0f}) {
          const StraightenRequest r = request(v, h, degrees);
          const StraightenPlan classic = planStraightening(source, r);
          const auto plan = planCleanCrop(source, r);
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

// Every output pixel looked at on its own.
bool cleanEverywhere(const StraightenPlan &plan, Size source) {
  for (int row = 0; row < plan.size.height; ++row) {
    for (int column = 0; column < plan.size.width; ++column) {
      const Point p = mapPerspectiveMixed(plan.sourceFromOutput.data(), static_cast<float>(column - plan.offsetX),
                                          static_cast<float>(row - plan.offsetY));
      if (!(p.x >= 0 && p.y >= 0)) return false;
      if (!(p.x < static_cast<float>(source.width - 1) && p.y < static_cast<float>(source.height - 1))) return false;
    }
  }
  return true;
}

TEST(OutputIsClean, AgreesWithEveryPixelLookedAtOnItsOwn) {
  std::mt19937 engine(71);
  const auto number = [&](double spread) {
    return static_cast<float>(std::uniform_real_distribution<double>(-spread, spread)(engine));
  };
  int clean = 0, unclean = 0;
  for (int round = 0; round < 3000; ++round) {
    const Size source = {2 + static_cast<int>(engine() % 90), 2 + static_cast<int>(engine() % 90)};
    StraightenPlan plan = planStraightening(source, request(number(0.15), number(0.15), number(30)));
    const int trim = static_cast<int>(engine() % 3);
    plan.offsetX -= trim;
    plan.offsetY -= trim;
    plan.size = {std::max(1, plan.size.width - 2 * trim), std::max(1, plan.size.height - 2 * trim)};
    ASSERT_EQ(outputIsClean(plan, source), cleanEverywhere(plan, source)) << "round " << round;
    ++(outputIsClean(plan, source) ? clean : unclean);
  }
  EXPECT_GT(clean, 200);
  EXPECT_GT(unclean, 200);
}

TEST(OutputIsClean, IsFalseForWhatIsSeenFromBeyondTheHorizon) {
  // Denominator 1 - x / 50: at x = 100 the picture is seen mirrored, though every pixel there has source neighbours.
  StraightenPlan plan;
  plan.sourceFromOutput = {-0.5f, 0, 0, 0, -0.5f, 0, -2000, 0};
  plan.offsetX = -80;
  plan.offsetY = -10;
  plan.size = {20, 15};
  EXPECT_TRUE(cleanEverywhere(plan, {100, 100}));
  EXPECT_FALSE(outputIsClean(plan, {100, 100}));
}

TEST(PlanCleanCrop, ReplacesACropThatIsMuchTooSmall) {
  const StraightenRequest r = request(0.1f, 0, 90);
  ASSERT_LT(planStraightening({400, 300}, r).size.width, 100);
  const auto plan = planCleanCrop({400, 300}, r);
  ASSERT_TRUE(plan);
  EXPECT_GT(plan->size.width, 300);
}

TEST(PlanCleanCrop, TrimsAClassicCropThatIsOffByRounding) {
  int compared = 0;
  for (const float v : {-0.1f, -0.04f, 0.02f, 0.08f}) {
    for (const float h : {-0.07f, 0.0f, 0.05f}) {
      for (const float degrees : {-8.0f, -1.0f, 0.0f, 3.0f}) {
        const StraightenPlan classic = planStraightening({400, 300}, request(v, h, degrees));
        const auto plan = planCleanCrop({400, 300}, request(v, h, degrees));
        ASSERT_TRUE(plan);
        EXPECT_LE(plan->size.width, classic.size.width);
        EXPECT_GE(plan->size.width, classic.size.width - 4);
        EXPECT_NEAR(plan->offsetX, classic.cropX, 4);
        EXPECT_NEAR(plan->offsetY, classic.cropY, 4);
        EXPECT_EQ(plan->sourceFromOutput, classic.sourceFromOutput);
        ++compared;
      }
    }
  }
  EXPECT_EQ(compared, 48);
}

TEST(PlanCleanCrop, DropsTheLastColumnAndRowOfAnUncorrectedPicture) {
  const auto plan = planCleanCrop({400, 300}, {});
  ASSERT_TRUE(plan);
  EXPECT_EQ(plan->size, (Size{399, 299}));
  EXPECT_EQ(plan->offsetX, 0);
  EXPECT_EQ(plan->offsetY, 0);
}

TEST(PlanCleanCrop, LeavesTheFrameAloneWhenNoCropIsAskedFor) {
  StraightenRequest r = request(0.1f, 0, 10);
  r.crop = false;
  const auto plan = planCleanCrop({400, 300}, r);
  ASSERT_TRUE(plan);
  EXPECT_EQ(plan->size, (Size{400, 300}));
  EXPECT_FALSE(plan->cropped);
}

TEST(PlanCleanCrop, FindsACropWhereTheClassicSearchFails) {
  const StraightenRequest r = request(-0.2f, -0.1f, 0);
  ASSERT_FALSE(planStraightening({400, 300}, r).cropped);
  const auto plan = planCleanCrop({400, 300}, r);
  ASSERT_TRUE(plan);
  EXPECT_TRUE(plan->cropped);
  EXPECT_GT(plan->size.width, 300);
  EXPECT_EQ(filledPixels(*plan, {400, 300}), 0);
}

TEST(PlanCleanCrop, IsNothingWhereNothingIsLeft) {
  EXPECT_FALSE(planCleanCrop({1, 50}, {}));
  EXPECT_FALSE(planCleanCrop({50, 1}, {}));
  EXPECT_FALSE(planCleanCrop({50, 40}, request(std::numeric_limits<float>::quiet_NaN(), 0, 0)));
  EXPECT_FALSE(planCleanCrop({50, 40}, request(0, std::numeric_limits<float>::infinity(), 0)));
}

TEST(PlanCleanCrop, NeverShowsFillForHugeFactorsEither) {
  for (const float v : {-7.0f, -0.5f, -0.3183099f, 0.25f, 0.3183099f, 0.4f, 3.0f}) {
    for (const float h : {-0.4f, -0.3183099f, 0.0f, 0.33f, 11.0f}) {
      const auto plan = planCleanCrop({90, 70}, request(v, h, 5));
      if (!plan) continue;
      EXPECT_EQ(filledPixels(*plan, {90, 70}), 0) << v << " " << h;
    }
  }
}

// Every position and width of a small picture tried: the widest clean rectangle of the aspect.
int widestByTrial(const StraightenPlan &unscaled, Size source) {
  for (int width = source.width; width > 0; --width) {
    StraightenPlan tried = unscaled;
    tried.size = {width, std::max(1, width * source.height / source.width)};
    for (tried.offsetY = -source.height; tried.offsetY <= source.height; ++tried.offsetY) {
      for (tried.offsetX = -source.width; tried.offsetX <= source.width; ++tried.offsetX) {
        if (outputIsClean(tried, source)) return width;
      }
    }
  }
  return 0;
}

TEST(PlanCleanCrop, IsAsWideAsAnyFoundByTrialWhereTheClassicCropIsWrong) {
  const Size source = {48, 36};
  int replaced = 0;
  for (const float v : {-0.1f, -0.06f, 0.0f, 0.05f, 0.1f}) {
    for (const float h : {-0.1f, -0.05f, 0.0f, 0.06f, 0.1f}) {
      for (const float degrees : {-60.0f, -45.0f, 40.0f, 70.0f, 90.0f}) {
        const StraightenRequest r = request(v, h, degrees);
        const StraightenPlan classic = planStraightening(source, r);
        StraightenPlan unscaled;
        unscaled.sourceFromOutput = straighteningTransform(source, r);
        const int widest = widestByTrial(unscaled, source);
        if (widest == source.width) continue; // a stretched picture, scaled down: not what the trial looks at
        const auto plan = planCleanCrop(source, r);
        ASSERT_TRUE(plan);
        EXPECT_LE(plan->size.width, widest) << v << " " << h << " " << degrees;
        const bool nearClassic = classic.cropped && std::abs(plan->size.width - classic.size.width) <= 4;
        if (nearClassic) continue;
        EXPECT_GE(plan->size.width, widest - 1) << v << " " << h << " " << degrees;
        ++replaced;
      }
    }
  }
  EXPECT_GT(replaced, 10);
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
