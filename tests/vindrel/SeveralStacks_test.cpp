// Stacks that are aligned at the same time in one process.
#include "vindrel/Stacks.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <gtest/gtest.h>
#include <mutex>
#include <thread>

namespace vindrel::test {
namespace {

TEST(SeveralStacks, AtOnceComeOutAsEachAlone) {
  constexpr int kStacks = 4;
  std::vector<StackBlock> stacks;
  std::vector<StackEstimate> alone;
  const auto optionsOf = [](int i) {
    StackOptions options{.maxShiftX = 60, .maxShiftY = 60};
    options.model = i == 0 ? Model::Affine : i == 1 ? Model::Perspective : i == 2 ? Model::Auto : Model::Shift;
    options.threads = 2;
    return options;
  };
  const Filter filters[] = {Filter::Bilinear, Filter::Bicubic, Filter::Lanczos3, Filter::Nearest};
  const auto darkest = [&](const StackBlock &stack, const StackEstimate &estimate, int i) {
    Image<std::uint8_t> out(estimate.common.size(), 3);
    const auto frame = std::find_if(estimate.frames.begin(), estimate.frames.end(),
                                    [](const FrameEstimate &one) { return one.rank == 2; });
    const int index = static_cast<int>(frame - estimate.frames.begin());
    warpFrame(estimate, index, stack.frame(index), out.view(), {filters[i], 2}).value();
    return out.samples;
  };
  for (int i = 0; i < kStacks; ++i) {
    const auto seed = static_cast<std::uint64_t>(20 + i);
    // Of different sizes: what one stack sets must not reach another. The last is large enough for its rows to be
    // shared.
    stacks.push_back(makeStack({420 + 60 * i + (i == 3 ? 500 : 0), 340 + 30 * i + (i == 3 ? 300 : 0)},
                               {.frames = 3, .evStep = 0.5, .motion = Motion::Affine, .seed = seed},
                               static_cast<std::uint32_t>(i)));
    alone.push_back(estimateStack(framesOf(stacks.back()), optionsOf(i)).value());
  }
  std::vector<StackEstimate> together(kStacks);
  std::vector<std::vector<std::uint8_t>> warped(kStacks);
  std::vector<std::thread> threads;
  for (int i = 0; i < kStacks; ++i)
    threads.emplace_back([&, i] {
      const auto slot = static_cast<std::size_t>(i);
      for (int repeat = 0; repeat < 3; ++repeat)
        together[slot] = estimateStack(framesOf(stacks[slot]), optionsOf(i)).value();
      warped[slot] = darkest(stacks[slot], together[slot], i);
    });
  for (std::thread &thread : threads)
    thread.join();
  for (std::size_t i = 0; i < kStacks; ++i) {
    EXPECT_TRUE(sameEstimate(together[i], alone[i])) << i;
    EXPECT_EQ(warped[i], darkest(stacks[i], alone[i], static_cast<int>(i))) << i;
  }
}

// The callback of the one waits until the other has reported: a lock that both shared would never let it.
TEST(SeveralStacks, MayWaitForOneAnotherInTheirProgressFunctions) {
  const StackBlock stack = makeStack({330, 260}, {.frames = 2, .evStep = 0.5, .motion = Motion::Affine, .seed = 3});
  std::mutex mutex;
  std::condition_variable changed;
  bool reported[2] = {false, false};
  bool waited[2] = {false, false};
  std::vector<std::thread> threads;
  for (int self = 0; self < 2; ++self)
    threads.emplace_back([&, self] {
      StackOptions options{.maxShiftX = 30, .maxShiftY = 30};
      options.progress = [&, self](double) {
        std::unique_lock<std::mutex> lock(mutex);
        reported[self] = true;
        changed.notify_all();
        waited[self] = changed.wait_for(lock, std::chrono::seconds(60), [&] { return reported[1 - self]; });
        return true;
      };
      EXPECT_TRUE(estimateStack(framesOf(stack), options));
    });
  for (std::thread &thread : threads)
    thread.join();
  EXPECT_TRUE(waited[0] && waited[1]);
}

} // namespace
} // namespace vindrel::test
