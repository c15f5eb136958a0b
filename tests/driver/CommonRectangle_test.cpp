#include "driver/CommonRectangle.h"

#include "transform/MapPoint.h"

#include <gtest/gtest.h>
#include <random>

namespace vindrel {
namespace {

constexpr Size kFrame{1000, 800};

struct Stack {
  Stack(LinkModel stackModel, const std::vector<Trans8> &transforms)
      : model(stackModel), table(stackModel, static_cast<int>(transforms.size()) + 1) {
    EXPECT_TRUE(table.allocate());
    order.push_back(0);
    for (std::uint32_t i = 0; i < transforms.size(); ++i) {
      order.push_back(i + 1);
      std::copy_n(transforms[i].begin(), table.length(), table.slot(i + 1));
    }
  }
  int count() const { return static_cast<int>(order.size()); }
  CropWindow window() const { return windowFromCorners(kFrame, order.data(), count(), model, table); }
  LinkModel model;
  TransformTable table;
  std::vector<std::uint32_t> order;
};

Trans8 shift(float x, float y) {
  return {1, 0, x, 0, 1, y, 0, 0};
}

TEST(WindowFromCorners, IsTheFrameForTheReferenceAlone) {
  const Stack stack(LinkModel::Affine, {});
  EXPECT_EQ(stack.window().size, kFrame);
  EXPECT_EQ(stack.window().offsetX, 0);
}

TEST(WindowFromCorners, LosesAPixelForAFractionAndTruncatesTheOffset) {
  const Stack stack(LinkModel::Affine, {shift(-3.25f, 2.5f)});
  const CropWindow window = stack.window();
  EXPECT_EQ(window.offsetX, -3);
  EXPECT_EQ(window.offsetY, 0);
  EXPECT_EQ(window.size.width, 1000 - 4);
  EXPECT_EQ(window.size.height, 800 - 3);
}

TEST(WindowFromCorners, LosesNothingExtraForWholeShifts) {
  const Stack stack(LinkModel::Affine, {shift(-3, 2), shift(5, -1)});
  EXPECT_EQ(stack.window().size.width, 1000 - 8);
  EXPECT_EQ(stack.window().size.height, 800 - 3);
}

TEST(WindowFromCorners, ChainsPerspectiveLinks) {
  const Stack stack(LinkModel::Perspective, {shift(-3, 0), shift(-4, 0)});
  EXPECT_EQ(stack.window().offsetX, -7);
  EXPECT_EQ(stack.window().size.width, 1000 - 7);
}

TEST(WindowFromCorners, IsEmptyForATransformThatGoesToInfinity) {
  const Stack stack(LinkModel::Perspective, {{1, 0, 0, 0, 1, 0, -100, 0}}); // the right edge is the horizon
  EXPECT_FALSE(worthKeeping(stack.window(), kFrame));
  const float nan = std::numeric_limits<float>::quiet_NaN();
  const Stack undefined(LinkModel::Affine, {{nan, 0, 0, 0, 1, 0, 0, 0}});
  EXPECT_FALSE(worthKeeping(undefined.window(), kFrame));
}

TEST(WorthKeeping, AcceptsThirtyPercentAndNoLess) {
  EXPECT_TRUE(worthKeeping({.size = {300, 800}}, kFrame));
  EXPECT_FALSE(worthKeeping({.size = {299, 800}}, kFrame));
  EXPECT_FALSE(worthKeeping({.size = {1000, 239}}, kFrame));
}

// Looks at every output pixel with the warp's inside rule.
int uncoveredInside(const Stack &stack, const CropWindow &window) {
  int uncovered = 0;
  for (int rank = 0; rank < stack.count(); ++rank) {
    const float *t = stack.table.slot(stack.order[static_cast<std::size_t>(rank)]);
    for (int y = 0; y + 1 < window.size.height; ++y) {
      for (int x = 0; x + 1 < window.size.width; ++x) {
        const float fx = static_cast<float>(x - window.offsetX), fy = static_cast<float>(y - window.offsetY);
        const Point at = stack.model == LinkModel::Affine ? mapAffineF(t, fx, fy) : mapPerspectiveMixed(t, fx, fy);
        const bool inside = static_cast<int>(at.x) >= 0 && at.x > -1 && static_cast<int>(at.x) + 1 < kFrame.width &&
                            static_cast<int>(at.y) >= 0 && at.y > -1 && static_cast<int>(at.y) + 1 < kFrame.height;
        uncovered += inside ? 0 : 1;
      }
    }
  }
  return uncovered;
}

class RandomPoses {
public:
  explicit RandomPoses(std::uint32_t seed) : random_(seed) {}
  Trans8 next(bool perspective) {
    const float angle = between(0.02f);
    return {1 + between(0.01f),
            -angle,
            between(30),
            angle,
            1 + between(0.01f),
            between(30),
            perspective ? between(2.0f) : 0.0f,
            perspective ? between(2.0f) : 0.0f};
  }

private:
  float between(float limit) { return std::uniform_real_distribution<float>(-limit, limit)(random_); }
  std::mt19937 random_;
};

TEST(TightenWindow, LeavesNoFillInsideAffineStacksAndSeldomHasToAct) {
  RandomPoses poses(7);
  for (int trial = 0; trial < 12; ++trial) {
    const Stack stack(LinkModel::Affine, {poses.next(false), poses.next(false)});
    const CropWindow window = stack.window();
    ASSERT_EQ(uncoveredInside(stack, window), 0) << "trial " << trial;
    const CropWindow tightened =
        tightenWindow(kFrame, stack.order.data(), stack.count(), stack.model, stack.table, window);
    EXPECT_EQ(tightened.size, window.size);
    EXPECT_EQ(tightened.offsetX, window.offsetX);
  }
}

TEST(TightenWindow, LeavesNoFillInsidePerspectiveStacksOfThreeFiveAndNine) {
  RandomPoses poses(8);
  int tightenedStacks = 0;
  for (int trial = 0; trial < 18; ++trial) {
    std::vector<Trans8> links;
    for (int i = 0; i < 2 << trial % 3; ++i)
      links.push_back(poses.next(true));
    Stack stack(LinkModel::Perspective, links);
    const RefinedWindow refined = refineWindow(kFrame, stack.order.data(), stack.count(), stack.table, stack.window());
    ASSERT_EQ(refined.status, Status::Ok);
    CropWindow window = refined.window;
    ASSERT_TRUE(worthKeeping(window, kFrame));
    rebuildAsChains(stack.order.data(), stack.count(), {0, 0}, {kFrame.width + 0.0, kFrame.height + 0.0}, stack.table);
    const CropWindow tightened =
        tightenWindow(kFrame, stack.order.data(), stack.count(), stack.model, stack.table, window);
    tightenedStacks += tightened.size == window.size ? 0 : 1;
    ASSERT_EQ(uncoveredInside(stack, tightened), 0) << "trial " << trial;
  }
  RecordProperty("tightened", tightenedStacks);
}

TEST(RefineWindow, NeverReturnsASmallerAreaThanItWasGiven) {
  RandomPoses poses(9);
  for (int trial = 0; trial < 20; ++trial) {
    const Stack stack(LinkModel::Perspective, {poses.next(true), poses.next(true), poses.next(true)});
    const CropWindow before = stack.window();
    const CropWindow after = refineWindow(kFrame, stack.order.data(), stack.count(), stack.table, before).window;
    EXPECT_GE(static_cast<std::int64_t>(after.size.width) * after.size.height,
              static_cast<std::int64_t>(before.size.width) * before.size.height);
  }
}

} // namespace
} // namespace vindrel
