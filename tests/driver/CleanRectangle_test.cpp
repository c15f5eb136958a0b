// The rectangle without a filled pixel, for whole transforms.
#include "driver/CleanRectangle.h"

#include "transform/MapPoint.h"

#include <cmath>
#include <gtest/gtest.h>
#include <vector>

namespace vindrel {
namespace {

constexpr Size kFrame = {200, 150};

// Pixels of the part that do not lie between pixels of the frame.
int uncovered(const Trans8 &chain, const Rectangle &part) {
  int count = 0;
  for (int y = part.y; y < part.y + part.height; ++y) {
    for (int x = part.x; x < part.x + part.width; ++x) {
      const Point at = mapPerspectiveMixed(chain.data(), static_cast<float>(x), static_cast<float>(y));
      const bool inside = at.x >= 0 && at.x < kFrame.width - 1 && at.y >= 0 && at.y < kFrame.height - 1;
      count += inside ? 0 : 1;
    }
  }
  return count;
}

int uncovered(const std::vector<Trans8> &chains, const Rectangle &part) {
  int count = 0;
  for (const Trans8 &chain : chains)
    count += uncovered(chain, part);
  return count;
}

Rectangle partOf(const CropWindow &window) {
  return {-window.offsetX, -window.offsetY, window.size.width, window.size.height};
}

const std::vector<std::vector<Trans8>> &scenes() {
  static const std::vector<std::vector<Trans8>> made = {
      {kIdentity8},
      {kIdentity8, {1, 0, 7.5f, 0, 1, -3.25f, 0, 0}},
      {kIdentity8, {0.99f, 0.03f, 2, -0.03f, 0.99f, 4, 0, 0}, {1.02f, -0.02f, -5, 0.02f, 1.02f, 1, 0, 0}},
      {kIdentity8, {1.01f, 0.02f, 3, -0.01f, 0.98f, -2, 12, -20}},
      {kIdentity8, {1, 0, 0, 0, 1, 0, 30, 30}, {1, 0, -20, 0, 1, 10, -25, 5}},
      {{0.9f, 0, 15, 0, 0.9f, 12, 0, 0}}, // sees more than the reference
  };
  return made;
}

TEST(CleanWindow, HoldsNothingFilledOrExtrapolated) {
  for (const auto &chains : scenes()) {
    const Rectangle part = partOf(cleanWindow(kFrame, chains));
    ASSERT_GT(part.width, 0);
    EXPECT_EQ(uncovered(chains, part), 0);
  }
}

TEST(CleanWindow, CannotBeMovedOutwardOnAnySide) {
  for (const auto &chains : scenes()) {
    const Rectangle part = partOf(cleanWindow(kFrame, chains));
    const Rectangle wider[] = {{part.x - 1, part.y, part.width + 1, part.height},
                               {part.x, part.y - 1, part.width, part.height + 1},
                               {part.x, part.y, part.width + 1, part.height},
                               {part.x, part.y, part.width, part.height + 1}};
    for (const Rectangle &larger : wider)
      EXPECT_GT(uncovered(chains, larger), 0) << larger.x << ' ' << larger.y << ' ' << larger.width;
  }
}

TEST(CleanWindow, IsThatOfTheWarpForTheReferenceAlone) {
  EXPECT_EQ(partOf(cleanWindow(kFrame, scenes()[0])), (Rectangle{0, 0, 199, 149}));
}

TEST(CleanWindow, IsEmptyWhereTheFramesShareTooLittle) {
  EXPECT_EQ(cleanWindow(kFrame, std::vector<Trans8>{kIdentity8, {1, 0, 150, 0, 1, 0, 0, 0}}).size.width, 0);
  EXPECT_EQ(cleanWindow(kFrame, std::vector<Trans8>{kIdentity8, {1, 0, 1000, 0, 1, 0, 0, 0}}).size.width, 0);
  EXPECT_EQ(cleanWindow(kFrame, std::vector<Trans8>{{NAN, 0, 0, 0, 1, 0, 0, 0}}).size.width, 0);
}

} // namespace
} // namespace vindrel
