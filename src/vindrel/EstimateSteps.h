// The ways to estimate a stack, one for each kind of evidence. Arguments are those of estimateStack(), already checked;
// the result's outcome is set, and with Outcome::Done everything but the model and the frames' size.
#pragma once

#include "base/Status.h"
#include "vindrel/AlignStack.h"

namespace vindrel {

// Affine and perspective: from points that the frames share.
void estimateByFeatures(std::span<const ImageView> frames, const StackOptions &options, StackEstimate &result);

// Whole-pixel shifts: from threshold bitmaps of the frames.
void estimateByShifts(std::span<const ImageView> frames, const StackOptions &options, StackEstimate &result);

constexpr StackEstimate::Outcome outcomeOf(Status status) {
  switch (status) {
  case Status::Ok:
    return StackEstimate::Outcome::Done;
  case Status::Cancelled:
    return StackEstimate::Outcome::Cancelled;
  case Status::OutOfMemory:
  case Status::FrameMissing:
    break;
  }
  return StackEstimate::Outcome::OutOfMemory;
}

} // namespace vindrel
