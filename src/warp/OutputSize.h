// How large the common rectangle of a stack may be: the residuals of a least-squares search for the rectangle of the
// output frame whose corners fall inside every image.
#pragma once

#include "transform/Transform.h"

#include <cstdint>

namespace vindrel {

struct OutputSizeProblem {
  int frameWidth = 0;  // pixels, of every image
  int frameHeight = 0; // pixels
  int imageCount = 0;
  const float *transforms = nullptr;    // slots of 8 floats, each as Trans8
  const std::uint32_t *chain = nullptr; // chain[k]: slot of the k-th link
};

// Carries (x, y) through the links 1 to count of the chain, in this order; a count of 0 stands for the single link 0.
// So the point of image i passes links 1 to i, and chain[0] serves image 0 alone.
Point mapThroughChain(int count, const float *transforms, const std::uint32_t *chain, float x, float y);

// par: the negated position x0, y0 of the rectangle's upper-left corner, its width and its height, in pixels of the
// output frame. fvec receives four residuals per image, how far the upper left, upper right, lower left and lower
// right corner lie outside that image, and one more for the size: 4 * imageCount + 1 values.
void outputSizeResiduals(const double par[4], const OutputSizeProblem &problem, double *fvec);

} // namespace vindrel
