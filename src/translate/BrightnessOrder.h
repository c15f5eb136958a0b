// Which frame is compared with which: frames ordered by brightness, so that neighbours in the order differ least in
// exposure, and for each the share of its pixels that its bitmap should leave unset.
//
// The median splits a well exposed frame into two halves of equal size, however it was exposed (G. Ward, "Fast, robust
// image registration for compositing high dynamic range photographs from hand-held exposures", Journal of Graphics
// Tools 8(2), 2003). Where the median itself is clipped, a lower percentile is taken of a bright frame and a higher one
// of a dark frame.
#pragma once

#include <cstdint>

namespace vindrel {

struct PercentileCounts { // pixels at or below the threshold
  std::int64_t half = 0;  // 50 %
  std::int64_t low = 0;   // 17 %, for frames whose median is too bright
  std::int64_t high = 0;  // 90 %, for frames whose median is too dark
  std::int64_t top = 0;   // 95 %, tells very dark frames apart
};

// The shares in double precision, truncated.
PercentileCounts percentileCounts(std::int64_t pixels);

struct Brightness {
  std::int64_t target = 0; // one of half, low and high
  int key = 0;             // greater is brighter
};

Brightness brightnessOf(const std::uint32_t *histogram, const PercentileCounts &counts);

// Writes the indices 0 to count - 1 by descending key, the lower index first among equal keys.
void orderByBrightness(const Brightness *frames, int count, int *order);

} // namespace vindrel
