// The scene that the simulated camera looks at: a photograph brought to linear light, optionally made smaller by
// averaging areas and optionally given more contrast than a photograph can hold.
#pragma once

#include "vindrel/image.hpp"

#include <vector>

namespace vindrel {

struct LinearScene {
  // Red, green, blue and an unused 0: four floats a pixel let the compiler resample a pixel as one vector.
  static constexpr int kLanes = 4;

  Size size;
  std::vector<float> light; // kLanes floats a pixel, rows packed; 1 saturates the sensor at exposure value 0

  const float *pixel(int x, int y) const {
    return light.data() + (static_cast<std::size_t>(y) * static_cast<std::size_t>(size.width) + x) * kLanes;
  }
};

// The largest size of the photograph's proportions that has at most `pixels` pixels; the photograph's own when it has
// no more, or when pixels is 0 or less.
Size reducedSize(Size photograph, double pixels);

// Undoes the sRGB curve and averages areas down to `size`, which must not exceed the photograph's. One- and two-channel
// photographs are grey, the fourth channel of four is ignored.
LinearScene linearScene(const ImageView &photograph, Size size);

// The contrast that a scene bracketed over evSpan stops is likely to have, as an exponent for expandContrast(), 1 to 3:
// 1 when the photograph as it stands leaves something to see in the longest and in the shortest exposure.
double contrastForBracket(const LinearScene &scene, double evSpan);

// Raises every luminance to a power about the median luminance, which keeps its value; colours keep their proportions.
void expandContrast(LinearScene &scene, double exponent);

} // namespace vindrel
