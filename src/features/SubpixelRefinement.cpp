#include "features/SubpixelRefinement.h"

#include "transform/LinearSolver.h"

namespace vindrel {

std::optional<SubpixelOffset> refineExtremum(const ResponseCube &cube) {
  // The response of each size dx columns and dy rows away.
  const auto m9 = [&](int dx, int dy) { return static_cast<double>(cube.at[0][dy + 1][dx + 1]); };
  const auto m15 = [&](int dx, int dy) { return static_cast<double>(cube.at[1][dy + 1][dx + 1]); };
  const auto m21 = [&](int dx, int dy) { return static_cast<double>(cube.at[2][dy + 1][dx + 1]); };

  const double twice = 2 * m15(0, 0);
  const double xx = m15(1, 0) + m15(-1, 0) - twice;
  const double yy = m15(0, 1) + m15(0, -1) - twice;
  const double ss = m21(0, 0) + m9(0, 0) - twice;
  const double xy = 0.25 * ((m15(1, 1) + m15(-1, -1)) - (m15(-1, 1) + m15(1, -1)));
  const double xs = 0.25 * ((m21(1, 0) - m21(-1, 0)) - (m9(1, 0) - m9(-1, 0)));
  const double ys = 0.25 * ((m21(0, 1) - m21(0, -1)) - (m9(0, 1) - m9(0, -1)));

  double hessian[9] = {xx, xy, xs, //
                       xy, yy, ys, //
                       xs, ys, ss};
  double downhill[3] = {-0.5 * (m15(1, 0) - m15(-1, 0)), //
                        -0.5 * (m15(0, 1) - m15(0, -1)), //
                        -0.5 * (m21(0, 0) - m9(0, 0))};
  double offset[3] = {};
  if (!gaussEliminate(3, hessian, downhill, offset)) return std::nullopt;
  return SubpixelOffset{offset[0], offset[1], offset[2]};
}

bool isWithin(const SubpixelOffset &offset, Tolerances tolerances) {
  const double position = tolerances.position, size = tolerances.size;
  return -position <= offset.x && offset.x <= position && -position <= offset.y && offset.y <= position &&
         -size <= offset.size && offset.size <= size;
}

std::int32_t wholePixel(std::int32_t hundredths) {
  const std::int32_t quotient = hundredths / 100;
  const bool next = static_cast<double>(static_cast<float>(hundredths * 0.01)) + 0.5 > quotient;
  return next ? quotient + 1 : quotient;
}

} // namespace vindrel
