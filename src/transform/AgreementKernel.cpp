// A vector of pairs at a time. Counting and summing are apart: the sum, whose order decides its last bits, is wanted of
// the few candidates only that turn out best.
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

HWY_INLINE FloatVector squaredResiduals(const ConsensusPairs &pairs, std::ptrdiff_t i, const float *t) {
  const Floats tag;
  const FloatVector x = hn::LoadU(tag, pairs.xA.data() + i), y = hn::LoadU(tag, pairs.yA.data() + i);
  const FloatVector unit = hn::Set(tag, static_cast<float>(kPerspectiveUnit)), one = hn::Set(tag, 1.0f);
  const FloatVector w = hn::Add(hn::Mul(weigh(t[6], x, t[7], y), unit), one);
  const FloatVector dx = hn::Sub(hn::Div(weigh(t[0], x, t[1], y, t[2]), w), hn::LoadU(tag, pairs.xB.data() + i));
  const FloatVector dy = hn::Sub(hn::Div(weigh(t[3], x, t[4], y, t[5]), w), hn::LoadU(tag, pairs.yB.data() + i));
  return hn::Add(hn::Mul(dx, dx), hn::Mul(dy, dy));
}

inline float squaredResidual(const ConsensusPairs &pairs, std::ptrdiff_t i, const float *t) {
  const Point source = pairs.source(static_cast<int>(i)), target = pairs.target(static_cast<int>(i));
  const Point mapped = mapPerspectiveF(t, source.x, source.y);
  const float dx = mapped.x - target.x;
  const float dy = mapped.y - target.y;
  return dx * dx + dy * dy;
}

int countBlocks(const ConsensusPairs &pairs, const float *t, int toBeat) {
  const std::ptrdiff_t count = pairs.count;
  const Floats tag;
  const auto step = static_cast<std::ptrdiff_t>(hn::Lanes(tag));
  const FloatVector limit = hn::Set(tag, kAgreementSquared);
  std::ptrdiff_t agreeing = 0;
  for (std::ptrdiff_t begin = 0; begin < count; begin += kBlock) {
    if (agreeing + (count - begin) <= toBeat) break; // not even if all that are left agreed
    const std::ptrdiff_t end = std::min(begin + kBlock, count);
    std::ptrdiff_t i = begin;
    for (; i + step <= end; i += step)
      agreeing += static_cast<std::ptrdiff_t>(hn::CountTrue(tag, hn::Lt(squaredResiduals(pairs, i, t), limit)));
    for (; i < end; ++i)
      agreeing += squaredResidual(pairs, i, t) < kAgreementSquared ? 1 : 0;
  }
  return static_cast<int>(agreeing);
}

float sumBlocks(const ConsensusPairs &pairs, const float *t, const std::array<int, 3> &leftOut) {
  const std::ptrdiff_t count = pairs.count;
  const Floats tag;
  const auto step = static_cast<std::ptrdiff_t>(hn::Lanes(tag));
  const FloatVector limit = hn::Set(tag, kAgreementSquared);
  float residuals[kBlock]; // of a block; 0 where a pair disagrees or is left out
  float sum = 0;
  for (std::ptrdiff_t begin = 0; begin < count; begin += kBlock) {
    const std::ptrdiff_t end = std::min(begin + kBlock, count);
    std::ptrdiff_t i = begin;
    for (; i + step <= end; i += step) {
      const FloatVector squared = squaredResiduals(pairs, i, t);
      hn::StoreU(hn::IfThenElseZero(hn::Lt(squared, limit), squared), tag, residuals + (i - begin));
    }
    for (; i < end; ++i) {
      const float squared = squaredResidual(pairs, i, t);
      residuals[i - begin] = squared < kAgreementSquared ? squared : 0.0f;
    }
    for (const int position : leftOut)
      if (position >= begin && position < end) residuals[position - begin] = 0;
    // Adding 0 to a sum of squares changes no bit.
    for (i = 0; i < end - begin; ++i)
      sum += residuals[i];
  }
  return sum;
}

} // namespace
} // namespace vindrel::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace vindrel {

HWY_EXPORT(countBlocks);
HWY_EXPORT(sumBlocks);

int countAgreeing(const ConsensusPairs &pairs, const Trans8 &candidate, int toBeat) {
  return HWY_DYNAMIC_DISPATCH(countBlocks)(pairs, candidate.data(), toBeat);
}

float sumAgreeing(const ConsensusPairs &pairs, const Trans8 &candidate, const std::array<int, 3> &leftOut) {
  return HWY_DYNAMIC_DISPATCH(sumBlocks)(pairs, candidate.data(), leftOut);
}

} // namespace vindrel
#endif
