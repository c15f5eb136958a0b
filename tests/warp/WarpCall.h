// A call of the flat warp functions with its arguments by name, and a source image for it.
#pragma once

#include "VindrelRegLib.h"

#include <cstdint>
#include <limits>
#include <random>
#include <vector>

namespace vindrel::test {

struct WarpCall {
  int srcWidth = 0, srcHeight = 0, srcStride = 0, dstWidth = 0;
  int rowStart = 0, rowEnd = 0;
  int channels = 3, bitsPerSample = 8;
  int offsetX = 0, offsetY = 0;
  int perspective = 0;
  const std::uint32_t *slotTable = nullptr;
  const float *transforms = nullptr;
  int imageIndex = 0;
  std::int64_t srcOffset = 0;
  const void *srcBase = nullptr;

  int onCaller(void *dst) const {
    return align_with_transf_orig(srcWidth, srcHeight, srcStride, dstWidth, rowStart, rowEnd, channels, bitsPerSample,
                                  offsetX, offsetY, perspective, slotTable, transforms, imageIndex, srcOffset, srcBase,
                                  dst);
  }
  int onThreads(int threads, void *dst) const {
    return align_with_transf(threads, srcWidth, srcHeight, srcStride, dstWidth, rowStart, rowEnd, channels,
                             bitsPerSample, offsetX, offsetY, perspective, slotTable, transforms, imageIndex, srcOffset,
                             srcBase, dst);
  }
};

template <class Sample>
std::vector<Sample> noise(std::size_t samples, unsigned seed) {
  std::mt19937 random(seed);
  std::vector<Sample> image(samples);
  for (Sample &sample : image)
    sample = static_cast<Sample>(random() & std::numeric_limits<Sample>::max());
  return image;
}

inline constexpr float kIdentity[8] = {1, 0, 0, 0, 1, 0, 0, 0};

} // namespace vindrel::test
