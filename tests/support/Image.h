// A picture with memory of its own.
#pragma once

#include "base/ImageView.h"

#include <cstdint>
#include <vector>

namespace vindrel::test {

template <class Sample>
struct Image {
  std::vector<Sample> samples;
  Size size;
  int channels = 0;

  Image(Size imageSize, int imageChannels, Sample filling = {})
      : samples(static_cast<std::size_t>(packedSamples(imageSize, imageChannels)), filling), size(imageSize),
        channels(imageChannels) {}
  static constexpr SampleDepth depth() { return static_cast<SampleDepth>(8 * sizeof(Sample)); }
  std::int64_t stride() const { return std::int64_t{size.width} * channels; }
  ImageView view() const { return {samples.data(), size, channels, stride(), depth()}; }
  MutableImageView view() { return {samples.data(), size, channels, stride(), depth()}; }
  Sample at(int x, int y, int c = 0) const {
    return samples[static_cast<std::size_t>((std::int64_t{y} * size.width + x) * channels + c)];
  }
};

} // namespace vindrel::test
