// vindrel align on whole stacks: what it prints, what it exits with, and what the output frames show.
#include "Program.h"
#include "Scene.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <regex>

namespace vindrel::test {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

std::vector<std::string> linesOf(const std::string &text) {
  std::vector<std::string> lines;
  for (std::size_t begin = 0; begin < text.size();) {
    const std::size_t end = std::min(text.find('\n', begin), text.size());
    lines.push_back(text.substr(begin, end - begin));
    begin = end + 1;
  }
  return lines;
}

class Align : public testing::Test {
protected:
  std::string file(const std::string &name) const { return folder_ / name; }
  std::string out(const std::string &name) const { return folder_.path() / "out" / name; }

  Outcome align(std::vector<std::string> photos, const std::vector<std::string> &options = {}) {
    photos.insert(photos.begin(), "align");
    photos.insert(photos.end(), {"-o", folder_ / "out"});
    photos.insert(photos.end(), options.begin(), options.end());
    return runVindrel(photos);
  }

  TemporaryFolder folder_;
};

// Two views of one scene, whole pixels apart and one a stop darker.
constexpr View kBright{.left = 11, .top = 7};
constexpr View kDark{.left = 24, .top = 16, .exposure = 0.5};

struct Kind {
  friend void PrintTo(const Kind &kind, std::ostream *out) { *out << kind.extension; }

