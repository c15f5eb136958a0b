// Stacks of shifted, re-exposed frames cut from one textured scene.
#pragma once

#include "base/ImageView.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

namespace vindrel::test {

struct Scene { // RGB, 8 bits
  int width = 0, height = 0;
  std::vector<std::uint8_t> samples;

  std::uint8_t at(int x, int y, int c) const { return samples[(static_cast<std::size_t>(y) * width + x) * 3 + c]; }
};

inline std::uint32_t hashed(std::uint32_t x, std::uint32_t y, std::uint32_t seed) {
  std::uint32_t h = x * 0x9E3779B1u ^ y * 0x85EBCA77u ^ seed * 0xC2B2AE3Du;
  h = (h ^ (h >> 15)) * 0x2C1B3C6Du;
  h = (h ^ (h >> 12)) * 0x297A2D39u;
  return h ^ (h >> 15);
}

// Random values on grids of several spacings, interpolated: texture at every scale that the search looks at.
inline Scene texturedScene(int width, int height, std::uint32_t seed) {
  Scene scene{width, height, {}};
  for (int y = 0; y < height; ++y)
    for (int x = 0; x < width; ++x) {
      double value = 0;
      for (int spacing : {3, 9, 27, 81}) {
        const auto corner = [&](int dx, int dy) {
          return static_cast<double>(hashed(static_cast<std::uint32_t>(x / spacing + dx),
                                            static_cast<std::uint32_t>(y / spacing + dy), seed + spacing) &
                                     0xFFFF) /
                 65535;
        };
        const double u = static_cast<double>(x % spacing) / spacing, v = static_cast<double>(y % spacing) / spacing;
        value += 0.25 * ((1 - v) * ((1 - u) * corner(0, 0) + u * corner(1, 0)) +
                         v * ((1 - u) * corner(0, 1) + u * corner(1, 1)));
      }
      for (double tint : {1.0, 0.9, 0.8})
        scene.samples.push_back(static_cast<std::uint8_t>(255 * tint * std::clamp(2 * value - 0.5, 0.0, 1.0)));
    }
  return scene;
}

// The window of a scene that a frame sees, and its exposure: light is multiplied by gain and clipped.
struct View {
  int x = 0, y = 0;
  double gain = 1;
};

template <class Sample>
std::vector<Sample> frameOf(const Scene &scene, const View &view, int width, int height, int channels) {
  Sample exposed[256];
  for (int value = 0; value < 256; ++value) {
    const double light = std::min(1.0, view.gain * std::pow(value / 255.0, 2.2));
    exposed[value] = static_cast<Sample>(std::pow(light, 1 / 2.2) * static_cast<Sample>(~Sample{0}) + 0.5);
  }
  std::vector<Sample> frame;
  for (int y = 0; y < height; ++y)
    for (int x = 0; x < width; ++x)
      for (int c = 0; c < channels; ++c)
        frame.push_back(exposed[scene.at(view.x + x, view.y + y, std::min(c, 2))]);
  return frame;
}

template <class Sample>
std::vector<Sample> stackOf(const Scene &scene, const std::vector<View> &views, int width, int height, int channels) {
  std::vector<Sample> stack;
  for (const View &view : views) {
    const std::vector<Sample> frame = frameOf<Sample>(scene, view, width, height, channels);
    stack.insert(stack.end(), frame.begin(), frame.end());
  }
  return stack;
}

template <class Sample>
std::vector<ImageView> viewsOf(const std::vector<Sample> &stack, int count, int width, int height, int channels) {
  std::vector<ImageView> views;
  for (int i = 0; i < count; ++i)
    views.push_back({.samples = stack.data() + static_cast<std::size_t>(i) * width * height * channels,
                     .size = {width, height},
                     .channels = channels,
                     .rowStride = std::int64_t{width} * channels,
                     .depth = sizeof(Sample) == 1 ? SampleDepth::U8 : SampleDepth::U16});
  return views;
}

} // namespace vindrel::test
