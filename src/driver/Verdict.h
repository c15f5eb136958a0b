// Whether a link may be trusted. A wrong transform that is called good is the worst outcome there is.
#pragma once

#include "driver/LinkEvidence.h"

namespace vindrel {

enum class Doubt {
  None,
  TooFewPairs, // nothing to judge by
  NoConsensus, // the pairs do not agree on any transform
  WeakSupport, // some agree, but so few could by chance
  Ambiguous,   // another part of them agrees on something else
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

// Chance may bring about as many agreeing pairs in no more than one of a thousand links.
constexpr double kMostLogFalseAlarms = -3;
// A group of other pairs that agrees on something else is a rival from so many on, when it is so large a part of the
// inliers or covers as much of the frame. It is none when it is smaller and stands on half the frame's part that they
// do: a subject that moved before the rest.
constexpr int kLeastRivals = 6;
constexpr double kRivalShare = 0.5;

// What speaks against a link, whatever it is used for. How inexact it may be depends on that: see
// LinkEvidence::expectedError.
Doubt doubtLink(const LinkEvidence &evidence, bool consensus);

} // namespace vindrel
