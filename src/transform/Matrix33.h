// 3x3 matrices as projective maps. A map is defined up to scale, so the adjugate serves as the inverse.
#pragma once

#include "transform/Transform.h"

#include <cstddef>

namespace vindrel {

using Vector3 = std::array<double, 3>;

// The transpose of the cofactor matrix: no division by the determinant.
constexpr Mat33 adjugate(const Mat33 &m) {
  return {m[4] * m[8] - m[7] * m[5], m[7] * m[2] - m[1] * m[8], m[1] * m[5] - m[4] * m[2],
          m[6] * m[5] - m[3] * m[8], m[0] * m[8] - m[6] * m[2], m[3] * m[2] - m[0] * m[5],
          m[3] * m[7] - m[6] * m[4], m[6] * m[1] - m[0] * m[7], m[0] * m[4] - m[3] * m[1]};
}

constexpr Vector3 multiplyVector(const Mat33 &m, const Vector3 &v) {
  Vector3 out{};
  for (std::size_t r = 0; r < 3; ++r) {
    out[r] = m[3 * r] * v[0] + m[3 * r + 1] * v[1] + m[3 * r + 2] * v[2];
  }
  return out;
}

constexpr Mat33 multiply(const Mat33 &A, const Mat33 &B) {
  Mat33 C{};
  for (std::size_t r = 0; r < 3; ++r) {
    for (std::size_t c = 0; c < 3; ++c) {
      C[3 * r + c] = A[3 * r] * B[c] + A[3 * r + 1] * B[c + 3] + A[3 * r + 2] * B[c + 6];
    }
  }
  return C;
}

// The matrix of a perspective transform: g and h at the size at which they act, last element 1.
template <class Coefficient>
constexpr Mat33 transformToMatrix(const std::array<Coefficient, 8> &t) {
  Mat33 m{};
  for (std::size_t i = 0; i < 6; ++i) {
    m[i] = static_cast<double>(t[i]);
  }
  m[6] = static_cast<double>(t[6]) * kPerspectiveUnit;
  m[7] = static_cast<double>(t[7]) * kPerspectiveUnit;
  m[8] = 1;
  return m;
}

// The transform of a matrix whose last element is not 0, which is divided out.
constexpr Trans8D matrixToTrans8D(const Mat33 &m) {
  Trans8D t{};
  for (std::size_t i = 0; i < 6; ++i) {
    t[i] = m[i] / m[8];
  }
  t[6] = m[6] / m[8] * kPerspectiveScale;
  t[7] = m[7] / m[8] * kPerspectiveScale;
  return t;
}

template <std::size_t n>
constexpr std::array<float, n> narrow(const std::array<double, n> &t) {
  std::array<float, n> out{};
  for (std::size_t i = 0; i < n; ++i) {
    out[i] = static_cast<float>(t[i]);
  }
  return out;
}

constexpr Trans8 matrixToTrans8(const Mat33 &m) {
  return narrow(matrixToTrans8D(m));
}

} // namespace vindrel
