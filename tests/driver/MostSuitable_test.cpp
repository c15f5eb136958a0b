#include "VindrelRegLib.h"

#include "support/FailingAllocation.h"

#include <gtest/gtest.h>
#include <vector>

namespace {

PairRecord shifted(float x, float y, float error = 1) {
  PairRecord record{};
  const float transform[8] = {1, 0, x, 0, 1, y, 0, 0};
  std::copy(transform, transform + 8, record.transform);
  record.error = error;
  return record;
}

struct Pairs {
  std::vector<int32_t> xA, yA, xB, yB;
  int count() const { return static_cast<int>(xA.size()); }
  void add(int x, int y, int dx, int dy) {
    xA.push_back(x);
    yA.push_back(y);
    xB.push_back(x + dx);
    yB.push_back(y + dy);
  }
};

int suitable(const std::vector<PairRecord> &records, int k, const Pairs &pairs) {
  return mostSuitableTransform(static_cast<int>(records.size()), records.data(), k, pairs.count(), pairs.xA.data(),
                               pairs.yA.data(), pairs.xB.data(), pairs.yB.data());
}

TEST(MostSuitableTransform, PicksTheRecordThatExplainsThePairsBest) {
  const std::vector<PairRecord> records = {{}, shifted(0, 0), shifted(10, 4), shifted(11, 4), shifted(50, 0)};
  Pairs pairs;
  for (int i = 0; i < 20; ++i)
    pairs.add(i * 7, i * 13, 11, 4);
  EXPECT_EQ(suitable(records, 1, pairs), 3);
}

TEST(MostSuitableTransform, JudgesByTheFiveBestPairsOnly) {
  const std::vector<PairRecord> records = {{}, shifted(0, 0), shifted(10, 0), shifted(30, 0)};
  Pairs pairs;
  for (int i = 0; i < 5; ++i)
    pairs.add(i * 7, i * 13, 30, 0);
  for (int i = 0; i < 40; ++i)
    pairs.add(i * 3, i * 5, 13, 0); // closer to rank 2 on the whole
  EXPECT_EQ(suitable(records, 1, pairs), 3);
}

TEST(MostSuitableTransform, TakesTheMeanOfAllWhenThereAreThree) {
  const std::vector<PairRecord> records = {{}, shifted(0, 0), shifted(0, 0), shifted(0, 5)};
  Pairs pairs;
  pairs.add(10, 10, 0, 0);
  pairs.add(20, 30, 0, 0);
  pairs.add(40, 20, 16, 0);
  EXPECT_EQ(suitable(records, 1, pairs), 2); // (0 + 0 + 256) / 3 against (25 + 25 + 281) / 3
  pairs.yB[0] += 10;
  pairs.yB[1] += 10;
  EXPECT_EQ(suitable(records, 1, pairs), 3); // (100 + 100 + 256) / 3 against (25 + 25 + 281) / 3
}

TEST(MostSuitableTransform, LeavesTheEarlierRecordOnATie) {
  const std::vector<PairRecord> records = {{}, shifted(0, 0), shifted(4, 0), shifted(4, 0)};
  Pairs pairs;
  for (int i = 0; i < 6; ++i)
    pairs.add(i * 7, i * 13, 5, 0);
  EXPECT_EQ(suitable(records, 1, pairs), 2);
}

TEST(MostSuitableTransform, SkipsItselfFailedRecordsAndThoseThatHoldPairs) {
  std::vector<PairRecord> records = {{}, shifted(0, 0), shifted(0, 0, -1), shifted(0, 0), shifted(40, 0)};
  int32_t held = 0;
  records[3].xA = &held;
  Pairs pairs;
  for (int i = 0; i < 6; ++i)
    pairs.add(i * 7, i * 13, 0, 0);
  EXPECT_EQ(suitable(records, 1, pairs), 4);
}

TEST(MostSuitableTransform, FindsNothingBesideTheReferenceAndTheFailingImage) {
  const std::vector<PairRecord> records = {{}, shifted(0, 0)};
  Pairs pairs;
  pairs.add(1, 1, 0, 0);
  EXPECT_EQ(suitable(records, 1, pairs), -1);
  EXPECT_EQ(mostSuitableTransform(1, records.data(), 1, 1, nullptr, nullptr, nullptr, nullptr), -1);
}

TEST(MostSuitableTransform, DoesNotGrowWithRepeatedCalls) {
  const std::vector<PairRecord> records = {{}, shifted(0, 0), shifted(1, 0)};
  Pairs pairs;
  for (int i = 0; i < 300; ++i)
    pairs.add(i, i, 1, 0);
  suitable(records, 1, pairs);
  EXPECT_EQ(vindrel::test::countAllocations([&] { suitable(records, 1, pairs); }), 0);
}

} // namespace
