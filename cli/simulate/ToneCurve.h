// The sRGB curve of IEC 61966-2-1, both ways, for values 0 to 1.
#pragma once

#include <cmath>

namespace vindrel {

inline double linearFromSrgb(double code) {
  return code <= 0.04045 ? code / 12.92 : std::pow((code + 0.055) / 1.055, 2.4);
}

inline double srgbFromLinear(double light) {
  return light <= 0.0031308 ? light * 12.92 : 1.055 * std::pow(light, 1.0 / 2.4) - 0.055;
}

} // namespace vindrel
