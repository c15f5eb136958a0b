// Raw files of cameras: developed to 16 bits, turned upright, and written with what the camera noted.
#include "ExifTool.h"
#include "Program.h"
#include "Scene.h"
#include "WholePicture.h"
#include "support/DngFile.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>

namespace vindrel::test {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;
using testing::AllOf;
using testing::HasSubstr;
using testing::IsEmpty;

double linearOf(double shown) {
  return shown <= 0.04045 ? shown / 12.92 : std::pow((shown + 0.055) / 1.055, 2.4);
}

// A scene without fine detail, of which the mosaic would show a half only.
Photo smoothScene(int width, int height) {
  Photo photo{width, height, 3, 16, {}};
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      photo.samples.push_back(static_cast<std::uint16_t>(8000 + 45000 * x / width));
      photo.samples.push_back(static_cast<std::uint16_t>(8000 + 45000 * y / height));
      photo.samples.push_back(static_cast<std::uint16_t>(30000 + 20000 * std::sin(x * 0.05 + y * 0.03)));
    }
  }
  return photo;
}

void saveRaw(const std::string &path, const Photo &photo, int orientation) {
  DngScene scene{photo.width, photo.height, {}, orientation};
  for (const std::uint16_t sample : photo.samples)
    scene.linear.push_back(static_cast<std::uint16_t>(std::lround(linearOf(sample / 65535.0) * 65535)));
  DngFile(scene).save(path);
}

class RawFiles : public testing::Test {
protected:
  std::string raw(int orientation = 1) const {
    const std::string path = folder_ / "a.dng";
    saveRaw(path, smoothScene(160, 120), orientation);
    return path;
  }

  TemporaryFolder folder_;
};

TEST_F(RawFiles, AreDevelopedToTheSceneInSixteenBits) {
  const cli::ImageHeader header = cli::readHeader(raw());
  EXPECT_EQ(header.format, "raw");
  EXPECT_EQ(header.depth, SampleDepth::U16);
  EXPECT_EQ(header.channels, 3);
  ASSERT_EQ(header.size, (Size{160, 120}));
  const cli::Pixels pixels = cli::readPixels(header);
  const auto *samples = pixels.view().row<std::uint16_t>(0);
  const Photo developed{160, 120, 3, 16, {samples, samples + 160 * 120 * 3}};
  EXPECT_LT(meanDifference(developed, smoothScene(160, 120), 6), 0.01);
}

TEST_F(RawFiles, AreDevelopedAlikeWhateverTheirExposure) {
  // A frame of half the light is half as bright, and not stretched.
  Photo photo = smoothScene(160, 120);
  DngScene scene{160, 120, {}, 1};
  for (const std::uint16_t sample : photo.samples)
    scene.linear.push_back(static_cast<std::uint16_t>(std::lround(linearOf(sample / 65535.0) * 65535 / 2)));
  DngFile(scene).save(folder_ / "half.dng");
  const cli::Pixels pixels = cli::readPixels(cli::readHeader(folder_ / "half.dng"));
  const auto *samples = pixels.view().row<std::uint16_t>(0);
  const Photo developed{160, 120, 3, 16, {samples, samples + 160 * 120 * 3}};
  double sum = 0;
  double should = 0;
  for (int y = 10; y < 110; ++y) {
    for (int x = 10; x < 150; ++x) {
      sum += linearOf(developed.at(x, y, 1) / 65535.0);
      should += linearOf(photo.at(x, y, 1) / 65535.0) / 2;
    }
  }
  EXPECT_NEAR(sum / should, 1, 0.02);
}

