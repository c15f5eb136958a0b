#include "transform/MtRandom.h"

namespace vindrel {

namespace {

constexpr int kShift = 397;
constexpr std::uint32_t kMatrix = 0x9908B0DFu;
constexpr std::uint32_t kUpperMask = 0x80000000u;
constexpr std::uint32_t kLowerMask = 0x7FFFFFFFu;
constexpr std::int32_t kWordBytes = 4;
constexpr std::int32_t kAllUsed = kMtWords * kWordBytes;

// In place and in increasing order: later words read words of the new state.
void regenerate(std::uint32_t *words) {
  for (int i = 0; i < kMtWords; ++i) {
    const std::uint32_t y = (words[i] & kUpperMask) | (words[(i + 1) % kMtWords] & kLowerMask);
    words[i] = words[(i + kShift) % kMtWords] ^ (y >> 1) ^ ((y & 1u) != 0 ? kMatrix : 0u);
  }
}

} // namespace

void mtInit(std::int32_t &index, std::uint32_t *words) {
  for (int i = 0; i < kMtWords; ++i) {
    words[i] = static_cast<std::uint32_t>(i);
  }
  index = kAllUsed;
}

std::uint32_t mtNext(std::int32_t &index, std::uint32_t *words) {
  if (index == kAllUsed) {
    regenerate(words);
    index = 0;
  }
  const std::uint32_t word = words[index / kWordBytes];
  index += kWordBytes;
  return word;
}

} // namespace vindrel
