#include "driver/Rivals.h"

#include "driver/Coverage.h"
#include "transform/MapPoint.h"

namespace vindrel {
namespace {

struct Residual {
  double x, y;
  double squared() const { return x * x + y * y; }
};

Residual residualOf(const PairsView &pairs, const Trans8 &transform, int i) {
  const PointD mapped = mapPerspectiveD(transform.data(), pairs.xA[i], pairs.yA[i]);
  return {pairs.xB[i] - mapped.x, pairs.yB[i] - mapped.y};
}

} // namespace

Rivals findRivals(const PairsView &pairs, const Trans8 &transform, double tolerance, Size frame) {
  Rivals largest;
  // Quadratic in pairs that are some hundreds, and without memory of their number.
  for (int i = 0; i < pairs.count; ++i) {
    const Residual centre = residualOf(pairs, transform, i);
    if (centre.squared() < tolerance * tolerance) continue;
    int count = 0;
    Coverage covered(frame);
    for (int j = 0; j < pairs.count; ++j) {
      const Residual other = residualOf(pairs, transform, j);
      if (other.squared() < tolerance * tolerance) continue;
      const Residual apart = {other.x - centre.x, other.y - centre.y};
      if (!(apart.squared() < kRivalDistance * kRivalDistance)) continue;
      ++count;
      covered.add(pairs.xA[j], pairs.yA[j]);
    }
    if (count > largest.pairs) largest = {count, covered.share()};
  }
  return largest;
}

} // namespace vindrel
