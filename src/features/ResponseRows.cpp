#include "features/ResponseRows.h"

#include <algorithm>
#include <initializer_list>

namespace vindrel {

ResponseRing::ResponseRing(IntegralView integral, Size imageSize, int levelWidth)
    : integral_(integral), imageSize_(imageSize), levelWidth_(levelWidth),
      memory_(Buffer<float>::zeroed(9 * static_cast<std::size_t>(levelWidth))) {}

ResponseSpans ResponseRing::slot(int y) {
  float *first = memory_.data() + (y % 3) * 3 * levelWidth_;
  return {first, first + levelWidth_, first + 2 * levelWidth_};
}

void ResponseRing::compute(int y) {
  const ResponseSpans row = slot(y);
  const std::ptrdiff_t runBegin = y * levelWidth_, runEnd = runBegin + levelWidth_;
  // Image row by image row, as far as the run reaches; a level is never wider than the image.
  for (std::ptrdiff_t begin = runBegin; begin < runEnd;) {
    const std::ptrdiff_t imageRow = begin / imageSize_.width, rowStart = imageRow * imageSize_.width;
    const std::ptrdiff_t end = std::min(runEnd, rowStart + imageSize_.width);
    std::ptrdiff_t first = end, last = end; // the part that has responses
    if (imageRow >= kResponseMargin && imageRow < imageSize_.height - kResponseMargin) {
      first = std::clamp(rowStart + kResponseMargin, begin, end);
      last = std::clamp(rowStart + imageSize_.width - kResponseMargin, first, end);
    }
    for (float *map : {row.size9, row.size15, row.size21}) {
      std::fill(map + (begin - runBegin), map + (first - runBegin), 0.0f);
      std::fill(map + (last - runBegin), map + (end - runBegin), 0.0f);
    }
    if (first < last)
      responseRow(integral_, static_cast<int>(imageRow), static_cast<int>(first - rowStart),
                  static_cast<int>(last - rowStart),
                  {row.size9 + (first - runBegin), row.size15 + (first - runBegin), row.size21 + (first - runBegin)});
    begin = end;
  }
}

ResponseNeighbourhood ResponseRing::around(int y) {
  if (next_ < 0) next_ = y - 1;
  for (; next_ <= y + 1; ++next_)
    compute(next_);
  const ResponseSpans above = slot(y - 1), at = slot(y), below = slot(y + 1);
  return {{above.size9, at.size9, below.size9},
          {above.size15, at.size15, below.size15},
          {above.size21, at.size21, below.size21}};
}

} // namespace vindrel
