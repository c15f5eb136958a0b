// What the tile pass keeps for every tile: the feature points of the two frames being matched and the pairs found.
#pragma once

#include "base/Buffer.h"
#include "base/PairsView.h"
#include "features/FeaturePoints.h"
#include "features/PairMatcher.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace vindrel {

constexpr int kPointBudget = 1309;               // asked of the detector, per tile
constexpr int kPointCapacity = kPointBudget + 1; // the detector stops one point late

// The points of one frame, tile by tile.
class TilePoints {
public:
  // False when an allocation failed.
  bool allocate(int tiles) {
    const auto points = static_cast<std::size_t>(tiles) * kPointCapacity;
    count_ = Buffer<int>::zeroed(static_cast<std::size_t>(tiles));
    x_ = Buffer<std::int32_t>::zeroed(points);
    y_ = Buffer<std::int32_t>::zeroed(points);
    scaleCode_ = Buffer<std::int32_t>::zeroed(points);
    descriptor_ = Buffer<float>::zeroed(points * kDescriptorLength);
    return count_ && x_ && y_ && scaleCode_ && descriptor_;
  }
  int &count(int tile) { return count_[static_cast<std::size_t>(tile)]; }
  FeaturePointsView room(int tile) {
    const std::size_t first = static_cast<std::size_t>(tile) * kPointCapacity;
    return {.x = x_.data() + first,
            .y = y_.data() + first,
            .scaleCode = scaleCode_.data() + first,
            .descriptor = descriptor_.data() + first * kDescriptorLength};
  }
  FeatureSet points(int tile) {
    const FeaturePointsView view = room(tile);
    return {.count = count(tile), .x = view.x, .y = view.y, .scaleCode = view.scaleCode, .descriptor = view.descriptor};
  }

private:
  Buffer<int> count_;
  Buffer<std::int32_t> x_, y_, scaleCode_;
  Buffer<float> descriptor_;
};

// Matched pairs in the matcher's parallel arrays, with room for a fixed number.
class PairArrays {
public:
  bool allocate(std::size_t capacity) {
    coordinates_ = Buffer<std::int32_t>::zeroed(capacity * 4);
    dist_ = Buffer<float>::zeroed(capacity);
    capacity_ = capacity;
    return coordinates_ && dist_;
  }
  // The arrays from an entry on.
  PairsOut from(std::size_t first) {
    return {.xA = coordinates_.data() + first,
            .yA = coordinates_.data() + capacity_ + first,
            .xB = coordinates_.data() + 2 * capacity_ + first,
            .yB = coordinates_.data() + 3 * capacity_ + first,
            .dist = dist_.data() + first};
  }
  // So many entries from one on.
  PairsView view(std::size_t first, int count) const {
    const std::int32_t *x = coordinates_.data() + first;
    return {.count = count,
            .xA = x,
            .yA = x + capacity_,
            .xB = x + 2 * capacity_,
            .yB = x + 3 * capacity_,
            .dist = dist_.data() + first};
  }

private:
  std::size_t capacity_ = 0;
  Buffer<std::int32_t> coordinates_;
  Buffer<float> dist_;
};

inline void copyPairs(const PairsView &pairs, const PairsOut &out) {
  std::copy_n(pairs.xA, pairs.count, out.xA);
  std::copy_n(pairs.yA, pairs.count, out.yA);
  std::copy_n(pairs.xB, pairs.count, out.xB);
  std::copy_n(pairs.yB, pairs.count, out.yB);
  std::copy_n(pairs.dist, pairs.count, out.dist);
}

} // namespace vindrel
