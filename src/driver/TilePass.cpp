#include "driver/TilePass.h"

#include "base/StaticShare.h"
#include "features/BlobDetector.h"
#include "features/GreyImage.h"

#include <algorithm>
#include <atomic>
#include <mutex>
#include <omp.h>

namespace vindrel {
namespace {

constexpr int kDetectionLevels = 1; // the single-level detection that the detector is built for
constexpr int kEnoughPairs = 20;    // a tile below this asks its neighbours; above it stops asking
constexpr int kUsefulPoints = 9;    // a neighbour with more points than this is worth asking

ImageView crop(const ImageView &frame, const Area &area) {
  ImageView part = frame;
  const std::int64_t first = area.y * frame.rowStride + static_cast<std::int64_t>(area.x) * frame.channels;
  part.samples = static_cast<const std::uint8_t *>(frame.samples) + first * bytesPerSample(frame.depth);
  part.size = {area.width, area.height};
  return part;
}

std::size_t detectionBytes(const TileGrid &grid) {
  return static_cast<std::size_t>(grid.tileWidth + 2 * kTileOverlap) *
         static_cast<std::size_t>(grid.tileHeight + 2 * kTileOverlap);
}

} // namespace

bool TilePass::allocate() {
  const int tiles = grid_.count();
  const std::size_t pairRoom = static_cast<std::size_t>(tiles) * static_cast<std::size_t>(grid_.pairCap);
  pairCount_ = Buffer<int>::zeroed(static_cast<std::size_t>(tiles));
  taken_ = Buffer<int>::zeroed(static_cast<std::size_t>(tiles));
  return pairCount_ && taken_ && points_[0].allocate(tiles) && points_[1].allocate(tiles) &&
         pairs_.allocate(pairRoom) && collected_.allocate(pairRoom);
}

Status TilePass::detect(const ImageView &frame, int tile, std::uint8_t *grey, TilePoints &points) const {
  const Area area = grid_.detectionArea(tile);
  const FeaturePointsView room = points.room(tile);
  convertToGrey(crop(frame, area), grey);
  const DetectionResult found = detectPoints(grey, {area.width, area.height}, kDetectionLevels, kPointBudget, room);
  points.count(tile) = found.status == Status::Ok ? found.count : 0;
  for (int i = 0; i < points.count(tile); ++i) {
    room.x[i] += area.x;
    room.y[i] += area.y;
  }
  return found.status;
}

Status TilePass::matchTile(int tile, const ImageView &brighter, const ImageView &darker, bool first,
                           std::uint8_t *grey) {
  pairCount_[static_cast<std::size_t>(tile)] = 0;
  if (first) {
    if (const Status status = detect(brighter, tile, grey, *brighterPoints_); status != Status::Ok) return status;
  } else if (brighterPoints_->count(tile) < 1) {
    // Without points to match against, the tile is given up for the rest of the stack.
    darkerPoints_->count(tile) = 0;
    return Status::Ok;
  }
  if (const Status status = detect(darker, tile, grey, *darkerPoints_); status != Status::Ok) return status;
  if (brighterPoints_->count(tile) < 1) return Status::Ok;
  const std::size_t slice = static_cast<std::size_t>(tile) * static_cast<std::size_t>(grid_.pairCap);
  const MatchResult matched = matchPairs(brighterPoints_->points(tile), darkerPoints_->points(tile), settings_.window,
                                         grid_.pairCap, pairs_.from(slice));
  if (matched.status == Status::Ok) pairCount_[static_cast<std::size_t>(tile)] = matched.count;
  return matched.status;
}

Status TilePass::run(int rank, const ImageView &brighter, const ImageView &darker) {
  if (rank > 1) std::swap(brighterPoints_, darkerPoints_);
  const int tiles = grid_.count();
  const bool first = rank == 1;
  const double allTiles = static_cast<double>(settings_.passes) * tiles;
  std::atomic<bool> outOfMemory = false;
  std::atomic<bool> cancelled = false;
  int done = 0; // changed under the lock only
  // A lock of this pass: one that all passes of the process share would let the callback of one stack hold up another.
  std::mutex reporting;

  std::fill(taken_.begin(), taken_.end(), 0);
  const auto take = [this](int tile) {
    return std::atomic_ref(taken_[static_cast<std::size_t>(tile)]).exchange(1, std::memory_order_relaxed) == 0;
  };

#pragma omp parallel num_threads(usefulThreads(tiles, settings_.threads))
  {
    Buffer<std::uint8_t> grey = Buffer<std::uint8_t>::unfilled(detectionBytes(grid_));
    if (!grey) outOfMemory = true;
    const auto work = [&](int tile) {
      if (outOfMemory || cancelled || !take(tile)) return;
      if (matchTile(tile, brighter, darker, first, grey.data()) != Status::Ok) {
        outOfMemory = true;
        return;
      }
      const std::lock_guard<std::mutex> lock(reporting);
      ++done;
      const double fraction = (done + static_cast<double>(rank - 1) * tiles + 1) * kFeatureShare / allTiles;
      if (!settings_.progress.report(fraction)) cancelled = true;
    };
    const StaticShare share = staticShare(tiles, omp_get_thread_num(), omp_get_num_threads());
    for (int tile = share.begin; tile < share.end; ++tile)
      work(tile);
    // A share of sky is done long before one of leaves: whoever has finished takes what the others have not come to,
    // from the ends of their shares.
    for (int tile = tiles - 1; tile >= 0; --tile)
      work(tile);
  }
  if (outOfMemory) return Status::OutOfMemory;
  return cancelled ? Status::Cancelled : Status::Ok;
}

Status TilePass::retryWithNeighbours() {
  for (int tile = 0; tile < grid_.count(); ++tile) {
    int &count = pairCount_[static_cast<std::size_t>(tile)];
    if (count >= kEnoughPairs) continue;
    const int column = tile % grid_.columns;
    const int row = tile / grid_.columns;
    const struct {
      bool exists;
      int tile;
    } neighbours[] = {{column > 0, tile - 1},
                      {column + 1 < grid_.columns, tile + 1},
                      {row > 0, tile - grid_.columns},
                      {row + 1 < grid_.rows, tile + grid_.columns}};
    for (const auto &neighbour : neighbours) {
      if (count > kEnoughPairs || count >= grid_.pairCap) break;
      if (!neighbour.exists || darkerPoints_->count(neighbour.tile) <= kUsefulPoints) continue;
      const std::size_t slice = static_cast<std::size_t>(tile) * static_cast<std::size_t>(grid_.pairCap);
      const MatchResult matched =
          matchPairs(brighterPoints_->points(tile), darkerPoints_->points(neighbour.tile), settings_.window,
                     grid_.pairCap - count, pairs_.from(slice + static_cast<std::size_t>(count)));
      if (matched.status != Status::Ok) return matched.status;
      count += matched.count;
    }
  }
  return Status::Ok;
}

PairsView TilePass::collectPairs() {
  int total = 0;
  for (int tile = 0; tile < grid_.count(); ++tile) {
    const int count = pairCount_[static_cast<std::size_t>(tile)];
    const std::size_t slice = static_cast<std::size_t>(tile) * static_cast<std::size_t>(grid_.pairCap);
    copyPairs(pairs_.view(slice, count), collected_.from(static_cast<std::size_t>(total)));
    total += count;
  }
  return collected_.view(0, total);
}

} // namespace vindrel
