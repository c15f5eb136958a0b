// Makes kernels run on a lower instruction set than the best one that this machine has.
#pragma once

#define HWY_WANT_AVX3_DL // some kernels are compiled for it
#include <hwy/highway.h>

#include <cstdint>

namespace vindrel::test {

// Until the end of the scope kernels run on the given target, or on the next lower one that they are compiled for. No
// other thread may be inside the library at either end of the scope.
class ForcedTarget {
public:
  // Lower bits are better targets.
  explicit ForcedTarget(std::int64_t target) { hwy::SetSupportedTargetsForTest(hwy::SupportedTargets() & -target); }
  ~ForcedTarget() { hwy::SetSupportedTargetsForTest(0); }
  ForcedTarget(const ForcedTarget &) = delete;
  ForcedTarget &operator=(const ForcedTarget &) = delete;
};

} // namespace vindrel::test
