// Pictures that are stored bottom row first, and so have a negative row stride: whatever takes a view gives what it
// gives of the same rows stored top row first. They lie against pages that must not be touched.
#include "vindrel/Stacks.h"

#include "support/GuardedPages.h"

#include <algorithm>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <limits>
#include <optional>
#include <random>

namespace vindrel::test {
namespace {

using ::testing::HasSubstr;

constexpr Filter kFilters[] = {Filter::Bilinear, Filter::Bicubic, Filter::Lanczos3, Filter::Nearest};
constexpr Against kSides[] = {Against::Start, Against::End};
constexpr int kPadding = 5; // samples between rows

template <class Sample>
class BottomUp {
public:
  // A copy of an image, the rows in the opposite order.
  BottomUp(const ImageView &image, Against side) : BottomUp(image.size, image.channels, side) {
    for (int y = 0; y < image.size.height; ++y)
      std::copy_n(image.row<Sample>(y), rowSamples_, view().template row<Sample>(y));
  }
  BottomUp(Size size, int channels, Against side)
      : size_(size), channels_(channels), rowSamples_(size.width * channels), stride_(rowSamples_ + kPadding),
        samples_(static_cast<std::size_t>(stride_ * (size.height - 1) + rowSamples_), kUntouched),
        pages_(samples_, side) {}

  MutableImageView view() {
    return {pages_.data() + stride_ * (size_.height - 1), size_, channels_, -stride_, Image<Sample>::depth()};
  }
  // The samples, top row first.
  std::vector<Sample> samples() {
    std::vector<Sample> rows;
    for (int y = 0; y < size_.height; ++y)
      rows.insert(rows.end(), view().template row<Sample>(y), view().template row<Sample>(y) + rowSamples_);
    return rows;
  }
  bool paddingUntouched() {
    for (std::int64_t gap = rowSamples_; gap + kPadding <= stride_ * (size_.height - 1); gap += stride_)
      if (std::count(pages_.data() + gap, pages_.data() + gap + kPadding, kUntouched) != kPadding) return false;
    return true;
  }

private:
  static constexpr Sample kUntouched = 77;

