// Grey images and point sets for tests of feature points. Everything follows from the seed.
#pragma once

#include "reference/Features.h"
#include "reference/PairMatcher.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <random>

namespace vindrel::test {

inline reference::Image uniformImage(int width, int height, std::uint8_t value) {
  return {width, height, std::vector<std::uint8_t>(static_cast<std::size_t>(width) * height, value)};
}

// Independent noise: the densest field of extrema there is.
inline reference::Image noiseImage(int width, int height, unsigned seed) {
  reference::Image image = uniformImage(width, height, 0);
  std::mt19937 random(seed);
  for (auto &value : image.grey)
    value = static_cast<std::uint8_t>(random() >> 24);
  return image;
}

// Soft blobs of many sizes and either sign over a gradient, with a little noise: statistics like a photograph's.
inline reference::Image blobImage(int width, int height, unsigned seed) {
  std::mt19937 random(seed);
  const auto upTo = [&](double limit) { return limit * static_cast<double>(random()) / 4294967296.0; };
  std::vector<double> field(static_cast<std::size_t>(width) * height);
  for (int y = 0; y < height; ++y)
    for (int x = 0; x < width; ++x)
      field[static_cast<std::size_t>(y) * width + x] = 90 + 60.0 * x / width + upTo(6);
  for (int blob = 0; blob < 4 + width * height / 150; ++blob) {
    const double cx = upTo(width), cy = upTo(height), sigma = 1 + upTo(6), height01 = upTo(160) - 80;
    const int reach = static_cast<int>(3 * sigma);
    for (int y = std::max(0, static_cast<int>(cy) - reach); y < std::min(height, static_cast<int>(cy) + reach); ++y)
      for (int x = std::max(0, static_cast<int>(cx) - reach); x < std::min(width, static_cast<int>(cx) + reach); ++x)
        field[static_cast<std::size_t>(y) * width + x] +=
            height01 * std::exp(-((x - cx) * (x - cx) + (y - cy) * (y - cy)) / (2 * sigma * sigma));
  }
  reference::Image image = uniformImage(width, height, 0);
  for (std::size_t i = 0; i < field.size(); ++i)
    image.grey[i] = static_cast<std::uint8_t>(std::clamp(field[i], 0.0, 255.0));
  return image;
}

// Points in the order of detection with random unit descriptors, of which every third is close to one of a second set
// made with the same descriptorSeed.
inline reference::PointSet pointSet(int count, int width, int height, unsigned seed, unsigned descriptorSeed) {
  std::mt19937 random(seed), shared(descriptorSeed);
  reference::PointSet set;
  for (int i = 0; i < count; ++i)
    set.y.push_back(static_cast<std::int32_t>(random() % height));
  std::sort(set.y.begin(), set.y.end());
  for (int i = 0; i < count; ++i) {
    set.x.push_back(static_cast<std::int32_t>(random() % width));
    set.scaleCode.push_back(static_cast<std::int32_t>(random() % 81) - 40);
    for (int k = 0; k < 64; ++k) {
      const auto common = static_cast<float>(shared() % 2001) - 1000.0f;
      const auto own = static_cast<float>(random() % 2001) - 1000.0f;
      set.descriptor.push_back((i % 3 == 0 ? common + own * 0.05f : own) / 4700.0f);
    }
  }
  return set;
}

} // namespace vindrel::test
