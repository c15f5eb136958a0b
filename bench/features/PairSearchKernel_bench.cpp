// The search for pairs between the points of two tiles: the points within windows, the nearest of all, exact distances,
// and all together. In points a second; of those searched for, or measured.
#include "features/BenchTile.h"
#include "features/Descriptor.h"
#include "features/PairMatcher.h"
#include "features/PairSearchKernel.h"
#include "reference/PairMatcher.h"
#include "support/RegisterForEveryTarget.h"

#include <algorithm>
#include <limits>
#include <numeric>
#include <vector>

namespace vindrel::bench {
namespace {

constexpr int kPoints = 1310;

// Of one tile and of another with a third of its points, their descriptors a little changed.
const reference::PointSet &pointsA() {
  static const reference::PointSet set = test::pointSet(kPoints, kTileSide, kTileSide, 1, 9);
  return set;
}
const reference::PointSet &pointsB() {
  static const reference::PointSet set = test::pointSet(kPoints, kTileSide, kTileSide, 2, 9);
  return set;
}

// Columns with room for whole vectors.
struct Searched {
  std::vector<std::int32_t> x = pointsB().x, y = pointsB().y, scaleCode = pointsB().scaleCode;
  SearchedSet set;
  Searched() {
    for (auto *column : {&x, &y, &scaleCode})
      column->resize(column->size() + kSearchSlack);
    set = {.count = kPoints,
           .x = x.data(),
           .y = y.data(),
           .scaleCode = scaleCode.data(),
           .descriptor = pointsB().descriptor.data()};
  }
};

void windowsOf32Pixels(benchmark::State &state) {
  const Searched searched;
  const reference::PointSet &a = pointsA();
  std::vector<std::int32_t> indices(kPoints + kSearchSlack);
  const auto limitsOf = [&](std::size_t i) {
    return PairLimits{a.scaleCode[i] - 50, a.scaleCode[i] + 90, a.x[i] - 32, a.x[i] + 32, a.y[i] - 32, a.y[i] + 32};
  };
  int listed = 0;
  for (auto _ : state) {
    listed = 0;
    for (std::size_t i = 0; i < kPoints; ++i)
      listed += listWindow(searched.set, 0, limitsOf(i), indices.data());
  }
  int expected = 0;
  for (std::size_t i = 0; i < kPoints; ++i) {
    const PairLimits limits = limitsOf(i);
    for (std::size_t j = 0; j < kPoints; ++j) {
      if (searched.scaleCode[j] < limits.scaleLow) continue;
      if (searched.scaleCode[j] > limits.scaleHigh || searched.y[j] > limits.yHigh) break;
      expected += searched.y[j] >= limits.yLow && searched.x[j] >= limits.xLow && searched.x[j] <= limits.xHigh;
    }
  }
  if (listed != expected) state.SkipWithError("wrong answer");
  reportRate(state, "points/s", kPoints);
}

void nearestOfAll(benchmark::State &state) {
  const Searched searched;
  std::vector<std::int32_t> indices(kPoints + kSearchSlack);
  std::vector<float> estimates(kPoints + kSearchSlack);
  std::vector<std::int32_t> nearest(kPoints);
  for (auto _ : state)
    for (std::size_t i = 0; i < kPoints; ++i) {
      std::iota(indices.begin(), indices.begin() + kPoints, 0);
      const int kept = keepNear(searched.set, &pointsA().descriptor[64 * i], indices.data(), kPoints, estimates.data());
      nearest[i] = indices[static_cast<std::size_t>(std::min_element(estimates.begin(), estimates.begin() + kept) -
                                                    estimates.begin())];
    }
  bool right = true;
  for (std::size_t i = 0; i < kPoints; i += 10) {
    float least = std::numeric_limits<float>::infinity();
    for (std::size_t j = 0; j < kPoints; ++j)
      least = std::min(least, descriptorDistance(&pointsA().descriptor[64 * i], &pointsB().descriptor[64 * j], 64));
    const auto found = static_cast<std::size_t>(nearest[i]);
    const float distance = descriptorDistance(&pointsA().descriptor[64 * i], &pointsB().descriptor[64 * found], 64);
    right &= distance <= least * kEstimateFactor;
  }
  if (!right) state.SkipWithError("wrong answer");
  reportRate(state, "distances/s", double{kPoints} * kPoints);
}

void exactDistances(benchmark::State &state) {
  std::vector<DescriptorPair> pairs;
  for (std::size_t i = 0; i < kPoints; ++i)
    pairs.push_back({&pointsA().descriptor[64 * i], &pointsB().descriptor[64 * i]});
  std::vector<float> distances(kPoints);
  for (auto _ : state) {
    pairDistances(pairs.data(), kPoints, distances.data());
    benchmark::ClobberMemory();
  }
  for (std::size_t i = 0; i < kPoints; ++i)
    if (distances[i] != descriptorDistance(pairs[i].a, pairs[i].b, 64)) state.SkipWithError("wrong answer");
  reportRate(state, "distances/s", kPoints);
}

void pairsOfTiles(benchmark::State &state, int range) {
  const auto view = [](const reference::PointSet &set) {
    return FeatureSet{set.count(), set.x.data(), set.y.data(), set.scaleCode.data(), set.descriptor.data()};
  };
  std::vector<std::int32_t> xA(kPoints), yA = xA, xB = xA, yB = xA;
  std::vector<float> dist(kPoints);
  MatchResult result;
  for (auto _ : state)
    result = matchPairs(view(pointsA()), view(pointsB()), {range, range}, kPoints,
                        {xA.data(), yA.data(), xB.data(), yB.data(), dist.data()});
  const std::vector<reference::Pair> expected = reference::pairs(pointsA(), pointsB(), range, range, kPoints);
  bool right = result.count == static_cast<int>(expected.size());
  for (std::size_t n = 0; right && n < expected.size(); ++n)
    right = expected[n] == reference::Pair{xA[n], yA[n], xB[n], yB[n], dist[n]};
  if (!right) state.SkipWithError("wrong answer");
  reportRate(state, "points/s", kPoints);
}

[[maybe_unused]] const int registered = [] {
  registerForEveryTarget("windows/range:32", windowsOf32Pixels);
  registerForEveryTarget("nearest/whole frame", nearestOfAll);
  registerForEveryTarget("distances", exactDistances);
  for (const int range : {32, 300, kTileSide})
    registerForEveryTarget("pairs/range:" + std::to_string(range),
                           [range](benchmark::State &state) { pairsOfTiles(state, range); });
  return 0;
}();

} // namespace
} // namespace vindrel::bench
