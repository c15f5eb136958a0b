// Each row is the row above plus the running sum of its own grey values. The running sum is taken inside blocks of 128
// bits by shifting and adding; what is carried from block to block is one addition, of a block's own sum.
#include "features/IntegralImage.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "features/IntegralImageKernel.cpp"
#include <hwy/foreach_target.h>

#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace vindrel::HWY_NAMESPACE {
namespace {
namespace hn = hwy::HWY_NAMESPACE;

// Fills the entries of a row from first on, where running is the sum of the grey values before it.
template <class Sum>
void finishRow(const std::uint8_t *grey, const Sum *above, std::ptrdiff_t first, std::ptrdiff_t width, Sum running,
               Sum *row) {
  for (std::ptrdiff_t x = first; x < width; ++x) {
    running = static_cast<Sum>(running + grey[x]);
    row[x] = static_cast<Sum>(above == nullptr ? running : above[x] + running);
  }
}

template <class Sum>
void fillRow(const std::uint8_t *HWY_RESTRICT grey, const Sum *HWY_RESTRICT above, std::ptrdiff_t width,
             Sum *HWY_RESTRICT row) {
  std::ptrdiff_t x = 0;
  Sum running = 0;
#if HWY_TARGET != HWY_SCALAR // whose vectors are no blocks
  constexpr std::size_t kBlock = 16 / sizeof(Sum);
  const hn::FixedTag<Sum, kBlock> tag;
  const hn::Rebind<std::uint8_t, decltype(tag)> bytes;
  auto carried = hn::Zero(tag);
  for (; x + static_cast<std::ptrdiff_t>(kBlock) <= width; x += kBlock) {
    auto sums = hn::PromoteTo(tag, hn::LoadU(bytes, grey + x));
    sums = hn::Add(sums, hn::ShiftLeftLanes<1>(tag, sums));
    sums = hn::Add(sums, hn::ShiftLeftLanes<2>(tag, sums));
    if constexpr (kBlock > 4) sums = hn::Add(sums, hn::ShiftLeftLanes<4>(tag, sums));
    hn::StoreU(hn::Add(hn::LoadU(tag, above + x), hn::Add(sums, carried)), tag, row + x);
    carried = hn::Add(carried, hn::Broadcast<kBlock - 1>(sums));
  }
  running = hn::GetLane(carried);
#endif
  finishRow(grey, above, x, width, running, row);
}

template <class Sum>
void fill(const std::uint8_t *grey, Size size, Sum *sums) {
  const std::ptrdiff_t width = size.width;
  const Sum *const none = nullptr;
  for (int y = 0; y < size.height; ++y, grey += width, sums += width) {
    if (y == 0)
      finishRow(grey, none, 0, width, Sum{0}, sums);
    else
      fillRow(grey, sums - width, width, sums);
  }
}

void fillWords(const std::uint8_t *grey, Size size, std::uint16_t *sums) {
  fill(grey, size, sums);
}
void fillInts(const std::uint8_t *grey, Size size, std::uint32_t *sums) {
  fill(grey, size, sums);
}

} // namespace
} // namespace vindrel::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace vindrel {

HWY_EXPORT(fillWords);
HWY_EXPORT(fillInts);

void fillIntegral(const std::uint8_t *grey, Size size, std::uint16_t *sums) {
  HWY_DYNAMIC_DISPATCH(fillWords)(grey, size, sums);
}

void fillIntegral(const std::uint8_t *grey, Size size, std::uint32_t *sums) {
  HWY_DYNAMIC_DISPATCH(fillInts)(grey, size, sums);
}

} // namespace vindrel
#endif
