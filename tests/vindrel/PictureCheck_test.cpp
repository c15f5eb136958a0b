// The small copies of frames, and what a comparison of two says of a transform.
#include "vindrel/PictureCheck.h"

#include "base/Grey.h"
#include "reference/CellProducts.h"
#include "support/EveryTarget.h"
#include "support/GuardedBuffer.h"
#include "support/GuardedPages.h"
#include "support/SyntheticPhoto.h"
#include "vindrel/CellProductsKernel.h"
#include "vindrel/Stacks.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <random>

namespace vindrel::test {
namespace {

TEST(MakeThumbnail, AveragesWholeBlocksOfGreyValues) {
  Image<std::uint8_t> frame({7, 5}, 3);
  for (int i = 0; i < 35; ++i)
    std::fill_n(frame.samples.begin() + 3 * i, 3, static_cast<std::uint8_t>(i));
  const Thumbnail thumbnail = makeThumbnail(frame.view(), 3);
  EXPECT_EQ(thumbnail.reduction, 3);
  EXPECT_EQ(thumbnail.size, (Size{2, 1}));
  EXPECT_EQ(thumbnail.grey, (std::vector<float>{8, 11})); // rows 0 to 2 of columns 0 to 2 and 3 to 5
}

TEST(MakeThumbnail, TakesTheHighBytesOfSixteenBitsAndAnyChannelCount) {
  for (int channels = 1; channels <= 4; ++channels) {
    const Image<std::uint16_t> frame({4, 4}, channels, 0x2AFF);
    const Thumbnail thumbnail = makeThumbnail(frame.view(), 4);
    EXPECT_EQ(thumbnail.reduction, 1);
    EXPECT_EQ(thumbnail.grey, std::vector<float>(16, 0x2A));
  }
}

TEST(MakeThumbnail, KeepsAPixelOfAFrameThatIsFarLongerThanHigh) {
  const Image<std::uint8_t> frame({1000, 2}, 1, 9);
  const Thumbnail thumbnail = makeThumbnail(frame.view(), 100);
  EXPECT_EQ(thumbnail.size, (Size{100, 1}));
  EXPECT_EQ(thumbnail.grey[99], 9);
  const Thumbnail smaller = makeThumbnail(thumbnail, 10);
  EXPECT_EQ(smaller.size, (Size{10, 1}));
  EXPECT_EQ(smaller.reduction, 100);
}

template <class Sample>
void thumbnailsAreBlockMeans() {
  std::mt19937 random(4);
  for (int channels = 1; channels <= 4; ++channels) {
    Image<Sample> frame({1503, 1102}, channels);
    for (Sample &sample : frame.samples)
      sample = static_cast<Sample>(random() >> 8);
    RowTeam team(4);
    const Thumbnail thumbnail = makeThumbnail(frame.view(), 480, &team);
    ASSERT_EQ(thumbnail.reduction, 4);
    ASSERT_EQ(thumbnail.size, (Size{375, 275}));
    EXPECT_EQ(thumbnail.grey, makeThumbnail(frame.view(), 480).grey);
    for (int y = 0; y < 275; ++y)
      for (int x = 0; x < 375; ++x) {
        unsigned sum = 0;
        for (int i = 0; i < 16; ++i) {
          const auto sample = [&](int c) { return frame.at(4 * x + i % 4, 4 * y + i / 4, std::min(c, channels - 1)); };
          sum += greyOf(sample(0), sample(1), sample(2));
        }
        ASSERT_EQ(thumbnail.grey[static_cast<std::size_t>(y * 375 + x)], static_cast<float>(sum) / 16.0f);
      }
  }
}

TEST(MakeThumbnail, GivesTheMeansOfEveryBlockOnAnyNumberOfThreads) {
  thumbnailsAreBlockMeans<std::uint8_t>();
  thumbnailsAreBlockMeans<std::uint16_t>();
}

TEST(MakeThumbnail, HoldsTheSumsOfTheLargestBlocks) {
  const Image<std::uint8_t> frame({256 * 3, 256 * 2}, 1, 255);
  const Thumbnail thumbnail = makeThumbnail(frame.view(), 3);
  EXPECT_EQ(thumbnail.reduction, 256);
  EXPECT_EQ(thumbnail.grey, std::vector<float>(6, 255));
}

TEST(MakeRelief, TakesTheMeanOfTheSevenBySevenPixelsAroundAwayAndContinuesTheBorder) {
  std::mt19937 random(6);
  for (const Size size : {Size{1, 1}, {2, 9}, {5, 4}, {40, 70}}) {
    Thumbnail thumbnail{size, 3, {}};
    for (int i = 0; i < size.width * size.height; ++i)
      thumbnail.grey.push_back(static_cast<float>(random() % 256));
    RowTeam team(3);
    const Relief relief = makeRelief(thumbnail, &team);
    EXPECT_EQ(relief.reduction, 3);
    EXPECT_EQ(relief.values, makeRelief(thumbnail).values);
    const auto grey = [&](int x, int y) {
      x = std::clamp(x, 0, size.width - 1);
      y = std::clamp(y, 0, size.height - 1);
      return static_cast<double>(thumbnail.grey[static_cast<std::size_t>(y * size.width + x)]);
    };
    for (int y = 0; y < size.height; ++y)
      for (int x = 0; x < size.width; ++x) {
        double sum = 0;
        for (int i = 0; i < 49; ++i)
          sum += grey(x + i % 7 - 3, y + i / 7 - 3);
        EXPECT_NEAR(static_cast<double>(relief.values[static_cast<std::size_t>(y * size.width + x)]),
                    grey(x, y) - sum / 49, 1e-4);
      }
  }
}

// Cells of every kind of picture, and pictures at the limits of what sums can hold.
TEST(CellProductsKernel, EqualsTheDefinition) {
  std::mt19937 random(7);
  constexpr int kLimit = PaddedRelief::kLimit;
  for (const auto &[width, rows] : {std::pair{1, 1}, {20, 15}, {32, 3}, {60, 45}, {65, 9}, {480, 6}}) {
    for (const bool largest : {false, true}) {
      const int rowLength = (width + kCellUnit - 1) / kCellUnit * kCellUnit;
      constexpr int kReach = 3;
      const std::ptrdiff_t stride = rowLength + 2 * kReach;
      const auto value = [&] {
        const int any = static_cast<int>(random() % (2 * kLimit + 1)) - kLimit;
        return static_cast<std::int16_t>(largest ? -kLimit : any);
      };
      std::vector<std::int16_t> values(static_cast<std::size_t>(rows) * static_cast<std::size_t>(rowLength));
      for (int y = 0; y < rows; ++y)
        std::generate_n(values.begin() + y * rowLength, width, value);
      std::vector<std::int16_t> around(static_cast<std::size_t>(stride * (rows + 2 * kReach)));
      std::generate(around.begin(), around.end(), value);
      // Nothing beyond either is read.
      GuardedPages<std::int16_t> cell(values, Against::End), picture(around, largest ? Against::Start : Against::End);
      const reference::Values ofCell = [&, w = width](int x, int y) {
        return x < w ? values[static_cast<std::size_t>(y * rowLength + x)] : 0;
      };
      const reference::Values ofPicture = [&](int x, int y) {
        return around[static_cast<std::size_t>((y + kReach) * stride + x + kReach)];
      };
      onEveryTarget([&, w = width, h = rows] {
        GuardedBuffer<std::int64_t> sums(sumsAround(kReach), -1);
        sumCellProducts({cell.data(), h, rowLength}, picture.data() + kReach * stride + kReach, stride, kReach,
                        sums.data());
        EXPECT_TRUE(sums.guardsIntact());
        std::size_t i = 0;
        for (int dy = -kReach; dy <= kReach; ++dy)
          for (int dx = -kReach; dx <= kReach; ++dx, ++i)
            ASSERT_EQ(sums[i], reference::cellProduct(w, h, ofCell, ofPicture, dx, dy)) << w << ' ' << dx << ' ' << dy;
      });
    }
  }
}

Relief window(const SyntheticPhoto &scene, int x, int y, double gain = 1) {
  Image<std::uint8_t> frame({320, 240}, 3);
  for (int row = 0; row < 240; ++row)
    for (int s = 0; s < 320 * 3; ++s)
      frame.samples[static_cast<std::size_t>(row * 320 * 3 + s)] =
          static_cast<std::uint8_t>(gain * scene.view().row<std::uint8_t>(y + row)[x * 3 + s]);
  return makeRelief(makeThumbnail(frame.view(), 320));
}

TEST(ComparePictures, GivesEveryCellToTheRightTransformWhateverTheExposure) {
  const SyntheticPhoto scene({400, 320}, 2);
  const PictureVotes votes =
      comparePictures(window(scene, 20, 20), window(scene, 25, 28, 0.4), Transform::translation(-5, -8), 8);
  EXPECT_GE(votes.here, 60);
  EXPECT_LE(votes.elsewhere, 3);
  EXPECT_FALSE(isContested(votes));
}

TEST(ComparePictures, GivesTheCellsToThePlaceWhereTheyAgreeInstead) {
  const SyntheticPhoto scene({400, 320}, 2);
  const PictureVotes votes = comparePictures(window(scene, 20, 20), window(scene, 25, 20), {}, 8);
  EXPECT_LE(votes.here, 4);
  EXPECT_GE(votes.elsewhere, 60);
  EXPECT_TRUE(isContested(votes));
}

TEST(ComparePictures, GivesNoVotesWhereThereIsNothingInCommon) {
  const PictureVotes votes =
      comparePictures(window(SyntheticPhoto({400, 320}, 2), 0, 0), window(SyntheticPhoto({400, 320}, 3), 0, 0), {}, 8);
  EXPECT_LE(votes.here, 1);
  EXPECT_LE(votes.elsewhere, 1);
  const Image<std::uint8_t> flat({320, 240}, 3, 50);
  const Relief plane = makeRelief(makeThumbnail(flat.view(), 320));
  const PictureVotes none = comparePictures(plane, plane, {}, 8);
  EXPECT_EQ(none.here, 0);
  EXPECT_EQ(none.elsewhere, 0);
  EXPECT_FALSE(isContested(none));
}

TEST(ComparePictures, GivesTheSameVotesOnAnyNumberOfThreads) {
  const SyntheticPhoto scene({400, 320}, 5);
  const Relief a = window(scene, 20, 20), b = window(scene, 23, 26, 0.6);
  for (const Transform &transform : {Transform::translation(-3, -6), Transform{}, Transform::translation(0.4, 2)}) {
    const PictureVotes alone = comparePictures(a, b, transform, 8);
    for (const int threads : {1, 2, 4}) {
      RowTeam team(threads);
      const PictureVotes votes = comparePictures(a, b, transform, 8, &team);
      EXPECT_EQ(votes.here, alone.here);
      EXPECT_EQ(votes.elsewhere, alone.elsewhere);
    }
  }
}

TEST(ComparePictures, TakesFramesOfAnySizeAndTransformsToNowhere) {
  for (const Size size : {Size{1, 1}, {2, 1}, {7, 3}, {8, 8}, {9, 200}}) {
    const Image<std::uint8_t> frame(size, 1, 9);
    const Relief relief = makeRelief(makeThumbnail(frame.view(), 160));
    for (const Transform &transform : {Transform{}, Transform::translation(1e30, 0), Transform{{}}})
      EXPECT_EQ(comparePictures(relief, relief, transform, 6).here, 0);
  }
}

} // namespace
} // namespace vindrel::test
