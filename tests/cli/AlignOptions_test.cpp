// Options of vindrel align: each one's effect on what is printed and written.
#include "Program.h"
#include "Scene.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>

namespace vindrel::test {
namespace {

namespace fs = std::filesystem;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

constexpr View kBright{.width = 400, .height = 300, .left = 11, .top = 7};
constexpr View kMiddle{.width = 400, .height = 300, .left = 17, .top = 12, .exposure = 0.7};
constexpr View kDark{.width = 400, .height = 300, .left = 24, .top = 16, .exposure = 0.5};
constexpr View kDarkest{.width = 400, .height = 300, .left = 24, .top = 16, .exposure = 0.3};

class AlignOptions : public testing::Test {
protected:
  static void SetUpTestSuite() {
    photos_ = std::make_unique<TemporaryFolder>();
    save(photo("dark.png"), takePhoto(1, kDark, 3, 8));
    save(photo("bright.png"), takePhoto(1, kBright, 3, 8));
    save(photo("middle.png"), takePhoto(1, kMiddle, 3, 8));
    save(photo("other.png"), takePhoto(2, kDarkest, 3, 8));
  }
  static void TearDownTestSuite() { photos_.reset(); }

  static std::string photo(const std::string &name) { return *photos_ / name; }
  fs::path out(const std::string &name = "") const { return folder_.path() / "out" / name; }

  Outcome align(const std::vector<std::string> &names, const std::vector<std::string> &options,
                const RunOptions &how = {}) const {
    std::vector<std::string> arguments = {"align", "-o", out().string()};
    for (const std::string &name : names)
      arguments.push_back(photo(name));
    arguments.insert(arguments.end(), options.begin(), options.end());
    return runVindrel(arguments, how);
  }

  static std::unique_ptr<TemporaryFolder> photos_;
  TemporaryFolder folder_;
};

std::unique_ptr<TemporaryFolder> AlignOptions::photos_;

TEST_F(AlignOptions, NamesAreMadeOfTheTemplate) {
  const Outcome run = align({"dark.png", "bright.png"}, {"--name", "{index}-{stem}_aligned.{ext}"});
  EXPECT_EQ(run.exitCode, 0) << run.err;
  EXPECT_THAT(namesIn(out()), ElementsAre("1-dark_aligned.png", "2-bright_aligned.png"));
}

TEST_F(AlignOptions, ANameWithAnotherExtensionAsksForThatFormat) {
  ASSERT_EQ(align({"dark.png", "bright.png"}, {"--name", "{stem}.tif"}).exitCode, 0);
  EXPECT_THAT(namesIn(out()), ElementsAre("bright.tif", "dark.tif"));
  EXPECT_THAT(readBytes(out("dark.tif")), testing::AnyOf(StartsWith("II"), StartsWith("MM")));
  ASSERT_EQ(align({"dark.png", "bright.png"}, {}).exitCode, 0);
  EXPECT_EQ(load(out("dark.tif")).samples, load(out("dark.png")).samples);
}

TEST_F(AlignOptions, NamesThatCannotBeAreRefusedBeforeAnythingIsDone) {
  const Outcome shared = align({"dark.png", "bright.png"}, {"--name", "same.{ext}"});
  EXPECT_EQ(shared.exitCode, 2);
  EXPECT_THAT(shared.err, AllOf(HasSubstr("would both be written to"), HasSubstr("{index}")));
  const Outcome unknown = align({"dark.png"}, {"--name", "{stem}.xyz"});
  EXPECT_EQ(unknown.exitCode, 2);
  EXPECT_THAT(unknown.err, AllOf(HasSubstr("dark.xyz: its name does not say what to write"), HasSubstr(".{ext}")));
  EXPECT_EQ(align({"dark.png"}, {"--name", "{stem}"}).exitCode, 2);
  const Outcome lengthy = align({"dark.png"}, {"--name", std::string(250, 'x') + ".{ext}.png"});
  EXPECT_EQ(lengthy.exitCode, 2);
  EXPECT_THAT(lengthy.err, HasSubstr("longer than names of files can be"));
  EXPECT_FALSE(fs::exists(out()));
}

TEST_F(AlignOptions, AFormatThatCannotHoldThePictureIsRefused) {
  save(folder_ / "deep.png", takePhoto(1, kDark, 3, 16));
  const Outcome run = runVindrel({"align", folder_ / "deep.png", "-o", out(), "--name", "{stem}.jpg"});
  EXPECT_EQ(run.exitCode, 2);
  EXPECT_THAT(run.err, AllOf(HasSubstr("deep.jpg"), HasSubstr("8 bits")));
}

struct ReferenceCase {
  friend void PrintTo(const ReferenceCase &value, std::ostream *out) { *out << value.option; }

