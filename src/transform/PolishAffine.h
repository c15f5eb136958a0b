// The least-squares affine transform of the pairs that agree with a given one.
#pragma once

#include "base/ImageView.h"
#include "base/PairsView.h"
#include "transform/Transform.h"

namespace vindrel {

// The affine search ends on the best of a few candidates, each off by what the rounding of its three points allows;
// fitting all agreeing pairs averages that rounding out. Repeated until the agreeing set stands still. The transform
// itself comes back when too few pairs agree to determine one.
Trans6 polishAffine(const PairsView &pairs, const Trans6 &transform, Size frame);

} // namespace vindrel
