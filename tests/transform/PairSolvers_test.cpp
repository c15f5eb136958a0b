#include "VindrelRegLib.h"
#include "transform/FourPairs.h"
#include "transform/InversePerspective.h"
#include "transform/MapPoint.h"
#include "transform/Matrix33.h"
#include "transform/ThreePairs.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

namespace {

using namespace vindrel;

PointF toAbi(Point p) {
  return {p.x, p.y};
}

struct Scene {
  std::mt19937 random;
  float uniform(float low, float high) { return std::uniform_real_distribution<float>(low, high)(random); }
  Point point() { return {uniform(0, 4000), uniform(0, 3000)}; }
  Trans8 perspective() {
    return {uniform(0.9f, 1.1f), uniform(-0.1f, 0.1f), uniform(-200, 200), uniform(-0.1f, 0.1f),
            uniform(0.9f, 1.1f), uniform(-200, 200),   uniform(-2, 2),     uniform(-2, 2)};
  }
};

double area(Point a, Point b, Point c) {
  return std::fabs((b.x - a.x) * (c.y - a.y) - (b.y - a.y) * (c.x - a.x));
}

TEST(CalcTransform3, RecoversRandomAffineMaps) {
  Scene scene{std::mt19937(2)};
  int solved = 0;
  for (int i = 0; i < 500; ++i) {
    const Trans8 truth = scene.perspective();
    PointF s[3], d[3];
    for (int k = 0; k < 3; ++k) {
      const Point p = scene.point();
      s[k] = toAbi(p);
      d[k] = toAbi(mapAffineF(truth.data(), p.x, p.y));
    }
    if (area({s[0].x, s[0].y}, {s[1].x, s[1].y}, {s[2].x, s[2].y}) < 1e5) continue;
    float t[7] = {0, 0, 0, 0, 0, 0, 99};
    if (calc_transform3(t, s[0], d[0], s[1], d[1], s[2], d[2]) != 1) continue; // the pivot rule turned it away
    ++solved;
    for (int k = 0; k < 3; ++k) {
      const Point p = mapAffineF(t, s[k].x, s[k].y);
      EXPECT_NEAR(p.x, d[k].x, 0.01);
      EXPECT_NEAR(p.y, d[k].y, 0.01);
    }
    EXPECT_EQ(t[6], 99);
  }
  EXPECT_GT(solved, 200);
}

TEST(CalcTransform3, IsExactOnWholePixelTranslations) {
  float t[6];
  ASSERT_EQ(calc_transform3(t, {0, 0}, {5, -7}, {16, 0}, {21, -7}, {0, 32}, {5, 25}), 1);
  const float expected[6] = {1, 0, 5, 0, 1, -7};
  for (int i = 0; i < 6; ++i)
    EXPECT_EQ(t[i], expected[i]) << i;
}

TEST(CalcTransform3, RefusesCollinearSourcesAndLeavesTheOutputAlone) {
  float t[6] = {9, 9, 9, 9, 9, 9};
  EXPECT_EQ(calc_transform3(t, {0, 0}, {1, 1}, {1, 1}, {2, 2}, {2, 2}, {5, 9}), -1);
  EXPECT_EQ(calc_transform3(t, {3, 4}, {1, 1}, {3, 4}, {2, 2}, {3, 4}, {5, 9}), -1);
  for (float v : t)
    EXPECT_EQ(v, 9);
}

TEST(CalcTransform4, RecoversRandomPerspectiveMaps) {
  Scene scene{std::mt19937(3)};
  int tried = 0;
  for (int i = 0; i < 500; ++i) {
    const Trans8 truth = scene.perspective();
    const Point s[4] = {{scene.uniform(0, 900), scene.uniform(0, 900)},
                        {scene.uniform(3000, 4000), scene.uniform(0, 900)},
                        {scene.uniform(0, 900), scene.uniform(2000, 3000)},
                        {scene.uniform(3000, 4000), scene.uniform(2000, 3000)}};
    Point d[4];
    for (int k = 0; k < 4; ++k)
      d[k] = narrow(mapPerspectiveD(truth.data(), s[k].x, s[k].y));
    float t[9] = {0, 0, 0, 0, 0, 0, 0, 0, 99};
    calc_transform4(t, toAbi(s[0]), toAbi(d[0]), toAbi(s[1]), toAbi(d[1]), toAbi(s[2]), toAbi(d[2]), toAbi(s[3]),
                    toAbi(d[3]));
    const Point q = scene.point();
    const PointD expected = mapPerspectiveD(truth.data(), q.x, q.y);
    const PointD got = mapPerspectiveD(t, q.x, q.y);
    EXPECT_NEAR(got.x, expected.x, 0.02);
    EXPECT_NEAR(got.y, expected.y, 0.02);
    EXPECT_EQ(t[8], 99);
    ++tried;
  }
  EXPECT_EQ(tried, 500);
}

TEST(CalcTransform4, FollowsTheFourPointBasisMethodToTheBit) {
  Scene scene{std::mt19937(4)};
  for (int repeat = 0; repeat < 300; ++repeat) {
    Point s[4], d[4];
    for (int k = 0; k < 4; ++k) {
      s[k] = scene.point();
      d[k] = scene.point();
    }
    float got[8];
    calc_transform4(got, toAbi(s[0]), toAbi(d[0]), toAbi(s[1]), toAbi(d[1]), toAbi(s[2]), toAbi(d[2]), toAbi(s[3]),
                    toAbi(d[3]));
    // The method once more, spelled out with the exported kernels.
    double basis[2][9], adj[9], C[9];
    for (int side = 0; side < 2; ++side) {
      const Point *p = side == 0 ? s : d;
      const double S[9] = {p[0].x, p[1].x, p[2].x, p[0].y, p[1].y, p[2].y, 1, 1, 1};
      const double v[3] = {p[3].x, p[3].y, 1};
      double lambda[3];
      calcAdj(S, adj);
      MultMatrixVector(adj, v, lambda);
      for (int i = 0; i < 9; ++i)
        basis[side][i] = S[i] * lambda[i % 3];
    }
    calcAdj(basis[0], adj);
    MultMatrixMatrix(basis[1], adj, C);
    for (int i = 0; i < 6; ++i)
      ASSERT_EQ(got[i], static_cast<float>(C[i] / C[8]));
    ASSERT_EQ(got[6], static_cast<float>(C[6] / C[8] * 100000));
    ASSERT_EQ(got[7], static_cast<float>(C[7] / C[8] * 100000));
  }
}

TEST(CalcTransform4, OfFourEqualPointsIsUndefinedRatherThanACrash) {
  float t[8] = {};
  calc_transform4(t, {1, 1}, {1, 1}, {1, 1}, {1, 1}, {1, 1}, {1, 1}, {1, 1}, {1, 1});
  for (float v : t)
    EXPECT_FALSE(std::isfinite(v));
}

TEST(PerspectiveFromFourPairsD, KeepsWhatNarrowingWouldLose) {
  const PointD s[4] = {{0, 0}, {4000, 0}, {0, 3000}, {4000, 3000}};
  const PointD d[4] = {{1e-7, 0}, {4000, 0}, {0, 3000}, {4000, 3000 + 1e-7}};
  const Trans8D t = perspectiveFromFourPairsD(s, d);
  for (int k = 0; k < 4; ++k) {
    const PointD p = mapPerspectiveD(t.data(), s[k].x, s[k].y);
    EXPECT_NEAR(p.x, d[k].x, 1e-9);
    EXPECT_NEAR(p.y, d[k].y, 1e-9);
  }
}

TEST(InverseTransformPerspect, OfTheIdentityIsTheIdentity) {
  float t[8], inverse[9];
  inverse[8] = 99;
  make_identity(t, 8);
  inverse_transform_perspect(t, inverse);
  for (int i = 0; i < 8; ++i)
    EXPECT_NEAR(inverse[i], t[i], 1e-6) << i;
  EXPECT_EQ(inverse[8], 99);
}

TEST(InverseTransformPerspect, UndoesRandomTransforms) {
  Scene scene{std::mt19937(5)};
  for (int i = 0; i < 300; ++i) {
    const Trans8 t = scene.perspective();
    float inverse[8];
    inverse_transform_perspect(t.data(), inverse);
    const PointD there = mapPerspectiveD(t.data(), 500, 500);
    const PointD back = mapPerspectiveD(inverse, there.x, there.y);
    EXPECT_NEAR(back.x, 500, 0.01);
    EXPECT_NEAR(back.y, 500, 0.01);
  }
}

TEST(InverseTransformPerspect, IsTheFourPairSolutionBackFromTheSquareOfSide1000) {
  Scene scene{std::mt19937(6)};
  for (int i = 0; i < 100; ++i) {
    const Trans8 t = scene.perspective();
    float c[8], expected[8], got[8];
    transformRectPerspectF(0, 0, 1000, 1000, t.data(), &c[0], &c[1], &c[2], &c[3], &c[4], &c[5], &c[6], &c[7]);
    calc_transform4(expected, {c[0], c[1]}, {0, 0}, {c[2], c[3]}, {1000, 0}, {c[4], c[5]}, {0, 1000}, {c[6], c[7]},
                    {1000, 1000});
    inverse_transform_perspect(t.data(), got);
    for (int k = 0; k < 8; ++k)
      ASSERT_EQ(got[k], expected[k]);
  }
}

TEST(TransformToMatrix, AndBackKeepsTheTransform) {
  Scene scene{std::mt19937(7)};
  for (int i = 0; i < 100; ++i) {
    const Trans8 t = scene.perspective();
    const Trans8 back = matrixToTrans8(transformToMatrix(t));
    for (std::size_t k = 0; k < 8; ++k)
      EXPECT_FLOAT_EQ(back[k], t[k]);
  }
}

} // namespace
