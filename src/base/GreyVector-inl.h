// The grey values of a vector of pixels, for kernels that are compiled for each instruction set (Highway's -inl form:
// included once per target). Samples are weighed in 16 bits, which the largest sum, 256 x 255, just fits.
#include "base/Grey.h"

#include <hwy/highway.h>

#if defined(VINDREL_BASE_GREYVECTOR_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef VINDREL_BASE_GREYVECTOR_INL_H
#undef VINDREL_BASE_GREYVECTOR_INL_H
#else
#define VINDREL_BASE_GREYVECTOR_INL_H
#endif

HWY_BEFORE_NAMESPACE();
namespace vindrel::HWY_NAMESPACE {

using GreyWords = hwy::HWY_NAMESPACE::ScalableTag<std::uint16_t>;
using GreyVector = hwy::HWY_NAMESPACE::Vec<GreyWords>;

// Samples of one channel, as many as a vector holds words.
template <class Sample>
using GreySamples = hwy::HWY_NAMESPACE::Vec<hwy::HWY_NAMESPACE::Rebind<Sample, GreyWords>>;

HWY_INLINE GreyVector highBytes(GreySamples<std::uint8_t> samples) {
  return hwy::HWY_NAMESPACE::PromoteTo(GreyWords(), samples);
}
HWY_INLINE GreyVector highBytes(GreySamples<std::uint16_t> samples) {
  return hwy::HWY_NAMESPACE::ShiftRight<8>(samples);
}

// greyOf() of every lane, 0 to 255.
template <class Samples>
HWY_INLINE GreyVector greyOfVectors(Samples red, Samples green, Samples blue) {
  namespace hn = hwy::HWY_NAMESPACE;
  const GreyWords words;
  const GreyVector sum =
      hn::Add(hn::Add(hn::Mul(highBytes(red), hn::Set(words, static_cast<std::uint16_t>(kRedWeight))),
                      hn::Mul(highBytes(green), hn::Set(words, static_cast<std::uint16_t>(kGreenWeight)))),
              hn::Mul(highBytes(blue), hn::Set(words, static_cast<std::uint16_t>(kBlueWeight))));
  return hn::ShiftRight<8>(sum);
}

// The grey values of as many pixels of three or four interleaved channels as a vector holds words, from the first
// three.
template <int kChannels, class Sample>
HWY_INLINE GreyVector greyOfFirstThreeChannels(const Sample *pixels) {
  namespace hn = hwy::HWY_NAMESPACE;
  static_assert(kChannels == 3 || kChannels == 4);
  const hn::Rebind<Sample, GreyWords> tag;
  GreySamples<Sample> red, green, blue, other;
  if constexpr (kChannels == 3)
    hn::LoadInterleaved3(tag, pixels, red, green, blue);
  else
    hn::LoadInterleaved4(tag, pixels, red, green, blue, other);
  return greyOfVectors(red, green, blue);
}

} // namespace vindrel::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
