#include "ExifTool.h"

#include "Program.h"
#include "Scene.h"

#include <cstdio>
#include <stdexcept>

namespace vindrel::test {
namespace fs = std::filesystem;
namespace {

std::string quoted(const std::string &word) {
  std::string text = "'";
  for (const char c : word) {
    if (c == '\'') text += "'\\'"; // closes, a quoted quote, and opens again
    text += c;
  }
  text += '\'';
  return text;
}

// One tag, a copyright, and the two fields that readers check; a colour engine would not take it, but it must arrive.
std::string smallProfile() {
  std::string profile(256, '\0');
  const auto put = [&profile](std::size_t at, const std::string &bytes) { profile.replace(at, bytes.size(), bytes); };
  profile[2] = 1; // 256 bytes
  profile[8] = 4;
  put(12, "mntrRGB XYZ ");
  put(36, "acsp");
  put(68, std::string("\0\0\xF6\xD6\0\1\0\0\0\0\xD3\x2D", 12)); // D50
  put(128, std::string("\0\0\0\1cprt\0\0\0\x90\0\0\0\x70", 16));
  for (std::size_t i = 152; i < profile.size(); ++i)
    profile[i] = static_cast<char>(i * i * 7 + i * 37 + 11);
  return profile;
}

} // namespace

std::string exifTool(const std::vector<std::string> &arguments) {
  std::string command = "exiftool";
  for (const std::string &argument : arguments) {
    command += ' ';
    command += quoted(argument);
  }
  FILE *pipe = popen(command.c_str(), "r");
  if (pipe == nullptr) throw std::runtime_error("cannot run exiftool");
  std::string output;
  char block[4096];
  for (std::size_t got = 0; (got = fread(block, 1, sizeof block, pipe)) > 0;)
    output.append(block, got);
  if (const int status = pclose(pipe); status != 0) {
    throw std::runtime_error("exiftool (of libimage-exiftool-perl) ended with " + std::to_string(status) + ": " +
                             command);
  }
  return output;
}

std::vector<nlohmann::json> tagsOf(const std::vector<fs::path> &files) {
  std::vector<std::string> arguments = {
      "-q", "-j", "-G1", "-a", "-u", "-n", "--System:all", "--Composite:all", "--ExifTool:all"};
  for (const fs::path &file : files)
    arguments.push_back(file.string());
  std::vector<nlohmann::json> all = nlohmann::json::parse(exifTool(arguments));
  for (nlohmann::json &tags : all)
    tags.erase("SourceFile");
  return all;
}

nlohmann::json tagsOf(const fs::path &file) {
  return tagsOf(std::vector<fs::path>{file}).at(0);
}

std::string bytesOf(const fs::path &file, const std::string &tag) {
  return exifTool({"-q", "-m", "-b", "-" + tag, file.string()});
}

void describe(const fs::path &file, int orientation) {
  const fs::path profile = file.string() + ".icc";
  writeBytes(profile, smallProfile());
  std::vector<std::string> arguments = {"-q",
                                        "-m",
                                        "-n",
                                        "-overwrite_original",
                                        "-IFD0:Orientation=" + std::to_string(orientation),
                                        "-XMP-tiff:Orientation=3",
                                        "-IFD0:Make=Canon",
                                        "-IFD0:Model=Model 1",
                                        "-IFD0:Software=Firmware 1.2",
                                        "-IFD0:Artist=A. Photographer",
                                        "-IFD0:Copyright=2024 A. Photographer",
                                        "-IFD0:ImageDescription=a wall",
                                        "-IFD0:ModifyDate=2024:05:02 08:00:00",
                                        "-IFD0:XResolution=300",
                                        "-IFD0:YResolution=150",
                                        "-IFD0:ResolutionUnit=2",
                                        "-ExifIFD:ExposureTime=1/125",
                                        "-ExifIFD:FNumber=8",
                                        "-ExifIFD:ISO=200",
                                        "-ExifIFD:ExposureCompensation=-2",
                                        "-ExifIFD:DateTimeOriginal=2024:05:01 12:30:00",
                                        "-ExifIFD:OffsetTimeOriginal=+02:00",
                                        "-ExifIFD:UserComment=hello",
                                        "-ExifIFD:LensModel=35mm",
                                        "-ExifIFD:ExifImageWidth=96",
                                        "-ExifIFD:ExifImageHeight=64",
                                        "-ExifIFD:SubjectArea=10 10 5 5",
                                        "-ExifIFD:FocalPlaneXResolution=1000",
                                        "-ExifIFD:FocalPlaneYResolution=2000",
                                        "-GPS:GPSLatitude=48.85",
                                        "-GPS:GPSLatitudeRef=N",
                                        "-GPS:GPSLongitude=2.35",
                                        "-GPS:GPSLongitudeRef=E",
                                        "-GPS:GPSAltitude=35",
                                        "-GPS:GPSTimeStamp=10:30:00",
                                        "-XMP-dc:Title=A title \xC3\xA9",
                                        "-XMP-dc:Subject=one",
                                        "-XMP-dc:Subject=two",
                                        "-XMP-xmp:Rating=4",
                                        "-XMP-exif:ExifImageWidth=96",
                                        "-XMP-tiff:ImageWidth=96",
                                        "-XMP-photoshop:City=Paris",
                                        "-IPTC:Keywords=key one",
                                        "-IPTC:Keywords=key two",
                                        "-IPTC:Caption-Abstract=a caption",
                                        "-IPTC:City=Paris",
                                        "-icc_profile<=" + profile.string()};
  const std::string extension = file.extension().string();
  if (extension == ".png") {
    arguments.insert(arguments.end(),
                     {"-PNG:Title=Text \xC3\xA9", "-PNG:Author=Author", "-PNG:Comment=long " + std::string(2000, 'x')});
  }
  if (extension == ".jpg") arguments.push_back("-Comment=a comment");
  if (extension != ".png") {
    const fs::path thumbnail = file.string() + ".thumbnail.jpg";
    save(thumbnail, takePhoto(3, {.width = 48, .height = 32}, 3, 8));
    if (extension == ".jpg") arguments.push_back("-IFD1:ThumbnailImage<=" + thumbnail.string());
  }
  arguments.push_back(file.string());
  exifTool(arguments);
}

} // namespace vindrel::test
