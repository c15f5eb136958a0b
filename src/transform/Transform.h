// The transforms of the library. A transform maps a point of one frame onto the same scene point in another frame;
// coordinates are pixels, origin at the top-left corner of the frame, y downward.
#pragma once

#include <array>

namespace vindrel {

struct Point {
  float x = 0;
  float y = 0;
};

struct PointD {
  double x = 0;
  double y = 0;
};

// Affine: a b c d e f with x' = a x + b y + c, y' = d x + e y + f.
using Trans6 = std::array<float, 6>;

// Perspective: a ... h with w = (g x + h y) * kPerspectiveUnit + 1, x' = (a x + b y + c) / w, y' = (d x + e y + f) / w.
// g and h are stored 100000 times larger than they act, which brings them to the magnitude of the others.
using Trans8 = std::array<float, 8>;
using Trans8D = std::array<double, 8>;

// 3x3, row-major.
using Mat33 = std::array<double, 9>;

constexpr double kPerspectiveUnit = 0.00001;
constexpr double kPerspectiveScale = 100000.0;

constexpr Trans6 kIdentity6 = {1, 0, 0, 0, 1, 0};
constexpr Trans8 kIdentity8 = {1, 0, 0, 0, 1, 0, 0, 0};

// The four corners of an axis-aligned rectangle, or their images.
template <class P>
struct Corners {
  P topLeft, topRight, bottomLeft, bottomRight;
};

} // namespace vindrel
