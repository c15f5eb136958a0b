// Registers a benchmark once for every instruction set that kernels are compiled for and this machine has; the target
// is part of the benchmark's name.
#pragma once

#include "support/ForcedTarget.h"

#include <benchmark/benchmark.h>

#include <string>

namespace vindrel::bench {

// body(state) runs with its kernels on the one target.
template <class Body>
void registerForEveryTarget(const std::string &name, Body body) {
  for (const std::int64_t target : hwy::SupportedAndGeneratedTargets()) {
    benchmark::RegisterBenchmark((name + "/" + hwy::TargetName(target)).c_str(), [=](benchmark::State &state) {
      const test::ForcedTarget forced(target);
      body(state);
    })->Unit(benchmark::kMillisecond);
  }
}

} // namespace vindrel::bench
