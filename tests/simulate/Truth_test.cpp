#include "simulate/Truth.h"

#include <gtest/gtest.h>

#include <cmath>

namespace vindrel {
namespace {

constexpr Size kFrame = {601, 401};
constexpr PlaneMap kSomeMap = {1.01, -0.02, 5, 0.015, 0.99, -7, 1e-5, -2e-5, 1};

TEST(Truth, EqualMapsHaveNoError) {
  const PlacementError error = placementError(kSomeMap, kSomeMap, kFrame);
  EXPECT_EQ(error.gridMean, 0);
  EXPECT_EQ(error.cornerMax, 0);
}

TEST(Truth, AShiftIsItsOwnErrorEverywhere) {
  const PlacementError error = placementError(translation(3, 4), kPlaneIdentity, kFrame);
  EXPECT_NEAR(error.gridMean, 5, 1e-12);
  EXPECT_NEAR(error.cornerMax, 5, 1e-12);
}

TEST(Truth, AScaleErrsByTheMeanDistanceInXAndByTheFarCornerAtWorst) {
  const PlaneMap wider = {1.01, 0, 0, 0, 1, 0, 0, 0, 1};
  const PlacementError error = placementError(wider, kPlaneIdentity, kFrame);
  EXPECT_NEAR(error.gridMean, 3, 1e-12); // 1 % of 0, 75, ..., 600 on average
  EXPECT_NEAR(error.cornerMax, 6, 1e-12);
}

TEST(Truth, AMapToInfinityHasAnInfiniteError) {
  const PlaneMap horizonInFrame = {1, 0, 0, 0, 1, 0, -1.0 / 300, 0, 1}; // w is 0 at x = 300, a column of the grid
  EXPECT_TRUE(std::isinf(placementError(horizonInFrame, kPlaneIdentity, kFrame).gridMean));
}

TEST(Truth, AFrameMapsOntoItselfByTheIdentity) {
  const PlaneMap map = frameFromReference(kSomeMap, kSomeMap);
  for (int i = 0; i < 9; ++i)
    EXPECT_NEAR(map[i], kPlaneIdentity[i], 1e-12);
}

TEST(Truth, MapsBetweenFramesLeadThroughTheScene) {
  const PlaneMap other = {0.98, 0.01, -3, -0.02, 1.02, 4, -1e-5, 3e-5, 1};
  const PlanePoint scene = {123, 45};
  const PlanePoint direct = mapPoint(other, scene);
  const PlanePoint chained = mapPoint(frameFromReference(other, kSomeMap), mapPoint(kSomeMap, scene));
  EXPECT_NEAR(chained.x, direct.x, 1e-9);
  EXPECT_NEAR(chained.y, direct.y, 1e-9);
}

} // namespace
} // namespace vindrel
