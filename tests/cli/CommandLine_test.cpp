// What the parser takes and refuses: every misuse ends with exit code 2 and a message that names the option.
#include "Program.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace vindrel::test {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;

struct Misuse {
  friend void PrintTo(const Misuse &misuse, std::ostream *out) { *out << testing::PrintToString(misuse.arguments); }

  std::vector<std::string> arguments;
  std::string named; // what the message must name
};

class CommandLineMisuse : public testing::TestWithParam<Misuse> {};

TEST_P(CommandLineMisuse, EndsWithExitCode2AndNamesWhatIsWrong) {
  const Outcome run = runVindrel(GetParam().arguments);
  EXPECT_EQ(run.exitCode, 2);
  EXPECT_THAT(run.err, HasSubstr(GetParam().named));
  EXPECT_THAT(run.out, IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(
    Options, CommandLineMisuse,
    testing::Values(Misuse{{}, "Usage: vindrel"}, Misuse{{"merge"}, "merge: no such command"},
                    Misuse{{"--verbose"}, "--verbose"}, Misuse{{"align"}, "PHOTO"},
                    Misuse{{"align", "a.jpg"}, "--output"}, Misuse{{"align", "-o", "out"}, "PHOTO"},
                    Misuse{{"align", "a.jpg", "-o", "out", "--model", "spin"}, "--model"},
                    Misuse{{"align", "a.jpg", "-o", "out", "--crop", "all"}, "--crop"},
                    Misuse{{"align", "a.jpg", "-o", "out", "--threads", "0"}, "--threads"},
                    Misuse{{"align", "a.jpg", "-o", "out", "--threads", "1025"}, "--threads"},
                    Misuse{{"align", "a.jpg", "-o", "out", "--threads", "two"}, "--threads"},
                    Misuse{{"align", "a.jpg", "-o", "out", "--max-shift", "0"}, "--max-shift"},
                    Misuse{{"align", "a.jpg", "-o", "out", "--max-shift", "-5"}, "--max-shift"},
                    Misuse{{"align", "a.jpg", "-o", "out", "--max-shift", "10,"}, "--max-shift"},
                    Misuse{{"align", "a.jpg", "-o", "out", "--max-shift", "10,20,30"}, "--max-shift"},
                    Misuse{{"align", "a.jpg", "-o", "out", "--max-shift", "99999999999"}, "--max-shift"},
                    Misuse{{"align", "a.jpg", "-o", "out", "--sharpen"}, "--sharpen"},
                    Misuse{{"align", "a.jpg", "-o", "out", "--name", "{stem}/{ext}"}, "--name"},
                    Misuse{{"align", "a.jpg", "-o", "out", "--name", "{date}.jpg"}, "{date}"},
                    Misuse{{"align", "a.jpg", "-o", "out", "--name", "{stem.jpg"}, "--name"},
                    Misuse{{"align", "a.jpg", "-o", "out", "--name", ""}, "--name"},
                    Misuse{{"align", "a.jpg", "-o", "out", "--filter", "box"}, "--filter"},
                    Misuse{{"align", "a.jpg", "-o", "out", "--reference", "darkest"}, "--reference"},
                    Misuse{{"align", "a.jpg", "-o", "out", "--reference", "0"}, "--reference"},
                    Misuse{{"align", "a.jpg", "-o", "out", "--on-unaligned", "pray"}, "--on-unaligned"},
                    Misuse{{"align", "a.jpg", "-o", "out", "-q", "-v"}, "--verbose"},
                    Misuse{{"apply", "a.jpg", "-o", "out"}, "--transforms"},
                    Misuse{{"apply", "a.jpg", "--transforms", "t.json"}, "--output"},
                    Misuse{{"apply", "-o", "out", "--transforms", "t.json"}, "IMAGE"},
                    Misuse{{"apply", "a.jpg", "-o", "out", "--transforms", "t.json", "--frame", "0"}, "--frame"},
                    Misuse{{"apply", "a.jpg", "-o", "out", "--transforms", "t.json", "--filter", "x"}, "--filter"},
                    Misuse{{"simulate", "a.jpg", "-o", "out"}, "--frames"},
                    Misuse{{"simulate", "a.jpg", "--frames", "3"}, "--output"},
                    Misuse{{"simulate", "-o", "out", "--frames", "3"}, "PHOTO"},
                    Misuse{{"simulate", "a.jpg", "-o", "out", "--frames", "0"}, "--frames"},
                    Misuse{{"simulate", "a.jpg", "-o", "out", "--frames", "100"}, "--frames"},
                    Misuse{{"simulate", "a.jpg", "-o", "out", "--frames", "3", "--ev", "-1"}, "--ev"},
                    Misuse{{"simulate", "a.jpg", "-o", "out", "--frames", "3", "--ev", "nan"}, "--ev"},
                    Misuse{{"simulate", "a.jpg", "-o", "out", "--frames", "3", "--motion", "spin"}, "--motion"},
                    Misuse{{"simulate", "a.jpg", "-o", "out", "--frames", "3", "--seed", "-1"}, "--seed"},
                    Misuse{{"simulate", "a.jpg", "-o", "out", "--frames", "3", "--depth", "12"}, "--depth"},
                    Misuse{{"simulate", "a.jpg", "-o", "out", "--frames", "3", "--width", "0"}, "--width"},
                    Misuse{{"simulate", "a.jpg", "b.jpg", "-o", "out", "--frames", "3"}, "b.jpg"},
                    Misuse{{"straighten"}, "PHOTO"}, Misuse{{"straighten", "a.jpg"}, "--output"},
                    Misuse{{"straighten", "a.jpg", "-o", "b.jpg", "--vertical", "steep"}, "--vertical"},
                    Misuse{{"straighten", "a.jpg", "-o", "b.jpg", "--horizontal", "nan"}, "--horizontal"},
                    Misuse{{"straighten", "a.jpg", "-o", "b.jpg", "--rotate", "nan"}, "--rotate"},
                    Misuse{{"straighten", "a.jpg", "-o", "b.jpg", "--crop", "half"}, "--crop"},
                    Misuse{{"straighten", "a.jpg", "-o", "b.jpg", "--threads", "0"}, "--threads"}));

TEST(CommandLine, AMistakeIsToldInOneLineThatSaysWhereToReadOn) {
  EXPECT_EQ(runVindrel({"align", "a.jpg"}).err,
            "vindrel: --output is required; `vindrel align --help` says what it takes\n");
  EXPECT_EQ(runVindrel({"straighten", "a.jpg", "-o", "b.jpg", "--sharpen"}).err,
            "vindrel: The following argument was not expected: --sharpen; `vindrel straighten --help` says what it "
            "takes\n");
  EXPECT_EQ(runVindrel({"--verbose", "align", "a.jpg"}).err,
            "vindrel: --verbose: no such option; `vindrel --help` says what it takes\n");
}

TEST(CommandLine, VersionGoesToStandardOutput) {
  const Outcome run = runVindrel({"--version"}, {.freshProcess = true});
  EXPECT_EQ(run.exitCode, 0);
  EXPECT_THAT(run.out, testing::MatchesRegex("vindrel [0-9]+\\.[0-9]+\\.[0-9]+\n"));
  EXPECT_THAT(run.err, IsEmpty());
}

TEST(CommandLine, HelpListsTheCommandsAndTheExitCodes) {
  const Outcome run = runVindrel({"--help"}, {.freshProcess = true});
  EXPECT_EQ(run.exitCode, 0);
  for (const char *text : {"align", "apply", "simulate", "straighten", "--version", "Exit codes:"})
    EXPECT_THAT(run.out, HasSubstr(text));
  EXPECT_THAT(run.err, IsEmpty());
}

TEST(CommandLine, HelpOfACommandNamesEachOfItsOptions) {
  const Outcome align = runVindrel({"align", "--help"});
  EXPECT_EQ(align.exitCode, 0);
  for (const char *option :
       {"--output", "--name", "--model", "--reference", "--max-shift", "--threads", "--crop", "--filter",
        "--on-unaligned", "--truth", "--dry-run", "--overwrite", "--quiet", "--no-progress", "--verbose", "--json"}) {
    EXPECT_THAT(align.out, HasSubstr(option));
  }
  const Outcome apply = runVindrel({"apply", "--help"});
  EXPECT_EQ(apply.exitCode, 0);
  for (const char *option : {"--transforms", "--output", "--name", "--frame", "--crop", "--filter", "--threads",
                             "--overwrite", "--quiet", "--no-progress", "--json"}) {
    EXPECT_THAT(apply.out, HasSubstr(option));
  }
  const Outcome simulate = runVindrel({"simulate", "--help"});
  EXPECT_EQ(simulate.exitCode, 0);
  for (const char *option : {"--output", "--frames", "--ev", "--motion", "--seed", "--depth", "--width", "--overwrite",
                             "--quiet", "--no-progress", "--json"}) {
    EXPECT_THAT(simulate.out, HasSubstr(option));
  }
  const Outcome straighten = runVindrel({"straighten", "--help"});
  EXPECT_EQ(straighten.exitCode, 0);
  for (const char *option : {"--output", "--vertical", "--horizontal", "--rotate", "--crop", "--pin-to-edge",
                             "--threads", "--overwrite", "--quiet", "--no-progress", "--json"}) {
    EXPECT_THAT(straighten.out, HasSubstr(option));
  }
}

TEST(CommandLine, HelpFitsATerminalOf100Columns) {
  for (const std::vector<std::string> &arguments : {std::vector<std::string>{"--help"},
                                                    {"align", "--help"},
                                                    {"apply", "--help"},
                                                    {"simulate", "--help"},
                                                    {"straighten", "--help"}}) {
    const std::string text = runVindrel(arguments).out;
    for (std::size_t begin = 0; begin < text.size();) {
      const std::size_t end = std::min(text.find('\n', begin), text.size());
      EXPECT_LE(end - begin, 100u) << text.substr(begin, end - begin);
      begin = end + 1;
    }
  }
}

} // namespace
} // namespace vindrel::test
