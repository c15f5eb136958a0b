// What speaks for a link, the transform between two frames next to each other in rank: how many of the matched pairs it
// explains, how well, and how exactly those pairs can have determined it over the whole frame.
#pragma once

#include "base/ImageView.h"
#include "base/PairsView.h"
#include "driver/Coverage.h"
#include "driver/Rivals.h"
#include "features/PairMatcher.h"
#include "transform/Transform.h"

#include <limits>

namespace vindrel {

enum class LinkModel { Affine, Perspective };

struct LinkEvidence {
  int pairs = 0;
  int inliers = 0;          // pairs within kInlierDistance
  double rms = 0;           // of the inliers' residuals, pixels
  double expectedError = 0; // predicted placement error, root mean square over the frame, pixels
  double coverage = 0;      // of the frame by the inliers
  // Decimal logarithm of how many transforms so many unrelated pairs would agree on by chance (Chance.h).
  double logFalseAlarms = -std::numeric_limits<double>::infinity();
  Rivals rivals = {}; // the largest group of the other pairs that agrees on something else
};

constexpr double kInlierDistance = 2.0; // pixels

// transform: 8 coefficients, an affine one with g = h = 0. window: within which the pairs were looked for.
LinkEvidence measureLink(const PairsView &pairs, const Trans8 &transform, LinkModel model, Size frame,
                         MatchWindow window);

} // namespace vindrel
