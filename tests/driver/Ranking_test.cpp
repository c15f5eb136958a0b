#include "VindrelRegLib.h"

#include "support/FailingAllocation.h"

#include <gtest/gtest.h>
#include <vector>

namespace {

template <class Sample>
std::vector<Sample> flatStack(const std::vector<int> &levels, int pixels, int channels) {
  std::vector<Sample> stack;
  for (const int level : levels)
    stack.insert(stack.end(), static_cast<std::size_t>(pixels * channels), static_cast<Sample>(level));
  return stack;
}

TEST(ClassementImages, RanksTheBrightestFirstAndScoresInStorageOrder) {
  const auto stack = flatStack<uint8_t>({50, 200, 100}, 12, 3);
  float scores[3];
  uint32_t order[3];
  EXPECT_EQ(classementImages(3, 4, 3, 3, 8, stack.data(), scores, order), 3);
  EXPECT_EQ(order[0], 1u);
  EXPECT_EQ(order[1], 2u);
  EXPECT_EQ(order[2], 0u);
  EXPECT_FLOAT_EQ(scores[0], 50);
  EXPECT_FLOAT_EQ(scores[1], 200);
  EXPECT_FLOAT_EQ(scores[2], 100);
}

TEST(ClassementImages, GivesEqualImagesBothRanks) {
  const auto stack = flatStack<uint8_t>({80, 80}, 4, 3);
  float scores[2];
  uint32_t order[2];
  EXPECT_EQ(classementImages(2, 2, 2, 3, 8, stack.data(), scores, order), 2);
  EXPECT_EQ(order[0] + order[1], 1u);
}

TEST(ClassementImages, SeesOnlyTheHighByteOf16BitSamples) {
  const auto stack = flatStack<uint16_t>({0x1200, 0x12ff, 0x1234}, 4, 3);
  float scores[3];
  uint32_t order[3];
  EXPECT_EQ(classementImages(3, 2, 2, 3, 16, stack.data(), scores, order), 3);
  EXPECT_EQ(scores[0], scores[1]);
  EXPECT_EQ(scores[1], scores[2]);
  EXPECT_FLOAT_EQ(scores[0], 0x12);
}

TEST(ClassementImages, NeverCountsAFourthSample) {
  std::vector<uint8_t> stack = flatStack<uint8_t>({100, 90}, 4, 4);
  for (std::size_t i = 16 + 3; i < stack.size(); i += 4)
    stack[i] = 255;
  float scores[2];
  uint32_t order[2];
  classementImages(2, 2, 2, 4, 8, stack.data(), scores, order);
  EXPECT_EQ(order[0], 0u);
  EXPECT_FLOAT_EQ(scores[1], 90);
}

TEST(ClassementImages, ReturnsZeroForAnEmptyStack) {
  EXPECT_EQ(classementImages(0, 4, 4, 3, 8, nullptr, nullptr, nullptr), 0);
  EXPECT_EQ(classementImages(-3, 4, 4, 3, 8, nullptr, nullptr, nullptr), 0);
}

TEST(ClassementImages, SumsNothingOfAnUnknownDepth) {
  const auto stack = flatStack<uint16_t>({1000, 60000}, 4, 3);
  float scores[2] = {-1, -1};
  uint32_t order[2];
  EXPECT_EQ(classementImages(2, 2, 2, 3, 12, stack.data(), scores, order), 2);
  EXPECT_EQ(scores[0], 0.0f);
  EXPECT_EQ(scores[1], 0.0f);
}

TEST(ClassementImages, ReportsAFailedAllocation) {
  const auto stack = flatStack<uint8_t>({50, 200}, 4, 3);
  float scores[2];
  uint32_t order[2];
  vindrel::test::FailingAllocation failing(1);
  EXPECT_EQ(classementImages(2, 2, 2, 3, 8, stack.data(), scores, order), -4);
}

TEST(RankComparators, OrderDescending) {
  const RankEntry dark{0, 5}, bright{1, 9};
  EXPECT_EQ(classementCompareSums(&bright, &dark), -1);
  EXPECT_EQ(classementCompareSums(&dark, &bright), 1);
  EXPECT_EQ(classementCompareSums(&dark, &dark), 0);
  const FitEntry small{0, 0.5f}, large{1, 2.5f};
  EXPECT_EQ(compareErrorRec(&large, &small), -1);
  EXPECT_EQ(compareErrorRec(&small, &large), 1);
  EXPECT_EQ(compareErrorRec(&small, &small), 0);
  const int32_t one = 1, two = 2;
  EXPECT_EQ(compareIntRev(&two, &one), -1);
  EXPECT_EQ(compareIntRev(&one, &two), 1);
  EXPECT_EQ(compareIntRev(&one, &one), 0);
}

} // namespace
