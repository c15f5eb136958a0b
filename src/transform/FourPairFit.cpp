#include "transform/FourPairFit.h"

#include "base/PairsView.h"
#include "lmfit/LeastSquares.h"
#include "transform/Matrix33.h"
#include "transform/PerspectiveResiduals.h"
#include "transform/ThreePairs.h"

#include <algorithm>
#include <cstdint>

namespace vindrel {

namespace {

constexpr double kAcceptedNorm = 10.0; // pixels, over all eight residuals
constexpr int kMaxCall = 150;          // the fit's limit, in units of 9 evaluations

// False beyond int, where a conversion is undefined.
bool truncate(float value, std::int32_t &out) {
  if (!(value >= -2147483648.0f && value < 2147483648.0f)) return false;
  out = static_cast<std::int32_t>(value);
  return true;
}

struct WholePoints {
  std::int32_t x[4];
  std::int32_t y[4];
};

bool truncate(const Point p[4], WholePoints &out) {
  for (int i = 0; i < 4; ++i) {
    if (!truncate(p[i].x, out.x[i]) || !truncate(p[i].y, out.y[i])) return false;
  }
  return true;
}

void residualsOf(const double *parameters, int m, const void *data, double *residuals, int *) {
  plainPerspectiveResiduals(parameters, m, *static_cast<const PairsView *>(data), residuals);
}

} // namespace

FourPairFit fitFourPairs(const Point src[4], const Point dst[4]) {
  Trans6 affine{};
  WholePoints from{};
  WholePoints to{};
  if (!affineFromThreePairs(src, dst, affine) || !truncate(src, from) || !truncate(dst, to)) return {};
  Trans8D parameters{};
  std::copy(affine.begin(), affine.end(), parameters.begin());
  const PairsView pairs = {.count = 4, .xA = from.x, .yA = from.y, .xB = to.x, .yB = to.y};
  LeastSquaresControl control = kDoubleControl;
  control.maxCall = kMaxCall;
  const FitResult fit = leastSquares(8, parameters.data(), 8, &pairs, residualsOf, control);
  return {fit.norm <= kAcceptedNorm ? FourPairFit::Outcome::Accepted : FourPairFit::Outcome::Rejected,
          narrow(parameters)};
}

} // namespace vindrel
