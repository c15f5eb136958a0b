// How far a transform carries and bends the frame's corners, alone or against another transform, and the penalty that
// turns both into one number. The frame is the rectangle (0, 0) to (width, height). Degenerate geometry shows as
// infinite or undefined values, which no limit counts as exceeded.
#pragma once

#include "base/ImageView.h"
#include "transform/Transform.h"

namespace vindrel {

// The angle in degrees at vertex between the rays to first and to second, by the law of cosines. Single precision but
// for the conversion to degrees. Undefined when a ray has no length.
float angleAtVertex(Point vertex, Point first, Point second);

struct CornerDifference {
  // Squared distance in pixels between a corner under the one transform and under the other.
  Corners<float> displacement;
  // Absolute differences of the angles, in degrees, that an edge makes with the frame's directions.
  float topEdge = 0;       // top edge against the vertical, at the top-left corner
  float bottomEdge = 0;    // bottom edge against the vertical, at the bottom-left corner
  float leftEdge = 0;      // left edge against the horizontal, at the bottom-left corner
  float rightEdge = 0;     // right edge against the horizontal, at the bottom-right corner
  Corners<float> interior; // the second transform's corner angles, degrees: 90 each for a rectangle
};

// first has 8 coefficients, or is null for the frame as it is; second has 8.
CornerDifference cornerDifference(Size frame, const float *first, const double *second);

// 0 when second stays within the limits against first. Otherwise each squared displacement adds what it exceeds the
// square of maxDistance (pixels) by, and each edge angle 30000 for every degree beyond maxAngle.
float transformPenalty(Size frame, const float *first, const double *second, float maxDistance, float maxAngle);

} // namespace vindrel
