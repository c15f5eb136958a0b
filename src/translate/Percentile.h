// Brightness percentiles of a 256-bin grey histogram, as pixel counts.
#pragma once

#include <cstdint>

namespace vindrel {

constexpr int kGreyLevels = 256;

// The middle range in which a threshold separates well: below it lies the noise of the shadows, above it clipping.
constexpr int kDarkestThreshold = 15;
constexpr int kBrightestThreshold = 235;

// The first bin up to which the histogram holds more than `count` pixels; 256 when the whole of it does not.
int firstBinAbove(const std::uint32_t *histogram, std::int64_t count);

// Moves the count in steps of 5 %, until its threshold (firstBinAbove) lies in the middle range or the adjustment
// rounds, counted from startRound, reach 40. Every product is formed in double precision and truncated. Grows a count
// at most sevenfold.
std::int64_t adjustCount(const std::uint32_t *histogram, unsigned startRound, std::int64_t count);

} // namespace vindrel
