// The rectangle of the reference frame that every frame of the stack covers, and to which all are cropped.
#pragma once

#include "base/ImageView.h"
#include "base/Status.h"
#include "driver/Chain.h"

#include <cstdint>

namespace vindrel {

// Output pixel (x, y) lies at (x - offsetX, y - offsetY) of the reference frame.
struct CropWindow {
  float minX = 0, minY = 0;     // the smallest shifts of the frames' corners, pixels, before truncation
  int offsetX = 0, offsetY = 0; // pixels; zero or negative
  Size size;
};

// A stack that shares less than this in either direction is not aligned at all.
constexpr double kLeastCommonShare = 0.3;

// Sizes the window from where the four corners of every frame come to lie. `table` holds chained transforms (affine) or
// links (perspective). Empty (a side below 1) when the frames share nothing.
CropWindow windowFromCorners(Size frame, const std::uint32_t *rankOrder, int frames, LinkModel model,
                             const TransformTable &table);

// Perspective tables of links: least squares over position and size, started from `window`. Returns the refined window
// when its area is larger, otherwise `window`.
struct RefinedWindow {
  Status status;
  CropWindow window;
};
RefinedWindow refineWindow(Size frame, const std::uint32_t *rankOrder, int frames, const TransformTable &table,
                           const CropWindow &window);

// Shrinks the window, side by side and a pixel at a time, until no output pixel but those of its last column and row
// lies where the warp would find no source. The corners alone do not promise it for perspective transforms: between the
// frame's corner, where a shift is measured, and the window's, where it counts, the shift changes. For affine ones it
// only catches a coordinate that single precision rounds onto the border. `chains` holds whole transforms, no links.
CropWindow tightenWindow(Size frame, const std::uint32_t *rankOrder, int frames, LinkModel model,
                         const TransformTable &chains, CropWindow window);

// Whether a window keeps enough of the frame to be worth warping to.
bool worthKeeping(const CropWindow &window, Size frame);

} // namespace vindrel
