#include "VindrelRegLib.h"

#include "reference/PerspectiveAgreement.h"
#include "reference/PerspectiveTrials.h"
#include "support/EveryTarget.h"
#include "support/FailingAllocation.h"
#include "support/PairList.h"
#include "transform/PerspectiveFit.h"
#include "transform/PerspectiveSearch.h"
#include "transform/PerspectiveTrials.h"
#include "transform/Plausibility.h"

#include <gtest/gtest.h>
#include <limits>
#include <numeric>

namespace vindrel {
namespace {

using test::PairList;
using test::pairsOf;

constexpr Size kFrame{2000, 1500};
constexpr Trans8 kHandHeld = {1.004f, -0.012f, 21.4f, 0.0125f, 0.998f, -13.7f, 0.08f, -0.11f};

PerspectiveSearchResult search(const PairList &pairs, int threads = 1, int mode = 0, const float *guess = nullptr) {
  return searchPerspective(pairs.view(),
                           {.frame = kFrame, .anchorBudget = 218, .threads = threads, .mode = mode, .guess = guess});
}

// The largest distance, over the frame's corners, between where two transforms put a point.
double cornerDistance(const Trans8 &a, const Trans8 &b) {
  double worst = 0;
  for (const double x : {0.0, static_cast<double>(kFrame.width)}) {
    for (const double y : {0.0, static_cast<double>(kFrame.height)}) {
      const PointD p = mapPerspectiveD(a.data(), x, y), q = mapPerspectiveD(b.data(), x, y);
      worst = std::max(worst, std::hypot(p.x - q.x, p.y - q.y));
    }
  }
  return worst;
}

TEST(PerspectiveSearch, RecoversAHandHeldTransformFromWholePixelPairs) {
  const PerspectiveSearchResult result = search(pairsOf(kHandHeld, 200, 0, kFrame.width, kFrame.height, 1));
  ASSERT_TRUE(result.found);
  EXPECT_FALSE(result.doubtful);
  EXPECT_LT(cornerDistance(result.transform, kHandHeld), 0.6);
  EXPECT_LT(result.error, 1.0f);
}

TEST(PerspectiveSearch, RecoversItWhenHalfOfThePairsAreWrong) {
  const PerspectiveSearchResult result = search(pairsOf(kHandHeld, 150, 150, kFrame.width, kFrame.height, 2));
  ASSERT_TRUE(result.found);
  EXPECT_FALSE(result.doubtful);
  EXPECT_LT(cornerDistance(result.transform, kHandHeld), 0.6);
  EXPECT_GT(result.error, 100.0f) << "half of the pairs count with the capped residual";
}

TEST(PerspectiveSearch, FindsNothingOrDoubtsWhatItFindsAmongWrongPairsOnly) {
  for (std::uint32_t seed = 0; seed < 20; ++seed) {
    const PerspectiveSearchResult result = search(pairsOf(kHandHeld, 0, 200, kFrame.width, kFrame.height, seed));
    EXPECT_TRUE(!result.found || result.doubtful) << "seed " << seed;
  }
}

TEST(PerspectiveSearch, FindsTheIdentityOfATripodWithFewPairs) {
  const PerspectiveSearchResult result = search(pairsOf(kIdentity8, 30, 0, kFrame.width, kFrame.height, 3));
  ASSERT_TRUE(result.found);
  EXPECT_LT(cornerDistance(result.transform, kIdentity8), 1e-3);
}

TEST(PerspectiveSearch, RefusesATranslationOf21PercentOfTheWidthInEitherAxis) {
  const float far = 0.21f * kFrame.width;
  for (const auto &[x, y] :
       {std::pair{far, 0.0f}, std::pair{0.0f, far}, std::pair{-far, 0.0f}, std::pair{0.0f, -far}}) {
    const Trans8 moved = {1, 0, x, 0, 1, y, 0, 0};
    EXPECT_FALSE(search(pairsOf(moved, 200, 0, kFrame.width, kFrame.height, 4)).found);
    const Trans8 near = {1, 0, x * 0.9f, 0, 1, y * 0.9f, 0, 0};
    EXPECT_TRUE(search(pairsOf(near, 200, 0, kFrame.width, kFrame.height, 4)).found);
  }
}

TEST(PerspectiveSearch, DividesBothTranslationsByTheWidth) {
  // A shift down by 18 % of the width is 24 % of the height, and allowed.
  EXPECT_TRUE(withinShapeLimits({1, 0, 0, 0, 1, 0.18f * kFrame.width, 0, 0}, kFrame));
  EXPECT_FALSE(withinShapeLimits({1, 0, 0, 0, 1, 0.22f * kFrame.width, 0, 0}, kFrame));
}

TEST(PerspectiveSearch, LimitsScaleAndShear) {
  EXPECT_TRUE(withinShapeLimits({1.29f, 0, 0, 0, 0.71f, 0, 0, 0}, kFrame));
  EXPECT_FALSE(withinShapeLimits({1.31f, 0, 0, 0, 1, 0, 0, 0}, kFrame));
  EXPECT_FALSE(withinShapeLimits({1, 0, 0, 0, 0.69f, 0, 0, 0}, kFrame));
  EXPECT_TRUE(withinShapeLimits({1, 0.29f, 0, -0.29f, 1, 0, 0, 0}, kFrame));
  EXPECT_FALSE(withinShapeLimits({1, 0.31f, 0, 0, 1, 0, 0, 0}, kFrame));
  EXPECT_FALSE(withinShapeLimits({1, 0, 0, -0.31f, 1, 0, 0, 0}, kFrame));
}

// x' = x + s y turns the right angles of the frame's corners by about s radians.
Trans8 sheared(double degrees) {
  return {1, static_cast<float>(std::tan(degrees * 3.14159265358979 / 180)), 0, 0, 1, 0, 0, 0};
}

TrialResults trialsOf(const PairList &pairs, float maxAngle) {
  ConsensusPairs sorted;
  TrialResults results;
  EXPECT_TRUE(ConsensusPairs::sorted(pairs.view(), sorted));
  EXPECT_EQ(runTrials(sorted, {.frame = kFrame, .anchorBudget = 100}, maxAngle, results), Status::Ok);
  return results;
}

// Exact positions: whole-pixel rounding would bend the corners of minimal samples by tenths of a degree.
PairList exactPairs(const Trans8 &transform) {
  PairList pairs;
  for (int y = 0; y <= 1500; y += 300) {
    for (int x = 0; x <= 2000; x += 250) {
      const PointD at = mapPerspectiveD(transform.data(), x, y);
      pairs.add(x, y, static_cast<int>(std::lround(at.x)), static_cast<int>(std::lround(at.y)), 0.1f);
    }
  }
  return pairs;
}

TEST(ConsensusPairs, ComeByDistanceThenByPlaceAndThoseWithoutADistanceLast) {
  PairList pairs;
  constexpr float kNan = std::numeric_limits<float>::quiet_NaN(), kInf = std::numeric_limits<float>::infinity();
  for (const float distance : {kNan, 0.5f, kNan, 0.1f, kInf, 0.5f, 0.1f, -1.0f})
    pairs.add(0, 0, 0, 0, distance);
  ConsensusPairs sorted;
  ASSERT_TRUE(ConsensusPairs::sorted(pairs.view(), sorted));
  EXPECT_EQ(std::vector<std::int32_t>(sorted.order.begin(), sorted.order.end()),
            (std::vector<std::int32_t>{7, 3, 6, 1, 5, 4, 0, 2}));
}

TEST(PerspectiveTrials, RefuseACandidateThatBendsACornerBy26TenthsOfADegree) {
  EXPECT_NEAR(largestCornerDeviation(sheared(2.6), kFrame), 2.6, 0.01);
  // Scaled up, rounding bends nothing: every row of the grid moves by a whole number of pixels.
  const float step = 14.0f / 300; // 2.67 degrees
  const TrialResults refused = trialsOf(exactPairs({1, step, 0, 0, 1, 0, 0, 0}), 2.5f);
  EXPECT_EQ(refused.bestAnchor, -1);
  EXPECT_EQ(std::accumulate(refused.agreement.begin(), refused.agreement.end(), 0), 0);
}

TEST(PerspectiveTrials, KeepACandidateBeyondTheToleranceForItsAnchorButNeverAsTheBest) {
  const float step = 9.0f / 300; // 1.72 degrees
  const PairList pairs = exactPairs({1, step, 0, 0, 1, 0, 0, 0});
  const TrialResults kept = trialsOf(pairs, 1.5f);
  EXPECT_EQ(kept.bestAnchor, -1);
  EXPECT_EQ(*std::max_element(kept.agreement.begin(), kept.agreement.end()), pairs.count() + 2 - 3);
  const TrialResults eligible = trialsOf(pairs, 2.0f);
  EXPECT_GE(eligible.bestAnchor, 0);
  EXPECT_EQ(eligible.bestAgreement, pairs.count() + 2 - 3);
}

// The anchors lie on the top row, which both transforms leave where it is: whichever an anchor's sample finds first, it
// may find the other later, and the steeper one has more pairs.
TEST(PerspectiveTrials, DoNotLoseTheBestToALaterCandidateOfItsAnchorBeyondTheTolerance) {
  PairList pairs;
  for (int x = 0; x <= 2000; x += 100)
    pairs.add(x, 0, x, 0, 0.1f);
  const int anchors = pairs.count();
  for (int i = 0; i < 90; ++i) {
    const int x = 20 * i + 7, y = 300 * (1 + i % 4);
    const bool turned = i % 3 != 0;
    pairs.add(x, y, turned ? x + y * 9 / 300 : x, y, 0.2f);
  }
  ConsensusPairs sorted;
  TrialResults results;
  ASSERT_TRUE(ConsensusPairs::sorted(pairs.view(), sorted));
  constexpr float kTolerance = 1.5f; // degrees; the steeper transform turns the corners by 1.72
  ASSERT_EQ(runTrials(sorted, {.frame = kFrame, .anchorBudget = anchors}, kTolerance, results), Status::Ok);
  ASSERT_GE(results.bestAnchor, 0);
  EXPECT_LE(largestCornerDeviation(results.best, kFrame), kTolerance);
  EXPECT_EQ(countAgreement(sorted, results.best, results.bestAnchor, -1, -1, 0).count, results.bestAgreement + 2)
      << "its own count passes over two members of the sample, which agree";
  EXPECT_GT(*std::max_element(results.agreement.begin(), results.agreement.end()), results.bestAgreement);
}

TEST(PerspectiveTrials, CountTwoForASampleThatNobodyElseAgreesWith) {
  PairList pairs;
  for (int i = 0; i < 40; ++i)
    pairs.add(i * 40, (i * 331) % 1500, (i * 977) % 2000, (i * 577) % 1500, 0.1f);
  ConsensusPairs sorted;
  ASSERT_TRUE(ConsensusPairs::sorted(pairs.view(), sorted));
  const Trans8 elsewhere = {1, 0, 1e6f, 0, 1, 1e6f, 0, 0};
  EXPECT_EQ(countAgreement(sorted, elsewhere, 0, 1, 2, 0).count, 2);
  const Trans8 undefined = {std::nanf(""), 0, 0, 0, 1, 0, 0, 0};
  EXPECT_EQ(countAgreement(sorted, undefined, 0, 1, 2, 0).count, 2);
}

TEST(PerspectiveTrials, DoNotCountAPairAtExactlyTwoPixels) {
  PairList pairs;
  for (int i = 0; i < 10; ++i)
    pairs.add(i * 10, i * 20, i * 10 + (i < 4 ? 2 : 1), i * 20, 0.1f);
  ConsensusPairs sorted;
  ASSERT_TRUE(ConsensusPairs::sorted(pairs.view(), sorted));
  EXPECT_EQ(countAgreement(sorted, kIdentity8, 0, 1, 2, 0).count, 2 + 6);
}

// The pairs in the order in which the search sees them.
PairList bestFirst(const PairList &pairs, const ConsensusPairs &sorted) {
  PairList ordered;
  for (const std::int32_t i : sorted.order) {
    const auto at = static_cast<std::size_t>(i);
    ordered.add(pairs.xA[at], pairs.yA[at], pairs.xB[at], pairs.yB[at], pairs.dist[at]);
  }
  return ordered;
}

void countPairs(int count) {
  const PairList pairs = pairsOf(kHandHeld, count, count / 3, kFrame.width, kFrame.height, 5);
  ConsensusPairs sorted;
  ASSERT_TRUE(ConsensusPairs::sorted(pairs.view(), sorted));
  const PairList ordered = bestFirst(pairs, sorted);
  for (const auto &[first, second] : {std::pair{-1, -1}, {1, 2}, {0, 0}, {3, 3}}) {
    const Agreement fast = countAgreement(sorted, kHandHeld, 0, first, second, 0);
    const reference::PerspectiveAgreement slow =
        reference::perspectiveAgreement(ordered.view(), kHandHeld.data(), 0, first, second);
    EXPECT_EQ(fast.count, slow.count);
    EXPECT_EQ(fast.errorSum, slow.errorSum);
    // Giving up early never hides a count that would have been enough.
    const Agreement beaten = countAgreement(sorted, kHandHeld, 0, first, second, slow.count);
    EXPECT_LE(beaten.count, slow.count);
    const Agreement enough = countAgreement(sorted, kHandHeld, 0, first, second, slow.count - 1);
    EXPECT_EQ(enough.count, slow.count);
    EXPECT_EQ(enough.errorSum, slow.errorSum);
  }
}

TEST(PerspectiveTrials, CountLikeTheDefinitionForAnyNumberOfPairs) {
  test::onEveryTarget([] {
    for (int count = 0; count < 70; ++count)
      countPairs(count);
    for (int count = 70; count < 500; count += 31)
      countPairs(count);
  });
}

TEST(PerspectiveTrials, FindWhatTheDefinitionFindsForEveryModeGuessAndNumberOfThreads) {
  const Trans8 near = {1.0f, -0.012f, 15.0f, 0.0125f, 1.0f, -10.0f, 0, 0};
  for (const int wrong : {0, 60}) {
    const PairList pairs = pairsOf(kHandHeld, 60, wrong, kFrame.width, kFrame.height, 13);
    ConsensusPairs sorted;
    ASSERT_TRUE(ConsensusPairs::sorted(pairs.view(), sorted));
    const PairList ordered = bestFirst(pairs, sorted);
    for (const int mode : {0, 1, 2, 3}) {
      for (const float *guess : {static_cast<const float *>(nullptr), near.data()}) {
        for (const int threads : {1, 2, 3, 7}) {
          const PerspectiveSearchSettings settings{
              .frame = kFrame, .anchorBudget = 40, .threads = threads, .mode = mode, .guess = guess};
          TrialResults fast;
          ASSERT_EQ(runTrials(sorted, settings, 1.0f, fast), Status::Ok);
          const reference::PerspectiveTrials slow = reference::perspectiveTrials(
              ordered.view(), {kFrame.width, kFrame.height, 40, threads, mode, guess, 1.0f});
          ASSERT_EQ(static_cast<std::size_t>(fast.anchors), slow.anchors.size());
          EXPECT_EQ(fast.bestAnchor, slow.bestAnchor) << "mode " << mode << ", " << threads << " threads";
          EXPECT_EQ(fast.bestAgreement, slow.bestCount);
          for (std::size_t a = 0; a < slow.anchors.size(); ++a) {
            ASSERT_EQ(fast.agreement[a], slow.anchors[a].count) << "anchor " << a;
            ASSERT_EQ(fast.error[a], slow.anchors[a].error);
            ASSERT_EQ(fast.transform[a], slow.anchors[a].transform);
          }
        }
      }
    }
  }
}

TEST(PerspectiveSearch, RepeatsExactlyForEachNumberOfThreads) {
  const PairList pairs = pairsOf(kHandHeld, 120, 120, kFrame.width, kFrame.height, 6);
  for (const int threads : {1, 2, 3, 4, 8}) {
    const PerspectiveSearchResult first = search(pairs, threads);
    ASSERT_TRUE(first.found);
    for (int run = 0; run < 5; ++run)
      EXPECT_EQ(search(pairs, threads).transform, first.transform);
  }
}

TEST(PerspectiveSearch, GivesThreadsBeyondTheAnchorsNothingToDo) {
  const PairList pairs = pairsOf(kHandHeld, 12, 4, kFrame.width, kFrame.height, 6);
  EXPECT_EQ(search(pairs, 2000).transform, search(pairs, pairs.count() - 1).transform);
}

TEST(PerspectiveSearch, FindsNoTransformFromFewerThanEightPairs) {
  for (int count = 0; count < 8; ++count) {
    const PerspectiveSearchResult result = search(pairsOf(kHandHeld, count, 0, kFrame.width, kFrame.height, 7));
    EXPECT_FALSE(result.found);
    EXPECT_TRUE(result.doubtful);
  }
  EXPECT_TRUE(search(pairsOf(kHandHeld, 8, 0, kFrame.width, kFrame.height, 7)).found);
}

TEST(PerspectiveSearch, FindsAnAffineTransformByThreePointSamplesInModeOne) {
  const Trans8 affine = {1.004f, -0.012f, 21.4f, 0.0125f, 0.998f, -13.7f, 0, 0};
  const PerspectiveSearchResult result = search(pairsOf(affine, 30, 120, kFrame.width, kFrame.height, 8), 1, 1);
  ASSERT_TRUE(result.found);
  EXPECT_LT(cornerDistance(result.transform, affine), 3.0);
}

TEST(PerspectiveSearch, StaysNearItsGuess) {
  const Trans8 near = {1.0f, -0.012f, 15.0f, 0.0125f, 1.0f, -10.0f, 0, 0};
  const PairList pairs = pairsOf(kHandHeld, 150, 50, kFrame.width, kFrame.height, 9);
  const PerspectiveSearchResult helped = search(pairs, 1, 0, near.data());
  ASSERT_TRUE(helped.found);
  EXPECT_LT(cornerDistance(helped.transform, kHandHeld), 0.6);
  // 300 pixels away from what the pairs say: nothing there.
  const Trans8 away = {1, 0, 321.0f, 0, 1, 0, 0, 0};
  EXPECT_FALSE(search(pairs, 1, 0, away.data()).found);
}

TEST(PerspectiveSearch, DoesNotMindPairsThatRepeatOrLieOnALine) {
  PairList line, repeated;
  for (int i = 0; i < 60; ++i) {
    line.add(i * 30, 700, i * 30 + 4, 702, 0.1f);
    repeated.add(500, 600, 504, 602, 0.1f);
  }
  search(line);
  const PerspectiveSearchResult same = search(repeated);
  EXPECT_TRUE(!same.found || std::isfinite(same.error));
}

TEST(FitAgreeing, PrefersTheExactFitToALuckySample) {
  const PairList pairs = pairsOf(kHandHeld, 200, 40, kFrame.width, kFrame.height, 10);
  Trans8 start = kHandHeld;
  start[2] += 1.2f;
  start[4] -= 0.0006f;
  const PerspectiveFit fit = fitAgreeing(pairs.view(), start, {.frame = kFrame, .maxAngle = 2.5f});
  EXPECT_LT(truncatedCost(pairs.view(), fit.transform), truncatedCost(pairs.view(), start));
  EXPECT_LT(cornerDistance(fit.transform, kHandHeld), 0.6);
}

TEST(FindAt9, ReturnsTheErrorTheTransformAndTheFlag) {
  MAX_MATCHES_OPTIMIZED = 60;
  const PairList pairs = pairsOf(kHandHeld, 100, 10, kFrame.width, kFrame.height, 11);
  float result[8];
  int flag = 0;
  const float error =
      find_at9(kFrame.width, kFrame.height, pairs.count(), pairs.xA.data(), pairs.yA.data(), pairs.xB.data(),
               pairs.yB.data(), pairs.dist.data(), result, 2, nullptr, 1, 2, 0, nullptr, &flag);
  EXPECT_GT(error, 0);
  EXPECT_LT(error, 100);
  EXPECT_EQ(flag, 0);
  Trans8 found;
  std::copy_n(result, 8, found.begin());
  EXPECT_LT(cornerDistance(found, kHandHeld), 1.0);
}

TEST(FindAt9, ReturnsMinusOneTheIdentityAndTheFlagWhenThereIsNoTransform) {
  float result[8];
  int flag = 0;
  EXPECT_EQ(find_at9(kFrame.width, kFrame.height, 0, nullptr, nullptr, nullptr, nullptr, nullptr, result, 1, nullptr, 1,
                     2, 0, nullptr, &flag),
            -1.0f);
  EXPECT_EQ(flag, 1);
  EXPECT_TRUE(std::equal(result, result + 8, kIdentity8.begin()));
}

TEST(FindAt9, ReportsEveryFailedAllocation) {
  const PairList pairs = pairsOf(kHandHeld, 60, 10, kFrame.width, kFrame.height, 12);
  const long failures = test::forEachFailingAllocation([&](const test::FailingAllocation &failing) {
    float result[8];
    int flag = 0;
    const float error =
        find_at9(kFrame.width, kFrame.height, pairs.count(), pairs.xA.data(), pairs.yA.data(), pairs.xB.data(),
                 pairs.yB.data(), pairs.dist.data(), result, 2, nullptr, 1, 2, 0, nullptr, &flag);
    if (failing.reached()) {
      EXPECT_EQ(error, -4.0f);
    } else {
      EXPECT_GT(error, 0.0f);
    }
    EXPECT_EQ(failing.live(), 0);
  });
  EXPECT_GT(failures, 8);
}

} // namespace
} // namespace vindrel
