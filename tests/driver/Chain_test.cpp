#include "VindrelRegLib.h"

#include "driver/Chain.h"
#include "transform/MapPoint.h"

#include <gtest/gtest.h>

namespace vindrel {
namespace {

TEST(MatrixMult, MultipliesRowMajorMatricesOfAnySize) {
  const float a[] = {1, 2, 3, 4};
  const float b[] = {5, 6, 7, 8};
  float c[4];
  matrix_mult(2, a, b, c);
  EXPECT_EQ(c[0], 19);
  EXPECT_EQ(c[1], 22);
  EXPECT_EQ(c[2], 43);
  EXPECT_EQ(c[3], 50);
  matrix_mult(0, a, b, c);
  EXPECT_EQ(c[0], 19);
}

TEST(MatrixMult, AddsTermsInOrderInSinglePrecision) {
  // 1e8 + 1 loses the one in single precision; the order of the three terms decides what is left.
  const float a[] = {1e8f, 1, -1e8f, 0, 0, 0, 0, 0, 0};
  const float b[] = {1, 0, 0, 1, 0, 0, 1, 0, 0};
  float c[9];
  matrix_mult(3, a, b, c);
  EXPECT_EQ(c[0], 0.0f);
}

TEST(TransformTable, ChainsPerspectiveLinksFromTheReferenceToTheLastRank) {
  const std::uint32_t order[] = {2, 0, 1};
  TransformTable table(LinkModel::Perspective, 3);
  ASSERT_TRUE(table.allocate());
  const float first[8] = {1.01f, 0.02f, 5, -0.01f, 0.99f, 7, 0.1f, -0.05f};
  const float second[8] = {0.98f, -0.01f, -11, 0.03f, 1.02f, 3, -0.2f, 0.15f};
  std::copy(first, first + 8, table.slot(0));
  std::copy(second, second + 8, table.slot(1));
  const PointD probe{321, 654};
  const PointD one = mapPerspectiveD(first, probe.x, probe.y);
  const PointD two = mapPerspectiveD(second, one.x, one.y);
  EXPECT_EQ(mapThroughLinks(table, order, 2, probe).x, two.x);

  rebuildAsChains(order, 3, {10, 20}, {900, 700}, table);
  const PointD chained = mapPerspectiveD(table.slot(1), probe.x, probe.y);
  EXPECT_NEAR(chained.x, two.x, 1e-3);
  EXPECT_NEAR(chained.y, two.y, 1e-3);
  const PointD direct = mapPerspectiveD(table.slot(0), probe.x, probe.y);
  EXPECT_NEAR(direct.x, one.x, 1e-3);
  EXPECT_NEAR(direct.y, one.y, 1e-3);
}

} // namespace
} // namespace vindrel
