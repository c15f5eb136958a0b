// How many bits of a row differ from a shifted row.
//
// Rows are bits in 64-bit words as thresholdRow() writes them.
#pragma once

#include <cstdint>

namespace vindrel {

// The set bits of reference XOR S over the row's width, where S(x) = moving(x + shift) for 1 <= x + shift < width and 0
// elsewhere: column 0 of the moving row is never used. Any shift.
std::int64_t countRowDifferences(const std::uint64_t *reference, const std::uint64_t *moving, int width, int shift);

// The set bits of a row: its difference from a row of zeros.
std::int64_t countRowBits(const std::uint64_t *row, int width);

} // namespace vindrel
