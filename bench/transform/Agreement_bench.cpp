// Counting the pairs that agree with a candidate, in pairs a second: of a candidate that wins, which is counted to the
// end, and of one that is given up.
#include "reference/AffineScore.h"
#include "reference/PerspectiveAgreement.h"
#include "support/PairList.h"
#include "support/RegisterForEveryTarget.h"
#include "transform/ConsensusPairs.h"
#include "transform/PerspectiveTrials.h"

namespace vindrel::bench {
namespace {

constexpr int kPairs = 437; // of a frame of 4000 x 3000 pixels
constexpr Size kFrame = {4000, 3000};
constexpr Trans8 kMotion = {0.998f, -0.012f, 15, 0.0125f, 1.001f, -10, 0.04f, -0.03f};

void reportPairs(benchmark::State &state) {
  state.SetItemsProcessed(state.iterations() * kPairs);
}

void perspective(benchmark::State &state, bool wins) {
  const test::PairList pairs =
      test::pairsOf(kMotion, kPairs * 2 / 3, kPairs - kPairs * 2 / 3, kFrame.width, kFrame.height, 1);
  ConsensusPairs sorted;
  if (!ConsensusPairs::sorted(pairs.view(), sorted)) return state.SkipWithError("no memory");
  test::PairList ordered;
  for (const std::int32_t i : sorted.order) {
    const auto at = static_cast<std::size_t>(i);
    ordered.add(pairs.xA[at], pairs.yA[at], pairs.xB[at], pairs.yB[at], pairs.dist[at]);
  }
  const reference::PerspectiveAgreement expected =
      reference::perspectiveAgreement(ordered.view(), kMotion.data(), 0, 1, 2);
  Trans8 candidate = kMotion;
  if (!wins) candidate[2] += 30;
  const int toBeat = expected.count - 1;
  Agreement found = {};
  for (auto _ : state)
    benchmark::DoNotOptimize(found = countAgreement(sorted, candidate, 0, 1, 2, toBeat));
  const bool right =
      wins ? found.count == expected.count && found.errorSum == expected.errorSum : found.count <= toBeat;
  if (!right) state.SkipWithError("wrong answer");
  reportPairs(state);
}

void affine(benchmark::State &state) {
  const test::PairList pairs =
      test::pairsOf(kMotion, kPairs * 2 / 3, kPairs - kPairs * 2 / 3, kFrame.width, kFrame.height, 1);
  const auto floats = [](const std::vector<std::int32_t> &values) {
    return std::vector<float>(values.begin(), values.end());
  };
  const std::vector<float> xA = floats(pairs.xA), yA = floats(pairs.yA), xB = floats(pairs.xB), yB = floats(pairs.yB);
  const RankedPairs ranked = {.count = kPairs, .xA = xA.data(), .yA = yA.data(), .xB = xB.data(), .yB = yB.data()};
  constexpr AffineSample kSample = {.anchor = 0, .first = 100, .second = 200};
  AffineScore found;
  for (auto _ : state)
    benchmark::DoNotOptimize(found = scoreAffine(kMotion.data(), ranked, kSample));
  const AffineScore expected = ::reference::affineScore(kMotion.data(), ranked, kSample);
  if (found.count != expected.count || found.meanError != expected.meanError) state.SkipWithError("wrong answer");
  reportPairs(state);
}

[[maybe_unused]] const int registered = [] {
  registerForEveryTarget("perspective agreement, counted", [](benchmark::State &state) { perspective(state, true); });
  registerForEveryTarget("perspective agreement, given up", [](benchmark::State &state) { perspective(state, false); });
  registerForEveryTarget("affine score", [](benchmark::State &state) { affine(state); });
  return 0;
}();

} // namespace
} // namespace vindrel::bench
