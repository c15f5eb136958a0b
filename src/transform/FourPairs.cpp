#include "transform/FourPairs.h"

#include "transform/Matrix33.h"

#include <cstddef>

namespace vindrel {

namespace {

// The matrix that takes the unit vectors onto the first three points and (1, 1, 1) onto the fourth:
//
//       | x0 x1 x2 |
//   S = | y0 y1 y2 |,  lambda = adj(S) (x3, y3, 1),  result = S diag(lambda).
//       |  1  1  1 |
Mat33 basisOf(const PointD p[4]) {
  const Mat33 S = {p[0].x, p[1].x, p[2].x, p[0].y, p[1].y, p[2].y, 1, 1, 1};
  const Vector3 lambda = multiplyVector(adjugate(S), {p[3].x, p[3].y, 1});
  Mat33 scaled{};
  for (std::size_t i = 0; i < 9; ++i) {
    scaled[i] = S[i] * lambda[i % 3];
  }
  return scaled;
}

PointD widen(Point p) {
  return {static_cast<double>(p.x), static_cast<double>(p.y)};
}

} // namespace

Trans8D perspectiveFromFourPairsD(const PointD src[4], const PointD dst[4]) {
  return matrixToTrans8D(multiply(basisOf(dst), adjugate(basisOf(src))));
}

Trans8 perspectiveFromFourPairs(const Point src[4], const Point dst[4]) {
  const PointD s[4] = {widen(src[0]), widen(src[1]), widen(src[2]), widen(src[3])};
  const PointD d[4] = {widen(dst[0]), widen(dst[1]), widen(dst[2]), widen(dst[3])};
  return narrow(perspectiveFromFourPairsD(s, d));
}

} // namespace vindrel
