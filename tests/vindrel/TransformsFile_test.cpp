// Saved transforms: what comes back, and what is refused and how. That files fit the schema, and that other programs
// read the exports, is tested by tests/vindrel/readers.py on the files that writeTransforms.cpp makes.
#include "vindrel/Stacks.h"

#include "support/FailingAllocation.h"

#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <iterator>
#include <limits>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace vindrel::test {
namespace {

using ::testing::HasSubstr;

TransformsFile sample() {
  TransformsFile file;
  file.estimate.model = Model::Perspective;
  file.estimate.frameSize = {600, 400};
  file.estimate.reference = 1;
  file.estimate.common = {-3, 5, 580, 390};
  file.estimate.modelScores = {{Model::Shift, 1e9}, {Model::Affine, 3.25}, {Model::Perspective, 1.0 / 3}};
  file.estimate.frames.resize(3);
  file.estimate.frames[0] = {
      .verdict = Verdict::Found,
      .rank = 1,
      .frameFromReference = {{1.0009765625, 0.1 / 3, 4.125, -1e-17, 0.99, -2.5, 1.2e-7, -3e-8, 1}},
      .pairs = 120,
      .inliers = 100,
      .rms = 0.7071067811865476,
      .coverage = 0.640625,
      .expectedError = 0.12345678901234567,
      .cornerDeviation = 0.25,
      .scale = 0.995};
  file.estimate.frames[1].verdict = Verdict::Reference;
  file.estimate.frames[2] = {.verdict = Verdict::NotFound,
                             .reason = "too few points agree",
                             .dropped = true,
                             .rank = 2,
                             .expectedError = std::numeric_limits<double>::infinity()};
  file.names = {"first \"quoted\" \\ name.jpg", "zwei\xC3\xA4.tif", ""};
  file.threads = 4;
  return file;
}

bool same(const TransformsFile &a, const TransformsFile &b) {
  const StackEstimate &x = a.estimate, &y = b.estimate;
  if (a.names != b.names || a.threads != b.threads || x.model != y.model || x.frameSize != y.frameSize ||
      x.reference != y.reference || x.common != y.common || x.frames.size() != y.frames.size() ||
      x.modelScores.size() != y.modelScores.size()) {
    return false;
  }
  for (std::size_t i = 0; i < x.modelScores.size(); ++i)
    if (x.modelScores[i].model != y.modelScores[i].model || x.modelScores[i].criterion != y.modelScores[i].criterion)
      return false;
  for (std::size_t i = 0; i < x.frames.size(); ++i) {
    const FrameEstimate &f = x.frames[i], &g = y.frames[i];
    if (f.verdict != g.verdict || f.reason != g.reason || f.dropped != g.dropped || f.rank != g.rank ||
        std::memcmp(f.frameFromReference.matrix.data(), g.frameFromReference.matrix.data(), 9 * sizeof(double)) != 0 ||
        f.pairs != g.pairs || f.inliers != g.inliers || f.rms != g.rms || f.coverage != g.coverage ||
        f.expectedError != g.expectedError || f.cornerDeviation != g.cornerDeviation || f.scale != g.scale) {
      return false;
    }
  }
  return true;
}

class Folder : public ::testing::Test {
protected:
  Folder() {
    char name[] = "/tmp/vindrel_transforms_XXXXXX";
    path = mkdtemp(name);
  }
  ~Folder() override { std::filesystem::remove_all(path); }
  std::filesystem::path path;
};

TEST_F(Folder, GivesBackEveryFieldAndEveryBitOfWhatWasSaved) {
  const TransformsFile saved = sample();
  ASSERT_TRUE(saveTransforms(saved, path / "t.json"));
  const Result<TransformsFile> loaded = loadTransforms(path / "t.json");
  ASSERT_TRUE(loaded) << loaded.error().message;
  EXPECT_TRUE(same(saved, *loaded));
  EXPECT_EQ(loaded->libraryVersion, version());
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(path), {}), 1) << "something else is left there";
}

