// vindrel align --model shift: frames that lie whole pixels apart.
#include "Program.h"
#include "Scene.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace vindrel::test {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;

// kSceneMargin limits how far right and down a view may begin.
constexpr View kBright{.left = 11, .top = 7};
constexpr View kMiddle{.left = 24, .top = 16, .exposure = 0.5};
constexpr View kDark{.left = 3, .top = 30, .exposure = 0.25};

class AlignShift : public testing::Test {
protected:
  std::string file(const std::string &name) const { return folder_ / name; }
  Photo output(const std::string &name) const { return load(folder_.path() / "out" / name); }

  Outcome align(const std::vector<std::string> &names, const std::vector<std::string> &options = {}) {
    std::vector<std::string> arguments = {"align", "--model", "shift", "-o", folder_ / "out"};
    for (const std::string &name : names)
      arguments.push_back(file(name));
    arguments.insert(arguments.end(), options.begin(), options.end());
    return runVindrel(arguments);
  }

  void saveStack(int channels, int bits) {
    save(file("bright.png"), takePhoto(1, kBright, channels, bits));
    save(file("middle.png"), takePhoto(1, kMiddle, channels, bits));
    save(file("dark.png"), takePhoto(1, kDark, channels, bits));
  }

  TemporaryFolder folder_;
};

struct Kind {
  int channels;
  int bits;
};

class AlignShiftKinds : public AlignShift, public testing::WithParamInterface<Kind> {};

TEST_P(AlignShiftKinds, RecoversWholePixelShiftsAndCopiesTheSamples) {
  const auto [channels, bits] = GetParam();
  saveStack(channels, bits);
  const Outcome run = align({"bright.png", "middle.png", "dark.png"});
  EXPECT_EQ(run.exitCode, 0) << run.out << run.err;
  EXPECT_THAT(run.err, IsEmpty());
  EXPECT_EQ(run.out, file("bright.png") + "  aligned  shift +13 +9 px\n" + file("middle.png") + "  reference\n" +
                         file("dark.png") + "    aligned  shift +21 -14 px\n");
  // The common part begins with the middle frame's first column and the dark frame's first row.
  const int width = kBright.width - 21, height = kBright.height - 23;
  for (const auto &[name, view] : {std::pair{"bright.png", kBright}, {"middle.png", kMiddle}, {"dark.png", kDark}}) {
    const Photo cutOut = cut(takePhoto(1, view, channels, bits), 24 - view.left, 30 - view.top, width, height);
    EXPECT_EQ(output(name).samples, cutOut.samples) << name;
  }
}

INSTANTIATE_TEST_SUITE_P(Kinds, AlignShiftKinds,
                         testing::Values(Kind{1, 8}, Kind{2, 8}, Kind{3, 8}, Kind{4, 8}, Kind{1, 16}, Kind{3, 16},
                                         Kind{4, 16}),
                         [](const auto &kind) {
                           return std::to_string(kind.param.channels) + "channels" + std::to_string(kind.param.bits) +
                                  "bit";
                         });

TEST_F(AlignShift, WithoutCroppingKeepsTheReferenceInPlaceAndLeavesWhiteWhereAFrameHasNothing) {
  saveStack(4, 8);
  ASSERT_EQ(align({"bright.png", "middle.png", "dark.png"}, {"--crop", "none"}).exitCode, 0);
  EXPECT_EQ(output("middle.png").samples, takePhoto(1, kMiddle, 4, 8).samples);
  const Photo dark = output("dark.png"), source = takePhoto(1, kDark, 4, 8);
  for (int y = 0; y < dark.height; ++y) {
    for (int x = 0; x < dark.width; ++x) {
      for (int c = 0; c < 4; ++c) {
        const bool covered = x + 21 < dark.width && y - 14 >= 0;
        ASSERT_EQ(dark.at(x, y, c), covered ? source.at(x + 21, y - 14, c) : 255) << x << ' ' << y << ' ' << c;
      }
    }
  }
}

TEST_F(AlignShift, DoesNotPassOffUnrelatedPhotographsAsAligned) {
  save(file("one.png"), takePhoto(1, kBright, 3, 8));
  save(file("other.png"), takePhoto(2, kMiddle, 3, 8));
  const Outcome run = align({"one.png", "other.png"});
  EXPECT_EQ(run.exitCode, 3);
  EXPECT_THAT(run.out, HasSubstr("NOT ALIGNED (its best match is no better than chance)"));
  EXPECT_THAT(run.err, HasSubstr(": could not be aligned: its best match is no better than chance; "));
}

TEST_F(AlignShift, SaysThatAShiftLiesAtTheEdgeOfTheSearch) {
  save(file("bright.png"), takePhoto(1, {.left = 0}, 3, 8));
  save(file("moved.png"), takePhoto(1, {.left = 31, .exposure = 0.5}, 3, 8));
  // 30 pixels are within a reach of 31, the whole of which would not be trusted.
  const Outcome run = align({"bright.png", "moved.png"}, {"--max-shift", "30"});
  EXPECT_EQ(run.exitCode, 3);
  EXPECT_THAT(run.out,
              HasSubstr("bright.png  NOT ALIGNED (its shift is at the edge of the search)  shift +31 +0 px\n"));
  const Outcome farther = align({"bright.png", "moved.png"}, {"--max-shift", "31", "--overwrite"});
  EXPECT_EQ(farther.exitCode, 0);
  EXPECT_THAT(farther.out, HasSubstr("bright.png  aligned  shift +31 +0 px\n"));
}

TEST_F(AlignShift, DoesNotPassOffABlackFrameAsAligned) {
  saveStack(3, 8);
  save(file("black.png"), takePhoto(1, {.exposure = 0}, 3, 8));
  const Outcome run = align({"black.png", "middle.png", "dark.png"});
  EXPECT_EQ(run.exitCode, 3);
  EXPECT_THAT(run.out, HasSubstr("black.png   NOT ALIGNED (its best match is no better than chance)"));
}

TEST_F(AlignShift, MeasuresAgainstTheTruthFromItsOwnReference) {
  saveStack(3, 8);
  writeBytes(file("truth.json"), R"({"format": "vindrel-truth", "version": 1, "width": 640, "height": 480, "frames": [
    {"file": "bright.png", "ev": 0, "frameFromScene": [1, 0, -11, 0, 1, -7, 0, 0, 1]},
    {"file": "middle.png", "ev": -1, "frameFromScene": [1, 0, -24, 0, 1, -16, 0, 0, 1]},
    {"file": "dark.png", "ev": -2, "frameFromScene": [1, 0, -3.5, 0, 1, -30, 0, 0, 1]}]})");
  const Outcome run = align({"bright.png", "middle.png", "dark.png"}, {"--truth", file("truth.json")});
  EXPECT_THAT(run.out, HasSubstr("shift +13 +9 px  corner error 0.000 px\n"));
  EXPECT_THAT(run.out, HasSubstr("shift +21 -14 px  corner error 0.500 px\n"));
}

} // namespace
} // namespace vindrel::test
