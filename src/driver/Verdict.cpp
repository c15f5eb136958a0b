#include "driver/Verdict.h"

namespace vindrel {
namespace {

bool hasRival(const LinkEvidence &evidence) {
  const Rivals &rivals = evidence.rivals;
  if (rivals.pairs < kLeastRivals) return false;
  if (rivals.pairs < kRivalShare * evidence.inliers && rivals.coverage < evidence.coverage) return false;
  return rivals.pairs >= evidence.inliers || rivals.coverage > kRivalShare * evidence.coverage;
}

} // namespace

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
  case Doubt::Ambiguous:
    return "the points agree on more than one transform";
  }
  return "";
}

Doubt doubtLink(const LinkEvidence &evidence, bool consensus) {
  if (evidence.pairs < kLeastPairs) return Doubt::TooFewPairs;
  if (!consensus) return Doubt::NoConsensus;
  if (evidence.inliers < kLeastInliers || evidence.inliers < kLeastInlierShare * evidence.pairs) {
    return Doubt::WeakSupport;
  }
  if (!(evidence.logFalseAlarms <= kMostLogFalseAlarms)) return Doubt::WeakSupport;
  return hasRival(evidence) ? Doubt::Ambiguous : Doubt::None;
}

} // namespace vindrel
