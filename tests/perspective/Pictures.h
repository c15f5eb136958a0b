// What the straightening tests share: exact homographies in double precision and pictures without white.
#pragma once

#include <array>
#include <cmath>
#include <cstdint>
#include <numbers>
#include <utility>

namespace vindrel::test {

// 3x3 in double precision, row-major, columns are multiplied from the right.
struct Homography {
  std::array<double, 9> m = {1, 0, 0, 0, 1, 0, 0, 0, 1};

  friend Homography operator*(const Homography &a, const Homography &b) {
    Homography product;
    for (int i = 0; i < 3; ++i) {
      for (int j = 0; j < 3; ++j) {
        product.m[3 * i + j] = 0;
        for (int k = 0; k < 3; ++k)
          product.m[3 * i + j] += a.m[3 * i + k] * b.m[3 * k + j];
      }
    }
    return product;
  }
  std::pair<double, double> operator()(double x, double y) const {
    const double w = m[6] * x + m[7] * y + m[8];
    return {(m[0] * x + m[1] * y + m[2]) / w, (m[3] * x + m[4] * y + m[5]) / w};
  }
  // By Cramer's rule.
  Homography inverse() const {
    const auto minor = [this](int r0, int c0, int r1, int c1) {
      return m[3 * r0 + c0] * m[3 * r1 + c1] - m[3 * r0 + c1] * m[3 * r1 + c0];
    };
    Homography adj;
    for (int i = 0; i < 3; ++i) {
      for (int j = 0; j < 3; ++j) {
        const int r0 = j == 0 ? 1 : 0, r1 = j == 2 ? 1 : 2, c0 = i == 0 ? 1 : 0, c1 = i == 2 ? 1 : 2;
        adj.m[3 * i + j] = ((i + j) % 2 == 0 ? 1 : -1) * minor(r0, c0, r1, c1);
      }
    }
    return adj;
  }
};

inline Homography shift(double x, double y) {
  return {{1, 0, x, 0, 1, y, 0, 0, 1}};
}
inline Homography stretch(double x, double y) {
  return {{x, 0, 0, 0, y, 0, 0, 0, 1}};
}
inline Homography about(double x, double y, const Homography &map) {
  return shift(x, y) * map * shift(-x, -y);
}

// The three corrections composed as matrices, nowhere rounded to single precision and through no corner points: the
// output frame onto the source.
inline Homography exactStraightening(int w, int h, double factorV, double factorH, double degrees) {
  const double v = 2 * std::numbers::pi * factorV / h, t = 2 * std::numbers::pi * factorH / w;
  const double a = degrees * std::numbers::pi / 180;
  const Homography vertical = {{1, 0, 0, 0, std::cos(v), -std::sin(v), 0, std::sin(v), std::cos(v)}};
  const Homography horizontal = {{std::cos(t), 0, std::sin(t), 0, 1, 0, -std::sin(t), 0, std::cos(t)}};
  const Homography rotation = {{std::cos(a), -std::sin(a), 0, std::sin(a), std::cos(a), 0, 0, 0, 1}};

  // The first tilt works on corners at whole pixels from the middle: an odd side loses its last pixel there.
  const double halfW = w / 2, halfH = h / 2;
  Homography map = shift(halfW, halfH) * vertical * stretch(2 * halfW / w, 2 * halfH / h) * shift(-w / 2.0, -h / 2.0);
  const auto [x1, y1] = map.inverse()(w / 2.0, h / 2.0);
  map = about(x1, y1, horizontal) * map;
  const auto [x2, y2] = map.inverse()(x1, y1);
  return about(x2, y2, rotation) * map;
}

} // namespace vindrel::test
