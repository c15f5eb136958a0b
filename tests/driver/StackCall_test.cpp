// rt_align from end to end, on simulated brackets of a synthetic scene whose truth is known.
#include "VindrelRegLib.h"

#include "support/StackBlock.h"
#include "vindrel/apply.hpp"
#include "vindrel/stack.hpp"

#include <algorithm>
#include <gtest/gtest.h>
#include <numeric>

namespace vindrel {
namespace {

using test::makeStack;
using test::StackBlock;

constexpr Size kPhoto{1500, 1150};

struct CallResult {
  int result = 0;
  Size out;
  std::vector<std::byte> bytes;
};

CallResult call(const StackBlock &stack, bool perspective, int threads = 1, int sizeIn = 0,
                ProgressCallback callback = nullptr) {
  CallResult r;
  r.bytes = stack.bytes;
  int outSize[2] = {sizeIn, 0};
  r.result = rt_align(threads, 150, 150, perspective ? 1 : 0, stack.count(), stack.size().width, stack.size().height, 3,
                      stack.bits(), outSize, r.bytes.data(), callback);
  r.out = {outSize[0], outSize[1]};
  return r;
}

StackOptions options(Model model, int threads = 1) {
  return {.model = model, .threads = threads, .maxShiftX = 150, .maxShiftY = 150};
}

std::vector<ImageView> views(const StackBlock &stack) {
  std::vector<ImageView> frames;
  for (int i = 0; i < stack.count(); ++i)
    frames.push_back(stack.frame(i));
  return frames;
}

double placement(const StackBlock &stack, const StackEstimate &estimate, int frame) {
  const auto &frames = stack.bracket.frames;
  const PlaneMap truth = frameFromReference(frames[static_cast<std::size_t>(frame)].frameFromScene,
                                            frames[static_cast<std::size_t>(estimate.reference)].frameFromScene);
  return placementError(estimate.frames[static_cast<std::size_t>(frame)].frameFromReference.matrix, truth, stack.size())
      .gridMean;
}

struct Case {
  int frames;
  Model model;
  Motion motion;
  SampleDepth depth;
};

class Stacks : public ::testing::TestWithParam<Case> {};

TEST_P(Stacks, LieWithinAPixelFromTheFirstRankToTheLast) {
  const Case c = GetParam();
  const StackBlock stack =
      makeStack(kPhoto, {.frames = c.frames, .evStep = 0.5, .motion = c.motion, .seed = 3, .depth = c.depth});
  const std::vector<ImageView> frames = views(stack);
  const StackEstimate estimate = estimateStack(frames, options(c.model)).value();
  StackOptions polished = options(c.model);
  polished.polish = true;
  const StackEstimate refined = estimateStack(frames, polished).value();
  for (int i = 0; i < stack.count(); ++i) {
    const FrameEstimate &frame = refined.frames[static_cast<std::size_t>(i)];
    EXPECT_NE(frame.verdict, Verdict::NotFound) << "frame " << i << ": " << frame.reason;
    EXPECT_LT(placement(stack, refined, i), 0.5) << "frame " << i << ", rank " << frame.rank;
    EXPECT_LT(placement(stack, estimate, i), 1.0) << "frame " << i << ", rank " << frame.rank << ", as searched";
  }
  EXPECT_GT(estimate.common.width, stack.size().width * 8 / 10);
}

INSTANTIATE_TEST_SUITE_P(OfThreeFiveAndNineFrames, Stacks,
                         ::testing::Values(Case{3, Model::Affine, Motion::Affine, SampleDepth::U8},
                                           Case{5, Model::Affine, Motion::Shift, SampleDepth::U16},
                                           Case{9, Model::Affine, Motion::Affine, SampleDepth::U8},
                                           Case{3, Model::Perspective, Motion::Perspective, SampleDepth::U8},
                                           Case{5, Model::Perspective, Motion::Perspective, SampleDepth::U16},
                                           Case{9, Model::Perspective, Motion::Perspective, SampleDepth::U8}),
                         [](const auto &test) {
                           return std::to_string(test.param.frames) +
                                  (test.param.model == Model::Affine ? "Affine" : "Perspective") +
                                  (test.param.depth == SampleDepth::U8 ? "8" : "16");
                         });

// White is a fill here: the simulated frames are kept below it.
int whitePixels(const CallResult &r, const StackBlock &stack, bool rimToo) {
  const std::size_t frameBytes = static_cast<std::size_t>(packedSamples(r.out, 3));
  int white = 0;
  for (int i = 0; i < stack.count(); ++i) {
    const auto *frame =
        reinterpret_cast<const std::uint8_t *>(r.bytes.data()) + static_cast<std::size_t>(i) * frameBytes;
    const int rim = rimToo ? 0 : 1;
    for (int y = 0; y < r.out.height - rim; ++y) {
      for (int x = 0; x < r.out.width - rim; ++x) {
        const std::uint8_t *p =
            frame +
            (static_cast<std::size_t>(y) * static_cast<std::size_t>(r.out.width) + static_cast<std::size_t>(x)) * 3;
        white += p[0] == 255 && p[1] == 255 && p[2] == 255 ? 1 : 0;
      }
    }
  }
  return white;
}

StackBlock withoutWhite(StackBlock stack) {
  for (std::byte &b : stack.bytes)
    b = std::min(b, std::byte{250});
  return stack;
}

TEST(RtAlign, LeavesNoFillInsideTheCommonRectangle) {
  for (const bool perspective : {false, true}) {
    for (const int frames : {3, 5, 9}) {
      const StackBlock stack = withoutWhite(makeStack(
          kPhoto,
          {.frames = frames, .evStep = 0.5, .motion = perspective ? Motion::Perspective : Motion::Affine, .seed = 5}));
      const CallResult r = call(stack, perspective);
      ASSERT_GT(r.result, 0);
      EXPECT_EQ(r.result, stack.size().width - r.out.width + stack.size().height - r.out.height);
      EXPECT_EQ(whitePixels(r, stack, false), 0) << frames << (perspective ? " perspective" : " affine");
    }
  }
}

TEST(RtAlign, GivesTheSameBytesOnEveryRunAndForTheAffineModelOnEveryThreadCount) {
  const StackBlock stack = makeStack(kPhoto, {.frames = 3, .evStep = 1, .motion = Motion::Perspective, .seed = 6});
  for (const int threads : {1, 2, 4}) {
    const CallResult first = call(stack, true, threads);
    EXPECT_TRUE(first.bytes == call(stack, true, threads).bytes) << threads << " threads";
  }
  const CallResult affine = call(stack, false, 1);
  for (const int threads : {2, 4})
    EXPECT_TRUE(affine.bytes == call(stack, false, threads).bytes) << threads;
}

TEST(RtAlign, GivesTheBytesOfEstimateAndWarp) {
  for (const Model model : {Model::Affine, Model::Perspective}) {
    const StackBlock stack = makeStack(kPhoto, {.frames = 3, .evStep = 1, .motion = Motion::Affine, .seed = 7});
    for (const int threads : {1, 2}) {
      const CallResult flat = call(stack, model == Model::Perspective, threads);
      const std::vector<ImageView> frames = views(stack);
      const StackEstimate estimate = estimateStack(frames, options(model, threads)).value();
      ASSERT_EQ(estimate.common.size(), flat.out);
      const std::size_t frameBytes = static_cast<std::size_t>(packedSamples(flat.out, 3));
      for (int i = 0; i < stack.count(); ++i) {
        std::vector<std::byte> out(frameBytes);
        ASSERT_TRUE(warpFrame(estimate, i, stack.frame(i),
                              {out.data(), flat.out, 3, flat.out.width * 3, SampleDepth::U8}, {.threads = threads}));
        EXPECT_TRUE(
            std::equal(out.begin(), out.end(),
                       flat.bytes.begin() + static_cast<std::ptrdiff_t>(static_cast<std::size_t>(i) * frameBytes)));
      }
    }
  }
}

TEST(RtAlign, LeavesASingleImageAtItsSize) {
  StackBlock stack = makeStack({400, 300}, {.frames = 1, .evStep = 0, .motion = Motion::Shift, .seed = 1});
  for (const bool perspective : {false, true}) {
    const CallResult r = call(stack, perspective);
    EXPECT_EQ(r.result, 0);
    EXPECT_EQ(r.out, stack.size());
    const auto row = static_cast<std::ptrdiff_t>(stack.size().width - 1) * 3;
    EXPECT_TRUE(std::equal(r.bytes.begin(), r.bytes.begin() + row, stack.bytes.begin()));
  }
}

TEST(RtAlign, KeepsTheInputSizeWhenAskedTo) {
  const StackBlock stack = makeStack({900, 700}, {.frames = 3, .evStep = 0.5, .motion = Motion::Shift, .seed = 2});
  for (const bool perspective : {false, true}) {
    const CallResult r = call(stack, perspective, 1, 1);
    EXPECT_EQ(r.out, stack.size());
    EXPECT_EQ(r.result, 0);
  }
}

TEST(RtAlign, PlacesTheFramesTheSameWayWhetherOrNotItKeepsTheSize) {
  const StackBlock stack = makeStack({900, 700}, {.frames = 3, .evStep = 0.5, .motion = Motion::Affine, .seed = 2});
  for (const bool perspective : {false, true}) {
    const CallResult cropped = call(stack, perspective), kept = call(stack, perspective, 1, 1);
    ASSERT_GT(cropped.result, 0);
    for (int frame = 0; frame < stack.count(); ++frame) {
      for (int y = 0; y < cropped.out.height; ++y) {
        const auto a = cropped.bytes.begin() +
                       (static_cast<std::ptrdiff_t>(frame) * cropped.out.height + y) * cropped.out.width * 3;
        const auto b =
            kept.bytes.begin() + (static_cast<std::ptrdiff_t>(frame) * kept.out.height + y) * kept.out.width * 3;
        ASSERT_TRUE(std::equal(a, a + cropped.out.width * 3, b)) << "frame " << frame << ", row " << y;
      }
    }
  }
}

TEST(RtAlign, LeavesTinyFramesWhereTheyAre) {
  for (const Size size : {Size{1, 1}, {2, 1}, {1, 2}, {2, 2}, {20, 20}, {21, 300}}) {
    for (const int perspective : {0, 1}) {
      for (const int images : {1, 2, 3}) {
        std::vector<std::uint8_t> block(static_cast<std::size_t>(packedSamples(size, 3) * images));
        std::iota(block.begin(), block.end(), std::uint8_t{0});
        int out[2] = {0, 0};
        EXPECT_EQ(rt_align(3, 5, 5, perspective, images, size.width, size.height, 3, 8, out, block.data(), nullptr), 0);
        EXPECT_EQ(out[0], size.width);
        EXPECT_EQ(out[1], size.height);
      }
    }
  }
}

TEST(RtAlign, TakesThreadCountsBelowOneForOneAndAnEmptyStackForDone) {
  const StackBlock stack = makeStack({620, 480}, {.frames = 2, .evStep = 0.5, .motion = Motion::Affine, .seed = 4});
  for (const bool perspective : {false, true}) {
    const CallResult one = call(stack, perspective, 1);
    for (const int threads : {0, -7})
      EXPECT_TRUE(call(stack, perspective, threads).bytes == one.bytes) << threads;
    for (const int images : {0, -1}) {
      int out[2] = {0, 0};
      EXPECT_EQ(rt_align(2, 5, 5, perspective ? 1 : 0, images, 64, 48, 3, 8, out, nullptr, nullptr), 0);
      EXPECT_EQ(out[0], 64);
      EXPECT_EQ(out[1], 48);
    }
  }
}

TEST(RtAlign, FindsNothingWithinAnEmptyOrNegativeRange) {
  const StackBlock stack = makeStack({620, 480}, {.frames = 2, .evStep = 0.5, .motion = Motion::Shift, .seed = 4});
  for (const int range : {0, -3}) {
    for (const int perspective : {0, 1}) {
      auto bytes = stack.bytes;
      int out[2] = {0, 0};
      EXPECT_EQ(rt_align(1, range, range, perspective, 2, stack.size().width, stack.size().height, 3, 8, out,
                         bytes.data(), nullptr),
                0)
          << range;
    }
  }
}

TEST(RtAlign, SetsTheMatchBudgetFromTheFramesSize) {
  std::vector<std::uint8_t> tiny(160 * 100 * 3, 77);
  int size[2] = {0, 0};
  EXPECT_EQ(rt_align(1, 10, 10, 0, 1, 160, 100, 3, 8, size, tiny.data(), nullptr), 0);
  EXPECT_EQ(MAX_MATCHES_OPTIMIZED, 20);
  std::vector<std::uint8_t> larger(800 * 480 * 3, 77);
  rt_align(1, 10, 10, 0, 1, 800, 480, 3, 8, size, larger.data(), nullptr);
  EXPECT_EQ(MAX_MATCHES_OPTIMIZED, 80);
}

TEST(RtAlign, LeavesUnrelatedImagesWhereTheyAreAndTheVerdictSaysSo) {
  StackBlock stack = makeStack({900, 700}, {.frames = 2, .evStep = 0.5, .motion = Motion::Shift, .seed = 2}, 1);
  const StackBlock other = makeStack({900, 700}, {.frames = 2, .evStep = 0.5, .motion = Motion::Shift, .seed = 2}, 99);
  ASSERT_EQ(other.frameBytes(), stack.frameBytes());
  std::copy_n(other.bytes.begin(), stack.frameBytes(), stack.bytes.begin());
  for (const Model model : {Model::Affine, Model::Perspective}) {
    const std::vector<ImageView> frames = views(stack);
    const StackEstimate estimate = estimateStack(frames, options(model)).value();
    for (int i = 0; i < 2; ++i)
      EXPECT_NE(estimate.frames[static_cast<std::size_t>(i)].verdict, Verdict::Found);
  }
}

TEST(RtAlign, LeavesBlackImagesWhereTheyAreAndTheVerdictSaysSo) {
  StackBlock stack = makeStack({900, 700}, {.frames = 2, .evStep = 0.5, .motion = Motion::Shift, .seed = 2});
  std::fill_n(stack.bytes.begin(), stack.frameBytes(), std::byte{0});
  for (const Model model : {Model::Affine, Model::Perspective}) {
    const std::vector<ImageView> frames = views(stack);
    const StackEstimate estimate = estimateStack(frames, options(model)).value();
    EXPECT_EQ(estimate.frames[0].verdict, Verdict::NotFound);
    EXPECT_EQ(estimate.common.size(), stack.size());
    const CallResult r = call(stack, model == Model::Perspective);
    EXPECT_EQ(r.result, 0);
  }
}

TEST(RtAlign, AbandonsAStackThatSharesTooLittle) {
  // Five frames, each 190 pixels further: the last shares a quarter of its width with the first.
  const test::SyntheticPhoto photo({2000, 600}, 4);
  StackBlock stack;
  stack.bracket.frameSize = {1000, 600};
  stack.bracket.frames.resize(5);
  const Size size = stack.size();
  for (int k = 0; k < 5; ++k) {
    for (int y = 0; y < size.height; ++y) {
      const auto *row = photo.view().row<std::uint8_t>(y) + k * 190 * 3;
      // Each a step darker, so that the ranks follow the shift.
      for (int i = 0; i < size.width * 3; ++i)
        stack.bytes.push_back(static_cast<std::byte>(row[i] * (20 - k) / 20));
    }
  }
  int outSize[2] = {0, 0};
  auto bytes = stack.bytes;
  EXPECT_EQ(rt_align(1, 250, 50, 0, 5, size.width, size.height, 3, 8, outSize, bytes.data(), nullptr), 0);
  EXPECT_EQ(outSize[0], size.width);
  EXPECT_EQ(outSize[1], size.height);
  for (int k = 0; k < 5; ++k) { // all but the rim is what it was
    const auto first = static_cast<std::ptrdiff_t>(k) * size.width * size.height * 3;
    EXPECT_TRUE(
        std::equal(bytes.begin() + first, bytes.begin() + first + (size.width - 1) * 3, stack.bytes.begin() + first));
  }
  const std::vector<ImageView> frames = views(stack);
  const StackEstimate estimate =
      estimateStack(frames, {.model = Model::Affine, .maxShiftX = 250, .maxShiftY = 50}).value();
  for (int k = 1; k < 5; ++k) {
    EXPECT_EQ(estimate.frames[static_cast<std::size_t>(k)].reason, "the frames share too little");
  }
}

class OtherChannelCounts : public ::testing::TestWithParam<int> {};

TEST_P(OtherChannelCounts, AreHandledRightlyByTheCppFace) {
  const int channels = GetParam();
  const StackBlock rgb = makeStack({1000, 800}, {.frames = 3, .evStep = 0.5, .motion = Motion::Affine, .seed = 8});
  std::vector<std::vector<std::uint8_t>> frames;
  std::vector<ImageView> stack;
  const int pixels = rgb.size().width * rgb.size().height;
  const std::int64_t stride = static_cast<std::int64_t>(rgb.size().width) * channels;
  for (int i = 0; i < 3; ++i) {
    const auto *source = static_cast<const std::uint8_t *>(rgb.frame(i).samples);
    std::vector<std::uint8_t> frame(static_cast<std::size_t>(pixels) * static_cast<std::size_t>(channels), 128);
    for (int p = 0; p < pixels; ++p) {
      for (int c = 0; c < std::min(3, channels); ++c)
        frame[static_cast<std::size_t>(p * channels + c)] = source[p * 3 + (channels < 3 ? 1 : c)];
    }
    frames.push_back(std::move(frame));
  }
  for (const auto &frame : frames)
    stack.push_back({frame.data(), rgb.size(), channels, stride, SampleDepth::U8});
  const StackEstimate estimate = estimateStack(stack, options(Model::Perspective)).value();
  for (int i = 0; i < 3; ++i) {
    EXPECT_NE(estimate.frames[static_cast<std::size_t>(i)].verdict, Verdict::NotFound);
    EXPECT_LT(placement(rgb, estimate, i), 1.0);
  }
}

INSTANTIATE_TEST_SUITE_P(OneToFour, OtherChannelCounts, ::testing::Values(1, 2, 3, 4));

// The block ends exactly where the last image does: the address sanitizer watches every step beyond.
TEST(RtAlign, StaysInsideTheBlockForAnyChannelCount) {
  for (const int channels : {1, 2, 4, 5}) {
    for (const int bits : {8, 16}) {
      const int width = 301, height = 203, images = 2;
      std::vector<std::uint8_t> block(static_cast<std::size_t>(width * height * channels * images * bits / 8));
      std::uint32_t state = 1;
      for (auto &b : block)
        b = static_cast<std::uint8_t>((state = state * 1664525u + 1013904223u) >> 24);
      for (const int perspective : {0, 1}) {
        int size[2] = {0, 0};
        EXPECT_GE(rt_align(2, 20, 20, perspective, images, width, height, channels, bits, size, block.data(), nullptr),
                  0);
        EXPECT_LE(size[0], width);
      }
    }
  }
}

TEST(RtAlign, LeavesImagesOfAnUnknownDepthUntouched) {
  std::vector<std::uint8_t> block(64 * 64 * 3 * 2 * 2, 9);
  const auto before = block;
  int size[2] = {0, 0};
  ::testing::internal::CaptureStderr();
  EXPECT_EQ(rt_align(1, 10, 10, 1, 2, 64, 64, 3, 12, size, block.data(), nullptr), 0);
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "rt_align: 0  from 64 x 64  to  64 x 64\n");
  EXPECT_EQ(block, before);
  EXPECT_EQ(size[0], 64);
  EXPECT_EQ(size[1], 64);
}

TEST(RtAlign, PrintsASummaryLine) {
  StackBlock stack = makeStack({400, 300}, {.frames = 1, .evStep = 0, .motion = Motion::Shift, .seed = 1});
  ::testing::internal::CaptureStderr();
  call(stack, false);
  const std::string size = std::to_string(stack.size().width) + " x " + std::to_string(stack.size().height);
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "rt_align: 0  from " + size + "  to  " + size + "\n");
}

} // namespace
} // namespace vindrel
