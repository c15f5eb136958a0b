#include "transform/ConsensusPairs.h"

#include <algorithm>
#include <cmath>

namespace vindrel {
namespace {

// An order in the strict sense for any distances, which sorting relies on: what is not a number is the farthest.
bool comesBefore(const float *dist, std::int32_t a, std::int32_t b) {
  const bool aKnown = !std::isnan(dist[a]), bKnown = !std::isnan(dist[b]);
  if (aKnown != bKnown) return aKnown;
  if (aKnown && dist[a] != dist[b]) return dist[a] < dist[b];
  return a < b;
}

} // namespace

bool ConsensusPairs::sorted(const PairsView &pairs, ConsensusPairs &out) {
  const auto count = static_cast<std::size_t>(pairs.count);
  out.count = pairs.count;
  out.xA = Buffer<float>::zeroed(count);
  out.yA = Buffer<float>::zeroed(count);
  out.xB = Buffer<float>::zeroed(count);
  out.yB = Buffer<float>::zeroed(count);
  out.order = Buffer<std::int32_t>::zeroed(count);
  if (!out.xA || !out.yA || !out.xB || !out.yB || !out.order) return false;
  for (std::size_t i = 0; i < count; ++i)
    out.order[i] = static_cast<std::int32_t>(i);
  if (pairs.dist != nullptr) {
    std::sort(out.order.begin(), out.order.end(),
              [dist = pairs.dist](std::int32_t a, std::int32_t b) { return comesBefore(dist, a, b); });
  }
  for (std::size_t i = 0; i < count; ++i) {
    const std::int32_t pair = out.order[i];
    out.xA[i] = static_cast<float>(pairs.xA[pair]);
    out.yA[i] = static_cast<float>(pairs.yA[pair]);
    out.xB[i] = static_cast<float>(pairs.xB[pair]);
    out.yB[i] = static_cast<float>(pairs.yB[pair]);
  }
  return true;
}

} // namespace vindrel
