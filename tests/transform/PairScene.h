// Matched pairs of a known transform, with noise and with wrong pairs among them.
#pragma once

#include "reference/TransformCost.h"
#include "transform/MapPoint.h"

#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

namespace vindrel::test {

struct PairScene {
  reference::WholePairs pairs;
  std::vector<float> dist;
  int width = 4000;
  int height = 3000;

  int count() const { return static_cast<int>(dist.size()); }
  void add(std::int32_t xA, std::int32_t yA, std::int32_t xB, std::int32_t yB, float distance) {
    pairs.xA.push_back(xA);
    pairs.yA.push_back(yA);
    pairs.xB.push_back(xB);
    pairs.yB.push_back(yB);
    dist.push_back(distance);
  }
};

struct PairSceneSettings {
  int count = 200;
  Trans8 transform = kIdentity8;
  double noise = 0.0;      // pixels, standard deviation
  double wrongShare = 0.0; // of the pairs, anywhere in the frame
  bool ascending = true;   // by distance
};

// The points of B are rounded to whole pixels.
inline PairScene pairScene(std::uint32_t seed, const PairSceneSettings &settings) {
  std::mt19937 random(seed);
  PairScene scene;
  std::uniform_int_distribution<int> x(0, scene.width - 1), y(0, scene.height - 1);
  std::uniform_real_distribution<double> unit(0, 1);
  std::normal_distribution<double> noise(0, settings.noise > 0 ? settings.noise : 1);
  for (int i = 0; i < settings.count; ++i) {
    const int xA = x(random), yA = y(random);
    PointD b = mapPerspectiveD(settings.transform.data(), xA, yA);
    if (settings.noise > 0) b = {b.x + noise(random), b.y + noise(random)};
    if (unit(random) < settings.wrongShare) b = {double(x(random)), double(y(random))};
    const float distance = settings.ascending ? 0.001f * static_cast<float>(i) : static_cast<float>(unit(random));
    scene.add(xA, yA, static_cast<std::int32_t>(std::lround(b.x)), static_cast<std::int32_t>(std::lround(b.y)),
              distance);
  }
  return scene;
}

} // namespace vindrel::test
