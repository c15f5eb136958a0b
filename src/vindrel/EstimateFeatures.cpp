#include "driver/Estimate.h"
#include "driver/ModelChoice.h"
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

RankedStack describeEstimate(const Estimate &estimate, int count) {
  RankedStack result;
  result.status = estimate.status;
  if (estimate.status != Status::Ok) return result;
  result.model = estimate.model == LinkModel::Affine ? Model::Affine : Model::Perspective;
  result.littleOverlap = estimate.abandoned;
  result.common = {-estimate.window.offsetX, -estimate.window.offsetY, estimate.window.size.width,
                   estimate.window.size.height};
  for (int i = 0; i < count; ++i) {
    const auto slot = static_cast<std::size_t>(i);
    result.order.push_back(static_cast<int>(estimate.rankOrder[slot]));
    result.fromAnchor.push_back(widened(estimate.transforms, static_cast<std::uint32_t>(i)));
    result.links.push_back(i == 0 ? RankedLink{} : describeLink(estimate.evidence[slot], estimate.consensus[slot]));
  }
  return result;
}

// Links of whole pixels, chained.
RankedStack describeShifts(const StackPairs &pairs, const std::vector<WholeShift> &shifts) {
  RankedStack result;
  result.model = Model::Shift;
  result.fromAnchor.resize(shifts.size());
  WholeShift chain;
  for (int rank = 0; rank < pairs.count; ++rank) {
    const auto slot = static_cast<std::size_t>(rank);
    result.order.push_back(static_cast<int>(pairs.rankOrder[slot]));
    result.links.push_back({});
    if (rank == 0) continue;
    const WholeShift &shift = shifts[slot];
    chain = {chain.x + shift.x, chain.y + shift.y};
    result.fromAnchor[pairs.rankOrder[slot]] = Transform::translation(chain.x, chain.y);
    const Trans8 link = {1, 0, static_cast<float>(shift.x), 0, 1, static_cast<float>(shift.y), 0, 0};
    // Against what six parameters would make of the pairs: two cannot know what they cannot express.
    result.links[slot] =
        describeLink(measureLink(pairs.pairs(rank), link, LinkModel::Affine, pairs.frame, pairs.window), true);
  }
  std::vector<const Transform *> all;
  for (const Transform &transform : result.fromAnchor)
    all.push_back(&transform);
  result.common = commonOfShifts(pairs.frame, all);
  if (!worthKeeping(CropWindow{.size = result.common.size()}, pairs.frame)) {
    result.littleOverlap = true;
    std::fill(result.fromAnchor.begin(), result.fromAnchor.end(), Transform{});
    result.common = {0, 0, pairs.frame.width, pairs.frame.height};
  }
  return result;
}

RankedStack chooseModel(const StackPairs &pairs, const StackOptions &options) {
  OwnRandom random;
  const Estimate perspective = linkStack(pairs, {.model = LinkModel::Perspective, .threads = options.threads});
  const Estimate affine = linkStack(
      pairs, {.model = LinkModel::Affine, .threads = options.threads, .polish = true, .random = random.source()});
  for (const Estimate *estimate : {&perspective, &affine})
    if (estimate->status != Status::Ok) return describeEstimate(*estimate, pairs.count);
  std::vector<WholeShift> shifts(static_cast<std::size_t>(pairs.count));
  const ModelScores scores = scoreModels(pairs, affine, perspective, shifts.data());
  const bool shiftSuffices = scores.links > 0 && scores.shift <= std::min(scores.affine, scores.perspective);
  const bool affineSuffices = scores.links > 0 && scores.affine <= scores.perspective;
  RankedStack result = shiftSuffices ? describeShifts(pairs, shifts)
                                     : describeEstimate(affineSuffices ? affine : perspective, pairs.count);
  result.scores = {
      {Model::Shift, scores.shift}, {Model::Affine, scores.affine}, {Model::Perspective, scores.perspective}};
  return result;
}

} // namespace

RankedStack estimateByFeatures(CallerFrames &frames, const StackOptions &options, const Progress &progress) {
  FeatureProgress limited{progress};
  const StackPairs pairs =
      collectStackPairs(frames, {.threads = options.threads,
                                 .maxShiftX = options.maxShiftX,
                                 .maxShiftY = options.maxShiftY,
                                 .brightness = ownSamples(frames.format().channels),
                                 .progress = {.function = FeatureProgress::report, .state = &limited}});
  RankedStack result;
  result.status = pairs.status;
  if (pairs.status != Status::Ok) return result;
  if (options.model == Model::Auto) {
    result = chooseModel(pairs, options);
  } else {
    OwnRandom random;
    result = describeEstimate(
        linkStack(pairs, {.model = options.model == Model::Affine ? LinkModel::Affine : LinkModel::Perspective,
                          .threads = options.threads,
                          .polish = options.polish,
                          .random = random.source()}),
        pairs.count);
  }
  result.largestExpectedError = kLargestExpectedError;
  return result;
}

} // namespace vindrel
