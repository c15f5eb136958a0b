// Aligning a stack by whole-pixel shifts: the frames' places, the verdicts, and the bytes of the flat call.
#include "VindrelRegLib.h"
#include "support/FailingAllocation.h"
#include "support/GuardedBuffer.h"
#include "translate/Scene.h"
#include "translate/ShiftSearch.h"
#include "vindrel/apply.hpp"
#include "vindrel/stack.hpp"

#include <gtest/gtest.h>

#include <cmath>

namespace vindrel::test {
namespace {

constexpr int kWidth = 320, kHeight = 240;
constexpr int kMaxShift = 30; // five levels, a reach of 31 pixels

const Scene &scene() {
  static const Scene made = texturedScene(460, 380, 3);
  return made;
}

StackOptions shiftOptions(int maxShift = kMaxShift) {
  StackOptions options;
  options.model = Model::Shift;
  options.maxShiftX = maxShift;
  options.maxShiftY = maxShift;
  return options;
}

StackEstimate estimateViews(const std::vector<View> &views, const StackOptions &options = shiftOptions()) {
  const int count = static_cast<int>(views.size());
  const auto stack = stackOf<std::uint8_t>(scene(), views, kWidth, kHeight, 3);
  return estimateStack(viewsOf(stack, count, kWidth, kHeight, 3), options).value();
}

// The common rectangle, or one of the frames' size with the same corner.
Rectangle partOf(const StackEstimate &estimate, bool crop) {
  if (crop) return estimate.common;
  return {estimate.common.x, estimate.common.y, estimate.frameSize.width, estimate.frameSize.height};
}

template <class Sample>
std::vector<Sample> warpAll(const StackEstimate &estimate, const std::vector<ImageView> &frames,
                            const Rectangle &part) {
  std::vector<Sample> block;
  const int channels = frames[0].channels;
  std::vector<Sample> out(static_cast<std::size_t>(packedSamples(part.size(), channels)));
  for (std::size_t i = 0; i < frames.size(); ++i) {
    const MutableImageView view{.samples = out.data(),
                                .size = part.size(),
                                .channels = channels,
                                .rowStride = std::int64_t{part.width} * channels,
                                .depth = frames[i].depth};
    EXPECT_TRUE(warpFrame(estimate, static_cast<int>(i), frames[i], part, view, {.threads = 2}));
    block.insert(block.end(), out.begin(), out.end());
  }
  return block;
}

// One frame of the stack is of another scene: bytes are the same whether or not a frame is found.
template <class Sample>
void equalsTheFlatCall(int channels) {
  const std::vector<View> views = {{60, 60, 0.5}, {65, 57, 2}, {47, 71, 0.25}, {62, 40, 1}, {54, 66, 4}};
  auto stack = stackOf<Sample>(scene(), views, kWidth, kHeight, channels);
  const auto stranger = frameOf<Sample>(texturedScene(kWidth, kHeight, 8), {0, 0, 0.125}, kWidth, kHeight, channels);
  stack.insert(stack.end(), stranger.begin(), stranger.end());
  for (const bool crop : {true, false}) {
    const auto frames = viewsOf(stack, 6, kWidth, kHeight, channels);
    const StackEstimate estimate = estimateStack(frames, shiftOptions()).value();
    const Rectangle part = partOf(estimate, crop);
    std::vector<Sample> flat = stack;
    int size[2] = {crop ? 0 : 1, 0};
    EXPECT_GT(tr_align(6, kWidth, kHeight, channels, 8 * static_cast<int>(sizeof(Sample)), size,
                       reinterpret_cast<std::uint8_t *>(flat.data()), 0,
                       fractionForShift({kWidth, kHeight}, kMaxShift)),
              0);
    EXPECT_EQ(part.size(), (Size{size[0], size[1]}));
    flat.resize(static_cast<std::size_t>(6 * packedSamples(part.size(), channels)));
    EXPECT_EQ(warpAll<Sample>(estimate, frames, part), flat) << "crop " << crop;
  }
}

TEST(AlignShifts, GiveTheBytesOfTheFlatCallForBytesOfThreeChannels) {
  equalsTheFlatCall<std::uint8_t>(3);
}
TEST(AlignShifts, GiveTheBytesOfTheFlatCallForBytesOfFourChannels) {
  equalsTheFlatCall<std::uint8_t>(4);
}
TEST(AlignShifts, GiveTheBytesOfTheFlatCallForSixteenBitsOfThreeChannels) {
  equalsTheFlatCall<std::uint16_t>(3);
}
TEST(AlignShifts, GiveTheBytesOfTheFlatCallForSixteenBitsOfFourChannels) {
  equalsTheFlatCall<std::uint16_t>(4);
}

// A tenth of nine pixels is no pixel.
TEST(AlignShifts, CompareNothingInFramesOfAFewPixelsLikeTheFlatCallWithAFractionOfZero) {
  auto stack = stackOf<std::uint8_t>(scene(), {{60, 60, 1}, {61, 60, 0.5}}, 9, 8, 3);
  const auto frames = viewsOf(stack, 2, 9, 8, 3);
  const StackEstimate estimate = estimateStack(frames, shiftOptions(0)).value();
  EXPECT_EQ(estimate.reference, 1);
  EXPECT_EQ(estimate.frames[1].verdict, Verdict::Reference);
  EXPECT_EQ(estimate.frames[0].verdict, Verdict::NotFound);
  EXPECT_EQ(estimate.frames[0].reason, "the frames are too small to be compared");
  const std::vector<std::uint8_t> warped = warpAll<std::uint8_t>(estimate, frames, estimate.common);
  int size[2] = {0, 0};
  EXPECT_EQ(tr_align(2, 9, 8, 3, 8, size, stack.data(), 0, 0.0F), 0);
  EXPECT_EQ(warped, stack);
}

TEST(AlignShifts, ReadFramesWhoseRowsLieApart) {
  const std::vector<View> views = {{60, 60, 1}, {65, 57, 0.5}};
  const auto packed = stackOf<std::uint16_t>(scene(), views, kWidth, kHeight, 3);
  // The same frames side by side.
  std::vector<std::uint16_t> wide(packed.size());
  constexpr std::size_t kRow = std::size_t{kWidth} * 3;
  for (std::size_t row = 0; row < 2 * std::size_t{kHeight}; ++row)
    std::copy_n(packed.begin() + static_cast<std::ptrdiff_t>(row * kRow), kRow,
                wide.begin() + static_cast<std::ptrdiff_t>((row % kHeight * 2 + row / kHeight) * kRow));
  const auto frames = viewsOf(packed, 2, kWidth, kHeight, 3);
  auto apart = frames;
  for (std::size_t i = 0; i < 2; ++i) {
    apart[i].samples = wide.data() + i * kRow;
    apart[i].rowStride = 2 * kRow;
  }
  for (const bool crop : {true, false}) {
    const StackEstimate estimate = estimateStack(apart, shiftOptions()).value();
    const StackEstimate same = estimateStack(frames, shiftOptions()).value();
    EXPECT_EQ(warpAll<std::uint16_t>(estimate, apart, partOf(estimate, crop)),
              warpAll<std::uint16_t>(same, frames, partOf(same, crop)));
  }
}

TEST(AlignShifts, PlaceAllFramesOnTheSecondBrightest) {
  const std::vector<View> views = {{60, 60, 0.5}, {65, 57, 2}, {47, 71, 0.25}, {62, 40, 1}, {54, 66, 4}};
  const StackEstimate estimate = estimateViews(views);
  EXPECT_EQ(estimate.model, Model::Shift);
  EXPECT_EQ(estimate.frameSize, (Size{kWidth, kHeight}));
  EXPECT_EQ(estimate.reference, 1);
  const int ranks[] = {3, 1, 4, 2, 0};
  const int comparisons[] = {2, 0, 3, 1, 1};
  ASSERT_EQ(estimate.frames.size(), 5u);
  for (std::size_t i = 0; i < 5; ++i) {
    const FrameEstimate &frame = estimate.frames[i];
    EXPECT_EQ(frame.verdict, i == 1 ? Verdict::Reference : Verdict::Found) << i;
    EXPECT_EQ(frame.reason, "") << i;
    EXPECT_EQ(frame.rank, ranks[i]) << i;
    const double x = views[1].x - views[i].x, y = views[1].y - views[i].y;
    EXPECT_EQ(frame.frameFromReference, Transform::translation(x, y)) << i;
    EXPECT_DOUBLE_EQ(frame.expectedError, std::sqrt(comparisons[i] / 6.0)) << i;
    EXPECT_EQ(frame.pairs, 0);
    EXPECT_EQ(frame.inliers, 0);
    EXPECT_EQ(frame.rms, 0);
  }
  // No frame reaches less far left than the reference.
  EXPECT_EQ(estimate.common, (Rectangle{0, 14, kWidth - 18, kHeight - 31}));
}

TEST(AlignShifts, PutTheOutputWhereTheRectangleSays) {
  const std::vector<View> views = {{60, 60, 1}, {65, 57, 0.5}, {52, 66, 0.25}};
  const auto stack = stackOf<std::uint8_t>(scene(), views, kWidth, kHeight, 3);
  const auto frames = viewsOf(stack, 3, kWidth, kHeight, 3);
  const StackEstimate estimate = estimateStack(frames, shiftOptions()).value();
  const auto block = warpAll<std::uint8_t>(estimate, frames, estimate.common);
  const View &reference = views[static_cast<std::size_t>(estimate.reference)];
  std::vector<View> expected = views;
  for (View &view : expected) {
    view.x = reference.x + estimate.common.x;
    view.y = reference.y + estimate.common.y;
  }
  EXPECT_EQ(block, stackOf<std::uint8_t>(scene(), expected, estimate.common.width, estimate.common.height, 3));
}

TEST(AlignShifts, KeepTheReferenceInItsPlaceInTheWholeFrame) {
  const std::vector<View> views = {{60, 60, 1}, {65, 57, 0.5}, {71, 63, 0.25}};
  const auto stack = stackOf<std::uint8_t>(scene(), views, kWidth, kHeight, 3);
  const auto frames = viewsOf(stack, 3, kWidth, kHeight, 3);
  const StackEstimate estimate = estimateStack(frames, shiftOptions()).value();
  EXPECT_EQ(estimate.common, (Rectangle{6, 6, kWidth - 11, kHeight - 6}));
  const auto block = warpAll<std::uint8_t>(estimate, frames, {0, 0, kWidth, kHeight});
  const auto frameSamples = static_cast<std::ptrdiff_t>(stack.size() / 3);
  EXPECT_TRUE(std::equal(block.begin() + frameSamples, block.begin() + 2 * frameSamples, stack.begin() + frameSamples));
  // The third frame lies six pixels further right and down: white first, then what the reference shows there.
  const auto at = [&](const auto &samples, int frame, int x, int y) {
    return samples[static_cast<std::size_t>(((frame * kHeight + y) * kWidth + x) * 3)];
  };
  for (int y = 0; y < kHeight; ++y)
    for (int x = 0; x < kWidth; ++x)
      ASSERT_EQ(at(block, 2, x, y), x < 6 || y < 6 ? 255 : at(stack, 2, x - 6, y - 6)) << x << ' ' << y;
}

template <class Sample>
void alignsChannels(int channels) {
  const std::vector<View> views = {{60, 60, 1}, {65, 57, 0.5}};
  const auto stack = stackOf<Sample>(scene(), views, kWidth, kHeight, channels);
  const auto frames = viewsOf(stack, 2, kWidth, kHeight, channels);
  const StackEstimate estimate = estimateStack(frames, shiftOptions()).value();
  EXPECT_EQ(estimate.frames[0].verdict, Verdict::Found);
  EXPECT_EQ(warpAll<Sample>(estimate, frames, estimate.common),
            stackOf<Sample>(scene(), {{65, 60, 1}, {65, 60, 0.5}}, kWidth - 5, kHeight - 3, channels));
}

TEST(AlignShifts, AlignGreyFrames) {
  alignsChannels<std::uint8_t>(1);
}
TEST(AlignShifts, AlignGreyFramesWithAlpha) {
  alignsChannels<std::uint16_t>(2);
}

TEST(AlignShifts, LeaveASingleFrameUntouched) {
  const auto stack = stackOf<std::uint16_t>(scene(), {{60, 60, 1}}, kWidth, kHeight, 3);
  const auto frames = viewsOf(stack, 1, kWidth, kHeight, 3);
  for (const bool crop : {true, false}) {
    const StackEstimate estimate = estimateStack(frames, shiftOptions()).value();
    ASSERT_EQ(estimate.frames.size(), 1u);
    EXPECT_EQ(estimate.reference, 0);
    EXPECT_EQ(estimate.frames[0].verdict, Verdict::Reference);
    EXPECT_EQ(warpAll<std::uint16_t>(estimate, frames, partOf(estimate, crop)), stack);
  }
}

TEST(AlignShifts, FindIdenticalFramesInPlace) {
  const StackEstimate estimate = estimateViews({{60, 60, 1}, {60, 60, 1}, {60, 60, 1}});
  EXPECT_EQ(estimate.common, (Rectangle{0, 0, kWidth, kHeight}));
  for (const FrameEstimate &frame : estimate.frames)
    EXPECT_NE(frame.verdict, Verdict::NotFound);
}

TEST(AlignShifts, DoNotCallUnrelatedFramesAligned) {
  for (std::uint32_t seed = 10; seed < 20; ++seed) {
    auto stack = stackOf<std::uint8_t>(scene(), {{60, 60, 1}, {60, 60, 0.5}}, kWidth, kHeight, 3);
    const auto stranger = frameOf<std::uint8_t>(texturedScene(kWidth, kHeight, seed), {0, 0, 0.1}, kWidth, kHeight, 3);
    stack.insert(stack.end(), stranger.begin(), stranger.end());
    const StackEstimate estimate = estimateStack(viewsOf(stack, 3, kWidth, kHeight, 3), shiftOptions()).value();
    EXPECT_EQ(estimate.frames[0].verdict, Verdict::Found);
    EXPECT_EQ(estimate.frames[2].verdict, Verdict::NotFound);
    const auto &m = estimate.frames[2].frameFromReference.matrix;
    const bool edge = std::max(std::abs(m[2]), std::abs(m[5])) >= 31;
    EXPECT_EQ(estimate.frames[2].reason,
              edge ? "its shift is at the edge of the search" : "its best match is no better than chance");
  }
}

TEST(AlignShifts, DoNotCallAFrameAlignedWhoseWayToTheReferenceIsBroken) {
  // The second darkest frame is flat: the darkest is compared with nothing else.
  auto stack =
      stackOf<std::uint8_t>(scene(), {{60, 60, 1}, {63, 60, 0.5}, {60, 60, 0.3}, {62, 60, 0.1}}, kWidth, kHeight, 3);
  const auto frameSamples = static_cast<std::ptrdiff_t>(stack.size() / 4);
  std::fill(stack.begin() + 2 * frameSamples, stack.begin() + 3 * frameSamples, std::uint8_t{70});
  const StackEstimate estimate = estimateStack(viewsOf(stack, 4, kWidth, kHeight, 3), shiftOptions()).value();
  ASSERT_EQ(estimate.frames[2].rank, 2);
  EXPECT_EQ(estimate.frames[0].verdict, Verdict::Found);
  EXPECT_EQ(estimate.frames[1].verdict, Verdict::Reference);
  EXPECT_EQ(estimate.frames[2].verdict, Verdict::NotFound);
  EXPECT_EQ(estimate.frames[2].reason, "its best match is no better than chance");
  EXPECT_EQ(estimate.frames[3].verdict, Verdict::NotFound);
  EXPECT_EQ(estimate.frames[3].reason, "a brighter frame was not aligned");
}

TEST(AlignShifts, DoubtAShiftAtTheEdgeOfTheSearchAndFindItWithALongerReach) {
  const std::vector<View> views = {{60, 60, 1}, {91, 60, 0.5}};
  const StackEstimate near = estimateViews(views, shiftOptions(30));
  EXPECT_EQ(near.frames[0].verdict, Verdict::NotFound);
  EXPECT_EQ(near.frames[0].reason, "its shift is at the edge of the search");
  const StackEstimate far = estimateViews(views, shiftOptions(31));
  EXPECT_EQ(far.frames[0].verdict, Verdict::Found);
  EXPECT_EQ(far.frames[0].frameFromReference.matrix[2], 31);
}

TEST(AlignShifts, ReachEveryShiftThatTheOptionsAllow) {
  for (const int shift : {1, 2, 3, 6, 7, 14, 15, 29, 30, 40}) {
    for (const auto &[dx, dy] : {std::pair{shift, 0}, {-shift, 0}, {0, shift}, {0, -shift}, {shift, -shift}}) {
      const StackEstimate estimate = estimateViews({{60, 60, 1}, {60 + dx, 60 + dy, 0.5}}, shiftOptions(shift));
      EXPECT_EQ(estimate.frames[0].verdict, Verdict::Found) << dx << ' ' << dy << ' ' << estimate.frames[0].reason;
      EXPECT_EQ(estimate.frames[0].frameFromReference, Transform::translation(dx, dy));
    }
  }
}

TEST(AlignShifts, TakeTheLargerOfTheTwoRangesForBothDirections) {
  StackOptions options = shiftOptions();
  options.maxShiftX = 1;
  options.maxShiftY = 40;
  EXPECT_EQ(estimateViews({{60, 60, 1}, {100, 60, 0.5}}, options).frames[0].verdict, Verdict::Found);
  std::swap(options.maxShiftX, options.maxShiftY);
  EXPECT_EQ(estimateViews({{60, 60, 1}, {60, 100, 0.5}}, options).frames[0].verdict, Verdict::Found);
}

struct Calls {
  int count = 0;
  int last = -1; // the call that cancels
  std::vector<double> fractions;
  bool take(double fraction) {
    fractions.push_back(fraction);
    return count++ != last;
  }
};

TEST(AlignShifts, ReportProgressUpToTheEnd) {
  Calls calls;
  StackOptions options = shiftOptions();
  options.progress = [&calls](double fraction) { return calls.take(fraction); };
  estimateViews({{60, 60, 1}, {62, 60, 0.5}, {61, 60, 0.2}}, options);
  ASSERT_EQ(calls.count, 5); // three frames, two pairs
  for (int i = 0; i < 5; ++i)
    EXPECT_DOUBLE_EQ(calls.fractions[static_cast<std::size_t>(i)], (i + 1) / 5.0);
}

TEST(AlignShifts, AreCancelledAtEveryStep) {
  for (int step = 0; step < 5; ++step) {
    Calls calls;
    calls.last = step;
    StackOptions options = shiftOptions();
    options.progress = [&calls](double fraction) { return calls.take(fraction); };
    const auto stack = stackOf<std::uint8_t>(scene(), {{60, 60, 1}, {62, 60, 0.5}, {61, 60, 0.2}}, kWidth, kHeight, 3);
    const Result<StackEstimate> estimate = estimateStack(viewsOf(stack, 3, kWidth, kHeight, 3), options);
    ASSERT_FALSE(estimate);
    EXPECT_EQ(estimate.error().code, ErrorCode::Cancelled);
    EXPECT_EQ(calls.count, step + 1);
  }
}

TEST(AlignShifts, WriteNothingOutsideTheOutputAndRefuseOneThatDoesNotFit) {
  const auto stack = stackOf<std::uint8_t>(scene(), {{60, 60, 1}, {65, 57, 0.5}}, kWidth, kHeight, 3);
  const auto frames = viewsOf(stack, 2, kWidth, kHeight, 3);
  const StackEstimate estimate = estimateStack(frames, shiftOptions()).value();
  const auto samples = static_cast<std::size_t>(packedSamples(estimate.common.size(), 3));
  GuardedBuffer<std::uint8_t> out(samples);
  MutableImageView view{.samples = out.data(),
                        .size = estimate.common.size(),
                        .channels = 3,
                        .rowStride = std::int64_t{estimate.common.width} * 3};
  EXPECT_TRUE(warpFrame(estimate, 0, frames[0], view));
  EXPECT_TRUE(out.guardsIntact());
  EXPECT_FALSE(warpFrame(estimate, 2, frames[0], view));
  EXPECT_FALSE(warpFrame(estimate, -1, frames[0], view));
  view.size.height -= 1;
  EXPECT_FALSE(warpFrame(estimate, 0, frames[0], view));
}

TEST(AlignShifts, ReportFailedAllocationsOfTheSearch) {
  const auto stack = stackOf<std::uint8_t>(scene(), {{60, 60, 1}, {63, 60, 0.5}}, 80, 60, 3);
  const auto frames = viewsOf(stack, 2, 80, 60, 3);
  const long failures = forEachFailingAllocation([&](const FailingAllocation &failing) {
    const Result<StackEstimate> estimate = estimateStack(frames, shiftOptions(10));
    EXPECT_EQ(static_cast<bool>(estimate), !failing.reached());
    if (failing.reached()) {
      EXPECT_EQ(estimate.error().code, ErrorCode::OutOfMemory);
    }
  });
  EXPECT_GE(failures, 8); // as many as the search makes
}

} // namespace
} // namespace vindrel::test
