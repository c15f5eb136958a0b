// How much of a frame a set of points covers: the share of the cells of a grid over it that hold one. A few cells in a
// corner can be full of points and still say nothing of the rest.
#pragma once

#include "base/ImageView.h"

#include <algorithm>
#include <bitset>

namespace vindrel {

constexpr int kCoverageCells = 8; // along each side

class Coverage {
public:
  explicit Coverage(Size frame) : frame_(frame) {}
  void add(int x, int y) {
    cells_.set(static_cast<std::size_t>(cell(y, frame_.height) * kCoverageCells + cell(x, frame_.width)));
  }
  double share() const { return static_cast<double>(cells_.count()) / (kCoverageCells * kCoverageCells); }

private:
  static int cell(double coordinate, int length) {
    return std::clamp(static_cast<int>(coordinate * kCoverageCells / std::max(1, length)), 0, kCoverageCells - 1);
  }
  Size frame_;
  std::bitset<kCoverageCells * kCoverageCells> cells_;
};

} // namespace vindrel
