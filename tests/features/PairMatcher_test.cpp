#include "VindrelRegLib.h"
#include "features/Descriptor.h"
#include "features/PairDistanceKernel.h"
#include "reference/PairMatcher.h"
#include "support/FailingAllocation.h"
#include "support/FeatureScenes.h"
#include "support/GuardedBuffer.h"

#include <gtest/gtest.h>

#include <limits>
#include <vector>

namespace vindrel::test {
namespace {

using reference::Pair;
using reference::PointSet;

struct Matched {
  int result;
  std::vector<Pair> pairs;
};

Matched match(const PointSet &a, const PointSet &b, int rangeX, int rangeY, int maxPairs) {
  const auto capacity = static_cast<std::size_t>(std::max(maxPairs, 0));
  GuardedBuffer<std::int32_t> xA(capacity), yA(capacity), xB(capacity), yB(capacity);
  GuardedBuffer<float> dist(capacity);
  Matched matched;
  matched.result = find_paires(maxPairs, rangeX, rangeY, a.count(), a.x.data(), a.y.data(), a.scaleCode.data(),
                               a.descriptor.data(), b.count(), b.x.data(), b.y.data(), b.scaleCode.data(),
                               b.descriptor.data(), xA.data(), yA.data(), xB.data(), yB.data(), dist.data());
  EXPECT_TRUE(xA.guardsIntact() && yA.guardsIntact() && xB.guardsIntact() && yB.guardsIntact() && dist.guardsIntact());
  for (int i = 0; i < matched.result; ++i) {
    const auto n = static_cast<std::size_t>(i);
    matched.pairs.push_back({xA[n], yA[n], xB[n], yB[n], dist[n]});
  }
  return matched;
}

// Points one at a time, told apart by their position; the descriptor is zero but for its first element.
struct Builder {
  PointSet set;
  Builder &add(std::int32_t x, std::int32_t y, std::int32_t scaleCode, float value) {
    set.x.push_back(x);
    set.y.push_back(y);
    set.scaleCode.push_back(scaleCode);
    set.descriptor.push_back(value);
    set.descriptor.resize(static_cast<std::size_t>(set.count()) * 64, 0.0f);
    return *this;
  }
};

// A single A point at (10, 10), scale 0, descriptor 0 against B.
Matched matchOrigin(const Builder &b, int rangeX = 100, int rangeY = 100) {
  return match(Builder().add(10, 10, 0, 0).set, b.set, rangeX, rangeY, 10);
}

TEST(FindPaires, MatchesTheReferenceOverWindowsSizesAndCaps) {
  int found = 0;
  for (const int count : {1, 2, 15, 16, 17, 33, 200})
    for (const int range : {0, 3, 20, 90, 1000})
      for (const int maxPairs : {1, 7, 60, 1000}) {
        SCOPED_TRACE(testing::Message() << count << " points, range " << range << ", at most " << maxPairs);
        const PointSet a = pointSet(count, 100, 80, 1, 9), b = pointSet(count + count / 5, 100, 80, 2, 9);
        const auto expected = reference::pairs(a, b, range, range / 2, maxPairs);
        const Matched matched = match(a, b, range, range / 2, maxPairs);
        ASSERT_EQ(static_cast<int>(expected.size()), matched.result);
        EXPECT_EQ(expected, matched.pairs);
        found += matched.result;
      }
  EXPECT_GT(found, 300);
}

TEST(FindPaires, MatchesTheReferenceForPointsInNoOrder) {
  PointSet a = pointSet(150, 100, 80, 3, 9), b = pointSet(150, 100, 80, 4, 9);
  std::mt19937 random(5);
  std::shuffle(b.y.begin(), b.y.end(), random);
  for (const int range : {5, 40, 200}) {
    const auto expected = reference::pairs(a, b, range, range, 1000);
    EXPECT_EQ(expected, match(a, b, range, range, 1000).pairs);
  }
}

TEST(FindPaires, MatchesTheReferenceWhereDistancesTie) {
  // Descriptors of few distinct values give many equal distances, zero among them.
  std::mt19937 random(6);
  Builder a, b;
  for (int i = 0; i < 120; ++i) {
    a.add(static_cast<int>(random() % 50), i / 4, 0, static_cast<float>(random() % 12));
    b.add(static_cast<int>(random() % 50), i / 4, 0, static_cast<float>(random() % 12));
  }
  for (const int maxPairs : {1, 5, 30, 500})
    EXPECT_EQ(reference::pairs(a.set, b.set, 20, 20, maxPairs), match(a.set, b.set, 20, 20, maxPairs).pairs);
}

TEST(FindPaires, ReturnsZeroWithoutPointsInEitherSet) {
  const PointSet some = pointSet(5, 50, 50, 7, 9), none;
  EXPECT_EQ(0, match(none, some, 10, 10, 20).result);
  EXPECT_EQ(0, match(some, none, 10, 10, 20).result);
  EXPECT_EQ(0, match(none, none, 10, 10, 20).result);
}

TEST(FindPaires, ReturnsACapBelowOneAsItIsAndWritesNothing) {
  const PointSet some = pointSet(50, 50, 50, 8, 9), none;
  std::int32_t untouched = 77;
  float dist = 77;
  for (const int maxPairs : {0, -1, -5})
    for (const PointSet *a : {&some, &none})
      EXPECT_EQ(maxPairs,
                find_paires(maxPairs, 100, 100, a->count(), a->x.data(), a->y.data(), a->scaleCode.data(),
                            a->descriptor.data(), some.count(), some.x.data(), some.y.data(), some.scaleCode.data(),
                            some.descriptor.data(), &untouched, &untouched, &untouched, &untouched, &dist));
  EXPECT_EQ(77, untouched);
  EXPECT_EQ(77, dist);
}

TEST(FindPaires, GivesABPointToTheAPointOfTheSmallerDistance) {
  const PointSet b = Builder().add(10, 10, 0, 0).set;
  const Matched laterIsNearer = match(Builder().add(1, 10, 0, 3).add(2, 10, 0, 2).set, b, 100, 100, 10);
  EXPECT_EQ((std::vector<Pair>{{2, 10, 10, 10, 4}}), laterIsNearer.pairs);
  const Matched earlierIsNearer = match(Builder().add(1, 10, 0, 2).add(2, 10, 0, 3).set, b, 100, 100, 10);
  EXPECT_EQ((std::vector<Pair>{{1, 10, 10, 10, 4}}), earlierIsNearer.pairs);
}

TEST(FindPaires, KeepsTheEarlierAPointOnEqualDistance) {
  const PointSet b = Builder().add(10, 10, 0, 0).set;
  const Matched matched = match(Builder().add(1, 10, 0, 2).add(2, 10, 0, -2).set, b, 100, 100, 10);
  EXPECT_EQ((std::vector<Pair>{{1, 10, 10, 10, 4}}), matched.pairs);
}

// Two candidates with the given distances to an A point, the farther one first.
Builder candidates(float first, float second) {
  Builder b;
  b.add(10, 10, 0, 1).add(11, 10, 0, 0);
  // Distances are sums of squares; spread over two elements they can be any sum of two squares, here scale times one.
  b.set.descriptor[0] = first;
  b.set.descriptor[64] = second;
  return b;
}

TEST(FindPaires, RejectsARatioWhoseFloatIsTheOneNearestFourTenths) {
  // Distances 10 = 1 + 9 and 4: the float quotient is the float nearest 0.4, which lies above it.
  Builder b = candidates(1, 2);
  b.set.descriptor[1] = 3;
  ASSERT_EQ(0.4f, 4.0f / 10.0f);
  EXPECT_EQ(0, matchOrigin(b).result);
}

TEST(FindPaires, AcceptsARatioBelowFourTenths) {
  // 3999 = 63^2 + 5^2 + 2^2 + 1^2 against 10000 = 100^2.
  Builder b = candidates(100, 63);
  b.set.descriptor[65] = 5;
  b.set.descriptor[66] = 2;
  b.set.descriptor[67] = 1;
  EXPECT_EQ((std::vector<Pair>{{10, 10, 11, 10, 3999}}), matchOrigin(b).pairs);
}

TEST(FindPaires, ComparesWithThePreviousBestAndNotWithALaterRunnerUp) {
  // The nearer candidate first: the other never becomes best, so nothing is compared.
  EXPECT_EQ((std::vector<Pair>{{10, 10, 10, 10, 1}}), matchOrigin(candidates(1, 1.0001f)).pairs);
  // In the other order the ratio is close to 1.
  EXPECT_EQ(0, matchOrigin(candidates(1.0001f, 1)).result);
}

TEST(FindPaires, AppliesNoRatioToASingleCandidate) {
  EXPECT_EQ((std::vector<Pair>{{10, 10, 10, 10, 9025}}), matchOrigin(Builder().add(10, 10, 0, 95)).pairs);
}

TEST(FindPaires, TakesNoCandidateAtTheLargestDistance) {
  EXPECT_EQ(0, matchOrigin(Builder().add(10, 10, 0, 10000)).result); // 10000^2 = 1e8
  EXPECT_EQ(1, matchOrigin(Builder().add(10, 10, 0, 9999)).result);
  EXPECT_EQ(0, matchOrigin(Builder().add(10, 10, 0, std::numeric_limits<float>::quiet_NaN())).result);
}

TEST(FindPaires, AcceptsDisplacementsUpToTheRangesInclusive) {
  for (const int dx : {-4, -3, 3, 4})
    for (const int dy : {-3, -2, 2, 3})
      EXPECT_EQ(std::abs(dx) <= 3 && std::abs(dy) <= 2 ? 1 : 0,
                matchOrigin(Builder().add(10 + dx, 10 + dy, 0, 1), 3, 2).result)
          << dx << " " << dy;
}

TEST(FindPaires, AcceptsAnyDisplacementWithTheLargestRanges) {
  const int all = std::numeric_limits<int>::max();
  EXPECT_EQ(1, matchOrigin(Builder().add(2000000000, 2000000000, 0, 1), all, all).result);
  EXPECT_EQ(1, matchOrigin(Builder().add(-2000000000, -2000000000, 0, 1), all, all).result);
}

TEST(FindPaires, AcceptsScaleCodesUpToFiftyApartInclusive) {
  for (const auto &[scale, expected] : {std::pair{-51, 0}, {-50, 1}, {50, 1}, {51, 0}})
    EXPECT_EQ(expected, matchOrigin(Builder().add(10, 10, scale, 1)).result) << scale;
}

TEST(FindPaires, EndsTheScanAtAScaleCodeAboveTheWindow) {
  EXPECT_EQ(0, matchOrigin(Builder().add(10, 10, 51, 1).add(10, 10, 0, 1)).result);
  // Wherever that point lies: the scale is looked at first.
  EXPECT_EQ(0, matchOrigin(Builder().add(999, -999, 51, 1).add(10, 10, 0, 1)).result);
  // Candidates before it stand.
  EXPECT_EQ(1, matchOrigin(Builder().add(10, 10, 0, 1).add(10, 10, 51, 0).add(10, 10, 0, 0)).result);
}

TEST(FindPaires, SkipsAScaleCodeBelowTheWindowAndGoesOn) {
  EXPECT_EQ(1, matchOrigin(Builder().add(10, 10, -51, 1).add(10, 10, 0, 1)).result);
  // Even one below the rows of the window, which would otherwise end the scan.
  EXPECT_EQ(1, matchOrigin(Builder().add(10, 999, -51, 1).add(10, 10, 0, 1)).result);
}

TEST(FindPaires, EndsTheScanAtARowBelowTheWindow) {
  EXPECT_EQ(0, matchOrigin(Builder().add(10, 111, 0, 1).add(10, 10, 0, 1)).result);
  EXPECT_EQ(1, matchOrigin(Builder().add(10, -91, 0, 1).add(10, 10, 0, 1)).result);
}

TEST(FindPaires, EndsTheScanAtAHighScaleCodeFarBeforeTheWindow) {
  for (const int scale : {50, 51}) {
    Builder b;
    b.add(10, 0, scale, 1);
    for (int i = 0; i < 40; ++i)
      b.add(10, 1, -51, 1);
    b.add(10, 10, 0, 1);
    EXPECT_EQ(scale == 50 ? 1 : 0, matchOrigin(b, 5, 5).result);
  }
}

TEST(FindPaires, EndsWith100001Matches) {
  // One candidate for each point, in a row of its own.
  const int count = 100003;
  PointSet set;
  set.x.resize(count);
  set.scaleCode.resize(count);
  set.descriptor.resize(std::size_t{64} * count);
  for (int i = 0; i < count; ++i)
    set.y.push_back(i);
  const Matched matched = match(set, set, 0, 0, count);
  ASSERT_EQ(100001, matched.result);
  EXPECT_EQ((Pair{0, 100000, 0, 100000, 0}), matched.pairs.back());
}

TEST(FindPaires, FindsNothingInANegativeRange) {
  EXPECT_EQ(0, matchOrigin(Builder().add(10, 10, 0, 1), -1, 5).result);
  EXPECT_EQ(0, matchOrigin(Builder().add(10, 10, 0, 1), 5, -1).result);
}

TEST(FindPaires, ReturnsAllMatchesSortedWhenTheCapIsLarger) {
  Builder a, b;
  const float values[] = {0.25f, 0.0625f, 0.5f, 0.125f};
  for (int i = 0; i < 4; ++i) {
    a.add(0, 1000 * i, 0, 0);
    b.add(0, 1000 * i, 0, values[i]);
  }
  const Matched matched = match(a.set, b.set, 10, 10, 100);
  ASSERT_EQ(4, matched.result);
  EXPECT_EQ((std::vector<Pair>{{0, 1000, 0, 1000, 0.00390625f},
                               {0, 3000, 0, 3000, 0.015625f},
                               {0, 0, 0, 0, 0.0625f},
                               {0, 2000, 0, 2000, 0.25f}}),
            matched.pairs);
}

TEST(FindPaires, ReportsTheFailureOfAnyAllocationAndReleasesTheOthers) {
  const PointSet a = pointSet(40, 50, 50, 10, 9), b = pointSet(40, 50, 50, 11, 9);
  std::vector<std::int32_t> out(40);
  std::vector<float> dist(40);
  const long failures = forEachFailingAllocation([&](const FailingAllocation &failing) {
    const int result = find_paires(40, 50, 50, a.count(), a.x.data(), a.y.data(), a.scaleCode.data(),
                                   a.descriptor.data(), b.count(), b.x.data(), b.y.data(), b.scaleCode.data(),
                                   b.descriptor.data(), out.data(), out.data(), out.data(), out.data(), dist.data());
    if (failing.reached())
      EXPECT_EQ(-4, result);
    else
      EXPECT_GT(result, 0);
    EXPECT_EQ(0, failing.live());
  });
  EXPECT_GT(failures, 0);
}

TEST(LaneDistances, EqualTheOrderedSumOfEachDescriptor) {
  for (int count = 1; count <= kDistanceLanes; ++count) {
    const PointSet set = pointSet(count + 1, 10, 10, 12u + static_cast<unsigned>(count), 9);
    std::vector<float> interleaved(static_cast<std::size_t>(kDescriptorLength * kDistanceLanes));
    interleave(set.descriptor.data() + 64, count, interleaved.data());
    GuardedBuffer<float> distances(kDistanceLanes);
    laneDistances(set.descriptor.data(), interleaved.data(), distances.data());
    for (int j = 0; j < count; ++j)
      EXPECT_EQ(descriptorDistance(set.descriptor.data(), set.descriptor.data() + 64 * (j + 1), 64),
                distances[static_cast<std::size_t>(j)]);
    EXPECT_TRUE(distances.guardsIntact());
  }
}

} // namespace
} // namespace vindrel::test
