// The rectangle of the reference frame that a set of frames covers without a single filled pixel, for transforms that
// are whole already: the stack's own rectangle (CommonRectangle.h) is sized from links, and leaves its last column and
// row to chance.
#pragma once

#include "base/ImageView.h"
#include "driver/CommonRectangle.h"
#include "transform/Transform.h"

#include <span>

namespace vindrel {

// chains: from the reference onto each frame that has to be covered, affine ones with g = h = 0. Every pixel of the
// window lies between pixels of all of the frames, in the warp's own arithmetic: nothing is filled or extrapolated. No
// side can be moved outward by a pixel. Empty (a side below 1) when the frames share too little, see worthKeeping().
CropWindow cleanWindow(Size frame, std::span<const Trans8> chains);

} // namespace vindrel
