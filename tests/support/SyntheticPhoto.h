// A textured picture without any file: overlapping discs of random size, place and colour, far more small ones than
// large ones, as occluding objects of a natural scene are (the dead leaves model of J. Serra).
#pragma once

#include "base/ImageView.h"

#include <algorithm>
#include <cstdint>
#include <random>
#include <vector>

namespace vindrel::test {

class SyntheticPhoto {
public:
  SyntheticPhoto(Size size, std::uint32_t seed)
      : size_(size), samples_(static_cast<std::size_t>(packedSamples(size, 3))) {
    std::mt19937 random(seed);
    const auto uniform = [&random](int limit) { return static_cast<int>(random() % static_cast<unsigned>(limit)); };
    const int discs = size.width * size.height / 60;
    for (int i = 0; i < discs; ++i) {
      const int radius = std::min(3 + 400 / (4 + uniform(120)), 60);
      const int x0 = uniform(size.width), y0 = uniform(size.height);
      const std::uint8_t colour[3] = {static_cast<std::uint8_t>(30 + uniform(190)),
                                      static_cast<std::uint8_t>(30 + uniform(190)),
                                      static_cast<std::uint8_t>(30 + uniform(190))};
      for (int y = std::max(0, y0 - radius); y <= std::min(size.height - 1, y0 + radius); ++y) {
        for (int x = std::max(0, x0 - radius); x <= std::min(size.width - 1, x0 + radius); ++x) {
          if ((x - x0) * (x - x0) + (y - y0) * (y - y0) > radius * radius) continue;
          std::copy_n(colour, 3, &samples_[static_cast<std::size_t>((y * size.width + x) * 3)]);
        }
      }
    }
  }
  ImageView view() const {
    return {samples_.data(), size_, 3, static_cast<std::int64_t>(size_.width) * 3, SampleDepth::U8};
  }

private:
  Size size_;
  std::vector<std::uint8_t> samples_;
};

} // namespace vindrel::test
