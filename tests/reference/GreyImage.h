// The grey image as its definition reads.
#pragma once

#include <cstdint>
#include <vector>

namespace vindrel::reference {

// samples: interleaved, packed, from the first pixel on. high(sample) is its most significant byte.
template <class Sample>
std::vector<std::uint8_t> grey(const std::vector<Sample> &samples, int width, int height, int channels) {
  const auto high = [](Sample s) { return static_cast<unsigned>(s) >> (8 * (sizeof(Sample) - 1)); };
  std::vector<std::uint8_t> result;
  for (int pixel = 0; pixel < width * height; ++pixel) {
    const Sample *s = samples.data() + static_cast<std::ptrdiff_t>(pixel) * channels;
    result.push_back(static_cast<std::uint8_t>(
        (54 * high(s[0]) + 183 * high(s[(channels - 1) / 2]) + 19 * high(s[channels - 1])) / 256));
  }
  return result;
}

} // namespace vindrel::reference
