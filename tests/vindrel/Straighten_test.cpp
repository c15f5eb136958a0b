// The C++ interface of straightening: the flat call's pixels without crop, a crop without fill, checked arguments.
#include "vindrel/straighten.hpp"

#include "VindrelRegLib.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <vector>

namespace vindrel {

namespace {

// Samples from 0 to 200, so that white is fill.
std::vector<std::uint8_t> withoutWhite(Size size, int channels) {
  std::mt19937 engine(81);
  std::vector<std::uint8_t> samples(static_cast<std::size_t>(packedSamples(size, channels)));
  for (std::uint8_t &sample : samples)
    sample = static_cast<std::uint8_t>(engine() % 201);
  return samples;
}

ImageView viewOf(const std::vector<std::uint8_t> &samples, Size size, int channels) {
  return {.samples = samples.data(),
          .size = size,
          .channels = channels,
          .rowStride = static_cast<std::int64_t>(size.width) * channels,
          .depth = SampleDepth::U8};
}

MutableImageView viewOf(std::vector<std::uint8_t> &samples, Size size, int channels) {
  return {.samples = samples.data(),
          .size = size,
          .channels = channels,
          .rowStride = static_cast<std::int64_t>(size.width) * channels,
          .depth = SampleDepth::U8};
}

std::vector<std::uint8_t> straighten(const Straightening &s, const std::vector<std::uint8_t> &frame, int channels,
                                     int threads = 1) {
  std::vector<std::uint8_t> out(static_cast<std::size_t>(packedSamples(s.output.size(), channels)), 7);
  EXPECT_TRUE(straightenFrame(s, viewOf(frame, s.frameSize, channels), viewOf(out, s.output.size(), channels),
                              {.threads = threads}));
  return out;
}

constexpr Size kFrame = {200, 150};

TEST(PrepareStraightening, GivesTheFlatCallsPixelsWithoutCrop) {
  const auto frame = withoutWhite(kFrame, 3);
  int size[2] = {1, 0};
  std::vector<std::uint8_t> flat(frame.size());
  testing::internal::CaptureStdout();
  straightenImage(1, 200, 150, 600, 3, 8, size, frame.data(), flat.data(), -0.1f, -0.05f, 2);
  testing::internal::GetCapturedStdout();

  const Straightening s =
      prepareStraightening(kFrame, {.vertical = -0.1, .horizontal = -0.05, .degrees = 2, .crop = false}).value();
  EXPECT_EQ(s.output.size(), kFrame);
  EXPECT_EQ(straighten(s, frame, 3), flat);
}

TEST(PrepareStraightening, TrimsTheFlatCallsCropByAFewPixels) {
  const auto frame = withoutWhite(kFrame, 3);
  int size[2] = {0, 0};
  std::vector<std::uint8_t> flat(frame.size());
  testing::internal::CaptureStdout();
  straightenImage(1, 200, 150, 600, 3, 8, size, frame.data(), flat.data(), -0.1f, -0.05f, 2);
  testing::internal::GetCapturedStdout();
  const Straightening s = prepareStraightening(kFrame, {.vertical = -0.1, .horizontal = -0.05, .degrees = 2}).value();
  EXPECT_LE(s.output.size().width, size[0]);
  EXPECT_GE(s.output.size().width, size[0] - 4);
}

TEST(PrepareStraightening, NeverLeavesFillInACrop) {
  const auto frame = withoutWhite(kFrame, 1);
  for (const double v : {-0.15, -0.05, 0.0, 0.1}) {
    for (const double h : {-0.1, 0.0, 0.05, 0.2}) {
      for (const double degrees : {-90.0, -33.0, -2.0, 0.0, 1.0, 10.0}) {
        const Straightening s =
            prepareStraightening(kFrame, {.vertical = v, .horizontal = h, .degrees = degrees}).value();
        const auto out = straighten(s, frame, 1);
        ASSERT_EQ(std::count(out.begin(), out.end(), std::uint8_t{255}), 0) << v << " " << h << " " << degrees;
        // Of the frame's proportions to a pixel.
        ASSERT_NEAR(s.output.size().height, s.output.size().width * 0.75, 1.0);
      }
    }
  }
}

TEST(PrepareStraightening, PrintsNothing) {
  testing::internal::CaptureStdout();
  const Straightening s = prepareStraightening(kFrame, {.vertical = 0.05, .degrees = 3}).value();
  straighten(s, withoutWhite(kFrame, 3), 3);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

TEST(PrepareStraightening, IgnoresTheProcessWideSetting) {
  const StraightenOptions options = {.vertical = -0.1, .degrees = 2};
  const Straightening before = prepareStraightening(kFrame, options).value();
  setPinToEdge(1);
  const Straightening pinned = prepareStraightening(kFrame, options).value();
  setPinToEdge(0);
  EXPECT_EQ(pinned.output, before.output);
}

std::string message(Size size, const StraightenOptions &options) {
  const Result<Straightening> result = prepareStraightening(size, options);
  return result ? "" : result.error().message;
}

TEST(PrepareStraightening, RefusesWhatItCannotWorkWithAndSaysWhat) {
  const double nan = std::numeric_limits<double>::quiet_NaN(), infinite = std::numeric_limits<double>::infinity();
  for (const double bad : {0.31, -0.31, nan, infinite}) {
    const Result<Straightening> vertical = prepareStraightening(kFrame, {.vertical = bad});
    ASSERT_FALSE(vertical);
    EXPECT_EQ(vertical.error().code, ErrorCode::InvalidArgument);
    EXPECT_EQ(vertical.error().message, "vertical: must be -0.3 to 0.3");
    EXPECT_EQ(message(kFrame, {.horizontal = bad}), "horizontal: must be -0.3 to 0.3");
  }
  for (const double bad : {360.5, -1e9, nan, -infinite}) {
    EXPECT_EQ(message(kFrame, {.degrees = bad}), "degrees: must be -360 to 360");
  }
  for (const Size size : {Size{0, 10}, Size{1, 10}, Size{10, 1}, Size{-4, 7}}) {
    EXPECT_EQ(message(size, {}), "the picture must be at least 2 pixels wide and high");
  }
  EXPECT_EQ(message({65537, 10}, {}), "the picture must be at most 65536 pixels wide and high");
}

TEST(StraightenFrame, FillsWhiteInEveryChannelWithoutCrop) {
  const std::vector<std::uint8_t> frame(static_cast<std::size_t>(packedSamples(kFrame, 4)), 100);
  const Straightening s = prepareStraightening(kFrame, {.degrees = 30, .crop = false}).value();
  ASSERT_EQ(s.output.size(), kFrame);
  const auto out = straighten(s, frame, 4);
  for (int i = 0; i < 4; ++i)
    EXPECT_EQ(out[static_cast<std::size_t>(i)], 255);
  for (std::size_t pixel = 0; pixel < out.size(); pixel += 4) {
    const auto white = std::count(out.begin() + static_cast<std::ptrdiff_t>(pixel),
                                  out.begin() + static_cast<std::ptrdiff_t>(pixel) + 4, std::uint8_t{255});
    ASSERT_TRUE(white == 0 || white == 4);
  }
}

TEST(StraightenFrame, GivesTheSameBytesOnAnyNumberOfThreads) {
  const auto frame = withoutWhite(kFrame, 3);
  const Straightening s = prepareStraightening(kFrame, {.vertical = 0.07, .horizontal = 0.03, .degrees = -5}).value();
  const auto alone = straighten(s, frame, 3);
  for (const int threads : {2, 4, 8, 1024})
    EXPECT_EQ(straighten(s, frame, 3, threads), alone);
}

TEST(StraightenFrame, RefusesWhatDoesNotFitTheStraightening) {
  const auto frame = withoutWhite(kFrame, 3);
  const Straightening s = prepareStraightening(kFrame, {.degrees = 5}).value();
  std::vector<std::uint8_t> out(frame.size(), 7);
  const ImageView good = viewOf(frame, kFrame, 3);
  const MutableImageView target = viewOf(out, s.output.size(), 3);
  const auto refuses = [&](const ImageView &from, const MutableImageView &to, int threads) {
    return !straightenFrame(s, from, to, {.threads = threads}) &&
           std::all_of(out.begin(), out.end(), [](std::uint8_t sample) { return sample == 7; });
  };
  EXPECT_TRUE(refuses(good, target, 0));
  EXPECT_TRUE(refuses(good, target, 1025));
  EXPECT_TRUE(refuses(viewOf(frame, {150, 200}, 3), target, 1));
  EXPECT_TRUE(refuses(good, viewOf(out, {10, 10}, 3), 1));
  EXPECT_TRUE(refuses(viewOf(frame, kFrame, 1), target, 1));
  MutableImageView deeper = target;
  deeper.depth = SampleDepth::U16;
  EXPECT_TRUE(refuses(good, deeper, 1));
  ImageView narrow = good;
  narrow.rowStride -= 1;
  EXPECT_TRUE(refuses(narrow, target, 1));
}

} // namespace

} // namespace vindrel
