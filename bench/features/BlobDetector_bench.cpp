// The whole detection of a tile, descriptors included, in pixels a second.
#include "features/BenchTile.h"
#include "features/BlobDetector.h"
#include "support/RegisterForEveryTarget.h"

#include <algorithm>
#include <vector>

namespace vindrel::bench {
namespace {

constexpr int kBudget = 1309; // as the alignment asks of a tile

void detectionOfTile(benchmark::State &state) {
  const reference::Image &tile = benchTile();
  std::vector<std::int32_t> x(kBudget + 1), y = x, scaleCode = x;
  std::vector<float> descriptor(64 * x.size());
  DetectionResult result;
  for (auto _ : state)
    result = detectPoints(tile.grey.data(), {tile.width, tile.height}, 1, kBudget,
                          {x.data(), y.data(), scaleCode.data(), descriptor.data()});
  static const reference::Points expected = reference::detect(tile, 1, kBudget);
  const bool right = result.count == static_cast<int>(expected.x.size()) &&
                     std::equal(expected.x.begin(), expected.x.end(), x.begin()) &&
                     std::equal(expected.y.begin(), expected.y.end(), y.begin()) &&
                     std::equal(expected.scaleCode.begin(), expected.scaleCode.end(), scaleCode.begin()) &&
                     std::equal(expected.descriptor.begin(), expected.descriptor.end(), descriptor.begin());
  if (!right) state.SkipWithError("wrong answer");
  state.counters["points"] = result.count;
  reportRate(state, "pixels/s", static_cast<double>(tile.grey.size()));
}

[[maybe_unused]] const int registered = [] {
  registerForEveryTarget("detection", detectionOfTile);
  return 0;
}();

} // namespace
} // namespace vindrel::bench
