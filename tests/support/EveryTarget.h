// Runs a test body once on every instruction set that kernels are compiled for and this machine has, down to the plain
// fallback. Without it only the best one would be tested.
#pragma once

#include "support/ForcedTarget.h"

#include <gtest/gtest.h>

namespace vindrel::test {

template <class Body>
void onEveryTarget(Body body) {
  for (const std::int64_t target : hwy::SupportedAndGeneratedTargets()) {
    SCOPED_TRACE(hwy::TargetName(target));
    const ForcedTarget forced(target);
    body();
  }
}

} // namespace vindrel::test
