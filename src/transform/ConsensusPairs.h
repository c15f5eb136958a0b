// The pairs of a consensus search, best first and as the single-precision coordinates that candidates are built from
// and counted with.
#pragma once

#include "base/Buffer.h"
#include "base/PairsView.h"
#include "transform/Transform.h"

#include <cstdint>

namespace vindrel {

struct ConsensusPairs {
  int count = 0;
  Buffer<float> xA, yA, xB, yB; // whole numbers: exact below 2^24
  Buffer<std::int32_t> order;   // the pair of the caller's list at each position

  Point source(int position) const { return {xA[at(position)], yA[at(position)]}; }
  Point target(int position) const { return {xB[at(position)], yB[at(position)]}; }

  // Sorted by ascending descriptor distance; equal distances keep their order, so that runs repeat, and pairs whose
  // distance is not a number come last. False when an allocation failed.
  static bool sorted(const PairsView &pairs, ConsensusPairs &out);

private:
  static std::size_t at(int position) { return static_cast<std::size_t>(position); }
};

} // namespace vindrel
