// The two maps that straightening needs besides the transforms themselves: a point through a full 3x3 projective
// matrix and through a 2x2 linear one. Single-precision coefficients, double-precision arithmetic, results narrowed:
// the working corners are kept in single precision between the rounds.
#pragma once

#include "transform/MapPoint.h"

namespace vindrel {

// 3x3, row-major, single precision.
using Mat33F = std::array<float, 9>;

// 2x2, column by column: x' = m0 x + m2 y, y' = m1 x + m3 y.
using Mat22F = std::array<float, 4>;

// The third row is the denominator. Nothing guards against points on the horizon, where it is 0.
inline Point mapProjective9(const float *m, double x, double y) {
  const double w = static_cast<double>(m[6]) * x + static_cast<double>(m[7]) * y + static_cast<double>(m[8]);
  return narrow({(static_cast<double>(m[0]) * x + static_cast<double>(m[1]) * y + static_cast<double>(m[2])) / w,
                 (static_cast<double>(m[3]) * x + static_cast<double>(m[4]) * y + static_cast<double>(m[5])) / w});
}

inline Point mapLinear4(const float *m, double x, double y) {
  return narrow({static_cast<double>(m[0]) * x + static_cast<double>(m[2]) * y,
                 static_cast<double>(m[1]) * x + static_cast<double>(m[3]) * y});
}

// product = a b, every step rounded to single precision, the sum taken from left to right. product must be neither
// a nor b.
inline void multiply33F(const float *a, const float *b, float *product) {
  for (int row = 0; row < 3; ++row) {
    for (int column = 0; column < 3; ++column) {
      float &sum = product[3 * row + column];
      sum = a[3 * row] * b[column];
      sum += a[3 * row + 1] * b[column + 3];
      sum += a[3 * row + 2] * b[column + 6];
    }
  }
}

} // namespace vindrel
