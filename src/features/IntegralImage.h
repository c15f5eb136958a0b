// The integral image: entry (x, y) is the sum of all grey values at columns 0..x and rows 0..y, so that the sum over
// any box takes four reads whatever its size (Crow 1984, "Summed-area tables for texture mapping"; Viola and Jones
// 2001). Entries are unsigned 32-bit and wrap; a difference of wrapped entries is still right for every box whose own
// sum fits.
#pragma once

#include "base/ImageView.h"

#include <cstddef>
#include <cstdint>

namespace vindrel {

// Row-major with the image's width as stride; owns nothing.
struct IntegralView {
  const std::uint32_t *sums = nullptr;
  std::ptrdiff_t width = 0;
};

// A box around a reference pixel, all bounds inclusive.
struct Box {
  int x1, y1, x2, y2;
};

// The sum over the box around the pixel with linear index centre. Nothing is clipped: the box and the column and row
// before it lie inside the image.
inline std::uint32_t boxSum(IntegralView integral, std::ptrdiff_t centre, Box box) {
  const std::uint32_t *above = integral.sums + centre + integral.width * (box.y1 - std::ptrdiff_t{1});
  const std::uint32_t *bottom = integral.sums + centre + integral.width * box.y2;
  const std::ptrdiff_t left = box.x1 - std::ptrdiff_t{1}, right = box.x2;
  return bottom[right] + above[left] - bottom[left] - above[right];
}

// Fills width x height sums from the packed grey image.
void fillIntegral(const std::uint8_t *grey, Size size, std::uint32_t *sums);

} // namespace vindrel
