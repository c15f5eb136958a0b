// Making the library's allocations fail, one at a time or from one on, and counting them.
//
// Test programs are linked so that malloc, calloc, realloc, aligned_alloc, posix_memalign and free, called from the
// library's and the tests' object files, arrive here first. Calls from inside shared libraries (the C++ runtime's
// operator new, an OpenMP or sanitizer runtime, pthread_create) do not: a test's own containers and assertions neither
// fail nor count. Nor does an allocation that the compiler has dropped because nobody looks at its memory. Works on any
// number of threads and under the sanitizers.
#pragma once

#include "support/FailureCounter.h"

#include <utility>

namespace vindrel::test {

// While an object lives, the nth allocation (the first is 1) made on any thread fails. One at a time in a process.
class FailingAllocation {
public:
  static constexpr long kNever = FailureCounter::kNever; // counts, fails nothing

  explicit FailingAllocation(long nth, Failing failing = Failing::Once);
  ~FailingAllocation();
  FailingAllocation(const FailingAllocation &) = delete;
  FailingAllocation &operator=(const FailingAllocation &) = delete;

  // True once an allocation has been made to fail.
  bool reached() const;
  // Allocations asked for so far, the failed ones included.
  long calls() const;
  // Blocks obtained since the start and not released yet; negative when blocks from before were released.
  long live() const;
};

// How many allocations call() asks for.
template <class Call>
long countAllocations(Call &&call) {
  FailingAllocation counting(FailingAllocation::kNever);
  std::forward<Call>(call)();
  return counting.calls();
}

// Runs call(const FailingAllocation &) with its first allocation failing, then with its second, and so on, until a run
// reaches no failure any more. That last, undisturbed run is made too: call looks at reached() to know what to expect.
// Returns the number of runs in which an allocation failed.
template <class Call>
long forEachFailingAllocation(Call &&call, Failing mode = Failing::Once) {
  for (long nth = 1;; ++nth) {
    FailingAllocation failing(nth, mode);
    call(std::as_const(failing));
    if (!failing.reached()) return nth - 1;
  }
}

} // namespace vindrel::test
