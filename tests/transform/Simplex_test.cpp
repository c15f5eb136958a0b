#include "VindrelRegLib.h"

#include "reference/Simplex.h"
#include "reference/TransformCost.h"
#include "support/FailingAllocation.h"
#include "transform/PairScene.h"

#include <gtest/gtest.h>

#include <climits>
#include <limits>
#include <random>

namespace {

using namespace vindrel;
using namespace vindrel::test;
using reference::Vertex;

std::vector<Vertex> startsNear(const Trans8 &truth, std::size_t n, float spread, std::mt19937 &random) {
  std::uniform_real_distribution<float> offset(-1, 1);
  std::vector<Vertex> starts(n + 1);
  for (Vertex &v : starts) {
    v.assign(truth.begin(), truth.begin() + static_cast<std::ptrdiff_t>(n));
    for (std::size_t k = 0; k < n; ++k)
      v[k] += offset(random) * spread * (k == 2 || k == 5 ? 10.0f : k >= 6 ? 0.5f : 0.01f);
  }
  return starts;
}

struct Search {
  int n;
  decltype(&find_affine) find;
  decltype(&calc_diff4trans) cost;
  int (*reference)(const float *, const reference::WholePairs &);
};

const Search kSearches[] = {{6, find_affine, calc_diff4trans, reference::affineCost},
                            {8, find_transform, calc_diff8trans, reference::perspectiveCost}};

Vertex flat(const std::vector<Vertex> &starts) {
  Vertex all;
  for (const Vertex &v : starts)
    all.insert(all.end(), v.begin(), v.end());
  return all;
}

int run(const Search &s, const reference::WholePairs &p, const std::vector<Vertex> &starts, Vertex &result) {
  const Vertex all = flat(starts);
  return s.find(s.n, static_cast<int>(p.xA.size()), p.xA.data(), p.yA.data(), p.xB.data(), p.yB.data(), all.data(),
                result.data());
}

TEST(SimplexSearch, AgreesWithItsDefinitionToTheBit) {
  std::mt19937 random(21);
  for (const Search &s : kSearches) {
    for (int repeat = 0; repeat < 200; ++repeat) {
      const Trans8 truth = {1.01f, 0.02f, 14, -0.02f, 0.99f, -30, s.n == 8 ? 0.3f : 0, s.n == 8 ? -0.2f : 0};
      const PairScene scene = pairScene(static_cast<unsigned>(repeat),
                                        {.count = repeat % 40, .transform = truth, .noise = repeat % 3 * 1.0});
      const float spread = repeat % 5 == 0 ? 0.0f : 0.001f * static_cast<float>(repeat * repeat % 3001);
      std::vector<Vertex> starts = startsNear(truth, static_cast<std::size_t>(s.n), spread, random);
      if (repeat % 7 == 0) starts.back().assign(starts.back().size(), 0.0f);
      Vertex got(static_cast<std::size_t>(s.n) + 1, 77.0f);
      ASSERT_EQ(run(s, scene.pairs, starts, got), 1);
      EXPECT_EQ(got.back(), 77.0f);
      got.pop_back();
      const Vertex expected =
          reference::simplexSearch(starts, [&](const Vertex &v) { return s.reference(v.data(), scene.pairs); });
      ASSERT_EQ(got, expected) << s.n << " values, repeat " << repeat;
    }
  }
}

TEST(SimplexSearch, NeverEndsWorseThanItsBestStart) {
  std::mt19937 random(22);
  for (const Search &s : kSearches) {
    for (unsigned repeat = 0; repeat < 100; ++repeat) {
      const PairScene scene = pairScene(repeat, {.count = 50, .noise = 1});
      const std::vector<Vertex> starts = startsNear(kIdentity8, static_cast<std::size_t>(s.n), 1.0f, random);
      int least = INT_MAX;
      for (const Vertex &v : starts)
        least = std::min(least, s.reference(v.data(), scene.pairs));
      Vertex got(static_cast<std::size_t>(s.n));
      run(s, scene.pairs, starts, got);
      EXPECT_LE(s.reference(got.data(), scene.pairs), least);
    }
  }
}

TEST(SimplexSearch, OfIdenticalPerfectStartsStaysThere) {
  for (const Search &s : kSearches) {
    const PairScene scene = pairScene(23, {.count = 20});
    const std::vector<Vertex> starts(static_cast<std::size_t>(s.n) + 1,
                                     Vertex(kIdentity8.begin(), kIdentity8.begin() + s.n));
    Vertex got(static_cast<std::size_t>(s.n));
    ASSERT_EQ(run(s, scene.pairs, starts, got), 1);
    EXPECT_EQ(got, starts[0]);
  }
}

TEST(SimplexSearch, WithoutPointsKeepsTheFirstCandidateOrItsReflection) {
  // All costs are 0: one move is made, then the first point of least cost is handed out.
  for (const Search &s : kSearches) {
    std::mt19937 random(24);
    const std::vector<Vertex> starts = startsNear(kIdentity8, static_cast<std::size_t>(s.n), 1.0f, random);
    Vertex got(static_cast<std::size_t>(s.n));
    ASSERT_EQ(run(s, {}, starts, got), 1);
    EXPECT_EQ(got, reference::simplexSearch(starts, [](const Vertex &) { return 0; }));
  }
}

TEST(SimplexSearch, SurvivesUndefinedAndEnormousStarts) {
  const PairScene scene = pairScene(25, {.count = 20});
  for (const Search &s : kSearches) {
    for (float wild : {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity(), 1e30f}) {
      std::vector<Vertex> starts(static_cast<std::size_t>(s.n) + 1, Vertex(static_cast<std::size_t>(s.n), wild));
      starts[3].assign(kIdentity8.begin(), kIdentity8.begin() + s.n);
      Vertex got(static_cast<std::size_t>(s.n));
      ASSERT_EQ(run(s, scene.pairs, starts, got), 1);
      EXPECT_EQ(got, starts[3]); // cost 0, the rest cost the most there is
    }
  }
}

TEST(SimplexSearch, AFailedAllocationReturnsMinus4AndLeavesTheResultAlone) {
  const PairScene scene = pairScene(26, {.count = 20});
  for (const Search &s : kSearches) {
    std::mt19937 random(26);
    const Vertex starts = flat(startsNear(kIdentity8, static_cast<std::size_t>(s.n), 1.0f, random));
    const reference::WholePairs &p = scene.pairs;
    const long failures = forEachFailingAllocation([&](const FailingAllocation &failing) {
      float got[8] = {9, 9, 9, 9, 9, 9, 9, 9};
      const int result = s.find(s.n, 20, p.xA.data(), p.yA.data(), p.xB.data(), p.yB.data(), starts.data(), got);
      EXPECT_EQ(result, failing.reached() ? -4 : 1);
      EXPECT_EQ(got[0] == 9, failing.reached());
      EXPECT_EQ(failing.live(), 0);
    });
    EXPECT_EQ(failures, 2);
  }
}

// ---- Costs

TEST(CalcDiff, AgreesWithItsDefinitionForManyCountsAndOffsets) {
  std::mt19937 random(31);
  std::uniform_real_distribution<float> value(-2, 2);
  for (int count = 0; count <= 70; ++count) {
    const PairScene scene = pairScene(static_cast<unsigned>(count), {.count = count, .noise = 3});
    const reference::WholePairs &p = scene.pairs;
    Vertex params(8 + static_cast<std::size_t>(count % 5));
    for (float &v : params)
      v = value(random);
    const int first = count % 5;
    EXPECT_EQ(calc_diff4trans(6, count, params.data(), first, p.xA.data(), p.yA.data(), p.xB.data(), p.yB.data()),
              reference::affineCost(params.data() + first, p));
    EXPECT_EQ(calc_diff8trans(8, count, params.data(), first, p.xA.data(), p.yA.data(), p.xB.data(), p.yB.data()),
              reference::perspectiveCost(params.data() + first, p));
  }
}

TEST(CalcDiff, TruncatesTheSumAndIs0WithoutPoints) {
  const int32_t xA[2] = {0, 10}, yA[2] = {0, 10}, xB[2] = {1, 11}, yB[2] = {0, 10};
  const float t[8] = {1, 0, 0.25f, 0, 1, 0.2f, 0, 0}; // 0.75 + 0.2 each: 1.9
  EXPECT_EQ(calc_diff4trans(6, 2, t, 0, xA, yA, xB, yB), 1);
  EXPECT_EQ(calc_diff8trans(8, 2, t, 0, xA, yA, xB, yB), 1);
  EXPECT_EQ(calc_diff4trans(6, 0, t, 0, nullptr, nullptr, nullptr, nullptr), 0);
  EXPECT_EQ(calc_diff8trans(8, -1, t, 0, nullptr, nullptr, nullptr, nullptr), 0);
}

TEST(CalcDiff, BeyondIntIsTheLargestIntAndUndefinedToo) {
  const int32_t xA[1] = {1000}, yA[1] = {1000}, xB[1] = {0}, yB[1] = {0};
  for (float wild : {1e30f, std::numeric_limits<float>::infinity(), std::numeric_limits<float>::quiet_NaN(), 2e6f}) {
    const float t[8] = {wild, 0, 0, 0, wild, 0, 0, 0};
    EXPECT_EQ(calc_diff4trans(6, 1, t, 0, xA, yA, xB, yB), INT_MAX) << wild;
    EXPECT_EQ(calc_diff8trans(8, 1, t, 0, xA, yA, xB, yB), INT_MAX) << wild;
  }
}

} // namespace
