#include "translate/ShiftCrop.h"

#include "support/GuardedBuffer.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

namespace vindrel::test {
namespace {

ShiftEstimate estimateOf(const std::vector<std::pair<int, int>> &shifts) {
  ShiftEstimate estimate;
  estimate.count = static_cast<int>(shifts.size());
  estimate.shifts = Buffer<FrameShift>::zeroed(shifts.size());
  for (std::size_t i = 0; i < shifts.size(); ++i) {
    estimate.shifts[i].x = shifts[i].first;
    estimate.shifts[i].y = shifts[i].second;
    estimate.minX = std::min(estimate.minX, shifts[i].first);
    estimate.maxX = std::max(estimate.maxX, shifts[i].first);
    estimate.minY = std::min(estimate.minY, shifts[i].second);
    estimate.maxY = std::max(estimate.maxY, shifts[i].second);
  }
  return estimate;
}

TEST(ShiftCrop, CutsToWhatAllFramesShow) {
  const ShiftCrop crop = cropForShifts(estimateOf({{0, 0}, {3, -2}, {-4, 1}}), {100, 50}, false);
  EXPECT_EQ(crop.outputSize, (Size{93, 47}));
  EXPECT_EQ(crop.minX, -4);
  EXPECT_EQ(crop.minY, -2);
  EXPECT_EQ(crop.cropped, 10);
}

TEST(ShiftCrop, KeepsTheSizeOnRequest) {
  const ShiftCrop crop = cropForShifts(estimateOf({{0, 0}, {3, -2}}), {100, 50}, true);
  EXPECT_EQ(crop.outputSize, (Size{100, 50}));
  EXPECT_EQ(crop.cropped, 5);
}

TEST(ShiftCrop, KeepsTheSizeWhereTheFramesShareNothing) {
  EXPECT_EQ(cropForShifts(estimateOf({{0, 0}, {100, 0}}), {100, 50}, false).outputSize, (Size{100, 50}));
  EXPECT_EQ(cropForShifts(estimateOf({{0, 0}, {0, -50}}), {100, 50}, false).outputSize, (Size{100, 50}));
  EXPECT_EQ(cropForShifts(estimateOf({{-60, 0}, {60, 0}}), {100, 50}, false).outputSize, (Size{100, 50}));
  EXPECT_EQ(cropForShifts(estimateOf({{0, 0}, {99, 49}}), {100, 50}, false).outputSize, (Size{1, 1}));
}

// Every output pixel from its definition, computed before the block is touched.
template <class Sample>
void compareRewriting() {
  std::mt19937 random(21);
  for (int trial = 0; trial < 400; ++trial) {
    const int width = 1 + static_cast<int>(random() % 20), height = 1 + static_cast<int>(random() % 20);
    const int channels = 1 + static_cast<int>(random() % 5), count = 1 + static_cast<int>(random() % 4);
    const int range = 1 + static_cast<int>(random() % 12);
    std::vector<std::pair<int, int>> shifts;
    for (int i = 0; i < count; ++i)
      shifts.emplace_back(static_cast<int>(random() % (2 * range + 1)) - range,
                          static_cast<int>(random() % (2 * range + 1)) - range);
    const ShiftEstimate estimate = estimateOf(shifts);
    const Size size{width, height};
    const ShiftCrop crop = cropForShifts(estimate, size, random() % 2 == 0);
    std::vector<Sample> block(static_cast<std::size_t>(count) * width * height * channels);
    for (Sample &sample : block)
      sample = static_cast<Sample>(random());

    const auto [outWidth, outHeight] = crop.outputSize;
    std::vector<Sample> expected;
    for (int i = 0; i < count; ++i)
      for (int y = 0; y < outHeight; ++y)
        for (int x = 0; x < outWidth; ++x)
          for (int c = 0; c < channels; ++c) {
            const int sx = x + shifts[i].first - crop.minX, sy = y + shifts[i].second - crop.minY;
            expected.push_back(sx < width && sy < height
                                   ? block[((static_cast<std::size_t>(i) * height + sy) * width + sx) * channels + c]
                                   : static_cast<Sample>(~Sample{0}));
          }
    expected.insert(expected.end(), block.begin() + static_cast<std::ptrdiff_t>(expected.size()), block.end());
    rewriteBlock({block.data(), size, channels, std::int64_t{width} * channels,
                  sizeof(Sample) == 1 ? SampleDepth::U8 : SampleDepth::U16},
                 estimate, crop);
    ASSERT_EQ(block, expected) << trial; // what lies behind the outputs included: it is left as it was
  }
}

TEST(ShiftCrop, RewritesABlockOfBytesInPlaceForShiftsOfBothSigns) {
  compareRewriting<std::uint8_t>();
}

TEST(ShiftCrop, RewritesABlockOfSixteenBitSamplesInPlaceForShiftsOfBothSigns) {
  compareRewriting<std::uint16_t>();
}

TEST(ShiftCrop, CopiesAFrameBetweenRowsOfAnyStride) {
  const ShiftEstimate estimate = estimateOf({{0, 0}, {2, -1}});
  const ShiftCrop crop = cropForShifts(estimate, {5, 4}, true);
  std::vector<std::uint8_t> frame(7 * 4), out(9 * 4, 1);
  for (std::size_t i = 0; i < frame.size(); ++i)
    frame[i] = static_cast<std::uint8_t>(i);
  copyShifted({frame.data(), {5, 4}, 1, 7, SampleDepth::U8}, estimate.shifts[1], crop,
              {out.data(), {5, 4}, 1, 9, SampleDepth::U8});
  const std::vector<std::uint8_t> expected = {2,  3,  4,  255, 255, 1, 1, 1, 1, 9,  10, 11, 255, 255, 1, 1, 1, 1,
                                              16, 17, 18, 255, 255, 1, 1, 1, 1, 23, 24, 25, 255, 255, 1, 1, 1, 1};
  EXPECT_EQ(out, expected);
}

TEST(ShiftCrop, FillsWhiteOnEverySideThatAFrameDoesNotReach) {
  constexpr int kColumns = 6, kRows = 5;
  std::vector<std::uint16_t> frame(kColumns * kRows * 3);
  for (std::size_t i = 0; i < frame.size(); ++i)
    frame[i] = static_cast<std::uint16_t>(i);
  for (int dx = -8; dx <= 8; ++dx) {
    for (int dy = -7; dy <= 7; ++dy) {
      FrameShift shift;
      shift.x = dx;
      shift.y = dy;
      const ImageView view{frame.data(), {kColumns, kRows}, 3, kColumns * 3, SampleDepth::U16};
      GuardedBuffer<std::uint16_t> out(frame.size());
      copyShifted(view, shift, {.outputSize = view.size}, {out.data(), view.size, 3, kColumns * 3, SampleDepth::U16});
      std::vector<std::uint16_t> expected;
      for (int y = dy; y < dy + kRows; ++y)
        for (int x = dx; x < dx + kColumns; ++x)
          for (int c = 0; c < 3; ++c)
            expected.push_back(x >= 0 && x < kColumns && y >= 0 && y < kRows
                                   ? frame[static_cast<std::size_t>((y * kColumns + x) * 3 + c)]
                                   : std::uint16_t{65535});
      ASSERT_EQ(out.copy(), expected) << dx << ' ' << dy;
      ASSERT_TRUE(out.guardsIntact());
    }
  }
}

} // namespace
} // namespace vindrel::test
