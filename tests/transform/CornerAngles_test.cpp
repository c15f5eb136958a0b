#include "transform/CornerAngles.h"

#include "VindrelRegLib.h"
#include "reference/CornerAngles.h"
#include "transform/Transform.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

namespace {

using namespace vindrel;

struct Difference {
  float v[12];
};

Difference difference(int w, int h, const float *tA, const double *tB) {
  Difference d{};
  float *v = d.v;
  getPerspectTransformDiff(w, h, tA, tB, &v[0], &v[1], &v[2], &v[3], &v[4], &v[5], &v[6], &v[7], &v[8], &v[9], &v[10],
                           &v[11]);
  return d;
}

const double kIdentity[8] = {1, 0, 0, 0, 1, 0, 0, 0};

TEST(AngleBetweenVectors, MeasuresInDegreesAtTheFirstPoint) {
  EXPECT_EQ(angleBetweenVectors(0, 0, 1, 0, 0, 1), 90);
  EXPECT_NEAR(angleBetweenVectors(0, 0, 1, 0, 1, 1), 45, 1e-4);
  EXPECT_EQ(angleBetweenVectors(5, 5, 6, 5, 4, 5), 180);
  EXPECT_EQ(angleBetweenVectors(5, 5, 6, 5, 9, 5), 0);
  EXPECT_NEAR(angleBetweenVectors(-3, 2, 97, 2, -53, 88.6025f), 120, 1e-4);
}

TEST(AngleBetweenVectors, OfARayWithoutLengthIsUndefined) {
  EXPECT_TRUE(std::isnan(angleBetweenVectors(1, 1, 1, 1, 2, 2)));
  EXPECT_TRUE(std::isnan(angleBetweenVectors(1, 1, 2, 2, 1, 1)));
}

TEST(GetPerspectTransformDiff, IsZeroForTheIdentityAgainstTheFrame) {
  const Difference d = difference(4000, 3000, nullptr, kIdentity);
  for (int i = 0; i < 8; ++i)
    EXPECT_EQ(d.v[i], 0) << i;
  for (int i = 8; i < 12; ++i)
    EXPECT_EQ(d.v[i], 90) << i;
  EXPECT_EQ(perspectTransformTooDifferentAmount(4000, 3000, nullptr, kIdentity, 200, 1), 0);
}

TEST(GetPerspectTransformDiff, LeavesOutTheInteriorAnglesThatAreNotAskedFor) {
  float v[8], q = 7;
  getPerspectTransformDiff(100, 100, nullptr, kIdentity, &v[0], &v[1], &v[2], &v[3], &v[4], &v[5], &v[6], &v[7],
                           nullptr, &q, nullptr, nullptr);
  EXPECT_EQ(q, 90);
}

TEST(GetPerspectTransformDiff, GivesSquaredDisplacementsOfEachCorner) {
  const double t[8] = {1, 0, 3, 0, 1, -4, 0, 0};
  const Difference d = difference(4000, 3000, nullptr, t);
  for (int i = 0; i < 4; ++i)
    EXPECT_EQ(d.v[i], 25);
  for (int i = 4; i < 8; ++i)
    EXPECT_EQ(d.v[i], 0);
}

TEST(GetPerspectTransformDiff, OfARotationTurnsEveryEdgeByItsAngle) {
  const double c = std::cos(0.02), s = std::sin(0.02);
  const double t[8] = {c, -s, 0, s, c, 0, 0, 0};
  const Difference d = difference(4000, 3000, nullptr, t);
  for (int i = 4; i < 8; ++i)
    EXPECT_NEAR(d.v[i], 0.02 * 57.29577951, 0.01) << i;
  for (int i = 8; i < 12; ++i)
    EXPECT_NEAR(d.v[i], 90, 0.01) << i;
}

TEST(GetPerspectTransformDiff, AgreesWithItsDefinitionToTheBit) {
  std::mt19937 random(41);
  std::uniform_real_distribution<double> unit(-1, 1);
  const auto draw = [&](double spread) {
    return std::vector<double>{1 + unit(random) * 0.1 * spread, unit(random) * 0.1 * spread,
                               unit(random) * 300 * spread,     unit(random) * 0.1 * spread,
                               1 + unit(random) * 0.1 * spread, unit(random) * 300 * spread,
                               unit(random) * 3 * spread,       unit(random) * 3 * spread};
  };
  int penalised = 0;
  for (int repeat = 0; repeat < 2000; ++repeat) {
    const double spread = 0.001 * repeat;
    const std::vector<double> B = draw(spread);
    std::vector<double> A = draw(spread);
    float narrow[8];
    for (int i = 0; i < 8; ++i)
      A[i] = narrow[i] = static_cast<float>(A[i]);
    const bool plain = repeat % 3 == 0;
    if (plain) A.clear();
    const float *tA = plain ? nullptr : narrow;
    const std::vector<float> expected = reference::transformDifference(4096, 2731, A, B);
    const Difference got = difference(4096, 2731, tA, B.data());
    for (int i = 0; i < 12; ++i) {
      if (std::isnan(expected[i])) {
        EXPECT_TRUE(std::isnan(got.v[i]));
      } else {
        EXPECT_EQ(got.v[i], expected[i]) << i;
      }
    }
    const float penalty = reference::penalty(4096, 2731, A, B, 200, 1);
    EXPECT_EQ(perspectTransformTooDifferentAmount(4096, 2731, tA, B.data(), 200, 1), penalty);
    penalised += penalty > 0;
  }
  EXPECT_GT(penalised, 500);
  EXPECT_LT(penalised, 1990);
}

TEST(PerspectTransformTooDifferentAmount, AddsNothingAtTheDistanceLimitAndTheExcessBeyond) {
  const auto shifted = [](double x, double y) {
    const double t[8] = {1, 0, x, 0, 1, y, 0, 0};
    return perspectTransformTooDifferentAmount(4000, 3000, nullptr, t, 5, 1);
  };
  EXPECT_EQ(shifted(3, 4), 0);             // 25 of 25 square pixels
  EXPECT_EQ(shifted(1, 5), 4);             // 26: one too many at each of the four corners
  EXPECT_EQ(shifted(0, 6), 4 * (36 - 25)); // all four
}

TEST(PerspectTransformTooDifferentAmount, AddsNothingAtTheAngleLimitAnd30000ADegreeBeyond) {
  // A sheared frame: the side edges lean, top and bottom stay level.
  const double t[8] = {1, 0.02, 0, 0, 1, 0, 0, 0};
  const Difference d = difference(4000, 3000, nullptr, t);
  ASSERT_GT(d.v[6], 1);
  ASSERT_EQ(d.v[4], 0);
  const float far = 10000;
  const float larger = std::max(d.v[6], d.v[7]);
  EXPECT_EQ(perspectTransformTooDifferentAmount(4000, 3000, nullptr, t, far, larger), 0);
  const float tolerance = larger - 0.1f;
  const float expected = (d.v[6] - tolerance) * 30000 + (d.v[7] - tolerance) * 30000;
  EXPECT_NEAR(expected, 6000, 10);
  EXPECT_FLOAT_EQ(perspectTransformTooDifferentAmount(4000, 3000, nullptr, t, far, tolerance), expected);
}

TEST(PerspectTransformTooDifferentAmount, TakesUndefinedMeasuresAsWithinTheLimits) {
  const double nothing[8] = {};
  const double undefined[8] = {NAN, 0, 0, 0, NAN, 0, 0, 0};
  EXPECT_EQ(perspectTransformTooDifferentAmount(100, 100, nullptr, undefined, 200, 1), 0);
  // All corners on the origin: displacements count, angles are undefined.
  EXPECT_EQ(perspectTransformTooDifferentAmount(100, 100, nullptr, nothing, 100, 1), 10000);
}

} // namespace
