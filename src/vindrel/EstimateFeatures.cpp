#include "driver/Estimate.h"
#include "driver/TilePass.h"
#include "driver/Verdict.h"
#include "transform/Matrix33.h"
#include "vindrel/RankedStack.h"

#include <algorithm>
#include <cstdlib>

namespace vindrel {
namespace {

// The standard generator's sequence after srand(0), from a state of its own: the same draws as the flat interface's
// without touching what the rest of the process draws from.
class OwnRandom {
public:
  OwnRandom() {
    data_ = {};
    initstate_r(0, state_, sizeof state_, &data_);
  }
  OwnRandom(const OwnRandom &) = delete;
  OwnRandom &operator=(const OwnRandom &) = delete;
  RandomSource source() { return {.next = next, .state = this}; }

private:
  static int next(void *self) {
    std::int32_t value = 0;
    random_r(&static_cast<OwnRandom *>(self)->data_, &value);
    return value;
  }
  char state_[128]; // the size that the standard generator uses
  random_data data_;
};

// While features are matched the driver counts a tile ahead, which with few tiles overshoots its share.
struct FeatureProgress {
  Progress progress;
  static bool report(void *self, double fraction) {
    return static_cast<FeatureProgress *>(self)->progress.report(std::min(fraction, kFeatureShare));
  }
};

Transform widened(const TransformTable &table, std::uint32_t index) {
  Trans8 coefficients = kIdentity8;
  std::copy_n(table.slot(index), table.length(), coefficients.begin());
  return {transformToMatrix(coefficients)};
}

RankedLink describeLink(const LinkEvidence &evidence, bool consensus) {
  return {.doubt = describe(doubtLink(evidence, consensus)),
          .variance = evidence.expectedError * evidence.expectedError,
          .pairs = evidence.pairs,
          .inliers = evidence.inliers,
          .rms = evidence.rms,
          .coverage = evidence.coverage};
}

} // namespace

RankedStack estimateByFeatures(CallerFrames &frames, const StackOptions &options, const Progress &progress) {
  OwnRandom random;
  FeatureProgress limited{progress};
  const StackPairs pairs =
      collectStackPairs(frames, {.threads = options.threads,
                                 .maxShiftX = options.maxShiftX,
                                 .maxShiftY = options.maxShiftY,
                                 .brightness = ownSamples(frames.format().channels),
                                 .progress = {.function = FeatureProgress::report, .state = &limited}});
  const Estimate estimate =
      linkStack(pairs, {.model = options.model == Model::Affine ? LinkModel::Affine : LinkModel::Perspective,
                        .threads = options.threads,
                        .polish = options.polish,
                        .random = random.source()});
  RankedStack result;
  result.status = estimate.status;
  if (estimate.status != Status::Ok) return result;
  result.model = options.model;
  result.littleOverlap = estimate.abandoned;
  result.largestExpectedError = kLargestExpectedError;
  result.common = {-estimate.window.offsetX, -estimate.window.offsetY, estimate.window.size.width,
                   estimate.window.size.height};
  for (int i = 0; i < pairs.count; ++i) {
    const auto slot = static_cast<std::size_t>(i);
    result.order.push_back(static_cast<int>(estimate.rankOrder[slot]));
    result.fromAnchor.push_back(widened(estimate.transforms, static_cast<std::uint32_t>(i)));
    result.links.push_back(i == 0 ? RankedLink{} : describeLink(estimate.evidence[slot], estimate.consensus[slot]));
  }
  return result;
}

} // namespace vindrel
