// The filter's sums are taken down the columns first, for a whole row, and along the row then: 20 reads a pixel instead
// of the 32 that its boxes have corners. They are taken in 16 bits, which wrap, but not around what comes out: |Dxx|
// and |Dyy| are at most 22950 and |Dxy| at most 12750.
#include "features/CandidateKernel.h"

#include "features/BoxFilter.h"

#include <bit>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "features/CandidateKernel.cpp"
#include <hwy/foreach_target.h>

#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace vindrel::HWY_NAMESPACE {
namespace {
namespace hn = hwy::HWY_NAMESPACE;

using Floats = hn::ScalableTag<float>;
using Ints = hn::RebindToSigned<Floats>;
using Words = hn::ScalableTag<std::int16_t>;
using Sums = hn::RebindToUnsigned<Words>;
using WordVector = hn::Vec<Words>;

static_assert(hn::MaxLanes(Words()) <= kCandidateSlack);
static_assert(hn::MaxLanes(Floats()) <= 16); // bits of a mask that are looked at

constexpr int kBlock = 64; // columns looked at together
static_assert(kBlock <= kCandidateSlack);

// A response of the least size, before its weight: 10000 x 193 / 25, rounded down by more than the rounding of the
// response to single precision can have lifted it.
constexpr float kLeastDeterminant = 77199;
// Of two responses, the one whose estimate is less by more is the smaller one: two errors, and room for the rounding of
// their sum with an estimate, which is below 2^30.
constexpr float kTie = 256;
static_assert(kTie >= 2 * kEstimateError + 32);

HWY_INLINE WordVector minus(WordVector a, WordVector b) {
  return hn::Sub(a, b);
}

// S(l3) - S(l0) - 3 (S(l2) - S(l1)), where the middle lobe counts once in the first difference.
HWY_INLINE WordVector lobes(WordVector s0, WordVector s1, WordVector s2, WordVector s3) {
  const WordVector inner = minus(s2, s1);
  return minus(minus(s3, s0), hn::Add(inner, hn::Add(inner, inner)));
}

// The first square minus the second.
HWY_INLINE WordVector squares(WordVector s0, WordVector s1, WordVector s2, WordVector s3) {
  return minus(minus(s1, s0), minus(s3, s2));
}

// Rows of work space: the combinations of integral rows that each derivative takes its columns from.
struct Work {
  std::int16_t *acrossX, *acrossY, *acrossXY;
};

// Down the columns, as far as the filter reaches to both sides of the pixels estimated.
void sumColumns(const std::uint16_t *at, std::ptrdiff_t width, std::ptrdiff_t begin, std::ptrdiff_t end,
                const Work &work) {
  const Words words;
  const Sums sums;
  const auto step = static_cast<std::ptrdiff_t>(hn::Lanes(words));
  for (std::ptrdiff_t x = begin; x < end; x += step) {
    const auto row = [=](int y) HWY_ATTR { return hn::BitCast(words, hn::LoadU(sums, at + y * width + x)); };
    hn::StoreU(minus(row(kSize15.breadth[1]), row(kSize15.breadth[0])), words, work.acrossX + x);
    hn::StoreU(lobes(row(kSize15.lobe[0]), row(kSize15.lobe[1]), row(kSize15.lobe[2]), row(kSize15.lobe[3])), words,
               work.acrossY + x);
    hn::StoreU(squares(row(kSize15.square[0]), row(kSize15.square[1]), row(kSize15.square[2]), row(kSize15.square[3])),
               words, work.acrossXY + x);
  }
}

HWY_INLINE void storeDeterminants(hn::Vec<Ints> dxx, hn::Vec<Ints> dyy, hn::Vec<Ints> dxy, float *estimates) {
  const Floats tag;
  const auto mixed = hn::ConvertTo(tag, dxy), weight = hn::Set(tag, static_cast<float>(kMixedWeight));
  const auto product = hn::Mul(hn::ConvertTo(tag, dxx), hn::ConvertTo(tag, dyy));
  hn::StoreU(hn::Sub(product, hn::Mul(hn::Mul(weight, mixed), mixed)), tag, estimates);
}

// The determinants of as many pixels as a vector holds words.
HWY_INLINE void multiply(WordVector dxx, WordVector dyy, WordVector dxy, float *estimates) {
  const Ints ints;
#if HWY_TARGET == HWY_SCALAR
  storeDeterminants(hn::PromoteTo(ints, dxx), hn::PromoteTo(ints, dyy), hn::PromoteTo(ints, dxy), estimates);
#else
  const hn::Half<Words> half;
  const auto lower = [=](WordVector v) HWY_ATTR { return hn::PromoteTo(ints, hn::LowerHalf(half, v)); };
  const auto upper = [=](WordVector v) HWY_ATTR { return hn::PromoteTo(ints, hn::UpperHalf(half, v)); };
  storeDeterminants(lower(dxx), lower(dyy), lower(dxy), estimates);
  storeDeterminants(upper(dxx), upper(dyy), upper(dxy), estimates + hn::Lanes(ints));
#endif
}

// Along the row.
void multiplyRow(std::ptrdiff_t begin, std::ptrdiff_t end, const Work &work, float *HWY_RESTRICT estimates) {
  const Words words;
  const auto step = static_cast<std::ptrdiff_t>(hn::Lanes(words));
  for (std::ptrdiff_t x = begin; x < end; x += step) {
    const auto xx = [=](int c) HWY_ATTR { return hn::LoadU(words, work.acrossX + x + c); };
    const auto yy = [=](int c) HWY_ATTR { return hn::LoadU(words, work.acrossY + x + c); };
    const auto xy = [=](int c) HWY_ATTR { return hn::LoadU(words, work.acrossXY + x + c); };
    multiply(lobes(xx(kSize15.lobe[0]), xx(kSize15.lobe[1]), xx(kSize15.lobe[2]), xx(kSize15.lobe[3])),
             minus(yy(kSize15.breadth[1]), yy(kSize15.breadth[0])),
             squares(xy(kSize15.square[0]), xy(kSize15.square[1]), xy(kSize15.square[2]), xy(kSize15.square[3])),
             estimates + x);
  }
}

void estimate(IntegralView<std::uint16_t> integral, int row, std::int16_t *work, float *estimates) {
  const std::ptrdiff_t width = integral.width, stride = width + kCandidateSlack;
  const std::ptrdiff_t begin = kResponseMargin, end = width - kResponseMargin;
  const Work rows = {work, work + stride, work + 2 * stride};
  // The last vectors reach past the row's end, where the image goes on below.
  sumColumns(integral.sums + row * width, width, begin + kSize15.lobe[0], end + kSize15.lobe[3], rows);
  multiplyRow(begin, end, rows, estimates);
}

// Whether any of the estimates from x to the end of its block is large enough.
HWY_INLINE bool anyIsLarge(const float *at) {
  const Floats tag;
  hn::Vec<Floats> greatest = hn::Zero(tag);
  for (std::size_t i = 0; i < kBlock; i += hn::Lanes(tag))
    greatest = hn::Max(greatest, hn::Abs(hn::LoadU(tag, at + i)));
  return !hn::AllFalse(tag, hn::Ge(greatest, hn::Set(tag, kLeastDeterminant - kEstimateError)));
}

// A bit for each of the estimates at x and behind that may be extrema. A minimum is the maximum of what has the other
// sign: each estimate is read once.
HWY_INLINE std::uint64_t extremumBits(const float *above, const float *at, const float *below) {
  const Floats tag;
  const hn::Vec<Floats> here = hn::LoadU(tag, at), sign = hn::And(here, hn::SignBit(tag));
  const hn::Vec<Floats> height = hn::Xor(here, sign);
  hn::Vec<Floats> greatest = height;
  for (const float *row : {above, at, below})
    for (int dx = -1; dx <= 1; ++dx)
      if (row != at || dx != 0) greatest = hn::Max(greatest, hn::Xor(hn::LoadU(tag, row + dx), sign));
  const auto isLarge = hn::Ge(height, hn::Set(tag, kLeastDeterminant - kEstimateError));
  const auto standsOut = hn::Ge(hn::Add(height, hn::Set(tag, kTie)), greatest);
  std::uint8_t bytes[8] = {};
  hn::StoreMaskBits(tag, hn::And(isLarge, standsOut), bytes);
  return bytes[0] | static_cast<std::uint64_t>(bytes[1]) << 8;
}

// Bits are collected for a block before they are looked at: which vectors have some is too irregular to branch on.
int find(const float *above, const float *at, const float *below, int begin, int end, std::int32_t *columns) {
  int count = 0;
  for (int x = begin; x < end; x += kBlock) {
    if (!anyIsLarge(at + x)) continue;
    std::uint64_t bits = 0;
    for (int i = 0; i < kBlock; i += static_cast<int>(hn::Lanes(Floats())))
      bits |= extremumBits(above + x + i, at + x + i, below + x + i) << i;
    if (end - x < kBlock) bits &= (std::uint64_t{1} << (end - x)) - 1;
    for (; bits != 0; bits &= bits - 1)
      columns[count++] = x + std::countr_zero(bits);
  }
  return count;
}

} // namespace
} // namespace vindrel::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace vindrel {

HWY_EXPORT(estimate);
HWY_EXPORT(find);

void estimateRow(IntegralView<std::uint16_t> integral, int row, std::int16_t *work, float *estimates) {
  HWY_DYNAMIC_DISPATCH(estimate)(integral, row, work, estimates);
}

int findCandidates(const float *above, const float *at, const float *below, int begin, int end, std::int32_t *columns) {
  return HWY_DYNAMIC_DISPATCH(find)(above, at, below, begin, end, columns);
}

} // namespace vindrel
#endif
