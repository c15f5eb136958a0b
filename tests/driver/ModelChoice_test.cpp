// The criterion that chooses between models, on pairs with known truth.
#include "driver/ModelChoice.h"

#include "support/PairList.h"
#include "transform/MapPoint.h"

#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <random>

namespace vindrel {
namespace {

using test::PairList;

constexpr double kVariance = 2.0 / 12;

PairList mapped(const Trans8 &truth, int count, std::uint32_t seed, int stray = 0) {
  std::mt19937 random(seed);
  PairList pairs;
  for (int i = 0; i < count + stray; ++i) {
    // Points lie anywhere; a detector rounds them in both frames.
    const double x = static_cast<double>(random() % 32000) / 16, y = static_cast<double>(random() % 24000) / 16;
    const PointD at = mapPerspectiveD(truth.data(), x, y);
    const int off = i < count ? 0 : 20 + static_cast<int>(random() % 60);
    pairs.add(static_cast<int>(std::lround(x)), static_cast<int>(std::lround(y)),
              static_cast<int>(std::lround(at.x)) + off, static_cast<int>(std::lround(at.y)) - off);
  }
  return pairs;
}

TEST(RobustCriterion, IsTheSumOfLimitedResidualsAndThePriceOfParameters) {
  PairList pairs;
  pairs.add(0, 0, 0, 0);
  pairs.add(10, 0, 10, 1);   // weighs 1 / 0.5
  pairs.add(20, 0, 20, 300); // limited to 4
  const double n = 3, k = 6;
  EXPECT_NEAR(robustCriterion(pairs.view(), kIdentity8, 6, 0.5),
              0 + 2 + 4 + std::log(4.0) * 2 * n + std::log(4 * n) * k, 1e-12);
}

TEST(RobustCriterion, CountsAPairThatGoesNowhereAsAnOutlier) {
  PairList pairs;
  pairs.add(0, 0, 0, 0);
  const Trans8 broken = {std::numeric_limits<float>::quiet_NaN(), 0, 0, 0, 1, 0, 0, 0};
  EXPECT_DOUBLE_EQ(robustCriterion(pairs.view(), broken, 2, 1) - robustCriterion(pairs.view(), kIdentity8, 2, 1), 4);
}

TEST(RobustCriterion, PrefersTheModelThatTheSceneWasMadeBy) {
  const Trans8 shift = {1, 0, 12, 0, 1, -7, 0, 0};
  const Trans8 affine = {1.003f, 0.004f, 12, -0.004f, 1.003f, -7, 0, 0};
  const Trans8 perspective = {1.003f, 0.004f, 12, -0.004f, 1.003f, -7, 0.15f, -0.1f};
  for (const auto &[truth, best] : {std::pair{shift, 0}, {affine, 1}, {perspective, 2}}) {
    const PairList pairs = mapped(truth, 120, 3, 40);
    const double criteria[] = {robustCriterion(pairs.view(), shift, 2, kVariance),
                               robustCriterion(pairs.view(), affine, 6, kVariance),
                               robustCriterion(pairs.view(), perspective, 8, kVariance)};
    EXPECT_EQ(std::min_element(criteria, criteria + 3) - criteria, best);
  }
}

TEST(BestWholeShift, IsTheDisplacementOfMostPairsWhateverTheOthersDo) {
  const WholeShift shift = bestWholeShift(mapped({1, 0, 12, 0, 1, -7, 0, 0}, 60, 5, 50).view(), kVariance);
  EXPECT_EQ(shift.x, 12);
  EXPECT_EQ(shift.y, -7);
  EXPECT_EQ(bestWholeShift({}, kVariance).x, 0);
}

} // namespace
} // namespace vindrel
