#include "driver/TileGrid.h"

#include <gtest/gtest.h>

namespace vindrel {
namespace {

TEST(TileGrid, CoversAFrameBelowTheTileSideWithOneTileOfTheFramesSize) {
  const TileGrid grid = makeTileGrid({640, 480}, 70);
  EXPECT_EQ(grid.count(), 1);
  const Area tile = grid.tile(0);
  EXPECT_EQ(tile.x, 0);
  EXPECT_EQ(tile.y, 0);
  EXPECT_EQ(tile.width, 640);
  EXPECT_EQ(tile.height, 480);
  EXPECT_EQ(grid.pairCap, 70);
}

TEST(TileGrid, LeavesARemainderOfUpTo256PixelsUncovered) {
  EXPECT_EQ(makeTileGrid({1280, 500}, 100).columns, 1);
  EXPECT_EQ(makeTileGrid({500, 1280}, 100).rows, 1);
}

TEST(TileGrid, GivesAWiderRemainderATileOfItsOwnThatReachesPastTheFrame) {
  const TileGrid grid = makeTileGrid({1281, 500}, 100);
  EXPECT_EQ(grid.columns, 2);
  EXPECT_EQ(grid.tile(1).x, 1024);
  EXPECT_EQ(grid.detectionArea(1).x + grid.detectionArea(1).width, 1281);
}

TEST(TileGrid, CapsPairsByTheTilesBeforeAnExtraColumnOrRowIsAdded) {
  EXPECT_EQ(makeTileGrid({1281, 500}, 111).pairCap, 111);
  EXPECT_EQ(makeTileGrid({2048 + 300, 3072 + 300}, 361).pairCap, 361 / 6);
}

TEST(TileGrid, CentresTilesAcrossButPushesThemDownByTheWholeSlack) {
  const TileGrid grid = makeTileGrid({1024 + 101, 1024 + 100}, 100);
  EXPECT_EQ(grid.tile(0).x, 50);
  EXPECT_EQ(grid.tile(0).y, 100);
}

TEST(TileGrid, DoesNotCentreASlackOfFifteenColumnsButDoesPushDownByOneRow) {
  const TileGrid grid = makeTileGrid({1024 + 15, 1024 + 1}, 100);
  EXPECT_EQ(grid.tile(0).x, 0);
  EXPECT_EQ(grid.tile(0).y, 1);
  EXPECT_EQ(makeTileGrid({1024 + 16, 1024}, 100).tile(0).x, 8);
}

TEST(TileGrid, NumbersTilesRowByRow) {
  const TileGrid grid = makeTileGrid({2048, 2048}, 100);
  EXPECT_EQ(grid.tile(1).x, 1024);
  EXPECT_EQ(grid.tile(1).y, 0);
  EXPECT_EQ(grid.tile(2).x, 0);
  EXPECT_EQ(grid.tile(2).y, 1024);
}

TEST(TileGrid, ExtendsADetectionAreaByTwentyPixelsWhereThereIsANeighbour) {
  const TileGrid grid = makeTileGrid({3072, 3072}, 100);
  const Area centre = grid.detectionArea(4);
  EXPECT_EQ(centre.x, 1004);
  EXPECT_EQ(centre.y, 1004);
  EXPECT_EQ(centre.width, 1064);
  EXPECT_EQ(centre.height, 1064);
  const Area first = grid.detectionArea(0);
  EXPECT_EQ(first.x, 0);
  EXPECT_EQ(first.width, 1044);
  const Area last = grid.detectionArea(8);
  EXPECT_EQ(last.x + last.width, 3072);
}

TEST(TileGrid, ExtendsToTheLeftFromAnOriginOf21ButNotOf20) {
  // An origin of 20 and of 21: half of the slack of 40 and of 42 columns.
  EXPECT_EQ(makeTileGrid({1024 + 40, 1024}, 100).detectionArea(0).x, 20);
  EXPECT_EQ(makeTileGrid({1024 + 42, 1024}, 100).detectionArea(0).x, 1);
  EXPECT_EQ(makeTileGrid({1024, 1024 + 20}, 100).detectionArea(0).y, 20);
  EXPECT_EQ(makeTileGrid({1024, 1024 + 21}, 100).detectionArea(0).y, 1);
}

TEST(TileGrid, NeverLeavesTheFrameForAnySize) {
  for (int width = 1; width < 4000; width += 37) {
    for (int height = 1; height < 4000; height += 211) {
      const TileGrid grid = makeTileGrid({width, height}, 500);
      ASSERT_GE(grid.pairCap, 1) << width << " x " << height;
      for (int tile = 0; tile < grid.count(); ++tile) {
        const Area area = grid.detectionArea(tile);
        ASSERT_GE(area.x, 0);
        ASSERT_GE(area.y, 0);
        ASSERT_GT(area.width, 0);
        ASSERT_GT(area.height, 0);
        ASSERT_LE(area.x + area.width, width);
        ASSERT_LE(area.y + area.height, height);
        ASSERT_LE(area.width, grid.tileWidth + 2 * kTileOverlap);
        ASSERT_LE(area.height, grid.tileHeight + 2 * kTileOverlap);
      }
    }
  }
}

} // namespace
} // namespace vindrel
