// Where the size-15 response may have an extremum: a cheap first look at every pixel, which never misses one.
//
// The response decides in double precision and in a fixed grouping. Here its determinant Dxx Dyy - 0.81 Dxy Dxy is
// estimated in single precision, with an error of which only the bound matters; what passes is looked at again exactly.
#pragma once

#include "features/IntegralImage.h"

#include <cstddef>
#include <cstdint>

namespace vindrel {

// The estimate differs from the determinant by less than this. Of the filter of size 15, |Dxx| and |Dyy| reach 90 x 255
// and |Dxy| 50 x 255, all exact in single precision, so that |Dxx Dyy| < 2^29 and 0.81 Dxy Dxy < 2^27. Rounding moves
// the first product by at most 2^4; the rounded factor 0.81, its product with Dxy and the product of that with Dxy move
// the second by at most 2^3, 2^3 and 2^2; and rounding the difference, below 2^30, by at most 2^5: 68 in all.
constexpr float kEstimateError = 72;

// Entries beyond the last column that a row of estimates or of work space has room for.
constexpr int kCandidateSlack = 64;

// Rows of work space, each of the image's width + kCandidateSlack entries.
constexpr int kEstimateWorkRows = 3;

// Estimates the determinants of a row into estimates[kResponseMargin .. width - kResponseMargin - 1] and overwrites the
// entries behind, up to the slack. The row keeps kResponseMargin from the image's borders. work has kEstimateWorkRows
// rows of any contents.
void estimateRow(IntegralView<std::uint16_t> integral, int row, std::int16_t *work, float *estimates);

// Writes the columns from begin to end - 1, ascending, where the response may be an extremum and of its least size by
// the estimates of the row and its neighbours, and returns how many they are. Those for which it is are among them.
// Reads the rows from begin - 1 to the slack.
int findCandidates(const float *above, const float *at, const float *below, int begin, int end, std::int32_t *columns);

} // namespace vindrel
