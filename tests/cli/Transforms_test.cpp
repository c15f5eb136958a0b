// Transforms saved by one run and used by others: align --transforms-out, align --transforms, apply.
#include "Program.h"
#include "Scene.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>

namespace vindrel::test {
namespace {

namespace fs = std::filesystem;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr View kBright{.width = 400, .height = 300, .left = 11, .top = 7};
constexpr View kDark{.width = 400, .height = 300, .left = 24, .top = 16, .exposure = 0.5};

// a.png and b.png, aligned to aligned/, with what was found in moves.json.
class Transforms : public testing::Test {
protected:
  static void SetUpTestSuite() {
    folder_ = std::make_unique<TemporaryFolder>();
    save(file("a.png"), takePhoto(1, kBright, 3, 8));
    save(file("b.png"), takePhoto(1, kDark, 3, 8));
    save(file("black.png"), takePhoto(1, {.width = 400, .height = 300, .exposure = 0}, 3, 8));
    const Outcome run =
        runVindrel({"align", file("a.png"), file("b.png"), "-o", file("aligned"), "--transforms-out", moves()});
    ASSERT_EQ(run.exitCode, 0) << run.err;
    run_ = run;
  }
  static void TearDownTestSuite() { folder_.reset(); }

  static std::string file(const std::string &name) { return *folder_ / name; }
  static std::string moves() { return file("moves.json"); }
  std::string out(const std::string &name = "") const { return (out_.path() / "out" / name).string(); }

  Outcome apply(std::vector<std::string> arguments) const {
    arguments.insert(arguments.begin(), {"apply", "--transforms", moves(), "-o", out()});
    return runVindrel(arguments);
  }