  const char *extension;
  int channels;
  int bits;
};

class AlignKinds : public Align, public testing::WithParamInterface<Kind> {};

TEST_P(AlignKinds, KeepsDepthAndChannelsAndBringsFramesIntoRegister) {
  const auto [extension, channels, bits] = GetParam();
  const std::string bright = std::string("bright.") + extension;
  const std::string dark = std::string("dark.") + extension;
  save(file(bright), takePhoto(1, kBright, channels, bits));
  save(file(dark), takePhoto(1, kDark, channels, bits));

  const Outcome run = align({file(bright), file(dark)}, {"--model", "affine"});
  EXPECT_EQ(run.exitCode, 0) << run.out << run.err;
  EXPECT_THAT(run.err, IsEmpty());
  EXPECT_THAT(namesIn(folder_ / "out"), ElementsAre(bright, dark));

  const Photo reference = load(out(bright));
  const Photo aligned = load(out(dark));
  for (const Photo *photo : {&reference, &aligned}) {
    EXPECT_EQ(photo->channels, channels);
    EXPECT_EQ(photo->bits, bits);
    EXPECT_EQ(photo->width, reference.width);
    EXPECT_EQ(photo->height, reference.height);
  }
  ASSERT_LT(reference.width, kBright.width);

  const Photo source = load(file(bright));
  std::vector<int> place = {0, 0};
  if (std::string(extension) != "jpg") {
    // The reference is cut and not resampled: its samples come out as they were.
    place = placeIn(source, reference);
    ASSERT_THAT(place, testing::SizeIs(2));
    // What the second frame ought to show: the scene at the reference's place, in the second frame's exposure.
    const View expected{.left = kBright.left, .top = kBright.top, .exposure = kDark.exposure};
    const Photo whole = takePhoto(1, expected, channels, bits);
    EXPECT_LT(meanDifference(aligned, cut(whole, place[0], place[1], aligned.width, aligned.height), 4), 0.01);
  }
}

INSTANTIATE_TEST_SUITE_P(Kinds, AlignKinds,
                         testing::Values(Kind{"png", 1, 8}, Kind{"png", 2, 8}, Kind{"png", 3, 8}, Kind{"png", 4, 8},
                                         Kind{"png", 1, 16}, Kind{"png", 3, 16}, Kind{"png", 4, 16}, Kind{"tif", 1, 8},
                                         Kind{"tif", 3, 8}, Kind{"tif", 4, 8}, Kind{"tif", 1, 16}, Kind{"tif", 3, 16},
                                         Kind{"tif", 4, 16}, Kind{"jpg", 1, 8}, Kind{"jpg", 3, 8}),
                         [](const auto &kind) {
                           return std::string(kind.param.extension) + std::to_string(kind.param.channels) + "channels" +
                                  std::to_string(kind.param.bits) + "bit";
                         });

TEST_F(Align, PrintsALineAFrameInTheOrderGiven) {
  save(file("dark.png"), takePhoto(1, kDark, 3, 8));
  save(file("bright.png"), takePhoto(1, kBright, 3, 8));
  const Outcome run = align({file("dark.png"), file("bright.png")});
  ASSERT_EQ(run.exitCode, 0) << run.out << run.err;
  const std::vector<std::string> lines = linesOf(run.out);
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_TRUE(std::regex_match(
      lines[0], std::regex(".*dark\\.png +aligned  [0-9]+ pairs  [0-9]+ inliers  RMS [0-9]\\.[0-9]{3} px")))
      << lines[0];
  EXPECT_TRUE(std::regex_match(lines[1], std::regex(".*bright\\.png +reference"))) << lines[1];
}

TEST_F(Align, WithoutCroppingKeepsTheReferenceInPlaceAndLeavesWhiteWhereAFrameHasNothing) {
  save(file("bright.png"), takePhoto(1, kBright, 4, 8));
  save(file("dark.png"), takePhoto(1, kDark, 4, 8));
  const Outcome run = align({file("bright.png"), file("dark.png")}, {"--crop", "none"});
  ASSERT_EQ(run.exitCode, 0) << run.out << run.err;
  const Photo dark = load(out("dark.png"));
  EXPECT_EQ(dark.width, kDark.width);
  EXPECT_EQ(dark.height, kDark.height);
  EXPECT_EQ(load(out("bright.png")).samples, load(file("bright.png")).samples) << "the last column and row too";
  // The second frame lies further right and down in the scene: it has nothing for the reference's first columns.
  for (int c = 0; c < 4; ++c)
    EXPECT_EQ(dark.at(2, dark.height / 2, c), 255) << "channel " << c;
}

TEST_F(Align, GivesTheSameBytesOnEveryRun) {
  save(file("bright.png"), takePhoto(1, kBright, 3, 8));
  save(file("dark.png"), takePhoto(1, kDark, 3, 8));
  ASSERT_EQ(align({file("bright.png"), file("dark.png")}, {"--threads", "2"}).exitCode, 0);
  const std::string first = readBytes(out("dark.png"));
  ASSERT_EQ(align({file("bright.png"), file("dark.png")}, {"--threads", "2", "--overwrite"}).exitCode, 0);
  EXPECT_TRUE(readBytes(out("dark.png")) == first);
}

TEST_F(Align, ASearchRangeShorterThanTheMotionLosesTheFrameAndSaysSo) {
  save(file("bright.png"), takePhoto(1, {.left = 0}, 3, 8));
  save(file("moved.png"), takePhoto(1, {.left = kSceneMargin, .exposure = 0.8}, 3, 8));
  EXPECT_EQ(align({file("bright.png"), file("moved.png")}, {"--max-shift", "60,20"}).exitCode, 0);
  const Outcome run = align({file("bright.png"), file("moved.png")}, {"--max-shift", "10", "--overwrite"});
  EXPECT_EQ(run.exitCode, 3) << run.out;
}

TEST_F(Align, UnrelatedPhotographsAreNotPassedOffAsAligned) {
  save(file("one.png"), takePhoto(1, kBright, 3, 8));
  save(file("other.png"), takePhoto(2, kDark, 3, 8));
  const Outcome run = align({file("one.png"), file("other.png")});
  EXPECT_EQ(run.exitCode, 3);
  EXPECT_THAT(run.out, HasSubstr("other.png  NOT ALIGNED ("));
  EXPECT_THAT(run.err, AllOf(HasSubstr("other.png: could not be aligned: "), Not(HasSubstr("one.png: could"))));
  EXPECT_THAT(namesIn(folder_ / "out"), ElementsAre("one.png", "other.png"));
}

TEST_F(Align, ABlackFrameIsNotPassedOffAsAligned) {
  save(file("bright.png"), takePhoto(1, kBright, 3, 8));
  save(file("dark.png"), takePhoto(1, kDark, 3, 8));
  save(file("black.png"), takePhoto(1, {.exposure = 0}, 3, 8));
  const Outcome run = align({file("bright.png"), file("dark.png"), file("black.png")});
  EXPECT_EQ(run.exitCode, 3);
  const std::vector<std::string> lines = linesOf(run.out);
  ASSERT_EQ(lines.size(), 3u);
  EXPECT_THAT(lines[0], HasSubstr("reference"));
  EXPECT_THAT(lines[1], HasSubstr("  aligned  "));
  EXPECT_THAT(lines[2], HasSubstr("NOT ALIGNED"));
  EXPECT_THAT(run.err, HasSubstr("black.png: could not be aligned"));
}

TEST_F(Align, OnePhotographIsCopiedByteForByte) {
  save(file("only.jpg"), takePhoto(1, kBright, 3, 8));
  const Outcome run = align({file("only.jpg")});
  EXPECT_EQ(run.exitCode, 0);
  EXPECT_THAT(run.out, testing::EndsWith("only.jpg  reference\n"));
  EXPECT_THAT(run.err, HasSubstr("only.jpg: is the only photograph"));
  EXPECT_TRUE(readBytes(out("only.jpg")) == readBytes(file("only.jpg")));
}

TEST_F(Align, OnePhotographThatIsStoredLyingIsTurnedUprightWithWhatItSays) {
  OIIO::ParamValueList extra;
  extra.attribute("Orientation", 8); // the first stored row is the left column, the first stored column the last row
  extra.attribute("Artist", "A. Photographer");
  const Photo stored = takePhoto(1, {.width = 60, .height = 40}, 3, 16);
  save(file("only.tif"), stored, extra);
  const Outcome run = align({file("only.tif")});
  EXPECT_EQ(run.exitCode, 0);
  EXPECT_THAT(run.err, HasSubstr("only.tif: is the only photograph; only turned upright\n"));
  const Photo upright = load(out("only.tif"));
  ASSERT_EQ(upright.width, 40);
  ASSERT_EQ(upright.height, 60);
  for (int y = 0; y < 60; ++y)
    for (int x = 0; x < 40; ++x)
      for (int c = 0; c < 3; ++c)
        ASSERT_EQ(upright.at(x, y, c), stored.at(59 - y, x, c)) << x << ' ' << y;
  const OIIO::ImageSpec spec = loadSpec(out("only.tif"));
  EXPECT_EQ(spec.get_int_attribute("Orientation", 1), 1);
  EXPECT_EQ(spec.get_string_attribute("Artist"), "A. Photographer");
}

TEST_F(Align, OnePhotographInAnotherFormatKeepsEverySample) {
  save(file("only.png"), takePhoto(1, {.width = 60, .height = 40}, 3, 8));
  const Outcome run = align({file("only.png")}, {"--name", "{stem}.tif"});
  EXPECT_EQ(run.exitCode, 0);
  EXPECT_THAT(run.err, HasSubstr("only.png: is the only photograph; only written in another format\n"));
  EXPECT_EQ(load(out("only.tif")).samples, load(file("only.png")).samples);
}

TEST_F(Align, QuietPrintsNothingForAnAlignedStackAndStillWarnsOfALostFrame) {
  save(file("bright.png"), takePhoto(1, kBright, 3, 8));
  save(file("dark.png"), takePhoto(1, kDark, 3, 8));
  save(file("black.png"), takePhoto(1, {.exposure = 0}, 3, 8));
  const Outcome aligned = align({file("bright.png"), file("dark.png")}, {"-q"});
  EXPECT_EQ(aligned.exitCode, 0);
  EXPECT_THAT(aligned.out + aligned.err, IsEmpty());
  const Outcome lost = align({file("bright.png"), file("black.png")}, {"-q", "--overwrite"});
  EXPECT_EQ(lost.exitCode, 3);
  EXPECT_THAT(lost.out, IsEmpty());
  EXPECT_THAT(lost.err, HasSubstr("black.png: could not be aligned"));
}

TEST_F(Align, WithTheTruthPrintsHowFarEachFrameIsOff) {
  save(file("bright.png"), takePhoto(1, kBright, 3, 8));
  save(file("dark.png"), takePhoto(1, kDark, 3, 8));
  const std::string truth = R"({"format": "vindrel-truth", "version": 1, "width": 640, "height": 480, "frames": [
    {"file": "bright.png", "ev": 0, "frameFromScene": [1, 0, -11, 0, 1, -7, 0, 0, 1]},
    {"file": "dark.png", "ev": -1, "frameFromScene": [1, 0, -24, 0, 1, -16, 0, 0, 1]}]})";
  writeBytes(file("truth.json"), truth);
  const Outcome run = align({file("bright.png"), file("dark.png")}, {"--truth", file("truth.json")});
  ASSERT_EQ(run.exitCode, 0) << run.out << run.err;
  const std::vector<std::string> lines = linesOf(run.out);
  ASSERT_EQ(lines.size(), 3u);
  EXPECT_THAT(lines[0], testing::EndsWith("reference  corner error 0.000 px"));
  std::smatch error;
  ASSERT_TRUE(std::regex_search(lines[1], error, std::regex("corner error ([0-9.]+) px$"))) << lines[1];
  EXPECT_LT(std::stod(error[1]), 1.0);
  EXPECT_EQ(lines[2], "worst corner error " + error[1].str() + " px (" + file("dark.png") + ")");

  // The same stack against a truth that lies 10 pixels elsewhere: the error follows.
  std::string wrong = truth;
  wrong.replace(wrong.find("-24"), 3, "-34");
  writeBytes(file("wrong.json"), wrong);
  const Outcome off = align({file("bright.png"), file("dark.png")}, {"--truth", file("wrong.json"), "--overwrite"});
  ASSERT_TRUE(std::regex_search(off.out, error, std::regex("worst corner error ([0-9.]+) px"))) << off.out;
  EXPECT_NEAR(std::stod(error[1]), 10, 1);
}

