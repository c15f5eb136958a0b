#include "driver/Estimate.h"
#include "driver/TilePass.h"
#include "driver/Verdict.h"
#include "vindrel/EstimateSteps.h"

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
  static int next(void *self) {
    std::int32_t value = 0;
    random_r(&static_cast<OwnRandom *>(self)->data_, &value);
    return value;
  }

private:
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

void describeFrames(const Estimate &estimate, int count, StackEstimate &result) {
  result.frames.resize(static_cast<std::size_t>(count));
  result.warpTransforms.resize(static_cast<std::size_t>(count));
  StackVerdict verdict(estimate.abandoned);
  for (int rank = 0; rank < count; ++rank) {
    const auto slot = static_cast<std::size_t>(rank);
    const std::uint32_t index = estimate.rankOrder[slot];
    FrameEstimate &frame = result.frames[index];
    frame.rank = rank;
    frame.frameFromReference = estimate.frameFromReference[slot];
    std::copy_n(estimate.transforms.slot(index), estimate.transforms.length(), result.warpTransforms[index].begin());
    if (rank == 0) {
      frame.verdict = Verdict::Reference;
      continue;
    }
    const LinkEvidence &evidence = estimate.evidence[slot];
    frame.pairs = evidence.pairs;
    frame.inliers = evidence.inliers;
    frame.rms = evidence.rms;
    const RankVerdict ranked = verdict.next(evidence, estimate.consensus[slot]);
    frame.expectedError = ranked.expectedError;
    frame.verdict = ranked.doubt == Doubt::None ? Verdict::Found : Verdict::NotFound;
    frame.reason = describe(ranked.doubt);
  }
  result.reference = static_cast<int>(estimate.rankOrder[0]);
}

} // namespace

void estimateByFeatures(std::span<const ImageView> frames, const StackOptions &options, StackEstimate &result) {
  ViewFrames source(frames);
  OwnRandom random;
  FeatureProgress progress{options.progress};
  const Estimate estimate =
      estimateTransforms(source,
                         {.threads = options.threads,
                          .maxShiftX = options.maxShiftX,
                          .maxShiftY = options.maxShiftY,
                          .brightness = ownSamples(frames[0].channels),
                          .progress = {.function = FeatureProgress::report, .state = &progress}},
                         {.model = options.model == Model::Affine ? LinkModel::Affine : LinkModel::Perspective,
                          .threads = options.threads,
                          .polish = options.polish,
                          .keepFrameSize = !options.cropToCommon,
                          .random = {.next = OwnRandom::next, .state = &random}});
  result.outcome = outcomeOf(estimate.status);
  if (estimate.status != Status::Ok) return;
  result.offsetX = estimate.window.offsetX;
  result.offsetY = estimate.window.offsetY;
  result.outputSize = estimate.window.size;
  describeFrames(estimate, static_cast<int>(frames.size()), result);
}

} // namespace vindrel
