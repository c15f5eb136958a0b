#include "VindrelRegLib.h"

#include "reference/CornerAngles.h"
#include "transform/PairScene.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>

namespace {

using namespace vindrel;
using namespace vindrel::test;

constexpr double kGuard = 12345.5;

struct PerspectiveCase {
  PairScene scene;
  std::vector<double> par = {1, 0, 0, 0, 1, 0, 0, 0};
  const float *reference = nullptr;
  float maxAngle = 2.5f;
  bool shape = false;

  std::vector<double> evaluate(int m) const {
    const PerspFitData data = {scene.pairs.xA.data(),
                               scene.pairs.yA.data(),
                               scene.pairs.xB.data(),
                               scene.pairs.yB.data(),
                               reference,
                               scene.width,
                               scene.height,
                               maxAngle,
                               shape};
    std::vector<double> fvec(static_cast<std::size_t>(m) + 4, kGuard);
    int userbreak = 0;
    evaluate_transform(par.data(), m, &data, fvec.data(), &userbreak);
    EXPECT_EQ(userbreak, 0);
    return fvec;
  }
};

// The definition for an even m, in its own words.
std::vector<double> expectedResiduals(const PerspectiveCase &c, int m) {
  const int n = c.shape ? m - 8 : m;
  const int w = c.scene.width, h = c.scene.height;
  std::vector<double> f(static_cast<std::size_t>(m) + 4, kGuard);
  for (int i = 0; i < n / 2; ++i) {
    const double x = c.scene.pairs.xA[i], y = c.scene.pairs.yA[i];
    const double denominator = (c.par[6] * x + c.par[7] * y) * 0.00001 + 1;
    f[2 * i] = (c.scene.pairs.xB[i] - (c.par[0] * x + c.par[1] * y + c.par[2]) / denominator) * 0.001;
    f[2 * i + 1] = (c.scene.pairs.yB[i] - (c.par[3] * x + c.par[4] * y + c.par[5]) / denominator) * 0.001;
  }
  if (c.reference != nullptr) {
    const double p = reference::penalty(w, h, {c.reference, c.reference + 8}, c.par, 200, 1);
    for (int i = 0; i < n && p > 0; ++i)
      f[i] *= 1 + 0.01 * p;
  }
  const std::vector<float> d = reference::transformDifference(w, h, {}, c.par);
  const double e[4] = {std::fabs(d[8] - 90.0), std::fabs(d[9] - 90.0), std::fabs(d[11] - 90.0),
                       std::fabs(d[10] - 90.0)};
  if (c.shape) {
    double angles = 0, corners = 0;
    for (double v : e)
      if (v > 0.5) angles += v;
    for (int i = 0; i < 4; ++i)
      if (d[i] > 40000) corners += d[i] - 40000.0;
    f[n] = angles * 0.0001;
    f[n + 1] = corners * 0.00001;
  }
  bool bent = false;
  for (double v : e)
    bent = bent || v > c.maxAngle;
  for (int i = 0; i < n && bent; ++i)
    f[i] *= e[0] + e[1] + e[2] + e[3] + 10;
  return f;
}

TEST(EvaluateTransform, AgreesWithItsDefinitionToTheBit) {
  std::mt19937 random(51);
  std::uniform_real_distribution<double> unit(-1, 1);
  int bent = 0;
  for (int repeat = 0; repeat < 600; ++repeat) {
    PerspectiveCase c;
    const int count = repeat % 17;
    c.scene = pairScene(static_cast<unsigned>(repeat), {.count = count, .noise = 2});
    const double spread = 0.002 * repeat;
    for (std::size_t k = 0; k < 8; ++k)
      c.par[k] += unit(random) * spread * (k == 2 || k == 5 ? 200 : k >= 6 ? 2 : 0.05);
    float nearby[8];
    for (std::size_t k = 0; k < 8; ++k)
      nearby[k] = static_cast<float>(c.par[k] + (k == 2 ? unit(random) * 300 : 0));
    if (repeat % 3 != 0) c.reference = nearby;
    c.shape = repeat % 2 == 0;
    c.maxAngle = repeat % 5 == 0 ? 0.1f : 2.5f;
    const int m = 2 * count + (c.shape ? 8 : 0);
    const std::vector<double> expected = expectedResiduals(c, m);
    ASSERT_EQ(c.evaluate(m), expected) << repeat;
    PerspectiveCase tolerant = c;
    tolerant.maxAngle = 1000;
    bent += count > 0 && expectedResiduals(tolerant, m) != expected;
  }
  EXPECT_GT(bent, 50);
}

TEST(EvaluateTransform, OfPerfectPairsIsZero) {
  PerspectiveCase c;
  c.scene = pairScene(52, {.count = 10});
  const std::vector<double> f = c.evaluate(20);
  for (int i = 0; i < 20; ++i)
    EXPECT_EQ(f[i], 0);
  EXPECT_EQ(f[20], kGuard);
}

TEST(EvaluateTransform, WithShapeResidualsWritesTwoBeyondThePairsAndLeavesSixAlone) {
  PerspectiveCase c;
  c.scene = pairScene(53, {.count = 3});
  c.shape = true;
  const std::vector<double> f = c.evaluate(2 * 3 + 8);
  EXPECT_EQ(f[6], 0);
  EXPECT_EQ(f[7], 0);
  for (std::size_t i = 8; i < f.size(); ++i)
    EXPECT_EQ(f[i], kGuard) << i;
}

// A shear leans the side edges: every interior angle leaves 90 degrees by the same amount.
double firstShapeResidual(double degrees) {
  PerspectiveCase c;
  c.shape = true;
  c.par[1] = std::tan(degrees / 57.29577951308232);
  return c.evaluate(8)[0];
}

TEST(EvaluateTransform, CountsCornerAnglesBeyondHalfADegreeAtATenThousandthADegree) {
  EXPECT_EQ(firstShapeResidual(0.49), 0);
  EXPECT_NEAR(firstShapeResidual(0.6), 4 * 0.00006, 2e-6);
}

// A shear that turns the side edges by half a degree to the last bit of the angles, which one within a few millionths
// of the tangent does. 0 if there is none.
double shearOfExactlyHalfADegree(int width, int height) {
  for (int step = -2000; step <= 2000; ++step) {
    const double t[8] = {1, std::tan(0.5 / 57.29577951308232) * (1 + step * 1e-7), 0, 0, 1, 0, 0, 0};
    float edge[8], q[4];
    getPerspectTransformDiff(width, height, nullptr, t, &edge[0], &edge[1], &edge[2], &edge[3], &edge[4], &edge[5],
                             &edge[6], &edge[7], &q[0], &q[1], &q[2], &q[3]);
    if (std::all_of(q, q + 4, [](float angle) { return std::fabs(angle - 90.0f) == 0.5f; })) return t[1];
  }
  return 0;
}

TEST(EvaluateTransform, TakesCornerAnglesAtTheirLimitAsWithinIt) {
  PerspectiveCase c;
  c.scene = pairScene(57, {.count = 3, .noise = 5});
  c.par[1] = shearOfExactlyHalfADegree(c.scene.width, c.scene.height);
  ASSERT_NE(c.par[1], 0);
  c.shape = true;
  c.maxAngle = 1000;
  const std::vector<double> free = c.evaluate(2 * 3 + 8);
  EXPECT_EQ(free[6], 0);
  c.maxAngle = 0.5f;
  EXPECT_EQ(c.evaluate(2 * 3 + 8), free);
  c.maxAngle = std::nextafter(0.5f, 0.0f);
  const std::vector<double> bent = c.evaluate(2 * 3 + 8);
  for (std::size_t i = 0; i < 6; ++i)
    EXPECT_EQ(bent[i], free[i] * 12) << i; // 10 and four half degrees
}

TEST(EvaluateTransform, CountsCornersBeyond200PixelsBySquaredExcess) {
  PerspectiveCase c;
  c.shape = true;
  c.par[2] = 200;
  EXPECT_EQ(c.evaluate(8)[1], 0);
  c.par[5] = 10;
  EXPECT_DOUBLE_EQ(c.evaluate(8)[1], 4 * 100 * 0.00001);
}

TEST(EvaluateTransform, WithAnOddCountStaysWithinItsResiduals) {
  PerspectiveCase c;
  c.scene = pairScene(54, {.count = 3});
  c.par[1] = 0.2; // bent far beyond the tolerance
  const std::vector<double> f = c.evaluate(5);
  for (std::size_t i = 5; i < f.size(); ++i)
    EXPECT_EQ(f[i], kGuard);
}

TEST(EvaluateTransform6, WritesTheCityBlockDistanceOfEachPair) {
  const PairScene scene = pairScene(55, {.count = 30, .noise = 5});
  const reference::WholePairs &p = scene.pairs;
  const AffineFitData data = {p.xA.data(), p.yA.data(), p.xB.data(), p.yB.data()};
  const double t[6] = {1.01, 0.02, 3.3, -0.03, 0.98, -7.7};
  for (int m = 0; m <= 30; ++m) {
    std::vector<double> f(static_cast<std::size_t>(m) + 1, kGuard);
    int userbreak = 3;
    evaluate_transform6(t, m, &data, f.data(), &userbreak);
    EXPECT_EQ(userbreak, 3);
    for (int i = 0; i < m; ++i) {
      const double x = p.xA[i], y = p.yA[i];
      EXPECT_EQ(f[i], (std::fabs(p.xB[i] - t[2] - (t[0] * x + t[1] * y)) +
                       std::fabs(p.yB[i] - t[5] - (t[3] * x + t[4] * y))) *
                          0.001);
    }
    EXPECT_EQ(f[m], kGuard);
  }
  double untouched = kGuard;
  evaluate_transform6(t, -1, &data, &untouched, nullptr);
  EXPECT_EQ(untouched, kGuard);
}

TEST(EvaluateSingleTransform8, WritesPlainPixelResiduals) {
  const PairScene scene = pairScene(56, {.count = 4, .noise = 5});
  const reference::WholePairs &p = scene.pairs;
  const AffineFitData data = {p.xA.data(), p.yA.data(), p.xB.data(), p.yB.data()};
  const double t[8] = {1.01, 0.02, 3.3, -0.03, 0.98, -7.7, 0.4, -0.3};
  for (int m : {-1, 0, 1, 2, 3, 8}) {
    double f[9];
    std::fill_n(f, 9, kGuard);
    evaluate_single_transform8(t, m, &data, f, nullptr);
    for (int i = 0; i < 9; ++i) {
      if (i >= m / 2 * 2) {
        EXPECT_EQ(f[i], kGuard);
        continue;
      }
      const double x = p.xA[i / 2], y = p.yA[i / 2], w = (t[6] * x + t[7] * y) * 0.00001 + 1;
      const double mapped = i % 2 == 0 ? (t[0] * x + t[1] * y + t[2]) / w : (t[3] * x + t[4] * y + t[5]) / w;
      EXPECT_EQ(f[i], (i % 2 == 0 ? p.xB[i / 2] : p.yB[i / 2]) - mapped);
    }
  }
}

} // namespace
