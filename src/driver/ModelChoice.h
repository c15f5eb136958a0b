// The smallest model that explains the pairs. More parameters always fit better; whether they fit better than chance
// would let them is weighed by P. Torr's geometric robust information criterion ("An assessment of information criteria
// for motion model selection", Proceedings of the IEEE Conference on Computer Vision and Pattern Recognition, 1997, and
// "Geometric motion segmentation and model selection", Philosophical Transactions of the Royal Society A 356, 1998):
//
//   GRIC = sum of min(e^2 / s^2, l3 (r - d)) + l1 d n + l2 k
//
// with n pairs of r = 4 coordinates, k parameters, d = 2 (a plane's transform leaves a pair two degrees of freedom),
// l1 = ln r, l2 = ln (r n), l3 = 2. e^2 / s^2 is the pair's squared distance from the model in units of a coordinate's
// variance, which is its squared residual over the variance of a residual's component. The model of the least value is
// taken.
#pragma once

#include "base/PairsView.h"
#include "driver/Estimate.h"
#include "driver/StackPairs.h"
#include "transform/Transform.h"

namespace vindrel {

struct WholeShift {
  int x = 0; // pixels
  int y = 0;
};

// One link's criterion. variance: of a residual's component, squared pixels.
double robustCriterion(const PairsView &pairs, const Trans8 &transform, int parameters, double variance);

// The displacement in whole pixels that explains the pairs best: of those that occur, the one of the least sum of
// squared residuals, each limited as in the criterion.
WholeShift bestWholeShift(const PairsView &pairs, double variance);

// Of a whole stack, sums over the links that an affine or a perspective transform is supported by.
struct ModelScores {
  double shift = 0, affine = 0, perspective = 0;
  int links = 0; // that were counted
};

// The links of both estimates are of the same pairs. Writes the whole-pixel displacement of every link, counted or not.
ModelScores scoreModels(const StackPairs &pairs, const Estimate &affine, const Estimate &perspective,
                        WholeShift *shifts);

} // namespace vindrel
