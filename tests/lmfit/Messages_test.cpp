#include "VindrelRegLib.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <string>

namespace {

TEST(LmMessages, NameEveryOutcomeInOrder) {
  const char *const shorts[12] = {"success (0)", "success (f)", "success (p)",   "success (f,p)",
                                  "degenerate",  "call limit",  "failed (f)",    "failed (p)",
                                  "failed (o)",  "no memory",   "invalid input", "user break"};
  const char *const longs[12] = {"success (sum of squares below underflow limit)",
                                 "success (the relative error in the sum of squares is at most tol)",
                                 "success (the relative error between x and the solution is at most tol)",
                                 "success (both errors are at most tol)",
                                 "trapped by degeneracy (fvec is orthogonal to the columns of the jacobian)",
                                 "timeout (number of calls to fcn has reached maxcall*(n+1))",
                                 "failure (ftol<tol: cannot reduce sum of squares any further)",
                                 "failure (xtol<tol: cannot improve approximate solution any further)",
                                 "failure (gtol<tol: cannot improve approximate solution any further)",
                                 "exception (not enough memory)",
                                 "fatal coding error (improper input parameters)",
                                 "exception (break requested within function evaluation)"};
  for (int i = 0; i < 12; ++i) {
    EXPECT_STREQ(lm_shortmsg[i], shorts[i]);
    EXPECT_STREQ(lm_infmsg[i], longs[i]);
  }
}

TEST(LmControl, OffersADoubleAndASinglePrecisionRecord) {
  for (double tolerance :
       {lm_control_double.ftol, lm_control_double.xtol, lm_control_double.gtol, lm_control_double.epsilon}) {
    EXPECT_EQ(tolerance, 30 * DBL_EPSILON);
    EXPECT_EQ(tolerance, 6.661338147750939e-15);
  }
  EXPECT_EQ(lm_control_double.stepbound, 100);
  EXPECT_EQ(lm_control_double.maxcall, 100);
  EXPECT_EQ(lm_control_double.scale_diag, 1);
  EXPECT_EQ(lm_control_double.printflags, 0);
  for (double tolerance :
       {lm_control_float.ftol, lm_control_float.xtol, lm_control_float.gtol, lm_control_float.epsilon})
    EXPECT_EQ(tolerance, 1e-7);
  EXPECT_EQ(lm_control_float.stepbound, 100);
  EXPECT_EQ(lm_control_float.maxcall, 100);
  EXPECT_EQ(lm_control_float.scale_diag, 0);
  EXPECT_EQ(lm_control_float.printflags, 0);
}

std::string printed(int flags, int iflag) {
  const double par[2] = {1.5, -2}, fvec[3] = {3, 0, 4};
  testing::internal::CaptureStdout();
  lm_printout_std(2, par, 3, nullptr, fvec, flags, iflag, 7, 42);
  return testing::internal::GetCapturedStdout();
}

TEST(LmPrintoutStd, WritesNothingWithoutFlags) {
  for (int stage : {-1, 0, 1, 2})
    EXPECT_EQ(printed(0, stage), "");
}

TEST(LmPrintoutStd, WritesStageParametersAndResidualsByFlag) {
  EXPECT_EQ(printed(1, 0), "fit: start\n");
  EXPECT_EQ(printed(1, 1), "fit: gradient of iteration 7\n");
  EXPECT_EQ(printed(1, 2), "fit: step of iteration 7\n");
  EXPECT_EQ(printed(1, -1), "fit: end after 42 evaluations\n");
  EXPECT_EQ(printed(2, 2), " parameters: 1.5 -2 norm: 5\n");
  EXPECT_EQ(printed(4, 2), "");
  EXPECT_EQ(printed(4, -1), "  residual 0: 3\n  residual 1: 0\n  residual 2: 4\n");
  EXPECT_EQ(printed(8, 1), "  residual 0: 3\n  residual 1: 0\n  residual 2: 4\n");
}

} // namespace
