// Descriptors of the points of a tile, from the detector's integral image and from the 32-bit one of the flat
// interface, in points a second.
#include "features/BenchTile.h"
#include "features/Descriptor.h"
#include "support/RegisterForEveryTarget.h"

#include <random>
#include <vector>

namespace vindrel::bench {
namespace {

constexpr int kPoints = 1310;

template <class Sum>
void descriptorsOfTile(benchmark::State &state) {
  const reference::Image &tile = benchTile();
  static const std::vector<std::uint32_t> wide = reference::integral(tile);
  const std::vector<Sum> sums(wide.begin(), wide.end());
  std::mt19937 random(1);
  std::vector<std::int32_t> x(kPoints), y(kPoints), scaleCode(kPoints, 30);
  for (std::size_t i = 0; i < kPoints; ++i) {
    x[i] = 21 + static_cast<std::int32_t>(random() % (kTileSide - 42));
    y[i] = 21 + static_cast<std::int32_t>(i * (kTileSide - 42) / kPoints);
  }
  std::vector<float> descriptor(kPoints * std::size_t{kDescriptorLength});
  for (auto _ : state) {
    describePoints(IntegralView<Sum>{sums.data(), kTileSide}, {.count = kPoints,
                                                               .x = x.data(),
                                                               .y = y.data(),
                                                               .scaleCode = scaleCode.data(),
                                                               .descriptor = descriptor.data()});
    benchmark::ClobberMemory();
  }
  std::vector<float> expected(descriptor.size());
  bool right = true;
  for (std::size_t i = 0; i < kPoints; ++i) {
    std::int32_t code = 30;
    reference::describe({wide.data(), kTileSide}, y[i] * kTileSide + x[i], code, &expected[64 * i]);
    right &= code == scaleCode[i];
  }
  if (!right || expected != descriptor) state.SkipWithError("wrong answer");
  reportRate(state, "points/s", kPoints);
}

[[maybe_unused]] const int registered = [] {
  registerForEveryTarget("descriptors/16bit", descriptorsOfTile<std::uint16_t>);
  registerForEveryTarget("descriptors/32bit", descriptorsOfTile<std::uint32_t>);
  return 0;
}();

} // namespace
} // namespace vindrel::bench
