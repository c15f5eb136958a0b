// What the failing-resource helpers share: counting calls on any thread and choosing which of them fail.
#pragma once

#include <atomic>
#include <cstdio>
#include <cstdlib>

namespace vindrel::test {

enum class Failing {
  Once,    // one call fails, later ones succeed
  Onwards, // that call and all later ones fail
};

class FailureCounter {
public:
  static constexpr long kNever = 0; // as the number of the call to fail: counts, fails nothing

  void begin(long nth, Failing failing) {
    if (watching_.exchange(true)) {
      std::fputs("a failure scope was opened inside another one of its kind\n", stderr);
      std::abort();
    }
    failFrom_ = nth;
    failOnwards_ = failing == Failing::Onwards;
    calls_ = 0;
    failed_ = 0;
  }
  void end() {
    failFrom_ = kNever;
    watching_ = false;
  }

  // Counts one call and says whether it is to fail.
  bool mustFail() {
    if (!watching_) return false;
    const long call = ++calls_;
    const long from = failFrom_;
    if (from == kNever || call < from || (call > from && !failOnwards_)) return false;
    ++failed_;
    return true;
  }

  bool watching() const { return watching_; }
  bool reached() const { return failed_ > 0; }
  long calls() const { return calls_; }

private:
  std::atomic<bool> watching_{false};
  std::atomic<long> failFrom_{kNever};
  std::atomic<bool> failOnwards_{false};
  std::atomic<long> calls_{0};
  std::atomic<long> failed_{0};
};

} // namespace vindrel::test
