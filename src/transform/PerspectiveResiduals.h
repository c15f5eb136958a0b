// Residuals of a perspective transform over matched pairs, for least squares. Implausible transforms are held off by
// inflating the residuals rather than by constraints, so that the fit keeps a direction to return in.
#pragma once

#include "base/ImageView.h"
#include "base/PairsView.h"

namespace vindrel {

struct PerspectiveFitProblem {
  PairsView pairs;                  // mapped from A onto B; their number follows from the number of residuals
  const float *reference = nullptr; // 8 coefficients that the fit must not stray from, or null
  Size frame;
  float maxAngle = 0;          // largest tolerated deviation of a mapped frame corner from 90 degrees
  bool shapeResiduals = false; // kShapeResiduals entries follow the pairs'; the first two are written
};

constexpr int kShapeResiduals = 8;

// parameters: 8 coefficients. Writes two residuals a pair, 0.001 for each pixel.
void perspectiveResiduals(const double *parameters, int m, const PerspectiveFitProblem &problem, double *residuals);

// parameters: 8 coefficients. Writes two residuals a pair, in pixels, for m / 2 pairs.
void plainPerspectiveResiduals(const double *parameters, int m, const PairsView &pairs, double *residuals);

} // namespace vindrel
