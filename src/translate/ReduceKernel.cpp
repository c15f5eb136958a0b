#include "translate/ReduceKernel.h"

namespace vindrel {
namespace {

constexpr unsigned kFar = 21;    // diagonal neighbour of a one-sided kernel, of 256
constexpr unsigned kBeside = 43; // direct neighbour
constexpr unsigned kCentre = 85;
constexpr unsigned kCornerFar = 28; // the same with two sides missing
constexpr unsigned kCornerBeside = 57;
constexpr unsigned kCornerCentre = 114;

static_assert(2 * kFar + 3 * kBeside + kCentre == 256);
static_assert(kCornerFar + 2 * kCornerBeside + kCornerCentre == 256);

} // namespace

void reduceRow(const std::uint8_t *up, const std::uint8_t *middle, const std::uint8_t *down, int outWidth,
               std::uint8_t *out) {
  const int last = outWidth - 1;
  for (int c = 0; c < last; ++c) {
    const int x = 2 * c;
    const unsigned left = up[x] + 2U * middle[x] + down[x];
    const unsigned centre = up[x + 1] + 2U * middle[x + 1] + down[x + 1];
    const unsigned right = up[x + 2] + 2U * middle[x + 2] + down[x + 2];
    out[c] = static_cast<std::uint8_t>((left + 2 * centre + right) >> 4);
  }
  const int x = 2 * last;
  const unsigned far = unsigned{up[x]} + down[x];
  const unsigned beside = unsigned{up[x + 1]} + middle[x] + down[x + 1];
  out[last] = static_cast<std::uint8_t>((kFar * far + kBeside * beside + kCentre * middle[x + 1]) >> 8);
}

void reduceLastRow(const std::uint8_t *up, const std::uint8_t *middle, int outWidth, std::uint8_t *out) {
  const int last = outWidth - 1;
  for (int c = 0; c < last; ++c) {
    const int x = 2 * c;
    const unsigned far = unsigned{up[x]} + up[x + 2];
    const unsigned beside = unsigned{middle[x]} + up[x + 1] + middle[x + 2];
    out[c] = static_cast<std::uint8_t>((kFar * far + kBeside * beside + kCentre * middle[x + 1]) >> 8);
  }
  const int x = 2 * last;
  const unsigned beside = unsigned{up[x + 1]} + middle[x];
  out[last] =
      static_cast<std::uint8_t>((kCornerFar * up[x] + kCornerBeside * beside + kCornerCentre * middle[x + 1]) >> 8);
}

} // namespace vindrel
