#include "MemoryBandwidth.h"

#include "base/StaticShare.h"
#include "support/Clock.h"

#include <algorithm>
#include <cstdint>
#include <omp.h>
#include <stdexcept>
#include <vector>

namespace vindrel::bench {
namespace {

constexpr int kWords = 1 << 25; // 256 MB a block
constexpr int kRuns = 7;

} // namespace

double copyBandwidth(int threads) {
  std::vector<std::uint64_t> from(kWords, 1), to(kWords, 0);
  double best = 0;
  for (int run = 0; run < kRuns; ++run) {
    const Stopwatch watch(threads);
#pragma omp parallel num_threads(threads)
    {
      const StaticShare share = staticShare(kWords, omp_get_thread_num(), omp_get_num_threads());
      std::copy(from.begin() + share.begin, from.begin() + share.end, to.begin() + share.begin);
    }
    best = std::max(best, 2.0 * sizeof(std::uint64_t) * kWords / watch.seconds());
  }
  if (to != from) throw std::runtime_error("the copy differs");
  return best;
}

} // namespace vindrel::bench
