#include "vindrel/AlignStack.h"

#include "translate/ShiftCrop.h"
#include "vindrel/EstimateSteps.h"
#include "warp/ThreadedWarp.h"
#include "warp/Warp.h"

#include <algorithm>

namespace vindrel {
namespace {

constexpr int kMaxChannels = 4;
constexpr int kMaxThreads = 1024;
constexpr int kDefaultShiftDivisor = 10; // without a range, partners may lie a tenth of the frame apart

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

bool fitsEstimate(const StackEstimate &estimate, int index, const ImageView &frame, const MutableImageView &out) {
  return index >= 0 && static_cast<std::size_t>(index) < estimate.frames.size() && frame.samples != nullptr &&
         frame.size == estimate.frameSize && frame.channels >= 1 &&
         frame.rowStride >= static_cast<std::int64_t>(frame.size.width) * frame.channels && out.samples != nullptr &&
         out.size == estimate.outputSize && out.channels == frame.channels && out.depth == frame.depth &&
         out.rowStride == static_cast<std::int64_t>(out.size.width) * out.channels;
}

} // namespace

StackEstimate estimateStack(std::span<const ImageView> frames, const StackOptions &options) {
  StackEstimate result;
  result.message = argumentError(frames, options);
  if (!result.message.empty()) {
    result.outcome = StackEstimate::Outcome::BadArgument;
    return result;
  }
  StackOptions complete = options;
  result.model = options.model;
  result.frameSize = frames[0].size;
  if (complete.maxShiftX == 0) complete.maxShiftX = result.frameSize.width / kDefaultShiftDivisor;
  if (complete.maxShiftY == 0) complete.maxShiftY = result.frameSize.height / kDefaultShiftDivisor;
  if (options.model == Model::Shift) {
    estimateByShifts(frames, complete, result);
  } else {
    estimateByFeatures(frames, complete, result);
  }
  return result;
}

bool warpFrame(const StackEstimate &estimate, int index, const ImageView &frame, const MutableImageView &out,
               int threads) {
  if (!fitsEstimate(estimate, index, frame, out)) return false;
  const auto slot = static_cast<std::size_t>(index);
  if (estimate.model == Model::Shift) {
    FrameShift shift;
    shift.x = estimate.pixelShifts[slot].x;
    shift.y = estimate.pixelShifts[slot].y;
    copyShifted(frame, shift, {.outputSize = estimate.outputSize, .minX = estimate.offsetX, .minY = estimate.offsetY},
                out);
    return true;
  }
  const WarpJob job{.source = frame,
                    .dstWidth = out.size.width,
                    .offsetX = estimate.offsetX,
                    .offsetY = estimate.offsetY,
                    .transform = {.perspective = estimate.model == Model::Perspective,
                                  .coefficients = estimate.warpTransforms[slot].data()}};
  warpOnThreads(job, out.size.height, std::max(1, threads), out.samples);
  return true;
}

} // namespace vindrel
