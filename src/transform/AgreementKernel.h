// How many pairs a perspective transform places within 2 pixels, and how far off these are.
#pragma once

#include "transform/ConsensusPairs.h"

#include <array>

namespace vindrel {

// A pair agrees with a transform when its residual is below this, squared pixels (2 pixels).
constexpr float kAgreementSquared = 4.0f;

// Of all pairs, in single precision. Gives up, with a count of at most `toBeat`, as soon as more than `toBeat` can no
// longer be reached.
int countAgreeing(const ConsensusPairs &pairs, const Trans8 &candidate, int toBeat);

// The squared residuals of those that agree, added up in the order of the pairs. The pairs at three positions are left
// out; a position that is negative is none.
float sumAgreeing(const ConsensusPairs &pairs, const Trans8 &candidate, const std::array<int, 3> &leftOut);

} // namespace vindrel
