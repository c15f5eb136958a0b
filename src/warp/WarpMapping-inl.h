// The first two steps of the warp, by vectors: the source coordinates of a block of output pixels, and from them the
// neighbours and their weights. Included once for each instruction set.
#if defined(VINDREL_WARP_MAPPING_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef VINDREL_WARP_MAPPING_INL_H_
#undef VINDREL_WARP_MAPPING_INL_H_
#else
#define VINDREL_WARP_MAPPING_INL_H_
#endif

#include "transform/Transform.h"
#include "warp/WarpBlock.h"

#include <hwy/cache_control.h>
#include <hwy/highway.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>

HWY_BEFORE_NAMESPACE();
namespace vindrel::HWY_NAMESPACE {
namespace {
namespace hn = hwy::HWY_NAMESPACE;

using Floats = hn::ScalableTag<float>;
using Ints = hn::RebindToSigned<Floats>;
using Uints = hn::RebindToUnsigned<Floats>;
using Doubles = hn::Repartition<double, Floats>;
using Bytes = hn::Repartition<std::uint8_t, Floats>;

constexpr int kLanes = static_cast<int>(hn::MaxLanes(Floats())); // pixels taken at a time

// Bounds of a block's coordinates, those of the padding included; none of them holds when a bound is not a number.
struct CoordinateBounds {
  float minX, maxX, minY, maxY;
};

constexpr int padded(int columns) {
  return (columns + kLanes - 1) / kLanes * kLanes;
}

// firstX is a whole number, and so is every x up to the padding: at most 2^24 in magnitude.
//
// Each of the operations rounds monotonically, so that coordinates never turn round along a row: the ends bound it.
CoordinateBounds mapAffineBlock(const float *t, float firstX, int columns, float y, WarpBlock &block) {
  const Floats d;
  const auto a = hn::Set(d, t[0]), by = hn::Set(d, t[1] * y), c = hn::Set(d, t[2]);
  const auto dx = hn::Set(d, t[3]), ey = hn::Set(d, t[4] * y), f = hn::Set(d, t[5]);
  auto x = hn::Iota(d, firstX);
  for (int i = 0; i < columns; i += kLanes) {
    hn::Store(hn::Add(hn::Add(hn::Mul(a, x), by), c), d, block.x + i);
    hn::Store(hn::Add(hn::Add(hn::Mul(dx, x), ey), f), d, block.y + i);
    x = hn::Add(x, hn::Set(d, static_cast<float>(kLanes)));
  }
  const int last = padded(columns) - 1;
  const float x0 = block.x[0], x1 = block.x[last], y0 = block.y[0], y1 = block.y[last];
  // If one end is not a number, so is one of the bounds.
  return {x0 < x1 ? x0 : x1, x0 < x1 ? x1 : x0, y0 < y1 ? y0 : y1, y0 < y1 ? y1 : y0};
}

// Quotients of a numerator between n0 and n1 by a denominator between w0 and w1, which have the same sign. Division
// and its two roundings are monotonic in either operand, so that the corners bound it.
inline void boundQuotients(float n0, float n1, double w0, double w1, float &low, float &high) {
  const auto quotient = [](float n, double w) { return static_cast<float>(static_cast<double>(n) / w); };
  const float q00 = quotient(n0, w0), q01 = quotient(n0, w1), q10 = quotient(n1, w0), q11 = quotient(n1, w1);
  low = std::min({q00, q01, q10, q11});
  high = std::max({q00, q01, q10, q11});
  if (std::isnan(q00 + q01 + q10 + q11)) low = high = std::numeric_limits<float>::quiet_NaN();
}

// A coordinate is the numerator, in single precision, divided by the denominator in double precision and narrowed:
// narrow(fl(n / w)). Here one division serves four coordinates, both of two pixels: with r = fl(1 / fl(w0 * w1)), the
// first pixel's are q = fl(n * fl(w1 * r)), the other's q = fl(n * fl(w0 * r)). Five roundings separate q from
// fl(n / w), each of at most 2^-53 of the value, so 5 units of q's last place at most. Both narrow to the same float
// unless half a step between two floats, a double whose low 29 bits are 0x10000000, lies at most that far from q. If it
// does anywhere in the block (once in 40 million coordinates that are drawn by chance) the block is left to the plain
// form.
//
// That holds as long as nothing overflows or loses digits at the lower end of double's range, which denominators
// between 2^-64 and 2^64 make sure of: they, too, are monotonic along a row, so their ends tell. Coordinates below
// 2^-126, which narrow with fewer digits, may come out different, but then any of them leaves every sample as it is:
// 1 - x is 1, and what x adds is too small for either rounding.
bool mapPerspectiveBlock(const float *t, float firstX, int columns, float y, WarpBlock &block,
                         CoordinateBounds &bounds) {
  const Floats d;
  const hn::Half<Floats> dHalf;
  const Doubles dd;
  const Uints du;
  constexpr int kHalf = kLanes / 2;
  const double g = static_cast<double>(t[6]);
  const double hy = static_cast<double>(t[7]) * static_cast<double>(y);
  const auto denominator = [&](float x) { return 1.0 + (g * static_cast<double>(x) + hy) * kPerspectiveUnit; };
  const float endX = firstX + static_cast<float>(padded(columns) - 1);
  const double w0 = denominator(firstX), w1 = denominator(endX);
  constexpr double kSmall = 0x1p-64, kLarge = 0x1p64;
  const bool positive = w0 > kSmall && w0 < kLarge && w1 > kSmall && w1 < kLarge;
  const bool negative = w0 < -kSmall && w0 > -kLarge && w1 < -kSmall && w1 > -kLarge;
  if (!positive && !negative) return false;
  const auto numeratorX = [&](float x) { return t[0] * x + t[1] * y + t[2]; };
  const auto numeratorY = [&](float x) { return t[3] * x + t[4] * y + t[5]; };
  boundQuotients(numeratorX(firstX), numeratorX(endX), w0, w1, bounds.minX, bounds.maxX);
  boundQuotients(numeratorY(firstX), numeratorY(endX), w0, w1, bounds.minY, bounds.maxY);

  const auto a = hn::Set(d, t[0]), by = hn::Set(d, t[1] * y), c = hn::Set(d, t[2]);
  const auto dx = hn::Set(d, t[3]), ey = hn::Set(d, t[4] * y), f = hn::Set(d, t[5]);
  const auto gg = hn::Set(dd, g), hhy = hn::Set(dd, hy), unit = hn::Set(dd, kPerspectiveUnit), one = hn::Set(dd, 1.0);
  auto x = hn::Iota(d, firstX);
  auto wideX = hn::Iota(dd, static_cast<double>(firstX));
  const auto nextDenominators = [&]() HWY_ATTR {
    const auto w = hn::Add(one, hn::Mul(hn::Add(hn::Mul(gg, wideX), hhy), unit));
    wideX = hn::Add(wideX, hn::Set(dd, static_cast<double>(kHalf)));
    return w;
  };
  // The least of (low 29 bits - (0x10000000 - kUnits)) modulo 2^29, in the upper 29 bits of each even lane.
  constexpr std::uint32_t kUnits = 6;
  auto nearest = hn::Set(du, 0xFFFFFFFFu);
  const auto quotient = [&](auto numerator, auto r) HWY_ATTR {
    const auto q = hn::Mul(hn::PromoteTo(dd, numerator), r);
    nearest = hn::Min(nearest, hn::ShiftLeft<3>(hn::Sub(hn::BitCast(du, q), hn::Set(du, 0x10000000u - kUnits))));
    return hn::DemoteTo(dHalf, q);
  };
  for (int i = 0; i < columns; i += kLanes) {
    const auto nx = hn::Add(hn::Add(hn::Mul(a, x), by), c);
    const auto ny = hn::Add(hn::Add(hn::Mul(dx, x), ey), f);
    x = hn::Add(x, hn::Set(d, static_cast<float>(kLanes)));
    const auto wa = nextDenominators(), wb = nextDenominators();
    const auto r = hn::Div(one, hn::Mul(wa, wb));
    const auto r0 = hn::Mul(wb, r), r1 = hn::Mul(wa, r);
    hn::Store(quotient(hn::LowerHalf(dHalf, nx), r0), dHalf, block.x + i);
    hn::Store(quotient(hn::UpperHalf(dHalf, nx), r1), dHalf, block.x + i + kHalf);
    hn::Store(quotient(hn::LowerHalf(dHalf, ny), r0), dHalf, block.y + i);
    hn::Store(quotient(hn::UpperHalf(dHalf, ny), r1), dHalf, block.y + i + kHalf);
  }
  const auto oddLanes = hn::BitCast(du, hn::Set(hn::Repartition<std::uint64_t, Floats>(), 0xFFFFFFFF00000000u));
  return hn::AllFalse(du, hn::Lt(hn::Or(nearest, oddLanes), hn::Set(du, (2 * kUnits + 1) << 3)));
}

// The part of the source whose pixels vectors may take for upper left neighbours. A coordinate from 0 up orders like
// its bits, which makes one unsigned comparison of a range test, and not-a-number fails it like anything outside.
struct SourceWindow {
  std::int32_t firstRow; // offsets are reckoned from its first sample, and fit an int
  std::uint32_t stride;  // modulo 2^32, as all offsets are reckoned
  float endX;            // coordinates in [0, endX) and [firstY, endY)
  float firstY, endY;

