#include "VindrelRegLib.h"
#include "lmfit/LeastSquares.h"
#include "support/FailingAllocation.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <thread>
#include <vector>

namespace {

lm_status_struct fit(int n, double *par, int m, const void *data, lm_evaluate_ftype *evaluate,
                     const lm_control_struct &control = lm_control_double, lm_printout_ftype *printout = nullptr) {
  lm_status_struct status = {-1, -1, -1};
  lmmin(n, par, m, data, evaluate, &control, &status, printout);
  return status;
}

// Counts through data; the two residuals of Rosenbrock's valley.
void rosenbrock(const double *p, int, const void *data, double *f, int *) {
  if (data != nullptr) ++*static_cast<int *>(const_cast<void *>(data));
  f[0] = 10 * (p[1] - p[0] * p[0]);
  f[1] = 1 - p[0];
}

TEST(Lmmin, FindsTheBottomOfRosenbrocksValley) {
  double par[2] = {-1.2, 1};
  int calls = 0;
  const lm_status_struct status = fit(2, par, 2, &calls, rosenbrock);
  EXPECT_NEAR(par[0], 1, 1e-12);
  EXPECT_NEAR(par[1], 1, 1e-12);
  EXPECT_EQ(status.nfev, calls);
  EXPECT_LE(status.info, 3);
  double f[2];
  rosenbrock(par, 2, nullptr, f, nullptr);
  EXPECT_EQ(status.fnorm, std::hypot(f[0], f[1]));
}

// Freudenstein and Roth's function, known for a local minimum of 48.98425 away from the root.
void freudensteinRoth(const double *p, int, const void *, double *f, int *) {
  f[0] = -13 + p[0] + ((5 - p[1]) * p[1] - 2) * p[1];
  f[1] = -29 + p[0] + ((p[1] + 1) * p[1] - 14) * p[1];
}

TEST(Lmmin, StopsAtALocalMinimumThatIsNotARoot) {
  double par[2] = {0.5, -2};
  const lm_status_struct status = fit(2, par, 2, nullptr, freudensteinRoth, lm_control_float);
  EXPECT_NEAR(status.fnorm * status.fnorm, 48.98425, 1e-4);
}

struct Samples {
  std::vector<double> t, y;
};

void exponential(const double *p, int m, const void *data, double *f, int *) {
  const Samples &s = *static_cast<const Samples *>(data);
  for (int i = 0; i < m; ++i)
    f[i] = s.y[i] - p[0] * std::exp(-p[1] * s.t[i]);
}

TEST(Lmmin, RecoversADecayFromManySamples) {
  Samples s;
  for (int i = 0; i < 100000; ++i) {
    s.t.push_back(i * 1e-4);
    s.y.push_back(3 * std::exp(-0.7 * s.t.back()));
  }
  double par[2] = {1, 0.1};
  const lm_status_struct status = fit(2, par, 100000, &s, exponential);
  EXPECT_NEAR(par[0], 3, 1e-9);
  EXPECT_NEAR(par[1], 0.7, 1e-9);
  EXPECT_LT(status.fnorm, 1e-9);
}

// ---- Every outcome

TEST(Lmmin, ReportsVanishedResidualsAsSuccess0) {
  double par[1] = {5};
  const lm_status_struct status =
      fit(1, par, 1, nullptr, [](const double *p, int, const void *, double *f, int *) { f[0] = p[0] - 5; });
  EXPECT_EQ(status.info, 0);
  EXPECT_EQ(status.fnorm, 0);
  EXPECT_EQ(par[0], 5);
}

TEST(Lmmin, CountsASumOfSquaresBelowTheSmallestNormalNumberAsVanished) {
  double par[1] = {0};
  const auto tiny = [](const double *, int, const void *, double *f, int *) { f[0] = 1e-155; };
  EXPECT_EQ(fit(1, par, 1, nullptr, tiny).info, 0);
  const auto small = [](const double *, int, const void *, double *f, int *) { f[0] = 1e-153; };
  EXPECT_EQ(fit(1, par, 1, nullptr, small).info, 4);
}

void slope(const double *p, int, const void *, double *f, int *) {
  f[0] = p[0] - 1;
  f[1] = p[0] + 1;
}

TEST(Lmmin, ReportsWhichToleranceWasMet) {
  lm_control_struct control = lm_control_double;
  control.gtol = 0;
  control.ftol = 1e-3;
  control.xtol = 0;
  double par[2] = {-1.2, 1};
  EXPECT_EQ(fit(2, par, 2, nullptr, freudensteinRoth, control).info, 1);
  control.ftol = 0;
  control.xtol = 1e-3;
  double again[2] = {0.5, -2};
  EXPECT_EQ(fit(2, again, 2, nullptr, freudensteinRoth, control).info, 2);
  control.ftol = control.xtol = 0.9;
  double both[1] = {4};
  const auto twoTargets = [](const double *p, int, const void *, double *f, int *) {
    f[0] = p[0] - 4;
    f[1] = p[0] - 2;
  };
  EXPECT_EQ(fit(1, both, 2, nullptr, twoTargets, control).info, 3);
  EXPECT_NEAR(both[0], 3, 1e-7);
}

TEST(Lmmin, ReportsResidualsOrthogonalToTheJacobianAsDegenerate) {
  double par[1] = {0};
  const lm_status_struct status = fit(1, par, 2, nullptr, slope);
  EXPECT_EQ(status.info, 4);
  EXPECT_EQ(status.fnorm, std::sqrt(2.0));
}

TEST(Lmmin, CountsTheCallLimitInUnitsOfParametersPlusOne) {
  lm_control_struct control = lm_control_double;
  control.maxcall = 2;
  double par[2] = {-1.2, 1};
  int calls = 0;
  const lm_status_struct status = fit(2, par, 2, &calls, rosenbrock, control);
  EXPECT_EQ(status.info, 5);
  EXPECT_EQ(status.nfev, calls);
  EXPECT_GE(calls, 6);
  EXPECT_LT(calls, 6 + 3); // a gradient once begun is finished
}

TEST(Lmmin, SurvivesACallLimitBeyondIntegers) {
  lm_control_struct control = lm_control_double;
  control.maxcall = INT_MAX;
  double par[2] = {-1.2, 1};
  EXPECT_LE(fit(2, par, 2, nullptr, rosenbrock, control).info, 3);
}

TEST(Lmmin, SaysWhichTargetIsTooTightForTheArithmetic) {
  lm_control_struct control = lm_control_double;
  control.ftol = control.xtol = control.gtol = 0;
  double minimum[2] = {0.5, -2};
  EXPECT_EQ(fit(2, minimum, 2, nullptr, freudensteinRoth, control).info, 6);
  // The forward difference sees a slope, but each step down it climbs the other side.
  double stuck[1] = {1};
  const auto kink = [](const double *p, int, const void *, double *f, int *) { f[0] = 1 + std::fabs(p[0] - 1); };
  EXPECT_EQ(fit(1, stuck, 1, nullptr, kink, control).info, 7);
  // All but orthogonal from the start, and yet not exactly.
  double flat[1] = {1e-17};
  const auto bowl = [](const double *p, int, const void *, double *f, int *) {
    f[0] = p[0];
    f[1] = 1;
  };
  EXPECT_EQ(fit(1, flat, 2, nullptr, bowl, control).info, 8);
}

TEST(Lmmin, RefusesInvalidInputWithoutEvaluating) {
  int calls = 0;
  double par[3] = {1, 2, 3};
  const auto expectRefused = [&](int n, int m, const lm_control_struct &control) {
    const lm_status_struct status = fit(n, par, m, &calls, rosenbrock, control);
    EXPECT_EQ(status.info, 10);
    EXPECT_EQ(status.nfev, 0);
    EXPECT_TRUE(std::isinf(status.fnorm)); // never mistaken for a good fit
  };
  expectRefused(3, 2, lm_control_double);
  expectRefused(0, 2, lm_control_double);
  expectRefused(-1, 2, lm_control_double);
  for (double lm_control_struct::*field :
       {&lm_control_struct::ftol, &lm_control_struct::xtol, &lm_control_struct::gtol, &lm_control_struct::stepbound}) {
    lm_control_struct control = lm_control_double;
    control.*field = -1;
    expectRefused(2, 2, control);
  }
  lm_control_struct control = lm_control_double;
  control.maxcall = 0;
  expectRefused(2, 2, control);
  control = lm_control_double;
  control.stepbound = 0;
  expectRefused(2, 2, control);
  EXPECT_EQ(calls, 0);
  EXPECT_EQ(par[0], 1);
}

TEST(Lmmin, ReportsAJacobianTooLargeToHoldAsOutOfMemory) {
  std::vector<double> par(4, 0.0);
  int calls = 0;
  const lm_status_struct status = fit(4, par.data(), INT_MAX, &calls, rosenbrock);
  EXPECT_EQ(status.info, 9);
  EXPECT_EQ(calls, 0);
}

TEST(Lmmin, ReportsAFailedAllocationBeforeEvaluatingAnything) {
  const long failures = vindrel::test::forEachFailingAllocation([](const vindrel::test::FailingAllocation &failing) {
    double par[2] = {-1.2, 1};
    int calls = 0;
    const lm_status_struct status = fit(2, par, 2, &calls, rosenbrock);
    if (failing.reached()) {
      EXPECT_EQ(status.info, 9);
      EXPECT_EQ(calls, 0);
      EXPECT_EQ(par[0], -1.2);
      EXPECT_TRUE(std::isinf(status.fnorm));
    } else {
      EXPECT_LE(status.info, 3);
    }
    EXPECT_EQ(failing.live(), 0);
  });
  EXPECT_EQ(failures, 2);
}

// ---- User break

struct BreakAt {
  int evaluation;
  mutable int calls;
};

void breaking(const double *p, int m, const void *data, double *f, int *userbreak) {
  const BreakAt &b = *static_cast<const BreakAt *>(data);
  rosenbrock(p, m, nullptr, f, userbreak);
  if (b.calls++ == b.evaluation) *userbreak = 1;
}

TEST(Lmmin, StopsOnRequestAtAnyEvaluationWithTheNormAtItsParameters) {
  double start[2];
  double norm = std::numeric_limits<double>::infinity();
  for (int k = 0; k < 20; ++k) {
    double par[2] = {-1.2, 1};
    const BreakAt data = {k, 0};
    const lm_status_struct status = fit(2, par, 2, &data, breaking);
    EXPECT_EQ(status.info, 11);
    EXPECT_EQ(status.nfev, k + 1);
    EXPECT_EQ(data.calls, k + 1); // not called again
    double f[2];
    rosenbrock(par, 2, nullptr, f, nullptr);
    EXPECT_EQ(status.fnorm, std::hypot(f[0], f[1])) << "broken at evaluation " << k;
    EXPECT_LE(status.fnorm, norm);
    norm = status.fnorm;
    if (k == 0) std::copy_n(par, 2, start);
  }
  EXPECT_EQ(start[0], -1.2);
  EXPECT_EQ(start[1], 1);
}

// ---- Reports

struct Seen {
  int start = 0, gradient = 0, step = 0, end = 0, lastEvaluations = 0;
};

void watch(int n, const double *par, int m, const void *data, const double *fvec, int printflags, int iflag, int iter,
           int nfev) {
  Seen &seen = **static_cast<Seen *const *>(data);
  double f[2];
  rosenbrock(par, 2, nullptr, f, nullptr);
  EXPECT_EQ(f[0], fvec[0]);
  EXPECT_EQ(f[1], fvec[1]);
  EXPECT_EQ(n, 2);
  EXPECT_EQ(m, 2);
  EXPECT_EQ(printflags, 6);
  EXPECT_GE(iter, 0);
  ++(iflag == 0 ? seen.start : iflag == 1 ? seen.gradient : iflag == 2 ? seen.step : seen.end);
  if (iflag == -1) {
    EXPECT_EQ(nfev, seen.lastEvaluations);
  } else {
    EXPECT_EQ(nfev, ++seen.lastEvaluations);
  }
}

TEST(Lmmin, ReportsEveryEvaluationAndTheEndToThePrintout) {
  Seen seen;
  Seen *const data = &seen;
  lm_control_struct control = lm_control_double;
  control.printflags = 6;
  double par[2] = {-1.2, 1};
  const auto evaluate = [](const double *p, int m, const void *, double *f, int *u) {
    rosenbrock(p, m, nullptr, f, u);
  };
  const lm_status_struct status = fit(2, par, 2, &data, evaluate, control, watch);
  EXPECT_EQ(seen.start, 1);
  EXPECT_EQ(seen.end, 1);
  EXPECT_GT(seen.gradient, 2);
  EXPECT_EQ(seen.gradient % 2, 0);
  EXPECT_GT(seen.step, 1);
  EXPECT_EQ(status.nfev, seen.start + seen.gradient + seen.step);
}

TEST(Lmmin, PrintsNothingByItself) {
  double par[2] = {-1.2, 1};
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  fit(2, par, 2, nullptr, rosenbrock, lm_control_double, lm_printout_std);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

// ---- Further promises

TEST(Lmmin, TakesResidualsLeftUnwrittenAsZero) {
  double with[1] = {0}, without[1] = {0};
  const auto two = [](const double *p, int, const void *, double *f, int *) {
    f[0] = p[0] * p[0] - 2;
    f[1] = 0;
    f[2] = 0.5 * p[0];
  };
  const auto gap = [](const double *p, int, const void *, double *f, int *) {
    f[0] = p[0] * p[0] - 2;
    f[2] = 0.5 * p[0];
  };
  with[0] = without[0] = 3;
  const lm_status_struct a = fit(1, with, 3, nullptr, two);
  const lm_status_struct b = fit(1, without, 3, nullptr, gap);
  EXPECT_EQ(with[0], without[0]);
  EXPECT_EQ(a.fnorm, b.fnorm);
  EXPECT_EQ(a.nfev, b.nfev);
}

TEST(Lmmin, ScalesParametersOnlyWhenAsked) {
  lm_control_struct scaled = lm_control_double, plain = lm_control_double;
  scaled.stepbound = plain.stepbound = 0.1;
  plain.scale_diag = 0;
  double a[2] = {-1.2, 1}, b[2] = {-1.2, 1};
  const lm_status_struct sa = fit(2, a, 2, nullptr, rosenbrock, scaled);
  const lm_status_struct sb = fit(2, b, 2, nullptr, rosenbrock, plain);
  EXPECT_NE(sa.nfev, sb.nfev);
  EXPECT_NEAR(b[0], 1, 1e-9);
}

TEST(Lmmin, FromManyThreadsGivesEachTheSameAnswer) {
  double expected[2] = {-1.2, 1};
  const lm_status_struct alone = fit(2, expected, 2, nullptr, rosenbrock);
  std::vector<std::thread> threads;
  std::vector<int> agreed(8, 0);
  for (int t = 0; t < 8; ++t) {
    threads.emplace_back([&, t] {
      for (int repeat = 0; repeat < 50; ++repeat) {
        double par[2] = {-1.2, 1};
        const lm_status_struct status = fit(2, par, 2, nullptr, rosenbrock);
        agreed[t] += par[0] == expected[0] && par[1] == expected[1] && status.nfev == alone.nfev;
      }
    });
  }
  for (std::thread &thread : threads)
    thread.join();
  for (int count : agreed)
    EXPECT_EQ(count, 50);
}

} // namespace
