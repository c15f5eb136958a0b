// The support of an affine candidate by its definition.
#pragma once

#include "transform/AffineScore.h"

namespace reference {

inline vindrel::AffineScore affineScore(const float *t, const vindrel::RankedPairs &pairs,
                                        const vindrel::AffineSample &sample) {
  int count = 2;
  float sum = 0;
  for (int r = 0; r < pairs.count; ++r) {
    if (r == sample.anchor || r == sample.first || r == sample.second) continue;
    const float ex = pairs.xB[r] - (t[0] * pairs.xA[r] + t[1] * pairs.yA[r] + t[2]);
    const float ey = pairs.yB[r] - (t[3] * pairs.xA[r] + t[4] * pairs.yA[r] + t[5]);
    if (ex * ex + ey * ey < 4.0f) {
      sum += ex * ex + ey * ey;
      ++count;
    }
  }
  return {count, sum / static_cast<float>(count)};
}

} // namespace reference
