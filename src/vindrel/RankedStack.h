// What an estimate comes to before a reference is chosen: the frames in the order in which they were compared, the
// links between neighbours with what speaks for each, and every frame's transform from the anchor, the frame that the
// search started from.
#pragma once

#include "base/Progress.h"
#include "base/Status.h"
#include "vindrel/CallerFrames.h"
#include "vindrel/stack.hpp"

#include <limits>
#include <string>
#include <vector>

namespace vindrel {

// Between the frame at a rank and the one a rank brighter.
struct RankedLink {
  std::string doubt;   // empty: the link is to be trusted, unless it is too inexact
  double variance = 0; // squared expected error, pixels
  int pairs = 0, inliers = 0;
  double rms = 0, coverage = 0;
};

struct RankedStack {
  Status status = Status::Ok;
  Model model = Model::Perspective;
  std::vector<ModelScore> scores;    // what decided between models, if that was asked for
  std::vector<int> order;            // frame index at each rank
  int anchor = 0;                    // its rank
  std::vector<RankedLink> links;     // by rank; entry 0 unused
  std::vector<Transform> fromAnchor; // by frame index
  Rectangle common;                  // in the anchor's frame, by all frames
  bool littleOverlap = false;        // they share too little: all stay where they are
  double largestExpectedError = std::numeric_limits<double>::infinity(); // that may stand behind the word "aligned"
};

// Options are checked and complete. progress: fractions 0 to kFeatureShare.
RankedStack estimateByFeatures(CallerFrames &frames, const StackOptions &options, const Progress &progress);
RankedStack estimateByShifts(CallerFrames &frames, const StackOptions &options, const Progress &progress);

// Puts in doubt the links that the pictures themselves contest.
void checkPictures(const std::vector<Thumbnail> &thumbnails, RankedStack &stack, RowTeam &team);

// What frames that are shifted by whole pixels against the reference share with it: a side below 1 when nothing.
Rectangle commonOfShifts(Size frame, const std::vector<const Transform *> &frames);

// Chooses the reference, passes the verdicts and finds the common rectangle.
Result<StackEstimate> placeOnReference(const RankedStack &stack, Size frame, const StackOptions &options);

} // namespace vindrel
