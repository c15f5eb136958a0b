// How many pairs a perspective transform places within 2 pixels.
#pragma once

#include "transform/ConsensusPairs.h"

namespace vindrel {

// A pair agrees with a transform when its residual is below this, squared pixels (2 pixels).
constexpr float kAgreementSquared = 4.0f;

// Of all pairs, in single precision. Gives up, with a count of at most `toBeat`, as soon as more than `toBeat` can no
// longer be reached.
int countAgreeing(const ConsensusPairs &pairs, const Trans8 &candidate, int toBeat);

} // namespace vindrel
