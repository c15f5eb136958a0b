// The exported alignment call against its definition, and what it promises.
#include "VindrelRegLib.h"
#include "reference/TranslationAlign.h"
#include "support/EveryTarget.h"
#include "support/FailingAllocation.h"
#include "translate/Scene.h"

#include <gtest/gtest.h>

#include <random>
#include <sys/mman.h>
#include <vector>

namespace vindrel::test {
namespace {

constexpr int kWidth = 200, kHeight = 150;

const Scene &scene() {
  static const Scene made = texturedScene(300, 260, 5);
  return made;
}

template <class Sample>
int align(std::vector<Sample> &stack, int count, int width, int height, int channels, int *size, float fraction) {
  return tr_align(count, width, height, channels, 8 * static_cast<int>(sizeof(Sample)), size,
                  reinterpret_cast<std::uint8_t *>(stack.data()), 0, fraction);
}

// Small stacks of every kind of exposure: shifted texture, noise, flat frames, clipped and black ones.
template <class Sample>
void compareWithDefinition() {
  std::mt19937 random(31);
  int moved = 0;
  for (int trial = 0; trial < 250; ++trial) {
    const int width = 1 + static_cast<int>(random() % 60), height = 1 + static_cast<int>(random() % 50);
    const int channels = 3 + static_cast<int>(random() % 2), count = 1 + static_cast<int>(random() % 5);
    std::vector<Sample> stack;
    for (int i = 0; i < count; ++i) {
      const double gains[] = {0.002, 0.01, 0.1, 0.5, 1, 2, 8, 200};
      const View view{40 + static_cast<int>(random() % 9), 40 + static_cast<int>(random() % 9), gains[random() % 8]};
      std::vector<Sample> frame = frameOf<Sample>(scene(), view, width, height, channels);
      if (random() % 6 == 0)
        for (Sample &sample : frame)
          sample = static_cast<Sample>(random());
      if (random() % 12 == 0) frame.assign(frame.size(), static_cast<Sample>(random()));
      stack.insert(stack.end(), frame.begin(), frame.end());
    }
    const float fraction = static_cast<float>(random() % 150) / 100;
    const bool fullSize = random() % 2 == 0;
    std::vector<Sample> expected = stack;
    const reference::Aligned truth =
        reference::TranslationAlign<Sample>(count, width, height, channels).run(expected, fullSize, fraction);
    int size[2] = {fullSize ? 1 : 0, -1};
    int lastError = -1;
    const int result = tr_align_impl(count, width, height, channels, 8 * static_cast<int>(sizeof(Sample)), size,
                                     &lastError, reinterpret_cast<std::uint8_t *>(stack.data()), fraction);
    ASSERT_EQ(result, truth.result) << trial;
    ASSERT_EQ(size[0], truth.width) << trial;
    ASSERT_EQ(size[1], truth.height) << trial;
    ASSERT_EQ(lastError, truth.lastError) << trial;
    ASSERT_EQ(stack, expected) << trial;
    moved += result > 0;
  }
  EXPECT_GT(moved, 100);
}

TEST(TranslationAlign, EqualsItsDefinitionToTheByteOnRandomStacksOfBytes) {
  onEveryTarget(compareWithDefinition<std::uint8_t>);
}

TEST(TranslationAlign, EqualsItsDefinitionToTheByteOnRandomStacksOfSixteenBits) {
  onEveryTarget(compareWithDefinition<std::uint16_t>);
}

TEST(TranslationAlign, LeavesAStackOfIdenticalImagesAsItIs) {
  auto stack = stackOf<std::uint8_t>(scene(), {{40, 40, 1}, {40, 40, 1}, {40, 40, 1}}, kWidth, kHeight, 3);
  const auto before = stack;
  int size[2] = {0, 0};
  EXPECT_EQ(align(stack, 3, kWidth, kHeight, 3, size, 0.2F), 0);
  EXPECT_EQ(size[0], kWidth);
  EXPECT_EQ(size[1], kHeight);
  EXPECT_EQ(stack, before);
}

template <class Sample>
void cropsShiftedStack(int channels) {
  const std::vector<View> views = {{40, 40, 2}, {45, 37, 1}, {36, 46, 0.5}, {49, 42, 0.25}, {33, 32, 4}};
  auto stack = stackOf<Sample>(scene(), views, kWidth, kHeight, channels);
  int size[2] = {0, 0};
  EXPECT_EQ(align(stack, 5, kWidth, kHeight, channels, size, 0.3F), 16 + 14);
  EXPECT_EQ(size[0], kWidth - 16);
  EXPECT_EQ(size[1], kHeight - 14);
  std::vector<View> common = views; // every image now shows what the rightmost and lowest views began with
  for (View &view : common) {
    view.x = 49;
    view.y = 46;
  }
  const auto expected = stackOf<Sample>(scene(), common, kWidth - 16, kHeight - 14, channels);
  stack.resize(expected.size());
  EXPECT_EQ(stack, expected);
}

TEST(TranslationAlign, CropsBytesOfThreeChannelsToTheCommonPart) {
  cropsShiftedStack<std::uint8_t>(3);
}
TEST(TranslationAlign, CropsBytesOfFourChannelsToTheCommonPart) {
  cropsShiftedStack<std::uint8_t>(4);
}
TEST(TranslationAlign, CropsSixteenBitsOfThreeChannelsToTheCommonPart) {
  cropsShiftedStack<std::uint16_t>(3);
}
TEST(TranslationAlign, CropsSixteenBitsOfFourChannelsToTheCommonPart) {
  cropsShiftedStack<std::uint16_t>(4);
}

TEST(TranslationAlign, CropsThreeColumnsForAShiftOfThreePixels) {
  for (int direction : {-3, 3}) {
    auto stack = stackOf<std::uint8_t>(scene(), {{40, 40, 1}, {40 + direction, 40, 1}}, kWidth, kHeight, 3);
    int size[2] = {0, 0};
    EXPECT_EQ(align(stack, 2, kWidth, kHeight, 3, size, 0.2F), 3);
    EXPECT_EQ(size[0], kWidth - 3);
    EXPECT_EQ(size[1], kHeight);
    const std::size_t output = static_cast<std::size_t>(kWidth - 3) * kHeight * 3;
    EXPECT_TRUE(std::equal(stack.begin(), stack.begin() + output, stack.begin() + output));
  }
}

template <class Sample>
void fillsWhite(int channels) {
  for (const auto &[dx, dy] : {std::pair{5, 3}, {-5, 3}, {5, -3}, {-5, -3}}) {
    const std::vector<View> views = {{40, 40, 1}, {40 + dx, 40 + dy, 0.5}};
    auto stack = stackOf<Sample>(scene(), views, kWidth, kHeight, channels);
    int size[2] = {1, 0};
    EXPECT_EQ(align(stack, 2, kWidth, kHeight, channels, size, 0.2F), 8);
    EXPECT_EQ(size[0], kWidth);
    EXPECT_EQ(size[1], kHeight);
    const int left = std::max(40, 40 + dx), top = std::max(40, 40 + dy);
    std::vector<View> placed = views;
    for (View &view : placed) {
      view.x = left;
      view.y = top;
    }
    auto expected = stackOf<Sample>(scene(), placed, kWidth, kHeight, channels);
    for (int i = 0; i < 2; ++i)
      for (int y = 0; y < kHeight; ++y)
        for (int x = 0; x < kWidth; ++x)
          if (x + left - views[i].x >= kWidth || y + top - views[i].y >= kHeight)
            for (int c = 0; c < channels; ++c)
              expected[((static_cast<std::size_t>(i) * kHeight + y) * kWidth + x) * channels + c] =
                  static_cast<Sample>(~Sample{0});
    EXPECT_EQ(stack, expected) << dx << ' ' << dy;
  }
}

TEST(TranslationAlign, FillsUncoveredBordersOfBytesWhiteAtFullSizeForShiftsOfBothSigns) {
  fillsWhite<std::uint8_t>(3);
}
TEST(TranslationAlign, FillsEverySampleOfAFourthChannelWhite) {
  fillsWhite<std::uint8_t>(4);
}
TEST(TranslationAlign, FillsUncoveredBordersOfSixteenBitsWhiteAtFullSize) {
  fillsWhite<std::uint16_t>(4);
}

TEST(TranslationAlign, SearchesNothingForATinyFraction) {
  for (float fraction : {0.0F, -1.0F, 0.019F, std::numeric_limits<float>::quiet_NaN()}) {
    auto stack = stackOf<std::uint8_t>(scene(), {{40, 40, 1}, {43, 40, 0.5}}, kWidth, kHeight, 3);
    const auto before = stack;
    int size[2] = {0, 0};
    int lastError = -1;
    EXPECT_EQ(tr_align_impl(2, kWidth, kHeight, 3, 8, size, &lastError, stack.data(), fraction), 0);
    EXPECT_EQ(size[0], kWidth);
    EXPECT_EQ(size[1], kHeight);
    EXPECT_EQ(lastError, 0);
    EXPECT_EQ(stack, before);
  }
}

TEST(TranslationAlign, LeavesASingleImageUntouched) {
  for (int asked : {0, 1}) {
    auto image = stackOf<std::uint16_t>(scene(), {{40, 40, 1}}, kWidth, kHeight, 3);
    const auto before = image;
    int size[2] = {asked, 0};
    EXPECT_EQ(align(image, 1, kWidth, kHeight, 3, size, 0.2F), 0);
    EXPECT_EQ(size[0], kWidth);
    EXPECT_EQ(size[1], kHeight);
    EXPECT_EQ(image, before);
  }
}

TEST(TranslationAlign, IgnoresTheReservedArgument) {
  auto a = stackOf<std::uint8_t>(scene(), {{40, 40, 1}, {43, 40, 0.5}}, kWidth, kHeight, 3);
  auto b = a;
  int sizeA[2] = {0, 0}, sizeB[2] = {0, 0};
  EXPECT_EQ(tr_align(2, kWidth, kHeight, 3, 8, sizeA, a.data(), 0, 0.2F),
            tr_align(2, kWidth, kHeight, 3, 8, sizeB, b.data(), -123456789012345, 0.2F));
  EXPECT_EQ(a, b);
}

TEST(TranslationAlign, AlignsImagesOfASinglePixelRowOrColumn) {
  std::mt19937 random(33);
  for (const auto &[width, height] : {std::pair{100, 1}, {1, 100}, {1, 1}, {2, 100}, {100, 2}}) {
    std::vector<std::uint8_t> stack(static_cast<std::size_t>(3) * width * height * 3);
    for (std::uint8_t &sample : stack)
      sample = static_cast<std::uint8_t>(random());
    std::vector<std::uint8_t> expected = stack;
    const auto truth = reference::TranslationAlign<std::uint8_t>(3, width, height, 3).run(expected, false, 1);
    int size[2] = {0, 0};
    EXPECT_EQ(align(stack, 3, width, height, 3, size, 1), truth.result);
    EXPECT_EQ(stack, expected);
  }
}

TEST(TranslationAlign, ReportsFailedAllocationsWithThePixelsUntouched) {
  const auto before = stackOf<std::uint8_t>(scene(), {{40, 40, 1}, {43, 40, 0.5}, {38, 46, 2}}, 80, 60, 3);
  const long failures = forEachFailingAllocation([&](const FailingAllocation &failing) {
    auto stack = before;
    int size[2] = {0, 77};
    const int result = align(stack, 3, 80, 60, 3, size, 0.3F);
    if (failing.reached()) {
      EXPECT_EQ(result, -4);
      EXPECT_EQ(stack, before);
      EXPECT_EQ(size[0], 0);
      EXPECT_EQ(size[1], 77);
    } else {
      EXPECT_GT(result, 0);
    }
    EXPECT_EQ(failing.live(), 0);
  });
  EXPECT_EQ(failures, 8);
}

// A stack with so many channels that its third image starts beyond sample 2^32. Only the first three of each pixel are
// ever read, so the pages in between never exist.
TEST(TranslationAlign, ReadsImagesBeyondTheFirstFourBillionSamples) {
  constexpr int kSide = 48, kChannels = 1000000;
  constexpr std::size_t kImage = std::size_t{kSide} * kSide * kChannels;
  static_assert(2 * kImage > (std::size_t{1} << 32));
  void *memory = mmap(nullptr, 3 * kImage, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  if (memory == MAP_FAILED) GTEST_SKIP() << "no address space for " << 3 * kImage << " bytes";
  auto *wide = static_cast<std::uint8_t *>(memory);
  auto narrow = stackOf<std::uint8_t>(scene(), {{40, 40, 1}, {40, 40, 1}, {40, 40, 1}}, kSide, kSide, 3);
  for (std::size_t pixel = 0; pixel < narrow.size() / 3; ++pixel)
    for (std::size_t c = 0; c < 3; ++c)
      wide[pixel * kChannels + c] = narrow[pixel * 3 + c];
  int size[2] = {0, 0};
  int expected = -1, lastError = -1;
  EXPECT_EQ(tr_align_impl(3, kSide, kSide, 3, 8, size, &expected, narrow.data(), 0.3F), 0);
  size[0] = 0;
  EXPECT_EQ(tr_align_impl(3, kSide, kSide, kChannels, 8, size, &lastError, wide, 0.3F), 0);
  // Row 0 and column 0 of the moving bitmap never count. An image misread as black would differ in half of all pixels.
  EXPECT_EQ(lastError, expected);
  EXPECT_GT(expected, 0);
  EXPECT_LT(expected, 2 * kSide);
  munmap(memory, 3 * kImage);
}

} // namespace
} // namespace vindrel::test
