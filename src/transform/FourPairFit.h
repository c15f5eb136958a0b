// A perspective transform through four pairs by least squares: from the affine transform of the first three pairs all
// eight coefficients are adjusted to whole-pixel points.
#pragma once

#include "transform/Transform.h"

namespace vindrel {

struct FourPairFit {
  enum class Outcome {
    Accepted,   // the Euclidean norm of the eight residuals is at most 10 pixels
    Rejected,   // it is not; transform holds the fit all the same
    Degenerate, // the first three pairs have no affine transform, or a coordinate is beyond int: no transform
  };
  Outcome outcome = Outcome::Degenerate;
  Trans8 transform = kIdentity8;
};

// Coordinates are truncated toward zero for the fit, though not for the affine start. Without memory the fit is
// Rejected, with the start as its transform.
FourPairFit fitFourPairs(const Point src[4], const Point dst[4]);

} // namespace vindrel
