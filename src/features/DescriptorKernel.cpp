// The 64-element descriptor of Bay, Ess, Tuytelaars and Van Gool 2008, "Speeded-Up Robust Features (SURF)", without
// orientation or weighting: Haar-like responses over a fixed square of 32 x 32 pixels, columns x - 16 .. x + 15 and
// rows y - 16 .. y + 15, cut into 4 x 4 cells of 8 x 8 pixels and each of those into four sub-cells of 4 x 4. A cell
// contributes the sums, over its sub-cells, of dx, |dx|, dy and |dy|; the whole is brought to unit length.
//
// The four half boxes of a sub-cell share corners: what is needed of the integral image are its rows of every second
// pixel, at every second column. A vector holds the sub-cells of a row.
#include "features/Descriptor.h"

#include <cmath>
#include <cstdint>
#include <type_traits>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "features/DescriptorKernel.cpp"
#include <hwy/foreach_target.h>

#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace vindrel::HWY_NAMESPACE {
namespace {
namespace hn = hwy::HWY_NAMESPACE;

constexpr int kHalfSquare = 16;
constexpr int kSubCell = 4, kHalf = kSubCell / 2;
constexpr int kSubCells = 8; // along either side of the square
constexpr int kCells = kSubCells / 2;
// Points whose lengths are taken together: the sum of each is a chain of additions that wait for each other.
constexpr int kTogether = 8;

template <class Sum>
using Signed = std::make_signed_t<Sum>;

// The integral image where the square may begin before its first entry. Elsewhere a pointer to the entries will do.
template <class Entry>
struct Guarded {
  const Entry *sums;
  std::uint32_t operator[](std::ptrdiff_t i) const { return i < 0 ? 0u : std::uint32_t{sums[i]}; }
};

// Dyy + Dxx with the boxes of the size-15 filter. Of 16-bit entries each of the two fits 16 bits, but not their sum.
template <class Entry, class Sums>
bool isLaplacianNegative(Sums sums, std::ptrdiff_t width, std::ptrdiff_t centre) {
  const auto box = [&](int x1, int y1, int x2, int y2) { return boxSum(sums, width, centre, {x1, y1, x2, y2}); };
  const auto widened = [](std::uint32_t value) {
    return static_cast<std::uint32_t>(std::int32_t{static_cast<std::make_signed_t<Entry>>(value)});
  };
  const std::uint32_t dyy = box(-4, -7, 4, -3) + box(-4, 3, 4, 7) - 2 * box(-4, -2, 4, 2);
  const std::uint32_t dxx = box(-7, -4, -3, 4) + box(3, -4, 7, 4) - 2 * box(-2, -4, 2, 4);
  return static_cast<std::int32_t>(widened(dyy) + widened(dxx)) < 0;
}

// Wraps at the least int, which has no counterpart.
constexpr std::int32_t negative(std::int32_t value) {
  return static_cast<std::int32_t>(0u - static_cast<std::uint32_t>(value));
}
constexpr std::int32_t magnitude(std::int32_t value) {
  return value < 0 ? negative(value) : value;
}

// Box by box: where entries are missing, and where there are no vectors.
template <class Entry, class Sums>
void fillByBoxes(Sums sums, std::ptrdiff_t width, std::ptrdiff_t corner, float *descriptor) {
  for (int cell = 0; cell < kCells * kCells; ++cell) {
    std::uint32_t total[4] = {};
    for (int part = 0; part < 4; ++part) {
      const int row = 2 * (cell / kCells) + part / 2, column = 2 * (cell % kCells) + part % 2;
      const std::ptrdiff_t at = corner + kSubCell * (row * width + column);
      const auto box = [&](int x1, int y1, int x2, int y2) { return boxSum(sums, width, at, {x1, y1, x2, y2}); };
      const auto dx = static_cast<std::make_signed_t<Entry>>(box(0, 0, 1, 3) - box(2, 0, 3, 3));
      const auto dy = static_cast<std::make_signed_t<Entry>>(box(0, 0, 3, 1) - box(0, 2, 3, 3));
      const std::int32_t values[] = {dx, magnitude(dx), dy, magnitude(dy)};
      for (int i = 0; i < 4; ++i)
        total[i] += static_cast<std::uint32_t>(values[i]);
    }
    for (const std::uint32_t value : total)
      *descriptor++ = static_cast<float>(static_cast<std::int32_t>(value));
  }
}

#if HWY_TARGET == HWY_SCALAR
template <class Entry>
void fillCells(const Entry *sums, std::ptrdiff_t width, std::ptrdiff_t corner, float *descriptor) {
  fillByBoxes<Entry>(sums, width, corner, descriptor);
}
#else

using Ints = hn::FixedTag<std::int32_t, 4>;
using IntVector = hn::Vec<Ints>;

// A row of the integral image at the sides and the middles of the sub-cells, as many as fit 128 bits: all eight of
// 16-bit entries, four of 32 bits.
template <class Entry>
struct Columns {
  using Tag = hn::FixedTag<Entry, 16 / sizeof(Entry)>;
  static constexpr int kLanes = static_cast<int>(hn::MaxLanes(Tag()));
  static constexpr int kParts = kSubCells / kLanes;
  hn::Vec<Tag> left, middle, right;

