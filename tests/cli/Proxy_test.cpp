// The picture to look at that is made of scene-linear samples.
#include "Proxy.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <vector>

namespace vindrel::test {
namespace {

using cli::displayProxy;
using cli::Pixels;
using cli::proxyExposure;

constexpr Size kSize = {64, 48};
constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr float kNothing = std::numeric_limits<float>::quiet_NaN();

// Luminances spread evenly over so many stops around 1, times the light.
std::vector<float> scene(double light, double stops, int channels = 3, unsigned seed = 1) {
  std::mt19937 random(seed);
  std::vector<float> samples;
  for (int i = 0; i < kSize.width * kSize.height; ++i) {
    const double at = static_cast<double>(random() % 10000) / 10000 - 0.5;
    const auto value = static_cast<float>(light * std::exp2(stops * at));
    for (int c = 0; c < channels; ++c)
      samples.push_back(value);
  }
  return samples;
}

ImageView viewOf(const std::vector<float> &samples, int channels = 3) {
  return {samples.data(), kSize, channels, std::int64_t{kSize.width} * channels, SampleDepth::F32};
}

double shareOf(const Pixels &proxy, std::uint16_t least, std::uint16_t most) {
  const ImageView view = proxy.view();
  const std::int64_t count = packedSamples(view.size, view.channels);
  std::int64_t within = 0;
  for (std::int64_t i = 0; i < count; ++i) {
    const std::uint16_t sample = view.row<std::uint16_t>(0)[i];
    within += sample >= least && sample <= most;
  }
  return static_cast<double>(within) / static_cast<double>(count);
}

double meanOf(const Pixels &proxy) {
  const ImageView view = proxy.view();
  const std::int64_t count = packedSamples(view.size, view.channels);
  double sum = 0;
  for (std::int64_t i = 0; i < count; ++i)
    sum += view.row<std::uint16_t>(0)[i];
  return sum / static_cast<double>(count);
}

TEST(Proxy, ShowsTheBulkOfAPictureInAnyUnitOfLight) {
  for (const double light : {1e-20, 1e-4, 0.18, 1.0, 300.0, 1e6, 1e20}) {
    const std::vector<float> samples = scene(light, 8);
    const Pixels proxy = displayProxy(viewOf(samples));
    EXPECT_GT(shareOf(proxy, 1500, 65000), 0.9) << light;
    EXPECT_LT(shareOf(proxy, 65535, 65535), 0.05) << light;
  }
}

TEST(Proxy, LowersTheExposureForAPictureOfDarknessAndBrightWindows) {
  std::vector<float> samples = scene(0.01, 2);
  const std::vector<float> window = scene(0.2, 1);
  std::copy(window.begin(), window.begin() + static_cast<std::ptrdiff_t>(window.size() / 5), samples.begin());
  const Pixels proxy = displayProxy(viewOf(samples));
  EXPECT_LT(shareOf(proxy, 65535, 65535), 0.03);
  EXPECT_GT(shareOf(proxy, 5000, 65534), 0.95);
}

TEST(Proxy, KeepsTheOrderOfFramesByBrightnessAndMakesThemLookAlike) {
  double last = 0;
  for (const double exposure : {1.0 / 256, 1.0 / 16, 1.0, 16.0, 256.0}) {
    const std::vector<float> samples = scene(exposure, 6);
    const double mean = meanOf(displayProxy(viewOf(samples)));
    EXPECT_GT(mean, last) << exposure;
    if (last > 0) {
      EXPECT_LT(mean, 1.6 * last) << "four stops";
    }
    last = mean;
  }
}

TEST(Proxy, HasTheCurveOfSrgb) {
  std::vector<float> samples = scene(1, 4);
  const double exposure = proxyExposure(viewOf(samples));
  const Pixels proxy = displayProxy(viewOf(samples));
  for (std::size_t i = 0; i < samples.size(); i += 97) {
    const double linear = std::min(static_cast<double>(samples[i]) * exposure, 1.0);
    const double shown = linear <= 0.0031308 ? 12.92 * linear : 1.055 * std::pow(linear, 1 / 2.4) - 0.055;
    EXPECT_NEAR(proxy.view().row<std::uint16_t>(0)[i], shown * 65535, 8) << samples[i];
  }
}

TEST(Proxy, ShowsWhatIsNoLightAsBlackAndEndlessLightAsWhite) {
  std::vector<float> samples = scene(1, 4);
  const double exposure = proxyExposure(viewOf(samples));
  const float odd[] = {kNothing, -1.0f, 0.0f, -0.0f, -kInfinity, kInfinity, std::numeric_limits<float>::max(), 1e-45f};
  std::copy(std::begin(odd), std::end(odd), samples.begin());
  const Pixels proxy = displayProxy(viewOf(samples));
  const auto *shown = proxy.view().row<std::uint16_t>(0);
  for (int i = 0; i < 5; ++i)
    EXPECT_EQ(shown[i], 0) << odd[i];
  EXPECT_EQ(shown[5], 65535);
  EXPECT_EQ(shown[6], 65535);
  EXPECT_EQ(shown[7], 0);
  EXPECT_NEAR(proxyExposure(viewOf(samples)) / exposure, 1, 0.05) << "three odd pixels out of three thousand";
}

TEST(Proxy, OfAPictureWithoutAnyLightIsBlack) {
  for (const float value : {0.0f, -3.0f, kNothing}) {
    const std::vector<float> samples(static_cast<std::size_t>(packedSamples(kSize, 3)), value);
    EXPECT_EQ(proxyExposure(viewOf(samples)), 1);
    EXPECT_EQ(shareOf(displayProxy(viewOf(samples)), 0, 0), 1) << value;
  }
}

TEST(Proxy, LeavesAlphaOut) {
  for (const int channels : {1, 2, 3, 4}) {
    std::vector<float> samples = scene(1, 4, channels);
    const Pixels plain = displayProxy(viewOf(samples, channels));
    EXPECT_EQ(plain.view().channels, channels < 3 ? 1 : 3);
    if (channels % 2 != 0) continue;
    for (std::size_t i = static_cast<std::size_t>(channels) - 1; i < samples.size();
         i += static_cast<std::size_t>(channels))
      samples[i] = kNothing;
    const Pixels other = displayProxy(viewOf(samples, channels));
    EXPECT_TRUE(std::equal(plain.data(), plain.data() + plain.byteCount(), other.data()));
  }
}

TEST(Proxy, TakesRowsThatLieApart) {
  const std::vector<float> samples = scene(1, 4);
  const Size half = {kSize.width / 2, kSize.height};
  std::vector<float> packed;
  for (int y = 0; y < half.height; ++y) {
    const float *row = samples.data() + static_cast<std::ptrdiff_t>(y) * kSize.width * 3;
    packed.insert(packed.end(), row, row + half.width * 3);
  }
  const Pixels apart = displayProxy({samples.data(), half, 3, std::int64_t{kSize.width} * 3, SampleDepth::F32});
  const Pixels close = displayProxy({packed.data(), half, 3, std::int64_t{half.width} * 3, SampleDepth::F32});
  ASSERT_EQ(apart.byteCount(), close.byteCount());
  EXPECT_TRUE(std::equal(close.data(), close.data() + close.byteCount(), apart.data()));
}

} // namespace
} // namespace vindrel::test
