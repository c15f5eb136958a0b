// The small copies of frames, and what a comparison of two says of a transform.
#include "vindrel/PictureCheck.h"

#include "support/SyntheticPhoto.h"
#include "vindrel/Stacks.h"

#include <gtest/gtest.h>

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

Thumbnail window(const SyntheticPhoto &scene, int x, int y, double gain = 1) {
  Image<std::uint8_t> frame({320, 240}, 3);
  for (int row = 0; row < 240; ++row)
    for (int s = 0; s < 320 * 3; ++s)
      frame.samples[static_cast<std::size_t>(row * 320 * 3 + s)] =
          static_cast<std::uint8_t>(gain * scene.view().row<std::uint8_t>(y + row)[x * 3 + s]);
  return makeThumbnail(frame.view(), 320);
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
  const PictureVotes none = comparePictures(makeThumbnail(flat.view(), 320), makeThumbnail(flat.view(), 320), {}, 8);
  EXPECT_EQ(none.here, 0);
  EXPECT_EQ(none.elsewhere, 0);
  EXPECT_FALSE(isContested(none));
}

TEST(ComparePictures, TakesFramesOfAnySizeAndTransformsToNowhere) {
  for (const Size size : {Size{1, 1}, {2, 1}, {7, 3}, {8, 8}, {9, 200}}) {
    const Image<std::uint8_t> frame(size, 1, 9);
    const Thumbnail thumbnail = makeThumbnail(frame.view(), 160);
    for (const Transform &transform : {Transform{}, Transform::translation(1e30, 0), Transform{{}}})
      EXPECT_EQ(comparePictures(thumbnail, thumbnail, transform, 6).here, 0);
  }
}

} // namespace
} // namespace vindrel::test
