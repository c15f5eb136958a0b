// The exported point maps, the inverse and the single-precision product.
#include "VindrelRegLib.h"

#include "reference/Straighten.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstring>
#include <random>

namespace {

using Values8 = std::array<float, 8>;
using Values9 = std::array<float, 9>;

class Numbers {
public:
  explicit Numbers(unsigned seed) : engine_(seed) {}
  float around(float centre, float spread) {
    return centre + spread * std::uniform_real_distribution<float>(-1, 1)(engine_);
  }

private:
  std::mt19937 engine_;
};

Values8 someTransform(Numbers &numbers) {
  return {numbers.around(1, 0.3f), numbers.around(0, 0.3f), numbers.around(0, 80), numbers.around(0, 0.3f),
          numbers.around(1, 0.3f), numbers.around(0, 80),   numbers.around(0, 9),  numbers.around(0, 9)};
}

// Equal to the last bit, the sign of zero and the bits of NaN included.
template <class Array>
bool sameBits(const Array &a, const Array &b) {
  return std::memcmp(a.data(), b.data(), sizeof(a)) == 0;
}

TEST(TransformViaArray, DividesByTheScaledDownDenominator) {
  const Values8 t = {3, 7, 5, 2, 11, 9, 100000, 0};
  double x = 0, y = 0;
  transformViaArray(t.data(), &x, &y, 1, 0);
  EXPECT_EQ(x, (3 + 5) / 2.0);
  EXPECT_EQ(y, (2 + 9) / 2.0);
}

TEST(TransformViaArray, ComputesInDoublePrecisionToTheLastBit) {
  Numbers numbers(11);
  for (int round = 0; round < 500; ++round) {
    const Values8 t = someTransform(numbers);
    const double px = numbers.around(2000, 3000), py = numbers.around(2000, 3000);
    double x = 0, y = 0, refX = 0, refY = 0;
    float fx = 0, fy = 0;
    transformViaArray(t.data(), &x, &y, px, py);
    transformViaArrayF(t.data(), &fx, &fy, px, py);
    vindrel::reference::mapTrans8(t.data(), px, py, refX, refY);
    ASSERT_EQ(x, refX);
    ASSERT_EQ(y, refY);
    ASSERT_EQ(fx, static_cast<float>(refX));
    ASSERT_EQ(fy, static_cast<float>(refY));
  }
}

TEST(Transform9ViaArrayF, TakesTheThirdRowAsDenominator) {
  const Values9 m = {2, 0, 1, 0, 3, 2, 0, 0.5f, 1};
  float x = 0, y = 0;
  transform9ViaArrayF(m.data(), &x, &y, 4, 2);
  EXPECT_EQ(x, 9 / 2.0f);
  EXPECT_EQ(y, 8 / 2.0f);
}

TEST(Transform9ViaArrayF, DoesNotGuardThePointsOnTheHorizon) {
  const Values9 m = {1, 0, 0, 0, 1, 0, 0, 1, -2};
  float x = 0, y = 0;
  transform9ViaArrayF(m.data(), &x, &y, 3, 2);
  EXPECT_TRUE(std::isinf(x));
  EXPECT_TRUE(std::isinf(y));
}

TEST(Transform9ViaArrayF, RoundsOnlyItsResultsToSingle) {
  Numbers numbers(12);
  for (int round = 0; round < 500; ++round) {
    Values9 m;
    for (float &value : m)
      value = numbers.around(0, 2);
    const double px = numbers.around(0, 400), py = numbers.around(0, 400);
    float x = 0, y = 0, refX = 0, refY = 0;
    transform9ViaArrayF(m.data(), &x, &y, px, py);
    vindrel::reference::mapMat9(m.data(), px, py, refX, refY);
    ASSERT_EQ(x, refX);
    ASSERT_EQ(y, refY);
  }
}

TEST(Transform4ViaArrayF, RotatesTheUnitVector) {
  const float c = std::cos(0.3f), s = std::sin(0.3f);
  const float m[4] = {c, s, -s, c};
  float x = 0, y = 0;
  transform4ViaArrayF(m, &x, &y, 1, 0);
  EXPECT_EQ(x, c);
  EXPECT_EQ(y, s);
}

TEST(Transform4ViaArrayF, ReadsItsMatrixColumnByColumn) {
  const float m[4] = {1, 2, 4, 8};
  float x = 0, y = 0;
  transform4ViaArrayF(m, &x, &y, 16, 32);
  EXPECT_EQ(x, 16.0f + 4 * 32);
  EXPECT_EQ(y, 2 * 16.0f + 8 * 32);
}

TEST(CalcInverseTransform, OfTheIdentityIsTheIdentity) {
  const Values8 identity = {1, 0, 0, 0, 1, 0, 0, 0};
  Values8 out;
  out.fill(-1);
  calcInverseTransform(identity.data(), out.data());
  EXPECT_EQ(out, identity);
}

TEST(CalcInverseTransform, OfATranslationIsTheOppositeTranslation) {
  const Values8 t = {1, 0, 5, 0, 1, 7, 0, 0};
  Values8 out;
  calcInverseTransform(t.data(), out.data());
  EXPECT_EQ(out, (Values8{1, 0, -5, 0, 1, -7, 0, 0}));
}

TEST(CalcInverseTransform, OfASingularTransformIsNotFinite) {
  const Values8 t = {1, 2, 0, 2, 4, 0, 0, 0};
  Values8 out;
  calcInverseTransform(t.data(), out.data());
  for (const float value : out)
    EXPECT_FALSE(std::isfinite(value));
}

TEST(CalcInverseTransform, TakesEveryPointBack) {
  Numbers numbers(13);
  for (int round = 0; round < 200; ++round) {
    const Values8 t = someTransform(numbers);
    Values8 inverse;
    calcInverseTransform(t.data(), inverse.data());
    for (const double px : {0.0, 333.0, 1000.0}) {
      for (const double py : {0.0, 777.0}) {
        double x = 0, y = 0;
        transformViaArray(t.data(), &x, &y, px, py);
        transformViaArray(inverse.data(), &x, &y, x, y);
        ASSERT_NEAR(x, px, 0.01);
        ASSERT_NEAR(y, py, 0.01);
      }
    }
  }
}

TEST(CalcInverseTransform, EqualsTheReferenceToTheLastBit) {
  Numbers numbers(14);
  for (int round = 0; round < 500; ++round) {
    const Values8 t = someTransform(numbers);
    Values8 out, expected;
    calcInverseTransform(t.data(), out.data());
    vindrel::reference::invertTrans8(t.data(), expected.data());
    ASSERT_TRUE(sameBits(out, expected));
  }
}

TEST(CalcInverseTransform, MayWriteOverItsInput) {
  Values8 t = {1.25f, 0.5f, 5, -0.25f, 1, 7, 3, 2}, expected;
  vindrel::reference::invertTrans8(t.data(), expected.data());
  calcInverseTransform(t.data(), t.data());
  EXPECT_TRUE(sameBits(t, expected));
}

TEST(MatrixMult33, RoundsEveryStepToSinglePrecision) {
  // 1 + 2^-24 rounds back to 1 in single precision, however often it is added; a double sum would keep it.
  const float tiny = std::ldexp(1.0f, -24);
  const Values9 a = {1, 1, 1, 0, 0, 0, 0, 0, 0}, b = {1, 0, 0, tiny, 0, 0, tiny, 0, 0};
  Values9 c;
  matrixMult33(a.data(), b.data(), c.data());
  EXPECT_EQ(c[0], 1.0f);
  const Values9 reversed = {tiny, 0, 0, tiny, 0, 0, 1, 0, 0};
  matrixMult33(a.data(), reversed.data(), c.data());
  EXPECT_EQ(c[0], 1.0f + std::ldexp(1.0f, -23));
}

TEST(MatrixMult33, EqualsTheReferenceToTheLastBit) {
  Numbers numbers(15);
  for (int round = 0; round < 500; ++round) {
    Values9 a, b, c, expected;
    for (float &value : a)
      value = numbers.around(0, 3);
    for (float &value : b)
      value = numbers.around(0, 3);
    matrixMult33(a.data(), b.data(), c.data());
    vindrel::reference::multiplySingle33(a.data(), b.data(), expected.data());
    ASSERT_TRUE(sameBits(c, expected));
  }
}

} // namespace
