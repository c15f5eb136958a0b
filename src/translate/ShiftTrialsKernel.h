// How many bits of two bitmaps differ under nine shifts, which lie within a pixel of one another each way.
#pragma once

#include "translate/BitmapPyramid.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace vindrel {

constexpr int kTrials = 9;

// Words of scratch memory that countTrials() takes, for each member of a team, for bitmaps with so many words a row.
constexpr std::size_t trialScratch(int rowWords) {
  return static_cast<std::size_t>(rowWords) * (kTrials + 1);
}

// Entry 3 * (dy + 1) + dx + 1, for dx and dy from -1 to 1, receives the set bits of reference XOR S over the bitmap,
// where S(x, y) = moving(x + shiftX + dx, y + shiftY + dy) wherever that lies within the bitmap and neither in its
// column 0 nor in its row 0, and 0 elsewhere. Both bitmaps are of one size. Any shifts. team may be null.
std::array<std::int64_t, kTrials> countTrials(const BitmapView &reference, const BitmapView &moving, int shiftX,
                                              int shiftY, std::uint64_t *scratch, RowTeam *team = nullptr);

// The set bits of a bitmap.
std::int64_t countSetBits(const BitmapView &bitmap);

} // namespace vindrel
