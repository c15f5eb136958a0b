// Straightening without a single filled pixel, for callers that prefer a clean picture to the classic crop.
//
// The classic crop is built from the corrected outline alone. It leaves fill where its offsets, truncated towards zero,
// reach a column or row past the outline; where the warp refuses the last column and row of the source; and, for strong
// corrections and rotations beyond some 20 degrees, where its construction from labelled edges does not hold. In those
// cases this file puts the largest rectangle of the source's aspect ratio that has no fill in its place.
#pragma once

#include "perspective/Straighten.h"

#include <optional>

namespace vindrel {

// Whether the warp by this plan would fill some output pixel, or show the picture mirrored from beyond the horizon.
// Decided from the border pixels alone, in the warp's own arithmetic: on one side of the horizon the output points that
// map into the source rectangle form a convex set, so that a rectangle whose border lies in it lies in it as a whole.
bool outputHasFill(const StraightenPlan &plan, Size source);

// The plan of planStraightening() when its output has no fill or when no crop is asked for; otherwise a plan with the
// largest crop that has none. Nothing where the corrections leave no such crop of even one pixel.
std::optional<StraightenPlan> planWithoutFill(Size source, const StraightenRequest &request);

} // namespace vindrel
