// Metadata goes into a finished picture in one pass. When the library refuses all of it together (maker notes too large
// for a JPEG, values it cannot write), as much as it takes is written, and the loss is told.
#include "MetadataParts.h"

#include "OutputFileIo.h"
#include "PngChunks.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace vindrel::cli {
namespace {

struct Kept {
  bool exif = true;
  bool makerNotes = true;
  bool xmp = true;
  bool iptc = true;
  bool comment = true;
};

struct Attempt {
  Kept kept;
  const char *lost;
};

// From the smallest loss to the greatest.
constexpr Attempt kAttempts[] = {
    {{}, ""},
    {{.makerNotes = false}, "the maker notes"},
    {{.comment = false}, "the comment"},
    {{.iptc = false}, "the IPTC part"},
    {{.xmp = false}, "the XMP part"},
    {{.exif = false}, "the Exif part"},
    {{.makerNotes = false, .xmp = false, .iptc = false, .comment = false},
     "the maker notes, the XMP and the IPTC part and the comment"},
    {{.exif = false, .iptc = false, .comment = false}, "the Exif and the IPTC part and the comment"},
    {{.exif = false, .xmp = false, .iptc = false, .comment = false}, "all of it"},
};

// The maker notes as a whole, and the groups that they were taken apart into.
bool isMakerNote(const Exiv2::Exifdatum &datum) {
  constexpr std::array<std::string_view, 6> kStandardGroups = {"Image", "Photo",     "GPSInfo",
                                                               "Iop",   "Thumbnail", "MpfInfo"};
  const std::string group = datum.groupName();
  return datum.key() == "Exif.Photo.MakerNote" ||
         std::find(kStandardGroups.begin(), kStandardGroups.end(), group) == kStandardGroups.end();
}

// The directory of the new TIFF describes its pixels and stays; the photograph's own tags come beside it. Resolution is
// the new file's only where the photograph has none.
Exiv2::ExifData withStorageOf(const Exiv2::ExifData &written, const Exiv2::ExifData &exif) {
  Exiv2::ExifData all;
  for (const Exiv2::Exifdatum &datum : written) {
    constexpr std::uint16_t kResolutions[] = {0x011a, 0x011b, 0x0128};
    const bool resolution =
        datum.groupName() == "Image" &&
        (datum.tag() == kResolutions[0] || datum.tag() == kResolutions[1] || datum.tag() == kResolutions[2]);
    if (isStorageTag(datum) || (resolution && exif.findKey(Exiv2::ExifKey(datum.key())) == exif.end())) all.add(datum);
  }
  for (const Exiv2::Exifdatum &datum : exif)
    all.add(datum);
  return all;
}

// Exif as PNG has it by its standard. The library would wrap it as text, as was done before there was a standard.
std::string exifChunkOf(const Exiv2::ExifData &exif) {
  if (exif.empty()) return {};
  Exiv2::Blob blob;
  Exiv2::ExifParser::encode(blob, Exiv2::littleEndian, exif);
  return pngChunk("eXIf", std::string(blob.begin(), blob.end()));
}

void removeMakerNotes(Exiv2::ExifData &exif) {
  for (auto at = exif.begin(); at != exif.end();)
    at = isMakerNote(*at) ? exif.erase(at) : std::next(at);
}

// This version of the library hands over ownership by a pointer type that the language has given up since.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
auto openOutput(OutputFile &file) {
  return Exiv2::ImageFactory::open(Exiv2::BasicIo::AutoPtr(new OutputFileIo(file)));
}
#pragma GCC diagnostic pop

// The parts that fit the new picture.
struct FittedParts {
  Exiv2::ExifData exif;
  Exiv2::XmpData xmp;
  Exiv2::IptcData iptc;
  std::string comment;

