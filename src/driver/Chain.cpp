#include "driver/Chain.h"

#include "transform/FourPairs.h"
#include "transform/MapPoint.h"

#include <algorithm>

namespace vindrel {

void multiplyMatrices(int n, const float *a, const float *b, float *result) {
  for (int row = 0; row < n; ++row) {
    for (int column = 0; column < n; ++column) {
      float sum = 0;
      for (int k = 0; k < n; ++k)
        sum += a[row * n + k] * b[k * n + column];
      result[row * n + column] = sum;
    }
  }
}

bool TransformTable::allocate() {
  table_ = Buffer<float>::zeroed(static_cast<std::size_t>(frames_) * static_cast<std::size_t>(length_));
  if (!table_) return false;
  for (int frame = 0; frame < frames_; ++frame)
    setIdentity(static_cast<std::uint32_t>(frame));
  return true;
}

void TransformTable::setIdentity(std::uint32_t frame) {
  std::copy_n(kIdentity8.begin(), length_, slot(frame));
}

namespace {

// Completed to 3x3 with the row (0, 0, 1).
std::array<float, 9> affineMatrix(const float *t) {
  return {t[0], t[1], t[2], t[3], t[4], t[5], 0, 0, 1};
}

} // namespace

void fillTable(const Links &links, LinkModel model, const std::uint32_t *rankOrder, int frames, TransformTable &table) {
  for (int rank = 1; rank < frames; ++rank) {
    const float *link = links.found(rank) ? links.transform(rank) : kIdentity8.data();
    float *slot = table.slot(rankOrder[rank]);
    if (model == LinkModel::Perspective || rank == 1) {
      std::copy_n(link, table.length(), slot);
      continue;
    }
    const std::array<float, 9> a = affineMatrix(link);
    const std::array<float, 9> b = affineMatrix(table.slot(rankOrder[rank - 1]));
    std::array<float, 9> product;
    multiplyMatrices(3, a.data(), b.data(), product.data());
    std::copy_n(product.begin(), table.length(), slot);
  }
}

PointD mapThroughLinks(const TransformTable &table, const std::uint32_t *rankOrder, int rank, PointD point) {
  for (int link = 1; link <= rank; ++link)
    point = mapPerspectiveD(table.slot(rankOrder[link]), point.x, point.y);
  return point;
}

void rebuildAsChains(const std::uint32_t *rankOrder, int frames, PointD topLeft, PointD bottomRight,
                     TransformTable &table) {
  const PointD source[4] = {topLeft, {bottomRight.x, topLeft.y}, {topLeft.x, bottomRight.y}, bottomRight};
  PointD target[4];
  std::copy_n(source, 4, target);
  for (int rank = 1; rank < frames; ++rank) {
    float *slot = table.slot(rankOrder[rank]);
    // Once this slot is rebuilt it is no link any more, so the corners are carried along rank by rank.
    for (PointD &corner : target)
      corner = mapPerspectiveD(slot, corner.x, corner.y);
    const Trans8D chain = perspectiveFromFourPairsD(source, target);
    std::transform(chain.begin(), chain.end(), slot, [](double value) { return static_cast<float>(value); });
  }
}

} // namespace vindrel
