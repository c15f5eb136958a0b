#include "driver/ModelChoice.h"

#include "driver/Verdict.h"
#include "transform/MapPoint.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace vindrel {
namespace {

constexpr double kCoordinates = 4;   // r: of a pair
constexpr double kManifold = 2;      // d
constexpr double kOutlierWeight = 2; // l3
constexpr double kLimit = kOutlierWeight * (kCoordinates - kManifold);
constexpr int kShiftParameters = 2, kAffineParameters = 6, kPerspectiveParameters = 8;
// Feature points are whole pixels in both frames: no residual's component varies less, squared pixels.
constexpr double kRoundingVariance = 2.0 / 12.0;

// Of a residual's component, from the inliers of the model that fits best, which is the larger one where it was found.
double residualVariance(const LinkEvidence &evidence, int parameters) {
  const double freedom = 2.0 * evidence.inliers - parameters;
  if (!(freedom > 0)) return kRoundingVariance;
  return std::max(kRoundingVariance, evidence.rms * evidence.rms * evidence.inliers / freedom);
}

bool isSupported(const Estimate &estimate, std::size_t rank) {
  return doubtLink(estimate.evidence[rank], estimate.consensus[rank]) == Doubt::None;
}

} // namespace

double robustCriterion(const PairsView &pairs, const Trans8 &transform, int parameters, double variance) {
  double sum = 0;
  for (int i = 0; i < pairs.count; ++i) {
    const PointD mapped = mapPerspectiveD(transform.data(), pairs.xA[i], pairs.yA[i]);
    const double dx = pairs.xB[i] - mapped.x, dy = pairs.yB[i] - mapped.y;
    const double weighed = (dx * dx + dy * dy) / variance;
    sum += weighed < kLimit ? weighed : kLimit; // not a number: as an outlier
  }
  const double n = pairs.count;
  return sum + std::log(kCoordinates) * kManifold * n + std::log(kCoordinates * std::max(n, 1.0)) * parameters;
}

WholeShift bestWholeShift(const PairsView &pairs, double variance) {
  WholeShift best;
  double least = std::numeric_limits<double>::infinity();
  for (int i = 0; i < pairs.count; ++i) {
    const int x = pairs.xB[i] - pairs.xA[i], y = pairs.yB[i] - pairs.yA[i];
    double sum = 0;
    for (int j = 0; j < pairs.count && sum < least; ++j) {
      const double dx = pairs.xB[j] - pairs.xA[j] - x, dy = pairs.yB[j] - pairs.yA[j] - y;
      sum += std::min((dx * dx + dy * dy) / variance, kLimit);
    }
    if (sum < least) {
      least = sum;
      best = {x, y};
    }
  }
  return best;
}

ModelScores scoreModels(const StackPairs &pairs, const Estimate &affine, const Estimate &perspective,
                        WholeShift *shifts) {
  ModelScores scores;
  for (int rank = 1; rank < pairs.count; ++rank) {
    const auto slot = static_cast<std::size_t>(rank);
    const PairsView view = pairs.pairs(rank);
    const bool bent = isSupported(perspective, slot);
    const double variance = bent ? residualVariance(perspective.evidence[slot], kPerspectiveParameters)
                                 : residualVariance(affine.evidence[slot], kAffineParameters);
    shifts[rank] = bestWholeShift(view, variance);
    if (!bent && !isSupported(affine, slot)) continue;
    ++scores.links;
    const Trans8 shift = {1, 0, static_cast<float>(shifts[rank].x), 0, 1, static_cast<float>(shifts[rank].y), 0, 0};
    scores.shift += robustCriterion(view, shift, kShiftParameters, variance);
    scores.affine += robustCriterion(view, affine.links[slot], kAffineParameters, variance);
    scores.perspective += robustCriterion(view, perspective.links[slot], kPerspectiveParameters, variance);
  }
  return scores;
}

} // namespace vindrel
