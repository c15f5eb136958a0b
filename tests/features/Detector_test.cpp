#include "VindrelRegLib.h"
#include "reference/Features.h"
#include "support/EveryTarget.h"
#include "support/FailingAllocation.h"
#include "support/FeatureScenes.h"
#include "support/GuardedBuffer.h"

#include <gtest/gtest.h>

#include <limits>
#include <vector>

namespace vindrel::test {
namespace {

// The arrays of a detection, of exactly the promised size.
struct Detected {
  explicit Detected(int maxPoints)
      : capacity(static_cast<std::size_t>(std::max(maxPoints + 1, 1))), x(capacity, -7), y(capacity, -7),
        scaleCode(capacity, -7), descriptor(64 * capacity, -7.0f) {}
  int run(const reference::Image &image, int levels, int maxPoints) {
    return vddetect(levels, image.width, image.height, maxPoints, 0, 0, image.grey.data(), 0, x.data(), y.data(),
                    scaleCode.data(), descriptor.data());
  }
  bool guardsIntact() const {
    return x.guardsIntact() && y.guardsIntact() && scaleCode.guardsIntact() && descriptor.guardsIntact();
  }
  std::size_t capacity;
  GuardedBuffer<std::int32_t> x, y, scaleCode;
  GuardedBuffer<float> descriptor;
};

template <class T>
std::vector<T> first(const GuardedBuffer<T> &buffer, std::size_t count) {
  return {buffer.data(), buffer.data() + count};
}

// Returns the count, after comparing everything with the reference on every instruction set.
int comparesWithReference(const reference::Image &image, int levels, int maxPoints) {
  SCOPED_TRACE(testing::Message() << image.width << " x " << image.height << ", " << levels << " levels, at most "
                                  << maxPoints);
  const reference::Points expected = reference::detect(image, levels, maxPoints);
  onEveryTarget([&] {
    Detected detected(maxPoints);
    testing::internal::CaptureStderr();
    const int count = detected.run(image, levels, maxPoints);
    EXPECT_EQ(expected.rejections, testing::internal::GetCapturedStderr());
    ASSERT_EQ(static_cast<int>(expected.x.size()), count);
    const auto n = static_cast<std::size_t>(count);
    EXPECT_EQ(expected.x, first(detected.x, n));
    EXPECT_EQ(expected.y, first(detected.y, n));
    EXPECT_EQ(expected.scaleCode, first(detected.scaleCode, n));
    EXPECT_EQ(expected.descriptor, first(detected.descriptor, 64 * n));
    EXPECT_TRUE(detected.guardsIntact());
  });
  return static_cast<int>(expected.x.size());
}

TEST(Detection, MatchesTheReferenceBitForBitOverAwkwardSizes) {
  int found = 0;
  for (const auto &[width, height] : {std::pair{43, 43},
                                      {44, 43},
                                      {43, 47},
                                      {45, 64},
                                      {50, 51},
                                      {57, 49},
                                      {63, 63},
                                      {64, 64},
                                      {65, 71},
                                      {97, 83},
                                      {128, 90},
                                      {131, 129}})
    for (unsigned seed = 1; seed <= 3; ++seed) {
      found += comparesWithReference(noiseImage(width, height, seed), 1, 1309);
      found += comparesWithReference(blobImage(width, height, seed), 1, 1309);
    }
  EXPECT_GT(found, 500);
}

TEST(Detection, MatchesTheReferenceWithinSmallBudgets) {
  const reference::Image image = noiseImage(150, 120, 4);
  for (const int maxPoints : {1, 2, 5, 20, 50, 100, 400})
    comparesWithReference(image, 1, maxPoints);
}

TEST(Detection, MatchesTheReferenceOnSeveralLevels) {
  int found = 0;
  for (const int levels : {2, 3, 4, 8, 31}) {
    found += comparesWithReference(blobImage(190, 173, 5), levels, 1309);
    found += comparesWithReference(noiseImage(141, 230, 6), levels, 40);
    found += comparesWithReference(noiseImage(90, 90, 7), levels, 5);
  }
  EXPECT_GT(found, 100);
}

TEST(Detection, FindsPointsOnTheSecondLevelToo) {
  const reference::Image image = noiseImage(230, 230, 8);
  const int one = comparesWithReference(image, 1, 100000), two = comparesWithReference(image, 2, 100000);
  EXPECT_GT(two, one);
}

TEST(Detection, EndsForAnyNumberOfLevels) {
  const reference::Image image = blobImage(100, 100, 9);
  Detected detected(1309);
  EXPECT_GT(detected.run(image, std::numeric_limits<int>::max(), 1309), 0);
  EXPECT_TRUE(detected.guardsIntact());
}

TEST(Detection, FindsNothingWithoutLevels) {
  const reference::Image image = noiseImage(80, 80, 10);
  for (const int levels : {0, -1, std::numeric_limits<int>::min()}) {
    Detected detected(1309);
    EXPECT_EQ(0, detected.run(image, levels, 1309));
    EXPECT_EQ(detected.x.copy(), std::vector<std::int32_t>(detected.capacity, -7));
  }
}

TEST(Detection, FindsNothingInAUniformImage) {
  for (const int value : {0, 1, 128, 255}) {
    Detected detected(1309);
    EXPECT_EQ(0, detected.run(uniformImage(128, 100, static_cast<std::uint8_t>(value)), 1, 1309));
  }
}

TEST(Detection, FindsNothingInAnImageTooSmallToScan) {
  for (const auto &[width, height] : {std::pair{1, 1},
                                      {20, 20},
                                      {40, 40},
                                      {41, 41},
                                      {42, 42},
                                      {42, 200},
                                      {200, 42},
                                      {3000, 2},
                                      {2, 3000},
                                      {0, 0},
                                      {0, 50},
                                      {50, 0}}) {
    Detected detected(1309);
    EXPECT_EQ(0, detected.run(noiseImage(width, height, 11), 1, 1309)) << width << " x " << height;
    EXPECT_EQ(0, detected.run(noiseImage(width, height, 11), 3, 1309)) << width << " x " << height;
  }
}

TEST(Detection, ReturnsOneMoreThanTheBudgetOnARichTile) {
  const reference::Image tile = noiseImage(512, 512, 12);
  EXPECT_EQ(1310, comparesWithReference(tile, 1, 1309));
}

TEST(Detection, StopsAtTheFirstPointOfABudgetOfNone) {
  EXPECT_EQ(1, comparesWithReference(noiseImage(120, 120, 13), 1, 0));
}

TEST(Detection, SkipsEveryLevelOfANegativeBudget) {
  Detected detected(0);
  EXPECT_EQ(0, detected.run(noiseImage(120, 120, 13), 1, -1));
  EXPECT_EQ(-7, detected.x[0]);
}

TEST(Detection, IgnoresTheReservedArguments) {
  const reference::Image image = blobImage(100, 90, 14);
  Detected zero(1309), other(1309);
  const int count = zero.run(image, 1, 1309);
  EXPECT_GT(count, 0);
  EXPECT_EQ(count, vddetect(1, 100, 90, 1309, 123, -5, image.grey.data(), 99, other.x.data(), other.y.data(),
                            other.scaleCode.data(), other.descriptor.data()));
  EXPECT_EQ(zero.x.copy(), other.x.copy());
  EXPECT_EQ(zero.descriptor.copy(), other.descriptor.copy());
}

TEST(Detection, KeepsPointsAwayFromTheBorder) {
  const reference::Image image = noiseImage(140, 110, 15);
  Detected detected(1309);
  const int count = detected.run(image, 1, 1309);
  ASSERT_GT(count, 0);
  for (int i = 0; i < count; ++i) {
    const auto n = static_cast<std::size_t>(i);
    EXPECT_GE(detected.x[n], 21);
    EXPECT_LE(detected.x[n], 140 - 21);
    EXPECT_GE(detected.y[n], 21);
    EXPECT_LE(detected.y[n], 110 - 21);
    EXPECT_LE(std::abs(detected.scaleCode[n]), 70);
  }
}

// Half a turn about the centre of an odd image leaves it as it is, so that the responses have no slope in filter size
// along either axis: the matrix of the refinement has zeros there, which its pivot search can run into.
reference::Image halfTurnImage(int side, unsigned seed) {
  reference::Image image = noiseImage(side, side, seed);
  for (std::size_t i = 0; i < image.grey.size() / 2; ++i)
    image.grey[image.grey.size() - 1 - i] = image.grey[i];
  return image;
}

TEST(Detection, ReportsAndDropsAPointWhoseRefinementIsSingular) {
  int rejected = 0;
  for (unsigned seed = 0; seed < 2000 && rejected == 0; ++seed) {
    const reference::Image image = halfTurnImage(43, seed);
    if (reference::detect(image, 1, 1309).rejections.empty()) continue;
    ++rejected;
    Detected detected(1309);
    testing::internal::CaptureStderr();
    EXPECT_EQ(0, detected.run(image, 1, 1309));
    EXPECT_EQ("21  21 rejete - resolution impossible\n", testing::internal::GetCapturedStderr());
  }
  EXPECT_EQ(1, rejected);
}

TEST(Detection, ReportsTheFailureOfAnyAllocationAndReleasesTheOthers) {
  const reference::Image image = noiseImage(100, 100, 16);
  for (const int levels : {0, 1, 2}) {
    Detected detected(1309);
    const long failures = forEachFailingAllocation([&](const FailingAllocation &failing) {
      const int result = detected.run(image, levels, 1309);
      if (failing.reached())
        EXPECT_EQ(-4, result);
      else
        EXPECT_GE(result, 0);
      EXPECT_EQ(0, failing.live());
    });
    EXPECT_GT(failures, 0);
  }
}

} // namespace
} // namespace vindrel::test
