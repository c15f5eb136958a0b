// The support of an affine candidate among ranked pairs.
#pragma once

#include "base/Buffer.h"
#include "transform/Transform.h"

namespace vindrel {

// The pairs that a search works on, best first, as single-precision coordinates.
struct RankedPairs {
  int count = 0;
  const float *xA = nullptr;
  const float *yA = nullptr;
  const float *xB = nullptr;
  const float *yB = nullptr;
};

// The ranks a candidate was solved from.
struct AffineSample {
  int anchor = 0;
  int first = 0;
  int second = 0;
};

struct AffineScore {
  int count = 0;       // pairs in support
  float meanError = 0; // squared pixels, over count
};

// Counts the pairs outside the sample that the candidate places within 2 pixels, the limit itself excluded. The count
// starts at 2: the sample's three pairs agree by construction, and the anchor does not vouch for itself.
AffineScore scoreAffine(const float *candidate, const RankedPairs &pairs, const AffineSample &sample);

} // namespace vindrel
