#include "base/Buffer.h"

#include "support/FailingAllocation.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <limits>

namespace vindrel::test {
namespace {

TEST(Buffer, HoldsZerosUnlessAskedForOtherwise) {
  const auto buffer = Buffer<int>::zeroed(1000);
  ASSERT_TRUE(buffer);
  EXPECT_TRUE(std::all_of(buffer.begin(), buffer.end(), [](int value) { return value == 0; }));
}

TEST(Buffer, OfNoElementsIsValid) {
  EXPECT_TRUE(Buffer<double>::zeroed(0));
  EXPECT_TRUE(Buffer<double>::unfilled(0));
  EXPECT_FALSE(Buffer<double>());
}

TEST(Buffer, UnfilledTakesEveryElementOfSmallAndLargeBlocks) {
  for (const std::size_t count :
       {std::size_t{1}, std::size_t{1000}, std::size_t{1} << 18, (std::size_t{1} << 20) + 3}) {
    auto buffer = Buffer<std::uint64_t>::unfilled(count);
    ASSERT_TRUE(buffer);
    ASSERT_EQ(buffer.size(), count);
    std::fill(buffer.begin(), buffer.end(), count);
    EXPECT_EQ(buffer[count - 1], count);
  }
}

// The address leaves the optimiser's sight: a block that nobody could look at may be left out together with its
// allocation, which then cannot fail.
bool holdsMemory(const Buffer<std::uint8_t> &buffer) {
  const void *const volatile address = buffer.data();
  return address != nullptr;
}

TEST(Buffer, ReportsAFailedAllocationOfEitherKind) {
  for (const std::size_t count : {std::size_t{10}, std::size_t{1} << 22}) {
    FailingAllocation failing(1);
    EXPECT_FALSE(holdsMemory(Buffer<std::uint8_t>::unfilled(count)));
    EXPECT_EQ(failing.live(), 0);
  }
  FailingAllocation failing(1);
  EXPECT_FALSE(holdsMemory(Buffer<std::uint8_t>::zeroed(10)));
}

TEST(Buffer, RefusesACountWhoseBytesNoSizeHolds) {
  constexpr std::size_t kMost = std::numeric_limits<std::size_t>::max();
  EXPECT_FALSE(Buffer<std::uint64_t>::unfilled(kMost / 8));
  EXPECT_FALSE(Buffer<std::uint64_t>::unfilled(kMost / 4));
  EXPECT_FALSE(Buffer<std::uint8_t>::unfilled(kMost));
}

} // namespace
} // namespace vindrel::test
