#include "translate/BitmapCache.h"

#include "support/FailingAllocation.h"
#include "translate/Percentile.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

namespace vindrel::test {
namespace {

constexpr Size kSize = {500, 60};
constexpr int kFrames = 4;
constexpr int kLevels = 3;

// Frames of noise that count how often they are asked for.
class CountedFrames final : public FrameSource {
public:
  explicit CountedFrames(int channels) : channels_(channels) {
    std::mt19937 random(1);
    for (int i = 0; i < kFrames; ++i) {
      std::vector<std::uint8_t> &pixels =
          pixels_.emplace_back(static_cast<std::size_t>(packedSamples(kSize, channels)));
      for (std::uint8_t &sample : pixels)
        sample = static_cast<std::uint8_t>(random());
    }
  }
  int count() const override { return kFrames; }
  FrameFormat format() const override { return {.size = kSize, .channels = channels_, .depth = SampleDepth::U8}; }
  std::optional<ImageView> frame(int index) override {
    ++asked;
    if (index == missing) return std::nullopt;
    return ImageView{.samples = pixels_[static_cast<std::size_t>(index)].data(),
                     .size = kSize,
                     .channels = channels_,
                     .rowStride = std::int64_t{kSize.width} * channels_,
                     .depth = SampleDepth::U8};
  }

  int asked = 0;
  int missing = -1;

private:
  int channels_;
  std::vector<std::vector<std::uint8_t>> pixels_;
};

std::vector<std::uint64_t> expectedBitmaps(CountedFrames &frames, const Thresholded &wanted) {
  std::vector<std::uint8_t> grey(static_cast<std::size_t>(packedSamples(kSize, 1)));
  std::uint32_t histogram[kGreyLevels];
  convertAndCount(*frames.frame(wanted.frame), histogram, grey.data());
  const PyramidLayout layout(kSize, kLevels);
  std::vector<std::uint64_t> words(layout.words());
  layout.fill(grey.data(), wanted.threshold, words.data());
  return words;
}

void look(BitmapCache &cache, CountedFrames &frames, int threshold) {
  std::uint32_t histogram[kGreyLevels];
  for (int i = 0; i < kFrames; ++i) {
    cache.count(*frames.frame(i), histogram);
    cache.keep({i, threshold});
  }
}

// With one channel there is room for two pyramids only, with three for more than are asked for.
TEST(BitmapCache, GivesEveryPairItsBitmapsHoweverFewItKeeps) {
  for (const int channels : {1, 3}) {
    CountedFrames frames(channels);
    BitmapCache cache;
    ASSERT_TRUE(cache.allocate(frames.format(), kFrames, kLevels));
    look(cache, frames, 128);
    std::mt19937 random(2);
    for (int trial = 0; trial < 200; ++trial) {
      const int a = static_cast<int>(random() % kFrames);
      const Thresholded reference = {a, 126 + static_cast<int>(random() % 3)};
      const Thresholded moving = {(a + 1 + static_cast<int>(random() % (kFrames - 1))) % kFrames,
                                  126 + static_cast<int>(random() % 3)};
      const std::optional<BitmapCache::Pair> pair = cache.pair(frames, reference, moving);
      ASSERT_TRUE(pair);
      const auto shows = [&](const std::uint64_t *words, const Thresholded &wanted) {
        return std::vector<std::uint64_t>(words, words + cache.layout().words()) == expectedBitmaps(frames, wanted);
      };
      ASSERT_TRUE(shows(pair->reference, reference) && shows(pair->moving, moving)) << channels << ' ' << trial;
      if (random() % 5 == 0) cache.release(static_cast<int>(random() % kFrames));
    }
  }
}

TEST(BitmapCache, LooksAtNoFrameAgainWhoseBitmapsItKeeps) {
  CountedFrames frames(3);
  BitmapCache cache;
  ASSERT_TRUE(cache.allocate(frames.format(), kFrames, kLevels));
  look(cache, frames, 128);
  EXPECT_EQ(frames.asked, kFrames);
  for (int i = 1; i < kFrames; ++i)
    ASSERT_TRUE(cache.pair(frames, {i - 1, 128}, {i, 128}));
  EXPECT_EQ(frames.asked, kFrames);
  ASSERT_TRUE(cache.pair(frames, {0, 128}, {1, 50}));
  EXPECT_EQ(frames.asked, kFrames + 1);
}

TEST(BitmapCache, SaysWhenAFrameCannotBeHad) {
  CountedFrames frames(3);
  BitmapCache cache;
  ASSERT_TRUE(cache.allocate(frames.format(), kFrames, kLevels));
  frames.missing = 2;
  EXPECT_FALSE(cache.pair(frames, {2, 128}, {1, 128}));
  EXPECT_FALSE(cache.pair(frames, {1, 128}, {2, 128}));
  EXPECT_TRUE(cache.pair(frames, {1, 128}, {3, 128}));
}

TEST(BitmapCache, ReportsEveryFailedAllocation) {
  const long failures = forEachFailingAllocation([](const FailingAllocation &failing) {
    BitmapCache cache;
    const bool good = cache.allocate({.size = kSize, .channels = 3, .depth = SampleDepth::U8}, kFrames, kLevels);
    EXPECT_EQ(good, !failing.reached());
  });
  EXPECT_EQ(failures, 3);
}

TEST(BitmapCache, ReportsEveryFailedAllocationOfATeamsToo) {
  RowTeam team(2);
  const long failures = forEachFailingAllocation([&](const FailingAllocation &failing) {
    BitmapCache cache;
    const bool good = cache.allocate({.size = kSize, .channels = 3, .depth = SampleDepth::U8}, kFrames, kLevels, &team);
    EXPECT_EQ(good, !failing.reached());
  });
  EXPECT_EQ(failures, 4);
}

} // namespace
} // namespace vindrel::test
