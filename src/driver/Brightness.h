// The summed brightness of a frame, by which a stack is ranked.
#pragma once

#include "base/ImageView.h"

#include <array>
#include <cstdint>

namespace vindrel {

// Which samples, counted from a pixel's first, stand for red, green and blue.
using BrightnessSamples = std::array<int, 3>;

// The flat interface weighs three consecutive samples whatever the channel count, so a fourth never counts and with
// fewer than three the next pixel's are read.
constexpr BrightnessSamples kThreeConsecutiveSamples = {0, 1, 2};

// With fewer than three channels the last one stands in for those that are missing.
constexpr BrightnessSamples ownSamples(int channels) {
  return {0, channels > 1 ? 1 : 0, channels > 2 ? 2 : channels - 1};
}

// Sum over all pixels of their grey values, greyOf() (base/Grey.h). `readable` is how many samples may be read from the
// frame's first on: where a weighed sample would lie beyond, the last readable one is weighed instead. The rows are
// shared among the threads.
std::int64_t sumBrightness(const ImageView &frame, BrightnessSamples samples, std::int64_t readable, int threads = 1);

} // namespace vindrel
