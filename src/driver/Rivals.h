// Do the pairs that a transform does not explain agree on something else? Wrong pairs scatter. Where a facade repeats
// itself, where the subject moved and the background did not, another group of them agrees as well, beside the
// transform by the same displacement; then either may be what the scene did.
#pragma once

#include "base/ImageView.h"
#include "base/PairsView.h"
#include "transform/Transform.h"

namespace vindrel {

struct Rivals {
  int pairs = 0;       // in the largest group
  double coverage = 0; // of the frame by them, as LinkEvidence has it
};

// How far two pairs' residuals may lie apart and still be of one group, pixels: a group that turned as it moved is not
// exactly displaced.
constexpr double kRivalDistance = 3.0;

// Among the pairs beyond `tolerance` pixels of the transform.
Rivals findRivals(const PairsView &pairs, const Trans8 &transform, double tolerance, Size frame);

} // namespace vindrel
