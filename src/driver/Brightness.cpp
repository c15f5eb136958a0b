#include "driver/Brightness.h"

#include "base/Grey.h"

#include <algorithm>

namespace vindrel {
namespace {

// One row, every weighed sample readable. A row of int range at most: width * 255 < 2^31 for any width below 8.4
// million, so the row's sum is kept in 32 bits, which vectorises, up to that width, and in 64 beyond.
template <class Sample, class Sum>
Sum sumRow(const Sample *row, int width, int channels, BrightnessSamples at) {
  Sum sum = 0;
  if (channels == 3 && at == kThreeConsecutiveSamples) {
    for (int x = 0; x < width; ++x)
      sum += static_cast<Sum>(greyOf(row[3 * x], row[3 * x + 1], row[3 * x + 2]));
    return sum;
  }
  for (std::int64_t x = 0; x < width; ++x) {
    const Sample *pixel = row + x * channels;
    sum += static_cast<Sum>(greyOf(pixel[at[0]], pixel[at[1]], pixel[at[2]]));
  }
  return sum;
}

template <class Sample>
std::int64_t sumFrame(const ImageView &frame, BrightnessSamples at, std::int64_t readable) {
  constexpr int kNarrowSumWidth = 1 << 23;
  const int reach = *std::max_element(at.begin(), at.end());
  std::int64_t sum = 0;
  for (int y = 0; y < frame.size.height; ++y) {
    const Sample *row = frame.row<Sample>(y);
    const std::int64_t rowStart = y * frame.rowStride;
    const std::int64_t lastRead = rowStart + static_cast<std::int64_t>(frame.size.width - 1) * frame.channels + reach;
    if (lastRead < readable) {
      sum += frame.size.width < kNarrowSumWidth
                 ? sumRow<Sample, std::uint32_t>(row, frame.size.width, frame.channels, at)
                 : sumRow<Sample, std::int64_t>(row, frame.size.width, frame.channels, at);
      continue;
    }
    const Sample *first = frame.row<Sample>(0);
    const auto read = [&](std::int64_t index) { return first[std::min(index, readable - 1)]; };
    for (std::int64_t x = 0; x < frame.size.width; ++x) {
      const std::int64_t pixel = rowStart + x * frame.channels;
      sum += greyOf(read(pixel + at[0]), read(pixel + at[1]), read(pixel + at[2]));
    }
  }
  return sum;
}

} // namespace

std::int64_t sumBrightness(const ImageView &frame, BrightnessSamples samples, std::int64_t readable) {
  if (frame.size.width < 1 || readable < 1) return 0;
  return frame.depth == SampleDepth::U8 ? sumFrame<std::uint8_t>(frame, samples, readable)
                                        : sumFrame<std::uint16_t>(frame, samples, readable);
}

} // namespace vindrel
