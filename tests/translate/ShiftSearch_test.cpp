#include "translate/ShiftSearch.h"

#include "support/FailingAllocation.h"
#include "support/FailingThreads.h"
#include "translate/Scene.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace vindrel::test {
namespace {

constexpr int kWidth = 320, kHeight = 240;
constexpr float kFraction = 0.2F; // five levels: a reach of 31 pixels

const Scene &scene() {
  static const Scene made = texturedScene(460, 380, 3);
  return made;
}

template <class Sample>
void recovers(int channels) {
  // Not in order of brightness, exposures a stop or two apart.
  const std::vector<View> views = {{60, 60, 0.5}, {65, 57, 2}, {47, 71, 0.25}, {62, 40, 1}, {54, 66, 4}};
  const std::vector<Sample> stack = stackOf<Sample>(scene(), views, kWidth, kHeight, channels);
  const auto frames = viewsOf(stack, 5, kWidth, kHeight, channels);
  const ShiftEstimate estimate = estimateShifts(frames, kFraction);
  ASSERT_EQ(estimate.status, Status::Ok);
  ASSERT_EQ(estimate.count, 5);
  EXPECT_EQ(estimate.levels, 5);
  const std::vector<int> order(estimate.order.begin(), estimate.order.end());
  EXPECT_EQ(order, (std::vector<int>{4, 1, 3, 0, 2}));
  for (int i = 0; i < 5; ++i) {
    // What the anchor, frame 1, shows at its origin lies at views[1] - views[i] of frame i.
    EXPECT_EQ(estimate.shifts[i].x, views[1].x - views[i].x) << i;
    EXPECT_EQ(estimate.shifts[i].y, views[1].y - views[i].y) << i;
    EXPECT_TRUE(estimate.shifts[i].trustworthy) << i;
    EXPECT_EQ(estimate.shifts[i].searched, i != 1) << i;
  }
  EXPECT_EQ(estimate.minX, 0);
  EXPECT_EQ(estimate.maxX, 18);
  EXPECT_EQ(estimate.minY, -14);
  EXPECT_EQ(estimate.maxY, 17);
}

TEST(ShiftSearch, RecoversAChainOfFiveExposuresInBytesOfThreeChannels) {
  recovers<std::uint8_t>(3);
}
TEST(ShiftSearch, RecoversAChainOfFiveExposuresInBytesOfFourChannels) {
  recovers<std::uint8_t>(4);
}
TEST(ShiftSearch, RecoversAChainOfFiveExposuresInSixteenBitsOfThreeChannels) {
  recovers<std::uint16_t>(3);
}
TEST(ShiftSearch, RecoversAChainOfFiveExposuresInSixteenBitsOfFourChannels) {
  recovers<std::uint16_t>(4);
}
TEST(ShiftSearch, RecoversFramesOfOneChannel) {
  recovers<std::uint8_t>(1);
}
TEST(ShiftSearch, RecoversFramesOfTwoChannels) {
  recovers<std::uint16_t>(2);
}

TEST(ShiftSearch, NamesThePartnerOfEveryFrame) {
  const std::vector<View> views = {{60, 60, 0.5}, {65, 57, 2}, {47, 71, 1}};
  const auto stack = stackOf<std::uint8_t>(scene(), views, kWidth, kHeight, 3);
  const ShiftEstimate estimate = estimateShifts(viewsOf(stack, 3, kWidth, kHeight, 3), kFraction);
  EXPECT_EQ(estimate.shifts[1].partner, 2); // the brightest
  EXPECT_EQ(estimate.shifts[2].partner, -1);
  EXPECT_EQ(estimate.shifts[0].partner, 2);
  EXPECT_EQ(estimate.shifts[0].pairX, 47 - 60);
  EXPECT_EQ(estimate.shifts[0].pairY, 71 - 60);
}

TEST(ShiftSearch, ReportsTheDifferenceOfTheLastPairAsTheLastError) {
  const std::vector<View> views = {{60, 60, 2}, {65, 57, 1}, {47, 71, 0.5}};
  const auto stack = stackOf<std::uint8_t>(scene(), views, kWidth, kHeight, 3);
  const ShiftEstimate estimate = estimateShifts(viewsOf(stack, 3, kWidth, kHeight, 3), kFraction);
  EXPECT_EQ(estimate.lastError, estimate.shifts[2].bestDifference);
  EXPECT_GT(estimate.lastError, 0);
  EXPECT_EQ(estimate.shifts[2].comparedBits, kWidth * kHeight);
  // Two bitmaps cut at their medians differ in half of their bits by chance.
  EXPECT_NEAR(estimate.shifts[2].meanDifference / (kWidth * kHeight), 0.5, 0.02);
  EXPECT_LT(static_cast<double>(estimate.shifts[2].bestDifference), 0.5 * estimate.shifts[2].meanDifference);
}

TEST(ShiftSearch, DoubtsUnrelatedFrames) {
  for (std::uint32_t seed = 10; seed < 20; ++seed) {
    const Scene other = texturedScene(kWidth, kHeight, seed);
    auto stack = stackOf<std::uint8_t>(scene(), {{60, 60, 1}}, kWidth, kHeight, 3);
    const auto second = frameOf<std::uint8_t>(other, {0, 0, 0.5}, kWidth, kHeight, 3);
    stack.insert(stack.end(), second.begin(), second.end());
    const ShiftEstimate estimate = estimateShifts(viewsOf(stack, 2, kWidth, kHeight, 3), kFraction);
    const FrameShift &brightest = estimate.shifts[estimate.order[0]];
    EXPECT_FALSE(brightest.trustworthy) << seed;
    EXPECT_FALSE(isBetterThanChance(brightest.evidence)) << seed;
    EXPECT_EQ(brightest.doubt, brightest.atReachEdge ? ShiftDoubt::AtReachEdge : ShiftDoubt::NoBetterThanChance)
        << seed;
  }
}

TEST(ShiftSearch, DoubtsAShiftAtTheEdgeOfTheReach) {
  const auto stack = stackOf<std::uint8_t>(scene(), {{60, 60, 1}, {91, 60, 0.5}}, kWidth, kHeight, 3);
  const ShiftEstimate estimate = estimateShifts(viewsOf(stack, 2, kWidth, kHeight, 3), kFraction);
  const FrameShift &moved = estimate.shifts[0];
  EXPECT_EQ(moved.x, 31); // the whole reach, and in this case right
  EXPECT_TRUE(moved.atReachEdge);
  EXPECT_FALSE(moved.trustworthy);
  EXPECT_EQ(moved.doubt, ShiftDoubt::AtReachEdge);
}

TEST(ShiftEvidence, AgreesWhereMostMeetingEdgesStepTheSameWayInBothDirections) {
  ShiftEvidence evidence;
  const auto agreeing = [&](std::int64_t across, std::int64_t down) {
    evidence.across[0] = {.reference = 500, .moving = 500, .same = across, .opposite = 100 - across};
    evidence.down[0] = {.reference = 500, .moving = 500, .same = down, .opposite = 100 - down};
    return edgesAgree(evidence);
  };
  EXPECT_TRUE(agreeing(65, 65));
  EXPECT_TRUE(agreeing(100, 90));
  EXPECT_FALSE(agreeing(64, 100));
  EXPECT_FALSE(agreeing(100, 64));
}

// Soft waves under a little noise: in these scenes coarse levels mislead the search by some pixels. The outlines still
// match better than by chance and mostly step the same way; only a look at the neighbouring shifts tells.
TEST(ShiftSearch, DoubtsASearchThatEndedBesideTheRightShift) {
  constexpr int kSide = 160;
  for (const std::uint32_t seed : {14u, 58u, 103u, 178u, 239u, 295u}) {
    const auto frame = [&](int left, int top, double exponent, std::uint32_t noise) {
      std::vector<std::uint8_t> samples;
      for (int y = top; y < top + kSide; ++y)
        for (int x = left; x < left + kSide; ++x) {
          double value = 0;
          for (std::uint32_t wave = 0; wave < 6; ++wave) {
            const double angle = hashed(wave, 1, seed) % 628 / 100.0, phase = hashed(wave, 2, seed) % 628 / 100.0;
            const double frequency = 0.05 + hashed(wave, 3, seed) % 100 / 700.0;
            value += std::sin(frequency * (x * std::cos(angle) + y * std::sin(angle)) + phase) / 6;
          }
          value +=
              (hashed(static_cast<std::uint32_t>(x), static_cast<std::uint32_t>(y), noise) % 100 / 100.0 - 0.5) * 0.06;
          samples.insert(samples.end(), 3,
                         static_cast<std::uint8_t>(255 * std::pow(std::clamp(0.5 + 0.5 * value, 0.0, 1.0), exponent)));
        }
      return samples;
    };
    std::vector<std::uint8_t> stack = frame(0, 0, 1, seed + 1000);
    const std::vector<std::uint8_t> moved = frame(9, 14, 2, seed + 2000);
    stack.insert(stack.end(), moved.begin(), moved.end());
    const ShiftEstimate estimate = estimateShifts(viewsOf(stack, 2, kSide, kSide, 3), 0.4F);
    const FrameShift &shift = estimate.shifts[0];
    EXPECT_GT(std::max(std::abs(shift.x - 9), std::abs(shift.y - 14)), 1) << seed;
    EXPECT_TRUE(isBetterThanChance(shift.evidence)) << seed;
    EXPECT_TRUE(edgesAgree(shift.evidence)) << seed;
    EXPECT_EQ(shift.doubt, ShiftDoubt::Inexact) << seed;
  }
}

TEST(ShiftSearch, TrustsAShiftJustWithinTheReach) {
  const auto stack = stackOf<std::uint8_t>(scene(), {{60, 60, 1}, {60, 30, 0.5}}, kWidth, kHeight, 3);
  const ShiftEstimate estimate = estimateShifts(viewsOf(stack, 2, kWidth, kHeight, 3), kFraction);
  EXPECT_EQ(estimate.shifts[0].y, -30);
  EXPECT_TRUE(estimate.shifts[0].trustworthy);
}

TEST(ShiftSearch, DoubtsStripesThatLeaveOneAxisUndetermined) {
  std::vector<std::uint8_t> stack;
  for (int i = 0; i < 2; ++i)
    for (int y = 0; y < 120; ++y)
      for (int x = 0; x < 160; ++x)
        stack.insert(stack.end(), 3, static_cast<std::uint8_t>((y / 7) % 2 == 0 ? 60 : 180));
  const ShiftEstimate estimate = estimateShifts(viewsOf(stack, 2, 160, 120, 3), 0.2F);
  EXPECT_EQ(estimate.shifts[0].doubt, ShiftDoubt::NoBetterThanChance);
}

TEST(ShiftSearch, LeavesFlatFramesWhereTheyAre) {
  const std::vector<std::uint8_t> stack(2 * 100 * 80 * 3, 128);
  const ShiftEstimate estimate = estimateShifts(viewsOf(stack, 2, 100, 80, 3), 0.5F);
  EXPECT_EQ(estimate.shifts[0].x, 0);
  EXPECT_EQ(estimate.shifts[0].y, 0);
  EXPECT_EQ(estimate.shifts[0].doubt, ShiftDoubt::NoBetterThanChance);
}

TEST(ShiftSearch, FindsIdenticalFramesInPlace) {
  const auto stack = stackOf<std::uint8_t>(scene(), {{60, 60, 1}, {60, 60, 1}, {60, 60, 1}}, kWidth, kHeight, 3);
  const ShiftEstimate estimate = estimateShifts(viewsOf(stack, 3, kWidth, kHeight, 3), kFraction);
  for (const FrameShift &shift : estimate.shifts) {
    EXPECT_EQ(shift.x, 0);
    EXPECT_EQ(shift.y, 0);
    EXPECT_TRUE(shift.trustworthy);
  }
}

TEST(ShiftSearch, DoesNotSearchASingleFrame) {
  const auto frame = stackOf<std::uint8_t>(scene(), {{60, 60, 1}}, kWidth, kHeight, 3);
  const ShiftEstimate estimate = estimateShifts(viewsOf(frame, 1, kWidth, kHeight, 3), kFraction);
  EXPECT_EQ(estimate.count, 1);
  EXPECT_EQ(estimate.levels, 0);
  EXPECT_EQ(estimate.order[0], 0);
  EXPECT_EQ(estimate.lastError, 0);
  EXPECT_FALSE(estimate.shifts[0].searched);
  EXPECT_TRUE(estimate.shifts[0].trustworthy);
}

TEST(ShiftSearch, AcceptsAnEmptyStack) {
  const ShiftEstimate estimate = estimateShifts({}, kFraction);
  EXPECT_EQ(estimate.status, Status::Ok);
  EXPECT_EQ(estimate.count, 0);
}

TEST(ShiftSearch, DoubtsEveryFrameButTheAnchorWhenThereIsNoSearch) {
  const auto stack = stackOf<std::uint8_t>(scene(), {{60, 60, 1}, {63, 60, 0.5}}, kWidth, kHeight, 3);
  const ShiftEstimate estimate = estimateShifts(viewsOf(stack, 2, kWidth, kHeight, 3), 0);
  EXPECT_EQ(estimate.levels, 0);
  EXPECT_EQ(estimate.shifts[0].doubt, ShiftDoubt::NotSearched);
  EXPECT_FALSE(estimate.shifts[0].trustworthy);
  EXPECT_TRUE(estimate.shifts[1].trustworthy); // the second brightest
}

TEST(SearchLevels, TakesTheWholePartOfTheBinaryLogarithm) {
  EXPECT_EQ(searchLevels({1000, 1000}, 0.1F), 5);  // log2(50)
  EXPECT_EQ(searchLevels({4000, 3000}, 0.05F), 6); // log2(100)
  EXPECT_EQ(searchLevels({40, 40}, 0.1F), 1);      // log2(2)
}

TEST(SearchLevels, UsesTheNaturalLogarithmTimesAConstantEvenWhereThatIsLessThanTheWholeNumber) {
  for (int exponent = 1; exponent < 12; ++exponent) {
    const int width = 1 << (exponent + 1);
    const double levels = std::log(static_cast<double>(width / 2)) * 1.4426950408889634;
    EXPECT_EQ(searchLevels({width, width}, 1), static_cast<int>(levels)) << exponent;
  }
}

TEST(SearchLevels, AreNoneForFractionsThatReachLessThanOneStep) {
  EXPECT_EQ(searchLevels({100, 100}, 0.039F), 0);
  EXPECT_EQ(searchLevels({100, 100}, 0), 0);
  EXPECT_EQ(searchLevels({100, 100}, -1), 0);
  EXPECT_EQ(searchLevels({100, 100}, std::numeric_limits<float>::quiet_NaN()), 0);
  EXPECT_EQ(searchLevels({100, 100}, -std::numeric_limits<float>::infinity()), 0);
}

TEST(SearchLevels, NeverGoBeyondLevelsWithPixels) {
  EXPECT_EQ(searchLevels({100000, 1}, 1), 1);
  EXPECT_EQ(searchLevels({100000, 5}, 1), 3);
  EXPECT_EQ(searchLevels({64, 64}, std::numeric_limits<float>::infinity()), 7);
  EXPECT_EQ(searchLevels({64, 64}, 1e30F), 7);
  EXPECT_EQ(searchLevels({0, 0}, 1), 0);
  EXPECT_EQ(searchLevels({64, 0}, 1), 0);
}

TEST(FractionForShift, GivesAsFewLevelsAsReachBeyondTheShift) {
  for (const int width : {1, 2, 3, 37, 100, 640, 1000, 4001, 30000}) {
    for (const int height : {1, 50, 3000}) {
      const Size size = {width, height};
      const int all = searchLevels(size, 1e9F);
      for (const int shift : {1, 2, 3, 6, 7, 8, 62, 63, 64, 126, 127, 400, 4095, 100000, 2147483647}) {
        int fewest = 1;
        while ((std::int64_t{1} << fewest) - 1 <= shift)
          ++fewest;
        EXPECT_EQ(searchLevels(size, fractionForShift(size, shift)), std::min(fewest, all))
            << width << " x " << height << ", " << shift;
      }
    }
  }
}

TEST(FractionForShift, IsNoSearchForNoShift) {
  EXPECT_EQ(fractionForShift({640, 480}, 0), 0);
  EXPECT_EQ(fractionForShift({640, 480}, -3), 0);
}

// Frames large enough for a team to share their rows.
struct LargeStack {
  static constexpr int kWide = 1500, kHigh = 1100;
  std::vector<std::uint8_t> samples;
  std::vector<ImageView> frames;

