#include "features/PairDistanceKernel.h"

namespace vindrel {

void interleave(const float *descriptors, int count, float *interleaved) {
  for (int j = 0; j < count; ++j)
    for (int k = 0; k < kDescriptorLength; ++k)
      interleaved[k * kDistanceLanes + j] = descriptors[kDescriptorLength * j + k];
}

void laneDistances(const float *__restrict descriptor, const float *__restrict interleaved,
                   float *__restrict distances) {
  float sums[kDistanceLanes] = {};
  for (int k = 0; k < kDescriptorLength; ++k) {
    const float element = descriptor[k];
    // Vectors lie along the lanes. Left to itself GCC lays them along k and shuffles.
#pragma omp simd
    for (int j = 0; j < kDistanceLanes; ++j) {
      const float difference = element - interleaved[k * kDistanceLanes + j];
      sums[j] += difference * difference;
    }
  }
  for (int j = 0; j < kDistanceLanes; ++j)
    distances[j] = sums[j];
}

} // namespace vindrel
