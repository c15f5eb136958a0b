// The third step of the warp for 8-bit frames of one to four channels, by vectors of kLanes pixels. Included once for
// each instruction set.
//
// The value of a sample is reckoned in 2^-14: the upper and the lower pair of neighbours are each weighed in whole
// numbers, products of a 16-bit sample and a 14-bit weight, and what the lower pair adds, its weight times the
// difference, in single precision. The definition reckons in double precision, but for one product, and rounds to
// single precision. How far the two may be apart, in 2^-14 and for values v up to 255:
//
//   here        the weighed pairs and their difference are exact (below 2^22)
//               the fraction's remainder is exact; times a difference it is below 2^7        2^-17, roundings of it
//               difference times weight, below 2^22                                          1/8
//               the sum with what the remainder adds                                         1/8
//               its rounding to a whole number                                               1/2
//   definition  weight of the lower right neighbour, single precision: 255 x 2^-24           1/4
//               its product, single precision                                                1/4
//               value, single precision: 2^-17                                               1/8
//               all of the double precision's roundings                                      below 2^-20
//
// Together less than 1.5. So both round to the same sample unless the value found here lies less than kReach = 2 from a
// half step. Such pixels, one in a thousand of a photograph, are listed for the plain form.
//
// A fraction has at most 14 digits in columns from 512 on, since a single precision number has 24: there the remainder
// is 0 and is left out.
#if defined(VINDREL_WARP_BYTES_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef VINDREL_WARP_BYTES_INL_H_
#undef VINDREL_WARP_BYTES_INL_H_
#else
#define VINDREL_WARP_BYTES_INL_H_
#endif

#include "warp/WarpMapping-inl.h"

HWY_BEFORE_NAMESPACE();
namespace vindrel::HWY_NAMESPACE {
namespace {

using Words = hn::Repartition<std::int16_t, Floats>;
using UnsignedWords = hn::Repartition<std::uint16_t, Floats>;
using Block = hn::Full128<std::uint8_t>; // what a byte table reaches, and four pixels' sums of one channel
using HalfBlock = hn::Full64<std::uint8_t>;
constexpr int kBlocks = kLanes / 4;

constexpr float kCoarseFrom = 512; // coordinates whose fractions have no more than 14 digits
constexpr int kReach = 2;          // in 2^-14

constexpr std::uint8_t kNone = 0x80; // as an index of a table lookup it yields 0

// The loop's constants, in memory: compilers would rather make most of them anew in every round.
template <int kChannels>
struct ByteConstants {
  alignas(64) std::uint8_t
      firstPixel[64];                     // broadcasts the lane of a block's pixel whose neighbours lie first in memory
  alignas(64) std::uint8_t lastPixel[64]; // and of the one whose neighbours lie last
  alignas(64) std::uint8_t spread[64];    // low byte of each lane, to be the indices of a left and a right sample
  alignas(64) std::uint8_t indices[3][64]; // of each channel's left and right sample, from the left pixel on
  alignas(64) std::uint8_t weave[3][64];   // byte 2 of four pixels' lanes to the places of a channel's samples
  alignas(64) std::uint8_t upperPairs[64]; // a pixel to a block: lane c takes the pair of channel c,
  alignas(64) std::uint8_t lowerPairs[64]; // from bytes 0 to 7 and from 8 to 15
  alignas(64) std::uint8_t gather[4][64];  // byte 2 of one pixel's lanes to the place of the pixel
  alignas(64) std::uint8_t inTurn[64];     // lanes of a block: offsets of pixels that follow each other
  alignas(64) std::int32_t joined[16];     // lanes that hold samples of pixels
  alignas(64) std::uint32_t span[16];      // see kSpan
  alignas(64) std::uint32_t notNear[16];

  // How far a pixel may be from the block's first one for its neighbours to be loaded with it.
  static constexpr std::uint32_t kSpan = 16 - 2 * kChannels;

