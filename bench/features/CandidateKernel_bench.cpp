// The first look at the pixels of a tile: estimates of the size-15 determinant, and the search among them for what may
// be an extremum, in pixels a second.
#include "features/BenchTile.h"
#include "features/BoxFilter.h"
#include "features/CandidateKernel.h"
#include "support/RegisterForEveryTarget.h"

#include <cmath>
#include <vector>

namespace vindrel::bench {
namespace {

constexpr int kFirst = kResponseMargin, kLast = kTileSide - kResponseMargin - 1;
constexpr std::size_t kStride = kTileSide + kCandidateSlack;

std::vector<std::uint16_t> sumsOfTile() {
  const reference::Image &tile = benchTile();
  std::vector<std::uint16_t> sums(tile.grey.size());
  fillIntegral(tile.grey.data(), {tile.width, tile.height}, sums.data());
  return sums;
}

std::vector<float> estimatesOfTile(const std::vector<std::uint16_t> &sums, std::vector<std::int16_t> &work) {
  std::vector<float> estimates(kStride * kTileSide);
  for (int y = kFirst; y <= kLast; ++y)
    estimateRow({sums.data(), kTileSide}, y, work.data(), &estimates[static_cast<std::size_t>(y) * kStride]);
  return estimates;
}

// Responses are determinants times 25 / 193, rounded to single precision.
bool areEstimates(const std::vector<float> &estimates) {
  static const std::vector<std::uint32_t> sums = reference::integral(benchTile());
  const reference::Boxes boxes = {sums.data(), kTileSide};
  for (int y = kFirst; y <= kLast; y += 7)
    for (int x = kFirst; x <= kLast; ++x) {
      const double exact = double{reference::response(boxes, y * kTileSide + x, 15)} * 193 / 25;
      const double estimate = double{estimates[static_cast<std::size_t>(y) * kStride + static_cast<std::size_t>(x)]};
      if (!(std::abs(estimate - exact) <= kEstimateError + std::abs(exact) * 1e-7)) return false;
    }
  return true;
}

void estimatesOfTileBench(benchmark::State &state) {
  const std::vector<std::uint16_t> sums = sumsOfTile();
  std::vector<std::int16_t> work(kEstimateWorkRows * kStride);
  std::vector<float> ring(3 * kStride);
  for (auto _ : state) {
    for (int y = kFirst; y <= kLast; ++y) // as the detector keeps them, in three rows
      estimateRow({sums.data(), kTileSide}, y, work.data(), &ring[static_cast<std::size_t>(y % 3) * kStride]);
    benchmark::ClobberMemory();
  }
  if (!areEstimates(estimatesOfTile(sums, work))) state.SkipWithError("wrong answer");
  reportRate(state, "pixels/s", (kLast - kFirst + 1.0) * (kLast - kFirst + 1.0));
}

void candidatesOfTile(benchmark::State &state) {
  const std::vector<std::uint16_t> sums = sumsOfTile();
  std::vector<std::int16_t> work(kEstimateWorkRows * kStride);
  const std::vector<float> estimates = estimatesOfTile(sums, work);
  std::vector<std::int32_t> columns(kTileSide);
  int count = 0;
  for (auto _ : state) {
    count = 0;
    for (int y = kScanMargin; y < kTileSide - kScanMargin; ++y) {
      const float *row = &estimates[static_cast<std::size_t>(y) * kStride];
      count += findCandidates(row - kStride, row, row + kStride, kScanMargin, kTileSide - kScanMargin, columns.data());
    }
    benchmark::ClobberMemory();
  }
  static const int expected = count; // of the first target; that they hold all extrema is what the tests compare
  if (count != expected || count == 0) state.SkipWithError("wrong answer");
  state.counters["candidates"] = count;
  reportRate(state, "pixels/s", (kTileSide - 2.0 * kScanMargin) * (kTileSide - 2.0 * kScanMargin));
}

[[maybe_unused]] const int registered = [] {
  registerForEveryTarget("estimates", estimatesOfTileBench);
  registerForEveryTarget("candidates", candidatesOfTile);
  return 0;
}();

} // namespace
} // namespace vindrel::bench
