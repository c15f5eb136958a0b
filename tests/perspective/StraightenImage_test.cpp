// straightenImage as a whole: the pixels, the size, the printed lines and what it leaves alone.
#include "VindrelRegLib.h"

#include "perspective/Pictures.h"
#include "reference/Straighten.h"
#include "support/FailingAllocation.h"
#include "support/FailingThreads.h"
#include "support/GuardedBuffer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <random>
#include <string>
#include <vector>

namespace vindrel::test {

namespace {

struct Call {
  int width, height, channels;
  float factorV = 0, factorH = 0, angle = 0;
  bool crop = true;
  int threads = 1;
  int padding = 0; // samples after each source row
};

template <class Sample>
constexpr int bitsOf() {
  return 8 * static_cast<int>(sizeof(Sample));
}

// Random samples; the padding holds white, which must never be read.
template <class Sample>
std::vector<Sample> noise(const Call &c, unsigned seed) {
  std::mt19937 engine(seed);
  const int stride = c.width * c.channels + c.padding;
  std::vector<Sample> picture(static_cast<std::size_t>(stride) * c.height, static_cast<Sample>(~0u));
  for (int y = 0; y < c.height; ++y) {
    for (int i = 0; i < c.width * c.channels; ++i)
      picture[y * stride + i] = static_cast<Sample>(engine());
  }
  return picture;
}

template <class Sample>
struct Straightened {
  int result;
  int size[2];
  std::string printed;
  GuardedBuffer<Sample> pixels; // the caller's room for width x height pixels, filled with kUnwritten before the call
};

template <class Sample>
constexpr Sample kUnwritten = static_cast<Sample>(0x7B);

template <class Sample>
Straightened<Sample> straighten(const Call &c, const std::vector<Sample> &source, int bits = bitsOf<Sample>()) {
  Straightened<Sample> s = {
      -1,
      {c.crop ? 0 : 1, -5},
      "",
      GuardedBuffer<Sample>(static_cast<std::size_t>(c.width) * c.height * c.channels, kUnwritten<Sample>)};
  testing::internal::CaptureStdout();
  s.result = straightenImage(c.threads, c.width, c.height, c.width * c.channels + c.padding, c.channels, bits, s.size,
                             source.data(), s.pixels.data(), c.factorV, c.factorH, c.angle);
  s.printed = testing::internal::GetCapturedStdout();
  return s;
}

// The warp that the reference's plan asks for, by the exported single-threaded kernel.
template <class Sample>
GuardedBuffer<Sample> expectedPixels(const Call &c, const std::vector<Sample> &source, const reference::Plan &plan) {
  GuardedBuffer<Sample> out(static_cast<std::size_t>(c.width) * c.height * c.channels, kUnwritten<Sample>);
  const std::uint32_t slot = 0;
  align_with_transf_orig(c.width, c.height, c.width * c.channels + c.padding, plan.cropW, 0, plan.cropH, c.channels,
                         bitsOf<Sample>(), static_cast<int>(plan.cropX), static_cast<int>(plan.cropY), 1, &slot, plan.t,
                         0, 0, source.data(), out.data());
  return out;
}

reference::Plan referencePlan(const Call &c) {
  return reference::straighten(c.width, c.height, c.factorV, c.factorH, c.angle, !c.crop, false);
}

std::string expectedLines(const Call &c, int bits, const reference::Plan &plan) {
  char text[400];
  std::snprintf(text, sizeof text, "factorV=%f, factorH=%f\n\nalign(4, %d, %d, %d, 0, %d, %d, %d, %f, %f, 1...)\n",
                static_cast<double>(c.factorV), static_cast<double>(c.factorH), c.width, c.height, plan.cropW,
                plan.cropH, c.channels, bits, static_cast<double>(plan.cropX), static_cast<double>(plan.cropY));
  return text;
}

template <class Sample>
void expectLikeReference(const Call &c) {
  const std::vector<Sample> source = noise<Sample>(c, 51);
  const reference::Plan plan = referencePlan(c);
  const Straightened<Sample> s = straighten(c, source);
  EXPECT_EQ(s.result, plan.cropH);
  EXPECT_EQ(s.size[0], plan.cropW);
  EXPECT_EQ(s.size[1], plan.cropH);
  EXPECT_EQ(s.printed, expectedLines(c, bitsOf<Sample>(), plan));
  EXPECT_TRUE(s.pixels.guardsIntact());
  EXPECT_EQ(s.pixels.copy(), expectedPixels(c, source, plan).copy());
}

TEST(StraightenImage, ReproducesThePictureWithoutCorrections) {
  const Call c = {.width = 64, .height = 48, .channels = 3};
  const auto source = noise<std::uint8_t>(c, 52);
  const auto s = straighten(c, source);
  EXPECT_EQ(s.result, 48);
  EXPECT_EQ(s.size[0], 64);
  EXPECT_EQ(s.size[1], 48);
  for (int y = 0; y < 48; ++y) {
    for (int x = 0; x < 64; ++x) {
      // The last column and row have no neighbour to interpolate with: they are filled.
      const bool last = x == 63 || y == 47;
      for (int i = 3 * (y * 64 + x); i < 3 * (y * 64 + x) + 3; ++i)
        ASSERT_EQ(s.pixels[i], last ? 255 : source[i]);
    }
  }
}

TEST(StraightenImage, KeepsTheFrameWhenTheSizeAsksForNoCrop) {
  const Call c = {.width = 80, .height = 60, .channels = 3, .factorV = 0.1f, .angle = 12, .crop = false};
  const auto s = straighten(c, noise<std::uint8_t>(c, 53));
  EXPECT_EQ(s.result, 60);
  EXPECT_EQ(s.size[0], 80);
  EXPECT_EQ(s.size[1], 60);
  expectLikeReference<std::uint8_t>(c);
}

TEST(StraightenImage, CropsForEveryOtherFirstElementOfTheSize) {
  const Call c = {.width = 80, .height = 60, .channels = 1, .angle = 12};
  const auto source = noise<std::uint8_t>(c, 54);
  GuardedBuffer<std::uint8_t> out(80 * 60);
  for (const int first : {-1, 0, 2, 80}) {
    int size[2] = {first, 60};
    testing::internal::CaptureStdout();
    straightenImage(1, 80, 60, 80, 1, 8, size, source.data(), out.data(), 0, 0, 12);
    testing::internal::GetCapturedStdout();
    EXPECT_LT(size[0], 80) << first;
    EXPECT_LT(size[1], 60) << first;
  }
}

TEST(StraightenImage, PrintsTheFactorsAnEmptyLineAndTheWarp) {
  const Call c = {.width = 400, .height = 300, .channels = 3, .factorV = 0.0625f, .factorH = -0.5e-6f, .crop = false};
  EXPECT_EQ(straighten(c, noise<std::uint8_t>(c, 55)).printed,
            "factorV=0.062500, factorH=-0.000000\n\n"
            "align(4, 400, 300, 400, 0, 300, 3, 8, 0.000000, 0.000000, 1...)\n");
}

TEST(StraightenImage, PrintsFourAsFirstNumberForAnyThreadCount) {
  Call c = {.width = 40, .height = 30, .channels = 1, .angle = 3};
  const auto source = noise<std::uint8_t>(c, 56);
  for (const int threads : {1, 8}) {
    c.threads = threads;
    EXPECT_NE(straighten(c, source).printed.find("\n\nalign(4, 40, 30, "), std::string::npos);
  }
}

TEST(StraightenImage, PrintsTheOffsetsOfAScaledCropAsTheWarpUsesThem) {
  const Call c = {.width = 400, .height = 300, .channels = 1, .factorV = -0.1f, .factorH = -0.05f, .angle = 90};
  const reference::Plan plan = referencePlan(c);
  ASSERT_GT(plan.searchedW, 400);
  expectLikeReference<std::uint8_t>(c);
}

TEST(StraightenImage, WritesTheSizeButNoPixelForAnUnsupportedDepth) {
  const Call c = {.width = 40, .height = 30, .channels = 1, .angle = 3};
  const auto source = noise<std::uint8_t>(c, 57);
  const reference::Plan plan = referencePlan(c);
  for (const int bits : {0, 1, 12, 32}) {
    const auto s = straighten(c, source, bits);
    EXPECT_EQ(s.result, 0);
    EXPECT_EQ(s.size[0], plan.cropW);
    EXPECT_EQ(s.size[1], plan.cropH);
    EXPECT_EQ(s.printed, expectedLines(c, bits, plan));
    EXPECT_TRUE(s.pixels.guardsIntact());
    for (const std::uint8_t sample : s.pixels.contents())
      ASSERT_EQ(sample, kUnwritten<std::uint8_t>);
  }
}

TEST(StraightenImage, GivesTheSameBytesOnAnyNumberOfThreads) {
  Call c = {.width = 131, .height = 97, .channels = 3, .factorV = 0.05f, .factorH = -0.02f, .angle = -4, .padding = 5};
  const auto source = noise<std::uint16_t>(c, 58);
  const auto alone = straighten(c, source);
  for (const int threads : {-3, 0, 2, 4, 8, 200}) {
    c.threads = threads;
    const auto s = straighten(c, source);
    EXPECT_EQ(s.result, alone.result) << threads;
    EXPECT_EQ(s.pixels.copy(), alone.pixels.copy()) << threads;
    EXPECT_TRUE(s.pixels.guardsIntact()) << threads;
  }
}

TEST(StraightenImage, GivesTheSameBytesWhenThreadsDoNotStart) {
  Call c = {.width = 131, .height = 97, .channels = 3, .factorV = 0.05f, .angle = -4};
  const auto source = noise<std::uint8_t>(c, 59);
  const auto alone = straighten(c, source);
  c.threads = 4;
  for (long nth = 1; nth <= 4; ++nth) {
    FailingThreads failing(nth);
    const auto s = straighten(c, source);
    EXPECT_TRUE(failing.reached());
    EXPECT_EQ(s.result, alone.result);
    EXPECT_EQ(s.pixels.copy(), alone.pixels.copy());
  }
}

TEST(StraightenImage, GivesTheSameBytesWithoutMemory) {
  Call c = {.width = 131, .height = 97, .channels = 3, .factorV = 0.05f, .angle = -4, .threads = 4};
  const auto source = noise<std::uint8_t>(c, 60);
  const auto alone = straighten(c, source);
  GuardedBuffer<std::uint8_t> out(131 * 97 * 3, kUnwritten<std::uint8_t>);
  forEachFailingAllocation([&](const FailingAllocation &) {
    int size[2] = {0, 0};
    testing::internal::CaptureStdout();
    EXPECT_EQ(straightenImage(4, 131, 97, 131 * 3, 3, 8, size, source.data(), out.data(), 0.05f, 0, -4), alone.result);
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(out.copy(), alone.pixels.copy());
  });
}

TEST(StraightenImage, EqualsTheReferenceForEverySampleFormat) {
  for (const int channels : {1, 2, 3, 4, 5}) {
    for (const int padding : {0, 7}) {
      for (const int threads : {1, 3}) {
        const Call c = {.width = 93,
                        .height = 61,
                        .channels = channels,
                        .factorV = -0.06f,
                        .factorH = 0.03f,
                        .angle = 2.5f,
                        .threads = threads,
                        .padding = padding};
        expectLikeReference<std::uint8_t>(c);
        expectLikeReference<std::uint16_t>(c);
      }
    }
  }
}

TEST(StraightenImage, EqualsTheReferenceForSizesAndCorrectionsOfAllKinds) {
  std::mt19937 engine(61);
  const auto number = [&](double spread) {
    return static_cast<float>(std::uniform_real_distribution<double>(-spread, spread)(engine));
  };
  for (int round = 0; round < 400; ++round) {
    const Call c = {.width = 1 + static_cast<int>(engine() % 70),
                    .height = 1 + static_cast<int>(engine() % 70),
                    .channels = 1 + static_cast<int>(engine() % 4),
                    .factorV = number(round % 4 == 0 ? 0.6 : 0.2),
                    .factorH = number(round % 4 == 0 ? 0.6 : 0.2),
                    .angle = number(30),
                    .crop = round % 5 != 0,
                    .padding = static_cast<int>(engine() % 3)};
    SCOPED_TRACE(round);
    expectLikeReference<std::uint8_t>(c);
  }
}

TEST(StraightenImage, NeverWritesBeyondTheSourcesSizeWhereTheCropComesOutTaller) {
  const Call c = {.width = 83,
                  .height = 122,
                  .channels = 3,
                  .factorV = -0.140972465f,
                  .factorH = -0.152124912f,
                  .angle = 14.0575562f};
  ASSERT_GT(referencePlan(c).uncutH, 122);
  const auto s = straighten(c, noise<std::uint8_t>(c, 62));
  EXPECT_EQ(s.size[0], 83);
  EXPECT_EQ(s.size[1], 122);
  EXPECT_TRUE(s.pixels.guardsIntact());
  expectLikeReference<std::uint8_t>(c);
}

TEST(StraightenImage, StaysInItsBufferWithTheHorizonInTheFrame) {
  for (const float v : {-40.0f, -0.3183099f, 0.0f, 0.5f, 1e20f}) {
    for (const float h : {-1e20f, -0.5f, 0.3183099f, 7.0f}) {
      const Call c = {.width = 41, .height = 33, .channels = 4, .factorV = v, .factorH = h, .angle = 9, .threads = 2};
      const auto s = straighten(c, noise<std::uint16_t>(c, 63));
      EXPECT_TRUE(s.pixels.guardsIntact());
      EXPECT_EQ(s.result, s.size[1]);
      EXPECT_LE(s.size[0], 41);
      EXPECT_LE(s.size[1], 33);
    }
  }
}

// A plane of brightness is reproduced by bilinear interpolation wherever it is sampled, so that each output sample
// tells at which source position it was taken.
TEST(StraightenImage, TakesEveryPixelFromWhereTheComposedHomographySays) {
  for (const bool oddSides : {false, true}) {
    const int w = oddSides ? 301 : 300, h = oddSides ? 225 : 224;
    std::vector<std::uint16_t> source(static_cast<std::size_t>(2 * w) * h);
    for (int y = 0; y < h; ++y) {
      for (int x = 0; x < w; ++x) {
        source[2 * (y * w + x)] = static_cast<std::uint16_t>(1000 + 200 * x);
        source[2 * (y * w + x) + 1] = static_cast<std::uint16_t>(1000 + 200 * y);
      }
    }
    for (const float v : {-0.08f, 0.0f, 0.05f}) {
      for (const float sideways : {-0.04f, 0.0f, 0.09f}) {
        for (const float angle : {-6.0f, 0.0f, 2.0f}) {
          const Call c = {.width = w, .height = h, .channels = 2, .factorV = v, .factorH = sideways, .angle = angle};
          const auto s = straighten(c, source);
          const reference::Plan plan = referencePlan(c);
          const double scale = plan.searchedW > w ? static_cast<double>(plan.searchedW) / w : 1;
          const Homography exact = exactStraightening(w, h, static_cast<double>(v), static_cast<double>(sideways),
                                                      static_cast<double>(angle)) *
                                   stretch(scale, scale);
          int compared = 0;
          for (int y = 0; y < s.size[1]; ++y) {
            for (int x = 0; x < s.size[0]; ++x) {
              const auto [ex, ey] = exact(x - std::trunc(static_cast<double>(plan.cropX)),
                                          y - std::trunc(static_cast<double>(plan.cropY)));
              if (ex < 0 || ey < 0 || ex > w - 1.02 || ey > h - 1.02) continue;
              ++compared;
              const std::size_t i = 2 * (static_cast<std::size_t>(y) * s.size[0] + x);
              // Two hundred levels a pixel: a hundredth of a pixel is two levels, rounding down one more.
              ASSERT_NEAR(s.pixels[i], 1000 + 200 * ex, 3) << x << " " << y;
              ASSERT_NEAR(s.pixels[i + 1], 1000 + 200 * ey, 3) << x << " " << y;
            }
          }
          EXPECT_GT(compared, s.size[0] * s.size[1] * 9 / 10);
        }
      }
    }
  }
}

} // namespace

} // namespace vindrel::test
