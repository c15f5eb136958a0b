#include "VindrelRegLib.h"

#include "support/FailingAllocation.h"
#include "transform/MapPoint.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <random>

namespace {

using namespace vindrel;
using namespace vindrel::test;

struct Pairs4 {
  PointF s[4], d[4];
};

int fit(const Pairs4 &p, float *out) {
  return calc_transform4_old(out, p.s[0], p.d[0], p.s[1], p.d[1], p.s[2], p.d[2], p.s[3], p.d[3]);
}

Pairs4 square(Trans8 t) {
  Pairs4 p{};
  const Point corners[4] = {{0, 0}, {1024, 0}, {0, 1024}, {1024, 1024}};
  for (int i = 0; i < 4; ++i) {
    const Point q = narrow(mapPerspectiveD(t.data(), corners[i].x, corners[i].y));
    p.s[i] = {corners[i].x, corners[i].y};
    p.d[i] = {q.x, q.y};
  }
  return p;
}

TEST(CalcTransform4Old, OfAnExactAffineMapLeavesThePerspectiveAtZero) {
  float t[9];
  t[8] = 99;
  ASSERT_EQ(fit(square({1, 0.5f, 16, -0.25f, 1, 8, 0, 0}), t), 1);
  const float expected[8] = {1, 0.5f, 16, -0.25f, 1, 8, 0, 0};
  for (int i = 0; i < 8; ++i)
    EXPECT_NEAR(t[i], expected[i], 1e-4) << i;
  EXPECT_EQ(t[8], 99);
}

TEST(CalcTransform4Old, FitsAPerspectiveWithinTheRoundingOfItsPoints) {
  const Trans8 truth = {1.02f, 0.01f, 20, -0.02f, 0.98f, -30, 3, -2};
  float t[8];
  const Pairs4 p = square(truth);
  ASSERT_EQ(fit(p, t), 1);
  for (int i = 0; i < 4; ++i) {
    const PointD q = mapPerspectiveD(t, p.s[i].x, p.s[i].y);
    EXPECT_NEAR(q.x, std::trunc(p.d[i].x), 0.01);
    EXPECT_NEAR(q.y, std::trunc(p.d[i].y), 0.01);
  }
}

TEST(CalcTransform4Old, TruncatesCoordinatesTowardZeroForTheFit) {
  Pairs4 p = square(kIdentity8);
  p.d[3] = {1030.9f, 1026.2f};
  p.d[0] = {-3.9f, 3.2f};
  float t[8];
  ASSERT_EQ(fit(p, t), 1);
  const PointD last = mapPerspectiveD(t, 1024, 1024), first = mapPerspectiveD(t, 0, 0);
  EXPECT_NEAR(last.x, 1030, 0.01);
  EXPECT_NEAR(last.y, 1026, 0.01);
  EXPECT_NEAR(first.x, -3, 0.01);
  EXPECT_NEAR(first.y, 3, 0.01);
}

TEST(CalcTransform4Old, WithCollinearFirstPairsFailsAndLeavesTheOutputAlone) {
  Pairs4 p = square(kIdentity8);
  p.s[0] = p.s[1] = p.s[2];
  float t[8] = {9, 9, 9, 9, 9, 9, 9, 9};
  EXPECT_EQ(fit(p, t), -1);
  for (float v : t)
    EXPECT_EQ(v, 9);
}

// Twice the same source with two destinations: at best half the gap remains at each.
Pairs4 contradiction(float gapX, float gapY = 0) {
  Pairs4 p = square(kIdentity8);
  p.s[3] = p.s[2];
  p.d[3] = {p.d[2].x + gapX, p.d[2].y + gapY};
  return p;
}

TEST(CalcTransform4Old, AcceptsResidualsUpToANormOf10AndWritesTheRejectedFitToo) {
  float t[8] = {9, 9, 9, 9, 9, 9, 9, 9};
  EXPECT_EQ(fit(contradiction(14), t), 1);  // norm 14 / sqrt 2 = 9.9
  EXPECT_EQ(fit(contradiction(15), t), -1); // 10.6
  const PointD q = mapPerspectiveD(t, 0, 1024);
  EXPECT_NEAR(q.x, 7.5, 0.01);
}

// The norm that the fit of whole-pixel points ends with, from the identity.
double normOf(const Pairs4 &p) {
  std::int32_t c[4][4];
  for (int i = 0; i < 4; ++i) {
    c[0][i] = static_cast<std::int32_t>(p.s[i].x);
    c[1][i] = static_cast<std::int32_t>(p.s[i].y);
    c[2][i] = static_cast<std::int32_t>(p.d[i].x);
    c[3][i] = static_cast<std::int32_t>(p.d[i].y);
  }
  const AffineFitData data = {c[0], c[1], c[2], c[3]};
  lm_control_struct control = lm_control_double;
  control.maxcall = 150;
  lm_status_struct status{};
  double par[8] = {1, 0, 0, 0, 1, 0, 0, 0};
  lmmin(8, par, 8, &data, evaluate_single_transform8, &control, &status, nullptr);
  return status.fnorm;
}

TEST(CalcTransform4Old, AcceptsANormOfExactly10) {
  const Pairs4 p = contradiction(14, 2); // residuals 7, 1, 7, 1
  ASSERT_EQ(normOf(p), 10.0);
  float t[8];
  EXPECT_EQ(fit(p, t), 1);
}

TEST(CalcTransform4Old, RefusesCoordinatesBeyondInt) {
  for (float wild : {3e9f, -3e9f, std::numeric_limits<float>::infinity(), std::numeric_limits<float>::quiet_NaN()}) {
    Pairs4 p = square(kIdentity8);
    p.d[3].x = wild;
    float t[8] = {9, 9, 9, 9, 9, 9, 9, 9};
    EXPECT_EQ(fit(p, t), -1);
    EXPECT_EQ(t[0], 9);
  }
}

TEST(CalcTransform4Old, PrintsNothing) {
  testing::internal::CaptureStdout();
  float t[8];
  fit(square(kIdentity8), t);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

TEST(CalcTransform4Old, WithoutMemoryDoesNotAccept) {
  const Pairs4 p = square(kIdentity8);
  const long failures = forEachFailingAllocation([&](const FailingAllocation &failing) {
    float t[8];
    const int result = fit(p, t);
    EXPECT_EQ(result, failing.reached() ? -1 : 1);
    EXPECT_EQ(failing.live(), 0);
  });
  EXPECT_EQ(failures, 2);
}

// ---- Rotation and translation from two pairs

TEST(TrRot, RecoversATurnToThePositiveSide) {
  for (double degrees : {1.0, 17.0, 45.0, 80.0}) {
    const float c = static_cast<float>(std::cos(degrees / 57.29577951)),
                s = static_cast<float>(std::sin(degrees / 57.29577951));
    const Trans6 truth = {c, -s, 40, s, c, -9};
    const PointF a = {100, 50}, b = {300, 250};
    const Point da = mapAffineF(truth.data(), a.x, a.y), db = mapAffineF(truth.data(), b.x, b.y);
    float t[7] = {0, 0, 0, 0, 0, 0, 99};
    ASSERT_EQ(trRot(a, b, {da.x, da.y}, {db.x, db.y}, t), 1);
    for (std::size_t i = 0; i < 6; ++i)
      EXPECT_NEAR(t[i], truth[i], 0.01) << degrees;
    EXPECT_EQ(t[6], 99);
  }
}

TEST(TrRot, CarriesTheFirstPointOntoItsDestination) {
  std::mt19937 random(61);
  std::uniform_real_distribution<float> value(-500, 500);
  int solved = 0;
  for (int i = 0; i < 500; ++i) {
    const PointF s0 = {value(random), value(random)}, s1 = {value(random), value(random)};
    const PointF d0 = {value(random), value(random)}, d1 = {value(random), value(random)};
    float t[6];
    if (trRot(s0, s1, d0, d1, t) != 1) continue;
    ++solved;
    const Point p = mapAffineF(t, s0.x, s0.y);
    EXPECT_NEAR(p.x, d0.x, 0.001);
    EXPECT_NEAR(p.y, d0.y, 0.001);
    EXPECT_NEAR(t[0] * t[0] + t[3] * t[3], 1, 1e-5);
  }
  EXPECT_GT(solved, 100);
}

TEST(TrRot, FollowsItsDefinitionToTheBit) {
  std::mt19937 random(62);
  std::uniform_real_distribution<float> value(-500, 500);
  for (int i = 0; i < 500; ++i) {
    const PointF s0 = {value(random), value(random)}, s1 = {value(random), value(random)};
    const PointF d0 = {value(random), value(random)}, d1 = {value(random), value(random)};
    const float ux = s0.x - s1.x, uy = s0.y - s1.y, vx = d0.x - d1.x, vy = d0.y - d1.y;
    const float length = ux * ux + uy * uy;
    const float sine = (ux * vy - uy * vx) / length, cosine = (ux * vx + uy * vy) / length;
    float t[6] = {9, 9, 9, 9, 9, 9};
    const int result = trRot(s0, s1, d0, d1, t);
    if (sine < -1 || sine > 1) {
      EXPECT_EQ(result, -1);
      EXPECT_EQ(t[0], 9);
      continue;
    }
    float theta = asinf(sine);
    if (cosine >= -1 && cosine <= 1 && fabsf(theta) >= acosf(cosine)) theta = acosf(cosine);
    EXPECT_EQ(result, 1);
    EXPECT_EQ(t[0], cosf(theta));
    EXPECT_EQ(t[1], -sinf(theta));
    EXPECT_EQ(t[2], d0.x - (cosf(theta) * s0.x - sinf(theta) * s0.y));
    EXPECT_EQ(t[3], sinf(theta));
    EXPECT_EQ(t[4], cosf(theta));
    EXPECT_EQ(t[5], d0.y - (sinf(theta) * s0.x + cosf(theta) * s0.y));
  }
}

TEST(TrRot, RefusesSourcesThatShareACoordinate) {
  float t[6] = {9, 9, 9, 9, 9, 9};
  EXPECT_EQ(trRot({1, 5}, {7, 5}, {1, 5}, {7, 5}, t), -1);
  EXPECT_EQ(trRot({1, 5}, {1, 8}, {1, 5}, {1, 8}, t), -1);
  EXPECT_EQ(t[0], 9);
}

} // namespace
