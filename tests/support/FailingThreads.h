// Making the library's thread starts fail. Test programs are linked so that pthread_create, called from the library's
// object files, arrives here first; threads that an OpenMP or sanitizer runtime starts do not.
#pragma once

#include "support/FailureCounter.h"

#include <utility>

namespace vindrel::test {

// While an object lives, the nth thread start (the first is 1) fails with EAGAIN. One at a time in a process.
class FailingThreads {
public:
  static constexpr long kNever = FailureCounter::kNever; // counts, fails nothing

  explicit FailingThreads(long nth, Failing failing = Failing::Once);
  ~FailingThreads();
  FailingThreads(const FailingThreads &) = delete;
  FailingThreads &operator=(const FailingThreads &) = delete;

  // True once a thread start has been made to fail.
  bool reached() const;
  // Thread starts asked for so far, the failed ones included.
  long calls() const;
};

// How many threads call() starts.
template <class Call>
long countThreads(Call &&call) {
  FailingThreads counting(FailingThreads::kNever);
  std::forward<Call>(call)();
  return counting.calls();
}

} // namespace vindrel::test
