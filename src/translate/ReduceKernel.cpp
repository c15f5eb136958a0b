// Rows are read as 16-bit words, whose low and high bytes are the even and the odd columns: no shuffling is needed to
// bring the columns of a kernel into one lane. The last column and the last row go pixel by pixel.
#include "translate/ReduceKernel.h"

#include <cstddef>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "translate/ReduceKernel.cpp"
#include <hwy/foreach_target.h>

#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace vindrel::HWY_NAMESPACE {
namespace {
namespace hn = hwy::HWY_NAMESPACE;

#if HWY_TARGET != HWY_SCALAR
using Words = hn::ScalableTag<std::uint16_t>;
using Bytes = hn::Repartition<std::uint8_t, Words>;
using WordVector = hn::Vec<Words>;

// A word holds two neighbouring columns, the left one in its low byte.
HWY_INLINE WordVector loadColumns(const std::uint8_t *row) {
  return hn::BitCast(Words(), hn::LoadU(Bytes(), row));
}

// The weights 1 2 1 of three rows, for the left or the right columns.
HWY_INLINE WordVector weighRows(WordVector up, WordVector middle, WordVector down) {
  return hn::Add(hn::Add(up, down), hn::Add(middle, middle));
}
HWY_INLINE WordVector left(WordVector columns) {
  return hn::And(columns, hn::Set(Words(), std::uint16_t{0xFF}));
}
HWY_INLINE WordVector right(WordVector columns) {
  return hn::ShiftRight<8>(columns);
}
#endif

// All output pixels but the last, which has no neighbours on its right. Returns how many these are.
std::ptrdiff_t reduceInterior(const std::uint8_t *up, const std::uint8_t *middle, const std::uint8_t *down,
                              std::ptrdiff_t outWidth, std::uint8_t *out) {
  std::ptrdiff_t c = 0;
#if HWY_TARGET != HWY_SCALAR
  const hn::Rebind<std::uint8_t, Words> outBytes;
  const hn::RebindToSigned<Words> narrowable; // 0 to 255 either way
  const auto step = static_cast<std::ptrdiff_t>(hn::Lanes(Words()));
  // Loaded are the columns 2c to 2c + 2 step + 1.
  for (; c + step + 1 <= outWidth; c += step) {
    const WordVector u = loadColumns(up + 2 * c), m = loadColumns(middle + 2 * c), d = loadColumns(down + 2 * c);
    const WordVector un = loadColumns(up + 2 * c + 2), mn = loadColumns(middle + 2 * c + 2),
                     dn = loadColumns(down + 2 * c + 2);
    const WordVector beside = weighRows(left(u), left(m), left(d));
    const WordVector centre = weighRows(right(u), right(m), right(d));
    const WordVector otherSide = weighRows(left(un), left(mn), left(dn));
    const WordVector sum = hn::Add(hn::Add(beside, otherSide), hn::Add(centre, centre));
    hn::StoreU(hn::DemoteTo(outBytes, hn::BitCast(narrowable, hn::ShiftRight<4>(sum))), outBytes, out + c);
  }
#endif
  for (; c + 1 < outWidth; ++c) {
    const std::ptrdiff_t x = 2 * c;
    const unsigned beside = up[x] + 2U * middle[x] + down[x];
    const unsigned centre = up[x + 1] + 2U * middle[x + 1] + down[x + 1];
    const unsigned otherSide = up[x + 2] + 2U * middle[x + 2] + down[x + 2];
    out[c] = static_cast<std::uint8_t>((beside + 2 * centre + otherSide) >> 4);
  }
  return c;
}

} // namespace
} // namespace vindrel::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
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

HWY_EXPORT(reduceInterior);

void reduceRow(const std::uint8_t *up, const std::uint8_t *middle, const std::uint8_t *down, int outWidth,
               std::uint8_t *out) {
  const std::ptrdiff_t last = HWY_DYNAMIC_DISPATCH(reduceInterior)(up, middle, down, outWidth, out);
  const std::ptrdiff_t x = 2 * last;
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
#endif
