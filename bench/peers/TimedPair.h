// Runs of two sides by turns, so that whatever else the machine does meets both alike; the median of the pairs' ratios
// stands for all.
#pragma once

#include "support/Clock.h"

#include <algorithm>
#include <vector>

namespace vindrel::bench {

struct TimedPair {
  double peerSeconds = 0, ourSeconds = 0;
};

// Each side is called with nothing, does its work once and returns what a Stopwatch showed: what it prepares, and what
// it checks, need not count. The first run of either warms up and is dropped.
template <class Peer, class Ours>
TimedPair timedPair(int pairs, Peer peer, Ours ours) {
  std::vector<TimedPair> runs;
  for (int i = 0; i <= pairs; ++i) {
    const double peerSeconds = peer();
    const double ourSeconds = ours();
    if (i > 0) runs.push_back({peerSeconds, ourSeconds});
  }
  const auto middle = runs.begin() + static_cast<std::ptrdiff_t>(runs.size() / 2);
  std::nth_element(runs.begin(), middle, runs.end(), [](const TimedPair &a, const TimedPair &b) {
    return a.peerSeconds * b.ourSeconds < b.peerSeconds * a.ourSeconds;
  });
  return *middle;
}

} // namespace vindrel::bench
