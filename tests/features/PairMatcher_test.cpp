#include "VindrelRegLib.h"
#include "features/Descriptor.h"
#include "features/PairSearchKernel.h"
#include "reference/PairMatcher.h"
#include "support/EveryTarget.h"
#include "support/FailingAllocation.h"
#include "support/FeatureScenes.h"
#include "support/GuardedBuffer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <initializer_list>
#include <limits>
#include <random>
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
        onEveryTarget([&] {
          const Matched matched = match(a, b, range, range / 2, maxPairs);
          ASSERT_EQ(static_cast<int>(expected.size()), matched.result);
          EXPECT_EQ(expected, matched.pairs);
          found += matched.result;
        });
      }
  EXPECT_GT(found, 300);
}

TEST(FindPaires, MatchesTheReferenceForPointsInNoOrder) {
  PointSet a = pointSet(150, 100, 80, 3, 9), b = pointSet(150, 100, 80, 4, 9);
  std::mt19937 random(5);
  std::shuffle(b.y.begin(), b.y.end(), random);
  for (const int range : {5, 40, 200}) {
    const auto expected = reference::pairs(a, b, range, range, 1000);
    onEveryTarget([&] { EXPECT_EQ(expected, match(a, b, range, range, 1000).pairs); });
  }
}

TEST(FindPaires, MatchesTheReferenceForPointsNearlyInOrder) {
  // As refinement leaves them: a row up or down from where the scan met them.
  PointSet a = pointSet(300, 200, 160, 13, 9), b = pointSet(300, 200, 160, 14, 9);
  std::mt19937 random(15);
  for (PointSet *set : {&a, &b})
    for (auto &y : set->y)
      y += static_cast<std::int32_t>(random() % 3) - 1;
  for (const int range : {0, 4, 15, 60})
    EXPECT_EQ(reference::pairs(a, b, range, range, 1000), match(a, b, range, range, 1000).pairs);
}

TEST(FindPaires, MatchesTheReferenceWhereRatiosAreCloseToTheLimit) {
  // Pairs of candidates with a ratio of 0.4 and a few units in the last place: estimates cannot tell.
  std::mt19937 random(16);
  int accepted = 0, rejected = 0;
  for (int trial = 0; trial < 300; ++trial) {
    PointSet a = pointSet(1, 10, 10, static_cast<unsigned>(random()), 1), b;
    const float far = std::sqrt(0.25f), near = std::sqrt(0.1f) * (1 + static_cast<float>(trial % 21 - 10) * 3e-8f);
    for (const float length : {far, near}) {
      b.x.push_back(a.x[0]), b.y.push_back(a.y[0]), b.scaleCode.push_back(a.scaleCode[0]);
      std::vector<float> direction(64);
      float squares = 0;
      for (float &value : direction) {
        value = static_cast<float>(static_cast<int>(random() % 2001) - 1000);
        squares += value * value;
      }
      for (std::size_t k = 0; k < 64; ++k)
        b.descriptor.push_back(a.descriptor[k] + direction[k] * (length / std::sqrt(squares)));
    }
    const auto expected = reference::pairs(a, b, 5, 5, 10);
    ++(expected.empty() ? rejected : accepted);
    onEveryTarget([&] { ASSERT_EQ(expected, match(a, b, 5, 5, 10).pairs) << "trial " << trial; });
  }
  EXPECT_GT(accepted, 20);
  EXPECT_GT(rejected, 20);
}

TEST(FindPaires, MatchesTheReferenceForDescriptorsOfAnySize) {
  // From distances that vanish to ones that overflow, zero, infinity and what is not a number among them.
  std::mt19937 random(17);
  const float sizes[] = {0.0f,
                         1e-45f,
                         1e-30f,
                         1e-23f,
                         1e-19f,
                         1e-16f,
                         1e-15f,
                         1.0f,
                         1000.0f,
                         9.99e3f,
                         1e4f,
                         1.1e4f,
                         1e19f,
                         1e30f,
                         std::numeric_limits<float>::infinity(),
                         std::numeric_limits<float>::quiet_NaN()};
  for (int trial = 0; trial < 200; ++trial) {
    Builder a, b;
    for (int i = 0; i < 12; ++i) {
      a.add(i, i, 0, 0);
      b.add(i, i, 0, 0);
      for (Builder *set : {&a, &b}) {
        const float size = sizes[random() % (trial % 2 == 0 ? 10 : 16)];
        for (std::size_t k = 0; k < 64; k += 1 + random() % 40)
          set->set.descriptor[static_cast<std::size_t>(i) * 64 + k] = size * static_cast<float>(1 + random() % 3);
      }
    }
    const auto expected = reference::pairs(a.set, b.set, 20, 20, 100);
    onEveryTarget([&] { ASSERT_EQ(expected, match(a.set, b.set, 20, 20, 100).pairs) << "trial " << trial; });
  }
}

