// A vector of grey values is reversed before it is compared, because the bits of a comparison come with the first value
// lowest and a word wants it highest. Without vectors a word's eight bytes are compared at a time.
#include "translate/ThresholdKernel.h"

#include <cstddef>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "translate/ThresholdKernel.cpp"
#include <hwy/foreach_target.h>

#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace vindrel::HWY_NAMESPACE {
namespace {
namespace hn = hwy::HWY_NAMESPACE;

#if HWY_TARGET == HWY_SCALAR

constexpr std::uint64_t kEveryByte = 0x0101010101010101U;
constexpr std::uint64_t kHighBits = 0x8080808080808080U;

// Eight bytes, the first in the lowest position. Compilers turn this into one load.
inline std::uint64_t loadEight(const std::uint8_t *p) {
  std::uint64_t value = 0;
  for (int i = 0; i < 8; ++i)
    value |= static_cast<std::uint64_t>(p[i]) << (8 * i);
  return value;
}

// Compares eight bytes at a time with a limit of 1 to 255.
class AtLeast {
public:
  explicit AtLeast(unsigned limit) : low7_(kEveryByte * (limit & 0x7FU)), limitHigh_((limit & 0x80U) != 0) {}

  // One bit a byte, the first byte's in bit 7 of the result.
  std::uint64_t bits(std::uint64_t bytes) const {
    // The guard bit on top of each byte survives the subtraction where the low seven bits reach the limit's.
    const std::uint64_t reached = (bytes | kHighBits) - low7_;
    const std::uint64_t high = (limitHigh_ ? bytes & reached : bytes | reached) & kHighBits;
    // Bit 8 i times 2^(63 - 9 i) lands on bit 63 - i. No two products share a position, so nothing carries.
    return ((high >> 7) * 0x8040201008040201U) >> 56;
  }

private:
  std::uint64_t low7_;
  bool limitHigh_;
};

void thresholdWords(const std::uint8_t *grey, int count, int limit, std::uint64_t *words) {
  const AtLeast above(static_cast<unsigned>(limit));
  for (std::ptrdiff_t i = 0; i < count; ++i) {
    std::uint64_t word = 0;
    for (int b = 0; b < 8; ++b)
      word = (word << 8) | above.bits(loadEight(grey + i * kBitsPerWord + 8 * b));
    words[i] = word;
  }
}

#else

using Bytes = hn::CappedTag<std::uint8_t, kBitsPerWord>;

// The lanes in reverse: each 16 of them, and then these among each other.
HWY_INLINE hn::Vec<Bytes> reversed(hn::Vec<Bytes> values) {
  alignas(16) static constexpr std::uint8_t kBackwards[16] = {15, 14, 13, 12, 11, 10, 9, 8, 7, 6, 5, 4, 3, 2, 1, 0};
  const Bytes bytes;
  return hn::ReverseBlocks(bytes, hn::TableLookupBytes(values, hn::LoadDup128(bytes, kBackwards)));
}

// Whole words; bits for grey values from limit (1 to 255) on.
void thresholdWords(const std::uint8_t *HWY_RESTRICT grey, int count, int limit, std::uint64_t *HWY_RESTRICT words) {
  const Bytes bytes;
  const hn::Vec<Bytes> limits = hn::Set(bytes, static_cast<std::uint8_t>(limit));
  const auto step = static_cast<std::ptrdiff_t>(hn::Lanes(bytes));
  for (std::ptrdiff_t i = 0; i < count; ++i) {
    // The first values go to the highest bits, which are the last bytes of a little-endian word.
    auto *end = reinterpret_cast<std::uint8_t *>(words + i + 1);
    for (std::ptrdiff_t x = 0; x < kBitsPerWord; x += step) {
      const hn::Vec<Bytes> values = reversed(hn::LoadU(bytes, grey + i * kBitsPerWord + x));
      end -= step / 8;
      hn::StoreMaskBits(bytes, hn::Eq(hn::Max(values, limits), values), end);
    }
  }
}

#endif

} // namespace
} // namespace vindrel::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace vindrel {

HWY_EXPORT(thresholdWords);

void thresholdRow(const std::uint8_t *grey, int width, int threshold, std::uint64_t *words) {
  const int count = wordsFor(width);
  if (threshold >= 255) { // no byte is greater
    for (int i = 0; i < count; ++i)
      words[i] = 0;
    return;
  }
  const int whole = width / kBitsPerWord;
  HWY_DYNAMIC_DISPATCH(thresholdWords)(grey, whole, threshold + 1, words);
  if (whole < count) {
    std::uint64_t word = 0;
    for (int x = whole * kBitsPerWord; x < width; ++x)
      word |= static_cast<std::uint64_t>(grey[x] > threshold) << (kBitsPerWord - 1 - x % kBitsPerWord);
    words[whole] = word;
  }
}

} // namespace vindrel
#endif
