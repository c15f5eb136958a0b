// A wrong transform that is called good is the worst outcome of all: scenes that invite one. Whatever is called found
// has to lie where it belongs.
#include "support/VerdictScenes.h"
#include "vindrel/Stacks.h"

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <random>

namespace vindrel::test {
namespace {

constexpr double kRight = 1.0; // pixels, mean over the frame: called found, a frame may be this far off

std::vector<ImageView> viewsOf(const VerdictFrames &images) {
  std::vector<ImageView> views;
  for (const Image<std::uint8_t> &image : images)
    views.push_back(image.view());
  return views;
}

struct Outcome {
  int found = 0, right = 0, wrong = 0; // of the frames that are not the reference
};

// shiftX, shiftY: the true displacement of frame 1 against frame 0.
void judge(const VerdictFrames &images, int shiftX, int shiftY, Outcome &outcome, int range = 60) {
  for (const Model model : {Model::Affine, Model::Perspective, Model::Shift, Model::Auto}) {
    StackOptions options{.model = model, .maxShiftX = range, .maxShiftY = range};
    options.polish = true;
    options.reference = ReferenceChoice::First;
    const StackEstimate estimate = estimateStack(viewsOf(images), options).value();
    const FrameEstimate &frame = estimate.frames[1];
    if (frame.verdict != Verdict::Found) continue;
    ++outcome.found;
    const Transform truth = Transform::translation(shiftX, shiftY);
    const double error = placementError(frame.frameFromReference.matrix, truth.matrix, kVerdictFrame).gridMean;
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
    judge(twoLooks(scene.view(), 0.6), -14, 9, outcome);
  }
  EXPECT_GE(outcome.right, 10);
}

TEST(Verdicts, DoNotFindUnrelatedScenes) {
  Outcome outcome;
  for (std::uint32_t seed = 1; seed <= 4; ++seed) {
    // In a narrow search any displacement is near any other.
    for (const int range : {2, 4, 8, 60})
      judge(unrelatedFrames(seed), 1000, 1000, outcome, range);
  }
  EXPECT_EQ(outcome.found, 0);
}

TEST(Verdicts, DoNotMisplaceDarkFrames) {
  Outcome outcome;
  for (const double gain : {0.2, 0.1, 0.05, 0.02, 0.01, 0.0})
    judge(darkFrames(gain), -14, 9, outcome);
  EXPECT_EQ(outcome.wrong, 0);
}

TEST(Verdicts, DoNotMisplaceAFacadeThatRepeatsItself) {
  Outcome outcome;
  for (const auto &[periodX, periodY] : {std::pair{40, 56}, {64, 48}, {90, 90}, {30, 500}}) {
    for (const int shift : {5, 18, 33})
      judge(facadeFrames(periodX, periodY, shift), -shift, 4, outcome);
  }
  EXPECT_EQ(outcome.wrong, 0);
}

void judgeSubject(Size size, Outcome &outcome) {
  for (const auto &[dx, dy] : {std::pair{20, 5}, {-8, 12}, {4, 3}})
    judge(movedSubjectFrames(size, dx, dy), -14, 9, outcome);
}

TEST(Verdicts, FollowTheBackgroundWhereASmallSubjectMoved) {
  Outcome outcome;
  judgeSubject({120, 160}, outcome);
  EXPECT_EQ(outcome.wrong, 0);
  EXPECT_GE(outcome.right, 9);
}

// Up to more than half of the frame. One that leaves no more than a rim is what the picture shows, and is followed.
TEST(Verdicts, DoNotFollowALargeSubjectThatMoved) {
  Outcome outcome;
  for (const Size size : {Size{300, 260}, {400, 330}, {480, 360}})
    judgeSubject(size, outcome);
  EXPECT_EQ(outcome.wrong, 0);
}

// A sensor's hot pixels are at the same places in every frame, wherever the camera looked.
TEST(Verdicts, DoNotAlignDarkFramesByTheirHotPixels) {
  Outcome outcome;
  const SyntheticPhoto scene({720, 560}, 7);
  for (const double gain : {0.02, 0.05, 0.1}) {
    VerdictFrames frames = {look(scene.view(), 30, 30, 1.2 * gain, 1), look(scene.view(), 44, 21, gain, 2)};
    for (Image<std::uint8_t> &frame : frames) {
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
