// A vector of pixels at a time for one channel and for the first three of three or four; other ways of weighing, and
// the end of the row, go pixel by pixel. Lanes are 16 bits wide and are emptied before 256 grey values could overflow
// them.
#include "driver/BrightnessKernel.h"

#include "base/Grey.h"

#include <algorithm>
#include <cstddef>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "driver/BrightnessKernel.cpp"
#include <hwy/foreach_target.h>

#include "base/GreyVector-inl.h"

HWY_BEFORE_NAMESPACE();
namespace vindrel::HWY_NAMESPACE {
namespace {
namespace hn = hwy::HWY_NAMESPACE;

constexpr std::ptrdiff_t kVectorsPerFold = 256;

HWY_INLINE std::int64_t sumOfLanes(GreyVector lanes) {
  HWY_ALIGN std::uint16_t values[HWY_MAX_BYTES / sizeof(std::uint16_t)];
  hn::Store(lanes, GreyWords(), values);
  std::int64_t sum = 0;
  for (std::size_t i = 0; i < hn::Lanes(GreyWords()); ++i)
    sum += values[i];
  return sum;
}

// greyAt(x): the grey values of the vector of pixels that begins with x. `done` receives how many pixels were summed.
template <class GreyAt>
HWY_INLINE std::int64_t sumVectors(std::ptrdiff_t width, std::ptrdiff_t &done, GreyAt greyAt) {
  const auto step = static_cast<std::ptrdiff_t>(hn::Lanes(GreyWords()));
  std::int64_t sum = 0;
  std::ptrdiff_t x = 0;
  while (x + step <= width) {
    GreyVector lanes = hn::Zero(GreyWords());
    for (const std::ptrdiff_t end = std::min(width, x + kVectorsPerFold * step); x + step <= end; x += step)
      lanes = hn::Add(lanes, greyAt(x));
    sum += sumOfLanes(lanes);
  }
  done = x;
  return sum;
}

template <class Sample>
std::int64_t sumRow(const Sample *row, int width, int channels, BrightnessSamples at) {
  std::ptrdiff_t x = 0;
  std::int64_t sum = 0;
  if (channels == 1) {
    const hn::Rebind<Sample, GreyWords> tag;
    sum = sumVectors(width, x, [=](std::ptrdiff_t i) HWY_ATTR {
      return greyOfVectors(hn::LoadU(tag, row + i + at[0]), hn::LoadU(tag, row + i + at[1]),
                           hn::LoadU(tag, row + i + at[2]));
    });
  } else if (channels == 3 && at == kThreeConsecutiveSamples) {
    sum = sumVectors(width, x, [=](std::ptrdiff_t i) HWY_ATTR { return greyOfFirstThreeChannels<3>(row + 3 * i); });
  } else if (channels == 4 && at == kThreeConsecutiveSamples) {
    sum = sumVectors(width, x, [=](std::ptrdiff_t i) HWY_ATTR { return greyOfFirstThreeChannels<4>(row + 4 * i); });
  }
  for (; x < width; ++x) {
    const Sample *pixel = row + x * channels;
    sum += greyOf(pixel[at[0]], pixel[at[1]], pixel[at[2]]);
  }
  return sum;
}

std::int64_t sumBytes(const std::uint8_t *row, int width, int channels, BrightnessSamples at) {
  return sumRow(row, width, channels, at);
}
std::int64_t sumWords(const std::uint16_t *row, int width, int channels, BrightnessSamples at) {
  return sumRow(row, width, channels, at);
}

} // namespace
} // namespace vindrel::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace vindrel {

HWY_EXPORT(sumBytes);
HWY_EXPORT(sumWords);

std::int64_t sumBrightnessOfRow(const std::uint8_t *row, int width, int channels, BrightnessSamples at) {
  return HWY_DYNAMIC_DISPATCH(sumBytes)(row, width, channels, at);
}

std::int64_t sumBrightnessOfRow(const std::uint16_t *row, int width, int channels, BrightnessSamples at) {
  return HWY_DYNAMIC_DISPATCH(sumWords)(row, width, channels, at);
}

} // namespace vindrel
#endif
