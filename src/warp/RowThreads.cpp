#include "warp/RowThreads.h"

#include "base/Buffer.h"

#include <pthread.h>

namespace vindrel {
namespace {

struct Strip {
  void (*work)(const void *job, RowBand rows);
  const void *job;
  RowBand rows;
  pthread_t thread;
};

void *runStrip(void *argument) {
  const Strip &strip = *static_cast<const Strip *>(argument);
  strip.work(strip.job, strip.rows);
  return nullptr;
}

} // namespace

RowBand stripRows(int rowCount, int thread, int threads) {
  const int each = rowCount / threads;
  // In 64 bits, for products of trusted but unchecked arguments.
  const auto end = static_cast<int>((static_cast<std::int64_t>(thread) + 1) * each);
  return {static_cast<int>(static_cast<std::int64_t>(thread) * each), thread == threads - 1 ? rowCount : end};
}

void forEachStrip(int rowCount, int threads, void (*work)(const void *job, RowBand rows), const void *job) {
  auto strips = threads < 2 ? Buffer<Strip>() : Buffer<Strip>::zeroed(static_cast<std::size_t>(threads));
  if (!strips) return work(job, {0, rowCount});

  // Started threads are those of strips[0] to strips[started - 1]. Strips without rows get none.
  std::size_t started = 0;
  int next = 0; // the first strip that no thread has been started for
  for (; next < threads; ++next) {
    const RowBand rows = stripRows(rowCount, next, threads);
    if (rows.begin >= rows.end) continue;
    Strip &strip = strips[started];
    strip.work = work;
    strip.job = job;
    strip.rows = rows;
    if (pthread_create(&strip.thread, nullptr, runStrip, &strip) != 0) break; // joinable by default
    ++started;
  }
  // Strips follow each other, so what is left is one band.
  if (next < threads) work(job, {stripRows(rowCount, next, threads).begin, rowCount});
  for (std::size_t i = 0; i < started; ++i)
    pthread_join(strips[i].thread, nullptr);
}

} // namespace vindrel
