// What is left of a small picture when its slow changes are taken away: the relief of its details, whatever the
// exposure made of light and shadow.
#pragma once

#include "base/RowTeam.h"
#include "vindrel/Thumbnail.h"
#include "vindrel/transform.hpp"

#include <cstdint>
#include <vector>

namespace vindrel {

struct Relief {
  Size size;
  int reduction = 1;         // as of the thumbnail
  std::vector<float> values; // grey less the mean of its surroundings, packed
};

// team: null stands for the calling thread.
Relief makeRelief(const Thumbnail &thumbnail, RowTeam *team = nullptr);

// A relief in whole numbers, so that sums are exact and fast, with zeros around it.
class PaddedRelief {
public:
  // Sixteenths of a grey level, cut off beyond this.
  static constexpr int kLimit = 4000;

  // The relief as the frame that relief's frame is seen from by `fromFrame` shows it, 0 where it shows nothing. margin:
  // zeros on each side; behind the right one, so many more.
  PaddedRelief(const Relief &relief, const Transform &fromFrame, int margin, int behind, RowTeam *team);

  Size size() const { return size_; }
  std::ptrdiff_t stride() const { return stride_; }
  const std::int16_t *at(int x, int y) const { return values_.data() + (y + margin_) * stride_ + x + margin_; }

private:
  void registerRow(const Relief &relief, const Transform &fromFrame, int y);

  Size size_;
  int margin_ = 0;
  std::ptrdiff_t stride_ = 0;
  std::vector<std::int16_t> values_;
};

} // namespace vindrel
