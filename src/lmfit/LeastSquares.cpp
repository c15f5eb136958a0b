// The adapter between leastSquares() and cminpack's lmdif.
#include "lmfit/LeastSquares.h"

#include "base/Buffer.h"

#include <cminpack.h>

#include <algorithm>
#include <cfloat>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <limits>

namespace vindrel {

namespace {

constexpr int kStop = -1; // lmdif ends when the evaluation returns a negative value

struct Fit {
  ResidualFunction evaluate;
  const void *data;
  int printFlags;
  FitObserver observer;
  int evaluations = 0;
  int gradientEvaluations = 0;
  bool broken = false; // the caller's function asked to stop

  void observe(int n, const double *par, int m, const double *residuals, FitStage stage, int iteration) const {
    if (observer.function == nullptr) return;
    observer.function(observer.state, {.parameterCount = n,
                                       .parameters = par,
                                       .residualCount = m,
                                       .data = data,
                                       .residuals = residuals,
                                       .printFlags = printFlags,
                                       .stage = stage,
                                       .iteration = iteration,
                                       .evaluations = evaluations});
  }
};

// lmdif's evaluation callback: purpose 1 asks for the residuals at a trial point, 2 for those of a difference.
int evaluateOnce(void *context, int m, int n, const double *par, double *residuals, int purpose) {
  Fit &fit = *static_cast<Fit *>(context);
  const bool forGradient = purpose == 2;
  // lmdif keeps other vectors in the array meanwhile. Cleared, an entry that the caller's function leaves out is a
  // residual of 0 in every evaluation, not a chance value.
  std::fill_n(residuals, m, 0.0);
  // Ended amid a gradient, lmdif would leave its caller with one parameter moved. So the rest of the gradient is let
  // pass unevaluated, and the fit ends at the step that follows.
  if (fit.broken) return forGradient ? 0 : kStop;
  int userBreak = 0;
  fit.evaluate(par, m, fit.data, residuals, &userBreak);

  // Every gradient takes n evaluations, one a parameter.
  const int iteration = forGradient ? fit.gradientEvaluations / n : std::max(fit.gradientEvaluations / n - 1, 0);
  const FitStage stage = forGradient ? FitStage::Gradient : fit.evaluations == 0 ? FitStage::Start : FitStage::Step;
  ++fit.evaluations;
  if (forGradient) ++fit.gradientEvaluations;
  fit.observe(n, par, m, residuals, stage, iteration);
  fit.broken = userBreak != 0;
  return fit.broken && !forGradient ? kStop : 0;
}

int evaluationLimit(int maxCall, int n) {
  const std::int64_t limit = static_cast<std::int64_t>(maxCall) * (static_cast<std::int64_t>(n) + 1);
  return static_cast<int>(std::min<std::int64_t>(limit, INT_MAX));
}

FitInfo infoOf(int lmdifInfo, bool broken, double norm) {
  if (broken) return FitInfo::UserBreak;
  if (lmdifInfo == 0) return FitInfo::InvalidInput;
  // lmdif calls vanished residuals degenerate, because they are orthogonal to everything.
  if (norm * norm < DBL_MIN) return FitInfo::BelowUnderflow;
  return static_cast<FitInfo>(lmdifInfo);
}

bool isInvalid(int n, int m, const LeastSquaresControl &control) {
  return n < 1 || m < n || control.ftol < 0 || control.xtol < 0 || control.gtol < 0 || control.maxCall < 1 ||
         control.stepBound <= 0;
}

FitResult unevaluated(FitInfo info) {
  return {std::numeric_limits<double>::infinity(), 0, info};
}

} // namespace

double euclideanNorm(int n, const double *values) {
  return enorm(n, values);
}

FitResult leastSquares(int n, double *par, int m, const void *data, ResidualFunction evaluate,
                       const LeastSquaresControl &control, FitObserver observer) {
  if (isInvalid(n, m, control)) return unevaluated(FitInfo::InvalidInput);
  const std::size_t parameters = static_cast<std::size_t>(n);
  const std::size_t residuals = static_cast<std::size_t>(m);
  // lmdif indexes the Jacobian with int.
  if (residuals > static_cast<std::size_t>(INT_MAX) / parameters) return unevaluated(FitInfo::OutOfMemory);
  Buffer<double> work = Buffer<double>::zeroed(parameters * residuals + 2 * residuals + 5 * parameters);
  Buffer<int> permutation = Buffer<int>::zeroed(parameters);
  if (!work || !permutation) return unevaluated(FitInfo::OutOfMemory);

  double *next = work.data();
  const auto take = [&next](std::size_t count) {
    double *const taken = next;
    next += count;
    return taken;
  };
  double *const jacobian = take(parameters * residuals);
  double *const atPar = take(residuals);
  double *const trialResiduals = take(residuals);
  double *const scales = take(parameters);
  double *const qtf = take(parameters);
  double *const wa1 = take(parameters);
  double *const wa2 = take(parameters);
  double *const wa3 = take(parameters);
  std::fill_n(scales, n, 1.0);

  Fit fit = {.evaluate = evaluate, .data = data, .printFlags = control.printFlags, .observer = observer};
  constexpr int kMinimiserScales = 1, kCallerScales = 2;
  constexpr int kNoPrinting = 0;
  int evaluationsSeenByLmdif = 0;
  const int info = lmdif(evaluateOnce, &fit, m, n, par, atPar, control.ftol, control.xtol, control.gtol,
                         evaluationLimit(control.maxCall, n), control.epsilon, scales,
                         control.scaleDiag ? kMinimiserScales : kCallerScales, control.stepBound, kNoPrinting,
                         &evaluationsSeenByLmdif, jacobian, m, permutation.data(), qtf, wa1, wa2, wa3, trialResiduals);
  const double norm = euclideanNorm(m, atPar);
  fit.observe(n, par, m, atPar, FitStage::Terminated, 0);
  return {norm, fit.evaluations, infoOf(info, fit.broken, norm)};
}

} // namespace vindrel
