// The definition of the sums of products of a cell and a picture around it.
#pragma once

#include <cstdint>
#include <functional>

namespace vindrel::reference {

// cell(x, y) and picture(x, y): values at the cell's own coordinates.
using Values = std::function<int(int x, int y)>;

inline std::int64_t cellProduct(int width, int height, const Values &cell, const Values &picture, int dx, int dy) {
  std::int64_t sum = 0;
  for (int y = 0; y < height; ++y)
    for (int x = 0; x < width; ++x)
      sum += std::int64_t{cell(x, y)} * picture(x + dx, y + dy);
  return sum;
}

} // namespace vindrel::reference
