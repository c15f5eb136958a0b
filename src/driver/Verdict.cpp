#include "driver/Verdict.h"

namespace vindrel {

const char *describe(Doubt doubt) {
  switch (doubt) {
  case Doubt::None:
    return "";
  case Doubt::TooFewPairs:
    return "too few matching points";
  case Doubt::NoConsensus:
    return "the matching points agree on no transform";
  case Doubt::WeakSupport:
    return "too few points agree";
  }
  return "";
}

Doubt doubtLink(const LinkEvidence &evidence, bool consensus) {
  if (evidence.pairs < kLeastPairs) return Doubt::TooFewPairs;
  if (!consensus) return Doubt::NoConsensus;
  if (evidence.inliers < kLeastInliers || evidence.inliers < kLeastInlierShare * evidence.pairs) {
    return Doubt::WeakSupport;
  }
  return Doubt::None;
}

} // namespace vindrel
