// The blob response: the determinant of the Hessian with box filters for derivatives, at three filter sizes.
#pragma once

#include "base/ImageView.h"
#include "features/IntegralImage.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace vindrel {

// The responses of the three filter sizes, in rising order, at a pixel and the eight around it: [size][row][column],
// with a column that only completes the vectors.
struct ResponseCube {
  float at[3][3][4] = {};
};

// Whether the size-15 response in the middle is either at least kLeastResponse and strictly greater, or at most
// -kLeastResponse and strictly smaller, than all 26 others.
bool isExtremum(const ResponseCube &responses);

// A pixel whose size-15 response is an extremum.
struct Extremum {
  std::int32_t column = 0;
  ResponseCube responses;
};

// Of count columns of a row, keeps those with an extremum, in their order, and returns how many they are. estimates are
// those of the row (see CandidateKernel.h). Row and columns keep kScanMargin from every border of the image. extrema
// has room for count; the columns are overwritten.
int keepExtrema(IntegralView<std::uint16_t> integral, int row, const float *estimates, std::int32_t *columns, int count,
                Extremum *extrema);

// The responses of the three sizes at a linear index of the image; 0 nearer than kResponseMargin to a border.
std::array<float, 3> responsesAt(const std::uint16_t *sums, Size size, std::ptrdiff_t index);

} // namespace vindrel
