// Threads that are left running outlive the call, so what they read and write of ours cannot live in its frame. All of
// it is one StripCall on the heap, owned by the calling thread and every started thread together; whoever lets go last
// releases it.
#include "warp/StripWarp.h"

#include "base/Buffer.h"
#include "warp/ThreadedWarp.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdlib>
#include <new>
#include <pthread.h>

namespace vindrel {
namespace {

struct StripCall;

struct Strip {
  StripCall *call;
  RowBand rows;
  void *dst;  // first sample of rows.begin
  int result; // 0 until the strip has been produced
  pthread_t thread;
};

struct StripCall {
  WarpJob job; // its coefficients are the copy below: the caller's table may be gone before the last thread ends
  std::array<float, 8> coefficients = {};
  Buffer<Strip> strips;
  std::atomic<int> owners = 1;

  // A failed allocation yields null.
  static void *operator new(std::size_t size, const std::nothrow_t &) noexcept { return std::malloc(size); }
  static void operator delete(void *memory, const std::nothrow_t &) noexcept { std::free(memory); }
  static void operator delete(void *memory) noexcept { std::free(memory); }
};

void letGo(StripCall *call) {
  if (call->owners.fetch_sub(1, std::memory_order_acq_rel) == 1) delete call;
}

StripCall *prepare(const WarpJob &job, int threads) {
  auto strips = Buffer<Strip>::zeroed(static_cast<std::size_t>(threads));
  if (!strips) return nullptr;
  auto *call = new (std::nothrow) StripCall;
  if (call == nullptr) return nullptr;
  call->job = job;
  std::copy_n(job.transform.coefficients, job.transform.perspective ? 8 : 6, call->coefficients.begin());
  call->job.transform.coefficients = call->coefficients.data();
  call->strips = std::move(strips);
  return call;
}

void *runStrip(void *argument) {
  Strip &strip = *static_cast<Strip *>(argument);
  StripCall *call = strip.call;
  strip.result = warpCallersBand(call->job, strip.rows, strip.dst);
  letGo(call);
  return nullptr;
}

// Starts the threads of the strips in order until one fails. Returns how many run.
int startThreads(StripCall &call, int rowCount, int threads, void *dst) {
  pthread_attr_t joinable;
  if (pthread_attr_init(&joinable) != 0) return 0;
  pthread_attr_setdetachstate(&joinable, PTHREAD_CREATE_JOINABLE);
  int started = 0;
  for (; started < threads; ++started) {
    Strip &strip = call.strips[static_cast<std::size_t>(started)];
    strip.call = &call;
    strip.rows = stripRows(rowCount, started, threads);
    strip.dst = outputRow(call.job, dst, strip.rows.begin);
    call.owners.fetch_add(1, std::memory_order_relaxed);
    if (pthread_create(&strip.thread, &joinable, runStrip, &strip) != 0) {
      call.owners.fetch_sub(1, std::memory_order_relaxed);
      break;
    }
  }
  pthread_attr_destroy(&joinable);
  return started;
}

} // namespace

int warpCallersBand(const WarpJob &job, RowBand rows, void *dst) {
  if (rows.begin >= rows.end) return rows.begin;
  warpBand(job, rows, dst);
  return rows.end;
}

int warpInStrips(const WarpJob &job, RowBand rows, int threads, void *dst) {
  if (threads < 2) return warpCallersBand(job, rows, dst);

  StripCall *call = prepare(job, threads);
  if (call == nullptr) return warpCallersBand(job, rows, dst);
  const auto rowCount = static_cast<int>(static_cast<std::int64_t>(rows.end) - rows.begin);
  const int started = startThreads(*call, rowCount, threads, dst);
  const auto strip = [call](int i) -> Strip & { return call->strips[static_cast<std::size_t>(i)]; };

  if (started < threads) {
    const int result = warpCallersBand(job, rows, dst);
    if (result != 0) {
      // Nobody will join these: detached, they give their stacks back when they end.
      for (int i = 0; i < started; ++i)
        pthread_detach(strip(i).thread);
      letGo(call);
      return result;
    }
  }
  for (int i = 0; i < started; ++i)
    pthread_join(strip(i).thread, nullptr);
  const int result = strip(threads - 1).result;
  letGo(call);
  return result;
}

} // namespace vindrel
