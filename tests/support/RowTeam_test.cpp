#include "base/RowTeam.h"

#include "support/FailingAllocation.h"
#include "support/FailingThreads.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <vector>

namespace vindrel::test {
namespace {

constexpr int kRows = 1000;

// How often each row was worked on, and by whom.
struct Tally {
  std::vector<std::atomic<int>> rows = std::vector<std::atomic<int>>(kRows);
  std::vector<std::atomic<int>> busy;
  std::atomic<bool> inTurn = true; // the calls of each member followed one another
  std::atomic<int> longest = 0;

  explicit Tally(int members) : busy(static_cast<std::size_t>(members)) {}
  auto work() {
    return [this](int member, RowRange range) {
      if (busy.at(static_cast<std::size_t>(member))++ != 0) inTurn = false;
      for (int row = range.begin; row < range.end; ++row)
        ++rows.at(static_cast<std::size_t>(row));
      int known = longest;
      while (known < range.end - range.begin && !longest.compare_exchange_weak(known, range.end - range.begin)) {
      }
      --busy[static_cast<std::size_t>(member)];
    };
  }
  bool each(int count) const {
    for (int row = 0; row < kRows; ++row)
      if (rows[static_cast<std::size_t>(row)] != (row < count ? 1 : 0)) return false;
    return true;
  }
};

TEST(RowTeam, WorksOnEveryRowOnce) {
  for (const int threads : {-1, 0, 1, 2, 4, 30}) {
    RowTeam team(threads);
    EXPECT_EQ(team.size(), std::max(threads, 1));
    for (const int count : {0, 1, 2, 99, 100, 101, kRows})
      for (const int atATime : {1, 7, 100, kRows, 1 << 30}) {
        Tally tally(team.size());
        team.share(count, atATime, tally.work());
        EXPECT_TRUE(tally.each(count)) << threads << ' ' << count << ' ' << atATime;
        EXPECT_TRUE(tally.inTurn);
        if (team.size() > 1) {
          EXPECT_LE(tally.longest, atATime);
        }
      }
  }
}

TEST(RowTeam, SeesWhatTheCallerWroteAndTheCallerWhatItWrote) {
  RowTeam team(4);
  std::vector<int> values(kRows);
  for (int round = 0; round < 200; ++round) {
    for (int &value : values)
      ++value;
    team.share(kRows, 3, [&](int, RowRange rows) {
      for (int row = rows.begin; row < rows.end; ++row)
        values[static_cast<std::size_t>(row)] *= -1;
    });
  }
  EXPECT_EQ(std::count(values.begin(), values.end(), 0), kRows); // -1 after the first round, 0 after the second
}

TEST(RowTeam, DoesWithoutThreadsThatCannotBeStarted) {
  for (const Failing mode : {Failing::Once, Failing::Onwards})
    for (int nth = 1; nth <= 4; ++nth) {
      FailingThreads failing(nth, mode);
      RowTeam team(4);
      EXPECT_EQ(failing.reached(), nth < 4);
      EXPECT_EQ(team.size(), nth < 4 ? nth : 4);
      Tally tally(team.size());
      team.share(kRows, 1, tally.work());
      EXPECT_TRUE(tally.each(kRows));
    }
}

TEST(RowTeam, IsTheCallingThreadAloneWhenThereIsNoMemoryForOthers) {
  FailingAllocation failing(1);
  RowTeam team(4);
  EXPECT_TRUE(failing.reached());
  EXPECT_EQ(team.size(), 1);
  Tally tally(1);
  team.share(kRows, 10, tally.work());
  EXPECT_TRUE(tally.each(kRows));
}

TEST(RowTeam, IsTheCallingThreadAloneWhereThereIsNone) {
  Tally tally(1);
  shareRows(nullptr, kRows, 10, tally.work());
  EXPECT_TRUE(tally.each(kRows));
}

TEST(RowTeam, TakesAtLeastARowAtATime) {
  EXPECT_EQ(rowsWorthSharing(1000, 100), 10);
  EXPECT_EQ(rowsWorthSharing(1000, 1001), 1);
  EXPECT_EQ(rowsWorthSharing(1000, 0), 1000);
}

} // namespace
} // namespace vindrel::test
