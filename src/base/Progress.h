// Progress and cancellation: a function pointer with its state, so that reporting allocates nothing.
#pragma once

namespace vindrel {

struct Progress {
  // Receives the fraction done (0 to 1); returns false to cancel. Must not throw: it is called from worker threads.
  bool (*function)(void *state, double fraction) = nullptr;
  void *state = nullptr;

  // True to go on.
  bool report(double fraction) const { return function == nullptr || function(state, fraction); }
};

} // namespace vindrel