TEST(FindPaires, MatchesTheReferenceWhereSquaresAreHalvesOfTheLeastNumber) {
  // Squares of half the least number above 0 vanish, but not where they are added before they are rounded: a distance
  // of 2 such units has an estimate of 4 then, which is greater than a distance of 3.
  const float half = std::ldexp(1.0f, -75), one = 1.4f * half;
  const auto squares = [&](Builder &b, std::initializer_list<float> roots) {
    b.add(10, 10, 0, 0);
    std::size_t at = b.set.descriptor.size() - 64;
    for (const float root : roots) { // of one lane each time, in vectors of up to 16
      b.set.descriptor[at] = root;
      at += 16;
    }
  };
  Builder b;
  squares(b, {one, one, one});
  squares(b, {one, half, one, half});
  const PointSet a = Builder().add(10, 10, 0, 0).set;
  const auto expected = reference::pairs(a, b.set, 5, 5, 10);
  EXPECT_TRUE(expected.empty()); // 2 is more than 0.4 of 3
  onEveryTarget([&] { EXPECT_EQ(expected, match(a, b.set, 5, 5, 10).pairs); });
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
  for (int offset = -4; offset <= 4; ++offset) {
    EXPECT_EQ(0, matchOrigin(Builder().add(10 + offset, 10, 0, 1), -3, 5).result) << offset;
    EXPECT_EQ(0, matchOrigin(Builder().add(10, 10 + offset, 0, 1), 5, -3).result) << offset;
  }
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

// Columns of a set with room for whole vectors.
struct Columns {
  explicit Columns(const PointSet &set) : x(set.x), y(set.y), scaleCode(set.scaleCode) {
    for (auto *column : {&x, &y, &scaleCode})
      column->resize(column->size() + kSearchSlack, 12345);
    searched = {.count = set.count(),
                .x = x.data(),
                .y = y.data(),
                .scaleCode = scaleCode.data(),
                .descriptor = set.descriptor.data()};
  }
  std::vector<std::int32_t> x, y, scaleCode;
  SearchedSet searched;
};

TEST(ListWindow, ListsWhatLiesWithinTheLimitsUpToThePointThatEndsTheSearch) {
  onEveryTarget([] {
    std::mt19937 random(18);
    int listed = 0;
    for (int count = 0; count < 45; ++count)
      for (int trial = 0; trial < 30; ++trial) {
        PointSet set = pointSet(count, 12, 30, static_cast<unsigned>(random()), 9);
        if (trial % 3 == 0) std::shuffle(set.y.begin(), set.y.end(), random);
        const Columns columns(set);
        const int scale = static_cast<int>(random() % 100) - 60, x = static_cast<int>(random() % 12);
        const int y = static_cast<int>(random() % 30), first = static_cast<int>(random() % 5);
        const PairLimits limits = {scale, scale + 80, x - 5, x + 5, y - 12, y + 12};
        std::vector<std::int32_t> expected;
        for (int j = first; j < count; ++j) {
          const auto n = static_cast<std::size_t>(j);
          if (set.scaleCode[n] < limits.scaleLow) continue;
          if (set.scaleCode[n] > limits.scaleHigh || set.y[n] > limits.yHigh) break;
          if (set.y[n] >= limits.yLow && set.x[n] >= limits.xLow && set.x[n] <= limits.xHigh) expected.push_back(j);
        }
        GuardedBuffer<std::int32_t> indices(static_cast<std::size_t>(count + kSearchSlack));
        const int found = listWindow(columns.searched, first, limits, indices.data());
        EXPECT_TRUE(indices.guardsIntact());
        ASSERT_EQ(expected, std::vector<std::int32_t>(indices.data(), indices.data() + found));
        listed += found;
      }
    EXPECT_GT(listed, 1000);
  });
}

TEST(KeepNear, KeepsWhateverMayBeNearerThanAllBeforeAndEstimatesItsDistance) {
  onEveryTarget([] {
    for (int count = 0; count < 60; ++count) {
      const PointSet a = pointSet(1, 10, 10, 19u + static_cast<unsigned>(count), 9);
      const PointSet b = pointSet(2 * count, 10, 10, 20u + static_cast<unsigned>(count), 9);
      const Columns columns(b);
      GuardedBuffer<std::int32_t> indices(static_cast<std::size_t>(count + kSearchSlack), -7);
      GuardedBuffer<float> estimates(static_cast<std::size_t>(count + kSearchSlack), -7.0f);
      for (int i = 0; i < count; ++i) // every second point
        indices[static_cast<std::size_t>(i)] = 2 * i + 1;
      const int kept = keepNear(columns.searched, a.descriptor.data(), indices.data(), count, estimates.data());
      EXPECT_TRUE(indices.guardsIntact() && estimates.guardsIntact());
      ASSERT_LE(kept, count);
      float least = std::numeric_limits<float>::infinity();
      std::size_t next = 0;
      for (int j = 1; j < 2 * count; j += 2) {
        const float distance =
            descriptorDistance(a.descriptor.data(), &b.descriptor[64 * static_cast<std::size_t>(j)], 64);
        if (next < static_cast<std::size_t>(kept) && indices[next] == j) {
          EXPECT_LT(distance, estimates[next] * kEstimateFactor);
          EXPECT_GT(distance, estimates[next] / kEstimateFactor);
          ++next;
        } else {
          EXPECT_GT(distance, least);
        }
        least = std::min(least, distance);
      }
      EXPECT_EQ(static_cast<std::size_t>(kept), next);
    }
  });
}

TEST(KeepNear, EstimatesWithinTheBoundWhereSumsRoundTheMost) {
  onEveryTarget([] {
    std::mt19937 random(21);
    for (int trial = 0; trial < 2000; ++trial) {
      // A large square first, so that those behind it are rounded away one by one in order, and not by vectors.
      PointSet a = pointSet(1, 10, 10, 22, 9), b = a;
      for (std::size_t k = 0; k < 64; ++k)
        b.descriptor[k] = a.descriptor[k] + (k == 0 ? 1.0f : 2.4e-4f * static_cast<float>(random() % 1000) / 1000);
      const Columns columns(b);
      std::int32_t indices[1 + kSearchSlack] = {0};
      float estimates[1 + kSearchSlack] = {};
      ASSERT_EQ(1, keepNear(columns.searched, a.descriptor.data(), indices, 1, estimates));
      const float distance = descriptorDistance(a.descriptor.data(), b.descriptor.data(), 64);
      const float ratio = std::max(distance, estimates[0]) / std::min(distance, estimates[0]);
      ASSERT_LT(ratio, 1 + (kEstimateFactor - 1) / 4);
    }
  });
}

TEST(PairDistances, EqualTheOrderedSums) {
  onEveryTarget([] {
    for (int count = 0; count < 20; ++count) {
      const PointSet set = pointSet(count + 1, 10, 10, 12u + static_cast<unsigned>(count), 9);
      std::vector<DescriptorPair> pairs;
      for (int i = 0; i < count; ++i)
        pairs.push_back({&set.descriptor[64 * static_cast<std::size_t>(i)], set.descriptor.data() + 64 * (i + 1)});
      GuardedBuffer<float> distances(static_cast<std::size_t>(count));
      pairDistances(pairs.data(), count, distances.data());
      for (int i = 0; i < count; ++i)
        EXPECT_EQ(descriptorDistance(pairs[static_cast<std::size_t>(i)].a, pairs[static_cast<std::size_t>(i)].b, 64),
                  distances[static_cast<std::size_t>(i)]);
      EXPECT_TRUE(distances.guardsIntact());
    }
  });
}

} // namespace
} // namespace vindrel::test
