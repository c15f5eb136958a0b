// The detector's integral image of a tile, and the 32-bit one, in pixels a second.
#include "features/BenchTile.h"
#include "features/IntegralImage.h"
#include "support/RegisterForEveryTarget.h"

#include <algorithm>
#include <vector>

namespace vindrel::bench {
namespace {

template <class Sum>
void integralOfTile(benchmark::State &state) {
  const reference::Image &tile = benchTile();
  std::vector<Sum> sums(tile.grey.size());
  for (auto _ : state) {
    fillIntegral(tile.grey.data(), {tile.width, tile.height}, sums.data());
    benchmark::ClobberMemory();
  }
  static const std::vector<std::uint32_t> expected = reference::integral(tile);
  const bool right = std::equal(sums.begin(), sums.end(), expected.begin(),
                                [](Sum sum, std::uint32_t whole) { return sum == static_cast<Sum>(whole); });
  if (!right) state.SkipWithError("wrong answer");
  reportRate(state, "pixels/s", static_cast<double>(tile.grey.size()));
}

[[maybe_unused]] const int registered = [] {
  registerForEveryTarget("integral/16bit", integralOfTile<std::uint16_t>);
  registerForEveryTarget("integral/32bit", integralOfTile<std::uint32_t>);
  return 0;
}();

} // namespace
} // namespace vindrel::bench