TEST_F(Align, ATruthOfOtherFramesIsRefusedBeforeTheWork) {
  save(file("bright.png"), takePhoto(1, kBright, 3, 8));
  save(file("dark.png"), takePhoto(1, kDark, 3, 8));
  writeBytes(file("truth.json"), R"({"format": "vindrel-truth", "version": 1, "width": 640, "height": 480, "frames": [
    {"file": "bright.png", "frameFromScene": [1, 0, 0, 0, 1, 0, 0, 0, 1]}]})");
  const Outcome missing = align({file("bright.png"), file("dark.png")}, {"--truth", file("truth.json")});
  EXPECT_EQ(missing.exitCode, 2);
  EXPECT_THAT(missing.err, AllOf(HasSubstr("truth.json: "), HasSubstr("dark.png")));
  writeBytes(file("truth.json"), R"({"format": "vindrel-truth", "version": 1, "width": 64, "height": 48, "frames": [
    {"file": "bright.png", "frameFromScene": [1, 0, 0, 0, 1, 0, 0, 0, 1]}]})");
  const Outcome sized = align({file("bright.png")}, {"--truth", file("truth.json")});
  EXPECT_EQ(sized.exitCode, 2);
  EXPECT_THAT(sized.err, AllOf(HasSubstr("64 x 48"), HasSubstr("640 x 480")));
  EXPECT_FALSE(std::filesystem::exists(folder_ / "out"));
}

} // namespace
} // namespace vindrel::test
