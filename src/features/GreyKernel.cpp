// One vector of pixels at a time for the usual channel counts: samples are separated by channel as they are loaded and
// weighed in 16 bits, which the largest sum, 256 x 255, just fits. The end of a row and other channel counts go pixel
// by pixel.
#include "features/GreyKernel.h"

#include "base/Grey.h"

#include <cstddef>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "features/GreyKernel.cpp"
#include <hwy/foreach_target.h>

#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace vindrel::HWY_NAMESPACE {
namespace {
namespace hn = hwy::HWY_NAMESPACE;

using Words = hn::ScalableTag<std::uint16_t>;
using Bytes = hn::Rebind<std::uint8_t, Words>; // as many bytes as there are words in a vector
using WordVector = hn::Vec<Words>;

HWY_INLINE WordVector highBytes(hn::Vec<Bytes> samples) {
  return hn::PromoteTo(Words(), samples);
}
HWY_INLINE WordVector highBytes(WordVector samples) {
  return hn::ShiftRight<8>(samples);
}

template <class Samples>
HWY_INLINE hn::Vec<Bytes> greyOfSamples(Samples red, Samples green, Samples blue) {
  const Words words;
  const WordVector sum =
      hn::Add(hn::Add(hn::Mul(highBytes(red), hn::Set(words, static_cast<std::uint16_t>(kRedWeight))),
                      hn::Mul(highBytes(green), hn::Set(words, static_cast<std::uint16_t>(kGreenWeight)))),
              hn::Mul(highBytes(blue), hn::Set(words, static_cast<std::uint16_t>(kBlueWeight))));
  return hn::DemoteTo(Bytes(), hn::BitCast(hn::RebindToSigned<Words>(), hn::ShiftRight<8>(sum)));
}

// Samples of the first, the middle and the last channel of as many pixels as a vector holds words.
template <int kChannels, class Sample>
HWY_INLINE hn::Vec<Bytes> greyVector(const Sample *pixels) {
  const hn::Rebind<Sample, Words> tag;
  hn::Vec<decltype(tag)> a, b, c, d;
  if constexpr (kChannels == 1) {
    a = hn::LoadU(tag, pixels);
    return greyOfSamples(a, a, a);
  } else if constexpr (kChannels == 3) {
    hn::LoadInterleaved3(tag, pixels, a, b, c);
    return greyOfSamples(a, b, c);
  } else {
    hn::LoadInterleaved4(tag, pixels, a, b, c, d);
    return greyOfSamples(a, b, d);
  }
}

// kChannels 0: as many as channels says, pixel by pixel.
template <int kChannels, class Sample>
void convert(const Sample *HWY_RESTRICT samples, int width, int givenChannels, std::uint8_t *HWY_RESTRICT grey) {
  const std::ptrdiff_t channels = kChannels != 0 ? kChannels : givenChannels;
  const std::ptrdiff_t middle = (channels - 1) / 2, last = channels - 1;
  std::ptrdiff_t x = 0;
  if constexpr (kChannels != 0) {
    const auto step = static_cast<std::ptrdiff_t>(hn::Lanes(Words()));
    for (; x + step <= width; x += step)
      hn::StoreU(greyVector<kChannels>(samples + x * kChannels), Bytes(), grey + x);
  }
  for (; x < width; ++x) {
    const Sample *pixel = samples + x * channels;
    grey[x] = static_cast<std::uint8_t>(greyOf(pixel[0], pixel[middle], pixel[last]));
  }
}

template <class Sample>
void convertChannels(const Sample *samples, int width, int channels, std::uint8_t *grey) {
  switch (channels) {
  case 1:
    return convert<1>(samples, width, channels, grey);
  case 3:
    return convert<3>(samples, width, channels, grey);
  case 4:
    return convert<4>(samples, width, channels, grey);
  default:
    return convert<0>(samples, width, channels, grey);
  }
}

void greyOfBytes(const std::uint8_t *samples, int width, int channels, std::uint8_t *grey) {
  convertChannels(samples, width, channels, grey);
}
void greyOfWords(const std::uint16_t *samples, int width, int channels, std::uint8_t *grey) {
  convertChannels(samples, width, channels, grey);
}

} // namespace
} // namespace vindrel::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace vindrel {

HWY_EXPORT(greyOfBytes);
HWY_EXPORT(greyOfWords);

void greyRow(const std::uint8_t *samples, int width, int channels, std::uint8_t *grey) {
  HWY_DYNAMIC_DISPATCH(greyOfBytes)(samples, width, channels, grey);
}

void greyRow(const std::uint16_t *samples, int width, int channels, std::uint8_t *grey) {
  HWY_DYNAMIC_DISPATCH(greyOfWords)(samples, width, channels, grey);
}

} // namespace vindrel
#endif
