#include "VindrelRegLib.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <vector>

namespace {

TEST(GaussElim, SolvesRandomSystemsOfManySizes) {
  std::mt19937 random(1);
  std::uniform_real_distribution<double> value(-10, 10);
  for (int n = 1; n <= 9; ++n) {
    for (int repeat = 0; repeat < 50; ++repeat) {
      std::vector<double> A(n * n), truth(n), b(n, 0.0), x(n + 1, 77.0);
      for (double &a : A)
        a = value(random);
      for (int i = 0; i < n; ++i)
        A[i * n + i] += 30; // well conditioned
      for (double &t : truth)
        t = value(random);
      for (int i = 0; i < n; ++i)
        for (int j = 0; j < n; ++j)
          b[i] += A[i * n + j] * truth[j];
      ASSERT_EQ(gauss_elim(n, A.data(), b.data(), x.data()), 1);
      for (int i = 0; i < n; ++i)
        EXPECT_NEAR(x[i], truth[i], 1e-8);
      EXPECT_EQ(x[n], 77.0);
    }
  }
}

TEST(GaussElim, WithNoUnknownsSucceedsAndTouchesNothing) {
  double guard = 5;
  EXPECT_EQ(gauss_elim(0, &guard, &guard, &guard), 1);
  EXPECT_EQ(gauss_elim(-3, &guard, &guard, &guard), 1);
  EXPECT_EQ(guard, 5);
}

TEST(GaussElim, DoesNotTestTheLastPivotForZero) {
  double A[1] = {0}, b[1] = {1}, x[1] = {0};
  EXPECT_EQ(gauss_elim(1, A, b, x), 1);
  EXPECT_FALSE(std::isfinite(x[0]));
  double Z[1] = {0}, z[1] = {0};
  EXPECT_EQ(gauss_elim(1, Z, z, x), 1);
  EXPECT_TRUE(std::isnan(x[0]));
}

TEST(GaussElim, RefusesAZeroOrUndefinedPivotAndLeavesTheSolutionAlone) {
  double A[4] = {0, 1, 0, 1}, b[2] = {1, 2}, x[2] = {8, 9};
  EXPECT_EQ(gauss_elim(2, A, b, x), -1);
  EXPECT_EQ(x[0], 8);
  EXPECT_EQ(x[1], 9);
  double N[4] = {std::numeric_limits<double>::quiet_NaN(), 1, 1, 1};
  EXPECT_EQ(gauss_elim(2, N, b, x), -1);
}

// The column below the diagonal 1 holds -5, 0.5, 0.2. Elimination leaves the pivot row first and untouched.
TEST(GaussElim, RemembersASignedPivotSoThatAnyRowBeatsANegativeOne) {
  double A[16] = {1, 0, 0, 0, -5, 1, 0, 0, 0.5, 0, 1, 0, 0.2, 0, 0, 1};
  double b[4] = {10, 20, 30, 40}, x[4];
  ASSERT_EQ(gauss_elim(4, A, b, x), 1);
  EXPECT_EQ(A[0], 0.5);
  EXPECT_EQ(A[2], 1.0);
  EXPECT_EQ(b[0], 30);
  EXPECT_DOUBLE_EQ(x[0], 10);
}

TEST(GaussElim, PrefersALaterLargerPositiveRow) {
  double A[9] = {1, 0, 0, 3, 1, 0, 7, 0, 1};
  double b[3] = {1, 2, 3}, x[3];
  ASSERT_EQ(gauss_elim(3, A, b, x), 1);
  EXPECT_EQ(A[0], 7);
}

// The rule can pick a zero row although a usable one exists: a negative candidate is beaten by a row of magnitude
// above the negative number, zero included.
TEST(GaussElim, MayPickAZeroPivotAndFailOnASoundSystem) {
  double A[9] = {1, 0, 0, -5, 1, 0, 0, 0, 1};
  double b[3] = {1, 2, 3}, x[3] = {4, 5, 6};
  EXPECT_EQ(gauss_elim(3, A, b, x), -1);
  EXPECT_EQ(x[0], 4);
}

} // namespace
