// The agreement count of the perspective search by its definition, every pair looked at.
#pragma once

#include "base/PairsView.h"

namespace vindrel::reference {

struct PerspectiveAgreement {
  int count;
  float errorSum;
};

inline PerspectiveAgreement perspectiveAgreement(const PairsView &pairs, const float *t, int anchor, int first,
                                                 int second) {
  PerspectiveAgreement agreement{2, 0.0f};
  for (int j = 0; j < pairs.count; ++j) {
    if (j == anchor || j == first || j == second) continue;
    const float x = static_cast<float>(pairs.xA[j]), y = static_cast<float>(pairs.yA[j]);
    const float w = (t[6] * x + t[7] * y) * 0.00001f + 1.0f;
    const float dx = (t[0] * x + t[1] * y + t[2]) / w - static_cast<float>(pairs.xB[j]);
    const float dy = (t[3] * x + t[4] * y + t[5]) / w - static_cast<float>(pairs.yB[j]);
    if (dx * dx + dy * dy < 4.0f) {
      ++agreement.count;
      agreement.errorSum += dx * dx + dy * dy;
    }
  }
  return agreement;
}

} // namespace vindrel::reference