  Size size_;
  int channels_;
  std::int64_t rowSamples_, stride_;
  std::vector<Sample> samples_;
  GuardedPages<Sample> pages_;
};

template <class Sample>
Image<Sample> noise(Size size, int channels) {
  std::mt19937 random(11);
  Image<Sample> image(size, channels);
  for (Sample &sample : image.samples)
    sample = std::is_floating_point_v<Sample> ? static_cast<Sample>(static_cast<double>(random()) / 4e9)
                                              : static_cast<Sample>(random() >> 8);
  return image;
}

// warp(source, out) fills `part`, and out is compared.
template <class Sample, class Warp>
void expectSameOf(const Image<Sample> &source, Size part, Warp warp) {
  Image<Sample> expected(part, source.channels);
  ASSERT_TRUE(warp(source.view(), expected.view()));
  for (const Against side : kSides) {
    BottomUp<Sample> from(source.view(), side), to(part, source.channels, side);
    Image<Sample> out(part, source.channels);
    ASSERT_TRUE(warp(from.view(), out.view()));
    EXPECT_EQ(out.samples, expected.samples);
    ASSERT_TRUE(warp(from.view(), to.view()));
    EXPECT_EQ(to.samples(), expected.samples);
    EXPECT_TRUE(to.paddingUntouched());
    ASSERT_TRUE(warp(source.view(), to.view()));
    EXPECT_EQ(to.samples(), expected.samples);
  }
}

template <class Sample>
void warpsAlike() {
  const Transform transforms[] = {Transform::translation(3, -2),
                                  {{1.01, 0.02, -1.3, -0.02, 0.99, 1.3, 0, 0, 1}},
                                  {{0.1, 1, 0.4, -1, 0.1, 45, 1e-5, -2e-5, 1}}}; // the last turns steeply
  const Rectangle part = {-4, 3, 75, 47};
  for (int channels = 1; channels <= 4; ++channels) {
    const Image<Sample> source = noise<Sample>({70, 50}, channels);
    for (const Transform &transform : transforms)
      for (const Filter filter : kFilters)
        for (const int threads : {1, 3}) {
          SCOPED_TRACE(testing::Message() << channels << " channels, filter " << static_cast<int>(filter));
          expectSameOf(source, part.size(), [&](const ImageView &from, const MutableImageView &to) {
            return warpImage(transform, from, part, to, {filter, threads});
          });
        }
  }
}

TEST(BottomUpPictures, AreWarpedAsThoseStoredTopRowFirst) {
  warpsAlike<std::uint8_t>();
  warpsAlike<std::uint16_t>();
  warpsAlike<float>();
}

TEST(BottomUpPictures, OfASingleRowAreWarpedToo) {
  const Image<std::uint8_t> source = noise<std::uint8_t>({40, 1}, 3);
  for (const Filter filter : kFilters)
    expectSameOf(source, {30, 4}, [&](const ImageView &from, const MutableImageView &to) {
      return warpImage(Transform::translation(0.25, 0), from, {2, -1, 30, 4}, to, {filter, 1});
    });
}

template <class Sample>
void straightensAlike() {
  const Size size = {80, 60};
  const Straightening s =
      prepareStraightening(size, {.vertical = -0.1, .horizontal = 0.05, .degrees = 4, .crop = false}).value();
  for (int channels = 1; channels <= 4; ++channels) {
    const Image<Sample> source = noise<Sample>(size, channels);
    for (const Filter filter : kFilters)
      expectSameOf(source, s.output.size(), [&](const ImageView &from, const MutableImageView &to) {
        return straightenFrame(s, from, to, {filter, 2});
      });
  }
}

TEST(BottomUpPictures, AreStraightenedAsThoseStoredTopRowFirst) {
  straightensAlike<std::uint8_t>();
  straightensAlike<std::uint16_t>();
  straightensAlike<float>();
}

// Everything of an estimate, as its file has it.
std::string textOf(const StackEstimate &estimate) {
  return toJson({.estimate = estimate, .names = std::vector<std::string>(estimate.frames.size())}).value();
}

// The first channels of a frame; a fourth repeats the third.
template <class Sample>
Image<Sample> withChannels(const ImageView &frame, int channels) {
  Image<Sample> image(frame.size, channels);
  std::size_t i = 0;
  for (int y = 0; y < frame.size.height; ++y)
    for (int x = 0; x < frame.size.width; ++x)
      for (int c = 0; c < channels; ++c, ++i)
        image.samples[i] = frame.row<Sample>(y)[x * frame.channels + std::min(c, frame.channels - 1)];
  return image;
}

template <class Sample>
void estimatesAlike() {
  const StackBlock stack = makeStack(
      {500, 400}, {.frames = 3, .evStep = 0.5, .motion = Motion::Affine, .seed = 9, .depth = Image<Sample>::depth()});
  for (int channels = 1; channels <= 4; ++channels) {
    std::vector<Image<Sample>> images;
    std::vector<ImageView> frames;
    for (int i = 0; i < stack.count(); ++i)
      images.push_back(withChannels<Sample>(stack.frame(i), channels));
    for (const Image<Sample> &image : images)
      frames.push_back(image.view());
    for (const Model model : {Model::Shift, Model::Auto}) {
      SCOPED_TRACE(testing::Message() << channels << " channels, model " << static_cast<int>(model));
      const StackOptions options = {.model = model, .threads = 2, .maxShiftX = 40, .maxShiftY = 40};
      const StackEstimate expected = estimateStack(frames, options).value();
      for (const Against side : kSides) {
        // One at a time, so that two at most are in memory.
        std::optional<BottomUp<Sample>> places[2];
        int calls = 0;
        const auto hand = [&](int index) -> Result<ImageView> {
          auto &place = places[calls++ % 2];
          place.emplace(frames[static_cast<std::size_t>(index)], side);
          return ImageView(place->view());
        };
        const auto estimate = estimateStack(StackSource{.count = stack.count(), .frame = hand}, options);
        ASSERT_TRUE(estimate) << estimate.error().message;
        EXPECT_EQ(textOf(*estimate), textOf(expected));
        for (int i = 0; i < stack.count(); ++i) {
          Image<Sample> there(expected.common.size(), channels), here(expected.common.size(), channels);
          BottomUp<Sample> frame(frames[static_cast<std::size_t>(i)], side);
          ASSERT_TRUE(warpFrame(expected, i, frames[static_cast<std::size_t>(i)], there.view(), {.threads = 2}));
          ASSERT_TRUE(warpFrame(*estimate, i, frame.view(), here.view(), {.threads = 2}));
          EXPECT_EQ(here.samples, there.samples);
        }
      }
    }
  }
}

TEST(BottomUpPictures, OfEightBitsAreEstimatedAndAppliedAsThoseStoredTopRowFirst) {
  estimatesAlike<std::uint8_t>();
}

TEST(BottomUpPictures, OfSixteenBitsAreEstimatedAndAppliedAsThoseStoredTopRowFirst) {
  estimatesAlike<std::uint16_t>();
}

TEST(BottomUpPictures, AreRefusedWhenTheirRowsOverlap) {
  const Image<std::uint8_t> source = noise<std::uint8_t>({70, 50}, 3);
  Image<std::uint8_t> out({20, 10}, 3, 7);
  const auto refusal = [&](std::int64_t sourceStride, std::int64_t outStride) {
    ImageView from = source.view();
    from.samples = source.samples.data() + source.samples.size() - 210;
    from.rowStride = sourceStride;
    MutableImageView to = out.view();
    to.samples = out.samples.data() + out.samples.size() - 60;
    to.rowStride = outStride;
    const Result<void> result = warpImage({}, from, {0, 0, 20, 10}, to);
    EXPECT_EQ(std::count(out.samples.begin(), out.samples.end(), 7), std::ssize(out.samples));
    return result ? "" : result.error().message;
  };
  const std::int64_t least = std::numeric_limits<std::int64_t>::min();
  for (const std::int64_t shorter : {std::int64_t{0}, std::int64_t{-1}, std::int64_t{-209}})
    EXPECT_THAT(refusal(shorter, -60), HasSubstr("source: its row stride is shorter than a row"));
  EXPECT_THAT(refusal(-210, -59), HasSubstr("out: its row stride is shorter than a row"));
  for (const std::int64_t longer : {least, least + 1, least / 2})
    EXPECT_THAT(refusal(longer, -60), HasSubstr("source: its row stride is beyond any memory"));
}

TEST(BottomUpPictures, MayNotShareMemoryWithTheirOutput) {
  Image<std::uint8_t> block({10, 30}, 1, 7);
  // Rows `top` to `top` - 9 of the block, upward in memory.
  const auto rows = [&](int top) -> MutableImageView {
    return {block.samples.data() + top * 10, {10, 10}, 1, -10, SampleDepth::U8};
  };
  EXPECT_FALSE(warpImage({}, rows(9), {0, 0, 10, 10}, rows(18)));
  EXPECT_FALSE(warpImage({}, rows(18), {0, 0, 10, 10}, rows(9)));
  EXPECT_TRUE(warpImage({}, rows(9), {0, 0, 10, 10}, rows(19)));
  EXPECT_TRUE(warpImage({}, rows(19), {0, 0, 10, 10}, rows(9)));
}

} // namespace
} // namespace vindrel::test
