// The integral image: entry (x, y) is the sum of all grey values at columns 0..x and rows 0..y, so that the sum over
// any box takes four reads whatever its size (Crow 1984, "Summed-area tables for texture mapping"; Viola and Jones
// 2001). Entries are unsigned and wrap; a difference of wrapped entries is still right for every box whose own sum
// fits.
//
// Callers of the flat interface bring entries of 32 bits. The detector's own have 16: none of its boxes holds more than
// 182 pixels, which sum to 46410 at most, and half the bytes are twice the pixels in a vector.
#pragma once

#include "base/ImageView.h"

#include <cstddef>
#include <cstdint>

namespace vindrel {

// Row-major with the image's width as stride; owns nothing.
template <class Sum>
struct IntegralView {
  const Sum *sums = nullptr;
  std::ptrdiff_t width = 0;
};

// A box around a reference pixel, all bounds inclusive.
struct Box {
  int x1, y1, x2, y2;
};

// The sum over the box around the pixel with linear index centre, in 32 bits whatever the entries have: of 16-bit
// entries only the low half counts. sums gives the entries by their linear index: a pointer, or whatever answers for
// the indices that a pointer must not be asked for. Nothing is clipped: the box and the column and row before it lie
// inside the image.
template <class Sums>
inline std::uint32_t boxSum(Sums sums, std::ptrdiff_t width, std::ptrdiff_t centre, Box box) {
  const std::ptrdiff_t above = centre + width * (box.y1 - std::ptrdiff_t{1}), bottom = centre + width * box.y2;
  const std::ptrdiff_t left = box.x1 - std::ptrdiff_t{1}, right = box.x2;
  return std::uint32_t{sums[bottom + right]} + sums[above + left] - sums[bottom + left] - sums[above + right];
}

// Fills width x height sums from the packed grey image.
void fillIntegral(const std::uint8_t *grey, Size size, std::uint16_t *sums);
void fillIntegral(const std::uint8_t *grey, Size size, std::uint32_t *sums);

} // namespace vindrel
