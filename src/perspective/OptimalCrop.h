// The crop of a straightened picture: an axis-aligned rectangle with the source's aspect ratio inside the outline that
// the source takes in the output frame.
//
// The outline is a convex quadrilateral, possibly rotated. Two diagonals with the source's aspect, drawn through a
// centre, hit it at four points; the box between them is pushed outwards edge by edge as far as the outline lets its
// corners go, and the largest rectangle of the right aspect is then cut from that box, anchored at the corner where the
// correction has stretched the picture most.
#pragma once

#include "base/ImageView.h"
#include "transform/Transform.h"

#include <optional>

namespace vindrel {

struct CropSearch {
  Size source;       // pixels
  float factorV = 0; // only the signs of the two factors count: they choose the anchor corner
  float factorH = 0;
  bool pinToEdge = false; // search round the middle of the source frame instead of the middle of the outline
};

struct CropRect {
  // Minus the position of the rectangle's upper-left corner in the output frame: what the warp takes as its offsets.
  float x = 0;
  float y = 0;
  // Pixels, rounded down. Zero or negative where the outline is folded so that its box has no inside.
  int width = 0;
  int height = 0;
};

// sourceFromOutput maps output-frame coordinates onto the source. Nothing when a diagonal misses the two edges that it
// could hit, or when the rectangle found has no size that an int can hold (coordinates beyond int, or NaN).
std::optional<CropRect> optimalCrop(const Trans8 &sourceFromOutput, const CropSearch &search);

} // namespace vindrel
