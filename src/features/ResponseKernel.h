// The blob response: the determinant of the Hessian with box filters for derivatives, at three filter sizes.
#pragma once

#include "features/IntegralImage.h"

namespace vindrel {

// Responses are defined where the largest filter has this many pixels on every side.
constexpr int kResponseMargin = 20;

// One row, or part of one, of each response map.
struct ResponseSpans {
  float *size9 = nullptr;
  float *size15 = nullptr;
  float *size21 = nullptr;
};

// Computes the responses at columns begin .. end - 1 of a row into out.size*[0 .. end - begin - 1]. The row and the
// columns keep kResponseMargin from every border of the image.
void responseRow(IntegralView integral, int row, int begin, int end, ResponseSpans out);

} // namespace vindrel
