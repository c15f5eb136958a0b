#include "driver/BlockCopies.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

namespace vindrel {
namespace {

std::vector<std::uint8_t> noise(std::size_t count) {
  std::mt19937 random(1);
  std::vector<std::uint8_t> bytes(count);
  for (std::uint8_t &byte : bytes)
    byte = static_cast<std::uint8_t>(random());
  return bytes;
}

TEST(BlockCopies, MoveDownOverWhatIsMoved) {
  const std::vector<std::uint8_t> before = noise(5'100'000);
  constexpr std::size_t kBytes = 2'500'000;
  for (const std::size_t distance : {0, 1, 1000, 524'287, 524'288, 1'000'003, 2'499'999, 2'500'000})
    for (const int threads : {1, 2, 5}) {
      std::vector<std::uint8_t> block = before, expected = before;
      std::copy_n(before.begin() + static_cast<std::ptrdiff_t>(100 + distance), kBytes, expected.begin() + 100);
      RowTeam team(threads);
      moveDownByTeam(team, block.data() + 100, block.data() + 100 + distance, kBytes);
      ASSERT_EQ(block, expected) << distance << ' ' << threads;
    }
}

TEST(BlockCopies, CropInPlaceAndTowardsTheFront) {
  constexpr Size kFrame = {37, 19};
  for (const int channels : {1, 3, 4})
    for (const SampleDepth depth : {SampleDepth::U8, SampleDepth::U16}) {
      const std::size_t pixel = static_cast<std::size_t>(channels * bytesPerSample(depth));
      const std::size_t frameBytes = pixel * kFrame.width * kFrame.height;
      for (const std::size_t before : {std::size_t{0}, frameBytes / 3}) {
        std::vector<std::uint8_t> block = noise(before + frameBytes);
        const std::vector<std::uint8_t> original(block.begin() + static_cast<std::ptrdiff_t>(before), block.end());
        constexpr int kLeft = 5, kTop = 3;
        constexpr Size kOut = {30, 12};
        const ImageView frame = {.samples = block.data() + before,
                                 .size = kFrame,
                                 .channels = channels,
                                 .rowStride = std::int64_t{kFrame.width} * channels,
                                 .depth = depth};
        cropDown(block.data(), frame, kLeft, kTop, kOut);
        for (std::size_t y = 0; y < kOut.height; ++y)
          for (std::size_t i = 0; i < kOut.width * pixel; ++i)
            ASSERT_EQ(block[y * kOut.width * pixel + i],
                      original[(y + kTop) * kFrame.width * pixel + kLeft * pixel + i])
                << channels << ' ' << y << ' ' << i;
      }
    }
}

} // namespace
} // namespace vindrel
