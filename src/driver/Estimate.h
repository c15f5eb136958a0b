// The first of the two steps of a stack's alignment: from the frames to a transform for each, with its evidence, and
// the window they are warped into. Reads the frames, changes nothing.
#pragma once

#include "base/Buffer.h"
#include "base/Progress.h"
#include "base/Status.h"
#include "driver/Brightness.h"
#include "driver/Chain.h"
#include "driver/CommonRectangle.h"
#include "driver/FrameSource.h"
#include "driver/Links.h"

#include <cstdint>

namespace vindrel {

struct EstimateSettings {
  LinkModel model = LinkModel::Affine;
  int threads = 1;
  int maxShiftX = 0, maxShiftY = 0; // largest displacement between the points of neighbouring ranks, pixels
  bool polish = false;              // affine: fit all agreeing pairs after the search
  bool keepFrameSize = false;       // no crop: the output has the frames' size
  BrightnessSamples brightness = kThreeConsecutiveSamples;
  std::int64_t readableSamples = 0; // from a source's first frame on, when all lie in one block; 0: each on its own
  RandomSource random;              // the affine search draws from it
  Progress progress = {};           // fractions up to kFeatureShare
};

struct Estimate {
  Status status = Status::Ok;
  Size frame;
  Buffer<std::uint32_t> rankOrder;                  // storage index at each rank
  Buffer<LinkEvidence> evidence;                    // by rank; entry 0 unused
  Buffer<bool> consensus;                           // by rank: whether the link is more than a fallback
  Buffer<std::array<double, 9>> frameFromReference; // by rank, row-major, last element 1
  TransformTable transforms{LinkModel::Affine, 0};  // whole chains, by storage index
  LinkModel model = LinkModel::Affine;
  CropWindow window;
  bool abandoned = false; // the frames share too little: all stay where they are
  int cropped = 0;        // columns plus rows that the window leaves out
};

// How many pairs the searches are to work on for a frame of this size.
int pairBudgetFor(Size frame);

Estimate estimateTransforms(FrameSource &frames, const EstimateSettings &settings);

} // namespace vindrel
