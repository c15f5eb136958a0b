// What speaks for a link, the transform between two frames next to each other in rank: how many of the matched pairs it
// explains, how well, and how exactly those pairs can have determined it over the whole frame.
#pragma once

#include "base/ImageView.h"
#include "base/PairsView.h"
#include "transform/Transform.h"

namespace vindrel {

enum class LinkModel { Affine, Perspective };

struct LinkEvidence {
  int pairs = 0;
  int inliers = 0;          // pairs within kInlierDistance
  double rms = 0;           // of the inliers' residuals, pixels
  double expectedError = 0; // predicted placement error, root mean square over the frame, pixels
  double coverage = 0;      // share of a kCoverageCells x kCoverageCells grid over the frame that holds an inlier
};

constexpr double kInlierDistance = 2.0; // pixels
constexpr int kCoverageCells = 8;

// transform: 8 coefficients, an affine one with g = h = 0.
LinkEvidence measureLink(const PairsView &pairs, const Trans8 &transform, LinkModel model, Size frame);

} // namespace vindrel
