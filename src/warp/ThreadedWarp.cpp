#include "warp/ThreadedWarp.h"

namespace vindrel {
namespace {

struct ThreadedJob {
  const WarpJob &job;
  void *dst; // first sample of row 0
};

void runBand(const void *state, RowBand rows) {
  const auto &threaded = *static_cast<const ThreadedJob *>(state);
  warpBand(threaded.job, rows, outputRow(threaded.job, threaded.dst, rows.begin));
}

} // namespace

void warpOnThreads(const WarpJob &job, int rowCount, int threads, void *dst) {
  const ThreadedJob threaded{job, dst};
  forEachStrip(rowCount, threads, runBand, &threaded);
}

} // namespace vindrel
