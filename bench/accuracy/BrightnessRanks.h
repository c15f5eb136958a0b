// The order in which the peers chain frames: from the brightest to the darkest, each placed on its neighbours, as the
// library does. Neighbours in exposure share the most tones, which every method gains from.
#pragma once

#include "simulate/Bracket.h"

#include <opencv2/core.hpp>

#include <vector>

namespace vindrel::accuracy {

struct GreyStack {
  std::vector<cv::Mat> frames; // 8-bit grey, in the bracket's order
  std::vector<int> byRank;     // frame indices, brightest first; the first is the reference
};

GreyStack greyStack(const Bracket &bracket);

} // namespace vindrel::accuracy
