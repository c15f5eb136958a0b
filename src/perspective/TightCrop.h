// Straightening without a single filled pixel, for callers that prefer a clean picture to the classic crop.
//
// The classic crop is built from the corrected outline alone. Its offsets, truncated towards zero, reach up to a pixel
// past the outline on the left and at the top, where the warp extrapolates or fills; on the right and at the bottom the
// warp refuses the last column and row of the source; and for strong corrections and rotations beyond some 20 degrees
// the construction from labelled edges does not hold. Here such a crop is trimmed by the few pixels that it is off; one
// that is off by more, or much too small, is replaced by the largest rectangle of the source's aspect ratio.
#pragma once

#include "perspective/Straighten.h"

#include <optional>

namespace vindrel {

// Whether every output pixel lies between source pixels and is seen from in front of the horizon: nothing is filled,
// extrapolated or mirrored. Decided from the border pixels alone, in the warp's own arithmetic: on one side of the
// horizon the output points that map into the source rectangle form a convex set, so that a rectangle whose border lies
// in it lies in it as a whole.
bool outputIsClean(const StraightenPlan &plan, Size source);

// The plan of planStraightening() when its crop is clean and of a sensible size, or when none is asked for; otherwise a
// clean one with the crop trimmed or replaced. Nothing where the corrections leave no clean crop of even one pixel.
std::optional<StraightenPlan> planCleanCrop(Size source, const StraightenRequest &request);

} // namespace vindrel
