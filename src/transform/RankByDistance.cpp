#include "transform/RankByDistance.h"

#include "base/Buffer.h"

#include <algorithm>
#include <cstddef>

namespace vindrel {

Status rankByDistance(const PairsView &pairs, int wanted, int *order) {
  constexpr float kNoDistance = -99999999.0f;
  Buffer<int> candidates = Buffer<int>::zeroed(static_cast<std::size_t>(pairs.count));
  if (!candidates) return Status::OutOfMemory;
  int *end = candidates.data();
  for (int i = 0; i < pairs.count; ++i) {
    if (pairs.dist[i] > kNoDistance) *end++ = i;
  }
  const std::ptrdiff_t ranked = std::min<std::ptrdiff_t>(wanted, end - candidates.data());
  const auto closer = [&pairs](int a, int b) {
    const float distA = pairs.dist[a];
    const float distB = pairs.dist[b];
    return distA < distB || (!(distB < distA) && a < b);
  };
  std::partial_sort(candidates.data(), candidates.data() + ranked, end, closer);
  std::copy_n(candidates.data(), ranked, order);
  return Status::Ok;
}

} // namespace vindrel
