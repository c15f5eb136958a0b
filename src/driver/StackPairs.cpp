#include "driver/StackPairs.h"

#include "driver/ProfileLog.h"
#include "driver/Ranking.h"
#include "driver/TileGrid.h"
#include "driver/TilePass.h"

#include <algorithm>

namespace vindrel {
namespace {

constexpr int kLeastPairBudget = 20;
constexpr int kPairBudgetShift = 4; // a pair for every 16 pixels of width and height

Status rankFrames(FrameSource &frames, const PairSettings &settings, std::uint32_t *rankOrder) {
  const auto count = static_cast<std::size_t>(frames.count());
  const FrameFormat format = frames.format();
  const std::int64_t frameSamples = packedSamples(format.size, format.channels);
  Buffer<RankEntry> entries = Buffer<RankEntry>::zeroed(count);
  if (!entries) return Status::OutOfMemory;
  for (std::size_t i = 0; i < count; ++i) {
    const std::optional<ImageView> frame = frames.frame(static_cast<int>(i));
    if (!frame) return Status::FrameMissing;
    // Of rows that lie before the first one in memory, none is cut off.
    const std::int64_t own = std::max<std::int64_t>((frame->size.height - 1) * frame->rowStride, 0) +
                             static_cast<std::int64_t>(frame->size.width) * frame->channels;
    const std::int64_t readable =
        settings.readableSamples > 0 ? settings.readableSamples - static_cast<std::int64_t>(i) * frameSamples : own;
    entries[i] = {.index = static_cast<std::int64_t>(i),
                  .sum = sumBrightness(*frame, settings.brightness, readable, settings.threads)};
  }
  rankByBrightness(entries.data(), frames.count(), rankOrder);
  return Status::Ok;
}

Status matchRanks(FrameSource &frames, const PairSettings &settings, StackPairs &result) {
  const TileGrid grid = makeTileGrid(result.frame, pairBudgetFor(result.frame));
  result.room = static_cast<std::size_t>(grid.count()) * static_cast<std::size_t>(grid.pairCap);
  if (!result.arrays.allocate(static_cast<std::size_t>(result.count - 1) * result.room)) return Status::OutOfMemory;
  TilePass pass(grid, {.threads = settings.threads,
                       .window = result.window,
                       .progress = settings.progress,
                       .passes = result.count - 1});
  if (!pass.allocate()) return Status::OutOfMemory;
  const double start = elapsedSeconds();
  for (int rank = 1; rank < result.count; ++rank) {
    const auto slot = static_cast<std::size_t>(rank);
    // Points found in one pass serve the next, which needs no pixels of its brighter frame any more.
    const std::optional<ImageView> brighter =
        rank == 1 ? frames.frame(static_cast<int>(result.rankOrder[0])) : ImageView{};
    const std::optional<ImageView> darker = frames.frame(static_cast<int>(result.rankOrder[slot]));
    if (!brighter || !darker) return Status::FrameMissing;
    if (const Status status = pass.run(rank, *brighter, *darker); status != Status::Ok) return status;
    if (const Status status = pass.retryWithNeighbours(); status != Status::Ok) return status;
    result.seconds = elapsedSeconds() - start;
    profileLog(0, "Time taken after feature matching for %d processors is %f\n", settings.threads, result.seconds);
    const PairsView found = pass.collectPairs();
    result.pairCount[slot] = found.count;
    copyPairs(found, result.arrays.from((slot - 1) * result.room));
  }
  return Status::Ok;
}

} // namespace

int pairBudgetFor(Size frame) {
  return std::max(kLeastPairBudget,
                  static_cast<int>((static_cast<std::int64_t>(frame.width) + frame.height) >> kPairBudgetShift));
}

StackPairs collectStackPairs(FrameSource &frames, const PairSettings &settings) {
  StackPairs result;
  result.count = frames.count();
  result.frame = frames.format().size;
  result.window = {.rangeX = settings.maxShiftX, .rangeY = settings.maxShiftY};
  const auto room = static_cast<std::size_t>(std::max(result.count, 1));
  result.rankOrder = Buffer<std::uint32_t>::zeroed(room);
  result.pairCount = Buffer<int>::zeroed(room);
  if (!result.rankOrder || !result.pairCount) {
    result.status = Status::OutOfMemory;
    return result;
  }
  result.status = rankFrames(frames, settings, result.rankOrder.data());
  if (result.status == Status::Ok && result.count > 1) result.status = matchRanks(frames, settings, result);
  return result;
}

} // namespace vindrel
