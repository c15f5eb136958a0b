// Maps of the image plane as 3x3 matrices in double precision, row-major: (x, y) goes to (X / W, Y / W) with
// (X, Y, W) = m * (x, y, 1). A variable says which way its map goes: frameFromScene takes scene points into the frame.
#pragma once

#include <array>

namespace vindrel {

using PlaneMap = std::array<double, 9>;

struct PlanePoint {
  double x = 0; // pixels
  double y = 0; // pixels
};

constexpr PlaneMap kPlaneIdentity = {1, 0, 0, 0, 1, 0, 0, 0, 1};

constexpr PlaneMap translation(double x, double y) {
  return {1, 0, x, 0, 1, y, 0, 0, 1};
}

// compose(a, b) maps by b first.
constexpr PlaneMap compose(const PlaneMap &a, const PlaneMap &b) {
  PlaneMap product = {};
  for (int row = 0; row < 3; ++row)
    for (int column = 0; column < 3; ++column)
      for (int k = 0; k < 3; ++k)
        product[row * 3 + column] += a[row * 3 + k] * b[k * 3 + column];
  return product;
}

// The same map with its last element 1. That element must not be 0, that is, the origin must not map to infinity.
constexpr PlaneMap normalised(PlaneMap m) {
  const double last = m[8];
  for (double &element : m)
    element /= last;
  return m;
}

// The map back, by the adjugate. The determinant must not be 0; nothing is checked.
constexpr PlaneMap inverse(const PlaneMap &m) {
  return normalised({m[4] * m[8] - m[5] * m[7], m[2] * m[7] - m[1] * m[8], m[1] * m[5] - m[2] * m[4],
                     m[5] * m[6] - m[3] * m[8], m[0] * m[8] - m[2] * m[6], m[2] * m[3] - m[0] * m[5],
                     m[3] * m[7] - m[4] * m[6], m[1] * m[6] - m[0] * m[7], m[0] * m[4] - m[1] * m[3]});
}

constexpr PlanePoint mapPoint(const PlaneMap &m, PlanePoint p) {
  const double w = m[6] * p.x + m[7] * p.y + m[8];
  return {(m[0] * p.x + m[1] * p.y + m[2]) / w, (m[3] * p.x + m[4] * p.y + m[5]) / w};
}

} // namespace vindrel