TEST_F(Folder, GivesBackAnEstimateThatWarpsToTheSameBytes) {
  const StackBlock stack =
      makeStack({500, 400}, {.frames = 2, .evStep = 0.5, .motion = Motion::Perspective, .seed = 9});
  const StackEstimate estimate = estimateStack(framesOf(stack), {.maxShiftX = 40, .maxShiftY = 40}).value();
  ASSERT_TRUE(saveTransforms({.estimate = estimate, .names = {"a", "b"}}, path / "t.json"));
  const StackEstimate loaded = loadTransforms(path / "t.json").value().estimate;
  Image<std::uint8_t> before(estimate.common.size(), 3), after(loaded.common.size(), 3);
  for (int i = 0; i < 2; ++i) {
    ASSERT_TRUE(warpFrame(estimate, i, stack.frame(i), before.view()));
    ASSERT_TRUE(warpFrame(loaded, i, stack.frame(i), after.view()));
    EXPECT_EQ(before.samples, after.samples);
  }
}

TEST_F(Folder, NamesTheFileThatCannotBeReadOrWritten) {
  const auto missing = loadTransforms(path / "none.json");
  EXPECT_EQ(missing.error().code, ErrorCode::FileSystem);
  EXPECT_THAT(missing.error().message, HasSubstr("none.json: cannot be opened: No such file"));
  const auto folder = loadTransforms(path);
  EXPECT_EQ(folder.error().code, ErrorCode::FileSystem);
  EXPECT_THAT(folder.error().message, HasSubstr("cannot be read"));
  const auto unwritable = saveTransforms(sample(), path / "no" / "t.json");
  EXPECT_EQ(unwritable.error().code, ErrorCode::FileSystem);
  EXPECT_THAT(unwritable.error().message, HasSubstr("t.json: cannot be written: No such file"));
  std::ofstream(path / "bad.json") << "{";
  const auto bad = loadTransforms(path / "bad.json");
  EXPECT_EQ(bad.error().code, ErrorCode::BadFile);
  EXPECT_THAT(bad.error().message, HasSubstr("bad.json: is no JSON: mistake at line 1, column 2"));
}

TEST_F(Folder, KeepsWhatWasThereWhenTheDiskIsFull) {
  const std::filesystem::path target = path / "t.json";
  ASSERT_TRUE(saveTransforms(sample(), target));
  TransformsFile other = sample();
  other.threads = 7;
  rlimit usual = {};
  ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &usual), 0);
  rlimit small = usual;
  small.rlim_cur = 100; // bytes
  const auto usualHandler = std::signal(SIGXFSZ, SIG_IGN);
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
  const auto result = saveTransforms(other, target);
  setrlimit(RLIMIT_FSIZE, &usual);
  std::signal(SIGXFSZ, usualHandler);
  ASSERT_FALSE(result);
  EXPECT_EQ(result.error().code, ErrorCode::FileSystem);
  EXPECT_THAT(result.error().message, HasSubstr("t.json: cannot be written: File too large"));
  EXPECT_EQ(loadTransforms(target).value().threads, 4);
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(path), {}), 1) << "something else is left there";
}

TEST_F(Folder, LeavesFilesThatAreCalledAsItsOwnWouldBeWhileItWrites) {
  for (const char *name : {"t.json.part", "t.json.0.part"})
    std::ofstream(path / name) << "mine";
  ASSERT_TRUE(saveTransforms(sample(), path / "t.json"));
  for (const char *name : {"t.json.part", "t.json.0.part"}) {
    std::string text;
    std::ifstream(path / name) >> text;
    EXPECT_EQ(text, "mine") << name;
  }
}

TEST_F(Folder, IsNotSavedInThePlaceOfADeviceAPipeOrAFolder) {
  std::filesystem::create_directory(path / "folder");
  ASSERT_EQ(mkfifo((path / "pipe").c_str(), 0600), 0);
  std::filesystem::create_symlink("/dev/null", path / "null");
  for (const char *name : {"folder", "pipe", "null"}) {
    const auto result = saveTransforms(sample(), path / name);
    ASSERT_FALSE(result) << name;
    EXPECT_EQ(result.error().code, ErrorCode::FileSystem);
    EXPECT_THAT(result.error().message, HasSubstr("is a folder, a device or a pipe; give the name of a file"));
    EXPECT_FALSE(std::filesystem::is_regular_file(path / name)) << name;
  }
}

// The text of the sample with one part of it replaced.
std::string changed(const std::string &from, const std::string &to) {
  std::string text = toJson(sample()).value();
  const std::size_t at = text.find(from);
  EXPECT_NE(at, std::string::npos) << from;
  return text.replace(at, from.size(), to);
}