  const char *option;
  const char *reference;
};

class AlignReference : public AlignOptions, public testing::WithParamInterface<ReferenceCase> {};

TEST_P(AlignReference, IsTheOneAskedForAndStaysInPlace) {
  const auto [option, reference] = GetParam();
  const Outcome run = align({"dark.png", "bright.png", "middle.png"}, {"--reference", option, "--crop", "none"});
  ASSERT_EQ(run.exitCode, 0) << run.err;
  EXPECT_THAT(run.out, testing::ContainsRegex(std::string(reference) + " *  reference\n"));
  for (const char *name : {"dark.png", "bright.png", "middle.png"}) {
    const bool inPlace = placeIn(load(photo(name)), load(out(name))) == std::vector<int>{0, 0};
    EXPECT_EQ(inPlace, name == std::string(reference)) << name;
  }
}

INSTANTIATE_TEST_SUITE_P(References, AlignReference,
                         testing::Values(ReferenceCase{"brightest", "bright.png"},
                                         ReferenceCase{"middle", "middle.png"}, ReferenceCase{"first", "dark.png"},
                                         ReferenceCase{"3", "middle.png"}),
                         [](const auto &value) { return std::string("Is") + value.param.option; });

TEST_F(AlignOptions, AReferenceBeyondThePhotographsIsRefused) {
  const Outcome run = align({"dark.png", "bright.png"}, {"--reference", "3"});
  EXPECT_EQ(run.exitCode, 2);
  EXPECT_THAT(run.err, HasSubstr("--reference 3: there are 2 photographs only; give a number from 1 to 2"));
  EXPECT_FALSE(fs::exists(out()));
}

// Mean difference of neighbours: the more, the sharper.
double sharpness(const Photo &photo) {
  double sum = 0;
  for (int y = 0; y < photo.height; ++y)
    for (int x = 1; x < photo.width; ++x)
      sum += std::abs(photo.at(x, y, 0) - photo.at(x - 1, y, 0));
  return sum / photo.height / (photo.width - 1);
}

TEST_F(AlignOptions, SharperFiltersGiveSharperFrames) {
  // Half a pixel from where samples are, so that each is made of several.
  ASSERT_EQ(
      runVindrel({"simulate", photo("bright.png"), "-o", folder_.path(), "--frames", "2", "--ev", "0.5"}).exitCode, 0);
  std::vector<double> values;
  for (const char *filter : {"bilinear", "bicubic", "lanczos"}) {
    const Outcome run = runVindrel({"align", folder_ / "frame_00.png", folder_ / "frame_01.png", "-o", out(),
                                    "--reference", "first", "--overwrite", "--filter", filter});
    ASSERT_EQ(run.exitCode, 0) << run.out << run.err;
    values.push_back(sharpness(load(out("frame_01.png"))));
  }
  EXPECT_LT(values[0] * 1.01, values[1]);
  EXPECT_LT(values[1], values[2]);
}

TEST_F(AlignOptions, AutomaticallyTheSmallestModelThatExplainsTheFramesIsTaken) {
  const Outcome run = align({"dark.png", "bright.png"}, {"--model", "auto", "-v"});
  EXPECT_EQ(run.exitCode, 0) << run.err;
  EXPECT_THAT(run.out, AllOf(HasSubstr("aligned  shift -13 -9 px  "), HasSubstr(" pairs  "),
                             HasSubstr("\nmodel shift (shift "), HasSubstr(", affine "), HasSubstr(", perspective ")));
}

class OnUnaligned : public AlignOptions {
protected:
  Outcome run(const std::string &policy) const {
    return align({"bright.png", "dark.png", "other.png"}, {"--on-unaligned", policy});
  }
};

TEST_F(OnUnaligned, FailWritesNothingAndStillReportsEveryFrame) {
  const Outcome outcome = run("fail");
  EXPECT_EQ(outcome.exitCode, 3);
  EXPECT_THAT(outcome.out, AllOf(HasSubstr("bright.png  reference"), HasSubstr("dark.png    "),
                                 HasSubstr("other.png   NOT ALIGNED (")));
  EXPECT_THAT(outcome.err, AllOf(HasSubstr("other.png: could not be aligned: "), HasSubstr("; nothing is written\n")));
  EXPECT_FALSE(fs::exists(out()));
}

TEST_F(OnUnaligned, FailWritesAllWhenAllAreAligned) {
  EXPECT_EQ(align({"bright.png", "dark.png"}, {"--on-unaligned", "fail"}).exitCode, 0);
  EXPECT_THAT(namesIn(out()), ElementsAre("bright.png", "dark.png"));
}

TEST_F(OnUnaligned, KeepWritesTheFrameAsItWasButForTheCrop) {
  const Outcome outcome = run("keep");
  EXPECT_EQ(outcome.exitCode, 3);
  EXPECT_THAT(outcome.err, AllOf(HasSubstr("other.png: could not be aligned: "), HasSubstr("shows it where it was\n")));
  EXPECT_THAT(namesIn(out()), ElementsAre("bright.png", "dark.png", "other.png"));
  // It has the place in the frame that the reference has.
  const std::vector<int> place = placeIn(load(photo("bright.png")), load(out("bright.png")));
  ASSERT_THAT(place, testing::SizeIs(2));
  EXPECT_EQ(placeIn(load(photo("other.png")), load(out("other.png"))), place);
}

TEST_F(OnUnaligned, DropLeavesTheFrameOutAndSaysSo) {
  const Outcome outcome = run("drop");
  EXPECT_EQ(outcome.exitCode, 3);
  EXPECT_THAT(outcome.err, AllOf(HasSubstr("other.png: could not be aligned: "), HasSubstr("; it is left out\n")));
  EXPECT_THAT(namesIn(out()), ElementsAre("bright.png", "dark.png"));
}

TEST_F(OnUnaligned, ByDefaultTheFrameIsWrittenWhereTheSearchLeftIt) {
  const Outcome outcome = align({"bright.png", "dark.png", "other.png"}, {});
  EXPECT_EQ(outcome.exitCode, 3);
  EXPECT_THAT(outcome.err, HasSubstr("other.png may not lie on the others\n"));
  EXPECT_THAT(namesIn(out()), ElementsAre("bright.png", "dark.png", "other.png"));
}

class StrangeReference : public AlignOptions {
protected:
  static void SetUpTestSuite() {
    AlignOptions::SetUpTestSuite();
    save(photo("stranger.png"), takePhoto(2, {.width = 400, .height = 300, .exposure = 1.05}, 3, 8)); // the brightest
  }
};

constexpr const char *kAdvice = ", the reference; if it does not show what the others do, give the number of one that "
                                "does with --reference\n";

TEST_F(StrangeReference, IsNamedWithTheOptionThatChoosesAnother) {
  const std::vector<std::string> names = {"stranger.png", "bright.png", "middle.png", "dark.png"};
  const Outcome lost = align(names, {"-n"});
  EXPECT_EQ(lost.exitCode, 3);
  EXPECT_THAT(lost.out, HasSubstr("stranger.png  reference\n"));
  EXPECT_THAT(lost.err,
              testing::EndsWith("vindrel: no frame could be aligned with " + photo("stranger.png") + kAdvice));
  const Outcome recovered = align(names, {"-n", "--reference", "2"});
  EXPECT_EQ(recovered.exitCode, 3);
  EXPECT_THAT(recovered.out, AllOf(HasSubstr("stranger.png  NOT ALIGNED ("), HasSubstr("bright.png    reference\n"),
                                   HasSubstr("middle.png    aligned  "), HasSubstr("dark.png      aligned  ")));
  EXPECT_THAT(recovered.err, Not(HasSubstr("--reference")));
}

TEST_F(StrangeReference, IsNotSuspectedWhereAnythingIsAlignedOrThereIsNoChoice) {
  EXPECT_THAT(align({"bright.png", "dark.png", "other.png"}, {"-n"}).err,
              AllOf(HasSubstr("other.png: could not be aligned"), Not(HasSubstr("--reference"))));
  EXPECT_THAT(align({"stranger.png", "bright.png"}, {"-n"}).err,
              AllOf(HasSubstr("bright.png: could not be aligned"), Not(HasSubstr("--reference"))));
}

TEST_F(AlignOptions, ADryRunReportsAndWritesNothing) {
  const Outcome run = align({"dark.png", "bright.png"}, {"-n"});
  EXPECT_EQ(run.exitCode, 0) << run.err;
  EXPECT_THAT(run.out, AllOf(HasSubstr("dark.png    aligned  "), HasSubstr("bright.png  reference")));
  EXPECT_THAT(run.err, IsEmpty());
  EXPECT_FALSE(fs::exists(out()));
  const Outcome nowhere = runVindrel({"align", photo("dark.png"), photo("bright.png"), "--dry-run"});
  EXPECT_EQ(nowhere.exitCode, 0);
  EXPECT_EQ(nowhere.out, run.out);
  const Outcome lost = runVindrel({"align", photo("dark.png"), photo("other.png"), "-n"});
  EXPECT_EQ(lost.exitCode, 3);
  EXPECT_THAT(lost.err, Not(HasSubstr("; ")));
}

TEST_F(AlignOptions, ADryRunSaysWhatWouldBeReplaced) {
  fs::create_directory(out());
  writeBytes(out("dark.png"), "precious");
  EXPECT_EQ(align({"dark.png", "bright.png"}, {"-n"}).exitCode, 5);
}

TEST_F(AlignOptions, VerboseTellsTheEvidenceTheCropAndTheTime) {
  const Outcome run = align({"dark.png", "bright.png"}, {"-v", "--threads", "2"});
  EXPECT_EQ(run.exitCode, 0) << run.err;
  EXPECT_THAT(run.out,
              testing::ContainsRegex("  brightness 2  expected error 0\\.[0-9]+ px  coverage [0-9]+ %  corners "
                                     "off by [0-9.]+ degrees  scale [01]\\.[0-9]+\n"));
  EXPECT_THAT(run.out, testing::ContainsRegex("\nmodel perspective  crop [0-9]+ x [0-9]+ at [0-9]+,[0-9]+ of 400 x "
                                              "300\n"));
  EXPECT_THAT(run.out, testing::ContainsRegex("\nseconds: reading [0-9.]+  estimating [0-9.]+  writing [0-9.]+  on 2 "
                                              "threads\n$"));
}

TEST_F(AlignOptions, VerdictsAreColouredOnATerminalOnly) {
  const std::string green = "\x1b[32maligned\x1b[0m", red = "\x1b[1;31mNOT ALIGNED\x1b[0m";
  const Outcome shown =
      align({"dark.png", "bright.png", "other.png"}, {"-n"}, {.outToTerminal = true, .environment = {"TERM=xterm"}});
  EXPECT_THAT(shown.out, AllOf(HasSubstr(green), HasSubstr(red + " (")));
  EXPECT_THAT(align({"dark.png", "bright.png"}, {"-n"}, {.environment = {"TERM=xterm"}}).out, Not(HasSubstr("\x1b")));
}

TEST_F(AlignOptions, VerdictsAreNotColouredWhereTheUserWantsNone) {
  for (const char *wish : {"NO_COLOR=1", "TERM=dumb"}) {
    const Outcome run =
        align({"dark.png", "bright.png"}, {"-n"}, {.outToTerminal = true, .environment = {"TERM=xterm", wish}});
    EXPECT_THAT(run.out, AllOf(HasSubstr("  aligned  "), Not(HasSubstr("\x1b")))) << wish;
  }
  const Outcome empty =
      align({"dark.png", "bright.png"}, {"-n"}, {.outToTerminal = true, .environment = {"TERM=xterm", "NO_COLOR="}});
  EXPECT_THAT(empty.out, HasSubstr("\x1b[32m"));
}

} // namespace
} // namespace vindrel::test