  static std::unique_ptr<TemporaryFolder> folder_;
  static Outcome run_;
  TemporaryFolder out_;
};

std::unique_ptr<TemporaryFolder> Transforms::folder_;
Outcome Transforms::run_;

TEST_F(Transforms, AlignByThemGivesTheSameFramesAndTheSameReport) {
  const Outcome run = runVindrel({"align", file("a.png"), file("b.png"), "-o", out(), "--transforms", moves()});
  EXPECT_EQ(run.exitCode, 0) << run.err;
  EXPECT_EQ(run.out, run_.out);
  for (const char *name : {"a.png", "b.png"})
    EXPECT_EQ(load(out(name)).samples, load(file("aligned/") + name).samples) << name;
}

TEST_F(Transforms, ApplyGivesTheSameFrames) {
  const Outcome run = apply({file("a.png"), file("b.png")});
  EXPECT_EQ(run.exitCode, 0) << run.err;
  EXPECT_THAT(run.err, IsEmpty());
  EXPECT_THAT(run.out, AllOf(HasSubstr(out("a.png") + "  "), HasSubstr("  by frame 2\n")));
  for (const char *name : {"a.png", "b.png"})
    EXPECT_EQ(load(out(name)).samples, load(file("aligned/") + name).samples) << name;
}

TEST_F(Transforms, ApplyMovesImagesOfAnotherKindAlike) {
  save(out_ / "grey.tif", takePhoto(1, kBright, 1, 16));
  save(out_ / "grey2.tif", takePhoto(1, kDark, 1, 16));
  ASSERT_EQ(apply({out_ / "grey.tif", out_ / "grey2.tif", "-q"}).exitCode, 0);
  const Photo first = load(out("grey.tif")), second = load(out("grey2.tif"));
  EXPECT_EQ(first.bits, 16);
  EXPECT_EQ(first.channels, 1);
  // Both show the scene at the first one's place.
  View expected = kBright;
  expected.exposure = kDark.exposure;
  const std::vector<int> place = placeIn(takePhoto(1, kBright, 1, 16), first);
  ASSERT_THAT(place, testing::SizeIs(2));
  const Photo should = cut(takePhoto(1, expected, 1, 16), place[0], place[1], second.width, second.height);
  EXPECT_LT(meanDifference(second, should, 4), 0.01);
}

TEST_F(Transforms, ApplyByOneFrameMovesAMaskWithoutNewValues) {
  Photo mask = takePhoto(3, kDark, 1, 8);
  for (std::uint16_t &sample : mask.samples)
    sample = sample > 50 ? 255 : 0;
  save(out_ / "mask.png", mask);
  ASSERT_EQ(apply({out_ / "mask.png", "--frame", "2", "--filter", "nearest"}).exitCode, 0);
  const Photo moved = load(out("mask.png"));
  EXPECT_EQ(std::set<int>(moved.samples.begin(), moved.samples.end()), (std::set<int>{0, 255}));
  EXPECT_EQ(moved.width, load(file("aligned/a.png")).width);
  // What both show begins with the second frame's first pixel, which the first frame has further right and down.
  EXPECT_EQ(moved.samples, cut(mask, 0, 0, moved.width, moved.height).samples);
  ASSERT_EQ(apply({out_ / "mask.png", "--frame", "1", "--filter", "nearest", "--overwrite"}).exitCode, 0);
  EXPECT_EQ(load(out("mask.png")).samples, cut(mask, 13, 9, moved.width, moved.height).samples);
}

TEST_F(Transforms, ApplyCropsAndNamesAsAskedTo) {
  ASSERT_EQ(apply({file("a.png"), file("b.png"), "--crop", "none", "--name", "{stem}_moved.tif"}).exitCode, 0);
  EXPECT_THAT(namesIn(out()), ElementsAre("a_moved.tif", "b_moved.tif"));
  EXPECT_EQ(load(out("a_moved.tif")).samples, load(file("a.png")).samples) << "of the reference, all of the frame";
  EXPECT_EQ(load(out("b_moved.tif")).width, 400);
}

TEST_F(Transforms, ImagesOfAnotherSizeAreRefused) {
  save(out_ / "small.png", takePhoto(1, {.width = 200, .height = 150}, 3, 8));
  const Outcome run = apply({out_ / "small.png", "--frame", "1"});
  EXPECT_EQ(run.exitCode, 2);
  EXPECT_THAT(run.err, AllOf(HasSubstr("small.png: has 200 x 150 pixels, but "), HasSubstr("of 400 x 300")));
  EXPECT_FALSE(fs::exists(out()));
}

TEST_F(Transforms, ImagesThatCannotBelongToTheFramesAreRefused) {
  const Outcome few = apply({file("a.png")});
  EXPECT_EQ(few.exitCode, 2);
  EXPECT_THAT(few.err, HasSubstr("moves.json: is about 2 frames, but 1 image is given; give one for each frame"));
  const Outcome swapped = apply({file("b.png"), file("a.png")});
  EXPECT_EQ(swapped.exitCode, 2);
  EXPECT_THAT(swapped.err, HasSubstr("has b.png as frame 2, but it is given as 1"));
  const Outcome beyond = apply({file("a.png"), "--frame", "3"});
  EXPECT_EQ(beyond.exitCode, 2);
  EXPECT_THAT(beyond.err, HasSubstr("moves.json is about 2 frames; give a number from 1 to 2"));
  EXPECT_EQ(runVindrel({"align", file("a.png"), "-o", out(), "--transforms", moves()}).exitCode, 2);
  EXPECT_FALSE(fs::exists(out()));
}

TEST_F(Transforms, AFrameThatThereIsNotIsToldBeforeAnOutputThatExists) {
  fs::create_directory(out());
  writeBytes(out("a.png"), "earlier");
  const Outcome run = apply({file("a.png"), "--frame", "3"});
  EXPECT_EQ(run.exitCode, 2);
  EXPECT_THAT(run.err, AllOf(HasSubstr("--frame 3: "), testing::Not(HasSubstr("exists already"))));
}

TEST_F(Transforms, OfOnePhotographAreSpokenOfInTheSingular) {
  const std::string one = out_ / "one.json";
  ASSERT_EQ(runVindrel({"align", file("a.png"), "--transforms-out", one}).exitCode, 0);
  EXPECT_THAT(runVindrel({"apply", "--transforms", one, file("a.png"), "-o", out(), "--frame", "2"}).err,
              HasSubstr("--frame 2: " + one + " is about one frame only\n"));
  EXPECT_THAT(runVindrel({"apply", "--transforms", one, file("a.png"), file("b.png"), "-o", out()}).err,
              HasSubstr("is about 1 frame, but 2 images are given; "));
  EXPECT_THAT(runVindrel({"align", file("a.png"), "-n", "--reference", "2"}).err,
              HasSubstr("--reference 2: there is one photograph only\n"));
}

TEST_F(Transforms, AFileThatIsNoneOrOtherwiseIsUnreadable) {
  writeBytes(out_ / "bad.json", "{\"format\": \"something\"}");
  for (const std::string &name : {std::string(out_ / "bad.json"), std::string(out_ / "none.json"), file("a.png")}) {
    const Outcome run = runVindrel({"apply", "--transforms", name, file("a.png"), "-o", out()});
    EXPECT_EQ(run.exitCode, 4) << name;
    EXPECT_THAT(run.err, HasSubstr(name)) << run.err;
  }
}

TEST_F(Transforms, AreNotMixedWithOptionsOfTheSearch) {
  for (const auto &[option, value] :
       {std::pair{"--model", "affine"}, {"--reference", "first"}, {"--max-shift", "40"}}) {
    const Outcome run = runVindrel({"align", file("a.png"), "-n", "--transforms", moves(), option, value});
    EXPECT_EQ(run.exitCode, 2);
    EXPECT_THAT(run.err, AllOf(HasSubstr("--transforms"), HasSubstr(option)));
  }
}

TEST_F(Transforms, AreSavedWithoutPicturesWhereNoFolderIsGiven) {
  const std::string saved = out_ / "new/folder/moves.json";
  EXPECT_EQ(runVindrel({"align", file("a.png"), file("b.png"), "--transforms-out", saved}).exitCode, 0);
  EXPECT_EQ(readBytes(saved), readBytes(moves()));
  EXPECT_EQ(runVindrel({"align", file("a.png"), file("b.png"), "--transforms-out", saved}).exitCode, 5);
  EXPECT_EQ(runVindrel({"align", file("a.png"), file("b.png"), "-n", "--transforms-out", out_ / "x.json"}).exitCode, 0);
  EXPECT_FALSE(fs::exists(out_ / "x.json"));
}

TEST_F(Transforms, NeverReplaceWhatTheRunReads) {
  const std::string before = readBytes(moves());
  const Outcome onPhoto = runVindrel({"align", file("a.png"), "--transforms-out", file("a.png"), "--overwrite"});
  EXPECT_EQ(onPhoto.exitCode, 2);
  EXPECT_THAT(onPhoto.err, HasSubstr("a.png: is one of the photographs, which are never replaced; give another name "
                                     "with --transforms-out"));
  const Outcome onItself = runVindrel(
      {"align", file("a.png"), file("b.png"), "--transforms", moves(), "--transforms-out", moves(), "--overwrite"});
  EXPECT_EQ(onItself.exitCode, 2);
  const Outcome onPicture =
      runVindrel({"align", file("a.png"), file("b.png"), "-o", out(), "--transforms-out", out("b.png")});
  EXPECT_EQ(onPicture.exitCode, 2);
  EXPECT_THAT(onPicture.err, HasSubstr("would hold both a picture and the transforms"));
  EXPECT_EQ(readBytes(moves()), before);
}

TEST_F(Transforms, AndAPictureOfTheSameNameAreRefusedHoweverTheFolderIsWritten) {
  std::filesystem::create_directory(out());
  std::filesystem::create_directory_symlink(out(), out_ / "link");
  const Outcome run = runVindrel(
      {"align", file("a.png"), file("b.png"), "-o", out(), "--transforms-out", out_ / "link/b.png", "--overwrite"});
  EXPECT_EQ(run.exitCode, 2) << run.out;
  EXPECT_THAT(run.err, HasSubstr("link/b.png: would hold both a picture and the transforms"));
  EXPECT_TRUE(std::filesystem::is_empty(out()));
}

TEST_F(Transforms, AreNotSavedOverAFileADeviceOrAFolder) {
  std::filesystem::create_symlink("/dev/null", out_ / "null");
  const Outcome device =
      runVindrel({"align", file("a.png"), file("b.png"), "--transforms-out", out_ / "null", "--overwrite"});
  EXPECT_EQ(device.exitCode, 5);
  EXPECT_THAT(device.err, HasSubstr("null: is a device or a pipe, and never replaced; give another place with "
                                    "--transforms-out"));
  EXPECT_TRUE(std::filesystem::is_symlink(out_ / "null"));
  const Outcome standing = runVindrel({"align", file("a.png"), file("b.png"), "--transforms-out", moves()});
  EXPECT_EQ(standing.exitCode, 5);
  EXPECT_THAT(standing.err, HasSubstr("exists already; give another place with --transforms-out, or --overwrite"));
}

TEST_F(Transforms, OfAFrameThatWasNotAlignedAreUsedWithAWarning) {
  const std::string lost = out_ / "lost.json";
  ASSERT_EQ(runVindrel({"align", file("a.png"), file("black.png"), "--transforms-out", lost}).exitCode, 3);
  const Outcome run = runVindrel({"apply", "--transforms", lost, file("a.png"), file("black.png"), "-o", out()});
  EXPECT_EQ(run.exitCode, 3);
  EXPECT_THAT(run.err, AllOf(HasSubstr("frame 2 could not be aligned: "), HasSubstr("may not lie on the others")));
  const Outcome align = runVindrel(
      {"align", file("a.png"), file("black.png"), "--transforms", lost, "-o", out("d"), "--on-unaligned", "drop"});
  EXPECT_EQ(align.exitCode, 3);
  EXPECT_THAT(namesIn(out("d")), ElementsAre("a.png"));
}

} // namespace
} // namespace vindrel::test
