#include "driver/WarpBlock.h"

#include "base/Buffer.h"
#include "base/StaticShare.h"
#include "driver/BandedWarp.h"
#include "driver/BlockCopies.h"
#include "driver/TilePass.h"
#include "transform/Transform.h"
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

// As many rows as fit the bytes, and one at least.
int bandRows(Size out, std::size_t outBytes, std::size_t bytes) {
  if (out.height < 1 || outBytes <= bytes) return out.height;
  return static_cast<int>(std::max<std::size_t>(1, bytes / (outBytes / static_cast<std::size_t>(out.height))));
}

} // namespace

Status warpBlock(const Estimate &estimate, const FrameFormat &format, int frames, void *block,
                 const WarpBlockSettings &settings) {
  const bool perspective = estimate.model == LinkModel::Perspective;
  const Size out = estimate.window.size;
  const auto sampleBytes = static_cast<std::size_t>(bytesPerSample(format.depth));
  const std::size_t frameBytes = static_cast<std::size_t>(packedSamples(format.size, format.channels)) * sampleBytes;
  const std::size_t outBytes = static_cast<std::size_t>(packedSamples(out, format.channels)) * sampleBytes;
  const bool packed = settings.sourceStride == std::int64_t{format.size.width} * format.channels;
  // The warp leaves a channel between the middle and the last of a pixel without a source as it finds it: what the
  // frame before has left there, in one buffer of a whole frame for all of them.
  const bool leavesTraces = format.channels > kWhitenedChannels;
  // Perspective frames go by rank and stay in their own place until all are warped, which is what a cancelled call
  // leaves; where nobody can cancel, and for affine frames, they go by storage and are packed as they come.
  const bool byRank = perspective && (settings.progress.function != nullptr || leavesTraces);
  auto *bytes = static_cast<std::uint8_t *>(block);

  const auto warpOf = [&](int k) -> BandedWarp {
    const std::uint32_t index =
        byRank ? estimate.rankOrder[static_cast<std::size_t>(k)] : static_cast<std::uint32_t>(k);
    return {.job = {.source = {.samples = bytes + index * frameBytes,
                               .size = format.size,
                               .channels = format.channels,
                               .rowStride = settings.sourceStride,
                               .depth = format.depth},
                    .dstWidth = out.width,
                    .offsetX = estimate.window.offsetX,
                    .offsetY = estimate.window.offsetY,
                    .transform = {.perspective = perspective, .coefficients = estimate.transforms.slot(index)}},
            .out = out,
            .place = bytes + index * (byRank ? frameBytes : outBytes),
            .bandRows = leavesTraces || !packed ? out.height : bandRows(out, outBytes, settings.bandBytes)};
  };
  std::size_t ringBytes = 0;
  for (int k = 0; k < frames; ++k) {
    const BandedWarp warp = warpOf(k);
    ringBytes = std::max(ringBytes, static_cast<std::size_t>(ringBands(warp)) * bandBytes(warp));
  }
  Buffer<std::uint8_t> ring = Buffer<std::uint8_t>::unfilled(ringBytes);
  if (!ring) return Status::OutOfMemory;
  if (leavesTraces) std::memset(ring.data(), 0, ringBytes);
  RowTeam team(usefulThreads(out.height, settings.threads));

  for (int k = 0; k < frames; ++k) {
    const BandedWarp warp = warpOf(k);
    if (isPlainCrop(warp.job, out)) {
      cropDown(warp.place, warp.job.source, -warp.job.offsetX, -warp.job.offsetY, out);
    } else {
      warpInBands(warp, team, ring.data());
    }
    if (!settings.progress.report(kFeatureShare + (k + 1) * (kWarpShare / frames))) return Status::Cancelled;
  }
  if (byRank && outBytes != frameBytes) {
    for (int i = 1; i < frames; ++i) {
      const auto index = static_cast<std::size_t>(i);
      moveDownByTeam(team, bytes + index * outBytes, bytes + index * frameBytes, outBytes);
    }
  }
  return Status::Ok;
}

} // namespace vindrel