std::string refusal(const std::string &text) {
  const Result<TransformsFile> result = fromJson(text);
  EXPECT_FALSE(result) << text.substr(0, 200);
  if (result) return {};
  EXPECT_EQ(result.error().code, ErrorCode::BadFile);
  return result.error().message;
}

TEST(FromJson, SaysWhatIsWrongAndWhere) {
  EXPECT_THAT(refusal(""), HasSubstr("is no JSON"));
  EXPECT_THAT(refusal("[1, 2]"), HasSubstr("the file: must be an object"));
  EXPECT_THAT(refusal("{}"), HasSubstr("the file: lacks the field \"format\""));
  EXPECT_THAT(refusal("{\n  \"format\": nonsense"), HasSubstr("mistake at line 2, column 14"));
  EXPECT_THAT(refusal(changed("\"vindrel-transforms\"", "\"other\"")),
              HasSubstr("format: must be \"vindrel-transforms\""));
  EXPECT_THAT(refusal(changed("\"version\": 1", "\"version\": 2")), HasSubstr("version: is 2, but this library knows"));
  EXPECT_THAT(refusal(changed("\"version\": 1", "\"version\": 1.5")), HasSubstr("version: must be a whole number"));
  EXPECT_THAT(refusal(changed("\"version\": 1,", "")), HasSubstr("lacks the field \"version\""));
  EXPECT_THAT(refusal(changed("frameFromReference", "referenceFromFrame")), HasSubstr("direction: must be"));
  EXPECT_THAT(refusal(changed("samples-at-integers", "samples-at-halves")), HasSubstr("pixelConvention: must be"));
  EXPECT_THAT(refusal(changed("\"model\": \"perspective\"", "\"model\": \"bent\"")), HasSubstr("model: is not one"));
  EXPECT_THAT(refusal(changed("\"model\": \"perspective\"", "\"model\": \"shift\"")),
              HasSubstr("frames[0].matrix: must shift by whole pixels"));
  EXPECT_THAT(refusal(changed("\"model\": \"perspective\"", "\"model\": \"affine\"")),
              HasSubstr("frames[0].matrix: must have a last row"));
  EXPECT_THAT(refusal(changed("\"threads\": 4", "\"threads\": 0")), HasSubstr("threads: must be 1 to 1024"));
  EXPECT_THAT(refusal(changed("\"reference\": 1", "\"reference\": 3")), HasSubstr("reference: must be the index"));
  EXPECT_THAT(refusal(changed("\"reference\": 1", "\"reference\": 0")), HasSubstr("frames[0].verdict"));
  EXPECT_THAT(refusal(changed("\"width\": 600", "\"width\": -600")), HasSubstr("frameSize: width and height"));
  EXPECT_THAT(refusal(changed("\"width\": 600", "\"width\": 1e300")), HasSubstr("frameSize.width: must be a whole"));
  EXPECT_THAT(refusal(changed("\"width\": 580", "\"width\": 601")), HasSubstr("crop: width and height"));
  EXPECT_THAT(refusal(changed("\"x\": -3", "\"x\": 2000000000")), HasSubstr("crop: x and y"));
  EXPECT_THAT(refusal(changed("1.0009765625", "null")), HasSubstr("frames[0].matrix[0]: must be a number"));
  EXPECT_THAT(refusal(changed("1.0009765625", "NaN")), HasSubstr("is no JSON"));
  EXPECT_THAT(refusal(changed("1.0009765625", "1e999")), HasSubstr("too large for a double"));
  EXPECT_THAT(refusal(changed("1.0009765625,", "")), HasSubstr("frames[0].matrix: must have nine elements"));
  EXPECT_THAT(refusal(changed("\"inliers\": 100", "\"inliers\": 121")), HasSubstr("frames[0].inliers: must be 0 to"));
  EXPECT_THAT(refusal(changed("\"coverage\": 0.640625", "\"coverage\": 1.5")), HasSubstr("frames[0].coverage"));
  EXPECT_THAT(refusal(changed("\"dropped\": false", "\"dropped\": 0")), HasSubstr("frames[0].dropped: must be true"));
  EXPECT_THAT(refusal(changed("\"dropped\": false", "\"dropped\": true")),
              HasSubstr("frames[0].dropped: only a frame"));
  EXPECT_THAT(refusal(changed("\"verdict\": \"found\"", "\"verdict\": \"perhaps\"")), HasSubstr("frames[0].verdict"));
  EXPECT_THAT(refusal(changed("\"rms\": 0.7071067811865476", "\"rms\": -1")), HasSubstr("frames[0].rms"));
  EXPECT_THAT(refusal(changed("\"rank\": 2", "\"rank\": 3")), HasSubstr("frames[2].rank"));
}