  explicit ByteConstants(bool backwards) {
    for (int i = 0; i < 64; ++i) {
      const int k = i % 16, lane = k / 4;
      const auto byte = [](int v) { return static_cast<std::uint8_t>(v); };
      firstPixel[i] = byte((backwards ? 12 : 0) + k % 4);
      lastPixel[i] = byte((backwards ? 0 : 12) + k % 4);
      spread[i] = byte(k % 2 == 0 ? 4 * lane : kNone);
      for (int c = 0; c < 3; ++c) {
        indices[c][i] = byte(k % 2 == 0 ? c + (k % 4 == 0 ? 0 : kChannels) : kNone);
        weave[c][i] = byte(k < 4 * kChannels && k % kChannels == c ? k / kChannels * 4 + 2 : kNone);
      }
      upperPairs[i] = byte(k % 2 == 0 && lane < kChannels ? (k % 4 == 0 ? 0 : kChannels) + lane : kNone);
      lowerPairs[i] = byte(upperPairs[i] + (upperPairs[i] == kNone ? 0 : 8));
      for (int j = 0; j < 4; ++j)
        gather[j][i] = byte(k / kChannels == j ? k % kChannels * 4 + 2 : kNone);
      inTurn[i] = byte(k % 4 == 0 ? lane * kChannels : 0);
    }
    for (int k = 0; k < 16; ++k) {
      joined[k] = k < kBlocks * kChannels ? k / kChannels * 4 + k % kChannels : 0;
      span[k] = kSpan;
      notNear[k] = 0xFFFF - ((2 * kReach << 2) - 1);
    }
  }
};

HWY_INLINE hn::Vec<Bytes> load(const std::uint8_t *constant) {
  return hn::Load(Bytes(), constant);
}
template <class V>
HWY_INLINE hn::Vec<Bytes> lookUp(V v, hn::Vec<Bytes> indices) {
  return hn::TableLookupBytes(hn::BitCast(Bytes(), v), indices);
}

// Each 32-bit lane: the sum of the two products of its 16-bit halves.
HWY_INLINE hn::Vec<Ints> sumOfProducts(hn::Vec<Bytes> a, hn::Vec<Ints> b) {
  hn::Vec<Ints> odd = hn::Zero(Ints());
  const auto sum =
      hn::ReorderWidenMulAccumulate(Ints(), hn::BitCast(Words(), a), hn::BitCast(Words(), b), hn::Zero(Ints()), odd);
  return hn::RearrangeToOddPlusEven(sum, odd);
}

struct LaneWeights {
  hn::Vec<Ints> x; // left and right, 16 bits each
  hn::Vec<Floats> remainder;
  hn::Vec<Floats> y;
};

// Values of one channel, from pairs of a left and a right neighbour as 16-bit halves: from bit 16 on the sample, below
// it the value's distance past the half step before it, less kReach, in 2^-16. The bits from 24 on mean nothing.
template <bool kCoarse>
HWY_INLINE hn::Vec<Ints> interpolateLanes(hn::Vec<Bytes> upper, hn::Vec<Bytes> lower, const LaneWeights &w) {
  const Floats d;
  const Ints di;
  const auto sumUpper = sumOfProducts(upper, w.x);
  const auto difference = hn::ConvertTo(d, hn::Sub(sumOfProducts(lower, w.x), sumUpper));
  // A number below 2^22 is rounded by adding 1.5 x 2^23, and stands in the low bits from then on.
  const auto bias = hn::Set(d, 0x1.8p23f + static_cast<float>((1 << 13) + kReach));
  hn::Vec<Floats> sum;
  if constexpr (kCoarse) {
    sum = hn::MulAdd(difference, w.y, bias);
  } else {
    const auto slope = hn::Set(di, 0x0001FFFF); // -1 and 1: right less left
    const auto slopeUpper = sumOfProducts(upper, slope);
    const auto twist = hn::ConvertTo(d, hn::Sub(sumOfProducts(lower, slope), slopeUpper));
    const auto slopeHere = hn::MulAdd(twist, w.y, hn::ConvertTo(d, slopeUpper));
    sum = hn::Add(hn::MulAdd(slopeHere, w.remainder, hn::Mul(difference, w.y)), bias);
  }
  return hn::ShiftLeft<2>(hn::Add(hn::BitCast(di, sum), sumUpper));
}

// Lanes whose value is too close to a half step, by the least of what several values have in their low halves.
HWY_INLINE hn::Mask<Ints> nearHalfStep(hn::Vec<UnsignedWords> least, const std::uint32_t *notNear) {
  const Ints di;
  static_assert(std::has_single_bit(static_cast<unsigned>(kReach)));
  return hn::Eq(hn::And(hn::BitCast(di, least), hn::BitCast(di, hn::Load(Uints(), notNear))), hn::Zero(di));
}

// Values of one group of kLanes pixels: their samples, in the order of the output, and the least of what closer() sees.
struct Group {
  hn::Vec<Bytes> pixels;
  hn::Vec<UnsignedWords> least;
};

HWY_INLINE Group emptyGroup() {
  return {hn::Zero(Bytes()), hn::Set(UnsignedWords(), std::uint16_t{0xFFFF})};
}

HWY_INLINE void addValues(hn::Vec<Ints> v, const std::uint8_t *places, Group &group) {
  group.least = hn::Min(group.least, hn::BitCast(UnsignedWords(), v));
  group.pixels = hn::Or(group.pixels, lookUp(v, load(places)));
}

// The pixels without the gaps that fewer than four channels leave between blocks.
template <int kChannels>
HWY_INLINE void storeGroup(const Group &group, const ByteConstants<kChannels> &k, std::uint8_t *out) {
  auto pixels = group.pixels;
  if constexpr (kChannels < 4 && kBlocks > 1)
    pixels =
        hn::BitCast(Bytes(), hn::TableLookupLanes(hn::BitCast(Ints(), pixels), hn::SetTableIndices(Ints(), k.joined)));
  hn::StoreU(pixels, Bytes(), out);
}

// Sixteen bytes for each block, from where its first pixel's neighbours lie.
HWY_INLINE hn::Vec<Bytes> loadBlocks(const std::uint8_t *row, const std::int32_t *first) {
  const Block b;
#if HWY_TARGET <= HWY_AVX3
  const hn::Full256<std::uint8_t> half;
  return hn::Combine(Bytes(), hn::Combine(half, hn::LoadU(b, row + first[12]), hn::LoadU(b, row + first[8])),
                     hn::Combine(half, hn::LoadU(b, row + first[4]), hn::LoadU(b, row + first[0])));
#elif HWY_TARGET <= HWY_AVX2
  return hn::Combine(Bytes(), hn::LoadU(b, row + first[4]), hn::LoadU(b, row + first[0]));
#else
  return hn::LoadU(b, row + first[0]);
#endif
}

// The neighbours of every fourth pixel: eight bytes of the upper row and eight of the lower.
HWY_INLINE hn::Vec<Block> loadPair(const FrameRows<std::uint8_t> &frame, std::int32_t at) {
  return hn::Combine(Block(), hn::LoadU(HalfBlock(), frame.lower + at), hn::LoadU(HalfBlock(), frame.upper + at));
}
HWY_INLINE hn::Vec<Bytes> loadPairs(const FrameRows<std::uint8_t> &frame, const std::int32_t *offset) {
#if HWY_TARGET <= HWY_AVX3
  const hn::Full256<std::uint8_t> half;
  return hn::Combine(Bytes(), hn::Combine(half, loadPair(frame, offset[12]), loadPair(frame, offset[8])),
                     hn::Combine(half, loadPair(frame, offset[4]), loadPair(frame, offset[0])));
#elif HWY_TARGET <= HWY_AVX2
  return hn::Combine(Bytes(), loadPair(frame, offset[4]), loadPair(frame, offset[0]));
#else
  return loadPair(frame, offset[0]);
#endif
}

struct RunRows {
  hn::Vec<Bytes> upper, lower;
  hn::Vec<Bytes> left; // of each pixel: where its left neighbours are
};

template <int kChannel, bool kCoarse, int kChannels>
HWY_INLINE void addChannel(const RunRows &run, const LaneWeights &w, const ByteConstants<kChannels> &k, Group &group) {
  if constexpr (kChannel < kChannels) {
    const auto indices = hn::Add(run.left, load(k.indices[kChannel]));
    addValues(interpolateLanes<kCoarse>(lookUp(run.upper, indices), lookUp(run.lower, indices), w), k.weave[kChannel],
              group);
  }
}

template <int kChannel, bool kCoarse, int kChannels>
HWY_INLINE void addChannelOfTwo(const RunRows &a, const RunRows &b, const LaneWeights &w,
                                const ByteConstants<kChannels> &k, Group &group) {
  if constexpr (kChannel < kChannels) {
    const auto indices = load(k.indices[kChannel]);
    const auto ia = hn::Add(a.left, indices), ib = hn::Add(b.left, indices);
    addValues(interpolateLanes<kCoarse>(hn::Or(lookUp(a.upper, ia), lookUp(b.upper, ib)),
                                        hn::Or(lookUp(a.lower, ia), lookUp(b.lower, ib)), w),
              k.weave[kChannel], group);
  }
}

template <int kFourth, bool kCoarse, int kChannels>
HWY_INLINE void addFourth(hn::Vec<Bytes> upperPairs, hn::Vec<Bytes> lowerPairs, const LaneWeights &w,
                          const ByteConstants<kChannels> &k, Group &group) {
  const LaneWeights here = {hn::Broadcast<kFourth>(w.x), hn::Broadcast<kFourth>(w.remainder),
                            hn::Broadcast<kFourth>(w.y)};
  addValues(interpolateLanes<kCoarse>(upperPairs, lowerPairs, here), k.gather[kFourth], group);
}

template <int kFourth, bool kCoarse, int kChannels>
HWY_INLINE void addApart(const FrameRows<std::uint8_t> &frame, const std::int32_t *offset, const LaneWeights &w,
                         const ByteConstants<kChannels> &k, Group &group) {
  const auto both = loadPairs(frame, offset + kFourth);
  addFourth<kFourth, kCoarse>(lookUp(both, load(k.upperPairs)), lookUp(both, load(k.lowerPairs)), w, k, group);
}

// Neighbours of each fourth pixel loaded apart, wherever they lie.
template <bool kCoarse, int kChannels>
HWY_INLINE Group sampleApart(const FrameRows<std::uint8_t> &frame, const std::int32_t *offset, const LaneWeights &w,
                             const ByteConstants<kChannels> &k) {
  Group group = emptyGroup();
  addApart<0, kCoarse>(frame, offset, w, k, group);
  addApart<1, kCoarse>(frame, offset, w, k, group);
  addApart<2, kCoarse>(frame, offset, w, k, group);
  addApart<3, kCoarse>(frame, offset, w, k, group);
  return group;
}

// Four pixels of four channels a block, each one pixel on from the last: of two loads each, the second a pixel on from
// the first, the first halves and the second halves are the pairs that loadPairs() would join.
template <bool kCoarse, int kChannels>
HWY_INLINE Group sampleInTurn(const FrameRows<std::uint8_t> &frame, const std::int32_t *offset, const LaneWeights &w,
                              const ByteConstants<kChannels> &k) {
  Group group = emptyGroup();
  const auto upper = loadBlocks(frame.upper, offset), upperNext = loadBlocks(frame.upper + kChannels, offset);
  const auto lower = loadBlocks(frame.lower, offset), lowerNext = loadBlocks(frame.lower + kChannels, offset);
  const auto first = load(k.upperPairs), second = load(k.lowerPairs);
  addFourth<0, kCoarse>(lookUp(upper, first), lookUp(lower, first), w, k, group);
  addFourth<1, kCoarse>(lookUp(upperNext, first), lookUp(lowerNext, first), w, k, group);
  addFourth<2, kCoarse>(lookUp(upper, second), lookUp(lower, second), w, k, group);
  addFourth<3, kCoarse>(lookUp(upperNext, second), lookUp(lowerNext, second), w, k, group);
  return group;
}

// All four pixels of a block from one run.
template <bool kCoarse, int kChannels>
HWY_INLINE Group sampleRun(const FrameRows<std::uint8_t> &frame, const std::int32_t *first, hn::Vec<Uints> past,
                           const LaneWeights &w, const ByteConstants<kChannels> &k) {
  Group group = emptyGroup();
  const RunRows run = {loadBlocks(frame.upper, first), loadBlocks(frame.lower, first), lookUp(past, load(k.spread))};
  addChannel<0, kCoarse>(run, w, k, group);
  addChannel<1, kCoarse>(run, w, k, group);
  addChannel<2, kCoarse>(run, w, k, group);
  return group;
}

// The four pixels of a block from two runs, where the source's row changes among them, or a column is skipped. One
// begins at the first pixel's neighbours, the other ends at the last one's.
struct TwoRuns {
  hn::Vec<Uints> past, pastSecond;
  hn::Mask<Uints> inFirst;
  bool cover; // every pixel lies in one of the two, and the second begins inside the frame
};

template <int kChannels>
HWY_INLINE TwoRuns twoRuns(const FrameRows<std::uint8_t> &frame, hn::Vec<Uints> offsets, hn::Vec<Uints> past,
                           const ByteConstants<kChannels> &k) {
  const Ints di;
  const Uints du;
  const auto span = hn::Load(du, k.span);
  const auto last = hn::BitCast(du, lookUp(offsets, load(k.lastPixel)));
  const auto pastSecond = hn::Add(hn::Sub(offsets, last), span);
  const auto inFirst = hn::Eq(hn::Min(past, span), past);
  const auto inSecond = hn::Eq(hn::Min(pastSecond, span), pastSecond);
  const auto lowestLast = hn::Set(di, frame.lowest + static_cast<std::int32_t>(ByteConstants<kChannels>::kSpan));
  const auto exists = hn::RebindMask(du, hn::Not(hn::Lt(hn::BitCast(di, last), lowestLast)));
  return {past, pastSecond, inFirst, hn::AllTrue(du, hn::And(hn::Or(inFirst, inSecond), exists))};
}

template <bool kCoarse, int kChannels>
HWY_INLINE Group sampleTwoRuns(const FrameRows<std::uint8_t> &frame, const std::int32_t *first,
                               const std::int32_t *last, const TwoRuns &runs, const LaneWeights &w,
                               const ByteConstants<kChannels> &k) {
  const Uints du;
  Group group = emptyGroup();
  // Indices of pixels in the other run yield 0, whatever is added to them.
  const auto inFirst = hn::VecFromMask(du, runs.inFirst), none = hn::Set(du, 0x00800080u);
  const auto left =
      hn::Or(hn::BitCast(du, lookUp(hn::And(inFirst, runs.past), load(k.spread))), hn::AndNot(inFirst, none));
  const auto leftSecond =
      hn::Or(hn::BitCast(du, lookUp(hn::AndNot(inFirst, runs.pastSecond), load(k.spread))), hn::And(inFirst, none));
  constexpr int kBack = static_cast<int>(ByteConstants<kChannels>::kSpan);
  const RunRows a = {loadBlocks(frame.upper, first), loadBlocks(frame.lower, first), hn::BitCast(Bytes(), left)};
  const RunRows b = {loadBlocks(frame.upper - kBack, last), loadBlocks(frame.lower - kBack, last),
                     hn::BitCast(Bytes(), leftSecond)};
  addChannelOfTwo<0, kCoarse>(a, b, w, k, group);
  addChannelOfTwo<1, kCoarse>(a, b, w, k, group);
  addChannelOfTwo<2, kCoarse>(a, b, w, k, group);
  return group;
}

HWY_INLINE LaneWeights weightsAt(const WarpBlock &block, int i) {
  return {hn::Load(Ints(), block.weightX + i), hn::Load(Floats(), block.remainderX + i),
          hn::Load(Floats(), block.weightY + i)};
}

// Lists the pixels of a group whose blocks hold a pixel each: which of them is near is found by doing them again.
template <int kFourth, bool kCoarse, int kChannels>
void listNearFourth(const FrameRows<std::uint8_t> &frame, int first, int columns, const ByteConstants<kChannels> &k,
                    WarpBlock &block) {
  Group group = emptyGroup();
  addApart<kFourth, kCoarse>(frame, block.offset + first, weightsAt(block, first), k, group);
  std::uint8_t bits[8] = {};
  hn::StoreMaskBits(Ints(), nearHalfStep(group.least, k.notNear), bits);
  for (int b = 0; b < kBlocks; ++b) {
    const int i = first + 4 * b + kFourth;
    if (i < columns && ((bits[b / 2] >> (b % 2 * 4)) & 15) != 0)
      block.slow[block.slowCount++] = static_cast<std::uint16_t>(i);
  }
}
template <bool kCoarse, int kChannels>
HWY_NOINLINE void listNear(const FrameRows<std::uint8_t> &frame, int first, int columns,
                           const ByteConstants<kChannels> &k, WarpBlock &block) {
  listNearFourth<0, kCoarse>(frame, first, columns, k, block);
  listNearFourth<1, kCoarse>(frame, first, columns, k, block);
  listNearFourth<2, kCoarse>(frame, first, columns, k, block);
  listNearFourth<3, kCoarse>(frame, first, columns, k, block);
}

template <int kChannels, bool kCoarse>
void sampleBytes(const FrameRows<std::uint8_t> &frame, int columns, const ByteConstants<kChannels> &k, bool backwards,
                 WarpBlock &block) {
  const Ints di;
  const Uints du;
  const int firstPixel = backwards ? 3 : 0;
  std::uint8_t *out = block.samples;
  for (int i = 0; i < columns; i += kLanes, out += kLanes * kChannels) {
    const std::int32_t *offset = block.offset + i;
    if (i % 16 == 0) frame.prefetch(offset[0], i * kChannels); // 16 pixels take at most a line of the cache
    const LaneWeights w = weightsAt(block, i);
    const auto offsets = hn::BitCast(du, hn::Load(di, offset));
    const auto past = hn::Sub(offsets, hn::BitCast(du, lookUp(offsets, load(k.firstPixel))));
    Group group;
    bool pixelInLane = kChannels < 4; // rather than to a block
    if constexpr (kChannels == 4) {
      if (HWY_LIKELY(hn::AllTrue(du, hn::Eq(past, hn::BitCast(du, load(k.inTurn))))))
        group = sampleInTurn<kCoarse>(frame, offset, w, k);
      else
        group = sampleApart<kCoarse>(frame, offset, w, k);
    } else {
      if (HWY_LIKELY(hn::AllTrue(du, hn::Eq(hn::Min(past, hn::Load(du, k.span)), past)))) {
        group = sampleRun<kCoarse>(frame, offset + firstPixel, past, w, k);
      } else if (const TwoRuns runs = twoRuns(frame, offsets, past, k); HWY_LIKELY(runs.cover)) {
        group = sampleTwoRuns<kCoarse>(frame, offset + firstPixel, offset + 3 - firstPixel, runs, w, k);
      } else {
        group = sampleApart<kCoarse>(frame, offset, w, k);
        pixelInLane = false;
      }
    }
    const auto near = nearHalfStep(group.least, k.notNear);
    if (HWY_UNLIKELY(!hn::AllFalse(di, near))) {
      if (pixelInLane)
        listSlow(near, i, columns, block);
      else
        listNear<kCoarse>(frame, i, columns, k, block);
    }
    storeGroup<kChannels>(group, k, out);
  }
}

} // namespace
} // namespace vindrel::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
