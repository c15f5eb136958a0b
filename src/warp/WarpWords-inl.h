// The third step of the warp for 16-bit frames of one to four channels, by vectors of four doubles. Included once for
// each instruction set that has them.
//
// A 16-bit sample is rounded down, so that single precision, which is off by up to a 256th near white, would leave too
// many samples in doubt. So this is the definition as it stands, four samples at a time: of one pixel, or of four
// pixels of a single channel.
#if defined(VINDREL_WARP_WORDS_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef VINDREL_WARP_WORDS_INL_H_
#undef VINDREL_WARP_WORDS_INL_H_
#else
#define VINDREL_WARP_WORDS_INL_H_
#endif

#include "warp/WarpMapping-inl.h"

#include <cstring>

HWY_BEFORE_NAMESPACE();
namespace vindrel::HWY_NAMESPACE {
namespace {

constexpr bool kWordVectors = HWY_TARGET <= HWY_AVX2;
#if HWY_TARGET <= HWY_AVX2

using FourDoubles = hn::Full256<double>;
using FourFloats = hn::Full128<float>;
using FourInts = hn::Full128<std::int32_t>;

struct FourWeights {
  hn::Vec<FourDoubles> left, right, upper, lower;
  hn::Vec<FourFloats> lowerRight;
};

HWY_INLINE FourWeights weightsOf(const WarpBlock &block, int i) {
  const FourDoubles d;
  const auto x = hn::Load(FourFloats(), block.remainderX + i), y = hn::Load(FourFloats(), block.weightY + i);
  const auto right = hn::PromoteTo(d, x), lower = hn::PromoteTo(d, y);
  const auto one = hn::Set(d, 1.0);
  return {hn::Sub(one, right), right, hn::Sub(one, lower), lower, hn::Mul(x, y)};
}

// Four samples in the low halves of the lanes. Values are from 0 to less than 65536: no weight is negative, and what
// the roundings add to 65535 is less than a 64th.
HWY_INLINE hn::Vec<FourInts> interpolateFour(hn::Vec<FourInts> upperLeft, hn::Vec<FourInts> upperRight,
                                             hn::Vec<FourInts> lowerLeft, hn::Vec<FourInts> lowerRight,
                                             const FourWeights &w) {
  const FourDoubles d;
  const FourFloats f;
  const auto pair =
      hn::Add(hn::Mul(hn::PromoteTo(d, upperLeft), w.left), hn::Mul(hn::PromoteTo(d, upperRight), w.right));
  const auto third = hn::Mul(hn::Mul(hn::PromoteTo(d, lowerLeft), w.left), w.lower);
  const auto fourth = hn::PromoteTo(d, hn::Mul(hn::ConvertTo(f, lowerRight), w.lowerRight));
  const auto value = hn::DemoteTo(f, hn::Add(hn::Add(hn::Mul(pair, w.upper), third), fourth));
  return hn::BitCast(FourInts(), hn::Add(hn::Floor(value), hn::Set(f, 0x1p23f)));
}

HWY_INLINE hn::Vec<hn::Full64<std::uint16_t>> lowHalves(hn::Vec<FourInts> v) {
  alignas(16) static constexpr std::uint8_t kEven[16] = {0, 1, 4, 5, 8, 9, 12, 13, 0, 1, 4, 5, 8, 9, 12, 13};
  const hn::Full128<std::uint8_t> bytes;
  return hn::LowerHalf(
      hn::BitCast(hn::Full128<std::uint16_t>(), hn::TableLookupBytes(hn::BitCast(bytes, v), hn::Load(bytes, kEven))));
}

HWY_INLINE hn::Vec<FourInts> loadFour(const std::uint16_t *samples) {
  return hn::PromoteTo(FourInts(), hn::LoadU(hn::Full64<std::uint16_t>(), samples));
}

// Samples 4 * kVector to 4 * kVector + 3 of four pixels whose neighbours follow each other, from the first one's on.
template <int kVector, int kChannels>
HWY_INLINE void sampleFourOfRun(const std::uint16_t *upper, const std::uint16_t *lower, const FourWeights &w,
                                std::uint16_t *out) {
  constexpr auto pixel = [](int lane) { return (4 * kVector + lane) / kChannels; };
  alignas(32) static constexpr std::int64_t kWide[4] = {pixel(0), pixel(1), pixel(2), pixel(3)};
  alignas(16) static constexpr std::int32_t kNarrow[4] = {pixel(0), pixel(1), pixel(2), pixel(3)};
  const auto wide = hn::SetTableIndices(FourDoubles(), kWide);
  const FourWeights here = {hn::TableLookupLanes(w.left, wide), hn::TableLookupLanes(w.right, wide),
                            hn::TableLookupLanes(w.upper, wide), hn::TableLookupLanes(w.lower, wide),
                            hn::TableLookupLanes(w.lowerRight, hn::SetTableIndices(FourFloats(), kNarrow))};
  const std::uint16_t *up = upper + 4 * kVector, *low = lower + 4 * kVector;
  const auto v =
      interpolateFour(loadFour(up), loadFour(up + kChannels), loadFour(low), loadFour(low + kChannels), here);
  hn::StoreU(lowHalves(v), hn::Full64<std::uint16_t>(), out + 4 * kVector);
}

template <int kChannels>
HWY_INLINE void sampleOnePixel(const std::uint16_t *upper, const std::uint16_t *lower, const WarpBlock &block, int i,
                               std::uint16_t *out) {
  const FourDoubles d;
  const float x = block.remainderX[i], y = block.weightY[i];
  const double right = static_cast<double>(x), low = static_cast<double>(y);
  const FourWeights w = {hn::Set(d, 1.0 - right), hn::Set(d, right), hn::Set(d, 1.0 - low), hn::Set(d, low),
                         hn::Set(FourFloats(), x * y)};
  const auto v =
      interpolateFour(loadFour(upper), loadFour(upper + kChannels), loadFour(lower), loadFour(lower + kChannels), w);
  hn::StoreU(lowHalves(v), hn::Full64<std::uint16_t>(), out);
}

template <int kChannels>
void sampleWords(const FrameRows<std::uint16_t> &frame, int columns, WarpBlock &block) {
  auto *out = reinterpret_cast<std::uint16_t *>(block.samples);
  for (int i = 0; i < columns; i += 4, out += 4 * kChannels) {
    const std::int32_t *offset = block.offset + i;
    if (i % 8 == 0) frame.prefetch(offset[0], i * kChannels);
    const std::uint16_t *upper = frame.upper + offset[0], *lower = frame.lower + offset[0];
    if (HWY_LIKELY(offset[1] - offset[0] == kChannels && offset[2] - offset[1] == kChannels &&
                   offset[3] - offset[2] == kChannels)) {
      const FourWeights w = weightsOf(block, i);
      sampleFourOfRun<0, kChannels>(upper, lower, w, out);
      sampleFourOfRun<1, kChannels>(upper, lower, w, out);
      if constexpr (kChannels > 2) sampleFourOfRun<2, kChannels>(upper, lower, w, out);
      if constexpr (kChannels > 3) sampleFourOfRun<3, kChannels>(upper, lower, w, out);
    } else {
      for (int j = 0; j < 4; ++j)
        sampleOnePixel<kChannels>(frame.upper + offset[j], frame.lower + offset[j], block, i + j, out + j * kChannels);
    }
  }
}

// Pairs of neighbours of four pixels, as the halves of lanes.
HWY_INLINE hn::Vec<FourInts> pairsApart(const std::uint16_t *row, const std::int32_t *offset) {
  alignas(16) std::int32_t pairs[4];
  for (int j = 0; j < 4; ++j)
    std::memcpy(pairs + j, row + offset[j], sizeof(pairs[j]));
  return hn::Load(FourInts(), pairs);
}

template <>
void sampleWords<1>(const FrameRows<std::uint16_t> &frame, int columns, WarpBlock &block) {
  auto *out = reinterpret_cast<std::uint16_t *>(block.samples);
  const FourInts di;
  const hn::Full128<std::uint32_t> du;
  const hn::Full128<std::uint8_t> bytes;
  alignas(16) static constexpr std::uint8_t kSpread[16] = {0, 0, 0, 0, 4, 4, 4, 4, 8, 8, 8, 8, 12, 12, 12, 12};
  const auto lowHalf = hn::Set(di, 0xFFFF);
  for (int i = 0; i < columns; i += 4, out += 4) {
    const std::int32_t *offset = block.offset + i;
    if (i % 8 == 0) frame.prefetch(offset[0], i);
    const auto offsets = hn::Load(di, offset);
    const auto past = hn::BitCast(du, hn::Sub(offsets, hn::Broadcast<0>(offsets)));
    hn::Vec<FourInts> upper, lower;
    if (HWY_LIKELY(hn::AllTrue(du, hn::Eq(hn::Min(past, hn::Set(du, 6u)), past)))) {
      const auto indices =
          hn::Add(hn::TableLookupBytes(hn::BitCast(bytes, hn::Add(past, past)), hn::Load(bytes, kSpread)),
                  hn::BitCast(bytes, hn::Set(du, 0x03020100u)));
      const auto pick = [&](const std::uint16_t *row) HWY_ATTR {
        const auto run = hn::LoadU(hn::Full128<std::uint16_t>(), row + offset[0]);
        return hn::BitCast(di, hn::TableLookupBytes(hn::BitCast(bytes, run), indices));
      };
      upper = pick(frame.upper);
      lower = pick(frame.lower);
    } else {
      upper = pairsApart(frame.upper, offset);
      lower = pairsApart(frame.lower, offset);
    }
    const auto right = [&](hn::Vec<FourInts> pairs)
                           HWY_ATTR { return hn::BitCast(di, hn::ShiftRight<16>(hn::BitCast(du, pairs))); };
    const auto v = interpolateFour(hn::And(upper, lowHalf), right(upper), hn::And(lower, lowHalf), right(lower),
                                   weightsOf(block, i));
    hn::StoreU(lowHalves(v), hn::Full64<std::uint16_t>(), out);
  }
}
#endif

} // namespace
} // namespace vindrel::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
