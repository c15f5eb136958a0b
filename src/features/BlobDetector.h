// Finds the feature points of a grey image.
#pragma once

#include "base/ImageView.h"
#include "base/Status.h"
#include "features/FeaturePoints.h"

#include <cstdint>

namespace vindrel {

struct DetectionResult {
  Status status = Status::Ok; // Ok or OutOfMemory
  int count = 0;              // points found, 0 unless Ok
};

// Fills points with up to maxPoints + 1 points of the packed grey image, in the order of the scan: rows from top to
// bottom, columns from left to right. levels is 1 for every use inside the library; what more levels look at is told in
// BlobDetector.cpp. Writes a line to standard error for each extremum whose position cannot be refined.
DetectionResult detectPoints(const std::uint8_t *grey, Size size, int levels, int maxPoints,
                             const FeaturePointsView &points);

} // namespace vindrel
