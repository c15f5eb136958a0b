// Windows: a vector of points is tested at a time, and a table turns the bits of those within into their numbers.
//
// Estimates: eight points at a time, vectors along their descriptors, whose lanes are added up across in the end.
// Descriptors are read where they are. Interleaved, a lane a point, they would take as many operations, a pass to
// interleave them, and all lanes whether wanted or not.
//
// Distances: eight pairs at a time, because the sum of each waits for itself at every step.
#include "features/PairSearchKernel.h"

#include "features/Descriptor.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <limits>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "features/PairSearchKernel.cpp"
#include <hwy/foreach_target.h>

#include <hwy/highway.h>

#ifndef VINDREL_FEATURES_PAIR_SEARCH_KERNEL // once, not for each target
#define VINDREL_FEATURES_PAIR_SEARCH_KERNEL
namespace vindrel {

constexpr int kGroup = 8; // points handled together
static_assert(kGroup <= kSearchSlack);

// The positions of the set bits of a byte, lowest first, in as many bytes.
constexpr auto kSetBits = [] {
  std::array<std::array<std::uint8_t, kGroup>, 256> table = {};
  for (unsigned byte = 0; byte < 256; ++byte)
    for (unsigned bit = 0, next = 0; bit < kGroup; ++bit)
      if ((byte >> bit & 1) != 0) table[byte][next++] = static_cast<std::uint8_t>(bit);
  return table;
}();

} // namespace vindrel
#endif

