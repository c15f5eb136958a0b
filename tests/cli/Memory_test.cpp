// Memory: a stack larger than what the program may have is aligned, since frames are read when they are needed.
#include "Program.h"
#include "Sanitizers.h"
#include "Scene.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace vindrel::test {
namespace {

constexpr View kView{.width = 2000, .height = 1500};
constexpr long long kFrameBytes = 2000LL * 1500 * 4 * 2;

// Of addresses, of which the libraries that decode images take more than half. One thread, whatever the machine has.
constexpr long long kLimit = 800LL << 20;
constexpr int kFrames = kLimit / kFrameBytes + 3;

TEST(Memory, AStackLargerThanTheAllowedMemoryIsAligned) {
  if (kAddressSanitizer || kThreadSanitizer) GTEST_SKIP() << "a sanitizer's shadow takes more addresses than any limit";
  const TemporaryFolder folder;
  OIIO::ParamValueList plain;
  plain.attribute("compression", "none");
  save(folder / "frame.tif", takePhoto(1, kView, 4, 16), plain);
  std::vector<std::string> arguments = {"align", "-n", "--model", "shift", "--threads", "1", folder / "frame.tif"};
  for (int i = 1; i < kFrames; ++i) {
    // One file under many names, which the program reads as often as if there were many.
    arguments.push_back(folder / (std::to_string(i) + ".tif"));
    std::filesystem::create_hard_link(folder / "frame.tif", arguments.back());
  }
  static_assert(kFrames * kFrameBytes > kLimit);
  const Outcome run = runVindrel(
      arguments, {.environment = {"OPENBLAS_NUM_THREADS=1", "OMP_NUM_THREADS=1"}, .addressSpaceLimit = kLimit});
  EXPECT_EQ(run.exitCode, 0) << run.err;
}

} // namespace
} // namespace vindrel::test
