#include "transform/PerspectiveResiduals.h"

#include "transform/CornerAngles.h"
#include "transform/MapPoint.h"

#include <algorithm>
#include <cmath>

namespace vindrel {

namespace {

constexpr double kPairUnit = 0.001; // residual a pixel

// Against the reference: corners within 200 pixels of where it puts them, edges within a degree of its directions.
constexpr float kReferenceDistance = 200.0f; // pixels
constexpr float kReferenceAngle = 1.0f;      // degrees
constexpr double kPenaltyUnit = 0.01;        // growth of the residuals a unit of penalty

// The two shape residuals: corner angles beyond half a degree and corners beyond 200 pixels from the frame's.
constexpr double kFreeAngle = 0.5;            // degrees
constexpr double kAngleUnit = 0.0001;         // residual a degree
constexpr double kFreeDisplacement = 40000.0; // squared pixels
constexpr double kDisplacementUnit = 0.00001; // residual a squared pixel
constexpr double kBentFrameFactor = 10.0;     // least growth of the residuals once a corner exceeds the tolerance

void scale(double *values, int count, double factor) {
  for (int i = 0; i < count; ++i) {
    values[i] *= factor;
  }
}

// In double precision, as differences of angles near 90 are formed exactly there.
Corners<double> deviationsFromSquare(const Corners<float> &interior) {
  const auto deviation = [](float angle) { return std::fabs(static_cast<double>(angle) - 90.0); };
  return {deviation(interior.topLeft), deviation(interior.topRight), deviation(interior.bottomLeft),
          deviation(interior.bottomRight)};
}

void writeShapeResiduals(const Corners<double> &e, const Corners<float> &displacement, double *residuals) {
  double bent = 0;
  for (const double deviation : {e.topLeft, e.topRight, e.bottomLeft, e.bottomRight}) {
    if (deviation > kFreeAngle) bent += deviation;
  }
  double moved = 0;
  for (const float squared :
       {displacement.topLeft, displacement.topRight, displacement.bottomLeft, displacement.bottomRight}) {
    const double excess = static_cast<double>(squared) - kFreeDisplacement;
    if (excess > 0) moved += excess;
  }
  residuals[0] = bent * kAngleUnit;
  residuals[1] = moved * kDisplacementUnit;
}

} // namespace

void plainPerspectiveResiduals(const double *parameters, int m, const PairsView &pairs, double *residuals) {
  for (int i = 0; i < m / 2; ++i) {
    const PointD p = mapPerspectiveD(parameters, pairs.xA[i], pairs.yA[i]);
    residuals[2 * i] = pairs.xB[i] - p.x;
    residuals[2 * i + 1] = pairs.yB[i] - p.y;
  }
}

void perspectiveResiduals(const double *parameters, int m, const PerspectiveFitProblem &problem, double *residuals) {
  const int n = problem.shapeResiduals ? m - kShapeResiduals : m;
  plainPerspectiveResiduals(parameters, n, problem.pairs, residuals);
  scale(residuals, n / 2 * 2, kPairUnit);
  if (problem.reference != nullptr) {
    const double penalty = static_cast<double>(
        transformPenalty(problem.frame, problem.reference, parameters, kReferenceDistance, kReferenceAngle));
    if (penalty > 0) scale(residuals, n, 1 + kPenaltyUnit * penalty);
  }
  const CornerDifference shape = cornerDifference(problem.frame, nullptr, parameters);
  const Corners<double> e = deviationsFromSquare(shape.interior);
  if (problem.shapeResiduals) writeShapeResiduals(e, shape.displacement, residuals + n);
  const double tolerance = static_cast<double>(problem.maxAngle);
  if (e.topLeft > tolerance || e.topRight > tolerance || e.bottomLeft > tolerance || e.bottomRight > tolerance) {
    // Whole pairs; an odd count takes the entry after it along where there is one.
    const int whole = std::min((n + 1) / 2 * 2, m);
    scale(residuals, whole, e.topLeft + e.topRight + e.bottomLeft + e.bottomRight + kBentFrameFactor);
  }
}

} // namespace vindrel
