// What the steps of the warp hand each other for one block of consecutive pixels of an output row: mapped coordinates
// first, then where each pixel's upper left neighbour lies and how much the neighbours weigh, then the samples.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vindrel {

// Short enough for the first cache, long enough that what is decided once a block costs little.
constexpr int kBlockColumns = 256;
// Vectors run on beyond the last column, over coordinates that are mapped like any others and samples that are dropped.
constexpr int kPaddedColumns = kBlockColumns + 16;
constexpr int kMaxVectorChannels = 4;

struct WarpBlock {
  alignas(64) float x[kPaddedColumns]; // source coordinates
  alignas(64) float y[kPaddedColumns];

  // Samples from the window's first one to the upper left neighbour.
  alignas(64) std::int32_t offset[kPaddedColumns];

  // 8-bit frames: the weights of the left and of the right neighbour in 2^-14, two 16-bit halves, and what rounding the
  // right one to that unit left over, in the same unit. 16-bit frames: the right weight alone, in remainder.
  alignas(64) std::int32_t weightX[kPaddedColumns];
  alignas(64) float remainderX[kPaddedColumns];
  alignas(64) float weightY[kPaddedColumns]; // of the lower neighbours

  // Columns that go pixel by pixel. One may be listed twice: by its place, and by its samples.
  int slowCount;
  std::uint16_t slow[2 * kPaddedColumns];

  // The block's output, with room for a vector beyond the last pixel.
  alignas(64) std::uint8_t samples[kPaddedColumns * kMaxVectorChannels * sizeof(std::uint16_t) + 64];
};

} // namespace vindrel
