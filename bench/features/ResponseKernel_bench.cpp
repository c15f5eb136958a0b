// All extrema of a tile, from its integral image on: first look, exact responses and their comparison, in pixels a
// second.
#include "features/BenchTile.h"
#include "features/BoxFilter.h"
#include "features/ExtremumRows.h"
#include "features/ResponseKernel.h"
#include "support/RegisterForEveryTarget.h"

#include <vector>

namespace vindrel::bench {
namespace {

// The reference's extrema: their number and the sum of their linear indices.
struct Found {
  std::int64_t count = 0, indices = 0;
  friend bool operator==(const Found &, const Found &) = default;
};

Found referenceExtrema() {
  const reference::Image &tile = benchTile();
  const std::vector<std::uint32_t> sums = reference::integral(tile);
  std::vector<float> maps[3];
  for (int f = 0; f < 3; ++f) {
    maps[f].assign(tile.grey.size(), 0.0f);
    for (int y = kResponseMargin; y < kTileSide - kResponseMargin; ++y)
      for (int x = kResponseMargin; x < kTileSide - kResponseMargin; ++x)
        maps[f][static_cast<std::size_t>(y * kTileSide + x)] =
            reference::response({sums.data(), kTileSide}, y * kTileSide + x, 9 + 6 * f);
  }
  Found found;
  for (int y = kScanMargin; y < kTileSide - kScanMargin; ++y)
    for (int x = kScanMargin; x < kTileSide - kScanMargin; ++x) {
      const std::ptrdiff_t i = y * kTileSide + x;
      if (!reference::standsOut(maps[0].data() + i, maps[1].data() + i, maps[2].data() + i, kTileSide)) continue;
      ++found.count;
      found.indices += i;
    }
  return found;
}

void extremaOfTile(benchmark::State &state) {
  const reference::Image &tile = benchTile();
  std::vector<std::uint16_t> sums(tile.grey.size());
  fillIntegral(tile.grey.data(), {tile.width, tile.height}, sums.data());
  Found found;
  for (auto _ : state) {
    found = {};
    ExtremumRows rows(sums.data(), {tile.width, tile.height});
    for (int y = kScanMargin; y < kTileSide - kScanMargin; ++y)
      for (const Extremum &extremum : rows.in(y)) {
        ++found.count;
        found.indices += y * kTileSide + extremum.column;
      }
  }
  static const Found expected = referenceExtrema();
  if (found != expected) state.SkipWithError("wrong answer");
  state.counters["extrema"] = static_cast<double>(found.count);
  reportRate(state, "pixels/s", (kTileSide - 2.0 * kScanMargin) * (kTileSide - 2.0 * kScanMargin));
}

[[maybe_unused]] const int registered = [] {
  registerForEveryTarget("extrema", extremaOfTile);
  return 0;
}();

} // namespace
} // namespace vindrel::bench
