// Time for comparisons on a machine that does other things as well.
#pragma once

#include <chrono>
#include <ctime>

namespace vindrel::bench {

// With one thread the processor's time, which other programs disturb least; with more the clock on the wall.
inline double secondsNow(int threads) {
  if (threads == 1) {
    timespec time = {};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
  }
  return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

class Stopwatch {
public:
  explicit Stopwatch(int threads) : threads_(threads), start_(secondsNow(threads)) {}
  double seconds() const { return secondsNow(threads_) - start_; }

private:
  int threads_;
  double start_;
};

} // namespace vindrel::bench