  LargeStack() {
    const Scene large = texturedScene(kWide + 60, kHigh + 60, 12);
    samples = stackOf<std::uint8_t>(large, {{30, 30, 1}, {17, 41, 0.4}, {55, 9, 2.5}}, kWide, kHigh, 3);
    frames = viewsOf(samples, 3, kWide, kHigh, 3);
  }
  ShiftEstimate estimate(RowTeam *team) const {
    ViewFrames source(frames);
    return estimateShifts(source, {.searchFraction = 0.2F, .team = team});
  }
};

const LargeStack &largeStack() {
  static const LargeStack stack;
  return stack;
}

bool same(const EdgeAgreement &a, const EdgeAgreement &b) {
  return a.reference == b.reference && a.moving == b.moving && a.same == b.same && a.opposite == b.opposite;
}

void expectSame(const ShiftEstimate &a, const ShiftEstimate &b) {
  ASSERT_EQ(a.status, Status::Ok);
  ASSERT_EQ(b.status, Status::Ok);
  EXPECT_EQ(std::vector(a.order.begin(), a.order.end()), std::vector(b.order.begin(), b.order.end()));
  EXPECT_EQ(a.lastError, b.lastError);
  for (std::size_t i = 0; i < a.shifts.size(); ++i) {
    const FrameShift &s = a.shifts[i], &t = b.shifts[i];
    EXPECT_EQ(s.x, t.x);
    EXPECT_EQ(s.y, t.y);
    EXPECT_EQ(s.bestDifference, t.bestDifference);
    EXPECT_EQ(s.meanDifference, t.meanDifference);
    EXPECT_EQ(s.doubt, t.doubt);
    for (int l = 0; l < kEvidenceLevels; ++l) {
      EXPECT_TRUE(same(s.evidence.across[l], t.evidence.across[l])) << l;
      EXPECT_TRUE(same(s.evidence.down[l], t.evidence.down[l])) << l;
    }
  }
}

TEST(ShiftSearch, GivesTheSameOnAnyNumberOfThreads) {
  const ShiftEstimate alone = largeStack().estimate(nullptr);
  EXPECT_EQ(alone.shifts[1].x, 30 - 17); // the anchor is frame 0
  EXPECT_EQ(alone.shifts[1].y, 30 - 41);
  for (const int threads : {1, 2, 4}) {
    RowTeam team(threads);
    ASSERT_EQ(team.size(), threads);
    expectSame(largeStack().estimate(&team), alone);
  }
}

TEST(ShiftSearch, GivesTheSameWithoutThreadsThatCannotBeStarted) {
  const ShiftEstimate alone = largeStack().estimate(nullptr);
  for (int nth = 1; nth <= 3; ++nth) {
    FailingThreads failing(nth, Failing::Onwards);
    RowTeam team(4);
    EXPECT_TRUE(failing.reached());
    EXPECT_EQ(team.size(), nth);
    expectSame(largeStack().estimate(&team), alone);
  }
}

TEST(ShiftSearch, ReportsEveryFailedAllocationOfATeamAndReleasesTheRest) {
  RowTeam team(4);
  const long failures = forEachFailingAllocation([&](const FailingAllocation &failing) {
    const Status status = largeStack().estimate(&team).status;
    EXPECT_EQ(status, failing.reached() ? Status::OutOfMemory : Status::Ok);
    EXPECT_EQ(failing.live(), 0);
  });
  EXPECT_EQ(failures, 9);
}

TEST(ShiftSearch, ReportsEveryFailedAllocationAndReleasesTheRest) {
  const auto stack = stackOf<std::uint8_t>(scene(), {{60, 60, 1}, {63, 60, 0.5}, {58, 66, 2}}, 80, 60, 3);
  const auto frames = viewsOf(stack, 3, 80, 60, 3);
  const long failures = forEachFailingAllocation([&](const FailingAllocation &failing) {
    {
      const ShiftEstimate estimate = estimateShifts(frames, 0.2F);
      EXPECT_EQ(estimate.status, failing.reached() ? Status::OutOfMemory : Status::Ok);
    }
    EXPECT_EQ(failing.live(), 0);
  });
  EXPECT_EQ(failures, 8);
}

} // namespace
} // namespace vindrel::test