HWY_BEFORE_NAMESPACE();
namespace vindrel::HWY_NAMESPACE {
namespace {
namespace hn = hwy::HWY_NAMESPACE;

using Floats = hn::CappedTag<float, kDescriptorLength>;
using FloatVector = hn::Vec<Floats>;
using Ints = hn::CappedTag<std::int32_t, kGroup>;

// Limits in vectors, out of reach of the stores of indices, which could be to anything of the same type.
struct LimitVectors {
  hn::Vec<Ints> scaleLow, scaleHigh, xLow, xHigh, yLow, yHigh;
};

HWY_INLINE unsigned bitsOf(hn::Mask<Ints> mask) {
  std::uint8_t bytes[8] = {};
  hn::StoreMaskBits(Ints(), mask, bytes);
  return bytes[0];
}

// Not 0 where the value lies outside the bounds.
HWY_INLINE hn::Vec<Ints> outside(hn::Vec<Ints> value, hn::Vec<Ints> low, hn::Vec<Ints> high) {
  return hn::Xor(hn::Min(hn::Max(value, low), high), value);
}

// The bits of a group of points from j on: within the limits, and beyond one that may end the search.
struct WindowBits {
  unsigned within = 0, beyond = 0;
};

HWY_INLINE WindowBits windowBits(const SearchedSet &set, std::ptrdiff_t j, const LimitVectors &limits) {
  const Ints tag;
  WindowBits bits;
  for (int i = 0; i < kGroup; i += static_cast<int>(hn::Lanes(tag))) {
    const auto scale = hn::LoadU(tag, set.scaleCode + j + i);
    const auto x = hn::LoadU(tag, set.x + j + i), y = hn::LoadU(tag, set.y + j + i);
    const auto off = hn::Or(hn::Or(outside(x, limits.xLow, limits.xHigh), outside(y, limits.yLow, limits.yHigh)),
                            outside(scale, limits.scaleLow, limits.scaleHigh));
    const auto beyond = hn::Or(hn::Gt(scale, limits.scaleHigh), hn::Gt(y, limits.yHigh));
    bits.within |= bitsOf(hn::Eq(off, hn::Zero(tag))) << i;
    bits.beyond |= bitsOf(beyond) << i;
  }
  return bits;
}

// The first of a group of points that ends the search, or where the set ends; kGroup if neither is in the group.
int firstEnd(const SearchedSet &set, int j, const PairLimits &limits) {
  int i = 0;
  for (; i < std::min(kGroup, set.count - j); ++i) {
    const std::int32_t scale = set.scaleCode[j + i];
    if (scale > limits.scaleHigh || (scale >= limits.scaleLow && set.y[j + i] > limits.yHigh)) return i;
  }
  return i;
}

int list(const SearchedSet &set, int first, const PairLimits &limits, std::int32_t *HWY_RESTRICT indices) {
  const Ints tag;
  const hn::Rebind<std::uint8_t, Ints> bytes;
  const LimitVectors vectors = {hn::Set(tag, limits.scaleLow), hn::Set(tag, limits.scaleHigh),
                                hn::Set(tag, limits.xLow),     hn::Set(tag, limits.xHigh),
                                hn::Set(tag, limits.yLow),     hn::Set(tag, limits.yHigh)};
  int count = 0;
  for (int j = first; j < set.count; j += kGroup) {
    WindowBits bits = windowBits(set, j, vectors);
    int end = kGroup;
    if (bits.beyond != 0 || set.count - j < kGroup) {
      end = firstEnd(set, j, limits);
      bits.within &= (1u << end) - 1;
    }
    for (int i = 0; i < kGroup; i += static_cast<int>(hn::Lanes(tag))) {
      const auto positions = hn::PromoteTo(tag, hn::LoadU(bytes, kSetBits[bits.within].data() + i));
      hn::StoreU(hn::Add(positions, hn::Set(tag, j)), tag, indices + count + i);
    }
    count += std::popcount(bits.within);
    if (end < kGroup) break;
  }
  return count;
}

#if HWY_TARGET != HWY_SCALAR
// The sum of a vector's blocks of 128 bits.
template <class Tag>
HWY_INLINE auto addBlocks(Tag, hn::Vec<Tag> blocks) {
  if constexpr (hn::MaxLanes(Tag()) == 4) {
    return blocks;
  } else {
    const hn::Half<Tag> half;
    return addBlocks(half, hn::Add(hn::LowerHalf(half, blocks), hn::UpperHalf(half, blocks)));
  }
}
#endif

// Stores the sums of the lanes of each of eight vectors.
HWY_INLINE void storeSums(const FloatVector *sums, float *out) {
#if HWY_TARGET == HWY_SCALAR
  for (int c = 0; c < kGroup; ++c)
    out[c] = hn::GetLane(sums[c]);
#else
  const Floats tag;
  const hn::RepartitionToWide<Floats> pairs;
  const auto addPairs = [=](FloatVector a, FloatVector b) HWY_ATTR {
    return hn::Add(hn::InterleaveLower(tag, a, b), hn::InterleaveUpper(tag, a, b));
  };
  for (int c = 0; c < kGroup; c += 4) {
    // In every block of 128 bits: sums of lanes 0 and 2 and of 1 and 3 of two vectors, then those of four vectors.
    const auto low = hn::BitCast(pairs, addPairs(sums[c], sums[c + 1]));
    const auto high = hn::BitCast(pairs, addPairs(sums[c + 2], sums[c + 3]));
    const FloatVector blocks = hn::Add(hn::BitCast(tag, hn::InterleaveLower(pairs, low, high)),
                                       hn::BitCast(tag, hn::InterleaveUpper(pairs, low, high)));
    hn::StoreU(addBlocks(tag, blocks), hn::FixedTag<float, 4>(), out + c);
  }
#endif
}

void estimateGroup(const float *descriptor, const float *const *others, float *estimates) {
  const Floats tag;
  FloatVector sums[kGroup];
  for (auto &sum : sums)
    sum = hn::Zero(tag);
  for (std::size_t k = 0; k < kDescriptorLength; k += hn::Lanes(tag)) {
    const FloatVector elements = hn::LoadU(tag, descriptor + k);
    for (int c = 0; c < kGroup; ++c) {
      const FloatVector difference = hn::Sub(elements, hn::LoadU(tag, others[c] + k));
      // Whether a target fuses the two or not: the bound covers both.
      sums[c] = hn::MulAdd(difference, difference, sums[c]);
    }
  }
  storeSums(sums, estimates);
}

int keep(const SearchedSet &set, const float *descriptor, std::int32_t *indices, int count, float *estimates) {
  const hn::CappedTag<float, 4> tag; // as stored
  float limit = std::numeric_limits<float>::infinity();
  int kept = 0;
  for (int first = 0; first < count; first += kGroup) {
    const int size = std::min(kGroup, count - first);
    std::int32_t group[kGroup];
    const float *others[kGroup];
    for (int c = 0; c < kGroup; ++c) {
      group[c] = indices[first + (c < size ? c : 0)];
      others[c] = set.descriptor + std::ptrdiff_t{kDescriptorLength} * group[c];
    }
    float found[kGroup];
    estimateGroup(descriptor, others, found);
    bool allAbove = true;
    for (std::size_t c = 0; c < kGroup; c += hn::Lanes(tag))
      allAbove &= hn::AllTrue(tag, hn::Gt(hn::LoadU(tag, found + c), hn::Set(tag, limit)));
    if (allAbove) continue;
    // Without a branch: which to keep cannot be foreseen. What is not a number is kept and leaves the limit as it is.
    // Among estimates that are not reliable none rules out another.
    for (int c = 0; c < kGroup; ++c) {
      indices[kept] = group[c];
      estimates[kept] = found[c];
      const bool keeps = !(found[c] > limit);
      kept += static_cast<int>(keeps) & static_cast<int>(c < size);
      limit = std::min(limit, std::max(found[c] * kEstimateFactor, kLeastReliableEstimate));
    }
  }
  return kept;
}

// The squares of one pair after the other, and then the sums of all pairs side by side.
void measureGroup(const DescriptorPair *pairs, int count, float *distances) {
  const Floats tag;
  float squares[kGroup][kDescriptorLength];
  for (int p = 0; p < kGroup; ++p) {
    const DescriptorPair &pair = pairs[p < count ? p : 0];
    for (std::size_t k = 0; k < kDescriptorLength; k += hn::Lanes(tag)) {
      const FloatVector difference = hn::Sub(hn::LoadU(tag, pair.a + k), hn::LoadU(tag, pair.b + k));
      hn::StoreU(hn::Mul(difference, difference), tag, squares[p] + k);
    }
  }
  float sums[kGroup] = {};
  for (std::size_t k = 0; k < kDescriptorLength; ++k)
    for (int p = 0; p < kGroup; ++p)
      sums[p] += squares[p][k];
  std::copy_n(sums, count, distances);
}

void measure(const DescriptorPair *pairs, int count, float *distances) {
  for (int first = 0; first < count; first += kGroup)
    measureGroup(pairs + first, std::min(kGroup, count - first), distances + first);
}

} // namespace
} // namespace vindrel::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace vindrel {

HWY_EXPORT(list);
HWY_EXPORT(keep);
HWY_EXPORT(measure);

int listWindow(const SearchedSet &set, int first, const PairLimits &limits, std::int32_t *indices) {
  return HWY_DYNAMIC_DISPATCH(list)(set, first, limits, indices);
}

int keepNear(const SearchedSet &set, const float *descriptor, std::int32_t *indices, int count, float *estimates) {
  return HWY_DYNAMIC_DISPATCH(keep)(set, descriptor, indices, count, estimates);
}

void pairDistances(const DescriptorPair *pairs, int count, float *distances) {
  HWY_DYNAMIC_DISPATCH(measure)(pairs, count, distances);
}

} // namespace vindrel
#endif
