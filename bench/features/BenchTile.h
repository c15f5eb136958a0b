// What the benchmarks of feature points work on: a tile with a photograph's statistics, and the work's amount as a
// rate.
#pragma once

#include "reference/Features.h"
#include "support/FeatureScenes.h"

#include <benchmark/benchmark.h>

namespace vindrel::bench {

constexpr int kTileSide = 1024;

// 2917 extrema, before the budget is kept: photographs have 600, of fog, to 10000, of foliage.
inline const reference::Image &benchTile() {
  static const reference::Image tile = test::blobImage(kTileSide, kTileSide, 1);
  return tile;
}

inline void reportRate(benchmark::State &state, const char *unit, double amount) {
  state.counters[unit] =
      benchmark::Counter(static_cast<double>(state.iterations()) * amount, benchmark::Counter::kIsRate);
}

} // namespace vindrel::bench
