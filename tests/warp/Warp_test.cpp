// What the flat warp call promises, case by case. The kernel's arithmetic at large is in WarpKernel_test.cpp.
#include "warp/Warp.h"

#include "VindrelRegLib.h"
#include "reference/Warp.h"
#include "support/EveryTarget.h"
#include "support/FailingAllocation.h"
#include "support/GuardedBuffer.h"
#include "warp/WarpCall.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <sys/mman.h>
#include <vector>

namespace vindrel::test {
namespace {

using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;

// A source of one channel, four by three pixels.
constexpr std::uint8_t kSmall[] = {10, 20,  30,  40, //
                                   50, 60,  70,  80, //
                                   90, 100, 110, 120};

WarpCall smallCall(const float *transform) {
  return {.srcWidth = 4,
          .srcHeight = 3,
          .srcStride = 4,
          .dstWidth = 1,
          .rowEnd = 1,
          .channels = 1,
          .transforms = transform,
          .srcBase = kSmall};
}

// The one output pixel of the small source at source coordinates (x, y).
int smallAt(float x, float y) {
  const float transform[6] = {0, 0, x, 0, 0, y};
  GuardedBuffer<std::uint8_t> out(1, 7);
  EXPECT_EQ(smallCall(transform).onCaller(out.data()), 1);
  EXPECT_TRUE(out.guardsIntact());
  return out[0];
}

TEST(Warp, ReturnsZeroAndWritesNothingForAnUnknownDepth) {
  for (const int bits : {12, 0, -8, 1, 32, 7, 9, 15, 17}) {
    WarpCall call = smallCall(kIdentity);
    call.bitsPerSample = bits;
    GuardedBuffer<std::uint16_t> out(4, 7);
    EXPECT_EQ(call.onCaller(out.data()), 0) << bits;
    EXPECT_EQ(call.onThreads(1, out.data()), 0) << bits;
    EXPECT_EQ(call.onThreads(4, out.data()), 0) << bits;
    EXPECT_THAT(out.contents(), Each(7));
    EXPECT_TRUE(out.guardsIntact());
  }
}

TEST(Warp, TakesAllSixtyFourBitsOfTheDepth) {
  GuardedBuffer<std::uint8_t> out(1, 7);
  EXPECT_EQ(align_with_transf_orig(4, 3, 4, 1, 0, 1, 1, (std::int64_t{1} << 32) + 8, 0, 0, 0, nullptr, kIdentity, 0, 0,
                                   kSmall, out.data()),
            0);
  EXPECT_EQ(out[0], 7);
}

TEST(Warp, ReturnsTheFirstRowOfAnEmptyOrReversedBandAndWritesNothing) {
  for (const auto &[begin, end] : {std::pair{0, 0}, {5, 5}, {5, 2}, {-1, -1}, {0, -3}}) {
    WarpCall call = smallCall(kIdentity);
    call.rowStart = begin;
    call.rowEnd = end;
    GuardedBuffer<std::uint8_t> out(4, 7);
    EXPECT_EQ(call.onCaller(out.data()), begin);
    EXPECT_THAT(out.contents(), Each(7));
    EXPECT_TRUE(out.guardsIntact());
  }
}

TEST(Warp, ReturnsTheEndOfTheBandItProduced) {
  WarpCall call = smallCall(kIdentity);
  call.rowStart = 3;
  call.rowEnd = 10;
  GuardedBuffer<std::uint8_t> out(7);
  EXPECT_EQ(call.onCaller(out.data()), 10);
  call.dstWidth = 0;
  EXPECT_EQ(call.onCaller(out.data()), 10) << "rows without columns";
  EXPECT_TRUE(out.guardsIntact());
}

TEST(Warp, FillsPixelsOnTheLastColumnOrRowOfTheSource) {
  EXPECT_EQ(smallAt(2, 1), 70);
  EXPECT_EQ(smallAt(3, 1), 255) << "column 4 is missing";
  EXPECT_EQ(smallAt(2, 2), 255) << "row 3 is missing";
  EXPECT_EQ(smallAt(2.9999998f, 1), 80) << "just before the last column";
  EXPECT_EQ(smallAt(2, 1.9999999f), 110);
}

TEST(Warp, ExtrapolatesBetweenMinusOneAndZero) {
  // -0.5: half a step of 10 before the first column, half a step of 40 above the first row.
  EXPECT_EQ(smallAt(-0.5f, 1), 45);
  EXPECT_EQ(smallAt(2, -0.5f), 10);
  EXPECT_EQ(smallAt(-0.5f, 0), 5);
  EXPECT_EQ(smallAt(0, -0.5f), 0) << "-10, clamped";
  EXPECT_EQ(smallAt(-0.99999994f, 1), 40) << "the last coordinate above -1";
  EXPECT_EQ(smallAt(-1, 1), 255) << "outside";
  EXPECT_EQ(smallAt(2, -1), 255) << "outside";
}

TEST(Warp, ClampsAnExtrapolationAboveWhite) {
  const std::uint8_t bright[] = {250, 100, 250, 100};
  const float transform[6] = {0, 0, -0.9f, 0, 0, 0};
  WarpCall call = smallCall(transform);
  call.srcWidth = call.srcHeight = call.srcStride = 2;
  call.srcBase = bright;
  GuardedBuffer<std::uint8_t> out(1, 7);
  call.onCaller(out.data());
  EXPECT_EQ(out[0], 255);

  const std::uint16_t bright16[] = {65000, 100, 65000, 100};
  call.bitsPerSample = 16;
  call.srcBase = bright16;
  GuardedBuffer<std::uint16_t> out16(1, 7);
  call.onCaller(out16.data());
  EXPECT_EQ(out16[0], 65535);
}

TEST(Warp, TreatsCoordinatesThatAreNoNumbersOrBeyondIntAsOutside) {
  constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
  constexpr float kInfinity = std::numeric_limits<float>::infinity();
  for (const float bad : {kNan, kInfinity, -kInfinity, 2147483648.0f, 4294967296.0f, 3e38f, -3e38f, -2147483904.0f}) {
    EXPECT_EQ(smallAt(bad, 1), 255) << bad;
    EXPECT_EQ(smallAt(1, bad), 255) << bad;
  }
}

TEST(Warp, RoundsEightBitSamplesHalfUp) {
  const std::uint8_t step[] = {100, 101, 100, 101};
  const auto at = [&](float x) {
    const float transform[6] = {0, 0, x, 0, 0, 0};
    WarpCall call = smallCall(transform);
    call.srcWidth = call.srcHeight = call.srcStride = 2;
    call.srcBase = step;
    std::uint8_t out = 7;
    call.onCaller(&out);
    return static_cast<int>(out);
  };
  EXPECT_EQ(at(0.5f), 101);
  EXPECT_EQ(at(0.499f), 100);
}

TEST(Warp, AddsTheHalfOfRoundingInDoublePrecision) {
  // 0.49999997 is the float below 0.5; their single-precision sum would be 1.
  const std::uint8_t step[] = {0, 1, 0, 1};
  const float transform[6] = {0, 0, 0.49999997f, 0, 0, 0};
  WarpCall call = smallCall(transform);
  call.srcWidth = call.srcHeight = call.srcStride = 2;
  call.srcBase = step;
  std::uint8_t out = 7;
  call.onCaller(&out);
  EXPECT_EQ(out, 0);
}

TEST(Warp, RoundsSixteenBitSamplesDown) {
  const std::uint16_t step[] = {1000, 1001, 1000, 1001};
  const float transform[6] = {0, 0, 0.9f, 0, 0, 0};
  WarpCall call = smallCall(transform);
  call.srcWidth = call.srcHeight = call.srcStride = 2;
  call.bitsPerSample = 16;
  call.srcBase = step;
  std::uint16_t out = 7;
  call.onCaller(&out);
  EXPECT_EQ(out, 1000);
}

// One output pixel that lies outside the source, of so many channels.
template <class Sample>
std::vector<Sample> outsidePixel(int channels) {
  const float transform[6] = {0, 0, -10, 0, 0, 0};
  const std::vector<Sample> source(static_cast<std::size_t>(channels) * 4, 1);
  const WarpCall call = {.srcWidth = 2,
                         .srcHeight = 2,
                         .srcStride = 2 * channels,
                         .dstWidth = 1,
                         .rowEnd = 1,
                         .channels = channels,
                         .bitsPerSample = sizeof(Sample) == 1 ? 8 : 16,
                         .transforms = transform,
                         .srcBase = source.data()};
  GuardedBuffer<Sample> out(static_cast<std::size_t>(channels), 7);
  EXPECT_EQ(call.onCaller(out.data()), 1);
  EXPECT_TRUE(out.guardsIntact());
  return out.copy();
}

TEST(Warp, SetsTheFirstMiddleAndLastSampleOfAnOutsidePixelOnly) {
  EXPECT_THAT(outsidePixel<std::uint8_t>(1), ElementsAre(255));
  EXPECT_THAT(outsidePixel<std::uint8_t>(2), ElementsAre(255, 255));
  EXPECT_THAT(outsidePixel<std::uint8_t>(3), ElementsAre(255, 255, 255));
  EXPECT_THAT(outsidePixel<std::uint8_t>(4), ElementsAre(255, 255, 7, 255));
  EXPECT_THAT(outsidePixel<std::uint8_t>(5), ElementsAre(255, 7, 255, 7, 255));
  EXPECT_THAT(outsidePixel<std::uint16_t>(1), ElementsAre(65535));
  EXPECT_THAT(outsidePixel<std::uint16_t>(3), ElementsAre(65535, 65535, 65535));
  EXPECT_THAT(outsidePixel<std::uint16_t>(4), ElementsAre(65535, 65535, 7, 65535));
}

template <class Sample>
void expectIdentityCopies(int perspective) {
  constexpr int kWidth = 37, kHeight = 11, kChannels = 4;
  const auto source = noise<Sample>(kWidth * kHeight * kChannels, 1);
  const std::uint32_t slots[] = {0};
  const WarpCall call = {.srcWidth = kWidth,
                         .srcHeight = kHeight,
                         .srcStride = kWidth * kChannels,
                         .dstWidth = kWidth,
                         .rowEnd = kHeight,
                         .channels = kChannels,
                         .bitsPerSample = sizeof(Sample) == 1 ? 8 : 16,
                         .perspective = perspective,
                         .slotTable = slots,
                         .transforms = kIdentity,
                         .srcBase = source.data()};
  std::vector<Sample> expected = source;
  for (int y = 0; y < kHeight; ++y)
    for (int x = 0; x < kWidth; ++x)
      if (x == kWidth - 1 || y == kHeight - 1)
        for (const int c : {0, 1, 3})
          expected[static_cast<std::size_t>((y * kWidth + x) * kChannels + c)] = std::numeric_limits<Sample>::max();
  GuardedBuffer<Sample> out(source.size());
  std::copy(source.begin(), source.end(), out.data()); // so that the third sample of the fill is known
  EXPECT_EQ(call.onCaller(out.data()), kHeight);
  EXPECT_THAT(out.contents(), ElementsAreArray(expected));
  EXPECT_TRUE(out.guardsIntact());
}

TEST(Warp, CopiesUnderTheIdentityAndFillsTheLastColumnAndRow) {
  expectIdentityCopies<std::uint8_t>(0);
  expectIdentityCopies<std::uint8_t>(1);
  expectIdentityCopies<std::uint16_t>(0);
  expectIdentityCopies<std::uint16_t>(1);
}

TEST(Warp, SubtractsTheOffsetsBeforeTheTransform) {
  WarpCall call = smallCall(kIdentity);
  call.offsetX = -1;
  call.offsetY = -1;
  call.dstWidth = 2;
  GuardedBuffer<std::uint8_t> out(2);
  call.onCaller(out.data());
  EXPECT_THAT(out.contents(), ElementsAre(60, 70));
}

TEST(Warp, NumbersRowsFromTheStartOfTheBand) {
  WarpCall call = smallCall(kIdentity);
  call.rowStart = 1;
  call.rowEnd = 2;
  GuardedBuffer<std::uint8_t> out(1);
  call.onCaller(out.data());
  EXPECT_EQ(out[0], 50);
}

TEST(Warp, CountsTheSourceOffsetAndStrideInSamples) {
  const auto source = noise<std::uint16_t>(200, 3);
  const WarpCall call = {.srcWidth = 4,
                         .srcHeight = 3,
                         .srcStride = 17,
                         .dstWidth = 1,
                         .rowEnd = 2,
                         .channels = 3,
                         .bitsPerSample = 16,
                         .transforms = kIdentity,
                         .srcOffset = 5,
                         .srcBase = source.data()};
  GuardedBuffer<std::uint16_t> out(6);
  call.onCaller(out.data());
  EXPECT_THAT(out.contents(), ElementsAre(source[5], source[6], source[7], source[22], source[23], source[24]));
}

TEST(Warp, IndexesAffineTablesByImageAndPerspectiveTablesThroughTheSlots) {
  std::vector<float> table(24, 0);
  table[6 * 2 + 2] = 1; // image 2 of the affine table: source column 1
  table[8 * 1 + 2] = 2; // slot 1 of the perspective table: source column 2
  const std::uint32_t slots[] = {0, 0, 1};
  WarpCall call = smallCall(table.data());
  call.imageIndex = 2;
  std::uint8_t out = 0;
  call.onCaller(&out);
  EXPECT_EQ(out, 20) << "no slot table is read";
  call.perspective = -1;
  call.slotTable = slots;
  call.onCaller(&out);
  EXPECT_EQ(out, 30);
}

TEST(Warp, AllocatesNothingOnTheCallersThread) {
  std::uint8_t out = 0;
  EXPECT_EQ(countAllocations([&] { smallCall(kIdentity).onCaller(&out); }), 0);
  EXPECT_EQ(countAllocations([&] { smallCall(kIdentity).onThreads(1, &out); }), 0);
}

// Address space without memory behind it, but for the pages that are touched.
class SparseMemory {
public:
  explicit SparseMemory(std::size_t size)
      : size_(size),
        memory_(mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0)) {}
  ~SparseMemory() {
    if (*this) munmap(memory_, size_);
  }
  SparseMemory(const SparseMemory &) = delete;
  SparseMemory &operator=(const SparseMemory &) = delete;
  explicit operator bool() const { return memory_ != MAP_FAILED; }
  std::uint8_t *bytes() { return static_cast<std::uint8_t *>(memory_); }

private:
  std::size_t size_;
  void *memory_;
};

TEST(Warp, AddressesSourcesBeyondTwoToThe32Samples) {
  constexpr std::size_t kStride = 2147483647;
  SparseMemory memory(4 * kStride);
  if (!memory) GTEST_SKIP() << "no address space of this size";
  memory.bytes()[2 * kStride + 6] = 200; // row 2, column 2 of three channels
  const float transform[6] = {0, 0, 2, 0, 0, 2};
  WarpCall call = {.srcWidth = 4,
                   .srcHeight = 4,
                   .srcStride = static_cast<int>(kStride),
                   .dstWidth = 1,
                   .rowEnd = 1,
                   .transforms = transform,
                   .srcBase = memory.bytes()};
  std::uint8_t out[3] = {};
  call.onCaller(out);
  EXPECT_THAT(out, ElementsAre(200, 0, 0));
  call.srcOffset = static_cast<std::int64_t>(2 * kStride);
  call.srcHeight = 2;
  const float first[6] = {0, 0, 2, 0, 0, 0};
  call.transforms = first;
  out[0] = 0;
  call.onCaller(out);
  EXPECT_THAT(out, ElementsAre(200, 0, 0));
}

TEST(Warp, AddressesManyRowsOfSourcesBeyondTwoToThe32Samples) {
  constexpr std::int64_t kStride = 1 << 28; // of eight rows at most offsets fit an int
  constexpr int kWidth = 90, kHeight = 40;
  SparseMemory memory(std::size_t{kStride} * kHeight);
  if (!memory) GTEST_SKIP() << "no address space of this size";
  const auto row = noise<std::uint8_t>(kWidth * 3, 1);
  for (int y = 0; y < kHeight; ++y)
    for (int k = 0; k < kWidth * 3; ++k)
      memory.bytes()[y * kStride + k] = static_cast<std::uint8_t>(row[static_cast<std::size_t>(k)] + y * 37);
  // Along a row of the output the source's rows change: slowly, and by more at a time than offsets reach.
  for (const float slope : {0.0f, 0.03f, 0.4f, 7.0f}) {
    const float transform[6] = {0.9f, 0.1f, 2.5f, slope, 1, 0.25f};
    const WarpCall call = {.srcWidth = kWidth,
                           .srcHeight = kHeight,
                           .srcStride = static_cast<int>(kStride),
                           .dstWidth = kWidth,
                           .rowEnd = kHeight,
                           .transforms = transform,
                           .srcBase = memory.bytes()};
    const reference::Warp<std::uint8_t> definition = {memory.bytes(), kWidth, kHeight, kStride, 3,
                                                      kWidth,         0,      0,       false,   transform};
    std::vector<std::uint8_t> expected(kWidth * kHeight * 3), produced(expected.size());
    reference::warpRows(definition, 0, kHeight, expected.data());
    onEveryTarget([&] {
      call.onCaller(produced.data());
      EXPECT_EQ(produced, expected);
    });
  }
}

TEST(Warp, AddressesColumnsBeyondTwoToThe31Samples) {
  constexpr std::int64_t kWidth = 800000000;
  SparseMemory memory(static_cast<std::size_t>(2 * kWidth * 3 + 8));
  if (!memory) GTEST_SKIP() << "no address space of this size";
  memory.bytes()[750000000 * std::int64_t{3}] = 200;
  const float transform[6] = {0, 0, 750000000, 0, 0, 0};
  ASSERT_EQ(transform[2], 750000000) << "representable in single precision";
  WarpCall call = {.srcWidth = kWidth,
                   .srcHeight = 2,
                   .srcStride = 2147483647,
                   .dstWidth = 1,
                   .rowEnd = 1,
                   .transforms = transform,
                   .srcBase = memory.bytes()};
  std::uint8_t out[3] = {};
  call.onCaller(out);
  EXPECT_THAT(out, ElementsAre(200, 0, 0));
}

TEST(Warp, FindsTheLastColumnOfSourcesWiderThanSinglePrecisionCounts) {
  // The last column is 2^24 + 1, which rounds to 2^24 in single precision; 2^24 itself is still inside.
  constexpr int kLast = (1 << 24) + 1;
  SparseMemory memory(2 * (std::size_t{kLast} + 1));
  if (!memory) GTEST_SKIP() << "no address space of this size";
  memory.bytes()[1 << 24] = 200;
  float transform[6] = {0, 0, 1 << 24, 0, 0, 0};
  const WarpCall call = {.srcWidth = kLast + 1,
                         .srcHeight = 2,
                         .srcStride = kLast + 1,
                         .dstWidth = 1,
                         .rowEnd = 1,
                         .channels = 1,
                         .transforms = transform,
                         .srcBase = memory.bytes()};
  std::uint8_t out = 0;
  call.onCaller(&out);
  EXPECT_EQ(out, 200);
  transform[2] = (1 << 24) + 2;
  call.onCaller(&out);
  EXPECT_EQ(out, 255) << "outside";
}

TEST(Warp, AddressesOutputRowsBeyondTwoToThe32Bytes) {
  SparseMemory memory(std::size_t{5} << 30);
  if (!memory) GTEST_SKIP() << "no address space of this size";
  WarpJob job;
  job.source.channels = 4;
  job.source.depth = SampleDepth::U16;
  job.dstWidth = 100000;
  EXPECT_EQ(static_cast<std::uint8_t *>(outputRow(job, memory.bytes(), 6000)) - memory.bytes(), 4800000000);
}

} // namespace
} // namespace vindrel::test
