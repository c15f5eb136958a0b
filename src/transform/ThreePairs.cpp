#include "transform/ThreePairs.h"

#include "transform/LinearSolver.h"

#include <algorithm>
#include <cstddef>

namespace vindrel {

bool affineFromThreePairs(const Point src[3], const Point dst[3], Trans6 &out) {
  // Unknowns in the order a b d e c f. Both orders, of unknowns and of rows, decide the rounding.
  std::array<double, 36> A{};
  std::array<double, 6> rhs{};
  for (std::size_t i = 0; i < 3; ++i) {
    const double x = static_cast<double>(src[i].x);
    const double y = static_cast<double>(src[i].y);
    const double rowX[6] = {x, y, 0, 0, 1, 0};
    const double rowY[6] = {0, 0, x, y, 0, 1};
    std::copy_n(rowX, 6, &A[12 * i]);
    std::copy_n(rowY, 6, &A[12 * i + 6]);
    rhs[2 * i] = static_cast<double>(dst[i].x);
    rhs[2 * i + 1] = static_cast<double>(dst[i].y);
  }
  std::array<double, 6> u{};
  if (!gaussEliminate(6, A.data(), rhs.data(), u.data())) return false;
  constexpr std::array<std::size_t, 6> kPlace = {0, 1, 4, 2, 3, 5};
  for (std::size_t i = 0; i < 6; ++i) {
    out[i] = static_cast<float>(u[kPlace[i]]);
  }
  return true;
}

} // namespace vindrel
