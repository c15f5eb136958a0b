// Distances of one descriptor to many at once.
#pragma once

#include "features/FeaturePoints.h"

namespace vindrel {

// Descriptors measured together. Their sums are independent, so each keeps the order of its own terms.
constexpr int kDistanceLanes = 16;

// Stores count <= kDistanceLanes descriptors element by element: element k of descriptor j at k x kDistanceLanes + j.
// Lanes without a descriptor are left as they are.
void interleave(const float *descriptors, int count, float *interleaved);

// distances[j] = descriptorDistance(descriptor, lane j, kDescriptorLength), bit for bit, for every lane.
void laneDistances(const float *descriptor, const float *interleaved, float *distances);

} // namespace vindrel
