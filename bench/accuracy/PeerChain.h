// How a peer that places one frame on another places a whole stack on its brightest frame: rank by rank on the nearest
// brighter frame that is itself placed. When that fails, the next brighter ones are tried, so that one bad frame does
// not cost all darker ones.
#pragma once

#include "BrightnessRanks.h"
#include "Method.h"
#include "simulate/Truth.h"

namespace vindrel::accuracy {

// Brighter frames tried for each frame: the neighbour and two second chances.
constexpr int kChainAttempts = 3;

// A placement that moves a corner of the frame farther than this share of its width is not what hands do: not found.
// The library's own default for the largest motion is the same.
constexpr double kPlausibleMotion = 0.1;

// place(frame, brighter) takes two indices of the stack and returns the frame's placement on the brighter one.
template <class Place>
StackResult chainStack(const GreyStack &stack, Place place) {
  StackResult result;
  result.reference = stack.byRank[0];
  result.frames.resize(stack.frames.size());
  std::vector<int> placed = {result.reference}; // brightest first
  for (std::size_t rank = 1; rank < stack.byRank.size(); ++rank) {
    const int frame = stack.byRank[rank];
    FrameResult &entry = result.frames[static_cast<std::size_t>(frame)];
    for (int attempt = 0; attempt < kChainAttempts && attempt < static_cast<int>(placed.size()); ++attempt) {
      const int brighter = placed[placed.size() - 1 - static_cast<std::size_t>(attempt)];
      FrameResult link = place(frame, brighter);
      const cv::Size size = stack.frames[0].size();
      const PlacementError motion = placementError(link.frameFromReference, kPlaneIdentity, {size.width, size.height});
      if (link.found && !(motion.cornerMax <= kPlausibleMotion * size.width)) {
        link.found = false;
        link.reason = "implausible motion";
      }
      if (attempt == 0 || link.found) entry = link;
      if (!link.found) continue;
      entry.frameFromReference = normalised(
          compose(link.frameFromReference, result.frames[static_cast<std::size_t>(brighter)].frameFromReference));
      placed.push_back(frame);
      break;
    }
  }
  return result;
}

} // namespace vindrel::accuracy
