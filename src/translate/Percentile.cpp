#include "translate/Percentile.h"

namespace vindrel {
namespace {

constexpr unsigned kAdjustments = 40;
constexpr double kLess = 0.95;
constexpr double kMore = 1.05;

std::int64_t scaled(std::int64_t count, double factor) {
  return static_cast<std::int64_t>(static_cast<double>(count) * factor);
}

} // namespace

int firstBinAbove(const std::uint32_t *histogram, std::int64_t count) {
  std::int64_t cumulative = 0;
  for (int bin = 0; bin < kGreyLevels; ++bin) {
    cumulative += histogram[bin];
    if (cumulative > count) return bin;
  }
  return kGreyLevels;
}

std::int64_t adjustCount(const std::uint32_t *histogram, unsigned startRound, std::int64_t count) {
  for (unsigned round = startRound; round < kAdjustments; ++round) {
    const int bin = firstBinAbove(histogram, count);
    if (bin >= kDarkestThreshold && bin <= kBrightestThreshold) break;
    // A bin of 256, no threshold at all, asks for a lower count like every bin that is too bright.
    count = scaled(count, bin > kBrightestThreshold ? kLess : kMore);
  }
  return count;
}

} // namespace vindrel
