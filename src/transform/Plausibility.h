// What a hand-held photograph can have done to its frame: limits that a candidate transform must keep before it is
// worth counting who agrees with it.
#pragma once

#include "base/ImageView.h"
#include "transform/Transform.h"

namespace vindrel {

constexpr float kMaxCornerAngle = 2.5f; // largest deviation of a mapped frame corner from a right angle, degrees

// Whether translation, scale, rotation and shear stay within those of two frames of one scene taken by hand.
bool withinShapeLimits(const Trans8 &candidate, Size frame);

// The largest deviation of the four mapped corner angles from 90 degrees. Not a number for a degenerate frame.
float largestCornerDeviation(const Trans8 &candidate, Size frame);

} // namespace vindrel
