// Whether a link may be trusted. A wrong transform that is called good is the worst outcome there is.
#pragma once

#include "driver/LinkEvidence.h"

namespace vindrel {

enum class Doubt {
  None,
  TooFewPairs, // nothing to judge by
  NoConsensus, // the pairs do not agree on any transform
  WeakSupport, // some agree, but so few could by chance
};

// In a few words; empty for None.
const char *describe(Doubt doubt);

// Pairs that any transform is to be judged by; eight parameters are met exactly by four.
constexpr int kLeastPairs = 8;
// Unrelated frames reach seven agreeing pairs among a few hundred now and then: four by construction, the rest by
// chance.
constexpr int kLeastInliers = 12;
constexpr double kLeastInlierShare = 0.1;
// Largest expected error, root mean square over the frame in pixels, that may stand behind the word "aligned": twice
// as much is still a pixel.
constexpr double kLargestExpectedError = 0.5;

// What speaks against a link, whatever it is used for. How inexact it may be depends on that: see
// LinkEvidence::expectedError.
Doubt doubtLink(const LinkEvidence &evidence, bool consensus);

} // namespace vindrel
