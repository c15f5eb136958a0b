// Where two rows of bits step from 0 to 1 or back at the same place, and whether they step the same way.
#pragma once

#include <cstdint>

namespace vindrel {

// Edges of two bitmaps: pixels that differ from their left (or upper) neighbour.
struct EdgeAgreement {
  std::int64_t reference = 0; // edges of the reference bitmap
  std::int64_t moving = 0;    // of the moving bitmap
  std::int64_t same = 0;      // edges of both in one place, of one direction
  std::int64_t opposite = 0;  // of both in one place, of opposite directions

  EdgeAgreement &operator+=(const EdgeAgreement &other) {
    reference += other.reference;
    moving += other.moving;
    same += other.same;
    opposite += other.opposite;
    return *this;
  }
};

// A row and the row above it, as bits in 64-bit words.
struct RowPair {
  const std::uint64_t *row = nullptr;
  const std::uint64_t *above = nullptr;
};

// Adds a row's edges between left and right neighbours to `across` and those between upper and lower ones to `down`.
// Column x of the reference meets column x + shift of the moving row; counted are the columns x >= 1 for which
// 2 <= x + shift < width and x < width.
void addRowEdges(const RowPair &reference, const RowPair &moving, int width, int shift, EdgeAgreement &across,
                 EdgeAgreement &down);

} // namespace vindrel
