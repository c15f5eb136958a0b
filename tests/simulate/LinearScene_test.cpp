#include "Photograph.h"
#include "simulate/LinearScene.h"
#include "simulate/ToneCurve.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace vindrel {
namespace {

double meanRed(const LinearScene &scene) {
  double sum = 0;
  for (std::size_t i = 0; i < scene.light.size(); i += LinearScene::kLanes)
    sum += scene.light[i];
  return sum / static_cast<double>(scene.light.size() / LinearScene::kLanes);
}

TEST(LinearScene, WhiteIsOneAndBlackIsNone) {
  const auto halves = test::photograph<std::uint8_t>({4, 2}, 3, [](int x, int) { return x < 2 ? 0 : 255; });
  const LinearScene scene = linearScene(halves.view(), {4, 2});
  EXPECT_EQ(scene.pixel(1, 1)[1], 0.0f);
  EXPECT_EQ(scene.pixel(2, 1)[1], 1.0f);
}

TEST(LinearScene, SixteenBitCodesReadAsTheSameLightAsEightBitOnes) {
  const auto bytes = test::photograph<std::uint8_t>({16, 16}, 3, [](int x, int y) { return x + 16 * y; });
  const auto words = test::photograph<std::uint16_t>({16, 16}, 3, [](int x, int y) { return (x + 16 * y) * 257; });
  EXPECT_EQ(linearScene(bytes.view(), {16, 16}).light, linearScene(words.view(), {16, 16}).light);
}

TEST(LinearScene, GreyAndAlphaPhotographsGiveTheSameSceneAsColourOnes) {
  const auto value = [](int x, int y) { return 3 * x + 7 * y; };
  const auto colour = test::photograph<std::uint8_t>({20, 10}, 3, value);
  for (const int channels : {1, 2, 4}) {
    auto other = test::photograph<std::uint8_t>({20, 10}, channels, value);
    if (channels % 2 == 0) // transparent, which must not matter
      for (std::size_t i = 0; i < other.samples.size(); i += static_cast<std::size_t>(channels))
        other.samples[i + static_cast<std::size_t>(channels) - 1] = 0;
    EXPECT_EQ(linearScene(other.view(), {13, 7}).light, linearScene(colour.view(), {13, 7}).light) << channels;
  }
}

TEST(LinearScene, RowsBeyondTheWidthAreSkipped) {
  const auto wide = test::photograph<std::uint8_t>({30, 10}, 3, [](int x, int y) { return x < 20 ? x + y : 255; });
  const auto narrow = test::photograph<std::uint8_t>({20, 10}, 3, [](int x, int y) { return x + y; });
  ImageView view = wide.view();
  view.size.width = 20;
  EXPECT_EQ(linearScene(view, {20, 10}).light, linearScene(narrow.view(), {20, 10}).light);
}

TEST(LinearScene, ReducingKeepsTheMeanLight) {
  const auto wavy = test::wavyPhotograph({101, 67});
  const double full = meanRed(linearScene(wavy.view(), {101, 67}));
  for (const Size size : {Size{100, 66}, Size{50, 33}, Size{37, 41}, Size{1, 1}})
    EXPECT_NEAR(meanRed(linearScene(wavy.view(), size)), full, 1e-5) << size.width;
}

TEST(LinearScene, ReducedSizeKeepsProportionsAndNeverExceedsTheWish) {
  EXPECT_EQ(reducedSize({4000, 3000}, 0), (Size{4000, 3000}));
  EXPECT_EQ(reducedSize({4000, 3000}, 1e9), (Size{4000, 3000}));
  EXPECT_EQ(reducedSize({4000, 3000}, 3e6), (Size{2000, 1500}));
  EXPECT_EQ(reducedSize({4000, 1}, 1), (Size{63, 1})); // never less than one pixel
}

TEST(LinearScene, NarrowBracketsNeedNoMoreContrast) {
  const auto ramp = test::photograph<std::uint8_t>({256, 4}, 3, [](int x, int) { return x; });
  const LinearScene scene = linearScene(ramp.view(), {256, 4});
  EXPECT_EQ(contrastForBracket(scene, 2), 1.0);
  const auto night = test::photograph<std::uint8_t>({256, 4}, 3, [](int x, int) { return x < 230 ? x / 20 : x; });
  EXPECT_EQ(contrastForBracket(linearScene(night.view(), {256, 4}), 0), 1.0);
}

TEST(LinearScene, TheSuggestedContrastLeavesAFifthToSeeInTheLongestAndInTheShortestExposure) {
  // A ramp, and one whose dark half holds fewer stops, so that either condition decides once.
  for (const bool flatter : {false, true}) {
    const auto ramp = test::photograph<std::uint8_t>(
        {256, 4}, 3, [=](int x, int) { return flatter ? 128 + (x - 128) * (x < 128 ? 6 : 8) / 8 : x; });
    LinearScene scene = linearScene(ramp.view(), {256, 4});
    constexpr double kSpan = 12; // 6 stops either way
    const double exponent = contrastForBracket(scene, kSpan);
    ASSERT_GT(exponent, 1);
    ASSERT_LT(exponent, 3);
    expandContrast(scene, exponent);
    int belowWhite = 0, aboveDark = 0;
    for (int x = 0; x < 256; ++x) {
      belowWhite += scene.pixel(x, 0)[0] * 64 < 1;
      aboveDark += scene.pixel(x, 0)[0] / 64 > 1.0f / 64;
    }
    EXPECT_GE(belowWhite, 256 / 5 - 2);
    EXPECT_GE(aboveDark, 256 / 5 - 2);
    EXPECT_NEAR(std::min(belowWhite, aboveDark), 256 / 5, 2);
  }
}

TEST(LinearScene, FlatAndBlackPhotographsHaveAFiniteContrast) {
  for (const int code : {0, 128, 255}) {
    const auto flat = test::photograph<std::uint8_t>({16, 16}, 3, [=](int, int) { return code; });
    LinearScene scene = linearScene(flat.view(), {16, 16});
    const double exponent = contrastForBracket(scene, 16);
    EXPECT_GE(exponent, 1);
    EXPECT_LE(exponent, 3);
    expandContrast(scene, exponent);
    // The median keeps its value, up to the histogram's step of 1/64 stop.
    EXPECT_NEAR(scene.pixel(5, 5)[0], linearFromSrgb(code / 255.0), 0.03) << code;
  }
}

TEST(LinearScene, ContrastKeepsColoursInProportion) {
  auto coloured = test::photograph<std::uint8_t>({8, 8}, 3, [](int x, int y) { return 20 + 10 * x + 15 * y; });
  for (std::size_t i = 0; i < coloured.samples.size(); i += 3)
    coloured.samples[i] = 200;
  LinearScene scene = linearScene(coloured.view(), {8, 8});
  const LinearScene before = scene;
  expandContrast(scene, 2);
  for (int x = 0; x < 8; ++x)
    EXPECT_NEAR(scene.pixel(x, 3)[0] / scene.pixel(x, 3)[2], before.pixel(x, 3)[0] / before.pixel(x, 3)[2], 1e-3);
  EXPECT_GT(scene.pixel(7, 7)[1] / scene.pixel(0, 0)[1], before.pixel(7, 7)[1] / before.pixel(0, 0)[1]);
}

} // namespace
} // namespace vindrel
