#include "VindrelRegLib.h"
#include "transform/MapPoint.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>

namespace {

TEST(MakeIdentity, WritesEightValuesForEightAndSixForAnyOtherCount) {
  for (int n : {6, 8, 9, 0, -1, 7}) {
    float t[9];
    std::fill_n(t, 9, 42.0f);
    make_identity(t, n);
    const int written = n == 8 ? 8 : 6;
    const float identity[8] = {1, 0, 0, 0, 1, 0, 0, 0};
    for (int i = 0; i < 9; ++i)
      EXPECT_EQ(t[i], i < written ? identity[i] : 42.0f) << "n " << n << " value " << i;
  }
}

TEST(ConvertTrans6To8, AppendsTwoZeros) {
  const float t6[6] = {1, 2, 3, 4, 5, 6};
  float t8[9] = {9, 9, 9, 9, 9, 9, 9, 9, 9};
  convert_trans_6to8(t6, t8);
  const float expected[9] = {1, 2, 3, 4, 5, 6, 0, 0, 9};
  for (int i = 0; i < 9; ++i)
    EXPECT_EQ(t8[i], expected[i]);
}

TEST(CalcAdj, TimesTheMatrixIsTheDeterminantTimesTheIdentity) {
  const double m[9] = {2, -1, 3, 0, 4, 5, 7, 1, -2};
  double adj[9], product[9];
  calcAdj(m, adj);
  MultMatrixMatrix(m, adj, product);
  const double det = 2 * (4 * -2 - 5 * 1) - (-1) * (0 * -2 - 5 * 7) + 3 * (0 * 1 - 4 * 7);
  for (int i = 0; i < 9; ++i)
    EXPECT_EQ(product[i], i % 4 == 0 ? det : 0) << i;
}

TEST(CalcAdj, OfASingularMatrixIsStillDefined) {
  const double m[9] = {1, 2, 3, 2, 4, 6, 1, 1, 1};
  double adj[9];
  calcAdj(m, adj);
  EXPECT_EQ(adj[0], -2);
  for (double v : adj)
    EXPECT_TRUE(std::isfinite(v));
}

TEST(MultMatrixVector, MultipliesRowByRow) {
  const double m[9] = {1, 2, 3, 4, 5, 6, 7, 8, 9}, v[3] = {1, 10, 100};
  double out[4] = {0, 0, 0, 42};
  MultMatrixVector(m, v, out);
  EXPECT_EQ(out[0], 321);
  EXPECT_EQ(out[1], 654);
  EXPECT_EQ(out[2], 987);
  EXPECT_EQ(out[3], 42);
}

TEST(MultMatrixMatrix, IsTheRowByColumnProduct) {
  const double A[9] = {1, 2, 3, 4, 5, 6, 7, 8, 10}, B[9] = {2, 0, 1, 1, 3, 0, 0, 1, 4};
  const double expected[9] = {4, 9, 13, 13, 21, 28, 22, 34, 47};
  double C[10];
  C[9] = 42;
  MultMatrixMatrix(A, B, C);
  for (int i = 0; i < 9; ++i)
    EXPECT_EQ(C[i], expected[i]);
  EXPECT_EQ(C[9], 42);
}

TEST(MapPoint, DividesThePerspectiveCoefficientsBackBy100000) {
  const float t[8] = {1, 0, 0, 0, 1, 0, 100000, 0};
  EXPECT_DOUBLE_EQ(vindrel::mapPerspectiveD(t, 3.0, 8.0).x, 3.0 / 4.0);
  EXPECT_DOUBLE_EQ(vindrel::mapPerspectiveD(t, 3.0, 8.0).y, 8.0 / 4.0);
  EXPECT_FLOAT_EQ(vindrel::mapPerspectiveF(t, 3, 8).x, 0.75f);
  EXPECT_FLOAT_EQ(vindrel::mapPerspectiveMixed(t, 3, 8).y, 2.0f);
}

TEST(TransformRectPerspect, WritesTheCornersInReadingOrderInBothPrecisions) {
  const float t[8] = {2, 0, 10, 0, 3, 20, 100000, 0};
  double td[8];
  std::copy_n(t, 8, td);
  const float expected[8] = {12.0f / 2, 23.0f / 2, 20.0f / 6, 23.0f / 6, 12.0f / 2, 41.0f / 2, 20.0f / 6, 41.0f / 6};
  for (bool wide : {false, true}) {
    float c[8];
    if (wide) {
      transformRectPerspectD(1, 1, 5, 7, td, &c[0], &c[1], &c[2], &c[3], &c[4], &c[5], &c[6], &c[7]);
    } else {
      transformRectPerspectF(1, 1, 5, 7, t, &c[0], &c[1], &c[2], &c[3], &c[4], &c[5], &c[6], &c[7]);
    }
    for (int i = 0; i < 8; ++i)
      EXPECT_FLOAT_EQ(c[i], expected[i]) << wide << ' ' << i;
  }
}

TEST(TransformRectPerspect, DoesNotGuardTheHorizon) {
  const float t[8] = {1, 0, 0, 0, 1, 0, -100000, 0};
  float c[8];
  transformRectPerspectF(0, 0, 1, 1, t, &c[0], &c[1], &c[2], &c[3], &c[4], &c[5], &c[6], &c[7]);
  EXPECT_EQ(c[0], 0);
  EXPECT_FALSE(std::isfinite(c[2]));
}

TEST(TransformRectPerspect, KeepsInDoubleWhatSinglePrecisionArithmeticWouldLose) {
  const float t[8] = {1.0000001f, 0.3f, 0.1f, -0.2f, 0.9999f, 1234.567f, 0.013f, -0.017f};
  float c[8];
  transformRectPerspectF(0, 0, 6000, 4000, t, &c[0], &c[1], &c[2], &c[3], &c[4], &c[5], &c[6], &c[7]);
  const double w = (static_cast<double>(t[6]) * 6000 + static_cast<double>(t[7]) * 4000) * 0.00001 + 1;
  const double x = static_cast<double>(t[0]) * 6000 + static_cast<double>(t[1]) * 4000 + static_cast<double>(t[2]);
  EXPECT_EQ(c[6], static_cast<float>(x / w));
}

TEST(GetCurPointsBoundingRect, IsZeroWithoutPointsAndThePointTwiceForOne) {
  const int32_t x[4] = {-3, 9, 2, -8}, y[4] = {5, -6, 40, 7};
  int box[4] = {1, 1, 1, 1};
  getCurPointsBoundingRect(x, y, 0, &box[0], &box[1], &box[2], &box[3]);
  for (int v : box)
    EXPECT_EQ(v, 0);
  getCurPointsBoundingRect(x, y, 1, &box[0], &box[1], &box[2], &box[3]);
  EXPECT_EQ(box[0], -3);
  EXPECT_EQ(box[1], 5);
  EXPECT_EQ(box[2], -3);
  EXPECT_EQ(box[3], 5);
  getCurPointsBoundingRect(x, y, 4, &box[0], &box[1], &box[2], &box[3]);
  EXPECT_EQ(box[0], -8);
  EXPECT_EQ(box[1], -6);
  EXPECT_EQ(box[2], 9);
  EXPECT_EQ(box[3], 40);
}

TEST(PrintTransform, WritesTheFormulasToStandardErrorAndReturnsTheirLength) {
  const float t[8] = {1, -0.25f, 3.126f, 0, 1, -7, 12.5f, 0.125f};
  testing::internal::CaptureStderr();
  const int length = print_transform(t, 8);
  const std::string perspective = testing::internal::GetCapturedStderr();
  EXPECT_EQ(perspective, "x'=(1.000000x + -0.250000y + 3.13) / (12.500000x + 0.125000y + 1)\n"
                         "y'=(0.000000x + 1.000000y + -7.00) / (12.500000x + 0.125000y + 1)\n");
  EXPECT_EQ(length, static_cast<int>(perspective.size()));
  testing::internal::CaptureStderr();
  print_transform(t, 6);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "x'=1.000000x + -0.250000y + 3.13\ny'=0.000000x + 1.000000y + "
                                                    "-7.00\n");
}

TEST(PrintTransformDbl, NarrowsFirstAndAcceptsAnyCount) {
  const double t[9] = {1, 2, 16777217.0, 4, 5, 6, 7, 8, 9}; // 2^24 + 1 narrows to 2^24
  testing::internal::CaptureStderr();
  print_transform_dbl(t, 9);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "x'=1.000000x + 2.000000y + 16777216.00\n"
                                                    "y'=4.000000x + 5.000000y + 6.00\n");
  testing::internal::CaptureStderr();
  print_transform_dbl(t, 8);
  EXPECT_NE(testing::internal::GetCapturedStderr().find("/ (7.000000x + 8.000000y + 1)"), std::string::npos);
  for (int n : {0, 2, -1}) {
    testing::internal::CaptureStderr();
    print_transform_dbl(t, n);
    EXPECT_NE(testing::internal::GetCapturedStderr().find("y'=0.000000x + 0.000000y + 0.00"), std::string::npos);
  }
}

} // namespace
