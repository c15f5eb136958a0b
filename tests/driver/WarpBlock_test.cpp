// Frames of a block warped into their window: the bytes are those of the warp's definition, whether a frame is
// resampled or cut out.
#include "driver/WarpBlock.h"

#include "reference/Warp.h"
#include "support/FailingAllocation.h"
#include "transform/Transform.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

namespace vindrel::test {
namespace {

constexpr Size kFrame = {37, 23};
constexpr int kFrames = 3;

// Frame 1 is the reference, with the identity; the others lie some pixels to its sides and so have no source for some.
Estimate estimateFor(LinkModel model, const CropWindow &window) {
  Estimate estimate;
  estimate.frame = kFrame;
  estimate.model = model;
  estimate.window = window;
  estimate.rankOrder = Buffer<std::uint32_t>::zeroed(kFrames);
  estimate.transforms = TransformTable(model, kFrames);
  EXPECT_TRUE(estimate.rankOrder && estimate.transforms.allocate());
  constexpr std::uint32_t kByRank[] = {1, 2, 0};
  std::copy_n(kByRank, kFrames, estimate.rankOrder.begin());
  for (const std::uint32_t frame : {0u, 2u}) {
    float *t = estimate.transforms.slot(frame);
    t[2] = frame == 0 ? 3.5f : -4.75f;
    t[4] = 1.01f;
  }
  return estimate;
}

// The block as the definition leaves it: one output buffer for all frames, which are warped one after the other.
template <class Sample>
std::vector<Sample> defined(const Estimate &estimate, int channels, std::vector<Sample> block) {
  const bool perspective = estimate.model == LinkModel::Perspective;
  const Size out = estimate.window.size;
  const auto frameSamples = static_cast<std::size_t>(kFrame.width * kFrame.height * channels);
  const auto outSamples = static_cast<std::size_t>(out.width * out.height * channels);
  std::vector<Sample> warped(outSamples);
  for (std::uint32_t k = 0; k < kFrames; ++k) {
    const std::uint32_t frame = perspective ? estimate.rankOrder[k] : k;
    const reference::Warp<Sample> warp = {.source = block.data() + frame * frameSamples,
                                          .width = kFrame.width,
                                          .height = kFrame.height,
                                          .stride = std::int64_t{kFrame.width} * channels,
                                          .channels = channels,
                                          .dstWidth = out.width,
                                          .offsetX = estimate.window.offsetX,
                                          .offsetY = estimate.window.offsetY,
                                          .perspective = perspective,
                                          .t = estimate.transforms.slot(frame)};
    reference::warpRows(warp, 0, out.height, warped.data());
    const std::size_t place = frame * (perspective ? frameSamples : outSamples);
    std::copy(warped.begin(), warped.end(), block.begin() + static_cast<std::ptrdiff_t>(place));
  }
  if (perspective)
    for (std::size_t i = 1; i < kFrames; ++i)
      std::copy_n(block.begin() + static_cast<std::ptrdiff_t>(i * frameSamples), outSamples,
                  block.begin() + static_cast<std::ptrdiff_t>(i * outSamples));
  block.resize(kFrames * outSamples);
  return block;
}

bool goOn(void *, double) {
  return true;
}

template <class Sample>
void expectSameBytes(LinkModel model, const CropWindow &window, int channels, int threads) {
  std::mt19937 random(static_cast<unsigned>(channels));
  std::vector<Sample> block(static_cast<std::size_t>(kFrame.width * kFrame.height * channels * kFrames));
  for (Sample &sample : block)
    sample = static_cast<Sample>(random());
  const Estimate estimate = estimateFor(model, window);
  const std::vector<Sample> expected = defined(estimate, channels, block);
  const FrameFormat format = {
      .size = kFrame, .channels = channels, .depth = sizeof(Sample) == 1 ? SampleDepth::U8 : SampleDepth::U16};
  // Bands of a row, of some rows and of all; with a callback that could cancel, and without.
  for (const std::size_t bandBytes : {std::size_t{1}, std::size_t{400}, kBandBytes})
    for (const Progress &progress : {Progress{}, Progress{.function = goOn}}) {
      std::vector<Sample> warped = block;
      ASSERT_EQ(Status::Ok, warpBlock(estimate, format, kFrames, warped.data(),
                                      {.threads = threads,
                                       .sourceStride = std::int64_t{kFrame.width} * channels,
                                       .progress = progress,
                                       .bandBytes = bandBytes}));
      warped.resize(expected.size());
      EXPECT_EQ(expected, warped) << "channels " << channels << ", window " << window.size.width << "x"
                                  << window.size.height << " at " << window.offsetX << ", " << window.offsetY
                                  << ", bands of " << bandBytes << " bytes";
    }
}

// Windows that leave every pixel of the reference its neighbours, that touch the last column or row, that reach beyond
// the frame, and the whole frame.
TEST(WarpBlock, LeavesTheBytesOfTheWarpForEveryWindowDepthAndChannelCount) {
  const auto window = [](int left, int top, int width, int height) {
    return CropWindow{.minX = 0, .minY = 0, .offsetX = -left, .offsetY = -top, .size = {width, height}};
  };
  for (const LinkModel model : {LinkModel::Affine, LinkModel::Perspective})
    for (const CropWindow &w :
         {window(3, 2, 30, 15), window(0, 0, 36, 22), window(1, 0, 35, 22), window(2, 2, 35, 10), window(2, 3, 20, 20),
          window(-1, 0, 20, 20), window(0, -2, 20, 20), window(0, 0, kFrame.width, kFrame.height), window(5, 5, 1, 1)})
      for (int channels = 1; channels <= 5; ++channels)
        for (const int threads : {1, 3}) {
          expectSameBytes<std::uint8_t>(model, w, channels, threads);
          expectSameBytes<std::uint16_t>(model, w, channels, threads);
        }
}

TEST(WarpBlock, LeavesWhatWasWarpedBeforeTheCancelAndTheRestAsItWas) {
  const CropWindow window = {.minX = 0, .minY = 0, .offsetX = -3, .offsetY = -2, .size = {30, 15}};
  const Estimate estimate = estimateFor(LinkModel::Perspective, window);
  const FrameFormat format = {.size = kFrame, .channels = 3, .depth = SampleDepth::U8};
  constexpr std::size_t kFrameBytes = std::size_t{3} * kFrame.width * kFrame.height;
  std::mt19937 random(1);
  std::vector<std::uint8_t> before(kFrameBytes * kFrames);
  for (std::uint8_t &byte : before)
    byte = static_cast<std::uint8_t>(random());
  std::vector<std::uint8_t> block = before;
  int reports = 0;
  const Progress atTheSecond = {.function = [](void *state, double) { return ++*static_cast<int *>(state) < 2; },
                                .state = &reports};
  ASSERT_EQ(
      Status::Cancelled,
      warpBlock(
          estimate, format, kFrames, block.data(),
          {.threads = 2, .sourceStride = std::int64_t{3} * kFrame.width, .progress = atTheSecond, .bandBytes = 300}));
  const auto isAsItWas = [&](std::size_t frame) {
    const auto begin = static_cast<std::ptrdiff_t>(frame * kFrameBytes), end = begin + std::ptrdiff_t{kFrameBytes};
    return std::equal(before.begin() + begin, before.begin() + end, block.begin() + begin);
  };
  // By rank: frames 1 and 2, then 0.
  EXPECT_TRUE(isAsItWas(0));
  EXPECT_FALSE(isAsItWas(1));
  EXPECT_FALSE(isAsItWas(2));
}

TEST(WarpBlock, ReportsAFailedAllocationAndLeavesTheBlockAlone) {
  const Estimate estimate =
      estimateFor(LinkModel::Affine, {.minX = 0, .minY = 0, .offsetX = -3, .offsetY = -2, .size = {30, 15}});
  const FrameFormat format = {.size = kFrame, .channels = 1, .depth = SampleDepth::U8};
  const std::vector<std::uint8_t> before(static_cast<std::size_t>(kFrame.width * kFrame.height * kFrames), 7);
  std::vector<std::uint8_t> block = before;
  const FailingAllocation failing(1);
  EXPECT_EQ(Status::OutOfMemory, warpBlock(estimate, format, kFrames, block.data(),
                                           {.threads = 1, .sourceStride = kFrame.width, .progress = {}}));
  EXPECT_EQ(before, block);
}

} // namespace
} // namespace vindrel::test
