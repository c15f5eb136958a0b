#include "transform/AffineCost.h"

#include "transform/MapPoint.h"
#include "transform/TruncatedCost.h"

#include <cmath>

namespace vindrel {

int affineCost(const float *t, const PairsView &pairs) {
  float sum = 0;
  for (int i = 0; i < pairs.count; ++i) {
    const Point p = mapAffineF(t, static_cast<float>(pairs.xA[i]), static_cast<float>(pairs.yA[i]));
    sum += std::fabs(static_cast<float>(pairs.xB[i]) - p.x) + std::fabs(static_cast<float>(pairs.yB[i]) - p.y);
  }
  return truncatedCost(sum);
}

} // namespace vindrel
