#include "driver/Verdict.h"

#include "driver/LinkEvidence.h"
#include "transform/MapPoint.h"

#include <cmath>
#include <gtest/gtest.h>
#include <random>
#include <vector>

namespace vindrel {
namespace {

constexpr MatchWindow kWindow = {100, 100};
constexpr LinkEvidence kGood{.pairs = 200, .inliers = 150, .rms = 0.6, .expectedError = 0.1, .coverage = 0.5};

TEST(Verdict, TrustsAWellSupportedLink) {
  EXPECT_EQ(doubtLink(kGood, true), Doubt::None);
}

TEST(Verdict, DoubtsEachKindOfWeakEvidenceByName) {
  LinkEvidence few = kGood;
  few.pairs = few.inliers = 7;
  EXPECT_EQ(doubtLink(few, true), Doubt::TooFewPairs);
  EXPECT_EQ(doubtLink(kGood, false), Doubt::NoConsensus);
  LinkEvidence chance = kGood;
  chance.inliers = 11;
  EXPECT_EQ(doubtLink(chance, true), Doubt::WeakSupport);
  chance.pairs = 1000;
  chance.inliers = 99;
  EXPECT_EQ(doubtLink(chance, true), Doubt::WeakSupport);
}

struct PointPairs {
  std::vector<std::int32_t> xA, yA, xB, yB;
  PairsView view() const {
    return {.count = static_cast<int>(xA.size()), .xA = xA.data(), .yA = yA.data(), .xB = xB.data(), .yB = yB.data()};
  }
};

PointPairs roundedPairs(int count, std::uint32_t seed, int width, int height) {
  std::mt19937 random(seed);
  PointPairs pairs;
  for (int i = 0; i < count; ++i) {
    const double x = static_cast<double>(random() % static_cast<unsigned>(width * 16)) / 16;
    const double y = static_cast<double>(random() % static_cast<unsigned>(height * 16)) / 16;
    pairs.xA.push_back(static_cast<int>(std::lround(x)));
    pairs.yA.push_back(static_cast<int>(std::lround(y)));
    pairs.xB.push_back(static_cast<int>(std::lround(x + 5.3)));
    pairs.yB.push_back(static_cast<int>(std::lround(y - 2.7)));
  }
  return pairs;
}

TEST(MeasureLink, CountsPairsWithinTwoPixelsAndTheirResidual) {
  PointPairs pairs;
  for (int i = 0; i < 20; ++i) {
    pairs.xA.push_back(i * 50);
    pairs.yA.push_back((i * 37) % 500);
    pairs.xB.push_back(i * 50 + (i < 15 ? 1 : 2));
    pairs.yB.push_back((i * 37) % 500);
  }
  const LinkEvidence evidence = measureLink(pairs.view(), kIdentity8, LinkModel::Affine, {1000, 500}, kWindow);
  EXPECT_EQ(evidence.pairs, 20);
  EXPECT_EQ(evidence.inliers, 15); // a residual of exactly two pixels does not count
  EXPECT_DOUBLE_EQ(evidence.rms, 1.0);
}

TEST(MeasureLink, PredictsTheErrorThatRoundingLeavesToAFit) {
  const Trans8 truth = {1, 0, 5.3f, 0, 1, -2.7f, 0, 0};
  const LinkEvidence many =
      measureLink(roundedPairs(400, 1, 2000, 1500).view(), truth, LinkModel::Perspective, {2000, 1500}, kWindow);
  const LinkEvidence some =
      measureLink(roundedPairs(40, 1, 2000, 1500).view(), truth, LinkModel::Perspective, {2000, 1500}, kWindow);
  EXPECT_GT(many.expectedError, 0.02);
  EXPECT_LT(many.expectedError, 0.3);
  EXPECT_GT(some.expectedError, 2 * many.expectedError);
}

TEST(MeasureLink, SeesATransformThatItsOwnInliersContradict) {
  const Trans8 truth = {1, 0, 5.3f, 0, 1, -2.7f, 0, 0};
  Trans8 off = truth;
  off[2] += 1.0f;
  const PointPairs pairs = roundedPairs(400, 2, 2000, 1500);
  EXPECT_NEAR(measureLink(pairs.view(), off, LinkModel::Affine, {2000, 1500}, kWindow).expectedError, 1.0, 0.3);
}

TEST(MeasureLink, SeesThatAnAffineTransformStandsInForAPerspectiveOne) {
  // Three pixels of perspective at the right edge; all pairs are inliers of the identity or close to it.
  const Trans8 truth = {1, 0, 0, 0, 1, 0, 0.075f, 0};
  PointPairs pairs = roundedPairs(300, 4, 2000, 1500);
  for (std::size_t i = 0; i < pairs.xA.size(); ++i) {
    const PointD at = mapPerspectiveD(truth.data(), pairs.xA[i], pairs.yA[i]);
    pairs.xB[i] = static_cast<int>(std::lround(at.x));
    pairs.yB[i] = static_cast<int>(std::lround(at.y));
  }
  const Trans8 flat = {0.9983f, 0, 0.5f, 0, 0.9994f, 0.5f, 0, 0};
  const double asAffine = measureLink(pairs.view(), flat, LinkModel::Affine, {2000, 1500}, kWindow).expectedError;
  const double asPerspective =
      measureLink(pairs.view(), flat, LinkModel::Perspective, {2000, 1500}, kWindow).expectedError;
  EXPECT_NEAR(asAffine, asPerspective, 0.05);
  EXPECT_GT(asAffine, 0.4);
}

TEST(MeasureLink, PredictsALargeErrorWherePairsCoverOnlyACornerOfTheFrame) {
  const Trans8 truth = {1, 0, 5.3f, 0, 1, -2.7f, 0, 0};
  const LinkEvidence corner =
      measureLink(roundedPairs(100, 3, 150, 150).view(), truth, LinkModel::Perspective, {2000, 1500}, kWindow);
  EXPECT_GT(corner.expectedError, 1.0);
  EXPECT_LT(corner.coverage, 0.1);
}

TEST(MeasureLink, PredictsNothingFiniteFromPairsOnALine) {
  PointPairs pairs;
  for (int i = 0; i < 50; ++i) {
    pairs.xA.push_back(i * 20);
    pairs.yA.push_back(100);
    pairs.xB.push_back(i * 20);
    pairs.yB.push_back(100);
  }
  EXPECT_GT(measureLink(pairs.view(), kIdentity8, LinkModel::Affine, {1000, 800}, kWindow).expectedError, 100.0);
  EXPECT_TRUE(std::isinf(measureLink({}, kIdentity8, LinkModel::Affine, {1000, 800}, kWindow).expectedError));
}

} // namespace
} // namespace vindrel
