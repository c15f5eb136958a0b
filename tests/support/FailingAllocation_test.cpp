#include "support/FailingAllocation.h"

#include "base/Buffer.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <vector>

namespace vindrel::test {
namespace {

// Compilers drop an allocation whose memory nobody looks at; this one they cannot.
std::atomic<const int *> lookedAt;
Buffer<int> allocate() {
  auto buffer = Buffer<int>::zeroed(10);
  lookedAt = buffer.data();
  return buffer;
}

bool twoBuffers() {
  const auto first = allocate();
  if (!first) return false;
  const auto second = allocate();
  return static_cast<bool>(second);
}

TEST(FailingAllocation, FailsExactlyTheOneAskedFor) {
  FailingAllocation failing(2);
  const auto first = allocate();
  const auto second = allocate();
  const auto third = allocate();
  EXPECT_TRUE(first);
  EXPECT_FALSE(second);
  EXPECT_TRUE(third);
  EXPECT_TRUE(failing.reached());
  EXPECT_EQ(failing.calls(), 3);
  EXPECT_EQ(failing.live(), 2);
}

TEST(FailingAllocation, FailsAllFromTheOneAskedForWhenToldSo) {
  FailingAllocation failing(2, Failing::Onwards);
  const auto first = allocate();
  const auto second = allocate();
  const auto third = allocate();
  EXPECT_TRUE(first);
  EXPECT_FALSE(second);
  EXPECT_FALSE(third);
}

TEST(FailingAllocation, VisitsEveryAllocationAndThenTheUndisturbedRun) {
  int good = 0;
  const long failures = forEachFailingAllocation([&](const FailingAllocation &failing) {
    const bool done = twoBuffers();
    EXPECT_EQ(done, !failing.reached());
    EXPECT_EQ(failing.live(), 0);
    good += done;
  });
  EXPECT_EQ(failures, 2);
  EXPECT_EQ(good, 1);
  EXPECT_EQ(countAllocations(twoBuffers), 2);
}

TEST(FailingAllocation, FailsNothingOutsideItsScope) {
  { FailingAllocation failing(1); }
  EXPECT_TRUE(twoBuffers());
}

TEST(FailingAllocation, LeavesTheContainersOfTheTestAlone) {
  FailingAllocation failing(1, Failing::Onwards);
  std::vector<int> numbers(1000, 7);
  EXPECT_EQ(numbers.back(), 7);
  EXPECT_EQ(failing.calls(), 0);
}

TEST(FailingAllocation, SeesABlockThatIsNeverReleased) {
  void *volatile block = nullptr;
  {
    FailingAllocation counting(FailingAllocation::kNever);
    block = std::malloc(16);
    EXPECT_EQ(counting.live(), 1);
    block = std::realloc(block, 32);
    EXPECT_EQ(counting.live(), 1);
    EXPECT_EQ(counting.calls(), 2);
  }
  std::free(block);
}

TEST(FailingAllocation, CountsInsideParallelRegions) {
  std::atomic<int> failed = 0;
  FailingAllocation failing(5);
#pragma omp parallel for num_threads(4)
  for (int i = 0; i < 20; ++i) {
    const auto buffer = allocate();
    if (!buffer) ++failed;
  }
  EXPECT_EQ(failed, 1);
  EXPECT_EQ(failing.calls(), 20);
  EXPECT_EQ(failing.live(), 0);
}

} // namespace
} // namespace vindrel::test
