// truth.json: what is written is read back to the last bit, and what is wrong is named.
#include "Failure.h"
#include "Program.h"
#include "TruthFile.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace vindrel::test {
namespace {

using testing::HasSubstr;

cli::TruthFile example() {
  cli::TruthFile truth;
  truth.frameSize = {571, 444};
  truth.photo = "wall.jpg";
  truth.motion = "perspective";
  truth.seed = 0xFFFFFFFFFFFFFFFF;
  truth.evStep = 0.7;
  truth.depth = 16;
  truth.frames.push_back({"frame_00.tif", -0.7, {1.0 / 3, 0.1, -7.7, -0.01, 1.1, 1e-17, 1e-6, -3e-7, 1}});
  return truth;
}

std::string failureOf(const std::string &text) {
  const TemporaryFolder folder;
  writeBytes(folder / "truth.json", text);
  try {
    cli::readTruth(folder / "truth.json");
  } catch (const cli::Failure &failure) {
    EXPECT_EQ(failure.code, cli::ExitCode::Unreadable);
    EXPECT_THAT(failure.what(), HasSubstr("truth.json: "));
    return failure.what();
  }
  return "";
}

std::string replaced(std::string text, const std::string &from, const std::string &to) {
  const std::size_t at = text.find(from);
  EXPECT_NE(at, std::string::npos) << from;
  return at == std::string::npos ? text : text.replace(at, from.size(), to);
}

TEST(TruthFile, ComesBackAsItWasWritten) {
  const TemporaryFolder folder;
  const cli::TruthFile truth = example();
  writeBytes(folder / "truth.json", toJson(truth));
  const cli::TruthFile read = cli::readTruth(folder / "truth.json");
  EXPECT_EQ(read.frameSize, truth.frameSize);
  EXPECT_EQ(read.photo, truth.photo);
  EXPECT_EQ(read.motion, truth.motion);
  EXPECT_EQ(read.seed, truth.seed);
  EXPECT_EQ(read.evStep, truth.evStep);
  EXPECT_EQ(read.depth, truth.depth);
  ASSERT_EQ(read.frames.size(), 1u);
  EXPECT_EQ(read.frames[0].file, truth.frames[0].file);
  EXPECT_EQ(read.frames[0].ev, truth.frames[0].ev);
  EXPECT_EQ(read.frames[0].frameFromScene, truth.frames[0].frameFromScene);
}

TEST(TruthFile, FindsFramesByTheirNameWhateverTheFolder) {
  const cli::TruthFile truth = example();
  EXPECT_EQ(truth.find("some/where/frame_00.tif"), &truth.frames[0]);
  EXPECT_EQ(truth.find("frame_01.tif"), nullptr);
}

TEST(TruthFile, ThatIsMissingIsNamed) {
  const TemporaryFolder folder;
  EXPECT_THROW(cli::readTruth(folder / "none.json"), cli::Failure);
  EXPECT_THROW(cli::readTruth(folder.path()), cli::Failure);
}

TEST(TruthFile, ThatIsNotJsonIsRefusedWithThePlaceOfTheMistake) {
  EXPECT_THAT(failureOf("{\"format\": "), HasSubstr("not valid JSON, at byte"));
  EXPECT_THAT(failureOf(""), HasSubstr("not valid JSON"));
}

TEST(TruthFile, ThatIsOtherJsonIsRefused) {
  EXPECT_THAT(failureOf("[1, 2]"), HasSubstr("is not a vindrel-truth file"));
  EXPECT_THAT(failureOf("{\"format\": \"else\"}"), HasSubstr("is not a vindrel-truth file"));
  EXPECT_NE(failureOf("{\"format\": 7}"), "");
}

TEST(TruthFile, OfALaterVersionIsRefused) {
  EXPECT_THAT(failureOf(replaced(toJson(example()), "\"version\": 1", "\"version\": 2")), HasSubstr("version 2"));
}

TEST(TruthFile, WithAMatrixOfEightNumbersIsRefused) {
  EXPECT_THAT(failureOf(replaced(toJson(example()), ",\n        1.0\n", "\n")), HasSubstr("9 numbers"));
}

TEST(TruthFile, WithAMatrixOfNoInverseIsRefused) {
  cli::TruthFile truth = example();
  truth.frames[0].frameFromScene = {1, 2, 3, 2, 4, 6, 0, 0, 1};
  EXPECT_THAT(failureOf(toJson(truth)), HasSubstr("has no inverse"));
}

} // namespace
} // namespace vindrel::test
