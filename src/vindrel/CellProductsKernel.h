// The products of a part of one picture and another picture, summed, at every place around.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vindrel {

constexpr int kCellUnit = 32;        // a cell's rows are of a multiple of so many values
constexpr int kLongestCellRow = 480; // values
constexpr int kLargestProduct = 1 << 24;

constexpr int sumsAround(int reach) {
  return (2 * reach + 1) * (2 * reach + 1);
}

// Values of a cell: rows of rowLength values each, back to back.
struct Cell {
  const std::int16_t *values = nullptr;
  int rows = 0;
  int rowLength = 0; // a multiple of kCellUnit up to kLongestCellRow; zeros where the cell is shorter
};

// sums[(dy + reach) * (2 * reach + 1) + dx + reach], for dx and dy from -reach to reach, receives the sum of the
// products of the cell's values and those of the picture at its place, moved by (dx, dy). place addresses the picture's
// value at the cell's first one; rows are stride values apart, and all that the cell, at its rowLength, meets must be
// readable. No product may be beyond kLargestProduct either way.
void sumCellProducts(const Cell &cell, const std::int16_t *place, std::ptrdiff_t stride, int reach, std::int64_t *sums);

} // namespace vindrel
