// A frame warped over itself: the bytes are those of the warp into memory of its own, whatever the transform reads.
#include "driver/BandedWarp.h"

#include "reference/Warp.h"
#include "transform/Transform.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <random>
#include <set>
#include <string_view>
#include <vector>

namespace vindrel::test {
namespace {

constexpr Size kFrame = {61, 53};
constexpr Size kOut = {55, 47};
constexpr std::size_t kFrameBytes = std::size_t{3} * kFrame.width * kFrame.height;
constexpr std::size_t kOutBytes = std::size_t{3} * kOut.width * kOut.height;
constexpr std::size_t kBefore = 777; // bytes of the block before the frame
constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();

struct Case {
  const char *name;
  bool perspective;
  std::array<float, 8> t;
};

// Small motions, motions that read far above or below, turns, mirrors, a horizon inside the frame and nonsense.
const Case kCases[] = {
    {"a hand's motion", true, {1.001f, 0.01f, 2.25f, -0.012f, 0.998f, -3.5f, 0.5f, -0.25f}},
    {"a hand's motion, affine", false, {0.99f, 0.01f, 2.25f, -0.012f, 1.01f, 1.5f}},
    {"whole pixels", false, {1, 0, 3, 0, 1, 5}},
    {"far up", true, {1, 0, 0, 0, 1, -30, 0, 0}},
    {"far down", true, {1, 0, 0, 0, 1, 40, 0, 0}},
    {"beyond the frame", false, {1, 0, 0, 0, 1, 400}},
    {"twice the size", false, {0.5f, 0, 0, 0, 0.5f, 0}},
    {"half the size", false, {2, 0, 0, 0, 2, 0}},
    {"a quarter turn", false, {0, 1, 0, -1, 0, 50}},
    {"a tilt", false, {0.8f, 0.6f, 0, -0.6f, 0.8f, 20}},
    {"upside down", false, {-1, 0, 60, 0, -1, 52}},
    {"mirrored rows", true, {1, 0, 0, 0, -1, 52, 0, 0}},
    {"strong perspective", true, {1, 0, 0, 0, 1, 0, 500, 900}},
    {"the horizon in the frame", true, {1, 0, 0, 0, 1, 0, 0, -4000}},
    {"all behind the horizon", true, {1, 0, 0, 0, 1, 0, 0, -4e6f}},
    {"large terms that cancel", false, {1, 0, 0, 1e6f, 1, -2.5e7f}},
    {"infinite", false, {1, 0, 0, 0, 1, kInfinity}},
    {"not a number", true, {1, 0, 0, 0, kNan, 0, 0, 0}},
};

std::vector<std::uint8_t> noise(std::size_t count) {
  std::mt19937 random(3);
  std::vector<std::uint8_t> bytes(count);
  for (std::uint8_t &byte : bytes)
    byte = static_cast<std::uint8_t>(random());
  return bytes;
}

BandedWarp bandedWarp(const Case &c, std::uint8_t *frame, std::uint8_t *place, int bandRows) {
  return {.job = {.source = {.samples = frame,
                             .size = kFrame,
                             .channels = 3,
                             .rowStride = std::int64_t{3} * kFrame.width,
                             .depth = SampleDepth::U8},
                  .dstWidth = kOut.width,
                  .offsetX = -2,
                  .offsetY = -3,
                  .transform = {.perspective = c.perspective, .coefficients = c.t.data()}},
          .out = kOut,
          .place = place,
          .bandRows = bandRows};
}

TEST(BandedWarp, LeavesTheBytesOfAWarpIntoOtherMemory) {
  const std::vector<std::uint8_t> original = noise(kBefore + kFrameBytes + kBefore);
  for (const Case &c : kCases) {
    const reference::Warp<std::uint8_t> definition = {.source = original.data() + kBefore,
                                                      .width = kFrame.width,
                                                      .height = kFrame.height,
                                                      .stride = std::int64_t{3} * kFrame.width,
                                                      .channels = 3,
                                                      .dstWidth = kOut.width,
                                                      .offsetX = -2,
                                                      .offsetY = -3,
                                                      .perspective = c.perspective,
                                                      .t = c.t.data()};
    std::vector<std::uint8_t> warped(kOutBytes);
    reference::warpRows(definition, 0, kOut.height, warped.data());
    for (const std::size_t place : {std::size_t{0}, std::size_t{5}, kBefore})
      for (const int bandRows : {1, 2, 7, 46, 47, 100})
        for (const int threads : {1, 3}) {
          std::vector<std::uint8_t> expected = original, block = original;
          std::copy(warped.begin(), warped.end(), expected.begin() + static_cast<std::ptrdiff_t>(place));
          const BandedWarp banded = bandedWarp(c, block.data() + kBefore, block.data() + place, bandRows);
          std::vector<std::uint8_t> ring(static_cast<std::size_t>(ringBands(banded)) * bandBytes(banded));
          RowTeam team(threads);
          warpInBands(banded, team, ring.data());
          // What lies behind the output was the source's and is nobody's any more.
          const auto end = static_cast<std::ptrdiff_t>(place + kOutBytes);
          ASSERT_TRUE(std::equal(expected.begin(), expected.begin() + end, block.begin())) << c.name << ' ' << bandRows;
          ASSERT_TRUE(std::equal(expected.begin() + kBefore + kFrameBytes, expected.end(),
                                 block.begin() + kBefore + kFrameBytes));
        }
  }
}

TEST(BandedWarp, HoldsBackAsManyRowsAsTheMotionReadsAgain) {
  std::vector<std::uint8_t> block(kBefore + kFrameBytes);
  std::uint8_t *const frame = block.data() + kBefore;
  const auto ringOf = [&](const Case &c) { return ringBands(bandedWarp(c, frame, frame, 1)); };
  // Rows 4 pixels up, seen from the output, 1 for interpolation and slant, 2 to spare, 1 being warped.
  EXPECT_LE(ringOf(kCases[0]), 9);
  EXPECT_LE(ringOf(kCases[2]), 4);
  EXPECT_GE(ringOf(kCases[3]), 27);
  // These may read any row till the end.
  const std::set<std::string_view> unbounded = {"the horizon in the frame", "not a number", "infinite", "upside down"};
  for (const Case &c : kCases)
    EXPECT_TRUE(unbounded.count(c.name) == 0 || ringOf(c) == kOut.height) << c.name;
}

TEST(BandedWarp, OfNothingNeedsNoRing) {
  BandedWarp warp = bandedWarp(kCases[0], nullptr, nullptr, 1);
  warp.out = {0, 10};
  EXPECT_EQ(ringBands(warp), 0);
  EXPECT_EQ(bandBytes(warp), 0u);
  RowTeam team(2);
  warpInBands(warp, team, nullptr);
}

} // namespace
} // namespace vindrel::test
