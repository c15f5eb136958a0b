// The kernel against its definition, to the last bit, over random and over wild transforms.
#include "warp/Warp.h"

#include "reference/Warp.h"
#include "support/GuardedBuffer.h"
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
  const auto source = noise<Sample>(static_cast<std::size_t>(stride * shape.srcHeight) + 1, seed);
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

TEST(WarpKernel, ReadsSourcesStoredBottomRowFirst) {
  const auto rows = noise<std::uint8_t>(2 * 30, 6);
  std::vector<std::uint8_t> upsideDown(rows.begin() + 30, rows.end());
  upsideDown.insert(upsideDown.end(), rows.begin(), rows.begin() + 30);
  WarpJob job = {
      .source = {rows.data() + 30, {10, 2}, 3, -30, SampleDepth::U8}, .dstWidth = 9, .transform = {false, kIdentity}};
  GuardedBuffer<std::uint8_t> backwards(27), forwards(27);
  warpBand(job, {0, 1}, backwards.data());
  job.source.samples = upsideDown.data();
  job.source.rowStride = 30;
  warpBand(job, {0, 1}, forwards.data());
  EXPECT_EQ(backwards.copy(), forwards.copy());
}

} // namespace
} // namespace vindrel::test
