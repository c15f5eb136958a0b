// The first of the two steps of a stack's alignment: from the frames to a transform for each, with its evidence, and
// the window they are warped into. Reads the frames, changes nothing.
#pragma once

#include "base/Buffer.h"
#include "base/FrameSource.h"
#include "base/Status.h"
#include "driver/Chain.h"
#include "driver/CommonRectangle.h"
#include "driver/Links.h"
#include "driver/StackPairs.h"

#include <cstdint>

namespace vindrel {

struct LinkStackSettings {
  LinkModel model = LinkModel::Affine;
  int threads = 1;
  bool polish = false;        // affine: fit all agreeing pairs after the search
  bool keepFrameSize = false; // no crop: the output has the frames' size
  RandomSource random = {};   // the affine search draws from it
};

struct Estimate {
  Status status = Status::Ok;
  Size frame;
  Buffer<std::uint32_t> rankOrder;                 // storage index at each rank
  Buffer<LinkEvidence> evidence;                   // by rank; entry 0 unused
  Buffer<bool> consensus;                          // by rank: whether the link is more than a fallback
  Buffer<Trans8> links;                            // by rank, from the frame a rank brighter; identity if none
  TransformTable transforms{LinkModel::Affine, 0}; // whole chains, by storage index
  LinkModel model = LinkModel::Affine;
  CropWindow window;
  bool abandoned = false; // the frames share too little: all stay where they are
  int cropped = 0;        // columns plus rows that the window leaves out
};

// The second half of an estimate: the pairs of every rank explained by one model, and the window that follows from it.
Estimate linkStack(const StackPairs &pairs, const LinkStackSettings &settings);

// Both halves.
Estimate estimateTransforms(FrameSource &frames, const PairSettings &pairs, const LinkStackSettings &links);

} // namespace vindrel
