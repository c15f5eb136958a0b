#include "warp/OutputSize.h"

#include "VindrelRegLib.h"
#include "reference/OutputSize.h"
#include "support/GuardedBuffer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <vector>

namespace vindrel::test {
namespace {

using ::testing::Each;
using ::testing::ElementsAre;

constexpr int kWidth = 4000;
constexpr int kHeight = 3000;

struct Stack {
  std::vector<float> transforms;
  std::vector<std::uint32_t> chain;

  ResizeData data(int images) const { return {kWidth, kHeight, images, transforms.data(), chain.data()}; }
};

Stack identities(std::uint32_t images) {
  Stack stack;
  for (std::uint32_t i = 0; i < images; ++i) {
    stack.transforms.insert(stack.transforms.end(), {1, 0, 0, 0, 1, 0, 0, 0});
    stack.chain.push_back(i);
  }
  return stack;
}

std::vector<double> residuals(const ResizeData &data, std::vector<double> par) {
  GuardedBuffer<double> fvec(static_cast<std::size_t>(4 * data.imageCount + 1), -1.0, 123.0);
  int userbreak = 5;
  evaluate_resize(par.data(), static_cast<int>(fvec.size()), &data, fvec.data(), &userbreak);
  EXPECT_TRUE(fvec.guardsIntact());
  EXPECT_EQ(userbreak, 5);
  return fvec.copy();
}

PointF mapped(int count, const Stack &stack, float x, float y) {
  PointF p = {-1, -1};
  multi_transform_point_perspect(count, stack.transforms.data(), stack.chain.data(), &p.x, &p.y, x, y);
  return p;
}

// Slot k shifts by 10^k.
Stack shifts() {
  return {{1, 0, 1, 0, 1, 0, 0, 0, 1, 0, 10, 0, 1, 0, 0, 0, 1, 0, 100, 0, 1, 0, 0, 0, 1, 0, 1000, 0, 1, 0, 0, 0},
          {0, 1, 2, 3}};
}

TEST(MultiTransformPoint, UsesTheFirstLinkAloneForACountOfZero) {
  EXPECT_EQ(mapped(0, shifts(), 5, 7).x, 6);
}

TEST(MultiTransformPoint, UsesTheSecondLinkAloneForACountOfOne) {
  EXPECT_EQ(mapped(1, shifts(), 5, 7).x, 15);
  EXPECT_EQ(mapped(1, shifts(), 5, 7).y, 7);
}

TEST(MultiTransformPoint, FollowsTheLinksInOrderWithoutTheFirst) {
  EXPECT_EQ(mapped(2, shifts(), 5, 7).x, 115);
  EXPECT_EQ(mapped(3, shifts(), 5, 7).x, 1115);
  // Doubling, then shifting; the other way round gives 210.
  const Stack stack = {{2, 0, 0, 0, 2, 0, 0, 0, 1, 0, 100, 0, 1, 0, 0, 0}, {9, 0, 1}};
  EXPECT_EQ(mapped(2, stack, 5, 0).x, 110);
}

TEST(MultiTransformPoint, LooksSlotsUpInTheChain) {
  Stack stack = shifts();
  stack.chain = {3, 2, 0, 1};
  EXPECT_EQ(mapped(0, stack, 0, 0).x, 1000);
  EXPECT_EQ(mapped(2, stack, 0, 0).x, 101);
}

TEST(MultiTransformPoint, DividesByTheDenominatorOfEachLink) {
  const Stack stack = {{1, 0, 0, 0, 1, 0, 100, 0}, {0}};
  EXPECT_EQ(mapped(0, stack, 1000, 500).x, 500); // 1 + 100 * 1000 / 100000 = 2
  EXPECT_EQ(mapped(0, stack, 1000, 500).y, 250);
}

TEST(MultiTransformPoint, GivesInfinitiesWhereTheDenominatorVanishes) {
  const Stack stack = {{1, 0, 0, 0, 1, 0, -100, 0}, {0}};
  EXPECT_EQ(mapped(0, stack, 1000, -1).x, std::numeric_limits<float>::infinity());
  EXPECT_EQ(mapped(0, stack, 1000, -1).y, -std::numeric_limits<float>::infinity());
  EXPECT_TRUE(std::isnan(mapped(0, stack, 1000, 0).y));
}

TEST(OutputSize, WritesOnlyTheSizeTermWithoutImages) {
  EXPECT_THAT(residuals(Stack().data(0), {0, 0, 3000, 2000}), ElementsAre((12000000 - 6000000) * 0.00001));
}

TEST(OutputSize, VanishesWhenTheWholeFrameIsTheRectangleOfAllImages) {
  EXPECT_THAT(residuals(identities(3).data(3), {0, 0, kWidth, kHeight}), Each(0.0));
}

TEST(OutputSize, AddsAPenaltyPerImageForAPixelTooMuchWidth) {
  EXPECT_THAT(residuals(identities(3).data(3), {0, 0, kWidth + 1, kHeight}),
              ElementsAre(0, 1, 0, 1, 0, 1, 0, 1, 0, 1, 0, 1, 6 + 12000000 * 0.00001));
}

TEST(OutputSize, SeparatesTheFourCorners) {
  // A positive x0 moves the rectangle left: two pixels too far left and five too far up.
  EXPECT_THAT(residuals(identities(1).data(1), {2, 5, 100, 100}), ElementsAre(7, 5, 2, 0, 14 + 12000000 * 0.00001));
  // Beyond the right edge by 3, the bottom by 4.
  EXPECT_THAT(residuals(identities(1).data(1), {-3, -4, kWidth, kHeight}),
              ElementsAre(0, 3, 4, 7, 14 + 12000000 * 0.00001));
}

TEST(OutputSize, LetsTheRectangleGrowWhileThePenaltiesStayBelowAHundredthOfAPixel) {
  const auto below = residuals(identities(1).data(1), {0.004, 0, 3000, 2000});
  EXPECT_EQ(below.back(), static_cast<double>(12000000.0f - 6000000.0f) * 0.00001);
  EXPECT_GT(below[0], 0);
  const auto above = residuals(identities(1).data(1), {0.006, 0, 3000, 2000});
  EXPECT_EQ(above.back(), above[0] + above[2] + 12000000 * 0.00001);
}

TEST(OutputSize, LetsInfinitePenaltiesThroughAndIgnoresNumbersThatAreNone) {
  const Stack stack = {{1, 0, 0, 0, 1, 0, -100, 0}, {0}};
  const auto out = residuals(stack.data(1), {0, 0, 1000, 500});
  EXPECT_EQ(out[1], std::numeric_limits<double>::infinity()); // x infinite, y no number
  EXPECT_EQ(out.back(), std::numeric_limits<double>::infinity());
}

TEST(OutputSize, RoundsDistancesToSinglePrecision) {
  // Floats are 8 apart at a hundred million.
  const Stack stack = {{1, 0, 100000008, 0, 1, 0, 0, 0}, {0}};
  const ResizeData data = {4001, kHeight, 1, stack.transforms.data(), stack.chain.data()};
  EXPECT_EQ(residuals(data, {0, 0, 0, 0})[1], 99996008);
}

TEST(OutputSize, TakesFramesOfMorePixelsThanAnIntCounts) {
  const Stack stack = identities(1);
  const ResizeData data = {100000, 100000, 1, stack.transforms.data(), stack.chain.data()};
  EXPECT_EQ(residuals(data, {0, 0, 100000, 100000}).back(), 0);
  EXPECT_EQ(residuals(data, {0, 0, 100001, 100000}).back(), 2 + 1e10 * 0.00001);
}

TEST(OutputSize, EqualsTheDefinitionToTheBit) {
  std::mt19937 random(7);
  std::uniform_real_distribution<float> linear(-0.02f, 0.02f), shift(-60, 60), tilt(-2, 2);
  std::uniform_real_distribution<double> position(-80, 80), size(-200, 60);
  for (int round = 0; round < 500; ++round) {
    Stack stack;
    const int images = static_cast<int>(random() % 6);
    for (int slot = 0; slot < 6; ++slot)
      stack.transforms.insert(stack.transforms.end(),
                              {1 + linear(random), linear(random), shift(random), linear(random), 1 + linear(random),
                               shift(random), tilt(random), tilt(random)});
    for (int link = 0; link < 6; ++link)
      stack.chain.push_back(static_cast<std::uint32_t>(random() % 6));
    const std::vector<double> par = {position(random), position(random), kWidth + size(random), kHeight + size(random)};
    EXPECT_EQ(residuals(stack.data(images), par),
              reference::outputSizeResiduals(par.data(), kWidth, kHeight, images, stack.transforms.data(),
                                             stack.chain.data()))
        << "round " << round;
  }
}

} // namespace
} // namespace vindrel::test
