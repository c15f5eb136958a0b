// Each row is the row above plus the running sum of its own grey values: one addition carried from pixel to pixel.
#include "features/IntegralImage.h"

namespace vindrel {

void fillIntegral(const std::uint8_t *grey, Size size, std::uint32_t *sums) {
  const std::ptrdiff_t width = size.width;
  for (int y = 0; y < size.height; ++y) {
    const std::uint8_t *greyRow = grey + y * width;
    std::uint32_t *row = sums + y * width;
    std::uint32_t running = 0;
    if (y == 0) {
      for (std::ptrdiff_t x = 0; x < width; ++x)
        row[x] = running += greyRow[x];
    } else {
      const std::uint32_t *above = row - width;
      for (std::ptrdiff_t x = 0; x < width; ++x) {
        running += greyRow[x];
        row[x] = above[x] + running;
      }
    }
  }
}

} // namespace vindrel
