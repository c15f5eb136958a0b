// What a photograph says about itself arrives with what is made of it. exiftool describes the photographs beforehand
// and reads them afterwards; every tag of every group is compared.
#include "ExifTool.h"
#include "Program.h"
#include "Scene.h"
#include "WholePicture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <exiv2/exiv2.hpp>

namespace vindrel::test {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;
using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

constexpr Size kNewSize = {50, 37};

class MetadataOf : public testing::Test {
protected:
  std::string file(const std::string &name) const { return folder_ / name; }

  std::string photograph(const std::string &name, int channels = 3) {
    save(file(name), takePhoto(2, {.width = 96, .height = 64}, channels, 8));
    return file(name);
  }

  // A picture of another size made of the photograph. Returns what was lost.
  std::vector<std::string> rewrite(const fs::path &photo, const fs::path &to) {
    const cli::ImageHeader header = cli::readHeader(photo);
    const cli::Pixels pixels = cli::readPixels(header);
    ImageView picture = pixels.view();
    picture.size = kNewSize;
    cli::OutputFile output(to, true);
    const std::vector<std::string> losses = writeWhole(output, picture, header, cli::formatByName(to));
    output.finish();
    output.publish();
    return losses;
  }

  TemporaryFolder folder_;
};

// Tags that have to change, with the value that they must have then; null: must be gone.
json changes(int orientation, const std::string &extension) {
  json changed = {
      {"IFD0:Orientation", 1},
      {"XMP-tiff:Orientation", 1},
      {"ExifIFD:ExifImageWidth", kNewSize.width},
      {"ExifIFD:ExifImageHeight", kNewSize.height},
      {"XMP-exif:ExifImageWidth", kNewSize.width},
      {"XMP-tiff:ImageWidth", kNewSize.width},
      {"File:ImageWidth", kNewSize.width},
      {"File:ImageHeight", kNewSize.height},
      {"PNG:ImageWidth", kNewSize.width},
      {"PNG:ImageHeight", kNewSize.height},
      {"ExifIFD:SubjectArea", nullptr},
  };
  if (extension == "tif") {
    changed["IFD0:ImageWidth"] = kNewSize.width;
    changed["IFD0:ImageHeight"] = kNewSize.height;
  }
  if (orientation >= 5) {
    changed["IFD0:XResolution"] = 150;
    changed["IFD0:YResolution"] = 300;
    changed["ExifIFD:FocalPlaneXResolution"] = 2000;
    changed["ExifIFD:FocalPlaneYResolution"] = 1000;
  }
  return changed;
}

// How the file packs what it holds, and tags that say who wrote it.
bool isPacking(const std::string &tag) {
  const char *const kTags[] = {
      "File:ExifByteOrder", "File:YCbCrSubSampling", "IFD0:StripOffsets",    "IFD0:StripByteCounts",
      "IFD0:RowsPerStrip",  "XMP-x:XMPToolkit",      "PNG:ProfileName",      "File:CurrentIPTCDigest",
      "IFD1:Compression",   "IFD1:ThumbnailLength",  "IFD1:ThumbnailOffset", "IFD1:ThumbnailImage",
      "IFD1:XResolution",   "IFD1:YResolution",      "IFD1:ResolutionUnit",  "IFD1:YCbCrPositioning",
      "PNG:Filter"};
  return std::find(std::begin(kTags), std::end(kTags), tag) != std::end(kTags);
}

// Pixels an inch are also said where the format itself has a place for them.
bool isAddition(const std::string &tag) {
  return tag.starts_with("JFIF:") || tag.starts_with("PNG-pHYs:");
}

void expectKept(const json &before, const json &after, const json &changed) {
  for (const auto &[tag, value] : before.items()) {
    if (isPacking(tag)) continue;
    if (changed.contains(tag)) {
      if (changed[tag].is_null()) {
        EXPECT_FALSE(after.contains(tag)) << tag;
      } else {
        EXPECT_EQ(after.value(tag, json()), changed[tag]) << tag;
      }
    } else if (tag.starts_with("JFIF:")) {
      EXPECT_TRUE(after.contains(tag)) << tag;
    } else {
      EXPECT_EQ(after.value(tag, json()), value) << tag;
    }
  }
  for (const auto &[tag, value] : after.items()) {
    EXPECT_TRUE(before.contains(tag) || isPacking(tag) || isAddition(tag)) << tag << " was added: " << value;
    EXPECT_THAT(tag, Not(StartsWith("IFD1:"))) << "a thumbnail of the old picture";
  }
}

class MetadataOfEachFormat : public MetadataOf, public testing::WithParamInterface<std::tuple<const char *, int>> {};

TEST_P(MetadataOfEachFormat, ArrivesWhole) {
  const auto &[extension, orientation] = GetParam();
  const std::string in = photograph(std::string("in.") + extension);
  const std::string out = file(std::string("out.") + extension);
  describe(in, orientation);
  EXPECT_THAT(rewrite(in, out), IsEmpty());

  const std::vector<json> tags = tagsOf(std::vector<fs::path>{in, out});
  EXPECT_GE(tags[0].size(), 60u) << "the photograph says less than was asked for";
  for (const char *tag : {"GPS:GPSLatitude", "XMP-dc:Title", "IPTC:Keywords", "ExifIFD:UserComment", "IFD0:Artist"})
    EXPECT_TRUE(tags[0].contains(tag)) << tag;
  expectKept(tags[0], tags[1], changes(orientation, extension));
  EXPECT_TRUE(bytesOf(out, "ICC_Profile") == readBytes(in + ".icc"));
  EXPECT_EQ(load(out).width, kNewSize.width);
  EXPECT_EQ(load(out).channels, 3);
}

INSTANTIATE_TEST_SUITE_P(All, MetadataOfEachFormat,
                         testing::Combine(testing::Values("jpg", "png", "tif"), testing::Values(1, 6)));

// Formats that go over into one another keep the parts that all of them have.
class MetadataBetween : public MetadataOf,
                        public testing::WithParamInterface<std::tuple<const char *, const char *>> {};

TEST_P(MetadataBetween, FormatsArrives) {
  const auto &[from, to] = GetParam();
  const std::string in = photograph(std::string("in.") + from);
  const std::string out = file(std::string("out.") + to);
  describe(in, 6);
  EXPECT_THAT(rewrite(in, out), IsEmpty());
  const std::vector<json> tags = tagsOf(std::vector<fs::path>{in, out});
  const json changed = changes(6, to);
  int compared = 0;
  for (const auto &[tag, value] : tags[0].items()) {
    const std::string group = tag.substr(0, tag.find(':'));
    const bool storage = tag.starts_with("IFD0:") && tag != "IFD0:Orientation" && std::string(from) == "tif";
    if (group != "ExifIFD" && group != "GPS" && group != "IPTC" && !group.starts_with("XMP-") &&
        !group.starts_with("ICC") && (group != "IFD0" || storage)) {
      continue;
    }
    if (isPacking(tag) || tag == "IFD0:YCbCrPositioning" || (changed.contains(tag) && changed[tag].is_null())) continue;
    EXPECT_EQ(tags[1].value(tag, json()), changed.value(tag, value)) << tag;
    ++compared;
  }
  EXPECT_GE(compared, 40);
  for (const char *tag : {"IFD0:Make", "IFD0:Model", "IFD0:Artist", "IFD0:Copyright", "IFD0:ImageDescription"})
    EXPECT_EQ(tags[1].value(tag, json()), tags[0].at(tag)) << tag;
  EXPECT_EQ(tags[1].at("IFD0:Orientation"), 1);
  EXPECT_TRUE(bytesOf(out, "ICC_Profile") == readBytes(in + ".icc"));
}

INSTANTIATE_TEST_SUITE_P(All, MetadataBetween,
                         testing::Values(std::tuple("jpg", "png"), std::tuple("jpg", "tif"), std::tuple("png", "jpg"),
                                         std::tuple("png", "tif"), std::tuple("tif", "jpg"), std::tuple("tif", "png")));

void addToExif(const std::string &path, const std::vector<std::pair<std::string, std::string>> &values) {
  const auto image = Exiv2::ImageFactory::open(path);
  image->readMetadata();
  for (const auto &[key, value] : values)
    image->exifData()[key] = value;
  image->writeMetadata();
}

TEST_F(MetadataOf, TheMakerIsKept) {
  for (const char *extension : {"jpg", "png", "tif"}) {
    const std::string in = photograph(std::string("in.") + extension);
    const std::string out = file(std::string("out.") + extension);
    addToExif(in, {{"Exif.Image.Make", "Canon"},
                   {"Exif.Image.Model", "Canon Model 1"},
                   {"Exif.Canon.FirmwareVersion", "Firmware 1.2"},
                   {"Exif.Canon.OwnerName", "A. Photographer"},
                   {"Exif.CanonCs.Lens", "24 70 1"}});
    const std::string before = bytesOf(in, "Canon:OwnerName");
    ASSERT_EQ(before, "A. Photographer") << extension;
    EXPECT_THAT(rewrite(in, out), IsEmpty());
    const json tags = tagsOf(out);
    EXPECT_EQ(tags.value("Canon:OwnerName", ""), "A. Photographer") << extension;
    EXPECT_EQ(tags.value("Canon:CanonFirmwareVersion", ""), "Firmware 1.2") << extension;
  }
}

TEST_F(MetadataOf, AnUnknownMakerIsKeptByteForByte) {
  const std::string in = photograph("in.jpg");
  {
    const auto image = Exiv2::ImageFactory::open(in);
    image->readMetadata();
    std::string note = "UNKNOWN MAKER";
    for (int i = 0; i < 500; ++i)
      note += static_cast<char>(' ' + i * 31 % 90);
    Exiv2::DataValue value(reinterpret_cast<const Exiv2::byte *>(note.data()), static_cast<long>(note.size()));
    image->exifData()["Exif.Image.Make"] = "Nobody";
    image->exifData().add(Exiv2::ExifKey("Exif.Photo.MakerNote"), &value);
    image->writeMetadata();
  }
  const std::string before = bytesOf(in, "MakerNoteUnknownText");
  ASSERT_THAT(before, StartsWith("UNKNOWN MAKER"));
  EXPECT_THAT(rewrite(in, file("out.jpg")), IsEmpty());
  EXPECT_TRUE(bytesOf(file("out.jpg"), "MakerNoteUnknownText") == before);
}

TEST_F(MetadataOf, APhotographWithoutAnyGivesOneWithoutAny) {
  for (const char *extension : {"jpg", "png", "tif"}) {
    const std::string in = photograph(std::string("in.") + extension);
    exifTool({"-q", "-m", "-overwrite_original", "-all=", in});
    const std::string out = file(std::string("out.") + extension);
    EXPECT_THAT(rewrite(in, out), IsEmpty());
    const json tags = tagsOf(out);
    for (const auto &[tag, value] : tags.items()) {
      EXPECT_THAT(tag, Not(testing::AnyOf(StartsWith("GPS:"), StartsWith("XMP"), StartsWith("IPTC"), StartsWith("ICC"),
                                          StartsWith("IFD1"))))
          << extension;
    }
    EXPECT_FALSE(tags.contains("PNG:SRGBRendering")) << "nobody said that its colours were sRGB";
  }
}

TEST_F(MetadataOf, APngsNotesOnColourAreKept) {
  OIIO::ParamValueList extra;
  extra.attribute("oiio:ColorSpace", "sRGB"); // written with gamma and primaries
  const std::string in = file("in.png");
  save(in, takePhoto(2, {.width = 96, .height = 64}, 3, 8), extra);
  const json before = tagsOf(in);
  ASSERT_TRUE(before.contains("PNG:SRGBRendering"));
  EXPECT_THAT(rewrite(in, file("out.png")), IsEmpty());
  const json after = tagsOf(file("out.png"));
  for (const char *tag : {"PNG:SRGBRendering", "PNG:Gamma", "PNG:RedX", "PNG:WhitePointY"})
    EXPECT_EQ(after.value(tag, json()), before.at(tag)) << tag;
}

TEST_F(MetadataOf, GreyAndAlphaArriveAsTheyWere) {
  for (const int channels : {1, 2, 4}) {
    for (const char *extension : {"png", "tif"}) {
      const std::string name = std::to_string(channels) + "." + extension;
      const std::string in = photograph(name, channels);
      exifTool({"-q", "-m", "-overwrite_original", "-IFD0:Artist=A", in});
      EXPECT_THAT(rewrite(in, file("out" + name)), IsEmpty());
      EXPECT_EQ(load(file("out" + name)).channels, channels) << name;
      EXPECT_EQ(tagsOf(file("out" + name)).value("IFD0:Artist", ""), "A") << name;
    }
  }
}

// Damage of the metadata costs the metadata, or a part of it, and is told.
class DamagedMetadata : public MetadataOf {
protected:
  void damage(const std::string &path, const std::string &at, std::size_t offset, const std::string &with) {
    std::string bytes = readBytes(path);
    const std::size_t found = bytes.find(at);
    ASSERT_NE(found, std::string::npos);
    bytes.replace(found + offset, with.size(), with);
    writeBytes(path, bytes);
  }

