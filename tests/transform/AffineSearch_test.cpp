#include "transform/AffineSearch.h"

#include "VindrelRegLib.h"
#include "reference/AffineScore.h"
#include "reference/AffineSearch.h"
#include "support/EveryTarget.h"
#include "support/FailingAllocation.h"
#include "transform/AffineScore.h"
#include "transform/PairScene.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <limits>
#include <random>
#include <vector>

namespace {

using namespace vindrel;
using namespace vindrel::test;

class FindAt7 : public testing::Test {
protected:
  void SetUp() override {
    budget_ = MAX_MATCHES_OPTIMIZED;
    std::srand(0);
  }
  void TearDown() override { MAX_MATCHES_OPTIMIZED = budget_; }

private:
  int budget_ = 0;
};

int find(const PairScene &s, Trans6 &result) {
  return find_at7(s.width, s.height, s.count(), s.pairs.xA.data(), s.pairs.yA.data(), s.pairs.xB.data(),
                  s.pairs.yB.data(), s.dist.data(), result.data());
}

PairsView viewOf(const PairScene &s) {
  return {.count = s.count(),
          .xA = s.pairs.xA.data(),
          .yA = s.pairs.yA.data(),
          .xB = s.pairs.xB.data(),
          .yB = s.pairs.yB.data(),
          .dist = s.dist.data()};
}

AffineSearchResult search(const PairScene &s, int budget = 60) {
  std::srand(0);
  return searchAffine(viewOf(s), {.frame = {s.width, s.height}, .pairBudget = budget, .random = processRandom()});
}

Trans8 rotation(double degrees, double scale, float c, float f) {
  const double a = degrees * 0.017453292519943295;
  const float cosine = static_cast<float>(scale * std::cos(a)), sine = static_cast<float>(scale * std::sin(a));
  return {cosine, -sine, c, sine, cosine, f, 0, 0};
}

// ---- The whole search against its plain definition, to the bit and to the last random number

void expectAgreesWithReference(const PairScene &scene, int budget, unsigned seed) {
  MAX_MATCHES_OPTIMIZED = budget;
  std::srand(seed);
  Trans6 got{};
  const int anchors = find(scene, got);
  const int next = std::rand();
  std::srand(seed);
  const reference::Found expected =
      reference::affineSearch(scene.width, scene.height, scene.pairs, scene.dist, budget, [] { return std::rand(); });
  EXPECT_EQ(next, std::rand()) << "another number of draws";
  EXPECT_EQ(anchors, expected.anchors);
  EXPECT_EQ(got, expected.transform);
}

TEST_F(FindAt7, AgreesWithItsDefinitionOnConsistentNoisyAndWrongPairs) {
  unsigned seed = 0;
  for (double noise : {0.0, 0.4, 1.5})
    for (double wrong : {0.0, 0.3, 0.7, 1.0})
      for (int count : {2, 3, 4, 5, 7, 8, 20, 61, 200})
        for (bool ascending : {true, false}) {
          const PairScene scene = pairScene(++seed, {.count = count,
                                                     .transform = rotation(1.5, 1.01, 40, -25),
                                                     .noise = noise,
                                                     .wrongShare = wrong,
                                                     .ascending = ascending});
          SCOPED_TRACE(testing::Message() << "noise " << noise << " wrong " << wrong << " count " << count);
          expectAgreesWithReference(scene, 60, seed);
        }
}

TEST_F(FindAt7, AgreesWithItsDefinitionForAnyBudget) {
  const PairScene scene =
      pairScene(5, {.count = 150, .transform = rotation(-2, 1, 5, 9), .noise = 1, .wrongShare = 0.4});
  for (int budget : {-1, 0, 1, 2, 3, 6, 20, 149, 150, 151, 1000})
    expectAgreesWithReference(scene, budget, 7);
}

TEST_F(FindAt7, AgreesWithItsDefinitionOnFewDistinctPoints) {
  for (unsigned seed = 0; seed < 40; ++seed) {
    std::mt19937 random(seed);
    PairScene scene;
    for (int i = 0; i < 40; ++i) {
      const int x = static_cast<int>(random() % 4) * 100, y = static_cast<int>(random() % 3) * 100;
      scene.add(x, y, x + static_cast<int>(random() % 3), y - static_cast<int>(random() % 3),
                static_cast<float>(random() % 5));
    }
    expectAgreesWithReference(scene, 60, seed);
  }
}

TEST_F(FindAt7, AgreesWithItsDefinitionOnUnusableDistances) {
  PairScene scene = pairScene(6, {.count = 30});
  scene.dist[3] = std::numeric_limits<float>::quiet_NaN();
  scene.dist[4] = std::numeric_limits<float>::infinity();
  scene.dist[5] = -1e8f;
  scene.dist[6] = -5.0f;
  expectAgreesWithReference(scene, 60, 1);
  scene.dist.assign(scene.dist.size(), -1e8f);
  expectAgreesWithReference(scene, 60, 1);
}

TEST_F(FindAt7, AgreesWithItsDefinitionAtTheEndsOfTheRandomRange) {
  const PairScene scene = pairScene(8, {.count = 20});
  for (int fixed : {0, 1, 2147483647, 2147483646, 1073741824}) {
    int calls = 0;
    const auto alternate = [&calls, fixed] { return calls++ % 2 == 0 ? fixed : 1234567890; };
    const reference::Found expected =
        reference::affineSearch(scene.width, scene.height, scene.pairs, scene.dist, 60, alternate);
    struct State {
      int calls, fixed;
    } state = {0, fixed};
    const auto next = [](void *s) {
      State &st = *static_cast<State *>(s);
      return st.calls++ % 2 == 0 ? st.fixed : 1234567890;
    };
    const AffineSearchResult got = searchAffine(
        viewOf(scene),
        {.frame = {scene.width, scene.height}, .pairBudget = 60, .random = {.next = next, .state = &state}});
    EXPECT_EQ(got.transform, expected.transform);
    EXPECT_EQ(state.calls, calls);
  }
}

// ---- Behaviour

TEST_F(FindAt7, WithFewerThanTwoUsablePairsReturns0AndTheIdentity) {
  for (int count : {0, 1}) {
    const PairScene scene = pairScene(1, {.count = count, .transform = rotation(0, 1, 10, 10)});
    Trans6 result = {9, 9, 9, 9, 9, 9};
    EXPECT_EQ(find(scene, result), 0);
    EXPECT_EQ(result, kIdentity6);
    EXPECT_EQ(search(scene).outcome, AffineSearchOutcome::TooFewPairs);
  }
  MAX_MATCHES_OPTIMIZED = 1;
  Trans6 result{};
  EXPECT_EQ(find(pairScene(1, {.count = 50}), result), 0);
  EXPECT_EQ(result, kIdentity6);
}

TEST_F(FindAt7, FindsAWholePixelTranslationExactly) {
  const PairScene scene = pairScene(2, {.count = 100, .transform = rotation(0, 1, 37, -112)});
  Trans6 result{};
  EXPECT_EQ(find(scene, result), 59);
  for (int i = 0; i < scene.count(); ++i) {
    const auto k = static_cast<std::size_t>(i);
    const Point p =
        mapAffineF(result.data(), static_cast<float>(scene.pairs.xA[k]), static_cast<float>(scene.pairs.yA[k]));
    EXPECT_NEAR(p.x, scene.pairs.xB[k], 0.01);
    EXPECT_NEAR(p.y, scene.pairs.yB[k], 0.01);
  }
  EXPECT_EQ(search(scene).outcome, AffineSearchOutcome::Consensus);
}

TEST_F(FindAt7, RecoversRandomMapsThroughNoiseAndWrongPairs) {
  std::mt19937 random(9);
  std::uniform_real_distribution<float> shift(-300, 300), degrees(-5, 5), scale(0.95f, 1.05f);
  for (unsigned seed = 0; seed < 40; ++seed) {
    const Trans8 truth = rotation(degrees(random), scale(random), shift(random), shift(random));
    const PairScene scene =
        pairScene(seed, {.count = 300, .transform = truth, .noise = 0.5, .wrongShare = 0.35, .ascending = false});
    const AffineSearchResult found = search(scene, 150);
    ASSERT_EQ(found.outcome, AffineSearchOutcome::Consensus);
    for (const Point corner : {Point{0, 0}, Point{4000, 0}, Point{0, 3000}, Point{4000, 3000}}) {
      const Point expected = mapAffineF(truth.data(), corner.x, corner.y);
      const Point got = mapAffineF(found.transform.data(), corner.x, corner.y);
      EXPECT_NEAR(got.x, expected.x, 3) << seed;
      EXPECT_NEAR(got.y, expected.y, 3) << seed;
    }
  }
}

TEST_F(FindAt7, RefusesAShiftBeyondAFifthOfTheFrame) {
  Trans6 result{};
  PairScene scene = pairScene(3, {.count = 100, .transform = rotation(0, 1, 840, 0)}); // 21 % of 4000
  EXPECT_EQ(find(scene, result), 59);
  EXPECT_EQ(result, kIdentity6);
  EXPECT_EQ(search(scene).outcome, AffineSearchOutcome::ExcessiveShift);
  scene = pairScene(3, {.count = 100, .transform = rotation(0, 1, 0, -630)}); // 21 % of 3000
  EXPECT_EQ(search(scene).outcome, AffineSearchOutcome::ExcessiveShift);
  scene = pairScene(3, {.count = 100, .transform = rotation(0, 1, 760, -570)}); // 19 % each
  EXPECT_EQ(search(scene).outcome, AffineSearchOutcome::Consensus);
}

TEST_F(FindAt7, KeepsAShiftOfExactlyAFifth) {
  PairScene scene;
  scene.width = 1000;
  scene.height = 1000;
  for (int i = 0; i < 30; ++i) {
    const int x = i % 6 * 128, y = i / 6 * 128; // powers of two: the solver is exact
    scene.add(x, y, x + 200, y - 200, 0.01f * static_cast<float>(i));
  }
  const AffineSearchResult found = search(scene);
  EXPECT_EQ(found.outcome, AffineSearchOutcome::Consensus);
  EXPECT_EQ(found.transform[2], 200);
  EXPECT_EQ(found.transform[5], -200);
}

TEST_F(FindAt7, WithoutMoreSupportThanChanceYieldsTheIdentity) {
  const PairScene scene = pairScene(4, {.count = 80, .wrongShare = 1.0});
  Trans6 result{};
  EXPECT_EQ(find(scene, result), 59);
  EXPECT_EQ(result, kIdentity6);
  EXPECT_EQ(search(scene).outcome, AffineSearchOutcome::WeakSupport);
}

// Five consistent pairs: the last rank repeats the first pair, so a candidate is supported by at most the anchor's
// two and two more.
TEST_F(FindAt7, CountsTwoForASampleAndNotThree) {
  const PairScene five = pairScene(11, {.count = 5, .transform = rotation(0, 1, 16, 8)});
  EXPECT_EQ(search(five).outcome, AffineSearchOutcome::WeakSupport);
  const PairScene eight = pairScene(11, {.count = 8, .transform = rotation(0, 1, 16, 8)});
  EXPECT_EQ(search(eight).outcome, AffineSearchOutcome::Consensus);
}

TEST_F(FindAt7, RepeatsForTheSameSeedAndLeavesSeedingToItsCaller) {
  const PairScene scene =
      pairScene(12, {.count = 300, .transform = rotation(1, 1, 3, 4), .noise = 1, .wrongShare = 0.5});
  Trans6 a{}, b{}, c{};
  std::srand(42);
  find(scene, a);
  const int afterwards = std::rand();
  std::srand(42);
  find(scene, b);
  EXPECT_EQ(std::rand(), afterwards);
  find(scene, c); // goes on where the sequence stands
  EXPECT_EQ(a, b);
  EXPECT_NE(a, c);
}

TEST_F(FindAt7, AFailedAllocationReturnsMinus4AndLeaksNothing) {
  const PairScene scene = pairScene(13, {.count = 100, .transform = rotation(1, 1, 3, 4)});
  const long failures = forEachFailingAllocation([&](const FailingAllocation &failing) {
    Trans6 result = {9, 9, 9, 9, 9, 9};
    std::srand(0);
    const int anchors = find(scene, result);
    if (failing.reached()) {
      EXPECT_EQ(anchors, -4);
      EXPECT_EQ(result[0], 9);
    } else {
      EXPECT_EQ(anchors, 59);
    }
    EXPECT_EQ(failing.live(), 0);
  });
  EXPECT_GT(failures, 5);
}

// ---- Scoring

TEST(ScoreAffine, DoesNotCountASquaredErrorOfExactly4) {
  const float xA[5] = {0, 10, 20, 30, 40}, yA[5] = {0, 0, 5, 5, 9};
  float xB[5], yB[5];
  std::copy_n(xA, 5, xB);
  std::copy_n(yA, 5, yB);
  xB[3] += 2;       // squared error 4
  yB[4] += 1.9999f; // just below
  const AffineScore score = scoreAffine(kIdentity6.data(), {.count = 5, .xA = xA, .yA = yA, .xB = xB, .yB = yB},
                                        {.anchor = 0, .first = 1, .second = 2});
  EXPECT_EQ(score.count, 3);
  const float error = (yB[4] - 9) * (yB[4] - 9);
  EXPECT_EQ(score.meanError, error / 3);
}

TEST(ScoreAffine, EqualsTheDefinitionToTheBitForAnyNumberOfPairsAndAnySample) {
  onEveryTarget([] {
    std::mt19937 random(41);
    const float t[6] = {0.99f, 0.013f, 4.5f, -0.012f, 1.01f, -3.25f};
    for (int count = 1; count < 600; count += count < 70 ? 1 : 37) {
      const auto size = static_cast<std::size_t>(count);
      std::vector<float> xA(size), yA(size), xB(size), yB(size);
      for (std::size_t i = 0; i < size; ++i) {
        xA[i] = static_cast<float>(random() % 4000);
        yA[i] = static_cast<float>(random() % 3000);
        // Off by up to four pixels: within the limit, beyond it, and close to it.
        const auto noise = [&] { return static_cast<float>(static_cast<int>(random() % 513) - 256) / 64; };
        xB[i] = std::round(t[0] * xA[i] + t[1] * yA[i] + t[2]) + noise();
        yB[i] = std::round(t[3] * xA[i] + t[4] * yA[i] + t[5]) + noise();
      }
      const RankedPairs pairs = {.count = count, .xA = xA.data(), .yA = yA.data(), .xB = xB.data(), .yB = yB.data()};
      const auto rank = [&] { return static_cast<int>(random() % static_cast<unsigned>(count)); };
      for (const AffineSample &sample : {AffineSample{rank(), rank(), rank()}, AffineSample{0, 0, 0}}) {
        const AffineScore fast = scoreAffine(t, pairs, sample), slow = reference::affineScore(t, pairs, sample);
        ASSERT_EQ(fast.count, slow.count) << count;
        ASSERT_EQ(fast.meanError, slow.meanError) << count;
      }
    }
  });
}

TEST(ScoreAffine, OfAnUndefinedTransformCountsOnlyTheSample) {
  const float nan = std::numeric_limits<float>::quiet_NaN();
  const float t[6] = {nan, nan, nan, nan, nan, nan}, zeros[4] = {};
  const AffineScore score =
      scoreAffine(t, {.count = 4, .xA = zeros, .yA = zeros, .xB = zeros, .yB = zeros}, {.anchor = 0});
  EXPECT_EQ(score.count, 2);
  EXPECT_EQ(score.meanError, 0);
}

} // namespace
