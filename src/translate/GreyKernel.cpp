// A vector of pixels at a time where a pixel has three or four samples, as those of photographs have; the end of a row
// and other sample counts go pixel by pixel.
#include "translate/GreyKernel.h"

#include "base/Grey.h"

#include <algorithm>
#include <cstring>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "translate/GreyKernel.cpp"
#include <hwy/foreach_target.h>

#include "base/GreyVector-inl.h"

HWY_BEFORE_NAMESPACE();
namespace vindrel::HWY_NAMESPACE {
namespace {
namespace hn = hwy::HWY_NAMESPACE;

// kChannels 0: as many as given.
template <int kChannels, class Sample>
void convert(const Sample *HWY_RESTRICT pixels, int width, int given, std::uint8_t *HWY_RESTRICT grey) {
  const std::ptrdiff_t channels = kChannels != 0 ? kChannels : given;
  const std::ptrdiff_t second = std::min<std::ptrdiff_t>(1, channels - 1);
  const std::ptrdiff_t third = std::min<std::ptrdiff_t>(2, channels - 1);
  std::ptrdiff_t x = 0;
  if constexpr (kChannels != 0) {
    const hn::Rebind<std::uint8_t, GreyWords> bytes;
    const hn::RebindToSigned<GreyWords> narrowable; // 0 to 255 either way
    const auto step = static_cast<std::ptrdiff_t>(hn::Lanes(GreyWords()));
    for (; x + step <= width; x += step) {
      const GreyVector words = greyOfFirstThreeChannels<kChannels>(pixels + x * kChannels);
      hn::StoreU(hn::DemoteTo(bytes, hn::BitCast(narrowable, words)), bytes, grey + x);
    }
  }
  for (; x < width; ++x) {
    const Sample *p = pixels + x * channels;
    grey[x] = static_cast<std::uint8_t>(greyOf(p[0], p[second], p[third]));
  }
}

template <class Sample>
void convertChannels(const Sample *pixels, int width, int channels, std::uint8_t *grey) {
  if (channels == 3) return convert<3>(pixels, width, channels, grey);
  if (channels == 4) return convert<4>(pixels, width, channels, grey);
  convert<0>(pixels, width, channels, grey);
}

void greyOfBytes(const std::uint8_t *pixels, int width, int channels, std::uint8_t *grey) {
  convertChannels(pixels, width, channels, grey);
}
void greyOfWords(const std::uint16_t *pixels, int width, int channels, std::uint8_t *grey) {
  convertChannels(pixels, width, channels, grey);
}

} // namespace
} // namespace vindrel::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace vindrel {

HWY_EXPORT(greyOfBytes);
HWY_EXPORT(greyOfWords);

void greyOfFirstThree(const std::uint8_t *pixels, int width, int channels, std::uint8_t *grey) {
  HWY_DYNAMIC_DISPATCH(greyOfBytes)(pixels, width, channels, grey);
}

void greyOfFirstThree(const std::uint16_t *pixels, int width, int channels, std::uint8_t *grey) {
  HWY_DYNAMIC_DISPATCH(greyOfWords)(pixels, width, channels, grey);
}

void GreyCounter::add(const std::uint8_t *grey, int width) {
  int x = 0;
  for (; x + kTables <= width; x += kTables) {
    std::uint64_t eight = 0; // one load for all of them
    std::memcpy(&eight, grey + x, sizeof eight);
    for (int i = 0; i < kTables; ++i)
      ++tables_[i][(eight >> (8 * i)) & 0xFF];
  }
  for (; x < width; ++x)
    ++tables_[0][grey[x]];
}

void GreyCounter::addTo(std::uint32_t *histogram) const {
  for (const auto &table : tables_)
    for (int bin = 0; bin < 256; ++bin)
      histogram[bin] += table[bin];
}

} // namespace vindrel
#endif
