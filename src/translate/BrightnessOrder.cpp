#include "translate/BrightnessOrder.h"

#include "translate/Percentile.h"

namespace vindrel {
namespace {

constexpr int kKeyScale = 256;     // leaves the keys below it to the very dark frames
constexpr int kVeryDarkMedian = 5; // medians below it say too little: such frames are told apart by their highlights
constexpr int kBrightestKey = 65536;

} // namespace

PercentileCounts percentileCounts(std::int64_t pixels) {
  const double all = static_cast<double>(pixels);
  return {.half = static_cast<std::int64_t>(0.5 * all),
          .low = static_cast<std::int64_t>(0.17 * all),
          .high = static_cast<std::int64_t>(0.9 * all),
          .top = static_cast<std::int64_t>(0.95 * all)};
}

Brightness brightnessOf(const std::uint32_t *histogram, const PercentileCounts &counts) {
  const int median = firstBinAbove(histogram, counts.half);
  if (median == kGreyLevels) return {.target = counts.low, .key = kBrightestKey};
  if (median > kBrightestThreshold) return {.target = counts.low, .key = kKeyScale * median};
  return {.target = median >= kDarkestThreshold ? counts.half : counts.high,
          .key = median < kVeryDarkMedian ? firstBinAbove(histogram, counts.top) : kKeyScale * median};
}

void orderByBrightness(const Brightness *frames, int count, int *order) {
  for (int i = 0; i < count; ++i) {
    int place = i;
    for (; place > 0 && frames[order[place - 1]].key < frames[i].key; --place)
      order[place] = order[place - 1];
    order[place] = i;
  }
}

} // namespace vindrel
