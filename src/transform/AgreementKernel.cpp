// A vector of pairs at a time. Only the count is taken here: the sum of the residuals, whose order decides its last
// bits, is wanted of the few candidates that turn out best.
#include "transform/AgreementKernel.h"

#include "transform/MapPoint.h"

#include <algorithm>
#include <cstddef>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "transform/AgreementKernel.cpp"
#include <hwy/foreach_target.h>

#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace vindrel::HWY_NAMESPACE {
namespace {
namespace hn = hwy::HWY_NAMESPACE;

constexpr std::ptrdiff_t kBlock = 64; // pairs counted between two looks at whether counting is vain

using Floats = hn::ScalableTag<float>;
using FloatVector = hn::Vec<Floats>;

// a x + b y, and with c.
HWY_INLINE FloatVector weigh(float a, FloatVector x, float b, FloatVector y) {
  const Floats tag;
  return hn::Add(hn::Mul(hn::Set(tag, a), x), hn::Mul(hn::Set(tag, b), y));
}
HWY_INLINE FloatVector weigh(float a, FloatVector x, float b, FloatVector y, float c) {
  return hn::Add(weigh(a, x, b, y), hn::Set(Floats(), c));
}

int countBlocks(const float *xA, const float *yA, const float *xB, const float *yB, std::ptrdiff_t pairs,
                const float *t, int toBeat) {
  const Floats tag;
  const auto step = static_cast<std::ptrdiff_t>(hn::Lanes(tag));
  const FloatVector unit = hn::Set(tag, static_cast<float>(kPerspectiveUnit)), one = hn::Set(tag, 1.0f);
  const FloatVector limit = hn::Set(tag, kAgreementSquared);
  std::ptrdiff_t count = 0;
  for (std::ptrdiff_t begin = 0; begin < pairs; begin += kBlock) {
    if (count + (pairs - begin) <= toBeat) break; // not even if all that are left agreed
    const std::ptrdiff_t end = std::min(begin + kBlock, pairs);
    std::ptrdiff_t i = begin;
    for (; i + step <= end; i += step) {
      const FloatVector x = hn::LoadU(tag, xA + i), y = hn::LoadU(tag, yA + i);
      const FloatVector w = hn::Add(hn::Mul(weigh(t[6], x, t[7], y), unit), one);
      const FloatVector dx = hn::Sub(hn::Div(weigh(t[0], x, t[1], y, t[2]), w), hn::LoadU(tag, xB + i));
      const FloatVector dy = hn::Sub(hn::Div(weigh(t[3], x, t[4], y, t[5]), w), hn::LoadU(tag, yB + i));
      const FloatVector squared = hn::Add(hn::Mul(dx, dx), hn::Mul(dy, dy));
      count += static_cast<std::ptrdiff_t>(hn::CountTrue(tag, hn::Lt(squared, limit)));
    }
    for (; i < end; ++i) {
      const Point mapped = mapPerspectiveF(t, xA[i], yA[i]);
      const float dx = mapped.x - xB[i];
      const float dy = mapped.y - yB[i];
      count += dx * dx + dy * dy < kAgreementSquared ? 1 : 0;
    }
  }
  return static_cast<int>(count);
}

} // namespace
} // namespace vindrel::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace vindrel {

HWY_EXPORT(countBlocks);

int countAgreeing(const ConsensusPairs &pairs, const Trans8 &candidate, int toBeat) {
  return HWY_DYNAMIC_DISPATCH(countBlocks)(pairs.xA.data(), pairs.yA.data(), pairs.xB.data(), pairs.yB.data(),
                                           pairs.count, candidate.data(), toBeat);
}

} // namespace vindrel
#endif
