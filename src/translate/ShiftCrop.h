// Cutting shifted frames to what they share, or moving them within a frame of unchanged size.
#pragma once

#include "base/ImageView.h"
#include "translate/ShiftSearch.h"

#include <cstdint>

namespace vindrel {

struct ShiftCrop {
  Size outputSize;
  // Output pixel (x, y) shows pixel (x, y) + the frame's shift - this of a frame. cropForShifts() takes the least
  // shift, so that the source of an output pixel never lies to its left or above it.
  int minX = 0;
  int minY = 0;
  std::int64_t cropped = 0; // columns + rows by which the shifts differ; whether or not they were cut off
};

// The part that all frames show, or (fullSize) the frames' own size; that as well where they share nothing.
ShiftCrop cropForShifts(const ShiftEstimate &estimate, Size frameSize, bool fullSize);

// Writes one frame, which lies at (shift.x, shift.y), into out: outputSize, the frame's channels and depth, rows at any
// stride. Output pixels beyond the frame, on any side, become white, every sample all ones. out may overlap the frame
// as long as no output row begins behind the source row it is cut from, as in a block that is rewritten front to back.
void copyShifted(const ImageView &frame, const FrameShift &shift, const ShiftCrop &crop, const MutableImageView &out);

// Rewrites a block of packed frames, one after the other, by packed outputs, one after the other, in place.
// frames: the view of the first one.
void rewriteBlock(const MutableImageView &frames, const ShiftEstimate &estimate, const ShiftCrop &crop);

} // namespace vindrel
