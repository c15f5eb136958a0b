// Pairs the points of one image with those of another that look alike and lie near.
#pragma once

#include "base/Status.h"
#include "features/FeaturePoints.h"

#include <cstdint>

namespace vindrel {

// The largest displacement between partners, in pixels along each axis.
struct MatchWindow {
  int rangeX = 0;
  int rangeY = 0;
};

// Caller-owned arrays of maxPairs entries each.
struct PairsOut {
  std::int32_t *xA = nullptr;
  std::int32_t *yA = nullptr;
  std::int32_t *xB = nullptr;
  std::int32_t *yB = nullptr;
  float *dist = nullptr; // squared descriptor distance
};

struct MatchResult {
  Status status = Status::Ok; // Ok or OutOfMemory
  int count = 0;              // min(maxPairs, distinct matches), so below 1 if maxPairs is; 0 unless Ok
};

// Writes the best pairs by ascending distance. Both sets are in the order of detection (see BlobDetector.h), which two
// early exits rely on.
MatchResult matchPairs(const FeatureSet &a, const FeatureSet &b, MatchWindow window, int maxPairs, const PairsOut &out);

} // namespace vindrel
