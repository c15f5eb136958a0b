// vindrel simulate, alone and as the source of stacks whose alignment can be checked.
#include "Program.h"
#include "Scene.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <regex>

namespace vindrel::test {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class Simulate : public testing::Test {
protected:
  void SetUp() override { save(photo(), takePhoto(1, {.width = 500, .height = 400}, 3, 8)); }

  std::string photo() const { return folder_ / "photo.png"; }
  std::string out() const { return folder_ / "bracket"; }

  Outcome simulate(const std::vector<std::string> &options) {
    std::vector<std::string> arguments = {"simulate", photo(), "-o", out()};
    arguments.insert(arguments.end(), options.begin(), options.end());
    return runVindrel(arguments);
  }

  nlohmann::json truth() const { return nlohmann::json::parse(readBytes(out() + "/truth.json")); }

  TemporaryFolder folder_;
};

TEST_F(Simulate, WritesPngFramesAndTheirTruth) {
  const Outcome run = simulate({"--frames", "3", "--ev", "1.5", "--seed", "7", "--motion", "affine"});
  ASSERT_EQ(run.exitCode, 0) << run.err;
  EXPECT_THAT(run.err, IsEmpty());
  EXPECT_THAT(namesIn(out()), ElementsAre("frame_00.png", "frame_01.png", "frame_02.png", "truth.json"));
  const nlohmann::json json = truth();
  EXPECT_EQ(json.at("format"), "vindrel-truth");
  EXPECT_EQ(json.at("version"), 1);
  EXPECT_EQ(json.at("photo"), "photo.png");
  EXPECT_EQ(json.at("motion"), "affine");
  EXPECT_EQ(json.at("seed"), 7);
  EXPECT_EQ(json.at("evStep"), 1.5);
  ASSERT_EQ(json.at("frames").size(), 3u);
  std::vector<double> exposures;
  for (int i = 0; i < 3; ++i) {
    const nlohmann::json &frame = json.at("frames").at(static_cast<std::size_t>(i));
    const std::string name = "frame_0" + std::to_string(i) + ".png";
    EXPECT_EQ(frame.at("file"), name);
    EXPECT_EQ(frame.at("frameFromScene").size(), 9u);
    EXPECT_THAT(run.out, HasSubstr(name));
    exposures.push_back(frame.at("ev").get<double>());
    const Photo shot = load(out() + "/" + name);
    EXPECT_EQ(shot.width, json.at("width"));
    EXPECT_EQ(shot.height, json.at("height"));
    EXPECT_EQ(shot.channels, 3);
    EXPECT_EQ(shot.bits, 8);
  }
  EXPECT_THAT(exposures, testing::UnorderedElementsAre(-1.5, 0.0, 1.5));
}

TEST_F(Simulate, WritesTiffFramesOf16Bit) {
  ASSERT_EQ(simulate({"--frames", "2", "--depth", "16"}).exitCode, 0);
  EXPECT_THAT(namesIn(out()), ElementsAre("frame_00.tif", "frame_01.tif", "truth.json"));
  EXPECT_EQ(load(out() + "/frame_01.tif").bits, 16);
  EXPECT_EQ(truth().at("depth"), 16);
}

TEST_F(Simulate, GivesTheSameBytesForTheSameSeedAndOthersForAnother) {
  ASSERT_EQ(simulate({"--frames", "2", "--seed", "5"}).exitCode, 0);
  const std::string first = readBytes(out() + "/frame_01.png");
  ASSERT_EQ(simulate({"--frames", "2", "--seed", "5", "--overwrite"}).exitCode, 0);
  EXPECT_TRUE(readBytes(out() + "/frame_01.png") == first);
  ASSERT_EQ(simulate({"--frames", "2", "--seed", "6", "--overwrite"}).exitCode, 0);
  EXPECT_FALSE(readBytes(out() + "/frame_01.png") == first);
}

TEST_F(Simulate, ReducesThePhotographToTheWidthAskedFor) {
  ASSERT_EQ(simulate({"--frames", "1"}).exitCode, 0);
  const int whole = load(out() + "/frame_00.png").width;
  ASSERT_EQ(simulate({"--frames", "1", "--width", "250", "--overwrite"}).exitCode, 0);
  const int half = load(out() + "/frame_00.png").width;
  EXPECT_NEAR(half, whole / 2.0, 4);
  const Outcome larger = simulate({"--frames", "1", "--width", "501", "--overwrite"});
  EXPECT_EQ(larger.exitCode, 2);
  EXPECT_THAT(larger.err, HasSubstr("is 500 pixels wide"));
}

TEST_F(Simulate, RefusesAPhotographThatIsTooSmall) {
  save(photo(), takePhoto(1, {.width = 12, .height = 9}, 3, 8));
  const Outcome run = simulate({"--frames", "2"});
  EXPECT_EQ(run.exitCode, 2);
  EXPECT_THAT(run.err, HasSubstr("photo.png: "));
  EXPECT_FALSE(fs::exists(out()));
}

TEST_F(Simulate, QuietPrintsNothing) {
  const Outcome run = simulate({"--frames", "1", "-q"});
  EXPECT_EQ(run.exitCode, 0);
  EXPECT_THAT(run.out + run.err, IsEmpty());
}

double worstError(const Outcome &run) {
  std::smatch match;
  if (!std::regex_search(run.out, match, std::regex("worst corner error ([0-9.]+) px"))) return 1e9;
  return std::stod(match[1]);
}

// A bracket of a real photograph, from one end to the other.
struct Bracket {
  friend void PrintTo(const Bracket &bracket, std::ostream *out) { *out << bracket.motion; }

  const char *motion;
  const char *depth;
  const char *extension;
};

class RealPhotographs : public Simulate, public testing::WithParamInterface<Bracket> {};

TEST_P(RealPhotographs, AreAlignedWithinAPixelOfTheTruthByTheModelOfTheirMotion) {
  const fs::path folder = VINDREL_PHOTOGRAPHS;
  if (!fs::is_directory(folder)) GTEST_SKIP() << "no photographs in " << folder << ": lomiri-wallpapers-16.04";
  const std::string source = folder / "aitzgorri_by_Aitzol_Berasategi.jpg";
  const Outcome made = runVindrel({"simulate", source, "-o", out(), "--frames", "3", "--ev", "1", "--width", "1200",
                                   "--motion", GetParam().motion, "--depth", GetParam().depth, "--seed", "1"});
  ASSERT_EQ(made.exitCode, 0) << made.err;
  std::vector<std::string> arguments = {"align"};
  for (int i = 0; i < 3; ++i) {
    arguments.push_back(out() + "/frame_0" + std::to_string(i) + "." + GetParam().extension);
  }
  arguments.insert(arguments.end(), {"-o", folder_ / "aligned", "--truth", out() + "/truth.json", "--model",
                                     std::string(GetParam().motion) == "perspective" ? "perspective" : "affine"});
  const Outcome run = runVindrel(arguments);
  EXPECT_EQ(run.exitCode, 0) << run.out << run.err;
  EXPECT_LT(worstError(run), 1.0) << run.out;
  EXPECT_EQ(namesIn(folder_ / "aligned").size(), 3u);
}

INSTANTIATE_TEST_SUITE_P(Motions, RealPhotographs,
                         testing::Values(Bracket{"shift", "8", "png"}, Bracket{"affine", "16", "tif"},
                                         Bracket{"perspective", "8", "png"}),
                         [](const auto &kind) { return std::string(kind.param.motion); });

} // namespace
} // namespace vindrel::test
