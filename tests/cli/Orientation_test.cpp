// Photographs are read as they are looked at, however the file stores them.
#include "ExifTool.h"
#include "ImageFile.h"
#include "Program.h"
#include "Scene.h"

#include <gtest/gtest.h>

#include <cstring>

namespace vindrel::test {
namespace {

// By the letter of Exif: at which side of the picture, as it is looked at, the first stored row and the first stored
// column lie.
struct Sides {
  char firstRow;
  char firstColumn;
};
constexpr Sides kSides[9] = {{},         {'T', 'L'}, {'T', 'R'}, {'B', 'R'}, {'B', 'L'},
                             {'L', 'T'}, {'R', 'T'}, {'R', 'B'}, {'L', 'B'}};

constexpr int kInverse[9] = {0, 1, 2, 3, 4, 5, 8, 7, 6}; // the turn that undoes a turn

// How the file stores the picture.
Photo stored(const Photo &upright, int orientation) {
  const Sides sides = kSides[orientation];
  const bool lying = sides.firstRow == 'L' || sides.firstRow == 'R';
  Photo photo{lying ? upright.height : upright.width,
              lying ? upright.width : upright.height,
              upright.channels,
              upright.bits,
              {}};
  for (int row = 0; row < photo.height; ++row) {
    for (int column = 0; column < photo.width; ++column) {
      int x = 0;
      int y = 0;
      for (const auto &[side, steps] : {std::pair{sides.firstRow, row}, std::pair{sides.firstColumn, column}}) {
        if (side == 'T') y = steps;
        if (side == 'B') y = upright.height - 1 - steps;
        if (side == 'L') x = steps;
        if (side == 'R') x = upright.width - 1 - steps;
      }
      for (int c = 0; c < photo.channels; ++c)
        photo.samples.push_back(upright.at(x, y, c));
    }
  }
  return photo;
}

Photo readByTheProgram(const std::filesystem::path &path) {
  const cli::ImageHeader header = cli::readHeader(path);
  const cli::Pixels pixels = cli::readPixels(header);
  Photo photo{header.size.width, header.size.height, header.channels, static_cast<int>(header.depth), {}};
  for (std::size_t i = 0; i < pixels.byteCount(); i += static_cast<std::size_t>(photo.bits / 8)) {
    std::uint16_t sample = 0;
    std::memcpy(&sample, pixels.data() + i, static_cast<std::size_t>(photo.bits / 8)); // little-endian machines
    photo.samples.push_back(sample);
  }
  return photo;
}

void setOrientation(const std::vector<std::string> &files, int orientation) {
  std::vector<std::string> arguments = {"-q", "-n", "-overwrite_original",
                                        "-IFD0:Orientation=" + std::to_string(orientation)};
  arguments.insert(arguments.end(), files.begin(), files.end());
  exifTool(arguments);
}

class Orientation : public testing::TestWithParam<int> {
protected:
  std::string file(const std::string &name) const { return folder_ / name; }
  TemporaryFolder folder_;
};

TEST_P(Orientation, OfEveryFormatIsTurnedUpright) {
  const Photo upright = takePhoto(5, {.width = 90, .height = 56}, 3, 8);
  const std::vector<std::string> files = {file("a.jpg"), file("a.png"), file("a.tif")};
  for (const std::string &name : files)
    save(name, stored(upright, GetParam()));
  setOrientation(files, GetParam());
  for (const std::string &name : files) {
    const Photo read = readByTheProgram(name);
    ASSERT_EQ(read.width, upright.width) << name;
    ASSERT_EQ(read.height, upright.height) << name;
    if (name == files[0]) {
      EXPECT_LT(meanDifference(read, upright, 0), 0.02) << name;
      EXPECT_EQ(read.samples, stored(load(name), kInverse[GetParam()]).samples);
    } else {
      EXPECT_EQ(read.samples, upright.samples) << name;
    }
  }
}

TEST_P(Orientation, IsTurnedForEveryNumberOfChannelsAndBits) {
  std::vector<std::string> files;
  std::vector<Photo> photos;
  for (int channels = 1; channels <= 4; ++channels) {
    for (const int bits : {8, 16}) {
      files.push_back(file(std::to_string(channels) + "x" + std::to_string(bits) + ".tif"));
      photos.push_back(takePhoto(6, {.width = 67, .height = 131}, channels, bits));
      save(files.back(), stored(photos.back(), GetParam()));
    }
  }
  setOrientation(files, GetParam());
  for (std::size_t i = 0; i < files.size(); ++i)
    EXPECT_EQ(readByTheProgram(files[i]).samples, photos[i].samples) << files[i];
}

TEST_P(Orientation, IsTurnedWhateverTheStripsAndTilesOfATiff) {
  // Larger than what is read at once, so that several pieces are put together.
  const Photo upright = takePhoto(7, {.width = 1500, .height = 1200}, 3, 16);
  const Photo lying = stored(upright, GetParam());
  OIIO::ParamValueList oneStrip;
  oneStrip.attribute("tiff:RowsPerStrip", lying.height);
  OIIO::ParamValueList odd;
  odd.attribute("tiff:RowsPerStrip", 7);
  save(file("whole.tif"), lying, oneStrip);
  save(file("odd.tif"), lying, odd);
  OIIO::ImageSpec spec(lying.width, lying.height, 3, OIIO::TypeDesc::UINT16);
  spec.tile_width = 112;
  spec.tile_height = 48;
  const auto output = OIIO::ImageOutput::create("tiff");
  ASSERT_TRUE(output && output->open(file("tiles.tif"), spec));
  ASSERT_TRUE(output->write_image(OIIO::TypeDesc::UINT16, lying.samples.data()) && output->close());
  const std::vector<std::string> files = {file("whole.tif"), file("odd.tif"), file("tiles.tif")};
  setOrientation(files, GetParam());
  for (const std::string &name : files)
    EXPECT_TRUE(readByTheProgram(name).samples == upright.samples) << name;
}

INSTANTIATE_TEST_SUITE_P(Tags, Orientation, testing::Range(1, 9));

TEST(OrientationNote, OfExifCountsAndNotThatOfXmp) {
  const TemporaryFolder folder;
  const std::string file = folder / "a.jpg";
  save(file, takePhoto(1, {.width = 40, .height = 30}, 3, 8));
  exifTool({"-q", "-n", "-overwrite_original", "-IFD0:Orientation=6", "-XMP-tiff:Orientation=1", file});
  EXPECT_EQ(cli::readHeader(file).orientation, 6);
  EXPECT_EQ(cli::readHeader(file).size, (Size{30, 40}));
}

TEST(OrientationNote, ThatIsNoneOfTheEightMeansUpright) {
  const TemporaryFolder folder;
  const std::string file = folder / "a.tif";
  save(file, takePhoto(1, {.width = 40, .height = 30}, 3, 8));
  for (const char *value : {"0", "9", "200"}) {
    exifTool({"-q", "-n", "-overwrite_original", std::string("-IFD0:Orientation=") + value, file});
    EXPECT_EQ(cli::readHeader(file).size, (Size{40, 30})) << value;
  }
}

TEST(OrientationNote, IsAppliedBeforeFramesAreAligned) {
  // Three frames of one scene, each stored another way: they fit together once they are upright.
  const TemporaryFolder folder;
  const Photo a = takePhoto(8, {.width = 320, .height = 240, .left = 3}, 3, 8);
  const Photo b = takePhoto(8, {.width = 320, .height = 240, .left = 9, .top = 4, .exposure = 0.6}, 3, 8);
  save(folder / "a.png", a);
  save(folder / "b.png", stored(b, 6));
  save(folder / "c.png", stored(b, 3));
  setOrientation({folder / "b.png"}, 6);
  setOrientation({folder / "c.png"}, 3);
  const std::string out = folder / "out";
  const Outcome run =
      runVindrel({"align", folder / "a.png", folder / "b.png", folder / "c.png", "-o", out, "--model", "shift"});
  ASSERT_EQ(run.exitCode, 0) << run.err;
  const Photo first = load(out + "/a.png");
  EXPECT_EQ(load(out + "/b.png").samples, load(out + "/c.png").samples);
  EXPECT_EQ(load(out + "/b.png").width, first.width);
  EXPECT_GT(first.width, 300);
  const std::vector<nlohmann::json> tags = tagsOf(std::vector<std::filesystem::path>{out + "/b.png", out + "/c.png"});
  EXPECT_EQ(tags[0].at("IFD0:Orientation"), 1);
  EXPECT_EQ(tags[1].at("IFD0:Orientation"), 1);
}

} // namespace
} // namespace vindrel::test
