// Photographs made for the tests of the simulator.
#pragma once

#include "vindrel/image.hpp"

#include <cmath>
#include <cstdint>
#include <vector>

namespace vindrel::test {

template <class Sample>
struct Photograph {
  Size size;
  int channels = 3;
  std::vector<Sample> samples;

  ImageView view() const {
    return {samples.data(), size, channels, static_cast<std::int64_t>(size.width) * channels,
            sizeof(Sample) == 1 ? SampleDepth::U8 : SampleDepth::U16};
  }
};

// value(x, y) gives the sample of all channels.
template <class Sample, class Value>
Photograph<Sample> photograph(Size size, int channels, Value value) {
  Photograph<Sample> made{size, channels, {}};
  for (int y = 0; y < size.height; ++y)
    for (int x = 0; x < size.width; ++x)
      for (int channel = 0; channel < channels; ++channel)
        made.samples.push_back(static_cast<Sample>(value(x, y)));
  return made;
}

// Texture of waves in several directions, 8 bits, with its median near the middle.
inline Photograph<std::uint8_t> wavyPhotograph(Size size) {
  return photograph<std::uint8_t>(size, 3, [](int x, int y) {
    return 120 + 50 * std::sin(0.21 * x + 0.05 * y) + 40 * std::sin(0.17 * y - 0.08 * x) + 20 * std::sin(0.6 * x);
  });
}

} // namespace vindrel::test
