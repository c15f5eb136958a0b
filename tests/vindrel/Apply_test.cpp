// Resampling through the C++ interface: the bytes of the flat calls, every format, and what is refused.
#include "vindrel/Stacks.h"

#include "VindrelRegLib.h"
#include "support/GuardedBuffer.h"

#include <cmath>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <limits>
#include <random>
#include <tuple>

namespace vindrel::test {
namespace {

using ::testing::HasSubstr;

template <class Sample>
Image<Sample> noise(Size size, int channels, std::uint32_t seed = 5) {
  std::mt19937 random(seed);
  Image<Sample> image(size, channels);
  for (Sample &sample : image.samples) {
    if constexpr (std::is_floating_point_v<Sample>) {
      sample = static_cast<float>(random()) / 4e9f;
    } else {
      sample = static_cast<Sample>(random() >> 8);
    }
  }
  return image;
}

constexpr Size kSize = {70, 50};
constexpr Filter kFilters[] = {Filter::Bilinear, Filter::Bicubic, Filter::Lanczos3, Filter::Nearest};

template <class Sample>
void equalsTheFlatWarp(int channels) {
  const Image<Sample> source = noise<Sample>(kSize, channels);
  const float perspective[8] = {1.01f, 0.02f, -3.3f, -0.015f, 0.99f, 2.7f, 12.5f, -31.25f};
  const std::uint32_t slots[1] = {0};
  const float affine[6] = {1.01f, 0.02f, -3.3f, -0.015f, 0.99f, 2.7f};
  for (const bool bent : {false, true}) {
    Transform transform{{1.01f, 0.02f, -3.3f, -0.015f, 0.99f, 2.7f, 0, 0, 1}};
    if (bent) {
      transform.matrix[6] = 12.5f * 1e-5;
      transform.matrix[7] = -31.25f * 1e-5;
    }
    const Rectangle part = {-4, 3, 66, 52};
    for (const int threads : {1, 3}) {
      Image<Sample> flat(part.size(), channels, static_cast<Sample>(-1)), ours(part.size(), channels);
      align_with_transf(threads, kSize.width, kSize.height, static_cast<int>(source.stride()), part.width, 0,
                        part.height, channels, 8 * static_cast<int>(sizeof(Sample)), -part.x, -part.y, bent ? 1 : 0,
                        slots, bent ? perspective : affine, 0, 0, source.samples.data(), flat.samples.data());
      ASSERT_TRUE(warpImage(transform, source.view(), part, ours.view(), {.threads = threads}));
      EXPECT_EQ(ours.samples, flat.samples);
    }
  }
}

TEST(WarpImage, GivesTheBytesOfTheFlatCall) {
  for (const int channels : {1, 2, 3, 4}) {
    equalsTheFlatWarp<std::uint8_t>(channels);
    equalsTheFlatWarp<std::uint16_t>(channels);
  }
}

template <class Sample>
void rowsMayLieApart() {
  const Transform transform{{1, 0.02, 0.4, -0.02, 1, 1.3, 1e-5, 0, 1}};
  const Rectangle part = {1, 2, 40, 30};
  for (int channels = 1; channels <= 4; ++channels) {
    const Image<Sample> source = noise<Sample>(kSize, channels);
    const std::int64_t stride = source.stride() + 7, outStride = part.width * channels + 3;
    std::vector<Sample> padded(static_cast<std::size_t>(stride * kSize.height));
    for (int y = 0; y < kSize.height; ++y)
      std::copy_n(source.samples.begin() + y * source.stride(), source.stride(), padded.begin() + y * stride);
    ImageView apart = source.view();
    apart.samples = padded.data();
    apart.rowStride = stride;
    for (const Filter filter : kFilters) {
      for (const int threads : {1, 4}) {
        Image<Sample> packed(part.size(), channels);
        ASSERT_TRUE(warpImage(transform, source.view(), part, packed.view(), {filter, threads}));
        GuardedBuffer<Sample> out(static_cast<std::size_t>(outStride * part.height), Sample{9});
        const MutableImageView view{out.data(), part.size(), channels, outStride, Image<Sample>::depth()};
        ASSERT_TRUE(warpImage(transform, apart, part, view, {filter, threads}));
        EXPECT_TRUE(out.guardsIntact());
        for (int y = 0; y < part.height; ++y) {
          for (int s = 0; s < part.width * channels; ++s)
            ASSERT_EQ(out[static_cast<std::size_t>(y * outStride + s)],
                      packed.samples[static_cast<std::size_t>(y * packed.stride() + s)]);
          for (std::int64_t s = part.width * channels; s < outStride; ++s)
            ASSERT_EQ(out[static_cast<std::size_t>(y * outStride + s)], Sample{9});
        }
      }
    }
  }
}

TEST(WarpImage, TakesRowsAnyDistanceApartOnBothSides) {
  rowsMayLieApart<std::uint8_t>();
  rowsMayLieApart<std::uint16_t>();
  rowsMayLieApart<float>();
}

template <class Sample>
void fillsWhite(Sample white) {
  for (int channels = 1; channels <= 4; ++channels) {
    const Image<Sample> source(kSize, channels, Sample{});
    for (const Filter filter : kFilters) {
      Image<Sample> out({9, 7}, channels, static_cast<Sample>(3));
      ASSERT_TRUE(warpImage(Transform::translation(1000, 0), source.view(), {0, 0, 9, 7}, out.view(), {filter, 2}));
      EXPECT_EQ(out.samples, std::vector<Sample>(out.samples.size(), white));
    }
  }
}

TEST(WarpImage, FillsEveryChannelWhiteWhereThereIsNoSource) {
  fillsWhite<std::uint8_t>(255);
  fillsWhite<std::uint16_t>(65535);
  fillsWhite<float>(1);
}

TEST(WarpImage, ShowsNothingBehindTheHorizon) {
  const Image<std::uint8_t> source = noise<std::uint8_t>(kSize, 1);
  const Transform transform{{1, 0, 0, 0, 1, 0, 0, -0.05, 1}}; // the horizon is at y = 20
  for (const Filter filter : kFilters) {
    Image<std::uint8_t> out({70, 60}, 1);
    ASSERT_TRUE(warpImage(transform, source.view(), {0, 0, 70, 60}, out.view(), {filter, 1}));
    for (int y = 20; y < 60; ++y)
      for (int x = 0; x < 70; ++x)
        ASSERT_EQ(out.at(x, y), 255);
  }
}

TEST(WarpImage, TakesAMatrixOfAnyScale) {
  const Image<std::uint16_t> source = noise<std::uint16_t>(kSize, 3);
  const Transform transform{{1.01, 0.02, -3.3, -0.015, 0.99, 2.7, 1e-5, 2e-5, 1}};
  Transform scaled = transform;
  for (double &element : scaled.matrix)
    element *= -4; // exact
  for (const Filter filter : kFilters) {
    Image<std::uint16_t> a(kSize, 3), b(kSize, 3);
    ASSERT_TRUE(warpImage(transform, source.view(), {0, 0, 70, 50}, a.view(), {filter, 1}));
    ASSERT_TRUE(warpImage(scaled, source.view(), {0, 0, 70, 50}, b.view(), {filter, 1}));
    EXPECT_EQ(a.samples, b.samples);
  }
}

TEST(WarpImage, CopiesTheNearestSamplesOfAWholePixelShift) {
  const Image<std::uint8_t> source = noise<std::uint8_t>(kSize, 3);
  for (const Transform &transform : {Transform::translation(3, -2), Transform::translation(3.25, -1.75)}) {
    Image<std::uint8_t> out(kSize, 3);
    ASSERT_TRUE(warpImage(transform, source.view(), {0, 0, 70, 50}, out.view(), {Filter::Nearest, 2}));
    for (int y = 0; y < 50; ++y)
      for (int x = 0; x < 70; ++x)
        ASSERT_EQ(out.at(x, y, 1), x + 3 < 70 && y >= 2 ? source.at(x + 3, y - 2, 1) : 255);
  }
}

TEST(WarpImage, KeepsFloatsThatLieWholePixelsOffBesideInfiniteOnes) {
  Image<float> source(kSize, 1, 0.5f);
  source.samples[static_cast<std::size_t>(20 * kSize.width + 30)] = std::numeric_limits<float>::infinity();
  for (const Filter filter : kFilters) {
    Image<float> out(kSize, 1);
    ASSERT_TRUE(warpImage(Transform::translation(1, 1), source.view(), {-1, -1, 70, 50}, out.view(), {filter, 1}));
    EXPECT_EQ(out.samples, source.samples);
  }
}

TEST(WarpImage, RefusesWhatDoesNotFitAndLeavesTheOutputAlone) {
  const Image<std::uint8_t> source = noise<std::uint8_t>(kSize, 3);
  Image<std::uint8_t> out({20, 10}, 3, 7);
  const Rectangle part = {0, 0, 20, 10};
  const auto message = [&](const Transform &transform, const ImageView &from, const Rectangle &rectangle,
                           const MutableImageView &to, const WarpOptions &options) {
    const Result<void> result = warpImage(transform, from, rectangle, to, options);
    EXPECT_FALSE(result);
    EXPECT_EQ(result.error().code, ErrorCode::InvalidArgument);
    EXPECT_EQ(out.samples, std::vector<std::uint8_t>(out.samples.size(), 7));
    return result.error().message;
  };
  const auto withSource = [&](const auto &change) {
    ImageView view = source.view();
    change(view);
    return message({}, view, part, out.view(), {});
  };
  const auto withOut = [&](const auto &change) {
    MutableImageView view = out.view();
    change(view);
    return message({}, source.view(), part, view, {});
  };
  EXPECT_THAT(message({}, source.view(), part, out.view(), {.threads = 0}), HasSubstr("threads"));
  EXPECT_THAT(message({}, source.view(), part, out.view(), {.filter = static_cast<Filter>(7)}), HasSubstr("filter"));
  EXPECT_THAT(message({}, source.view(), {0, 0, 21, 10}, out.view(), {}), HasSubstr("out: is 20 x 10 pixels, but"));
  EXPECT_THAT(message({}, source.view(), {1 << 25, 0, 20, 10}, out.view(), {}), HasSubstr("too far out"));
  EXPECT_THAT(message({}, source.view(), {std::numeric_limits<int>::min(), 0, 20, 10}, out.view(), {}),
              HasSubstr("too far out"));
  EXPECT_THAT(withSource([](ImageView &v) { v.samples = nullptr; }), HasSubstr("source: has no samples"));
  EXPECT_THAT(withSource([](ImageView &v) { v.rowStride = 209; }), HasSubstr("source: its row stride"));
  EXPECT_THAT(withSource([](ImageView &v) { v.rowStride = std::numeric_limits<std::int64_t>::max(); }),
              HasSubstr("source: its row stride"));
  EXPECT_THAT(withSource([](ImageView &v) { v.channels = 5; }), HasSubstr("1 to 4 channels"));
  EXPECT_THAT(withSource([](ImageView &v) { v.size.width = 0; }), HasSubstr("source: is empty"));
  EXPECT_THAT(withOut([](MutableImageView &v) { v.samples = nullptr; }), HasSubstr("out: has no samples"));
  EXPECT_THAT(withOut([](MutableImageView &v) { v.channels = 1; }), HasSubstr("out: must have the source's"));
  EXPECT_THAT(withOut([](MutableImageView &v) { v.depth = SampleDepth::U16; }), HasSubstr("out: must have"));
  EXPECT_THAT(withOut([&](MutableImageView &v) { v.samples = const_cast<std::uint8_t *>(source.samples.data()); }),
              HasSubstr("overlaps the source"));
  const double nan = std::numeric_limits<double>::quiet_NaN();
  EXPECT_THAT(message({{nan, 0, 0, 0, 1, 0, 0, 0, 1}}, source.view(), part, out.view(), {}), HasSubstr("finite"));
  EXPECT_THAT(message({{1, 0, 0, 0, 1, 0, 0, 0, 0}}, source.view(), part, out.view(), {}), HasSubstr("infinity"));
  EXPECT_THAT(message({{1e39, 0, 0, 0, 1, 0, 0, 0, 1}}, source.view(), part, out.view(), {}),
              HasSubstr("beyond single precision"));
}

// A stack of the whole frame's size: the reference, and a frame whose scene lies 3 columns left and 2 rows down.
StackEstimate wholePixelsApart() {
  StackEstimate estimate;
  estimate.frameSize = kSize;
  estimate.frames.resize(2);
  estimate.frames[1].frameFromReference = Transform::translation(3, -2);
  estimate.common = {0, 0, kSize.width, kSize.height};
  return estimate;
}

TEST(WarpFrame, RefusesAnIndexAndAnImageThatAreNoneOfTheStacks) {
  const Image<std::uint8_t> image = noise<std::uint8_t>(kSize, 3);
  const std::vector<ImageView> frames = {image.view()};
  const StackEstimate estimate = estimateStack(frames).value();
  Image<std::uint8_t> out(estimate.common.size(), 3);
  EXPECT_TRUE(warpFrame(estimate, 0, image.view(), out.view()));
  for (const int index : {1, -1}) {
    EXPECT_EQ(warpFrame(estimate, index, image.view(), out.view()).error().message,
              "index: must be 0, as there is one frame only");
  }
  EXPECT_EQ(warpFrame(wholePixelsApart(), 2, image.view(), out.view()).error().message,
            "index: must be 0 to 1, as there are 2 frames");
  EXPECT_EQ(warpFrame(StackEstimate(), 0, image.view(), out.view()).error().message, "index: there are no frames");
  const Image<std::uint8_t> other({70, 51}, 3);
  EXPECT_THAT(warpFrame(estimate, 0, other.view(), out.view()).error().message, HasSubstr("70 x 50"));
}

template <class Sample>
void copiesEverySample(Sample white) {
  const StackEstimate estimate = wholePixelsApart();
  const Rectangle part = {-5, 1, 80, 60}; // beyond the frame on three sides, and without its first row
  for (int channels = 1; channels <= 4; ++channels) {
    const Image<Sample> source = noise<Sample>(kSize, channels);
    for (const Filter filter : kFilters) {
      for (const auto &[index, shiftX, shiftY] : {std::tuple{0, 0, 0}, {1, 3, -2}}) {
        Image<Sample> out(part.size(), channels);
        ASSERT_TRUE(warpFrame(estimate, index, source.view(), part, out.view(), {filter, 2}));
        for (int y = 0; y < part.height; ++y) {
          for (int x = 0; x < part.width; ++x) {
            const int column = x + part.x + shiftX, row = y + part.y + shiftY;
            const bool covered = column >= 0 && column < kSize.width && row >= 0 && row < kSize.height;
            for (int c = 0; c < channels; ++c)
              ASSERT_EQ(out.at(x, y, c), covered ? source.at(column, row, c) : white) << x << ' ' << y << ' ' << c;
          }
        }
      }
    }
  }
}

TEST(WarpFrame, CopiesEverySampleOfAFrameThatLiesWholePixelsOffIntoAnyRectangle) {
  copiesEverySample<std::uint8_t>(255);
  copiesEverySample<std::uint16_t>(65535);
  copiesEverySample<float>(1);
}

TEST(WarpFrame, GivesTheKernelsBytesInTheCommonRectangleWhereverAFrameLies) {
  const StackEstimate estimate = wholePixelsApart();
  const Image<std::uint8_t> source = noise<std::uint8_t>(kSize, 3);
  for (const int index : {0, 1}) {
    Image<std::uint8_t> out(kSize, 3), kernel(kSize, 3);
    ASSERT_TRUE(warpFrame(estimate, index, source.view(), out.view()));
    ASSERT_TRUE(warpImage(estimate.frames[static_cast<std::size_t>(index)].frameFromReference, source.view(),
                          estimate.common, kernel.view()));
    EXPECT_EQ(out.samples, kernel.samples);
    EXPECT_EQ(out.at(kSize.width - 1, 10), 255) << "its last column has no neighbours on the right";
  }
}

TEST(WarpFrame, WarpsFloatsAndMasksByTheTransformsOfTheirStack) {
  const StackBlock stack = makeStack({500, 400}, {.frames = 2, .evStep = 0.5, .motion = Motion::Affine, .seed = 9});
  const StackEstimate estimate = estimateStack(framesOf(stack), {.maxShiftX = 40, .maxShiftY = 40}).value();
  const int moved = 1 - estimate.reference;
  Image<float> linear(stack.size(), 3);
  for (std::size_t i = 0; i < linear.samples.size(); ++i)
    linear.samples[i] = static_cast<float>(static_cast<const std::uint8_t *>(stack.frame(moved).samples)[i]);
  Image<float> asFloat(estimate.common.size(), 3);
  Image<std::uint8_t> asBytes(estimate.common.size(), 3);
  ASSERT_TRUE(warpFrame(estimate, moved, linear.view(), asFloat.view()));
  ASSERT_TRUE(warpFrame(estimate, moved, stack.frame(moved), asBytes.view()));
  int inside = 0;
  for (int y = 1; y + 2 < asBytes.size.height; ++y)
    for (int x = 1; x + 2 < asBytes.size.width; ++x, ++inside)
      ASSERT_NEAR(asFloat.at(x, y), asBytes.at(x, y), 0.6) << x << ' ' << y;
  EXPECT_GT(inside, 100000);
}

} // namespace
} // namespace vindrel::test