TEST(FromJson, PassesOverFieldsThatItDoesNotKnow) {
  EXPECT_TRUE(fromJson(changed("\"threads\": 4", "\"threads\": 4, \"weather\": {\"rain\": [true]}")));
}

TEST(FromJson, RefusesWhatNestsTooDeepToBeCopied) {
  constexpr int kDeep = 1000000; // copied level by level, this overruns the stack
  const std::string nest = std::string(kDeep, '[') + std::string(kDeep, ']');
  for (const std::string &text : {nest, changed("\"threads\": 4", "\"threads\": 4, \"weather\": " + nest)}) {
    const Result<TransformsFile> result = fromJson(text);
    ASSERT_FALSE(result);
    EXPECT_EQ(result.error().code, ErrorCode::BadFile);
    EXPECT_EQ(result.error().message, "nests deeper than transforms do");
  }
}

TEST(FromJson, SurvivesEveryTruncationAndEveryByteReplaced) {
  const std::string text = toJson(sample()).value();
  for (std::size_t length = 0; length + 1 < text.size(); length += 7)
    EXPECT_FALSE(fromJson(std::string_view(text).substr(0, length)));
  for (std::size_t i = 0; i < text.size(); i += 3) {
    std::string spoiled = text;
    spoiled[i] = static_cast<char>(i % 2 == 0 ? 0xFF : '9');
    const Result<TransformsFile> result = fromJson(spoiled);
    if (result) {
      EXPECT_TRUE(toJson(*result)); // what is taken fits together
    }
  }
}

TEST(ToJson, RefusesWhatDoesNotFitTogether) {
  const auto message = [](const auto &change) {
    TransformsFile file = sample();
    change(file);
    for (const auto &result : {toJson(file), toOpenCvYaml(file), toNumpy(file)}) {
      EXPECT_FALSE(result);
      EXPECT_EQ(result.error().code, ErrorCode::InvalidArgument);
    }
    return toJson(file).error().message;
  };
  const double nan = std::numeric_limits<double>::quiet_NaN();
  EXPECT_THAT(message([](TransformsFile &f) { f.names.pop_back(); }), HasSubstr("names"));
  EXPECT_THAT(message([](TransformsFile &f) { f.estimate.frames.clear(); }), HasSubstr("frames"));
  EXPECT_THAT(message([&](TransformsFile &f) { f.estimate.frames[2].frameFromReference.matrix[4] = nan; }),
              HasSubstr("frames[2].matrix: must be finite"));
  EXPECT_THAT(message([](TransformsFile &f) { f.estimate.frames[2].frameFromReference.matrix = {}; }),
              HasSubstr("frames[2].matrix: must be invertible"));
  EXPECT_THAT(message([&](TransformsFile &f) { f.estimate.frames[0].rms = nan; }), HasSubstr("rms"));
  EXPECT_THAT(message([](TransformsFile &f) { f.estimate.model = Model::Auto; }), HasSubstr("model"));
  TransformsFile file = sample();
  file.names[0] = "\xFF\xFE";
  EXPECT_EQ(toJson(file).error().message, "names: must be UTF-8");
}

TEST(ToNumpy, IsAnArrayFileOfAllMatrices) {
  const TransformsFile file = sample();
  const std::string bytes = toNumpy(file).value();
  EXPECT_EQ(bytes.substr(0, 8), std::string("\x93NUMPY\x01\x00", 8));
  ASSERT_EQ((bytes.size() - 3 * 72) % 64, 0u);
  double last[9];
  std::memcpy(last, bytes.data() + bytes.size() - 3 * 72, sizeof last);
  EXPECT_EQ(std::memcmp(last, file.estimate.frames[0].frameFromReference.matrix.data(), sizeof last), 0);
}

} // namespace
} // namespace vindrel::test
