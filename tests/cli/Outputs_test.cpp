// Outputs: never half there, never in the place of something the user has, and with what the photographs said about
// themselves.
#include "Program.h"
#include "Scene.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <unistd.h>

namespace vindrel::test {
namespace {

namespace fs = std::filesystem;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class Outputs : public testing::Test {
protected:
  void SetUp() override {
    save(a(), takePhoto(1, {.width = 320, .height = 240, .left = 3}, 3, 8));
    save(b(), takePhoto(1, {.width = 320, .height = 240, .left = 9, .exposure = 0.6}, 3, 8));
  }

  std::string a() const { return folder_ / "a.png"; }
  std::string b() const { return folder_ / "b.png"; }
  std::string out() const { return folder_ / "out"; }

  TemporaryFolder folder_;
};

TEST_F(Outputs, AnExistingOneIsLeftAloneAndRefused) {
  fs::create_directory(out());
  writeBytes(out() + "/b.png", "precious");
  const Outcome run = runVindrel({"align", a(), b(), "-o", out()});
  EXPECT_EQ(run.exitCode, 5);
  EXPECT_THAT(run.err, AllOf(HasSubstr("out/b.png: exists already"), HasSubstr("--overwrite")));
  EXPECT_THAT(run.out, IsEmpty());
  EXPECT_EQ(readBytes(out() + "/b.png"), "precious");
  EXPECT_THAT(namesIn(out()), ElementsAre("b.png"));
}

TEST_F(Outputs, AnExistingOneIsReplacedWhenAskedTo) {
  fs::create_directory(out());
  writeBytes(out() + "/b.png", "old");
  EXPECT_EQ(runVindrel({"align", a(), b(), "-o", out(), "--overwrite"}).exitCode, 0);
  EXPECT_EQ(load(out() + "/b.png").channels, 3);
  EXPECT_THAT(namesIn(out()), ElementsAre("a.png", "b.png"));
}

TEST_F(Outputs, SimulateLeavesAnExistingTruthAlone) {
  fs::create_directory(out());
  writeBytes(out() + "/truth.json", "precious");
  const Outcome run = runVindrel({"simulate", a(), "-o", out(), "--frames", "2"});
  EXPECT_EQ(run.exitCode, 5);
  EXPECT_THAT(run.err, HasSubstr("out/truth.json: exists already"));
  EXPECT_EQ(readBytes(out() + "/truth.json"), "precious");
  EXPECT_THAT(namesIn(out()), ElementsAre("truth.json"));
}

TEST_F(Outputs, NeverReplaceThePhotographsEvenWhenOverwritingIsAllowed) {
  const std::string before = readBytes(a());
  const Outcome run = runVindrel({"align", a(), b(), "-o", folder_.path(), "--overwrite"});
  EXPECT_EQ(run.exitCode, 2);
  EXPECT_THAT(run.err, HasSubstr("a.png: is one of the photographs"));
  EXPECT_TRUE(readBytes(a()) == before);

  fs::create_symlink(folder_.path(), folder_ / "link");
  EXPECT_EQ(runVindrel({"align", a(), b(), "-o", folder_ / "link", "--overwrite"}).exitCode, 2);
  fs::create_directory(out());
  fs::create_hard_link(b(), out() + "/a.png");
  EXPECT_EQ(runVindrel({"align", a(), b(), "-o", out(), "--overwrite"}).exitCode, 2);
  EXPECT_TRUE(readBytes(a()) == before);
}

TEST_F(Outputs, SimulateNeverReplacesItsPhotograph) {
  fs::copy_file(a(), folder_ / "frame_01.png");
  const Outcome run =
      runVindrel({"simulate", folder_ / "frame_01.png", "-o", folder_.path(), "--frames", "2", "--overwrite"});
  EXPECT_EQ(run.exitCode, 2);
  EXPECT_THAT(run.err, HasSubstr("frame_01.png: is the photograph itself"));
}

TEST_F(Outputs, OfTwoPhotographsWithOneNameAreRefused) {
  fs::create_directory(folder_ / "other");
  fs::copy_file(b(), folder_.path() / "other" / "a.png");
  const Outcome run = runVindrel({"align", a(), folder_.path() / "other" / "a.png", "-o", out()});
  EXPECT_EQ(run.exitCode, 2);
  EXPECT_THAT(run.err, AllOf(HasSubstr("other/a.png"), HasSubstr("would both be written to")));
  const Outcome twice = runVindrel({"align", a(), b(), a(), "-o", out()});
  EXPECT_EQ(twice.exitCode, 2);
  EXPECT_THAT(twice.err, HasSubstr("a.png is given twice"));
  EXPECT_FALSE(fs::exists(out()));
}

TEST_F(Outputs, IntoSomethingThatIsNoFolderAreRefused) {
  const std::string before = readBytes(a());
  for (const std::string &where : {a(), a() + "/sub"}) {
    const Outcome run = runVindrel({"align", b(), "-o", where});
    EXPECT_EQ(run.exitCode, 1) << run.err;
    EXPECT_THAT(run.err, AllOf(HasSubstr(where + ": cannot be used as the output folder"), HasSubstr("-o")));
  }
  EXPECT_TRUE(readBytes(a()) == before);
}

TEST_F(Outputs, IntoAFolderThatMayNotBeWrittenAreRefused) {
  if (geteuid() == 0) GTEST_SKIP() << "nothing is forbidden to root";
  fs::create_directory(out());
  fs::permissions(out(), fs::perms::owner_read | fs::perms::owner_exec);
  const Outcome run = runVindrel({"align", a(), b(), "-o", out()});
  EXPECT_EQ(run.exitCode, 1);
  EXPECT_THAT(run.err, HasSubstr("out: cannot be written to: Permission denied"));
  const Outcome below = runVindrel({"align", a(), b(), "-o", out() + "/sub"});
  EXPECT_EQ(below.exitCode, 1);
  EXPECT_THAT(below.err, HasSubstr("cannot be used as the output folder: Permission denied"));
}

// A limit on file sizes stands in for a full disk: both fail the write that goes beyond.
class FullDisk : public Outputs, public testing::WithParamInterface<const char *> {};

TEST_P(FullDisk, EndsTheRunWithNothingLeftBehind) {
#if defined(__has_feature)
#if __has_feature(thread_sanitizer)
  GTEST_SKIP() << "the sanitizer keeps its own tables in a file, which the limit would cut off";
#endif
#endif
  const std::string one = folder_ / (std::string("one.") + GetParam());
  const std::string two = folder_ / (std::string("two.") + GetParam());
  save(one, takePhoto(1, {.width = 320, .height = 240, .left = 3}, 3, 8));
  save(two, takePhoto(1, {.width = 320, .height = 240, .left = 9, .exposure = 0.6}, 3, 8));
  const Outcome run = runVindrel({"align", one, two, "-o", out()}, {.fileSizeLimit = 4000});
  EXPECT_EQ(run.exitCode, 1) << run.err;
  EXPECT_THAT(run.err, HasSubstr(std::string("out/one.") + GetParam() + ": cannot be written"));
  EXPECT_THAT(run.out, IsEmpty());
  EXPECT_FALSE(fs::exists(out()));
}

INSTANTIATE_TEST_SUITE_P(Formats, FullDisk, testing::Values("jpg", "png", "tif"));

TEST_F(Outputs, ResultsThatCannotBePrintedFailTheRun) {
  const Outcome run = runVindrel({"align", a(), b(), "-o", out()}, {.standardOutput = "/dev/full"});
  EXPECT_EQ(run.exitCode, 1);
  EXPECT_THAT(run.err, HasSubstr("standard output cannot be written"));
}

TEST_F(Outputs, OfPhotographsWithSpacesAndOtherSignsInTheirNamesKeepTheNames) {
  const std::string name = "a photo (1) %s \xC3\xA9.png";
  fs::copy_file(a(), folder_ / name);
  const Outcome run = runVindrel({"align", folder_ / name, b(), "-o", out()});
  EXPECT_EQ(run.exitCode, 0) << run.err;
  EXPECT_THAT(run.out, HasSubstr(name));
  EXPECT_THAT(namesIn(out()), ElementsAre(name, "b.png"));
}

TEST_F(Outputs, FollowTheContentWhereTheNameSaysAnotherFormat) {
  fs::copy_file(a(), folder_ / "misnamed.jpg");
  const Outcome run = runVindrel({"align", folder_ / "misnamed.jpg", b(), "-o", out()});
  EXPECT_EQ(run.exitCode, 0) << run.err;
  EXPECT_THAT(readBytes(out() + "/misnamed.jpg"), testing::StartsWith("\x89PNG"));
}

class Metadata : public Outputs, public testing::WithParamInterface<const char *> {};

TEST_P(Metadata, ComesThroughWithTheProfileAndThePictureUpright) {
  const std::string one = folder_ / (std::string("one.") + GetParam());
  const std::string two = folder_ / (std::string("two.") + GetParam());
  // Not a profile that a colour engine would take, but one that must arrive as it left: header size, version, "acsp".
  std::vector<unsigned char> profile(256, 0);
  profile[2] = 1; // 256 bytes
  profile[8] = 4;
  const std::string places[] = {"mntr", "RGB ", "XYZ "};
  for (std::size_t i = 0; i < 3; ++i)
    std::copy(places[i].begin(), places[i].end(), profile.begin() + 12 + 4 * i);
  const std::string mark = "acsp";
  std::copy(mark.begin(), mark.end(), profile.begin() + 36);
  const unsigned char illuminant[] = {0, 0, 0xF6, 0xD6, 0, 1, 0, 0, 0, 0, 0xD3, 0x2D}; // D50
  std::copy(std::begin(illuminant), std::end(illuminant), profile.begin() + 68);
  const unsigned char tags[] = {0, 0, 0, 1, 'c', 'p', 'r', 't', 0, 0, 0, 144, 0, 0, 0, 112}; // one, of 112 bytes
  std::copy(std::begin(tags), std::end(tags), profile.begin() + 128);
  for (std::size_t i = 152; i < profile.size(); ++i)
    profile[i] = static_cast<unsigned char>(i * i * 7 + i * 37 + 11);

  OIIO::ParamValueList extra;
  extra.attribute("Artist", "A. Photographer");
  extra.attribute("ImageDescription", "a wall");
  extra.attribute("Orientation", 6);
  extra.attribute("ICCProfile", OIIO::TypeDesc(OIIO::TypeDesc::UINT8, 256), profile.data());
  save(one, takePhoto(1, {.width = 320, .height = 240, .left = 3}, 3, 8), extra);
  save(two, takePhoto(1, {.width = 320, .height = 240, .left = 9, .exposure = 0.6}, 3, 8), extra);
  const OIIO::ImageSpec before = loadSpec(one);

  const Outcome run = runVindrel({"align", one, two, "-o", out()});
  ASSERT_EQ(run.exitCode, 0) << run.err;
  const OIIO::ImageSpec after = loadSpec(out() + "/one." + GetParam());
  EXPECT_EQ(after.get_string_attribute("Artist"), "A. Photographer");
  EXPECT_EQ(after.get_string_attribute("ImageDescription"), "a wall");
  EXPECT_EQ(after.get_int_attribute("Orientation", 1), 1);
  if (GetParam() != std::string("png")) { // OpenImageIO notes no orientation in a PNG
    EXPECT_LT(after.width, after.height);
  }
  const OIIO::ParamValue *icc = after.find_attribute("ICCProfile");
  ASSERT_NE(icc, nullptr);
  ASSERT_EQ(icc->type().size(), profile.size());
  EXPECT_EQ(std::memcmp(icc->data(), profile.data(), profile.size()), 0);
  EXPECT_EQ(after.get_string_attribute("compression"), before.get_string_attribute("compression"));
}

INSTANTIATE_TEST_SUITE_P(Formats, Metadata, testing::Values("jpg", "png", "tif"));

TEST_F(Outputs, InJpegKeepTheFullColourResolution) {
  save(folder_ / "one.jpg", takePhoto(1, {.width = 320, .height = 240, .left = 3}, 3, 8));
  save(folder_ / "two.jpg", takePhoto(1, {.width = 320, .height = 240, .left = 9, .exposure = 0.6}, 3, 8));
  ASSERT_EQ(runVindrel({"align", folder_ / "one.jpg", folder_ / "two.jpg", "-o", out()}).exitCode, 0);
  EXPECT_EQ(loadSpec(out() + "/one.jpg").get_string_attribute("jpeg:subsampling"), "4:4:4");
}

TEST_F(Outputs, OfCroppedPhotographsStateTheirNewSize) {
  OIIO::ParamValueList extra;
  extra.attribute("Exif:PixelXDimension", 320);
  extra.attribute("Exif:PixelYDimension", 240);
  save(folder_ / "one.jpg", takePhoto(1, {.width = 320, .height = 240, .left = 3}, 3, 8), extra);
  save(folder_ / "two.jpg", takePhoto(1, {.width = 320, .height = 240, .left = 9, .exposure = 0.6}, 3, 8), extra);
  ASSERT_EQ(runVindrel({"align", folder_ / "one.jpg", folder_ / "two.jpg", "-o", out()}).exitCode, 0);
  const OIIO::ImageSpec spec = loadSpec(out() + "/one.jpg");
  EXPECT_LT(spec.width, 320);
  EXPECT_EQ(spec.get_int_attribute("Exif:PixelXDimension"), spec.width);
  EXPECT_EQ(spec.get_int_attribute("Exif:PixelYDimension"), spec.height);
}

} // namespace
} // namespace vindrel::test
