#include "translate/GreyKernel.h"

#include "base/Grey.h"

#include <algorithm>

namespace vindrel {
namespace {

// The step between pixels is a constant, which lets the compiler use vector loads.
template <int kChannels, class Sample>
void firstThreeOfFixed(const Sample *pixels, int width, std::uint8_t *grey) {
  for (int x = 0; x < width; ++x) {
    const Sample *p = pixels + static_cast<std::int64_t>(x) * kChannels;
    grey[x] = static_cast<std::uint8_t>(greyOf(p[0], p[1], p[2]));
  }
}

} // namespace

template <class Sample>
void greyOfFirstThree(const Sample *pixels, int width, int channels, std::uint8_t *grey) {
  if (channels == 3) return firstThreeOfFixed<3>(pixels, width, grey);
  if (channels == 4) return firstThreeOfFixed<4>(pixels, width, grey);
  const int second = std::min(1, channels - 1);
  const int third = std::min(2, channels - 1);
  for (int x = 0; x < width; ++x) {
    const Sample *p = pixels + static_cast<std::int64_t>(x) * channels;
    grey[x] = static_cast<std::uint8_t>(greyOf(p[0], p[second], p[third]));
  }
}

template void greyOfFirstThree(const std::uint8_t *, int, int, std::uint8_t *);
template void greyOfFirstThree(const std::uint16_t *, int, int, std::uint8_t *);

void GreyCounter::add(const std::uint8_t *grey, int width) {
  int x = 0;
  for (; x + 4 <= width; x += 4) {
    ++tables_[0][grey[x]];
    ++tables_[1][grey[x + 1]];
    ++tables_[2][grey[x + 2]];
    ++tables_[3][grey[x + 3]];
  }
  for (; x < width; ++x)
    ++tables_[0][grey[x]];
}

void GreyCounter::addTo(std::uint32_t *histogram) const {
  for (int bin = 0; bin < 256; ++bin)
    histogram[bin] += tables_[0][bin] + tables_[1][bin] + tables_[2][bin] + tables_[3][bin];
}

} // namespace vindrel
