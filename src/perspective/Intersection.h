// Where two lines meet, each either unbounded or cut to the segment between its two points.
#pragma once

#include "transform/Transform.h"

namespace vindrel {

struct Segment {
  PointD from, to;
};

enum class Extent {
  Unbounded, // the whole line through the two points counts
  Bounded,   // only the bounding box of the two points, widened by kSegmentTolerance
};

// Pixels by which a bounded segment reaches past its ends: corners shared by two edges must not fall between them.
constexpr double kSegmentTolerance = 0.00001;

// Below this the two direction vectors span no usable area (square pixels) and the lines count as parallel.
constexpr double kParallelArea = 0.0000001;

struct Intersection {
  bool parallel = false;
  bool hit = false; // not parallel, and within every segment whose extent is bounded
  PointD point;     // where the lines cross, whatever hit says; meaningless when parallel
};

Intersection intersect(const Segment &first, Extent firstExtent, const Segment &second, Extent secondExtent);

} // namespace vindrel
