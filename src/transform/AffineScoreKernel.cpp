#include "transform/AffineScore.h"

#include "transform/MapPoint.h"

namespace vindrel {

AffineScore scoreAffine(const float *candidate, const RankedPairs &pairs, const AffineSample &sample) {
  constexpr float kInlierLimit = 4.0f; // squared pixels
  constexpr int kSampleSupport = 2;
  int count = kSampleSupport;
  float sum = 0; // in the order of the ranks, which decides its last bits
  for (int r = 0; r < pairs.count; ++r) {
    const Point p = mapAffineF(candidate, pairs.xA[r], pairs.yA[r]);
    const float ex = pairs.xB[r] - p.x;
    const float ey = pairs.yB[r] - p.y;
    const float squared = ex * ex + ey * ey;
    const bool outside = (r != sample.anchor) & (r != sample.first) & (r != sample.second);
    const bool inlier = outside & (squared < kInlierLimit);
    // Adding 0 to a sum of squares changes no bit, and spares a branch that nothing predicts.
    sum += inlier ? squared : 0.0f;
    count += inlier ? 1 : 0;
  }
  return {count, sum / static_cast<float>(count)};
}

} // namespace vindrel
