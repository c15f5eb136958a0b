// Nonlinear least squares: finds the parameters for which the sum of the squares of m residuals is least, with the
// Levenberg-Marquardt method and a Jacobian by forward differences. The minimiser itself is MINPACK's lmdif as cminpack
// carries it (More, Garbow, Hillstrom: User Guide for MINPACK-1, Argonne ANL-80-74, 1980); here stand the work arrays,
// the counting, the ways out and the reports.
#pragma once

namespace vindrel {

// Writes the m residuals at par to residuals. A nonzero *userBreak ends the fit. Entries left unwritten count as 0.
using ResidualFunction = void (*)(const double *par, int m, const void *data, double *residuals, int *userBreak);

// Where a fit stands when its observer is called.
enum class FitStage : int {
  Terminated = -1,
  Start = 0,    // the residuals at the start parameters are known
  Gradient = 1, // one parameter was moved a little to learn the gradient
  Step = 2,     // a step was tried
};

struct FitProgress {
  int parameterCount;
  const double *parameters;
  int residualCount;
  const void *data;
  const double *residuals; // at parameters
  int printFlags;
  FitStage stage;
  int iteration;   // gradients begun before the present one
  int evaluations; // residual evaluations so far
};

// Sees every evaluation and then the end. state is the observer's own.
struct FitObserver {
  void (*function)(void *state, const FitProgress &progress) = nullptr;
  void *state = nullptr;
};

struct LeastSquaresControl {
  double ftol;      // stop when the sum of squares changes by less than this part of itself
  double xtol;      // stop when the parameters change by less than this part of themselves
  double gtol;      // stop when the residuals are this close to orthogonal to the Jacobian's columns
  double epsilon;   // relative error of the residual function: its square root is the step of the differences
  double stepBound; // the first step's bound, in multiples of the scaled norm of the start parameters
  int maxCall;      // the fit ends after maxCall * (parameters + 1) evaluations
  bool scaleDiag;   // true: the minimiser scales the parameters by the Jacobian's columns; false: all scales are 1
  int printFlags;   // handed to the observer
};

// Thirty rounding errors: residuals computed in double precision are rarely smoother.
constexpr double kDoubleTolerance = 6.661338147750939e-15;
constexpr LeastSquaresControl kDoubleControl = {
    kDoubleTolerance, kDoubleTolerance, kDoubleTolerance, kDoubleTolerance, 100.0, 100, true, 0};
// For residuals computed in single precision.
constexpr LeastSquaresControl kFloatControl = {1e-7, 1e-7, 1e-7, 1e-7, 100.0, 100, false, 0};

enum class FitInfo : int {
  BelowUnderflow = 0, // the sum of squares is below the smallest normal number
  SumConverged = 1,
  ParametersConverged = 2,
  BothConverged = 3,
  Degenerate = 4, // the residuals are orthogonal to the Jacobian's columns
  CallLimit = 5,
  SumStuck = 6,
  ParametersStuck = 7,
  GradientStuck = 8,
  OutOfMemory = 9,
  InvalidInput = 10,
  UserBreak = 11,
};
constexpr int kFitInfoCount = 12;

struct FitResult {
  double norm;     // Euclidean norm of the residuals at the parameters; infinite when they were never evaluated
  int evaluations; // residual evaluations made
  FitInfo info;
};

// Moves par (n values) from the start to the best parameters found, on every way out. Invalid are: n < 1, m < n, a
// negative tolerance, a bound or a call limit below or at 0.
FitResult leastSquares(int n, double *par, int m, const void *data, ResidualFunction evaluate,
                       const LeastSquaresControl &control, FitObserver observer = {});

// The Euclidean norm, scaled where squares would overflow or underflow.
double euclideanNorm(int n, const double *values);

} // namespace vindrel
