#include "driver/WarpBlock.h"

#include "base/Buffer.h"
#include "driver/BlockCopies.h"
#include "driver/TilePass.h"
#include "transform/Transform.h"
#include "warp/ThreadedWarp.h"
#include "warp/Warp.h"

#include <algorithm>
#include <cstring>

namespace vindrel {
namespace {

constexpr double kWarpShare = 0.1;   // of the whole call's progress
constexpr int kWhitenedChannels = 3; // of a pixel without a source

// Whether the warp yields the frame's own samples, as it does of the reference: the identity, whose coordinates single
// precision holds exactly, and every pixel of the window with a neighbour on its right and below, so that none is
// marked as outside. With more channels than are whitened the warp also leaves these samples in the output buffer,
// where they show through pixels without a source of the frames that follow.
bool isPlainCrop(const WarpJob &job, Size out) {
  constexpr int kExactInFloat = 1 << 24;
  const float *t = job.transform.coefficients;
  const bool identity =
      job.transform.perspective ? std::equal(t, t + 8, kIdentity8.begin()) : std::equal(t, t + 6, kIdentity6.begin());
  const Size frame = job.source.size;
  const std::int64_t left = -std::int64_t{job.offsetX}, top = -std::int64_t{job.offsetY};
  const bool packed = job.source.rowStride == std::int64_t{frame.width} * job.source.channels;
  const bool leavesNoTrace = job.source.channels <= kWhitenedChannels;
  return identity && packed && leavesNoTrace && left >= 0 && top >= 0 && left + out.width < frame.width &&
         top + out.height < frame.height && frame.width <= kExactInFloat && frame.height <= kExactInFloat;
}

} // namespace

Status warpBlock(const Estimate &estimate, const FrameFormat &format, int frames, void *block,
                 const WarpBlockSettings &settings) {
  const bool perspective = estimate.model == LinkModel::Perspective;
  const Size out = estimate.window.size;
  const auto sampleBytes = static_cast<std::size_t>(bytesPerSample(format.depth));
  const std::size_t frameBytes = static_cast<std::size_t>(packedSamples(format.size, format.channels)) * sampleBytes;
  const std::size_t outBytes = static_cast<std::size_t>(packedSamples(out, format.channels)) * sampleBytes;
  auto *bytes = static_cast<std::uint8_t *>(block);
  Buffer<std::uint8_t> warped = Buffer<std::uint8_t>::unfilled(outBytes);
  if (!warped) return Status::OutOfMemory;
  // The warp leaves a channel between the middle and the last of a pixel without a source as it finds it.
  if (format.channels > kWhitenedChannels) std::memset(warped.data(), 0, outBytes);

  for (int k = 1; k <= frames; ++k) {
    // Perspective frames go by rank and stay in their own place, affine ones by storage and are packed as they come.
    const std::uint32_t index =
        perspective ? estimate.rankOrder[static_cast<std::size_t>(k - 1)] : static_cast<std::uint32_t>(k - 1);
    const WarpJob job{.source = {.samples = bytes + index * frameBytes,
                                 .size = format.size,
                                 .channels = format.channels,
                                 .rowStride = settings.sourceStride,
                                 .depth = format.depth},
                      .dstWidth = out.width,
                      .offsetX = estimate.window.offsetX,
                      .offsetY = estimate.window.offsetY,
                      .transform = {.perspective = perspective, .coefficients = estimate.transforms.slot(index)}};
    std::uint8_t *const place = bytes + index * (perspective ? frameBytes : outBytes);
    if (isPlainCrop(job, out)) {
      cropDown(place, job.source, -job.offsetX, -job.offsetY, out);
    } else {
      warpOnThreads(job, out.height, settings.threads, warped.data());
      copyOnThreads(place, warped.data(), outBytes, settings.threads);
    }
    if (!settings.progress.report(kFeatureShare + k * (kWarpShare / frames))) return Status::Cancelled;
  }
  if (perspective && outBytes != frameBytes) {
    for (int i = 1; i < frames; ++i) {
      const auto index = static_cast<std::size_t>(i);
      moveDownOnThreads(bytes + index * outBytes, bytes + index * frameBytes, outBytes, settings.threads);
    }
  }
  return Status::Ok;
}

} // namespace vindrel