  // Straightening must say so, naming the photograph, and write the picture with its profile.
  void expectTold(const std::string &in, const std::string &out, const std::string &text) {
    const Outcome run = runVindrel({"straighten", in, "-o", out, "--rotate", "1"});
    EXPECT_EQ(run.exitCode, 0) << run.err;
    EXPECT_THAT(run.err, AllOf(HasSubstr(in + ": "), HasSubstr(text)));
    EXPECT_GT(load(out).width, 50);
    EXPECT_TRUE(bytesOf(out, "ICC_Profile") == readBytes(in + ".icc"));
  }
};

TEST_F(DamagedMetadata, OfTheExifPartLeavesTheOthers) {
  const std::string in = photograph("in.jpg");
  describe(in, 1);
  // The first directory far outside.
  damage(in, std::string("Exif\0\0II*\0\x08\0\0\0", 14), 10, "\xF0\xFF\xFF\xFF");
  expectTold(in, file("out.jpg"), "metadata cannot be read");
  EXPECT_EQ(tagsOf(file("out.jpg")).value("XMP-photoshop:City", ""), "Paris");
}

TEST_F(DamagedMetadata, OfTheXmpPartLeavesTheOthers) {
  const std::string in = photograph("in.jpg");
  describe(in, 1);
  damage(in, "<rdf:RDF", 0, "<rdf<RDF");
  expectTold(in, file("out.jpg"), "metadata cannot be read");
  const json tags = tagsOf(file("out.jpg"));
  EXPECT_EQ(tags.value("IFD0:Artist", ""), "A. Photographer");
  EXPECT_EQ(tags.value("IPTC:City", ""), "Paris");
}

TEST_F(DamagedMetadata, InAPngsTextsLeavesThePicture) {
  const std::string in = photograph("in.png");
  describe(in, 1);
  damage(in, "tEXtAuthor", 12, "X"); // its check sum fails
  const Outcome run = runVindrel({"straighten", in, "-o", file("out.png"), "--rotate", "1"});
  if (run.exitCode == 4) return; // refused as damaged by the decoder: told, and nothing is lost silently
  EXPECT_EQ(run.exitCode, 0) << run.err;
  EXPECT_EQ(tagsOf(file("out.png")).value("PNG:Author", "none"), "none");
}

TEST_F(MetadataOf, WhatAJpegHasNoRoomForIsTold) {
  const std::string in = photograph("in.tif");
  {
    const auto image = Exiv2::ImageFactory::open(in);
    image->readMetadata();
    const std::string note(100000, 'n');
    Exiv2::DataValue value(reinterpret_cast<const Exiv2::byte *>(note.data()), static_cast<long>(note.size()));
    image->exifData()["Exif.Image.Make"] = "Nobody";
    image->exifData().add(Exiv2::ExifKey("Exif.Photo.MakerNote"), &value);
    image->exifData()["Exif.Image.Artist"] = "A. Photographer";
    image->writeMetadata();
  }
  EXPECT_THAT(rewrite(in, file("out.jpg")),
              ElementsAre(AllOf(HasSubstr("in.tif: "), HasSubstr("Exif.Photo.MakerNote"))));
  EXPECT_EQ(tagsOf(file("out.jpg")).value("IFD0:Artist", ""), "A. Photographer");
  EXPECT_THAT(rewrite(in, file("out.tif")), IsEmpty());
  EXPECT_EQ(bytesOf(file("out.tif"), "MakerNoteUnknownText").size(), 100000u);
}

} // namespace
} // namespace vindrel::test
