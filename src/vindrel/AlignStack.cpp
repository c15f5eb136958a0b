#include "vindrel/AlignStack.h"

#include "driver/Estimate.h"
#include "driver/TilePass.h"
#include "driver/Verdict.h"
#include "warp/ThreadedWarp.h"
#include "warp/Warp.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace vindrel {
namespace {

constexpr int kMaxChannels = 4;
constexpr int kMaxThreads = 1024;
constexpr int kDefaultShiftDivisor = 10; // without a range, partners may lie a tenth of the frame apart

class ViewFrames final : public FrameSource {
public:
  explicit ViewFrames(std::span<const ImageView> frames) : frames_(frames) {}
  int count() const override { return static_cast<int>(frames_.size()); }
  FrameFormat format() const override {
    return {.size = frames_[0].size, .channels = frames_[0].channels, .depth = frames_[0].depth};
  }
  ImageView frame(int index) override { return frames_[static_cast<std::size_t>(index)]; }

private:
  std::span<const ImageView> frames_;
};

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

bool sameFormat(const ImageView &a, const ImageView &b) {
  return a.size == b.size && a.channels == b.channels && a.depth == b.depth;
}

std::string argumentError(std::span<const ImageView> frames, const StackOptions &options) {
  if (frames.empty()) return "frames: none given; hand over at least one";
  if (options.threads < 1 || options.threads > kMaxThreads) return "threads: must be 1 to 1024";
  if (options.maxShiftX < 0 || options.maxShiftY < 0) return "maxShiftX, maxShiftY: must not be negative";
  for (std::size_t i = 0; i < frames.size(); ++i) {
    const ImageView &frame = frames[i];
    const std::string name = "frame " + std::to_string(i);
    if (frame.samples == nullptr) return name + ": has no samples";
    if (frame.size.width < 1 || frame.size.height < 1) return name + ": is empty";
    if (frame.channels < 1 || frame.channels > kMaxChannels) return name + ": must have 1 to 4 channels";
    if (frame.rowStride < static_cast<std::int64_t>(frame.size.width) * frame.channels) {
      return name + ": its row stride is shorter than a row";
    }
    if (!sameFormat(frame, frames[0])) return name + ": differs from frame 0 in size, channels or sample depth";
  }
  return {};
}

StackEstimate::Outcome outcomeOf(Status status) {
  switch (status) {
  case Status::Ok:
    return StackEstimate::Outcome::Done;
  case Status::Cancelled:
    return StackEstimate::Outcome::Cancelled;
  case Status::OutOfMemory:
    break;
  }
  return StackEstimate::Outcome::OutOfMemory;
}

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

StackEstimate estimateStack(std::span<const ImageView> frames, const StackOptions &options) {
  StackEstimate result;
  result.message = argumentError(frames, options);
  if (!result.message.empty()) {
    result.outcome = StackEstimate::Outcome::BadArgument;
    return result;
  }
  const Size size = frames[0].size;
  ViewFrames source(frames);
  OwnRandom random;
  FeatureProgress progress{options.progress};
  const Estimate estimate = estimateTransforms(
      source, {.model = options.model == Model::Affine ? LinkModel::Affine : LinkModel::Perspective,
               .threads = options.threads,
               .maxShiftX = options.maxShiftX > 0 ? options.maxShiftX : size.width / kDefaultShiftDivisor,
               .maxShiftY = options.maxShiftY > 0 ? options.maxShiftY : size.height / kDefaultShiftDivisor,
               .polish = options.polish,
               .keepFrameSize = !options.cropToCommon,
               .brightness = ownSamples(frames[0].channels),
               .random = {.next = OwnRandom::next, .state = &random},
               .progress = {.function = FeatureProgress::report, .state = &progress}});
  result.outcome = outcomeOf(estimate.status);
  if (estimate.status != Status::Ok) return result;
  result.model = options.model;
  result.frameSize = size;
  result.offsetX = estimate.window.offsetX;
  result.offsetY = estimate.window.offsetY;
  result.outputSize = estimate.window.size;
  describeFrames(estimate, static_cast<int>(frames.size()), result);
  return result;
}

bool warpFrame(const StackEstimate &estimate, int index, const ImageView &frame, const MutableImageView &out,
               int threads) {
  if (index < 0 || static_cast<std::size_t>(index) >= estimate.warpTransforms.size()) return false;
  const bool fits = frame.samples != nullptr && frame.size == estimate.frameSize && frame.channels >= 1 &&
                    frame.rowStride >= static_cast<std::int64_t>(frame.size.width) * frame.channels &&
                    out.samples != nullptr && out.size == estimate.outputSize && out.channels == frame.channels &&
                    out.depth == frame.depth &&
                    out.rowStride == static_cast<std::int64_t>(out.size.width) * out.channels;
  if (!fits) return false;
  const WarpJob job{.source = frame,
                    .dstWidth = out.size.width,
                    .offsetX = estimate.offsetX,
                    .offsetY = estimate.offsetY,
                    .transform = {.perspective = estimate.model == Model::Perspective,
                                  .coefficients = estimate.warpTransforms[static_cast<std::size_t>(index)].data()}};
  warpOnThreads(job, out.size.height, std::max(1, threads), out.samples);
  return true;
}

} // namespace vindrel
