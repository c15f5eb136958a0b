// Lists of matched pairs made to order.
#pragma once

#include "base/PairsView.h"
#include "transform/MapPoint.h"

#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

namespace vindrel::test {

struct PairList {
  std::vector<std::int32_t> xA, yA, xB, yB;
  std::vector<float> dist;

  int count() const { return static_cast<int>(xA.size()); }
  PairsView view() const {
    return {.count = count(), .xA = xA.data(), .yA = yA.data(), .xB = xB.data(), .yB = yB.data(), .dist = dist.data()};
  }
  void add(int ax, int ay, int bx, int by, float distance = 0) {
    xA.push_back(ax);
    yA.push_back(ay);
    xB.push_back(bx);
    yB.push_back(by);
    dist.push_back(distance);
  }
};

// Points spread over the frame and where the transform puts them, both rounded to whole pixels; then as many wrong
// pairs as asked for. Distances rise at random, wrong pairs among them.
inline PairList pairsOf(const Trans8 &transform, int right, int wrong, int width, int height, std::uint32_t seed) {
  std::mt19937 random(seed);
  const auto uniform = [&random](int limit) { return static_cast<int>(random() % static_cast<unsigned>(limit)); };
  PairList pairs;
  for (int i = 0; i < right + wrong; ++i) {
    const double x = uniform(width * 16) / 16.0, y = uniform(height * 16) / 16.0;
    const PointD at = mapPerspectiveD(transform.data(), x, y);
    const bool isRight = i < right;
    const float distance = static_cast<float>(uniform(1 << 20)) / (1 << 20);
    pairs.add(static_cast<int>(std::lround(x)), static_cast<int>(std::lround(y)),
              isRight ? static_cast<int>(std::lround(at.x)) : uniform(width),
              isRight ? static_cast<int>(std::lround(at.y)) : uniform(height), distance);
  }
  return pairs;
}

} // namespace vindrel::test
