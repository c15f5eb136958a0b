// What tells an agreement of pairs that means something from one that does not: chance, and rival groups.
#include "driver/Chance.h"
#include "driver/Rivals.h"
#include "driver/Verdict.h"
#include "support/PairList.h"

#include <cmath>
#include <gtest/gtest.h>
#include <random>

namespace vindrel {
namespace {

using test::PairList;

constexpr Size kFrame = {1000, 800};

// count pairs spread over a part of the frame, displaced by (dx, dy).
void addGroup(PairList &pairs, int count, int dx, int dy, std::uint32_t seed, int width = 1000, int height = 800) {
  std::mt19937 random(seed);
  for (int i = 0; i < count; ++i) {
    const int x = static_cast<int>(random() % static_cast<unsigned>(width));
    const int y = static_cast<int>(random() % static_cast<unsigned>(height));
    pairs.add(x, y, x + dx, y + dy);
  }
}

void addStray(PairList &pairs, int count, std::uint32_t seed) {
  std::mt19937 random(seed);
  for (int i = 0; i < count; ++i) {
    const int x = static_cast<int>(random() % 1000), y = static_cast<int>(random() % 800);
    pairs.add(x, y, x + static_cast<int>(random() % 201) - 100, y + static_cast<int>(random() % 201) - 100);
  }
}

TEST(Chance, IsTheExpectedNumberOfTransformsThatSoManyUnrelatedPairsAgreeOn) {
  // (6 - 3) C(6, 5) C(5, 3) (4 pi / 441)^2
  const double near = 4 * 3.14159265358979 / 441;
  EXPECT_NEAR(logFalseAlarms(6, 5, 3, 2.0, {10, 10}), std::log10(3 * 6 * 10 * near * near), 1e-9);
}

TEST(Chance, ExplainsTheSameAgreementInANarrowWindowAndNotInAWideOne) {
  EXPECT_LT(logFalseAlarms(120, 14, 4, 2.0, {120, 80}), -6);
  EXPECT_GT(logFalseAlarms(120, 14, 4, 2.0, {5, 5}), 0);
  EXPECT_GT(logFalseAlarms(120, 120, 4, 2.0, {0, 0}), 0); // any pair is near any other
}

TEST(Chance, IsNoArgumentAgainstNothing) {
  EXPECT_TRUE(std::isinf(logFalseAlarms(0, 0, 3, 2.0, {10, 10})));
  EXPECT_TRUE(std::isinf(logFalseAlarms(10, 4, 4, 2.0, {10, 10})));
  EXPECT_TRUE(std::isfinite(logFalseAlarms(10, 5, 4, 2.0, {-3, 10})));
}

TEST(Rivals, AreTheLargestGroupOfOtherPairsThatMovedAlike) {
  PairList pairs;
  addGroup(pairs, 50, 0, 0, 1);
  addGroup(pairs, 20, 30, 5, 2, 100, 100);
  addGroup(pairs, 12, -40, 5, 3);
  addStray(pairs, 30, 4);
  const Rivals rivals = findRivals(pairs.view(), kIdentity8, 2.0, kFrame);
  EXPECT_GE(rivals.pairs, 20);
  EXPECT_LE(rivals.pairs, 22);
  EXPECT_LE(rivals.coverage, 0.08);
}

TEST(Rivals, AreFewAmongPairsThatScatter) {
  PairList pairs;
  addGroup(pairs, 60, 0, 0, 1);
  addStray(pairs, 100, 4);
  EXPECT_LT(findRivals(pairs.view(), kIdentity8, 2.0, kFrame).pairs, kLeastRivals);
  EXPECT_EQ(findRivals({}, kIdentity8, 2.0, kFrame).pairs, 0);
}

LinkEvidence measured(const PairList &pairs) {
  return measureLink(pairs.view(), kIdentity8, LinkModel::Affine, kFrame, {100, 100});
}

TEST(Verdict, DoubtsAFacadeWhoseWindowsAgreeOnTwoDisplacements) {
  PairList pairs;
  addGroup(pairs, 60, 0, 0, 1);
  addGroup(pairs, 40, 45, 0, 2);
  EXPECT_EQ(doubtLink(measured(pairs), true), Doubt::Ambiguous);
}

TEST(Verdict, TrustsABackgroundBeforeWhichTheSubjectMoved) {
  PairList pairs;
  addGroup(pairs, 80, 0, 0, 1);
  addGroup(pairs, 50, 20, 8, 2, 250, 250);
  EXPECT_EQ(doubtLink(measured(pairs), true), Doubt::None);
}

TEST(Verdict, DoubtsATransformThatFollowsTheSubjectAndNotTheBackground) {
  PairList pairs;
  addGroup(pairs, 80, 0, 0, 1, 250, 250);
  addGroup(pairs, 30, 20, 8, 2);
  EXPECT_EQ(doubtLink(measured(pairs), true), Doubt::Ambiguous);
}

TEST(Verdict, DoubtsWhatANarrowSearchMakesOfUnrelatedPairs) {
  std::mt19937 random(5);
  PairList pairs;
  for (int i = 0; i < 120; ++i) {
    const int x = static_cast<int>(random() % 1000), y = static_cast<int>(random() % 800);
    pairs.add(x, y, x + static_cast<int>(random() % 11) - 5, y + static_cast<int>(random() % 11) - 5);
  }
  const LinkEvidence evidence = measureLink(pairs.view(), kIdentity8, LinkModel::Affine, kFrame, {5, 5});
  EXPECT_GE(evidence.inliers, kLeastInliers - 4);
  EXPECT_EQ(doubtLink(evidence, true), Doubt::WeakSupport);
}

} // namespace
} // namespace vindrel