TEST_F(RawFiles, AreTurnedUpright) {
  const cli::ImageHeader lying = cli::readHeader(raw(6));
  ASSERT_EQ(lying.size, (Size{120, 160}));
  const cli::Pixels turned = cli::readPixels(lying);
  const cli::Pixels stored = cli::readPixels(cli::readHeader(raw(1)));
  // Turned clockwise, the stored picture's first row is the right edge.
  for (const int at : {20, 80, 140}) {
    const std::uint16_t *onRight = turned.view().row<std::uint16_t>(at) + (120 - 1 - 10) * 3;
    const std::uint16_t *onTop = stored.view().row<std::uint16_t>(10) + at * 3;
    for (int c = 0; c < 3; ++c)
      EXPECT_NEAR(onRight[c], onTop[c], 700) << at;
  }
}

TEST_F(RawFiles, AreWrittenAsTiffWithWhatTheCameraNoted) {
  const std::string in = raw(6);
  exifTool({"-q", "-n", "-overwrite_original", "-GPS:GPSLatitude=48.85", "-GPS:GPSLatitudeRef=N", "-XMP-dc:Title=Title",
            "-XMP-crs:Exposure2012=1.5", "-IFD0:Artist=A. Photographer", in});
  const cli::ImageHeader header = cli::readHeader(in);
  EXPECT_EQ(cli::outputFormat(header), "tiff");
  const std::string out = folder_ / "out.tif";
  {
    const cli::Pixels pixels = cli::readPixels(header);
    cli::OutputFile file(out, false);
    EXPECT_THAT(writeWhole(file, pixels.view(), header, "tiff"), IsEmpty());
    file.finish();
    file.publish();
  }
  const Photo written = load(out);
  EXPECT_EQ(written.bits, 16);
  EXPECT_EQ(written.channels, 3);
  EXPECT_EQ(written.width, 120);

  const json tags = tagsOf(out);
  EXPECT_EQ(tags.at("File:FileType"), "TIFF") << "no reader may take it for a raw file";
  const json should = {{"IFD0:Make", "Nobody"},
                       {"IFD0:Model", "Raw 1"},
                       {"IFD0:Orientation", 1},
                       {"IFD0:Artist", "A. Photographer"},
                       {"ExifIFD:FNumber", 5.6},
                       {"ExifIFD:ISO", 400},
                       {"ExifIFD:ColorSpace", 1},
                       {"ExifIFD:DateTimeOriginal", "2024:05:01 12:30:00"},
                       {"GPS:GPSLatitude", 48.85},
                       {"XMP-dc:Title", "Title"},
                       {"IFD0:SamplesPerPixel", 3},
                       {"IFD0:PhotometricInterpretation", 2},
                       {"IFD0:UniqueCameraModel", "Nobody Raw 1"}};
  for (const auto &[tag, value] : should.items())
    EXPECT_EQ(tags.value(tag, json()), value) << tag;
  EXPECT_NEAR(tags.at("ExifIFD:ExposureTime"), 1.0 / 60, 1e-6);
  for (const char *tag : {"IFD0:DNGVersion", "IFD0:CFAPattern2", "IFD0:CFARepeatPatternDim", "IFD0:ColorMatrix1",
                          "IFD0:AsShotNeutral", "IFD0:WhiteLevel", "XMP-crs:Exposure2012"})
    EXPECT_FALSE(tags.contains(tag)) << tag << " is about the sensor's samples";
}

TEST_F(RawFiles, AreStraightenedIntoTheFormatAskedFor) {
  for (const char *name : {"s.tif", "s.png"}) {
    const Outcome run = runVindrel({"straighten", raw(), "-o", folder_ / name, "--rotate", "1"});
    EXPECT_EQ(run.exitCode, 0) << run.err;
    EXPECT_EQ(load(folder_ / name).bits, 16);
    EXPECT_EQ(tagsOf(folder_ / name).value("ExifIFD:ISO", 0), 400);
  }
  EXPECT_EQ(runVindrel({"straighten", raw(), "-o", folder_ / "s.jpg", "--rotate", "1"}).exitCode, 2);
}

TEST_F(RawFiles, AreShownByInfoAsTheyAreDeveloped) {
  const Outcome run = runVindrel({"info", raw(6)});
  EXPECT_EQ(run.exitCode, 0) << run.err;
  EXPECT_THAT(run.out,
              AllOf(HasSubstr("raw     120 x 160  RGB       16 bit   1/60 s  f/5.6     400"), HasSubstr("sRGB")));
}

