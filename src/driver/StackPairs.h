// The first half of an estimate: the frames ranked by brightness, and for every rank but the first the points it shares
// with the frame one rank brighter. Nothing here depends on how the frames may differ, so that several models can be
// tried on the same pairs.
#pragma once

#include "base/Buffer.h"
#include "base/FrameSource.h"
#include "base/PairsView.h"
#include "base/Progress.h"
#include "base/Status.h"
#include "driver/Brightness.h"
#include "driver/TileBuffers.h"

#include <cstdint>

namespace vindrel {

struct PairSettings {
  int threads = 1;
  int maxShiftX = 0, maxShiftY = 0; // largest displacement between the points of neighbouring ranks, pixels
  BrightnessSamples brightness = kThreeConsecutiveSamples;
  std::int64_t readableSamples = 0; // from a source's first frame on, when all lie in one block; 0: each on its own
  Progress progress = {};           // fractions up to kFeatureShare
};

// How many pairs the searches are to work on for a frame of this size.
int pairBudgetFor(Size frame);

struct StackPairs {
  Status status = Status::Ok;
  Size frame;
  int count = 0;                   // frames
  MatchWindow window;              // within which partners were looked for
  Buffer<std::uint32_t> rankOrder; // storage index at each rank
  Buffer<int> pairCount;           // by rank; entry 0 unused
  std::size_t room = 0;            // entries of each rank in the arrays
  PairArrays arrays;
  double seconds = 0; // taken by the passes

  // Of the frames at ranks `rank` - 1 (A) and `rank` (B).
  PairsView pairs(int rank) const {
    return arrays.view(static_cast<std::size_t>(rank - 1) * room, pairCount[static_cast<std::size_t>(rank)]);
  }
};

// Asks for every frame once in storage order, then once more by rank.
StackPairs collectStackPairs(FrameSource &frames, const PairSettings &settings);

} // namespace vindrel
