// Where a pixel has passed the first look, its responses and those around it are computed exactly, and no further than
// until one of them rules the pixel out: three columns at a time, and two filters, or two rows, in the halves of a
// vector.
//
// Sums of 16-bit entries are exact modulo 2^16 in any order, which is enough for the outer lobes together (at most
// 182 x 255), the inner lobe and the squares. Dxx, which can be negative and larger, is put together in 32 bits.
//
// Dxx x Dyy is an integer of at most 32 bits: grey values reach 255, and no image makes both factors large at once -
// for the widest filter |Dxx + Dyy| stays within 255 x 280 = 71400 and |Dxx - Dyy| within 255 x 230 = 58650, so the
// product stays within 35700^2 < 2^31. It can therefore be taken in double precision, where it is exact.
//
// The combination is in double precision, in the order written, and rounded once to float at the end.
#include "features/ResponseKernel.h"

#include "features/BoxFilter.h"
#include "features/CandidateKernel.h"

#include <algorithm>
#include <utility>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "features/ResponseKernel.cpp"
#include <hwy/foreach_target.h>

#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace vindrel::HWY_NAMESPACE {
namespace {
namespace hn = hwy::HWY_NAMESPACE;

using Sums = hn::CappedTag<std::uint16_t, 8>;
using Doubles = hn::CappedTag<double, 4>;
using Ints = hn::Rebind<std::int32_t, Doubles>;
using Floats = hn::Rebind<float, Doubles>;
using SumVector = hn::Vec<Sums>;
using DoubleVector = hn::Vec<Doubles>;

constexpr std::size_t kHalf = 4; // columns of either half of a pair

// Lanes from i on of the four entries at first and the four at second. Reads eight of each.
HWY_INLINE SumVector load(const std::uint16_t *first, const std::uint16_t *second, [[maybe_unused]] std::size_t i) {
  const Sums tag;
#if HWY_TARGET == HWY_SCALAR
  return hn::Set(tag, i < kHalf ? first[i] : second[i - kHalf]);
#else
  const hn::Repartition<std::uint64_t, Sums> halves;
  return hn::BitCast(tag, hn::InterleaveLower(halves, hn::BitCast(halves, hn::LoadU(tag, first)),
                                              hn::BitCast(halves, hn::LoadU(tag, second))));
#endif
}

// The second of three derivatives' parts that is subtracted twice, and the others.
struct Lobes {
  SumVector outer, inner;
};
// From the sums up to the lobes' bounds.
HWY_INLINE Lobes lobes(SumVector s0, SumVector s1, SumVector s2, SumVector s3) {
  return {hn::Add(hn::Sub(s1, s0), hn::Sub(s3, s2)), hn::Sub(s2, s1)};
}

HWY_INLINE SumVector squares(SumVector s0, SumVector s1, SumVector s2, SumVector s3) {
  return hn::Sub(hn::Sub(s1, s0), hn::Sub(s3, s2));
}

// The sums over the boxes of a pair, in lanes.
struct BoxSums {
  std::uint16_t outerX[2 * kHalf], innerX[2 * kHalf], outerY[2 * kHalf], innerY[2 * kHalf], mixed[2 * kHalf];
};

// Where the rows above and below an entry begin, as far as filters reach.
class RowOffsets {
public:
  explicit RowOffsets(std::ptrdiff_t width) {
    for (int y = -kReach; y <= kReach; ++y)
      entries_[y + kReach] = y * width;
  }
  HWY_INLINE std::ptrdiff_t operator[](int y) const { return entries_[y + kReach]; }

private:
  static constexpr int kReach = kResponseMargin;
  std::ptrdiff_t entries_[2 * kReach + 1];
};

// Filter F around entry f and filter G around entry g, from the column before it on.
template <const BoxFilter &F, const BoxFilter &G>
struct Pair {
  const std::uint16_t *f, *g;
  const RowOffsets &rows;

