// Inputs that cannot be aligned: each is refused before anything is written, with a message that names the file.
#include "Program.h"
#include "Scene.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <exiv2/exiv2.hpp>
#include <sys/stat.h>

namespace vindrel::test {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::IsEmpty;

class Inputs : public testing::Test {
protected:
  void SetUp() override { save(good(), takePhoto(1, {.width = 200, .height = 150}, 3, 8)); }

  std::string good() const { return folder_ / "good.png"; }
  std::string file(const std::string &name) const { return folder_ / name; }
  std::string out() const { return folder_ / "out"; }

  // Aligning the good photograph and `bad` must end so, say all of `texts`, and leave no output folder behind.
  void expectRefused(const std::string &bad, int exitCode, const std::vector<std::string> &texts,
                     const RunOptions &how = {}) {
    const Outcome run = runVindrel({"align", good(), bad, "-o", out()}, how);
    EXPECT_EQ(run.exitCode, exitCode) << run.err;
    for (const std::string &text : texts)
      EXPECT_THAT(run.err, HasSubstr(text));
    EXPECT_THAT(run.out, IsEmpty());
    EXPECT_FALSE(std::filesystem::exists(out()));
  }

  TemporaryFolder folder_;
};

TEST_F(Inputs, AMissingFileIsNamed) {
  expectRefused(file("none.png"), 4, {"none.png: no such file"});
}

TEST_F(Inputs, AFolderIsRefusedWithAHintHowToNameItsPhotographs) {
  expectRefused(folder_.path(), 4, {folder_.path().string() + ": is a folder", "/*.jpg"});
}

TEST_F(Inputs, AnEmptyFileIsNamed) {
  writeBytes(file("empty.png"), "");
  expectRefused(file("empty.png"), 4, {"empty.png: is empty"});
}

TEST_F(Inputs, APipeIsRefusedWithoutWaitingForAWriter) {
  ASSERT_EQ(mkfifo(file("pipe.png").c_str(), 0600), 0);
  expectRefused(file("pipe.png"), 4, {"pipe.png: is not a file"});
}

TEST_F(Inputs, AFileThatIsNoImageIsNamed) {
  writeBytes(file("notes.jpg"), "shopping: bread, milk\n");
  expectRefused(file("notes.jpg"), 4, {"notes.jpg: cannot be read"});
}

TEST_F(Inputs, AnImageOfAnotherFormatIsNamedWithItsFormat) {
  save(file("drawing.bmp"), takePhoto(1, {.width = 200, .height = 150}, 3, 8));
  expectRefused(file("drawing.bmp"), 4, {"drawing.bmp: is a bmp file", "JPEG, PNG and TIFF"});
}

TEST_F(Inputs, FloatingPointSamplesDoNotMixWithWholeNumbers) {
  const OIIO::ImageSpec spec(200, 150, 3, OIIO::TypeDesc::FLOAT);
  const auto output = OIIO::ImageOutput::create(file("float.tif"));
  ASSERT_TRUE(output && output->open(file("float.tif"), spec));
  ASSERT_TRUE(output->write_image(OIIO::TypeDesc::FLOAT, std::vector<float>(200 * 150 * 3).data()) && output->close());
  expectRefused(file("float.tif"), 2, {"differ in bit depth", "float.tif: 200 x 150, RGB, 32 bit"});
}

TEST_F(Inputs, FiveChannelsAreRefused) {
  const OIIO::ImageSpec spec(200, 150, 5, OIIO::TypeDesc::UINT8);
  const auto output = OIIO::ImageOutput::create(file("five.tif"));
  ASSERT_TRUE(output && output->open(file("five.tif"), spec));
  ASSERT_TRUE(output->write_image(OIIO::TypeDesc::UINT8, std::vector<char>(200 * 150 * 5).data()) && output->close());
  expectRefused(file("five.tif"), 4, {"five.tif: holds 5 channels"});
}

// Cut anywhere: within the header, within the pixels, and just before the end.
class TruncatedInputs : public Inputs, public testing::WithParamInterface<const char *> {};

TEST_P(TruncatedInputs, ATruncatedFileIsNeverReadAsIfItWereWhole) {
  const std::string whole = file(std::string("whole.") + GetParam());
  const std::string cut = file(std::string("cut.") + GetParam());
  save(whole, takePhoto(1, {.width = 200, .height = 150}, 3, 8));
  const std::string bytes = readBytes(whole);
  for (const double share : {0.005, 0.3, 0.6, 0.95}) {
    writeBytes(cut, bytes.substr(0, static_cast<std::size_t>(share * static_cast<double>(bytes.size()))));
    expectRefused(cut, 4, {std::string("cut.") + GetParam() + ": "}, withoutLeakCheck());
  }
}

TEST_F(Inputs, ATiffThatEndsAmongItsSamplesIsNotReadAsIfItWereWhole) {
  // Its directory stands in front of the samples, so that it opens well.
  OIIO::ParamValueList extra;
  extra.attribute("compression", "zip");
  save(file("whole.tif"), takePhoto(1, {.width = 200, .height = 150}, 3, 8), extra);
  const auto image = Exiv2::ImageFactory::open(file("whole.tif"));
  image->readMetadata();
  image->exifData()["Exif.Image.Artist"] = "A. Photographer"; // written anew, with the directory in front
  image->writeMetadata();
  const std::string bytes = readBytes(file("whole.tif"));
  for (const double share : {0.3, 0.9}) {
    writeBytes(file("cut.tif"), bytes.substr(0, static_cast<std::size_t>(share * static_cast<double>(bytes.size()))));
    expectRefused(file("cut.tif"), 4, {"cut.tif: is damaged or cut short"});
  }
}

INSTANTIATE_TEST_SUITE_P(Formats, TruncatedInputs, testing::Values("jpg", "png", "tif"));

TEST_F(Inputs, MixedSizesAreRefusedWithTheSizeOfEveryFile) {
  save(file("wide.png"), takePhoto(1, {.width = 220, .height = 150}, 3, 8));
  expectRefused(file("wide.png"), 2, {"differ in size", "good.png: 200 x 150", "wide.png: 220 x 150"});
}

TEST_F(Inputs, MixedChannelsAreRefusedWithTheChannelsOfEveryFile) {
  save(file("grey.png"), takePhoto(1, {.width = 200, .height = 150}, 1, 8));
  expectRefused(file("grey.png"), 2, {"differ in kind of channels", "150, RGB", "150, grey"});
}

TEST_F(Inputs, MixedDepthsAreRefusedWithTheDepthOfEveryFile) {
  save(file("deep.png"), takePhoto(1, {.width = 200, .height = 150}, 3, 16));
  expectRefused(file("deep.png"), 2, {"differ in bit depth", "RGB, 8 bit", "RGB, 16 bit"});
}

TEST_F(Inputs, SimulateRefusesWhatAlignRefuses) {
  writeBytes(file("empty.png"), "");
  const Outcome run = runVindrel({"simulate", file("empty.png"), "-o", out(), "--frames", "2"});
  EXPECT_EQ(run.exitCode, 4);
  EXPECT_THAT(run.err, HasSubstr("empty.png: is empty"));
  EXPECT_FALSE(std::filesystem::exists(out()));
}

} // namespace
} // namespace vindrel::test
