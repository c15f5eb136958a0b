#include "driver/Chance.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>

namespace vindrel {
namespace {

double logFactorial(int n) {
  double sum = 0;
  for (int i = 2; i <= n; ++i)
    sum += std::log10(static_cast<double>(i));
  return sum;
}

double logChoices(int n, int k) {
  return logFactorial(n) - logFactorial(k) - logFactorial(n - k);
}

} // namespace

double logFalseAlarms(int pairs, int inliers, int sample, double tolerance, MatchWindow window) {
  if (inliers <= sample || inliers > pairs) return std::numeric_limits<double>::infinity();
  const double places = (2.0 * std::max(window.rangeX, 0) + 1) * (2.0 * std::max(window.rangeY, 0) + 1);
  const double near = std::min(1.0, std::numbers::pi * tolerance * tolerance / places);
  return std::log10(static_cast<double>(pairs - sample)) + logChoices(pairs, inliers) + logChoices(inliers, sample) +
         (inliers - sample) * std::log10(near);
}

} // namespace vindrel
