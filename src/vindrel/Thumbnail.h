// A small grey copy of a frame, which stays when the frame itself is gone.
#pragma once

#include "base/RowTeam.h"
#include "vindrel/image.hpp"

#include <cstdint>
#include <vector>

namespace vindrel {

struct Thumbnail {
  Size size;
  int reduction = 1;       // pixel (x, y) is the mean of so many columns and rows from (x, y) * reduction on
  std::vector<float> grey; // 0 to 255, packed
};

// Reduced by a whole number, at most 256, until neither side is above longestSide. frame: 8 or 16 bits. team: null
// stands for the calling thread.
Thumbnail makeThumbnail(const ImageView &frame, int longestSide, RowTeam *team = nullptr);

// A thumbnail's thumbnail.
Thumbnail makeThumbnail(const Thumbnail &from, int longestSide);

} // namespace vindrel
