// Being strictly greater than every neighbour is being strictly greater than the greatest of them, so the test is a
// tree of maxima and minima without a branch: textured images pass the magnitude test almost everywhere, and a branch a
// neighbour would be mispredicted at nearly every pixel.
#include "features/ExtremumKernel.h"

#include <cstddef>

namespace vindrel {
namespace {

// Plain comparisons, which every compiler turns into the machine's own minimum and maximum.
inline float greater(float a, float b) {
  return a > b ? a : b;
}
inline float smaller(float a, float b) {
  return a < b ? a : b;
}

// The extreme of the 26 neighbours of column x.
template <float (*Pick)(float, float)>
inline float extremeNeighbour(const ResponseNeighbourhood &r, std::ptrdiff_t x) {
  const auto three = [x](const float *row) { return Pick(Pick(row[x - 1], row[x]), row[x + 1]); };
  const float size9 = Pick(Pick(three(r.size9[0]), three(r.size9[1])), three(r.size9[2]));
  const float size21 = Pick(Pick(three(r.size21[0]), three(r.size21[1])), three(r.size21[2]));
  const float beside = Pick(r.size15[1][x - 1], r.size15[1][x + 1]);
  const float size15 = Pick(Pick(three(r.size15[0]), three(r.size15[2])), beside);
  return Pick(Pick(size9, size21), size15);
}

} // namespace

void markExtrema(const ResponseNeighbourhood &rows, int begin, int end, std::uint8_t *marks) {
  const ResponseNeighbourhood r = rows;
  for (std::ptrdiff_t x = begin; x < end; ++x) {
    const float v = r.size15[1][x];
    const bool maximum = (v >= kLeastResponse) & (v > extremeNeighbour<greater>(r, x));
    const bool minimum = (v <= -kLeastResponse) & (v < extremeNeighbour<smaller>(r, x));
    marks[x] = static_cast<std::uint8_t>(maximum | minimum);
  }
}

} // namespace vindrel
