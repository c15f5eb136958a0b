// Downhill simplex minimisation (Nelder, Mead: A Simplex Method for Function Minimization, The Computer Journal 7(4),
// 1965): n + 1 points in n dimensions of which the worst is reflected, stretched or drawn in at a time.
#pragma once

#include "base/Status.h"

namespace vindrel {

struct SimplexCost {
  int (*function)(const void *state, const float *parameters) = nullptr; // not negative
  const void *state = nullptr;
};

// start holds n + 1 points of n values, one after the other, n at least 1; result gets the best point found. At most 15
// moves: the starts are candidates that already agree to a pixel or so, and this evens them out. Ends early when the
// costs lie within 0.1 % of each other or one is 0. The arithmetic is single precision. On OutOfMemory result is
// untouched.
Status minimiseBySimplex(int n, const float *start, SimplexCost cost, float *result);

} // namespace vindrel
