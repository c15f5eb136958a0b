// calcIntersection: lines, segments and the tolerance at their ends.
#include "VindrelRegLib.h"

#include "reference/Straighten.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

namespace {

constexpr double kUntouched = -12345;

struct Crossing {
  int result;
  double x = kUntouched, y = kUntouched;
};

Crossing cross(int checkFirst, int checkSecond, const double (&a)[4], const double (&b)[4]) {
  Crossing c;
  c.result = calcIntersection(checkFirst, checkSecond, &c.x, &c.y, a[0], a[1], a[2], a[3], b[0], b[1], b[2], b[3]);
  return c;
}

TEST(CalcIntersection, OfParallelLinesIsNoneAndWritesNothing) {
  const Crossing c = cross(0, 0, {0, 0, 10, 5}, {0, 1, 10, 6});
  EXPECT_EQ(c.result, 0);
  EXPECT_EQ(c.x, kUntouched);
  EXPECT_EQ(c.y, kUntouched);
}

TEST(CalcIntersection, OfASegmentWithoutLengthIsNoneAndWritesNothing) {
  const Crossing c = cross(1, 1, {3, 3, 3, 3}, {0, 0, 10, 10});
  EXPECT_EQ(c.result, 0);
  EXPECT_EQ(c.x, kUntouched);
}

TEST(CalcIntersection, OfUncheckedLinesLiesBeyondTheirPoints) {
  const Crossing c = cross(0, 0, {0, 0, 1, 0}, {5, 1, 5, 2});
  EXPECT_EQ(c.result, 1);
  EXPECT_EQ(c.x, 5);
  EXPECT_EQ(c.y, 0);
}

TEST(CalcIntersection, WritesThePointAlsoWhereACheckFails) {
  const Crossing c = cross(1, 0, {0, 0, 1, 0}, {5, 1, 5, 2});
  EXPECT_EQ(c.result, 0);
  EXPECT_EQ(c.x, 5);
  EXPECT_EQ(c.y, 0);
}

TEST(CalcIntersection, ChecksEachSegmentOnItsOwn) {
  const double inFirstOnly[4] = {5, 1, 5, 2}, first[4] = {0, 0, 10, 0};
  EXPECT_EQ(cross(1, 0, first, inFirstOnly).result, 1);
  EXPECT_EQ(cross(0, 1, first, inFirstOnly).result, 0);
  EXPECT_EQ(cross(1, 1, first, inFirstOnly).result, 0);
  EXPECT_EQ(cross(1, 1, first, {5, -1, 5, 2}).result, 1);
}

TEST(CalcIntersection, ToleratesACrossingJustOutsideASegment) {
  const double upright[4] = {10.000009, -1, 10.000009, 1};
  EXPECT_EQ(cross(1, 1, {0, 0, 10, 0}, upright).result, 1);
  EXPECT_EQ(cross(1, 1, {10, 0, 0, 0}, upright).result, 1);
  const double farther[4] = {10.000011, -1, 10.000011, 1};
  EXPECT_EQ(cross(1, 1, {0, 0, 10, 0}, farther).result, 0);
  const double before[4] = {-0.000009, -1, -0.000009, 1};
  EXPECT_EQ(cross(1, 1, {0, 0, 10, 0}, before).result, 1);
}

TEST(CalcIntersection, AcceptsAnyNonzeroValueAsACheck) {
  EXPECT_EQ(cross(-7, 0, {0, 0, 1, 0}, {5, 1, 5, 2}).result, 0);
  EXPECT_EQ(cross(0, 2, {0, 0, 1, 0}, {5, 1, 5, 2}).result, 0);
}

TEST(CalcIntersection, OfNotANumberFailsEveryCheck) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  EXPECT_EQ(cross(1, 0, {nan, 0, 1, 0}, {5, 1, 5, 2}).result, 0);
  EXPECT_EQ(cross(0, 1, {nan, 0, 1, 0}, {5, 1, 5, 2}).result, 0);
}

TEST(CalcIntersection, EqualsTheReferenceToTheLastBit) {
  std::mt19937 engine(21);
  std::uniform_real_distribution<double> coordinate(-500, 500);
  for (int round = 0; round < 5000; ++round) {
    double p[8];
    for (double &value : p)
      value = coordinate(engine);
    if (round % 50 == 0) p[6] = p[4] + (p[2] - p[0]), p[7] = p[5] + (p[3] - p[1]); // near parallel
    Crossing expected;
    const int first = round & 1, second = (round >> 1) & 1;
    expected.result = vindrel::reference::intersection(first, second, expected.x, expected.y, p[0], p[1], p[2], p[3],
                                                       p[4], p[5], p[6], p[7]);
    const Crossing c = cross(first, second, {p[0], p[1], p[2], p[3]}, {p[4], p[5], p[6], p[7]});
    ASSERT_EQ(c.result, expected.result);
    ASSERT_EQ(c.x, expected.x);
    ASSERT_EQ(c.y, expected.y);
  }
}

} // namespace
