// The grey value of a pixel. Which of its samples stand for red, green and blue is decided where pixels are read: the
// feature points take the first, the middle and the last, the translation search and the brightness ranking others.
#pragma once

#include <cstdint>

namespace vindrel {

// The byte of a sample that counts.
constexpr unsigned highByte(std::uint8_t sample) {
  return sample;
}
constexpr unsigned highByte(std::uint16_t sample) {
  return sample >> 8;
}

// The luma weights of ITU-R BT.709 in 256ths. They sum to 256, so that white stays white.
constexpr unsigned kRedWeight = 54, kGreenWeight = 183, kBlueWeight = 19;

// 0 to 255, rounded down.
template <class Sample>
constexpr unsigned greyOf(Sample red, Sample green, Sample blue) {
  return (kRedWeight * highByte(red) + kGreenWeight * highByte(green) + kBlueWeight * highByte(blue)) >> 8;
}

} // namespace vindrel
