// The brightness sum by its definition, on a packed block of samples.
#pragma once

#include <algorithm>
#include <cstdint>

namespace vindrel::reference {

template <class Sample>
std::int64_t brightnessSum(const Sample *first, std::int64_t pixels, int channels, std::int64_t readable) {
  const int shift = sizeof(Sample) == 2 ? 8 : 0;
  std::int64_t sum = 0;
  for (std::int64_t p = 0; p < pixels; ++p) {
    int weighed = 0;
    const int weights[] = {54, 183, 19};
    for (int s = 0; s < 3; ++s)
      weighed += weights[s] * (first[std::min(p * channels + s, readable - 1)] >> shift);
    sum += weighed >> 8;
  }
  return sum;
}

} // namespace vindrel::reference
