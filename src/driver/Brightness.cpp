#include "driver/Brightness.h"

#include "base/Grey.h"
#include "base/StaticShare.h"
#include "driver/BrightnessKernel.h"

#include <algorithm>
#include <omp.h>

namespace vindrel {
namespace {

template <class Sample>
std::int64_t sumRows(const ImageView &frame, BrightnessSamples at, std::int64_t readable, StaticShare rows) {
  const int reach = *std::max_element(at.begin(), at.end());
  std::int64_t sum = 0;
  for (int y = rows.begin; y < rows.end; ++y) {
    const std::int64_t rowStart = y * frame.rowStride;
    const std::int64_t lastRead = rowStart + static_cast<std::int64_t>(frame.size.width - 1) * frame.channels + reach;
    if (lastRead < readable) {
      sum += sumBrightnessOfRow(frame.row<Sample>(y), frame.size.width, frame.channels, at);
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

std::int64_t sumBrightness(const ImageView &frame, BrightnessSamples samples, std::int64_t readable, int threads) {
  if (frame.size.width < 1 || frame.size.height < 1 || readable < 1) return 0;
  std::int64_t sum = 0;
#pragma omp parallel num_threads(usefulThreads(frame.size.height, threads)) reduction(+ : sum)
  {
    const StaticShare rows = staticShare(frame.size.height, omp_get_thread_num(), omp_get_num_threads());
    sum += frame.depth == SampleDepth::U8 ? sumRows<std::uint8_t>(frame, samples, readable, rows)
                                          : sumRows<std::uint16_t>(frame, samples, readable, rows);
  }
  return sum;
}

} // namespace vindrel
