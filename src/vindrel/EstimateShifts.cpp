#include "driver/TilePass.h"
#include "driver/Verdict.h"
#include "translate/ShiftCrop.h"
#include "translate/ShiftSearch.h"
#include "vindrel/EstimateSteps.h"

#include <algorithm>
#include <cmath>

namespace vindrel {
namespace {

// A shift is rounded to whole pixels: in x and in y the error lies evenly between -1/2 and 1/2 of a pixel, which is
// 1/12 in the mean square each. Comparisons round independently of each other, so that their squares add up.
constexpr double kRoundingVariance = 2.0 / 12;

// The search ends where the whole call's share of estimating ends.
struct ShiftProgress {
  Progress progress;
  static bool report(void *self, double fraction) {
    return static_cast<ShiftProgress *>(self)->progress.report(fraction * kFeatureShare);
  }
};

const char *describe(ShiftDoubt doubt) {
  switch (doubt) {
  case ShiftDoubt::None:
    return "";
  case ShiftDoubt::NotSearched:
    return "the frames are too small to be compared";
  case ShiftDoubt::AtReachEdge:
    return "its shift is at the edge of the search";
  case ShiftDoubt::NoBetterThanChance:
    return "its best match is no better than chance";
  case ShiftDoubt::Inexact:
    return "its best match is inexact";
  }
  return "";
}

// From a frame over its partner, and that one's partner, to the frame that all others are placed on.
struct WayToReference {
  int comparisons = 0;
  bool broken = false; // a comparison after the frame's own is not to be trusted
};

WayToReference wayToReference(const ShiftEstimate &estimate, int index) {
  WayToReference way;
  for (int partner = estimate.shifts[index].partner; partner >= 0; partner = estimate.shifts[partner].partner) {
    ++way.comparisons;
    if (!estimate.shifts[partner].trustworthy) way.broken = true;
  }
  return way;
}

FrameEstimate describeFrame(const ShiftEstimate &estimate, int index) {
  const FrameShift &shift = estimate.shifts[index];
  const WayToReference way = wayToReference(estimate, index);
  FrameEstimate frame;
  frame.frameFromReference = {1, 0, static_cast<double>(shift.x), 0, 1, static_cast<double>(shift.y), 0, 0, 1};
  frame.expectedError = std::sqrt(way.comparisons * kRoundingVariance);
  if (way.broken) {
    frame.reason = describe(Doubt::BrokenChain);
  } else {
    frame.verdict = shift.trustworthy ? Verdict::Found : Verdict::NotFound;
    frame.reason = describe(shift.doubt);
  }
  return frame;
}

} // namespace

void estimateByShifts(std::span<const ImageView> frames, const StackOptions &options, StackEstimate &result) {
  const Size size = frames[0].size;
  ShiftProgress progress{options.progress};
  const float fraction = fractionForShift(size, std::max(options.maxShiftX, options.maxShiftY));
  const ShiftEstimate estimate =
      estimateShifts(frames, fraction, {.function = ShiftProgress::report, .state = &progress});
  result.outcome = outcomeOf(estimate.status);
  if (estimate.status != Status::Ok) return;

  for (int i = 0; i < estimate.count; ++i) {
    const FrameShift &shift = estimate.shifts[i];
    result.frames.push_back(describeFrame(estimate, i));
    result.pixelShifts.push_back({shift.x, shift.y});
  }
  for (int rank = 0; rank < estimate.count; ++rank)
    result.frames[static_cast<std::size_t>(estimate.order[rank])].rank = rank;
  result.reference = estimate.order[estimate.count > 1 ? 1 : 0];
  result.frames[static_cast<std::size_t>(result.reference)].verdict = Verdict::Reference;

  const ShiftCrop crop = cropForShifts(estimate, size, !options.cropToCommon);
  result.offsetX = crop.minX;
  result.offsetY = crop.minY;
  result.outputSize = crop.outputSize;
}

} // namespace vindrel
