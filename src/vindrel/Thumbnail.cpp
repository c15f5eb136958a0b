#include "vindrel/Thumbnail.h"

#include "base/Grey.h"
#include "driver/Brightness.h"

#include <algorithm>

namespace vindrel {
namespace {

int reductionFor(Size size, int longestSide) {
  const int side = std::max(size.width, size.height);
  return std::max(1, (side + longestSide - 1) / longestSide);
}

// addRow(y, sums) adds each pixel of row y to the sum of its column of the thumbnail.
template <class AddRow>
Thumbnail reduce(Size size, int reduction, AddRow addRow) {
  Thumbnail result;
  result.reduction = reduction;
  result.size = {std::max(1, size.width / reduction), std::max(1, size.height / reduction)};
  const auto width = static_cast<std::size_t>(result.size.width);
  std::vector<float> sums(width);
  const int columns = std::min(reduction, size.width), rows = std::min(reduction, size.height);
  for (int y = 0; y < result.size.height; ++y) {
    std::fill(sums.begin(), sums.end(), 0.0f);
    for (int row = 0; row < rows; ++row)
      addRow(y * reduction + row, columns, sums);
    for (const float sum : sums)
      result.grey.push_back(sum / static_cast<float>(columns * rows));
  }
  return result;
}

template <class Sample>
Thumbnail reduceFrame(const ImageView &frame, int reduction) {
  const BrightnessSamples samples = ownSamples(frame.channels);
  return reduce(frame.size, reduction, [&](int y, int columns, std::vector<float> &sums) {
    const Sample *pixel = frame.row<Sample>(y);
    for (float &sum : sums)
      for (int x = 0; x < columns; ++x, pixel += frame.channels)
        sum += static_cast<float>(greyOf(pixel[samples[0]], pixel[samples[1]], pixel[samples[2]]));
  });
}

} // namespace

Thumbnail makeThumbnail(const ImageView &frame, int longestSide) {
  const int reduction = reductionFor(frame.size, longestSide);
  return frame.depth == SampleDepth::U8 ? reduceFrame<std::uint8_t>(frame, reduction)
                                        : reduceFrame<std::uint16_t>(frame, reduction);
}

Thumbnail makeThumbnail(const Thumbnail &from, int longestSide) {
  const int reduction = reductionFor(from.size, longestSide);
  Thumbnail result = reduce(from.size, reduction, [&](int y, int columns, std::vector<float> &sums) {
    const float *grey = from.grey.data() + static_cast<std::ptrdiff_t>(y) * from.size.width;
    for (float &sum : sums)
      for (int x = 0; x < columns; ++x)
        sum += *grey++;
  });
  result.reduction *= from.reduction;
  return result;
}

} // namespace vindrel
