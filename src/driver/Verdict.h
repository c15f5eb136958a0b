// Whether a frame may be called aligned. A wrong transform that is called good is the worst outcome there is, so every
// frame has to be spoken for by its own link and by all links between it and the reference.
#pragma once

#include "driver/LinkEvidence.h"

#include <cmath>

namespace vindrel {

enum class Doubt {
  None,
  TooFewPairs,   // nothing to judge by
  NoConsensus,   // the pairs do not agree on any transform
  WeakSupport,   // some agree, but so few could by chance
  Inexact,       // those that agree leave the transform open by more than a pixel somewhere in the frame
  BrokenChain,   // a brighter frame between this one and the reference was not aligned
  LittleOverlap, // the frames of the stack share too little
};

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

struct RankVerdict {
  Doubt doubt = Doubt::None;
  double expectedError = 0; // of the chain up to this rank, pixels
};

// Walks the ranks from the second on.
class StackVerdict {
public:
  explicit StackVerdict(bool abandoned) : abandoned_(abandoned) {}
  RankVerdict next(const LinkEvidence &evidence, bool consensus);

private:
  bool abandoned_;
  bool broken_ = false;
  double variance_ = 0;
};

} // namespace vindrel
