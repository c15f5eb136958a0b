// A wrong transform that is called good is the worst outcome of all: scenes that invite one. Whatever is called found
// has to lie where it belongs.
#include "vindrel/Stacks.h"

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <random>

namespace vindrel::test {
namespace {

constexpr Size kFrame = {640, 480};
constexpr double kRight = 1.0; // pixels, mean over the frame: called found, a frame may be this far off

using Bytes = Image<std::uint8_t>;

std::vector<ImageView> viewsOf(const std::vector<Bytes> &images) {
  std::vector<ImageView> views;
  for (const Bytes &image : images)
    views.push_back(image.view());
  return views;
}

// A window of a scene, darker by a factor, with noise of a few codes.
Bytes look(const ImageView &scene, int left, int top, double gain, std::uint32_t seed, double noise = 1.5) {
  std::mt19937 random(seed);
  std::normal_distribution<double> grain(0, noise);
  Bytes image(kFrame, 3);
  for (int y = 0; y < kFrame.height; ++y)
    for (int s = 0; s < kFrame.width * 3; ++s)
      image.samples[static_cast<std::size_t>(y * kFrame.width * 3 + s)] = static_cast<std::uint8_t>(
          std::clamp(scene.row<std::uint8_t>(y + top)[left * 3 + s] * gain + grain(random) + 0.5, 0.0, 255.0));
  return image;
}

struct Outcome {
  int found = 0, right = 0, wrong = 0; // of the frames that are not the reference
};

// shiftX, shiftY: the true displacement of frame 1 against frame 0.
void judge(const std::vector<Bytes> &images, int shiftX, int shiftY, Outcome &outcome, int range = 60) {
  for (const Model model : {Model::Affine, Model::Perspective, Model::Shift, Model::Auto}) {
    StackOptions options{.model = model, .maxShiftX = range, .maxShiftY = range};
    options.polish = true;
    options.reference = ReferenceChoice::First;
    const StackEstimate estimate = estimateStack(viewsOf(images), options).value();
    const FrameEstimate &frame = estimate.frames[1];
    if (frame.verdict != Verdict::Found) continue;
    ++outcome.found;
    const Transform truth = Transform::translation(shiftX, shiftY);
    const double error = placementError(frame.frameFromReference.matrix, truth.matrix, kFrame).gridMean;
    ++(error <= kRight ? outcome.right : outcome.wrong);
    EXPECT_LE(error, kRight) << "model " << static_cast<int>(model) << ", " << frame.pairs << " pairs, "
                             << frame.inliers << " inliers, rms " << frame.rms << ", coverage " << frame.coverage
                             << ", expected error " << frame.expectedError << ", range " << range;
  }
}

TEST(Verdicts, FindWhatIsThere) {
  Outcome outcome;
  for (std::uint32_t seed = 1; seed <= 3; ++seed) {
    const SyntheticPhoto scene({720, 560}, seed);
    judge({look(scene.view(), 30, 30, 1, 1), look(scene.view(), 44, 21, 0.6, 2)}, -14, 9, outcome);
  }
  EXPECT_GE(outcome.right, 10);
}

TEST(Verdicts, DoNotFindUnrelatedScenes) {
  Outcome outcome;
  for (std::uint32_t seed = 1; seed <= 4; ++seed) {
    const SyntheticPhoto one({720, 560}, seed), other({720, 560}, seed + 50);
    // In a narrow search any displacement is near any other.
    for (const int range : {2, 4, 8, 60})
      judge({look(one.view(), 30, 30, 1, 1), look(other.view(), 30, 30, 0.6, 2)}, 1000, 1000, outcome, range);
  }
  EXPECT_EQ(outcome.found, 0);
}

// What is left in the dark frame are a few codes above black, in noise.
TEST(Verdicts, DoNotMisplaceDarkFrames) {
  Outcome outcome;
  for (const double gain : {0.2, 0.1, 0.05, 0.02, 0.01, 0.0}) {
    const SyntheticPhoto scene({720, 560}, 7);
    judge({look(scene.view(), 30, 30, 1, 1), look(scene.view(), 44, 21, gain, 2)}, -14, 9, outcome);
  }
  EXPECT_EQ(outcome.wrong, 0);
}

// Windows all alike, and nothing else: one displacement is as good as the next.
SyntheticPhoto scenery(std::uint32_t seed) {
  return SyntheticPhoto({820, 660}, seed);
}

Bytes facade(int left, int top, double gain, std::uint32_t seed, int periodX, int periodY) {
  const SyntheticPhoto tile = scenery(3);
  Bytes wall({kFrame.width + 100, kFrame.height + 100}, 3);
  for (int y = 0; y < wall.size.height; ++y)
    for (int x = 0; x < wall.size.width; ++x)
      for (int c = 0; c < 3; ++c)
        wall.samples[static_cast<std::size_t>((y * wall.size.width + x) * 3 + c)] =
            tile.view().row<std::uint8_t>(100 + y % periodY)[(100 + x % periodX) * 3 + c];
  return look(wall.view(), left, top, gain, seed);
}

TEST(Verdicts, DoNotMisplaceAFacadeThatRepeatsItself) {
  Outcome outcome;
  for (const auto &[periodX, periodY] : {std::pair{40, 56}, {64, 48}, {90, 90}, {30, 500}}) {
    for (const int shift : {5, 18, 33}) {
      judge({facade(50, 50, 1, 1, periodX, periodY), facade(50 + shift, 50 - 4, 0.7, 2, periodX, periodY)}, -shift, 4,
            outcome);
    }
  }
  EXPECT_EQ(outcome.wrong, 0);
}

// The camera turned by (14, -9); a part of the frame from another picture did something else.
Bytes withSubject(const Bytes &frame, const ImageView &subject, int x, int y, int width, int height, double gain) {
  Bytes result = frame;
  for (int row = 0; row < height; ++row)
    for (int s = 0; s < width * 3; ++s)
      result.samples[static_cast<std::size_t>(((y + row) * kFrame.width + x) * 3 + s)] =
          static_cast<std::uint8_t>(subject.row<std::uint8_t>(row)[s] * gain);
  return result;
}

void judgeSubject(int width, int height, Outcome &outcome) {
  const SyntheticPhoto scene = scenery(11), subject = scenery(12);
  for (const auto &[dx, dy] : {std::pair{20, 5}, {-8, 12}, {4, 3}}) {
    const int x = (kFrame.width - width) / 2, y = (kFrame.height - height) / 2;
    const Bytes one = look(scene.view(), 30, 30, 1, 1), other = look(scene.view(), 44, 21, 0.7, 2);
    judge({withSubject(one, subject.view(), x, y, width, height, 1),
           withSubject(other, subject.view(), x + dx, y + dy, width, height, 0.7)},
          -14, 9, outcome);
  }
}

TEST(Verdicts, FollowTheBackgroundWhereASmallSubjectMoved) {
  Outcome outcome;
  judgeSubject(120, 160, outcome);
  EXPECT_EQ(outcome.wrong, 0);
  EXPECT_GE(outcome.right, 9);
}

// Up to more than half of the frame. One that leaves no more than a rim is what the picture shows, and is followed.
TEST(Verdicts, DoNotFollowALargeSubjectThatMoved) {
  Outcome outcome;
  for (const auto &[width, height] : {std::pair{300, 260}, {400, 330}, {480, 360}})
    judgeSubject(width, height, outcome);
  EXPECT_EQ(outcome.wrong, 0);
}

// A sensor's hot pixels are at the same places in every frame, wherever the camera looked.
TEST(Verdicts, DoNotAlignDarkFramesByTheirHotPixels) {
  Outcome outcome;
  const SyntheticPhoto scene({720, 560}, 7);
  for (const double gain : {0.02, 0.05, 0.1}) {
    std::vector<Bytes> frames = {look(scene.view(), 30, 30, 1.2 * gain, 1), look(scene.view(), 44, 21, gain, 2)};
    for (Bytes &frame : frames) {
      std::mt19937 random(9);
      for (int i = 0; i < 300; ++i) {
        const auto x = static_cast<int>(random() % 640), y = static_cast<int>(random() % 480);
        for (int c = 0; c < 3; ++c)
          frame.samples[static_cast<std::size_t>((y * 640 + x) * 3 + c)] =
              static_cast<std::uint8_t>(60 + random() % 190);
      }
    }
    judge(frames, -14, 9, outcome);
  }
  EXPECT_EQ(outcome.wrong, 0);
}

TEST(Verdicts, AreRightOverManyHandHeldBrackets) {
  int found = 0, frames = 0;
  for (std::uint64_t seed = 1; seed <= 6; ++seed) {
    const StackBlock stack =
        makeStack({760, 600}, {.frames = 4, .evStep = 2, .motion = Motion::Perspective, .seed = seed});
    for (const Model model : {Model::Affine, Model::Perspective, Model::Auto}) {
      StackOptions options{.model = model, .maxShiftX = 70, .maxShiftY = 70};
      options.polish = true;
      const StackEstimate estimate = estimateStack(framesOf(stack), options).value();
      for (int i = 0; i < stack.count(); ++i) {
        const FrameEstimate &frame = estimate.frames[static_cast<std::size_t>(i)];
        if (frame.verdict == Verdict::Reference) continue;
        ++frames;
        if (frame.verdict != Verdict::Found) continue;
        ++found;
        EXPECT_LE(errorOf(stack, estimate, i), kRight) << "seed " << seed << " frame " << i;
      }
    }
  }
  EXPECT_GT(found, frames / 4);
}

} // namespace
} // namespace vindrel::test
