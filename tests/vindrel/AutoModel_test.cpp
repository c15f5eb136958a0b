// The model that is chosen where the caller leaves it open.
#include "vindrel/Stacks.h"

#include "support/SyntheticPhoto.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <utility>

namespace vindrel::test {
namespace {

TEST(AutoModel, IsTheSmallestModelThatExplainsThePairs) {
  for (const auto &[motion, model] :
       {std::pair{Motion::Affine, Model::Affine}, {Motion::Perspective, Model::Perspective}}) {
    const StackBlock stack = makeStack({1100, 850}, {.frames = 3, .evStep = 0.5, .motion = motion, .seed = 6});
    StackOptions options{.model = Model::Auto, .maxShiftX = 90, .maxShiftY = 90};
    const StackEstimate estimate = estimateStack(framesOf(stack), options).value();
    EXPECT_EQ(estimate.model, model);
    ASSERT_EQ(estimate.modelScores.size(), 3u);
    const auto least = std::min_element(estimate.modelScores.begin(), estimate.modelScores.end(),
                                        [](const auto &a, const auto &b) { return a.criterion < b.criterion; });
    EXPECT_EQ(least->model, estimate.model);
    for (int i = 0; i < 3; ++i)
      EXPECT_LT(errorOf(stack, estimate, i), 1.0);
  }
}

TEST(AutoModel, IsTheShiftForFramesThatOnlyMovedByWholePixelsAndCopiesThem) {
  const SyntheticPhoto photo({700, 560}, 5);
  constexpr Size kFrame = {600, 480};
  const int places[3][2] = {{40, 40}, {52, 33}, {31, 58}};
  std::vector<Image<std::uint8_t>> images;
  std::vector<ImageView> frames;
  for (int i = 0; i < 3; ++i) {
    Image<std::uint8_t> &image = images.emplace_back(kFrame, 3);
    for (int y = 0; y < kFrame.height; ++y)
      for (int s = 0; s < kFrame.width * 3; ++s)
        image.samples[static_cast<std::size_t>(y * kFrame.width * 3 + s)] = static_cast<std::uint8_t>(
            photo.view().row<std::uint8_t>(y + places[i][1])[places[i][0] * 3 + s] * (20 - i) / 20);
  }
  for (const Image<std::uint8_t> &image : images)
    frames.push_back(image.view());
  const StackEstimate estimate =
      estimateStack(frames, {.model = Model::Auto, .maxShiftX = 40, .maxShiftY = 40}).value();
  EXPECT_EQ(estimate.model, Model::Shift);
  EXPECT_EQ(estimate.reference, 0);
  for (int i = 0; i < 3; ++i)
    EXPECT_EQ(estimate.frames[static_cast<std::size_t>(i)].frameFromReference,
              Transform::translation(places[0][0] - places[i][0], places[0][1] - places[i][1]));
  EXPECT_EQ(estimate.common, (Rectangle{12, 18, 600 - 12 - 9, 480 - 18 - 7}));
  Image<std::uint8_t> out(estimate.common.size(), 3);
  ASSERT_TRUE(warpFrame(estimate, 1, frames[1], out.view()));
  EXPECT_EQ(out.at(0, 0), images[1].at(0, 25));
}

TEST(AutoModel, IsTheLargestWhereNothingIsExplained) {
  const std::vector<std::uint8_t> black(300 * 200 * 3);
  const ImageView frame{black.data(), {300, 200}, 3, 900, SampleDepth::U8};
  const std::vector<ImageView> frames = {frame, frame};
  const StackEstimate estimate = estimateStack(frames, {.model = Model::Auto}).value();
  EXPECT_EQ(estimate.model, Model::Perspective);
  for (const ModelScore &score : estimate.modelScores)
    EXPECT_EQ(score.criterion, 0);
  EXPECT_EQ(estimate.frames[1].verdict, Verdict::NotFound);
}

} // namespace
} // namespace vindrel::test
