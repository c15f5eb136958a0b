// The kernel against its definition, to the last bit and on every instruction set, over random and over wild
// transforms. Sources lie against pages that must not be read.
#include "warp/Warp.h"

#include "reference/Warp.h"
#include "support/EveryTarget.h"
#include "support/GuardedBuffer.h"
#include "support/GuardedPages.h"
#include "warp/WarpCall.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>
#include <random>
#include <string>
#include <vector>

namespace vindrel::test {
namespace {

constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr float kNan = std::numeric_limits<float>::quiet_NaN();

using Coefficients = std::array<float, 8>;

struct Shape {
  int srcWidth, srcHeight, dstWidth, dstHeight, channels, padding, offsetX, offsetY;
};

template <class Sample>
void expectSameBits(const Shape &shape, const Coefficients &t, bool perspective, unsigned seed) {
  const std::int64_t stride = shape.srcWidth * shape.channels + shape.padding;
  // The last row without its padding.
  const auto contents = noise<Sample>(static_cast<std::size_t>(stride * shape.srcHeight - shape.padding), seed);
  GuardedPages<Sample> source(contents, seed % 4 == 0 ? Against::Start : Against::End);
  const reference::Warp<Sample> definition = {source.data(),  shape.srcWidth, shape.srcHeight, stride,
                                              shape.channels, shape.dstWidth, shape.offsetX,   shape.offsetY,
                                              perspective,    t.data()};
  const WarpJob job = {.source = {.samples = source.data(),
                                  .size = {shape.srcWidth, shape.srcHeight},
                                  .channels = shape.channels,
                                  .rowStride = stride,
                                  .depth = sizeof(Sample) == 1 ? SampleDepth::U8 : SampleDepth::U16},
                       .dstWidth = shape.dstWidth,
                       .offsetX = shape.offsetX,
                       .offsetY = shape.offsetY,
                       .transform = {perspective, t.data()}};
  const auto rowSamples = static_cast<std::size_t>(shape.dstWidth) * static_cast<std::size_t>(shape.channels);
  const std::size_t samples = rowSamples * static_cast<std::size_t>(shape.dstHeight);
  constexpr Sample kUntouched = 0x37;
  GuardedBuffer<Sample> expected(samples, kUntouched);
  reference::warpRows(definition, 0, shape.dstHeight, expected.data());

  onEveryTarget([&] {
    GuardedBuffer<Sample> whole(samples, kUntouched);
    warpBand(job, {0, shape.dstHeight}, whole.data());
    EXPECT_TRUE(whole.guardsIntact());
    ASSERT_EQ(whole.copy(), expected.copy());

    // The same rows as two bands, the lower one first.
    GuardedBuffer<Sample> bands(samples, kUntouched);
    const int split = shape.dstHeight / 3;
    warpBand(job, {split, shape.dstHeight}, bands.data() + rowSamples * static_cast<std::size_t>(split));
    warpBand(job, {0, split}, bands.data());
    EXPECT_TRUE(bands.guardsIntact());
    ASSERT_EQ(bands.copy(), expected.copy());
  });
}

void expectSameBitsAtBothDepths(const Shape &shape, const Coefficients &t, bool perspective, unsigned seed) {
  std::string text;
  for (const float v : t)
    text += std::to_string(v) + ' ';
  SCOPED_TRACE("seed " + std::to_string(seed) + (perspective ? " perspective " : " affine ") + text + "channels " +
               std::to_string(shape.channels) + ", source " + std::to_string(shape.srcWidth) + "x" +
               std::to_string(shape.srcHeight) + ", output " + std::to_string(shape.dstWidth) + "x" +
               std::to_string(shape.dstHeight));
  expectSameBits<std::uint8_t>(shape, t, perspective, seed);
  expectSameBits<std::uint16_t>(shape, t, perspective, seed);
}

// A transform as registration finds them: near the identity.
Coefficients tame(std::mt19937 &random) {
  std::uniform_real_distribution<float> linear(-0.1f, 0.1f);
  std::uniform_real_distribution<float> shift(-8.0f, 8.0f);
  std::uniform_real_distribution<float> tilt(-300.0f, 300.0f);
  return {1 + linear(random), linear(random), shift(random), linear(random),
          1 + linear(random), shift(random),  tilt(random),  tilt(random)};
}

TEST(WarpKernel, EqualsTheDefinitionForTransformsNearTheIdentity) {
  std::mt19937 random(1);
  for (unsigned seed = 0; seed < 200; ++seed) {
    const Shape shape = {.srcWidth = static_cast<int>(random() % 60) + 1,
                         .srcHeight = static_cast<int>(random() % 40) + 1,
                         .dstWidth = static_cast<int>(random() % 70),
                         .dstHeight = static_cast<int>(random() % 40),
                         .channels = static_cast<int>(seed % 9) + 1,
                         .padding = static_cast<int>(random() % 4),
                         .offsetX = static_cast<int>(random() % 21) - 10,
                         .offsetY = static_cast<int>(random() % 21) - 10};
    expectSameBitsAtBothDepths(shape, tame(random), seed % 2 == 0, seed);
  }
}

TEST(WarpKernel, EqualsTheDefinitionOverRowsOfSeveralBlocks) {
  std::mt19937 random(2);
  for (const int width : {255, 256, 257, 511, 512, 513, 1030})
    for (const bool perspective : {false, true})
      for (int channels = 1; channels <= 9; ++channels)
        expectSameBitsAtBothDepths({width, 5, width, 6, channels, 1, -1, 1}, tame(random), perspective,
                                   static_cast<unsigned>(width));
}

TEST(WarpKernel, EqualsTheDefinitionWhenThePoleCrossesTheFrame) {
  std::mt19937 random(3);
  std::uniform_real_distribution<float> tilt(-20000.0f, 20000.0f);
  for (unsigned seed = 0; seed < 60; ++seed) {
    Coefficients t = tame(random);
    t[6] = tilt(random);
    t[7] = tilt(random);
    expectSameBitsAtBothDepths({40, 30, 50, 40, static_cast<int>(seed % 9) + 1, 0, 5, 5}, t, true, seed);
  }
  // The denominator is exactly 0 in column 10: the quotients are infinite, or no number where the numerator is 0 too.
  const double g = -1.0 / (10 * 0.00001);
  expectSameBitsAtBothDepths({40, 30, 50, 40, 3, 0, 0, 0}, {1, 0, 0, 0, 1, 0, static_cast<float>(g), 0}, true, 0);
  expectSameBitsAtBothDepths({40, 30, 50, 40, 3, 0, 0, 0}, {1, 0, -10, 0, 0, 0, static_cast<float>(g), 0}, true, 0);
}

TEST(WarpKernel, EqualsTheDefinitionForCoefficientsThatAreHugeTinyOrNoNumbers) {
  std::mt19937 random(4);
  const float wild[] = {kNan,  kInfinity,     -kInfinity, 3e38f,   -3e38f, 2147483648.0f, -2147483648.0f, 4294967296.0f,
                        1e10f, 2147483520.0f, 1e-40f,     -1e-30f, 0.0f,   -0.0f,         -0.99999994f,   1e-45f};
  for (unsigned seed = 0; seed < 300; ++seed) {
    Coefficients t = tame(random);
    for (auto changes = random() % 3 + 1; changes > 0; --changes)
      t[random() % 8] = wild[random() % std::size(wild)];
    expectSameBitsAtBothDepths({17, 13, 21, 15, static_cast<int>(seed % 9) + 1, 1, 2, 1}, t, seed % 2 == 0, seed);
  }
}

TEST(WarpKernel, EqualsTheDefinitionAtOffsetsBeyondTheRangeOfInt) {
  constexpr int kMin = std::numeric_limits<int>::min();
  constexpr int kMax = std::numeric_limits<int>::max();
  for (const int offset : {kMin, kMin + 1, kMax, kMax - 1, 1 << 24, (1 << 24) + 1}) {
    // Brings the far column 0 back into the source.
    const float back = static_cast<float>(offset);
    const Coefficients t = {1, 0, back, 0, 1, back, 0, 0};
    for (const bool perspective : {false, true})
      expectSameBitsAtBothDepths({300, 20, 280, 18, 3, 0, offset, offset}, t, perspective, 0);
  }
}

TEST(WarpKernel, EqualsTheDefinitionForSourcesTooSmallForFourNeighbours) {
  for (const auto &[width, height] : {std::pair{1, 1}, {1, 5}, {5, 1}, {2, 2}, {2, 1}, {1, 2}})
    for (const float shift : {0.0f, -0.5f, 0.25f, -1.0f})
      expectSameBitsAtBothDepths({width, height, 4, 4, 3, 0, 1, 1}, {1, 0, shift, 0, 1, shift, 0, 0}, false, 0);
}

TEST(WarpKernel, EqualsTheDefinitionOfFractionsThatSingleAndDoublePrecisionRoundDifferently) {
  std::mt19937 random(5);
  std::uniform_real_distribution<float> fraction(0.0f, 1.0f);
  for (unsigned seed = 0; seed < 40; ++seed) {
    // Coordinates below 1 have more digits after the point than any others.
    const float scale = std::ldexp(1.0f, -static_cast<int>(seed));
    expectSameBitsAtBothDepths(
        {3, 3, 2, 2, 4, 0, 0, 0},
        {fraction(random), 0, fraction(random) * scale, 0, fraction(random), -fraction(random) * scale, 0, 0}, false,
        seed);
  }
}

TEST(WarpKernel, EqualsTheDefinitionForEveryWidthUpToAFewVectors) {
  std::mt19937 random(6);
  for (int width = 0; width <= 70; ++width)
    for (int channels = 1; channels <= 5; ++channels)
      expectSameBitsAtBothDepths({90, 12, width, 3, channels, width % 3, -4, -3}, tame(random),
                                 (width + channels) % 2 == 0, static_cast<unsigned>(width));
}

TEST(WarpKernel, EqualsTheDefinitionForTurnedMirroredAndScaledFrames) {
  for (const float scale : {0.3f, 0.75f, 1.0f, 1.2f, 2.0f, 3.0f})
    for (const float degrees : {0.0f, 0.5f, 4.0f, 20.0f, 45.0f, 90.0f, 135.0f, 178.0f, 180.0f, 270.0f})
      for (const float mirror : {1.0f, -1.0f})
        for (int channels = 1; channels <= 4; ++channels) {
          // About the middle of a 640 x 40 frame, which stays in the middle of the output.
          const float angle = degrees * 0.017453293f;
          const float a = scale * mirror * std::cos(angle), b = -scale * std::sin(angle);
          const float d = scale * mirror * std::sin(angle), e = scale * std::cos(angle);
          const Coefficients t = {a, b, 320 - a * 300 - b * 8, d, e, 20 - d * 300 - e * 8, 40.0f, -30.0f};
          expectSameBitsAtBothDepths({640, 40, 600, 12, channels, 1, 0, 0}, t, channels % 2 == 0,
                                     static_cast<unsigned>(channels));
        }
}

TEST(WarpKernel, EqualsTheDefinitionOfManyRowsThatRunDownTheSource) {
  for (const int rows : {31, 32, 33, 70})
    for (int channels = 1; channels <= 5; ++channels)
      expectSameBitsAtBothDepths({80, 330, 300, rows, channels, 1, 0, 0},
                                 {0.02f, 0.9f, 3.5f, -1.05f, 0.01f, 320, 20, -30}, rows % 2 == 0,
                                 static_cast<unsigned>(channels));
}

TEST(WarpKernel, EqualsTheDefinitionOfValuesCloseToHalfSteps) {
  // A fraction close to m / 2n, between neighbours that differ by n: v is close to a half step. Noise has pairs of
  // every difference. Columns from 512 on have fractions of 14 digits at most.
  std::mt19937 random(7);
  for (unsigned seed = 0; seed < 150; ++seed) {
    const auto close = [&] {
      const int n = static_cast<int>(random() % 255) + 1,
                m = static_cast<int>(random() % static_cast<unsigned>(n)) * 2 + 1;
      return static_cast<float>(m) / static_cast<float>(2 * n) +
             std::ldexp(static_cast<float>(random() % 17) - 8.0f, -static_cast<int>(random() % 8 + 14));
    };
    const float near = seed % 3 == 0 ? 600.0f : seed % 3 == 1 ? 3.0f : 300.0f;
    const Coefficients t = {1, 0, near + close(), 0, 1, random() % 2 == 0 ? 0.0f : close(), 0, 0};
    expectSameBitsAtBothDepths({700, 12, 90, 10, static_cast<int>(seed % 4) + 1, 0, 0, 0}, t, seed % 2 == 0, seed);
  }
}

TEST(WarpKernel, EqualsTheDefinitionOfShiftsByHalvesAndQuarters) {
  for (const float x : {0.5f, 600.25f, 12.75f, 520.5f})
    for (const float y : {0.0f, 0.25f, 0.5f})
      for (int channels = 1; channels <= 4; ++channels)
        expectSameBitsAtBothDepths({700, 12, 90, 10, channels, 0, 0, 0}, {1, 0, x, 0, 1, y, 0, 0}, false, 1);
}

TEST(WarpKernel, EqualsTheDefinitionWhereAReciprocalRoundsACoordinateDifferently) {
  // Denominators for which a quotient lies close to half a step between two floats. g and h make up one: at (1, 1) the
  // larger term has the first 24 digits, the smaller one the next.
  std::mt19937 random(8);
  std::uniform_real_distribution<double> quotient(3.0, 60.0), numerator(4.0, 80.0);
  int different = 0;
  for (unsigned seed = 0; seed < 4000; ++seed) {
    const auto below = static_cast<float>(quotient(random));
    const double half = (static_cast<double>(below) +
                         static_cast<double>(std::nextafter(below, std::numeric_limits<float>::infinity()))) /
                        2;
    const auto n = static_cast<float>(numerator(random));
    const double wanted = (static_cast<double>(n) / half - 1) / 0.00001;
    const auto g = static_cast<float>(wanted), h = static_cast<float>(wanted - static_cast<double>(g));
    const double w = 1 + (static_cast<double>(g) + static_cast<double>(h)) * 0.00001;
    if (static_cast<float>(n / w) == static_cast<float>(n * (1 / w))) continue;
    ++different;
    expectSameBitsAtBothDepths({90, 90, 3, 3, 3, 0, 0, 0}, {0, 0, n, 0, 0, n, g, h}, true, seed);
  }
  EXPECT_GT(different, 20);
}

TEST(WarpKernel, EqualsTheDefinitionInColumnsAndRowsBeyondTwoToThe22) {
  constexpr int kLength = (1 << 22) + 40;
  const Coefficients far = {0.25f, 0, kLength - 70.0f, 0, 0.75f, 0.5f, 0, 0};
  const Coefficients low = {0.25f, 0, 0.5f, 0, 0.75f, kLength - 50.0f, 0, 0};
  expectSameBits<std::uint8_t>({kLength, 3, 300, 4, 1, 0, 0, 0}, far, true, 1);
  expectSameBits<std::uint8_t>({17, kLength, 50, 90, 1, 0, 0, 0}, low, false, 2);
}

TEST(WarpKernel, EqualsTheDefinitionForCoordinatesJustInsideAndJustOutside) {
  for (const float edge : {-1.0f, 0.0f, 38.0f, 39.0f})
    for (const float step : {-1.0f, 0.0f, 1.0f})
      for (int channels = 1; channels <= 4; ++channels) {
        const float c = step == 0 ? edge : std::nextafter(edge, edge + step);
        // Every pixel at the same place, in one axis and in the other.
        expectSameBitsAtBothDepths({40, 40, 35, 3, channels, 0, 0, 0}, {0, 0, c, 1, 0, 0.5f, 0, 0}, false, 3);
        expectSameBitsAtBothDepths({40, 40, 35, 3, channels, 0, 0, 0}, {1, 0, 0.5f, 0, 0, c, 0, 0}, true, 4);
      }
}

TEST(WarpKernel, ReadsSourcesStoredBottomRowFirst) {
  constexpr int kWidth = 70, kHeight = 30;
  std::mt19937 random(9);
  for (int channels = 1; channels <= 4; ++channels)
    for (const Against side : {Against::Start, Against::End}) {
      const Coefficients t = tame(random);
      const auto rowSamples = static_cast<std::size_t>(kWidth * channels);
      const auto rows = noise<std::uint8_t>(rowSamples * kHeight, 6);
      GuardedPages<std::uint8_t> source(rows, side);
      const WarpJob job = {.source = {source.data() + rowSamples * (kHeight - 1),
                                      {kWidth, kHeight},
                                      channels,
                                      -static_cast<std::int64_t>(rowSamples),
                                      SampleDepth::U8},
                           .dstWidth = kWidth,
                           .transform = {true, t.data()}};
      const reference::Warp<std::uint8_t> definition = {source.data() + rowSamples * (kHeight - 1),
                                                        kWidth,
                                                        kHeight,
                                                        -static_cast<std::int64_t>(rowSamples),
                                                        channels,
                                                        kWidth,
                                                        0,
                                                        0,
                                                        true,
                                                        t.data()};
      GuardedBuffer<std::uint8_t> expected(rowSamples * kHeight), produced(rowSamples * kHeight);
      reference::warpRows(definition, 0, kHeight, expected.data());
      onEveryTarget([&] {
        warpBand(job, {0, kHeight}, produced.data());
        EXPECT_EQ(produced.copy(), expected.copy());
      });
    }
}

} // namespace
} // namespace vindrel::test
