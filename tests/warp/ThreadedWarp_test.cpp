// Warps on several threads: strips, row numbers, results, and what happens when a thread or memory is not to be had.
#include "warp/ThreadedWarp.h"

#include "VindrelRegLib.h"
#include "support/FailingAllocation.h"
#include "support/FailingThreads.h"
#include "support/GuardedBuffer.h"
#include "warp/WarpCall.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <pthread.h>
#include <thread>
#include <vector>

// The published recovery leaves threads writing rows that the calling thread writes too. That is a race by design.
#if defined(__SANITIZE_THREAD__)
#define VINDREL_RACE_REPORTED 1
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define VINDREL_RACE_REPORTED 1
#endif
#endif

namespace vindrel::test {
namespace {

constexpr int kWidth = 33;
constexpr int kHeight = 47;
constexpr int kChannels = 3;
constexpr float kTurned[8] = {0.98f, 0.05f, 1.5f, -0.04f, 1.01f, 0.75f, 12.0f, -9.0f};
constexpr std::uint32_t kSlots[] = {0};
constexpr std::uint8_t kUntouched = 0x37;

const std::vector<std::uint8_t> &source() {
  static const auto image = noise<std::uint8_t>(kWidth * kHeight * kChannels, 11);
  return image;
}

WarpCall callOfRows(int begin, int end) {
  return {.srcWidth = kWidth,
          .srcHeight = kHeight,
          .srcStride = kWidth * kChannels,
          .dstWidth = kWidth,
          .rowStart = begin,
          .rowEnd = end,
          .channels = kChannels,
          .perspective = 1,
          .slotTable = kSlots,
          .transforms = kTurned,
          .srcBase = source().data()};
}

std::size_t samplesOfRows(int rows) {
  return static_cast<std::size_t>(rows) * kWidth * kChannels;
}

// Rows begin to end - 1 as the calling thread produces them.
std::vector<std::uint8_t> producedRows(int begin, int end) {
  GuardedBuffer<std::uint8_t> out(samplesOfRows(std::max(0, end - begin)), kUntouched);
  callOfRows(begin, end).onCaller(out.data());
  return out.copy();
}

WarpJob job() {
  return {.source = {source().data(), {kWidth, kHeight}, kChannels, kWidth * kChannels, SampleDepth::U8},
          .dstWidth = kWidth,
          .transform = {true, kTurned}};
}

TEST(ThreadedWarp, ProducesTheSameBytesOnAnyNumberOfThreads) {
  const auto expected = producedRows(0, 40);
  for (const int threads : {-1, 0, 1, 2, 3, 4, 8, 32, 33, 100}) {
    GuardedBuffer<std::uint8_t> out(samplesOfRows(40), kUntouched);
    EXPECT_EQ(callOfRows(0, 40).onThreads(threads, out.data()), 40) << threads;
    EXPECT_EQ(out.copy(), expected) << threads;
    EXPECT_TRUE(out.guardsIntact());

    GuardedBuffer<std::uint8_t> inside(samplesOfRows(40), kUntouched);
    warpOnThreads(job(), 40, threads, inside.data());
    EXPECT_EQ(inside.copy(), expected) << threads;
    EXPECT_TRUE(inside.guardsIntact());
  }
}

TEST(ThreadedWarp, StartsAThreadAStripAndNoneForASingleOne) {
  GuardedBuffer<std::uint8_t> out(samplesOfRows(10));
  EXPECT_EQ(countThreads([&] { callOfRows(0, 10).onThreads(0, out.data()); }), 0);
  EXPECT_EQ(countThreads([&] { callOfRows(0, 10).onThreads(1, out.data()); }), 0);
  EXPECT_EQ(countThreads([&] { callOfRows(0, 10).onThreads(4, out.data()); }), 4);
}

TEST(ThreadedWarp, GivesTheLastStripTheRemainder) {
  const auto expectStrip = [](RowBand strip, int begin, int end) {
    EXPECT_EQ(strip.begin, begin);
    EXPECT_EQ(strip.end, end);
  };
  expectStrip(stripRows(10, 0, 4), 0, 2);
  expectStrip(stripRows(10, 1, 4), 2, 4);
  expectStrip(stripRows(10, 2, 4), 4, 6);
  expectStrip(stripRows(10, 3, 4), 6, 10);
  const auto expected = producedRows(0, 10);
  GuardedBuffer<std::uint8_t> out(samplesOfRows(10), kUntouched);
  EXPECT_EQ(callOfRows(0, 10).onThreads(4, out.data()), 10);
  EXPECT_EQ(out.copy(), expected);
}

TEST(ThreadedWarp, LeavesAllRowsToTheLastThreadWhenThereAreMoreThreadsThanRows) {
  EXPECT_EQ(stripRows(5, 6, 8).end, 0);
  EXPECT_EQ(stripRows(5, 7, 8).begin, 0);
  EXPECT_EQ(stripRows(5, 7, 8).end, 5);
  GuardedBuffer<std::uint8_t> out(samplesOfRows(5), kUntouched);
  EXPECT_EQ(callOfRows(0, 5).onThreads(8, out.data()), 5);
  EXPECT_EQ(out.copy(), producedRows(0, 5));
}

TEST(ThreadedWarp, NumbersRowsFromZeroOnThreadsAndFromTheBandOnTheCaller) {
  GuardedBuffer<std::uint8_t> out(samplesOfRows(7), kUntouched);
  EXPECT_EQ(callOfRows(3, 10).onThreads(2, out.data()), 7);
  EXPECT_EQ(out.copy(), producedRows(0, 7));
  EXPECT_TRUE(out.guardsIntact());
  EXPECT_EQ(callOfRows(3, 10).onThreads(1, out.data()), 10);
  EXPECT_EQ(out.copy(), producedRows(3, 10));
}

TEST(ThreadedWarp, ReturnsZeroForAnEmptyBandOnThreads) {
  GuardedBuffer<std::uint8_t> out(0);
  EXPECT_EQ(callOfRows(5, 5).onThreads(4, out.data()), 0);
  EXPECT_EQ(callOfRows(5, 5).onThreads(1, out.data()), 5);
  EXPECT_TRUE(out.guardsIntact());
}

WarpThreadArgs record(const WarpCall &call, void *dst, int index, int count) {
  return {.srcWidth = call.srcWidth,
          .srcHeight = call.srcHeight,
          .srcStride = call.srcStride,
          .dstWidth = call.dstWidth,
          .rowCount = call.rowEnd - call.rowStart,
          .channels = call.channels,
          .bitsPerSample = call.bitsPerSample,
          .offsetX = call.offsetX,
          .offsetY = call.offsetY,
          .perspective = call.perspective,
          .imageIndex = call.imageIndex,
          .srcOffset = call.srcOffset,
          .slotTable = call.slotTable,
          .transforms = call.transforms,
          .srcBase = call.srcBase,
          .dst = dst,
          .threadIndex = index,
          .threadCount = count,
          .result = -77};
}

// Runs the exported thread body as a host would.
void runBody(WarpThreadArgs &args) {
  pthread_t thread;
  ASSERT_EQ(pthread_create(&thread, nullptr, align_with_transf_threaded, &args), 0);
  void *exitValue = &thread;
  ASSERT_EQ(pthread_join(thread, &exitValue), 0);
  EXPECT_EQ(exitValue, nullptr);
}

TEST(WarpThreadBody, ProducesItsStripAndStoresTheKernelsResult) {
  const int ends[] = {2, 4, 6, 10};
  for (int index = 0; index < 4; ++index) {
    GuardedBuffer<std::uint8_t> out(samplesOfRows(10), kUntouched);
    WarpThreadArgs args = record(callOfRows(0, 10), out.data(), index, 4);
    runBody(args);
    EXPECT_EQ(args.result, ends[index]);
    std::vector<std::uint8_t> expected(samplesOfRows(10), kUntouched);
    const auto rows = producedRows(2 * index, ends[index]);
    std::copy(rows.begin(), rows.end(), expected.begin() + static_cast<std::ptrdiff_t>(samplesOfRows(2 * index)));
    EXPECT_EQ(out.copy(), expected);
    EXPECT_TRUE(out.guardsIntact());
  }
}

TEST(WarpThreadBody, PlacesItsStripBySampleWidth) {
  const auto wide = noise<std::uint16_t>(kWidth * kHeight * kChannels, 12);
  WarpCall call = callOfRows(0, 6);
  call.bitsPerSample = 16;
  call.srcBase = wide.data();
  GuardedBuffer<std::uint16_t> expected(samplesOfRows(6), kUntouched);
  call.onCaller(expected.data());
  GuardedBuffer<std::uint16_t> out(samplesOfRows(6), kUntouched);
  for (int index = 0; index < 3; ++index) {
    WarpThreadArgs args = record(call, out.data(), index, 3);
    runBody(args);
    EXPECT_EQ(args.result, 2 * index + 2);
  }
  EXPECT_EQ(out.copy(), expected.copy());
}

TEST(WarpThreadBody, StoresZeroForAnUnknownDepth) {
  GuardedBuffer<std::uint8_t> out(samplesOfRows(4), kUntouched);
  WarpThreadArgs args = record(callOfRows(0, 4), out.data(), 1, 2);
  args.bitsPerSample = 12;
  runBody(args);
  EXPECT_EQ(args.result, 0);
  EXPECT_EQ(out.copy(), std::vector<std::uint8_t>(samplesOfRows(4), kUntouched));
}

TEST(WarpThreadBody, StoresTheFirstRowOfAnEmptyStrip) {
  GuardedBuffer<std::uint8_t> out(samplesOfRows(5), kUntouched);
  WarpThreadArgs args = record(callOfRows(0, 5), out.data(), 6, 8);
  runBody(args);
  EXPECT_EQ(args.result, 0);
  EXPECT_EQ(out.copy(), std::vector<std::uint8_t>(samplesOfRows(5), kUntouched));
}

TEST(ThreadedWarpFailure, InsideTheLibraryTheCallingThreadProducesWhatHasNoThread) {
  const auto expected = producedRows(0, 40);
  for (const Failing mode : {Failing::Once, Failing::Onwards})
    for (int nth = 1; nth <= 5; ++nth) {
      GuardedBuffer<std::uint8_t> out(samplesOfRows(40), kUntouched);
      FailingThreads failing(nth, mode);
      FailingAllocation counting(FailingAllocation::kNever);
      warpOnThreads(job(), 40, 4, out.data());
      EXPECT_EQ(failing.reached(), nth <= 4);
      EXPECT_EQ(out.copy(), expected) << nth;
      EXPECT_TRUE(out.guardsIntact());
      EXPECT_EQ(counting.live(), 0);
    }
}

TEST(ThreadedWarpFailure, InsideTheLibraryTheCallingThreadDoesAllWithoutMemory) {
  const auto expected = producedRows(0, 40);
  const long failures = forEachFailingAllocation([&](const FailingAllocation &failing) {
    GuardedBuffer<std::uint8_t> out(samplesOfRows(40), kUntouched);
    warpOnThreads(job(), 40, 4, out.data());
    EXPECT_EQ(out.copy(), expected);
    EXPECT_EQ(failing.live(), 0);
  });
  EXPECT_EQ(failures, 1);
}

TEST(ThreadedWarpFailure, WithoutMemoryTheFlatCallRunsOnTheCaller) {
  const auto expected = producedRows(3, 10);
  const long failures = forEachFailingAllocation([&](const FailingAllocation &failing) {
    GuardedBuffer<std::uint8_t> out(samplesOfRows(7), kUntouched);
    const int result = callOfRows(3, 10).onThreads(4, out.data());
    EXPECT_EQ(result, failing.reached() ? 10 : 7);
    EXPECT_EQ(out.copy(), failing.reached() ? expected : producedRows(0, 7));
    EXPECT_TRUE(out.guardsIntact());
    EXPECT_EQ(failing.live(), 0);
  });
  EXPECT_EQ(failures, 2);
}

TEST(ThreadedWarpFailure, WithoutAnyThreadTheFlatCallRunsOnTheCaller) {
  GuardedBuffer<std::uint8_t> out(samplesOfRows(7), kUntouched);
  FailingThreads failing(1);
  FailingAllocation counting(FailingAllocation::kNever);
  EXPECT_EQ(callOfRows(3, 10).onThreads(4, out.data()), 10);
  EXPECT_EQ(failing.calls(), 1) << "no further start is tried";
  EXPECT_EQ(counting.live(), 0);
  EXPECT_EQ(out.copy(), producedRows(3, 10));
}

#if !defined(VINDREL_RACE_REPORTED)
TEST(ThreadedWarpFailure, TheFlatCallReturnsTheCallersResultAndThreadsLeftRunningReleaseTheRecords) {
  const auto expected = producedRows(0, 40);
  for (int nth = 2; nth <= 4; ++nth) {
    GuardedBuffer<std::uint8_t> out(samplesOfRows(40), kUntouched);
    FailingThreads failing(nth);
    FailingAllocation counting(FailingAllocation::kNever);
    EXPECT_EQ(callOfRows(0, 40).onThreads(4, out.data()), 40);
    EXPECT_EQ(failing.calls(), nth) << "no further start is tried";
    while (counting.live() != 0) // the last thread to end releases them; until then out belongs to the threads
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    EXPECT_EQ(out.copy(), expected);
    EXPECT_TRUE(out.guardsIntact());
  }
}

TEST(ThreadedWarpFailure, ThreadsLeftRunningDoNotReadTheCallersTransform) {
  const auto expected = producedRows(0, 40);
  GuardedBuffer<std::uint8_t> out(samplesOfRows(40), kUntouched);
  FailingThreads failing(4);
  FailingAllocation counting(FailingAllocation::kNever);
  {
    std::vector<float> table(std::begin(kTurned), std::end(kTurned));
    WarpCall call = callOfRows(0, 40);
    call.transforms = table.data();
    EXPECT_EQ(call.onThreads(4, out.data()), 40);
    std::fill(table.begin(), table.end(), 1e30f);
  }
  while (counting.live() != 0)
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  EXPECT_EQ(out.copy(), expected);
}
#endif

TEST(ThreadedWarpFailure, AfterACallersResultOfZeroTheStartedThreadsAreJoinedAndTheResultIsZero) {
  // Rows -8 to -1: the caller's band ends at row 0, so its result is 0; the strips are rows 0 to 7.
  for (int nth = 1; nth <= 4; ++nth) {
    // The calling thread writes rows -8 to -1 over the strips or the strips over them: only the result is certain.
    WarpCall call = callOfRows(-8, 0);
    call.dstWidth = 0;
    GuardedBuffer<std::uint8_t> out(samplesOfRows(8), kUntouched);
    FailingThreads failing(nth);
    FailingAllocation counting(FailingAllocation::kNever);
    EXPECT_EQ(call.onThreads(4, out.data()), 0);
    EXPECT_TRUE(failing.reached());
    EXPECT_EQ(counting.live(), 0) << "all threads have been joined";
  }
}

TEST(ThreadedWarpFailure, AnUnknownDepthIsZeroWhateverFails) {
  WarpCall call = callOfRows(0, 8);
  call.bitsPerSample = 12;
  GuardedBuffer<std::uint8_t> out(samplesOfRows(8), kUntouched);
  FailingThreads failing(2);
  EXPECT_EQ(call.onThreads(4, out.data()), 0);
  EXPECT_EQ(out.copy(), std::vector<std::uint8_t>(samplesOfRows(8), kUntouched));
}

} // namespace
} // namespace vindrel::test
