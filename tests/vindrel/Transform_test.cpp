// Transforms as values.
#include "vindrel/transform.hpp"

#include <cmath>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <limits>

namespace vindrel {
namespace {

using ::testing::HasSubstr;

const Transform kBent{{1.02, -0.03, 12.5, 0.04, 0.98, -7.25, 1e-5, -2e-5, 1}};
const Transform kTurned{{0.9, 0.1, 3, -0.1, 0.9, 40, 0, 0, 1}};

void expectNear(const Transform &a, const Transform &b) {
  for (const Point2 point : {Point2{0, 0}, {3000, 0}, {0, 2000}, {3000, 2000}, {1500, 700}}) {
    EXPECT_NEAR(a.map(point).x, b.map(point).x, 1e-8);
    EXPECT_NEAR(a.map(point).y, b.map(point).y, 1e-8);
  }
}

TEST(Transform, MapsPointsByItsMatrix) {
  EXPECT_EQ(Transform{}.map({3.5, -2}), (Point2{3.5, -2}));
  EXPECT_EQ(Transform::translation(2, -1).map({3.5, -2}), (Point2{5.5, -3}));
  const Point2 bent = kBent.map({100, 200});
  const double w = 1 + 100 * 1e-5 - 200 * 2e-5;
  EXPECT_DOUBLE_EQ(bent.x, (102 - 6 + 12.5) / w);
  EXPECT_DOUBLE_EQ(bent.y, (4 + 196 - 7.25) / w);
}

TEST(Transform, GoesBackByItsInverse) {
  for (const Transform &transform : {kBent, kTurned, Transform::translation(1e6, -3)}) {
    const Transform back = transform.inverse().value();
    EXPECT_EQ(back.matrix[8], 1);
    expectNear(compose(back, transform), {});
    expectNear(compose(transform, back), {});
  }
}

TEST(Transform, SaysWhyThereIsNoInverse) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  EXPECT_THAT((Transform{{nan, 0, 0, 0, 1, 0, 0, 0, 1}}).inverse().error().message, HasSubstr("finite"));
  EXPECT_THAT((Transform{{}}).inverse().error().message, HasSubstr("squeezes"));
  EXPECT_THAT((Transform{{1, 2, 3, 2, 4, 6, 0, 0, 1}}).inverse().error().message, HasSubstr("squeezes"));
  EXPECT_THAT((Transform{{1, 2, 3, 0.1, 0.2, 7, 0, 0, 1}}).inverse().error().message, HasSubstr("squeezes"));
  EXPECT_FALSE((Transform{{1e200, 0, 0, 0, 1e200, 0, 0, 0, 1}}).inverse());
}

TEST(Compose, AppliesTheSecondArgumentFirst) {
  const Transform both = compose(kBent, kTurned);
  EXPECT_EQ(both.matrix[8], 1);
  for (const Point2 point : {Point2{0, 0}, {1000, 500}}) {
    const Point2 stepwise = kBent.map(kTurned.map(point));
    EXPECT_NEAR(both.map(point).x, stepwise.x, 1e-9);
    EXPECT_NEAR(both.map(point).y, stepwise.y, 1e-9);
  }
}

TEST(Rebase, ShowsAFrameFromAnotherReference) {
  // A point of the new reference, taken to the frame over the old one.
  const Transform rebased = rebase(kBent, kTurned).value();
  expectNear(compose(rebased, kTurned), kBent);
  expectNear(rebase(kBent, kBent).value(), {});
  EXPECT_FALSE(rebase(kBent, {{}}));
}

TEST(Transform, KnowsAWholePixelShift) {
  EXPECT_TRUE(Transform{}.isWholePixelShift());
  EXPECT_TRUE(Transform::translation(-3, 1e9).isWholePixelShift());
  EXPECT_FALSE(Transform::translation(0.5, 0).isWholePixelShift());
  EXPECT_FALSE(Transform::translation(std::numeric_limits<double>::infinity(), 0).isWholePixelShift());
  EXPECT_FALSE(Transform::translation(std::numeric_limits<double>::quiet_NaN(), 0).isWholePixelShift());
  EXPECT_FALSE(kTurned.isWholePixelShift());
}

} // namespace
} // namespace vindrel
