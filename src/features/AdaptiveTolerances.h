// The detector's acceptance tolerances, steered while it scans so that the share of the point budget used follows the
// share of the image scanned. Without them a budget would be spent on the first rows of a textured tile.
#pragma once

#include "features/SubpixelRefinement.h"

#include <cstdint>

namespace vindrel {

class AdaptiveTolerances {
public:
  // positions: how many pixels the scan will visit at all levels together; maxPoints: the budget. Zeros are harmless:
  // the shares become infinite or undefined and compare accordingly.
  AdaptiveTolerances(std::int64_t positions, int maxPoints)
      : perPosition_(1.0f / static_cast<float>(positions)), perPoint_(1.0f / static_cast<float>(maxPoints)) {}

  // Counts pixelCount more visited pixels, at all of which pointCount points had been found.
  void visit(std::int64_t pixelCount, int pointCount) {
    const std::int64_t end = visited_ + pixelCount;
    for (std::int64_t n = visited_ - visited_ % kPeriod + kPeriod; n <= end; n += kPeriod)
      adapt(n, pointCount);
    visited_ = end;
  }

  Tolerances current() const { return tolerances_; }

private:
  static constexpr int kPeriod = 50; // pixels between two looks at the shares

  // Single precision throughout. Tightening is a hundred times slower than loosening: a few points too many do no
  // harm, an empty region does.
  void adapt(std::int64_t visited, int pointCount) {
    constexpr float kTighten = 0.001f, kLoosen = 0.1f;
    constexpr float kLeast = 0.2f, kMostPosition = 0.8f, kMostSize = 0.7f;
    const float scanned = static_cast<float>(visited) * perPosition_;
    const float found = static_cast<float>(pointCount) * perPoint_;
    if (found > scanned) {
      tolerances_.position = atLeast(tolerances_.position - kTighten, kLeast);
      tolerances_.size = atLeast(tolerances_.size - kTighten, kLeast);
    } else if (scanned > found) {
      tolerances_.position = atMost(tolerances_.position + kLoosen, kMostPosition);
      tolerances_.size = atMost(tolerances_.size + kLoosen, kMostSize);
    }
  }
  static float atLeast(float value, float limit) { return value < limit ? limit : value; }
  static float atMost(float value, float limit) { return value > limit ? limit : value; }

  float perPosition_;
  float perPoint_;
  std::int64_t visited_ = 0;
  Tolerances tolerances_ = {0.6f, 0.5f};
};

} // namespace vindrel
