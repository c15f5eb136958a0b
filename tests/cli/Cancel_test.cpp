// Interrupted runs, at each step of the work, and the progress bar that shows which step that is.
#include "Program.h"
#include "Scene.h"

#include <csignal>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace vindrel::test {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

// Frames large enough that every step takes a while.
class Cancel : public testing::Test {
protected:
  static void SetUpTestSuite() {
    folder_ = std::make_unique<TemporaryFolder>();
    const View view{.width = 1400, .height = 1000};
    for (int i = 0; i < 3; ++i) {
      View moved = view;
      moved.left = 5 * i;
      moved.exposure = 1.0 / (i + 1);
      save(file(i), takePhoto(1, moved, 3, 16));
    }
  }
  static void TearDownTestSuite() { folder_.reset(); }

  static std::string file(int i) { return *folder_ / ("frame" + std::to_string(i) + ".png"); }

  // Sends `signal` once, as soon as the progress bar shows `step`.
  static Outcome cancelAt(const std::string &step, int signal, std::vector<std::string> arguments) {
    bool sent = false;
    const Outcome run = runVindrel(arguments, {.onTerminal = [&](const std::string &errors, int pid) {
                                     if (sent || errors.find(step) == std::string::npos) return;
                                     kill(pid, signal);
                                     sent = true;
                                   }});
    EXPECT_TRUE(sent) << "the bar never showed \"" << step << "\": " << run.err;
    return run;
  }

  static std::unique_ptr<TemporaryFolder> folder_;
};

std::unique_ptr<TemporaryFolder> Cancel::folder_;

struct Interruption {
  const char *step;
  int signal;
};

class CancelAlign : public Cancel, public testing::WithParamInterface<Interruption> {};

TEST_P(CancelAlign, EndsWithExitCode1AndLeavesNothing) {
  const std::string out = *folder_ / "out";
  const Outcome run =
      cancelAt(GetParam().step, GetParam().signal, {"align", file(0), file(1), file(2), "-o", out, "--threads", "2"});
  EXPECT_EQ(run.exitCode, 1);
  EXPECT_THAT(run.err, HasSubstr("vindrel: cancelled"));
  EXPECT_THAT(run.out, IsEmpty());
  EXPECT_FALSE(std::filesystem::exists(out)) << testing::PrintToString(namesIn(out));
}

INSTANTIATE_TEST_SUITE_P(Steps, CancelAlign,
                         testing::Values(Interruption{"reading", SIGINT}, Interruption{"aligning", SIGINT},
                                         Interruption{"writing", SIGINT}, Interruption{"aligning", SIGTERM},
                                         Interruption{"aligning", SIGHUP}),
                         [](const auto &kind) {
                           return std::string(kind.param.step) + (kind.param.signal == SIGINT    ? "Interrupt"
                                                                  : kind.param.signal == SIGTERM ? "Terminate"
                                                                                                 : "HangUp");
                         });

TEST_F(Cancel, LeavesAnOutputOfAnEarlierRunAsItWas) {
  const std::string out = *folder_ / "earlier";
  std::filesystem::create_directory(out);
  writeBytes(out + "/frame0.png", "earlier");
  const Outcome run = cancelAt("writing", SIGINT, {"align", file(0), file(1), file(2), "-o", out, "--overwrite"});
  EXPECT_EQ(run.exitCode, 1);
  EXPECT_THAT(namesIn(out), ElementsAre("frame0.png"));
  EXPECT_EQ(readBytes(out + "/frame0.png"), "earlier");
}

TEST_F(Cancel, EndsSimulateWithNothingLeft) {
  const std::string out = *folder_ / "bracket";
  const Outcome run = cancelAt("taking frames", SIGINT, {"simulate", file(0), "-o", out, "--frames", "9"});
  EXPECT_EQ(run.exitCode, 1);
  EXPECT_THAT(run.err, HasSubstr("vindrel: cancelled"));
  EXPECT_FALSE(std::filesystem::exists(out));
}

class ProgressBar : public Cancel {
protected:
  static std::string errorsOnTerminal(const std::vector<std::string> &options) {
    const TemporaryFolder out;
    std::vector<std::string> arguments = {"simulate", file(0), "-o",      out / "bracket",
                                          "--frames", "1",     "--width", "400"};
    arguments.insert(arguments.end(), options.begin(), options.end());
    const Outcome run = runVindrel(arguments, {.onTerminal = [](const std::string &, int) {}});
    EXPECT_EQ(run.exitCode, 0);
    return run.err;
  }
};

TEST_F(ProgressBar, IsDrawnOnATerminalAndWipedInTheEnd) {
  const std::string errors = errorsOnTerminal({});
  EXPECT_THAT(errors, AllOf(HasSubstr("["), HasSubstr(" %  reading"), Not(HasSubstr("\n"))));
  EXPECT_THAT(errors, testing::EndsWith(" \r"));
}

TEST_F(ProgressBar, IsNotDrawnWhenNotWanted) {
  EXPECT_THAT(errorsOnTerminal({"--no-progress"}), IsEmpty());
  EXPECT_THAT(errorsOnTerminal({"--quiet"}), IsEmpty());
}

TEST_F(ProgressBar, IsNotDrawnIntoAFile) {
  const TemporaryFolder out;
  const Outcome run = runVindrel({"simulate", file(0), "-o", out / "bracket", "--frames", "1", "--width", "400"});
  EXPECT_EQ(run.exitCode, 0);
  EXPECT_THAT(run.err, IsEmpty());
}

} // namespace
} // namespace vindrel::test
