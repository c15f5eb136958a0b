#include "Photograph.h"
#include "simulate/Bracket.h"
#include "simulate/Truth.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <omp.h>

namespace vindrel {
namespace {

constexpr Motion kMotions[] = {Motion::Shift, Motion::Affine, Motion::Perspective};

double meanCode(const Bracket &bracket, int index) {
  double sum = 0;
  const ImageView view = bracket.view(index);
  for (int y = 0; y < view.size.height; ++y) {
    for (int i = 0; i < view.size.width * 3; ++i)
      sum += bracket.depth == SampleDepth::U8 ? view.row<std::uint8_t>(y)[i] : view.row<std::uint16_t>(y)[i];
  }
  return sum / static_cast<double>(packedSamples(view.size, 3));
}

TEST(Bracket, ExposuresAreCentredAndShotFromTheMiddleOutward) {
  EXPECT_EQ(bracketExposures(1, 2), (std::vector<double>{0}));
  EXPECT_EQ(bracketExposures(3, 2), (std::vector<double>{0, -2, 2}));
  EXPECT_EQ(bracketExposures(5, 1), (std::vector<double>{0, -1, 1, -2, 2}));
  EXPECT_EQ(bracketExposures(4, 1), (std::vector<double>{-0.5, 0.5, -1.5, 1.5}));
}

// A dark photograph with bright round spots: the centroid of a spot in each frame is found where the truth maps the
// spot's place in the photograph.
TEST(Bracket, FramesShowTheSceneWhereTheTruthSays) {
  const PlanePoint spots[] = {{60, 50}, {340, 52}, {58, 248}, {342, 250}, {200, 150}};
  const auto spotted = test::photograph<std::uint16_t>({400, 300}, 3, [&](int x, int y) {
    double light = 0;
    for (const PlanePoint &s : spots)
      light += std::exp(-((x - s.x) * (x - s.x) + (y - s.y) * (y - s.y)) / 18);
    return 30000 * std::min(light, 1.0);
  });
  for (const Motion motion : kMotions) {
    const Bracket bracket = simulateBracket(
        spotted.view(), {.frames = 5, .evStep = 0, .motion = motion, .seed = 11, .depth = SampleDepth::U16});
    for (int i = 0; i < 5; ++i) {
      const ImageView view = bracket.view(i);
      for (const PlanePoint &spot : spots) {
        const PlanePoint expected = mapPoint(bracket.frames[static_cast<std::size_t>(i)].frameFromScene, spot);
        double weight = 0, sumX = 0, sumY = 0;
        for (int y = static_cast<int>(expected.y) - 14; y <= static_cast<int>(expected.y) + 15; ++y)
          for (int x = static_cast<int>(expected.x) - 14; x <= static_cast<int>(expected.x) + 15; ++x) {
            const double code = std::max(0, view.row<std::uint16_t>(y)[3 * x] - 3000); // above the noise of the dark
            weight += code;
            sumX += code * x;
            sumY += code * y;
          }
        EXPECT_NEAR(sumX / weight, expected.x, 0.05) << "frame " << i;
        EXPECT_NEAR(sumY / weight, expected.y, 0.05) << "frame " << i;
      }
    }
  }
}

TEST(Bracket, NoFrameSeesBeyondThePhotograph) {
  for (const Size scene : {Size{640, 480}, Size{480, 640}, Size{5000, 700}, Size{400, 3000}})
    for (const Motion motion : kMotions) {
      const Size frame = frameSizeWithin(scene, motion);
      ASSERT_GT(frame.width, 0);
      ASSERT_GT(frame.height, 0);
      for (std::uint64_t seed = 0; seed < 500; ++seed) {
        const PlaneMap sceneFromFrame = inverse(handHeldPose(scene, motion, seed, static_cast<int>(seed % 9)));
        for (const PlanePoint corner :
             {PlanePoint{0, 0}, PlanePoint{frame.width - 1.0, 0}, PlanePoint{0, frame.height - 1.0},
              PlanePoint{frame.width - 1.0, frame.height - 1.0}}) {
          const PlanePoint at = mapPoint(sceneFromFrame, corner);
          ASSERT_GE(at.x, 1);
          ASSERT_GE(at.y, 1);
          ASSERT_LE(at.x, scene.width - 3);
          ASSERT_LE(at.y, scene.height - 3);
        }
      }
    }
}

TEST(Bracket, MotionIsOfHandHeldSizeAndOfTheKindAskedFor) {
  constexpr Size kScene = {1600, 1200};
  for (const Motion motion : kMotions) {
    double largestShift = 0, largestTurn = 0, largestTilt = 0;
    for (std::uint64_t seed = 0; seed < 300; ++seed) {
      const PlaneMap a = handHeldPose(kScene, motion, seed, 0);
      const PlaneMap b = handHeldPose(kScene, motion, seed, 1);
      const Size frame = frameSizeWithin(kScene, motion);
      const PlaneMap between = frameFromReference(b, a);
      const PlanePoint centre = {(frame.width - 1) / 2.0, (frame.height - 1) / 2.0};
      const PlanePoint moved = mapPoint(between, centre);
      largestShift = std::max(largestShift, std::hypot(moved.x - centre.x, moved.y - centre.y));
      largestTurn = std::max(largestTurn, std::abs(between[3]));
      largestTilt = std::max(largestTilt, std::hypot(between[6], between[7]));
    }
    EXPECT_LT(largestShift, 0.0152 * kScene.width);
    EXPECT_GT(largestShift, 0.01 * kScene.width);
    if (motion == Motion::Shift) {
      EXPECT_LT(largestTurn, 1e-12);
    } else {
      EXPECT_GT(largestTurn, 0.01);
      EXPECT_LT(largestTurn, 0.024); // a degree and 0.3 % of shear, and what tilt adds
    }
    if (motion == Motion::Perspective) {
      EXPECT_GT(largestTilt, 1e-6);
    } else {
      EXPECT_LT(largestTilt, 1e-12);
    }
  }
}

TEST(Bracket, ASeedKeepsItsShiftsWhateverTheKindOfMotion) {
  constexpr Size kScene = {1600, 1200};
  const PlanePoint sceneCentre = {799.5, 599.5};
  PlanePoint shifts[3];
  for (int i = 0; i < 3; ++i) {
    const Size frame = frameSizeWithin(kScene, kMotions[i]);
    const PlanePoint at = mapPoint(handHeldPose(kScene, kMotions[i], 5, 2), sceneCentre);
    shifts[i] = {at.x - (frame.width - 1) / 2.0, at.y - (frame.height - 1) / 2.0};
  }
  EXPECT_NEAR(shifts[1].x, shifts[0].x, 0.3); // turned by up to half a degree and scaled
  EXPECT_NEAR(shifts[2].y, shifts[0].y, 0.3);
}

TEST(Bracket, TheSameSeedGivesTheSameSamplesWithAnyNumberOfThreads) {
  const auto wavy = test::wavyPhotograph({320, 240});
  const BracketOptions options = {.frames = 3, .seed = 3, .scenePixels = 50000};
  const int threads = omp_get_max_threads();
  omp_set_num_threads(1);
  const Bracket one = simulateBracket(wavy.view(), options);
  omp_set_num_threads(3);
  const Bracket three = simulateBracket(wavy.view(), options);
  omp_set_num_threads(threads);
  for (std::size_t i = 0; i < 3; ++i)
    EXPECT_EQ(one.frames[i].samples, three.frames[i].samples);
}

TEST(Bracket, OtherSeedsGiveOtherMotionAndOtherNoise) {
  const auto wavy = test::wavyPhotograph({320, 240});
  const Bracket a = simulateBracket(wavy.view(), {.seed = 1});
  const Bracket b = simulateBracket(wavy.view(), {.seed = 2});
  EXPECT_NE(a.frames[0].frameFromScene, b.frames[0].frameFromScene);
  EXPECT_NE(a.frames[0].samples, b.frames[0].samples);
}

TEST(Bracket, NoiseDiffersBetweenFramesAndHasTheSensorsSize) {
  const auto flat = test::photograph<std::uint16_t>({200, 200}, 3, [](int, int) { return 30000; });
  const Bracket bracket = simulateBracket(flat.view(), {.frames = 2, .evStep = 0, .depth = SampleDepth::U16});
  double squares = 0, product = 0;
  const auto *a = bracket.view(0).row<std::uint16_t>(0);
  const auto *b = bracket.view(1).row<std::uint16_t>(0);
  const auto count = static_cast<double>(packedSamples(bracket.frameSize, 3));
  const double mean = meanCode(bracket, 0);
  for (std::int64_t i = 0; i < packedSamples(bracket.frameSize, 3); ++i) {
    squares += (a[i] - mean) * (a[i] - mean);
    product += (a[i] - mean) * (b[i] - mean);
  }
  const double deviation = std::sqrt(squares / count);
  EXPECT_GT(deviation, 150); // light 0.177: 3500 electrons, 59 of noise, 1.7 %, about half that in codes
  EXPECT_LT(deviation, 450);
  EXPECT_LT(std::abs(product / squares), 0.02); // uncorrelated
}

TEST(Bracket, BothDepthsShowTheSamePicture) {
  const auto wavy = test::wavyPhotograph({200, 150});
  const Bracket bytes = simulateBracket(wavy.view(), {.seed = 9, .depth = SampleDepth::U8});
  const Bracket words = simulateBracket(wavy.view(), {.seed = 9, .depth = SampleDepth::U16});
  ASSERT_EQ(bytes.frameSize, words.frameSize);
  for (int i = 0; i < 3; ++i)
    for (int x = 0; x < 3 * bytes.frameSize.width; ++x)
      ASSERT_NEAR(words.view(i).row<std::uint16_t>(70)[x] / 257.0, bytes.view(i).row<std::uint8_t>(70)[x], 0.51);
}

TEST(Bracket, LongerExposuresAreBrighterUpToWhite) {
  const auto wavy = test::wavyPhotograph({200, 150});
  const Bracket bracket = simulateBracket(wavy.view(), {.frames = 3, .evStep = 2, .sceneContrast = 1});
  EXPECT_LT(meanCode(bracket, 1), meanCode(bracket, 0) - 30);
  EXPECT_GT(meanCode(bracket, 2), meanCode(bracket, 0) + 30);
  const Bracket burnt = simulateBracket(wavy.view(), {.frames = 3, .evStep = 10, .sceneContrast = 1});
  EXPECT_GT(meanCode(burnt, 2), 254);
  EXPECT_LT(meanCode(burnt, 1), 16);
}

TEST(Bracket, RenderedSamplesStayInsideTheGivenRows) {
  const auto wavy = test::wavyPhotograph({200, 150});
  const BracketShoot shoot(wavy.view(), {.seed = 4});
  const Size size = shoot.frameSize();
  const int stride = size.width * 3 + 5;
  std::vector<std::uint8_t> block(static_cast<std::size_t>(stride * size.height), 77);
  shoot.render(1, {block.data(), size, 3, stride, SampleDepth::U8});
  const Bracket packed = simulateBracket(wavy.view(), {.seed = 4});
  for (int y = 0; y < size.height; ++y) {
    const std::uint8_t *row = block.data() + y * stride;
    EXPECT_TRUE(std::equal(row, row + size.width * 3, packed.view(1).row<std::uint8_t>(y)));
    for (int i = 0; i < 5; ++i)
      ASSERT_EQ(row[size.width * 3 + i], 77);
  }
}

TEST(Bracket, WhatCannotBeMadeIsSaidInWords) {
  const auto small = test::photograph<std::uint8_t>({36, 36}, 3, [](int, int) { return 0; });
  const auto wavy = test::wavyPhotograph({200, 150});
  EXPECT_EQ(bracketProblem(wavy.view(), {}), "");
  EXPECT_NE(bracketProblem(small.view(), {}), "");
  EXPECT_NE(bracketProblem(wavy.view(), {.scenePixels = 1000}), "");
  EXPECT_NE(bracketProblem(wavy.view(), {.frames = 0}), "");
  EXPECT_NE(bracketProblem(wavy.view(), {.frames = 100}), "");
  EXPECT_NE(bracketProblem(wavy.view(), {.evStep = std::nan("")}), "");
  EXPECT_NE(bracketProblem(wavy.view(), {.evStep = -1}), "");
  EXPECT_NE(bracketProblem(wavy.view(), {.sceneContrast = 0.5}), "");
  EXPECT_NE(bracketProblem({}, {}), "");
}

} // namespace
} // namespace vindrel
