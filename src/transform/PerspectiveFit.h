// The refinement half of the perspective search: least squares over the pairs that agree with a start transform, and
// again over those that agree with the result, until the set stands still.
#pragma once

#include "base/ImageView.h"
#include "base/PairsView.h"
#include "base/Status.h"
#include "transform/Transform.h"

namespace vindrel {

struct PerspectiveFitSettings {
  Size frame;
  const float *guess = nullptr; // 8 floats the fit must not stray from; may be null
  float maxAngle = 0;           // tolerated deviation of a mapped frame corner from a right angle, degrees
};

struct PerspectiveFit {
  Status status = Status::Ok;
  Trans8 transform = kIdentity8;
};

// Of the start and the fits, the one with the least truncated cost comes back. To count the agreeing pairs alone would
// not do: by luck a sample of whole-pixel points often meets a pair or two more than the fit that averages them.
PerspectiveFit fitAgreeing(const PairsView &pairs, const Trans8 &start, const PerspectiveFitSettings &settings);

// In double precision, squared pixels.
double squaredResidual(const PairsView &pairs, const Trans8 &transform, int pair);

// The sum over all pairs of the squared residual, at most that of the edge of agreement each (the M-estimator of P.
// Torr and A. Zisserman, "MLESAC", 2000): rewards agreement and exactness at once.
double truncatedCost(const PairsView &pairs, const Trans8 &transform);

// How many pairs agree within 2 pixels.
int agreement(const PairsView &pairs, const Trans8 &transform);

} // namespace vindrel
