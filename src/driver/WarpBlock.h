// The second of the two steps, for a stack that lies in one block: every frame is warped into the common window and
// written back over the block, the frames packed at their new size.
#pragma once

#include "base/FrameSource.h"
#include "base/Progress.h"
#include "base/Status.h"
#include "driver/Estimate.h"

#include <cstdint>

namespace vindrel {

// Of output rows that are warped together: little enough for a few bands to stay in the cache, enough to share among
// threads.
constexpr std::size_t kBandBytes = std::size_t{1} << 21;

struct WarpBlockSettings {
  int threads = 1;
  std::int64_t sourceStride = 0; // samples between the starts of two source rows
  Progress progress = {};        // fractions kFeatureShare to 1
  std::size_t bandBytes = kBandBytes;
};

// Cancelled: the frames warped so far stay in their new form, the others are as they were.
Status warpBlock(const Estimate &estimate, const FrameFormat &format, int frames, void *block,
                 const WarpBlockSettings &settings);

} // namespace vindrel
