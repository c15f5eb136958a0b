// The refinement of all extrema of a tile, in extrema a second.
#include "features/BenchTile.h"
#include "features/BoxFilter.h"
#include "features/ExtremumRows.h"
#include "features/SubpixelRefinement.h"
#include "support/RegisterForEveryTarget.h"

#include <algorithm>
#include <vector>

namespace vindrel::bench {
namespace {

std::vector<Extremum> extremaOfTile() {
  const reference::Image &tile = benchTile();
  std::vector<std::uint16_t> sums(tile.grey.size());
  fillIntegral(tile.grey.data(), {tile.width, tile.height}, sums.data());
  ExtremumRows rows(sums.data(), {tile.width, tile.height});
  std::vector<Extremum> extrema;
  for (int y = kScanMargin; y < kTileSide - kScanMargin; ++y)
    for (const Extremum &extremum : rows.in(y))
      extrema.push_back(extremum);
  return extrema;
}

void refinementOfTile(benchmark::State &state) {
  constexpr int kInARow = 9; // about as many as a row of a tile has
  const std::vector<Extremum> extrema = extremaOfTile();
  const int count = static_cast<int>(extrema.size());
  std::vector<RefinedExtremum> refined(extrema.size());
  for (auto _ : state) {
    for (int i = 0; i < count; i += kInARow)
      refineExtrema(extrema.data() + i, std::min(kInARow, count - i), refined.data() + i);
    benchmark::ClobberMemory();
  }
  bool right = true;
  for (std::size_t i = 0; i < extrema.size(); ++i) {
    const auto &maps = extrema[i].responses.at;
    const SubpixelOffset &offset = refined[i].offset;
    double expected[3] = {};
    right &= refined[i].exists == reference::refine(&maps[0][1][1], &maps[1][1][1], &maps[2][1][1], 4, expected);
    right &= expected[0] == offset.x && expected[1] == offset.y && expected[2] == offset.size;
  }
  if (!right) state.SkipWithError("wrong answer");
  reportRate(state, "extrema/s", count);
}

[[maybe_unused]] const int registered = [] {
  registerForEveryTarget("refinement", refinementOfTile);
  return 0;
}();

} // namespace
} // namespace vindrel::bench
