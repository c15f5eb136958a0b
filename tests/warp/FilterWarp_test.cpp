// Cubic and Lanczos resampling and floating-point samples, against the definition.
#include "reference/FilterWarp.h"
#include "support/FailingThreads.h"
#include "support/GuardedBuffer.h"
#include "transform/Matrix33.h"
#include "warp/FilterWarp.h"

#include <cmath>
#include <cstring>
#include <gtest/gtest.h>
#include <limits>
#include <random>
#include <vector>

namespace vindrel {
namespace {

using reference::FilterKind;
using test::GuardedBuffer;

template <class Sample>
std::vector<Sample> noise(std::size_t count, std::uint32_t seed) {
  std::mt19937 random(seed);
  std::vector<Sample> samples(count);
  for (Sample &sample : samples) {
    if constexpr (std::is_floating_point_v<Sample>) {
      sample = static_cast<float>(random()) / 1e9f - 1.0f;
    } else {
      sample = static_cast<Sample>(random() >> 9);
    }
  }
  return samples;
}

Resampling resamplingOf(FilterKind kind) {
  return kind == FilterKind::Linear  ? Resampling::Linear
         : kind == FilterKind::Cubic ? Resampling::Cubic
                                     : Resampling::Lanczos3;
}

constexpr Mat33 kTransforms[] = {
    {1, 0, 0, 0, 1, 0, 0, 0, 1},
    {1, 0, 0.37, 0, 1, -0.61, 0, 0, 1},
    {0.96, 0.11, 1.5, -0.09, 1.04, 0.25, 0, 0, 1},
    {1.02, -0.03, -2, 0.04, 0.98, 3, 1e-3, -2e-3, 1},
    {1, 0, 0, 0, 1, 0, 0, -0.2, 1}, // with its horizon at y = 5
    {-1, 0, 9, 0, -1, 7, 0, 0, 1},
};

template <class Sample, int channels>
void equalsTheDefinition(Size size, std::int64_t padding) {
  const std::int64_t stride = size.width * channels + padding;
  const auto source = noise<Sample>(static_cast<std::size_t>(stride * size.height), 7);
  const Size outSize = {11, 9};
  const std::int64_t outStride = outSize.width * channels + padding;
  const auto depth = static_cast<SampleDepth>(8 * sizeof(Sample));
  for (const Mat33 &m : kTransforms) {
    for (const FilterKind kind : {FilterKind::Linear, FilterKind::Cubic, FilterKind::Lanczos3}) {
      GuardedBuffer<Sample> out(static_cast<std::size_t>(outStride * outSize.height), Sample{77});
      filterBand({.source = {source.data(), size, channels, stride, depth},
                  .out = {out.data(), outSize, channels, outStride, depth},
                  .originX = -2,
                  .originY = -1,
                  .sourceFromOutput = m,
                  .filter = resamplingOf(kind)},
                 {0, outSize.height});
      EXPECT_TRUE(out.guardsIntact());
      const reference::FilterWarp<Sample> definition{source.data(), size.width, size.height, stride,
                                                     channels,      m.data(),   kind};
      for (int y = 0; y < outSize.height; ++y) {
        for (int x = 0; x < outSize.width; ++x) {
          Sample expected[channels];
          reference::filterPixel(definition, x - 2, y - 1, expected);
          const Sample *got = out.data() + y * outStride + x * channels;
          for (int c = 0; c < channels; ++c)
            ASSERT_EQ(got[c], expected[c]) << x << ' ' << y << ' ' << c << " filter " << static_cast<int>(kind);
        }
        for (std::int64_t s = outSize.width * channels; s < outStride; ++s)
          ASSERT_EQ(out[static_cast<std::size_t>(y * outStride + s)], Sample{77});
      }
    }
  }
}

template <class Sample>
void equalsTheDefinitionForAllSizes() {
  for (const Size size : {Size{1, 1}, {2, 1}, {1, 3}, {3, 2}, {5, 5}, {6, 7}, {9, 8}, {16, 13}}) {
    equalsTheDefinition<Sample, 1>(size, 0);
    equalsTheDefinition<Sample, 2>(size, 1);
    equalsTheDefinition<Sample, 3>(size, 5);
    equalsTheDefinition<Sample, 4>(size, 0);
  }
}

TEST(FilterBand, EqualsTheDefinitionForBytes) {
  equalsTheDefinitionForAllSizes<std::uint8_t>();
}
TEST(FilterBand, EqualsTheDefinitionForSixteenBits) {
  equalsTheDefinitionForAllSizes<std::uint16_t>();
}
TEST(FilterBand, EqualsTheDefinitionForFloats) {
  equalsTheDefinitionForAllSizes<float>();
}

std::vector<float> warped(const std::vector<float> &source, Size size, const Mat33 &m, Resampling filter) {
  std::vector<float> out(source.size());
  filterBand({.source = {source.data(), size, 1, size.width, SampleDepth::F32},
              .out = {out.data(), size, 1, size.width, SampleDepth::F32},
              .sourceFromOutput = m,
              .filter = filter},
             {0, size.height});
  return out;
}

constexpr Size kSize = {24, 20};
constexpr Resampling kAll[] = {Resampling::Nearest, Resampling::Linear, Resampling::Cubic, Resampling::Lanczos3};

TEST(FilterBand, GivesTheSamplesThemselvesAtTheirOwnPlaces) {
  const auto source = noise<float>(kSize.width * kSize.height, 3);
  for (const Resampling filter : kAll)
    EXPECT_EQ(warped(source, kSize, {1, 0, 0, 0, 1, 0, 0, 0, 1}, filter), source);
}

TEST(FilterBand, LeavesAUniformAreaAsItIs) {
  const std::vector<float> source(kSize.width * kSize.height, 0.625f);
  for (const Resampling filter : kAll)
    for (const float sample : warped(source, kSize, {0.9, 0.05, 1.1, -0.05, 0.9, 1.3, 0, 0, 1}, filter))
      EXPECT_NEAR(sample, 0.625f, 1e-6f);
}

TEST(FilterBand, ReproducesAParabolaByTheCubicAndAPlaneByTheLinearFilter) {
  std::vector<float> plane, parabola;
  for (int y = 0; y < kSize.height; ++y) {
    for (int x = 0; x < kSize.width; ++x) {
      plane.push_back(static_cast<float>(0.5 * x - 0.25 * y));
      parabola.push_back(static_cast<float>(0.01 * x * x + 0.02 * y * y));
    }
  }
  const Mat33 m = {1, 0, 0.3, 0, 1, 0.7, 0, 0, 1};
  const auto byLinear = warped(plane, kSize, m, Resampling::Linear);
  const auto byCubic = warped(parabola, kSize, m, Resampling::Cubic);
  for (int y = 2; y < kSize.height - 3; ++y) {
    for (int x = 2; x < kSize.width - 3; ++x) {
      const auto at = static_cast<std::size_t>(y * kSize.width + x);
      EXPECT_NEAR(byLinear[at], 0.5 * (x + 0.3) - 0.25 * (y + 0.7), 1e-5);
      EXPECT_NEAR(byCubic[at], 0.01 * (x + 0.3) * (x + 0.3) + 0.02 * (y + 0.7) * (y + 0.7), 1e-5);
    }
  }
}

// A wave of six pixels, moved by half a pixel: the sharper the filter, the more of it is left.
TEST(FilterBand, KeepsMoreOfFineDetailTheSharperTheFilter) {
  std::vector<float> wave;
  for (int y = 0; y < kSize.height; ++y)
    for (int x = 0; x < kSize.width; ++x)
      wave.push_back(static_cast<float>(std::sin(2 * 3.14159265 * x / 3.3)));
  double error[4];
  for (int f = 1; f < 4; ++f) {
    const auto moved = warped(wave, kSize, {1, 0, 0.5, 0, 1, 0, 0, 0, 1}, kAll[f]);
    error[f] = 0;
    for (int x = 4; x < kSize.width - 4; ++x)
      error[f] +=
          std::abs(moved[static_cast<std::size_t>(8 * kSize.width + x)] - std::sin(2 * 3.14159265 * (x + 0.5) / 3.3));
  }
  EXPECT_LT(error[2], 0.7 * error[1]);
  EXPECT_LT(error[3], 0.7 * error[2]);
}

TEST(FilterBand, RoundsToTheNearestSampleForMasks) {
  const std::vector<float> source = {1, 2, 3, 4};
  const auto out = warped(source, {4, 1}, {1, 0, 0.5, 0, 1, 0.49, 0, 0, 1}, Resampling::Nearest);
  EXPECT_EQ(out, (std::vector<float>{2, 3, 4, 1})); // halfway goes right, and beyond the last one is white
}

TEST(FilterBand, MarksEverythingWhiteForATransformToNowhere) {
  const auto source = noise<float>(kSize.width * kSize.height, 3);
  const double nan = std::numeric_limits<double>::quiet_NaN(), infinite = std::numeric_limits<double>::infinity();
  for (const Mat33 &m : {Mat33{nan, 0, 0, 0, 1, 0, 0, 0, 1}, Mat33{1, 0, infinite, 0, 1, 0, 0, 0, 1},
                         Mat33{1, 0, 0, 0, 1, 0, 0, 0, -1}, Mat33{1, 0, 1e300, 0, 1, 0, 0, 0, 1}, Mat33{}}) {
    for (const Resampling filter : kAll)
      EXPECT_EQ(warped(source, kSize, m, filter), std::vector<float>(source.size(), 1.0f));
  }
}

TEST(FilterOnThreads, GivesTheSameSamplesOnAnyNumberWhicheverCannotBeStarted) {
  const auto source = noise<float>(kSize.width * kSize.height, 3);
  const Mat33 m = {0.96, 0.11, 1.5, -0.09, 1.04, 0.25, 0, 0, 1};
  const auto alone = warped(source, kSize, m, Resampling::Lanczos3);
  for (const int threads : {1, 2, 3, 7, 64}) {
    for (const int failing : {0, 1, 2}) {
      const test::FailingThreads fail(failing == 0 ? 1000 : failing);
      std::vector<float> out(source.size());
      filterOnThreads({.source = {source.data(), kSize, 1, kSize.width, SampleDepth::F32},
                       .out = {out.data(), kSize, 1, kSize.width, SampleDepth::F32},
                       .sourceFromOutput = m,
                       .filter = Resampling::Lanczos3},
                      threads);
      EXPECT_EQ(out, alone);
    }
  }
}

} // namespace
} // namespace vindrel
