#include "transform/PerspectiveSearch.h"

#include "transform/CornerAngles.h"
#include "transform/MapPoint.h"
#include "transform/PerspectiveFit.h"
#include "transform/PerspectiveTrials.h"
#include "transform/Plausibility.h"

#include <algorithm>
#include <cmath>

namespace vindrel {
namespace {

// How far a guess may bend the frame's corners and still leave its search a tolerance of its own, degrees.
constexpr float kSmallDeviation = 2.0f;
constexpr float kSmallDeviationMargin = 0.5f;
constexpr float kLargeDeviation = 2.2f;
constexpr float kLargeDeviationMargin = 0.3f;

// Agreement below which a transform says nothing: four pairs are met by construction, and a few more by chance.
constexpr int kLeastAgreement = 8;
// Agreement from which a transform is trusted without another attempt, in pairs and as a share of all.
constexpr int kTrustedAgreement = 16;
constexpr double kTrustedShare = 0.2;

float angleTolerance(const float *guess, Size frame) {
  if (guess == nullptr) return kMaxCornerAngle;
  Trans8 transform;
  std::copy_n(guess, transform.size(), transform.begin());
  const float deviation = largestCornerDeviation(transform, frame);
  if (deviation <= kSmallDeviation) return deviation + kSmallDeviationMargin;
  if (deviation <= kLargeDeviation) return deviation + kLargeDeviationMargin;
  return kMaxCornerAngle;
}

bool plausible(const Trans8 &transform, Size frame) {
  const bool finite = std::all_of(transform.begin(), transform.end(), [](float value) { return std::isfinite(value); });
  return finite && withinShapeLimits(transform, frame) && largestCornerDeviation(transform, frame) <= kMaxCornerAngle;
}

float cappedError(const PairsView &pairs, const Trans8 &transform) {
  double sum = 0;
  for (int i = 0; i < pairs.count; ++i) {
    // A residual that is not a number counts as the largest.
    const double squared = squaredResidual(pairs, transform, i);
    sum += squared < kErrorCap ? squared : kErrorCap;
  }
  return static_cast<float>(sum / pairs.count);
}

} // namespace

PerspectiveSearchResult searchPerspective(const PairsView &pairs, const PerspectiveSearchSettings &settings) {
  PerspectiveSearchResult result;
  result.doubtful = true;
  if (pairs.count < kLeastAgreement) return result;
  const float maxAngle = angleTolerance(settings.guess, settings.frame);

  // Sorted best first: the first of the pairs are the anchors, and affine samples favour the front. No pair is left out
  // beforehand: the agreement count tells wrong ones, and a limit on the descriptor distance took right ones as well.
  ConsensusPairs sorted;
  TrialResults trials;
  if (!ConsensusPairs::sorted(pairs, sorted)) return {.status = Status::OutOfMemory};
  if (const Status status = runTrials(sorted, settings, maxAngle, trials); status != Status::Ok) {
    return {.status = status};
  }

  // The fit starts from the guess, where there is one, from the best candidate otherwise, and from the identity when
  // nothing was found: a tripod's frames need no candidate. A guess that fewer pairs agree with than with the best
  // candidate is only the neighbourhood that the candidate was sought in, and the candidate is the better start.
  Trans8 start = kIdentity8;
  if (settings.guess != nullptr) std::copy_n(settings.guess, start.size(), start.begin());
  if (trials.bestAnchor >= 0) {
    if (settings.guess == nullptr || agreement(pairs, trials.best) > agreement(pairs, start)) start = trials.best;
  }
  const PerspectiveFit fit =
      fitAgreeing(pairs, start, {.frame = settings.frame, .guess = settings.guess, .maxAngle = maxAngle});
  if (fit.status != Status::Ok) return {.status = fit.status};

  // Who agrees is asked anew after every fit, until the answer stands still: a minimal sample of whole-pixel points
  // sees only part of the pairs that are right. The sampling itself is not repeated.
  //
  // The fit costs no more than its start: where it is implausible, the pairs speak for something implausible.
  result.transform = fit.transform;
  const int support = agreement(pairs, result.transform);
  result.found = support >= kLeastAgreement && plausible(result.transform, settings.frame);
  if (!result.found) return result;
  result.error = cappedError(pairs, result.transform);
  // Raises the flag that asks for another attempt, with a guess from elsewhere in the stack.
  result.doubtful = support < kTrustedAgreement || support < kTrustedShare * pairs.count;
  return result;
}

} // namespace vindrel
