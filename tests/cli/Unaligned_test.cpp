// Stacks that invite a wrong transform, from file to file: the frame is not passed off as aligned, the reason is told
// to people and to programs, and its file becomes what --on-unaligned says.
#include "Program.h"
#include "Scene.h"
#include "support/VerdictScenes.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

namespace vindrel::test {
namespace {

using nlohmann::json;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class UnalignedFrames : public testing::Test {
protected:
  std::string file(const std::string &name) const { return folder_ / name; }
  std::string out(const std::string &name = "") const { return (folder_.path() / "out" / name).string(); }

  void saveFrames(const VerdictFrames &frames) const {
    const char *const names[] = {"a.png", "b.png"};
    for (std::size_t i = 0; i < 2; ++i) {
      const Image<std::uint8_t> &frame = frames[i];
      save(file(names[i]), {frame.size.width, frame.size.height, 3, 8, {frame.samples.begin(), frame.samples.end()}});
    }
  }

  Outcome align(const std::vector<std::string> &options) const {
    std::vector<std::string> arguments = {"align", file("a.png"), file("b.png"), "-o", out(), "--threads", "1"};
    arguments.insert(arguments.end(), options.begin(), options.end());
    return runVindrel(arguments);
  }

  TemporaryFolder folder_;
};

struct Trap {
  friend void PrintTo(const Trap &trap, std::ostream *out) { *out << trap.name; }

  const char *name;
  VerdictFrames (*frames)();
  const char *reason;
};

constexpr const char *kContested = "parts of the picture lie elsewhere, or it repeats itself";

class Unaligned : public UnalignedFrames, public testing::WithParamInterface<Trap> {
protected:
  void SetUp() override { saveFrames(GetParam().frames()); }

  static std::string reason() { return GetParam().reason; }

  // The document of a run, once it has been seen to say that the second frame is not aligned, and why.
  json judged(const Outcome &run) const {
    EXPECT_EQ(run.exitCode, 3);
    const json document = json::parse(run.out);
    EXPECT_EQ(document.at("exitCode"), 3);
    EXPECT_EQ(document.at("frames").at(0).at("verdict"), "reference");
    EXPECT_EQ(document.at("frames").at(1).at("verdict"), "not aligned");
    EXPECT_EQ(document.at("frames").at(1).at("reason"), reason());
    EXPECT_THAT(document.at("warnings"), ElementsAre(HasSubstr("b.png: could not be aligned: " + reason() + "; ")));
    return document;
  }
};

TEST_P(Unaligned, IsWrittenAsItWasLeftByDefault) {
  const Outcome run = align({});
  EXPECT_EQ(run.exitCode, 3);
  EXPECT_THAT(run.out, AllOf(HasSubstr("a.png  reference\n"), HasSubstr("b.png  NOT ALIGNED (" + reason() + ")  ")));
  EXPECT_EQ(run.err, "vindrel: " + file("b.png") + ": could not be aligned: " + reason() + "; " + out("b.png") +
                         " may not lie on the others\n");
  EXPECT_EQ(load(out("b.png")).width, load(out("a.png")).width);
}

TEST_P(Unaligned, IsWrittenWhereItWasWhenKept) {
  const json document = judged(align({"--on-unaligned", "keep", "--json"}));
  EXPECT_EQ(document.at("frames").at(1).at("output"), out("b.png"));
  EXPECT_EQ(document.at("frames").at(1).at("frameFromReference"), json({1, 0, 0, 0, 1, 0, 0, 0, 1}));
  const std::vector<int> place = {document.at("crop").at("x"), document.at("crop").at("y")};
  for (const char *name : {"a.png", "b.png"})
    EXPECT_EQ(placeIn(load(file(name)), load(out(name))), place) << name;
}

TEST_P(Unaligned, IsLeftOutWhenDropped) {
  const json document = judged(align({"--on-unaligned", "drop", "--json"}));
  EXPECT_EQ(document.at("frames").at(1).at("output"), nullptr);
  EXPECT_THAT(namesIn(out()), ElementsAre("a.png"));
}

TEST_P(Unaligned, KeepsAllFromBeingWrittenWhenItFailsTheRun) {
  const json document = judged(align({"--on-unaligned", "fail", "--json"}));
  EXPECT_EQ(document.at("written"), false);
  EXPECT_EQ(document.at("frames").at(0).at("output"), nullptr);
  EXPECT_FALSE(std::filesystem::exists(out()));
}

INSTANTIATE_TEST_SUITE_P(Frames, Unaligned,
                         testing::Values(Trap{"TooDark", [] { return darkFrames(0.02); }, "too few matching points"},
                                         Trap{"OfAFacadeThatRepeatsItself", [] { return facadeFrames(40, 56, 18); },
                                              kContested},
                                         Trap{"OfAnotherScene", [] { return unrelatedFrames(1); },
                                              "the matching points agree on no transform"},
                                         Trap{"WhereALargeSubjectMoved",
                                              [] {
                                                return movedSubjectFrames({300, 260}, 20, 5);
                                              },
                                              kContested}),
                         [](const auto &trap) { return std::string(trap.param.name); });

// The same scenes, as far as they can be aligned: nothing is turned down out of hand.
class Aligned : public UnalignedFrames {
protected:
  void expectFound(const VerdictFrames &frames) {
    saveFrames(frames);
    const Outcome run = align({"-n", "--json"});
    EXPECT_EQ(run.exitCode, 0) << run.err;
    EXPECT_THAT(run.err, IsEmpty());
    const json frame = json::parse(run.out).at("frames").at(1);
    EXPECT_EQ(frame.at("verdict"), "aligned");
    EXPECT_NEAR(frame.at("frameFromReference").at(2), -14, 0.5);
    EXPECT_NEAR(frame.at("frameFromReference").at(5), 9, 0.5);
  }
};

TEST_F(Aligned, IsADarkFrameThatStillShowsTheScene) {
  expectFound(darkFrames(0.2));
}

TEST_F(Aligned, IsTheBackgroundOfASmallSubjectThatMoved) {
  expectFound(movedSubjectFrames({120, 160}, 20, 5));
}

} // namespace
} // namespace vindrel::test
