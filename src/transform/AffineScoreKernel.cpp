// Residuals are found a vector of pairs at a time; they are added up one by one, in the order of the ranks, because
// that decides the last bits of the sum.
#include "transform/AffineScore.h"

#include "transform/MapPoint.h"

#include <algorithm>
#include <cstddef>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "transform/AffineScoreKernel.cpp"
#include <hwy/foreach_target.h>

#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace vindrel::HWY_NAMESPACE {
namespace {
namespace hn = hwy::HWY_NAMESPACE;

constexpr float kInlierLimit = 4.0f; // squared pixels
constexpr int kSampleSupport = 2;
constexpr std::ptrdiff_t kBlock = 256; // pairs whose residuals are found at a time

using Floats = hn::ScalableTag<float>;
using FloatVector = hn::Vec<Floats>;

// a x + b y + c
HWY_INLINE FloatVector weigh(float a, FloatVector x, float b, FloatVector y, float c) {
  const Floats tag;
  return hn::Add(hn::Add(hn::Mul(hn::Set(tag, a), x), hn::Mul(hn::Set(tag, b), y)), hn::Set(tag, c));
}

// The squared residual of each inlier and 0 of the others; returns the number of inliers.
std::ptrdiff_t inlierResiduals(const float *t, const RankedPairs &pairs, std::ptrdiff_t begin, std::ptrdiff_t end,
                               float *residuals) {
  const Floats tag;
  const auto step = static_cast<std::ptrdiff_t>(hn::Lanes(tag));
  const FloatVector limit = hn::Set(tag, kInlierLimit);
  std::ptrdiff_t count = 0;
  std::ptrdiff_t r = begin;
  for (; r + step <= end; r += step) {
    const FloatVector x = hn::LoadU(tag, pairs.xA + r), y = hn::LoadU(tag, pairs.yA + r);
    const FloatVector ex = hn::Sub(hn::LoadU(tag, pairs.xB + r), weigh(t[0], x, t[1], y, t[2]));
    const FloatVector ey = hn::Sub(hn::LoadU(tag, pairs.yB + r), weigh(t[3], x, t[4], y, t[5]));
    const FloatVector squared = hn::Add(hn::Mul(ex, ex), hn::Mul(ey, ey));
    const auto inlier = hn::Lt(squared, limit);
    count += static_cast<std::ptrdiff_t>(hn::CountTrue(tag, inlier));
    hn::StoreU(hn::IfThenElseZero(inlier, squared), tag, residuals + (r - begin));
  }
  for (; r < end; ++r) {
    const Point p = mapAffineF(t, pairs.xA[r], pairs.yA[r]);
    const float ex = pairs.xB[r] - p.x;
    const float ey = pairs.yB[r] - p.y;
    const float squared = ex * ex + ey * ey;
    const bool inlier = squared < kInlierLimit;
    count += inlier ? 1 : 0;
    residuals[r - begin] = inlier ? squared : 0.0f;
  }
  return count;
}

AffineScore score(const float *candidate, const RankedPairs &pairs, const AffineSample &sample) {
  // The ranks of the sample, each once: they are taken out of the count and of the sum.
  const int ranks[] = {sample.anchor, sample.first != sample.anchor ? sample.first : -1,
                       sample.second != sample.anchor && sample.second != sample.first ? sample.second : -1};
  float residuals[kBlock];
  std::ptrdiff_t count = kSampleSupport;
  float sum = 0;
  for (std::ptrdiff_t begin = 0; begin < pairs.count; begin += kBlock) {
    const std::ptrdiff_t end = std::min<std::ptrdiff_t>(begin + kBlock, pairs.count);
    count += inlierResiduals(candidate, pairs, begin, end, residuals);
    for (const int rank : ranks) {
      if (rank < begin || rank >= end) continue;
      const Point p = mapAffineF(candidate, pairs.xA[rank], pairs.yA[rank]);
      const float ex = pairs.xB[rank] - p.x;
      const float ey = pairs.yB[rank] - p.y;
      if (ex * ex + ey * ey < kInlierLimit) --count;
      residuals[rank - begin] = 0;
    }
    // Adding 0 to a sum of squares changes no bit.
    for (std::ptrdiff_t i = 0; i < end - begin; ++i)
      sum += residuals[i];
  }
  return {static_cast<int>(count), sum / static_cast<float>(count)};
}

} // namespace
} // namespace vindrel::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace vindrel {

HWY_EXPORT(score);

AffineScore scoreAffine(const float *candidate, const RankedPairs &pairs, const AffineSample &sample) {
  return HWY_DYNAMIC_DISPATCH(score)(candidate, pairs, sample);
}

} // namespace vindrel
#endif
