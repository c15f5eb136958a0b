// rt_align when it is cancelled, when memory runs out and when threads cannot be started.
#include "VindrelRegLib.h"

#include "support/FailingAllocation.h"
#include "support/FailingThreads.h"
#include "support/StackBlock.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <stdexcept>

namespace vindrel {
namespace {

using test::makeStack;
using test::StackBlock;

const StackBlock &smallStack() {
  static const StackBlock stack =
      makeStack({620, 480}, {.frames = 3, .evStep = 0.5, .motion = Motion::Affine, .seed = 4});
  return stack;
}

int call(std::vector<std::byte> &bytes, int threads, bool perspective, ProgressCallback callback, int size[2]) {
  const StackBlock &stack = smallStack();
  size[0] = size[1] = 0;
  return rt_align(threads, 60, 60, perspective ? 1 : 0, stack.count(), stack.size().width, stack.size().height, 3, 8,
                  size, bytes.data(), callback);
}

// The callback has no state of its own: what it is to do and what it saw stand here.
struct Script {
  int cancelAt = 0; // the report that asks to stop; 0: none
  int reports = 0;
  std::vector<double> fractions;
};
Script script;

void scripted(int *cancel, double fraction) {
  EXPECT_EQ(*cancel, 0);
  ++script.reports;
  script.fractions.push_back(fraction);
  if (script.reports == script.cancelAt) *cancel = 1;
}

TEST(RtAlignProgress, CountsTilesOneAheadAndThenRisesToOneWithTheFrames) {
  for (const bool perspective : {false, true}) {
    script = {};
    auto bytes = smallStack().bytes;
    int size[2];
    EXPECT_GE(call(bytes, 1, perspective, scripted, size), 0);
    // A tile for each of two passes, then three frames warped.
    ASSERT_EQ(script.fractions.size(), 5u);
    EXPECT_DOUBLE_EQ(script.fractions[0], 2 * 0.9 / 2);
    EXPECT_DOUBLE_EQ(script.fractions[1], 3 * 0.9 / 2);
    for (int frame = 1; frame <= 3; ++frame) {
      EXPECT_DOUBLE_EQ(script.fractions[static_cast<std::size_t>(frame + 1)], 0.9 + frame * (0.1 / 3));
    }
  }
}

TEST(RtAlignProgress, CancelsAtEveryReportAndLeavesImagesUntouchedBeforeTheWarp) {
  for (const bool perspective : {false, true}) {
    for (const int threads : {1, 2}) {
      for (int at = 1; at <= 5; ++at) {
        script = {};
        script.cancelAt = at;
        auto bytes = smallStack().bytes;
        int size[2];
        EXPECT_EQ(call(bytes, threads, perspective, scripted, size), -1000) << "report " << at;
        EXPECT_EQ(script.reports, at);
        EXPECT_EQ(size[0], 0) << "the size is written on success only";
        if (at <= 2) {
          EXPECT_TRUE(bytes == smallStack().bytes);
        }
      }
    }
  }
}

TEST(RtAlignProgress, LeavesTheFramesWarpedBeforeACancellationInTheirNewFormAndTheOthersAsTheyWere) {
  const std::vector<std::byte> &before = smallStack().bytes;
  const std::size_t frameBytes = smallStack().frameBytes();
  for (const bool perspective : {false, true}) {
    auto whole = before;
    int out[2];
    script = {};
    ASSERT_GT(call(whole, 2, perspective, scripted, out), 0);
    const std::size_t outBytes = static_cast<std::size_t>(packedSamples({out[0], out[1]}, 3));
    script = {};
    script.cancelAt = 3; // the report after the first frame's warp
    auto bytes = before;
    int size[2];
    ASSERT_EQ(call(bytes, 2, perspective, scripted, size), -1000);
    int warped = 0;
    for (std::size_t i = 0; i < 3; ++i) {
      const auto frame = bytes.begin() + static_cast<std::ptrdiff_t>(i * frameBytes);
      const auto original = before.begin() + static_cast<std::ptrdiff_t>(i * frameBytes);
      const auto aligned = whole.begin() + static_cast<std::ptrdiff_t>(i * outBytes);
      if (std::equal(frame, frame + static_cast<std::ptrdiff_t>(frameBytes), original)) continue;
      ++warped;
      EXPECT_TRUE(std::equal(frame, frame + static_cast<std::ptrdiff_t>(outBytes), aligned)) << "frame " << i;
      EXPECT_TRUE(std::equal(frame + static_cast<std::ptrdiff_t>(outBytes),
                             frame + static_cast<std::ptrdiff_t>(frameBytes),
                             original + static_cast<std::ptrdiff_t>(outBytes)))
          << "frame " << i;
    }
    EXPECT_EQ(warped, 1);
  }
}

TEST(RtAlignProgress, TakesACallbackThatThrowsForACancellation) {
  auto bytes = smallStack().bytes;
  int size[2];
  EXPECT_EQ(call(
                bytes, 2, true, [](int *, double) { throw std::runtime_error("host"); }, size),
            -1000);
  EXPECT_TRUE(bytes == smallStack().bytes);
}

TEST(Progress, AnswersOneToGoOnAndZeroToStop) {
  EXPECT_EQ(progress(nullptr, 0.5), 1);
  EXPECT_EQ(progress(
                [](int *cancel, double fraction) {
                  EXPECT_EQ(*cancel, 0);
                  EXPECT_EQ(fraction, 0.25);
                },
                0.25),
            1);
  EXPECT_EQ(progress([](int *cancel, double) { *cancel = 7; }, 0.25), 0);
}

TEST(RtAlign, ReportsEveryFailedAllocationReleasesAllMemoryAndSpoilsNothing) {
  for (const bool perspective : {false, true}) {
    auto undisturbed = smallStack().bytes;
    int size[2];
    ASSERT_GE(call(undisturbed, 2, perspective, nullptr, size), 0); // also warms up what threads keep
    int failures = 0, survived = 0;
    test::forEachFailingAllocation([&](const test::FailingAllocation &failing) {
      auto bytes = smallStack().bytes;
      const int result = call(bytes, 2, perspective, nullptr, size);
      EXPECT_EQ(failing.live(), 0) << "allocation " << failing.calls();
      if (!failing.reached()) {
        EXPECT_GE(result, 0);
        return;
      }
      ++failures;
      if (result >= 0) {
        // Only the warp threads' records can be done without: the calling thread then warps alone.
        ++survived;
        EXPECT_TRUE(bytes == undisturbed);
      } else {
        EXPECT_EQ(result, -4);
        EXPECT_TRUE(bytes == smallStack().bytes);
      }
    });
    EXPECT_GT(failures, 40);
    EXPECT_LE(survived, 2 * smallStack().count());
  }
}

TEST(RtAlign, WarpsTheSameBytesWhicheverThreadCannotBeStarted) {
  auto undisturbed = smallStack().bytes;
  int size[2];
  ASSERT_GE(call(undisturbed, 4, false, nullptr, size), 0);
  for (int nth = 1;; ++nth) {
    const test::FailingThreads failing(nth);
    auto bytes = smallStack().bytes;
    EXPECT_GE(call(bytes, 4, false, nullptr, size), 0);
    EXPECT_TRUE(bytes == undisturbed);
    if (!failing.reached()) {
      EXPECT_EQ(nth, 3 + 1) << "those of the warps, beside the calling thread: they start once";
      break;
    }
  }
}

} // namespace
} // namespace vindrel
