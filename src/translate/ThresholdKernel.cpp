#include "translate/ThresholdKernel.h"

namespace vindrel {
namespace {

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

} // namespace

void thresholdRow(const std::uint8_t *grey, int width, int threshold, std::uint64_t *words) {
  const int count = wordsFor(width);
  if (threshold >= 255) { // no byte is greater
    for (int i = 0; i < count; ++i)
      words[i] = 0;
    return;
  }
  const AtLeast above(static_cast<unsigned>(threshold) + 1);
  const int whole = width / kBitsPerWord;
  for (int i = 0; i < whole; ++i) {
    std::uint64_t word = 0;
    for (int b = 0; b < 8; ++b)
      word = (word << 8) | above.bits(loadEight(grey + i * kBitsPerWord + 8 * b));
    words[i] = word;
  }
  if (whole < count) {
    std::uint64_t word = 0;
    for (int x = whole * kBitsPerWord; x < width; ++x)
      word |= static_cast<std::uint64_t>(grey[x] > threshold) << (kBitsPerWord - 1 - x % kBitsPerWord);
    words[whole] = word;
  }
}

} // namespace vindrel
