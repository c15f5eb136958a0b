#include "transform/PerspectiveTrials.h"

#include "base/StaticShare.h"
#include "transform/AgreementKernel.h"
#include "transform/CornerAngles.h"
#include "transform/FourPairs.h"
#include "transform/MapPoint.h"
#include "transform/MtRandom.h"
#include "transform/Plausibility.h"
#include "transform/ThreePairs.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <omp.h>

namespace vindrel {
namespace {

constexpr int kPerspectiveTrials = 5; // per anchor
constexpr int kAffineTrials = 100;    // per anchor: three good pairs say little, so many are tried
constexpr int kAttempts = 50;         // draws of an acceptable sample, per trial
constexpr int kAgreementStart = 2;
constexpr double kWordToUnit = 2.3283064365386963e-10; // 2^-32: a random word becomes a number in [0, 1)
constexpr float kGuessMaxDistance = 200.0f;            // pixels between mapped corners of guess and candidate
constexpr float kGuessMaxAngle = 1.0f;                 // degrees between mapped edges of guess and candidate

struct Sample {
  int picks[3]; // positions besides the anchor
  int size;     // 2 of 3 for an affine sample
};

class AnchorTrials {
public:
  AnchorTrials(const ConsensusPairs &pairs, const PerspectiveSearchSettings &settings, float maxAngle)
      : pairs_(pairs), settings_(settings), maxAngle_(maxAngle), affine_((settings.mode & 1) != 0),
        distinct_(settings.mode < 2) {}

  struct Candidate {
    Trans8 transform;
    Sample sample;
    bool eligible; // may become the best of all
  };

  int trials() const { return affine_ ? kAffineTrials : kPerspectiveTrials; }

  // One trial: true with a plausible candidate, false when all attempts were used up.
  bool draw(int anchor, MtRandom &random, Candidate &candidate) const {
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
      if (drawSample(anchor, random, candidate.sample) && build(anchor, candidate) && plausible(candidate)) return true;
    }
    return false;
  }

  Agreement count(int anchor, const Candidate &candidate, int toBeat) const {
    return countAgreement(pairs_, candidate.transform, anchor, distinct_ ? candidate.sample.picks[0] : -1,
                          distinct_ ? candidate.sample.picks[1] : -1, toBeat);
  }

private:
  // A sample that names a pair twice is refused and costs the attempt. From mode 2 on the last pick goes unchecked.
  bool drawSample(int anchor, MtRandom &random, Sample &sample) const {
    sample.size = affine_ ? 2 : 3;
    for (int i = 0; i < sample.size; ++i) {
      double unit = static_cast<double>(random.next()) * kWordToUnit;
      if (affine_) unit *= unit; // towards the best-ranked pairs
      sample.picks[i] = static_cast<int>(unit * pairs_.count);
    }
    const int checked = distinct_ ? sample.size : sample.size - 1;
    for (int i = 0; i < checked; ++i) {
      if (sample.picks[i] == anchor) return false;
      for (int j = 0; j < i; ++j) {
        if (sample.picks[i] == sample.picks[j]) return false;
      }
    }
    return true;
  }

  bool build(int anchor, Candidate &candidate) const {
    Point source[4] = {pairs_.source(anchor)};
    Point target[4] = {pairs_.target(anchor)};
    for (int i = 0; i < candidate.sample.size; ++i) {
      source[i + 1] = pairs_.source(candidate.sample.picks[i]);
      target[i + 1] = pairs_.target(candidate.sample.picks[i]);
    }
    if (!affine_) {
      float spread = 0;
      for (int i = 1; i < 4; ++i) {
        spread += std::fabs(source[i].x - source[0].x) + std::fabs(source[i].y - source[0].y);
      }
      if (spread == 0) return false;
      candidate.transform = perspectiveFromFourPairs(source, target);
      return true;
    }
    Trans6 affine;
    if (!affineFromThreePairs(source, target, affine)) return false;
    candidate.transform = kIdentity8;
    std::copy(affine.begin(), affine.end(), candidate.transform.begin());
    return true;
  }

