#include "driver/Verdict.h"

namespace vindrel {
namespace {

Doubt judgeLink(const LinkEvidence &evidence, bool consensus, double expectedError) {
  if (evidence.pairs < kLeastPairs) return Doubt::TooFewPairs;
  if (!consensus) return Doubt::NoConsensus;
  if (evidence.inliers < kLeastInliers || evidence.inliers < kLeastInlierShare * evidence.pairs) {
    return Doubt::WeakSupport;
  }
  return expectedError <= kLargestExpectedError ? Doubt::None : Doubt::Inexact;
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
  case Doubt::Inexact:
    return "the agreeing points leave it inexact";
  case Doubt::BrokenChain:
    return "a brighter frame was not aligned";
  case Doubt::LittleOverlap:
    return "the frames share too little";
  }
  return "";
}

RankVerdict StackVerdict::next(const LinkEvidence &evidence, bool consensus) {
  variance_ += evidence.expectedError * evidence.expectedError;
  RankVerdict verdict{.expectedError = std::sqrt(variance_)};
  if (abandoned_) {
    verdict.doubt = Doubt::LittleOverlap;
  } else if (broken_) {
    verdict.doubt = Doubt::BrokenChain;
  } else {
    verdict.doubt = judgeLink(evidence, consensus, verdict.expectedError);
    broken_ = verdict.doubt != Doubt::None;
  }
  return verdict;
}

} // namespace vindrel