  // Reads 4 kLanes + 1 entries.
  static HWY_INLINE Columns load(const Entry *row) {
    const Tag tag;
    Columns columns;
    hn::Vec<Tag> first, third;
    hn::LoadInterleaved4(tag, row, columns.left, first, columns.middle, third);
    const hn::Vec<Tag> last = hn::Set(tag, row[kSubCell * kLanes]);
    columns.right = hn::CombineShiftRightBytes<sizeof(Entry)>(tag, last, columns.left);
    return columns;
  }
  HWY_INLINE hn::Vec<Tag> across() const { return hn::Sub(right, left); }
};

// dx, |dx|, dy and |dy| of as many sub-cells.
template <class Entry>
struct Differences {
  using Tag = hn::RebindToSigned<typename Columns<Entry>::Tag>;
  hn::Vec<Tag> value[4];

  static HWY_INLINE Differences of(const Columns<Entry> &top, const Columns<Entry> &centre,
                                   const Columns<Entry> &bottom) {
    const Tag tag;
    const auto left = hn::Sub(bottom.left, top.left), right = hn::Sub(bottom.right, top.right);
    const auto middle = hn::Sub(bottom.middle, top.middle), across = centre.across();
    const auto dx = hn::BitCast(tag, hn::Sub(hn::Sub(middle, left), hn::Sub(right, middle)));
    const auto dy = hn::BitCast(tag, hn::Sub(hn::Sub(across, top.across()), hn::Sub(bottom.across(), across)));
    return {{dx, hn::Abs(dx), dy, hn::Abs(dy)}};
  }
};

// The sums of neighbours in pairs.
HWY_INLINE IntVector pairSums(IntVector low, IntVector high) {
  const Ints ints;
  return hn::Add(hn::ConcatEven(ints, high, low), hn::ConcatOdd(ints, high, low));
}
HWY_INLINE IntVector pairSums(const hn::Vec<hn::FixedTag<std::int16_t, 8>> *parts) {
  const Ints ints;
  const hn::FixedTag<std::int16_t, 4> half;
  return pairSums(hn::PromoteTo(ints, hn::LowerHalf(half, parts[0])),
                  hn::PromoteTo(ints, hn::UpperHalf(half, parts[0])));
}
HWY_INLINE IntVector pairSums(const IntVector *parts) {
  return pairSums(parts[0], parts[1]);
}

template <class Entry>
void fillCells(const Entry *sums, std::ptrdiff_t width, std::ptrdiff_t corner, float *descriptor) {
  constexpr int kParts = Columns<Entry>::kParts, kStep = kSubCell * Columns<Entry>::kLanes;
  const hn::Rebind<float, Ints> floats;
  const Entry *row = sums + corner - width - 1; // the one above the square, from the column left of it on
  Columns<Entry> top[kParts];
  for (int part = 0; part < kParts; ++part)
    top[part] = Columns<Entry>::load(row + part * kStep);
  for (int cellRow = 0; cellRow < kCells; ++cellRow, descriptor += 4 * kCells) {
    hn::Vec<typename Differences<Entry>::Tag> sum[4][kParts];
    for (int subRow = 0; subRow < 2; ++subRow, row += kSubCell * width)
      for (int part = 0; part < kParts; ++part) {
        const auto centre = Columns<Entry>::load(row + kHalf * width + part * kStep);
        const auto bottom = Columns<Entry>::load(row + kSubCell * width + part * kStep);
        const auto differences = Differences<Entry>::of(top[part], centre, bottom);
        for (int i = 0; i < 4; ++i)
          sum[i][part] = subRow == 0 ? differences.value[i] : hn::Add(sum[i][part], differences.value[i]);
        top[part] = bottom;
      }
    hn::StoreInterleaved4(hn::ConvertTo(floats, pairSums(sum[0])), hn::ConvertTo(floats, pairSums(sum[1])),
                          hn::ConvertTo(floats, pairSums(sum[2])), hn::ConvertTo(floats, pairSums(sum[3])), floats,
                          descriptor);
  }
}
#endif

// Brings count <= kTogether descriptors to unit length. Single precision, squares added in the order of the elements.
// The factor is a correctly rounded square root and a correctly rounded division, never an estimate instruction, whose
// bits differ between processors.
void normalise(float *descriptors, int count) {
  float sums[kTogether] = {};
  const float *of[kTogether];
  for (int i = 0; i < kTogether; ++i)
    of[i] = descriptors + kDescriptorLength * (i < count ? i : 0);
  for (int k = 0; k < kDescriptorLength; ++k)
    for (int i = 0; i < kTogether; ++i)
      sums[i] += of[i][k] * of[i][k];
  const hn::CappedTag<float, kDescriptorLength> tag;
  for (int i = 0; i < count; ++i) {
    if (!(sums[i] > 0)) continue;
    const auto factor = hn::Set(tag, 1.0f / std::sqrt(sums[i]));
    float *descriptor = descriptors + kDescriptorLength * i;
    for (std::size_t k = 0; k < kDescriptorLength; k += hn::Lanes(tag))
      hn::StoreU(hn::Mul(hn::LoadU(tag, descriptor + k), factor), tag, descriptor + k);
  }
}

template <class Entry>
void describe(const Entry *sums, std::ptrdiff_t width, const PointsToDescribe &points) {
  const std::ptrdiff_t firstSafe = (kHalfSquare + 1) * (width + 1);
  for (int i = 0; i < points.count; ++i) {
    const std::ptrdiff_t centre = points.y[i] * width + points.x[i];
    const std::ptrdiff_t corner = centre - kHalfSquare * width - kHalfSquare;
    float *descriptor = points.descriptor + std::ptrdiff_t{kDescriptorLength} * i;
    bool negativeLaplacian;
    if (centre >= firstSafe) {
      negativeLaplacian = isLaplacianNegative<Entry>(sums, width, centre);
      fillCells(sums, width, corner, descriptor);
    } else {
      negativeLaplacian = isLaplacianNegative<Entry>(Guarded<Entry>{sums}, width, centre);
      fillByBoxes<Entry>(Guarded<Entry>{sums}, width, corner, descriptor);
    }
    const std::int32_t code = magnitude(points.scaleCode[i]);
    points.scaleCode[i] = negativeLaplacian ? negative(code) : code;
    if (i % kTogether == kTogether - 1 || i == points.count - 1) {
      const int count = i % kTogether + 1;
      normalise(descriptor - std::ptrdiff_t{kDescriptorLength} * (count - 1), count);
    }
  }
}

void describeFromWords(IntegralView<std::uint16_t> integral, const PointsToDescribe &points) {
  describe(integral.sums, integral.width, points);
}
void describeFromInts(IntegralView<std::uint32_t> integral, const PointsToDescribe &points) {
  describe(integral.sums, integral.width, points);
}

} // namespace
} // namespace vindrel::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace vindrel {

HWY_EXPORT(describeFromWords);
HWY_EXPORT(describeFromInts);

void describePoints(IntegralView<std::uint16_t> integral, const PointsToDescribe &points) {
  HWY_DYNAMIC_DISPATCH(describeFromWords)(integral, points);
}
void describePoints(IntegralView<std::uint32_t> integral, const PointsToDescribe &points) {
  HWY_DYNAMIC_DISPATCH(describeFromInts)(integral, points);
}

} // namespace vindrel
#endif
