// Matched feature points of two frames A and B as parallel arrays, in whole pixels of each frame.
#pragma once

#include <cstdint>

namespace vindrel {

struct PairsView {
  int count = 0;
  const std::int32_t *xA = nullptr;
  const std::int32_t *yA = nullptr;
  const std::int32_t *xB = nullptr;
  const std::int32_t *yB = nullptr;
  const float *dist = nullptr; // squared descriptor distance; may be null where only positions matter
};

} // namespace vindrel
