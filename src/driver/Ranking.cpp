#include "driver/Ranking.h"

#include <cstdlib>

namespace vindrel {

float meanBrightness(std::int64_t sum, Size size) {
  const double pixels = static_cast<double>(static_cast<std::int64_t>(size.width) * size.height);
  return static_cast<float>(static_cast<double>(sum) * (1.0 / pixels));
}

int compareRankEntries(const RankEntry &a, const RankEntry &b) {
  return a.sum > b.sum ? -1 : a.sum < b.sum ? 1 : 0;
}

int compareFitEntries(const FitEntry &a, const FitEntry &b) {
  return a.error > b.error ? -1 : a.error < b.error ? 1 : 0;
}

void rankByBrightness(RankEntry *entries, int count, std::uint32_t *rankOrder) {
  // An insertion sort: stable without scratch memory, and a stack holds a few dozen frames at most.
  for (int i = 1; i < count; ++i) {
    const RankEntry entry = entries[i];
    int place = i;
    for (; place > 0 && compareRankEntries(entry, entries[place - 1]) < 0; --place)
      entries[place] = entries[place - 1];
    entries[place] = entry;
  }
  for (int rank = 0; rank < count; ++rank)
    rankOrder[rank] = static_cast<std::uint32_t>(entries[rank].index);
}

} // namespace vindrel