  HWY_INLINE void sumBoxes(std::size_t i, BoxSums &out) const {
    const Sums tag;
    const Lobes dxx = lobes(column(0, i), column(1, i), column(2, i), column(3, i));
    hn::StoreU(dxx.outer, tag, out.outerX + i);
    hn::StoreU(dxx.inner, tag, out.innerX + i);
    const Lobes dyy = lobes(row(0, i), row(1, i), row(2, i), row(3, i));
    hn::StoreU(dyy.outer, tag, out.outerY + i);
    hn::StoreU(dyy.inner, tag, out.innerY + i);
    hn::StoreU(squares(quadrants(0, i), quadrants(1, i), quadrants(2, i), quadrants(3, i)), tag, out.mixed + i);
  }

private:
  HWY_INLINE SumVector sum(int xF, int yF, int xG, int yG, std::size_t i) const {
    return load(f + rows[yF] + xF - 1, g + rows[yG] + xG - 1, i);
  }
  // Up to a bound of the lobes of Dxx, and of Dyy.
  HWY_INLINE SumVector column(int bound, std::size_t i) const {
    return hn::Sub(sum(F.lobe[bound], F.breadth[1], G.lobe[bound], G.breadth[1], i),
                   sum(F.lobe[bound], F.breadth[0], G.lobe[bound], G.breadth[0], i));
  }
  HWY_INLINE SumVector row(int bound, std::size_t i) const {
    return hn::Sub(sum(F.breadth[1], F.lobe[bound], G.breadth[1], G.lobe[bound], i),
                   sum(F.breadth[0], F.lobe[bound], G.breadth[0], G.lobe[bound], i));
  }
  HWY_INLINE SumVector corner(int x, int y, std::size_t i) const {
    return sum(F.square[x], F.square[y], G.square[x], G.square[y], i);
  }
  HWY_INLINE SumVector quadrants(int y, std::size_t i) const {
    return squares(corner(0, y, i), corner(1, y, i), corner(2, y, i), corner(3, y, i));
  }
};

HWY_INLINE DoubleVector derivative(const std::uint16_t *outer, const std::uint16_t *inner) {
  const Ints ints;
  const hn::Rebind<std::uint16_t, Ints> words;
  const hn::Vec<Ints> once = hn::PromoteTo(ints, hn::LoadU(words, inner));
  return hn::PromoteTo(Doubles(), hn::Sub(hn::PromoteTo(ints, hn::LoadU(words, outer)), hn::Add(once, once)));
}
HWY_INLINE DoubleVector mixedDerivative(const std::uint16_t *sums) {
  const hn::Rebind<std::uint16_t, Ints> words;
  const auto difference = hn::BitCast(hn::RebindToSigned<decltype(words)>(), hn::LoadU(words, sums));
  return hn::PromoteTo(Doubles(), hn::PromoteTo(Ints(), difference));
}

HWY_INLINE void respond(const BoxSums &sums, std::size_t first, double weight, float *out) {
  const Doubles doubles;
  for (std::size_t i = first; i < first + kHalf; i += hn::Lanes(doubles)) {
    const DoubleVector dxx = derivative(sums.outerX + i, sums.innerX + i);
    const DoubleVector dyy = derivative(sums.outerY + i, sums.innerY + i);
    const DoubleVector mixed = mixedDerivative(sums.mixed + i);
    const DoubleVector determinant =
        hn::Sub(hn::Mul(dxx, dyy), hn::Mul(hn::Mul(hn::Set(doubles, kMixedWeight), mixed), mixed));
    hn::StoreU(hn::DemoteTo(Floats(), hn::Mul(hn::Set(doubles, weight), determinant)), Floats(), out + i - first);
  }
}

// Responses of filter F in the columns before, at and behind entry f, and of filter G around g. The fourth of each is
// whatever comes next.
template <const BoxFilter &F, const BoxFilter &G>
HWY_NOINLINE void respondTwice(const std::uint16_t *f, const std::uint16_t *g, const RowOffsets &rows, float *outF,
                               float *outG) {
  BoxSums sums;
  for (std::size_t i = 0; i < 2 * kHalf; i += hn::Lanes(Sums()))
    Pair<F, G>{f, g, rows}.sumBoxes(i, sums);
  respond(sums, 0, F.weight, outF);
  respond(sums, kHalf, G.weight, outG);
}

// Whether one of three responses, with the sign taken off, reaches the value.
HWY_INLINE bool reaches(const float *three, float sign, float value) {
  return (sign * three[0] >= value) | (sign * three[1] >= value) | (sign * three[2] >= value);
}

// More than the weight by more than what is rounded away below.
constexpr float kWeightAbove = static_cast<float>(kSize15.weight * 1.000001);

// Rows of responses of the smallest and the greatest size around the entry; whether one of them reaches the value.
HWY_INLINE bool isRuledOut(const std::uint16_t *at, const RowOffsets &rows, int row, float sign, float value,
                           ResponseCube &cube) {
  const std::uint16_t *middle = at + rows[row - 1];
  respondTwice<kSize9, kSize21>(middle, middle, rows, cube.at[0][row], cube.at[2][row]);
  const bool byLeast = reaches(cube.at[0][row], sign, value), byGreatest = reaches(cube.at[2][row], sign, value);
  return byLeast || byGreatest;
}

// The estimate of the size-15 determinant bounds the response from above: most pixels are ruled out by a response of
// another size that reaches the bound. The columns are sieved once by the responses of their row and once by those
// above and below, each time all of them: a decision at a time could not be foreseen, and would cost more than it
// saves.
int keep(IntegralView<std::uint16_t> integral, int row, const float *estimates, std::int32_t *columns, int count,
         Extremum *extrema) {
  const RowOffsets rows(integral.width);
  const std::uint16_t *sums = integral.sums + row * integral.width;
  const auto signOf = [=](std::int32_t column) { return estimates[column] < 0 ? -1.0f : 1.0f; };
  const auto mostOf = [=](std::int32_t column) {
    return (signOf(column) * estimates[column] + kEstimateError) * kWeightAbove;
  };
  int left = 0;
  for (int i = 0; i < count; ++i) {
    const std::int32_t column = columns[i];
    ResponseCube &cube = extrema[i].responses;
    extrema[i].column = column;
    columns[left] = i;
    left += !isRuledOut(sums + column, rows, 1, signOf(column), mostOf(column), cube);
  }
  count = std::exchange(left, 0);
  for (int i = 0; i < count; ++i) {
    auto &[column, cube] = extrema[columns[i]];
    const float sign = signOf(column), most = mostOf(column);
    columns[left] = columns[i];
    const bool byAbove = isRuledOut(sums + column, rows, 0, sign, most, cube);
    const bool byBelow = isRuledOut(sums + column, rows, 2, sign, most, cube);
    left += !byAbove && !byBelow;
  }
  count = std::exchange(left, 0);
  for (int i = 0; i < count; ++i) {
    auto &[column, cube] = extrema[columns[i]];
    const std::uint16_t *at = sums + column;
    auto &size15 = cube.at[1];
    respondTwice<kSize15, kSize15>(at + rows[-1], at, rows, size15[0], size15[1]);
    respondTwice<kSize15, kSize15>(at + rows[1], at + rows[1], rows, size15[2], size15[2]);
    if (isExtremum(cube)) extrema[left++] = extrema[columns[i]];
  }
  return left;
}

void respondAt(const std::uint16_t *sums, Size size, std::ptrdiff_t index, float *three) {
  const std::ptrdiff_t width = size.width, y = index / width, x = index % width;
  three[0] = three[1] = three[2] = 0;
  if (std::min(x, width - 1 - x) < kResponseMargin || std::min(y, size.height - 1 - y) < kResponseMargin) return;
  const RowOffsets rows(width);
  float size9[kHalf], size15[kHalf], size21[kHalf];
  respondTwice<kSize9, kSize21>(sums + index, sums + index, rows, size9, size21);
  respondTwice<kSize15, kSize15>(sums + index, sums + index, rows, size15, size15);
  three[0] = size9[1];
  three[1] = size15[1];
  three[2] = size21[1];
}

} // namespace
} // namespace vindrel::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace vindrel {

HWY_EXPORT(keep);
HWY_EXPORT(respondAt);

bool isExtremum(const ResponseCube &responses) {
  const float response = responses.at[1][1][1], sign = response < 0 ? -1.0f : 1.0f, value = sign * response;
  bool standsOut = value >= kLeastResponse;
  for (int size = 0; size < 3; ++size)
    for (int row = 0; row < 3; ++row)
      for (int column = 0; column < 3; ++column) {
        const bool itself = size == 1 && row == 1 && column == 1;
        standsOut &= itself | (value > sign * responses.at[size][row][column]);
      }
  return standsOut;
}

int keepExtrema(IntegralView<std::uint16_t> integral, int row, const float *estimates, std::int32_t *columns, int count,
                Extremum *extrema) {
  return HWY_DYNAMIC_DISPATCH(keep)(integral, row, estimates, columns, count, extrema);
}

std::array<float, 3> responsesAt(const std::uint16_t *sums, Size size, std::ptrdiff_t index) {
  std::array<float, 3> responses;
  HWY_DYNAMIC_DISPATCH(respondAt)(sums, size, index, responses.data());
  return responses;
}

} // namespace vindrel
#endif