// A textured scene as the sensor sees it: of samples that a display shows, the light, by a factor.
void saveView(const std::string &path, const View &view) {
  View asLit = view;
  asLit.exposure = 1;
  const Photo photo = takePhoto(1, asLit, 3, 16);
  DngScene scene{photo.width, photo.height, {}, 1};
  for (const std::uint16_t sample : photo.samples)
    scene.linear.push_back(static_cast<std::uint16_t>(std::lround(linearOf(sample / 65535.0) * 65535 * view.exposure)));
  DngFile(scene).save(path);
}

TEST_F(RawFiles, AreAlignedAsAStackByTheirTrueShift) {
  // The second frame shows the scene 12 columns further left and 8 rows further up, in half the light. The steps are
  // even, so that its filters see what those of the first see.
  constexpr View kBright{.width = 480, .height = 360, .left = 4, .top = 6};
  constexpr View kDark{.width = 480, .height = 360, .left = 16, .top = 14, .exposure = 0.5};
  saveView(folder_ / "bright.dng", kBright);
  saveView(folder_ / "dark.dng", kDark);
  writeBytes(folder_ / "truth.json",
             R"({"format": "vindrel-truth", "version": 1, "width": 480, "height": 360, "frames": [
    {"file": "bright.dng", "frameFromScene": [1, 0, -4, 0, 1, -6, 0, 0, 1]},
    {"file": "dark.dng", "frameFromScene": [1, 0, -16, 0, 1, -14, 0, 0, 1]}]})");
  for (const char *model : {"perspective", "shift"}) {
    const Outcome run = runVindrel({"align", folder_ / "bright.dng", folder_ / "dark.dng", "-o", folder_ / model,
                                    "--model", model, "--truth", folder_ / "truth.json", "--json"});
    ASSERT_EQ(run.exitCode, 0) << run.out << run.err;
    EXPECT_THAT(namesIn(folder_ / model), testing::ElementsAre("bright.tif", "dark.tif"));
    const json document = json::parse(run.out);
    for (const json &frame : document.at("frames"))
      EXPECT_LT(frame.at("cornerError"), 0.7) << frame.at("file");

    // Light for light, the two outputs show one picture.
    const Photo bright = load(folder_.path() / model / "bright.tif"), dark = load(folder_.path() / model / "dark.tif");
    ASSERT_EQ(dark.bits, 16);
    ASSERT_EQ(Size({dark.width, dark.height}), Size({bright.width, bright.height}));
    EXPECT_GT(dark.width, 460);
    double difference = 0;
    double light = 0;
    for (int y = 8; y + 8 < dark.height; ++y) {
      for (int x = 8; x + 8 < dark.width; ++x) {
        const double full = linearOf(bright.at(x, y, 1) / 65535.0);
        difference += std::abs(2 * linearOf(dark.at(x, y, 1) / 65535.0) - full);
        light += full;
      }
    }
    EXPECT_LT(difference / light, std::string(model) == "shift" ? 0.005 : 0.03) << model;
  }
}

TEST_F(RawFiles, CutShortAreRefused) {
  const std::string bytes = readBytes(raw());
  for (const double share : {0.002, 0.05, 0.5}) {
    writeBytes(folder_ / "cut.dng",
               bytes.substr(0, static_cast<std::size_t>(share * static_cast<double>(bytes.size()))));
    const Outcome run = runVindrel({"straighten", folder_ / "cut.dng", "-o", folder_ / "s.tif", "--rotate", "1"});
    EXPECT_EQ(run.exitCode, 4) << share << run.err;
    EXPECT_THAT(run.err, HasSubstr("cut.dng: "));
    EXPECT_FALSE(fs::exists(folder_ / "s.tif"));
  }
}

} // namespace
} // namespace vindrel::test