  bool holds(const CoordinateBounds &b) const {
    return b.minX >= 0 && b.maxX < endX && b.minY >= firstY && b.maxY < endY;
  }
};

// A window's samples as the sampling step takes them, and where to expect the ones after. Fetching those early is worth
// more than any arithmetic: the processor foresees neither where a row of the source is left for the next one, nor that
// the output, once this block's is stored, goes on.
template <class Sample>
struct FrameRows {
  const Sample *upper;       // the window's first sample
  const Sample *lower;       // a row on
  std::int32_t lowest;       // the least offset of a row's first sample, of those that are upper neighbours
  const Sample *out;         // where the block's samples go
  std::ptrdiff_t sourceStep; // samples from a neighbour to that of a pixel some output rows on

  static constexpr std::uintptr_t kOutputStep = 2048; // bytes

  // Addresses are whole numbers here, since they may lie outside both frames: fetching never fails.
  HWY_INLINE void prefetch(std::int32_t offset, int sample) const {
    const auto address = [](const Sample *base, std::ptrdiff_t samples) {
      return reinterpret_cast<std::uintptr_t>(base) + static_cast<std::uintptr_t>(samples) * sizeof(Sample);
    };
    hwy::Prefetch(reinterpret_cast<const std::uint8_t *>(address(upper, offset + sourceStep)));
    hwy::Prefetch(reinterpret_cast<const std::uint8_t *>(address(out, sample) + kOutputStep));
  }
};

// Lists the lanes that are set.
HWY_NOINLINE void listSlow(hn::Mask<Ints> lanes, int first, int columns, WarpBlock &block) {
  std::uint8_t bits[8] = {};
  hn::StoreMaskBits(Ints(), lanes, bits);
  for (int k = 0; k < kLanes && first + k < columns; ++k)
    if ((bits[k / 8] >> (k % 8)) & 1) block.slow[block.slowCount++] = static_cast<std::uint16_t>(first + k);
}

template <int kFactor>
HWY_INLINE hn::Vec<Uints> times(hn::Vec<Uints> v) {
  static_assert(kFactor >= 1 && kFactor <= 4);
  if constexpr (kFactor == 1) return v;
  if constexpr (kFactor == 2) return hn::Add(v, v);
  if constexpr (kFactor == 3) return hn::Add(hn::Add(v, v), v);
  return hn::ShiftLeft<2>(v);
}

// kInside: the window holds the whole block. Otherwise pixels that it does not hold are listed as slow, and their
// coordinates are replaced by ones that it holds, so that what is loaded for them does exist. kCoarse: fractions have
// no remainder.
template <class Sample, int kChannels, bool kInside, bool kCoarse>
void locateBlock(const SourceWindow &window, int columns, WarpBlock &block) {
  const Floats d;
  const Ints di;
  const Uints du;
  // Adding 2^23 to a smaller whole number, or rounding a smaller number by it, leaves the number in the low bits.
  constexpr std::uint32_t kMagicBits = 0x4B000000u;
  const auto magic = hn::Set(d, 0x1p23f);
  const auto bitsBelow = [](float end) { return std::bit_cast<std::uint32_t>(end) - 1; };
  const auto lastX = hn::Set(du, bitsBelow(window.endX));
  const std::uint32_t firstYBits = std::bit_cast<std::uint32_t>(window.firstY);
  const auto firstY = hn::Set(du, firstYBits), rangeY = hn::Set(du, bitsBelow(window.endY) - firstYBits);
  const auto stride = hn::Set(du, window.stride);
  const auto origin = hn::Set(du, 0u - kMagicBits * (window.stride + std::uint32_t{kChannels}) -
                                      static_cast<std::uint32_t>(window.firstRow) * window.stride);
  for (int i = 0; i < columns; i += kLanes) {
    auto x = hn::Load(d, block.x + i), y = hn::Load(d, block.y + i);
    if constexpr (!kInside) {
      const auto bitsX = hn::BitCast(du, x), bitsY = hn::BitCast(du, y);
      const auto heldX = hn::Min(bitsX, lastX);
      const auto heldY = hn::Add(hn::Min(hn::Sub(bitsY, firstY), rangeY), firstY);
      const auto held = hn::And(hn::Eq(bitsX, heldX), hn::Eq(bitsY, heldY));
      if (!hn::AllTrue(du, held)) listSlow(hn::RebindMask(di, hn::Not(held)), i, columns, block);
      x = hn::BitCast(d, heldX);
      y = hn::BitCast(d, heldY);
    }
    const auto wholeX = hn::Floor(x), wholeY = hn::Floor(y);
    const auto fractionX = hn::Sub(x, wholeX), fractionY = hn::Sub(y, wholeY);
    const auto column = hn::BitCast(du, hn::Add(wholeX, magic)), row = hn::BitCast(du, hn::Add(wholeY, magic));
    const auto offset = hn::Add(hn::Add(times<kChannels>(column), hn::Mul(row, stride)), origin);
    hn::Store(hn::BitCast(di, offset), di, block.offset + i);
    hn::Store(fractionY, d, block.weightY + i);
    if constexpr (sizeof(Sample) == 1) {
      const auto scaled = hn::Mul(fractionX, hn::Set(d, 0x1p14f));
      const auto rounded = hn::Add(scaled, magic);
      const auto bits = hn::BitCast(du, rounded);
      const auto weights = hn::Add(hn::Sub(hn::ShiftLeft<16>(bits), bits), hn::Set(du, kMagicBits + (1u << 14)));
      hn::Store(hn::BitCast(di, weights), di, block.weightX + i);
      if constexpr (!kCoarse) hn::Store(hn::Sub(scaled, hn::Sub(rounded, magic)), d, block.remainderX + i);
    } else {
      hn::Store(fractionX, d, block.remainderX + i);
    }
  }
}

} // namespace
} // namespace vindrel::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
