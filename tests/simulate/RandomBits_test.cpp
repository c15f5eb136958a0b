#include "simulate/RandomBits.h"

#include <gtest/gtest.h>

#include <cmath>

namespace vindrel {
namespace {

TEST(RandomBits, NormalsHaveMeanZeroAndVarianceOne) {
  constexpr int kDraws = 1000000;
  double sum = 0, squares = 0;
  for (int i = 0; i < kDraws; ++i) {
    const double value = randomNormal(randomBits(7, static_cast<std::uint64_t>(i)));
    sum += value;
    squares += value * value;
  }
  // Five standard errors: of the mean 1 / 1000, of the variance about 1.4 / 1000.
  EXPECT_NEAR(sum / kDraws, 0, 0.005);
  EXPECT_NEAR(squares / kDraws, 1, 0.007);
}

TEST(RandomBits, NormalsOfExtremeBitsAreTheEndsOfTheRange) {
  EXPECT_NEAR(randomNormal(0), -1020 / 209.0223, 1e-5);
  EXPECT_NEAR(randomNormal(~0ull), 1020 / 209.0223, 1e-5);
}

TEST(RandomBits, SignedValuesReachFromMinusOneToJustBelowOne) {
  EXPECT_EQ(randomSigned(0), -1.0);
  EXPECT_LT(randomSigned(~0ull), 1.0);
  EXPECT_GT(randomSigned(~0ull), 0.999999);
}

TEST(RandomBits, StreamsOfOneKeyShareNoValuesAtEqualCounters) {
  for (std::uint64_t i = 0; i < 1000; ++i) {
    EXPECT_NE(randomBits(streamKey(1, 0), i), randomBits(streamKey(1, 1), i));
    EXPECT_NE(randomBits(streamKey(1, 0), i), randomBits(streamKey(1, 0), i + 1));
  }
}

} // namespace
} // namespace vindrel
