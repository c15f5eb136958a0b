// Where a search's random numbers come from. The flat interface passes the C library's rand(), whose state belongs to
// the process; a caller with a source of its own gets searches that nothing else disturbs.
#pragma once

#include <cstdlib>

namespace vindrel {

constexpr int kRandomMax = 2147483647;

struct RandomSource {
  int (*next)(void *state) = nullptr; // 0 to kRandomMax
  void *state = nullptr;
};

// For the boundary files.
inline RandomSource processRandom() {
  static_assert(RAND_MAX == kRandomMax);
  return {.next = [](void *) { return std::rand(); }};
}

} // namespace vindrel
