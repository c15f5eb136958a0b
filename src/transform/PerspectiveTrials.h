// The sampling half of the perspective search: for every anchor pair a fixed number of trials, each drawing a minimal
// sample around the anchor, building the transform it determines and counting the pairs that agree.
#pragma once

#include "base/Buffer.h"
#include "base/Status.h"
#include "transform/ConsensusPairs.h"
#include "transform/PerspectiveSearch.h"

namespace vindrel {

// The best candidate of each anchor, and the best of all.
struct TrialResults {
  int anchors = 0;
  Buffer<Trans8> transform; // per anchor
  Buffer<int> agreement;    // per anchor: pairs that agree, 0 when no candidate was found
  Buffer<float> error;      // per anchor: mean squared residual of those pairs
  int bestAnchor = -1;      // -1: no candidate was plausible enough
  int bestAgreement = -1;
  Trans8 best = kIdentity8; // not always that of bestAnchor above: the anchor may have kept one beyond maxAngle since
};

// maxAngle: a candidate that bends a frame corner further than this, degrees, is kept for its anchor but never becomes
// the best of all.
Status runTrials(const ConsensusPairs &pairs, const PerspectiveSearchSettings &settings, float maxAngle,
                 TrialResults &results);

// The pairs that agree with a candidate. The anchor and, where `first` and `second` are not negative, these two members
// of the sample are not looked at; the count starts at 2 for them. Gives up, with a count of at most `toBeat`, once
// more than `toBeat` can no longer be reached.
struct Agreement {
  int count;
  float errorSum; // squared pixels; 0 where it gave up
};
Agreement countAgreement(const ConsensusPairs &pairs, const Trans8 &candidate, int anchor, int first, int second,
                         int toBeat);

} // namespace vindrel
