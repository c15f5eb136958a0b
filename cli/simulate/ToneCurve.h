// The sRGB curve of IEC 61966-2-1, both ways, for values 0 to 1, and the code of white.
#pragma once

#include "vindrel/image.hpp"

#include <cmath>

namespace vindrel {

inline double linearFromSrgb(double code) {
  return code <= 0.04045 ? code / 12.92 : std::pow((code + 0.055) / 1.055, 2.4);
}

inline double srgbFromLinear(double light) {
  return light <= 0.0031308 ? light * 12.92 : 1.055 * std::pow(light, 1.0 / 2.4) - 0.055;
}

// Of 8 and 16 bits.
constexpr int maxSample(SampleDepth depth) {
  return depth == SampleDepth::U8 ? 255 : 65535;
}

} // namespace vindrel
