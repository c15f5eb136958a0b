// One pass over the tile grid: the feature points of the frame at a rank are found tile by tile, on a team of threads,
// and matched against those of the frame one rank brighter. Points found in one pass serve the next as its brighter
// frame's.
#pragma once

#include "base/Buffer.h"
#include "base/FrameSource.h"
#include "base/Progress.h"
#include "base/Status.h"
#include "driver/TileBuffers.h"
#include "driver/TileGrid.h"

namespace vindrel {

struct TilePassSettings {
  int threads = 1;
  MatchWindow window;     // largest displacement between partners
  Progress progress = {}; // receives fractions up to kFeatureShare
  int passes = 1;         // over the whole stack: the number of frames but one
};

// The part of the whole call's progress that the passes take.
constexpr double kFeatureShare = 0.9;

class TilePass {
public:
  TilePass(const TileGrid &grid, const TilePassSettings &settings) : grid_(grid), settings_(settings) {}

  // False when an allocation failed.
  bool allocate();

  // Pass `rank` (1 and up, in order): matches `darker`, the frame at that rank, against `brighter`, one rank before.
  // Ends as Cancelled when the progress report asked for it; the tiles done by then keep their pairs.
  Status run(int rank, const ImageView &brighter, const ImageView &darker);

  // Tiles that came out with few pairs are given another chance against the points of their neighbours.
  Status retryWithNeighbours();

  // The pairs of all tiles, in tile order. Valid until the next pass.
  PairsView collectPairs();

private:
  Status detect(const ImageView &frame, int tile, std::uint8_t *grey, TilePoints &points) const;
  Status matchTile(int tile, const ImageView &brighter, const ImageView &darker, bool first, std::uint8_t *grey);

  TileGrid grid_;
  TilePassSettings settings_;
  TilePoints points_[2];  // of the frames at even and odd ranks
  Buffer<int> pairCount_; // per tile
  Buffer<int> taken_;     // per tile: 1 once a thread has begun it in this pass
  PairArrays pairs_;      // pairCap entries per tile
  PairArrays collected_;
  TilePoints *brighterPoints_ = &points_[0];
  TilePoints *darkerPoints_ = &points_[1];
};

} // namespace vindrel
