#include "transform/AffineResiduals.h"

#include <cmath>

namespace vindrel {

void affineResiduals(const double *parameters, int m, const PairsView &pairs, double *residuals) {
  constexpr double kUnit = 0.001; // residual a pixel
  const double *t = parameters;
  for (int i = 0; i < m; ++i) {
    const double x = pairs.xA[i];
    const double y = pairs.yA[i];
    // The translation is taken off first: this order decides the last bit, and is not that of mapping a point.
    const double ex = pairs.xB[i] - t[2] - (t[0] * x + t[1] * y);
    const double ey = pairs.yB[i] - t[5] - (t[3] * x + t[4] * y);
    residuals[i] = (std::fabs(ex) + std::fabs(ey)) * kUnit;
  }
}

} // namespace vindrel