  bool plausible(Candidate &candidate) const {
    if (!withinShapeLimits(candidate.transform, settings_.frame)) return false;
    const float deviation = largestCornerDeviation(candidate.transform, settings_.frame);
    // Written so that an undefined angle, which a sample of collinear points leads to, is refused as well.
    if (!(deviation <= kMaxCornerAngle)) return false;
    candidate.eligible = deviation <= maxAngle_;
    if (settings_.guess == nullptr) return true;
    Trans8D widened;
    std::copy(candidate.transform.begin(), candidate.transform.end(), widened.begin());
    return !(transformPenalty(settings_.frame, settings_.guess, widened.data(), kGuessMaxDistance, kGuessMaxAngle) > 0);
  }

  const ConsensusPairs &pairs_;
  const PerspectiveSearchSettings &settings_;
  float maxAngle_;
  bool affine_;
  bool distinct_;
};

} // namespace

Agreement countAgreement(const ConsensusPairs &pairs, const Trans8 &candidate, int anchor, int first, int second,
                         int toBeat) {
  const auto squaredResidual = [&](int j) {
    const Point source = pairs.source(j);
    const Point target = pairs.target(j);
    const Point mapped = mapPerspectiveF(candidate.data(), source.x, source.y);
    const float dx = mapped.x - target.x;
    const float dy = mapped.y - target.y;
    return dx * dx + dy * dy;
  };
  // All are counted, and the three that are not to be looked at are taken off again.
  const std::array<int, 3> unseen = {anchor, first != anchor ? first : -1,
                                     second != anchor && second != first ? second : -1};
  int agreeingUnseen = 0;
  for (const int j : unseen)
    if (j >= 0 && j < pairs.count && squaredResidual(j) < kAgreementSquared) ++agreeingUnseen;
  const int all = countAgreeing(pairs, candidate, toBeat - kAgreementStart + agreeingUnseen);
  const int count = kAgreementStart + all - agreeingUnseen;
  return {count, count > toBeat ? sumAgreeing(pairs, candidate, unseen) : 0.0f};
}

Status runTrials(const ConsensusPairs &pairs, const PerspectiveSearchSettings &settings, float maxAngle,
                 TrialResults &results) {
  results.anchors = std::max(0, std::min(settings.anchorBudget, pairs.count - 1));
  const auto anchors = static_cast<std::size_t>(results.anchors);
  results.transform = Buffer<Trans8>::zeroed(anchors);
  results.agreement = Buffer<int>::zeroed(anchors);
  results.error = Buffer<float>::zeroed(anchors);
  results.bestAnchor = -1;
  results.bestAgreement = -1;
  if (!results.transform || !results.agreement || !results.error) return Status::OutOfMemory;
  const AnchorTrials trials(pairs, settings, maxAngle);

#pragma omp parallel num_threads(usefulThreads(results.anchors, settings.threads))
  {
    MtRandom random; // every thread draws the same sequence
    const StaticShare share = staticShare(results.anchors, omp_get_thread_num(), omp_get_num_threads());
    for (int anchor = share.begin; anchor < share.end; ++anchor) {
      const auto slot = static_cast<std::size_t>(anchor);
      for (int trial = 0; trial < trials.trials(); ++trial) {
        AnchorTrials::Candidate candidate;
        if (!trials.draw(anchor, random, candidate)) continue;
        const Agreement agreement = trials.count(anchor, candidate, results.agreement[slot]);
        if (agreement.count <= results.agreement[slot]) continue;
        results.transform[slot] = candidate.transform;
        results.agreement[slot] = agreement.count;
        results.error[slot] = agreement.errorSum / static_cast<float>(agreement.count);
        if (!candidate.eligible) continue;
#pragma omp critical(find_at9_cntGoodCompare)
        {
          // Of equal counts the lowest anchor wins, whichever thread comes first, so that runs repeat.
          const bool more = agreement.count > results.bestAgreement;
          const bool sameButLower = agreement.count == results.bestAgreement && anchor < results.bestAnchor;
          if (more || sameButLower) {
            results.bestAgreement = agreement.count;
            results.bestAnchor = anchor;
            results.best = candidate.transform;
          }
        }
      }
    }
#pragma omp barrier
  }
  return Status::Ok;
}

} // namespace vindrel
