#include "driver/TilePass.h"
#include "translate/ShiftCrop.h"
#include "translate/ShiftSearch.h"
#include "vindrel/RankedStack.h"

#include <algorithm>

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

} // namespace

RankedStack estimateByShifts(CallerFrames &frames, const StackOptions &options, const Progress &progress) {
  const Size size = frames.format().size;
  ShiftProgress scaled{progress};
  const float fraction = fractionForShift(size, std::max(options.maxShiftX, options.maxShiftY));
  const ShiftEstimate estimate =
      estimateShifts(frames, {.searchFraction = fraction,
                              .team = &frames.team(),
                              .progress = {.function = ShiftProgress::report, .state = &scaled}});
  RankedStack result;
  result.status = estimate.status;
  if (estimate.status != Status::Ok) return result;
  result.model = Model::Shift;
  result.order.assign(estimate.order.begin(), estimate.order.end());
  // Every frame but the anchor was compared with its neighbour nearer to the anchor, at rank 1.
  result.anchor = estimate.count > 1 ? 1 : 0;
  result.links.resize(result.order.size());
  for (int rank = 1; rank < estimate.count; ++rank) {
    const FrameShift &compared = estimate.shifts[static_cast<std::size_t>(estimate.order[rank == 1 ? 0 : rank])];
    result.links[static_cast<std::size_t>(rank)] = {.doubt = describe(compared.doubt), .variance = kRoundingVariance};
  }
  for (const FrameShift &shift : estimate.shifts)
    result.fromAnchor.push_back(Transform::translation(shift.x, shift.y));
  const ShiftCrop crop = cropForShifts(estimate, size, false);
  result.common = {-crop.minX, -crop.minY, crop.outputSize.width, crop.outputSize.height};
  return result;
}

} // namespace vindrel