  bool empty() const { return exif.empty() && xmp.empty() && iptc.empty() && comment.empty(); }
};

// Writes what is kept and returns the Exif chunk that a PNG is to have besides.
std::string writeParts(OutputFile &file, const std::string &format, const FittedParts &parts, const Kept &kept) {
  const auto image = openOutput(file);
  image->readMetadata();
  Exiv2::ExifData exif = kept.exif ? parts.exif : Exiv2::ExifData();
  if (!kept.makerNotes) removeMakerNotes(exif);
  std::string exifChunk;
  if (format == "png") {
    exifChunk = exifChunkOf(exif);
  } else {
    image->setExifData(format == "tiff" ? withStorageOf(image->exifData(), exif) : exif);
  }
  image->setXmpData(kept.xmp ? parts.xmp : Exiv2::XmpData());
  image->setIptcData(kept.iptc ? parts.iptc : Exiv2::IptcData());
  if (kept.comment && format != "tiff" && !parts.comment.empty()) image->setComment(parts.comment);
  image->writeMetadata();
  return exifChunk;
}

// The library leaves out large tags when all of them together are too much for the format, and says nothing.
std::string missingTags(OutputFile &file, const Exiv2::ExifData &exif) {
  const auto image = openOutput(file);
  image->readMetadata();
  const Exiv2::ExifData &written = image->exifData();
  constexpr std::uint16_t kExifTag = 0x8769; // where other directories are, which come and go with their tags
  constexpr std::uint16_t kGpsTag = 0x8825;
  constexpr std::uint16_t kInteroperabilityTag = 0xa005;
  int missing = 0;
  std::string first;
  for (const Exiv2::Exifdatum &datum : exif) {
    const bool pointer = datum.tag() == kExifTag || datum.tag() == kGpsTag || datum.tag() == kInteroperabilityTag;
    if (pointer || datum.count() < 1 || written.findKey(Exiv2::ExifKey(datum.key())) != written.end()) continue;
    if (missing++ == 0) first = datum.key();
  }
  if (missing == 0) return {};
  return std::to_string(missing) + " of its Exif tags cannot be written in this format: " + first +
         (missing > 1 ? " and others" : "");
}

} // namespace

std::vector<std::string> Metadata::writeInto(OutputFile &file, const NewPicture &picture) const {
  std::vector<std::string> losses;
  if (!parts_->problem.empty()) losses.push_back(parts_->problem);
  if (!parts_->readable) return losses;

  FittedParts fitted = {parts_->exif, parts_->xmp, parts_->iptc, parts_->comment};
  fitExif(fitted.exif, picture);
  fitXmp(fitted.xmp, picture);
  fitIptc(fitted.iptc);

  std::string chunks = parts_->pngChunks;
  // Of another kind of file, Exif says what colours are; a profile says it better.
  if (chunks.empty() && !picture.hasProfile && (picture.developed || facts().colourSpace == "sRGB")) {
    chunks = pngChunk("sRGB", kSrgbAsItLooks);
  }
  std::string why;
  const char *lost = "";
  bool written = fitted.empty();
  for (const Attempt &attempt : kAttempts) {
    if (written || !file.good()) break;
    try {
      chunks += writeParts(file, picture.format, fitted, attempt.kept);
      lost = attempt.lost;
      written = true;
    } catch (const std::bad_alloc &) {
      throw;
    } catch (const std::exception &error) {
      if (why.empty()) why = error.what();
    }
  }
  if (picture.format == "png" && file.good() && !insertPngChunks(file, chunks)) {
    losses.push_back("its texts and its Exif part cannot be written");
  }
  if (!file.good()) return losses; // the disk takes no more, which finish() tells
  if (!written) {
    losses.push_back("its metadata cannot be written (" + why + ")");
  } else if (lost[0] != '\0') {
    losses.push_back(std::string(lost) + " of its metadata cannot be written (" + why + ")");
  } else if (const std::string missing = fitted.exif.empty() ? "" : missingTags(file, fitted.exif); !missing.empty()) {
    losses.push_back(missing);
  }
  return losses;
}

} // namespace vindrel::cli
