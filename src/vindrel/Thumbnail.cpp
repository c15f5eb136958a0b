#include "vindrel/Thumbnail.h"

#include "translate/GreyKernel.h"

#include <algorithm>
#include <numeric>

namespace vindrel {
namespace {

int reductionFor(Size size, int longestSide) {
  const int side = std::max(size.width, size.height);
  return std::max(1, (side + longestSide - 1) / longestSide);
}

Thumbnail reduced(Size size, int reduction) {
  Thumbnail result;
  result.reduction = reduction;
  result.size = {std::max(1, size.width / reduction), std::max(1, size.height / reduction)};
  result.grey.resize(static_cast<std::size_t>(packedSamples(result.size, 1)));
  return result;
}

// What a thread needs to reduce the rows of a frame: a row of grey values, and the sum of each column of the rows that
// become one. 16 bits hold 256 of the largest.
struct GreyRows {
  std::vector<std::uint8_t> grey;
  std::vector<std::uint16_t> sums;
};

// All sums are of whole numbers, and below 2^24: exact, in whatever order.
template <class Sample>
void reduceRow(const ImageView &frame, int y, int columns, int rows, GreyRows &own, Thumbnail &result) {
  const std::size_t width = own.grey.size();
  std::fill(own.sums.begin(), own.sums.end(), std::uint16_t{0});
  for (int row = 0; row < rows; ++row) {
    greyOfFirstThree(frame.row<Sample>(y * result.reduction + row), static_cast<int>(width), frame.channels,
                     own.grey.data());
    for (std::size_t x = 0; x < width; ++x)
      own.sums[x] = static_cast<std::uint16_t>(own.sums[x] + own.grey[x]);
  }
  const std::uint16_t *sums = own.sums.data();
  float *out = result.grey.data() + static_cast<std::ptrdiff_t>(y) * result.size.width;
  for (int x = 0; x < result.size.width; ++x, sums += columns)
    out[x] =
        static_cast<float>(std::accumulate(sums, sums + columns, std::int32_t{0})) / static_cast<float>(columns * rows);
}

} // namespace

Thumbnail makeThumbnail(const ImageView &frame, int longestSide, RowTeam *team) {
  Thumbnail result = reduced(frame.size, reductionFor(frame.size, longestSide));
  const int columns = std::min(result.reduction, frame.size.width),
            rows = std::min(result.reduction, frame.size.height);
  const auto width = static_cast<std::size_t>(columns) * static_cast<std::size_t>(result.size.width);
  std::vector<GreyRows> members(team != nullptr ? static_cast<std::size_t>(team->size()) : 1,
                                {std::vector<std::uint8_t>(width), std::vector<std::uint16_t>(width)});
  constexpr std::int64_t kPixelsAtATime = 1 << 18; // a tenth of a millisecond
  const int atATime = rowsWorthSharing(kPixelsAtATime / rows, frame.size.width);
  shareRows(team, result.size.height, atATime, [&](int member, RowRange some) {
    GreyRows &own = members[static_cast<std::size_t>(member)];
    for (int y = some.begin; y < some.end; ++y)
      if (frame.depth == SampleDepth::U8)
        reduceRow<std::uint8_t>(frame, y, columns, rows, own, result);
      else
        reduceRow<std::uint16_t>(frame, y, columns, rows, own, result);
  });
  return result;
}

Thumbnail makeThumbnail(const Thumbnail &from, int longestSide) {
  const int reduction = reductionFor(from.size, longestSide);
  Thumbnail result = reduced(from.size, reduction);
  const int columns = std::min(reduction, from.size.width), rows = std::min(reduction, from.size.height);
  for (int y = 0; y < result.size.height; ++y)
    for (int x = 0; x < result.size.width; ++x) {
      float sum = 0;
      for (int row = 0; row < rows; ++row) {
        const float *grey = from.grey.data() + std::ptrdiff_t{y * reduction + row} * from.size.width + x * columns;
        for (int column = 0; column < columns; ++column)
          sum += grey[column];
      }
      result.grey[static_cast<std::size_t>(y * result.size.width + x)] = sum / static_cast<float>(columns * rows);
    }
  result.reduction *= from.reduction;
  return result;
}

} // namespace vindrel
