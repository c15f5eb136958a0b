// From links to positions: the transform of every frame against the reference, by chaining the links along the ranks.
#pragma once

#include "base/Buffer.h"
#include "driver/Links.h"
#include "transform/Transform.h"

#include <cstdint>

namespace vindrel {

// result = A x B for n x n row-major matrices, in single precision; terms are added in order of the inner index.
void multiplyMatrices(int n, const float *a, const float *b, float *result);

// A transform per frame in storage order, 6 or 8 floats each: what the warp reads.
class TransformTable {
public:
  TransformTable(LinkModel model, int frames) : length_(model == LinkModel::Affine ? 6 : 8), frames_(frames) {}
  // All identities; false when the allocation failed.
  bool allocate();
  int length() const { return length_; }
  float *slot(std::uint32_t frame) { return table_.data() + static_cast<std::size_t>(frame) * length(); }
  const float *slot(std::uint32_t frame) const { return table_.data() + static_cast<std::size_t>(frame) * length(); }
  const float *data() const { return table_.data(); }
  void setIdentity(std::uint32_t frame);

private:
  int length_;
  int frames_;
  Buffer<float> table_;
};

// Affine: every slot receives the product of its link with the slot one rank brighter. Perspective: every slot receives
// its link alone, the form in which the output-size search reads them.
void fillTable(const Links &links, LinkModel model, const std::uint32_t *rankOrder, int frames, TransformTable &table);

// Where links 1 to `rank` take a point of the reference frame, in double precision. Perspective tables of links only.
PointD mapThroughLinks(const TransformTable &table, const std::uint32_t *rankOrder, int rank, PointD point);

// Turns every perspective slot from a link into the whole chain from the reference: the transform through four corners
// of the given rectangle of the reference frame and where the links take them. Anchored on the rectangle that is
// warped, so that the narrowing to single precision costs least there.
void rebuildAsChains(const std::uint32_t *rankOrder, int frames, PointD topLeft, PointD bottomRight,
                     TransformTable &table);

} // namespace vindrel
