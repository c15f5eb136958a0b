// calcOptimalCropRect and the setting that moves its centre.
#include "VindrelRegLib.h"

#include "reference/Straighten.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>
#include <random>

namespace {

using Values8 = std::array<float, 8>;

constexpr float kUntouched = -777;

struct Found {
  int result = -1;
  float x = kUntouched, y = kUntouched;
  int w = -777, h = -777;
  friend bool operator==(const Found &, const Found &) = default;
};

Found search(const Values8 &t, int w, int h, float factorV, float factorH) {
  Found f;
  f.result = calcOptimalCropRect(t.data(), w, h, &f.x, &f.y, &f.w, &f.h, factorV, factorH);
  return f;
}

// Restores the process-wide setting.
class CalcOptimalCropRect : public testing::Test {
protected:
  void TearDown() override { setPinToEdge(0); }
};

// The output frame turned by degrees about (cx, cy) and enlarged, seen from the output: the warp's direction.
Values8 turned(double degrees, double cx, double cy, double enlarged = 1) {
  const double a = degrees * 3.14159265358979323846 / 180, c = std::cos(a) / enlarged, s = std::sin(a) / enlarged;
  return {float(c), float(-s), float(cx - c * cx + s * cy), float(s), float(c), float(cy - s * cx - c * cy), 0, 0};
}

constexpr Values8 kIdentity = {1, 0, 0, 0, 1, 0, 0, 0};

TEST_F(CalcOptimalCropRect, OfTheIdentityIsTheFrameForEverySignOfTheFactors) {
  for (const float v : {-1.0f, 0.0f, 1.0f}) {
    for (const float h : {-1.0f, 0.0f, 1.0f}) {
      EXPECT_EQ(search(kIdentity, 400, 300, v, h), (Found{1, 0, 0, 400, 300})) << v << " " << h;
    }
  }
}

TEST_F(CalcOptimalCropRect, CentresOnWholePixelsWhenPinned) {
  // A frame turned about its middle has its outline's middle there too, so that pinning changes nothing as long as the
  // middle is a whole pixel. With odd sides the pinned centre is (200, 150) instead of (200.5, 150.5).
  const Found even = search(turned(30, 200, 150), 400, 300, 0, 0);
  const Found odd = search(turned(30, 200.5, 150.5), 401, 301, 0, 0);
  setPinToEdge(1);
  EXPECT_NEAR(search(turned(30, 200, 150), 400, 300, 0, 0).x, even.x, 1e-3);
  EXPECT_GT(std::abs(search(turned(30, 200.5, 150.5), 401, 301, 0, 0).x - odd.x), 0.05);
  vindrel::reference::Crop expected;
  ASSERT_EQ(vindrel::reference::optimalCrop(turned(30, 200.5, 150.5).data(), 401, 301, true, 0, 0, expected), 1);
  EXPECT_EQ(search(turned(30, 200.5, 150.5), 401, 301, 0, 0),
            (Found{1, expected.x, expected.y, expected.w, expected.h}));
}

TEST_F(CalcOptimalCropRect, WritesNothingWhenADiagonalMissesTheOutline) {
  // The picture lies 1000 pixels to the left of the frame.
  const Values8 t = {1, 0, 1000, 0, 1, 0, 0, 0};
  EXPECT_EQ(search(t, 400, 300, 0, 0), (Found{.result = 0}));
}

TEST_F(CalcOptimalCropRect, WritesNothingWithoutAnOutline) {
  EXPECT_EQ(search({0, 0, 0, 0, 0, 0, 0, 0}, 400, 300, 0, 0), (Found{.result = 0}));
  const float nan = std::numeric_limits<float>::quiet_NaN();
  EXPECT_EQ(search({nan, 0, 0, 0, 1, 0, 0, 0}, 400, 300, 0, 0), (Found{.result = 0}));
  EXPECT_EQ(search({1, 0, 0, 0, 1, 0, nan, nan}, 400, 300, 0, 0), (Found{.result = 0}));
}

TEST_F(CalcOptimalCropRect, WritesNothingWhereTheCropIsWiderThanAnIntCanSay) {
  EXPECT_EQ(search({1e-8f, 0, 0, 0, 1e-8f, 0, 0, 0}, 400, 300, 0, 0), (Found{.result = 0}));
}

// Outlines of 200 x 300 and of 400 x 150 pixels for a frame of 400 x 300: the crop has room to move in one direction.
constexpr Values8 kNarrow = {2, 0, 0, 0, 1, 0, 0, 0};
constexpr Values8 kFlat = {1, 0, 0, 0, 2, 0, 0, 0};

TEST_F(CalcOptimalCropRect, AnchorsAtTheBottomForANegativeVerticalFactor) {
  for (const float h : {-0.1f, 0.1f}) {
    EXPECT_EQ(search(kNarrow, 400, 300, -0.1f, h), (Found{1, 0, -150, 200, 150}));
    EXPECT_EQ(search(kNarrow, 400, 300, 0.1f, h), (Found{1, 0, 0, 200, 150}));
  }
}

TEST_F(CalcOptimalCropRect, AnchorsAtTheLeftForANegativeHorizontalFactor) {
  for (const float v : {-0.1f, 0.1f}) {
    EXPECT_EQ(search(kFlat, 400, 300, v, -0.1f), (Found{1, 0, 0, 200, 150}));
    EXPECT_EQ(search(kFlat, 400, 300, v, 0.1f), (Found{1, -200, 0, 200, 150}));
  }
}

TEST_F(CalcOptimalCropRect, CountsNegativeZeroAsNotNegative) {
  EXPECT_EQ(search(kNarrow, 400, 300, -0.0f, 0).y, 0);
  EXPECT_EQ(search(kNarrow, 400, 300, -1e-30f, 0).y, -150);
  EXPECT_EQ(search(kFlat, 400, 300, 0, -0.0f).x, -200);
  EXPECT_EQ(search(kFlat, 400, 300, 0, -1e-30f).x, 0);
}

TEST_F(CalcOptimalCropRect, ReadsOnlyTheSignsOfTheFactors) {
  EXPECT_EQ(search(kNarrow, 400, 300, -0.001f, 50), search(kNarrow, 400, 300, -9, 0.25f));
  EXPECT_EQ(search(kFlat, 400, 300, 7, -0.001f), search(kFlat, 400, 300, 0, -60));
}

TEST_F(CalcOptimalCropRect, EqualsTheReferenceToTheLastBit) {
  std::mt19937 engine(31);
  const auto number = [&](double spread) {
    return static_cast<float>(std::uniform_real_distribution<double>(-spread, spread)(engine));
  };
  int found = 0, missed = 0;
  for (int round = 0; round < 6000; ++round) {
    const int w = 1 + static_cast<int>(engine() % 900), h = 1 + static_cast<int>(engine() % 900);
    Values8 t = turned(number(25), w * 0.5, h * 0.5);
    for (float &value : t)
      value += number(0.05);
    t[6] = number(20);
    t[7] = number(20);
    const float v = number(1), sideways = number(1);
    setPinToEdge(round & 1);
    vindrel::reference::Crop crop = {kUntouched, kUntouched, -777, -777};
    Found expected;
    expected.result = vindrel::reference::optimalCrop(t.data(), w, h, round & 1, v, sideways, crop);
    expected.x = crop.x, expected.y = crop.y, expected.w = crop.w, expected.h = crop.h;
    ASSERT_EQ(search(t, w, h, v, sideways), expected) << "round " << round;
    ++(expected.result == 1 ? found : missed);
  }
  EXPECT_GT(found, 1000);
  EXPECT_GT(missed, 100);
}

TEST(SetPinToEdge, StoresItsArgumentAndReturnsIt) {
  EXPECT_EQ(pinToEdge, 0);
  EXPECT_EQ(setPinToEdge(5), 5);
  EXPECT_EQ(pinToEdge, 5);
  EXPECT_EQ(setPinToEdge(0), 0);
  EXPECT_EQ(pinToEdge, 0);
}

} // namespace
