// Halving a grey image, one output row at a time.
//
// Output pixel (c, r) is the 3x3 binomial average (1 2 1, 2 4 2, 1 2 1, of 16) centred on input pixel (2c+1, 2r+1). The
// last column leaves out the kernel's right-hand column and the last row its lower row, whether or not the input still
// has pixels there; the remaining weights, sixteenths that no longer add up to one, are brought back to a sum of 256:
//
//   last column   21 43        last row   21 43 21        corner   28  57
//                 43 85                   43 85 43                 57 114
//                 21 43
//
// (twelfths 1, 2, 4 = 21, 43, 85 of 256; in the corner ninths 1, 2, 4 = 28, 57, 114, the product of the two one-sided
// kernels (1/3, 2/3)).
#pragma once

#include <cstdint>

namespace vindrel {

// A row that is not the last: up, middle and down are the input rows 2r, 2r+1 and 2r+2. Writes outWidth pixels (at
// least one) and reads 2 * outWidth of each input row. out may be up itself, or lie before it.
void reduceRow(const std::uint8_t *up, const std::uint8_t *middle, const std::uint8_t *down, int outWidth,
               std::uint8_t *out);

// The last row, from the input rows 2r and 2r+1; out as above.
void reduceLastRow(const std::uint8_t *up, const std::uint8_t *middle, int outWidth, std::uint8_t *out);

} // namespace vindrel
