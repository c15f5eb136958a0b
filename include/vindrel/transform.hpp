// Projective transforms of the plane as 3x3 matrices, and what one does with them.
//
// A transform's name says which way it maps: frameFromReference takes a point of the reference onto the frame. With
// (u, v, w) = M (x, y, 1), the point (x, y) goes to (u / w, v / w). Matrices are row-major, in double precision and, as
// the library makes them, with a last element of 1. Coordinates are those of image.hpp.
#pragma once

#include "vindrel/api.hpp"
#include "vindrel/result.hpp"

#include <array>

namespace vindrel {

/// A place in a frame.
struct Point2 {
  double x = 0; ///< pixels, to the right
  double y = 0; ///< pixels, downward
  friend bool operator==(const Point2 &, const Point2 &) = default;
};

/// A projective transform of the plane.
struct VINDREL_API Transform {
  /// Row-major: (u, v, w) = (m0 x + m1 y + m2, m3 x + m4 y + m5, m6 x + m7 y + m8). The identity by default.
  std::array<double, 9> matrix = {1, 0, 0, 0, 1, 0, 0, 0, 1};

  /// The transform that takes (0, 0) to (x, y).
  static constexpr Transform translation(double x, double y) { return {{1, 0, x, 0, 1, y, 0, 0, 1}}; }

  /// Where a point goes. Infinite or not a number for points on the horizon, the line that the transform sends to
  /// infinity.
  constexpr Point2 map(Point2 point) const {
    const auto &m = matrix;
    const double w = m[6] * point.x + m[7] * point.y + m[8];
    return {(m[0] * point.x + m[1] * point.y + m[2]) / w, (m[3] * point.x + m[4] * point.y + m[5]) / w};
  }

  /// The transform back. ErrorCode::InvalidArgument when there is none: elements that are no numbers, or a matrix that
  /// squeezes the plane onto a line.
  Result<Transform> inverse() const;

  /// Whether it moves by whole pixels and does nothing else.
  bool isWholePixelShift() const noexcept;

  friend bool operator==(const Transform &, const Transform &) = default;
};

/// One transform after another: cFromA = compose(cFromB, bFromA). The last element becomes 1 unless it is 0.
VINDREL_API Transform compose(const Transform &cFromB, const Transform &bFromA) noexcept;

/// The same frame seen from another reference: frameFromNew = rebase(frameFromOld, newFromOld). Errors of
/// Transform::inverse(), of newFromOld.
VINDREL_API Result<Transform> rebase(const Transform &frameFromOld, const Transform &newFromOld);

} // namespace vindrel
