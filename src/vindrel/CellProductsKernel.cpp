// Two neighbouring products make a lane of 32 bits. Before these could overflow they are emptied into 64 bits.
#include "vindrel/CellProductsKernel.h"

#include <algorithm>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "vindrel/CellProductsKernel.cpp"
#include <hwy/foreach_target.h>

#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace vindrel::HWY_NAMESPACE {
namespace {
namespace hn = hwy::HWY_NAMESPACE;

#if HWY_TARGET == HWY_SCALAR

std::int64_t sumOfProducts(const Cell &cell, const std::int16_t *place, std::ptrdiff_t stride) {
  std::int64_t sum = 0;
  for (std::ptrdiff_t y = 0; y < cell.rows; ++y)
    for (std::ptrdiff_t x = 0; x < cell.rowLength; ++x)
      sum += std::int32_t{cell.values[y * cell.rowLength + x]} * place[y * stride + x];
  return sum;
}

#else

using Words = hn::CappedTag<std::int16_t, kCellUnit>;
using Ints = hn::RepartitionToWide<Words>;

HWY_INLINE std::int64_t sumOfLanes(hn::Vec<Ints> lanes) {
  HWY_ALIGN std::int32_t values[HWY_MAX_BYTES / sizeof(std::int32_t)];
  hn::Store(lanes, Ints(), values);
  std::int64_t sum = 0;
  for (std::size_t i = 0; i < hn::Lanes(Ints()); ++i)
    sum += values[i];
  return sum;
}

std::int64_t sumOfProducts(const Cell &cell, const std::int16_t *place, std::ptrdiff_t stride) {
  const Words words;
  const auto step = static_cast<std::ptrdiff_t>(hn::Lanes(words));
  // Two sums of lanes share the additions in a way that is the instruction set's: either may receive all of them.
  constexpr std::ptrdiff_t kAdditions = (std::int64_t{1} << 31) / (2 * kLargestProduct) - 1;
  const std::ptrdiff_t rowsAtATime = std::max<std::ptrdiff_t>(kAdditions * step / cell.rowLength, 1);
  std::int64_t sum = 0;
  for (std::ptrdiff_t begin = 0; begin < cell.rows; begin += rowsAtATime) {
    auto first = hn::Zero(Ints()), second = hn::Zero(Ints());
    const std::ptrdiff_t end = std::min<std::ptrdiff_t>(begin + rowsAtATime, cell.rows);
    for (std::ptrdiff_t y = begin; y < end; ++y)
      for (std::ptrdiff_t x = 0; x < cell.rowLength; x += step)
        first = hn::ReorderWidenMulAccumulate(Ints(), hn::LoadU(words, cell.values + y * cell.rowLength + x),
                                              hn::LoadU(words, place + y * stride + x), first, second);
    sum += sumOfLanes(first) + sumOfLanes(second);
  }
  return sum;
}

#endif

void sumAll(const Cell &cell, const std::int16_t *place, std::ptrdiff_t stride, int reach, std::int64_t *sums) {
  for (int dy = -reach; dy <= reach; ++dy)
    for (int dx = -reach; dx <= reach; ++dx)
      *sums++ = sumOfProducts(cell, place + dy * stride + dx, stride);
}

} // namespace
} // namespace vindrel::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace vindrel {

HWY_EXPORT(sumAll);

void sumCellProducts(const Cell &cell, const std::int16_t *place, std::ptrdiff_t stride, int reach,
                     std::int64_t *sums) {
  HWY_DYNAMIC_DISPATCH(sumAll)(cell, place, stride, reach, sums);
}

} // namespace vindrel
#endif
